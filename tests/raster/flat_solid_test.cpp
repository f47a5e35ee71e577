// Flat solid fillers: the fill rule, the span operators and the depth test.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "raster/flat_solid.h"
#include "raster/pixel.h"
#include "support/raster_model.h"

using namespace e3d;
using namespace e3dtest;

TEST(PixelFormat, ColourConversionAndOperatorExamples) {
    EXPECT_EQ(ColorToPixel(0x00FFFFFF), 0x7FFF);
    EXPECT_EQ(ColorToPixel(0x00080808), 0x0421);
    EXPECT_EQ(ColorToPixel(0x00070707), 0x0000);
    EXPECT_EQ(AddPixels(0x7FFF, 0x0000), 0x7BDF);
    EXPECT_EQ(AddPixels(0x0010, 0x0010), 0x0000 | 31 | 0);  // blue 16 + 16 saturates at 31
    EXPECT_EQ(MixPixels(128 * 31, 128 * 31, 128 * 31, 127, 0x0000), 0x3DEF);
    EXPECT_EQ(MixPixels(255 * 31, 255 * 31, 255 * 31, 0, 0x7FFF) & 31, 30);  // white over white is 30
}

TEST(PixelFormat, SubtractiveFormsKeepTheirGuardBitsApart) {
    // Worked by hand from the packed formulas.
    // Sorted form, white minus black: (0xFFFF - 0) & 0x7FFF.
    EXPECT_EQ(SubtractPixelsSorted(0x7FFF, 0x0000), 0x7FFF);
    // Depth form, white minus black: 0x7BDF - 0x8420 borrows through every
    // guard; the mask keeps 0x77BF, channels (29, 29, 31).
    EXPECT_EQ(SubtractPixelsDepth(0x7FFF, 0x0000), 0x77BF);
    // Sorted form, equal pixels (16, 16, 16): 0xC630 - 0x4210 = 0x8420, whose
    // guard bits survive into red and green: (1, 1, 0).
    EXPECT_EQ(SubtractPixelsSorted(0x4210, 0x4210), 0x0420);
    // Black minus anything: every sorted-form channel whose guard is taken is 0.
    EXPECT_EQ(SubtractPixelsSorted(0x0000, 0x7BDF), 0x0000);
    std::mt19937 rng(1);
    int differ = 0;
    for (int i = 0; i < 4096; ++i) {
        const uint32_t s = rng() & 0x7FFF, d = rng() & 0x7FFF;
        EXPECT_EQ(SubtractPixelsSorted(s, d) & 0x8000, 0);
        EXPECT_EQ(SubtractPixelsDepth(s, d) & 0x8000, 0);
        differ += SubtractPixelsSorted(s, d) != SubtractPixelsDepth(s, d);
    }
    EXPECT_GT(differ, 2000);
}

namespace {

void Fill(Triangle &t, Canvas &c, bool depth) { FlatSolidFill(&t.p, t.v, c.Target(), depth); }

}  // namespace

TEST(FlatSolid, RightTriangleRows) {
    // (0,0), (10,0), (0,10): rows 0..9, row 0 columns 0..9, last row column 0.
    Canvas c(16, 16);
    Triangle t(0, 0, 10, 0, 0, 10, 0x00FF0000);
    Fill(t, c, false);
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 16; ++x) {
            const bool inside = y < 10 && x < 10 - y;
            EXPECT_EQ(c.At(x, y), inside ? 0x7C00 : kUntouched) << x << "," << y;
        }
    }
}

TEST(FlatSolid, CoverageMatchesTheFillRuleOnBothPasses) {
    EXPECT_GT(CheckCoverageAgainstModel(31, [](Triangle &t, Canvas &c, bool depth) { Fill(t, c, depth); }), 100);
}

TEST(FlatSolid, SharedEdgesAreWrittenOnce) {
    // Additive blue 1 counts the writes of each pixel.
    std::mt19937 rng(37);
    std::uniform_real_distribution<float> coord(0.0f, 48.0f);
    int shared = 0;
    for (int round = 0; round < 300; ++round) {
        Canvas c(48, 48);
        for (auto &px : c.frame) px = 0;
        const float ax = coord(rng), ay = coord(rng), bx = coord(rng), by = coord(rng);
        const float px = coord(rng), py = coord(rng);
        // p mirrored through the middle of a-b gives q on the other side;
        // both triangles are ordered clockwise.
        const float qx = ax + bx - px, qy = ay + by - py;
        const bool flip = (bx - ax) * (py - ay) - (by - ay) * (px - ax) < 0;
        Triangle t1(flip ? bx : ax, flip ? by : ay, flip ? ax : bx, flip ? ay : by, px, py, 0x000008);
        Triangle t2(flip ? ax : bx, flip ? ay : by, flip ? bx : ax, flip ? by : ay, qx, qy, 0x000008);
        t1.m.alphaMode = t2.m.alphaMode = 1;
        Fill(t1, c, false);
        Fill(t2, c, false);
        for (uint16_t v : c.frame) ASSERT_LE(v, 1) << "round " << round;
        shared += std::count(c.frame.begin(), c.frame.end(), uint16_t(1)) > 20;
    }
    EXPECT_GT(shared, 250);
}

