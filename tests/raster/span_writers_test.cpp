// The span writers the fillers use against their scalar reference templates:
// random spans (every start alignment, short and long, partly hidden behind
// the depth buffer, depth steps that wrap) must leave frame and depth rows
// bit-identical, including the pixels around the span.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>
#include <vector>

#include "raster/flat_solid.h"
#include "raster/gouraud_solid.h"

using namespace e3d;

namespace {

// A row with guard pixels either side; the span lies in [kGuard, kGuard + 64).
constexpr int kGuard = 16, kRow = 64 + 2 * kGuard;

struct Rows {
    std::vector<uint16_t> frame = std::vector<uint16_t>(kRow);
    std::vector<int32_t> depth = std::vector<int32_t>(kRow);
};

// Depths around z so that about half the pixels pass, plus some extremes.
void RandomRows(std::mt19937 &rng, Rows &r, int32_t z, int32_t spread) {
    for (int i = 0; i < kRow; ++i) {
        r.frame[i] = uint16_t(rng());
        const uint32_t pick = rng() % 16;
        if (pick == 0) r.depth[i] = int32_t(rng());
        else if (pick == 1) r.depth[i] = z;  // equal depth fails the test
        else r.depth[i] = int32_t(uint32_t(z) + uint32_t(int32_t(rng() % uint32_t(2 * spread + 1)) - spread));
    }
}

}  // namespace

TEST(SpanWriters, FlatWritersMatchTheReferenceOnRandomSpans) {
    std::mt19937 rng(2024);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    int compared = 0, changed = 0;
    for (int pass = 0; pass < 2; ++pass) {
        const bool depthPass = pass == 1;
        for (uint32_t blend = 0; blend < 4; ++blend) {
            const FlatSpanWriter reference = FlatSpanWriterFor(blend, depthPass, true);
            const FlatSpanWriter fast = FlatSpanWriterFor(blend, depthPass, false);
            for (int trial = 0; trial < 400; ++trial) {
                const uint32_t colour = rng();
                g_flat.pixel = colour & 0x7FFF;
                const uint32_t level = rng() % 256;
                g_flat.weighted[0] = level * ((colour >> 10) & 31);
                g_flat.weighted[1] = level * ((colour >> 5) & 31);
                g_flat.weighted[2] = level * (colour & 31);
                g_flat.destWeight = 255 - level;
                // Depth gradients from flat to steep enough to wrap around.
                const float scale = trial % 8 == 0 ? 4.0f : (trial % 3 == 0 ? 1e-4f : 1e-7f);
                g_flat.dzdx = (unit(rng) - 0.5f) * scale;
                const float left = unit(rng) * (trial % 5 == 0 ? 3.0f : 0.5f);
                const int32_t from = kGuard + int32_t(rng() % 16);
                const int32_t to = from + int32_t(rng() % 49);  // 0..48 pixels
                const int32_t xLeft = from - int32_t(rng() % 4);
                const int32_t z = int32_t(std::lrint(left * 1073741824.0f));
                Rows a;
                RandomRows(rng, a, z, trial % 2 ? 1000 : 100000000);
                Rows b = a;
                const Rows before = a;
                reference(a.frame.data(), a.depth.data(), 3, xLeft, to + 1, from, to, &left);
                fast(b.frame.data(), b.depth.data(), 3, xLeft, to + 1, from, to, &left);
                ASSERT_EQ(a.frame, b.frame) << "blend " << blend << " depth " << depthPass << " trial " << trial
                                            << " span " << from << ".." << to;
                ASSERT_EQ(a.depth, b.depth) << "blend " << blend << " depth " << depthPass << " trial " << trial;
                changed += a.frame != before.frame;
                ++compared;
            }
        }
    }
    EXPECT_EQ(compared, 3200);
    EXPECT_GT(changed, 2500);  // the spans really wrote something
}

