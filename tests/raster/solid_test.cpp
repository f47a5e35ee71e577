// Solid fillers beyond the family models: wrapping depth steps, far corners,
// fans, the span writers against their scalar references, the lookup tables
// and the exported entry points.
#include <gtest/gtest.h>

#include <climits>
#include <random>

#include "raster/flat_solid.h"
#include "raster/gouraud_solid.h"
#include "raster/raster_tables.h"
#include "raster/texture_fill.h"
#include "support/memory_check.h"
#include "support/raster_model.h"

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
    // multiple of the dither period), into a large one: the overlap agrees.
    std::mt19937 rng(23);
    std::uniform_real_distribution<float> far(-200.0f, 240.0f);
    Canvas small(40, 30, true, 0, 48), large(1024, 1024, true);
    std::vector<uint16_t> texels(64 * 64);
    for (auto &k : texels) k = uint16_t(rng());
    E3DTexture tex{};
    tex.pixels = texels.data(), tex.width = tex.width2 = tex.height = tex.height2 = 64, tex.pitch = 128;
    int drawn = 0;
    for (int round = 0; round < 300; ++round) {
        Triangle a, b;
        for (int i = 0; i < 3; ++i) {
            const float x = far(rng), y = far(rng), z = 0.3f + 0.001f * float(rng() % 256), u = far(rng), v = far(rng);
            a.Corner(i, x, y, z, u, v), b.Corner(i, x + 512, y + 512, z, u, v);
        }
        a.p.flags = b.p.flags = rng() & 1 ? 0x80 : 0;
        a.p.color = b.p.color = rng() & 0xFFFFFF, a.p.color1 = b.p.color1 = rng() & 0xFFFFFF;
        a.Side().alphaMode = b.Side().alphaMode = rng() % 4, a.Side().alphaLevel = b.Side().alphaLevel = 100;
        SetMaterialTexture(&a.Side(), 0, &tex, 0), SetMaterialTexture(&b.Side(), 0, &tex, 0);
        const bool depth = rng() & 1;
        const auto lighting = TextureLighting(rng() % 3);
        small.Clear(), large.Clear();
        std::fill_n(small.Depth(), 48 * 30, 0), std::fill_n(large.Depth(), 1024 * 1024, 0);
        for (auto [t, c] : {std::pair{&a, &small}, std::pair{&b, &large}}) {
            if (round % 3 == 2) TextureFill(&t->p, t->v, c->Target(), lighting, kDiffuseMap, depth);
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
    AgainstModel(
        "fan", 91, 600, 64, 48,
        [&](std::mt19937 &rng, int trial, Triangle &t) {
            std::uniform_real_distribution<float> unit(0.0f, 1.0f);
            count = 3 + int(rng() % 7);
            const float cx = unit(rng) * 80 - 8, cy = unit(rng) * 60 - 6, rx = 2 + unit(rng) * 40, ry = 2 + unit(rng) * 30;
            std::vector<float> angles(static_cast<size_t>(count), 0.0f);
            for (float &a : angles) a = unit(rng) * 6.2831853f;
            std::sort(angles.begin(), angles.end());
            const bool reversed = rng() % 2;
            for (int i = 0; i < count; ++i) {
                const float a = angles[size_t(reversed ? count - 1 - i : i)];
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
}

TEST(SpanWriters, VectorWritersMatchTheScalarReference) {
    // Random spans at every start alignment, short and long, over depth rows
    // in runs that all pass, all fail, or sit near the span's depth; depth
    // and colour steps steep enough to wrap. Guards on either side.
    constexpr int kGuard = 16, kRow = 256 + 2 * kGuard;
    std::mt19937 rng(2024);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    for (int trial = 0; trial < 6400; ++trial) {
        const bool gouraud = trial & 1, depthPass = trial & 2;
        const uint32_t blend = (trial >> 2) & 3, colour = rng(), level = rng() % 256;
        float left[4];
        for (float &l : left) l = unit(rng) * 300.0f - 20.0f;
        left[0] = unit(rng) * (trial % 5 == 0 ? 3.0f : 0.5f);
        const float dz = (unit(rng) - 0.5f) * (trial % 8 == 0 ? 4.0f : trial % 3 == 0 ? 1e-4f : 1e-7f);
        g_flat.pixel = colour & 0x7FFF, g_flat.dzdx = g_state.ddx[0] = dz, g_flat.destWeight = 255 - level;
        for (int c = 0; c < 3; ++c) g_flat.weighted[c] = level * ((colour >> (10 - 5 * c)) & 31);
        for (int c = 1; c < 4; ++c) g_state.ddx[c] = trial % 50 == 7 ? (c == 2 ? -32768.0f : 16384.0f) : (unit(rng) - 0.5f) * (trial % 4 == 0 ? 40.0f : 6.0f);
        for (int c = 0; c < 3; ++c) g_state.bias[c] = rng() % 2 ? 0x8000 : 0x7FFF;
        g_state.weight = int32_t(level);
        PrepareGouraudSpans();
        const int32_t from = kGuard + int32_t(rng() % 16), to = from + int32_t(trial % 3 == 0 ? rng() % 5 : rng() % 220);
        const int32_t xLeft = from - int32_t(rng() % 4), xRight = to + int32_t(rng() % 4), y = int32_t(rng() % 8);
        const int32_t z = int32_t(std::lrint(left[0] * kDepthScale));
        std::vector<uint16_t> frame(kRow);
        std::vector<int32_t> depth(kRow);
        for (int i = 0; i < kRow;) {
            const uint32_t kind = rng() % 4, run = 1 + rng() % 24;
            for (uint32_t k = 0; k < run && i < kRow; ++k, ++i) {
                frame[i] = uint16_t(rng());
                depth[i] = kind == 0 ? INT32_MIN : kind == 1 ? INT32_MAX : rng() % 16 == 0 ? z : int32_t(uint32_t(z) + rng() % 2001 - 1000);
            }
        }
        std::vector<uint16_t> frameB = frame;
        std::vector<int32_t> depthB = depth;
        const float *l = gouraud && !depthPass ? left + 1 : left;  // the sorted pass has no depth value
        for (bool reference : {true, false}) {
            auto *f = reference ? frame.data() : frameB.data();
            auto *d = reference ? depth.data() : depthB.data();
            if (gouraud) GouraudSpanWriterFor(blend, depthPass, reference)(f, d, y, xLeft, xRight, from, to, l);
            else FlatSpanWriterFor(blend, depthPass, reference)(f, d, y, xLeft, xRight, from, to, l);
        }
        ASSERT_EQ(frame, frameB) << "trial " << trial << " span " << from << ".." << to;
        ASSERT_EQ(depth, depthB) << "trial " << trial;
    }
}

TEST(SpanWriters, FloorDivisionsAgree) {
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
    SetRasterContext(nullptr, nullptr);
    FlatSolidTriangle(&t.p, t.v);  // no current viewport: nothing
    EXPECT_EQ(c.At(0, 0), 0);
    SetRasterContext(c.viewport, nullptr);
    FlatSolidTriangle(nullptr, t.v), FlatSolidTriangleZ(&t.p, nullptr), GouraudSolidTriangle(nullptr, t.v), GouraudSolidTriangleZ(&t.p, nullptr);
    // Nearer than half a unit, 1/z x 2^30 does not fit 32 bits: the lowest
    // depth, which never passes, so nothing is drawn.
    for (auto *fill : {FlatSolidTriangleZ, GouraudSolidTriangleZ}) {
        for (auto &v : t.v) v.invDepth = 5.0f;
        c.Clear(0x0421);
        std::fill_n(c.Depth(), 20 * 16, 0);
        fill(&t.p, t.v);
        EXPECT_TRUE(c.Changed(0x0421).empty());
    }
    EXPECT_TRUE(RoundToInt32(-5.0f * kDepthScale) == INT32_MIN && RoundToInt32(2147483520.0f) == 2147483520);
}
