// Gouraud solid fillers: coverage against an exact model of the fill rule,
// the dither patterns, the 8-bit blends and the depth stepping.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "raster/gouraud_solid.h"
#include "support/raster_model.h"

using namespace e3d;

using namespace e3dtest;

TEST(GouraudSolid, CoverageMatchesTheFillRuleOnBothPasses) {
    const int drawn = CheckCoverageAgainstModel(17, [](Triangle &t, Canvas &c, bool depth) {
        GouraudSolidFill(&t.p, t.v, c.Target(), depth);
        for (auto [x, y] : Written(c)) ASSERT_EQ(c.At(x, y), 0x7FFF);
    });
    EXPECT_GT(drawn, 100);
}

TEST(GouraudSolid, FrontSideReversesTheCornersAndKeepsTheWinding) {
    // The same screen triangle drawn as a back side in one order and as a
    // front side in the opposite order covers the same pixels.
    Canvas a(32, 32), b(32, 32);
    Triangle back(2, 3, 25, 10, 6, 28);
    Triangle front(6, 28, 25, 10, 2, 3, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF, false);
    GouraudSolidFill(&back.p, back.v, a.Target(), false);
    GouraudSolidFill(&front.p, front.v, b.Target(), false);
    EXPECT_FALSE(Written(a).empty());
    EXPECT_EQ(a.frame, b.frame);
}

TEST(GouraudSolid, WhiteCornersFillWhite) {
    Canvas c(16, 16);
    Triangle t(0, 0, 16, 0, 0, 16);
    GouraudSolidFill(&t.p, t.v, c.Target(), true);
    for (auto [x, y] : Written(c)) EXPECT_EQ(c.At(x, y), 0x7FFF);
    EXPECT_EQ(Written(c).size(), 136u);  // rows 0..15 of 16, 15, ..., 1 pixels
}

TEST(GouraudSolid, ConstantFourDithersOnTheMatrixEntriesBelowFour) {
    // Channel value 4 in blue only: 1 where the matrix entry is 0..3, else 0.
    Canvas depthPass(16, 16), sortedPass(16, 16);
    Triangle t(0, 0, 64, 0, 0, 64, 4, 4, 4);
    GouraudSolidFill(&t.p, t.v, depthPass.Target(), true);
    GouraudSolidFill(&t.p, t.v, sortedPass.Target(), false);
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 16; ++x) {
            EXPECT_EQ(depthPass.At(x, y), DitherMatrix[y & 3][x & 3] < 4 ? 1 : 0) << x << "," << y;
        }
    }
    // The sorted pass anchors the pattern at each span's right end: a span
    // ending at 16 (a multiple of 4) gives the screen-column pattern here.
    EXPECT_EQ(sortedPass.At(3, 0), depthPass.At(3, 0));
}

TEST(GouraudSolid, SortedPassDitherPhaseFollowsTheSpanEnd) {
    // Rows 0 and 1 of this triangle end at different columns; in the sorted
    // pass each row's pattern is anchored to its own right end.
    Canvas c(64, 8);
    Triangle t(0, 0, 41, 0, 0, 41, 4, 4, 4);
    GouraudSolidFill(&t.p, t.v, c.Target(), false);
    int checked = 0;
    for (int y = 0; y < 8; ++y) {
        int right = 0;
        while (right < 64 && c.At(right, y) != kUntouched) ++right;
        ASSERT_GT(right, 8);
        for (int x = 0; x < right; ++x) {
            const int column = (x - right) & 3;
            ASSERT_EQ(c.At(x, y), DitherMatrix[y & 3][column] < 4 ? 1 : 0) << x << "," << y;
            ++checked;
        }
    }
    EXPECT_GT(checked, 200);
}

