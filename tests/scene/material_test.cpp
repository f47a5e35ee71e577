// Materials: copies and names, the field setters against their rules on
// random records, the texture layer blocks, and the face materials of meshes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "engine3d.h"
#include "support/memory_check.h"
#include "support/mesh_builders.h"
#include "support/scene_fixture.h"

using e3dtest::Noise;
using e3dtest::RandomLevel;
using e3dtest::SameBytes;

TEST(Material, CreateCopiesAndNamesTheTemplate) {
    e3dtest::LeakCheck leaks;
    E3DMesh *mesh = CreateMesh(3, 1, 0x112233);
    E3DMaterial *tpl = GetMeshDefaultMaterial(mesh);
    SetMaterialName(tpl, "old");
    const E3DMaterial before = *tpl;
    E3DMaterial *copy = CreateMaterial(tpl);
    ASSERT_NE(copy, nullptr);
    EXPECT_TRUE(SameBytes(*copy, before)) << "the copy is the whole template, old name included";
    const char *name = tpl->tail.named.name;
    ASSERT_EQ(std::strncmp(name, "Material", 8), 0);
    const long first = std::strtol(name + 8, nullptr, 10);
    EXPECT_EQ(std::string(name + 8).size(), first < 10 ? 2u : std::to_string(first).size());
    // A failed copy still moves the counter on.
    EXPECT_EQ(e3dtest::ForEachAllocationFailure<E3DMaterial>([&] { return CreateMaterial(tpl); },
                                                             [](E3DMaterial *m) { DeleteMaterial(m); }),
              1);
    EXPECT_EQ(std::strtol(name + 8, nullptr, 10), first + 2) << "one failed and one good copy";
    EXPECT_EQ(CreateMaterial(nullptr), nullptr);
    EXPECT_EQ(SetMaterialName(tpl, "a material name that is much too long"), tpl->tail.named.name + 29);
    DeleteMaterial(copy);
    DeleteMesh(mesh);
    leaks.Check();
}

