// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "DisplayServer.h"
#include "FileDescriptor.h"
#include "FreedesktopApplication.h"
#include "SymbolDrawing.h"
#include "X11Connection.h"

#include <QAbstractNativeEventFilter>
#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QPainter>
#include <QSessionManager>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>
#include <QTimer>

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <functional>

using namespace Qt::StringLiterals;

namespace {

/// Another program, with a window.
class OtherProgram
{
public:
    OtherProgram()
    {
        const xcb_window_t window = xcb_generate_id(m_x11);
        xcb_create_window(m_x11, XCB_COPY_FROM_PARENT, window, X11::root(), 0, 0, 99, 99, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        xcb_map_window(m_x11, window);
        xcb_flush(m_x11);
    }
    ~OtherProgram() { xcb_disconnect(m_x11); }

private:
    Q_DISABLE_COPY_MOVE(OtherProgram)
    xcb_connection_t *const m_x11 = xcb_connect(nullptr, nullptr);
};

bool skipsTaskbar(const QWidget &window)
{
    const auto states =
        X11::property(xcb_window_t(window.winId()), X11::atom("_NET_WM_STATE"), XCB_ATOM_ATOM);
    return std::ranges::count(states, X11::atom("_NET_WM_STATE_SKIP_TASKBAR")) +
               std::ranges::count(states, X11::atom("_NET_WM_STATE_SKIP_PAGER")) ==
           2;
}

} // namespace

class TestFreedesktopApplication : public QObject, private QAbstractNativeEventFilter
{
    Q_OBJECT

private:
    /// Hears startup notifications as a desktop does: Qt listens to the root window too.
    bool nativeEventFilter(const QByteArray &, void *event, qintptr *) override
    {
        const auto *message = static_cast<xcb_client_message_event_t *>(event);
        const bool isFirst = m_heard.isEmpty() || m_heard.endsWith('\0');
        if ((message->response_type & 0x7f) == XCB_CLIENT_MESSAGE &&
            message->type == X11::atom(isFirst ? "_NET_STARTUP_INFO_BEGIN" : "_NET_STARTUP_INFO"))
            m_heard.append(reinterpret_cast<const char *>(message->data.data8), 20);
        return false;
    }
    static void show(FreedesktopApplication &application, QWidget &window)
    {
        window.show();
        QVERIFY(application.activate(*window.windowHandle()));
    }

    QByteArray m_heard; ///< a NUL ends each message

private Q_SLOTS:
    void accessoryWindowsSkipTheTaskbar()
    {
        FreedesktopApplication application;
        QWidget open;
        QWidget minimised;
        QDialog later;
        // What this program asks for may be undone for a moment by what the window manager did before.
        const auto allSkip = [&](bool skip) {
            return QTest::qWaitFor([&] {
                return skipsTaskbar(open) == skip && skipsTaskbar(minimised) == skip &&
                       skipsTaskbar(later) == skip;
            });
        };
        open.show();
        QVERIFY(QTest::qWaitForWindowExposed(&open));
        minimised.showMinimized();
        const xcb_atom_t state = X11::atom("WM_STATE");
        const std::vector<quint32> iconic{3, XCB_NONE};
        QTRY_COMPARE(X11::property(xcb_window_t(minimised.winId()), state, state), iconic);
        QVERIFY(allSkip(false));
        application.setActivationPolicy(ActivationPolicy::Accessory);
        later.show();
        QVERIFY(QTest::qWaitForWindowExposed(&later));
        QVERIFY(allSkip(true));
        open.hide();
        open.show();
        QVERIFY(QTest::qWaitForWindowExposed(&open));
        QVERIFY(allSkip(true));

        open.hide();
        application.setActivationPolicy(ActivationPolicy::Regular);
        open.show();
        QVERIFY(QTest::qWaitForWindowExposed(&open));
        minimised.showNormal();
        QVERIFY(allSkip(false));
    }

    void comesInFrontOfOtherPrograms()
    {
        QWidget first;
        first.show();
        QVERIFY(QTest::qWaitForWindowActive(&first));
        QWidget second;
        {
            FreedesktopApplication application;
            const OtherProgram other;
            QTRY_VERIFY(!QApplication::activeWindow());
            application.setActivationToken("morvanel_TIME0");
            show(application, second);
            QTRY_VERIFY(second.isActiveWindow());
            show(application, first); // while the other one has the keyboard
            QTRY_VERIFY(first.isActiveWindow());
        }
        FreedesktopApplication application; // has activated nothing that it would take the keyboard back for
        const OtherProgram other;
        QTRY_VERIFY(!QApplication::activeWindow());
        application.activateIgnoringOtherApps();
        QTRY_VERIFY(QApplication::activeWindow());
    }

