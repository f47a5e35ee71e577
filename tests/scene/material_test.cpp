// Materials: copies and names, the field setters against their rules on
// random records, the texture layer blocks, and the face materials of meshes.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <tuple>

#include "engine3d.h"
#include "support/memory_check.h"
#include "support/mesh_builders.h"
#include "support/scene_fixture.h"

using e3dtest::Noise;
using e3dtest::RandomLevel;
using e3dtest::SameBytes;
using std::tuple;

// A copy is the whole template, old name included; the template is renamed.
TEST(Material, CreateCopiesTheTemplate) {
    E3DMaterial tpl{};
    SetMaterialName(&tpl, "old");
    const E3DMaterial before = tpl;
    E3DMaterial *copy = CreateMaterial(&tpl);
    EXPECT_TRUE(SameBytes(*copy, before));
    EXPECT_EQ(std::strncmp(tpl.tail.named.name, "Material", 8), 0);
    EXPECT_EQ(SetMaterialName(&tpl, "a material name that is much too long"), tpl.tail.named.name + 29);
    DeleteMaterial(copy);
}

// Random slots and values: exactly the slot's four floats change, at byte
// offset 4 + 16 * (storage index); slot 2 is stored behind slot 3.
TEST(Material, ColourSlotsClampIntoTheirStoredOrder) {
    E3DMaterial m{};
    EXPECT_EQ(GetMaterialColor(&m, 4), reinterpret_cast<float *>(&m));
    std::mt19937 rng(3);
    const size_t storage[4] = {0, 1, 3, 2};
    for (int i = 0; i < 3000; ++i) {
        E3DMaterial got = Noise<E3DMaterial>(rng);
        const uint32_t slot = rng() % 6;
        const float in[3] = {RandomLevel(rng), RandomLevel(rng), RandomLevel(rng)};
        E3DMaterial want = got;
        if (slot < 4) {
            float out[4] = {0, 0, 0, 255.0f};
            for (int k = 0; k < 3; ++k) out[k] = in[k] < 0.0f ? 0.0f : in[k] > 255.0f ? 255.0f : in[k];
            std::memcpy(reinterpret_cast<unsigned char *>(&want) + 4 + 16 * storage[slot], out, sizeof out);
        }
        SetMaterialColor(&got, slot, in[0], in[1], in[2]);
        ASSERT_TRUE(SameBytes(got, want)) << "slot " << slot;
        if (slot < 4) {
            ASSERT_EQ(GetMaterialColor(&got, slot), got.color[storage[slot]]);
        }
    }
}

// Every scalar setter on random records against its rule; nothing else of
// the record may change. The getters read their fields.
TEST(Material, ScalarSettersFollowTheirRules) {
    E3DMaterial m{};
    m.mode = 0x00700063;
    m.alphaMode = 2;
    m.shininess = 12.0f;
    EXPECT_EQ(tuple(GetMaterialRenderMode(&m), GetMaterialCullMode(&m), GetMaterialShadeMode(&m), GetMaterialAlphaMode(&m),
                    GetMaterialShininess(&m)),
              tuple(0x700040u, 0x20u, 3u, 2u, 12.0f));
    std::mt19937 rng(5);
    for (int i = 0; i < 20000; ++i) {
        E3DMaterial got = Noise<E3DMaterial>(rng);
        E3DMaterial want = got;
        const uint32_t u = rng() % 4 ? rng() : rng() % 8;
        const int32_t level = int32_t(rng()) >> (rng() % 32);
        const float f = RandomLevel(rng);
        auto field = [&](uint32_t mask) {
            if (u & mask) want.mode = (want.mode & ~mask) | (u & mask);
        };
        auto specular = [&](float &value) {
            if (f == 0.0f) {
                want.mode &= ~0x80000u;
            } else {
                value = f;
                want.mode |= 0x80000u;
            }
        };
        const int which = int(rng() % 8);
        switch (which) {
            case 0: SetMaterialRenderMode(&got, u), field(0x700000u); break;
            case 1: SetMaterialShadeMode(&got, u), field(7u); break;
            case 2: SetMaterialCullMode(&got, u), field(0x38u); break;
            case 3: SetMaterialAlphaMode(&got, u), want.alphaMode = uint16_t(u <= 3 ? u : 0); break;
            case 4:
                SetMaterialAlphaLevel(&got, level);
                want.alphaLevel = uint16_t(level < 0 ? 0 : level > 255 ? 255 : level);
                break;
            case 5: SetMaterialShininess(&got, f), specular(want.shininess); break;
            case 6: SetMaterialSpecularLevel(&got, f), specular(want.specularLevel); break;
            default:
                SetMaterialColorOp(&got, uint16_t(u), int32_t(level));
                want.tail.named.colorOp = uint16_t(u);
                want.mode = level ? want.mode | 0x100u : want.mode & ~0x100u;
                break;
        }
        ASSERT_TRUE(SameBytes(got, want)) << "setter " << which << " value " << u << " " << level << " " << f;
    }
}

