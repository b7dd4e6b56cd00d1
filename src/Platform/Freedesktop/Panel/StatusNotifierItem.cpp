// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "StatusNotifierItem.h"

#include "StatusNotifierItemAdaptor.h"

#include <QDBusMessage>
#include <QGuiApplication>
#include <QPalette>

#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr std::array pixmapSides{16, 22, 24, 32, 48, 64};
constexpr int toolTipSide = 48;

QString objectPath()
{
    return u"/StatusNotifierItem"_s;
}

} // namespace

StatusNotifierItem::StatusNotifierItem(const QDBusConnection &bus, QString menuPath,
                                       const QString &runtimeFolder, QObject *parent)
    : QObject(parent)
    , m_bus(bus)
    , m_menuPath(std::move(menuPath))
    , m_icons(runtimeFolder)
{
    registerIconTypes();
    new StatusNotifierItemAdaptor(m_bus, this);
    m_bus.registerObject(objectPath(), this, QDBusConnection::ExportAdaptors);
}

StatusNotifierItem::~StatusNotifierItem()
{
    m_bus.unregisterObject(objectPath());
}

void StatusNotifierItem::setContent(const StatusItemContent &content)
{
    const StatusItemContent before = std::exchange(m_content, content);
    QStringList due;
    const StatusPicture picture = StatusPicture::of(content);
    if (picture != m_picture || before.image != content.image) {
        m_picture = picture;
        m_pixmaps.clear();
        due += u"NewIcon"_s;
    }
    if (before.title != content.title)
        due += u"NewTitle"_s;
    if (before.toolTip != content.toolTip || due.contains(u"NewIcon"_s))
        due += u"NewToolTip"_s;
    announceLater(due);
}

void StatusNotifierItem::redraw()
{
    m_pixmaps.clear();
    announceLater({u"NewIcon"_s, u"NewToolTip"_s});
}

QString StatusNotifierItem::title() const
{
    return u"Morvanel"_s + m_content.title;
}

QString StatusNotifierItem::iconDescription() const
{
    return m_content.image ? m_content.image->description : QString();
}

IconPixmapList StatusNotifierItem::pixmaps()
{
    if (m_pixmaps.isEmpty() && !m_picture.isNull()) {
        const QColor textColor = QGuiApplication::palette().color(QPalette::WindowText);
        for (const int side : pixmapSides)
            m_pixmaps += IconPixmap::of(m_picture.image(side, textColor));
    }
    return m_pixmaps;
}

ItemToolTip StatusNotifierItem::toolTip()
{
    ItemToolTip toolTip{iconName(), {}, m_content.toolTip, {}};
    for (const IconPixmap &pixmap : pixmaps()) {
        if (pixmap.width == toolTipSide)
            toolTip.pixmaps += pixmap;
    }
    return toolTip;
}

void StatusNotifierItem::announceLater(const QStringList &signalNames)
{
    if (signalNames.isEmpty())
        return;
    if (m_due.isEmpty())
        QMetaObject::invokeMethod(this, &StatusNotifierItem::announce, Qt::QueuedConnection);
    m_due += signalNames;
    m_due.removeDuplicates();
}

void StatusNotifierItem::announce()
{
    for (const QString &name : std::exchange(m_due, {}))
        m_bus.send(QDBusMessage::createSignal(objectPath(), u"org.kde.StatusNotifierItem"_s, name));
}