    /// GNOME's panel gives the keyboard back to where it was before its menu. A busy machine may be too slow
    /// for one attempt.
    void takesBackTheKeyboardThatItLosesAtOnce()
    {
        FreedesktopApplication application;
        QWidget window;
        window.show();
        const auto isActive = [&] { return window.isActiveWindow(); };
        const auto takesItBack = [&] {
            application.activateIgnoringOtherApps();
            if (!QTest::qWaitFor(isActive))
                return false;
            const OtherProgram other;
            return QTest::qWaitFor(std::not_fn(isActive)) && QTest::qWaitFor(isActive, 1000);
        };
        QVERIFY(takesItBack() || takesItBack() || takesItBack());
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
        qApp->installNativeEventFilter(this);
        FreedesktopApplication application;
        application.completeStartup({});
        application.completeStartup("a_TIME7");
        QTRY_COMPARE(m_heard, "remove: ID=\"a_TIME7\"" + QByteArray(20, '\0'));
        application.completeStartup("a \"b\\_TIME12345678");
        QTRY_COMPARE(m_heard.mid(40),
                     QByteArray("remove: ID=\"a \\\"b\\\\_TIME12345678\"").leftJustified(40, '\0'));
    }

    void terminationIsAskedForAndAnswered()
    {
        FreedesktopApplication application;
        QVERIFY(application.isTestHost());
        auto *session = qGuiApp->findChild<QSessionManager *>();
        Q_EMIT qGuiApp->saveStateRequest(*session);
        QVERIFY2(session->restartHint() == QSessionManager::RestartNever,
                 "the session manager starts the program again, beside autostart");
        QSignalSpy requests(&application, &FreedesktopApplication::terminationRequested);
        application.terminate();
        QEvent quit(QEvent::Quit); // the session manager's wish
        QCoreApplication::sendEvent(qApp, &quit);

        QWidget last;
        last.show();
        QTimer::singleShot(0, &last, [&] {
            application.replyToApplicationShouldTerminate(false);
            last.close();
            QTimer::singleShot(0, &last, [&] { application.replyToApplicationShouldTerminate(true); });
        });
        QCOMPARE(QCoreApplication::exec(), 0);
        QCOMPARE(requests.size(), 2);
    }

    void opensAddressesLater()
    {
        QList<QUrl> opened;
        const QUrl address(u"https://example.com/a?b=c&d"_s);
        FreedesktopApplication application([&opened](const QUrl &url) { opened += url; });
        application.open(address);
        QCOMPARE(opened, QList<QUrl>()); // a menu that was clicked closes first
        QTRY_COMPARE(opened, QList{address});
    }

