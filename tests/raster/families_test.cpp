// The solid, wire and dots fillers, as the selection table names them,
// against slow models on random triangles: both passes, every blend type,
// either side, strict depth test against equal stored depths.
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

// A random triangle of one constant colour and depth; corners reach `margin`
// past the canvas, a quarter snapped to half pixels where ties are common.
void RandomTriangle(std::mt19937 &rng, int round, Triangle &t, float margin) {
    std::uniform_real_distribution<float> x(-margin, kW + margin), y(-margin, kH + margin), unit(0.0f, 1.0f);
    const float z = 0.1f + 0.8f * unit(rng);
    for (int i = 0; i < 3; ++i) {
        float cx = x(rng), cy = y(rng);
        if (round % 4 == 0) cx = std::round(2 * cx) / 2, cy = std::round(2 * cy) / 2;
        t.Corner(i, cx, cy, z);
    }
    t.p.flags = rng() & 1 ? 0x80u : 0u;
    t.depthPass = rng() & 1;
    const uint16_t levels[] = {0, 1, 128, 254, 255};
    for (E3DMaterial *m : {&t.front, &t.back}) m->alphaMode = uint16_t(rng() % 8), m->alphaLevel = levels[rng() % 5];
    t.p.color = t.p.color1 = t.p.color2 = round % 9 == 0 ? kNoColor : uint32_t(rng() & 0xFFFFFF);
}

// Writes one pixel of a wire as its filler would, depth test first.
struct PixelModel {
    uint32_t blend, level, colour;
    int32_t z;
    PixelModel(Triangle &t, uint32_t blendBits)
        : blend(blendBits & 3), level(t.Side().alphaLevel), colour(t.p.color), z(RoundToInt32(t.v[0].invDepth * kDepthScale)) {
        if (blend == 2 && level == 255) blend = 0;
    }
    void Write(Triangle &t, const RasterTarget &f, int64_t x, int64_t y) const {
        if (x < 0 || y < 0 || x >= f.width || y >= f.height) return;
        const size_t at = size_t(y) * f.pitch + size_t(x);
        if (t.depthPass && !(z > f.depth[at])) return;
        f.frame[at] = Combine(Pixel555(colour), f.frame[at], blend, 255 - level, t.depthPass);
        if (t.depthPass && blend == 0) f.depth[at] = z;
    }
};

// A random scissor now and then; lines and dots are held to it.
void RandomScissor(std::mt19937 &rng, int round) {
    E3DViewport *v = CurrentViewport();
    if (round % 4 == 1) SetViewportScissor(v, float(rng() % 20), float(40 + rng() % 25), float(rng() % 16), float(30 + rng() % 19));
    else SetViewportScissor(v, 0, kW, 0, kH);
    LoadClipBounds(v);
}

bool InScissor(int64_t x, int64_t y) {
    const E3DViewport *v = CurrentViewport();
    return x >= v->scissorXMin && x < v->scissorXMax && y >= v->scissorYMin && y < v->scissorYMax;
}

void WireModel(Triangle &t, const RasterTarget &f) {
    const PixelModel px(t, t.p.flags & 0x40 ? t.Side().alphaMode : 0);
    if (px.blend == 2 && px.level == 0) return;
    for (int i = 0; i < 3; ++i) {
        if (!(t.p.flags & (0x200u << i))) continue;
        const E3DVertex &a = t.v[i], &b = t.v[(i + 1) % 3];
        for (auto [x, y] : ModelLine(a.screenX, a.screenY, b.screenX, b.screenY))
            if (InScissor(x, y)) px.Write(t, f, x, y);
    }
}

void DotsModel(Triangle &t, const RasterTarget &f) {
    const E3DViewport *v = CurrentViewport();
    const uint32_t colours[3] = {t.p.color, t.p.color1, t.p.color2};
    for (int i = 0; i < 3; ++i) {
        const int x = int(t.v[i].screenX), y = int(t.v[i].screenY);
        if (!(x > v->scissorXMin && x < v->scissorXMax && y > v->scissorYMin && y < v->scissorYMax)) continue;
        f.frame[size_t(y) * f.pitch + x] = Pixel555(colours[i]);
        int32_t &d = f.depth[size_t(y) * f.pitch + x];
        if (t.depthPass) d = std::max(d, RoundToInt32(t.v[i].invDepth * kDepthScale));
    }
}

}  // namespace

TEST(Fillers, SolidFillersMatchTheStepModelWithCornerColoursAndDepths) {
    for (uint32_t shade : {1u, 3u, 7u}) {
        TextureModel model;  // the textured fillers' stepping, lit without a texture
        model.lighting = shade == 7 ? 3 : 4;
    const int changed = AgainstModel(
        "stepped", 5 + shade, 3000, kW, kH,
        [](auto &rng, int round, Triangle &t) {
            RandomTriangle(rng, round, t, 0);
            for (auto &v : t.v) v.invDepth = 0.2f + 0.7f * float(rng() % 1024) / 1024;
            t.p.color1 = rng() & 0xFFFFFF, t.p.color2 = rng() & 0xFFFFFF;
            t.Side().alphaMode &= 3;
        },
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

TEST(Fillers, WireAndDotsFamiliesMatchTheirModels) {
    for (uint32_t shade : {1u, 3u, 7u}) {
        for (uint32_t drawMode : {3u, 1u}) {
            const int changed = AgainstModel(
                drawMode == 3 ? "wire" : "dots", 40 + shade + drawMode, 1500, kW, kH,
                [&](auto &rng, int round, Triangle &t) {
                    RandomTriangle(rng, round, t, drawMode == 3 ? 30.0f : 3.0f);
                    if (round % 3 == 0)  // dots on whole pixels, next to the bounds
                        for (auto &v : t.v) v.screenX = std::round(v.screenX), v.screenY = std::round(v.screenY);
                    t.p.flags |= (rng() % 8) << 9 | (rng() % 2) << 6;
                    if (drawMode == 1 && shade == 7) t.p.color1 = rng(), t.p.color2 = rng();
                    RandomScissor(rng, round);
                },
                [&](Triangle &t, Canvas &) {
                    // Half the painter's rounds through the exported forms without clip codes.
                    void (*plain)(E3DPolygon *, E3DVertex *) = drawMode == 3 ? (shade == 7 ? GouraudWireTriangle : FlatWireTriangle)
                                                                             : (shade == 7 ? GouraudDotsTriangle : FlatDotsTriangle);
                    (!t.depthPass && (t.p.color & 1) ? plain : Selected(shade, drawMode, t.depthPass))(&t.p, t.v);
                },
                [&](Triangle &t, const RasterTarget &f) { drawMode == 3 ? WireModel(t, f) : DotsModel(t, f); });
            EXPECT_GT(changed, 500) << "shade " << shade << " mode " << drawMode;
        }
    }
}
