// Texture-mapped fillers against the slow model, perspective accuracy, the
// stated edge cases and robustness against wild input.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <memory>
#include <ostream>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "engine3d.h"
#include "pipeline/dispatch.h"
#include "raster/gouraud_solid.h"
#include "raster/pixel.h"
#include "raster/raster.h"
#include "raster/texture_fill.h"
#include "support/memory_check.h"
#include "support/raster_model.h"
#include "support/stage.h"
#include "support/texture_model.h"

using namespace e3d;
using namespace e3dtest;

namespace {

// A texture record over test-owned pixels, optionally with a row pitch wider
// than the width.
struct OwnedTexture {
    E3DTexture record{};
    std::vector<uint16_t> pixels;
    OwnedTexture(int w, int h, int pitchPixels, std::mt19937 &rng, int keyPercent) {
        pixels.resize(size_t(pitchPixels) * h);
        for (auto &p : pixels) p = uint16_t(int(rng() % 100) < keyPercent ? 0x8000 : rng() & 0x7FFF);
        record.pixels = pixels.data();
        record.width = record.width2 = w;
        record.height = record.height2 = h;
        record.pitch = 2 * pitchPixels;
    }
};

struct Member {
    const char *name;
    TextureLighting lighting;
    TextureMapKind map;
    bool depth;
    int rounds;  // the specified members get the most
};

const Member kMembers[] = {
    {"FlatDiffuseTriangle", kTextureFlat, kDiffuseMap, false, 3000},
    {"FlatDiffuseTriangleZ", kTextureFlat, kDiffuseMap, true, 3000},
    {"FlatOpacityTriangle", kTextureFlat, kOpacityMap, false, 3000},
    {"FlatEnvironmentTriangle", kTextureFlat, kEnvironmentMap, false, 3000},
    {"NoneDiffuseTriangle", kTextureUnlit, kDiffuseMap, false, 3000},
    {"NoneDiffuseTriangleZ", kTextureUnlit, kDiffuseMap, true, 800},
    {"FlatOpacityTriangleZ", kTextureFlat, kOpacityMap, true, 800},
    {"FlatEnvironmentTriangleZ", kTextureFlat, kEnvironmentMap, true, 800},
    {"NoneOpacityTriangle", kTextureUnlit, kOpacityMap, false, 800},
    {"NoneOpacityTriangleZ", kTextureUnlit, kOpacityMap, true, 800},
    {"NoneEnvironmentTriangle", kTextureUnlit, kEnvironmentMap, false, 800},
    {"NoneEnvironmentTriangleZ", kTextureUnlit, kEnvironmentMap, true, 800},
    {"GouraudDiffuseTriangle", kTextureGouraud, kDiffuseMap, false, 800},
    {"GouraudDiffuseTriangleZ", kTextureGouraud, kDiffuseMap, true, 800},
    {"GouraudOpacityTriangle", kTextureGouraud, kOpacityMap, false, 800},
    {"GouraudOpacityTriangleZ", kTextureGouraud, kOpacityMap, true, 800},
    {"GouraudEnvironmentTriangle", kTextureGouraud, kEnvironmentMap, false, 800},
    {"GouraudEnvironmentTriangleZ", kTextureGouraud, kEnvironmentMap, true, 800},
};

void PrintTo(const Member &m, std::ostream *os) { *os << m.name; }

class TextureFiller : public ::testing::Test {
protected:
    void SetUp() override { InitEngine3D(); }
    void TearDown() override { ReleaseEngine3D(); }
};

class MemberVersusModel : public ::testing::TestWithParam<Member> {
protected:
    void SetUp() override { InitEngine3D(); }
    void TearDown() override { ReleaseEngine3D(); }
};

// One textured triangle: corners, polygon, both materials.
struct TexturedTriangle {
    E3DVertex v[3]{};
    E3DPolygon p{};
    E3DMaterial front{}, back{};
    TexturedTriangle() {
        for (int i = 0; i < 3; ++i) p.vertex[i] = i;
        p.material = &front;
        p.backMaterial = &back;
    }
    // Corner i at screen (x, y) with reciprocal depth z and texel (u, v) on
    // the coordinate pair the map reads.
    void Corner(int i, float x, float y, float z, float u, float tv, int pair) {
        v[i].screenX = x;
        v[i].screenY = y;
        v[i].invDepth = z;
        p.coords[i][pair] = u * z;
        p.coords[i][pair + 1] = tv * z;
    }
};

}  // namespace

