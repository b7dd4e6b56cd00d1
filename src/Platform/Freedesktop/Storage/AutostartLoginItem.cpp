// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "AutostartLoginItem.h"

#include <QFileInfo>
#include <QStandardPaths>

#include <cerrno>
#include <utility>

#include <glib.h>
#include <glib/gstdio.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr auto group = G_KEY_FILE_DESKTOP_GROUP;

/// Returns whether the entry has the key with this value; not when the key is absent or holds no boolean.
bool has(GKeyFile *entry, const char *key, bool value)
{
    g_autoptr(GError) error = nullptr;
    const bool isTrue = g_key_file_get_boolean(entry, group, key, &error);
    return !error && isTrue == value;
}

/// Throws what the system says about the call that just failed.
[[noreturn]] void fail(const QString &what, const QString &path)
{
    throw LoginItemError(u"%1 %2: %3"_s.arg(what, path, qt_error_string()));
}

/// Escapes a value of type string. GLib's own escaping leaves tabs inside the value.
QString escapeValue(QString value)
{
    value.replace(u'\\', u"\\\\"_s)
        .replace(u'\n', u"\\n"_s)
        .replace(u'\t', u"\\t"_s)
        .replace(u'\r', u"\\r"_s);
    return value;
}

/// Returns the argument of a command line, quoted where its characters ask for that, with the percent signs
/// that would stand for field codes doubled.
QString quoteArgument(const QString &argument)
{
    bool isReserved = argument.isEmpty();
    QString quoted;
    for (const QChar c : argument) {
        isReserved = isReserved || u" \t\n\"'\\><~|&;$*?#()`"_s.contains(c);
        if (u"\"`$\\"_s.contains(c))
            quoted += u'\\';
        quoted += c == u'%' ? u"%%"_s : QString(c);
    }
    return isReserved ? u'"' + quoted + u'"' : quoted;
}

/// Returns the value of the key Exec. GLib looks for the program under its name with the percent signs still
/// doubled and refuses the entry; as an argument of env the name is read as the standard says.
QString commandLine(const QString &program)
{
    return (program.contains(u'%') ? u"/usr/bin/env "_s : QString()) + quoteArgument(program);
}

} // namespace

AutostartLoginItem::AutostartLoginItem(const QString &folder, QString program)
    : m_path(folder + u"/com.ardentwick.Morvanel.desktop"_s)
    , m_program(std::move(program))
{
}

QString AutostartLoginItem::defaultFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u"/autostart"_s;
}

LoginItemStatus AutostartLoginItem::status() const
{
    g_autoptr(GKeyFile) entry = g_key_file_new();
    // Opening a named pipe would wait for its writer.
    if (!QFileInfo(m_path).isFile() ||
        !g_key_file_load_from_file(entry, QFile::encodeName(m_path).constData(), G_KEY_FILE_NONE, nullptr) ||
        !g_key_file_has_group(entry, group))
        return LoginItemStatus::NotRegistered;
    const bool isOff = has(entry, "Hidden", true) || has(entry, "X-GNOME-Autostart-enabled", false) ||
                       has(entry, "X-MATE-Autostart-enabled", false);
    return isOff ? LoginItemStatus::RequiresApproval : LoginItemStatus::Enabled;
}

void AutostartLoginItem::registerItem()
{
    const QString folder = QFileInfo(m_path).path();
    if (g_mkdir_with_parents(QFile::encodeName(folder).constData(), S_IRWXU) != 0)
        fail(u"Cannot create the folder"_s, folder);
    const QByteArray text = entry();
    g_autoptr(GError) error = nullptr;
    if (!g_file_set_contents_full(
            QFile::encodeName(m_path).constData(), text.constData(), text.size(),
            GFileSetContentsFlags(G_FILE_SET_CONTENTS_CONSISTENT | G_FILE_SET_CONTENTS_DURABLE),
            S_IRUSR | S_IWUSR, &error))
        throw LoginItemError(QString::fromUtf8(error->message));
}

void AutostartLoginItem::unregisterItem()
{
    if (::unlink(QFile::encodeName(m_path).constData()) != 0 && errno != ENOENT)
        fail(u"Cannot remove"_s, m_path);
}

QByteArray AutostartLoginItem::entry() const
{
    // multiArg leaves percent signs of its arguments alone.
    const QString text = u"[Desktop Entry]\n"
                         "Type=Application\n"
                         "Name=Morvanel\n"
                         "Comment=Keeps Cloudflare tunnels running\n"
                         "Exec=%1\n"
                         "TryExec=%2\n"
                         "Icon=com.ardentwick.Morvanel\n"
                         "Terminal=false\n"
                         "StartupNotify=false\n"
                         "Categories=Network;\n"
                         "X-GNOME-Autostart-enabled=true\n"_s;
    return text.arg(escapeValue(commandLine(m_program)), escapeValue(m_program)).toUtf8();
}
