// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "StandardError.h"

#include <QByteArray>

#include <unistd.h>

using namespace Qt::StringLiterals;

void writeToStandardError(const QString &line)
{
    QByteArray text = (u"morvanel: "_s + line).toUtf8();
    text.replace('\n', ' ').append('\n');
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text.constData(), size_t(text.size()));
}