TEST_P(MemberVersusModel, BitForBitOnRandomTriangles) {
    const Member member = GetParam();
    std::mt19937 rng(1234 + unsigned(member.lighting) * 7 + unsigned(member.map) * 3 + member.depth);
    // Sizes from 1 x 1 to 1024 x 1024, square and not, powers of two and
    // not; the last two have rows wider than the texture.
    struct Size {
        int w, h, pitch;
    };
    const Size sizes[] = {{1, 1, 1},     {2, 2, 2},     {1, 16, 1},    {16, 1, 16},   {8, 4, 8},
                          {64, 32, 64},  {32, 128, 32}, {256, 256, 256}, {1024, 1024, 1024},
                          {1024, 2, 1024}, {3, 5, 3},   {48, 64, 48},  {100, 37, 100}, {1000, 3, 1000},
                          {7, 1, 7},     {1, 9, 1},     {20, 12, 27},  {5, 33, 8}};
    std::vector<std::unique_ptr<OwnedTexture>> textures;
    for (const Size &s : sizes) textures.push_back(std::make_unique<OwnedTexture>(s.w, s.h, s.pitch, rng, 12));

    constexpr int W = 64, H = 48, P = 70;
    const uint16_t levels[] = {0, 1, 128, 254, 255};
    std::uniform_real_distribution<float> sx(0.0f, float(W)), sy(0.0f, float(H)), unit(0.0f, 1.0f);
    TextureModel model;
    model.lighting = member.lighting;
    model.map = member.map;
    model.depthPass = member.depth;
    for (int round = 0; round < member.rounds; ++round) {
        const int which = int(rng() % textures.size());
        OwnedTexture &tex = *textures[which];
        TexturedTriangle t;
        const bool back = rng() & 1;
        t.p.flags = back ? 0x80u : 0u;
        E3DMaterial &side = back ? t.back : t.front;
        SetMaterialTexture(&side, uint32_t(member.map), &tex.record, 0);
        const bool tiled = (side.layers[member.map].mode & 0x40000000u) != 0;
        side.alphaMode = uint16_t(rng() % 4);
        side.alphaLevel = levels[rng() % 5];
        t.p.color = rng() & 0xFFFFFF;
        t.p.color1 = rng() & 0xFFFFFF;
        t.p.color2 = rng() & 0xFFFFFF;
        const int pair = member.map == kEnvironmentMap ? 2 : 0;
        // Steep perspective now and then: corner depths a hundred apart.
        const float zRange = rng() % 3 == 0 ? 0.99f : 0.3f;
        for (int i = 0; i < 3; ++i) {
            const float z = 1.0f - zRange * unit(rng);
            // Row-length textures get coordinates inside the texture, as the
            // dispatch keeps them; power-of-two ones tile.
            const float spanU = tiled ? 6.0f * float(tex.record.width) : float(tex.record.width - 1);
            const float spanV = tiled ? 6.0f * float(tex.record.height) : float(tex.record.height - 1);
            const float u = tiled ? spanU * (unit(rng) - 0.5f) : spanU * unit(rng);
            const float v = tiled ? spanV * (unit(rng) - 0.5f) : spanV * unit(rng);
            t.Corner(i, sx(rng), sy(rng), z, u, v, pair);
        }
        std::vector<uint16_t> frame(size_t(P) * H);
        std::vector<int32_t> depth(size_t(P) * H);
        for (auto &px : frame) px = uint16_t(rng() & 0x7FFF);
        for (auto &d : depth) d = int32_t(rng() % 0x40000000u);
        std::vector<uint16_t> expectFrame = frame;
        std::vector<int32_t> expectDepth = depth;

        model.uMask = g_textureMasks.u;
        model.vMask = g_textureMasks.v;
        model.Draw(t.p, t.v, expectFrame.data(), member.depth ? expectDepth.data() : nullptr, P);
        TextureFill(&t.p, t.v, RasterTarget{frame.data(), depth.data(), P, W, H}, member.lighting, member.map,
                    member.depth);
        ASSERT_EQ(g_textureMasks.u, model.uMask);
        ASSERT_EQ(g_textureMasks.v, model.vMask);
        for (size_t i = 0; i < frame.size(); ++i) {
            ASSERT_EQ(frame[i], expectFrame[i]) << member.name << " round " << round << " pixel " << i % P << ","
                                                << i / P << " texture " << which << " blend " << side.alphaMode
                                                << " level " << side.alphaLevel;
            ASSERT_EQ(depth[i], expectDepth[i]) << member.name << " round " << round << " pixel " << i;
        }
    }
    EXPECT_EQ(model.clampedFetches, 0) << "in-range coordinates stay inside the texture";
    const std::set<int> lengths(model.spanLengths.begin(), model.spanLengths.end());
    for (int n : {1, 2, 15, 16, 17, 31, 32, 33}) EXPECT_TRUE(lengths.count(n)) << "span length " << n;
    EXPECT_GT(model.spanLengths.size(), size_t(member.rounds) * 5);
}

INSTANTIATE_TEST_SUITE_P(TextureFill, MemberVersusModel, ::testing::ValuesIn(kMembers),
                         [](const ::testing::TestParamInfo<Member> &info) { return std::string(info.param.name); });

namespace {

// Unlit replace of a texture whose texels name their own coordinates
// (v << 7 | u, 128 x 256): the frame shows which texel each pixel fetched.
struct CoordinateTexture {
    E3DTexture record{};
    std::vector<uint16_t> pixels = std::vector<uint16_t>(128 * 256);
    CoordinateTexture() {
        for (int v = 0; v < 256; ++v)
            for (int u = 0; u < 128; ++u) pixels[size_t(v) * 128 + u] = uint16_t(v << 7 | u);
        record.pixels = pixels.data();
        record.width = record.width2 = 128;
        record.height = record.height2 = 256;
        record.pitch = 256;
    }
};

}  // namespace

