// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "FreedesktopNotifications.h"

#include "NotificationServer.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QStandardPaths>
#include <QVersionNumber>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int serversOwnTime = -1;
const auto programId = u"com.ardentwick.Morvanel"_s;

/// A picture as the hint "image-data" has it, (iiibiiay): rows of red, green, blue and alpha, 8 bits each.
struct ImageData
{
    QImage image; ///< in `Format_RGBA8888`
};

QDBusArgument &operator<<(QDBusArgument &argument, const ImageData &data)
{
    const QImage &image = data.image;
    argument.beginStructure();
    argument << image.width() << image.height() << int(image.bytesPerLine()) << true << 8 << 4
             << QByteArray(reinterpret_cast<const char *>(image.constBits()), image.sizeInBytes());
    argument.endStructure();
    return argument;
}

/// Does nothing: no picture is received.
const QDBusArgument &operator>>(const QDBusArgument &argument, ImageData &)
{
    return argument;
}

} // namespace

FreedesktopNotifications::FreedesktopNotifications(const QDBusConnection &bus, std::function<QImage()> icon)
    : m_bus(bus)
    , m_icon(std::move(icon))
{
    qDBusRegisterMetaType<ImageData>();
    // Made while the bus is known to be there: Qt asks it for the server's owner, and ends the process when
    // it finds the bus gone.
    if (m_bus.isConnected())
        connectServer();
}

FreedesktopNotifications::~FreedesktopNotifications() = default;

void FreedesktopNotifications::show(const QUuid &tag, const Notification &notification)
{
    if (!m_server)
        return;
    m_entries[tag].wanted = notification;
    send(tag);
}

void FreedesktopNotifications::update(const QUuid &tag, const Notification &notification)
{
    const auto entry = m_entries.constFind(tag);
    if (entry != m_entries.cend() && entry->wanted)
        show(tag, notification);
}

void FreedesktopNotifications::withdraw(const QUuid &tag)
{
    const auto entry = m_entries.find(tag);
    if (entry == m_entries.end())
        return;
    entry->wanted.reset();
    send(tag);
}

void FreedesktopNotifications::connectServer()
{
    const QString name = QString::fromLatin1(NotificationServer::staticInterfaceName());
    m_server = std::make_unique<NotificationServer>(name, u"/org/freedesktop/Notifications"_s, m_bus);
    connect(m_server.get(), &NotificationServer::NotificationClosed, this, &FreedesktopNotifications::forget);
    connect(m_server.get(), &NotificationServer::ActivationToken, this,
            [this](quint32 id, const QString &token) {
                if (tagOf(id))
                    Q_EMIT activationTokenProvided(token.toUtf8());
            });
    connect(m_server.get(), &NotificationServer::ActionInvoked, this, &FreedesktopNotifications::answer);
    const auto *names =
        new QDBusServiceWatcher(name, m_bus, QDBusServiceWatcher::WatchForUnregistration, m_server.get());
    connect(names, &QDBusServiceWatcher::serviceUnregistered, this, &FreedesktopNotifications::forgetServer);
}

/// Forgets what a server that is gone has shown and said: its notifications went with it, and the next one
/// may have other capabilities and give the same ids.
void FreedesktopNotifications::forgetServer()
{
    m_entries.clear();
    m_capabilities.reset();
    m_question = nullptr;
}

QDBusPendingCallWatcher *
FreedesktopNotifications::watch(const QDBusPendingCall &call,
                                std::function<void(QDBusPendingCallWatcher *call)> finished)
{
    auto *watcher = new QDBusPendingCallWatcher(call, this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, std::move(finished));
    connect(watcher, &QDBusPendingCallWatcher::finished, watcher, &QObject::deleteLater);
    return watcher;
}

