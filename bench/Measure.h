// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QCoreApplication>
#include <QEvent>
#include <QPaintEvent>
#include <QTimer>
#include <QWidget>

#include <algorithm>
#include <vector>

/// Figures of one run, in whatever unit they were taken.
using Figures = std::vector<double>;

/// The figure below which that share of them lies, from 0 to 1. There is at least one.
inline double quantile(Figures figures, double share)
{
    const auto place = figures.begin() + std::ptrdiff_t(share * double(figures.size() - 1));
    std::nth_element(figures.begin(), place, figures.end());
    return *place;
}

inline double median(const Figures &figures)
{
    return quantile(figures, 0.5);
}

/// Counts the paintings of a widget and can end the event loop after the first.
class PaintCounter : public QObject
{
public:
    explicit PaintCounter(QWidget *widget)
        : QObject(widget)
    {
        widget->installEventFilter(this);
    }
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint) {
            height += static_cast<QPaintEvent *>(event)->region().boundingRect().height();
            if (++count == 1 && quitsAtFirst)
                QTimer::singleShot(0, qApp,
                                   [] { QCoreApplication::exit(); }); // quit() would close the windows
        }
        return QObject::eventFilter(watched, event);
    }

    int count = 0;
    int height = 0; ///< of what was painted, in device-independent pixels
    bool quitsAtFirst = false;
};
