// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "PaintingThread.h"

#include <QThreadPool>

void PaintingThread::keepOne()
{
    constexpr int never = -1;
    QThreadPool *pool = QThreadPool::globalInstance();
    pool->setMaxThreadCount(1);
    pool->setExpiryTimeout(never);
    pool->start([] {}); // the pool makes its thread with its first task
}
