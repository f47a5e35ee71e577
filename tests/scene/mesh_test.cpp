// Mesh building: both ways of making a mesh, refusals, the block layout, validation.
#include "support/scene_fixture.h"

#include "scene/mesh.h"

using std::tuple;

namespace {

std::vector<float> Corners(const E3DMesh *m, int i) {
    const E3DPolygon &p = m->polygons[i];
    return {float(p.vertex[0]), float(p.vertex[1]), float(p.vertex[2]), p.coords[0][0], p.coords[0][1],
            p.coords[1][0], p.coords[1][1], p.coords[2][0], p.coords[2][1]};
}

}  // namespace

TEST(Mesh, CreateCountsInitialRecordAndName) {
    EXPECT_TRUE(!CreateMesh(0, 5, 0) && !CreateMesh(5, 0, 0) && !CreateMesh(-1, 0, 0));
    E3DMesh *m = CreateMesh(4, 2, 0x00102030);
    EXPECT_EQ(tuple(m->node.type, m->meshKind, m->state, m->treePolygonCount, m->defaultMaterial.mode),
              tuple(1, 0, 0x07F00027u, 2, 0x00700063u));
    const float *c = m->defaultMaterial.color[0];
    EXPECT_EQ(tuple(c[0], c[1], c[2], c[3], m->sortBuffer[0], m->sortBuffer[1]), tuple(16.0f, 32.0f, 48.0f, 255.0f, 0u, 1u));
    EXPECT_TRUE(m->modelMatrix[0] == 1.0f && m->modelMatrix[3] == 0.0f && m->lights[63] == nullptr);
    EXPECT_EQ(AddMeshVertex(m, 1, 2, 3) + AddMeshTriPolygon(m, 0, 1, 2, 0, 0), 0) << "a one-block mesh cannot grow";
    EXPECT_EQ(AssignVertexInfluence(m, 0, 0, 1) + CheckWeightedVertices(m), 2);
    DeleteMesh(m);
}

// Corners and coordinates are stored reversed: a quad is (d b a) and (d c b).
TEST(Mesh, PolygonsAreStoredReversedWithTheirFlags) {
    E3DMesh *m = CreateMesh(4, 3, 0);
    EXPECT_EQ(SetMeshTriPolygon(m, 0, 0, 1, 2, 99, 5), 1);
    SetMeshTriPolygon(m, 1, 0, 1, 2, 0, 40);
    SetMeshTriPolygon(m, 2, 0, 1, 2, 0, -1);
    EXPECT_EQ(tuple(m->polygons[0].flags, m->polygons[1].flags, m->polygons[2].flags, m->polygons[0].material),
              tuple(0x00705E47u, 0x00700E47u, 0x00700E47u | (0xFFFFFFFFu << 12), &m->defaultMaterial))
        << "groups of 32 and above are dropped, negative ones shifted in";
    EXPECT_EQ(SetMeshQuadPolygon(m, 1, 0, 1, 2, 3, 0, 7), 1);
    EXPECT_EQ(tuple(m->polygons[1].flags, m->polygons[2].flags), tuple(0x00707C47u, 0x00707647u));
    SetMeshTriTexCoords(m, 0, 0.1f, 0.2f, 0.3f, 0.4f, 0.5f, 0.6f);
    SetMeshQuadTexCoords(m, 1, 1, 2, 3, 4, 5, 6, 7, 8);
    SetMeshTriTexCoords(m, -1, 9, 9, 9, 9, 9, 9);
    SetMeshTriTexCoords(m, 4, 9, 9, 9, 9, 9, 9);
    EXPECT_EQ(Corners(m, 0), (std::vector<float>{2, 1, 0, 0.5f, 0.6f, 0.3f, 0.4f, 0.1f, 0.2f}));
    EXPECT_EQ(Corners(m, 1), (std::vector<float>{3, 1, 0, 7, 8, 3, 4, 1, 2}));
    EXPECT_EQ(Corners(m, 2), (std::vector<float>{3, 2, 1, 7, 8, 5, 6, 3, 4}));
    DeleteMesh(m);
}

// Every refusal of the polygon setters, each on its own, changes nothing.
TEST(Mesh, PolygonSetterRefusalsChangeNothing) {
    E3DMesh *m = CreateMesh(5, 4, 0);
    for (int i = 0; i < 4; ++i) ASSERT_EQ(SetMeshTriPolygon(m, i, 0, 1, 2, 0, 3), 1);
    E3DPolygon before[4];
    std::memcpy(before, m->polygons, sizeof before);
    const int tris[][4] = {
        {-1, 0, 1, 2}, {4, 0, 1, 2}, {INT32_MIN, 0, 1, 2}, {INT32_MAX, 0, 1, 2},                // polygon index
        {0, -1, 1, 2}, {0, 5, 1, 2}, {0, 0, -1, 2}, {0, 0, 5, 2}, {0, 0, 1, -1}, {0, 0, 1, 5},  // vertex range
        {0, 1, 1, 2}, {0, 1, 2, 2}, {0, 2, 1, 2}, {0, 3, 3, 3}};                               // repeated corners
    for (const auto &t : tris) {
        EXPECT_EQ(SetMeshTriPolygon(m, t[0], t[1], t[2], t[3], 0, 0), 0) << t[0] << " " << t[1] << t[2] << t[3];
        EXPECT_EQ(std::memcmp(before, m->polygons, sizeof before), 0);
    }
    const int quads[][5] = {
        {-1, 0, 1, 2, 3}, {3, 0, 1, 2, 3}, {4, 0, 1, 2, 3}, {INT32_MAX, 0, 1, 2, 3}, {INT32_MIN, 0, 1, 2, 3},
        {0, -1, 1, 2, 3}, {0, 0, 5, 2, 3}, {0, 0, 1, -1, 3}, {0, 0, 1, 2, 5}, {0, 0, 0, 2, 3}, {0, 0, 1, 0, 3},
        {0, 0, 1, 2, 0},  {0, 0, 1, 1, 3}, {0, 0, 1, 2, 1},  {0, 0, 1, 2, 2}};
    for (const auto &q : quads) {
        EXPECT_EQ(SetMeshQuadPolygon(m, q[0], q[1], q[2], q[3], q[4], 0, 0), 0) << q[0] << " " << q[1] << q[4];
        EXPECT_EQ(std::memcmp(before, m->polygons, sizeof before), 0);
    }
    EXPECT_EQ(SetMeshQuadPolygon(m, 2, 0, 1, 2, 3, 0, 0), 1) << "the last pair of slots is accepted";
    DeleteMesh(m);
}

