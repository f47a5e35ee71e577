// Materials, texture layers and checker textures.
#include <gtest/gtest.h>

#include <cstring>

#include "engine3d.h"
#include "support/memory_check.h"
#include "support/mesh_builders.h"

TEST(Material, CreateCopiesAndNamesTheTemplate) {
    e3dtest::LeakCheck leaks;
    E3DMesh *mesh = CreateMesh(3, 1, 0x112233);
    E3DMaterial *tpl = GetMeshDefaultMaterial(mesh);
    SetMaterialName(tpl, "old");
    E3DMaterial *copy = CreateMaterial(tpl);
    ASSERT_NE(copy, nullptr);
    EXPECT_STREQ(copy->tail.named.name, "old");
    EXPECT_EQ(std::strncmp(tpl->tail.named.name, "Material", 8), 0);
    EXPECT_EQ(copy->color[0][0], float(0x11));
    // The counter advances even when the copy fails.
    char before[30];
    std::memcpy(before, tpl->tail.named.name, sizeof before);
    HostMemoryFailNth(1);
    EXPECT_EQ(CreateMaterial(tpl), nullptr);
    HostMemoryFailNth(0);
    EXPECT_NE(std::strcmp(before, tpl->tail.named.name), 0);
    DeleteMaterial(copy);
    DeleteMaterial(nullptr);
    DeleteMesh(mesh);
    leaks.Check();
}

TEST(Material, ColourSlotsClampAndKeepTheirOrder) {
    E3DMaterial m{};
    SetMaterialColor(&m, 2, 300, -5, 128);
    const float *c2 = GetMaterialColor(&m, 2);
    EXPECT_EQ(c2, m.color[3]) << "slot 2 is stored behind slot 3";
    EXPECT_EQ(c2[0], 255.0f);
    EXPECT_EQ(c2[1], 0.0f);
    EXPECT_EQ(c2[2], 128.0f);
    EXPECT_EQ(c2[3], 255.0f);
    EXPECT_EQ(GetMaterialColor(&m, 3), m.color[2]);
    EXPECT_EQ(GetMaterialColor(&m, 4), reinterpret_cast<float *>(&m));
    SetMaterialColor(&m, 4, 1, 1, 1);  // ignored
    EXPECT_EQ(m.color[0][0], 0.0f);
}

TEST(Material, ModeFieldsAndLevels) {
    E3DMaterial m{};
    m.mode = 0x00700063;
    SetMaterialAlphaMode(&m, 7);
    EXPECT_EQ(GetMaterialAlphaMode(&m), 0u);
    SetMaterialAlphaMode(&m, 3);
    EXPECT_EQ(GetMaterialAlphaMode(&m), 3u);
    SetMaterialAlphaLevel(&m, 300);
    EXPECT_EQ(GetMaterialAlphaLevel(&m), 255u);
    SetMaterialAlphaLevel(&m, -3);
    EXPECT_EQ(GetMaterialAlphaLevel(&m), 0u);
    SetMaterialShininess(&m, 12.0f);
    EXPECT_TRUE(m.mode & 0x80000u);
    SetMaterialShininess(&m, -0.0f);
    EXPECT_FALSE(m.mode & 0x80000u);
    EXPECT_EQ(GetMaterialShininess(&m), 12.0f) << "zero keeps the old value";
    SetMaterialSpecularLevel(&m, -2.0f);
    EXPECT_TRUE(m.mode & 0x80000u);
    EXPECT_EQ(GetMaterialSpecularLevel(&m), -2.0f);
    SetMaterialRenderMode(&m, 0);
    SetMaterialShadeMode(&m, 0);
    SetMaterialCullMode(&m, 0);
    EXPECT_EQ(m.mode & 0x70003Fu, 0x700023u) << "zero arguments change nothing";
    SetMaterialRenderMode(&m, 0x300040);
    EXPECT_EQ(GetMaterialRenderMode(&m), 0x300040u);
    SetMaterialCullMode(&m, 0x08);
    EXPECT_EQ(GetMaterialCullMode(&m), 0x08u);
    SetMaterialColorOp(&m, 0xABCD, 1);
    EXPECT_EQ(m.tail.named.colorOp, 0xABCD);
    EXPECT_TRUE(m.mode & 0x100u);
    SetMaterialColorOp(&m, 1, 0);
    EXPECT_FALSE(m.mode & 0x100u);
}

TEST(Material, LayerFillFollowsThePowerOfTwoRule) {
    e3dtest::LeakCheck leaks;
    E3DTexture *square = CreateCheckerTexture(64, 64, 2, 1, 2);
    E3DTexture *wide = CreateCheckerTexture(48, 64, 2, 1, 2);
    E3DMaterial m{};
    EXPECT_EQ(SetMaterialTexture(&m, 0, square, 16), 1);
    EXPECT_EQ(m.layers[0].shift, 6);
    EXPECT_EQ(m.layers[0].mode, 16u | 0x40000000u);
    EXPECT_EQ(m.layers[0].pixels, square->pixels);
    EXPECT_TRUE(m.mode & 0x800000u);
    EXPECT_EQ(SetMaterialTexture(&m, 1, wide, 0), 1);
    EXPECT_EQ(m.layers[1].shift, 48);
    EXPECT_EQ(m.layers[1].mode, 0u);
    EXPECT_EQ(SetMaterialTexture(&m, 4, wide, 0), 0);
    EXPECT_EQ(GetMaterialTexture(&m, 4), nullptr);
    SetMaterialTextureMode(&m, 0, 32);
    EXPECT_EQ(GetMaterialTextureMode(&m, 0), 32u);
    SetMaterialTextureMode(&m, 0, 48);  // only 16 or 32
    EXPECT_EQ(GetMaterialTextureMode(&m, 0), 32u);
    SetMaterialTexture(&m, 1, nullptr, 0);
    EXPECT_FALSE(m.mode & 0x1000000u);
    EXPECT_EQ(m.layers[1].pixels, nullptr);
    // Exactly one layer present and the texture is layer 0's: removed.
    RemoveTextureFromMaterial(wide, &m);
    EXPECT_TRUE(m.mode & 0x800000u);
    RemoveTextureFromMaterial(square, &m);
    EXPECT_FALSE(m.mode & 0x800000u);
    EXPECT_EQ(m.layers[0].texture, nullptr);
    DeleteTexture(square);
    DeleteTexture(wide);
    leaks.Check();
}

