// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QString>

#include <sys/stat.h>

/// Files that are replaced as a whole, so that a reader, a crash or a loss of power only ever meets the old
/// content or the new one.
///
/// A function that can fail returns what failed, with the path and in the system's words; an empty text when
/// nothing did.
namespace AtomicFile {

/// Tells one state of a file from another: each replacement is a new file, each change in place a new time.
struct Stamp
{
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    qint64 seconds = 0;
    qint64 nanoseconds = 0;

    Stamp() = default;
    explicit Stamp(const struct stat &status);
    bool operator==(const Stamp &) const = default;
};

/// "`what` `path`: `the system's words for errno`".
QString describeError(const QString &what, const QString &path, int error);

/// Where `path` leads when its last component is a symbolic link, also one to a file that does not exist
/// yet; `path` itself otherwise, or when the links go in a circle.
QString resolveLinks(const QString &path);

/// Creates the folder and its parents where they are missing, open to this user only.
QString makeFolder(const QString &folder);

/// Replaces the file at `path`, or creates it together with its folder. The file is this user's alone from
/// its creation on, and is on the disk when the call returns. A symbolic link at `path` itself is replaced.
/// `stamp`, when given, receives that of the new file.
QString replace(const QString &path, const QByteArray &content, Stamp *stamp = nullptr);

/// Renames the damaged file at `path` to a name beside it that nothing has yet, and returns that in `kept`.
QString setAside(const QString &path, QString *kept);

/// Removes what replacements of `path` left behind when their process was killed. Those that are going on
/// in another process are left alone.
void removeLeftovers(const QString &path);

} // namespace AtomicFile