// The layer fill against a model of its rule, on hand-made texture records
// whose sides cover powers of two (the top bit included), zero, negatives
// and odd sizes.
TEST(Material, LayerFillFollowsThePowerOfTwoRule) {
    auto onePower = [](uint32_t v) {
        int bits = 0, at = -1;
        for (int b = 0; b < 32; ++b)
            if (v >> b & 1u) ++bits, at = b;
        return bits == 1 ? at : -1;
    };
    std::mt19937 rng(9);
    const int32_t sides[] = {1, 2, 64, 1024, INT32_MIN, 0, 3, 48, -64, 0x40000001};
    for (int i = 0; i < 20000; ++i) {
        E3DTexture t{};
        t.pixels = reinterpret_cast<uint16_t *>(uintptr_t(rng()) & ~uintptr_t(1));
        t.width = rng() % 2 ? sides[rng() % 10] : int32_t(rng());
        t.height = rng() % 2 ? sides[rng() % 10] : int32_t(1u << rng() % 32);
        t.pitch = int32_t(rng()) >> (rng() % 32);
        const bool none = rng() % 5 == 0;
        const uint32_t layer = rng() % 6, bits = rng();
        E3DMaterial got = Noise<E3DMaterial>(rng);
        E3DMaterial want = got;
        if (layer < 4) {
            E3DTextureLayer block;
            std::memcpy(&block, GetMaterialTexture(&want, layer), sizeof block);
            if (none) {
                block.mode = 0, block.pixels = nullptr, block.width = block.height = block.shift = 0;
                block.texture = nullptr;
                want.mode &= ~(0x800000u << layer);
            } else {
                const int w = onePower(uint32_t(t.width)), h = onePower(uint32_t(t.height));
                block.pixels = t.pixels, block.width = t.width, block.height = t.height, block.texture = &t;
                block.shift = (w >= 0 && h >= 0) ? w : t.pitch / 2;
                block.mode = (w >= 0 && h >= 0) ? bits | 0x40000000u : bits;
                want.mode |= 0x800000u << layer;
            }
            std::memcpy(GetMaterialTexture(&want, layer), &block, sizeof block);
        }
        ASSERT_EQ(SetMaterialTexture(&got, layer, none ? nullptr : &t, bits), layer < 4 ? 1 : 0);
        ASSERT_TRUE(SameBytes(got, want)) << "layer " << layer << " sides " << t.width << " x " << t.height;
    }
}

TEST(Material, TextureModesAndRemoval) {
    E3DTexture t0{}, t2{};
    t0.width = t0.height = t2.width = t2.height = 4;
    E3DMaterial m{};
    m.layers[0].mode = 0x40000003u;
    for (uint32_t layer : {0u, 4u}) SetMaterialTextureMode(&m, layer, 32);
    SetMaterialTextureMode(&m, 0, 16);
    SetMaterialTextureMode(&m, 0, 48);  // only 16 or 32
    EXPECT_EQ(tuple(m.layers[0].mode, GetMaterialTextureMode(&m, 4), GetMaterialTexture(&m, 4)),
              tuple(0x40000013u, 0u, nullptr));
    // Only a single present layer is removed, and only when layer 0 shows the texture.
    SetMaterialTexture(&m, 0, &t0, 0);
    SetMaterialTexture(&m, 2, &t2, 0);
    RemoveTextureFromMaterial(&t0, &m);
    EXPECT_EQ(m.mode, 0x2800000u) << "two layers present: nothing removed";
    SetMaterialTexture(&m, 0, nullptr, 0);
    RemoveTextureFromMaterial(&t2, &m);
    EXPECT_EQ(m.mode, 0x2000000u) << "compared with layer 0's texture, which is empty";
    m.layers[2].reserved = 77;
    RemoveTextureFromMaterial(nullptr, &m);
    EXPECT_EQ(tuple(m.mode, m.layers[2].texture, m.layers[2].width, m.layers[2].reserved), tuple(0u, nullptr, 0, 77u))
        << "only the five words after mode are cleared";
    // Layer 3's block starts at colorOp, so each writes the other's mode word.
    SetMaterialTextureMode(&m, 3, 32);
    EXPECT_EQ(m.tail.named.colorOp, 32);
    SetMaterialColorOp(&m, 0x0010, 1);
    EXPECT_EQ(GetMaterialTextureMode(&m, 3), 16u);
    // SetTexture fills a mesh's default material directly (the pitch rule
    // even for power-of-two sides) and leaves only that layer present.
    E3DMesh *mesh = CreateMesh(3, 1, 0);
    t0.pitch = 40;
    mesh->defaultMaterial.mode = 0x04700063u;
    E3DTextureLayer *block = SetTexture(mesh, &t0, 5);
    EXPECT_EQ(tuple(block, block->mode, block->shift, block->texture, mesh->defaultMaterial.mode),
              tuple(&mesh->defaultMaterial.layers[1], 2u, 20, &t0, 0x01700063u));
    SetTexture(mesh, &t0, 0);
    EXPECT_EQ(SetTexture(mesh, nullptr, 0), &mesh->defaultMaterial.layers[0]);
    EXPECT_EQ(tuple(mesh->defaultMaterial.layers[0].texture, mesh->defaultMaterial.mode), tuple(&t0, 0x00F00063u));
    DeleteMesh(mesh);
}

