// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "FreedesktopApplication.h"
#include "SymbolDrawing.h"

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

#include <cstdlib>
#include <memory>

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

/// Startup notifications as a desktop hears them: a client of the X server of its own.
class StartupListener
{
public:
    StartupListener()
    {
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(m_connection.get())).data->root;
        const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(m_connection.get(), root, XCB_CW_EVENT_MASK, &mask);
        std::free(
            xcb_get_input_focus_reply(m_connection.get(), xcb_get_input_focus(m_connection.get()), nullptr));
    }

    /// The text so far; a NUL ends each message.
    QByteArray heard()
    {
        while (auto *event = xcb_poll_for_event(m_connection.get())) {
            const auto *message = reinterpret_cast<xcb_client_message_event_t *>(event);
            if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE && message->format == 8)
                m_heard.append(reinterpret_cast<const char *>(message->data.data8), 20);
            std::free(event);
        }
        return m_heard;
    }

private:
    std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> m_connection{xcb_connect(nullptr, nullptr),
                                                                              &xcb_disconnect};
    QByteArray m_heard;
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
        QTRY_COMPARE(desktop.heard(), "remove: ID=\"a_TIME7\"" + QByteArray(20, '\0'));
        application.completeStartup("a \"b\\_TIME12345678");
        QTRY_COMPARE(desktop.heard().mid(40),
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

    void dimmedTextCanBeReadOnEveryGround_data()
    {
        QTest::addColumn<QColor>("ground");
        QTest::addColumn<QColor>("text");
        QTest::addColumn<QColor>("dimmed");
        QTest::addColumn<bool>("isKept");
        QTest::newRow("darker than the ground")
            << QColor(0x1b1e20) << QColor(Qt::white) << QColor(Qt::black) << false;
        QTest::newRow("not dimmed at all")
            << QColor(Qt::white) << QColor(0x232629) << QColor(0x232629) << false;
        QTest::newRow("too faint") << QColor(0xefefef) << QColor(Qt::black) << QColor(0, 0, 0, 128) << false;
        QTest::newRow("the desktop's own")
            << QColor(0x1b1e20) << QColor(Qt::white) << QColor(0xa1a9b1) << true;
    }

    void dimmedTextCanBeReadOnEveryGround()
    {
        QFETCH(QColor, ground);
        QFETCH(QColor, text);
        QFETCH(QColor, dimmed);
        QFETCH(bool, isKept);
        const FreedesktopApplication application;
        const QPalette before = QApplication::palette();
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