TEST(FlatSolid, ThinAndHalfPixelTriangles) {
    Canvas c(16, 16);
    Triangle thin(0, 0.1f, 10, 0.5f, 0, 0.9f);
    Fill(thin, c, false);
    EXPECT_TRUE(Written(c).empty()) << "between two pixel-centre rows";
    Triangle half(0, -0.5f, 8, 4, 0, 8);
    Fill(half, c, false);
    ASSERT_FALSE(Written(c).empty());
    EXPECT_EQ(Written(c).begin()->second, 0) << "first scanline is row 0";
    EXPECT_NE(c.At(0, 0), kUntouched);
}

TEST(FlatSolid, NoColourIsTheKeyPixelOnlyInTheSortedPass) {
    Canvas sorted(8, 8), depth(8, 8);
    for (auto &px : depth.frame) px = 0x0421;
    Triangle t(0, 0, 16, 0, 0, 16, kNoColor);
    t.m.alphaMode = 1;  // ignored by the sorted pass for "no colour"
    Fill(t, sorted, false);
    EXPECT_EQ(sorted.At(0, 0), kKeyPixel);
    Fill(t, depth, true);
    // Converted to black and added: the frame keeps its value (low bits masked).
    EXPECT_EQ(depth.At(0, 0), AddPixels(0, 0x0421));
    EXPECT_EQ(depth.depth[0], 0) << "blended writes never write depth";
}

TEST(FlatSolid, OperatorsAndOpacityLevels) {
    for (bool pass : {false, true}) {
        Canvas c(8, 8);
        for (auto &px : c.frame) px = 0;
        Triangle t(0, 0, 16, 0, 0, 16, 0xFFFFFF);
        t.m.alphaMode = 2;
        t.m.alphaLevel = 0;
        Fill(t, c, pass);
        EXPECT_EQ(c.At(0, 0), 0);
        EXPECT_EQ(c.depth[0], 0);
        t.m.alphaLevel = 128;
        Fill(t, c, pass);
        EXPECT_EQ(c.At(0, 0), 0x3DEF);
        EXPECT_EQ(c.depth[0], 0);
        t.m.alphaLevel = 255;  // replace: writes depth in the depth pass
        Fill(t, c, pass);
        EXPECT_EQ(c.At(0, 0), 0x7FFF);
        EXPECT_EQ(c.depth[0] != 0, pass);
    }
}

TEST(FlatSolid, BackBitSelectsTheBackMaterial) {
    Canvas c(8, 8);
    for (auto &px : c.frame) px = 0x0421;
    Triangle t(0, 0, 16, 0, 0, 16, 0x101010);
    E3DMaterial front{};
    t.p.material = &front;  // replace
    t.m.alphaMode = 1;      // back material: additive
    Fill(t, c, true);
    EXPECT_EQ(c.At(0, 0), AddPixels(ColorToPixel(0x101010), 0x0421));
    t.p.flags = 0;  // front side now: replace (corners reversed)
    Triangle f(0, 16, 16, 0, 0, 0, 0x101010, 0x101010, 0x101010, false);
    f.p.material = &front;
    Canvas d(8, 8);
    Fill(f, d, true);
    EXPECT_EQ(d.At(0, 0), ColorToPixel(0x101010));
}

TEST(FlatSolid, DepthTestIsStrictAndAdditiveLagsAfterAFailure) {
    // Depth falls to the right. A blocked pixel makes the additive writer
    // lag one depth step; the replace writer does not.
    Canvas replace(16, 1), additive(16, 1);
    Triangle t(0, -1, 64, -1, 0, 63);
    t.v[0].invDepth = 0.5f;
    t.v[1].invDepth = 0.25f;
    t.v[2].invDepth = 0.5f;
    Fill(t, replace, true);
    const std::vector<int32_t> reference = replace.depth;
    EXPECT_GT(reference[0], reference[5]);
    // Block pixel 2 with exactly its own value: equal fails.
    for (Canvas *c : {&replace, &additive}) {
        std::fill(c->depth.begin(), c->depth.end(), 0);
        std::fill(c->frame.begin(), c->frame.end(), uint16_t(0));
        c->depth[2] = reference[2];
    }
    Fill(t, replace, true);
    EXPECT_EQ(replace.frame[2], 0);
    EXPECT_EQ(replace.depth[3], reference[3]);
    // Additive writes no depth; make pixel 3's stored value sit between the
    // lagged and the true value, so only the lagging writer passes it.
    additive.depth[3] = reference[3] + 1;
    t.m.alphaMode = 1;
    Fill(t, additive, true);
    EXPECT_EQ(additive.frame[2], 0) << "equal depth fails";
    EXPECT_NE(additive.frame[3], 0) << "after a failure the additive depth lags one step";
    EXPECT_NE(additive.frame[1], 0);
}

