// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "StatusNotifierItemAdaptor.h"

#include <QDBusError>

using namespace Qt::StringLiterals;

StatusNotifierItemAdaptor::StatusNotifierItemAdaptor(const QDBusConnection &bus, StatusNotifierItem *item)
    : QDBusAbstractAdaptor(item)
    , m_bus(bus)
    , m_item(item)
{
    setAutoRelaySignals(false);
}

QString StatusNotifierItemAdaptor::category() const
{
    return u"ApplicationStatus"_s;
}

QString StatusNotifierItemAdaptor::id() const
{
    return u"MorvanelStatusItem"_s;
}

QString StatusNotifierItemAdaptor::status() const
{
    return u"Active"_s; // a panel may hide any other, or ask for an icon of its own
}

void StatusNotifierItemAdaptor::ContextMenu(int, int, const QDBusMessage &message)
{
    activate(message);
}

void StatusNotifierItemAdaptor::Activate(int, int, const QDBusMessage &message)
{
    activate(message);
}

void StatusNotifierItemAdaptor::SecondaryActivate(int, int, const QDBusMessage &message)
{
    activate(message);
}

void StatusNotifierItemAdaptor::XAyatanaSecondaryActivate(uint, const QDBusMessage &message)
{
    activate(message);
}

void StatusNotifierItemAdaptor::Scroll(int, const QString &)
{
    // There is nothing to scroll through; the answer alone keeps panels from complaining.
}

void StatusNotifierItemAdaptor::ProvideXdgActivationToken(const QString &token)
{
    Q_EMIT m_item->activationTokenProvided(token.toUtf8());
}

void StatusNotifierItemAdaptor::activate(const QDBusMessage &message)
{
    if (!m_item->refusesActivate()) {
        QMetaObject::invokeMethod(m_item, &StatusNotifierItem::activated, Qt::QueuedConnection);
        return;
    }
    message.setDelayedReply(true);
    if (message.isReplyRequired())
        m_bus.send(message.createErrorReply(QDBusError::NotSupported, u"The item is its menu"_s));
}