TEST(Material, LayerThreeOverwritesColorOpAndTheNameOnly) {
    E3DTexture *t = CreateCheckerTexture(8, 8, 2, 1, 2);
    E3DMaterial m;
    std::memset(&m, 0x5A, sizeof m);
    E3DMaterial before = m;
    SetMaterialTexture(&m, 3, t, 0);
    EXPECT_EQ(static_cast<void *>(GetMaterialTexture(&m, 3)), static_cast<void *>(&m.tail.named.colorOp));
    EXPECT_EQ(m.tail.layer3.texture, t);
    const auto *a = reinterpret_cast<const unsigned char *>(&m);
    const auto *b = reinterpret_cast<const unsigned char *>(&before);
    const size_t blockStart = offsetof(E3DMaterial, tail);
    const size_t blockEnd = blockStart + sizeof(E3DTextureLayer);
    for (size_t i = 0; i < sizeof m; ++i) {
        if (i < sizeof m.mode) continue;  // the mode word gains the layer bit
        if (i >= blockStart && i < blockEnd) continue;
        ASSERT_EQ(a[i], b[i]) << "byte " << i << " outside the block changed";
    }
    EXPECT_EQ(m.hostObject, before.hostObject);
    EXPECT_TRUE(m.mode & 0x4000000u);
    DeleteTexture(t);
}

TEST(Material, CheckerRowsAndFailures) {
    E3DTexture *t = CreateCheckerTexture(4, 4, 2, 0xA, 0xB);
    ASSERT_NE(t, nullptr);
    const uint16_t rows[4][4] = {{0xB, 0xB, 0xA, 0xA}, {0xB, 0xB, 0xA, 0xA}, {0xA, 0xA, 0xB, 0xB}, {0xA, 0xA, 0xB, 0xB}};
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) EXPECT_EQ(t->pixels[y * 4 + x], rows[y][x]);
    EXPECT_EQ(t->pitch, 8);
    EXPECT_EQ(t->width2, 4);
    DeleteTexture(t);
    EXPECT_EQ(CreateCheckerTexture(4, 4, 0, 1, 2), nullptr);
    EXPECT_EQ(e3dtest::ForEachAllocationFailure<E3DTexture>([] { return CreateCheckerTexture(16, 8, 4, 1, 2); },
                                                             [](E3DTexture *x) { DeleteTexture(x); }),
              2);
}

TEST(Material, FaceMaterialsAndNames) {
    E3DMesh *mesh = CreateMesh(4, 3, 0);
    E3DMaterial red{}, blue{};
    SetMaterialName(&red, "red");
    SetMaterialName(&blue, "blue");
    EXPECT_EQ(SetMaterial(mesh, &red, 3, 0), 0);
    EXPECT_EQ(SetMaterial(mesh, &red, 0, 0), 1);
    EXPECT_EQ(GetMaterial(mesh, 0), &red);
    EXPECT_EQ(GetMaterial(mesh, 1), nullptr) << "back pointers still unset on an unbuilt mesh";
    EXPECT_EQ(SetFaceMaterial(mesh, 1, &blue, 1, 1), 1);
    EXPECT_EQ(GetFaceMaterial(mesh, 2, 1), &blue);
    EXPECT_EQ(GetFaceMaterial(mesh, 0, 1), nullptr);
    EXPECT_EQ(SetFaceMaterial(mesh, 9, &blue, 0, 0), 1);
    EXPECT_EQ(SetFaceMaterial(mesh, 0, &blue, 0, 5), 0);
    EXPECT_EQ(GetFaceMaterial(mesh, 3, 0), nullptr);
    EXPECT_EQ(GetMaterialByName(mesh, "blue"), &blue);
    EXPECT_EQ(GetMaterialByName(mesh, "green"), nullptr);
    RemoveMaterialFromMesh(&blue, mesh);
    EXPECT_EQ(GetFaceMaterial(mesh, 1, 1), &mesh->defaultMaterial);
    // A long name is cut to the 30-character field.
    EXPECT_EQ(SetMaterialName(&red, "a material name that is much too long"), red.tail.named.name + 29);
    E3DTexture *t = CreateCheckerTexture(16, 16, 2, 1, 2);
    E3DTextureLayer *block = SetTexture(mesh, t, 1);
    EXPECT_EQ(block, &mesh->defaultMaterial.layers[1]);
    EXPECT_EQ(block->mode, 2u);
    EXPECT_EQ(block->shift, 16);
    EXPECT_EQ(mesh->defaultMaterial.mode & 0x7800000u, 0x1000000u);
    DeleteTexture(t);
    DeleteMesh(mesh);
}
