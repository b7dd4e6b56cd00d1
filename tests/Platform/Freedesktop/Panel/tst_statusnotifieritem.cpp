// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "BusClient.h"
#include "LauncherEntry.h"
#include "Samples.h"
#include "StatusNotifierItem.h"

#include <QDBusAbstractInterface>
#include <QDBusObjectPath>
#include <QDir>
#include <QPalette>
#include <QSvgRenderer>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <memory>

using namespace Qt::StringLiterals;

static const QString itemInterface = u"org.kde.StatusNotifierItem"_s;

/// The signals of org.kde.StatusNotifierItem.
class ItemSignals : public QDBusAbstractInterface
{
    Q_OBJECT

public:
    explicit ItemSignals(const QDBusConnection &bus)
        : QDBusAbstractInterface(QDBusConnection::sessionBus().baseService(), u"/StatusNotifierItem"_s,
                                 "org.kde.StatusNotifierItem", bus, nullptr)
    {
    }

Q_SIGNALS:
    void NewIcon();
    void NewTitle();
    void NewToolTip();
};

/// The signal of com.canonical.Unity.LauncherEntry.
class LauncherSignals : public QDBusAbstractInterface
{
    Q_OBJECT

public:
    explicit LauncherSignals(const QDBusConnection &bus)
        : QDBusAbstractInterface(QDBusConnection::sessionBus().baseService(), QString(),
                                 "com.canonical.Unity.LauncherEntry", bus, nullptr)
    {
    }

Q_SIGNALS:
    void Update(const QString &uri, const QVariantMap &properties);
};

/// Hears the signals of the item, as a panel does, and those of the launcher entry.
struct Panel
{
    explicit Panel(const QDBusConnection &bus)
        : item(bus)
        , launcher(bus)
    {
    }

    ItemSignals item;
    LauncherSignals launcher;
    QSignalSpy icons{&item, &ItemSignals::NewIcon};
    QSignalSpy titles{&item, &ItemSignals::NewTitle};
    QSignalSpy toolTips{&item, &ItemSignals::NewToolTip};
    QSignalSpy updates{&launcher, &LauncherSignals::Update};
};

class TestStatusNotifierItem : public QObject
{
    Q_OBJECT

private:
    QVariantMap itemProperties()
    {
        const auto reply = m_client->ask(BusClient::call(
            u"/StatusNotifierItem"_s, u"org.freedesktop.DBus.Properties"_s, u"GetAll"_s, {itemInterface}));
        return qdbus_cast<QVariantMap>(reply.arguments().value(0));
    }

    std::unique_ptr<BusClient> m_client;
    std::unique_ptr<Panel> m_panel;
    QTemporaryDir m_folder;

private Q_SLOTS:
    void init()
    {
        m_client = std::make_unique<BusClient>(u"client"_s);
        m_panel = std::make_unique<Panel>(m_client->bus());
    }
    void cleanup()
    {
        m_panel.reset();
        m_client.reset();
    }

    void itemHasItsProperties()
    {
        StatusNotifierItem item(QDBusConnection::sessionBus(), u"/MenuBar"_s, m_folder.path());
        item.setContent(Samples::content(u"connected"_s, 2));
        const QVariantMap properties = itemProperties();
        const QVariantMap expected{
            {u"Id"_s, u"MorvanelStatusItem"_s},
            {u"Category"_s, u"ApplicationStatus"_s},
            {u"Status"_s, u"Active"_s},
            {u"Title"_s, u"Morvanel 2"_s},
            {u"ItemIsMenu"_s, true},
            {u"IconAccessibleDesc"_s, u"Tunnels connected"_s},
            {u"IconThemePath"_s, m_folder.filePath(u"morvanel/icons"_s)},
            {u"IconName"_s, m_folder.filePath(u"morvanel/icons/morvanel-connected-2.svg"_s)},
        };
        for (auto property = expected.cbegin(); property != expected.cend(); ++property)
            QCOMPARE(properties.value(property.key()), property.value());
        QCOMPARE(properties.value(u"Menu"_s).value<QDBusObjectPath>().path(), u"/MenuBar"_s);
        QVERIFY(!properties.contains(u"XAyatanaLabel"_s));
        const auto toolTip = qdbus_cast<ItemToolTip>(properties.value(u"ToolTip"_s));
        QCOMPARE(toolTip.title, u"Morvanel: connected"_s);
        QCOMPARE(toolTip.text, QString());
        QVERIFY(QFile::exists(properties.value(u"IconName"_s).toString()));
    }

