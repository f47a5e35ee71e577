// Every untextured filler family, as the selection table names it, against
// a slow model on random triangles: both passes, every blend type, either
// side, corner colours and depths, stored depths equal to the drawn ones.
#include <gtest/gtest.h>

#include <random>

#include "raster/flat_solid.h"
#include "raster/pixel.h"
#include "raster/raster.h"
#include "support/line_model.h"
#include "support/texture_model.h"

using namespace e3d;
using namespace e3dtest;

namespace {

constexpr int kW = 64, kH = 48;

TriangleFillerRoutine Selected(uint32_t shade, uint32_t drawMode, bool depthPass) {
    const uint32_t mode = drawMode << 20 | shade;
    return FillerTable[shade][depthPass ? DepthPassFillerIndex(mode) : SortedPassFillerIndex(mode)];
}

// Corners reach `margin` past the canvas, a quarter snapped to half pixels
// where ties are common; a ninth of the polygons have no colour of their own.
void RandomTriangle(std::mt19937 &rng, int round, Triangle &t, float margin) {
    std::uniform_real_distribution<float> x(-margin, kW + margin), y(-margin, kH + margin);
    for (int i = 0; i < 3; ++i) {
        float cx = x(rng), cy = y(rng);
        if (round % 4 == 0) cx = std::round(2 * cx) / 2, cy = std::round(2 * cy) / 2;
        t.Corner(i, cx, cy, 0.2f + 0.7f * float(rng() % 1024) / 1024);
    }
    t.p.flags = rng() & 1 ? 0x80u : 0u;
    t.depthPass = rng() & 1;
    const uint16_t levels[] = {0, 1, 128, 254, 255};
    for (E3DMaterial *m : {&t.front, &t.back}) m->alphaMode = uint16_t(rng() % 4), m->alphaLevel = levels[rng() % 5];
    t.p.color = round % 9 == 0 ? kNoColor : uint32_t(rng() & 0xFFFFFF);
    t.p.color1 = rng() & 0xFFFFFF, t.p.color2 = rng() & 0xFFFFFF;
}

// A random scissor now and then; lines and dots are held to it.
void RandomScissor(std::mt19937 &rng, int round) {
    E3DViewport *v = CurrentViewport();
    if (round % 4 == 1) SetViewportScissor(v, float(rng() % 20), float(40 + rng() % 25), float(rng() % 16), float(30 + rng() % 19));
    else SetViewportScissor(v, 0, kW, 0, kH);
    LoadClipBounds(v);
}

// Each visible edge from corner i to i + 1: colour channels in 8.16 and
// depth stepped from the start by whole-line steps (truncated, rounded).
void WireModel(Triangle &t, const RasterTarget &f, bool gouraud) {
    const E3DViewport *vp = CurrentViewport();
    uint32_t blend = t.p.flags & 0x40 ? t.Side().alphaMode & 3 : 0;
    const uint32_t level = t.Side().alphaLevel, colours[3] = {t.p.color, t.p.color1, t.p.color2};
    if (blend == 2 && level == 0) return;
    if (blend == 2 && level == 255) blend = 0;
    for (int i = 0; i < 3; ++i) {
        if (!(t.p.flags & (0x200u << i))) continue;
        const E3DVertex &a = t.v[i], &b = t.v[(i + 1) % 3];
        const uint32_t from = colours[gouraud ? i : 0], to = colours[gouraud ? (i + 1) % 3 : 0];
        const auto line = ModelLine(a.screenX, a.screenY, b.screenX, b.screenY);
        const int32_t n = int32_t(line.size());
        const uint32_t dz = uint32_t(RoundToInt32((b.invDepth - a.invDepth) / float(n) * kDepthScale));
        for (int32_t k = 0; k < n; ++k) {
            const auto [x, y] = line[size_t(k)];
            if (x < vp->scissorXMin || x >= vp->scissorXMax || y < vp->scissorYMin || y >= vp->scissorYMax) continue;
            const size_t at = size_t(y) * f.pitch + size_t(x);
            const int32_t z = int32_t(uint32_t(RoundToInt32(a.invDepth * kDepthScale)) + uint32_t(k) * dz);
            if (t.depthPass && !(z > f.depth[at])) continue;
            uint32_t s = 0;
            for (int c = 0; c < 3; ++c) {
                const int32_t c0 = (from >> (16 - 8 * c)) & 255, c1 = (to >> (16 - 8 * c)) & 255;
                s = s << 5 | uint32_t(((c0 << 16) + k * int32_t(int64_t(c1 - c0) * 65536 / n)) >> 19);
            }
            f.frame[at] = Combine(s, f.frame[at], blend, 255 - level, t.depthPass);
            if (t.depthPass && blend == 0) f.depth[at] = z;
        }
    }
}

// Truncated corners strictly inside the clip bounds; no depth test, no
// blending; the depth forms keep the nearer depth.
void DotsModel(Triangle &t, const RasterTarget &f, bool gouraud) {
    const E3DViewport *v = CurrentViewport();
    const uint32_t colours[3] = {t.p.color, t.p.color1, t.p.color2};
    for (int i = 0; i < 3; ++i) {
        const int x = int(t.v[i].screenX), y = int(t.v[i].screenY);
        if (!(x > v->scissorXMin && x < v->scissorXMax && y > v->scissorYMin && y < v->scissorYMax)) continue;
        f.frame[size_t(y) * f.pitch + x] = Pixel555(colours[gouraud ? i : 0]);
        int32_t &d = f.depth[size_t(y) * f.pitch + x];
        if (t.depthPass) d = std::max(d, RoundToInt32(t.v[i].invDepth * kDepthScale));
    }
}

}  // namespace

