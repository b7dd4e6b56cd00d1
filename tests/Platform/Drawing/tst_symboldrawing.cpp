// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SymbolDrawing.h"

#include <QFile>
#include <QPainter>
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

/// Sum of the alpha of all pixels, as a part of a wholly opaque image.
double coverage(const QImage &image)
{
    double sum = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            sum += qAlpha(image.pixel(x, y)) / 255.0;
    return sum / (image.width() * image.height());
}

/// By how much two pictures differ when their colours are not seen, in the measure of `coverage`.
double difference(const QImage &one, const QImage &other)
{
    double sum = 0;
    for (int y = 0; y < one.height(); ++y)
        for (int x = 0; x < one.width(); ++x)
            sum += std::abs(qAlpha(one.pixel(x, y)) - qAlpha(other.pixel(x, y))) / 255.0;
    return sum / (one.width() * one.height());
}

} // namespace

class TestSymbolDrawing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everySymbolIsDrawnInItsColor_data();
    void everySymbolIsDrawnInItsColor();
    void statusIconsDifferByShapeAlone_data();
    void statusIconsDifferByShapeAlone();
    void unknownSymbolIsNull();
    void iconIsSharpAtEveryScale();
    void disabledAndTranslucentIconsAreDimmed();
    void namedColorsStandOutFromTheWindow_data();
    void namedColorsStandOutFromTheWindow();
    void colorsForAnyGroundSuitLightAndDarkPanels();
    void themeIconsAreTheSymbols_data();
    void themeIconsAreTheSymbols();
};

void TestSymbolDrawing::everySymbolIsDrawnInItsColor_data()
{
    QTest::addColumn<QString>("symbol");
    for (const QString &symbol : statusSymbols + otherSymbols)
        QTest::addRow("%s", qPrintable(symbol)) << symbol;
}

void TestSymbolDrawing::everySymbolIsDrawnInItsColor()
{
    QFETCH(QString, symbol);
    for (const int size : panelSizes) {
        const QImage image = SymbolDrawing::image(symbol, size, QColor(200, 30, 90));
        QCOMPARE(image.size(), QSize(size, size));
        const double covered = coverage(image);
        QVERIFY2(covered > 0.05 && covered < 0.8, qPrintable(QString::number(covered)));
        for (int y = 0; y < size; ++y)
            for (int x = 0; x < size; ++x)
                if (qAlpha(image.pixel(x, y)) == 255)
                    QCOMPARE(image.pixelColor(x, y), QColor(200, 30, 90));
    }
    QVERIFY(SymbolDrawing::svg(symbol, Qt::red).contains("#ff0000"));
    QVERIFY(!SymbolDrawing::svg(symbol, Qt::red).contains("currentColor"));
}

void TestSymbolDrawing::statusIconsDifferByShapeAlone_data()
{
    QTest::addColumn<QString>("one");
    QTest::addColumn<QString>("other");
    for (qsizetype i = 0; i < statusSymbols.size(); ++i)
        for (qsizetype j = i + 1; j < statusSymbols.size(); ++j)
            QTest::addRow("%s, %s", qPrintable(statusSymbols[i]), qPrintable(statusSymbols[j]))
                << statusSymbols[i] << statusSymbols[j];
}

// Red and green look alike to many people: the shapes have to tell the states apart.
void TestSymbolDrawing::statusIconsDifferByShapeAlone()
{
    QFETCH(QString, one);
    QFETCH(QString, other);
    for (const int size : panelSizes) {
        const double differs = difference(SymbolDrawing::image(one, size, Qt::black),
                                          SymbolDrawing::image(other, size, Qt::black));
        QVERIFY2(differs >= 0.04, qPrintable(u"%1 at %2 px"_s.arg(differs).arg(size)));
    }
}

void TestSymbolDrawing::unknownSymbolIsNull()
{
    for (const QString &name : {u"no.such.symbol"_s, QString()}) {
        QVERIFY(SymbolDrawing::image(name, 16, Qt::black).isNull());
        QVERIFY(SymbolDrawing::icon(name, Qt::black).isNull());
        QVERIFY(SymbolDrawing::svg(name, Qt::black).isEmpty());
    }
}

