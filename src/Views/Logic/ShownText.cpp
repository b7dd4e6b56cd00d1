// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "ShownText.h"

using namespace Qt::StringLiterals;

QString shownText(const QString &text)
{
    constexpr qsizetype longestShown = 1000;
    QString shown = text.left(longestShown);
    for (QChar &character : shown) {
        if (character.category() == QChar::Other_Control || character == QChar::LineSeparator ||
            character == QChar::ParagraphSeparator)
            character = u' ';
    }
    return shown;
}

QString toolTipText(const QString &text)
{
    return u"<div>%1</div>"_s.arg(shownText(text).toHtmlEscaped());
}
