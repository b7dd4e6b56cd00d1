// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "PosixFileAccess.h"

#include <QFile>

#include <sys/stat.h>
#include <unistd.h>

bool PosixFileAccess::isExecutableFile(const QString &path) const
{
    const QByteArray name = QFile::encodeName(path);
    struct stat status;
    return !path.contains(QChar(u'\0')) && ::stat(name.constData(), &status) == 0 &&
           S_ISREG(status.st_mode) && ::access(name.constData(), X_OK) == 0;
}
