#include "views/qt/QtCanvas.h"
#include "views/qt/SegmentBatch.h"

#include "GuiTestSupport.h"

#include <QImage>
#include <QPainter>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

using coverage_rasterizer::StrokeLayer;

namespace {

constexpr RgbColor blue{0.2, 0.4, 1.0, 1.0};

RgbColor withAlpha(RgbColor c, double alpha)
{
    c.alpha = alpha;
    return c;
}

// The phase scope's strokes of one segment: two glow layers, the line and a white core.
void addGlowingSegment(std::vector<ColoredSegment> &out, Point from, Point to, double lineWidth)
{
    out.push_back({from, to, withAlpha(blue, 0.15), lineWidth * 5.0});
    out.push_back({from, to, withAlpha(blue, 0.3), lineWidth * 2.5});
    out.push_back({from, to, withAlpha(blue, 0.9), lineWidth});
    out.push_back({from, to, {1.0, 1.0, 1.0, 0.5}, lineWidth * 0.3});
}

QImage drawnThroughCanvas(std::span<const ColoredSegment> segments, Size size, double scale)
{
    view_test::ensureGuiApplication();
    QImage image(static_cast<int>(size.width * scale), static_cast<int>(size.height * scale),
                 QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    QtCanvas canvas(painter);
    canvas.strokeSegments(segments);
    painter.end();
    return image;
}

// Every stroke at full resolution, one after the other: the drawing the glow layer stands in for.
QImage drawnInOrder(std::span<const ColoredSegment> segments, Size size, double scale)
{
    QImage image(static_cast<int>(size.width * scale), static_cast<int>(size.height * scale),
                 QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    PixelSurface surface{reinterpret_cast<std::uint32_t *>(image.bits()), image.width(), image.height(),
                         static_cast<int>(image.bytesPerLine() / 4)};
    for (const ColoredSegment &s : segments) {
        coverage_rasterizer::strokeSegment(surface, s.from.x * scale, s.from.y * scale, s.to.x * scale,
                                           s.to.y * scale, s.width * scale, s.color);
    }
    return image;
}

double alphaSum(const QImage &image)
{
    double sum = 0.0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) sum += image.pixelColor(x, y).alphaF();
    return sum;
}

} // namespace

TEST(SegmentGlow, OnlyWideTranslucentStrokesAroundALineCountAsGlow)
{
    using segment_batch::leadingGlowStrokes;
    const RgbColor faint = withAlpha(blue, 0.15);
    const std::array<StrokeLayer, 4> scope = {{{20.0, faint}, {10.0, withAlpha(blue, 0.3)}, {4.0, blue}, {1.2, blue}}};
    EXPECT_EQ(leadingGlowStrokes(scope), 2u);
    // A wide translucent stroke on its own is a line, not a glow.
    EXPECT_EQ(leadingGlowStrokes(std::span(scope).first(1)), 0u);
    // Opaque, too narrow, or not clearly wider than the line drawn over it.
    const std::array<StrokeLayer, 2> opaque = {{{20.0, blue}, {4.0, blue}}};
    const std::array<StrokeLayer, 2> narrow = {{{4.5, faint}, {1.0, blue}}};
    const std::array<StrokeLayer, 2> close = {{{7.0, faint}, {4.0, blue}}};
    EXPECT_EQ(leadingGlowStrokes(opaque), 0u);
    EXPECT_EQ(leadingGlowStrokes(narrow), 0u);
    EXPECT_EQ(leadingGlowStrokes(close), 0u);
    // A glow stroke after the line is drawn in order, at full resolution.
    const std::array<StrokeLayer, 3> after = {{{4.0, blue}, {20.0, faint}, {1.0, blue}}};
    EXPECT_EQ(leadingGlowStrokes(after), 0u);

    // Coarser for wider glows, never so coarse that the narrowest glow is under 2.5 layer pixels.
    EXPECT_EQ(segment_batch::glowFactor(5.0), 2);
    EXPECT_EQ(segment_batch::glowFactor(10.0), 4);
    EXPECT_EQ(segment_batch::glowFactor(20.0), 8);
    EXPECT_EQ(segment_batch::glowFactor(200.0), segment_batch::maximumGlowFactor);
}

// The glow, drawn coarse and scaled up, lies where the full-resolution glow lies: around
// the trail and nowhere far from it, with the same amount of light.
TEST(SegmentGlow, CoarseGlowCoversTheTrailsSurroundingsOnly)
{
    std::vector<ColoredSegment> trail;
    const std::array<Point, 5> points = {{{20.0, 20.0}, {60.0, 30.0}, {40.0, 60.0}, {70.0, 70.0}, {30.0, 40.0}}};
    for (std::size_t i = 1; i < points.size(); ++i) addGlowingSegment(trail, points[i - 1], points[i], 4.0);
    const Size size{100.0, 90.0};

    for (const double scale : {1.0, 2.0}) {
        SCOPED_TRACE(scale);
        const QImage image = drawnThroughCanvas(trail, size, scale);
        const QImage reference = drawnInOrder(trail, size, scale);
        auto at = [&](const QImage &i, Point p) {
            return i.pixelColor(static_cast<int>(p.x * scale), static_cast<int>(p.y * scale));
        };
        // On the line: the line's colour with the white core over it, as drawn in order.
        const QColor line = at(image, {40.0, 25.0});
        EXPECT_NEAR(line.alpha(), at(reference, {40.0, 25.0}).alpha(), 8);
        EXPECT_NEAR(line.blue(), at(reference, {40.0, 25.0}).blue(), 12);
        // Beside the line inside the outer glow (8 points from the first segment): glow only.
        const Point beside{40.0 - 8.0 * 0.243, 25.0 + 8.0 * 0.970};
        EXPECT_GT(at(image, beside).alpha(), 20);
        EXPECT_LT(at(image, beside).alpha(), 160);
        EXPECT_NEAR(at(image, beside).alpha(), at(reference, beside).alpha(), 40);
        // Far from every segment: nothing, however soft the glow's edge.
        for (const Point far : {Point{90.0, 10.0}, Point{5.0, 85.0}, Point{85.0, 45.0}}) EXPECT_EQ(at(image, far).alpha(), 0);
        // The same light overall, spread a little more softly.
        EXPECT_NEAR(alphaSum(image) / alphaSum(reference), 1.0, 0.08);
    }
}

// A later segment's glow still veils an earlier line that is far enough back in the trail,
// as it does drawn stroke by stroke.
TEST(SegmentGlow, LaterGlowStillVeilsEarlierLines)
{
    std::vector<ColoredSegment> trail;
    addGlowingSegment(trail, {10.0, 20.5}, {90.0, 20.5}, 4.0); // centred on pixel row 20
    // Enough segments elsewhere to put the last one in a later part of the batch.
    for (std::size_t i = 0; i < segment_batch::segmentsPerGlowPart; ++i)
        addGlowingSegment(trail, {10.0, 60.0}, {90.0, 60.0 + static_cast<double>(i % 2)}, 4.0);
    std::vector<ColoredSegment> unveiled = trail;
    // Crosses the first line at x = 44; only its outer glow reaches x = 50.
    addGlowingSegment(trail, {44.0, 0.0}, {44.0, 40.0}, 4.0);
    unveiled.push_back(trail.back());

    const Size size{100.0, 80.0};
    const QColor veiled = drawnThroughCanvas(trail, size, 1.0).pixelColor(50, 20);
    const QColor bare = drawnThroughCanvas(unveiled, size, 1.0).pixelColor(50, 20);
    const QColor expected = drawnInOrder(trail, size, 1.0).pixelColor(50, 20);
    EXPECT_LT(veiled.red(), bare.red() - 8); // the white core tinted towards the glow's blue
    EXPECT_NEAR(veiled.red(), expected.red(), 6);
    EXPECT_NEAR(veiled.blue(), expected.blue(), 6);
}
