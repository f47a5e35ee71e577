// Short call sequences that once wrote or read memory they should not have,
// each kept as it was found: they must run, draw and delete cleanly (the
// sanitizer build watches the memory) and leave no block behind.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "engine3d.h"
#include "raster/raster.h"
#include "support/memory_check.h"
#include "support/mesh_builders.h"
#include "support/stage.h"

namespace {

using e3dtest::kBackground;
using Stage = e3dtest::Stage;

E3DMesh *Quad(float x, uint32_t colour) { return e3dtest::MakeQuadAt(x, colour); }

}  // namespace

TEST(MisuseSequences, MeshHungUnderACameraRootsItsOwnTree) {
    Stage s(true);
    E3DMesh *parent = Quad(-3, 0xFF0000), *child = Quad(3, 0x00FF00);
    AttachChildToNode(&s.camera->node, &parent->node);
    EXPECT_EQ(AssignMeshToScene(s.scene, parent, 0), parent) << "the mesh, not the camera, is the root";
    EXPECT_EQ(s.scene->polygonTotal, 2);
    // A child hung under the scene's root later counts in the scene's list.
    AttachChildToNode(&parent->node, &child->node);
    EXPECT_EQ(s.scene->polygonTotal, 4);
    EXPECT_EQ(s.scene->sortCapacity, 4);
    DrawScene(s.scene);
    EXPECT_EQ(s.scene->count, 4);
    EXPECT_TRUE(s.GuardsIntact());
    DetachChildFromNode(&parent->node, &child->node);
    EXPECT_EQ(s.scene->polygonTotal, 2);
    DeleteMesh(child);
}

TEST(MisuseSequences, FailedAllocationsNeverLeaveAShortPolygonList) {
    Stage s(true);
    E3DMesh *a = Quad(-3, 0xFF0000), *b = Quad(3, 0x00FF00);
    AssignMeshToScene(s.scene, a, 0);
    AssignMeshToScene(s.scene, b, 0);
    // Removing a mesh resizes the list; when that allocation fails the scene
    // keeps no list until it gets one again.
    HostMemoryFailNth(1);
    RemoveMeshFromScene(s.scene, a, 0);
    HostMemoryFailNth(0);
    EXPECT_EQ(s.scene->polygonTotal, 2);
    E3DMesh *c = Quad(0, 0x0000FF);
    ASSERT_EQ(AssignMeshToScene(s.scene, c, 0), c);
    EXPECT_EQ(s.scene->polygonTotal, 4) << "the total counts up from what the scene holds";
    EXPECT_EQ(s.scene->sortCapacity, 4);
    DrawScene(s.scene);
    EXPECT_EQ(s.scene->count, 4);
    EXPECT_TRUE(s.GuardsIntact());
    DeleteMesh(a);
}

TEST(MisuseSequences, AssignsReportAFailedAllocation) {
    e3dtest::LeakCheck leaks;
    InitEngine3D();
    E3DScene *scene = CreateScene();
    E3DMesh *mesh = Quad(0, 0xFFFFFF);
    E3DCamera *camera = e3dtest::MakeCamera();
    E3DLight *light = e3dtest::MakeOmni();
    E3DMaterial *material = CreateMaterial(&mesh->defaultMaterial);
    EXPECT_EQ(AssignMaterialToScene(scene, nullptr), 0);
    E3DSkeleton *skeleton = CreateSkeleton();
    HostMemoryFailNth(1);
    EXPECT_EQ(AssignCameraToScene(scene, camera), 0);
    HostMemoryFailNth(1);
    EXPECT_EQ(AssignLightToScene(scene, light, 1), 0);
    HostMemoryFailNth(1);
    EXPECT_EQ(AssignMaterialToScene(scene, material), 0);
    HostMemoryFailNth(1);
    EXPECT_EQ(AssignSkeletonToScene(scene, skeleton), 0);
    for (int k : {1, 2}) {
        HostMemoryFailNth(k);
        EXPECT_EQ(AssignMeshToScene(scene, mesh, 0), nullptr) << "allocation " << k;
        HostMemoryFailNth(0);
        EXPECT_EQ(GetSceneNumberOfMeshes(scene), 0);
        EXPECT_EQ(scene->polygonTotal, 0);
    }
    EXPECT_EQ(GetSceneNumberOfCameras(scene), 0);
    EXPECT_EQ(GetSceneNumberOfLights(scene), 0);
    EXPECT_EQ(AssignMeshToScene(scene, mesh, 0), mesh);
    EXPECT_EQ(AssignCameraToScene(scene, camera), 1);
    EXPECT_EQ(AssignLightToScene(scene, light, 1), 1);
    EXPECT_EQ(AssignMaterialToScene(scene, material), 1);
    EXPECT_EQ(AssignSkeletonToScene(scene, skeleton), 1);
    DeleteScene(scene);
    ReleaseEngine3D();
    leaks.Check();
}

