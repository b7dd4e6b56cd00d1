// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "DBusMenuAdaptor.h"

#include <QDBusError>
#include <QGuiApplication>

using namespace Qt::StringLiterals;

namespace {

QString noSuchEntry(int id)
{
    return u"There is no menu entry %1"_s.arg(id);
}

} // namespace

DBusMenuAdaptor::DBusMenuAdaptor(const QDBusConnection &bus, DBusMenuExporter *exporter)
    : QDBusAbstractAdaptor(exporter)
    , m_bus(bus)
    , m_exporter(exporter)
{
    setAutoRelaySignals(false);
}

QString DBusMenuAdaptor::textDirection() const
{
    return QGuiApplication::isRightToLeft() ? u"rtl"_s : u"ltr"_s;
}

QString DBusMenuAdaptor::status() const
{
    return u"normal"_s;
}

uint DBusMenuAdaptor::GetLayout(int parentId, int recursionDepth, const QStringList &propertyNames,
                                const QDBusMessage &message, MenuLayout &layout)
{
    if (const auto found = m_exporter->menu().layout(parentId, recursionDepth, propertyNames))
        layout = *found;
    else
        refuse(message, noSuchEntry(parentId));
    return m_exporter->revision();
}

MenuPropertiesList DBusMenuAdaptor::GetGroupProperties(const QList<int> &ids,
                                                       const QStringList &propertyNames,
                                                       const QDBusMessage &message)
{
    MenuPropertiesList list = m_exporter->menu().properties(ids, propertyNames);
    if (!ids.isEmpty() && list.isEmpty())
        refuse(message, u"None of the menu entries exists"_s);
    return list;
}

QDBusVariant DBusMenuAdaptor::GetProperty(int id, const QString &name, const QDBusMessage &message)
{
    const QVariant value = m_exporter->menu().property(id, name);
    if (!value.isValid())
        refuse(message, u"Menu entry %1 has no property \"%2\""_s.arg(id).arg(name));
    return QDBusVariant(value);
}

void DBusMenuAdaptor::Event(int id, const QString &eventId, const QDBusVariant &, uint,
                            const QDBusMessage &message)
{
    if (!m_exporter->handleEvent(id, eventId))
        refuse(message, noSuchEntry(id));
}

QList<int> DBusMenuAdaptor::EventGroup(const MenuEventList &events, const QDBusMessage &message)
{
    QList<int> unknown;
    for (const MenuEvent &event : events) {
        if (!m_exporter->handleEvent(event.id, event.eventId))
            unknown += event.id;
    }
    if (!events.isEmpty() && unknown.size() == events.size())
        refuse(message, u"None of the events is about an existing menu entry"_s);
    return unknown;
}

bool DBusMenuAdaptor::AboutToShow(int id, const QDBusMessage &message)
{
    if (m_exporter->menu().contains(id))
        return m_exporter->prepareToShow();
    refuse(message, noSuchEntry(id));
    return false;
}

QList<int> DBusMenuAdaptor::AboutToShowGroup(const QList<int> &ids, const QDBusMessage &message,
                                             QList<int> &idErrors)
{
    QList<int> known;
    for (const int id : ids)
        (m_exporter->menu().contains(id) ? known : idErrors) += id;
    if (!ids.isEmpty() && known.isEmpty())
        refuse(message, u"None of the menu entries exists"_s);
    return !known.isEmpty() && m_exporter->prepareToShow() ? known : QList<int>();
}

void DBusMenuAdaptor::refuse(const QDBusMessage &message, const QString &text) const
{
    message.setDelayedReply(true);
    if (message.isReplyRequired())
        m_bus.send(message.createErrorReply(QDBusError::InvalidArgs, text));
}