TEST(FlatSolid, CornersOffTheBufferNeverWriteOutside) {
    const float specials[] = {NAN, INFINITY, -INFINITY, 1e30f, -1e30f, 3.0f, 1e9f, -50.0f, 70.0f};
    std::mt19937 rng(41);
    for (int round = 0; round < 500; ++round) {
        Canvas c(16, 16, 20);
        Triangle t(specials[rng() % 9], specials[rng() % 9], specials[rng() % 9], specials[rng() % 9],
                   specials[rng() % 9], specials[rng() % 9], uint32_t(rng()));
        t.v[rng() % 3].invDepth = specials[rng() % 9];
        t.m.alphaMode = uint16_t(rng() % 4);
        t.m.alphaLevel = uint16_t(rng() % 256);
        Fill(t, c, round & 1);
        for (int y = 0; y < 16; ++y)
            for (int x = 16; x < 20; ++x) ASSERT_EQ(c.At(x, y), kUntouched);
    }
}

TEST(FlatSolid, PainterFanMatchesItsTrianglesInTurn) {
    // Polygons as the clipper leaves them: convex fans of 3 to 9 corners
    // turning either way, some reaching off the buffer, some bent inward or
    // with corners in line. Drawn whole, every operator must leave the
    // frame as the fan's triangles drawn one by one do.
    std::mt19937 rng(91);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    int changed = 0;
    for (int trial = 0; trial < 600; ++trial) {
        const int count = 3 + int(rng() % 7);
        E3DVertex corners[9]{};
        const float cx = unit(rng) * 80.0f - 8.0f, cy = unit(rng) * 60.0f - 6.0f;
        const float rx = 2.0f + unit(rng) * 40.0f, ry = 2.0f + unit(rng) * 30.0f;
        std::vector<float> angles(static_cast<size_t>(count));
        for (float &a : angles) a = unit(rng) * 6.2831853f;
        std::sort(angles.begin(), angles.end());
        const bool reversed = rng() % 2;
        for (int i = 0; i < count; ++i) {
            const float a = angles[size_t(reversed ? count - 1 - i : i)];
            corners[i].screenX = cx + rx * std::cos(a);
            corners[i].screenY = cy + ry * std::sin(a);
        }
        if (trial % 4 == 1) {
            // One corner pulled toward the centre: bent inward.
            const int k = int(rng() % count);
            corners[k].screenX = cx + (corners[k].screenX - cx) * 0.3f;
            corners[k].screenY = cy + (corners[k].screenY - cy) * 0.3f;
        } else if (trial % 4 == 2) {
            // One corner halfway along its neighbours' line.
            const int k = int(rng() % count);
            const E3DVertex &a = corners[(k + count - 1) % count], &b = corners[(k + 1) % count];
            corners[k].screenX = (a.screenX + b.screenX) * 0.5f;
            corners[k].screenY = (a.screenY + b.screenY) * 0.5f;
        }
        E3DMaterial m{};
        m.alphaMode = rng() % 4;
        m.alphaLevel = trial % 5 == 0 ? 255 : rng() % 256;
        E3DPolygon p{};
        // Mostly turned the way the filler draws them (the back side for
        // corners turning clockwise on the screen), else either way.
        const bool back = trial % 4 == 3 ? rng() % 2 != 0 : !reversed;
        p.flags = back ? 0x80u : 0u;
        p.material = p.backMaterial = &m;
        p.color = trial % 13 == 0 ? kNoColor : uint32_t(rng() & 0xFFFFFF);
        Canvas whole(64, 48), triangles(64, 48);
        for (size_t i = 0; i < whole.frame.size(); ++i) whole.frame[i] = triangles.frame[i] = uint16_t(rng() & 0x7FFF);
        const std::vector<uint16_t> before = whole.frame;
        FlatFanFill(&p, corners, count, whole.Target());
        for (int i = 1; i + 1 < count; ++i) {
            p.vertex[0] = 0;
            p.vertex[1] = i;
            p.vertex[2] = i + 1;
            FlatSolidFill(&p, corners, triangles.Target(), false);
        }
        ASSERT_EQ(whole.frame, triangles.frame) << "trial " << trial << " corners " << count;
        changed += whole.frame != before;
    }
    EXPECT_GT(changed, 400);
}