// Random slots and values: exactly the slot's four floats change, at byte
// offset 4 + 16 * (storage index); slot 2 is stored behind slot 3.
TEST(Material, ColourSlotsClampIntoTheirStoredOrder) {
    E3DMaterial m{};
    EXPECT_EQ(GetMaterialColor(&m, 2), m.color[3]);
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
// the record may change.
TEST(Material, ScalarSettersFollowTheirRules) {
    E3DMaterial m{};
    m.mode = 0x00700063;
    EXPECT_EQ(GetMaterialRenderMode(&m), 0x700040u);
    EXPECT_EQ(GetMaterialCullMode(&m), 0x20u);
    EXPECT_EQ(GetMaterialShadeMode(&m), 3u);
    SetMaterialShininess(&m, 12.0f);
    SetMaterialShininess(&m, 0.0f);
    EXPECT_EQ(GetMaterialShininess(&m), 12.0f) << "zero keeps the old value";
    SetMaterialAlphaMode(&m, 2);
    EXPECT_EQ(GetMaterialAlphaMode(&m), 2u);
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

TEST(Material, LayerThreeOverwritesColorOpAndTheNameOnly) {
    E3DTexture t{};
    t.width = t.height = 8;
    std::mt19937 rng(1);
    E3DMaterial m = Noise<E3DMaterial>(rng);
    SetMaterialName(&m, "abcdefghijklmnopqrstuvwxyzABC");  // 29 characters and the terminator
    const E3DMaterial before = m;
    SetMaterialTexture(&m, 3, &t, 0x1234);
    const auto *block = reinterpret_cast<const unsigned char *>(GetMaterialTexture(&m, 3));
    EXPECT_EQ(block, reinterpret_cast<const unsigned char *>(&m.tail.named.colorOp));
    EXPECT_EQ(m.tail.named.colorOp, 0x1234) << "the block's mode word lands on colorOp";
    EXPECT_NE(std::memcmp(m.tail.named.name, before.tail.named.name, 4), 0) << "the name's start is overwritten";
    const auto *a = reinterpret_cast<const unsigned char *>(&m), *b = reinterpret_cast<const unsigned char *>(&before);
    for (size_t i = sizeof m.mode; i < sizeof m; ++i) {
        if (a + i < block || a + i >= block + sizeof(E3DTextureLayer)) {
            ASSERT_EQ(a[i], b[i]) << "byte " << i;
        }
    }
    EXPECT_EQ(m.mode, before.mode | 0x4000000u);
    SetMaterialColorOp(&m, 0x0010, 1);
    EXPECT_EQ(GetMaterialTextureMode(&m, 3), 16u) << "and colorOp writes the block's mode";
}

TEST(Material, TextureModesAndRemoval) {
    E3DTexture t0{}, t2{};
    t0.width = t0.height = t2.width = t2.height = 4;
    E3DMaterial m{};
    SetMaterialTextureMode(&m, 0, 32);
    EXPECT_EQ(GetMaterialTextureMode(&m, 0), 32u);
    m.layers[0].mode |= 0x40000003u;
    SetMaterialTextureMode(&m, 0, 16);
    SetMaterialTextureMode(&m, 0, 48);  // only 16 or 32
    SetMaterialTextureMode(&m, 4, 16);
    SetMaterialTextureMode(&m, 3, 32);
    EXPECT_EQ(m.layers[0].mode, 0x40000013u);
    EXPECT_EQ(GetMaterialTextureMode(&m, 3), 32u);
    EXPECT_EQ(GetMaterialTextureMode(&m, 4), 0u);
    EXPECT_EQ(GetMaterialTexture(&m, 4), nullptr);
    SetMaterialTexture(&m, 0, &t0, 0);
    SetMaterialTexture(&m, 2, &t2, 0);
    RemoveTextureFromMaterial(&t0, &m);
    EXPECT_EQ(m.mode, 0x2800000u) << "two layers present: nothing removed";
    SetMaterialTexture(&m, 0, nullptr, 0);
    RemoveTextureFromMaterial(&t2, &m);
    EXPECT_EQ(m.mode, 0x2000000u) << "compared with layer 0's texture, which is empty";
    m.layers[2].reserved = 77;
    RemoveTextureFromMaterial(nullptr, &m);
    EXPECT_EQ(m.mode, 0u) << "layer 0's empty pointer matches: layer 2 goes";
    EXPECT_EQ(m.layers[2].texture, nullptr);
    EXPECT_EQ(m.layers[2].width, 0);
    EXPECT_EQ(m.layers[2].reserved, 77u) << "only the five words after mode are cleared";
}

TEST(Material, FaceMaterialsOfMeshes) {
    e3dtest::LeakCheck leaks;
    E3DMesh *mesh = e3dtest::MakeCube(1, false), *grand = e3dtest::MakeStrip(2);
    E3DCamera *camera = e3dtest::MakeCamera();
    AttachChildToNode(&mesh->node, &camera->node);
    AttachChildToNode(&camera->node, &grand->node);
    E3DMaterial red{}, blue{};
    SetMaterialName(&red, "red");
    SetMaterialName(&blue, "blue");
    EXPECT_EQ(GetMaterial(mesh, 1), &mesh->defaultMaterial);
    EXPECT_EQ(SetMaterial(mesh, &red, 3, 1), 0);
    EXPECT_EQ(SetMaterial(mesh, &red, 1, 0), 1);
    EXPECT_EQ(GetMaterial(mesh, 1), &red);
    EXPECT_EQ(GetMaterial(mesh, 0), &mesh->defaultMaterial);
    EXPECT_EQ(GetFaceMaterial(grand, 0, 1), &grand->defaultMaterial) << "no recursion asked";
    EXPECT_EQ(SetMaterial(mesh, &blue, 2, 1), 1);
    EXPECT_EQ(GetFaceMaterial(grand, 1, 0), &blue) << "reached through the camera";
    EXPECT_EQ(GetFaceMaterial(grand, 1, 1), &blue);

    EXPECT_EQ(SetFaceMaterial(mesh, 4, &red, 1, 0), 1);
    mesh->polygons[12].backMaterial = nullptr;  // the spare record behind the array
    EXPECT_EQ(SetFaceMaterial(mesh, 11, &red, 1, 1), 1);
    EXPECT_EQ(mesh->polygons[12].backMaterial, nullptr) << "the last polygon has no next one";
    EXPECT_EQ(SetFaceMaterial(mesh, 12, &red, 0, 2), 1);
    EXPECT_EQ(SetFaceMaterial(mesh, -1, &red, 0, 2), 1);
    EXPECT_EQ(SetFaceMaterial(mesh, 0, &red, 0, 3), 0);
    for (int i = 0; i < 12; ++i) {
        EXPECT_EQ(GetFaceMaterial(mesh, i, 0), i == 4 || i == 5 ? &red : &blue) << i;
        EXPECT_EQ(GetFaceMaterial(mesh, i, 2), GetFaceMaterial(mesh, i, 0));
        EXPECT_EQ(GetFaceMaterial(mesh, i, 1), i == 11 ? &red : &blue) << i;
    }
    EXPECT_EQ(GetFaceMaterial(mesh, 12, 0), nullptr);
    EXPECT_EQ(GetFaceMaterial(mesh, 0, 3), nullptr);

    // Search: polygon order, front before back, whole names only.
    E3DMaterial twin = red;
    SetFaceMaterial(mesh, 0, &twin, 0, 1);
    EXPECT_EQ(GetMaterialByName(mesh, "red"), &twin) << "polygon 0's back comes before polygon 4's front";
    EXPECT_EQ(GetMaterialByName(mesh, "re"), nullptr);
    EXPECT_EQ(GetMaterialByName(mesh, "reds"), nullptr);
    std::memset(blue.tail.named.name, 'x', sizeof blue.tail.named.name);  // no terminator
    EXPECT_EQ(GetMaterialByName(mesh, std::string(30, 'x').c_str()), &blue);
    EXPECT_EQ(GetMaterialByName(mesh, std::string(31, 'x').c_str()), nullptr);

    RemoveMaterialFromMesh(&red, mesh);
    EXPECT_EQ(GetFaceMaterial(mesh, 4, 0), &mesh->defaultMaterial);
    EXPECT_EQ(GetFaceMaterial(mesh, 11, 1), &mesh->defaultMaterial);
    EXPECT_EQ(GetFaceMaterial(mesh, 4, 1), &blue);
    DeleteMesh(mesh);
    DeleteCamera(camera);
    leaks.Check();
}

TEST(Material, SetTextureFillsTheDefaultMaterialDirectly) {
    e3dtest::LeakCheck leaks;
    E3DMesh *mesh = CreateMesh(3, 1, 0);
    E3DTexture *square = CreateCheckerTexture(64, 64, 2, 1, 2);
    EXPECT_EQ(SetMaterialTexture(&mesh->defaultMaterial, 2, square, 16), 1);
    EXPECT_EQ(mesh->defaultMaterial.layers[2].shift, 6);
    EXPECT_EQ(mesh->defaultMaterial.layers[2].mode, 16u | 0x40000000u);
    E3DTexture t{};
    t.width = t.height = 16;
    t.pitch = 40;
    mesh->defaultMaterial.mode = 0x04700063u;
    E3DTextureLayer *block = SetTexture(mesh, &t, 5);
    EXPECT_EQ(block, &mesh->defaultMaterial.layers[1]);
    EXPECT_EQ(block->mode, 2u);
    EXPECT_EQ(block->shift, 20) << "pitch / 2 even for power-of-two sides";
    EXPECT_EQ(block->texture, &t);
    EXPECT_EQ(block->width, 16);
    EXPECT_EQ(mesh->defaultMaterial.mode, 0x01700063u);
    EXPECT_EQ(SetTexture(mesh, &t, 0), &mesh->defaultMaterial.layers[0]);
    EXPECT_EQ(mesh->defaultMaterial.mode, 0x00F00063u);
    EXPECT_EQ(SetTexture(mesh, nullptr, 0), &mesh->defaultMaterial.layers[0]);
    EXPECT_EQ(mesh->defaultMaterial.layers[0].texture, &t);
    DeleteTexture(square);
    DeleteMesh(mesh);
    leaks.Check();
}
