// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "AutostartLoginItem.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

void write(const QString &path, const QByteArray &content, QFile::Permissions extra = {})
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    file.setPermissions(file.permissions() | extra);
}

} // namespace

class AutostartLoginItemTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_file;

    AutostartLoginItem item(const QString &program = u"/usr/bin/morvanel"_s) const
    {
        return {m_folder->filePath(u"autostart"_s), program};
    }

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_file = m_folder->filePath(u"autostart/com.ardentwick.Morvanel.desktop"_s);
    }

    void readsTheStatus_data()
    {
        using enum LoginItemStatus;
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<LoginItemStatus>("status");
        const QByteArray entry = "[Desktop Entry]\nType=Application\nExec=morvanel\n";
        QTest::newRow("hidden is enabled") << entry + "Hidden=true\n" << RequiresApproval;
        QTest::newRow("not hidden is not enabled") << entry + "Hidden=false\nX-GNOME-Autostart-enabled=true\n"
                                                   << Enabled;
        QTest::newRow("GNOME's own switch is not known")
            << entry + "X-GNOME-Autostart-enabled=false" << RequiresApproval;
        QTest::newRow("MATE's own switch is not known")
            << entry + "X-MATE-Autostart-enabled=false" << RequiresApproval;
        QTest::newRow("an empty file counts") << QByteArray() << NotRegistered;
        QTest::newRow("a file without a group counts") << QByteArray("Hidden=true\n=\n") << NotRegistered;
        QTest::newRow("garbage counts") << QByteArray(300'000, '\xff') + "[Desktop Entry" << NotRegistered;
    }
    void readsTheStatus()
    {
        using enum LoginItemStatus;
        QFETCH(const QByteArray, content);
        const QString installed = m_folder->filePath(u"installed.desktop"_s);
        QVERIFY(QDir(m_folder->path()).mkdir(u"autostart"_s));
        write(installed, content);
        QVERIFY(QFile::link(installed, m_file));
        QTEST(item().status(), "status");
        item().registerItem();
        QVERIFY2(item().status() == Enabled, "registered, it is not enabled");
        item().unregisterItem();
        QVERIFY2(!QFile::exists(m_file), "unregistered, its file is left");
        item().unregisterItem();
        QVERIFY2(item().status() == NotRegistered, "unregistered twice, it is registered");
        QVERIFY2(QFileInfo(installed).size() == content.size(), "the file behind the link was changed");
    }

    /// A launcher of the desktop must find the program, whatever its path.
    void namesTheProgramSoThatItIsFound_data()
    {
        QTest::addColumn<QString>("name");
        for (const QString &name :
             {u"plain"_s, u"two  words"_s, u"quo\"te'"_s, u"$HOME"_s, u"%f %% 100%"_s, u"back\\slash\\n"_s,
              u"`ls`"_s, u"a;b|c&(d)*?~#<>"_s, u"tab\tand\nline\r"_s, u"é😀"_s})
            QTest::newRow(qPrintable(name.simplified())) << name;
    }
    void namesTheProgramSoThatItIsFound()
    {
        QFETCH(const QString, name);
        const QString program = m_folder->filePath(name);
        write(program, "#!/bin/sh\ntouch \"$(dirname \"$0\")/proof$#\"\n", QFile::ExeOwner);
        item(program).registerItem();
        // Any complaint counts, whatever the exit code.
        const QString launch = u"desktop-file-validate $0 2>&1 | { ! grep . >&2; } && gio launch $0"_s;
        QCOMPARE(QProcess::execute(u"/bin/sh"_s, {u"-c"_s, launch, m_file}), 0);
        QTRY_VERIFY2(QFile::exists(m_folder->filePath(u"proof0"_s)), "the program was not started");
    }

    void saysWhatFailed()
    {
        write(m_folder->filePath(u"file"_s), "");
        QVERIFY(QDir(m_folder->path()).mkpath(u"folder/com.ardentwick.Morvanel.desktop"_s));
        for (const QString &place : {u"file"_s, u"file/deep/er"_s, u"folder"_s}) {
            AutostartLoginItem login(m_folder->filePath(place), u"/usr/bin/morvanel"_s);
            for (const auto change : {&LoginItem::registerItem, &LoginItem::unregisterItem}) {
                try {
                    (login.*change)();
                    QFAIL("no failure");
                } catch (const LoginItemError &error) {
                    QVERIFY2(error.message().contains(place), qPrintable(error.message()));
                    QVERIFY2(error.message().contains(u" a directory"_s), qPrintable(error.message()));
                }
            }
            QCOMPARE(login.status(), LoginItemStatus::NotRegistered);
        }
    }
};

QTEST_GUILESS_MAIN(AutostartLoginItemTest)
#include "tst_autostartloginitem.moc"