    void pixmapsAreInNetworkByteOrder()
    {
        StatusNotifierItem item(QDBusConnection::sessionBus(), u"/MenuBar"_s, m_folder.path());
        item.setContent(Samples::content(u"problem"_s, 0));
        QList<int> sides;
        for (const IconPixmap &pixmap : qdbus_cast<IconPixmapList>(itemProperties().value(u"IconPixmap"_s))) {
            sides += pixmap.width;
            QCOMPARE(pixmap.bytes.size(), pixmap.width * pixmap.height * 4);
            const qsizetype row = pixmap.height * 5 / 8;
            const char *pixel = pixmap.bytes.constData() + (row * pixmap.width + pixmap.width / 4) * 4;
            const QColor color = QColor::fromRgba(qFromBigEndian<quint32>(pixel));
            QCOMPARE(color.alpha(), 255);
            QVERIFY(color.red() > 2 * color.green() && color.red() > 2 * color.blue());
        }
        QCOMPARE(sides, QList<int>({16, 22, 24, 32, 48, 64}));
    }

    void onlyChangesAreAnnounced()
    {
        StatusNotifierItem item(QDBusConnection::sessionBus(), u"/MenuBar"_s, m_folder.path());
        item.setContent(Samples::content(u"connecting"_s, 0));
        item.setContent(Samples::content(u"connected"_s, 2));
        QTRY_COMPARE(m_panel->toolTips.count(), 1);
        QCOMPARE(m_panel->icons.count(), 1);
        QCOMPARE(m_panel->titles.count(), 1);
        StatusItemContent content = Samples::content(u"connected"_s, 2);
        content.toolTip = u"other"_s;
        item.setContent(content);
        item.setContent(content);
        itemProperties();
        QCOMPARE(m_panel->toolTips.count(), 2);
        QCOMPARE(m_panel->icons.count(), 1);
    }

