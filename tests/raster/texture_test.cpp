// Texture-mapped fillers against the slow model, their vector writers against
// the scalar ones, and textures drawn through the whole pipeline.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <set>

#include "pipeline/dispatch.h"
#include "raster/raster.h"
#include "raster/texture_fill.h"
#include "support/memory_check.h"
#include "support/stage.h"
#include "support/texture_model.h"

using namespace e3d;
using namespace e3dtest;

namespace {

// A texture record over test-owned texels (a share of them the key 0x8000,
// some with bit 15 set), rows `pitch` texels apart, with one spare row below.
struct OwnedTexture {
    E3DTexture record{};
    std::vector<uint16_t> pixels;
    OwnedTexture(int w, int h, int pitch, std::mt19937 &rng, int keyPercent) : pixels(size_t(pitch) * (h + 1)) {
        for (auto &p : pixels) p = uint16_t(int(rng() % 100) < keyPercent ? 0x8000 : rng() & (rng() % 8 ? 0x7FFF : 0xFFFF));
        record.pixels = pixels.data();
        record.width = record.width2 = w;
        record.height = record.height2 = h;
        record.pitch = 2 * pitch;
    }
};

using Textures = std::vector<std::unique_ptr<OwnedTexture>>;

// Sizes from 1 x 1 to 1024 x 1024, square and not, powers of two and not,
// some with rows wider than the texture.
Textures MakeTextures(std::mt19937 &rng) {
    const int sizes[][3] = {{1, 1, 1},    {2, 2, 2},      {1, 16, 1},     {16, 1, 16},       {8, 4, 8},
                            {64, 32, 64}, {32, 128, 32},  {256, 64, 256}, {1024, 1024, 1024}, {1024, 2, 1024},
                            {3, 5, 3},    {48, 64, 48},   {100, 37, 103}, {1000, 3, 1000},   {7, 1, 7},
                            {1, 9, 1},    {20, 12, 27},   {5, 33, 8}};
    Textures t;
    for (auto &s : sizes) t.push_back(std::make_unique<OwnedTexture>(s[0], s[1], s[2], rng, 12));
    return t;
}

// A textured triangle over a random texture, either side, any blend; power-
// of-two textures tile, row-length ones keep coordinates inside as the
// dispatch does; now and then the layer reads through the record's offset.
void RandomTextured(std::mt19937 &rng, int round, Triangle &t, const Textures &textures, int map, float w, float h,
                    float margin, bool inside) {
    OwnedTexture &tex = *textures[rng() % textures.size()];
    t.p.flags = rng() & 1 ? 0x80u : 0u;
    t.depthPass = rng() & 1;
    E3DMaterial &side = t.Side();
    SetMaterialTexture(&side, uint32_t(map), &tex.record, 0);
    E3DTextureLayer &layer = side.layers[map];
    const bool tiled = (layer.mode & 0x40000000u) != 0;
    if (round % 8 == 3) {
        layer.mode |= 2u, layer.pixels = nullptr;
        tex.record.reserved2[4] = uint32_t(tex.record.pitch + 1);  // one row in; the odd bit is ignored
    }
    const uint16_t levels[] = {0, 1, 128, 254, 255};
    side.alphaMode = uint16_t(round % 8 < 3 ? 0 : rng() % 4), side.alphaLevel = levels[rng() % 5];
    t.p.color = rng() & 0xFFFFFF, t.p.color1 = rng() & 0xFFFFFF, t.p.color2 = rng() & 0xFFFFFF;
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    const float zRange = rng() % 3 == 0 ? 0.99f : 0.3f;  // steep perspective now and then
    float xy[3][2];
    for (auto &c : xy) c[0] = -margin + (w + 2 * margin) * unit(rng), c[1] = -margin + (h + 2 * margin) * unit(rng);
    if (inside) {  // the winding the fillers draw
        const float cross = (xy[1][0] - xy[0][0]) * (xy[2][1] - xy[0][1]) - (xy[2][0] - xy[0][0]) * (xy[1][1] - xy[0][1]);
        if ((cross > 0) != (t.p.flags != 0)) std::swap(xy[1], xy[2]);
    }
    for (int i = 0; i < 3; ++i) {
        const float su = tiled ? 6.0f * float(tex.record.width) : float(tex.record.width - 1);
        const float sv = tiled ? 6.0f * float(tex.record.height) : float(tex.record.height - 1);
        t.Corner(i, xy[i][0], xy[i][1], 1.0f - zRange * unit(rng), tiled ? su * (unit(rng) - 0.5f) : su * unit(rng),
                 tiled ? sv * (unit(rng) - 0.5f) : sv * unit(rng), map == kEnvironmentMap ? 2 : 0);
    }
}

}  // namespace

