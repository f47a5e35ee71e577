// Clipping against the near and far planes and the scissor edges, stage by
// stage against a double-precision model of the same walk, and edges cut to
// the depth range.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "core/clip.h"

using namespace e3d;

namespace {

const ClipFrame kFrame = {0, 320, 0, 200, 160, 100, -1, 200, 1, 100};

// viewX, viewY, viewZ, screenX, screenY, invDepth, u, v, r, g, b
using Corner = std::array<double, 11>;
enum { kViewZ = 2, kScreenX = 3, kInvDepth = 5 };

// Projects a view-space point as the engine's clamping projector does.
ClipVertex View(float x, float y, float z) {
    ClipVertex v{};
    v.viewX = x, v.viewY = y, v.viewZ = z;
    v.invDepth = 1.0f / (z - kFrame.nearZ <= 0 ? kFrame.nearZ : z - kFrame.farZ > 0 ? kFrame.farZ : z);
    const float k = v.invDepth * kFrame.focal;
    v.screenX = x * k + kFrame.centerX;
    v.screenY = y * (k * kFrame.yScale) + kFrame.centerY;
    v.outCode = z - kFrame.nearZ <= 0 ? uint32_t(kOutNear) : z - kFrame.farZ > 0 ? uint32_t(kOutFar)
              : ScreenCodeX(v.screenX, kFrame) | ScreenCodeY(v.screenY, kFrame);
    return v;
}

std::vector<Corner> Model(const ClipPolygon &p) {
    std::vector<Corner> m(size_t(p.count));
    for (int i = 0; i < p.count; ++i)
        for (int k = 0; k < 11; ++k) m[size_t(i)][size_t(k)] = (&p.corners[i].viewX)[k];
    return m;
}

// One boundary: axis 0 x, 1 y, 2 depth; beyond it is below or above it.
std::vector<Corner> ModelStage(const std::vector<Corner> &in, int axis, double boundary, bool beyondAbove) {
    const size_t k = axis == 2 ? size_t(kViewZ) : size_t(kScreenX + axis);
    auto out = [&](const Corner &c) { return beyondAbove ? c[k] > boundary : c[k] < boundary || (axis == 2 && c[k] == boundary); };
    std::vector<Corner> r;
    for (size_t i = 0; i < in.size(); ++i) {
        const Corner &a = in[i], &b = in[(i + 1) % in.size()];
        const double t = (boundary - a[k]) / (b[k] - a[k]);
        Corner n;
        for (size_t j = 0; j < 11; ++j) n[j] = a[j] + t * (b[j] - a[j]);
        n[k] = boundary;
        if (axis == 2) {
            n[kInvDepth] = 1 / boundary;
            n[kScreenX] = n[0] * n[kInvDepth] * kFrame.focal + kFrame.centerX;
            n[kScreenX + 1] = n[1] * n[kInvDepth] * kFrame.focal * kFrame.yScale + kFrame.centerY;
        }
        if (!out(a)) r.push_back(a);
        if (out(a) != out(b) && !(out(b) && t == 0)) r.push_back(n);  // a cut on the corner itself is dropped
    }
    return r;
}

// The engine's stage against the model, corner codes against positions.
void ExpectStage(const ClipPolygon &in, const ClipPolygon &out, int axis, double boundary, bool beyondAbove) {
    const std::vector<Corner> want = ModelStage(Model(in), axis, boundary, beyondAbove), got = Model(out);
    ASSERT_EQ(got.size(), want.size());
    for (size_t i = 0; i < got.size(); ++i) {
        for (size_t k = axis == 2 ? 0 : kScreenX; k < 11; ++k)
            ASSERT_NEAR(got[i][k], want[i][k], 1e-4 * (1 + std::fabs(want[i][k]))) << "corner " << i << " value " << k;
        const double x = got[i][kScreenX], y = got[i][kScreenX + 1];
        const uint32_t screen = kOutLeft * (x < kFrame.xMin) | kOutRight * (x > kFrame.xMax) |
                                kOutAbove * (y < kFrame.yMin) | kOutBelow * (y > kFrame.yMax);
        // A corner beyond a plane was never given screen bits.
        const uint32_t depth = (axis == 2) * (kOutNear * (got[i][kViewZ] < kFrame.nearZ) | kOutFar * (got[i][kViewZ] > kFrame.farZ));
        ASSERT_EQ(out.corners[i].outCode, depth ? depth : screen) << "corner " << i;
    }
}

}  // namespace

