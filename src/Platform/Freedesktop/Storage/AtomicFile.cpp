// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "AtomicFile.h"

#include "FileDescriptor.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>

using namespace Qt::StringLiterals;

namespace AtomicFile {
namespace {

constexpr int maximumLinks = 40;
constexpr int maximumKept = 10'000;

QString folderOf(const QString &path)
{
    return QFileInfo(path).path();
}

/// The start of the names of temporary files for `path`. The dot keeps desktops from reading them.
QString temporaryPrefix(const QString &path)
{
    return u"."_s + QFileInfo(path).fileName() + u"."_s;
}

/// What mkostemp(3) replaces by random characters.
constexpr auto randomPart = "XXXXXX"_L1;

/// A new file beside its target, locked for as long as it is open and gone with this object unless it took
/// the target's place.
class TemporaryFile
{
public:
    explicit TemporaryFile(const QString &target)
        : m_target(QFile::encodeName(target))
        , m_name(QFile::encodeName(folderOf(target) + u"/"_s + temporaryPrefix(target) + randomPart))
        , m_file(::mkostemp(m_name.data(), O_CLOEXEC))
    {
        if (m_file.isOpen())
            ::flock(m_file.get(), LOCK_EX | LOCK_NB);
    }
    ~TemporaryFile()
    {
        if (m_file.isOpen() && !m_isRenamed)
            ::unlink(m_name.constData());
    }
    TemporaryFile(const TemporaryFile &) = delete;
    TemporaryFile &operator=(const TemporaryFile &) = delete;

    bool isOpen() const { return m_file.isOpen(); }
    int descriptor() const { return m_file.get(); }
    bool takeTargetsPlace()
    {
        m_isRenamed = ::rename(m_name.constData(), m_target.constData()) == 0;
        return m_isRenamed;
    }

private:
    QByteArray m_target;
    QByteArray m_name;
    FileDescriptor m_file;
    bool m_isRenamed = false;
};

bool writeAll(int fd, QByteArrayView bytes)
{
    while (!bytes.isEmpty()) {
        const ssize_t written = ::write(fd, bytes.data(), size_t(bytes.size()));
        if (written < 0 && errno != EINTR)
            return false;
        bytes = bytes.sliced(qMax<ssize_t>(written, 0));
    }
    return true;
}

/// Makes a rename in the folder durable. File systems that cannot sync a folder need not.
bool syncFolder(const QString &folder)
{
    const FileDescriptor fd(
        ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return fd.isOpen() && (::fsync(fd.get()) == 0 || errno == EINVAL || errno == ENOTSUP);
}

} // namespace

Stamp::Stamp(const struct stat &status)
    : device(status.st_dev)
    , inode(status.st_ino)
    , size(status.st_size)
    , seconds(status.st_mtim.tv_sec)
    , nanoseconds(status.st_mtim.tv_nsec)
{
}

QString describeError(const QString &what, const QString &path, int error)
{
    return u"%1 %2: %3"_s.arg(what, path, QString::fromLocal8Bit(std::strerror(error)));
}

QString resolveLinks(const QString &path)
{
    QString current = path;
    for (int followed = 0; followed < maximumLinks; ++followed) {
        QByteArray target(PATH_MAX, Qt::Uninitialized);
        const ssize_t length =
            ::readlink(QFile::encodeName(current).constData(), target.data(), size_t(target.size()));
        if (length < 0)
            return current;
        target.truncate(length);
        current = QDir(folderOf(current)).filePath(QFile::decodeName(target));
    }
    return path;
}

QString makeFolder(const QString &folder)
{
    const QByteArray name = QFile::encodeName(folder);
    if (::mkdir(name.constData(), S_IRWXU) == 0 || errno == EEXIST)
        return {};
    if (errno == ENOENT && folderOf(folder) != folder) {
        if (QString error = makeFolder(folderOf(folder)); !error.isEmpty())
            return error;
        if (::mkdir(name.constData(), S_IRWXU) == 0 || errno == EEXIST)
            return {};
    }
    return describeError(u"Cannot create the folder"_s, folder, errno);
}

QString replace(const QString &path, const QByteArray &content, Stamp *stamp)
{
    const QString folder = folderOf(path);
    if (QString error = makeFolder(folder); !error.isEmpty())
        return error;
    TemporaryFile file(path);
    if (!file.isOpen())
        return describeError(u"Cannot create a file in"_s, folder, errno);
    if (!writeAll(file.descriptor(), content) || ::fsync(file.descriptor()) != 0)
        return describeError(u"Cannot write a file in"_s, folder, errno);
    struct stat status = {};
    if (stamp && ::fstat(file.descriptor(), &status) == 0)
        *stamp = Stamp(status);
    if (!file.takeTargetsPlace())
        return describeError(u"Cannot replace"_s, path, errno);
    if (!syncFolder(folder))
        return describeError(u"Cannot sync the folder"_s, folder, errno);
    return {};
}

QString setAside(const QString &path, QString *kept)
{
    for (int number = 1; number <= maximumKept; ++number) {
        *kept = path + u".damaged"_s + (number == 1 ? QString() : u"-%1"_s.arg(number));
        const QByteArray name = QFile::encodeName(*kept);
        // An empty file of that name reserves it; renaming replaces no more than that.
        const FileDescriptor reserved(
            ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
        if (!reserved.isOpen() && errno == EEXIST)
            continue;
        if (reserved.isOpen() && ::rename(QFile::encodeName(path).constData(), name.constData()) == 0)
            return {};
        const int error = errno;
        if (reserved.isOpen())
            ::unlink(name.constData());
        return describeError(u"Cannot set aside"_s, path, error);
    }
    return describeError(u"Cannot set aside"_s, path, EEXIST);
}

void removeLeftovers(const QString &path)
{
    const QDir folder(folderOf(path));
    const QString prefix = temporaryPrefix(path);
    // Compared by hand: a name filter would load a library for regular expressions, for the whole run.
    const QStringList names = folder.entryList(QDir::Files | QDir::Hidden | QDir::NoSymLinks);
    for (const QString &name : names) {
        if (!name.startsWith(prefix) || name.size() != prefix.size() + randomPart.size())
            continue;
        const QByteArray leftover = QFile::encodeName(folder.filePath(name));
        const FileDescriptor file(::open(leftover.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
        if (file.isOpen() && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0)
            ::unlink(leftover.constData());
    }
}

} // namespace AtomicFile