void TestSymbolDrawing::iconIsSharpAtEveryScale()
{
    const QIcon icon = SymbolDrawing::icon(u"gearshape"_s, Qt::black);
    for (const qreal scale : {1.0, 1.5, 2.0, 3.0}) {
        const QPixmap pixmap = icon.pixmap(QSize(16, 16), scale);
        const int pixels = qRound(16 * scale);
        QCOMPARE(pixmap.size(), QSize(pixels, pixels));
        QCOMPARE(pixmap.devicePixelRatio(), scale);
        QImage drawn = pixmap.toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied);
        drawn.setDevicePixelRatio(1);
        QCOMPARE(drawn, SymbolDrawing::image(u"gearshape"_s, pixels, Qt::black));
    }

    // In a rectangle that is not square the symbol keeps its shape and stands in the middle.
    const QImage wide = icon.pixmap(48, 16).toImage();
    QCOMPARE(coverage(wide.copy(0, 0, 16, 16)) + coverage(wide.copy(32, 0, 16, 16)), 0.0);
    QVERIFY(coverage(wide.copy(16, 0, 16, 16)) > 0.1);
}

void TestSymbolDrawing::disabledAndTranslucentIconsAreDimmed()
{
    const QIcon icon = SymbolDrawing::icon(u"circle.fill"_s, Qt::black);
    const auto centre = [](const QPixmap &pixmap) { return pixmap.toImage().pixelColor(8, 8).alpha(); };
    QCOMPARE(centre(icon.pixmap(16, QIcon::Normal)), 255);
    QVERIFY(centre(icon.pixmap(16, QIcon::Disabled)) < 128);
    QCOMPARE(SymbolDrawing::image(u"circle.fill"_s, 16, QColor(0, 0, 0, 51)).pixelColor(8, 8).alpha(), 51);
}

void TestSymbolDrawing::namedColorsStandOutFromTheWindow_data()
{
    QTest::addColumn<QColor>("window");
    QTest::addColumn<QColor>("text");
    for (int grey = 0; grey <= 255; grey += 15)
        QTest::addRow("grey %d", grey)
            << QColor(grey, grey, grey) << QColor(grey < 128 ? Qt::white : Qt::black);
    QTest::newRow("solarized light") << QColor(0xfd, 0xf6, 0xe3) << QColor(0x65, 0x7b, 0x83);
    QTest::newRow("dark blue") << QColor(0x1b, 0x2a, 0x78) << QColor(Qt::white);
    QTest::newRow("green") << QColor(0x1f, 0x8a, 0x3b) << QColor(Qt::white);
}

void TestSymbolDrawing::namedColorsStandOutFromTheWindow()
{
    QFETCH(QColor, window);
    QFETCH(QColor, text);
    QPalette palette;
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);

    for (const ColorRole role : namedColors)
        QVERIFY(SymbolDrawing::contrast(SymbolDrawing::color(role, palette), window) >= 3);
    QCOMPARE(SymbolDrawing::color(ColorRole::None, palette), text);
    const QColor dimmed = SymbolDrawing::color(ColorRole::TertiaryLabel, palette);
    QVERIFY(SymbolDrawing::contrast(dimmed, window) < SymbolDrawing::contrast(text, window));
    QVERIFY(SymbolDrawing::contrast(dimmed, window) > 1.2);
}

void TestSymbolDrawing::colorsForAnyGroundSuitLightAndDarkPanels()
{
    for (const QColor &panel : {QColor(Qt::white), QColor(0xef, 0xf0, 0xf1), QColor(0x2b, 0x2f, 0x33)})
        for (const ColorRole role : {ColorRole::None, ColorRole::Green, ColorRole::Orange, ColorRole::Red})
            QVERIFY(SymbolDrawing::contrast(SymbolDrawing::colorOnAnyGround(role), panel) >= 3);
}

void TestSymbolDrawing::themeIconsAreTheSymbols_data()
{
    QTest::addColumn<QString>("icon");
    QTest::addColumn<QString>("symbol");
    QTest::addColumn<ColorRole>("role");
    QTest::newRow("idle") << u"morvanel-idle-symbolic"_s << statusSymbols[0] << ColorRole::None;
    QTest::newRow("connecting") << u"morvanel-connecting"_s << statusSymbols[1] << ColorRole::Orange;
    QTest::newRow("connected") << u"morvanel-connected"_s << statusSymbols[2] << ColorRole::Green;
    QTest::newRow("problem") << u"morvanel-problem"_s << statusSymbols[3] << ColorRole::Red;
}

void TestSymbolDrawing::themeIconsAreTheSymbols()
{
    QFETCH(QString, icon);
    QFETCH(QString, symbol);
    QFETCH(ColorRole, role);
    QFile file(u"%1/%2.svg"_s.arg(QStringLiteral(ICON_DIRECTORY), icon));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), SymbolDrawing::svg(symbol, SymbolDrawing::colorOnAnyGround(role)));
}

QTEST_MAIN(TestSymbolDrawing)
#include "tst_symboldrawing.moc"
