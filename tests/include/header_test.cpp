// The public header compiles as C and C++ and keeps its record sizes.
#include <gtest/gtest.h>

#include <cstddef>

#include "engine3d.h"

extern "C" int e3d_c11_header_probe(void);

TEST(PublicHeader, CompilesAsC11WithTheSameRecords) {
    EXPECT_EQ(size_t(e3d_c11_header_probe()),
              sizeof(E3DPolygon) + sizeof(E3DVertex) + sizeof(E3DMaterial));
}

TEST(PublicHeader, MaterialLayerThreeStartsAtColorOp) {
    E3DMaterial m{};
    EXPECT_EQ(static_cast<void *>(&m.tail.layer3), static_cast<void *>(&m.tail.named.colorOp));
    EXPECT_LE(offsetof(E3DMaterial, tail) + sizeof(E3DTextureLayer), offsetof(E3DMaterial, hostObject));
    EXPECT_EQ(offsetof(E3DMaterial, layers), offsetof(E3DMaterial, reserved) + 4 + (sizeof(void *) == 8 ? 4 : 0));
}
