// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LowLimit.h"
#include "PreferencesFile.h"
#include "StandardErrorCapture.h"
#include "Unprivileged.h"

#include <QDir>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

#include <fcntl.h>
#include <sys/file.h>

using namespace Qt::StringLiterals;
using Integers = QList<qint32>;

Q_DECLARE_METATYPE(std::optional<QString>)
Q_DECLARE_METATYPE(std::optional<bool>)
Q_DECLARE_METATYPE(std::optional<QByteArray>)
Q_DECLARE_METATYPE(std::optional<Integers>)

namespace {

const QString key = u"key"_s;

void write(const QString &path, const QByteArray &content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

QByteArray read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

mode_t modeOf(const QString &path)
{
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 0777 : 0;
}

QStringList namesIn(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

} // namespace

class PreferencesFileTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_path;

    bool shell(const QString &commands) const
    {
        QProcess process;
        process.setWorkingDirectory(m_folder->path());
        process.start(u"/bin/sh"_s, {u"-ec"_s, commands});
        return process.waitForFinished() && process.exitCode() == 0;
    }

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_path = m_folder->filePath(u"preferences.json"_s);
    }

    void readsTypes_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<std::optional<QString>>("string");
        QTest::addColumn<std::optional<bool>>("boolean");
        QTest::addColumn<std::optional<QByteArray>>("data");
        QTest::addColumn<std::optional<Integers>>("integers");
        const std::optional<QString> noString;
        const std::optional<bool> noBoolean;
        const std::optional<QByteArray> noData;
        const std::optional<Integers> noIntegers;
        const auto none = [&](const char *json) {
            QTest::newRow(json) << QByteArray(json) << noString << noBoolean << noData << noIntegers;
        };
        const auto integers = [&](const char *json, const Integers &value) {
            QTest::newRow(json) << QByteArray(json) << noString << noBoolean << noData
                                << std::optional(value);
        };
        QTest::newRow("string") << QByteArray(R"("a\u00e9\n\u0000")")
                                << std::optional(QString(u"aé\n"_s + QChar(0))) << noBoolean << noData
                                << noIntegers;
        QTest::newRow("false") << QByteArray("false") << noString << std::optional(false) << noData
                               << noIntegers;
        QTest::newRow("data") << QByteArray(R"({"data": "AP8="})") << noString << noBoolean
                              << std::optional(QByteArray("\0\xff", 2)) << noIntegers;
        integers("[]", {});
        integers("[2147483647, -2147483648, 7, 7]", {2147483647, -2147483648, 7, 7});
        integers("[3.0, 1e3]", {3, 1000});
        none("[3.5]");
        none("[1, true]");
        none("[\"3\"]");
        none("[2147483648]");
        none("[-2147483649]");
        none("[12345678901234567890]");
        none("[null]");
        none("[[1]]");
        none("1");
        none("null");
        none("{}");
        none(R"({"data": 1})");
        none(R"({"data": "no base64!"})");
        none(R"({"data": "AP8=", "more": 1})");
    }

    void readsTypes()
    {
        QFETCH(QByteArray, json);
        write(m_path, "{\"key\": 0, \"other\": [{}], \"key\":" + json + "}");
        const PreferencesFile preferences(m_path);
        QTEST(preferences.string(key), "string");
        QTEST(preferences.boolean(key), "boolean");
        QTEST(preferences.data(key), "data");
        QTEST(preferences.integers(key), "integers");
        QCOMPARE(preferences.string(u"absent"_s), std::nullopt);
    }

    void keepsWhatWasWritten()
    {
        const QString path = m_folder->filePath(u"new/folder/preferences.json"_s);
        const QString text = u"\"\\/ é😀\t"_s + QChar(0) + QString(10'000, u'x');
        QByteArray bytes(100'000, '\xff');
        bytes[1] = '\0';
        {
            PreferencesFile preferences(path);
            preferences.setString(u"s"_s, text);
            preferences.setString(u"removed \"\n"_s, text);
            preferences.setBoolean(u"b"_s, true);
            preferences.setData(u"d"_s, bytes);
            preferences.setIntegers(u"i"_s, {-1, 0, 2147483647}, Preferences::Durability::OnDisk);
            preferences.setIntegers(u"empty"_s, {}, Preferences::Durability::OnDisk);
            preferences.remove(u"removed \"\n"_s);
        }
        const PreferencesFile preferences(path);
        QCOMPARE(preferences.string(u"s"_s), text);
        QCOMPARE(preferences.string(u"removed \"\n"_s), std::nullopt);
        QCOMPARE(preferences.boolean(u"b"_s), true);
        QCOMPARE(preferences.data(u"d"_s), bytes);
        QCOMPARE(preferences.integers(u"i"_s), (Integers{-1, 0, 2147483647}));
        QCOMPARE(preferences.integers(u"empty"_s), Integers{});
        QCOMPARE(modeOf(path), 0600);
        QCOMPARE(modeOf(m_folder->filePath(u"new/folder"_s)), 0700);
        QCOMPARE(namesIn(m_folder->filePath(u"new/folder"_s)), QStringList{u"preferences.json"_s});
    }

    void keepsUnknownMembersToTheByte()
    {
        const QByteArrayList unknown = {R"("big": 123456789012345678901234567890)", R"("small": 0.10)",
                                        "\"nested\": {\"a\" :[1, {\"}\": \"]\\\"{\"}, []],\"b\":{}}",
                                        R"("last\\": "\u00e9")"};
        write(m_path, "\xef\xbb\xbf{" + unknown.join(" ,\r\n") + "}");
        PreferencesFile preferences(m_path);
        preferences.setBoolean(key, true);
        const QByteArray text = read(m_path);
        for (const QByteArray &member : unknown)
            QVERIFY2(text.contains(member), text.constData());
        QVERIFY(QJsonDocument::fromJson(text).isObject());
    }

    void setsDamagedFilesAside_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("cut off") << QByteArray("{\"key\": \"va");
        QTest::newRow("an array") << QByteArray("[1]");
        QTest::newRow("two objects") << QByteArray("{}{}");
        QTest::newRow("zeros") << QByteArray(4096, '\0');
        QTest::newRow("no UTF-8") << QByteArray("{\"key\": \"\xff\"}");
        QTest::newRow("too deep") << QByteArray(100'000, '[');
    }

    void setsDamagedFilesAside()
    {
        QFETCH(QByteArray, content);
        const StandardErrorCapture errors;
        const QString earlier = m_path + u".damaged"_s;
        write(earlier, "earlier");
        write(m_path, content);
        PreferencesFile preferences(m_path);
        preferences.setBoolean(key, true);
        QCOMPARE(read(earlier), "earlier");
        QCOMPARE(read(m_path + u".damaged-2"_s), content);
        QCOMPARE(PreferencesFile(m_path).boolean(key), true);
        QCOMPARE(errors.lines().size(), 1);
        QVERIFY(errors.lines().at(0).contains(m_path + u".damaged-2"_s));
    }

    void leavesAloneWhatItCannotReadOrReplace_data()
    {
        QTest::addColumn<QString>("obstacle");
        QTest::addColumn<QString>("repair");
        QTest::newRow("read-only folder")
            << u"echo '{}' > preferences.json; chmod 500 ."_s << u"chmod 700 ."_s;
        QTest::newRow("damaged in a read-only folder")
            << u"echo '{' > preferences.json; chmod 500 ."_s << u"chmod 700 ."_s;
        QTest::newRow("unreadable file")
            << u"echo '{\"a\": 1}' > preferences.json; chmod 0 preferences.json"_s
            << u"chmod 600 preferences.json"_s;
        QTest::newRow("a folder") << u"mkdir preferences.json"_s << u"rmdir preferences.json"_s;
        QTest::newRow("a named pipe") << u"mkfifo preferences.json"_s << u"rm preferences.json"_s;
        QTest::newRow("a device") << u"ln -s /dev/null preferences.json"_s << u"rm preferences.json"_s;
        QTest::newRow("links in a circle")
            << u"ln -s preferences.json preferences.json"_s << u"rm preferences.json"_s;
    }

    void leavesAloneWhatItCannotReadOrReplace()
    {
        QFETCH(QString, obstacle);
        QFETCH(QString, repair);
        QVERIFY(shell(obstacle));
        std::optional<PreferencesFile> opened;
        {
            const Unprivileged user(m_folder->path());
            QVERIFY(user.isDone());
            const StandardErrorCapture errors;
            const QStringList names = namesIn(m_folder->path());
            PreferencesFile &preferences = opened.emplace(m_path);
            for (const QString &value : {u"one"_s, u"two"_s}) {
                preferences.setString(key, value);
                QCOMPARE(preferences.string(key), value);
            }
            QCOMPARE(namesIn(m_folder->path()), names);
            QCOMPARE(errors.lines().size(), 1);
            QVERIFY(errors.lines().at(0).startsWith(u"morvanel: preferences are not stored: "_s));
        }
        QVERIFY(shell(repair));
        opened->setBoolean(u"other"_s, true);
        QCOMPARE(PreferencesFile(m_path).string(key), u"two"_s);
        QCOMPARE(PreferencesFile(m_path).boolean(u"other"_s), true);
    }

    void keepsTheOldFileWhenTheDiskIsFull()
    {
        const StandardErrorCapture errors;
        PreferencesFile preferences(m_path);
        preferences.setString(key, u"old"_s);
        const QByteArray before = read(m_path);
        const auto signalHandler = std::signal(SIGXFSZ, SIG_IGN);
        {
            const LowLimit small(RLIMIT_FSIZE, 20'000);
            preferences.setData(u"large"_s, QByteArray(100'000, 'x'));
            preferences.setString(key, u"new"_s);
        }
        std::signal(SIGXFSZ, signalHandler);
        QCOMPARE(read(m_path), before);
        QCOMPARE(namesIn(m_folder->path()), QStringList{u"preferences.json"_s});
        QCOMPARE(errors.lines().size(), 1);
        preferences.setString(key, u"new"_s);
        QCOMPARE(PreferencesFile(m_path).string(key), u"new"_s);
        QCOMPARE(PreferencesFile(m_path).data(u"large"_s), QByteArray(100'000, 'x'));
    }

    void takesOverWhatOthersChanged()
    {
        write(m_path, R"({"a": "1", "b": "1", "c": "1"})");
        PreferencesFile preferences(m_path);
        preferences.setString(u"a"_s, u"own"_s);
        preferences.remove(u"c"_s);
        write(m_path, R"({"a": "2", "c": "2", "d": "2"})");
        preferences.setString(u"e"_s, u"own"_s);
        const PreferencesFile stored(m_path);
        for (const Preferences *each :
             {static_cast<const Preferences *>(&preferences), static_cast<const Preferences *>(&stored)}) {
            QCOMPARE(each->string(u"a"_s), u"own"_s);
            QCOMPARE(each->string(u"b"_s), std::nullopt);
            QCOMPARE(each->string(u"c"_s), std::nullopt);
            QCOMPARE(each->string(u"d"_s), u"2"_s);
        }
        QVERIFY(QFile::remove(m_path));
        preferences.setString(u"a"_s, u"own"_s);
        QCOMPARE(PreferencesFile(m_path).string(u"d"_s), u"2"_s);
    }

    void writesThroughALink()
    {
        QVERIFY(QDir(m_folder->path()).mkdir(u"dotfiles"_s));
        QVERIFY(QFile::link(u"dotfiles/prefs"_s, m_path));
        PreferencesFile(m_path).setBoolean(key, true);
        QVERIFY(QFileInfo(m_path).isSymLink());
        QCOMPARE(PreferencesFile(m_folder->filePath(u"dotfiles/prefs"_s)).boolean(key), true);
    }

    void removesLeftovers()
    {
        const QString stale = m_folder->filePath(u".preferences.json.abcdef"_s);
        const QString busy = m_folder->filePath(u".preferences.json.ghijkl"_s);
        write(stale, "{");
        QFile file(busy);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(::flock(file.handle(), LOCK_EX), 0);
        const PreferencesFile preferences(m_path);
        QVERIFY(!QFile::exists(stale));
        QVERIFY(QFile::exists(busy));
    }
};

QTEST_GUILESS_MAIN(PreferencesFileTest)
#include "tst_preferencesfile.moc"
