// The fillers beyond the family models: wrapping depth steps, far corners,
// fans, near-plane cuts, wild input, the lookup tables, the exported entry
// points, DrawLine2D, environment coordinates from the dispatch and
// textures made from caller pixels.
#include <gtest/gtest.h>

#include <climits>
#include <limits>
#include <random>

#include "core/clip.h"
#include "pipeline/dispatch.h"
#include "raster/flat_solid.h"
#include "raster/gouraud_solid.h"
#include "raster/line.h"
#include "raster/raster_tables.h"
#include "raster/texture_fill.h"
#include "raster/wire.h"
#include "support/memory_check.h"
#include "support/raster_model.h"
#include "support/stage.h"

using namespace e3d;
using namespace e3dtest;

TEST(SolidFill, DepthStepsOfAQuarterRangeWrapAsThePerPixelSum) {
    // invDepth rising by 1 a pixel is a step of 2^30, whose sums wrap; spans
    // of every length meet every tail case of the vector writer.
    Canvas g(80, 70, true);
    std::fill_n(g.Depth(), 80 * 70, INT32_MIN);
    Triangle r(0, 0, 64, 0, 0, 64);
    r.p.color = 0x102030, r.p.color1 = 0xF0E0D0;
    r.Corner(0, 0, 0, 0.25f), r.Corner(1, 64, 0, 64.25f), r.Corner(2, 0, 64, 0.25f);
    GouraudSolidFill(&r.p, r.v, g.Target(), true);
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x + 1 < 64 - y; ++x) ASSERT_EQ(uint32_t(g.DepthAt(x + 1, y)) - uint32_t(g.DepthAt(x, y)), 1u << 30) << x << "," << y;
}

TEST(SolidFill, FarCornersKeepTheirInsidePixels) {
    // The same triangle into a small padded buffer and, shifted by 512 (a
    // multiple of the dither period; corners exact after it), into a large
    // one: the overlap agrees.
    std::mt19937 rng(23);
    std::uniform_real_distribution<float> far(-200.0f, 240.0f);
    Canvas small(40, 30, true, 0, 48), large(1024, 1024, true);
    std::vector<uint16_t> texels(64 * 64);
    std::generate(texels.begin(), texels.end(), [&] { return uint16_t(rng()); });
    E3DTexture tex{};
    tex.pixels = texels.data(), tex.width = tex.width2 = tex.height = tex.height2 = 64, tex.pitch = 128;
    int drawn = 0;
    for (int round = 0; round < 300; ++round) {
        Triangle a, b;
        for (int i = 0; i < 3; ++i) {
            const float x = std::round(far(rng) * 64) / 64, y = std::round(far(rng) * 64) / 64, z = 0.3f + 0.001f * float(rng() % 256), u = far(rng), v = far(rng);
            a.Corner(i, x, y, z, u, v), b.Corner(i, x + 512, y + 512, z, u, v);
        }
        a.p.flags = b.p.flags = rng() & 1 ? 0x80 : 0;
        a.p.color = b.p.color = rng() & 0xFFFFFF, a.p.color1 = b.p.color1 = rng() & 0xFFFFFF;
        a.Side().alphaMode = b.Side().alphaMode = rng() % 4, a.Side().alphaLevel = b.Side().alphaLevel = 100;
        SetMaterialTexture(&a.Side(), 0, &tex, 0), SetMaterialTexture(&b.Side(), 0, &tex, 0);
        const bool depth = rng() & 1;
        small.Clear(), large.Clear(), std::fill_n(small.Depth(), 48 * 30, 0), std::fill_n(large.Depth(), 1024 * 1024, 0);
        for (auto [t, c] : {std::pair{&a, &small}, std::pair{&b, &large}}) {
            if (round % 3 == 2) TextureFill(&t->p, t->v, c->Target(), TextureLighting(round / 3 % 3), kDiffuseMap, depth);
            else (round % 3 ? GouraudSolidFill : FlatSolidFill)(&t->p, t->v, c->Target(), depth);
        }
        for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 40; ++x) ASSERT_EQ(small.At(x, y), large.At(x + 512, y + 512)) << x << "," << y << " round " << round;
        ASSERT_TRUE(small.GuardsIntact());
        drawn += !small.Changed().empty();
    }
    EXPECT_GT(drawn, 60);
}

