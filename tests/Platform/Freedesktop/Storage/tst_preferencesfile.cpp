// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "LowLimit.h"
#include "PreferencesFile.h"

#include <QDirIterator>
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

QString read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
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

    QStringList errors() const { return read(m_errors->fileName()).split(u'\n', Qt::SkipEmptyParts); }

    /// Returns all files by their names, with "->" for a link, or the content without blanks.
    QString files() const
    {
        const QDir folder(m_folder->path());
        QStringList files;
        QDirIterator entries(folder.path(), QDir::Files | QDir::Hidden | QDir::System,
                             QDirIterator::Subdirectories);
        while (entries.hasNext()) {
            const QFileInfo file = entries.nextFileInfo();
            files += folder.relativeFilePath(file.filePath()) + u' ';
            if (file.isFile())
                files.last() += file.isSymLink() ? u"->"_s : read(file.filePath()).simplified().remove(u' ');
        }
        files.sort();
        return files.join(u" | "_s);
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
        m_path = m_folder->filePath(u"p"_s);
        m_errors = std::make_unique<QTemporaryFile>();
        QVERIFY(m_errors->open());
        ::dup3(m_errors->handle(), STDERR_FILENO, 0);
    }
    void cleanup() { ::dup3(m_standardError, STDERR_FILENO, 0); }

    void readsTypes_data()
    {
        QTest::addColumn<QVariantList>("values");
        const auto row = [](const char *json, const QVariantList &values) { QTest::newRow(json) << values; };
        const auto integers = [](const Integers &list) { return QVariantList{QVariant::fromValue(list)}; };
        row(R"("a\u00e9\n\u0000")", {u"aé\n"_s + QChar(0)});
        row("false", {false});
        row(R"({"data": "AP8="})", {QByteArray("\0\xff", 2)});
        row("[]", integers({}));
        row("[2147483647, -2147483648, 7, 7]", integers({2147483647, -2147483648, 7, 7}));
        row("[3.0, 1e3]", integers({3, 1000}));
        for (const char *none :
             {"[3.5]", "[1, true]", "[\"3\"]", "[2147483648]", "[-2147483649]", "[12345678901234567890]",
              "[null]", "[[1]]", "1", "null", "{}", R"({"data": 1})", R"({"data": "no base64!"})",
              R"({"data": "AP8=", "more": 1})"})
            row(none, {});
    }
    /// A row is called what stands in the file.
    void readsTypes()
    {
        const QByteArray json = QTest::currentDataTag();
        write(m_path, "\xef\xbb\xbf{\"key\": 0, \"other\": [{}], \"key\":" + json + "}");
        QTEST(valuesIn(PreferencesFile(m_path)), "values");
    }

    void keepsWhatWasWritten()
    {
        const mode_t mask = ::umask(0);
        PreferencesFile written(m_folder->filePath(u"new/folder/p"_s));
        written.remove(key);
        QVERIFY(!QFile::exists(m_folder->filePath(u"new"_s)));
        written.setString(u"a\""_s, u"\t😀"_s + QChar(0));
        written.setString(key, u"removed"_s);
        written.setBoolean(u"b"_s, true);
        written.setData(u"d"_s, QByteArray("\xff\xff\0", 3));
        written.remove(key);
        syncs = 0;
        written.setIntegers(u"i"_s, {-1, 0, 2147483647}, Durability::Eventually);
        QCOMPARE(syncs, 0);
        written.setIntegers(u"j"_s, {}, Durability::OnDisk);
        QCOMPARE(syncs, 2); // the file and its folder
        ::umask(mask);
        QCOMPARE(files(), u"new/folder/p {\"a\\\"\":\"\\t😀\\u0000\",\"b\":true,\"d\":{\"data\":\"//8A\"},"
                          "\"i\":[-1,0,2147483647],\"j\":[]}"_s);
        QVERIFY(shell(u"test \"$(stat -c %a new/folder new/folder/*)\" = '700\n600'"_s));
    }

    void setsDamagedFilesAside()
    {
        write(m_path + u".damaged"_s, "earlier");
        for (const QByteArray content : {"", "{\"key\": \"va", "[1]", "{}{}", "{\"key\": \"\xff\"}"}) {
            write(m_path, content);
            PreferencesFile(m_path).setBoolean(key, true);
        }
        QCOMPARE(files(), u"p {\"key\":true} | p.damaged earlier | "
                          "p.damaged-2  | p.damaged-3 {\"key\":\"va | "
                          "p.damaged-4 [1] | p.damaged-5 {}{} | "
                          "p.damaged-6 {\"key\":\"\uFFFD\"}"_s);
        QCOMPARE(errors().size(), 5);
        QVERIFY(errors().last().contains(u"p.damaged-6"_s));
    }

    void leavesAloneWhatItCannotReadOrReplace_data()
    {
        QTest::addColumn<QString>("obstacle");
        QTest::addColumn<bool>("isReadable");
        const QString longName = u"ln -s %1 p; echo '%2' > p"_s.arg(QString(255, u'x'));
        QTest::newRow("no name fits beside the longest one") << longName.arg(u"{}"_s) << true;
        QTest::newRow("damaged, and no name fits to set it aside") << longName.arg(u"{"_s) << false;
        QTest::newRow("a folder") << u"mkdir p"_s << false;
        QTest::newRow("a pipe, which nobody writes") << u"mkfifo p"_s << false;
    }
    void leavesAloneWhatItCannotReadOrReplace()
    {
        QFETCH(const QString, obstacle);
        QVERIFY(shell(obstacle));
        const QString before = files();
        PreferencesFile preferences(m_path);
        QList<bool> told; // for the user, who reads no standard error
        preferences.setTold([&](const PreferencesFile::Failure &failure) { told += !failure; });
        QTEST(errors().isEmpty(), "isReadable"); // the write tells what can be read and not replaced
        QCOMPARE(told.isEmpty(), errors().isEmpty());
        for (const QString &value : {u"one"_s, u"two"_s}) {
            preferences.setString(key, value);
            QCOMPARE(preferences.string(key), value);
        }
        QCOMPARE(files(), before);
        QCOMPARE(errors().size(), 1);
        QVERIFY(errors().first().startsWith(u"morvanel: preferences are not stored: "_s));
        QVERIFY(errors().first().contains(m_folder->path().section(u'\n', 1)));
        QVERIFY(shell(u"rm -r *"_s));
        preferences.setBoolean(u"other"_s, true);
        QCOMPARE(told, (QList<bool>{false, true}));
        QCOMPARE(files(), u"p {\"key\":\"two\",\"other\":true}"_s);
    }

    void keepsTheOldFileWhenTheDiskIsFull()
    {
        PreferencesFile preferences(m_path);
        preferences.setString(key, u"old"_s);
        const auto signalHandler = std::signal(SIGXFSZ, SIG_IGN);
        {
            const LowLimit small(RLIMIT_FSIZE, 5'000);
            preferences.setString(u"large"_s, QString(10'000, u'x'));
            preferences.setString(key, u"new"_s);
        }
        std::signal(SIGXFSZ, signalHandler);
        QCOMPARE(errors().size(), 1);
        syncError = EIO;
        preferences.remove(u"absent"_s);
        syncError = 0;
        QCOMPARE(errors().size(), 2);
        QCOMPARE(files(), u"p {\"key\":\"old\"}"_s);
        // A failed write has precedence over the change of another program, and goes with the next write.
        write(m_path, R"({"key": "another's", "more": "another's"})");
        QCOMPARE(preferences.string(key), u"new"_s);
        preferences.remove(u"absent"_s);
        const QString expected = u"p {\"key\":\"new\",\"large\":\"%1\",\"more\":\"another's\"}"_s;
        QCOMPARE(files(), expected.arg(QString(10'000, u'x')));
    }

    void takesOverWhatOthersChanged()
    {
        PreferencesFile preferences(m_path);
        preferences.setString(u"a"_s, u"own"_s);
        preferences.setIntegers(u"b"_s, {1}, Durability::OnDisk);
        write(m_path, R"({"a": "theirs", "b": [1, 2], "c": {"d": [0.1, {"e": null}]}})");
        QCOMPARE(preferences.string(u"a"_s), u"theirs"_s);
        preferences.setIntegers(u"b"_s, preferences.integers(u"b"_s).value() << 3, Durability::Eventually);
        QCOMPARE(files(), u"p {\"a\":\"theirs\",\"b\":[1,2,3],\"c\":{\"d\":[0.1,{\"e\":null}]}}"_s);
        write(m_path, "{}");
        preferences.setBoolean(u"f"_s, true);
        QVERIFY(QFile::remove(m_path));
        preferences.setBoolean(u"g"_s, true);
        QCOMPARE(files(), u"p {\"f\":true,\"g\":true}"_s);
    }

    void writesThroughALink()
    {
        QVERIFY(shell(u"mkdir -p dotfiles/deep; ln -s dotfiles/deep real; ln -s real/link p;"
                      "ln -s ../prefs dotfiles/deep/link; touch dotfiles/.prefs.new-abcdef"_s));
        PreferencesFile(m_path).setBoolean(key, true);
        QCOMPARE(files(), u"dotfiles/deep/link -> | dotfiles/prefs {\"key\":true} | p ->"_s);
    }
};

QTEST_GUILESS_MAIN(PreferencesFileTest)
#include "tst_preferencesfile.moc"
