// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "PanelTest.h"
#include "StatusNotifierItem.h"
#include "StatusNotifierItemProxy.h"

#include <QDBusObjectPath>
#include <QDir>
#include <QPalette>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <memory>

using namespace Samples;

/// The item as a panel sees it.
class TestStatusNotifierItem : public QObject
{
    Q_OBJECT

private:
    void makeItem(const QString &folder)
    {
        m_item.reset();
        m_item = std::make_unique<StatusNotifierItem>(QDBusConnection::sessionBus(), u"/MenuBar"_s, folder,
                                                      QList<Symbol>{idle(), online(), problem()});
    }
    QString file(const QString &name) const { return m_folder.filePath(u"morvanel/icons/"_s + name); }
    QVariant read(const QString &property) { return propertiesOf(m_panel).value(property); }
    QString iconName() { return read(u"IconName"_s).toString(); }
    IconPixmapList pixmaps() { return qdbus_cast<IconPixmapList>(read(u"IconPixmap"_s)); }

    QTemporaryDir m_folder;
    std::unique_ptr<StatusNotifierItem> m_item;
    BusClient m_client{u"client"_s};
    StatusNotifierItemProxy m_panel = m_client.proxy<StatusNotifierItemProxy>(u"/StatusNotifierItem"_s);

private Q_SLOTS:
    void init() { makeItem(m_folder.path()); }

    void itemHasItsProperties()
    {
        m_item->setContent(content(online(), 2));
        const QVariantMap properties = propertiesOf(m_panel);
        const QVariantMap expected{
            {u"Id"_s, u"MorvanelStatusItem"_s},
            {u"Category"_s, u"ApplicationStatus"_s},
            {u"Status"_s, u"Active"_s},
            {u"Title"_s, u"Morvanel 2"_s},
            {u"ItemIsMenu"_s, true},
            {u"IconAccessibleDesc"_s, u"Tunnels connected"_s},
            {u"IconThemePath"_s, m_folder.filePath(u"morvanel/icons"_s)},
            {u"IconName"_s, file(u"morvanel-connected-2.svg"_s)},
        };
        for (auto property = expected.cbegin(); property != expected.cend(); ++property)
            QCOMPARE(properties.value(property.key()), property.value());
        QCOMPARE(properties.value(u"Menu"_s).value<QDBusObjectPath>().path(), u"/MenuBar"_s);
        QVERIFY(!properties.contains(u"XAyatanaLabel"_s));
        const auto toolTip = qdbus_cast<ItemToolTip>(properties.value(u"ToolTip"_s));
        QCOMPARE(toolTip.title, u"Morvanel: Tunnels connected"_s);
        QCOMPARE(toolTip.pixmaps.size(), 1);
    }