TEST(GouraudSolid, BlendsAtEightBits) {
    struct Case {
        uint16_t alphaMode, alphaLevel;
        uint16_t frame;
        uint32_t color;
        uint16_t expected;
    };
    // Values chosen with channel & 7 == 0 so that no dither carry applies.
    const Case cases[] = {
        {1, 0, 0x4210, 0x404040, uint16_t((8 + 16) << 10 | (8 + 16) << 5 | (8 + 16))},  // additive
        {1, 0, 0x7FFF, 0xF8F8F8, 0x7FFF},                                            // saturates
        {3, 0, 0x0000 | (10 << 5), 0x808080, uint16_t((16 << 10) | (6 << 5) | 6)},     // blue reads green
        {3, 0, 31 << 5, 0xF8F8F8, uint16_t(31 << 10)},                              // green 31: blue and green 0
        {2, 255, 0x1234, 0x808080, uint16_t(16 << 10 | 16 << 5 | 16)},               // level 255 is replace
    };
    for (const Case &k : cases) {
        Canvas c(8, 8);
        for (auto &px : c.frame) px = k.frame;
        Triangle t(0, 0, 16, 0, 0, 16, k.color, k.color, k.color);
        t.m.alphaMode = k.alphaMode;
        t.m.alphaLevel = k.alphaLevel;
        GouraudSolidFill(&t.p, t.v, c.Target(), false);
        EXPECT_EQ(c.At(0, 0), k.expected) << "mode " << k.alphaMode;
    }
}

TEST(GouraudSolid, SubtractiveBlueFollowsTheGreenField) {
    // Frame green 31, blue 0: blue comes out 0 for every value up to 248.
    for (uint32_t blue = 0; blue <= 248; blue += 8) {
        Canvas c(4, 4);
        for (auto &px : c.frame) px = uint16_t(31 << 5);
        Triangle t(0, 0, 8, 0, 0, 8, blue, blue, blue);
        t.m.alphaMode = 3;
        GouraudSolidFill(&t.p, t.v, c.Target(), true);
        EXPECT_EQ(c.At(0, 0) & 31, 0) << blue;
    }
}

TEST(GouraudSolid, OpacityMixesAndLevelZeroDrawsNothing) {
    Canvas c(8, 8);
    for (auto &px : c.frame) px = 0;
    Triangle t(0, 0, 16, 0, 0, 16, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF);
    t.m.alphaMode = 2;
    t.m.alphaLevel = 0;
    GouraudSolidFill(&t.p, t.v, c.Target(), true);
    EXPECT_EQ(c.At(0, 0), 0);
    EXPECT_EQ(c.depth[0], 0);
    t.m.alphaLevel = 128;
    GouraudSolidFill(&t.p, t.v, c.Target(), true);
    // S = 31 << 10, D = 0, W = 127: v' = (S + ((-S * 127) >> 8)) >> 7 = 124.
    const uint32_t v = 124;
    const uint32_t five = DitherHigh[v] + ((DitherLow[v] + DitherMatrix[0][0]) < 0 ? 1 : 0);
    EXPECT_EQ(c.At(0, 0), uint16_t(five << 10 | five << 5 | five));
    EXPECT_EQ(c.depth[0], 0) << "blended writes never write depth";
}

TEST(GouraudSolid, DepthTestIsStrictAndStepsEveryPixel) {
    // A red ramp drawn twice: once over an empty depth buffer and once with
    // every other pixel blocked. The pixels that pass must be identical.
    Canvas open(64, 4), blocked(64, 4);
    const int32_t stored = std::lrint(0.5f * kDepthScale);
    for (size_t i = 0; i < blocked.depth.size(); i += 2) blocked.depth[i] = stored;
    Triangle t(0, 0, 64, 0, 0, 1024, 0x000000, 0xFF0000, 0x000000);
    GouraudSolidFill(&t.p, t.v, open.Target(), true);
    GouraudSolidFill(&t.p, t.v, blocked.Target(), true);
    int compared = 0;
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 64; ++x) {
            const size_t i = size_t(y) * 64 + x;
            if (i % 2 == 0) {
                EXPECT_EQ(blocked.frame[i], kUntouched) << "equal depth must fail";
            } else if (open.frame[i] != kUntouched) {
                EXPECT_EQ(blocked.frame[i], open.frame[i]);
                ++compared;
            }
        }
    }
    EXPECT_GT(compared, 60);
    EXPECT_EQ(open.depth[1], stored);
}

