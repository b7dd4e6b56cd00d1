// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// A program with nothing but an item in the panel, for tests with real panels. It is told what to show by
// lines on standard input, and tells what happens on standard output:
//
//   show STATUS COUNT    the icon and its count        -> (nothing)
//   connect NUMBER       one tunnel's entry connects   -> (nothing)
//                                                      <- "about-to-show", "chosen ID"
#include "FreedesktopStatusItem.h"
#include "Samples.h"

#include <QApplication>
#include <QSocketNotifier>
#include <QTextStream>

#include <cstdio>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

class PanelItem : public QObject
{
public:
    PanelItem()
        : m_item(QDBusConnection::sessionBus(), qEnvironmentVariable("XDG_RUNTIME_DIR"))
        , m_input(STDIN_FILENO, QSocketNotifier::Read)
    {
        m_item.setCallbacks({[this] { say(u"about-to-show"_s); },
                             [this](const MenuItem &item) { say(u"chosen "_s + item.id); }});
        m_item.setContent(Samples::content(u"idle"_s, 0));
        m_item.setMenu(m_menu);
        connect(&m_input, &QSocketNotifier::activated, this, &PanelItem::read);
        say(u"ready"_s);
    }

private:
    void say(const QString &line) { m_output << line << Qt::endl; }

    void read()
    {
        QByteArray bytes(4096, '\0');
        const ssize_t count = ::read(STDIN_FILENO, bytes.data(), std::size_t(bytes.size()));
        if (count <= 0)
            return QCoreApplication::quit();
        m_pending += bytes.first(count);
        for (qsizetype end = m_pending.indexOf('\n'); end >= 0; end = m_pending.indexOf('\n')) {
            obey(QString::fromUtf8(m_pending.first(end)).split(u' '));
            m_pending.remove(0, end + 1);
        }
    }

    void obey(const QStringList &words)
    {
        const int number = words.last().toInt();
        if (words.first() == u"show")
            m_item.setContent(Samples::content(words.value(1), number));
        if (words.first() == u"connect") {
            qsizetype row = 0;
            while (m_menu[row].id != u"tunnel-%1"_s.arg(number))
                ++row;
            m_menu[row] = Samples::tunnel(number, u"tunnel_%1 & <b>more</b>"_s.arg(number),
                                          u"Connected (4 connections)"_s, ColorRole::Green);
            m_menu.insert(row + 1, Samples::openAddress(number, u"app.example.com"_s));
        }
        m_item.setMenu(m_menu);
        m_item.setDockMenu(m_menu);
    }

    QTextStream m_output{stdout};
    QByteArray m_pending;
    Menu m_menu = Samples::menu(3);
    FreedesktopStatusItem m_item;
    QSocketNotifier m_input;
};

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    PanelItem item;
    return QApplication::exec();
}
