// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "FreedesktopStatusItem.h"
#include "LauncherEntryProxy.h"
#include "PanelIcon.h"
#include "PanelTest.h"
#include "Pictures.h"
#include "ShownWidgets.h"
#include "StatusNotifierItemProxy.h"
#include "SymbolDrawing.h"
#include "X11Connection.h"
#include "dbusmenuProxy.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QScreen>
#include <QSignalSpy>
#include <QSvgRenderer>
#include <QTemporaryDir>
#include <QWindow>
#include <QtEndian>

#include <sys/prctl.h>

#include <algorithm>
#include <memory>
#include <tuple>
#include <utility>

namespace {

const Symbol idle{u"bolt.horizontal.icloud"_s, u"None active"_s, u"morvanel-idle"_s, ColorRole::None, true};
const Symbol online{u"bolt.horizontal.icloud.fill"_s, u"Connected"_s, u"morvanel-connected"_s,
                    ColorRole::Green};
const Symbol problem{u"exclamationmark.icloud.fill"_s, u"Problem"_s, u"morvanel-problem"_s, ColorRole::Red};

StatusItemContent content(const Symbol &image, const QString &count = {})
{
    return {image, count, u"Tip"_s, count};
}

QWidget *trayIcon()
{
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        if (widget->inherits("QSystemTrayIconSys") && widget->isVisible())
            return widget;
    }
    return nullptr;
}

QMenu *popup()
{
    return qobject_cast<QMenu *>(QApplication::activePopupWidget());
}

} // namespace

/// A panel's side of org.kde.StatusNotifierWatcher. Answers the first registrations with an error, or takes
/// them without ever answering.
class FakeWatcher : public QObject, public BusClient
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered MEMBER hasHost)

public:
    explicit FakeWatcher(int refusals = 0, bool isFrozen = false,
                         const QString &address = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"))
        : BusClient(u"watcher"_s, address)
        , m_refusals(refusals)
        , m_isFrozen(isFrozen)
    {
        bus.registerObject(u"/StatusNotifierWatcher"_s, this, QDBusConnection::ExportAllContents);
        bus.registerService(u"org.kde.StatusNotifierWatcher"_s);
    }

    QStringList items; ///< registered so far
    bool hasHost = true;

public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString &service, const QDBusMessage &message)
    {
        message.setDelayedReply(m_isFrozen || m_refusals > 0);
        if (m_isFrozen || m_refusals-- <= 0)
            items += service;
        else
            bus.send(message.createErrorReply(QDBusError::UnknownObject, QString()));
    }

Q_SIGNALS:
    void StatusNotifierHostRegistered();
    void StatusNotifierHostUnregistered();

private:
    int m_refusals;
    bool m_isFrozen;
};

