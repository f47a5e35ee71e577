// Clipping to the near and far planes and the scissor edges, stage by stage
// against a double-precision model of the same walk, and edges cut to the
// depth range.
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
std::mt19937 g_random(5);
float Any(float lo, float hi) { return std::uniform_real_distribution<float>(lo, hi)(g_random); }
// Now and then exactly on a bound, where a point counts as inside.
float Snapped(float lo, float hi, float a, float b) { return g_random() % 5 ? Any(lo, hi) : g_random() % 2 ? a : b; }

// Projects a view-space point as the engine's clamping projector does.
ClipVertex View(float x, float y, float z) {
    ClipVertex v{};
    const bool near = z - kFrame.nearZ <= 0, far = z - kFrame.farZ > 0;
    v.viewX = x, v.viewY = y, v.viewZ = z, v.invDepth = 1.0f / (near ? kFrame.nearZ : far ? kFrame.farZ : z);
    v.screenX = x * (v.invDepth * kFrame.focal) + kFrame.centerX;
    v.screenY = y * (v.invDepth * kFrame.focal * kFrame.yScale) + kFrame.centerY;
    v.outCode = near ? uint32_t(kOutNear) : far ? uint32_t(kOutFar) : ScreenCodeX(v.screenX, kFrame) | ScreenCodeY(v.screenY, kFrame);
    v.u = Any(0, 64), v.v = Any(0, 64), v.r = Any(0, 255), v.g = Any(0, 255), v.b = Any(0, 255);
    return v;
}

// The corners' values from viewX to b, in double.
using Corner = std::array<double, 11>;
enum { kViewZ = 2, kScreenX = 3, kScreenY = 4, kInvDepth = 5 };
std::vector<Corner> Values(const ClipPolygon &p) {
    std::vector<Corner> m(size_t(p.count));
    for (size_t i = 0; i < 11 * m.size(); ++i) m[i / 11][i % 11] = (&p.corners[i / 11].viewX)[i % 11];
    return m;
}

// One stage: axis 0 x, 1 y, 2 depth; `beyondAbove` when the outside is above the bound.
void ExpectStage(const ClipPolygon &in, const ClipPolygon &out, int axis, double bound, bool beyondAbove) {
    const size_t k = axis == 2 ? size_t(kViewZ) : size_t(kScreenX + axis);
    auto outside = [&](const Corner &c) { return beyondAbove ? c[k] > bound : c[k] < bound || (axis == 2 && c[k] == bound); };
    std::vector<Corner> want;
    const std::vector<Corner> corners = Values(in), got = Values(out);
    for (size_t i = 0; i < corners.size(); ++i) {
        const Corner &a = corners[i], &b = corners[(i + 1) % corners.size()];
        const double t = (bound - a[k]) / (b[k] - a[k]);
        Corner n;
        for (size_t j = 0; j < 11; ++j) n[j] = a[j] + t * (b[j] - a[j]);
        n[k] = bound;
        if (axis == 2) {  // projected on the plane
            n[kInvDepth] = 1 / bound;
            n[kScreenX] = n[0] / bound * kFrame.focal + kFrame.centerX;
            n[kScreenY] = n[1] / bound * kFrame.focal * kFrame.yScale + kFrame.centerY;
        }
        if (!outside(a)) want.push_back(a);
        if (outside(a) != outside(b) && !(outside(b) && t == 0)) want.push_back(n);  // a cut on a itself is dropped
    }
    ASSERT_EQ(got.size(), want.size());
    for (size_t i = 0; i < got.size(); ++i) {
        for (size_t j = axis == 2 ? 0 : kScreenX; j < 11; ++j)
            ASSERT_NEAR(got[i][j], want[i][j], 4e-3 + 1e-4 * std::fabs(want[i][j])) << "corner " << i << " value " << j;
        // Codes follow the position; a corner beyond a plane has no screen bits.
        const double x = got[i][kScreenX], y = got[i][kScreenY], z = got[i][kViewZ];
        const uint32_t depth = (axis == 2) * (kOutNear * (z < kFrame.nearZ) | kOutFar * (z > kFrame.farZ));
        const uint32_t screen = kOutLeft * (x < 0) | kOutRight * (x > 320) | kOutAbove * (y < 0) | kOutBelow * (y > 200);
        ASSERT_EQ(out.corners[i].outCode, depth ? depth : screen) << "corner " << i;
    }
}

}  // namespace