TEST(SpanWriters, GouraudWritersMatchTheReferenceOnRandomSpans) {
    std::mt19937 rng(77);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    int compared = 0, changed = 0;
    for (int pass = 0; pass < 2; ++pass) {
        const bool depthPass = pass == 1;
        for (uint32_t blend = 0; blend < 4; ++blend) {
            const GouraudSpanWriter reference = GouraudSpanWriterFor(blend, depthPass, true);
            const GouraudSpanWriter fast = GouraudSpanWriterFor(blend, depthPass, false);
            for (int trial = 0; trial < 400; ++trial) {
                // Channels that start anywhere in (and a little beyond) 0..255
                // and run steeply enough to leave the range, so the clamps and
                // every dither cell are exercised.
                float left[4];
                left[0] = unit(rng) * 0.5f;
                for (int c = 1; c < 4; ++c) left[c] = unit(rng) * 300.0f - 20.0f;
                const float steep = trial % 4 == 0 ? 40.0f : 6.0f;
                for (int c = 1; c < 4; ++c) g_state.ddx[c] = (unit(rng) - 0.5f) * steep;
                g_state.ddx[0] = (unit(rng) - 0.5f) * (trial % 8 == 0 ? 4.0f : 1e-6f);
                if (trial % 50 == 7) {
                    // Steps of 2^30 and -2^31 in fixed point: their multiples
                    // wrap around, and must do so without overflow.
                    for (int c = 1; c < 4; ++c) g_state.ddx[c] = c == 2 ? -32768.0f : 16384.0f;
                    g_state.ddx[0] = trial % 100 == 7 ? 1.0f : -2.0f;
                }
                for (int c = 0; c < 3; ++c) g_state.bias[c] = rng() % 2 ? 0x8000 : 0x7FFF;
                g_state.weight = int32_t(rng() % 256);
                PrepareGouraudSpans();
                // Spans of every length from every column of the row's
                // start on; the row begins at kGuard, so a change before the
                // row shows in the guard pixels.
                const int32_t from = int32_t(rng() % 16);
                const int32_t to = from + int32_t(trial % 3 == 0 ? rng() % 5 : rng() % 49);
                const int32_t xLeft = from - int32_t(rng() % 4);
                const int32_t xRight = to + int32_t(rng() % 4);
                const int32_t y = int32_t(rng() % 8);
                // The sorted pass reads its colours from left[0..2].
                const float *l = depthPass ? left : left + 1;
                const int32_t z = int32_t(std::lrint(left[0] * 1073741824.0f));
                Rows a;
                RandomRows(rng, a, z, trial % 2 ? 1000 : 100000000);
                Rows b = a;
                const Rows before = a;
                reference(a.frame.data() + kGuard, a.depth.data() + kGuard, y, xLeft, xRight, from, to, l);
                fast(b.frame.data() + kGuard, b.depth.data() + kGuard, y, xLeft, xRight, from, to, l);
                ASSERT_EQ(a.frame, b.frame) << "blend " << blend << " depth " << depthPass << " trial " << trial
                                            << " span " << from << ".." << to;
                ASSERT_EQ(a.depth, b.depth) << "blend " << blend << " depth " << depthPass << " trial " << trial;
                changed += a.frame != before.frame;
                ++compared;
            }
        }
    }
    EXPECT_EQ(compared, 3200);
    EXPECT_GT(changed, 2500);
}

TEST(SpanWriters, NarrowEdgeDivisionMatchesTheWideOne) {
    // Floor quotient and remainder in [0, d) for negative, exact and extreme
    // numerators: the 32-bit path must agree with the 64-bit one everywhere.
    std::mt19937 rng(5);
    const int32_t edges[] = {INT32_MIN, INT32_MIN + 1, -1, 0, 1, INT32_MAX - 1, INT32_MAX};
    for (int i = 0; i < 20000; ++i) {
        const int32_t n = i < 49 ? edges[i % 7] : int32_t(rng()) >> (rng() % 31);
        int32_t d = i < 49 ? std::max(1, edges[i / 7] & 0x7FFFFFFF) : int32_t(rng() >> (1 + rng() % 31));
        if (d <= 0) d = 16;
        int64_t q32, r32, q64, r64;
        FloorDivMod32(n, d, q32, r32);
        FloorDivMod64(n, d, q64, r64);
        ASSERT_EQ(q32, q64) << n << " / " << d;
        ASSERT_EQ(r32, r64) << n << " % " << d;
        ASSERT_GE(r32, 0);
        ASSERT_LT(r32, d);
    }
}