TEST_F(TextureFiller, SteepPerspectiveFetchesWithinOneTexelOfTheExactCoordinate) {
    // A floor seen from one unit above: view-space corners on y = -1, from
    // one to a hundred units deep, projected with focal 320 onto 640 x 480.
    CoordinateTexture tex;
    constexpr int W = 640, H = 480;
    const double world[3][2] = {{-3.0, 1.0}, {0.0, 100.0}, {3.0, 1.0}};  // x, depth
    const double texel[3][2] = {{0.0, 0.0}, {64.0, 255.0}, {127.0, 0.0}};
    int checked = 0;
    for (bool depthPass : {false, true}) {
        for (bool rowLength : {false, true}) {
            TexturedTriangle t;
            t.p.flags = 0x80;
            SetMaterialTexture(&t.back, 0, &tex.record, 0);
            if (rowLength) {  // the same texels through the row-length form
                t.back.layers[0].mode &= ~0x40000000u;
                t.back.layers[0].shift = 128;
            }
            double sxy[3][2], w[3];
            for (int i = 0; i < 3; ++i) {
                w[i] = 1.0 / world[i][1];
                sxy[i][0] = 320.0 + world[i][0] * 320.0 * w[i];
                sxy[i][1] = 240.0 + 1.0 * 320.0 * w[i] - 0.5;
                t.Corner(i, float(sxy[i][0]), float(sxy[i][1]), float(w[i]), float(texel[i][0]), float(texel[i][1]),
                         0);
            }
            std::vector<uint16_t> frame(size_t(W) * H, 0x8000);
            std::vector<int32_t> depth(size_t(W) * H, 0);
            TextureFill(&t.p, t.v, RasterTarget{frame.data(), depth.data(), W, W, H}, kTextureUnlit, kDiffuseMap,
                        depthPass);
            // The exact coordinate at a pixel centre: the planes of 1/z, u/z
            // and v/z through the corners, in double, then one division.
            auto plane = [&](const double q[3]) {
                const double x0 = sxy[0][0], y0 = sxy[0][1], x1 = sxy[1][0], y1 = sxy[1][1], x2 = sxy[2][0],
                             y2 = sxy[2][1];
                const double det = (x1 - x0) * (y2 - y0) - (x2 - x0) * (y1 - y0);
                const double a = ((q[1] - q[0]) * (y2 - y0) - (q[2] - q[0]) * (y1 - y0)) / det;
                const double b = ((q[2] - q[0]) * (x1 - x0) - (q[1] - q[0]) * (x2 - x0)) / det;
                return std::array<double, 3>{a, b, q[0] - a * x0 - b * y0};
            };
            const double qz[3] = {w[0], w[1], w[2]};
            const double qu[3] = {texel[0][0] * w[0], texel[1][0] * w[1], texel[2][0] * w[2]};
            const double qv[3] = {texel[0][1] * w[0], texel[1][1] * w[1], texel[2][1] * w[2]};
            const auto pz = plane(qz), pu = plane(qu), pv = plane(qv);
            int drawn = 0;
            for (int y = 0; y < H; ++y) {
                for (int x = 0; x < W; ++x) {
                    const uint16_t got = frame[size_t(y) * W + x];
                    if (got == 0x8000) continue;
                    ++drawn;
                    const double z = pz[0] * x + pz[1] * y + pz[2];
                    const double u = (pu[0] * x + pu[1] * y + pu[2]) / z;
                    const double v = (pv[0] * x + pv[1] * y + pv[2]) / z;
                    const int fu = got & 127, fv = got >> 7;
                    ASSERT_LE(std::fabs(fu - std::floor(u)), 1.0) << x << "," << y << " u " << u << " got " << fu;
                    ASSERT_LE(std::fabs(fv - std::floor(v)), 1.0) << x << "," << y << " v " << v << " got " << fv;
                }
            }
            EXPECT_GT(drawn, 50000) << "the floor covers a large part of the screen";
            checked += drawn;
        }
    }
    EXPECT_GT(checked, 200000);
}

