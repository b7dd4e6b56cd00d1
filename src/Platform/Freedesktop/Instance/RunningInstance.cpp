// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "RunningInstance.h"

#include "BusNames.h"
#include "FileDescriptor.h"
#include "MessageBus.h"

#include <poll.h>

using namespace Qt::StringLiterals;

RunningInstance::RunningInstance(const QDBusConnection &bus)
    : m_bus(bus)
{
    m_owner = askBus(u"GetNameOwner"_s, BusNames::service).arguments().value(0).toString();
}

RunningInstance::Answer RunningInstance::activate(const QVariantMap &platformData)
{
    if (m_owner.isEmpty())
        return Answer::Gone;
    QDBusMessage request =
        QDBusMessage::createMethodCall(m_owner, BusNames::object, BusNames::application, u"Activate"_s);
    request << platformData;
    const QDBusMessage reply = m_bus.call(request, QDBus::Block, int(BusNames::answerTimeout.count()));
    if (reply.type() == QDBusMessage::ReplyMessage)
        return Answer::Taken;
    if (reply.errorName() == BusNames::quittingError)
        return Answer::Quitting;
    if (!isOnBus())
        return Answer::Gone;
    m_error = reply.errorMessage();
    return Answer::None;
}

qint64 RunningInstance::processId() const
{
    return askBus(u"GetConnectionUnixProcessID"_s, m_owner).arguments().value(0).toLongLong();
}

bool RunningInstance::waitForEnd(int timeout) const
{
    const FileDescriptor process(::pidfd_open(pid_t(processId()), 0));
    if (!process.isOpen())
        return true;
    pollfd ended{process.get(), POLLIN, 0};
    return ::poll(&ended, 1, timeout) == 1;
}

QDBusMessage RunningInstance::askBus(const QString &method, const QString &name) const
{
    const QDBusMessage reply = MessageBus::ask(m_bus, method, {name});
    return reply.type() == QDBusMessage::ReplyMessage ? reply : QDBusMessage();
}

bool RunningInstance::isOnBus() const
{
    return askBus(u"NameHasOwner"_s, m_owner).arguments().value(0).toBool();
}
