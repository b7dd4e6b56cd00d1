// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QAbstractNativeEventFilter>
#include <QColor>

#include <functional>

/// Tells whether an old tray is there, as the System Tray Protocol of freedesktop.org has it: a selection of
/// the X server that a panel owns. Asks the X server alone, never the panel.
class X11Tray : private QAbstractNativeEventFilter
{
public:
    /// @param appeared called when a tray comes
    explicit X11Tray(std::function<void()> appeared);

    /// Returns false on other window systems too.
    bool isThere() const;
    /// Returns the colour in which the tray wants symbolic icons; where it does not say so, a grey for any
    /// ground.
    QColor textColor() const;

private:
    quint32 owner() const;
    bool nativeEventFilter(const QByteArray &, void *message, qintptr *) override;

    std::function<void()> m_appeared;
    quint32 m_selection = 0;
    quint32 m_manager = 0; ///< the message that new owners send to all
};