TEST(TextureFill, EveryMemberMatchesTheModelBitForBit) {
    InitEngine3D();
    const uint32_t shades[] = {1, 3, 7}, drawModes[] = {15, 23, 39};
    for (int lighting = 0; lighting < 3; ++lighting) {
        for (int map = 0; map < 3; ++map) {
            std::mt19937 rng(1234 + lighting * 7 + map * 3);
            const Textures textures = MakeTextures(rng);
            TextureModel model;
            model.lighting = lighting, model.map = map;
            const int rounds = lighting == 1 && map == 0 ? 4000 : 1200;
            AgainstModel(
                "texture", 99 + lighting * 3 + map, rounds, 64, 48,
                [&](auto &r, int round, Triangle &t) {
                    RandomTextured(r, round, t, textures, map, 64, 48, 0, false);
                    model.uMask = g_textureMasks.u, model.vMask = g_textureMasks.v;
                },
                [&](Triangle &t, Canvas &) {
                    const uint32_t mode = drawModes[map] << 20 | shades[lighting];
                    FillerTable[mode & 7][t.depthPass ? DepthPassFillerIndex(mode) : SortedPassFillerIndex(mode)](&t.p, t.v);
                },
                [&](Triangle &t, const RasterTarget &f) {
                    model.Draw(t.p, t.v, f.frame, t.depthPass ? f.depth : nullptr, f.pitch);
                    ASSERT_EQ(g_textureMasks.u, model.uMask);
                    ASSERT_EQ(g_textureMasks.v, model.vMask);
                });
            EXPECT_EQ(model.clampedFetches, 0) << "in-range coordinates stay inside the texture";
            const std::set<int> lengths(model.spanLengths.begin(), model.spanLengths.end());
            for (int n : {1, 2, 15, 16, 17, 31, 32, 33}) EXPECT_TRUE(lengths.count(n)) << "span length " << n;
            EXPECT_GT(model.spanLengths.size(), size_t(rounds) * 5);
        }
    }
    ReleaseEngine3D();
}

TEST(TextureFill, VectorWritersMatchTheScalarReference) {
    // Big triangles reaching past every edge of a padded target: long spans
    // at every alignment, clipped, half their pixels behind the depth row.
    std::mt19937 rng(77);
    InitEngine3D();
    const Textures textures = MakeTextures(rng);
    for (int lighting = 0; lighting < 3; ++lighting) {
        for (int map = 0; map < 3; ++map) {
            const int changed = AgainstModel(
                "vector", 7 + lighting * 3 + map, 60, 300, 160,
                [&](auto &r, int round, Triangle &t) { RandomTextured(r, round, t, textures, map, 300, 160, 40, true); },
                [&](Triangle &t, Canvas &c) {
                    TextureFill(&t.p, t.v, c.Target(), TextureLighting(lighting), TextureMapKind(map), t.depthPass);
                },
                [&](Triangle &t, const RasterTarget &f) {
                    TextureFill(&t.p, t.v, f, TextureLighting(lighting), TextureMapKind(map), t.depthPass, true);
                });
            EXPECT_GT(changed, 40);
        }
    }
    ReleaseEngine3D();
}

namespace {

// A square of half-size h at depth z facing the camera, texture coordinates
// (0, 0) .. (1, 1), unlit, drawn with the given map.
E3DMesh *TexturedSquare(float h, float z, E3DTexture *texture, uint32_t layer) {
    E3DMesh *m = CreateMesh(4, 2, 0xFFFFFF);
    SetMeshVertex(m, 0, -h, h, z), SetMeshVertex(m, 1, h, h, z), SetMeshVertex(m, 2, h, -h, z);
    SetMeshVertex(m, 3, -h, -h, z);
    SetMeshQuadPolygon(m, 0, 0, 1, 2, 3, 0, 0);
    SetMeshQuadTexCoords(m, 0, 0, 0, 1, 0, 1, 1, 0, 1);
    m = ValidateMesh(m);
    SetMeshShadeMode(&m->node, 1);
    SetMeshRenderMode(&m->node, 0x7F00000);
    SetMaterialTexture(GetMeshDefaultMaterial(m), layer, texture, 0);
    return m;
}

std::vector<E3DPolygon> g_seen;
void Keep(E3DPolygon *p, E3DVertex *) { g_seen.push_back(*p); }

}  // namespace

