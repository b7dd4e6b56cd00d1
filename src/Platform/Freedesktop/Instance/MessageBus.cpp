// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "MessageBus.h"

#include "BusNames.h"

using namespace Qt::StringLiterals;

QDBusMessage MessageBus::ask(const QDBusConnection &bus, const QString &method, const QVariantList &arguments)
{
    QDBusMessage question = QDBusMessage::createMethodCall(
        u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s, u"org.freedesktop.DBus"_s, method);
    question.setArguments(arguments);
    return bus.call(question, QDBus::Block, int(BusNames::answerTimeout.count()));
}