    void everyPictureHasAFileOfItsOwn()
    {
        StatusNotifierItem item(QDBusConnection::sessionBus(), u"/MenuBar"_s, m_folder.path());
        const QDir themed(m_folder.filePath(u"morvanel/icons/hicolor/scalable/status"_s));
        QSet<QByteArray> pictures;
        for (const QString &name : {u"morvanel-idle-symbolic"_s, u"morvanel-connecting"_s,
                                    u"morvanel-connected"_s, u"morvanel-problem"_s}) {
            QFile file(themed.filePath(name + u".svg"_s));
            QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.fileName()));
            const QByteArray svg = file.readAll();
            QVERIFY(QSvgRenderer(svg).isValid());
            pictures.insert(svg);
        }
        QCOMPARE(pictures.size(), 4);
        item.setContent(Samples::content(u"idle"_s, 0));
        QCOMPARE(item.iconName(), u"morvanel-idle-symbolic"_s);
    }

    void lostFilesAreWrittenAgain()
    {
        StatusNotifierItem item(QDBusConnection::sessionBus(), u"/MenuBar"_s, m_folder.path());
        item.setContent(Samples::content(u"connected"_s, 2));
        QVERIFY(QDir(m_folder.filePath(u"morvanel"_s)).removeRecursively());
        QVERIFY(QFile::exists(item.iconName()));
        QVERIFY(QFile::exists(m_folder.filePath(u"morvanel/icons/hicolor/index.theme"_s)));
        QVERIFY(QDir(m_folder.filePath(u"morvanel"_s)).removeRecursively());
        QFile inTheWay(m_folder.filePath(u"morvanel"_s));
        QVERIFY(inTheWay.open(QIODevice::WriteOnly));
        QCOMPARE(item.iconName(), QString());
        QVERIFY(inTheWay.remove());
    }

    void templateImageFollowsThePalette()
    {
        StatusNotifierItem item(QDBusConnection::sessionBus(), u"/MenuBar"_s, m_folder.path());
        item.setContent(Samples::content(u"idle"_s, 0));
        QTRY_COMPARE(m_panel->icons.count(), 1);
        const QPalette before = QGuiApplication::palette();
        const QByteArray drawn = item.pixmaps().first().bytes;
        QPalette red = before;
        red.setColor(QPalette::WindowText, Qt::red);
        QGuiApplication::setPalette(red);
        item.redraw();
        QTRY_COMPARE(m_panel->icons.count(), 2);
        QVERIFY(item.pixmaps().first().bytes != drawn);
        QGuiApplication::setPalette(before);
    }

    void activationTokenIsHandedOnAndNotKept()
    {
        StatusNotifierItem item(QDBusConnection::sessionBus(), u"/MenuBar"_s, m_folder.path());
        QSignalSpy provided(&item, &StatusNotifierItem::activationTokenProvided);
        m_client->ask(BusClient::call(u"/StatusNotifierItem"_s, itemInterface, u"ProvideXdgActivationToken"_s,
                                      {u"token-1"_s}));
        QCOMPARE(provided.value(0), QVariantList{QByteArray("token-1")});
        QVERIFY(!qEnvironmentVariableIsSet("XDG_ACTIVATION_TOKEN")); // children would inherit it
    }

    void withoutAFolderThePixmapsRemain()
    {
        StatusNotifierItem item(QDBusConnection::sessionBus(), u"/MenuBar"_s, u"/proc/nowhere"_s);
        item.setContent(Samples::content(u"connected"_s, 3));
        QCOMPARE(item.iconName(), QString());
        QCOMPARE(item.iconThemePath(), QString());
        QCOMPARE(item.pixmaps().size(), 6);
    }

    void activateIsAnsweredOrRefused_data()
    {
        QTest::addColumn<QString>("method");
        QTest::addColumn<QVariantList>("arguments");
        for (const QString &method : {u"Activate"_s, u"SecondaryActivate"_s, u"ContextMenu"_s})
            QTest::newRow(qPrintable(method)) << method << QVariantList{1, 2};
        QTest::newRow("XAyatanaSecondaryActivate") << u"XAyatanaSecondaryActivate"_s << QVariantList{0U};
    }

    void activateIsAnsweredOrRefused()
    {
        QFETCH(QString, method);
        QFETCH(QVariantList, arguments);
        StatusNotifierItem item(QDBusConnection::sessionBus(), u"/MenuBar"_s, m_folder.path());
        QSignalSpy activated(&item, &StatusNotifierItem::activated);
        const auto call = BusClient::call(u"/StatusNotifierItem"_s, itemInterface, method, arguments);
        QCOMPARE(m_client->ask(call).type(), QDBusMessage::ReplyMessage);
        QTRY_COMPARE(activated.count(), 1);
        item.setRefusesActivate(true);
        QCOMPARE(m_client->ask(call).type(), QDBusMessage::ErrorMessage);
        QCOMPARE(activated.count(), 1);
    }

    void launcherHearsOfTheBadge()
    {
        LauncherEntry entry(QDBusConnection::sessionBus(), u"/DockMenu"_s);
        QTRY_COMPARE(m_panel->updates.count(), 1);
        entry.setBadge(u"3"_s);
        entry.setBadge(u"3"_s);
        QTRY_COMPARE(m_panel->updates.count(), 2);
        const QVariantMap properties{
            {u"count"_s, qint64(3)}, {u"count-visible"_s, true}, {u"quicklist"_s, u"/DockMenu"_s}};
        QCOMPARE(m_panel->updates.last(),
                 QVariantList({u"application://com.ardentwick.Morvanel.desktop"_s, properties}));
        const auto queried =
            m_client->ask(BusClient::call(u"/com/canonical/unity/launcherentry/morvanel"_s,
                                          u"com.canonical.Unity.LauncherEntry"_s, u"Query"_s));
        QCOMPARE(qdbus_cast<QVariantMap>(queried.arguments().value(1)), properties);
        entry.setBadge({});
        QTRY_COMPARE(m_panel->updates.count(), 3);
        QVERIFY(!entry.properties().value(u"count-visible"_s).toBool());
        QVERIFY(m_client->bus().registerService(u"com.canonical.Unity"_s));
        QTRY_COMPARE(m_panel->updates.count(), 4); // a launcher that starts late
    }
};

QTEST_MAIN(TestStatusNotifierItem)
#include "tst_statusnotifieritem.moc"
