// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "PopupMenu.h"

#include "EntryText.h"
#include "HostQuirks.h"
#include "SymbolDrawing.h"

#include <QAction>
#include <QEvent>
#include <QFontMetrics>
#include <QHash>
#include <QKeySequence>
#include <QPainter>
#include <QProxyStyle>
#include <QScreen>
#include <QStyleOptionMenuItem>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int iconSide = 16;
constexpr int margin = 8;   ///< left and right of everything
constexpr int iconGap = 6;  ///< between icon and text
constexpr int keyGap = 24;  ///< between text and key
constexpr int padding = 4;  ///< above and below the lines
constexpr int rimWidth = 1; ///< between a dot and the ground of the entry that is pointed at

/// The parts of an entry's text, as QMenu hands it over: lines, then the key behind a tabulator.
struct Texts
{
    QString title;
    QString detail;
    QString key;

    explicit Texts(const QString &text)
        : key(text.section(u'\t', 1))
    {
        const QString lines = text.section(u'\t', 0, 0).replace(u"&&"_s, u"&"_s);
        title = lines.section(u'\n', 0, 0);
        detail = lines.section(u'\n', 1);
    }
};

MenuItem itemOf(const QAction *action)
{
    return action->data().value<MenuItem>();
}

const QStyleOptionMenuItem *normalEntry(const QStyleOption *option)
{
    const auto *entry = qstyleoption_cast<const QStyleOptionMenuItem *>(option);
    return entry && entry->menuItemType == QStyleOptionMenuItem::Normal ? entry : nullptr;
}

/// Draws menu entries whose text may have two lines.
class TwoLineStyle : public QProxyStyle
{
public:
    void drawControl(ControlElement element, const QStyleOption *option, QPainter *painter,
                     const QWidget *widget) const override
    {
        const QStyleOptionMenuItem *entry = element == CE_MenuItem ? normalEntry(option) : nullptr;
        if (entry)
            drawEntry(*entry, painter, widget);
        else
            QProxyStyle::drawControl(element, option, painter, widget);
    }

    QSize sizeFromContents(ContentsType type, const QStyleOption *option, const QSize &size,
                           const QWidget *widget) const override
    {
        const QStyleOptionMenuItem *entry = type == CT_MenuItem ? normalEntry(option) : nullptr;
        if (!entry)
            return QProxyStyle::sizeFromContents(type, option, size, widget);
        const Texts texts(entry->text);
        const QFontMetrics title(entry->font);
        const QFontMetrics detail(SymbolDrawing::captionFont(entry->font));
        const int width = qMax(title.horizontalAdvance(texts.title), detail.horizontalAdvance(texts.detail));
        const int lines = title.height() + (texts.detail.isEmpty() ? 0 : detail.height());
        return {margin + iconSide + iconGap + width + keyGap + margin, qMax(lines, iconSide) + 2 * padding};
    }

private:
    void drawEntry(const QStyleOptionMenuItem &option, QPainter *painter, const QWidget *widget) const
    {
        QStyleOptionMenuItem ground = option;
        ground.text.clear();
        ground.icon = QIcon();
        QProxyStyle::drawControl(CE_MenuItem, &ground, painter, widget);

        const Texts texts(option.text);
        const bool isEnabled = option.state & State_Enabled;
        const bool isSelected = isEnabled && (option.state & State_Selected);
        const QFontMetrics titleMetrics(option.font);
        const QRect inside = option.rect.adjusted(margin, padding, -margin, -padding);
        const QRect titleLine(inside.left(), inside.top(), inside.width(),
                              texts.detail.isEmpty() ? inside.height() : titleMetrics.height());
        const auto place = [&](const QRect &rect) { return visualRect(option.direction, option.rect, rect); };

        QRect iconRect(inside.left(), 0, iconSide, iconSide);
        iconRect.moveTop(titleLine.center().y() - iconSide / 2);
        painter->save();
        if (isSelected && !option.icon.isNull()) { // its colour is one for the menu's own ground
            painter->setRenderHint(QPainter::Antialiasing);
            painter->setPen(Qt::NoPen);
            painter->setBrush(option.palette.brush(QPalette::Window));
            painter->drawEllipse(place(iconRect.adjusted(rimWidth, rimWidth, -rimWidth, -rimWidth)));
        }
        option.icon.paint(painter, place(iconRect), Qt::AlignCenter,
                          isEnabled ? QIcon::Normal : QIcon::Disabled);

        // The palette's disabled text is too faint for a line that is there to be read.
        QPalette palette = option.palette;
        palette.setCurrentColorGroup(QPalette::Active);
        const QColor secondary = SymbolDrawing::color(ColorRole::SecondaryLabel, palette,
                                                      isSelected ? QPalette::Highlight : QPalette::Window);
        const QColor text = palette.color(isSelected ? QPalette::HighlightedText : QPalette::Text);
        const QRect titleRect = titleLine.adjusted(iconSide + iconGap, 0, 0, 0);
        const int flags =
            int(visualAlignment(option.direction, Qt::AlignLeft) | Qt::AlignVCenter) | Qt::TextSingleLine;
        painter->setFont(option.font);
        painter->setPen(isEnabled ? text : secondary);
        painter->drawText(place(titleRect), flags, texts.title);
        const int keyFlags = int(visualAlignment(option.direction, Qt::AlignRight) | Qt::AlignVCenter);
        painter->setPen(secondary);
        painter->drawText(place(titleRect), keyFlags, texts.key);
        painter->setFont(SymbolDrawing::captionFont(option.font));
        painter->drawText(place(titleRect.translated(0, titleLine.height())), flags, texts.detail);
        painter->restore();
    }
};

} // namespace

