// The depth-tested replace writer against its scalar reference where whole
// groups of pixels pass or fail together (the fast paths of its SIMD form):
// runs of buffer depths far in front or far behind, with mixed edges.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <random>
#include <vector>

#include "raster/flat_solid.h"

using namespace e3d;

TEST(SpanRuns, DepthReplaceWriterMatchesTheReferenceOnRunsOfPassAndFail) {
    constexpr int kRow = 256;
    std::mt19937 rng(515);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    const FlatSpanWriter reference = FlatSpanWriterFor(0, true, true);
    const FlatSpanWriter fast = FlatSpanWriterFor(0, true, false);
    int allPassSpans = 0, allFailSpans = 0, mixedSpans = 0;
    for (int trial = 0; trial < 600; ++trial) {
        g_flat.pixel = rng() & 0x7FFF;
        g_flat.dzdx = (unit(rng) - 0.5f) * (trial % 7 == 0 ? 1e-3f : 1e-7f);
        const float left = 0.25f + unit(rng) * 0.5f;
        std::vector<uint16_t> frameA(kRow);
        std::vector<int32_t> depthA(kRow);
        // Runs of 1..24 pixels: behind everything, in front of everything, or
        // scattered near the span's depth.
        const int mode = trial % 3;  // 0 all pass, 1 all fail, 2 runs
        for (int i = 0; i < kRow;) {
            const int run = 1 + int(rng() % 24);
            const uint32_t kind = mode == 2 ? rng() % 3 : uint32_t(mode);
            for (int k = 0; k < run && i < kRow; ++k, ++i) {
                frameA[i] = uint16_t(rng());
                depthA[i] = kind == 0 ? INT32_MIN + int32_t(rng() % 1000)
                                      : (kind == 1 ? INT32_MAX - int32_t(rng() % 1000)
                                                   : int32_t(std::lrint(left * 1073741824.0f)) +
                                                         int32_t(rng() % 2001) - 1000);
            }
        }
        std::vector<uint16_t> frameB = frameA;
        std::vector<int32_t> depthB = depthA;
        const std::vector<uint16_t> before = frameA;
        const int32_t from = 8 + int32_t(rng() % 16);
        const int32_t to = from + int32_t(rng() % 220);
        const int32_t xLeft = from - int32_t(rng() % 4);
        reference(frameA.data(), depthA.data(), 0, xLeft, to + 1, from, to, &left);
        fast(frameB.data(), depthB.data(), 0, xLeft, to + 1, from, to, &left);
        ASSERT_EQ(frameA, frameB) << "trial " << trial;
        ASSERT_EQ(depthA, depthB) << "trial " << trial;
        if (to - from >= 8) {
            if (mode == 0) {
                ++allPassSpans;
                // Every pixel of the span was written with the colour.
                for (int32_t x = from; x < to; ++x) ASSERT_EQ(frameA[x], uint16_t(g_flat.pixel));
            } else if (mode == 1) {
                ++allFailSpans;
                EXPECT_EQ(frameA, before);
            } else {
                ++mixedSpans;
            }
        }
    }
    EXPECT_GT(allPassSpans, 150);
    EXPECT_GT(allFailSpans, 150);
    EXPECT_GT(mixedSpans, 150);
}
