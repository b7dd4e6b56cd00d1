// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "PreferencesFile.h"

#include "FileDescriptor.h"
#include "StandardError.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QStandardPaths>
#include <QTemporaryFile>

#include <cerrno>
#include <filesystem>
#include <limits>
#include <utility>

#include <fcntl.h>
#include <glib.h>
#include <glib/gstdio.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

using Durability = Preferences::Durability;

constexpr auto dataMember = "data"_L1;
/// The number of links that the kernel follows.
constexpr int maximumLinks = 40;

/// Returns the path that `path` leads to when it is a symbolic link, also one to a file that is not there
/// yet.
QString resolveLinks(const QString &path)
{
    std::filesystem::path target = QFile::encodeName(path).toStdString();
    std::error_code error;
    for (int i = 0; i < maximumLinks && std::filesystem::is_symlink(target, error); ++i)
        target = target.parent_path() / std::filesystem::read_symlink(target, error);
    return QFile::decodeName(target.c_str());
}

/// Returns "`what` `path`: `reason`"; the reason is by default the system's for the call that just failed.
QString failure(const QString &what, const QString &path, const QString &reason = qt_error_string())
{
    return u"%1 %2: %3"_s.arg(what, path, reason);
}

/// Returns the start of the names of temporary files for `path`.
QString temporaryPrefix(const QString &path)
{
    const QFileInfo info(path);
    return u"%1/.%2.new-"_s.arg(info.path(), info.fileName());
}

/// Removes the temporary files of runs that were killed while they wrote.
void removeLeftovers(const QString &path)
{
    const QString prefix = temporaryPrefix(path);
    const QFileInfoList files = QFileInfo(path).dir().entryInfoList(QDir::Files | QDir::Hidden);
    // Compared by hand: a name filter would load a library for regular expressions, for the whole run.
    for (const QFileInfo &file : files) {
        if (file.filePath().startsWith(prefix))
            QFile::remove(file.filePath());
    }
}

/// Renames a damaged file to a name beside it that nothing has yet and tells so.
[[nodiscard]] std::optional<QString> setAside(const QString &path, const QString &damage)
{
    QString kept = path + u".damaged"_s;
    for (int number = 2; QFile::exists(kept); ++number)
        kept = path + u".damaged-%1"_s.arg(number);
    QFile file(path);
    if (!file.rename(kept))
        return failure(u"Cannot set aside"_s, path, file.errorString());
    writeToStandardError(u"%1 is damaged (%2); kept as %3"_s.arg(path, damage, kept));
    return std::nullopt;
}

/// Makes a rename in the folder durable. File systems that cannot sync a folder need not.
bool syncFolder(const QString &folder)
{
    const FileDescriptor fd(
        ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return fd.isOpen() && (::fsync(fd.get()) == 0 || errno == EINVAL || errno == ENOTSUP);
}

/// Replaces the file, or creates it together with its folder. `QSaveFile` is no choice: it creates files that
/// others can read, ignores a failed sync and leaves the folder out of it.
[[nodiscard]] std::optional<QString> replaceFile(const QString &path, const QByteArray &content,
                                                 Durability durability)
{
    const QString folder = QFileInfo(path).path();
    if (g_mkdir_with_parents(QFile::encodeName(folder).constData(), S_IRWXU) != 0)
        return failure(u"Cannot create the folder"_s, folder);
    QTemporaryFile file(temporaryPrefix(path) + u"XXXXXX"_s);
    if (!file.open())
        return failure(u"Cannot create a file in"_s, folder, file.errorString());
    if (file.write(content) != content.size() || !file.flush())
        return failure(u"Cannot write a file in"_s, folder, file.errorString());
    const bool isDurable = durability == Durability::OnDisk;
    if (isDurable && ::fsync(file.handle()) != 0)
        return failure(u"Cannot write a file in"_s, folder);
    // Waits for nothing. Without it some file systems store the rename long before the content.
    if (!isDurable)
        ::sync_file_range(file.handle(), 0, 0, SYNC_FILE_RANGE_WRITE);
    if (::rename(QFile::encodeName(file.fileName()).constData(), QFile::encodeName(path).constData()) != 0)
        return failure(u"Cannot replace"_s, path);
    file.setAutoRemove(false);
    if (isDurable && !syncFolder(folder))
        return failure(u"Cannot sync the folder"_s, folder);
    return std::nullopt;
}

} // namespace

PreferencesFile::PreferencesFile(QString path)
    : m_path(std::move(path))
{
    const QString target = resolveLinks(m_path);
    removeLeftovers(target);
    reportOnce(read(target));
}

