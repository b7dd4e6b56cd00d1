// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SymbolDrawing.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QStringList statusSymbols{u"bolt.horizontal.icloud"_s, u"arrow.clockwise.icloud"_s,
                                u"bolt.horizontal.icloud.fill"_s, u"exclamationmark.icloud.fill"_s};
const QStringList otherSymbols{u"circle.fill"_s, u"gearshape"_s, u"checkmark.circle.fill"_s,
                               u"plus"_s,        u"minus"_s,     u"xmark.octagon.fill"_s,
                               u"eye"_s,         u"eye.slash"_s, u"exclamationmark.triangle"_s};
constexpr int panelSizes[] = {16, 22, 24, 32, 48};
constexpr ColorRole namedColors[] = {ColorRole::Green, ColorRole::Orange, ColorRole::Red};

/// By how much two pictures differ when their colours are not seen, as a part of black against nothing.
double difference(const QImage &one, const QImage &other)
{
    double sum = 0;
    for (int i = 0; i < one.width() * one.height(); ++i) {
        const QPoint point(i % one.width(), i / one.width());
        sum += std::abs(qAlpha(one.pixel(point)) - qAlpha(other.pixel(point))) / 255.0;
    }
    return sum / (one.width() * one.height());
}

/// Returns the share of its area that a picture covers.
double coverage(const QImage &image)
{
    QImage nothing(image.size(), QImage::Format_ARGB32);
    nothing.fill(Qt::transparent);
    return difference(image, nothing);
}

} // namespace

class TestSymbolDrawing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everySymbolIsDrawnInItsColor()
    {
        const QColor color(200, 30, 90);
        for (const QString &symbol : statusSymbols + otherSymbols) {
            for (const int size : panelSizes) {
                const QImage image = SymbolDrawing::image(symbol, size, color);
                QCOMPARE(image.size(), QSize(size, size));
                const double covered = coverage(image);
                QVERIFY2(covered > 0.05 && covered < 0.8, qPrintable(symbol));
                for (int i = 0; i < size * size; ++i) {
                    const QColor pixel = image.pixelColor(i % size, i / size);
                    QVERIFY2(pixel.alpha() < 255 || pixel == color, qPrintable(symbol));
                }
            }
            QVERIFY(!SymbolDrawing::svg(symbol, Qt::red).contains("currentColor"));
        }
    }

    // Red and green look alike to many people: the shapes have to tell the states apart.
    void statusIconsDifferByShapeAlone()
    {
        for (const QString &one : statusSymbols) {
            for (const QString &other : statusSymbols) {
                for (const int size : panelSizes)
                    QVERIFY2(one == other || difference(SymbolDrawing::image(one, size, Qt::black),
                                                        SymbolDrawing::image(other, size, Qt::black)) >= 0.04,
                             qPrintable(u"%1, %2 at %3 px"_s.arg(one, other).arg(size)));
            }
        }
    }

    void unknownSymbolIsNull()
    {
        for (const QString &name : {u"no.such.symbol"_s, QString()}) {
            QVERIFY(SymbolDrawing::image(name, 16, Qt::black).isNull());
            QVERIFY(SymbolDrawing::icon(name, Qt::black).isNull());
            QVERIFY(SymbolDrawing::svg(name, Qt::black).isEmpty());
        }
    }

    void iconKeepsItsShapeAndIsDimmed()
    {
        const QImage wide = SymbolDrawing::icon(u"gearshape"_s, Qt::black).pixmap(48, 16).toImage();
        QCOMPARE(coverage(wide.copy(0, 0, 16, 16)) + coverage(wide.copy(32, 0, 16, 16)), 0.0);
        QCOMPARE(wide.copy(16, 0, 16, 16).convertToFormat(QImage::Format_ARGB32_Premultiplied),
                 SymbolDrawing::image(u"gearshape"_s, 16, Qt::black));

        const QIcon icon = SymbolDrawing::icon(u"circle.fill"_s, Qt::black);
        const auto centre = [](const QPixmap &pixmap) { return pixmap.toImage().pixelColor(8, 8).alpha(); };
        QCOMPARE(centre(icon.pixmap(16, QIcon::Normal)), 255);
        QVERIFY(centre(icon.pixmap(16, QIcon::Disabled)) < 128);
        QCOMPARE(SymbolDrawing::image(u"circle.fill"_s, 16, QColor(0, 0, 0, 51)).pixelColor(8, 8).alpha(),
                 51);
    }

    void namedColorsStandOutFromTheWindow()
    {
        QList<QColor> windows{QColor(0xfd, 0xf6, 0xe3), QColor(0x1b, 0x2a, 0x78), QColor(0x1f, 0x8a, 0x3b)};
        for (int grey = 0; grey <= 255; grey += 15)
            windows += QColor(grey, grey, grey);
        for (const QColor &window : windows) {
            const QColor text = window.lightness() < 128 ? Qt::white : Qt::black;
            QPalette palette;
            palette.setColor(QPalette::Window, window);
            palette.setColor(QPalette::WindowText, text);
            for (const ColorRole role : namedColors)
                QVERIFY(SymbolDrawing::contrast(SymbolDrawing::color(role, palette), window) >= 3);
            QCOMPARE(SymbolDrawing::color(ColorRole::None, palette), text);
            const double dimmed =
                SymbolDrawing::contrast(SymbolDrawing::color(ColorRole::TertiaryLabel, palette), window);
            QVERIFY(dimmed < SymbolDrawing::contrast(text, window) && dimmed > 1.2);
        }
    }

    void colorsForAnyGroundSuitLightAndDarkPanels()
    {
        for (const QColor &panel : {QColor(Qt::white), QColor(0xef, 0xf0, 0xf1), QColor(0x2b, 0x2f, 0x33)})
            for (const ColorRole role :
                 {ColorRole::None, ColorRole::Green, ColorRole::Orange, ColorRole::Red})
                QVERIFY(SymbolDrawing::contrast(SymbolDrawing::colorOnAnyGround(role), panel) >= 3);
    }
};

QTEST_MAIN(TestSymbolDrawing)
#include "tst_symboldrawing.moc"
