// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "TextLabel.h"

#include "SymbolDrawing.h"
#include "Text.h"

#include <QApplication>
#include <QEvent>
#include <QFontDatabase>
#include <QFontInfo>
#include <QHelpEvent>
#include <QPainter>
#include <QStyle>
#include <QTextLayout>
#include <QToolTip>

#include <algorithm>

namespace {

constexpr int preferredLineLength = 40;
constexpr qsizetype mostMeasured = 64;
constexpr auto roleProperty = "fontRole";
constexpr qreal logScale = 11.0 / 13;
constexpr int smallestLogPixels = 11;
constexpr qreal titleScale = 1.3;

} // namespace

QFont fontFor(FontRole role, const QFont &base)
{
    const qreal points = QFontInfo(base).pointSizeF(); // also of a font that is measured in pixels
    const bool isFixed = role == FontRole::Monospaced || role == FontRole::Log;
    QFont font = isFixed ? QFontDatabase::systemFont(QFontDatabase::FixedFont) : base;
    switch (role) {
    case FontRole::Body:
        break;
    case FontRole::Monospaced:
        font.setPointSizeF(points);
        break;
    case FontRole::Log:
        font.setPixelSize(std::max(smallestLogPixels, qRound(QFontInfo(base).pixelSize() * logScale)));
        break;
    case FontRole::Caption:
        return SymbolDrawing::captionFont(base);
    case FontRole::Headline:
        font.setBold(true);
        break;
    case FontRole::Title:
        font.setPointSizeF(points * titleScale);
        font.setWeight(QFont::DemiBold);
        break;
    }
    return font;
}

int grownWith(const QFont &font, int length)
{
    constexpr int usualPixels = 15;
    return std::max(length, length * QFontInfo(font).pixelSize() / usualPixels);
}

void applyFontRole(QWidget *widget, FontRole role)
{
    widget->setProperty(roleProperty, int(role));
    widget->setFont(fontFor(role, QApplication::font(widget)));
}

void renewFontRoles(QWidget *root)
{
    const QList<QWidget *> widgets = root->findChildren<QWidget *>();
    for (QWidget *widget : widgets) {
        const QVariant role = widget->property(roleProperty);
        if (role.isValid())
            applyFontRole(widget, FontRole(role.toInt()));
    }
}

void describe(QWidget *widget, const QString &description)
{
    if (widget->accessibleDescription() != description)
        widget->setAccessibleDescription(description);
}

TextLabel::TextLabel(FontRole font, ColorRole color, QWidget *parent)
    : QLabel(parent)
    , m_colorRole(color)
{
    setTextFormat(Qt::PlainText);
    applyFontRole(this, font);
    setColorRole(color);
}

void TextLabel::setWraps()
{
    setWordWrap(true);
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Minimum);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

void TextLabel::setColorRole(ColorRole color)
{
    m_colorRole = color;
    setForegroundRole(color == ColorRole::SecondaryLabel ? QPalette::PlaceholderText : QPalette::WindowText);
    applyColor();
}

/// Returns a narrow size for a text that wraps: it takes any width and says what height that needs.
QSize TextLabel::sizeHint() const
{
    if (!wordWrap())
        return QLabel::sizeHint();
    const int width = fontMetrics().averageCharWidth() * preferredLineLength;
    return {width, heightForWidth(width)};
}

QSize TextLabel::minimumSizeHint() const
{
    return wordWrap() ? QSize(0, fontMetrics().height()) : QLabel::minimumSizeHint();
}

int TextLabel::heightForWidth(int width) const
{
    if (!wordWrap())
        return QLabel::heightForWidth(width);
    if (m_measured.text != text() || m_measured.font != font() || m_measured.heights.size() == mostMeasured)
        m_measured = {text(), font(), {}};
    const auto known = m_measured.heights.constFind(width);
    if (known != m_measured.heights.constEnd())
        return *known;
    return *m_measured.heights.insert(width, QLabel::heightForWidth(width));
}

void TextLabel::changeEvent(QEvent *event)
{
    QLabel::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        applyColor();
}

/// Sets the palette only where it differs: that announces a change, which leads here again.
void TextLabel::applyColor()
{
    const bool isNamed = m_colorRole != ColorRole::None && m_colorRole != ColorRole::SecondaryLabel;
    const QColor color = SymbolDrawing::color(m_colorRole, palette());
    if (isNamed && palette().color(QPalette::WindowText) != color) {
        QPalette own;
        own.setColor(QPalette::WindowText, color);
        setPalette(own);
    } else if (!isNamed && testAttribute(Qt::WA_SetPalette)) {
        setPalette({});
    }
}

ClampedLabel::ClampedLabel(FontRole font, ColorRole color, int maximumLines, QWidget *parent)
    : TextLabel(font, color, parent)
    , m_maximumLines(maximumLines)
{
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

void ClampedLabel::setNote(const QString &note)
{
    setToolTip(Text::toolTip(note));
    describe(this, note);
}

QSize ClampedLabel::sizeHint() const
{
    return {fontMetrics().horizontalAdvance(Text::oneLine(text())) + 1,
            fontMetrics().lineSpacing() * m_maximumLines};
}

QSize ClampedLabel::minimumSizeHint() const
{
    return {fontMetrics().horizontalAdvance(u'…'), sizeHint().height()};
}

QStringList ClampedLabel::lines() const
{
    const QString shown = Text::oneLine(text());
    QTextLayout layout(shown, font(), this);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    QStringList lines;
    layout.beginLayout();
    while (lines.size() < m_maximumLines) {
        QTextLine line = layout.createLine();
        if (!line.isValid())
            break;
        line.setLineWidth(contentsRect().width());
        const QString rest = shown.sliced(line.textStart());
        const bool isCut = lines.size() + 1 == m_maximumLines && line.textLength() < rest.size();
        lines += isCut ? fontMetrics().elidedText(rest, Qt::ElideRight, contentsRect().width())
                       : rest.first(line.textLength());
    }
    layout.endLayout();
    return lines;
}

bool ClampedLabel::event(QEvent *event)
{
    if (event->type() != QEvent::ToolTip)
        return TextLabel::event(event);
    const bool isCut = lines().join(QString()) != Text::oneLine(text());
    QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(),
                       (isCut ? Text::toolTip(text()) : QString()) + toolTip(), this);
    return true;
}

void ClampedLabel::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    style()->drawItemText(&painter, contentsRect(), Qt::AlignLeading | Qt::AlignVCenter, palette(),
                          isEnabled(), lines().join(u'\n'), foregroundRole());
}

#include "moc_TextLabel.cpp"
