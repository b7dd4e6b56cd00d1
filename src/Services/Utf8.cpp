// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "Utf8.h"

#include <QStringDecoder>
#include <QUtf8StringView>

bool Utf8::isValid(QByteArrayView bytes)
{
    return QUtf8StringView(bytes.data(), bytes.size()).isValidUtf8();
}

QString Utf8::decode(QByteArrayView bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringConverter::Flag::ConvertInitialBom);
    return decoder(bytes);
}