// The block holds the record, v vertices, ceil(v / 32) flag words, p polygons,
// 64 light slots and 4096 spare bytes; the sort buffer p indices and p entries.
TEST(Mesh, OneBlockLayoutAndItsSpareRecords) {
    for (int v : {1, 31, 32, 33, 100}) {
        for (int p : {1, 2, 77}) {
            e3dtest::LeakCheck leaks;
            const int64_t bytesBefore = e3dtest::MemoryStats().liveBytes;
            E3DMesh *m = CreateMesh(v, p, 0);
            ReleaseRadixSort();  // the sort's shared scratch array is not the mesh's
            const int64_t block = int64_t(sizeof(E3DMesh)) + v * int64_t(sizeof(E3DVertex)) + (v + 31) / 32 * 4 +
                                  p * int64_t(sizeof(E3DPolygon)) + 64 * int64_t(sizeof(void *)) + 4096;
            const int64_t align = int64_t(alignof(E3DSortEntry)), indices = (p * 4 + align - 1) / align * align;
            EXPECT_EQ(e3dtest::MemoryStats().liveBytes - bytesBefore, block + indices + p * int64_t(sizeof(E3DSortEntry)))
                << v << " " << p;
            EXPECT_EQ(reinterpret_cast<char *>(m->sortEntries), reinterpret_cast<char *>(m->sortBuffer) + indices);
            DeleteMesh(m);
            leaks.Check();
        }
    }
}

TEST(Mesh, ValidationMakesANewRecordKeepsOrDeletes) {
    e3dtest::LeakCheck leaks;
    E3DMesh *m = CreateMesh(0, 0, 0x7FFF);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(AddMeshVertex(m, float(i == 1), float(i == 2), 0), 1);
    EXPECT_EQ(AddMeshTriPolygon(m, 0, 1, 2, 0, 0), 1);
    SetMeshName(m, "grown");
    CalcMeshVerticesNormal(m);  // freed with the old record
    m->modelMatrix[3] = 5.0f;
    E3DMesh *v = ValidateMesh(m);
    ASSERT_NE(v, m);
    EXPECT_EQ(tuple(v->vertexCount, v->polygonCount, v->treePolygonCount, v->node.type, v->meshKind, v->normalCount),
              tuple(3, 1, 1, 1, 1, 3));
    EXPECT_EQ(tuple(v->state, v->modelMatrix[3], v->name[0], v->vertices[1].position[0]), tuple(0x07F08027u, 5.0f, '\0', 1.0f))
        << "active, unnamed";
    EXPECT_TRUE(v->sortEntries && v->boundingBox);
    // The default material is copied whole: colour 0x7FFF is red 0, green 127, blue 255.
    const float *c = v->defaultMaterial.color[0];
    EXPECT_EQ(tuple(c[0], c[1], c[2], c[3]), tuple(0.0f, 127.0f, 255.0f, 255.0f));
    EXPECT_TRUE(v->polygons[0].material == &v->defaultMaterial && v->polygons[0].backMaterial == &v->defaultMaterial);
    DeleteMesh(v);
    // A one-block mesh with a degenerate triangle is refused and kept; then validated in place.
    m = CreateMesh(3, 2, 0);
    SetMeshTriPolygon(m, 0, 0, 1, 2, 0, 0);
    EXPECT_EQ(ValidateMesh(m), nullptr);
    EXPECT_EQ(m->meshKind, 0);
    SetMeshTriPolygon(m, 1, 2, 1, 0, 0, 0);
    EXPECT_EQ(ValidateMesh(m), m);
    EXPECT_EQ(m->meshKind, 1);
    DeleteMesh(m);
    // A grown mesh without triangles is deleted; one whose added triangle was refused stays.
    m = CreateMesh(0, 0, 0);
    AddMeshVertex(m, 0, 0, 0);
    EXPECT_EQ(ValidateMesh(m), nullptr);
    m = e3dtest::MakeGrownStrip(1);
    AddMeshTriPolygon(m, 0, 0, 1, 0, 0);
    EXPECT_EQ(ValidateMesh(m), nullptr);
    DeleteMesh(m);
    leaks.Check();
}
