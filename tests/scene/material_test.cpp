// Materials: the field setters on random records, texture layers, face materials.
#include "support/scene_fixture.h"

#include <bit>

using e3dtest::Noise;
using e3dtest::RandomLevel;
using e3dtest::SameBytes;
using std::tuple;

// Every field setter on random records against its rule; nothing else may change.
// A layer takes the power-of-two path only when both sides are powers of two.
TEST(Material, SettersFollowTheirRulesOnRandomRecords) {
    auto onePower = [](uint32_t v) { return std::has_single_bit(v) ? std::countr_zero(v) : -1; };
    const size_t storage[4] = {0, 1, 3, 2};
    const int32_t sides[] = {1, 2, 64, 1024, INT32_MIN, 0, 3, 48, -64, 0x40000001};
    std::mt19937 rng(5);
    for (int i = 0; i < 40000; ++i) {
        E3DMaterial got = Noise<E3DMaterial>(rng);
        E3DMaterial want = got;
        const uint32_t u = rng() % 4 ? rng() : rng() % 8, slot = rng() % 6;
        const int32_t level = int32_t(rng()) >> (rng() % 32);
        const float f = RandomLevel(rng), in[3] = {RandomLevel(rng), RandomLevel(rng), RandomLevel(rng)};
        E3DTexture t{};
        t.pixels = reinterpret_cast<uint16_t *>(uintptr_t(rng()) & ~uintptr_t(1));
        t.width = rng() % 2 ? sides[rng() % 10] : int32_t(rng());
        t.height = rng() % 2 ? sides[rng() % 10] : int32_t(1u << rng() % 32);
        t.pitch = int32_t(rng()) >> (rng() % 32);
        auto field = [&](uint32_t mask) {
            if (u & mask) want.mode = (want.mode & ~mask) | (u & mask);
        };
        auto specular = [&](float &value) {
            want.mode = f == 0.0f ? want.mode & ~0x80000u : want.mode | 0x80000u;
            if (f != 0.0f) value = f;
        };
        const int which = int(rng() % 11);
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
            case 7:
                SetMaterialColorOp(&got, uint16_t(u), int32_t(level));
                want.tail.named.colorOp = uint16_t(u);
                want.mode = level ? want.mode | 0x100u : want.mode & ~0x100u;
                break;
            case 8:
                SetMaterialColor(&got, slot, in[0], in[1], in[2]);
                if (slot < 4) {
                    float out[4] = {0, 0, 0, 255.0f};
                    for (int k = 0; k < 3; ++k) out[k] = in[k] < 0.0f ? 0.0f : in[k] > 255.0f ? 255.0f : in[k];
                    std::memcpy(want.color[storage[slot]], out, sizeof out);
                    ASSERT_EQ(GetMaterialColor(&got, slot), got.color[storage[slot]]);
                }
                break;
            default: {
                const bool none = which == 9;
                ASSERT_EQ(SetMaterialTexture(&got, slot, none ? nullptr : &t, u), slot < 4 ? 1 : 0);
                if (slot > 3) break;
                const int w = onePower(uint32_t(t.width)), h = onePower(uint32_t(t.height));
                const bool pow2 = !none && w >= 0 && h >= 0;
                E3DTextureLayer fill;  // layer 3 overlaps colorOp and the name: only its fields change
                std::memcpy(&fill, GetMaterialTexture(&want, slot), sizeof fill);
                fill.mode = none ? 0 : pow2 ? u | 0x40000000u : u;
                fill.pixels = none ? nullptr : t.pixels, fill.texture = none ? nullptr : &t;
                fill.width = none ? 0 : t.width, fill.height = none ? 0 : t.height;
                fill.shift = none ? 0 : pow2 ? w : t.pitch / 2;
                std::memcpy(GetMaterialTexture(&want, slot), &fill, sizeof fill);
                want.mode = none ? want.mode & ~(0x800000u << slot) : want.mode | 0x800000u << slot;
                break;
            }
        }
        ASSERT_TRUE(SameBytes(got, want)) << "setter " << which << " value " << u << " " << level << " " << f;
    }
}

TEST(Material, TextureModesAndRemoval) {
    E3DTexture t0{}, t2{};
    E3DMaterial m{};
    m.layers[0].mode = 0x40000003u;
    for (uint32_t layer : {0u, 3u, 4u}) SetMaterialTextureMode(&m, layer, 32);
    SetMaterialTextureMode(&m, 0, 16);
    SetMaterialTextureMode(&m, 0, 48);  // only 16 or 32
    EXPECT_EQ(tuple(m.layers[0].mode, GetMaterialTextureMode(&m, 3), GetMaterialTextureMode(&m, 4), GetMaterialTexture(&m, 4)),
              tuple(0x40000013u, 32u, 0u, nullptr));
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
}

// Set down the tree (through cameras too), per face, and found by name front first.
TEST(Material, FaceMaterialsOfMeshes) {
    E3DMesh *mesh = e3dtest::MakeCube(1, false), *grand = e3dtest::MakeStrip(2);
    E3DCamera *camera = e3dtest::MakeCamera();
    AttachChildToNode(&mesh->node, &camera->node);
    AttachChildToNode(&camera->node, &grand->node);
    E3DMaterial red{}, blue{};
    SetMaterialName(&red, "red");
    EXPECT_EQ(tuple(SetMaterial(mesh, &red, 3, 1), SetMaterial(mesh, &red, 1, 0)), tuple(0, 1));
    EXPECT_EQ(tuple(GetMaterial(mesh, 1), GetMaterial(mesh, 0), GetFaceMaterial(grand, 0, 1)),
              tuple(&red, &mesh->defaultMaterial, &grand->defaultMaterial));
    SetMaterial(mesh, &blue, 2, 1);
    EXPECT_EQ(tuple(GetFaceMaterial(grand, 1, 0), GetFaceMaterial(grand, 1, 1)), tuple(&blue, &blue));
    mesh->polygons[12].backMaterial = nullptr;  // the spare record behind the array
    EXPECT_EQ(SetFaceMaterial(mesh, 4, &red, 1, 0) + SetFaceMaterial(mesh, 11, &red, 1, 1), 2);
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
    e3dtest::DeleteAll(mesh, camera);
}
