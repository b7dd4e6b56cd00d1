// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "PaintingThread.h"

#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QTest>
#include <QThreadPool>

using namespace Qt::StringLiterals;

namespace {

QStringList threads()
{
    return QDir(u"/proc/self/task"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
}

void paintLargeArea()
{
    QImage image(1500, 1500, QImage::Format_RGB32);
    QPainter painter(&image);
    QLinearGradient gradient(0, 0, 1500, 1500);
    gradient.setColorAt(1, Qt::red);
    painter.fillRect(image.rect(), gradient);
}

} // namespace

class TestPaintingThread : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void paintingMakesNoThread()
    {
        PaintingThread::keepOne();
        QTRY_COMPARE(QThreadPool::globalInstance()->activeThreadCount(), 0);
        const QStringList before = threads();
        paintLargeArea();
        QCOMPARE(threads(), before);
        QVERIFY(QThreadPool::globalInstance()->expiryTimeout() < 0);
    }
};

QTEST_MAIN(TestPaintingThread)
#include "tst_paintingthread.moc"
