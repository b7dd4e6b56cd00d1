// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "MainMenu.h"

using namespace Qt::StringLiterals;

QList<MainMenu::Submenu> MainMenu::make()
{
    const Item separator;
    return {
        {u"Morvanel"_s,
         {{Action::About, u"About Morvanel"_s, {}},
          separator,
          {Action::Settings, u"Settings…"_s, u"Ctrl+,"_s},
          separator,
          {Action::Hide, u"Hide Morvanel"_s, u"Ctrl+H"_s},
          separator,
          {Action::Quit, u"Quit Morvanel"_s, u"Ctrl+Q"_s}}},
        {u"Edit"_s,
         {{Action::Undo, u"Undo"_s, u"Ctrl+Z"_s},
          {Action::Redo, u"Redo"_s, u"Ctrl+Shift+Z"_s},
          separator,
          {Action::Cut, u"Cut"_s, u"Ctrl+X"_s},
          {Action::Copy, u"Copy"_s, u"Ctrl+C"_s},
          {Action::Paste, u"Paste"_s, u"Ctrl+V"_s},
          {Action::SelectAll, u"Select All"_s, u"Ctrl+A"_s}}},
        {u"Window"_s,
         {{Action::TunnelLogs, u"Tunnel Logs"_s, u"Ctrl+L"_s},
          separator,
          {Action::Minimize, u"Minimize"_s, u"Ctrl+M"_s},
          {Action::Close, u"Close"_s, u"Ctrl+W"_s}},
         true},
    };
}
