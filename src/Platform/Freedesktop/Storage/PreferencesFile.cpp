// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "PreferencesFile.h"

#include "FileDescriptor.h"
#include "StandardError.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QStandardPaths>

#include <cerrno>
#include <cmath>
#include <limits>
#include <utility>

#include <fcntl.h>

using namespace Qt::StringLiterals;

namespace {

constexpr auto dataMember = "data"_L1;

/// Adds the rest of the file to `text`. Whether that worked; `errno` says why not.
bool readAll(int fd, QByteArray *text)
{
    QByteArray block(65'536, Qt::Uninitialized);
    for (;;) {
        const ssize_t length = ::read(fd, block.data(), size_t(block.size()));
        if (length == 0)
            return true;
        if (length < 0 && errno != EINTR)
            return false;
        text->append(block.constData(), qMax<ssize_t>(length, 0));
    }
}

std::optional<qint32> toInteger(const QJsonValue &value)
{
    using Limits = std::numeric_limits<qint32>;
    const double number = value.toDouble(std::numeric_limits<double>::quiet_NaN());
    if (std::trunc(number) != number || number < Limits::min() || number > Limits::max())
        return std::nullopt;
    return qint32(number);
}

} // namespace

PreferencesFile::PreferencesFile(QString path)
    : m_path(std::move(path))
{
    const QString target = AtomicFile::resolveLinks(m_path);
    AtomicFile::removeLeftovers(target);
    reportOnce(refresh(target));
}

QString PreferencesFile::defaultPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           u"/morvanel/preferences.json"_s;
}

std::optional<QString> PreferencesFile::string(const QString &key) const
{
    const QJsonValue value = m_members.value(key);
    return value.isString() ? std::optional(value.toString()) : std::nullopt;
}

std::optional<bool> PreferencesFile::boolean(const QString &key) const
{
    const QJsonValue value = m_members.value(key);
    return value.isBool() ? std::optional(value.toBool()) : std::nullopt;
}

std::optional<QByteArray> PreferencesFile::data(const QString &key) const
{
    const QJsonObject object = m_members.value(key).toObject();
    const QJsonValue text = object.value(dataMember);
    if (object.size() != 1 || !text.isString())
        return std::nullopt;
    auto bytes =
        QByteArray::fromBase64Encoding(text.toString().toUtf8(), QByteArray::AbortOnBase64DecodingErrors);
    return bytes ? std::optional(std::move(*bytes)) : std::nullopt;
}

std::optional<QList<qint32>> PreferencesFile::integers(const QString &key) const
{
    const QJsonValue value = m_members.value(key);
    if (!value.isArray())
        return std::nullopt;
    QList<qint32> numbers;
    const QJsonArray array = value.toArray();
    for (const QJsonValue element : array) {
        const std::optional<qint32> number = toInteger(element);
        if (!number)
            return std::nullopt;
        numbers.append(*number);
    }
    return numbers;
}

void PreferencesFile::setString(const QString &key, const QString &value)
{
    set(key, value);
}

void PreferencesFile::setBoolean(const QString &key, bool value)
{
    set(key, value);
}

void PreferencesFile::setData(const QString &key, const QByteArray &value)
{
    set(key, QJsonObject{{dataMember, QString::fromLatin1(value.toBase64())}});
}

void PreferencesFile::setIntegers(const QString &key, const QList<qint32> &value, Durability)
{
    QJsonArray array;
    for (const qint32 number : value)
        array.append(number);
    set(key, array);
}

void PreferencesFile::remove(const QString &key)
{
    store(key, m_members.remove(key));
}

void PreferencesFile::set(const QString &key, const QJsonValue &value)
{
    store(key, m_members.set(key, value));
}

/// Brings the file up to date after a change of `key`, and tells when that fails.
void PreferencesFile::store(const QString &key, bool isChanged)
{
    m_writtenKeys.insert(key);
    m_isStored = m_isStored && !isChanged;
    const QString target = AtomicFile::resolveLinks(m_path);
    QString failure = refresh(target);
    if (failure.isEmpty() && !m_isStored) {
        AtomicFile::Stamp stamp;
        failure = AtomicFile::replace(target, m_members.text(), &stamp);
        m_isStored = failure.isEmpty();
        if (m_isStored)
            m_stamp = stamp;
    }
    reportOnce(failure);
}

/// Reads the file unless it is the one that was last read or written. Returns why it must not be written;
/// nothing when it may.
QString PreferencesFile::refresh(const QString &target)
{
    const QByteArray name = QFile::encodeName(target);
    struct stat status = {};
    if (m_stamp && ::stat(name.constData(), &status) == 0 && AtomicFile::Stamp(status) == *m_stamp)
        return {};
    // Without O_NONBLOCK opening a named pipe would wait for its writer.
    const FileDescriptor file(::open(name.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file.isOpen() && errno == ENOENT) {
        m_isStored = m_isStored && !m_stamp;
        return {};
    }
    QByteArray text;
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0)
        return AtomicFile::describeError(u"Cannot read"_s, target, errno);
    if (!S_ISREG(status.st_mode))
        return u"%1 is no regular file"_s.arg(target);
    if (!readAll(file.get(), &text))
        return AtomicFile::describeError(u"Cannot read"_s, target, errno);
    // Another's file, so what this run has written is not in it.
    m_isStored = m_isStored && m_writtenKeys.isEmpty();
    QString damage;
    const std::optional<JsonMembers> members = JsonMembers::parse(text, &damage);
    if (!members)
        return setAside(target, damage);
    m_members.takeAllBut(m_writtenKeys, *members);
    m_stamp = AtomicFile::Stamp(status);
    return {};
}

/// Makes room for a new file where there is a damaged one. Returns why that failed; nothing when it worked.
QString PreferencesFile::setAside(const QString &target, const QString &damage)
{
    QString kept;
    QString failure = AtomicFile::setAside(target, &kept);
    if (failure.isEmpty()) {
        m_stamp.reset();
        writeToStandardError(u"%1 is damaged (%2); kept as %3"_s.arg(target, damage, kept));
    }
    return failure;
}

void PreferencesFile::reportOnce(const QString &failure)
{
    if (!failure.isEmpty() && failure != m_reported)
        writeToStandardError(u"preferences are not stored: "_s + failure);
    m_reported = failure;
}
