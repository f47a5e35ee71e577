// Raster frame: lookup tables, filler selection and the exported fillers
// drawing into the current viewport.
#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "engine3d.h"
#include "raster/raster.h"
#include "raster/raster_tables.h"
#include "support/memory_check.h"

using namespace e3d;

TEST(RasterTables, ContentsAndBlocks) {
    ReleaseRasterTables();
    e3dtest::LeakCheck leaks;
    const int64_t before = e3dtest::MemoryStats().allocations;
    BuildRasterTables();
    EXPECT_EQ(e3dtest::MemoryStats().allocations - before, 6);
    const RasterTables &t = g_rasterTables;
    EXPECT_EQ(t.addClamp[20 * 32 + 20], 31);
    EXPECT_EQ(t.addClamp[3 * 32 + 4], 7);
    EXPECT_EQ(t.subClamp[3 * 32 + 4], 0);
    EXPECT_EQ(t.subClamp[9 * 32 + 4], 5);
    EXPECT_EQ(t.scale[31 * 32 + 31], 30);
    EXPECT_EQ(t.scaleGreen[31 * 32 + 31], 30 << 5);
    EXPECT_EQ(t.scaleRed[16 * 32 + 31], 15 << 10);
    EXPECT_EQ(t.product[255 * 32 + 31], 255 * 31);
    EXPECT_EQ(ReciprocalTable[0], 0.0f);
    EXPECT_EQ(ReciprocalTable[3], 1.0f / 3.0f);
    BuildRasterTables();  // a second build replaces the first without leaking
    ReleaseRasterTables();
    EXPECT_EQ(t.product, nullptr);
    leaks.Check();
}

TEST(FillerTable, RowsAndIndices) {
    // Rows without a family share one block of empty routines.
    EXPECT_EQ(FillerTable[0], FillerTable[2]);
    EXPECT_EQ(FillerTable[4], FillerTable[6]);
    EXPECT_NE(FillerTable[1], FillerTable[3]);
    const uint32_t solid = 0x700000;
    EXPECT_EQ(DepthPassFillerIndex(solid | 3), 15u);
    EXPECT_EQ(SortedPassFillerIndex(solid | 3), 14u);
    EXPECT_EQ(FillerTable[1][14], FlatSolidTriangle);
    EXPECT_EQ(FillerTable[3][15], FlatSolidTriangleZ);
    EXPECT_EQ(FillerTable[7][14], GouraudSolidTriangle);
    EXPECT_EQ(FillerTable[7][15], GouraudSolidTriangleZ);
    for (uint32_t shading : {2u, 4u, 5u, 6u}) EXPECT_EQ(FillerTable[shading][15], EmptyFiller);
    // Diffuse and opacity together (draw mode 31) has no filler.
    EXPECT_EQ(FillerTable[3][DepthPassFillerIndex(0x1F00000)], EmptyFiller);
    for (uint32_t m = 0; m < 128; ++m) EXPECT_EQ(DepthPassFillerIndex(m << 20) & 1u, 1u);
}

TEST(Fillers, DrawIntoTheCurrentViewportOnly) {
    E3DViewport *v = CreateViewport(nullptr, 16, 16, 1, 1);
    ASSERT_NE(v, nullptr);
    const size_t pixels = 32 * 32;
    for (size_t i = 0; i < pixels; ++i) v->frameBuffer[i] = 0;
    E3DMaterial m{};
    E3DVertex vx[3]{};
    const float corners[3][2] = {{0, 0}, {10, 0}, {0, 10}};
    for (int i = 0; i < 3; ++i) {
        vx[i].screenX = corners[i][0];
        vx[i].screenY = corners[i][1];
        vx[i].invDepth = 0.25f;
    }
    E3DPolygon p{};
    p.flags = 0x80;
    p.vertex[0] = 0, p.vertex[1] = 1, p.vertex[2] = 2;
    p.material = p.backMaterial = &m;
    p.color = 0xFFFFFF;
    SetRasterContext(nullptr, nullptr);
    FlatSolidTriangle(&p, vx);  // no current viewport: nothing
    EXPECT_EQ(v->frameBuffer[0], 0);
    SetRasterContext(v, nullptr);
    FlatSolidTriangleZ(&p, vx);
    EXPECT_EQ(v->frameBuffer[0], 0x7FFF);
    EXPECT_EQ(v->frameBuffer[9 * 16], 0x7FFF) << "rows are pitch (16) pixels apart";
    EXPECT_EQ(v->depthBuffer[0], 1 << 28);
    p.color = 0x0000F8;
    GouraudSolidTriangleZ(&p, vx);  // same depth: fails
    EXPECT_EQ(v->frameBuffer[0], 0x7FFF);
    p.color1 = p.color2 = p.color;
    GouraudSolidTriangle(&p, vx);
    EXPECT_EQ(v->frameBuffer[0], 31);
    SetRasterContext(nullptr, nullptr);
    DeleteViewport(v);
}

