// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "IconFolder.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr auto themeIndex = R"([Icon Theme]
Name=Hicolor
Comment=Icons of Morvanel's panel item
Directories=scalable/status

[scalable/status]
Context=Status
Size=64
MinSize=8
MaxSize=512
Type=Scalable
)";

/// Leaves a file alone that already holds the data, so that no panel reads it again.
bool ensureFile(const QString &path, const QByteArray &data)
{
    if (QFile existing(path); existing.open(QIODevice::ReadOnly) && existing.readAll() == data)
        return true;
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size() && file.commit();
}

} // namespace

IconFolder::IconFolder(const QString &runtimeFolder)
    : m_path(runtimeFolder + u"/morvanel/icons"_s)
{
    const QList<StatusPicture> pictures = StatusPicture::withoutCount();
    m_isUsable = !runtimeFolder.isEmpty() &&
                 std::all_of(pictures.cbegin(), pictures.cend(),
                             [this](const StatusPicture &picture) { return write(picture); });
}

QString IconFolder::iconName(const StatusPicture &picture) const
{
    if (!m_isUsable || picture.isNull())
        return {};
    if (!write(picture))
        return {};
    if (!picture.hasCount())
        return picture.name();
    return m_path + u'/' + picture.name() + u".svg"_s;
}

bool IconFolder::write(const StatusPicture &picture) const
{
    const QString file = u'/' + picture.name() + u".svg"_s;
    const QString themed = m_path + u"/hicolor/scalable/status"_s;
    return QDir().mkpath(themed) && ensureFile(m_path + u"/hicolor/index.theme"_s, themeIndex) &&
           ensureFile(m_path + file, picture.svg()) && ensureFile(themed + file, picture.svg());
}
