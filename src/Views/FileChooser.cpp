// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "FileChooser.h"

#include <QDir>
#include <QFileDialog>

QString chooseFile(QWidget *parent, const QString &folder)
{
    return QFileDialog::getOpenFileName(parent, {}, nearestExistingFolder(folder), {}, nullptr,
                                        QFileDialog::DontResolveSymlinks);
}

QString nearestExistingFolder(const QString &folder)
{
    QString candidate = QDir::cleanPath(folder);
    while (!QFileInfo(candidate).isDir() && !QDir(candidate).isRoot())
        candidate = QFileInfo(candidate).path();
    return candidate;
}