class TestFreedesktopStatusItem : public QObject
{
    Q_OBJECT

private:
    void makeItem(const QString &folder, const QDBusConnection &bus = QDBusConnection::sessionBus())
    {
        m_item.reset();
        m_item = std::make_unique<FreedesktopStatusItem>(bus, folder, QList<Symbol>{idle, online});
        m_item->setCallbacks({[this] { m_events += u"about to show"_s; },
                              [this](const MenuItem &chosen) { m_events += chosen.id; }});
        connect(m_item.get(), &FreedesktopStatusItem::activationTokenProvided, this,
                [this](const QByteArray &token) { m_events += QString::fromUtf8(token); });
        m_item->setContent(content(idle));
        m_item->setMenu(menu());
        m_item->setDockMenu(menu());
    }
    QString read() { return line(propertiesOf(m_panel)).remove(m_folder.path()); }
    QImage icon(int number)
    {
        const auto all = qdbus_cast<IconPixmapList>(propertiesOf(m_panel).value(u"IconPixmap"_s));
        const auto &[width, height, bytes] = all.value(number);
        QImage icon(width, height, QImage::Format_ARGB32);
        qFromBigEndian<quint32>(bytes.constData(), qMin(icon.sizeInBytes(), bytes.size()) / 4, icon.bits());
        return icon;
    }
    QString heard()
    {
        read(); // what was sent before has come by now
        return std::exchange(m_heard, {}).join(u' ');
    }
    QVariant propertyOf(int entry, const QString &name)
    {
        auto menuBar = m_client.proxy<dbusmenuProxy>(u"/MenuBar"_s);
        const QVariant property = answerTo(menuBar.GetProperty(entry, name)).arguments().value(0);
        return property.value<QDBusVariant>().variant();
    }
    /// Returns all that one panel is shown in another way than others.
    QString shown()
    {
        const QVariantMap item = propertiesOf(m_panel);
        const QString key = qdbus_cast<MenuShortcut>(propertyOf(6, u"shortcut"_s)).value(0).value(1);
        const bool hasPicture = !propertyOf(4, u"icon-data"_s).toByteArray().isEmpty();
        m_item->setContent(content(online, u"2"_s));
        const QString counted = propertiesOf(m_panel)[u"IconName"_s].toString();
        m_item->setContent(content(idle));
        return QStringList{
            propertyOf(3, u"label"_s).toString(),     u"key "_s + key,
            hasPicture ? u"dots"_s : u"no dots"_s,    item[u"IconName"_s].toString().remove(m_folder.path()),
            item[u"IconAccessibleDesc"_s].toString(), u"drawn "_s + counted.section(u'/', -2, -2)}
            .join(u", "_s);
    }
    QString events() { return std::exchange(m_events, {}).join(u", "_s); }

    BusClient m_client{u"client"_s};
    StatusNotifierItemProxy m_panel = m_client.proxy<StatusNotifierItemProxy>(u"/StatusNotifierItem"_s);
    QTemporaryDir m_folder;
    std::unique_ptr<FreedesktopStatusItem> m_item;
    QStringList m_events;
    QStringList m_heard;

private Q_SLOTS:
    void initTestCase()
    {
        connect(&m_panel, &StatusNotifierItemProxy::NewIcon, this, [this] { m_heard += u"icon"_s; });
        connect(&m_panel, &StatusNotifierItemProxy::NewTitle, this, [this] { m_heard += u"title"_s; });
        connect(&m_panel, &StatusNotifierItemProxy::NewToolTip, this, [this] { m_heard += u"tip"_s; });
    }
    void init()
    {
        makeItem(m_folder.path());
        heard();
        m_events.clear();
    }
    void cleanup() { m_item.reset(); }

