// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SecretServiceLink.h"

#include "FileDescriptor.h"
#include "SecretServiceStore.h"

#include <QLoggingCategory>

#include <algorithm>
#include <array>
#include <functional>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include <pthread.h>
#include <sys/eventfd.h>

using namespace Qt::StringLiterals;

namespace {

Q_LOGGING_CATEGORY(keyringLog, "morvanel.keyring", QtWarningMsg)

/// Returns whether 16 descriptors can still be opened, more than one call takes: GLib aborts when it gets
/// none.
bool areDescriptorsLeft()
{
    std::array<FileDescriptor, 16> places;
    for (FileDescriptor &place : places)
        place = FileDescriptor(::eventfd(0, EFD_CLOEXEC));
    return std::all_of(places.begin(), places.end(),
                       [](const FileDescriptor &place) { return place.isOpen(); });
}

/// Returns whether one more thread can be made: GLib aborts when it gets none.
bool isThreadLeft()
{
    pthread_t thread = {};
    return ::pthread_create(
               &thread, nullptr, [](void *) -> void * { return nullptr; }, nullptr) == 0 &&
           ::pthread_join(thread, nullptr) == 0;
}

/// Returns what is too scarce for a call of GLib, which would abort; none where all is well.
[[nodiscard]] Failure findLack()
{
    if (!areDescriptorsLeft())
        return SecretResult{SecretStatus::NotAvailable, u"there are too many open files"_s};
    if (!isThreadLeft())
        return SecretResult{SecretStatus::NotAvailable, u"there are too many processes"_s};
    return std::nullopt;
}

/// Returns the attributes by which an item is found.
GHashTable *makeAttributes(const SecretKey &key)
{
    GHashTable *attributes = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free);
    g_hash_table_insert(attributes, g_strdup("service"), g_strdup(key.service.toUtf8().constData()));
    g_hash_table_insert(attributes, g_strdup("account"), g_strdup(key.account.toUtf8().constData()));
    return attributes;
}

/// Puts the items that match into `items`, the most recently changed one first.
[[nodiscard]] Failure search(SecretService *service, const SecretKey &key, Items &items)
{
    g_autoptr(GHashTable) attributes = makeAttributes(key);
    g_autoptr(GError) error = nullptr;
    // Searches without a schema, to find items that another program stored as well.
    g_autoptr(GList) found =
        secret_service_search_sync(service, nullptr, attributes, SECRET_SEARCH_ALL, nullptr, &error);
    for (const GList *entry = found; entry; entry = entry->next)
        items.emplace_back(static_cast<SecretItem *>(entry->data));
    if (error)
        return toFailure(error);
    std::stable_sort(items.begin(), items.end(), [](const auto &one, const auto &other) {
        return secret_item_get_modified(one.get()) > secret_item_get_modified(other.get());
    });
    return std::nullopt;
}

/// Searches again after unlocking where nothing was found: a service may hide the items of a locked
/// collection.
[[nodiscard]] Failure find(SecretServiceLink &link, const SecretKey &key, Items &items)
{
    if (Failure failure = link.open())
        return failure;
    if (Failure failure = search(link.service(), key, items); failure || !items.empty())
        return failure;
    Collection collection;
    if (Failure failure = link.openDefaultCollection(false, collection))
        return failure;
    if (Failure failure = search(link.service(), key, items); failure || !items.empty())
        return failure;
    return SecretResult{SecretStatus::NotFound};
}

/// The items that an operation is for.
enum class Extent {
    First,    ///< that is unlocked
    Unlocked, ///< whatever stays locked is left as it is
    All,      ///< a failure when any stays locked
};

/// Does something with the items that match, the most recently changed one first.
[[nodiscard]] Failure forItems(SecretServiceLink &link, const SecretKey &key, Extent extent,
                               const std::function<Failure(SecretItem *)> &action)
{
    Items items;
    if (Failure failure = find(link, key, items))
        return failure;
    bool isDone = false;
    Failure locked;
    for (const auto &item : items) {
        Failure failure = link.unlock(item.get());
        if (failure && failure->status != SecretStatus::Locked)
            return failure;
        if (failure) {
            locked = failure;
            continue;
        }
        if (failure = action(item.get()); failure)
            return failure;
        isDone = true;
        if (extent == Extent::First)
            break;
    }
    return isDone && extent != Extent::All ? std::nullopt : locked;
}

/// Makes calls over one conversation with the service.
class Caller
{
public:
    explicit Caller(SecretServiceLink &link)
        : m_link(link)
    {
    }

