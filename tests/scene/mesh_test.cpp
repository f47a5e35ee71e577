// Mesh building: both ways of making a mesh, the setters' refusals and
// bounds, validation and deletion.
#include <gtest/gtest.h>

#include <cstring>

#include "engine3d.h"
#include "scene/mesh.h"
#include "support/memory_check.h"
#include "support/mesh_builders.h"

using e3dtest::LeakCheck;

TEST(Mesh, CreateCountsAndInitialRecord) {
    LeakCheck leaks;
    EXPECT_EQ(CreateMesh(0, 5, 0), nullptr);
    EXPECT_EQ(CreateMesh(5, 0, 0), nullptr);
    EXPECT_EQ(CreateMesh(-1, 0, 0), nullptr);
    E3DMesh *m = CreateMesh(4, 2, 0x00102030);
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->node.type, 1);
    EXPECT_EQ(m->meshKind, 0);
    EXPECT_EQ(m->state, 0x07F00027u);
    EXPECT_EQ(m->treePolygonCount, 2);
    EXPECT_NE(m->sortEntries, nullptr);
    EXPECT_EQ(m->sortBuffer[0], 0u);
    EXPECT_EQ(m->sortBuffer[1], 1u);
    EXPECT_EQ(m->defaultMaterial.mode, 0x00700063u);
    EXPECT_EQ(m->defaultMaterial.color[0][0], 16.0f);
    EXPECT_EQ(m->defaultMaterial.color[0][2], 48.0f);
    EXPECT_EQ(m->defaultMaterial.color[0][3], 255.0f);
    EXPECT_EQ(m->modelMatrix[0], 1.0f);
    EXPECT_EQ(m->modelMatrix[3], 0.0f);
    for (int i = 0; i < 64; ++i) ASSERT_EQ(m->lights[i], nullptr);
    EXPECT_EQ(AddMeshVertex(m, 1, 2, 3), 0) << "a one-block mesh cannot grow";
    EXPECT_EQ(AddMeshTriPolygon(m, 0, 1, 2, 0, 0), 0);
    DeleteMesh(m);
    E3DMesh *empty = CreateMesh(0, 0, 0);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->sortEntries, nullptr);
    EXPECT_EQ(empty->vertices, nullptr);
    DeleteMesh(empty);
    leaks.Check();
}

TEST(Mesh, TrianglesAreStoredReversedWithTheirFlags) {
    E3DMesh *m = CreateMesh(4, 3, 0);
    EXPECT_EQ(SetMeshTriPolygon(m, 0, 0, 1, 2, 99, 5), 1);
    EXPECT_EQ(m->polygons[0].vertex[0], 2);
    EXPECT_EQ(m->polygons[0].vertex[2], 0);
    EXPECT_EQ(m->polygons[0].flags, 0x00700E47u | (5u << 12));
    EXPECT_EQ(m->polygons[0].material, &m->defaultMaterial);
    EXPECT_EQ(SetMeshTriPolygon(m, 1, 0, 1, 2, 0, 40), 1);
    EXPECT_EQ(m->polygons[1].flags, 0x00700E47u) << "groups of 32 and above are dropped";
    // Refusals: index out of range, vertex out of range, repeated corners.
    EXPECT_EQ(SetMeshTriPolygon(m, 3, 0, 1, 2, 0, 0), 0);
    EXPECT_EQ(SetMeshTriPolygon(m, -1, 0, 1, 2, 0, 0), 0);
    EXPECT_EQ(SetMeshTriPolygon(m, 0, 0, 1, 4, 0, 0), 0);
    EXPECT_EQ(SetMeshTriPolygon(m, 0, -1, 1, 2, 0, 0), 0);
    EXPECT_EQ(SetMeshTriPolygon(m, 0, 0, 0, 1, 0, 0), 0);
    EXPECT_EQ(SetMeshTriPolygon(m, 0, 1, 2, 1, 0, 0), 0);
    // Quads: both triangles must fit, four distinct valid corners.
    EXPECT_EQ(SetMeshQuadPolygon(m, 2, 0, 1, 2, 3, 0, 0), 0) << "second triangle would not fit";
    EXPECT_EQ(SetMeshQuadPolygon(m, 1, 0, 1, 2, 2, 0, 0), 0);
    EXPECT_EQ(SetMeshQuadPolygon(m, 1, 0, 1, 2, 4, 0, 0), 0);
    EXPECT_EQ(SetMeshQuadPolygon(m, 1, 0, 1, 2, 3, 0, 7), 1);
    EXPECT_EQ(m->polygons[1].vertex[0], 3);
    EXPECT_EQ(m->polygons[1].vertex[1], 1);
    EXPECT_EQ(m->polygons[1].vertex[2], 0);
    EXPECT_EQ(m->polygons[1].flags, 0x00700C47u | (7u << 12));
    EXPECT_EQ(m->polygons[2].vertex[0], 3);
    EXPECT_EQ(m->polygons[2].vertex[1], 2);
    EXPECT_EQ(m->polygons[2].vertex[2], 1);
    EXPECT_EQ(m->polygons[2].flags, 0x00700647u | (7u << 12));
    EXPECT_EQ(AddMeshQuadPolygon(m, 0, 1, 2, 3, 0, 0), 1);
    DeleteMesh(m);
}

