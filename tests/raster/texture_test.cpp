// Texture-mapped fillers against the slow model, their vector writers against
// the scalar ones, and textures drawn through the whole pipeline.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <set>

#include "pipeline/dispatch.h"
#include "raster/texture_fill.h"
#include "support/memory_check.h"
#include "support/stage.h"
#include "support/texture_model.h"

using namespace e3d;
using namespace e3dtest;

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
            r.pixels = texels[i].data(), r.width = r.width2 = sizes[i][0], r.height = r.height2 = sizes[i][1];
            r.pitch = 2 * sizes[i][2];
        }
    }
};

// Either side, any blend, steep perspective now and then; power-of-two
// textures tile, row-length ones keep coordinates inside as the dispatch
// does; an eighth of the layers read through the record's byte offset.
void RandomTextured(std::mt19937 &rng, int round, Triangle &t, Textures &textures, int map, float w, float h, float margin) {
    E3DTexture &tex = textures.records[rng() % 18];
    t.p.flags = rng() & 1 ? 0x80u : 0u;
    t.depthPass = rng() & 1;
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
}

}  // namespace

TEST(TextureFill, EveryMemberMatchesTheModelBitForBit) {
    InitEngine3D();
    const uint32_t shades[] = {1, 3, 7}, drawModes[] = {15, 23, 39};
    for (int lighting = 0; lighting < 3; ++lighting) {
        for (int map = 0; map < 3; ++map) {
            std::mt19937 rng(1234 + lighting * 7 + map * 3);
            Textures textures(rng);
            TextureModel model;
            model.lighting = lighting, model.map = map;
            const int rounds = lighting == 1 && map == 0 ? 4000 : 1200;
            const uint32_t mode = drawModes[map] << 20 | shades[lighting];
            AgainstModel(
                "texture", 99 + lighting * 3 + map, rounds, 64, 48,
                [&](auto &r, int round, Triangle &t) {
                    RandomTextured(r, round, t, textures, map, 64, 48, 0);
                    model.uMask = g_textureMasks.u, model.vMask = g_textureMasks.v;
                },
                [&](Triangle &t, Canvas &) { FillerTable[mode & 7][t.depthPass ? DepthPassFillerIndex(mode) : SortedPassFillerIndex(mode)](&t.p, t.v); },
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
    ReleaseEngine3D();
}

TEST(TextureFill, VectorWritersMatchTheScalarReference) {
    // Big triangles past every edge of a padded target: long spans at every
    // alignment, clipped, half their pixels behind the depth row.
    std::mt19937 rng(77);
    InitEngine3D();
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
    ReleaseEngine3D();
}

namespace {

// A square facing the camera at depth 6, texture coordinates (0, 0) .. (1, 1),
// unlit, the texture on the given layer.
E3DMesh *TexturedSquare(E3DTexture *texture, uint32_t layer) {
    E3DMesh *m = CreateMesh(4, 2, 0xFFFFFF);
    SetMeshVertex(m, 0, -1, 1, 6), SetMeshVertex(m, 1, 1, 1, 6), SetMeshVertex(m, 2, 1, -1, 6), SetMeshVertex(m, 3, -1, -1, 6);
    SetMeshQuadPolygon(m, 0, 0, 1, 2, 3, 0, 0);
    SetMeshQuadTexCoords(m, 0, 0, 0, 1, 0, 1, 1, 0, 1);
    m = ValidateMesh(m);
    SetMeshShadeMode(&m->node, 1), SetMeshRenderMode(&m->node, 0x7F00000);
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
        AssignMeshToScene(s.scene, TexturedSquare(checker, 0), 0);
        DrawScene(s.scene);
        std::map<uint16_t, int> seen;
        for (int y = 0; y < kH; ++y)
            for (int x = 0; x < kW; ++x) seen[s.At(x, y)] += 1;
        EXPECT_GT(seen[0x001F], 40) << "depth " << depth;
        EXPECT_GT(seen[0x7C00], 40) << "depth " << depth;
        EXPECT_EQ(seen.size(), 3u) << "and the background only";
        EXPECT_TRUE(s.GuardsIntact());
        DeleteTexture(checker);
    }
}

TEST(TexturedFrame, EnvironmentCoordinatesReachTheFillerOnTheSecondPair) {
    // The dispatch prepares the environment pair in place and leaves u, v;
    // clipped fans carry the prepared pair as well.
    Stage s(true);
    E3DTexture *env = CreateCheckerTexture(32, 16, 2, 1, 2);
    E3DMesh *m = TexturedSquare(env, 2);
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
                // Facing the eye the pair is (0, 0) before preparation: every
                // corner shows the middle of the map.
                const float w = p.coords[j][2] / (0.5f * 31.0f);
                EXPECT_NEAR(p.coords[j][3], 0.5f * 15.0f * w, 1e-4f);
                EXPECT_GT(w, 0.0f);
                EXPECT_TRUE(x != 0.0f || p.coords[j][0] == m->polygons[0].coords[j][0]) << "u, v untouched";
            }
        }
    }
    DeleteTexture(env);
}

TEST(TextureFromPixels, CopiesPackedRowsAndRefusesWhatTheFillersCannotAddress) {
    LeakCheck leaks;
    std::vector<uint16_t> host = {1, 2, 0x8000, 99, 99, 4, 5, 6, 99, 99};  // rows 5 texels apart
    E3DTexture *t = CreateTextureFromPixels(host.data(), 3, 2, 10);
    ASSERT_NE(t, nullptr);
    EXPECT_TRUE(t->width == 3 && t->height == 2 && t->width2 == 3 && t->height2 == 2 && t->pitch == 6);
    host[0] = 77;  // a copy, without the padding
    EXPECT_EQ(std::vector<uint16_t>(t->pixels, t->pixels + 6), (std::vector<uint16_t>{1, 2, 0x8000, 4, 5, 6}));
    DeleteTexture(t);
    for (auto [p, w, h, pitch] : {std::tuple{host.data(), 0, 2, 4}, {nullptr, 2, 2, 4}, {host.data(), 2, -1, 4},
                                  {host.data(), 3, 2, 5}, {host.data(), 32769, 1, 65538}, {host.data(), 1, 32769, 2}})
        EXPECT_EQ(CreateTextureFromPixels(p, w, h, pitch), nullptr) << w << " x " << h << " pitch " << pitch;
    std::vector<uint16_t> wide(32768, 3);  // the largest side the fillers address
    E3DTexture *edge = CreateTextureFromPixels(wide.data(), 32768, 1, 65536);
    ASSERT_NE(edge, nullptr);
    EXPECT_EQ(edge->pixels[32767], 3);
    DeleteTexture(edge);
    leaks.Check();
    EXPECT_EQ(ForEachAllocationFailure<E3DTexture>([&] { return CreateTextureFromPixels(wide.data(), 2, 2, 4); },
                                                   [](E3DTexture *x) { DeleteTexture(x); }), 2) << "the record and the pixels";
}
