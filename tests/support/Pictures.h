// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QStringList>
#include <QTest>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <utility>

/// How a picture is read
///
/// A test writes down as one line what can be seen or what was asked for, and compares it with the line that
/// it wants. Every test uses these marks:
///
///     a, b       pieces beside or below each other, as the window has them
///     >a         is chosen among others
///     *a         has the keyboard
///     xa         is checked
///     (a)        cannot be used
///     [a]        is a field with this text; with the text of a masked one as well
///     _a         is minimised
///
/// So "a, *>b, b, [b], (Save)" is a list of a and b, in which b is chosen and has the keyboard; then come the
/// title b, a field with the text "b", and the button Save, which cannot be pressed.
///
/// What a window shows in most cases is written once in its test (`formOf`), and a row says what is different
/// there: `with(formOf(b), {{"[b]", "*[b]"}})` is the form of b with the keyboard in its name. A label that
/// is new to the form is one word more in `formOf`.
///
/// A new case is a step, {the deed, the picture after it}, or a row of a `_data` function, with a name that
/// says what would be wrong without it. It may begin with an empty picture: the failure prints the real one,
/// to be read and then copied.
///
/// A function that judges returns the fault in words, or nothing; NO_FAULT ends the test with it.
#define NO_FAULT(words)                                                                                      \
    do {                                                                                                     \
        if (const QString fault = (words); !fault.isEmpty())                                                 \
            QFAIL(qPrintable(fault));                                                                        \
    } while (false)

namespace Pictures {

using Steps = QList<std::pair<std::function<void()>, QString>>;

inline QStringList pieces(const QString &picture)
{
    return QString(picture).replace(QStringLiteral(", "), QStringLiteral("\n")).split(u'\n');
}

/// Returns the first piece that is wrong, and both pictures below each other.
inline QString difference(const QString &seen, const QString &wanted)
{
    if (seen == wanted)
        return {};
    const QString one = seen + QStringLiteral(", ");
    const QString other = wanted + QStringLiteral(", ");
    const auto same = std::mismatch(one.begin(), one.end(), other.begin(), other.end()).first - one.begin();
    const QStringList before = pieces(one.first(same));
    const auto wrong = [&](const QString &of) {
        return pieces(of).value(before.size() - 1).mid(qMax(0, before.last().size() - 40), 120);
    };
    return QStringLiteral("wanted \"%1\" as piece %2, seen \"%3\"\n   seen:   %4\n   wanted: %5")
        .arg(wrong(wanted), QString::number(before.size()), wrong(seen), seen.left(1200), wanted.left(1200));
}

/// The same of a picture that may need some time to become the wanted one.
inline QString waitFor(const std::function<QString()> &picture, const QString &wanted)
{
    (void)QTest::qWaitFor([&] { return picture() == wanted; });
    return difference(picture(), wanted);
}

/// Takes the steps one by one until one of them leads to another picture than it should.
inline QString walk(const Steps &steps, const std::function<QString()> &picture)
{
    for (qsizetype i = 0; i < steps.size(); ++i) {
        steps[i].first();
        const QString fault = waitFor(picture, steps[i].second);
        if (!fault.isEmpty())
            return QStringLiteral("after step %1 of %2: %3").arg(i + 1).arg(steps.size()).arg(fault);
    }
    return {};
}

/// Returns the picture with other pieces in the place of these, which it must have.
inline QString with(const QString &picture, std::initializer_list<std::pair<QString, QString>> changes)
{
    QStringList changed = pieces(picture);
    for (const auto &[before, after] : changes) {
        const qsizetype place = changed.indexOf(before);
        if (place < 0)
            qFatal("A test changes \"%s\", which is not in \"%s\".", qPrintable(before), qPrintable(picture));
        changed[place] = after;
    }
    return changed.join(QStringLiteral(", "));
}

} // namespace Pictures
