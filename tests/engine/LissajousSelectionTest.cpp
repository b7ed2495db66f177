#include "engine/dsp/LissajousSelection.h"

#include <gtest/gtest.h>

#include <array>
#include <numeric>
#include <vector>

namespace {

std::vector<float> ramp(std::size_t count, float start)
{
    std::vector<float> values(count);
    std::iota(values.begin(), values.end(), start);
    return values;
}

std::vector<LissajousPoint> select(const std::vector<float> &left, const std::vector<float> *right)
{
    std::array<LissajousPoint, LissajousStore::maxPointsPerBlock> out{};
    const std::size_t count =
        selectLissajousPoints(left.data(), right != nullptr ? right->data() : nullptr, left.size(), out);
    return {out.begin(), out.begin() + static_cast<std::ptrdiff_t>(count)};
}

TEST(LissajousSelection, AboutSixtyFourPointsPerBlockWhateverItsSize)
{
    const std::vector<float> left = ramp(4096, 0.0f);
    const std::vector<float> right = ramp(4096, 10000.0f);
    const std::vector<LissajousPoint> points = select(left, &right);
    ASSERT_EQ(points.size(), 64u);
    for (std::size_t i = 0; i < points.size(); ++i) {
        EXPECT_EQ(points[i], (LissajousPoint{float(i * 64), float(10000 + i * 64)}));
    }
    // Below 64 frames every frame counts; up to 127 frames the step is still 1.
    for (const auto &[frames, expected] : {std::pair<std::size_t, std::size_t>{40, 40}, {100, 100}, {127, 127},
                                           {128, 64}, {1, 1}, {3, 3}, {1023, 69}, {1025, 65}}) {
        EXPECT_EQ(select(ramp(frames, 0.0f), nullptr).size(), expected) << frames;
    }
    EXPECT_TRUE(select({}, nullptr).empty());
}

TEST(LissajousSelection, MonoPointsLieOnTheDiagonal)
{
    for (const LissajousPoint &point : select(ramp(300, -150.0f), nullptr)) EXPECT_EQ(point.x, point.y);
}

TEST(LissajousStore, TrailStoreAccumulatesUpToTheTrailLength)
{
    LissajousStore store(LissajousStore::Kind::trail);
    std::vector<LissajousPoint> block(64);
    for (int b = 0; b < 10; ++b) {
        for (std::size_t i = 0; i < block.size(); ++i) block[i] = {float(b * 64 + int(i)), 0.0f};
        store.store(block, 256);
    }
    const std::vector<LissajousPoint> taken = store.take();
    ASSERT_EQ(taken.size(), 256u);
    EXPECT_EQ(taken.front().x, 384.0f);
    EXPECT_EQ(taken.back().x, 639.0f);
    EXPECT_TRUE(store.take().empty());

    // A trail length beyond what the store can hold is clamped, not a reason to grow.
    for (int b = 0; b < 200; ++b) store.store(block, 1'000'000);
    EXPECT_EQ(store.take().size(), LissajousStore::maxTrailLength);
}

} // namespace