    void pixmapsAreInNetworkByteOrder()
    {
        m_item->setContent(content(problem(), 0));
        QList<int> sides;
        for (const IconPixmap &pixmap : pixmaps()) {
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
        const QSignalSpy icons(&m_panel, &StatusNotifierItemProxy::NewIcon);
        const QSignalSpy titles(&m_panel, &StatusNotifierItemProxy::NewTitle);
        const QSignalSpy toolTips(&m_panel, &StatusNotifierItemProxy::NewToolTip);
        const auto heard = [&] {
            iconName(); // what was sent before has come by now
            return QList<qsizetype>{icons.size(), titles.size(), toolTips.size()};
        };
        heard(); // the bus knows by now who listens
        StatusItemContent shown = content(online(), 2);
        m_item->setContent(shown);
        m_item->setContent(shown);
        QCOMPARE(heard(), QList<qsizetype>({1, 1, 1}));
        shown.toolTip = u"other"_s;
        m_item->setContent(shown);
        QCOMPARE(heard(), QList<qsizetype>({1, 1, 2}));

        m_item->setContent(content(idle(), 0));
        const IconPixmapList before = pixmaps();
        const QPalette palette = QGuiApplication::palette();
        QPalette red = palette;
        red.setColor(QPalette::WindowText, Qt::red);
        QGuiApplication::setPalette(red);
        m_item->setContent(content(idle(), 0)); // a template image is in the text colour
        QCOMPARE(heard(), QList<qsizetype>({3, 2, 4}));
        QVERIFY(pixmaps() != before);
        QGuiApplication::setPalette(palette);
    }

    void plasmaIsToldToReadTheIconInItsNewColors()
    {
        const QSignalSpy icons(&m_panel, &StatusNotifierItemProxy::NewIcon);
        QDBusMessage settings = QDBusMessage::createSignal(u"/KGlobalSettings"_s,
                                                           u"org.kde.KGlobalSettings"_s, u"notifyChange"_s);
        settings << 0 << 0;
        QVERIFY(m_client.bus().send(settings));
        QTRY_COMPARE(icons.size(), 1);
    }

    void everyPictureHasAFileOfItsOwn()
    {
        const QDir themed(file(u"hicolor/scalable/status"_s));
        QSet<QByteArray> pictures;
        const auto read = [&pictures](const QString &path) {
            QFile file(path);
            if (file.open(QIODevice::ReadOnly))
                pictures.insert(file.readAll());
        };
        for (const Symbol &icon : {idle(), online(), problem()}) // before any is shown
            read(themed.filePath(icon.iconName + u".svg"_s));
        m_item->setContent(content(online(), 2));
        QVERIFY(QDir(m_folder.filePath(u"morvanel"_s)).removeRecursively());
        for (const int count : {12, 90, 1234}) {
            m_item->setContent(content(online(), count));
            read(iconName());
        }
        QCOMPARE(pictures.size(), 6);
        QVERIFY(QFile::exists(file(u"hicolor/index.theme"_s)));
        m_item->setContent(content(idle(), 0));
        QCOMPARE(iconName(), u"morvanel-idle-symbolic"_s);
        m_item->setQuirks({.wantsSymbolicNames = false});
        m_item->setContent(content(idle(), 0));
        QCOMPARE(iconName(), u"morvanel-idle"_s);
        for (const auto &size : {u"22x22"_s, u"scalable"_s})
            QVERIFY(QFile::exists(file(u"hicolor/%1/status/morvanel-idle-symbolic.svg"_s.arg(size))));
    }

    void withoutAFolderThePixmapsRemain()
    {
        makeItem(u"/proc/nowhere"_s);
        m_item->setContent(content(online(), 3));
        QCOMPARE(iconName(), QString());
        QCOMPARE(read(u"IconThemePath"_s), QVariant(QString()));
        QCOMPARE(pixmaps().size(), 6);
    }

    void activationTokenIsHandedOnAndNotKept()
    {
        const QSignalSpy provided(m_item.get(), &StatusNotifierItem::activationTokenProvided);
        answerTo(m_panel.ProvideXdgActivationToken(u"token-1"_s));
        QCOMPARE(provided.value(0), QVariantList{QByteArray("token-1")});
        QVERIFY(!qEnvironmentVariableIsSet("XDG_ACTIVATION_TOKEN")); // children would inherit it
    }

    void activateIsAnsweredOrRefused()
    {
        const QSignalSpy activated(m_item.get(), &StatusNotifierItem::activated);
        for (const bool refuses : {false, true}) {
            m_item->setQuirks({.refusesActivate = refuses});
            const auto expected = refuses ? QDBusMessage::ErrorMessage : QDBusMessage::ReplyMessage;
            QCOMPARE(answerTo(m_panel.Activate(1, 2)).type(), expected);
            QCOMPARE(answerTo(m_panel.SecondaryActivate(1, 2)).type(), expected);
            QCOMPARE(answerTo(m_panel.ContextMenu(1, 2)).type(), expected);
            QCOMPARE(answerTo(m_panel.XAyatanaSecondaryActivate(0)).type(), expected);
            QTRY_COMPARE(activated.size(), 4);
        }
        QCOMPARE(answerTo(m_panel.Scroll(1, u"vertical"_s)).type(), QDBusMessage::ReplyMessage);
    }
};

QTEST_MAIN(TestStatusNotifierItem)
#include "tst_statusnotifieritem.moc"