TEST(SolidFill, PainterFanMatchesItsTrianglesInTurn) {
    // Convex fans of 3 to 9 corners turning either way, some off the buffer,
    // some bent inward or with corners in line.
    E3DVertex corners[9]{};
    int count = 3;
    const int changed = AgainstModel(
        "fan", 91, 600, 64, 48,
        [&](std::mt19937 &rng, int trial, Triangle &t) {
            std::uniform_real_distribution<float> unit(0.0f, 1.0f);
            count = 3 + int(rng() % 7);
            const float cx = unit(rng) * 80 - 8, cy = unit(rng) * 60 - 6, rx = 2 + unit(rng) * 40, ry = 2 + unit(rng) * 30;
            std::vector<float> angles(static_cast<size_t>(count));
            for (float &a : angles) a = unit(rng) * 6.2831853f;
            std::sort(angles.begin(), angles.end());
            const bool reversed = rng() % 2;
            for (int i = 0; i < count; ++i) {
                const float a = angles[reversed ? count - 1 - i : i];
                corners[i].screenX = cx + rx * std::cos(a), corners[i].screenY = cy + ry * std::sin(a);
            }
            const int k = int(rng() % count);
            const E3DVertex &p0 = corners[(k + count - 1) % count], &p1 = corners[(k + 1) % count];
            if (trial % 4 == 1) corners[k].screenX = cx + (corners[k].screenX - cx) * 0.3f, corners[k].screenY = cy + (corners[k].screenY - cy) * 0.3f;
            if (trial % 4 == 2) corners[k].screenX = (p0.screenX + p1.screenX) / 2, corners[k].screenY = (p0.screenY + p1.screenY) / 2;
            t.back.alphaMode = t.front.alphaMode = rng() % 4;
            t.back.alphaLevel = t.front.alphaLevel = trial % 5 == 0 ? 255 : rng() % 256;
            t.p.flags = (trial % 4 == 3 ? rng() % 2 != 0 : !reversed) ? 0x80u : 0u;
            t.p.color = trial % 13 == 0 ? 0x80000000u : uint32_t(rng() & 0xFFFFFF);
        },
        [&](Triangle &t, Canvas &c) { FlatFanFill(&t.p, corners, count, c.Target()); },
        [&](Triangle &t, const RasterTarget &f) {
            for (int i = 1; i + 1 < count; ++i) {
                t.p.vertex[0] = 0, t.p.vertex[1] = i, t.p.vertex[2] = i + 1;
                FlatSolidFill(&t.p, corners, f, false);
            }
        });
    EXPECT_GT(changed, 400);
}

TEST(RasterArithmetic, FloorDivisionsAndColourStepsAreExact) {
    Canvas c(4, 4);  // the engine started: its tables built
    std::mt19937 rng(5);
    const int32_t edges[] = {INT32_MIN, INT32_MIN + 1, -7, -6, -1, 0, 1, 7, INT32_MAX - 1, INT32_MAX};
    for (int i = 0; i < 20000; ++i) {
        const int32_t n = i < 100 ? edges[i % 10] : int32_t(rng()) >> (rng() % 31);
        const int32_t d = i < 100 ? std::max(1, edges[i / 10] & 0x7FFFFFFF) : std::max<int32_t>(1, int32_t(rng() >> (1 + rng() % 31)));
        int64_t q32, r32, q64, r64;
        int32_t q = 0, r = 0;
        FloorDivMod32(n, d, q32, r32), FloorDivMod64(n, d, q64, r64), FloorDivMod(n, d, &q, &r);
        ASSERT_TRUE(r64 >= 0 && r64 < d && q64 * d + r64 == n && q32 == q64 && r32 == r64 && q == q64 && r == r64) << n << " / " << d;
        FloorDivMod(n, 0, &q, &r);  // no division by zero
        ASSERT_TRUE(q == 0 && r == 0);
    }
    for (int32_t n = 1; n < 1500; ++n)  // line colour steps by the reciprocal table
        for (int32_t delta = -255; delta <= 255; ++delta) ASSERT_EQ(LineColourStep(delta, n), delta * 65536 / n) << delta << " / " << n;
}

TEST(RasterTables, ContentsAndBlocks) {
    ReleaseRasterTables();
    LeakCheck leaks;
    const int64_t before = MemoryStats().allocations;
    BuildRasterTables();
    EXPECT_EQ(MemoryStats().allocations - before, 6);
    const RasterTables &t = g_rasterTables;
    for (uint32_t a = 0; a < 32; ++a) {
        for (uint32_t b = 0; b < 32; ++b) {
            const uint32_t i = a * 32 + b, s = (a * b) >> 5;
            ASSERT_TRUE(t.addClamp[i] == std::min(31u, a + b) && t.subClamp[i] == (a > b ? a - b : 0)) << a << " " << b;
            ASSERT_TRUE(t.scale[i] == s && t.scaleGreen[i] == s << 5 && t.scaleRed[i] == s << 10) << a << " " << b;
        }
    }
    for (uint32_t a = 0; a < 256 * 32; ++a) ASSERT_EQ(t.product[a], (a / 32) * (a % 32));
    for (int n = 0; n < 256; ++n) ASSERT_EQ(ReciprocalTable[n], n ? 1.0f / float(n) : 0.0f);
    BuildRasterTables();  // a second build replaces the first without leaking
    ReleaseRasterTables();
    EXPECT_EQ(t.product, nullptr);
    leaks.Check();
}

