// Test canvases, hand-made triangles and an exact model of the fill rule.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <cmath>
#include <cstdint>
#include <set>
#include <utility>
#include <vector>

#include "engine3d.h"
#include "raster/edge_walker.h"

namespace e3dtest {

using e3d::RasterTarget;

constexpr uint16_t kUntouched = 0x1234;

struct Canvas {
    int width, height, pitch;
    std::vector<uint16_t> frame;
    std::vector<int32_t> depth;
    Canvas(int w, int h, int p = 0) : width(w), height(h), pitch(p ? p : w), frame(size_t(pitch) * h, kUntouched),
                                      depth(size_t(pitch) * h, 0) {}
    RasterTarget Target() { return RasterTarget{frame.data(), depth.data(), pitch, width, height}; }
    uint16_t At(int x, int y) const { return frame[size_t(y) * pitch + x]; }
};

struct Triangle {
    E3DVertex v[3]{};
    E3DPolygon p{};
    E3DMaterial m{};
    Triangle(float x0, float y0, float x1, float y1, float x2, float y2, uint32_t c0 = 0xFFFFFF,
             uint32_t c1 = 0xFFFFFF, uint32_t c2 = 0xFFFFFF, bool back = true) {
        const float xs[3] = {x0, x1, x2}, ys[3] = {y0, y1, y2};
        for (int i = 0; i < 3; ++i) {
            v[i].screenX = xs[i];
            v[i].screenY = ys[i];
            v[i].invDepth = 0.5f;
            p.vertex[i] = i;
        }
        p.flags = back ? 0x80u : 0u;
        p.color = c0;
        p.color1 = c1;
        p.color2 = c2;
        p.material = &m;
        p.backMaterial = &m;
    }
};

inline int64_t CeilDiv(int64_t n, int64_t d) {  // d > 0
    int64_t q = n / d;
    if (q * d < n) ++q;
    return q;
}

// Pixels [ceil(left crossing), ceil(right crossing)) of every scanline whose
// centre lies in [top, bottom), from exact rational crossings; clockwise
// corners (y down) only, others draw nothing.
inline std::set<std::pair<int, int>> ModelCoverage(const float (&sx)[3], const float (&sy)[3]) {
    int64_t x[3], y[3];
    for (int i = 0; i < 3; ++i) {
        x[i] = std::lrint(sx[i] * 16.0f);
        y[i] = std::lrint(sy[i] * 16.0f);
    }
    std::set<std::pair<int, int>> covered;
    const int64_t cross = (x[1] - x[0]) * (y[2] - y[0]) - (y[1] - y[0]) * (x[2] - x[0]);
    if (cross <= 0) return covered;
    int order[3] = {0, 1, 2};
    std::sort(order, order + 3, [&](int a, int b) { return y[a] < y[b]; });
    auto crossing = [&](int t, int b, int64_t row) {
        const int64_t dy = y[b] - y[t], dx = x[b] - x[t];
        return CeilDiv((16 * row - y[t]) * dx + x[t] * dy, 16 * dy);
    };
    const int t = order[0], m = order[1], b = order[2];
    for (int64_t row = CeilDiv(y[t], 16); row < CeilDiv(y[b], 16); ++row) {
        const int64_t a = crossing(t, b, row);
        const int64_t c = row < CeilDiv(y[m], 16) ? crossing(t, m, row) : crossing(m, b, row);
        for (int64_t px = std::min(a, c); px < std::max(a, c); ++px) covered.insert({int(px), int(row)});
    }
    return covered;
}

inline std::set<std::pair<int, int>> Written(const Canvas &c) {
    std::set<std::pair<int, int>> s;
    for (int y = 0; y < c.height; ++y)
        for (int x = 0; x < c.width; ++x)
            if (c.At(x, y) != kUntouched) s.insert({x, y});
    return s;
}

// Random triangles over a 64 x 64 canvas: the pixels a fill writes must be
// exactly the model's, on both passes. `fill` draws one triangle.
template <class Fill>
int CheckCoverageAgainstModel(uint32_t seed, Fill fill) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> coord(-4.0f, 68.0f);
    int drawn = 0;
    for (int round = 0; round < 400; ++round) {
        const float sx[3] = {coord(rng), coord(rng), coord(rng)};
        const float sy[3] = {coord(rng), coord(rng), coord(rng)};
        auto expected = ModelCoverage(sx, sy);
        std::erase_if(expected, [](auto &p) { return p.first < 0 || p.first >= 64 || p.second < 0 || p.second >= 64; });
        for (bool depth : {false, true}) {
            Canvas c(64, 64);
            Triangle t(sx[0], sy[0], sx[1], sy[1], sx[2], sy[2]);
            fill(t, c, depth);
            EXPECT_EQ(Written(c), expected) << "round " << round << " depth " << depth;
            if (::testing::Test::HasFailure()) return drawn;
        }
        drawn += !expected.empty();
    }
    return drawn;
}

}  // namespace e3dtest