TEST(Clip, StagesMatchTheModel) {
    int cutTwice = 0;
    for (int round = 0; round < 20000; ++round) {
        ClipPolygon a{3, {}}, b{}, c{};
        for (int j = 0; j < 3; ++j) a.corners[j] = View(Any(-30, 30), Any(-30, 30), Snapped(-20, 150, kFrame.nearZ, kFrame.farZ));
        ClipAgainst<kAttrTexturedGouraud, ClipEdge::Depth>(a, b, kFrame.nearZ, kOutNear, kFrame);
        ExpectStage(a, b, 2, kFrame.nearZ, false);
        ClipAgainst<kAttrTexturedGouraud, ClipEdge::Depth>(b, c, kFrame.farZ, kOutFar, kFrame);
        ExpectStage(b, c, 2, kFrame.farZ, true);
        cutTwice += c.count > b.count && b.count > a.count;
        // Screen polygons of 3 to 8 corners; a stage runs only for a corner beyond its edge.
        ClipPolygon stages[5] = {};
        stages[0].count = 3 + int(g_random() % 6);
        for (int j = 0; j < stages[0].count; ++j) {
            ClipVertex &v = stages[0].corners[j] = View(0, 0, Any(2, 99));
            v.screenX = Snapped(-100, 420, kFrame.xMin, kFrame.xMax), v.screenY = Snapped(-100, 300, kFrame.yMin, kFrame.yMax);
            v.outCode = ScreenCodeX(v.screenX, kFrame) | ScreenCodeY(v.screenY, kFrame);
        }
        const float bounds[4] = {kFrame.xMin, kFrame.xMax, kFrame.yMin, kFrame.yMax};
        const uint32_t bits[4] = {kOutLeft, kOutRight, kOutAbove, kOutBelow};
        int ran = 0;
        for (int s = 0; s < 4; ++s) {
            uint32_t codes = 0;
            for (int j = 0; j < stages[s].count; ++j) codes |= stages[s].corners[j].outCode;
            stages[s + 1] = stages[s];
            if (!(codes & bits[s])) continue;
            ++ran;
            if (s < 2) ClipAgainst<kAttrTexturedGouraud, ClipEdge::Vertical>(stages[s], stages[s + 1], bounds[s], bits[s], kFrame);
            else ClipAgainst<kAttrTexturedGouraud, ClipEdge::Horizontal>(stages[s], stages[s + 1], bounds[s], bits[s], kFrame);
            ExpectStage(stages[s], stages[s + 1], s / 2, bounds[s], s % 2 == 1);
        }
        ClipPolygon work = stages[0], spare{};
        const ClipPolygon *r = ClipToScreen<kAttrTexturedGouraud>(work, spare, kFrame);
        ASSERT_TRUE(r == (ran % 2 ? &spare : &work) && r->count == stages[4].count);
        ASSERT_EQ(std::memcmp(r->corners, stages[4].corners, sizeof(ClipVertex) * size_t(r->count)), 0);
    }
    EXPECT_GT(cutTwice, 10);
    // Non-finite corners never overflow the arrays.
    const float specials[] = {NAN, INFINITY, -INFINITY, 1e30f, -1e30f, 0.0f, 160.0f};
    for (int round = 0; round < 5000; ++round) {
        ClipPolygon a{3 + int(g_random() % 6), {}}, b{};
        for (ClipVertex &v : a.corners) v.screenX = specials[g_random() % 7], v.screenY = specials[g_random() % 7], v.outCode = g_random() & 0x3C0u;
        ASSERT_LE(ClipToScreen<kAttrTexturedGouraud>(a, b, kFrame)->count, kClipCapacity);
    }
    // Which attributes travel with a corner: texture bits, and shade mode 7.
    EXPECT_TRUE(AttributeSetOf(6u) == kAttrPlain && AttributeSetOf(7u) == kAttrGouraud);
    EXPECT_TRUE(AttributeSetOf(0x0800005u) == kAttrTextured && AttributeSetOf(0x400000Fu) == kAttrTexturedGouraud);
}

// An end beyond a plane moves onto it and is projected there; an edge wholly
// beyond one plane has no part left.
TEST(Clip, EdgesCutToTheDepthRange) {
    g_clipFrame = kFrame;
    for (int round = 0; round < 20000; ++round) {
        E3DVertex ends[2] = {};
        for (E3DVertex &e : ends) {
            const ClipVertex v = View(Any(-30, 30), Any(-30, 30), Snapped(-20, 150, kFrame.nearZ, kFrame.farZ));
            e.viewX = v.viewX, e.viewY = v.viewY, e.depth = v.viewZ, e.screenX = v.screenX, e.screenY = v.screenY;
            e.invDepth = v.invDepth, e.clipCode = v.outCode | (g_random() & kOutScreenX);
        }
        EdgePoint points[2] = {};
        const bool kept = CutEdgeToDepthRange(ends[0], ends[1], points[0], points[1]);
        const uint32_t codes[2] = {ends[0].clipCode & (kOutNear | kOutFar), ends[1].clipCode & (kOutNear | kOutFar)};
        double t[2] = {0, 1};
        for (int e = 0; e < 2 && !(codes[0] & codes[1]); ++e) {
            const double plane = codes[e] == kOutNear ? kFrame.nearZ : kFrame.farZ;
            if (codes[e]) t[e] = (plane - ends[0].depth) / (double(ends[1].depth) - ends[0].depth);
            const double x = ends[0].viewX + t[e] * (ends[1].viewX - ends[0].viewX), y = ends[0].viewY + t[e] * (ends[1].viewY - ends[0].viewY);
            const EdgePoint &p = points[e], want = codes[e] ? EdgePoint{float(x / plane * kFrame.focal + kFrame.centerX),
                float(-y / plane * kFrame.focal + kFrame.centerY), float(1 / plane), float(t[e])} : EdgePoint{ends[e].screenX, ends[e].screenY, ends[e].invDepth, float(e)};
            ASSERT_TRUE(std::fabs(p.x - want.x) < 1e-2 && std::fabs(p.y - want.y) < 1e-2 && std::fabs(p.w - want.w) < 1e-7 && std::fabs(p.t - want.t) < 1e-5) << round;
        }
        ASSERT_EQ(kept, !(codes[0] & codes[1]) && t[0] >= 0 && t[0] <= t[1] && t[1] <= 1) << round;
    }
}