TEST(Mesh, BoundsThatAdmitOnePastTheEndStayInsideTheMesh) {
    // Run under the sanitizer build too: the spare records must absorb these.
    for (E3DMesh *m : {CreateMesh(3, 1, 0), e3dtest::MakeGrownStrip(1)}) {
        ASSERT_NE(m, nullptr);
        const E3DPolygon before = m->polygons[0];
        EXPECT_EQ(SetMeshVertex(m, 3, 7, 8, 9), 1);
        EXPECT_EQ(SetMeshVertex(m, 4, 7, 8, 9), 0);
        EXPECT_EQ(SetMeshVertex(m, -1, 7, 8, 9), 0);
        SetMeshTriTexCoords(m, 1, 1, 2, 3, 4, 5, 6);
        SetMeshQuadTexCoords(m, 0, 1, 2, 3, 4, 5, 6, 7, 8);
        EXPECT_EQ(std::memcmp(&m->polygons[0].vertex, &before.vertex, sizeof before.vertex), 0);
        EXPECT_EQ(m->polygons[0].coords[0][0], 7.0f);
        EXPECT_EQ(m->polygons[0].flags & 0x07800000u, 0x07800000u);
        if (m->lights) {
            for (int i = 0; i < 64; ++i) ASSERT_EQ(m->lights[i], nullptr);
        }
        DeleteMesh(m);
    }
}

TEST(Mesh, TexCoordsGoToSlotsInReverse) {
    E3DMesh *m = CreateMesh(4, 2, 0);
    SetMeshTriTexCoords(m, 0, 0.1f, 0.2f, 0.3f, 0.4f, 0.5f, 0.6f);
    EXPECT_EQ(m->polygons[0].coords[0][0], 0.5f);
    EXPECT_EQ(m->polygons[0].coords[2][1], 0.2f);
    SetMeshQuadTexCoords(m, 0, 1, 2, 3, 4, 5, 6, 7, 8);
    EXPECT_EQ(m->polygons[1].coords[0][0], 7.0f);
    EXPECT_EQ(m->polygons[1].coords[1][0], 5.0f);
    EXPECT_EQ(m->polygons[1].coords[2][0], 3.0f);
    SetMeshTriTexCoords(m, -1, 9, 9, 9, 9, 9, 9);
    SetMeshTriTexCoords(m, 3, 9, 9, 9, 9, 9, 9);
    EXPECT_EQ(m->polygons[0].coords[0][0], 7.0f);
    DeleteMesh(m);
}