TEST(Fillers, SolidFillersMatchTheSteppingModel) {
    for (uint32_t shade : {1u, 3u, 7u}) {
        TextureModel model;  // the textured fillers' stepping, lit without a texture
        model.lighting = shade == 7 ? 3 : 4;
        const int changed = AgainstModel(
            "stepped", 5 + shade, 3000, kW, kH, [](auto &rng, int round, Triangle &t) { RandomTriangle(rng, round, t, 0); },
            [&](Triangle &t, Canvas &c) {
                FlatSortedTriangle r;  // half the flat painter's rounds as the draw loop's prepared records
                if (shade == 7 || t.depthPass || !(t.p.color & 1)) return Selected(shade, 7, t.depthPass)(&t.p, t.v);
                PrepareFlatSorted(&t.p, t.v, r);
                if (r.blend < kFlatNothing) DrawFlatSorted(r, c.Target());
                if (r.blend == kFlatGeneral) FlatSolidFill(&t.p, t.v, c.Target(), false);
            },
            [&](Triangle &t, const RasterTarget &f) { model.Draw(t.p, t.v, f.frame, t.depthPass ? f.depth : nullptr, f.pitch); });
        EXPECT_GT(changed, 1000);
    }
}

TEST(Fillers, WireAndDotsMatchTheirModels) {
    for (uint32_t shade : {1u, 3u, 7u}) {
        for (uint32_t drawMode : {3u, 1u}) {
            const int changed = AgainstModel(
                drawMode == 3 ? "wire" : "dots", 40 + shade + drawMode, 1500, kW, kH,
                [&](auto &rng, int round, Triangle &t) {
                    RandomTriangle(rng, round, t, drawMode == 3 ? 30.0f : 3.0f);
                    if (round % 3 == 0)  // on whole pixels, next to the bounds
                        for (auto &v : t.v) v.screenX = std::round(v.screenX), v.screenY = std::round(v.screenY);
                    t.p.flags |= (rng() % 8) << 9 | (rng() % 2) << 6;
                    RandomScissor(rng, round);
                },
                [&](Triangle &t, Canvas &) {
                    // Half the painter's rounds through the exported forms without clip codes.
                    void (*plain)(E3DPolygon *, E3DVertex *) = drawMode == 3 ? (shade == 7 ? GouraudWireTriangle : FlatWireTriangle)
                                                                             : (shade == 7 ? GouraudDotsTriangle : FlatDotsTriangle);
                    (!t.depthPass && (t.p.color & 1) ? plain : Selected(shade, drawMode, t.depthPass))(&t.p, t.v);
                },
                [&](Triangle &t, const RasterTarget &f) { drawMode == 3 ? WireModel(t, f, shade == 7) : DotsModel(t, f, shade == 7); });
            EXPECT_GT(changed, 500) << "shade " << shade << " mode " << drawMode;
        }
    }
}