TEST(Clip, StagesMatchTheModel) {
    std::mt19937 rng(5);
    auto any = [&](float lo, float hi) { return std::uniform_real_distribution<float>(lo, hi)(rng); };
    // Some values exactly on a bound: on it is inside.
    auto snapped = [&](float lo, float hi, float a, float b) { return rng() % 5 ? any(lo, hi) : rng() % 2 ? a : b; };
    int cutTwice = 0;
    for (int round = 0; round < 20000; ++round) {
        ClipPolygon a{}, b{}, c{};
        a.count = 3;
        for (int j = 0; j < 3; ++j) {
            a.corners[j] = View(any(-30, 30), any(-30, 30), snapped(-20, 150, kFrame.nearZ, kFrame.farZ));
            a.corners[j].u = any(0, 64), a.corners[j].v = any(0, 64);
            a.corners[j].r = any(0, 255), a.corners[j].g = any(0, 255), a.corners[j].b = any(0, 255);
        }
        ClipAgainst<kAttrTexturedGouraud, ClipEdge::Depth>(a, b, kFrame.nearZ, kOutNear, kFrame);
        ExpectStage(a, b, 2, kFrame.nearZ, false);
        ClipAgainst<kAttrTexturedGouraud, ClipEdge::Depth>(b, c, kFrame.farZ, kOutFar, kFrame);
        ExpectStage(b, c, 2, kFrame.farZ, true);
        cutTwice += c.count > b.count && b.count > a.count;
        // The screen: random polygons of 3 to 8 corners, some on the edges.
        a.count = 3 + int(rng() % 6);
        for (int j = 0; j < a.count; ++j) {
            ClipVertex &v = a.corners[j];
            v.screenX = snapped(-100, 420, kFrame.xMin, kFrame.xMax), v.screenY = snapped(-100, 300, kFrame.yMin, kFrame.yMax);
            v.invDepth = any(0.01f, 1), v.u = any(0, 64), v.v = any(0, 64), v.r = any(0, 255), v.g = v.b = any(0, 255);
            v.outCode = ScreenCodeX(v.screenX, kFrame) | ScreenCodeY(v.screenY, kFrame);
        }
        ClipPolygon work = a, spare{}, stages[5] = {a};
        const float bounds[4] = {kFrame.xMin, kFrame.xMax, kFrame.yMin, kFrame.yMax};
        const uint32_t bits[4] = {kOutLeft, kOutRight, kOutAbove, kOutBelow};
        int ran = 0;
        for (int s = 0; s < 4; ++s) {
            uint32_t any = 0;
            for (int j = 0; j < stages[s].count; ++j) any |= stages[s].corners[j].outCode;
            if (!(any & bits[s])) {
                stages[s + 1] = stages[s];
                continue;
            }
            ++ran;
            if (s < 2) ClipAgainst<kAttrTexturedGouraud, ClipEdge::Vertical>(stages[s], stages[s + 1], bounds[s], bits[s], kFrame);
            else ClipAgainst<kAttrTexturedGouraud, ClipEdge::Horizontal>(stages[s], stages[s + 1], bounds[s], bits[s], kFrame);
            ExpectStage(stages[s], stages[s + 1], s / 2, bounds[s], s % 2 == 1);
        }
        // The whole walk: the same stages in that order, none for a polygon inside.
        const ClipPolygon *r = ClipToScreen<kAttrTexturedGouraud>(work, spare, kFrame);
        ASSERT_EQ(r, ran % 2 ? &spare : &work);
        ASSERT_EQ(r->count, stages[4].count);
        ASSERT_EQ(std::memcmp(r->corners, stages[4].corners, sizeof(ClipVertex) * size_t(r->count)), 0);
    }
    EXPECT_GT(cutTwice, 10);
}

