// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// Calls of a menu with any arguments, between changes of it, as any program on the session bus may make them.

#include "DBusMenuAdaptor.h"
#include "Fuzz.h"

#include <QCoreApplication>
#include <QHash>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace {

QString anyText(Fuzz::Input &input)
{
    static const QStringList known{u"clicked"_s, u"opened"_s,    u"closed"_s,  u"hovered"_s, u"label"_s,
                                   u"enabled"_s, u"icon-data"_s, u"visible"_s, u"type"_s};
    const int choice = input.byte();
    return choice < known.size() ? known[choice] : QString::fromUtf8(input.until('\n'));
}

QStringList anyTexts(Fuzz::Input &input)
{
    QStringList texts;
    for (int n = input.byte() % 4; n > 0; --n)
        texts += anyText(input);
    return texts;
}

/// Mostly numbers that may be in use.
int anyNumber(Fuzz::Input &input)
{
    const int choice = input.byte();
    if (choice < 224)
        return choice - 8;
    return int(uint(choice) << 24 | uint(input.byte()) << 12 | uint(input.byte()));
}

QList<int> anyNumbers(Fuzz::Input &input)
{
    QList<int> numbers;
    for (int n = input.byte() % 16; n > 0; --n)
        numbers += anyNumber(input);
    return numbers;
}

QVariant anyVariant(Fuzz::Input &input, int depth = 0)
{
    switch (input.byte() % 8) {
    case 0:
        return anyNumber(input);
    case 1:
        return anyText(input);
    case 2:
        return QVariant::fromValue(anyNumbers(input));
    case 3:
        return depth < 16 ? QVariant::fromValue(QDBusVariant(anyVariant(input, depth + 1))) : QVariant();
    case 4:
        return input.until('\n');
    case 5:
        return QVariantMap{{anyText(input), depth < 16 ? anyVariant(input, depth + 1) : QVariant()}};
    case 6:
        return double(anyNumber(input)) / 3;
    default:
        return QVariant();
    }
}

Menu anyMenu(Fuzz::Input &input)
{
    Menu menu;
    for (int n = input.byte() % 12; n > 0; --n) {
        const int shape = input.byte();
        MenuItem item;
        item.id = u"entry-%1"_s.arg(input.byte() % 8);
        item.isSeparator = shape % 8 == 7;
        item.isEnabled = shape % 4 != 3;
        item.title = anyText(input);
        item.detail = shape & 16 ? anyText(input) : QString();
        item.shortcut = shape & 32 ? anyText(input) : QString();
        item.action = MenuAction(shape / 32);
        if (shape & 8)
            item.data = QUrl(u"https://host-%1.example"_s.arg(input.byte() % 4));
        menu += item;
    }
    return menu;
}

class Exchange
{
public:
    explicit Exchange(Fuzz::Input &input)
        : m_input(input)
        , m_adaptor(*m_exporter.findChild<DBusMenuAdaptor *>())
    {
        QObject::connect(&m_exporter, &DBusMenuExporter::aboutToShow, &m_exporter, [this] {
            if (m_input.byte() % 2)
                m_exporter.setMenu(anyMenu(m_input));
        });
        QObject::connect(&m_exporter, &DBusMenuExporter::chosen, &m_exporter, [this](const MenuItem &item) {
            Fuzz::expect(m_expected.removeOne(item), "what acts is what was clicked");
        });
    }

    void run()
    {
        while (!m_input.isEmpty()) {
            step();
            check();
        }
        settle();
    }

private:
    void step()
    {
        switch (m_input.byte() % 10) {
        case 0:
            return m_exporter.setMenu(anyMenu(m_input));
        case 1:
            return m_exporter.setQuirks({.twoLineLabels = m_input.byte() % 2 == 0, .refusesActivate = false});
        case 2:
            return settle();
        case 3:
            return event();
        case 4:
            return events();
        case 5:
            m_adaptor.AboutToShow(anyNumber(m_input), message());
            return;
        case 6: {
            QList<int> unknown;
            m_adaptor.AboutToShowGroup(anyNumbers(m_input), message(), unknown);
            return;
        }
        case 7:
            m_adaptor.GetProperty(anyNumber(m_input), anyText(m_input), message());
            return;
        case 8:
            return group();
        default:
            return layout();
        }
    }
    void event()
    {
        const int id = anyNumber(m_input);
        const QString kind = anyText(m_input);
        expectClick(id, kind);
        m_adaptor.Event(id, kind, QDBusVariant(anyVariant(m_input)), uint(m_input.byte()), message());
    }
    void events()
    {
        MenuEventList events;
        for (int n = m_input.byte() % 6; n > 0; --n) {
            events += {anyNumber(m_input), anyText(m_input), anyVariant(m_input), uint(m_input.byte())};
            expectClick(events.last().id, events.last().eventId);
        }
        const QList<int> unknown = m_adaptor.EventGroup(events, message());
        for (const MenuEvent &event : std::as_const(events))
            Fuzz::expect(unknown.contains(event.id) != m_exporter.menu().contains(event.id),
                         "unknown is said");
    }
    void group()
    {
        const QList<int> ids = anyNumbers(m_input);
        const MenuPropertiesList list = m_adaptor.GetGroupProperties(ids, anyTexts(m_input), message());
        const auto known = m_exporter.menu().layout(0, -1, {});
        Fuzz::expect(list.size() <= known->children.size() + 1, "each entry is answered once");
        for (const MenuProperties &entry : list) {
            Fuzz::expect(m_exporter.menu().contains(entry.id), "properties are of entries");
            Fuzz::expect(ids.isEmpty() || ids.contains(entry.id), "properties are of those asked for");
        }
    }
    void layout()
    {
        MenuLayout layout;
        const int parent = anyNumber(m_input);
        const int depth = anyNumber(m_input);
        m_adaptor.GetLayout(parent, depth, anyTexts(m_input), message(), layout);
        Fuzz::expect(depth != 0 || layout.children.isEmpty(), "the depth is kept");
    }
    void expectClick(int id, const QString &kind)
    {
        const MenuItem *item = m_exporter.menu().item(id);
        if (kind == u"clicked"_s && item && item->isEnabled && !item->isSeparator)
            m_expected += *item;
    }
    /// One number stands for one entry that does one thing, for ever.
    void check()
    {
        const auto layout = m_exporter.menu().layout(0, -1, {});
        for (const MenuLayout &child : layout->children) {
            const MenuItem *item = m_exporter.menu().item(child.id);
            Fuzz::expect(item != nullptr, "what is laid out is there");
            const auto known = m_seen.constFind(child.id);
            Fuzz::expect(known == m_seen.cend() || (known->id == item->id && known->action == item->action &&
                                                    known->data == item->data),
                         "a number is never given to another entry");
            m_seen.insert(child.id, *item);
        }
    }
    void settle()
    {
        QCoreApplication::processEvents();
        check();
        Fuzz::expect(m_expected.isEmpty(), "each click acts");
    }
    QDBusMessage message() const
    {
        return QDBusMessage::createMethodCall(u"a.b"_s, u"/menu"_s, u"com.canonical.dbusmenu"_s, u"Any"_s);
    }

    Fuzz::Input &m_input;
    DBusMenuExporter m_exporter{QDBusConnection(u"none"_s), u"/menu"_s};
    DBusMenuAdaptor &m_adaptor;
    QHash<int, MenuItem> m_seen;
    Menu m_expected;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static int argumentCount = 0;
    static const QCoreApplication application(argumentCount, nullptr);
    Fuzz::Input input(data, size);
    Exchange(input).run();
    return 0;
}
