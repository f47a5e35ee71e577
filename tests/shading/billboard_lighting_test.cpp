// Lit billboards: the lightless headlight, and lighting in the orientation
// the billboard is drawn in.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "engine3d.h"
#include "support/stage.h"

namespace {

using e3dtest::kBackground;
using Stage = e3dtest::Stage;

// The same four corners and two triangles as an ordinary (kind 1) mesh.
E3DMesh *OrdinaryTwin(const E3DMesh *board, uint32_t colour) {
    E3DMesh *m = CreateMesh(board->vertexCount, board->polygonCount, colour);
    for (int i = 0; i < board->vertexCount; ++i) {
        const float *p = board->vertices[i].position;
        SetMeshVertex(m, i, p[0], p[1], p[2]);
    }
    for (int i = 0; i < board->polygonCount; ++i) {
        // The setter stores its corners in reverse order.
        const int32_t *v = board->polygons[i].vertex;
        SetMeshTriPolygon(m, i, v[2], v[1], v[0], 0, 0);
    }
    m = ValidateMesh(m);
    ActivateMesh(m);
    return m;
}

std::vector<uint16_t> Frame(Stage &s) {
    return std::vector<uint16_t>(s.pixels.begin(), s.pixels.begin() + e3dtest::kW * e3dtest::kH);
}

void Redraw(Stage &s) {
    std::fill(s.pixels.begin(), s.pixels.end(), kBackground);
    ClearViewportDepthBuffer(s.viewport, 0);
    DrawScene(s.scene);
}

}  // namespace

TEST(BillboardLighting, LightlessBillboardMatchesItsOrdinaryTwin) {
    for (bool depth : {true, false}) {
        std::vector<uint16_t> boardFrame, twinFrame;
        {
            Stage s(depth, true, -10.0f);
            E3DMesh *board = BillboardCreate(2.0f, nullptr, 0xC08040);
            ASSERT_NE(board, nullptr);
            ActivateMesh(board);
            ASSERT_NE(board->state & 7u, 1u) << "billboards are lit by default";
            AssignMeshToScene(s.scene, board, 0);
            Redraw(s);
            boardFrame = Frame(s);
        }
        {
            Stage s(depth, true, -10.0f);
            E3DMesh *board = BillboardCreate(2.0f, nullptr, 0xC08040);
            E3DMesh *twin = OrdinaryTwin(board, 0xC08040);
            DeleteMesh(board);
            AssignMeshToScene(s.scene, twin, 0);
            Redraw(s);
            twinFrame = Frame(s);
        }
        EXPECT_EQ(boardFrame, twinFrame) << (depth ? "depth pass" : "painter's pass");
        EXPECT_NE(boardFrame[24 * e3dtest::kW + 32], 0) << "the centre is not black";
        EXPECT_NE(boardFrame[24 * e3dtest::kW + 32], kBackground);
    }
}

TEST(BillboardLighting, TurnedBillboardIsLitAsItIsDrawn) {
    // Camera and an omni light circle the billboard together; a billboard
    // that turns to the camera shows the light the same from every side.
    for (uint32_t mode : {1u, 2u}) {
        Stage s(true, true, -10.0f);
        E3DMesh *board = BillboardCreate(2.0f, nullptr, 0x303030);
        ASSERT_NE(board, nullptr);
        ActivateMesh(board);
        SetMeshBillboardMode(board, mode);
        SetMeshShadeMode(&board->node, 3);
        SetMaterialColor(GetMeshDefaultMaterial(board), 1, 200.0f, 160.0f, 120.0f);  // diffuse
        AssignMeshToScene(s.scene, board, 0);
        const float white[4] = {1, 1, 1, 0}, origin[3] = {0, 0, 0};
        const float start[3] = {0, 0, -10};
        E3DLight *light = CreateOmniLight(start, white, 1.0f, 1.0f, 100.0f, 0);
        SetLightStatus(light, 1, 0);
        AssignLightToScene(s.scene, light, 1);
        uint16_t first = 0;
        for (int step = 0; step < 8; ++step) {
            const float a = float(step) * 0.785398163f;
            const float at[3] = {10.0f * std::sin(a), 0.0f, -10.0f * std::cos(a)};
            SetCameraPosition(s.camera, at, 0);
            SetCameraPosition(s.camera, origin, 1);
            SetLightPosition(light, at, 0);
            Redraw(s);
            const uint16_t centre = s.At(32, 24);
            if (step == 0) first = centre;
            EXPECT_NE(centre, 0) << "mode " << mode << " step " << step;
            EXPECT_NE(centre, kBackground) << "mode " << mode << " step " << step;
            EXPECT_EQ(centre, first) << "mode " << mode << " step " << step;
        }
    }
}
