// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QVariantList>

/// The bus itself, as the one who hands out names and knows who has them.
namespace MessageBus {

/// Calls a method of it and waits for the answer, at most as long as `BusNames::answerTimeout`; then, as for
/// all that goes wrong, it is an error.
QDBusMessage ask(const QDBusConnection &bus, const QString &method, const QVariantList &arguments = {});

} // namespace MessageBus
