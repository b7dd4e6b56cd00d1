// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>

/// Tells whether an old tray is there, as the System Tray Protocol of freedesktop.org has it: a selection of
/// the X server that a panel owns. Asks the X server alone, never the panel.
class X11Tray : public QObject, private QAbstractNativeEventFilter
{
    Q_OBJECT

public:
    explicit X11Tray(QObject *parent = nullptr);
    ~X11Tray() override;

    /// False also on other window systems.
    bool isThere() const;

Q_SIGNALS:
    void appeared();

private:
    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

    quint32 m_selection = 0;
    quint32 m_manager = 0; ///< the message that new owners send to all
};
