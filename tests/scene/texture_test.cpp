// Checker textures: the record, the pattern and the allocation failures.
#include <gtest/gtest.h>

#include <random>

#include "engine3d.h"
#include "support/memory_check.h"

namespace {

// The pattern as described: start each row with b, flip at every multiple
// of the cell width; the start flips at every multiple of the cell height.
uint16_t CheckerModel(int x, int y, int cellW, int cellH, uint16_t a, uint16_t b) {
    bool rowStartsB = true;
    for (int r = 1; r <= y; ++r)
        if (r % cellH == 0) rowStartsB = !rowStartsB;
    bool isB = rowStartsB;
    for (int c = 1; c <= x; ++c)
        if (c % cellW == 0) isB = !isB;
    return isB ? b : a;
}

}  // namespace

TEST(Texture, CheckerFourByFour) {
    e3dtest::LeakCheck leaks;
    E3DTexture *t = CreateCheckerTexture(4, 4, 2, 0xA, 0xB);
    ASSERT_NE(t, nullptr);
    const uint16_t rows[4][4] = {{0xB, 0xB, 0xA, 0xA}, {0xB, 0xB, 0xA, 0xA}, {0xA, 0xA, 0xB, 0xB}, {0xA, 0xA, 0xB, 0xB}};
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) EXPECT_EQ(t->pixels[y * 4 + x], rows[y][x]) << x << "," << y;
    EXPECT_EQ(t->pitch, 8);
    EXPECT_EQ(t->width, 4);
    EXPECT_EQ(t->height, 4);
    EXPECT_EQ(t->width2, 4);
    EXPECT_EQ(t->height2, 4);
    EXPECT_EQ(t->reserved0[0] | t->reserved1[0] | t->reserved2[4] | t->reserved3[3], 0u);
    DeleteTexture(t);
    DeleteTexture(nullptr);
    leaks.Check();
}

TEST(Texture, CheckerMatchesThePatternOnRandomSizes) {
    std::mt19937 rng(4);
    for (int i = 0; i < 300; ++i) {
        const int w = 1 + int(rng() % 40), h = 1 + int(rng() % 40), squares = 1 + int(rng() % 12);
        const uint16_t a = uint16_t(rng()), b = uint16_t(rng());
        E3DTexture *t = CreateCheckerTexture(w, h, squares, a, b);
        ASSERT_NE(t, nullptr);
        // More squares than pixels: cells of one pixel.
        const int cellW = w / squares > 0 ? w / squares : 1, cellH = h / squares > 0 ? h / squares : 1;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                ASSERT_EQ(t->pixels[y * w + x], CheckerModel(x, y, cellW, cellH, a, b))
                    << w << "x" << h << " squares " << squares << " at " << x << "," << y;
        DeleteTexture(t);
    }
}

TEST(Texture, CheckerFailuresLeaveNothing) {
    e3dtest::LeakCheck leaks;
    EXPECT_EQ(CreateCheckerTexture(4, 4, 0, 1, 2), nullptr);
    EXPECT_EQ(CreateCheckerTexture(0, 4, 2, 1, 2), nullptr);
    EXPECT_EQ(CreateCheckerTexture(4, -4, 2, 1, 2), nullptr);
    EXPECT_EQ(CreateCheckerTexture(0x10000, 0x10000, 2, 1, 2), nullptr) << "8 GB of pixels";
    EXPECT_EQ(e3dtest::ForEachAllocationFailure<E3DTexture>([] { return CreateCheckerTexture(16, 8, 4, 1, 2); },
                                                             [](E3DTexture *x) { DeleteTexture(x); }),
              2);
    leaks.Check();
}