    void dimmedTextCanBeReadOnEveryGround_data()
    {
        QTest::addColumn<QColor>("ground");
        QTest::addColumn<QColor>("text");
        QTest::addColumn<QColor>("dimmed");
        QTest::addColumn<bool>("isKept");
        const auto row = [](const char *name, const QColor &ground, const QColor &text, const QColor &dimmed,
                            bool isKept) { QTest::newRow(name) << ground << text << dimmed << isKept; };
        row("darker than the ground", 0x1b1e20, Qt::white, Qt::black, false);
        row("not dimmed at all", Qt::white, 0x232629, 0x232629, false);
        row("too faint", 0xefefef, Qt::black, QColor(0, 0, 0, 128), false);
        row("the desktop's own is replaced", 0x1b1e20, Qt::white, 0xa1a9b1, true);
    }
    void dimmedTextCanBeReadOnEveryGround()
    {
        QFETCH(const QColor, ground);
        QFETCH(const QColor, text);
        QFETCH(const QColor, dimmed);
        QFETCH(const bool, isKept);
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
        QVERIFY2((set == dimmed) == isKept, qPrintable(u"the colour is %1 now"_s.arg(set.name())));
        QImage page(1, 1, QImage::Format_RGB32);
        page.fill(ground);
        QPainter(&page).fillRect(page.rect(), set);
        const double contrast = SymbolDrawing::contrast(page.pixelColor(0, 0), ground);
        const double mostContrast = 0.91 * SymbolDrawing::contrast(text, ground);
        QVERIFY2(contrast >= 4.4 && contrast < mostContrast,
                 qPrintable(u"the contrast is %1, wanted 4.4 to %2"_s.arg(contrast).arg(mostContrast)));
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

    void displayServerIsFound_data()
    {
        QTest::addColumn<QByteArrayList>("environment"); // the socket "wl" and the real X server are there
        QTest::addColumn<bool>("hasPlugin");
        QTest::addColumn<QString>("problem"); // a part of it
        const QByteArray x11 = "DISPLAY=" + qgetenv("DISPLAY");
        const QString noDisplay = u"no display"_s;
        const QString noPlugin = u"qt6-wayland"_s;
        const auto row = [](const char *name, const QByteArrayList &environment, bool hasPlugin,
                            const QString &problem) {
            QTest::newRow(name) << environment << hasPlugin << problem;
        };
        row("another platform is not left alone", {"QT_QPA_PLATFORM=offscreen"}, false, {});
        row("a platform that is asked for is not tried", {"QT_QPA_PLATFORM=wayland"}, true, {});
        row("its plug-in is missed", {"QT_QPA_PLATFORM=wayland", x11}, false, noPlugin);
        row("a list of platforms is not left alone", {"QT_QPA_PLATFORM=wayland;xcb"}, true, {});
        row("a compositor is not found", {"WAYLAND_DISPLAY=wl"}, true, {});
        row("a compositor needs no plug-in", {"WAYLAND_DISPLAY=wl"}, false, noPlugin);
        row("X11 beside a compositor is not used", {"WAYLAND_DISPLAY=wl", x11}, false, {});
        row("a compositor's whole path is not found", {"WAYLAND_DISPLAY=<runtime>/wl"}, true, {});
        row("a compositor that is gone is found", {"WAYLAND_DISPLAY=gone"}, true, noDisplay);
        row("a name that is too long is found", {"WAYLAND_DISPLAY=" + QByteArray(108, 'w')}, true, noDisplay);
        row("a compositor's descriptor is not used", {"WAYLAND_SOCKET=3"}, true, {});
        row("a display is found in nothing", {}, true, noDisplay);
        row("an X server that is not there is found", {"DISPLAY=:4711"}, true, noDisplay);
        row("the X server is not found", {x11}, true, {});
    }
    void displayServerIsFound()
    {
        QFETCH(const QByteArrayList, environment);
        QFETCH(const bool, hasPlugin);
        QFETCH(const QString, problem);
        const QTemporaryDir folder;
        QVERIFY(QDir::setCurrent(folder.path()) && QDir().mkpath(u"platforms/libqwayland.so"_s));
        const FileDescriptor compositor(::socket(AF_UNIX, SOCK_STREAM, 0));
        const sockaddr_un name{AF_UNIX, "wl"};
        QCOMPARE(::bind(compositor.get(), reinterpret_cast<const sockaddr *>(&name), sizeof name), 0);
        QCOMPARE(::listen(compositor.get(), 20), 0);
        for (const char *variable : {"QT_QPA_PLATFORM", "WAYLAND_DISPLAY", "WAYLAND_SOCKET", "DISPLAY"})
            qunsetenv(variable);
        qputenv("XDG_RUNTIME_DIR", folder.path().toUtf8());
        for (QByteArray variable : environment) {
            variable.replace("<runtime>", folder.path().toUtf8());
            const qsizetype place = variable.indexOf('=');
            qputenv(variable.left(place).constData(), variable.mid(place + 1));
        }
        const QStringList plugins = QCoreApplication::libraryPaths();
        QCoreApplication::setLibraryPaths(hasPlugin ? QStringList{folder.path()} : QStringList());
        const QString found = DisplayServer().problem();
        QCoreApplication::setLibraryPaths(plugins);
        if (problem.isEmpty())
            QCOMPARE(found, QString());
        QVERIFY2(found.contains(problem), qPrintable(u"wanted \"%1\" in \"%2\""_s.arg(problem, found)));
    }
};

QTEST_MAIN(TestFreedesktopApplication)
#include "tst_freedesktopapplication.moc"
