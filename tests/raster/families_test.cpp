// Every filler family, as the selection table names it, against a slow
// model on random triangles: both passes, every blend type, either side,
// corner colours and depths, stored depths equal to the drawn ones; the
// textured members over every kind of texture, and their vector writers
// against the scalar ones.
#include <gtest/gtest.h>

#include <random>
#include <set>

#include "core/clip.h"
#include "raster/flat_solid.h"
#include "raster/pixel.h"
#include "raster/texture_fill.h"
#include "support/texture_model.h"

using namespace e3d;
using namespace e3dtest;

namespace {

constexpr int kW = 64, kH = 48;

// Corners reach `margin` past the canvas, a quarter snapped to half pixels
// where ties are common; a ninth of the polygons have no colour of their own.
void RandomTriangle(std::mt19937 &rng, int round, Triangle &t, float margin) {
    std::uniform_real_distribution<float> x(-margin, kW + margin), y(-margin, kH + margin);
    for (int i = 0; i < 3; ++i) {
        float cx = x(rng), cy = y(rng);
        if (round % 4 == 0) cx = std::round(2 * cx) / 2, cy = std::round(2 * cy) / 2;
        t.Corner(i, cx, cy, 0.2f + 0.7f * float(rng() % 1024) / 1024);
    }
    t.p.flags = rng() & 1 ? 0x80u : 0u, t.depthPass = rng() & 1;
    const uint16_t levels[] = {0, 1, 128, 254, 255};
    for (E3DMaterial *m : {&t.front, &t.back}) m->alphaMode = uint16_t(rng() % 4), m->alphaLevel = levels[rng() % 5];
    t.p.color = round % 9 == 0 ? kNoColor : uint32_t(rng() & 0xFFFFFF), t.p.color1 = rng() & 0xFFFFFF, t.p.color2 = rng() & 0xFFFFFF;
    if (round % 5 == 4) t.v[1].screenY = t.v[0].screenY, t.p.color1 = t.p.color;  // a level edge of one colour: no change along x
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
// blending; the depth forms keep the nearer depth. Corners beyond the near
// or far plane are skipped, except by the exported forms (`plain`).
void DotsModel(Triangle &t, const RasterTarget &f, bool gouraud, bool plain) {
    const E3DViewport *v = CurrentViewport();
    const uint32_t colours[3] = {t.p.color, t.p.color1, t.p.color2};
    for (int i = 0; i < 3; ++i) {
        const int x = int(t.v[i].screenX), y = int(t.v[i].screenY);
        if (!plain && (t.v[i].clipCode & (kOutNear | kOutFar))) continue;
        if (!(x > v->scissorXMin && x < v->scissorXMax && y > v->scissorYMin && y < v->scissorYMax)) continue;
        const size_t at = size_t(y) * f.pitch + x;
        f.frame[at] = Pixel555(colours[gouraud ? i : 0]);
        if (t.depthPass) f.depth[at] = std::max(f.depth[at], RoundToInt32(t.v[i].invDepth * kDepthScale));
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
                    const uint32_t codes[] = {0, 0, kOutNear, kOutFar, kOutLeft | kOutFar, kOutRight};
                    for (auto &v : t.v) v.clipCode = drawMode == 1 ? codes[rng() % 6] : 0;
                    E3DViewport *v = CurrentViewport();  // now and then a scissor, which lines and dots keep to
                    if (round % 4 == 1) SetViewportScissor(v, float(rng() % 20), float(40 + rng() % 25), float(rng() % 16), float(30 + rng() % 19));
                    else SetViewportScissor(v, 0, kW, 0, kH);
                    LoadClipBounds(v);
                },
                [&](Triangle &t, Canvas &) {
                    // Half the painter's rounds through the exported forms, which ignore clip codes.
                    void (*plain)(E3DPolygon *, E3DVertex *) = drawMode == 3 ? (shade == 7 ? GouraudWireTriangle : FlatWireTriangle)
                                                                             : (shade == 7 ? GouraudDotsTriangle : FlatDotsTriangle);
                    (!t.depthPass && (t.p.color & 1) ? plain : Selected(shade, drawMode, t.depthPass))(&t.p, t.v);
                },
                [&](Triangle &t, const RasterTarget &f) { drawMode == 3 ? WireModel(t, f, shade == 7) : DotsModel(t, f, shade == 7, !t.depthPass && (t.p.color & 1)); });
            EXPECT_GT(changed, 500) << "shade " << shade << " mode " << drawMode;
        }
    }
}

