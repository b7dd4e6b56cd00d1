// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "StatusNotifierItem.h"

#include "PanelIcon.h"
#include "StatusNotifierItemAdaptor.h"

#include <QDBusError>
#include <QDBusObjectPath>
#include <QDir>
#include <QGuiApplication>
#include <QPalette>
#include <QtEndian>

#include <algorithm>
#include <chrono>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int toolTipSide = 48;
/// Time for a panel to read what has changed: GNOME 48's needs a tenth of it, more under load.
constexpr auto timeToRead = 1s;

IconPixmap pixmap(const QImage &image)
{
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    IconPixmap pixmap{argb.width(), argb.height(), QByteArray(argb.sizeInBytes(), Qt::Uninitialized)};
    // Rows of four-byte pixels have no padding, so that the picture is one run of them.
    qToBigEndian<quint32>(argb.constBits(), argb.sizeInBytes() / qsizetype(sizeof(quint32)),
                          pixmap.bytes.data());
    return pixmap;
}

} // namespace

StatusNotifierItem::StatusNotifierItem(QDBusConnection bus, const QString &menuPath,
                                       const QString &runtimeFolder, const QList<Symbol> &icons)
{
    registerBusTypes();
    // GNOME Shell 43 shows the picture that it first read under a path until the next login.
    const QString folder =
        QDir::cleanPath(runtimeFolder + u"/morvanel/icons/"_s + QCoreApplication::applicationVersion());
    const auto canWrite = [&folder](const Symbol &icon) {
        return !PanelIcon(icon).writeTheme(folder).isEmpty();
    };
    if (!runtimeFolder.isEmpty() && std::all_of(icons.cbegin(), icons.cend(), canWrite))
        m_iconFolder = folder;
    setProperty("Category", u"ApplicationStatus"_s);
    setProperty("Id", u"MorvanelStatusItem"_s);
    setProperty("Status", u"Active"_s); // a panel may hide any other, or ask for an icon of its own
    setProperty("ItemIsMenu", true);
    setProperty("Menu", QVariant::fromValue(QDBusObjectPath(menuPath)));
    setProperty("IconThemePath", m_iconFolder);
    m_reminder.setSingleShot(true);
    m_reminder.setInterval(timeToRead);
    connect(&m_reminder, &QTimer::timeout, this, &StatusNotifierItem::NewIcon);
    setContent({});
    new StatusNotifierItemAdaptor(this);
    bus.registerObject(u"/StatusNotifierItem"_s, this, QDBusConnection::ExportAdaptors);
    // Plasma's settings have changed. It draws the icon in its new colours only when it reads it again.
    bus.connect(QString(), u"/KGlobalSettings"_s, u"org.kde.KGlobalSettings"_s, u"notifyChange"_s, this,
                SIGNAL(NewIcon()));
}

void StatusNotifierItem::setContent(const StatusItemContent &content)
{
    const PanelIcon icon(content.image, content.title);
    const QString iconName = this->iconName(content);
    IconPixmapList pixmaps;
    ItemToolTip toolTip{iconName, {}, content.toolTip, {}};
    for (const QImage &image : icon.images(QGuiApplication::palette().color(QPalette::WindowText))) {
        pixmaps += pixmap(image);
        if (image.width() == toolTipSide)
            toolTip.pixmaps += pixmaps.last();
    }
    const bool isNewName = change("IconName", iconName);
    const bool isNewPicture = change("IconPixmap", QVariant::fromValue(pixmaps));
    const bool isDescribed = content.image && !m_quirks.showsDescription;
    const bool isNewMeaning =
        change("IconAccessibleDesc", isDescribed ? content.image->description : QString());
    if (isNewName || isNewPicture || isNewMeaning)
        Q_EMIT NewIcon();
    if (change("Title", u"Morvanel"_s + content.title))
        Q_EMIT NewTitle();
    if (change("ToolTip", QVariant::fromValue(toolTip)))
        Q_EMIT NewToolTip();
    if (m_quirks.losesSignals)
        m_reminder.start();
}

/// Returns the name or the file for the panel; empty where it is to draw the pixmaps.
QString StatusNotifierItem::iconName(const StatusItemContent &content) const
{
    const PanelIcon icon(content.image, content.title);
    if (icon.isNull() || m_iconFolder.isEmpty())
        return {};
    const bool isTemplate = content.image->isTemplate; // only a file can be tinted
    if (isTemplate && m_quirks.tintsNothing) {
        Symbol rimmed = *content.image;
        rimmed.symbolName += u".rimmed"_s;
        rimmed.isTemplate = false;
        return PanelIcon(rimmed).writeFile(m_iconFolder, PanelIcon::Fit::Full);
    }
    const bool isScaled = qGuiApp->devicePixelRatio() > 1;
    if (!isTemplate && (isScaled ? m_quirks.blursScaledFiles : m_quirks.blursFiles))
        return {};
    const bool takesFiles = m_quirks.hasMargins || m_quirks.hasSmallIcons || m_quirks.tintsNothing;
    if (!icon.hasCount() && (isTemplate || !takesFiles)) {
        const QString name = icon.writeTheme(m_iconFolder);
        return isTemplate && !name.isEmpty() && !m_quirks.tintsByStyle ? name + PanelIcon::symbolicEnd : name;
    }
    const auto fit = m_quirks.hasSmallIcons ? PanelIcon::Fit::Small : PanelIcon::Fit::Full;
    return icon.writeFile(m_iconFolder, m_quirks.hasMargins ? PanelIcon::Fit::Margin : fit);
}

/// Gives a property a value; tells whether it had another one.
bool StatusNotifierItem::change(const char *property, const QVariant &value)
{
    const bool isNew = this->property(property) != value;
    setProperty(property, value);
    return isNew;
}

/// Answers a left click: by an error where the panel then opens the menu itself.
void StatusNotifierItem::activate()
{
    if (!m_quirks.opensMenuIfRefused) {
        QMetaObject::invokeMethod(this, &StatusNotifierItem::activated, Qt::QueuedConnection);
        return;
    }
    setDelayedReply(true);
    if (message().isReplyRequired())
        sendErrorReply(QDBusError::NotSupported, u"The item is its menu"_s);
}

#include "moc_StatusNotifierItem.cpp"