TEST_F(TextureFiller, StatedCasesOfLightingMasksKeysAndLevels) {
    // White light draws a texel channel of 31 as 30; the unlit filler keeps it.
    std::mt19937 rng(5);
    OwnedTexture white(4, 4, 4, rng, 0);
    for (auto &p : white.pixels) p = 0x7FFF;
    TexturedTriangle t;
    t.p.flags = 0x80;
    t.p.color = 0xFFFFFF;
    SetMaterialTexture(&t.back, 0, &white.record, 0);
    t.Corner(0, 0, 0, 0.5f, 0, 0, 0);
    t.Corner(1, 8, 0, 0.5f, 3, 0, 0);
    t.Corner(2, 0, 8, 0.5f, 0, 3, 0);
    Canvas lit(8, 8), unlit(8, 8);
    TextureFill(&t.p, t.v, lit.Target(), kTextureFlat, kDiffuseMap, false);
    TextureFill(&t.p, t.v, unlit.Target(), kTextureUnlit, kDiffuseMap, false);
    EXPECT_EQ(lit.At(0, 0), 30 << 10 | 30 << 5 | 30);
    EXPECT_EQ(unlit.At(0, 0), 0x7FFF);

    // A 64 x 32 power-of-two texture sets the masks; a later row-length
    // texture leaves them as they are.
    OwnedTexture pow2(64, 32, 64, rng, 0), odd(48, 20, 48, rng, 0);
    g_textureMasks = {127, 127};
    SetMaterialTexture(&t.back, 0, &pow2.record, 0);
    TextureFill(&t.p, t.v, lit.Target(), kTextureFlat, kDiffuseMap, true);
    EXPECT_EQ(g_textureMasks.u, 63u);
    EXPECT_EQ(g_textureMasks.v, 31u);
    SetMaterialTexture(&t.back, 0, &odd.record, 0);
    TextureFill(&t.p, t.v, lit.Target(), kTextureFlat, kDiffuseMap, true);
    EXPECT_EQ(g_textureMasks.u, 63u);
    EXPECT_EQ(g_textureMasks.v, 31u);

    // Opacity level 0 draws nothing and stores no masks; 255 replaces.
    g_textureMasks = {127, 127};
    SetMaterialTexture(&t.back, 0, &pow2.record, 0);
    for (auto &p : pow2.pixels) p = 0x7FFF;
    t.back.alphaMode = 2;
    t.back.alphaLevel = 0;
    Canvas c(8, 8);
    TextureFill(&t.p, t.v, c.Target(), kTextureUnlit, kDiffuseMap, true);
    EXPECT_TRUE(Written(c).empty());
    EXPECT_EQ(g_textureMasks.u, 127u);
    t.back.alphaLevel = 255;
    TextureFill(&t.p, t.v, c.Target(), kTextureUnlit, kDiffuseMap, true);
    EXPECT_EQ(c.At(1, 1), 0x7FFF);
    EXPECT_NE(c.depth[1 * 8 + 1], 0) << "level 255 is replace and writes depth";

    // The colour key leaves the frame and the depth buffer alone.
    Canvas keyed(8, 8);
    for (auto &p : pow2.pixels) p = kKeyPixel;
    t.back.alphaMode = 0;
    SetMaterialTexture(&t.back, 1, &pow2.record, 0);
    t.back.layers[0] = E3DTextureLayer{};
    TextureFill(&t.p, t.v, keyed.Target(), kTextureFlat, kOpacityMap, true);
    EXPECT_TRUE(Written(keyed).empty());
    EXPECT_EQ(keyed.depth[9], 0);
    // The diffuse filler has no key: the same texels draw (lit to black).
    SetMaterialTexture(&t.back, 0, &pow2.record, 0);
    TextureFill(&t.p, t.v, keyed.Target(), kTextureFlat, kDiffuseMap, true);
    EXPECT_EQ(keyed.At(1, 1), 0);
}

TEST_F(TextureFiller, UnlitOpacityWeightsTheFrameByTheLevel) {
    // Level 64 of white over black: the lit family keeps 64/256 of the
    // texel, the unlit family 191/256 of it (the level weights the frame).
    std::mt19937 rng(9);
    OwnedTexture white(2, 2, 2, rng, 0);
    for (auto &p : white.pixels) p = 0x7FFF;
    TexturedTriangle t;
    t.p.flags = 0x80;
    t.p.color = 0xFFFFFF;
    SetMaterialTexture(&t.back, 0, &white.record, 0);
    t.back.alphaMode = 2;
    t.back.alphaLevel = 64;
    t.Corner(0, 0, 0, 0.5f, 0, 0, 0);
    t.Corner(1, 8, 0, 0.5f, 1, 0, 0);
    t.Corner(2, 0, 8, 0.5f, 0, 1, 0);
    Canvas lit(8, 8), unlit(8, 8);
    for (Canvas *c : {&lit, &unlit})
        for (auto &p : c->frame) p = 0;
    TextureFill(&t.p, t.v, lit.Target(), kTextureFlat, kDiffuseMap, false);
    TextureFill(&t.p, t.v, unlit.Target(), kTextureUnlit, kDiffuseMap, false);
    const uint32_t litChannel = (64 * 30) >> 8, unlitChannel = (191 * 31) >> 8;
    EXPECT_EQ(lit.At(0, 0), litChannel << 10 | litChannel << 5 | litChannel);
    EXPECT_EQ(unlit.At(0, 0), unlitChannel << 10 | unlitChannel << 5 | unlitChannel);
}