void FreedesktopNotifications::askCapabilities()
{
    if (m_question)
        return;
    watch(m_server->GetServerInformation(), [this](QDBusPendingCallWatcher *call) {
        const QDBusPendingReply<QString, QString, QString, QString> reply = *call;
        m_drawsDefaultAction = !reply.isError() && reply.argumentAt<0>() == "Xfce Notify Daemon"_L1 &&
                               QVersionNumber::fromString(reply.argumentAt<2>()) >= QVersionNumber(0, 8);
    });
    m_question = watch(m_server->GetCapabilities(), [this](QDBusPendingCallWatcher *call) {
        if (call != m_question)
            return;
        const QDBusPendingReply<QStringList> reply = *call;
        if (reply.isError())
            return forgetServer();
        m_question = nullptr;
        m_capabilities = reply.value();
        for (const QUuid &tag : m_entries.keys())
            send(tag);
    });
}

/// Brings the server's notification of that tag in step with what is wanted, one call at a time.
void FreedesktopNotifications::send(const QUuid &tag)
{
    Entry &entry = m_entries[tag];
    if (entry.call)
        return; // its answer leads here again
    if (!entry.wanted) {
        if (entry.id != 0)
            m_server->CloseNotification(entry.id);
        m_entries.remove(tag);
        return;
    }
    if (!m_capabilities)
        return askCapabilities();
    const bool hasMarkup = m_capabilities->contains(u"body-markup"_s);
    entry.sent = *entry.wanted;
    const QString &body = entry.sent.body;
    entry.call = watch(m_server->Notify(u"Morvanel"_s, entry.id, programId, entry.sent.title,
                                        hasMarkup ? body.toHtmlEscaped() : body, actionsOf(entry.sent),
                                        hints(), serversOwnTime),
                       [this, tag](QDBusPendingCallWatcher *call) { finishSending(tag, call); });
}

/// Returns the keys and labels of what can be done. The default action has a label only where it is drawn:
/// xfce4-notifyd 0.7 leaves one without a label out, 0.9 draws it all the same.
QStringList FreedesktopNotifications::actionsOf(const Notification &notification) const
{
    if (!m_capabilities->contains(u"actions"_s))
        return {};
    QStringList actions{u"default"_s, m_drawsDefaultAction ? notification.clickLabel : QString()};
    for (const Notification::Button &button : notification.buttons) {
        if (m_drawsDefaultAction && button.label == notification.clickLabel)
            actions.clear(); // one button for both
        actions += {button.key, button.label};
    }
    return actions;
}

QVariantMap FreedesktopNotifications::hints() const
{
    QVariantMap hints{{u"desktop-entry"_s, programId}};
    const QString desktopFile = programId + u".desktop"_s;
    if (QStandardPaths::locate(QStandardPaths::ApplicationsLocation, desktopFile).isEmpty()) {
        const ImageData picture{m_icon().convertToFormat(QImage::Format_RGBA8888)};
        hints[u"image-data"_s] = QVariant::fromValue(picture);
    }
    return hints;
}

void FreedesktopNotifications::finishSending(const QUuid &tag, QDBusPendingCallWatcher *call)
{
    const auto entry = m_entries.find(tag);
    if (entry == m_entries.end() || entry->call != call)
        return;
    const QDBusPendingReply<uint> reply = *call;
    if (reply.isError()) {
        m_entries.erase(entry);
        return;
    }
    entry->call = nullptr;
    entry->id = reply.value();
    if (!entry->wanted || !entry->wanted->looksLike(entry->sent))
        send(tag);
}

void FreedesktopNotifications::forget(quint32 id)
{
    const std::optional<QUuid> tag = tagOf(id);
    if (!tag)
        return;
    if (m_entries[*tag].call)
        m_entries[*tag].id = 0;
    else
        m_entries.remove(*tag);
}

void FreedesktopNotifications::answer(quint32 id, const QString &key)
{
    const std::optional<QUuid> tag = tagOf(id);
    if (!tag)
        return;
    const Notification asked = m_entries[*tag].sent; // a copy: its entry may go meanwhile
    if (key == "default"_L1 && asked.clicked)
        asked.clicked();
    for (const Notification::Button &button : asked.buttons) {
        if (button.key == key)
            button.pressed();
    }
}

std::optional<QUuid> FreedesktopNotifications::tagOf(quint32 id) const
{
    for (auto entry = m_entries.cbegin(); entry != m_entries.cend(); ++entry) {
        if (entry->id == id && id != 0)
            return entry.key();
    }
    return std::nullopt;
}

#include "moc_FreedesktopNotifications.cpp"