TEST(TexturedFrame, ACheckerSquareDrawsBothColoursOnBothPaths) {
    for (bool depth : {true, false}) {
        Stage s(depth);
        E3DTexture *checker = CreateCheckerTexture(16, 16, 2, 0x001F, 0x7C00);
        AssignMeshToScene(s.scene, TexturedSquare(1.0f, 6.0f, checker, 0), 0);
        DrawScene(s.scene);
        int blue = 0, red = 0, other = 0;
        for (int y = 0; y < kH; ++y) {
            for (int x = 0; x < kW; ++x) {
                const uint16_t p = s.At(x, y);
                blue += p == 0x001F, red += p == 0x7C00;
                other += p != 0x001F && p != 0x7C00 && p != kBackground;
            }
        }
        EXPECT_GT(blue, 40) << "depth " << depth;
        EXPECT_GT(red, 40) << "depth " << depth;
        EXPECT_EQ(other, 0);
        EXPECT_TRUE(s.GuardsIntact());
        DeleteTexture(checker);
    }
}

TEST(TexturedFrame, EnvironmentCoordinatesReachTheFillerOnTheSecondPair) {
    // The dispatch prepares the environment pair in place and leaves u, v;
    // clipped fans carry the prepared pair as well.
    Stage s(true);
    E3DTexture *env = CreateCheckerTexture(32, 16, 2, 1, 2);
    E3DMesh *m = TexturedSquare(1.0f, 6.0f, env, 2);
    AssignMeshToScene(s.scene, m, 0);
    for (float x : {0.0f, 2.8f}) {  // inside, then across the right edge
        SetMeshModelPosition(m, x, 0, 0);
        DrawScene(s.scene);
        g_seen.clear();
        E3DSortEntry entry{0, m, &m->polygons[0], 0x2700001};
        DispatchPolygon(&entry, Keep);
        ASSERT_FALSE(g_seen.empty());
        for (const E3DPolygon &p : g_seen) {
            for (int j = 0; j < 3; ++j) {
                // Facing the eye, the pair is (0, 0) before preparation: every
                // corner shows the middle of the map.
                const float w = p.coords[j][2] / (0.5f * 31.0f);
                EXPECT_NEAR(p.coords[j][3], 0.5f * 15.0f * w, 1e-4f);
                EXPECT_GT(w, 0.0f);
                if (x == 0.0f) {
                    EXPECT_EQ(p.coords[j][0], m->polygons[0].coords[j][0]) << "u, v untouched";
                }
            }
        }
    }
    DeleteTexture(env);
}

TEST(TextureFromPixels, CopiesPackedRowsAndRefusesWhatTheFillersCannotAddress) {
    LeakCheck leaks;
    // 3 x 2 texels in rows 5 texels apart; the padding must not be copied.
    std::vector<uint16_t> host = {1, 2, 0x8000, 99, 99, 4, 5, 6, 99, 99};
    E3DTexture *t = CreateTextureFromPixels(host.data(), 3, 2, 10);
    ASSERT_NE(t, nullptr);
    EXPECT_TRUE(t->width == 3 && t->height == 2 && t->width2 == 3 && t->height2 == 2 && t->pitch == 6);
    host[0] = 77;  // a copy: later changes of the host's pixels do not show
    EXPECT_EQ(std::vector<uint16_t>(t->pixels, t->pixels + 6), (std::vector<uint16_t>{1, 2, 0x8000, 4, 5, 6}));
    DeleteTexture(t);
    EXPECT_EQ(CreateTextureFromPixels(nullptr, 2, 2, 4), nullptr);
    EXPECT_EQ(CreateTextureFromPixels(host.data(), 0, 2, 4), nullptr);
    EXPECT_EQ(CreateTextureFromPixels(host.data(), 2, -1, 4), nullptr);
    EXPECT_EQ(CreateTextureFromPixels(host.data(), 3, 2, 5), nullptr) << "rows would overlap";
    EXPECT_EQ(CreateTextureFromPixels(host.data(), 32769, 1, 65538), nullptr);
    EXPECT_EQ(CreateTextureFromPixels(host.data(), 1, 32769, 2), nullptr);
    std::vector<uint16_t> wide(32768, 3);  // the largest side the fillers address
    E3DTexture *edge = CreateTextureFromPixels(wide.data(), 32768, 1, 65536);
    ASSERT_NE(edge, nullptr);
    EXPECT_EQ(edge->pixels[32767], 3);
    DeleteTexture(edge);
    leaks.Check();
    const std::vector<uint16_t> four = {1, 2, 3, 4};
    EXPECT_EQ(ForEachAllocationFailure<E3DTexture>([&] { return CreateTextureFromPixels(four.data(), 2, 2, 4); },
                                                   [](E3DTexture *x) { DeleteTexture(x); }),
              2)
        << "the record and the pixels";
}