TEST(Mesh, GrowThenValidateMakesANewRecord) {
    LeakCheck leaks;
    E3DMesh *m = CreateMesh(0, 0, 0x123456);
    AddMeshVertex(m, 0, 0, 0);
    AddMeshVertex(m, 1, 0, 0);
    AddMeshVertex(m, 0, 1, 0);
    EXPECT_EQ(AddMeshTriPolygon(m, 0, 1, 2, 0, 0), 1);
    SetMeshName(m, "grown");
    m->modelMatrix[3] = 5.0f;
    E3DMesh *v = ValidateMesh(m);
    ASSERT_NE(v, nullptr);
    EXPECT_NE(v, m);
    EXPECT_EQ(v->vertexCount, 3);
    EXPECT_EQ(v->polygonCount, 1);
    EXPECT_EQ(v->meshKind, 1);
    EXPECT_TRUE(v->state & 0x8000u);
    EXPECT_EQ(v->modelMatrix[3], 5.0f);
    EXPECT_EQ(v->name[0], '\0') << "the name is not carried over";
    // The default material is copied whole from the grown mesh.
    EXPECT_EQ(v->defaultMaterial.color[0][0], float(0x12));
    EXPECT_EQ(v->polygons[0].material, &v->defaultMaterial);
    EXPECT_EQ(v->polygons[0].backMaterial, &v->defaultMaterial);
    EXPECT_EQ(v->vertices[1].position[0], 1.0f);
    ASSERT_NE(v->boundingBox, nullptr);
    EXPECT_EQ(v->normalCount, 3);
    DeleteMesh(v);
    leaks.Check();
}

TEST(Mesh, ValidateFromCountsUsesTheDefaultColourOfTheNewRecord) {
    // A grown mesh is rebuilt with colour 0x7FFF, then its material is
    // copied over; a validated one-block mesh keeps its record.
    E3DMesh *m = CreateMesh(3, 1, 0x7FFF);
    SetMeshVertex(m, 1, 1, 0, 0);
    SetMeshVertex(m, 2, 0, 1, 0);
    SetMeshTriPolygon(m, 0, 0, 1, 2, 0, 0);
    E3DMesh *v = ValidateMesh(m);
    EXPECT_EQ(v, m);
    EXPECT_EQ(v->defaultMaterial.color[0][0], 0.0f);
    EXPECT_EQ(v->defaultMaterial.color[0][1], 127.0f);
    EXPECT_EQ(v->defaultMaterial.color[0][2], 255.0f);
    DeleteMesh(v);
}

TEST(Mesh, ValidateFailuresKeepOrDeleteAsDesigned) {
    LeakCheck leaks;
    // One-block mesh with an unset (degenerate) triangle: null, mesh alive.
    E3DMesh *m = CreateMesh(3, 2, 0);
    SetMeshTriPolygon(m, 0, 0, 1, 2, 0, 0);
    EXPECT_EQ(ValidateMesh(m), nullptr);
    EXPECT_EQ(m->meshKind, 0);
    DeleteMesh(m);
    // Grown mesh without triangles: deleted (the leak check proves it).
    E3DMesh *g = CreateMesh(0, 0, 0);
    AddMeshVertex(g, 0, 0, 0);
    EXPECT_EQ(ValidateMesh(g), nullptr);
    // Grown mesh whose added triangle was refused: the old mesh stays.
    E3DMesh *bad = CreateMesh(0, 0, 0);
    AddMeshVertex(bad, 0, 0, 0);
    AddMeshVertex(bad, 1, 0, 0);
    AddMeshVertex(bad, 0, 1, 0);
    EXPECT_EQ(AddMeshTriPolygon(bad, 0, 0, 1, 0, 0), 0);
    EXPECT_EQ(bad->polygonCount, 1);
    EXPECT_EQ(ValidateMesh(bad), nullptr);
    EXPECT_EQ(bad->vertexCount, 3);
    DeleteMesh(bad);
    leaks.Check();
}