namespace {

// Texture records over test-owned texels (12 % the key 0x8000, some with bit
// 15 set) with a spare row, from 1 x 1 to 1024 x 1024, square and not, powers
// of two and not, some with rows wider than the texture.
struct Textures {
    std::vector<E3DTexture> records = std::vector<E3DTexture>(18);
    std::vector<std::vector<uint16_t>> texels = std::vector<std::vector<uint16_t>>(18);
    explicit Textures(std::mt19937 &rng) {
        const int sizes[18][3] = {{1, 1, 1},   {2, 2, 2},     {1, 16, 1},     {16, 1, 16},     {8, 4, 8},   {64, 32, 64},
                                  {32, 128, 32}, {256, 64, 256}, {1024, 1024, 1024}, {1024, 2, 1024}, {3, 5, 3}, {48, 64, 48},
                                  {100, 37, 103}, {1000, 3, 1000}, {7, 1, 7},   {1, 9, 1},       {20, 12, 27}, {5, 33, 8}};
        for (int i = 0; i < 18; ++i) {
            texels[i].resize(size_t(sizes[i][2]) * (sizes[i][1] + 1));
            for (auto &p : texels[i]) p = uint16_t(rng() % 100 < 12 ? 0x8000 : rng() & (rng() % 8 ? 0x7FFF : 0xFFFF));
            E3DTexture &r = records[i];
            r.pixels = texels[i].data(), r.width = r.width2 = sizes[i][0], r.height = r.height2 = sizes[i][1], r.pitch = 2 * sizes[i][2];
        }
    }
};

// Either side, any blend, steep perspective now and then; power-of-two
// textures tile, row-length ones keep coordinates inside as the dispatch
// does; an eighth of the layers read through the record's byte offset.
void RandomTextured(std::mt19937 &rng, int round, Triangle &t, Textures &textures, int map, float w, float h, float margin) {
    E3DTexture &tex = textures.records[rng() % 18];
    t.p.flags = rng() & 1 ? 0x80u : 0u, t.depthPass = rng() & 1;
    E3DMaterial &side = t.Side();
    SetMaterialTexture(&side, uint32_t(map), &tex, 0);
    const bool tiled = (side.layers[map].mode & 0x40000000u) != 0;
    if (round % 8 == 3) side.layers[map].mode |= 2u, side.layers[map].pixels = nullptr, tex.reserved2[4] = uint32_t(tex.pitch + 1);
    const uint16_t levels[] = {0, 1, 128, 254, 255};
    side.alphaMode = uint16_t(round % 8 < 3 ? 0 : rng() % 4), side.alphaLevel = levels[rng() % 5];
    t.p.color = rng() & 0xFFFFFF, t.p.color1 = rng() & 0xFFFFFF, t.p.color2 = rng() & 0xFFFFFF;
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    const float zRange = rng() % 3 == 0 ? 0.99f : 0.3f;
    const float su = tiled ? 6.0f * float(tex.width) : float(tex.width - 1), sv = tiled ? 6.0f * float(tex.height) : float(tex.height - 1);
    for (int i = 0; i < 3; ++i)
        t.Corner(i, -margin + (w + 2 * margin) * unit(rng), -margin + (h + 2 * margin) * unit(rng), 1.0f - zRange * unit(rng),
                 su * (unit(rng) - (tiled ? 0.5f : 0.0f)), sv * (unit(rng) - (tiled ? 0.5f : 0.0f)), map == kEnvironmentMap ? 2 : 0);
    if (round % 5 == 4) t.v[1].screenY = t.v[0].screenY, t.p.color1 = t.p.color;  // a level edge of one colour
}

}  // namespace

TEST(TextureFill, EveryMemberMatchesTheModelBitForBit) {
    const uint32_t shades[] = {1, 3, 7}, drawModes[] = {15, 23, 39};  // by lighting, by map
    for (int lighting = 0; lighting < 3; ++lighting) {
        for (int map = 0; map < 3; ++map) {
            std::mt19937 rng(1234 + lighting * 7 + map * 3);
            Textures textures(rng);
            TextureModel model;
            model.lighting = lighting, model.map = map;
            const int rounds = lighting == 1 && map == 0 ? 4000 : 1200;
            AgainstModel(
                "texture", 99 + lighting * 3 + map, rounds, 64, 48,
                [&](auto &r, int round, Triangle &t) {
                    RandomTextured(r, round, t, textures, map, 64, 48, 0);
                    model.uMask = g_textureMasks.u, model.vMask = g_textureMasks.v;
                },
                [&](Triangle &t, Canvas &) { Selected(shades[lighting], drawModes[map], t.depthPass)(&t.p, t.v); },
                [&](Triangle &t, const RasterTarget &f) {
                    model.Draw(t.p, t.v, f.frame, t.depthPass ? f.depth : nullptr, f.pitch);
                    ASSERT_TRUE(g_textureMasks.u == model.uMask && g_textureMasks.v == model.vMask) << "masks";
                });
            EXPECT_EQ(model.clampedFetches, 0) << "in-range coordinates stay inside the texture";
            const std::set<int> lengths(model.spanLengths.begin(), model.spanLengths.end());
            for (int n : {1, 2, 15, 16, 17, 31, 32, 33}) EXPECT_TRUE(lengths.count(n)) << "span length " << n;
            EXPECT_GT(model.spanLengths.size(), size_t(rounds) * 5);
        }
    }
}

TEST(TextureFill, VectorWritersMatchTheScalarReference) {
    // Big triangles past every edge of a padded target: long spans at every
    // alignment, clipped, half their pixels behind the depth row.
    std::mt19937 rng(77);
    Textures textures(rng);
    for (int lighting = 0; lighting < 3; ++lighting) {
        for (int map = 0; map < 3; ++map) {
            const auto l = TextureLighting(lighting);
            const auto m = TextureMapKind(map);
            EXPECT_GT(AgainstModel(
                          "vector", 7 + lighting * 3 + map, 60, 300, 160,
                          [&](auto &r, int round, Triangle &t) { RandomTextured(r, round, t, textures, map, 300, 160, 40); },
                          [&](Triangle &t, Canvas &c) { TextureFill(&t.p, t.v, c.Target(), l, m, t.depthPass); },
                          [&](Triangle &t, const RasterTarget &f) { TextureFill(&t.p, t.v, f, l, m, t.depthPass, true); }),
                      20);
        }
    }
}
