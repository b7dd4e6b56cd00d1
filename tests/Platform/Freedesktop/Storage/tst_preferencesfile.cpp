// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LowLimit.h"
#include "PreferencesFile.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QTest>

#include <csignal>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using Durability = Preferences::Durability;
using Integers = QList<qint32>;

namespace {

const QString key = u"key"_s;
int syncs = 0;
int syncError = 0;

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

QStringList namesIn(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

/// The value of `key` as each type that it can be read as.
QVariantList valuesIn(const Preferences &preferences)
{
    QVariantList values;
    const auto add = [&](const auto &value) {
        if (value)
            values.append(QVariant::fromValue(*value));
    };
    add(preferences.string(key));
    add(preferences.boolean(key));
    add(preferences.data(key));
    add(preferences.integers(key));
    return values;
}

} // namespace

/// Stands in for the library's, to count the calls and to fail.
extern "C" int fsync(int)
{
    ++syncs;
    errno = syncError;
    return syncError == 0 ? 0 : -1;
}

class PreferencesFileTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_path;
    std::unique_ptr<QTemporaryFile> m_errors; ///< what the program says on standard error
    const int m_standardError = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);

    QStringList errors() const
    {
        return QString::fromUtf8(read(m_errors->fileName())).split(u'\n', Qt::SkipEmptyParts);
    }

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
        m_folder = std::make_unique<QTemporaryDir>(QDir::tempPath() + u"/a\nb-XXXXXX"_s);
        m_path = m_folder->filePath(u"preferences.json"_s);
        m_errors = std::make_unique<QTemporaryFile>();
        QVERIFY(m_errors->open());
        ::dup3(m_errors->handle(), STDERR_FILENO, 0);
    }
    void cleanup() { ::dup3(m_standardError, STDERR_FILENO, 0); }

    void readsTypes()
    {
        QList<std::pair<QByteArray, QVariantList>> rows{
            {R"("a\u00e9\n\u0000")", {u"aé\n"_s + QChar(0)}},
            {"false", {false}},
            {R"({"data": "AP8="})", {QByteArray("\0\xff", 2)}},
            {"[]", {QVariant::fromValue(Integers())}},
            {"[2147483647, -2147483648, 7, 7]",
             {QVariant::fromValue(Integers{2147483647, -2147483648, 7, 7})}},
            {"[3.0, 1e3]", {QVariant::fromValue(Integers{3, 1000})}}};
        for (const char *none :
             {"[3.5]", "[1, true]", "[\"3\"]", "[2147483648]", "[-2147483649]", "[12345678901234567890]",
              "[null]", "[[1]]", "1", "null", "{}", R"({"data": 1})", R"({"data": "no base64!"})",
              R"({"data": "AP8=", "more": 1})"})
            rows.emplaceBack(none, QVariantList());
        for (const auto &[json, values] : rows) {
            write(m_path, "\xef\xbb\xbf{\"key\": 0, \"other\": [{}], \"key\":" + json + "}");
            QCOMPARE(valuesIn(PreferencesFile(m_path)), values);
        }
    }

    void keepsWhatWasWritten()
    {
        const QString folder = m_folder->filePath(u"new/folder"_s);
        const QString path = folder + u"/preferences.json"_s;
        const QString text = u"\"\\/ é😀\t\n"_s + QChar(0) + QString(10'000, u'x');
        const QByteArray bytes = QByteArray(100'000, '\xff') + '\0';
        const mode_t mask = ::umask(0);
        PreferencesFile written(path);
        written.remove(key);
        QVERIFY(!QFile::exists(folder));
        written.setString(text, text);
        written.setString(key, text);
        written.setBoolean(u"b"_s, true);
        written.setData(u"d"_s, bytes);
        written.remove(key);
        syncs = 0;
        written.setIntegers(u"i"_s, {-1, 0, 2147483647}, Durability::Eventually);
        QCOMPARE(syncs, 0);
        written.setIntegers(u"empty"_s, {}, Durability::OnDisk);
        QCOMPARE(syncs, 2); // the file and its folder
        ::umask(mask);
        const PreferencesFile preferences(path);
        QCOMPARE(valuesIn(preferences), QVariantList());
        QCOMPARE(preferences.string(text), text);
        QCOMPARE(preferences.boolean(u"b"_s), true);
        QCOMPARE(preferences.data(u"d"_s), bytes);
        QCOMPARE(preferences.integers(u"i"_s), (Integers{-1, 0, 2147483647}));
        QCOMPARE(preferences.integers(u"empty"_s), Integers{});
        QCOMPARE(namesIn(folder), QStringList{u"preferences.json"_s});
        QVERIFY(shell(u"test \"$(stat -c %a new/folder new/folder/*)\" = '700\n600'"_s));
    }

    void setsDamagedFilesAside()
    {
        write(m_path + u".damaged"_s, "earlier");
        int number = 1;
        for (const QByteArray content : {"", "{\"key\": \"va", "[1]", "{}{}", "{\"key\": \"\xff\"}"}) {
            const QString aside = m_path + u".damaged-%1"_s.arg(++number);
            write(m_path, content);
            PreferencesFile preferences(m_path);
            preferences.setBoolean(key, true);
            QCOMPARE(read(aside), content);
            QCOMPARE(PreferencesFile(m_path).boolean(key), true);
            QCOMPARE(errors().size(), number - 1);
            QVERIFY(errors().last().contains(QString(aside).replace(u'\n', u' ')));
        }
        QCOMPARE(read(m_path + u".damaged"_s), "earlier");
    }

    void leavesAloneWhatItCannotReadOrReplace()
    {
        // No other name fits beside the longest one.
        const QString longName = u"ln -s %1 preferences.json; echo '%2' > preferences.json"_s;
        for (const QString &obstacle :
             {longName.arg(QString(255, u'x'), u"{}"_s), longName.arg(QString(255, u'x'), u"{"_s),
              u"mkdir preferences.json"_s, u"mkfifo preferences.json"_s}) {
            init();
            QVERIFY(shell(obstacle));
            const QStringList names = namesIn(m_folder->path());
            const QByteArray content = QFileInfo(m_path).isFile() ? read(m_path) : QByteArray();
            PreferencesFile preferences(m_path);
            QCOMPARE(errors().isEmpty(), obstacle.contains(u"{}"_s)); // that one is told by the write
            for (const QString &value : {u"one"_s, u"two"_s}) {
                preferences.setString(key, value);
                QCOMPARE(preferences.string(key), value);
            }
            QCOMPARE(namesIn(m_folder->path()), names);
            QVERIFY(content.isEmpty() || read(m_path) == content);
            QCOMPARE(errors().size(), 1);
            QVERIFY(errors().first().startsWith(u"morvanel: preferences are not stored: "_s));
            QVERIFY(errors().first().contains(m_folder->path().section(u'\n', 1)));
            QVERIFY(shell(u"rm -r preferences.json"_s));
            preferences.setBoolean(u"other"_s, true);
            QCOMPARE(PreferencesFile(m_path).string(key), u"two"_s);
            QCOMPARE(PreferencesFile(m_path).boolean(u"other"_s), true);
        }
    }

    void keepsTheOldFileWhenTheDiskIsFull()
    {
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
        QCOMPARE(errors().size(), 1);
        syncError = EIO;
        preferences.setString(key, u"new"_s);
        syncError = 0;
        QCOMPARE(errors().size(), 2);
        QCOMPARE(read(m_path), before);
        QCOMPARE(namesIn(m_folder->path()), QStringList{u"preferences.json"_s});
        // A failed write has precedence over the change of another program, and goes with the next write.
        write(m_path, R"({"key": "another's", "more": "another's"})");
        QCOMPARE(preferences.string(key), u"new"_s);
        preferences.remove(u"absent"_s);
        QCOMPARE(PreferencesFile(m_path).string(key), u"new"_s);
        QCOMPARE(PreferencesFile(m_path).string(u"more"_s), u"another's"_s);
        QCOMPARE(PreferencesFile(m_path).data(u"large"_s), QByteArray(100'000, 'x'));
    }

    void takesOverWhatOthersChanged()
    {
        PreferencesFile preferences(m_path);
        preferences.setString(u"a"_s, u"own"_s);
        preferences.setIntegers(u"b"_s, {1}, Durability::OnDisk);
        write(m_path, R"({"a": "theirs", "b": [1, 2], "c": {"d": [0.1, {"e": null}]}})");
        QCOMPARE(preferences.string(u"a"_s), u"theirs"_s);
        preferences.setIntegers(u"b"_s, preferences.integers(u"b"_s).value() << 3, Durability::Eventually);
        const QByteArray merged = read(m_path).simplified().replace(' ', "");
        QCOMPARE(merged, R"({"a":"theirs","b":[1,2,3],"c":{"d":[0.1,{"e":null}]}})");
        write(m_path, "{}");
        preferences.setBoolean(u"f"_s, true);
        QVERIFY(QFile::remove(m_path));
        preferences.setBoolean(u"g"_s, true);
        QCOMPARE(PreferencesFile(m_path).boolean(u"f"_s), true);
        QCOMPARE(PreferencesFile(m_path).string(u"a"_s), std::nullopt);
    }

    void writesThroughALink()
    {
        QVERIFY(shell(u"mkdir -p dotfiles/deep; ln -s dotfiles/deep real; ln -s real/link preferences.json;"
                      "ln -s ../prefs dotfiles/deep/link"_s));
        write(m_folder->filePath(u"dotfiles/.prefs.new-abcdef"_s), "left by a run that was killed");
        PreferencesFile(m_path).setBoolean(key, true);
        QVERIFY(QFileInfo(m_path).isSymLink());
        QCOMPARE(PreferencesFile(m_folder->filePath(u"dotfiles/prefs"_s)).boolean(key), true);
        QCOMPARE(namesIn(m_folder->filePath(u"dotfiles"_s)), (QStringList{u"deep"_s, u"prefs"_s}));
    }
};

QTEST_GUILESS_MAIN(PreferencesFileTest)
#include "tst_preferencesfile.moc"