TEST_F(TextureFiller, BitmapLayersReadThroughTheTextureRecordOffset) {
    // Layer mode bit 1: the pixels come from the texture record, plus its
    // byte offset word with the lowest bit cleared.
    std::mt19937 rng(11);
    OwnedTexture tex(8, 8, 8, rng, 0);
    tex.pixels.resize(9 * 8);  // one row more behind the 8 x 8 block the layer addresses
    tex.record.pixels = tex.pixels.data();
    for (size_t i = 0; i < tex.pixels.size(); ++i) tex.pixels[i] = uint16_t(i);
    TexturedTriangle t;
    t.p.flags = 0x80;
    SetMaterialTexture(&t.back, 0, &tex.record, 0);
    t.back.layers[0].mode |= 2u;
    t.back.layers[0].pixels = nullptr;  // not read in this form
    tex.record.reserved2[4] = 2 * 8 + 1;  // one row in, odd bit ignored
    t.Corner(0, 0, 0, 1.0f, 0, 0, 0);
    t.Corner(1, 16, 0, 1.0f, 16, 0, 0);
    t.Corner(2, 0, 16, 1.0f, 0, 16, 0);
    Canvas c(16, 16);
    TextureFill(&t.p, t.v, c.Target(), kTextureUnlit, kDiffuseMap, false);
    EXPECT_EQ(c.At(0, 0), 8);      // texel (0, 0) of the offset block
    EXPECT_EQ(c.At(3, 2), 3 * 8 + 3);  // (3, 2) of the offset block
}

TEST_F(TextureFiller, WildInputReadsOnlyTheTextureAndWritesOnlyTheBuffers) {
    // The texture sits inside a guard band of a colour it never uses; the
    // unlit replace filler would show any texel read from the band.
    constexpr uint16_t kGuard = 0x7C1F;
    const float specials[] = {NAN, INFINITY, -INFINITY, 1e30f, -1e30f, 1e9f, -3.0f, 0.5f, 40.0f, 0.0f};
    std::mt19937 rng(13);
    struct Size {
        int w, h;
    };
    for (const Size size : {Size{16, 8}, Size{5, 7}, Size{1, 1}}) {
        const int guard = 64;
        std::vector<uint16_t> block(size_t(size.w * size.h + 2 * guard), kGuard);
        for (int i = 0; i < size.w * size.h; ++i) block[size_t(guard + i)] = uint16_t(rng() % 0x7C00);
        E3DTexture rec{};
        rec.pixels = block.data() + guard;
        rec.width = rec.width2 = size.w;
        rec.height = rec.height2 = size.h;
        rec.pitch = 2 * size.w;
        for (int round = 0; round < 1500; ++round) {
            TexturedTriangle t;
            t.p.flags = rng() & 1 ? 0x80u : 0u;
            SetMaterialTexture(&t.front, 0, &rec, 0);
            SetMaterialTexture(&t.back, 0, &rec, 0);
            for (int i = 0; i < 3; ++i) {
                t.v[i].screenX = rng() % 3 ? float(rng() % 24) : specials[rng() % 10];
                t.v[i].screenY = rng() % 3 ? float(rng() % 24) : specials[rng() % 10];
                t.v[i].invDepth = rng() % 3 ? 0.5f : specials[rng() % 10];
                for (int k = 0; k < 2; ++k) t.p.coords[i][k] = specials[rng() % 10];
            }
            Canvas c(16, 16, 20);
            TextureFill(&t.p, t.v, c.Target(), kTextureUnlit, kDiffuseMap, round & 1);
            for (int y = 0; y < 16; ++y) {
                for (int x = 0; x < 20; ++x) {
                    if (x >= 16) {
                        ASSERT_EQ(c.At(x, y), kUntouched) << "wrote past the width";
                    }
                    ASSERT_NE(c.At(x, y), kGuard) << "read outside the texture, round " << round;
                }
            }
        }
    }
}

TEST(TextureFillerTable, EveryMappedCombinationHasItsFiller) {
    struct Row {
        uint32_t shading, drawMode;
        TriangleFillerRoutine sorted, depth;
    };
    const Row rows[] = {
        {1, 15, NoneDiffuseTriangle, NoneDiffuseTriangleZ},
        {1, 23, NoneOpacityTriangle, NoneOpacityTriangleZ},
        {1, 39, NoneEnvironmentTriangle, NoneEnvironmentTriangleZ},
        {3, 15, FlatDiffuseTriangle, FlatDiffuseTriangleZ},
        {3, 23, FlatOpacityTriangle, FlatOpacityTriangleZ},
        {3, 39, FlatEnvironmentTriangle, FlatEnvironmentTriangleZ},
        {7, 15, GouraudDiffuseTriangle, GouraudDiffuseTriangleZ},
        {7, 23, GouraudOpacityTriangle, GouraudOpacityTriangleZ},
        {7, 39, GouraudEnvironmentTriangle, GouraudEnvironmentTriangleZ},
    };
    for (const Row &r : rows) {
        const uint32_t mode = r.drawMode << 20 | r.shading;
        EXPECT_EQ(FillerTable[r.shading][SortedPassFillerIndex(mode)], r.sorted) << r.shading << " " << r.drawMode;
        EXPECT_EQ(FillerTable[r.shading][DepthPassFillerIndex(mode)], r.depth) << r.shading << " " << r.drawMode;
    }
    // Two maps at once still select nothing.
    EXPECT_EQ(FillerTable[3][DepthPassFillerIndex(0x3F00003)], EmptyFiller);
}

