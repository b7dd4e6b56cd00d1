// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "FreedesktopApplication.h"
#include "SymbolDrawing.h"

#include <QAbstractNativeEventFilter>
#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QFile>
#include <QPainter>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>
#include <QTimer>

#include <xcb/xcb.h>

using namespace Qt::StringLiterals;

namespace {

/// Shows a window until it is ended: what this program runs as when it plays another one.
const QString otherProgram = u"--other-program"_s;

/// A property of a window as `xprop` tells it.
QString xProperty(WId window, const QString &name)
{
    QProcess xprop;
    xprop.start(u"xprop"_s, {u"-id"_s, QString::number(window), name});
    xprop.waitForFinished();
    return QString::fromUtf8(xprop.readAll());
}

bool skipsTaskbar(const QWidget &window)
{
    const QString state = xProperty(window.winId(), u"_NET_WM_STATE"_s);
    const bool skips = state.contains(u"_NET_WM_STATE_SKIP_TASKBAR");
    return skips && state.contains(u"_NET_WM_STATE_SKIP_PAGER");
}

/// Startup notifications as a desktop hears them: Qt listens to the root window too.
class StartupListener : private QAbstractNativeEventFilter
{
public:
    StartupListener() { qApp->installNativeEventFilter(this); }

    QByteArray heard; ///< the text so far; a NUL ends each message

private:
    bool nativeEventFilter(const QByteArray &, void *event, qintptr *) override
    {
        const auto *message = static_cast<xcb_client_message_event_t *>(event);
        if ((message->response_type & 0x7f) == XCB_CLIENT_MESSAGE && message->format == 8)
            heard.append(reinterpret_cast<const char *>(message->data.data8), 20);
        return false;
    }
};

} // namespace

class TestFreedesktopApplication : public QObject
{
    Q_OBJECT

private:
    static void show(FreedesktopApplication &application, QWidget &window)
    {
        window.show();
        QVERIFY(application.activate(*window.windowHandle()));
    }

private Q_SLOTS:
    void accessoryWindowsSkipTheTaskbar()
    {
        FreedesktopApplication application;
        QWidget open;
        open.show();
        QVERIFY(QTest::qWaitForWindowExposed(&open));
        QVERIFY(!skipsTaskbar(open));

        QWidget minimised;
        minimised.showMinimized();
        QTRY_VERIFY(xProperty(minimised.winId(), u"WM_STATE"_s).contains(u"Iconic"));

        application.setActivationPolicy(ActivationPolicy::Accessory);
        QTRY_VERIFY(skipsTaskbar(open));
        QTRY_VERIFY(skipsTaskbar(minimised));

        QDialog later;
        later.show();
        QVERIFY(QTest::qWaitForWindowExposed(&later));
        QTRY_VERIFY(skipsTaskbar(later));
        open.hide();
        open.show();
        QVERIFY(QTest::qWaitForWindowExposed(&open));
        QTRY_VERIFY(skipsTaskbar(open));

        open.hide();
        application.setActivationPolicy(ActivationPolicy::Regular);
        open.show();
        QVERIFY(QTest::qWaitForWindowExposed(&open));
        QTRY_VERIFY(!skipsTaskbar(later));
        QVERIFY(!skipsTaskbar(open));
        minimised.showNormal();
        QTRY_VERIFY(!skipsTaskbar(minimised));
    }

    void comesInFrontOfOtherPrograms()
    {
        FreedesktopApplication application;
        QWidget first;
        first.show();
        QVERIFY(QTest::qWaitForWindowActive(&first));
        QProcess other;
        other.start(QCoreApplication::applicationFilePath(), {otherProgram});
        QTRY_VERIFY(!QApplication::activeWindow());

        application.activateIgnoringOtherApps();
        QTRY_VERIFY(first.isActiveWindow());

        QProcess third;
        third.start(QCoreApplication::applicationFilePath(), {otherProgram});
        QTRY_VERIFY(!QApplication::activeWindow());
        QWidget second;
        application.setActivationToken("morvanel_TIME0");
        show(application, second);
        QTRY_VERIFY(second.isActiveWindow());
        show(application, first); // while the other one has the keyboard
        QTRY_VERIFY(first.isActiveWindow());
        for (QProcess *process : {&other, &third}) {
            process->terminate();
            QVERIFY(process->waitForFinished());
        }
    }