// Face materials: set down the tree (through cameras too), per face with
// the quad pair, and searched by name in polygon order, front before back.
TEST(Material, FaceMaterialsOfMeshes) {
    E3DMesh *mesh = e3dtest::MakeCube(1, false), *grand = e3dtest::MakeStrip(2);
    E3DCamera *camera = e3dtest::MakeCamera();
    AttachChildToNode(&mesh->node, &camera->node);
    AttachChildToNode(&camera->node, &grand->node);
    E3DMaterial red{}, blue{};
    SetMaterialName(&red, "red");
    EXPECT_EQ(SetMaterial(mesh, &red, 3, 1), 0);
    EXPECT_EQ(SetMaterial(mesh, &red, 1, 0), 1);
    EXPECT_EQ(tuple(GetMaterial(mesh, 1), GetMaterial(mesh, 0), GetFaceMaterial(grand, 0, 1)),
              tuple(&red, &mesh->defaultMaterial, &grand->defaultMaterial));
    SetMaterial(mesh, &blue, 2, 1);
    EXPECT_EQ(tuple(GetFaceMaterial(grand, 1, 0), GetFaceMaterial(grand, 1, 1)), tuple(&blue, &blue));
    EXPECT_EQ(SetFaceMaterial(mesh, 4, &red, 1, 0), 1);
    mesh->polygons[12].backMaterial = nullptr;  // the spare record behind the array
    EXPECT_EQ(SetFaceMaterial(mesh, 11, &red, 1, 1), 1);
    EXPECT_EQ(tuple(SetFaceMaterial(mesh, 12, &red, 0, 2), SetFaceMaterial(mesh, -1, &red, 0, 2)), tuple(1, 1));
    EXPECT_EQ(tuple(SetFaceMaterial(mesh, 0, &red, 0, 3), mesh->polygons[12].backMaterial), tuple(0, nullptr));
    for (int i = 0; i < 12; ++i) {
        E3DMaterial *front = i == 4 || i == 5 ? &red : &blue, *back = i == 11 ? &red : &blue;
        EXPECT_EQ(tuple(GetFaceMaterial(mesh, i, 0), GetFaceMaterial(mesh, i, 1), GetFaceMaterial(mesh, i, 2)),
                  tuple(front, back, front)) << i;
    }
    EXPECT_EQ(tuple(GetFaceMaterial(mesh, 12, 0), GetFaceMaterial(mesh, 0, 3)), tuple(nullptr, nullptr));
    E3DMaterial twin = red;
    SetFaceMaterial(mesh, 0, &twin, 0, 1);
    std::memset(blue.tail.named.name, 'x', sizeof blue.tail.named.name);  // no terminator
    EXPECT_EQ(tuple(GetMaterialByName(mesh, "red"), GetMaterialByName(mesh, "re"), GetMaterialByName(mesh, "reds")),
              tuple(&twin, nullptr, nullptr));
    EXPECT_EQ(tuple(GetMaterialByName(mesh, std::string(30, 'x').c_str()), GetMaterialByName(mesh, std::string(31, 'x').c_str())),
              tuple(&blue, nullptr));
    RemoveMaterialFromMesh(&red, mesh);
    EXPECT_EQ(tuple(GetFaceMaterial(mesh, 4, 0), GetFaceMaterial(mesh, 11, 1), GetFaceMaterial(mesh, 4, 1)),
              tuple(&mesh->defaultMaterial, &mesh->defaultMaterial, &blue));
    DeleteMesh(mesh);
    DeleteCamera(camera);
}
