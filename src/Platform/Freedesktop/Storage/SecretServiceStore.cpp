// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SecretServiceLink.h"

#include "SecretServiceStore.h"

#include <QLoggingCategory>

#include <algorithm>
#include <functional>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

Q_LOGGING_CATEGORY(keyringLog, "morvanel.keyring", QtWarningMsg)

SecretSchema makeSchema()
{
    SecretSchema schema = {};
    schema.name = "com.ardentwick.Morvanel";
    schema.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
    schema.attributes[1] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
    return schema;
}

GHashTable *makeAttributes(const SecretKey &key)
{
    const SecretSchema schema = makeSchema();
    return secret_attributes_build(&schema, "service", key.service.toUtf8().constData(), "account",
                                   key.account.toUtf8().constData(), nullptr);
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

/// The four calls, over one conversation with the service.
class OpenSecrets final : public Secrets
{
public:
    explicit OpenSecrets(Failure closed = std::nullopt)
        : m_closed(std::move(closed))
    {
    }

    Lookup lookup(const SecretKey &key) override
    {
        QByteArray data;
        const auto load = [&](SecretItem *item) -> Failure {
            g_autoptr(GError) error = nullptr;
            const bool isLoaded = secret_item_load_secret_sync(item, nullptr, &error);
            g_autoptr(SecretValue) value = isLoaded ? secret_item_get_secret(item) : nullptr;
            if (!value)
                return toFailure(error);
            gsize length = 0;
            const char *bytes = secret_value_get(value, &length);
            data = QByteArray(bytes, qsizetype(length));
            return std::nullopt;
        };
        const SecretResult result =
            attempt("lookup", key, [&] { return forItems(m_link, key, Extent::First, load); });
        return {result, data};
    }

    SecretResult update(const SecretKey &key, const QByteArray &data) override
    {
        return attempt("update", key, [&] {
            g_autoptr(SecretValue) value = secret_value_new(data.constData(), data.size(), "text/plain");
            return forItems(m_link, key, Extent::Unlocked, [&](SecretItem *item) {
                g_autoptr(GError) error = nullptr;
                return secret_item_set_secret_sync(item, value, nullptr, &error) ? std::nullopt
                                                                                 : Failure(toFailure(error));
            });
        });
    }

    SecretResult add(const SecretKey &key, const QByteArray &data, const QString &label) override
    {
        return attempt("add", key, [&]() -> Failure {
            if (Failure failure = m_link.open())
                return failure;
            Collection collection;
            if (Failure failure = m_link.openDefaultCollection(true, collection))
                return failure;
            const SecretSchema schema = makeSchema();
            g_autoptr(GHashTable) attributes = makeAttributes(key);
            g_autoptr(SecretValue) value = secret_value_new(data.constData(), data.size(), "text/plain");
            g_autoptr(GError) error = nullptr;
            const GObjectPointer<SecretItem> item(
                secret_item_create_sync(collection.get(), &schema, attributes, label.toUtf8().constData(),
                                        value, SECRET_ITEM_CREATE_REPLACE, nullptr, &error));
            return item ? std::nullopt : Failure(toFailure(error));
        });
    }

    SecretResult remove(const SecretKey &key) override
    {
        return attempt("remove", key, [&] {
            return forItems(m_link, key, Extent::All, [&](SecretItem *item) { return m_link.remove(item); });
        });
    }

private:
    /// Runs the operation, unless an earlier one found no service that answers.
    SecretResult attempt(const char *what, const SecretKey &key, const std::function<Failure()> &operation)
    {
        const Failure failure = m_closed ? m_closed : operation();
        if (failure && failure->status == SecretStatus::NotAvailable)
            m_closed = failure;
        SecretResult result = failure.value_or(SecretResult());
        qCDebug(keyringLog) << what << key.account
                            << (result.status == SecretStatus::NotFound  ? u"not found"_s
                                : result.status == SecretStatus::Success ? u"done"_s
                                                                         : result.reason);
        return result;
    }

    SecretServiceLink m_link;
    Failure m_closed; ///< of an earlier operation, which found no service that answers
};

} // namespace

/// The way back to the main thread, which a task may find closed.
class SecretServiceStore::Way
{
public:
    explicit Way(QObject *end)
        : m_end(end)
    {
    }
    void close()
    {
        const std::scoped_lock lock(m_mutex);
        m_end = nullptr;
    }
    void send(std::function<void()> answer)
    {
        const std::scoped_lock lock(m_mutex);
        if (m_end)
            QMetaObject::invokeMethod(m_end, std::move(answer), Qt::QueuedConnection);
    }

private:
    std::mutex m_mutex;
    QObject *m_end;
};

SecretServiceStore::SecretServiceStore()
    : m_way(std::make_shared<Way>(&m_thread))
{
}

SecretServiceStore::~SecretServiceStore()
{
    m_way->close();
}

void SecretServiceStore::perform(Task task)
{
    try {
        std::thread([task, way = m_way] {
            // The next task must not get the shared bus connection while this thread's end tears it down.
            std::function<void()> answer = [&task] {
                OpenSecrets secrets;
                return task(secrets);
            }();
            way->send(std::move(answer));
        }).detach();
    } catch (const std::system_error &) {
        OpenSecrets secrets(SecretResult{SecretStatus::NotAvailable, u"there are too many processes"_s});
        task(secrets)();
    }
}
