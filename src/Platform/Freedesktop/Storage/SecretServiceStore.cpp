// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SecretServiceLink.h"

#include "SecretServiceStore.h"

#include "StandardError.h"

#include <algorithm>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

using Item = GObjectPointer<SecretItem>;
using Items = std::vector<Item>;
using Value = std::unique_ptr<SecretValue, GLibDeleter<secret_value_unref>>;

const SecretFailure lockedItem = {SecretStatus::InteractionNotAllowed,
                                  u"it is locked and was not unlocked"_s};

/// A search under `SECRET_SCHEMA_DONT_MATCH_NAME` also finds items that another program stored.
SecretSchema makeSchema(SecretSchemaFlags flags)
{
    SecretSchema schema = {};
    schema.name = "com.ardentwick.Morvanel";
    schema.flags = flags;
    schema.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
    schema.attributes[1] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
    return schema;
}

GHashTablePointer makeAttributes(const SecretSchema &schema, const SecretKey &key)
{
    return GHashTablePointer(secret_attributes_build(&schema, "service", key.service.toUtf8().constData(),
                                                     "account", key.account.toUtf8().constData(), nullptr));
}

/// The secret in memory that libsecret locks and wipes.
Value makeValue(const QByteArray &data)
{
    return Value(secret_value_new(data.constData(), data.size(), "text/plain"));
}

void throwUnless(bool isDone, const GErrorSlot &error)
{
    if (!isDone)
        throw toSecretFailure(error.get());
}

/// The items that match, the most recently changed one first.
Items search(SecretService *service, const SecretKey &key)
{
    const SecretSchema schema = makeSchema(SECRET_SCHEMA_DONT_MATCH_NAME);
    const GHashTablePointer attributes = makeAttributes(schema, key);
    GErrorSlot error;
    GList *found = secret_service_search_sync(service, &schema, attributes.get(), SECRET_SEARCH_ALL, nullptr,
                                              error.receive());
    Items items;
    for (const GList *entry = found; entry; entry = entry->next)
        items.emplace_back(static_cast<SecretItem *>(entry->data));
    g_list_free(found);
    throwUnless(!error.get(), error);
    std::stable_sort(items.begin(), items.end(), [](const Item &one, const Item &other) {
        return secret_item_get_modified(one.get()) > secret_item_get_modified(other.get());
    });
    return items;
}

/// As `search`. A service may hide what a locked collection holds, so that is unlocked before nothing is the
/// answer.
Items find(SecretServiceLink &link, const SecretKey &key)
{
    SecretService *service = link.open();
    Items items = search(service, key);
    if (!items.empty())
        return items;
    const GObjectPointer<SecretCollection> collection = link.defaultCollection();
    if (!collection || !secret_collection_get_locked(collection.get()))
        return items;
    if (!link.unlock(collection.get()))
        throw SecretFailure{SecretStatus::InteractionNotAllowed,
                            u"the default collection is locked and was not unlocked"_s};
    return search(service, key);
}

bool isUnlocked(SecretServiceLink &link, const Item &item)
{
    return !secret_item_get_locked(item.get()) || link.unlock(item.get());
}

QByteArray loadData(const Item &item)
{
    GErrorSlot error;
    throwUnless(secret_item_load_secret_sync(item.get(), nullptr, error.receive()), error);
    const Value value(secret_item_get_secret(item.get()));
    throwUnless(value != nullptr, error);
    gsize length = 0;
    const char *bytes = secret_value_get(value.get(), &length);
    return QByteArray(bytes, qsizetype(length));
}

} // namespace

SecretServiceStore::SecretServiceStore()
    : m_link(std::make_unique<SecretServiceLink>())
{
}

SecretServiceStore::~SecretServiceStore() = default;

SecretStore::Lookup SecretServiceStore::copyMatching(const SecretKey &key)
{
    QByteArray data;
    const SecretStatus status = attempt(u"read"_s, key, [&] {
        const Items items = find(*m_link, key);
        if (items.empty())
            return SecretStatus::ItemNotFound;
        const auto item = std::find_if(items.begin(), items.end(),
                                       [&](const Item &each) { return isUnlocked(*m_link, each); });
        if (item == items.end())
            throw lockedItem;
        data = loadData(*item);
        return SecretStatus::Success;
    });
    return {status, data};
}

SecretStatus SecretServiceStore::update(const SecretKey &key, const QByteArray &data)
{
    return attempt(u"change"_s, key, [&] {
        const Items items = find(*m_link, key);
        if (items.empty())
            return SecretStatus::ItemNotFound;
        const Value value = makeValue(data);
        bool isChanged = false;
        for (const Item &item : items) {
            if (!isUnlocked(*m_link, item))
                continue;
            GErrorSlot error;
            throwUnless(secret_item_set_secret_sync(item.get(), value.get(), nullptr, error.receive()),
                        error);
            isChanged = true;
        }
        if (!isChanged)
            throw lockedItem;
        return SecretStatus::Success;
    });
}

SecretStatus SecretServiceStore::add(const SecretKey &key, const QByteArray &data, const QString &label)
{
    return attempt(u"store"_s, key, [&] {
        m_link->open();
        const GObjectPointer<SecretCollection> collection = m_link->createdDefaultCollection();
        if (secret_collection_get_locked(collection.get()) && !m_link->unlock(collection.get()))
            throw SecretFailure{SecretStatus::InteractionNotAllowed,
                                u"the default collection is locked and was not unlocked"_s};
        const SecretSchema schema = makeSchema(SECRET_SCHEMA_NONE);
        const GHashTablePointer attributes = makeAttributes(schema, key);
        const Value value = makeValue(data);
        GErrorSlot error;
        const Item item(secret_item_create_sync(collection.get(), &schema, attributes.get(),
                                                label.toUtf8().constData(), value.get(),
                                                SECRET_ITEM_CREATE_REPLACE, nullptr, error.receive()));
        throwUnless(item != nullptr, error);
        return SecretStatus::Success;
    });
}

SecretStatus SecretServiceStore::remove(const SecretKey &key)
{
    return attempt(u"remove"_s, key, [&] {
        const Items items = find(*m_link, key);
        bool isAnyLocked = false;
        for (const Item &item : items) {
            if (!isUnlocked(*m_link, item)) {
                isAnyLocked = true;
                continue;
            }
            GErrorSlot error;
            throwUnless(secret_item_delete_sync(item.get(), nullptr, error.receive()), error);
        }
        if (isAnyLocked)
            throw lockedItem;
        return items.empty() ? SecretStatus::ItemNotFound : SecretStatus::Success;
    });
}

/// Runs the operation, once more when a session that an earlier call opened turned out to be of no use, and
/// tells on standard error why it failed.
SecretStatus SecretServiceStore::attempt(const QString &what, const SecretKey &key,
                                         const std::function<SecretStatus()> &operation)
{
    for (;;) {
        try {
            return operation();
        } catch (const SecretFailure &failure) {
            const bool isLocked = failure.status == SecretStatus::InteractionNotAllowed;
            if (!isLocked && m_link->close())
                continue;
            writeToStandardError(u"cannot %1 the secret of %2: %3"_s.arg(what, key.account, failure.reason));
            return failure.status;
        }
    }
}