    /// Also for windows that skip the task bar, which a window manager may pass over.
    void closedWindowPassesTheKeyboardOn()
    {
        FreedesktopApplication application;
        application.setActivationPolicy(ActivationPolicy::Accessory);
        QWidget first;
        show(application, first);
        QVERIFY(QTest::qWaitForWindowActive(&first));
        QWidget second;
        show(application, second);
        QVERIFY(QTest::qWaitForWindowActive(&second));
        QDialog dialog(&first);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowActive(&dialog));
        dialog.close();
        QTRY_VERIFY(first.isActiveWindow());
        first.close();
        QTRY_VERIFY(second.isActiveWindow());
    }

    /// A text that fills its last piece needs another one for the NUL.
    void servedLaunchEndsTheWait()
    {
        StartupListener desktop;
        FreedesktopApplication application;
        application.completeStartup({});
        application.completeStartup("a_TIME7");
        QTRY_COMPARE(desktop.heard, "remove: ID=\"a_TIME7\"" + QByteArray(20, '\0'));
        application.completeStartup("a \"b\\_TIME12345678");
        QTRY_COMPARE(desktop.heard.mid(40),
                     QByteArray("remove: ID=\"a \\\"b\\\\_TIME12345678\"").leftJustified(40, '\0'));
    }

    void terminationIsAskedForAndAnswered()
    {
        FreedesktopApplication application;
        QSignalSpy requests(&application, &FreedesktopApplication::terminationRequested);
        application.terminate();
        QCOMPARE(requests.size(), 1);

        QWidget last;
        last.show();
        QTimer::singleShot(0, &last, [&] {
            application.replyToApplicationShouldTerminate(false);
            last.close();
            QTimer::singleShot(0, &last, [&] { application.replyToApplicationShouldTerminate(true); });
        });
        QCOMPARE(QCoreApplication::exec(), 0);
    }

    void opensAddressesWithoutWaiting()
    {
        QTemporaryDir folder;
        QFile program(folder.filePath(u"xdg-open"_s));
        QVERIFY(program.open(QFile::WriteOnly));
        program.write("#!/bin/sh\nprintf %s \"$1\" >\"$0.part\" && mv \"$0.part\" \"$0.opened\"\n");
        program.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
        program.close();
        qputenv("PATH", folder.path().toUtf8() + ':' + qgetenv("PATH"));

        FreedesktopApplication desktop;
        desktop.open(QUrl(u"https://example.com/a?b=c&d"_s));
        QFile opened(program.fileName() + u".opened"_s);
        QTRY_VERIFY(opened.exists());
        QVERIFY(opened.open(QFile::ReadOnly));
        QCOMPARE(opened.readAll(), "https://example.com/a?b=c&d");
    }

    void dimmedTextCanBeReadOnEveryGround()
    {
        struct Theme
        {
            QColor ground, text, dimmed;
            bool isKept;
        };
        const FreedesktopApplication application;
        const QPalette before = QApplication::palette();
        for (const auto &[ground, text, dimmed, isKept] :
             {Theme{0x1b1e20, Qt::white, Qt::black, false},            // darker than the ground
              Theme{Qt::white, 0x232629, 0x232629, false},             // not dimmed at all
              Theme{0xefefef, Qt::black, QColor(0, 0, 0, 128), false}, // too faint
              Theme{0x1b1e20, Qt::white, 0xa1a9b1, true}}) {           // the desktop's own
            QPalette theme;
            theme.setColor(QPalette::Base, ground);
            theme.setColor(QPalette::Window, ground);
            theme.setColor(QPalette::Text, text);
            theme.setColor(QPalette::PlaceholderText, dimmed);
            QApplication::setPalette(theme);
            const QColor set = QApplication::palette().color(QPalette::PlaceholderText);
            QApplication::setPalette(before);
            QCOMPARE(set == dimmed, isKept);
            QImage page(1, 1, QImage::Format_RGB32);
            page.fill(ground);
            QPainter(&page).fillRect(page.rect(), set);
            const double contrast = SymbolDrawing::contrast(page.pixelColor(0, 0), ground);
            QVERIFY(contrast >= 4.4 && contrast < 0.91 * SymbolDrawing::contrast(text, ground));
        }
    }

    void paintingMakesNoThread()
    {
        const FreedesktopApplication application;
        QTRY_COMPARE(QThreadPool::globalInstance()->activeThreadCount(), 0);
        const auto threads = [] {
            return QDir(u"/proc/self/task"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        };
        const QStringList before = threads();
        QImage image(1500, 1500, QImage::Format_RGB32);
        QLinearGradient gradient(0, 0, 1500, 1500);
        gradient.setColorAt(1, Qt::red);
        QPainter(&image).fillRect(image.rect(), gradient);
        QCOMPARE(threads(), before);
        QVERIFY(QThreadPool::globalInstance()->expiryTimeout() < 0);
    }
};

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    if (application.arguments().contains(otherProgram)) {
        QWidget window;
        window.show();
        return QApplication::exec();
    }
    TestFreedesktopApplication test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_freedesktopapplication.moc"