namespace {

// A square of half-size h at depth z facing the camera, texture coordinates
// (0, 0) .. (1, 1), unlit, drawn with the given map.
E3DMesh *TexturedSquare(float h, float z, E3DTexture *texture, uint32_t layer) {
    E3DMesh *m = CreateMesh(4, 2, 0xFFFFFF);
    SetMeshVertex(m, 0, -h, h, z);
    SetMeshVertex(m, 1, h, h, z);
    SetMeshVertex(m, 2, h, -h, z);
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
        e3dtest::Stage s(depth);
        E3DTexture *checker = CreateCheckerTexture(16, 16, 2, 0x001F, 0x7C00);
        E3DMesh *m = TexturedSquare(1.0f, 6.0f, checker, 0);
        AssignMeshToScene(s.scene, m, 0);
        DrawScene(s.scene);
        int blue = 0, red = 0, other = 0;
        for (int y = 0; y < e3dtest::kH; ++y) {
            for (int x = 0; x < e3dtest::kW; ++x) {
                const uint16_t p = s.At(x, y);
                blue += p == 0x001F;
                red += p == 0x7C00;
                other += p != 0x001F && p != 0x7C00 && p != e3dtest::kBackground;
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
    e3dtest::Stage s(true);
    E3DTexture *env = CreateCheckerTexture(32, 16, 2, 1, 2);
    E3DMesh *m = TexturedSquare(1.0f, 6.0f, env, 2);
    AssignMeshToScene(s.scene, m, 0);
    DrawScene(s.scene);
    for (float x : {0.0f, 2.8f}) {  // inside, then across the right edge
        SetMeshModelPosition(m, x, 0, 0);
        DrawScene(s.scene);
        g_seen.clear();
        E3DSortEntry entry{0, m, &m->polygons[0], 0x2700001};
        e3d::DispatchPolygon(&entry, Keep);
        ASSERT_FALSE(g_seen.empty());
        const E3DPolygon &raw = m->polygons[0];
        for (const E3DPolygon &p : g_seen) {
            for (int j = 0; j < 3; ++j) {
                // A square facing the eye: environment pair (0, 0) before
                // preparation, so every corner shows the middle of the map.
                const float w = p.coords[j][2] / (0.5f * 31.0f);
                EXPECT_NEAR(p.coords[j][3], 0.5f * 15.0f * w, 1e-4f);
                EXPECT_GT(w, 0.0f);
            }
            if (x == 0.0f) {
                for (int j = 0; j < 3; ++j) EXPECT_EQ(p.coords[j][0], raw.coords[j][0]) << "u, v untouched";
            }
        }
    }
    DeleteTexture(env);
}

TEST(TextureFromPixels, CopiesPackedRowsAndRefusesWhatTheFillersCannotAddress) {
    e3dtest::LeakCheck leaks;
    // 3 x 2 texels in rows 5 texels apart; the padding must not be copied.
    std::vector<uint16_t> host = {1, 2, 0x8000, 99, 99, 4, 5, 6, 99, 99};
    E3DTexture *t = CreateTextureFromPixels(host.data(), 3, 2, 10);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->width, 3);
    EXPECT_EQ(t->height, 2);
    EXPECT_EQ(t->width2, 3);
    EXPECT_EQ(t->height2, 2);
    EXPECT_EQ(t->pitch, 6);
    EXPECT_NE(t->pixels, host.data());
    host[0] = 77;  // a copy: later changes of the host's pixels do not show
    EXPECT_EQ(std::vector<uint16_t>(t->pixels, t->pixels + 6), (std::vector<uint16_t>{1, 2, 0x8000, 4, 5, 6}));
    DeleteTexture(t);

    EXPECT_EQ(CreateTextureFromPixels(nullptr, 2, 2, 4), nullptr);
    EXPECT_EQ(CreateTextureFromPixels(host.data(), 0, 2, 4), nullptr);
    EXPECT_EQ(CreateTextureFromPixels(host.data(), 2, -1, 4), nullptr);
    EXPECT_EQ(CreateTextureFromPixels(host.data(), 3, 2, 5), nullptr) << "rows would overlap";
    EXPECT_EQ(CreateTextureFromPixels(host.data(), 32769, 1, 65538), nullptr);
    EXPECT_EQ(CreateTextureFromPixels(host.data(), 1, 32769, 2), nullptr);
    // The largest side the fillers address is accepted.
    std::vector<uint16_t> wide(32768, 3);
    E3DTexture *edge = CreateTextureFromPixels(wide.data(), 32768, 1, 65536);
    ASSERT_NE(edge, nullptr);
    EXPECT_EQ(edge->pixels[32767], 3);
    DeleteTexture(edge);
    leaks.Check();

    const std::vector<uint16_t> four = {1, 2, 3, 4};
    const int points = e3dtest::ForEachAllocationFailure<E3DTexture>(
        [&] { return CreateTextureFromPixels(four.data(), 2, 2, 4); }, [](E3DTexture *x) { DeleteTexture(x); });
    EXPECT_EQ(points, 2) << "the record and the pixels";
}

TEST_F(TextureFiller, TexturesFromPixelsDrawInEveryLayer) {
    // A 2 x 2 texture with a key texel, through each map's layer: the unlit
    // fillers show the texels, and only the opacity map leaves a hole.
    const uint16_t texels[4] = {0x0011, 0x8000, 0x0033, 0x0044};
    E3DTexture *tex = CreateTextureFromPixels(texels, 2, 2, 4);
    ASSERT_NE(tex, nullptr);
    for (TextureMapKind map : {kDiffuseMap, kOpacityMap, kEnvironmentMap}) {
        TexturedTriangle t;
        t.p.flags = 0x80;
        ASSERT_EQ(SetMaterialTexture(&t.back, uint32_t(map), tex, 0), 1);
        const int pair = map == kEnvironmentMap ? 2 : 0;
        // Texel (u, v) = (x / 8, y / 8) over a 16-pixel triangle.
        t.Corner(0, 0, 0, 1.0f, 0, 0, pair);
        t.Corner(1, 32, 0, 1.0f, 4, 0, pair);
        t.Corner(2, 0, 32, 1.0f, 0, 4, pair);
        Canvas c(16, 16);
        TextureFill(&t.p, t.v, c.Target(), kTextureUnlit, map, false);
        EXPECT_EQ(c.At(1, 1), 0x0011) << map;
        EXPECT_EQ(c.At(1, 9), 0x0033) << map;
        EXPECT_EQ(c.At(9, 1), map == kOpacityMap ? kUntouched : 0x8000) << map;
    }
    DeleteTexture(tex);
}

TEST_F(TextureFiller, GouraudTexelsDitherLikeTheSolidGouraudFillers) {
    // A white texel under one constant corner colour is the dithered colour
    // itself, less ScaleTable's darkening: level l draws (l * 31) >> 5.
    const uint16_t white = 0x7FFF;
    E3DTexture *tex = CreateTextureFromPixels(&white, 1, 1, 2);
    for (uint32_t value : {0u, 4u, 100u, 247u, 248u, 255u}) {
        TexturedTriangle t;
        t.p.flags = 0x80;
        t.p.color = t.p.color1 = t.p.color2 = value << 16 | value << 8 | value;
        SetMaterialTexture(&t.back, 0, tex, 0);
        t.Corner(0, 0, 0, 1.0f, 0, 0, 0);
        t.Corner(1, 32, 0, 1.0f, 0, 0, 0);
        t.Corner(2, 0, 32, 1.0f, 0, 0, 0);
        Canvas c(8, 8);
        TextureFill(&t.p, t.v, c.Target(), kTextureGouraud, kDiffuseMap, true);
        for (int y = 0; y < 8; ++y) {
            for (int x = 0; x < 8; ++x) {
                const uint32_t level = Dither5(value, uint32_t(y & 3), uint32_t(x & 3));
                const uint32_t k = (level * 31) >> 5;
                ASSERT_EQ(c.At(x, y), k << 10 | k << 5 | k) << value << " at " << x << "," << y;
            }
        }
    }
    DeleteTexture(tex);
}

// The SSE2 replace writers against the scalar reference templates they were
// made from: big random triangles (long spans at every alignment, clipped
// at the target's edges), depth rows that half the pixels pass, keyed and
// full 16-bit texels, every family, map, pass, blend type and both forms.
TEST_F(TextureFiller, VectorWritersMatchTheScalarReference) {
    std::mt19937 rng(77);
    constexpr int W = 300, H = 160, P = 307;
    OwnedTexture pow2(256, 64, 256, rng, 10), odd(100, 70, 103, rng, 10);
    for (auto &px : pow2.pixels) px = rng() % 16 == 0 ? uint16_t(rng()) : px;
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    int compared = 0, drawn = 0, depthDrawn = 0;
    for (int lighting = 0; lighting < 3; ++lighting) {
        for (int map = 0; map < 3; ++map) {
            for (bool depthPass : {false, true}) {
                for (int round = 0; round < 40; ++round) {
                    const bool tiled = round % 2 == 0;
                    OwnedTexture &tex = tiled ? pow2 : odd;
                    TexturedTriangle t;
                    t.p.flags = rng() & 1 ? 0x80u : 0u;
                    E3DMaterial &side = t.p.flags ? t.back : t.front;
                    SetMaterialTexture(&side, uint32_t(map), &tex.record, 0);
                    side.alphaMode = uint16_t(round % 8 < 5 ? 0 : rng() % 4);
                    side.alphaLevel = uint16_t(rng() % 256);
                    t.p.color = rng() & 0xFFFFFF;
                    t.p.color1 = rng() & 0xFFFFFF;
                    t.p.color2 = rng() & 0xFFFFFF;
                    const float zRange = round % 3 == 0 ? 0.95f : 0.4f;
                    float xy[3][2];
                    for (auto &c : xy) c[0] = -40.0f + (W + 80.0f) * unit(rng), c[1] = -20.0f + (H + 40.0f) * unit(rng);
                    // The winding the fillers draw, on either side.
                    const float cross = (xy[1][0] - xy[0][0]) * (xy[2][1] - xy[0][1]) -
                                        (xy[2][0] - xy[0][0]) * (xy[1][1] - xy[0][1]);
                    if ((cross > 0) != (t.p.flags != 0)) std::swap(xy[1], xy[2]);
                    for (int i = 0; i < 3; ++i) {
                        const float spanU = float(tex.record.width - 1), spanV = float(tex.record.height - 1);
                        const float u = tiled ? 5.0f * spanU * (unit(rng) - 0.5f) : spanU * unit(rng);
                        const float v = tiled ? 5.0f * spanV * (unit(rng) - 0.5f) : spanV * unit(rng);
                        t.Corner(i, xy[i][0], xy[i][1], 1.0f - zRange * unit(rng), u, v,
                                 map == kEnvironmentMap ? 2 : 0);
                    }
                    Canvas a(W, H, P);
                    for (auto &px : a.frame) px = uint16_t(rng());
                    // Depths around the triangle's so that about half pass.
                    for (auto &d : a.depth) d = int32_t(rng() % 0x40000000u) + (rng() % 2 ? 0x20000000 : 0);
                    Canvas b = a;
                    const std::vector<uint16_t> before = a.frame;
                    TextureFill(&t.p, t.v, a.Target(), TextureLighting(lighting), TextureMapKind(map), depthPass,
                                true);
                    TextureFill(&t.p, t.v, b.Target(), TextureLighting(lighting), TextureMapKind(map), depthPass,
                                false);
                    ASSERT_EQ(a.frame, b.frame) << "lighting " << lighting << " map " << map << " depth "
                                                << depthPass << " round " << round;
                    ASSERT_EQ(a.depth, b.depth) << "lighting " << lighting << " map " << map << " round " << round;
                    int changed = 0;
                    for (size_t i = 0; i < before.size(); ++i) changed += a.frame[i] != before[i];
                    drawn += changed;
                    depthDrawn += depthPass && changed > 0;
                    ++compared;
                }
            }
        }
    }
    EXPECT_EQ(compared, 720);
    EXPECT_GT(drawn, 720 * 2000);  // big triangles really drew
    EXPECT_GT(depthDrawn, 300);
}

// Flat lighting of every 16-bit texel under a spread of polygon colours:
// the vector writers' channel products must equal the ScaleTable rows the
// reference reads. The coordinate texture holds each 15-bit value once; a
// second pass sets bit 15 on all of them, which lighting ignores.
TEST_F(TextureFiller, VectorLightingEqualsTheScaleTableForEveryTexel) {
    CoordinateTexture tex;
    std::mt19937 rng(3);
    int colours = 0;
    for (int high = 0; high < 2; ++high) {
        for (auto &px : tex.pixels) px = uint16_t((px & 0x7FFF) | (high << 15));
        for (uint32_t level = 0; level < 32; ++level) {
            for (uint32_t colour : {level * 0x080808u, uint32_t(rng() & 0xFFFFFFu)}) {
                TexturedTriangle t;
                t.p.flags = 0x80;
                t.p.color = colour;
                SetMaterialTexture(&t.back, 0, &tex.record, 0);
                // Texel (x, y) at pixel (x, y): a 128 x 256 rectangle at one
                // depth, as two triangles sharing the diagonal.
                Canvas a(128, 256), b(128, 256);
                const float quad[2][3][2] = {{{0, 0}, {128, 0}, {0, 256}}, {{128, 0}, {128, 256}, {0, 256}}};
                for (const auto &tri : quad) {
                    for (int i = 0; i < 3; ++i) t.Corner(i, tri[i][0], tri[i][1], 1.0f, tri[i][0], tri[i][1], 0);
                    TextureFill(&t.p, t.v, a.Target(), kTextureFlat, kDiffuseMap, true, true);
                    TextureFill(&t.p, t.v, b.Target(), kTextureFlat, kDiffuseMap, true, false);
                }
                for (int y = 0; y < 256; ++y) {
                    for (int x = 0; x < 128; ++x) {
                        const uint16_t texel = tex.pixels[size_t(y) * 128 + x];
                        ASSERT_EQ(a.At(x, y), b.At(x, y)) << std::hex << "colour " << colour << " texel " << texel;
                        // And the table's own meaning, per channel.
                        const uint32_t r5 = (colour >> 19) & 31, g5 = (colour >> 11) & 31, b5 = (colour >> 3) & 31;
                        const uint32_t expect = ((r5 * ((texel >> 10) & 31)) >> 5) << 10 |
                                                ((g5 * ((texel >> 5) & 31)) >> 5) << 5 | (b5 * (texel & 31)) >> 5;
                        ASSERT_EQ(b.At(x, y), expect) << std::hex << "colour " << colour << " texel " << texel;
                    }
                }
                ++colours;
            }
        }
    }
    EXPECT_EQ(colours, 128);
}
