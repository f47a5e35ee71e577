// The header's named values must drive the engine the way their comments
// say: a name with the wrong bit would silently switch the wrong feature.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "engine3d.h"

namespace {

TEST(NamedValues, VersionStringMatchesItsNumbers) {
    char expected[32];
    std::snprintf(expected, sizeof expected, "%d.%d.%d", E3D_VERSION_MAJOR, E3D_VERSION_MINOR, E3D_VERSION_PATCH);
    EXPECT_STREQ(E3D_VERSION, expected);
}

TEST(NamedValues, ViewportTypeDepthAndOwnership) {
    E3DViewport *own = CreateViewport(nullptr, 16, 12, E3D_DEPTH_ON, 1);
    ASSERT_NE(own, nullptr);
    EXPECT_NE(own->flags & E3D_VIEWPORT_OWN_BUFFER, 0u);
    EXPECT_EQ(own->flags & (E3D_VIEWPORT_DEPTH_BUFFER | E3D_VIEWPORT_DEPTH_TEST),
              E3D_VIEWPORT_DEPTH_BUFFER | E3D_VIEWPORT_DEPTH_TEST);
    EXPECT_NE(own->depthBuffer, nullptr);
    EXPECT_EQ(own->flags & E3D_VIEWPORT_ENABLED, 0u);
    SetViewportType(own, E3D_VIEWPORT_TYPE2 | E3D_VIEWPORT_ENABLED);
    EXPECT_EQ(GetViewportType(own), E3D_VIEWPORT_TYPE2);
    EXPECT_NE(own->flags & E3D_VIEWPORT_ENABLED, 0u);
    EXPECT_EQ(SetViewportDepthState(own, E3D_DEPTH_OFF), 0);
    EXPECT_EQ(own->flags & (E3D_VIEWPORT_DEPTH_BUFFER | E3D_VIEWPORT_DEPTH_TEST), 0u);
    EXPECT_EQ(own->depthBuffer, nullptr);
    EXPECT_EQ(SetViewportDepthState(own, E3D_DEPTH_ON), 1);
    DeleteViewport(own);
}

TEST(NamedValues, MeshRenderShadeCullAndBillboardModes) {
    E3DMesh *cube = CubeCreate(1.0f, nullptr, 0x808080);
    ASSERT_NE(cube, nullptr);
    for (uint32_t mode : {E3D_RENDER_DOTS, E3D_RENDER_WIRE, E3D_RENDER_SOLID, E3D_RENDER_TEXTURED}) {
        SetMeshRenderMode(&cube->node, mode);
        EXPECT_EQ(GetMeshRenderMode(cube), mode);
    }
    SetMeshRenderMode(&cube->node, E3D_RENDER_WIRE | E3D_RENDER_MODIFIER);
    EXPECT_EQ(GetMeshRenderMode(cube), E3D_RENDER_WIRE);
    EXPECT_NE(cube->state & E3D_RENDER_MODIFIER, 0u);
    for (int shade : {E3D_SHADE_NONE, E3D_SHADE_FLAT, E3D_SHADE_GOURAUD}) {
        SetMeshShadeMode(&cube->node, (uint32_t)shade);
        EXPECT_EQ(GetMeshShadeMode(cube), (uint32_t)shade);
    }
    EXPECT_EQ(GetMeshCullMode(cube), E3D_CULL_BACK); // the default
    for (uint32_t cull : {E3D_CULL_NONE, E3D_CULL_FRONT, E3D_CULL_BACK}) {
        SetMeshCullMode(&cube->node, cull);
        EXPECT_EQ(GetMeshCullMode(cube), cull);
    }
    DeleteMesh(cube);
    E3DMesh *board = BillboardCreate(1.0f, nullptr, 0xFFFFFF);
    ASSERT_NE(board, nullptr);
    SetMeshBillboardMode(board, E3D_BILLBOARD_UPRIGHT);
    EXPECT_EQ(board->billboardMode & 3u, 2u);
    DeleteMesh(board);
}

TEST(NamedValues, MaterialSlotsBlendSpecularAndLayers) {
    E3DMesh *cube = CubeCreate(1.0f, nullptr, 0x808080);
    ASSERT_NE(cube, nullptr);
    E3DMaterial *m = CreateMaterial(GetMeshDefaultMaterial(cube));
    ASSERT_NE(m, nullptr);
    SetMaterialColor(m, E3D_COLOR_EMISSIVE, 10, 20, 30);
    SetMaterialColor(m, E3D_COLOR_SPECULAR, 40, 50, 60);
    EXPECT_EQ(m->color[3][0], 10.0f); // emissive is stored last
    EXPECT_EQ(m->color[2][0], 40.0f);
    SetMaterialAlphaMode(m, E3D_BLEND_SUBTRACTIVE);
    EXPECT_EQ(m->alphaMode, 3);
    SetMaterialShininess(m, 8.0f);
    EXPECT_NE(m->mode & E3D_MATERIAL_SPECULAR, 0u);
    SetMaterialColorOp(m, 5, 1);
    EXPECT_NE(m->mode & E3D_MATERIAL_COLOR_OP, 0u);
    SetMaterialCullMode(m, E3D_CULL_NONE);
    EXPECT_EQ(GetMaterialCullMode(m), E3D_CULL_NONE);

    E3DTexture *checker = CreateCheckerTexture(64, 64, 4, 0x7FFF, 0);
    ASSERT_NE(checker, nullptr);
    const uint32_t layers[4] = {E3D_TEXTURE_LAYER0, E3D_TEXTURE_LAYER1, E3D_TEXTURE_LAYER2, E3D_TEXTURE_LAYER3};
    for (uint32_t layer = 0; layer < 3; ++layer) {
        SetMaterialTexture(m, layer, checker, 0);
        EXPECT_EQ(m->mode & (layers[0] | layers[1] | layers[2] | layers[3]), layers[layer]) << "layer " << layer;
        EXPECT_NE(GetMaterialTexture(m, layer)->mode & E3D_TEXTURE_POWER_OF_TWO, 0u);
        SetMaterialTexture(m, layer, nullptr, 0);
    }
    SetMaterial(cube, m, E3D_SIDE_BACK, 0);
    EXPECT_EQ(GetMaterial(cube, E3D_SIDE_BACK), m);
    EXPECT_EQ(GetMaterial(cube, E3D_SIDE_FRONT), GetMeshDefaultMaterial(cube));
    SetMaterial(cube, m, E3D_SIDE_BOTH, 0);
    EXPECT_EQ(GetMaterial(cube, E3D_SIDE_FRONT), m);
    DeleteMesh(cube);
    DeleteMaterial(m);
    DeleteTexture(checker);
}

TEST(NamedValues, LightKindAndStatusBits) {
    const float at[3] = {0, 0, 0}, to[3] = {0, 0, 1}, white[4] = {1, 1, 1, 0};
    E3DLight *omni = CreateOmniLight(at, white, 1.0f, 1.0f, 10.0f, 0);
    E3DLight *sun = CreateDirectLight(at, to, white, 1.0f, 0);
    ASSERT_NE(omni, nullptr);
    ASSERT_NE(sun, nullptr);
    EXPECT_NE(omni->flags & E3D_LIGHT_FLAG_OMNI, 0u);
    EXPECT_NE(sun->flags & E3D_LIGHT_FLAG_DIRECT, 0u);
    SetLightStatus(omni, E3D_LIGHT_ON, E3D_LIGHT_ATTENUATED);
    EXPECT_EQ(omni->flags & (E3D_LIGHT_FLAG_ON | E3D_LIGHT_FLAG_ATTENUATED),
              E3D_LIGHT_FLAG_ON | E3D_LIGHT_FLAG_ATTENUATED);
    SetLightStatus(omni, E3D_LIGHT_OFF, E3D_LIGHT_UNATTENUATED);
    EXPECT_EQ(omni->flags & (E3D_LIGHT_FLAG_ON | E3D_LIGHT_FLAG_ATTENUATED), 0u);
    EXPECT_NE(omni->flags & E3D_LIGHT_FLAG_OMNI, 0u);

    // Sharing lights: a mesh added with the flag takes the scene's lights.
    E3DScene *scene = CreateScene();
    E3DMesh *cube = CubeCreate(1.0f, nullptr, 0x808080);
    ASSERT_NE(scene, nullptr);
    ASSERT_NE(cube, nullptr);
    ActivateMesh(cube);
    AssignLightToScene(scene, sun, 0);
    AssignMeshToScene(scene, cube, E3D_SCENE_SHARE_LIGHTS);
    ASSERT_NE(GetMeshLightList(cube), nullptr);
    EXPECT_EQ(GetMeshLightList(cube)[0], sun);
    DeleteScene(scene);
    DeleteLight(omni);
}

} // namespace