    void panelReadsTheItem()
    {
        m_item->setContent(content(online, u" 2"_s));
        NO_FAULT(Pictures::difference(
            read(), u"Category=ApplicationStatus IconAccessibleDesc=Connected "
                    "IconName=/morvanel/icons/full/morvanel-connected-2.svg IconPixmap= 16 22 24 32 48 64 "
                    "IconThemePath=/morvanel/icons Id=MorvanelStatusItem ItemIsMenu=true "
                    "Menu=/MenuBar Status=Active Title=Morvanel 2 ToolTip=Tip+1 WindowId=0"_s));
        QCOMPARE(icon(3).pixelColor(8, 20), SymbolDrawing::colorInRim(ColorRole::Green));
        m_item->setContent(content(online, u" 1234"_s)); // its count is "99+"
        QString count;
        for (int i = 0; i < 5 * 11; ++i) {
            const bool isWhite = qGray(icon(0).pixel(4 + i % 11, 10 + i / 11)) > 170;
            count += (i % 11 ? u""_s : u"\n"_s) + (isWhite ? u'#' : u' ');
        }
        NO_FAULT(Pictures::difference(count, uR"(
### ###    
# # # #  # 
### ### ###
  #   #  # 
### ###    )"_s));
        for (const auto &number : {u" 2"_s, u" 12"_s, u" 120"_s}) // leaves the dot of "!" as it is
            QCOMPARE(PanelIcon(problem, number).images({}).last().pixelColor(28, 34), QColor(Qt::white));
    }

    void changesAreAnnouncedOnce()
    {
        StatusItemContent shown = content(online, u" 2"_s);
        m_item->setContent(shown);
        m_item->setContent(shown);
        QCOMPARE(heard(), u"icon title tip"_s);
        shown.toolTip = u"other"_s;
        m_item->setContent(shown);
        QCOMPARE(heard(), u"tip"_s);
        m_item->setContent(content(idle));
        QCOMPARE(heard(), u"icon title tip"_s);

        const QImage before = icon(0);
        const QPalette palette = QApplication::palette();
        QPalette red = palette;
        red.setColor(QPalette::WindowText, Qt::red);
        QApplication::setPalette(red); // a template image is in the text colour
        QCOMPARE(heard(), u"icon tip"_s);
        QVERIFY(icon(0) != before);
        QApplication::setPalette(palette);
        heard();
        QDBusMessage plasma = QDBusMessage::createSignal(u"/KGlobalSettings"_s, u"org.kde.KGlobalSettings"_s,
                                                         u"notifyChange"_s);
        plasma << 0 << 0;
        QVERIFY(m_client.bus.send(plasma)); // it draws the icon in its new colours when it reads it again
        QTRY_COMPARE(m_heard, QStringList{u"icon"_s});
    }

    void everyPictureHasAFileOfItsOwn()
    {
        const QTemporaryDir folder;
        makeItem(folder.path());
        const QDir icons(folder.filePath(u"morvanel/icons"_s));
        QCOMPARE(icons.entryList(QDir::Files).join(u", "_s),
                 u"morvanel-connected.svg, morvanel-idle-symbolic.svg, morvanel-idle.svg"_s);
        QSet<QByteArray> pictures;
        const auto look = [&](const QString &path) {
            QFile file(path);
            QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(path));
            pictures += file.readAll();
            QCOMPARE(QSvgRenderer(path).defaultSize(), QSize(64, 64)); // Xfce draws a smaller one small
        };
        const PanelIcon::Fit fits[]{PanelIcon::Fit::Full, PanelIcon::Fit::Small, PanelIcon::Fit::Margin};
        for (const auto &count : {u""_s, u"12"_s, u"90"_s, u"1234"_s})
            for (const PanelIcon::Fit fit : fits)
                look(PanelIcon(online, count).writeFile(folder.path(), fit));
        QCOMPARE(pictures.size(), 12);
        QVERIFY(!pictures.values().join().contains("ColorScheme")); // a panel would tint it
        const QString themed = u"hicolor/%1/status/morvanel-%2.svg"_s;
        for (const auto &[size, name, side] : {std::tuple(u"22x22"_s, u"idle-symbolic"_s, 15),
                                               {u"scalable"_s, u"idle-symbolic"_s, 16},
                                               {u"22x22"_s, u"idle"_s, 16},
                                               {u"scalable"_s, u"idle"_s, 16}}) {
            QSvgRenderer drawing(icons.filePath(themed.arg(size, name)));
            QCOMPARE(drawing.viewBoxF().toRect().width(), side);
            const QRectF element = drawing.boundsOnElement(u"morvanel-idle"_s); // which Plasma draws
            QCOMPARE(element.toAlignedRect(), drawing.viewBoxF().toAlignedRect());
        }
        QVERIFY(icons.exists(u"hicolor/index.theme"_s));

        makeItem(u"/proc/nowhere"_s);
        QVERIFY(read().contains(u"Desc=None active IconPixmap= 16 22 24 32 48 64 Id="_s)); // no name, no path
    }

    void registersOnceAtEveryWatcher_data()
    {
        QTest::addColumn<bool>("isFirst"); // there before the item
        QTest::addColumn<int>("refusals");
        QTest::addColumn<bool>("isFrozen");

        QTest::newRow("gives up after two refusals") << true << 2 << false;
        QTest::newRow("registers twice at one that was there") << true << 0 << false;
        QTest::newRow("gives up at one that came later") << false << 2 << false;
        QTest::newRow("registers twice at one that does not answer") << false << 0 << true;
    }
    void registersOnceAtEveryWatcher()
    {
        QFETCH(bool, isFirst);
        QFETCH(int, refusals);
        QFETCH(bool, isFrozen);
        if (isFirst)
            m_item.reset();
        const FakeWatcher watcher(refusals, isFrozen);
        if (isFirst)
            makeItem(m_folder.path());
        QTRY_COMPARE(watcher.items.join(u", "_s), QDBusConnection::sessionBus().baseService());
        read(); // another registration has been sent by now, and has come after the next call
        answerTo(watcher.bus.interface()->asyncCall(u"GetId"_s));
        QCOMPARE(watcher.items.size(), 1); // two would be two icons in some panels
    }

    void panelsAreToldApart_data()
    {
        QTest::addColumn<QString>("busName");
        QTest::addColumn<QByteArray>("process");
        QTest::addColumn<QString>("shown");

        const auto row = [](const char *fault, const QString &busName, const QByteArray &process,
                            const QString &shown) { QTest::newRow(fault) << busName << process << shown; };
        row("Plasma: two lines, or no margin", u"org.kde.plasmashell"_s, "kded5",
            u"a__1__ — Stopped, key ,, no dots, morvanel-idle, None active, drawn margin"_s);
        row("Xfce: read out twice", u"org.xfce.Panel"_s, "wrapper-2.0",
            u"a__1__\nStopped, key comma, dots, morvanel-idle-symbolic, , drawn full"_s);
        row("LXQt: two lines, or a themed icon", u"a.b"_s, "lxqt-panel",
            u"a__1__ — Stopped, key ,, no dots, /morvanel/icons/full/morvanel-idle.svg, None active, drawn full"_s);
        row("GNOME: last underline eaten, or large or old icon", u"a.b"_s, "gnome-shell",
            u"a__1_\nStopped, key comma, no dots, morvanel-idle-symbolic, None active, drawn small"_s);
        row("Cinnamon: icon of one colour", u"a.b"_s, "xapp-sn-watcher",
            u"a__1__\nStopped, key comma, dots, /morvanel/icons/full/morvanel-idle.svg, None active, drawn full"_s);
        row("MATE: blurred count", u"a.b"_s, "notification-ar",
            u"a__1__\nStopped, key comma, dots, /morvanel/icons/full/morvanel-idle.svg, None active, drawn "_s);
    }
    void panelsAreToldApart()
    {
        QFETCH(QString, busName);
        QFETCH(QByteArray, process);
        QFETCH(QString, shown);
        ::prctl(PR_SET_NAME, process.constData());
        const FakeWatcher watcher;
        BusClient panel(u"panel"_s);
        QVERIFY(panel.bus.registerService(busName));
        NO_FAULT(Pictures::waitFor([this] { return this->shown(); }, shown));
        heard();
        if (process == "gnome-shell") // may have lost the news of the last change
            QTRY_COMPARE(m_heard, QStringList{u"icon"_s});
    }

    void clicksOpenTheMenuAtThePointer_data()
    {
        QTest::addColumn<QVariantList>("arguments");

        for (const char *method : {"Activate", "SecondaryActivate", "ContextMenu"})
            QTest::newRow(method) << QVariantList{1, 2};
        QTest::newRow("XAyatanaSecondaryActivate") << QVariantList{0U};
    }
    void clicksOpenTheMenuAtThePointer()
    {
        QFETCH(QVariantList, arguments);
        const QString method = QString::fromLatin1(QTest::currentDataTag());
        QCursor::setPos(301, 207);
        m_panel.asyncCallWithArgumentList(method, arguments);
        QTRY_VERIFY2(popup(), "no menu opens");
        QCOMPARE(popup()->pos(), QPoint(301, 207));
        popup()->setActiveAction(popup()->actions()[2]);
        QTest::keyClick(popup(), Qt::Key_Return); // a synthetic click is lost on Qt 6.8 and X11
        QTRY_COMPARE(m_events.size(), 2);
        QCOMPARE(events(), u"about to show, tunnel-1"_s);
        QVERIFY(!popup());

        BusClient plasma(u"plasma"_s); // opens the menu itself where it is refused
        QVERIFY(plasma.bus.registerService(u"org.kde.plasmashell"_s));
        QTRY_COMPARE(propertyOf(3, u"label"_s), u"a__1__ — Stopped"_s);
        QCOMPARE(answerTo(m_panel.asyncCallWithArgumentList(method, arguments)).type(),
                 QDBusMessage::ErrorMessage);
    }

    void otherInputIsTaken()
    {
        QCOMPARE(answerTo(m_panel.Scroll(1, u"vertical"_s)).type(), QDBusMessage::ReplyMessage);
        answerTo(m_panel.ProvideXdgActivationToken(u"token"_s));
        QCOMPARE(events(), u"token"_s);
        QVERIFY(!qEnvironmentVariableIsSet("XDG_ACTIVATION_TOKEN")); // children would inherit it
    }

    void openPopupFollowsInPlaceAndIsPainted()
    {
        const QRect screen = QGuiApplication::primaryScreen()->geometry();
        QCursor::setPos(screen.bottomRight());
        answerTo(m_panel.Activate(1, 2));
        QTRY_VERIFY(popup());
        const QList<QAction *> before = popup()->actions();
        Menu next = menu();
        for (int number = 3; number < 9; ++number)
            next += tunnel(number, u"Stopped"_s);
        m_item->setMenu(next);
        QVERIFY(screen.contains(popup()->geometry())); // it grew at the edge of the screen
        next = menu();
        next[2] = tunnel(1, u"Connected & well"_s, ColorRole::Green);
        next[2].shortcut = u"k"_s;
        next.removeAt(4);
        m_item->setMenu(next);
        const QList<QAction *> after = popup()->actions();
        QStringList entries;
        for (const QAction *action : after) {
            const QString text = action->isSeparator() ? u"---"_s : action->text();
            entries += (action->isEnabled() ? text : u'(' + text + u')') + u" <"_s + action->toolTip() +
                       u"> "_s + action->shortcut().toString();
        }
        NO_FAULT(Pictures::difference(
            entries.join(u", "_s),
            u"(Morvanel) <Morvanel> , --- <> , a_1_\nConnected && well <Click to stop> Ctrl+K, "
            "    a.example <a.example> , Logs <Logs> Ctrl+,, Quit <Quit> Ctrl+Q"_s));
        QCOMPARE(after[2], before[2]);
        QVERIFY(popup()->toolTipsVisible());
        QVERIFY(popup()->rect().contains(popup()->actionGeometry(after.last())));

        QPalette faint = popup()->palette();
        faint.setColor(QPalette::Disabled, QPalette::Text, Qt::transparent);
        popup()->setPalette(faint);
        QVERIFY(ShownWidgets::hasInk(*popup(), popup()->actionGeometry(after[0]).adjusted(9, 3, -9, -3)));
        const QRect place = popup()->actionGeometry(after[2]);
        for (const auto &[role, color] : {std::pair(QPalette::Highlight, 0x308cc6),
                                          {QPalette::Highlight, 0x239a47},
                                          {QPalette::Window, 0x202020}}) {
            QPalette palette = role == QPalette::Window ? QPalette(QColor(color)) : popup()->palette();
            palette.setColor(role, QColor(color));
            popup()->setPalette(palette);
            popup()->setActiveAction(role == QPalette::Highlight ? after[2] : nullptr);
            const QImage image = popup()->grab(place).toImage();
            const int half = place.height() / 2 - 4;
            const QColor ground = image.pixelColor(27, half);
            QCOMPARE(image.pixelColor(16, 4 + half / 2), SymbolDrawing::color(ColorRole::Green, palette));
            for (const QPoint &text : {QPoint(30, 4), QPoint(30, half + 8), QPoint(place.width() - 20, 4)}) {
                double contrast = 1;
                for (int i = 0; i < 12 * (half - 4); ++i) {
                    const QColor pixel = image.pixelColor(text + QPoint(i % 12, i / 12));
                    contrast = std::max(contrast, SymbolDrawing::contrast(pixel, ground));
                }
                QVERIFY2(contrast > 3, qPrintable(ground.name()));
            }
        }
        after[3]->trigger();
        QTRY_COMPARE(m_events.last(), u"address"_s);
        popup()->close();
    }

    void trayStandsInForAPanel()
    {
        QProcess daemon;
        daemon.start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address"_s});
        QTRY_VERIFY(daemon.canReadLine());
        const QString address = QString::fromLocal8Bit(daemon.readLine().trimmed());
        makeItem(m_folder.path(), QDBusConnection::connectToBus(address, u"item on another bus"_s));
        QVERIFY(X11::property(XCB_NONE, X11::atom("A"), XCB_ATOM_CARDINAL).empty()); // its owner has gone
        QVERIFY(QSignalSpy(m_item->findChild<QTimer *>(), &QTimer::timeout).wait()); // there is neither
        QWindow tray;
        xcb_client_message_event_t started{XCB_CLIENT_MESSAGE, 32, 0, X11::root(), X11::atom("MANAGER"), {}};
        started.data.data32[1] = X11::atom("_NET_SYSTEM_TRAY_S0");
        xcb_set_selection_owner(X11::connection(), xcb_window_t(tray.winId()), started.data.data32[1],
                                XCB_CURRENT_TIME);
        xcb_send_event(X11::connection(), false, X11::root(), XCB_EVENT_MASK_STRUCTURE_NOTIFY,
                       reinterpret_cast<const char *>(&started));
        xcb_flush(X11::connection());
        QTRY_VERIFY(trayIcon());
        QTest::mouseClick(trayIcon(), Qt::LeftButton);
        QTRY_VERIFY(popup());
        popup()->close();
        FakeWatcher panel(0, false, address);
        QTRY_VERIFY(!trayIcon());
        panel.hasHost = false;
        Q_EMIT panel.StatusNotifierHostUnregistered();
        QTRY_VERIFY(trayIcon());
        panel.hasHost = true;
        Q_EMIT panel.StatusNotifierHostRegistered();
        QTRY_VERIFY(!trayIcon());
        daemon.kill(); // nobody tells that the panel is gone
        QTRY_VERIFY(trayIcon());
        QTest::failOnWarning(QRegularExpression(u"."_s));
        makeItem(m_folder.path(), QDBusConnection(u"no such bus"_s));
        QVERIFY(!trayIcon());
        QTRY_VERIFY(trayIcon());
    }

    void launcherHearsOfTheBadge()
    {
        LauncherEntryProxy anyone({}, {}, m_client.bus); // a launcher listens to every program
        const auto text = [](const QVariantMap &badge) {
            return badge[u"count"_s].toString() + (badge[u"count-visible"_s].toBool() ? u""_s : u" hidden"_s);
        };
        QStringList updates;
        connect(&anyone, &LauncherEntryProxy::Update, this,
                [&](const QString &uri, const QVariantMap &badge) {
                    QCOMPARE(uri, u"application://com.ardentwick.Morvanel.desktop"_s);
                    updates += text(badge);
                });
        read(); // the bus knows by now who listens
        makeItem(m_folder.path());
        m_item->setContent(content(online, u" 3"_s));
        m_item->setContent(content(online));
        m_item->setContent(content(idle)); // the same badge
        QTRY_COMPARE(updates.join(u", "_s), u"0 hidden, 3, 0 hidden"_s);
        m_item->setContent(content(online, u" 4"_s));
        QVERIFY(m_client.bus.registerService(u"com.canonical.Unity"_s)); // a launcher that starts late
        QTRY_COMPARE(updates.join(u", "_s), u"0 hidden, 3, 0 hidden, 4, 4"_s);
        auto entry = m_client.proxy<LauncherEntryProxy>(u"/com/canonical/unity/launcherentry/morvanel"_s);
        const auto asked = qdbus_cast<QVariantMap>(answerTo(entry.Query()).arguments().value(1));
        QCOMPARE(text(asked) + asked[u"quicklist"_s].toString(), u"4/DockMenu"_s);
        answerTo(m_client.proxy<dbusmenuProxy>(u"/DockMenu"_s).Event(7, u"clicked"_s, QDBusVariant(0), 0));
        QTRY_COMPARE(m_events.join(u", "_s), u"quit"_s);
    }
};

QTEST_MAIN(TestFreedesktopStatusItem)
#include "tst_freedesktopstatusitem.moc"