TEST(GouraudSolid, CornersOffTheBufferStayInsideAndKeepInsidePixels) {
    // The same triangle into a small buffer and, shifted, into the middle of
    // a large one: the overlapping pixels agree, and nothing lands outside.
    std::mt19937 rng(23);
    std::uniform_real_distribution<float> far(-200.0f, 240.0f);
    for (int round = 0; round < 200; ++round) {
        float xs[3], ys[3];
        for (int i = 0; i < 3; ++i) xs[i] = far(rng), ys[i] = far(rng);
        const uint32_t colors[3] = {uint32_t(rng() & 0xFFFFFF), uint32_t(rng() & 0xFFFFFF), uint32_t(rng() & 0xFFFFFF)};
        Canvas small(40, 30, 48);  // pitch wider than the width
        Canvas large(1024, 1024);
        Triangle a(xs[0], ys[0], xs[1], ys[1], xs[2], ys[2], colors[0], colors[1], colors[2]);
        Triangle b(xs[0] + 512, ys[0] + 512, xs[1] + 512, ys[1] + 512, xs[2] + 512, ys[2] + 512, colors[0],
                   colors[1], colors[2]);
        GouraudSolidFill(&a.p, a.v, small.Target(), true);
        GouraudSolidFill(&b.p, b.v, large.Target(), true);
        for (int y = 0; y < 30; ++y) {
            for (int x = 0; x < 48; ++x) {
                const uint16_t got = small.At(x, y);
                if (x >= 40) {
                    ASSERT_EQ(got, kUntouched) << "wrote past the width";
                    continue;
                }
                // Shifting by 512 keeps the dither phase (a multiple of 4).
                ASSERT_EQ(got, large.At(x + 512, y + 512)) << x << "," << y << " round " << round;
            }
        }
    }
}

TEST(GouraudSolid, NonFiniteCornersWriteNothingOutside) {
    const float specials[] = {NAN, INFINITY, -INFINITY, 1e30f, -1e30f, 3.0f, 1e9f};
    std::mt19937 rng(29);
    for (int round = 0; round < 300; ++round) {
        Canvas c(16, 16, 20);
        Triangle t(specials[rng() % 7], specials[rng() % 7], specials[rng() % 7], specials[rng() % 7],
                   specials[rng() % 7], specials[rng() % 7], uint32_t(rng()), uint32_t(rng()), uint32_t(rng()));
        t.v[rng() % 3].invDepth = specials[rng() % 7];
        GouraudSolidFill(&t.p, t.v, c.Target(), round & 1);
        for (int y = 0; y < 16; ++y)
            for (int x = 16; x < 20; ++x) ASSERT_EQ(c.At(x, y), kUntouched);
    }
}

TEST(GouraudSolid, DepthStepsOfAQuarterRangeWrapAsThePerPixelSum) {
    // invDepth rising by exactly 1 per pixel is a depth step of 2^30: its
    // multiples wrap around the 32-bit range. Spans of every length (the
    // rows shrink by one) meet every short-span and tail case. The quarter
    // offset keeps every depth above the cleared INT32_MIN, so all draw.
    Canvas c(80, 70);
    std::fill(c.depth.begin(), c.depth.end(), INT32_MIN);
    Triangle t(0.0f, 0.0f, 64.0f, 0.0f, 0.0f, 64.0f, 0x102030, 0xF0E0D0, 0x808080);
    t.v[0].invDepth = 0.25f;
    t.v[1].invDepth = 64.25f;
    t.v[2].invDepth = 0.25f;
    GouraudSolidFill(&t.p, t.v, c.Target(), true);
    int pairs = 0;
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x + 1 < 80; ++x) {
            if (c.At(x, y) == kUntouched || c.At(x + 1, y) == kUntouched) continue;
            const uint32_t step = uint32_t(c.depth[size_t(y) * 80 + x + 1]) - uint32_t(c.depth[size_t(y) * 80 + x]);
            ASSERT_EQ(step, 1u << 30) << x << "," << y;
            ++pairs;
        }
    }
    EXPECT_GT(pairs, 1900);
}