TEST(Clip, NonFiniteCornersNeverOverflowTheArrays) {
    std::mt19937 rng(9);
    const float specials[] = {NAN, INFINITY, -INFINITY, 1e30f, -1e30f, 0.0f, 160.0f};
    for (int round = 0; round < 5000; ++round) {
        ClipPolygon a{}, b{};
        a.count = 3 + int(rng() % 6);
        for (int j = 0; j < a.count; ++j) {
            a.corners[j].screenX = specials[rng() % 7], a.corners[j].screenY = specials[rng() % 7];
            a.corners[j].outCode = rng() & 0x3C0u;
        }
        ASSERT_LE(ClipToScreen<kAttrTexturedGouraud>(a, b, kFrame)->count, kClipCapacity);
    }
}

// Which attributes travel with a corner: texture bits, and shade mode 7.
TEST(Clip, AttributeSetsOfModes) {
    EXPECT_EQ(AttributeSetOf(6u), kAttrPlain);
    EXPECT_EQ(AttributeSetOf(7u), kAttrGouraud);
    EXPECT_EQ(AttributeSetOf(0x0800000u | 5u), kAttrTextured);
    EXPECT_EQ(AttributeSetOf(0x4000000u | 0xFu), kAttrTexturedGouraud);
}

// An edge cut to the depth range: an end beyond a plane moves onto it and
// is projected there; an edge beyond one plane has no part left.
TEST(Clip, EdgesCutToTheDepthRange) {
    g_clipFrame = kFrame;
    std::mt19937 rng(3);
    auto any = [&](float lo, float hi) { return std::uniform_real_distribution<float>(lo, hi)(rng); };
    const float depths[] = {kFrame.nearZ, kFrame.farZ, 0, 50, 120};
    for (int round = 0; round < 20000; ++round) {
        E3DVertex ends[2] = {};
        for (E3DVertex &e : ends) {
            const ClipVertex v = View(any(-30, 30), any(-30, 30), rng() % 4 ? any(-20, 150) : depths[rng() % 5]);
            e.viewX = v.viewX, e.viewY = v.viewY, e.depth = v.viewZ, e.screenX = v.screenX, e.screenY = v.screenY;
            e.invDepth = v.invDepth, e.clipCode = v.outCode | (rng() & kOutScreenX);
        }
        EdgePoint from{}, to{};
        const bool kept = CutEdgeToDepthRange(ends[0], ends[1], from, to);
        const uint32_t depth = kOutNear | kOutFar, codeA = ends[0].clipCode & depth, codeB = ends[1].clipCode & depth;
        const double za = ends[0].depth, dz = double(ends[1].depth) - za;
        double t[2] = {0, 1};
        for (int e = 0; e < 2; ++e) {
            const uint32_t code = e ? codeB : codeA;
            if (!code) continue;
            const double plane = code == kOutNear ? kFrame.nearZ : kFrame.farZ;
            t[e] = (plane - za) / dz;
            const EdgePoint &p = e ? to : from;
            const double x = ends[0].viewX + t[e] * (ends[1].viewX - ends[0].viewX);
            const double y = ends[0].viewY + t[e] * (ends[1].viewY - ends[0].viewY);
            if (!(codeA & codeB) && std::isfinite(t[e])) {
                ASSERT_NEAR(p.t, t[e], 1e-5);
                ASSERT_NEAR(p.w, 1 / plane, 1e-7);
                ASSERT_NEAR(p.x, x / plane * kFrame.focal + kFrame.centerX, 1e-2);
                ASSERT_NEAR(p.y, -y / plane * kFrame.focal + kFrame.centerY, 1e-2);
            }
        }
        ASSERT_TRUE(codeA || (from.x == ends[0].screenX && from.y == ends[0].screenY && from.w == ends[0].invDepth));
        ASSERT_TRUE(codeB || (to.x == ends[1].screenX && to.y == ends[1].screenY && to.w == ends[1].invDepth));
        ASSERT_EQ(kept, !(codeA & codeB) && t[0] >= 0 && t[0] <= t[1] && t[1] <= 1) << round;
    }
}
