// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <glib-object.h>

#include <memory>

/// Lets a function of GLib be the deleter of a `std::unique_ptr`.
template <auto Release> struct GLibDeleter
{
    template <typename T> void operator()(T *pointer) const { Release(pointer); }
};

/// Owns one reference to a GObject.
template <typename T> using GObjectPointer = std::unique_ptr<T, GLibDeleter<g_object_unref>>;
using GVariantPointer = std::unique_ptr<GVariant, GLibDeleter<g_variant_unref>>;
using GHashTablePointer = std::unique_ptr<GHashTable, GLibDeleter<g_hash_table_unref>>;

/// Takes the error of one call after another; owns the last one.
class GErrorSlot
{
public:
    GErrorSlot() = default;
    ~GErrorSlot() { g_clear_error(&m_error); }
    GErrorSlot(const GErrorSlot &) = delete;
    GErrorSlot &operator=(const GErrorSlot &) = delete;

    /// For the last parameter of a call; forgets the error of the call before.
    GError **receive()
    {
        g_clear_error(&m_error);
        return &m_error;
    }
    const GError *get() const { return m_error; }
    bool is(GQuark domain, int code) const { return g_error_matches(m_error, domain, code); }

private:
    GError *m_error = nullptr;
};