    /// Makes the call, unless an earlier one found no service that answers.
    SecretReply make(const SecretCall &call)
    {
        SecretReply reply;
        if (!m_closed)
            m_closed = findLack();
        if (!m_closed) {
            const Failure failure = call.kind == SecretCall::Kind::Lookup  ? lookup(call, reply.data)
                                    : call.kind == SecretCall::Kind::Store ? store(call)
                                                                           : remove(call);
            static_cast<SecretResult &>(reply) = failure.value_or(SecretResult());
            if (reply.status == SecretStatus::NotAvailable || reply.status == SecretStatus::Absent)
                m_closed = failure;
        } else {
            static_cast<SecretResult &>(reply) = *m_closed;
        }
        qCDebug(keyringLog) << int(call.kind) << call.key.account
                            << (reply.status == SecretStatus::NotFound  ? u"not found"_s
                                : reply.status == SecretStatus::Success ? u"done"_s
                                                                        : reply.reason);
        return reply;
    }

private:
    Failure lookup(const SecretCall &call, QByteArray &data)
    {
        return forItems(m_link, call.key, Extent::First, [&](SecretItem *item) -> Failure {
            g_autoptr(GError) error = nullptr;
            const bool isLoaded = secret_item_load_secret_sync(item, nullptr, &error);
            g_autoptr(SecretValue) value = isLoaded ? secret_item_get_secret(item) : nullptr;
            if (!value)
                return toFailure(error);
            gsize length = 0;
            const char *bytes = secret_value_get(value, &length);
            data = QByteArray(bytes, qsizetype(length));
            return std::nullopt;
        });
    }

    Failure store(const SecretCall &call)
    {
        g_autoptr(SecretValue) value =
            secret_value_new(call.data.constData(), call.data.size(), "text/plain");
        Failure failure = forItems(m_link, call.key, Extent::Unlocked, [&](SecretItem *item) {
            g_autoptr(GError) error = nullptr;
            return secret_item_set_secret_sync(item, value, nullptr, &error) ? std::nullopt
                                                                             : Failure(toFailure(error));
        });
        if (!failure || failure->status != SecretStatus::NotFound)
            return failure;
        Collection collection;
        if (failure = m_link.openDefaultCollection(true, collection); failure)
            return failure;
        return m_link.add(collection.get(), call.key, call.label, value);
    }

    Failure remove(const SecretCall &call)
    {
        return forItems(m_link, call.key, Extent::All, [&](SecretItem *item) { return m_link.remove(item); });
    }

    SecretServiceLink &m_link;
    Failure m_closed; ///< of an earlier call, which found no service that answers
};

} // namespace

/// The way back to the main thread, which an exchange may find closed.
class SecretServiceStore::ReplyChannel
{
public:
    explicit ReplyChannel(QObject *receiver)
        : m_receiver(receiver)
    {
    }
    void close()
    {
        const std::scoped_lock lock(m_mutex);
        m_receiver = nullptr;
    }
    void send(std::function<void()> reply)
    {
        const std::scoped_lock lock(m_mutex);
        if (m_receiver)
            QMetaObject::invokeMethod(m_receiver, std::move(reply), Qt::QueuedConnection);
    }

private:
    std::mutex m_mutex;
    QObject *m_receiver;
};

SecretServiceStore::SecretServiceStore(const QDBusConnection &bus, std::chrono::milliseconds answerTime)
    : m_answerTime(answerTime)
    , m_service(QString::fromLatin1(SecretServiceLink::serviceName), bus,
                QDBusServiceWatcher::WatchForRegistration)
    , m_channel(std::make_shared<ReplyChannel>(&m_service))
{
    QObject::connect(&m_service, &QDBusServiceWatcher::serviceRegistered, &m_service, [this] {
        if (m_callbacks.appeared)
            m_callbacks.appeared();
    });
}

SecretServiceStore::~SecretServiceStore()
{
    m_channel->close();
}

void SecretServiceStore::exchange(const QList<SecretCall> &calls, bool mayAsk, Done done)
{
    const auto tellAsking = [this, channel = m_channel](bool isAsking) {
        channel->send([this, isAsking] {
            if (m_callbacks.asking)
                m_callbacks.asking(isAsking);
        });
    };
    const auto talk = [calls, mayAsk, done, tellAsking, answerTime = m_answerTime, channel = m_channel] {
        QList<SecretReply> replies;
        {
            // Ends before the replies are sent: the next exchange must not get the bus connection that GLib
            // shares while this one tears it down.
            SecretServiceLink link(mayAsk, tellAsking, answerTime);
            Caller caller(link);
            for (const SecretCall &call : calls)
                replies += caller.make(call);
        }
        channel->send([done, replies] { done(replies); });
    };
    try {
        std::thread(talk).detach();
    } catch (const std::system_error &) {
        const SecretResult failure{SecretStatus::NotAvailable, u"there are too many processes"_s};
        done(QList<SecretReply>(calls.size(), {failure}));
    }
}
