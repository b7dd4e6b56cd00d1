// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "SymbolDrawing.h"

#include <QPainter>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QStringList statusSymbols{u"bolt.horizontal.icloud"_s, u"arrow.clockwise.icloud"_s,
                                u"bolt.horizontal.icloud.fill"_s, u"exclamationmark.icloud.fill"_s};
const QStringList otherSymbols{u"circle.fill"_s, u"gearshape"_s, u"checkmark.circle.fill"_s,
                               u"plus"_s,        u"minus"_s,     u"xmark.octagon.fill"_s,
                               u"eye"_s,         u"eye.slash"_s, u"exclamationmark.triangle"_s};

/// Returns by how much two black pictures differ, as a part of black against nothing.
double difference(const QImage &one, const QImage &other)
{
    const auto ink = [](QRgb pixel) { return qAlpha(pixel) * (255 - qGray(pixel)) / 255; };
    double sum = 0;
    for (int i = 0; i < one.width() * one.height(); ++i) {
        const QPoint point(i % one.width(), i / one.width());
        sum += std::abs(ink(one.pixel(point)) - ink(other.pixel(point))) / 255.0;
    }
    return sum / (one.width() * one.height());
}

} // namespace

class TestSymbolDrawing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    /// Red and green look alike to many people: the shapes have to tell the states apart.
    void everySymbolHasItsShape()
    {
        const QColor color(Qt::black);
        for (const int size : {16, 22, 24, 32, 48}) {
            QImage nothing(size, size, QImage::Format_ARGB32_Premultiplied);
            nothing.fill(Qt::transparent);
            QList<QImage> shapes{nothing};
            for (const QString &symbol : statusSymbols + otherSymbols) {
                const QImage image = SymbolDrawing::image(symbol, size, color);
                QCOMPARE(image.size(), QSize(size, size));
                const QString fault = u"%1 at %2 pixels is nearly full, or like nothing or another state"_s;
                QVERIFY2(difference(image, nothing) < 0.8, qPrintable(fault.arg(symbol).arg(size)));
                for (const QImage &shape : shapes)
                    QVERIFY2(difference(image, shape) >= 0.04, qPrintable(fault.arg(symbol).arg(size)));
                if (statusSymbols.contains(symbol))
                    shapes += image;
            }
        }
        for (const QString &name : {u"no.such.symbol"_s, QString()}) {
            QVERIFY(SymbolDrawing::image(name, 16, color).isNull());
            QVERIFY(SymbolDrawing::icon(name, color).isNull());
            QVERIFY(SymbolDrawing::svg(name, color).isEmpty());
        }
    }

    void iconKeepsItsShapeAndIsDimmed()
    {
        QImage wide(48, 16, QImage::Format_ARGB32_Premultiplied);
        wide.fill(Qt::transparent);
        QPainter(&wide).drawImage(16, 0, SymbolDrawing::image(u"gearshape"_s, 16, Qt::black));
        const QPixmap drawn = SymbolDrawing::icon(u"gearshape"_s, Qt::black).pixmap(48, 16);
        QCOMPARE(drawn.toImage().convertToFormat(wide.format()), wide);

        const auto alpha = [](const QColor &color, QIcon::Mode mode) {
            const QPixmap dot = SymbolDrawing::icon(u"circle.fill"_s, color).pixmap(16, mode);
            return dot.toImage().pixelColor(8, 8).alpha();
        };
        QCOMPARE(alpha(Qt::black, QIcon::Normal), 255);
        QCOMPARE(alpha(QColor(0, 0, 0, 51), QIcon::Normal), 51);
        QVERIFY(alpha(Qt::black, QIcon::Disabled) < 128);
    }

    void colorsCanBeReadOnTheirGround_data()
    {
        QTest::addColumn<QColor>("ground");

        for (const QColor ground : {0xfdf6e3, 0xefefef, 0xffffff, 0, 0x202020, 0x2a2e32, 0x308cc6, 0x3daee9})
            QTest::addRow("faint on %s", qPrintable(ground.name())) << ground;
    }
    void colorsCanBeReadOnTheirGround()
    {
        QFETCH(QColor, ground);
        for (const auto role : {QPalette::Window, QPalette::Base, QPalette::Highlight}) {
            QPalette palette(0x7f7f7f, 0x7f7f7f);
            for (const auto text : {QPalette::WindowText, QPalette::Text, QPalette::HighlightedText})
                palette.setColor(text, ground.lightness() < 160 ? Qt::white : Qt::black);
            palette.setColor(role, ground);
            const auto contrast = [&](ColorRole color) {
                return SymbolDrawing::contrast(SymbolDrawing::color(color, palette, role), palette, role);
            };
            QVERIFY2(contrast(ColorRole::Green) >= 4.5, "green");
            QVERIFY2(contrast(ColorRole::Orange) >= 4.5, "orange");
            QVERIFY2(contrast(ColorRole::Red) >= 4.5, "red");
            QVERIFY2(role != QPalette::Highlight || contrast(ColorRole::SecondaryLabel) >= 4.5, "caption");
            const double dimmed = contrast(ColorRole::TertiaryLabel);
            QVERIFY2(role == QPalette::Window || dimmed > 1.2, "grey");
            QVERIFY2(role == QPalette::Window || dimmed < contrast(ColorRole::None),
                     "grey is as strong as text");
        }
    }

    void colorsCanBeSeenOnAnyPanel()
    {
        const auto isSeen = [](const QColor &color, QRgb panel) {
            return SymbolDrawing::contrast(color, panel) >= 3;
        };
        for (const ColorRole role : {ColorRole::None, ColorRole::Green, ColorRole::Orange, ColorRole::Red}) {
            const QString name = u"role %1 on "_s.arg(int(role));
            for (const QRgb panel : {0xffffffU, 0xefeff1U, 0x2b2f33U})
                QVERIFY2(isSeen(SymbolDrawing::colorOnAnyGround(role), panel),
                         qPrintable(name + QColor(panel).name()));
            for (const QRgb panel : {0xefeff1U, 0xd0d5d9U, 0x808080U, 0x2b2f33U}) // Breeze's is the second
                QVERIFY2(isSeen(SymbolDrawing::colorInRim(role), panel) || isSeen(Qt::white, panel),
                         qPrintable(name + QColor(panel).name() + u", in a white rim"_s));
        }
    }
};

QTEST_MAIN(TestSymbolDrawing)
#include "tst_symboldrawing.moc"