PopupMenu::PopupMenu(QWidget *parent)
    : QMenu(parent)
{
    auto *style = new TwoLineStyle;
    style->setParent(this);
    setStyle(style);
    setToolTipsVisible(true);
    connect(this, &QMenu::triggered, this, [this](QAction *action) { Q_EMIT chosen(itemOf(action)); });
}

void PopupMenu::setItems(const Menu &items)
{
    QHash<QString, QAction *> before;
    for (QAction *action : actions())
        before.insert(itemOf(action).id, action);
    QList<QAction *> wanted;
    for (const MenuItem &item : items) {
        QAction *action = before.take(item.id);
        if (!action)
            action = new QAction(this);
        if (!action->data().isValid() || itemOf(action) != item)
            apply(action, item);
        wanted += action;
    }
    for (QAction *gone : std::as_const(before)) {
        removeAction(gone);
        gone->deleteLater();
    }
    for (qsizetype i = 0; i < wanted.size(); ++i) {
        QAction *there = actions().value(i);
        if (there != wanted[i])
            insertAction(there, wanted[i]);
    }
    if (isVisible())
        keepOnScreen();
}

void PopupMenu::changeEvent(QEvent *event)
{
    QMenu::changeEvent(event);
    if (event->type() != QEvent::PaletteChange)
        return;
    for (QAction *action : actions())
        apply(action, itemOf(action));
}

/// Moves a menu that grew: one beside a panel often ends at the edge of the screen.
void PopupMenu::keepOnScreen()
{
    const QRect room = screen()->availableGeometry();
    QRect place(pos(), sizeHint());
    place.moveBottom(qMin(place.bottom(), room.bottom()));
    place.moveRight(qMin(place.right(), room.right()));
    move(qMax(place.left(), room.left()), qMax(place.top(), room.top()));
}

void PopupMenu::apply(QAction *action, const MenuItem &item) const
{
    action->setData(QVariant::fromValue(item));
    action->setSeparator(item.isSeparator);
    action->setText(EntryText::lines(item, {}).replace(u'&', u"&&"_s));
    action->setToolTip(item.toolTip);
    action->setEnabled(item.isEnabled);
    action->setShortcut(item.shortcut.isEmpty() ? QKeySequence() : QKeySequence(u"Ctrl+"_s + item.shortcut));
    action->setIcon(item.image ? SymbolDrawing::icon(item.image->symbolName,
                                                     SymbolDrawing::color(item.image->color, palette()))
                               : QIcon());
}

#include "moc_PopupMenu.cpp"
