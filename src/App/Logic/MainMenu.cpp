// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "MainMenu.h"

#include <QCoreApplication>

using namespace Qt::StringLiterals;

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("MainMenu", text);
}

} // namespace

QList<MainMenu::Submenu> MainMenu::make()
{
    const Item separator;
    return {
        {tr("Morvanel"),
         {{Action::About, tr("About Morvanel"), {}},
          separator,
          {Action::Settings, tr("Settings…"), u"Ctrl+,"_s},
          separator,
          {Action::Hide, tr("Hide Morvanel"), u"Ctrl+H"_s},
          separator,
          {Action::Quit, tr("Quit Morvanel"), u"Ctrl+Q"_s}}},
        {tr("Edit"),
         {{Action::Undo, tr("Undo"), u"Ctrl+Z"_s},
          {Action::Redo, tr("Redo"), u"Ctrl+Shift+Z"_s},
          separator,
          {Action::Cut, tr("Cut"), u"Ctrl+X"_s},
          {Action::Copy, tr("Copy"), u"Ctrl+C"_s},
          {Action::Paste, tr("Paste"), u"Ctrl+V"_s},
          {Action::SelectAll, tr("Select All"), u"Ctrl+A"_s}}},
        {tr("Window"),
         {{Action::TunnelLogs, tr("Tunnel Logs"), u"Ctrl+L"_s},
          separator,
          {Action::Minimize, tr("Minimize"), u"Ctrl+M"_s},
          {Action::Close, tr("Close"), u"Ctrl+W"_s}},
         true},
    };
}
