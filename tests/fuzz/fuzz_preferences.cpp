// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Any bytes as the preferences file, in a file system in memory.

#include "Fuzz.h"
#include "JsonMembers.h"
#include "PreferencesFile.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

QByteArray read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    Fuzz::expect(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size(), "the file is there");
}

/// The object that a text stands for; none when it is no object.
std::optional<QJsonObject> parsed(const QByteArray &text)
{
    const QJsonDocument document = QJsonDocument::fromJson(text);
    return document.isObject() ? std::optional(document.object()) : std::nullopt;
}

void checkMembers(const QByteArray &text, const std::optional<QJsonObject> &object)
{
    QString error;
    const std::optional<JsonMembers> members = JsonMembers::parse(text, &error);
    Fuzz::expect(members.has_value() == object.has_value(), "an object is taken and nothing else");
    if (!members)
        return;
    Fuzz::expect(parsed(members->text()) == object, "an object is written as it was read");
    for (auto member = object->begin(); member != object->end(); ++member)
        Fuzz::expect(members->value(member.key()) == member.value(), "each member has its value");
}

/// One read of every type, one change of every type.
void change(const QString &path, PreferencesFile &preferences, const QString &key)
{
    const auto integers = preferences.integers(key).value_or(QList<qint32>{});
    const auto data = preferences.data(key).value_or(QByteArray());
    const bool boolean = preferences.boolean(key).value_or(false);
    const QString string = preferences.string(key).value_or(QString());
    preferences.setIntegers(u"own 1"_s, integers, Preferences::Durability::OnDisk);
    preferences.setData(u"own 2"_s, data);
    preferences.setBoolean(u"own 3"_s, boolean);
    preferences.setString(u"own 4"_s, string);
    const PreferencesFile next(path);
    Fuzz::expect(next.integers(u"own 1"_s) == integers && next.data(u"own 2"_s) == data &&
                     next.boolean(u"own 3"_s) == boolean && next.string(u"own 4"_s) == string,
                 "what is set is what is read");
}

void checkFile(const QString &folder, const QByteArray &text, const std::optional<QJsonObject> &object)
{
    const QString path = folder + u"/preferences.json"_s;
    write(path, text);
    {
        PreferencesFile preferences(path);
        Fuzz::expect(object ? read(path) == text : read(path + u".damaged"_s) == text,
                     "nothing is lost at the start");
        change(path, preferences, object && !object->isEmpty() ? object->begin().key() : u"tunnels"_s);
    }
    std::optional<QJsonObject> after = parsed(read(path));
    Fuzz::expect(after.has_value(), "the file can be read again");
    QJsonObject before = object.value_or(QJsonObject());
    for (const QString &own : {u"own 1"_s, u"own 2"_s, u"own 3"_s, u"own 4"_s}) {
        Fuzz::expect(after->contains(own), "what was set is in the file");
        after->remove(own);
        before.remove(own);
    }
    Fuzz::expect(*after == before, "all that others keep in the file stays");
    QFile::remove(path);
    QFile::remove(path + u".damaged"_s);
    Fuzz::expect(QDir(folder).isEmpty(QDir::Files | QDir::Hidden), "no file is left behind");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const QTemporaryDir folder(u"/dev/shm/morvanel-fuzz.XXXXXX"_s);
    Fuzz::expect(folder.isValid(), "there is a folder in memory");
    const QByteArray text(reinterpret_cast<const char *>(data), qsizetype(size));
    const std::optional<QJsonObject> object = parsed(text);
    checkMembers(text, object);
    checkFile(folder.path(), text, object);
    return 0;
}