TEST(FillerTable, UnlistedDrawModesSelectTheEmptyFiller) {
    for (uint32_t mode = 0; mode < 128u << 20; mode += 1u << 20) {
        for (uint32_t shade = 0; shade < 8; ++shade) {
            const uint32_t depth = DepthPassFillerIndex(mode | shade), sorted = SortedPassFillerIndex(mode | shade), m = mode >> 20;
            const bool listed = (shade == 1 || shade == 3 || shade == 7) && (m == 1 || m == 3 || m == 7 || m == 15 || m == 23 || m == 39);
            ASSERT_TRUE(depth < kFillerRowLength && depth == sorted + 1);
            EXPECT_TRUE((FillerTable[shade][depth] != EmptyFiller) == listed && (FillerTable[shade][sorted] != EmptyFiller) == listed) << shade << " " << m;
        }
    }
}

TEST(SolidFill, ExportedFillersDrawIntoTheCurrentViewportOnly) {
    Canvas c(16, 16, true, 0, 20);
    Triangle t(0, 0, 10, 0, 0, 10);
    for (auto &v : t.v) v.invDepth = 0.25f;
    SetRasterContext(nullptr, nullptr), FlatSolidTriangle(&t.p, t.v);  // no current viewport: nothing
    EXPECT_EQ(c.At(0, 0), 0);
    SetRasterContext(c.viewport, nullptr);
    FlatSolidTriangle(nullptr, t.v), FlatSolidTriangleZ(&t.p, nullptr), GouraudSolidTriangle(nullptr, t.v), GouraudSolidTriangleZ(&t.p, nullptr);
    // Nearer than half a unit, 1/z x 2^30 does not fit 32 bits: the lowest
    // depth, which never passes, so nothing is drawn.
    for (auto &v : t.v) v.invDepth = 5.0f;
    for (auto *fill : {FlatSolidTriangleZ, GouraudSolidTriangleZ}) {
        c.Clear(0x0421), std::fill_n(c.Depth(), 20 * 16, 0), fill(&t.p, t.v);
        EXPECT_TRUE(c.Changed(0x0421).empty());
    }
    EXPECT_TRUE(RoundToInt32(-5.0f * kDepthScale) == INT32_MIN && RoundToInt32(2147483520.0f) == 2147483520);
}

TEST(WireFiller, ClipAndDrawFormsCutEdgesAtTheNearAndFarPlanes) {
    Canvas c(64, 48, true);
    const ClipFrame saved = g_clipFrame;
    g_clipFrame.nearZ = 1.0f, g_clipFrame.farZ = 100.0f, g_clipFrame.focal = 32.0f;
    g_clipFrame.centerX = 32.0f, g_clipFrame.centerY = 24.0f, g_clipFrame.yScale = -1.0f;
    for (auto *fill : {ClipAndDrawFlatWireTriangle, ClipAndDrawGouraudWireTriangle, ClipAndDrawFlatWireTriangleZ}) {
        c.Clear();
        Triangle w(1e9f, -1e9f, 32, 24, 0, 0, 0x200u);  // corner 0's screen position is stale and unused
        w.v[0].clipCode = kOutNear;  // behind the eye
        w.v[0].viewX = -1.0f, w.v[0].viewY = 0.0f, w.v[0].depth = -4.0f;
        w.v[1].viewX = 0.0f, w.v[1].viewY = 0.0f, w.v[1].depth = 4.0f, w.v[1].invDepth = 0.25f;
        fill(&w.p, w.v);  // at z = 1 the edge is at x = -0.375, on screen 32 - 12 = 20
        std::map<Pixel, uint16_t> expected;
        for (int x = 20; x < 32; ++x) expected[{x, 24}] = 0x7FFF;
        EXPECT_EQ(c.Changed(), expected);
        c.Clear();
        w.v[0].clipCode = w.v[1].clipCode = kOutFar;  // both beyond the far plane
        fill(&w.p, w.v);
        EXPECT_TRUE(c.Changed().empty());
    }
    g_clipFrame = saved;
    Canvas flat(16, 4);  // without a depth buffer the depth forms draw nothing
    Triangle t(0, 3, 15, 3, 0, 0, 0xE00u);
    for (auto *fill : {ClipAndDrawFlatWireTriangleZ, ClipAndDrawGouraudWireTriangleZ, ClipAndDrawFlatDotsTriangleZ, ClipAndDrawGouraudDotsTriangleZ})
        fill(&t.p, t.v);
    EXPECT_TRUE(flat.Changed().empty());
}