void PreferencesFile::setTold(std::function<void(const Failure &failure)> told)
{
    m_told = std::move(told);
    if (m_reported)
        m_told(m_reported);
}

QString PreferencesFile::defaultPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           u"/morvanel/preferences.json"_s;
}

std::optional<QString> PreferencesFile::string(const QString &key) const
{
    const QJsonValue stored = value(key);
    return stored.isString() ? std::optional(stored.toString()) : std::nullopt;
}

std::optional<bool> PreferencesFile::boolean(const QString &key) const
{
    const QJsonValue stored = value(key);
    return stored.isBool() ? std::optional(stored.toBool()) : std::nullopt;
}

std::optional<QByteArray> PreferencesFile::data(const QString &key) const
{
    const QJsonObject object = value(key).toObject();
    const QJsonValue text = object.value(dataMember);
    if (object.size() != 1 || !text.isString())
        return std::nullopt;
    auto bytes =
        QByteArray::fromBase64Encoding(text.toString().toUtf8(), QByteArray::AbortOnBase64DecodingErrors);
    return bytes ? std::optional(std::move(*bytes)) : std::nullopt;
}

std::optional<QList<qint32>> PreferencesFile::integers(const QString &key) const
{
    const QJsonValue stored = value(key);
    if (!stored.isArray())
        return std::nullopt;
    QList<qint32> numbers;
    const QJsonArray array = stored.toArray();
    for (const QJsonValue element : array) {
        const qint64 number = element.toInteger(std::numeric_limits<qint64>::max());
        if (number != qint32(number))
            return std::nullopt;
        numbers.append(qint32(number));
    }
    return numbers;
}

void PreferencesFile::setData(const QString &key, const QByteArray &value)
{
    set(key, QJsonObject{{dataMember, QString::fromLatin1(value.toBase64())}});
}

void PreferencesFile::setIntegers(const QString &key, const QList<qint32> &value, Durability durability)
{
    QJsonArray array;
    for (const qint32 number : value)
        array.append(number);
    set(key, array, durability);
}

void PreferencesFile::remove(const QString &key)
{
    if (!m_pending.isEmpty() || !value(key).isUndefined())
        set(key, QJsonValue::Undefined);
}

QJsonValue PreferencesFile::value(const QString &key) const
{
    // A failure is told by the constructor and by the setters.
    [[maybe_unused]] const Failure untold = read(resolveLinks(m_path));
    return m_pending.contains(key) ? m_pending.value(key) : m_stored.value(key);
}

void PreferencesFile::set(const QString &key, const QJsonValue &value, Durability durability)
{
    m_pending.insert(key, value);
    reportOnce(write(durability));
}

/// Takes over what is in the file unless that is the one that was last read. After a failure the file must
/// not be written.
PreferencesFile::Failure PreferencesFile::read(const QString &target) const
{
    struct stat status = {};
    if (::stat(QFile::encodeName(target).constData(), &status) != 0)
        return errno == ENOENT ? std::nullopt : Failure(failure(u"Cannot read"_s, target));
    if (!S_ISREG(status.st_mode))
        return u"%1 is no regular file"_s.arg(target);
    const Stamp stamp(status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec,
                      status.st_mtim.tv_nsec);
    if (stamp == m_stamp)
        return std::nullopt;
    QFile file(target);
    if (!file.open(QIODevice::ReadOnly))
        return failure(u"Cannot read"_s, target, file.errorString());
    const QByteArray text = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return failure(u"Cannot read"_s, target, file.errorString());
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError)
        return setAside(target, u"%1 at byte %2"_s.arg(error.errorString()).arg(error.offset));
    if (!document.isObject())
        return setAside(target, u"not an object"_s);
    m_stored = document.object();
    m_stamp = stamp;
    return std::nullopt;
}

PreferencesFile::Failure PreferencesFile::write(Durability durability)
{
    const QString target = resolveLinks(m_path);
    if (Failure unreadable = read(target))
        return unreadable;
    QJsonObject object = m_stored;
    for (auto change = m_pending.cbegin(); change != m_pending.cend(); ++change)
        object.insert(change.key(), change.value()); // an undefined value removes the key
    if (Failure unwritten = replaceFile(target, QJsonDocument(object).toJson(), durability))
        return unwritten;
    m_stored = object;
    m_stamp.reset();
    m_pending.clear();
    return std::nullopt;
}

/// Tells a failure again only after a success or another failure: the path field writes at each key.
void PreferencesFile::reportOnce(const Failure &failure)
{
    if (failure == std::exchange(m_reported, failure))
        return;
    if (failure)
        writeToStandardError(u"preferences are not stored: "_s + *failure);
    if (m_told)
        m_told(failure);
}
