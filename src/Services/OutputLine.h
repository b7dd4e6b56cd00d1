// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArrayView>
#include <QString>

/// What a line of `cloudflared`'s output tells. Nothing else in a line is interpreted.
namespace OutputLine {

struct Marks
{
    bool isRegistration = false; ///< a connection was registered
    bool isLoss = false;         ///< a connection was lost; never together with a registration
    bool isError = false;        ///< the line reports an error; may come with either of the others
};

/// Passes over the line a constant number of times.
Marks marksOf(QByteArrayView line);

/// The number characters, digits or others of Unicode, right after the first "connIndex="; empty when there
/// are none. The line is valid UTF-8.
QByteArrayView connectionIndex(QByteArrayView line);

/// See `TunnelRunner::errorSummary`.
QString errorSummary(const QString &line);

} // namespace OutputLine