TEST(DrawLine2D, DrawsThroughTheScissorAndRestoresTheContext) {
    Canvas c(40, 30);
    Canvas other(8, 8);  // current after this
    SetViewportScissor(c.viewport, 5, 35, 4, 26);
    DrawLine2D(c.viewport, 0, 0, 40, 30, 0x00FF8000);
    EXPECT_EQ(CurrentViewport(), other.viewport);
    std::map<Pixel, uint16_t> expected;
    for (auto [x, y] : ModelLine(0, 0, 40, 30))
        if (x >= 5 && x < 35 && y >= 4 && y < 26) expected[{x, y}] = 0x7E00;
    EXPECT_EQ(c.Changed(), expected);
    EXPECT_EQ(g_clipBounds.xMaxInner, 34.0f);  // loaded from the scissor
    c.Clear();
    DrawLine2D(c.viewport, -1e30f, 10.0f, 1e30f, 10.0f, 0xFFFFFF);  // along its true course
    for (int x = 0; x < 40; ++x) EXPECT_EQ(c.At(x, 10) != 0, x >= 5 && x < 35) << x;
    DrawLine2D(nullptr, 0, 0, 5, 5, 0xFFFFFF);  // no viewport: nothing
    EXPECT_TRUE(other.Changed().empty());
}

TEST(Fillers, WildCornersStayInsideTheBuffersAndTheTexture) {
    // Not-a-number, infinite and huge corners and depths: lines and dots keep
    // to the clip bounds, every filler to the buffer, and the texture is read
    // only inside (it sits in a band of a colour it never uses).
    const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    const float wild[] = {nan, inf, -inf, 1e30f, -1e30f, 3e9f, -2e9f, 1048577.0f, -5.0f, 20.0f, 16.5f, 0.0f, 1e9f, 70.0f};
    constexpr uint16_t kBand = 0x7C1F;
    std::mt19937 rng(15);
    Canvas c(48, 32, true, 0, 53);
    c.Scissor(3, 41, 2, 29);
    std::vector<uint16_t> block(5 * 7 + 128, kBand);
    for (int i = 0; i < 35; ++i) block[64 + i] = uint16_t(rng() % 0x7C00);
    E3DTexture tex{};
    tex.pixels = block.data() + 64, tex.width = tex.width2 = 5, tex.height = tex.height2 = 7, tex.pitch = 10;
    const uint32_t modes[] = {1, 3, 7, 15, 23, 39};
    auto pick = [&](float normal) { return rng() % 3 ? normal : wild[rng() % 14]; };
    for (int round = 0; round < 12000; ++round) {
        Triangle t;
        for (int i = 0; i < 3; ++i) {
            t.Corner(i, pick(float(rng() % 60) - 5), pick(float(rng() % 40) - 4), pick(0.5f));
            for (int k = 0; k < 4; ++k) t.p.coords[i][k] = wild[rng() % 14];
        }
        t.p.flags = (rng() & 1 ? 0x80u : 0u) | 0xE00u;
        t.p.color1 = uint32_t(rng());
        for (uint32_t map = 0; map < 3; ++map) SetMaterialTexture(&t.Side(), map, &tex, 0);
        Selected(round % 3 == 0 ? 1 : round % 3 == 1 ? 3 : 7, modes[rng() % (round < 6000 ? 2 : 6)], round & 8)(&t.p, t.v);
        if (round == 5999) {  // lines and dots so far
            for (const auto &[p, n] : c.Changed())
                ASSERT_TRUE(p.first >= 3 && p.first <= 40 && p.second >= 2 && p.second <= 28) << p.first << "," << p.second;
            EXPECT_GT(c.Changed().size(), 100u);  // then bounds past the buffer, which the fillers must hold to it
            g_clipBounds.xMin = g_clipBounds.yMin = -1e9f, g_clipBounds.xMax = g_clipBounds.xMaxInner = g_clipBounds.yMax = g_clipBounds.yMaxInner = 1e9f;
        }
    }
    for (const auto &[p, n] : c.Changed()) ASSERT_NE(n, kBand) << "read outside the texture at " << p.first << "," << p.second;
    EXPECT_TRUE(c.GuardsIntact());
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

TEST(TexturedFrame, EnvironmentCoordinatesReachTheFillerOnTheSecondPair) {
    // Prepared in place, u and v left alone; clipped fans carry it as well.
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
            for (int j = 0; j < 3; ++j) {  // facing the eye: every corner shows the middle of the map
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
    ASSERT_TRUE(edge && edge->pixels[32767] == 3);
    DeleteTexture(edge), leaks.Check();
    EXPECT_EQ(ForEachAllocationFailure<E3DTexture>([&] { return CreateTextureFromPixels(wide.data(), 2, 2, 4); },
                                                   [](E3DTexture *x) { DeleteTexture(x); }), 2) << "the record and the pixels";
}
