// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "AutostartLoginItem.h"

#include "AtomicFile.h"
#include "FileDescriptor.h"

#include <QFile>
#include <QHash>
#include <QStandardPaths>

#include <cerrno>
#include <utility>

#include <fcntl.h>

using namespace Qt::StringLiterals;

namespace {

using Keys = QHash<QByteArray, QByteArray>;

/// No desktop entry is larger; whatever is beyond is not looked at.
constexpr qint64 maximumEntry = 262'144;

/// The keys of the group "Desktop Entry"; of keys with one name the last counts.
Keys desktopEntryKeys(const QByteArray &text)
{
    Keys keys;
    bool isInGroup = false;
    const QList<QByteArray> lines = text.split('\n');
    for (const QByteArray &untrimmed : lines) {
        const QByteArray line = untrimmed.trimmed();
        const qsizetype equals = line.indexOf('=');
        if (line.startsWith('['))
            isInGroup = line == "[Desktop Entry]";
        else if (isInGroup && equals > 0 && !line.startsWith('#'))
            keys.insert(line.first(equals).trimmed(), line.sliced(equals + 1).trimmed());
    }
    return keys;
}

bool isSwitchedOff(const Keys &keys)
{
    const QByteArray hidden = keys.value("Hidden");
    if (hidden == "true" || hidden == "1")
        return true;
    for (const char *key : {"X-GNOME-Autostart-enabled", "X-MATE-Autostart-enabled"}) {
        const QByteArray enabled = keys.value(key);
        if (enabled == "false" || enabled == "0")
            return true;
    }
    return false;
}

/// Escapes a value of type string.
QString escapeValue(QString value)
{
    value.replace(u'\\', u"\\\\"_s)
        .replace(u'\n', u"\\n"_s)
        .replace(u'\t', u"\\t"_s)
        .replace(u'\r', u"\\r"_s);
    if (value.startsWith(u' '))
        value.replace(0, 1, u"\\s"_s);
    return value;
}

/// One argument of a command line, quoted where its characters ask for that, with the percent signs that
/// would stand for field codes doubled.
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

/// The value of the key Exec. GLib looks for the program under its name with the percent signs still doubled
/// and refuses the entry; as an argument of env the name is read as the standard says.
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
    // Without O_NONBLOCK opening a named pipe would wait for its writer.
    const FileDescriptor fd(
        ::open(QFile::encodeName(m_path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    QFile file;
    if (!fd.isOpen() || !file.open(fd.get(), QIODevice::ReadOnly))
        return LoginItemStatus::NotRegistered;
    const Keys keys = desktopEntryKeys(file.read(maximumEntry));
    if (keys.isEmpty())
        return LoginItemStatus::NotRegistered;
    return isSwitchedOff(keys) ? LoginItemStatus::RequiresApproval : LoginItemStatus::Enabled;
}

void AutostartLoginItem::registerItem()
{
    if (const QString error = AtomicFile::replace(m_path, entry()); !error.isEmpty())
        throw LoginItemError(error);
    AtomicFile::removeLeftovers(m_path);
}

void AutostartLoginItem::unregisterItem()
{
    if (::unlink(QFile::encodeName(m_path).constData()) != 0 && errno != ENOENT)
        throw LoginItemError(AtomicFile::describeError(u"Cannot remove"_s, m_path, errno));
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