TEST(Fillers, FloorDivMod) {
    int32_t q, r;
    FloorDivMod(7, 3, &q, &r);
    EXPECT_EQ(q, 2);
    EXPECT_EQ(r, 1);
    FloorDivMod(-7, 3, &q, &r);
    EXPECT_EQ(q, -3);
    EXPECT_EQ(r, 2);
    FloorDivMod(-6, 3, &q, &r);
    EXPECT_EQ(q, -2);
    EXPECT_EQ(r, 0);
    FloorDivMod(0, 5, &q, &r);
    EXPECT_EQ(q, 0);
    EXPECT_EQ(r, 0);
    FloorDivMod(INT32_MIN, 16, &q, &r);
    EXPECT_EQ(q, INT32_MIN / 16);
    EXPECT_EQ(r, 0);
}

TEST(FillerSelection, EveryDrawModeValueSelectsAnEntryInsideItsRow) {
    // Seven draw-mode bits in both passes; combinations nobody lists draw
    // nothing rather than reach past the row.
    for (uint32_t shade = 0; shade < 8; ++shade) {
        for (uint32_t bits = 0; bits < 128; ++bits) {
            const uint32_t mode = (bits << 20) | shade;
            const uint32_t depth = e3d::DepthPassFillerIndex(mode), sorted = e3d::SortedPassFillerIndex(mode);
            ASSERT_LT(depth, e3d::kFillerRowLength);
            ASSERT_LT(sorted, e3d::kFillerRowLength);
            EXPECT_NE(e3d::FillerTable[shade][depth], nullptr);
            EXPECT_NE(e3d::FillerTable[shade][sorted], nullptr);
        }
        EXPECT_EQ(e3d::FillerTable[shade][e3d::DepthPassFillerIndex(0x7F00000u | shade)], e3d::EmptyFiller);
    }
}

TEST(DepthConversion, OutOfRangeDepthIsTheProcessorsIndefiniteValueInEveryBuild) {
    EXPECT_EQ(e3d::RoundToInt32(5.0f * e3d::kDepthScale), INT32_MIN);
    EXPECT_EQ(e3d::RoundToInt32(-5.0f * e3d::kDepthScale), INT32_MIN);
    EXPECT_EQ(e3d::RoundToInt32(std::numeric_limits<float>::quiet_NaN()), INT32_MIN);
    EXPECT_EQ(e3d::RoundToInt32(2147483520.0f), 2147483520);
    EXPECT_EQ(e3d::RoundToInt32(2.5f), 2);
    EXPECT_EQ(e3d::RoundToInt32(-3.5f), -4);
    // Geometry nearer than half a unit: 1/z x 2^30 does not fit 32 bits. The
    // converted depth is the lowest value, which never passes the test, so
    // both builds draw nothing (a 64-bit wrap would have drawn it).
    InitEngine3D();
    std::vector<uint16_t> pixels(64 * 48, 0x0421);
    E3DTexture surface{};
    surface.pixels = pixels.data();
    surface.pitch = 2 * 64;
    E3DViewport *v = CreateViewport(&surface, 64, 48, 1, 0);
    SetViewportType(v, 0x80000001u);
    e3d::SetRasterContext(v, nullptr);
    E3DMesh *m = CreateMesh(3, 1, 0xFFFFFF);
    SetMeshTriPolygon(m, 0, 0, 1, 2, 0, 0);
    m->polygons[0].material = m->polygons[0].backMaterial = &m->defaultMaterial;
    const float corners[3][2] = {{10, 10}, {50, 12}, {30, 40}};
    for (int i = 0; i < 3; ++i) {
        m->vertices[i].screenX = corners[i][0];
        m->vertices[i].screenY = corners[i][1];
        m->vertices[i].invDepth = 5.0f;
    }
    for (int shade : {3, 7}) {
        m->polygons[0].color = m->polygons[0].color1 = m->polygons[0].color2 = 0xFFFFFF;
        if (shade == 3) FlatSolidTriangleZ(&m->polygons[0], m->vertices);
        else GouraudSolidTriangleZ(&m->polygons[0], m->vertices);
        for (uint16_t p : pixels) ASSERT_EQ(p, 0x0421) << "shade " << shade;
        for (int i = 0; i < 64 * 48; ++i) ASSERT_EQ(v->depthBuffer[i], 0);
    }
    e3d::SetRasterContext(nullptr, nullptr);
    DeleteMesh(m);
    DeleteViewport(v);
    ReleaseEngine3D();
}