TEST(MisuseSequences, GrownMeshBackSideNeverNamesTheFreedRecord) {
    Stage s(true);
    E3DMesh *m = CreateMesh(0, 0, 0x808080);
    AddMeshVertex(m, -1, 1, 10);
    AddMeshVertex(m, 1, 1, 10);
    AddMeshVertex(m, 1, -1, 10);
    AddMeshTriPolygon(m, 0, 1, 2, 0, 0);
    E3DMaterial *front = CreateMaterial(nullptr);
    SetMaterial(m, front, 0, 0);  // the front changes, the back stays the default
    m = ValidateMesh(m);
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->polygons[0].backMaterial, &m->defaultMaterial);
    SetMeshCullMode(&m->node, 0x10);  // draw the back side only
    SetMeshShadeMode(&m->node, 1);
    AssignMeshToScene(s.scene, m, 0);
    AssignMaterialToScene(s.scene, front);
    DrawScene(s.scene);
    EXPECT_TRUE(s.GuardsIntact());
}

TEST(MisuseSequences, FillersDrawNothingIntoADeletedViewport) {
    Stage s(true);
    E3DMesh *m = Quad(0, 0xFFFFFF);
    AssignMeshToScene(s.scene, m, 0);
    DrawScene(s.scene);
    ASSERT_EQ(e3d::CurrentViewport(), s.viewport);
    E3DViewport *gone = s.viewport;
    SetSceneViewport(s.scene, nullptr);
    DeleteViewport(gone);
    s.viewport = CreateViewport(&s.surface, e3dtest::kW, e3dtest::kH, 1, 0);
    EXPECT_EQ(e3d::CurrentViewport(), nullptr);
    std::fill(s.pixels.begin(), s.pixels.end(), kBackground);
    FlatSolidTriangle(&m->polygons[0], m->vertices);
    FlatSolidTriangleZ(&m->polygons[0], m->vertices);
    GouraudSolidTriangle(&m->polygons[0], m->vertices);
    GouraudSolidTriangleZ(&m->polygons[0], m->vertices);
    EXPECT_EQ(s.Written(), 0);
}

TEST(MisuseSequences, HugeCountsAreRefusedNotWrapped) {
    e3dtest::LeakCheck leaks;
    InitEngine3D();
    EXPECT_EQ(TubeCreate(2.0f, 1.0f, 1.0f, nullptr, 8, INT32_MAX, 0), nullptr);
    EXPECT_EQ(CylinderCreate(1.0f, 1.0f, nullptr, 8, INT32_MAX, 0), nullptr);
    EXPECT_EQ(CylinderCreate(1.0f, 1.0f, nullptr, INT32_MAX, 1, 0), nullptr);
    E3DMesh *m = e3dtest::MakeStrip(2);
    EXPECT_EQ(SetMeshQuadPolygon(m, INT32_MAX, 0, 1, 2, 3, 0, 0), 0);
    EXPECT_EQ(SetMeshQuadPolygon(m, INT32_MIN, 0, 1, 2, 3, 0, 0), 0);
    DeleteMesh(m);
    ReleaseEngine3D();
    leaks.Check();
}

TEST(MisuseSequences, NormalsOfAGrownMeshAreNotLeakedByValidation) {
    e3dtest::LeakCheck leaks;
    E3DMesh *m = e3dtest::MakeGrownStrip(3);
    CalcMeshPolygonsNormal(m);
    CalcMeshVerticesNormal(m);
    ASSERT_NE(m->vertexNormals, nullptr);
    m = ValidateMesh(m);
    ASSERT_NE(m, nullptr);
    DeleteMesh(m);
    leaks.Check();
}

// Found by the fuzzer: mode bits with the power-of-two bit, given for a
// texture whose sides are not powers of two, made the filler address rows of
// 2^(row length) texels, megabytes past the texture. Such a layer keeps the
// bits it was given but is read by rows, inside the texture: with
// coordinates inside it, the picture is the one drawn without the bit.
TEST(MisuseSequences, APowerOfTwoBitOnAnOddTextureReadsInsideIt) {
    for (bool depth : {true, false}) {
        SCOPED_TRACE(depth ? "depth pass" : "painter's pass");
        e3dtest::LeakCheck leaks;
        {
            Stage s(depth, true, 7.5f);
            E3DMesh *m = Quad(0.0f, 0xFFFFFF);
            SetMeshCullMode(&m->node, 0x08);
            SetMeshRenderMode(&m->node, E3D_RENDER_TEXTURED);
            SetMeshQuadTexCoords(m, 0, 0, 0, 1, 0, 1, 1, 0, 1);
            AssignMeshToScene(s.scene, m, 0);
            E3DTexture *odd = CreateCheckerTexture(17, 9, 3, 0x7C00, 0x03E0);
            ASSERT_NE(odd, nullptr);
            E3DMaterial *material = GetMeshDefaultMaterial(m);
            std::vector<uint16_t> frames[2];
            for (int k = 0; k < 2; ++k) {
                const uint32_t bits = k == 0 ? 0u : 0x40000000u;
                SetMaterialTexture(material, 0, odd, bits);
                EXPECT_EQ(GetMaterialTexture(material, 0)->mode, bits);
                std::fill(s.pixels.begin(), s.pixels.end(), kBackground);
                if (depth) ClearViewportDepthBuffer(s.viewport, 0);
                DrawScene(s.scene);
                frames[k] = s.pixels;
            }
            EXPECT_GT(s.Written(), 1000);
            EXPECT_EQ(frames[0], frames[1]);
            EXPECT_TRUE(s.GuardsIntact());
            SetMaterialTexture(material, 0, nullptr, 0);
            DeleteTexture(odd);
        }
        leaks.Check();
    }
}
