#include "views/Symbols.h"
#include "views/qt/QtCanvas.h"

#include "GuiTestSupport.h"
#include "ViewTestSupport.h"

#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QPaintEngine>
#include <QRegion>

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

using namespace view_test;

namespace {

// Draws into a transparent image of size x scale device pixels.
QImage drawn(Size size, double scale, const std::function<void(Canvas &)> &draw)
{
    ensureGuiApplication();
    QImage image(static_cast<int>(size.width * scale), static_cast<int>(size.height * scale),
                 QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    QtCanvas canvas(painter);
    draw(canvas);
    painter.end();
    return image;
}

void expectPixel(const QImage &image, int x, int y, QColor expected, int tolerance = 3)
{
    const QColor actual = image.pixelColor(x, y);
    EXPECT_NEAR(actual.red(), expected.red(), tolerance) << x << "," << y;
    EXPECT_NEAR(actual.green(), expected.green(), tolerance) << x << "," << y;
    EXPECT_NEAR(actual.blue(), expected.blue(), tolerance) << x << "," << y;
    EXPECT_NEAR(actual.alpha(), expected.alpha(), tolerance) << x << "," << y;
}

} // namespace

// Logical points land on whole device pixels at 1x, 1.5x and 2x: edges stay sharp.
TEST(QtCanvas, RectanglesOnWholePointsAreCrispAtEveryScale)
{
    for (double scale : {1.0, 1.5, 2.0}) {
        const QImage image = drawn({20.0, 20.0}, scale, [](Canvas &c) { c.fillRect({2.0, 2.0, 10.0, 10.0}, {1, 0, 0, 1}); });
        const int first = static_cast<int>(2.0 * scale);
        const int last = static_cast<int>(12.0 * scale) - 1;
        expectPixel(image, first, first, Qt::red, 0);
        expectPixel(image, last, last, Qt::red, 0);
        expectPixel(image, first - 1, first, Qt::transparent, 0);
        expectPixel(image, last + 1, last, Qt::transparent, 0);
    }
}

// A bar gradient with a stop beyond the top (+6 dB on a bar ending at 0 dB) shows the
// 0 dB colour at the top and the -60 dB colour at the bottom.
TEST(QtCanvas, BarGradientsRunBottomToTopAndKeepEachLevelsColour)
{
    const GradientPreset preset = trafficLight();
    const DrawableGradient gradient = preset.linearGradient(-60.0f, 0.0f);
    const Rect bar{0.0, 0.0, 10.0, 120.0};
    const QImage image = drawn({10.0, 120.0}, 2.0, [&](Canvas &c) { c.fillRoundedRect(bar, 0.0, gradientOver(gradient, bar)); });
    expectPixel(image, 10, 239, QColor(0, 255, 0), 6);  // -60 dB: green
    expectPixel(image, 10, 0, QColor(255, 0, 0), 6);    // 0 dB: red, not the +6 dB colour
    expectPixel(image, 10, 48, QColor(255, 255, 0), 6); // -12 dB: yellow, a fifth from the top
}

TEST(QtCanvas, ArcsRunClockwiseFromTheirStartAngle)
{
    const QImage image = drawn({100.0, 100.0}, 1.0, [](Canvas &c) {
        c.strokeArc({50.0, 50.0}, 40.0, -90.0, 90.0, {1, 1, 1, 1}, {6.0, LineCap::Butt});
    });
    // From twelve to three o'clock: the upper right quadrant only.
    expectPixel(image, 50 + 28, 50 - 28, Qt::white, 10);
    expectPixel(image, 50 - 28, 50 - 28, Qt::transparent, 0);
    expectPixel(image, 50 + 28, 50 + 28, Qt::transparent, 0);
}

TEST(QtCanvas, OpacityAndClipApplyUntilRestore)
{
    const QImage image = drawn({40.0, 20.0}, 1.0, [](Canvas &c) {
        {
            CanvasStateGuard guard(c);
            c.multiplyOpacity(0.5);
            c.clipToRect({0.0, 0.0, 10.0, 20.0});
            c.fillRect({0.0, 0.0, 20.0, 20.0}, {1, 1, 1, 1});
        }
        c.fillRect({30.0, 0.0, 10.0, 20.0}, {1, 1, 1, 1});
    });
    EXPECT_NEAR(image.pixelColor(5, 10).alpha(), 128, 2);
    EXPECT_EQ(image.pixelColor(15, 10).alpha(), 0);
    EXPECT_EQ(image.pixelColor(35, 10).alpha(), 255);
}

TEST(QtCanvas, FilledSymbolsCutTheirMarkOutOfTheDisc)
{
    const QImage image = drawn({40.0, 40.0}, 2.0, [](Canvas &c) {
        drawSymbol(c, Symbol::CheckmarkCircleFill, {20.0, 20.0}, 36.0, {0, 1, 0, 1});
    });
    // The check's lower corner is a hole; the disc around it is filled.
    const int cornerX = static_cast<int>((20.0 - 18.0 * 0.12) * 2.0);
    const int cornerY = static_cast<int>((20.0 + 18.0 * 0.33) * 2.0);
    EXPECT_EQ(image.pixelColor(cornerX, cornerY).alpha(), 0);
    expectPixel(image, 40, 70, Qt::green, 0);
    EXPECT_EQ(image.pixelColor(2, 2).alpha(), 0);
}

// Sizes are logical points whatever the device: a 20 point font measures about 20
// points tall, and monospaced digits advance equally.
TEST(QtCanvas, MeasuresTextInLogicalPoints)
{
    for (double scale : {1.0, 2.0}) {
        drawn({10.0, 10.0}, scale, [](Canvas &c) {
            const Font mono{20.0, FontWeight::Light, true};
            const TextMetrics one = c.measureText("0", mono);
            EXPECT_GT(one.height(), 18.0);
            EXPECT_LT(one.height(), 30.0);
            EXPECT_NEAR(c.measureText("-12.5", mono).width, 5.0 * one.width, 0.01);
            EXPECT_GT(c.measureText("\u221E", mono).width, 0.0);
        });
    }
}

// Batched segments look like round-capped strokes and compose source-over in order.
TEST(QtCanvas, BatchedSegmentsAndDiscsCoverLikeStrokesAndBlendInOrder)
{
    const std::array<ColoredSegment, 2> segments = {{{{5.0, 10.0}, {35.0, 10.0}, {1, 0, 0, 0.5}, 4.0},
                                                     {{20.0, 2.0}, {20.0, 18.0}, {0, 0, 1, 0.5}, 4.0}}};
    const QImage image = drawn({40.0, 20.0}, 2.0, [&](Canvas &c) { c.strokeSegments(segments); });
    expectPixel(image, 20, 20, QColor(255, 0, 0, 128), 2);   // first segment alone
    expectPixel(image, 40, 20, QColor(85, 0, 170, 191), 3);  // blue over red where they cross
    expectPixel(image, 72, 20, QColor(255, 0, 0, 128), 2);   // round cap, 1 point past the end
    expectPixel(image, 74, 20, Qt::transparent, 0);          // the cap ends 2 points past it
    // Edges on whole pixels stay crisp: the last row inside is full, the next one empty.
    expectPixel(image, 20, 23, QColor(255, 0, 0, 128), 2);
    expectPixel(image, 20, 24, Qt::transparent, 0);

    const std::array<ColoredDisc, 1> discs = {{{{10.0, 10.0}, 8.0, {0, 1, 0, 1}}}};
    const QImage dots = drawn({20.0, 20.0}, 1.5, [&](Canvas &c) {
        c.translate(2.0, 0.0);
        c.fillDiscs(discs);
    });
    expectPixel(dots, 18, 15, Qt::green, 0);                  // centre (12, 10) points
    EXPECT_EQ(dots.pixelColor(18, 22).alpha(), 0);            // 4.7 points below the centre
}

// Batched arcs: square-cut ends, clockwise sweeps below and above half a turn, whole rings.
TEST(QtCanvas, BatchedArcsCoverTheirSweepOnly)
{
    const std::array<ColoredArc, 2> arcs = {{{{50.0, 50.0}, 40.0, -90.0, 90.0, {1, 1, 1, 1}, 6.0},
                                             {{50.0, 50.0}, 25.0, -90.0, 270.0, {1, 0, 0, 1}, 6.0}}};
    const QImage image = drawn({100.0, 100.0}, 1.0, [&](Canvas &c) { c.strokeArcs(arcs); });
    expectPixel(image, 50 + 28, 50 - 28, Qt::white, 2);      // outer arc: twelve to three o'clock
    expectPixel(image, 50 - 28, 50 - 28, Qt::transparent, 0);
    expectPixel(image, 50 + 28, 50 + 28, Qt::transparent, 0);
    expectPixel(image, 50 + 17, 50 + 17, Qt::red, 2);        // inner arc: twelve round to nine o'clock
    expectPixel(image, 50 - 17, 50 + 17, Qt::red, 2);
    expectPixel(image, 50 - 17, 50 - 17, Qt::transparent, 0);
    // The square end at twelve o'clock: full just after it, empty just before it.
    expectPixel(image, 51, 50 - 40, Qt::white, 2);
    expectPixel(image, 48, 50 - 40, Qt::transparent, 0);
    // Ring thickness: 6 points around the radius.
    expectPixel(image, 50 + 42, 49, Qt::white, 2);
    expectPixel(image, 50 + 44, 49, Qt::transparent, 0);

    const std::array<ColoredArc, 1> ring = {{{{20.0, 20.0}, 15.0, 0.0, 360.0, {0, 0, 1, 0.5}, 4.0}}};
    const QImage whole = drawn({40.0, 40.0}, 2.0, [&](Canvas &c) { c.strokeArcs(ring); });
    for (const QPoint p : {QPoint(40, 10), QPoint(70, 40), QPoint(40, 70), QPoint(10, 40)})
        expectPixel(whole, p.x(), p.y(), QColor(0, 0, 255, 128), 1);
    EXPECT_EQ(whole.pixelColor(40, 40).alpha(), 0);
}

// The spectrum's area under its curve is rasterized by the adapter itself: filled below
// the curve down to the baseline, empty above it, one gradient colour per row, and
// within a step of antialiasing of what QPainter's own path filler draws.
TEST(QtCanvas, AreaUnderCurveFillsBelowTheCurveWithTheGradientOfItsRow)
{
    const std::vector<DrawableGradientStop> stops{{0.0, {1, 0, 0, 1}}, {1.0, {0, 0, 1, 1}}};
    Path area;
    area.moveTo({4.0, 30.0});
    for (double x = 4.0; x <= 36.0; x += 0.25) area.lineTo({x, 14.0 + 8.0 * std::sin(x / 3.0)});
    area.lineTo({36.0, 30.0});
    area.close();
    const LinearGradient fill{{20.0, 0.0}, {20.0, 32.0}, stops};
    for (double scale : {1.0, 2.0}) {
        const QImage fast = drawn({40.0, 32.0}, scale, [&](Canvas &c) { c.fillPath(area, fill); });
        QImage reference = drawn({40.0, 32.0}, scale, [&](Canvas &) {});
        {
            QPainter painter(&reference);
            painter.setRenderHint(QPainter::Antialiasing);
            QPainterPath path;
            path.moveTo(area.elements().front().point.x, area.elements().front().point.y);
            for (std::size_t i = 1; i + 1 < area.elements().size(); ++i)
                path.lineTo(area.elements()[i].point.x, area.elements()[i].point.y);
            path.closeSubpath();
            QLinearGradient linear(QPointF(20.0, 0.0), QPointF(20.0, 32.0));
            linear.setColorAt(0.0, Qt::red);
            linear.setColorAt(1.0, Qt::blue);
            painter.fillPath(path, linear);
        }
        const auto px = [scale](double points) { return static_cast<int>(points * scale); };
        // Under the curve's lowest point (y 22) every row is filled with its own colour;
        // the row's colour depends on its height only.
        const QColor nearBottom = fast.pixelColor(px(10.0), px(29.0));
        EXPECT_EQ(nearBottom, fast.pixelColor(px(30.0), px(29.0))) << scale;
        EXPECT_GT(nearBottom.blue(), 200) << scale;
        EXPECT_LT(nearBottom.red(), 55) << scale;
        EXPECT_EQ(nearBottom.alpha(), 255) << scale;
        // At x 14.1 the curve peaks (y 6): the fill just below it is mostly red.
        const QColor nearTop = fast.pixelColor(px(14.1), px(7.5));
        EXPECT_GT(nearTop.red(), 150) << scale;
        EXPECT_EQ(nearTop.alpha(), 255) << scale;
        // Above the curve, left and right of the area and below the baseline: empty.
        expectPixel(fast, px(4.7), px(20.0), Qt::transparent, 0);
        expectPixel(fast, px(14.1), px(5.0), Qt::transparent, 0);
        expectPixel(fast, px(2.0), px(25.0), Qt::transparent, 0);
        expectPixel(fast, px(38.0), px(25.0), Qt::transparent, 0);
        expectPixel(fast, px(20.0), px(31.0), Qt::transparent, 0);
        int largestDifference = 0;
        for (int y = 0; y < fast.height(); ++y) {
            for (int x = 0; x < fast.width(); ++x) {
                const QRgb a = fast.pixel(x, y);
                const QRgb b = reference.pixel(x, y);
                largestDifference = std::max({largestDifference, std::abs(qRed(a) - qRed(b)),
                                              std::abs(qGreen(a) - qGreen(b)), std::abs(qBlue(a) - qBlue(b)),
                                              std::abs(qAlpha(a) - qAlpha(b))});
            }
        }
        EXPECT_LE(largestDifference, 12) << scale;
    }
}

// Static content copied from a cached layer looks as drawn in place, at any scale and
// any sub-pixel position, through a clip and an opacity; the layer is drawn once and
// again only when its key changes.
TEST(QtCanvas, CachedLayersMatchDrawingInPlaceAndAreDrawnOncePerKey)
{
    ensureGuiApplication();
    const Rect bar{0.0, 0.0, 12.0, 60.0};
    const std::vector<DrawableGradientStop> stops = {{0.0, {0.0, 0.2, 1.0, 1.0}}, {1.0, {1.0, 0.8, 0.0, 1.0}}};
    const LinearGradient gradient{{0.0, 60.0}, {0.0, 0.0}, stops};
    const auto content = [&](Canvas &canvas) { canvas.fillRoundedRect(bar, 3.0, gradient); };
    for (double scale : {1.0, 1.5, 2.0}) {
        QtCanvasCache cache;
        int drawnLayers = 0;
        const QImage direct = drawn({40.0, 80.0}, scale, [&](Canvas &canvas) {
            canvas.translate(10.3, 7.6);
            canvas.clipToRect({0.0, 20.0, 12.0, 40.0});
            canvas.multiplyOpacity(0.7);
            content(canvas);
        });
        // Frames on one cache that outlives their canvases, as a window's does.
        const auto cachedFrame = [&](std::uint64_t key) {
            QImage image(static_cast<int>(40 * scale), static_cast<int>(80 * scale), QImage::Format_ARGB32_Premultiplied);
            image.setDevicePixelRatio(scale);
            image.fill(Qt::transparent);
            QPainter painter(&image);
            QtCanvas canvas(painter, &cache);
            canvas.translate(10.3, 7.6);
            canvas.clipToRect({0.0, 20.0, 12.0, 40.0});
            canvas.multiplyOpacity(0.7);
            canvas.drawCached(key, bar, [&](Canvas &layer) {
                ++drawnLayers;
                content(layer);
            });
            painter.end();
            return image;
        };
        const QImage first = cachedFrame(1);
        const QImage second = cachedFrame(1);
        EXPECT_EQ(drawnLayers, 1) << "scale " << scale;
        // Inside, rounding alone; a pixel only partly covered (an antialiased edge, the
        // row the clip cuts through) may come out a little different, as the layer is
        // clipped after, not during, its fill.
        for (int y = 0; y < direct.height(); ++y) {
            for (int x = 0; x < direct.width(); ++x) {
                const QColor a = direct.pixelColor(x, y);
                const QColor b = second.pixelColor(x, y);
                const int difference = std::max({std::abs(a.red() - b.red()), std::abs(a.green() - b.green()),
                                                 std::abs(a.blue() - b.blue()), std::abs(a.alpha() - b.alpha())});
                const bool edge = a.alpha() != 0 && a.alpha() < 178; // 0.7 opacity of full coverage
                EXPECT_LE(difference, edge ? 16 : 3) << "scale " << scale << " at " << x << "," << y;
            }
        }
        EXPECT_EQ(first, second);
        cachedFrame(2);
        EXPECT_EQ(drawnLayers, 2) << "a new key draws the layer again";
    }
}

// A window repainting a few bands of itself paints through a device clip of several
// rectangles, which the adapter's images are drawn along one by one: inside the bands
// the picture is the one drawn without that clip, outside them nothing is drawn.
TEST(QtCanvas, ImagesThroughADirtyRegionOfSeveralBandsMatchTheWholePicture)
{
    ensureGuiApplication();
    const std::array<ColoredArc, 1> ring = {{{{30.0, 40.0}, 20.0, 0.0, 360.0, {0, 1, 0, 0.6}, 5.0}}};
    const Rect bar{10.0, 5.0, 20.0, 70.0};
    const auto picture = [&](Canvas &canvas) {
        canvas.clipToRect({2.0, 3.0, 56.0, 74.0}); // the view's own clip, across both bands
        canvas.drawCached(1, bar, [&](Canvas &layer) { layer.fillRect(bar, {1, 0, 0, 0.7}); });
        canvas.strokeArcs(ring);
    };
    for (double scale : {1.0, 1.5, 2.0}) {
        const QImage whole = drawn({60.0, 80.0}, scale, picture);
        const auto pixels = [scale](double points) { return static_cast<int>(points * scale); };
        const QRegion bands = QRegion(0, pixels(10.0), pixels(60.0), pixels(15.0)) +
                              QRegion(0, pixels(40.0), pixels(60.0), pixels(21.0));
        QImage banded(whole.size(), QImage::Format_ARGB32_Premultiplied);
        banded.setDevicePixelRatio(scale);
        banded.fill(Qt::transparent);
        banded.paintEngine()->setSystemClip(bands);
        QPainter painter(&banded);
        QtCanvas canvas(painter);
        picture(canvas);
        painter.end();
        for (int y = 0; y < whole.height(); ++y) {
            for (int x = 0; x < whole.width(); ++x) {
                const QRgb expected = bands.contains(QPoint(x, y)) ? whole.pixel(x, y) : 0u;
                ASSERT_EQ(banded.pixel(x, y), expected) << "scale " << scale << " at " << x << "," << y;
            }
        }
    }
}
