// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Any bytes as the preferences file, in a file system in memory.

#include "Fuzz.h"
#include "PreferencesFile.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const QTemporaryDir folder(u"/dev/shm/morvanel-fuzz.XXXXXX"_s);
    const QString path = folder.filePath(u"preferences.json"_s);
    const QByteArray text = Fuzz::bytes(data, size);
    QFile file(path);
    Fuzz::expect(file.open(QIODevice::WriteOnly) && file.write(text) == text.size(), "the file is there");
    file.close();
    const QJsonDocument document = QJsonDocument::fromJson(text);
    QJsonObject expected = document.object();
    PreferencesFile(path).setString(u"own"_s, u"value"_s);
    expected[u"own"_s] = u"value"_s;

    Fuzz::expect(file.open(QIODevice::ReadOnly), "there is a file");
    Fuzz::expect(QJsonDocument::fromJson(file.readAll()).object() == expected,
                 "all that others keep in the file stays");
    file.close();
    QFile damaged(path + u".damaged"_s);
    Fuzz::expect(document.isObject() || (damaged.open(QIODevice::ReadOnly) && damaged.readAll() == text),
                 "what cannot be read is kept beside it");
    QFile::remove(path);
    damaged.remove();
    Fuzz::expect(QDir(folder.path()).isEmpty(QDir::Files | QDir::Hidden), "no file is left behind");
    return 0;
}