TEST(Mesh, ValidateRedirectsBackMaterialOnTheFrontTest) {
    E3DMesh *m = e3dtest::MakeGrownStrip(2);
    E3DMaterial other{};
    m->polygons[0].backMaterial = &other;  // front still the default
    m->polygons[1].material = &other;      // back still the default
    E3DMesh *v = ValidateMesh(m);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->polygons[0].backMaterial, &v->defaultMaterial);
    EXPECT_EQ(v->polygons[1].material, &other);
    // The back pointer is not redirected because the front test failed: it
    // still names the old record's material, which the host must not use.
    EXPECT_NE(v->polygons[1].backMaterial, &v->defaultMaterial);
    DeleteMesh(v);
}

TEST(Mesh, SkeletonAndNames) {
    LeakCheck leaks;
    E3DMesh *m = CreateMesh(5, 1, 0);
    auto *skeleton = reinterpret_cast<E3DSkeleton *>(m);  // any non-null tag
    EXPECT_EQ(AssignSkeletonToMesh(m, skeleton), 1);
    EXPECT_EQ(m->skeleton, skeleton);
    for (int i = 0; i < 20; ++i) EXPECT_EQ(m->skinWeights[i], 0u);
    EXPECT_EQ(AssignSkeletonToMesh(m, skeleton), 1);
    RemoveSkeletonFromMesh(m);
    EXPECT_EQ(m->skinWeights, nullptr);
    HostMemoryFailNth(1);
    EXPECT_EQ(AssignSkeletonToMesh(m, skeleton), 0);
    HostMemoryFailNth(0);
    EXPECT_EQ(m->skeleton, nullptr);
    char *end = SetMeshName(m, "Teapot");
    EXPECT_STREQ(m->name, "Teapot");
    EXPECT_EQ(end, m->name + 6);
    EXPECT_EQ(SetMeshName(m, nullptr), nullptr);
    EXPECT_EQ(SetMeshName(nullptr, "x"), nullptr);
    const char *longName = "a name of forty characters, far too long";
    end = SetMeshName(m, longName);
    EXPECT_EQ(end, m->name + 31);
    EXPECT_EQ(std::strncmp(m->name, longName, 31), 0);
    EXPECT_EQ(m->viewport, nullptr) << "the field behind the name is untouched";
    EXPECT_EQ(AssignVertexInfluence(m, 0, 0, 1.0f), 1);
    EXPECT_EQ(CheckWeightedVertices(m), 1);
    RemoveVertexInfluence(m, 0, 0);
    DeleteMesh(m);
    leaks.Check();
}

TEST(Mesh, EveryFailedAllocationLeavesNothing) {
    // The block and the sort buffer must both be had; the sort's scratch
    // array (third) is not needed to start from the identity order.
    EXPECT_EQ(e3dtest::ForEachAllocationFailure<E3DMesh>([] { return CreateMesh(10, 4, 0); },
                                                          [](E3DMesh *m) { DeleteMesh(m); }, false),
              3);
    for (int k = 1; k <= 2; ++k) {
        HostMemoryFailNth(k);
        EXPECT_EQ(CreateMesh(10, 4, 0), nullptr);
        HostMemoryFailNth(0);
    }
    EXPECT_EQ(e3dtest::ForEachAllocationFailure<E3DMesh>([] { return CreateMesh(0, 0, 0); },
                                                          [](E3DMesh *m) { DeleteMesh(m); }),
              1);
    // Validation: every failure gives null and frees all, or succeeds.
    for (int k = 1; k < 40; ++k) {
        LeakCheck leaks;
        E3DMesh *cube = e3dtest::MakeCube(1.0f, true);
        HostMemoryFailNth(k);
        E3DMesh *v = ValidateMesh(cube);
        const bool used = HostMemoryPendingFailure() == 0;
        HostMemoryFailNth(0);
        if (v) {
            DeleteMesh(v);
        } else {
            EXPECT_TRUE(used);
        }
        leaks.Check();
        if (!used) break;
    }
}
