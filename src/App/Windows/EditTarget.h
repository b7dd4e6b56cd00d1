// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "MainMenu.h"

#include <QObject>
#include <QPointer>

class QWidget;

/// What the edit commands of one window act on: the text field or the log that has, or had last, the focus.
class EditTarget : public QObject
{
    Q_OBJECT

public:
    /// Follows the focus within `window`, which outlives the target.
    explicit EditTarget(QWidget &window, QObject *parent = nullptr);

    /// Whether the command would do something now. A field that hides its text gives none away.
    bool can(MainMenu::Action action) const;
    /// Nothing when it cannot.
    void perform(MainMenu::Action action);

Q_SIGNALS:
    /// What can be done may have changed.
    void changed();

private:
    void follow(QWidget *widget);

    QWidget &m_window;
    QPointer<QWidget> m_widget;
};
