// Bone-deformed meshes: the weights export, deformation against hand and
// reference values, world normals, world lighting against an ordinary mesh
// bent by hand, culling of deformed meshes and robustness.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <array>
#include <random>
#include <string>
#include <vector>

#include "engine3d.h"
#include "raster/raster.h"
#include "shading/skinning.h"
#include "shading/vertex_stages.h"
#include "support/memory_check.h"
#include "support/stage.h"

namespace {

using e3dtest::kBackground;
using e3dtest::kH;
using e3dtest::kW;
using Stage = e3dtest::Stage;

// A ribbon from x0 to x1 at depth z facing the camera at the origin:
// columns + 1 vertices along y = +1 (index i) and y = -1 (index columns + 1
// + i), two triangles per column, all in smoothing group 0.
E3DMesh *Ribbon(int columns, float x0, float x1, float z, uint32_t colour = 0x808080) {
    E3DMesh *m = CreateMesh(2 * (columns + 1), 2 * columns, colour);
    for (int i = 0; i <= columns; ++i) {
        const float x = x0 + (x1 - x0) * float(i) / float(columns);
        SetMeshVertex(m, i, x, 1.0f, z);
        SetMeshVertex(m, columns + 1 + i, x, -1.0f, z);
    }
    for (int i = 0; i < columns; ++i) SetMeshQuadPolygon(m, 2 * i, i, i + 1, columns + 2 + i, columns + 1 + i, 0, 0);
    return ValidateMesh(m);
}

// Three bones along x: "root" at the origin, "elbow" one unit further,
// "wrist" one more (each rest position relative to its parent), plus
// optional offsets so that the elbow sits where a test wants it.
E3DSkeleton *Arm(float elbowX = 1.0f, float wristX = 1.0f, float rootZ = 0.0f) {
    E3DSkeleton *s = CreateSkeleton();
    const float positions[3][3] = {{0, 0, rootZ}, {elbowX, 0, 0}, {wristX, 0, 0}};
    const char *names[3] = {"root", "elbow", "wrist"};
    for (int i = 0; i < 3; ++i) {
        E3DBone *b = CreateBone();
        SetBonePosition(b, positions[i], 1);
        AttachBoneToSkeleton(s, i == 0 ? nullptr : names[i - 1], b, names[i]);
    }
    return s;
}

void Pose(E3DSkeleton *s, const char *bone, float ax, float ay, float az) {
    const float angles[3] = {ax, ay, az};
    SetBoneOrientation(GetBonePointerByName(s, bone), angles, 0);
}

void Weigh(E3DMesh *m, int vertex, int b0, float w0, int b1 = -1, float w1 = 0.0f) {
    const int32_t bones[4] = {b0, b1, -1, -1};
    const float weights[4] = {w0, w1, 0.0f, 0.0f};
    ASSERT_EQ(SetVertexBoneWeights(m, vertex, bones, weights), 1) << "vertex " << vertex;
}

void Redraw(Stage &s) {
    std::fill(s.pixels.begin(), s.pixels.end(), kBackground);
    if (s.viewport->depthBuffer) ClearViewportDepthBuffer(s.viewport, 0);
    DrawScene(s.scene);
}

std::vector<uint16_t> Frame(const Stage &s) { return {s.pixels.begin(), s.pixels.begin() + kW * kH}; }

void ExpectNear3(const float *got, float x, float y, float z, float tolerance, const char *what, int i) {
    EXPECT_NEAR(got[0], x, tolerance) << what << " " << i;
    EXPECT_NEAR(got[1], y, tolerance) << what << " " << i;
    EXPECT_NEAR(got[2], z, tolerance) << what << " " << i;
}

// Rz(a) about the point (cx, cy): the world position of a point of a bone
// turned by a degrees about z at that joint.
void TurnAbout(float a, float cx, float cy, const float *p, float *out) {
    const double r = double(a) * 3.14159265358979323846 / 180.0;
    const double dx = p[0] - cx, dy = p[1] - cy;
    out[0] = float(cx + dx * std::cos(r) - dy * std::sin(r));
    out[1] = float(cy + dx * std::sin(r) + dy * std::cos(r));
    out[2] = p[2];
}

}  // namespace

TEST(Skinning, WeightsExportValidatesStoresAndSetsTheKind) {
    InitEngine3D();
    {
        e3dtest::LeakCheck leaks;
        E3DMesh *m = Ribbon(4, -2, 2, 10);
        E3DSkeleton *s = Arm();
        const int32_t bones[4] = {0, 1, -1, -1};
        const float halves[4] = {0.5f, 0.5f, 0, 0};
        EXPECT_EQ(SetVertexBoneWeights(m, 0, bones, halves), 0) << "no skeleton yet";
        EXPECT_EQ(m->meshKind, 1);
        ASSERT_EQ(AssignSkeletonToMesh(m, s), 1);
        EXPECT_EQ(m->meshKind, 2);
        int32_t gotBones[4];
        float gotWeights[4];
        // The zeroed entry: nothing carries weight.
        ASSERT_EQ(GetVertexBoneWeights(m, 3, gotBones, gotWeights), 1);
        for (float w : gotWeights) EXPECT_EQ(w, 0.0f);

        ASSERT_EQ(SetVertexBoneWeights(m, 3, bones, halves), 1);
        const uint32_t before[4] = {m->skinWeights[12], m->skinWeights[13], m->skinWeights[14], m->skinWeights[15]};
        EXPECT_EQ(before[0], 0xFFFF0100u);
        EXPECT_EQ(before[1], 0x40004000u);
        EXPECT_EQ(before[2], 0u);
        EXPECT_EQ(before[3], 0u);
        // Refused, changing nothing.
        const float nan = std::nanf("");
        const struct {
            int32_t vertex;
            int32_t bones[4];
            float weights[4];
        } refused[] = {
            {3, {0, 3, -1, -1}, {0.5f, 0.5f, 0, 0}},       // bone past the skeleton
            {3, {0, -2, -1, -1}, {0.5f, 0.5f, 0, 0}},      // not a bone index
            {3, {0, 1, -1, -1}, {1.5f, -0.5f, 0, 0}},      // negative
            {3, {0, 1, -1, -1}, {nan, 1.0f, 0, 0}},        // not a number
            {3, {0, 1, -1, -1}, {INFINITY, 1.0f, 0, 0}},   // infinite
            {3, {0, 1, -1, -1}, {0.5f, 0.49f, 0, 0}},      // sums to 0.99
            {3, {0, 1, 2, -1}, {0.5f, 0.5f, 0.002f, 0}},   // sums to 1.002
            {10, {0, -1, -1, -1}, {1.0f, 0, 0, 0}},        // vertex past the mesh
            {-1, {0, -1, -1, -1}, {1.0f, 0, 0, 0}},
        };
        for (const auto &r : refused) {
            EXPECT_EQ(SetVertexBoneWeights(m, r.vertex, r.bones, r.weights), 0);
            EXPECT_EQ(std::memcmp(m->skinWeights + 12, before, sizeof before), 0);
        }
        // Within the tolerance: stored scaled to sum to one exactly.
        const int32_t three[4] = {2, 0, 1, -1};
        const float thirds[4] = {0.3334f, 0.3333f, 0.3336f, 7.0f};  // an unnamed slot's weight is ignored
        ASSERT_EQ(SetVertexBoneWeights(m, 5, three, thirds), 1);
        ASSERT_EQ(GetVertexBoneWeights(m, 5, gotBones, gotWeights), 1);
        EXPECT_EQ(gotBones[0], 2);
        EXPECT_EQ(gotBones[1], 0);
        EXPECT_EQ(gotBones[2], 1);
        EXPECT_EQ(gotBones[3], -1);
        EXPECT_EQ(gotWeights[0] + gotWeights[1] + gotWeights[2] + gotWeights[3], 1.0f);
        EXPECT_NEAR(gotWeights[2], 0.3336f / 1.0003f, 1.0f / 32768);
        // All four none clears the vertex.
        const int32_t none[4] = {-1, -1, -1, -1};
        ASSERT_EQ(SetVertexBoneWeights(m, 5, none, halves), 1);
        ASSERT_EQ(GetVertexBoneWeights(m, 5, gotBones, gotWeights), 1);
        for (int j = 0; j < 4; ++j) {
            EXPECT_EQ(gotBones[j], -1);
            EXPECT_EQ(gotWeights[j], 0.0f);
        }
        EXPECT_EQ(SetVertexBoneWeights(m, 0, nullptr, halves), 0);
        EXPECT_EQ(GetVertexBoneWeights(m, 10, gotBones, gotWeights), 0);

        // Validation keeps the kind; removing the skeleton restores kind 1.
        EXPECT_EQ(ValidateMesh(m), m);
        EXPECT_EQ(m->meshKind, 2);
        RemoveSkeletonFromMesh(m);
        EXPECT_EQ(m->meshKind, 1);
        EXPECT_EQ(GetVertexBoneWeights(m, 3, gotBones, gotWeights), 0);
        // A billboard keeps its kind.
        E3DMesh *board = BillboardCreate(1.0f, nullptr, 0xFFFFFF);
        ASSERT_EQ(AssignSkeletonToMesh(board, s), 1);
        EXPECT_EQ(board->meshKind, 3);
        DeleteMesh(board);
        DeleteSkeleton(s);
        DeleteMesh(m);
        leaks.Check();
    }
    ReleaseEngine3D();
}

TEST(Skinning, RestPoseDrawsTheSamePixelsAsNoSkeleton) {
    // A lit sphere, moved and turned, weighted over three bones whose rest
    // frames are turned too. Posed exactly at rest, posed back to rest after
    // a bent frame, with its skeleton removed after that, and with bones
    // posed but no weights, it must draw the pixels of the plain mesh: a
    // bent frame's world-space face planes must not outlive it.
    for (bool depth : {true, false})
        for (uint32_t shade : {3u, 7u}) {
            SCOPED_TRACE(std::string(depth ? "depth" : "painter's") + " shade " + std::to_string(shade));
            std::vector<uint16_t> plain;
            for (int variant = 0; variant < 3; ++variant) {
                Stage s(depth);
                E3DMesh *m = SphereCreate(3.0f, nullptr, 12, 16, 0xC08040);
                ASSERT_NE(m, nullptr);
                ActivateMesh(m);
                SetMeshShadeMode(&m->node, shade);
                SetMeshModelPosition(m, 0.5f, -0.25f, 12.0f);
                SetMeshModelOrientation(m, 20.0f, 35.0f, -10.0f);
                SetMaterialColor(GetMeshDefaultMaterial(m), 1, 220.0f, 180.0f, 90.0f);
                SetMaterialShininess(GetMeshDefaultMaterial(m), 8.0f);
                SetMaterialSpecularLevel(GetMeshDefaultMaterial(m), 0.5f);
                SetMaterialColor(GetMeshDefaultMaterial(m), 3, 255.0f, 255.0f, 255.0f);
                AssignMeshToScene(s.scene, m, 0);
                const float white[4] = {1, 1, 1, 0}, at[3] = {-6, 5, 0};
                E3DLight *light = CreateOmniLight(at, white, 1.0f, 1.0f, 100.0f, 0);
                SetLightStatus(light, 1, 0);
                AssignLightToScene(s.scene, light, 1);
                if (variant == 0) {
                    Redraw(s);
                    plain = Frame(s);
                    EXPECT_GT(s.Written(), 200);
                    continue;
                }
                E3DSkeleton *k = Arm(1.5f, 1.0f, 0.25f);
                const float turn[3] = {10.0f, -30.0f, 45.0f};
                SetBoneOrientation(GetBonePointerByName(k, "elbow"), turn, 1);
                ASSERT_EQ(AssignSkeletonToMesh(m, k), 1);
                EXPECT_EQ(m->meshKind, 2);
                E3DBone *elbow = GetBonePointerByName(k, "elbow");
                if (variant == 1) {
                    for (int v = 0; v < m->vertexCount; ++v) Weigh(m, v, v % 3, 0.375f, (v + 1) % 3, 0.625f);
                    Redraw(s);
                    EXPECT_EQ(Frame(s), plain) << "at rest";
                    Pose(k, "elbow", 0.0f, 0.0f, 60.0f);
                    Redraw(s);
                    EXPECT_NE(Frame(s), plain) << "bent";
                    std::memcpy(elbow->poseMatrix, elbow->restMatrix, sizeof elbow->poseMatrix);
                    Redraw(s);
                    EXPECT_EQ(Frame(s), plain) << "back at rest after a bent frame";
                    Pose(k, "elbow", 0.0f, 0.0f, 60.0f);
                    Redraw(s);
                    RemoveSkeletonFromMesh(m);
                    Redraw(s);
                    EXPECT_EQ(Frame(s), plain) << "skeleton removed after a bent frame";
                } else {
                    Pose(k, "elbow", 0.0f, 0.0f, 60.0f);  // posed, but nothing weighs on it
                    Redraw(s);
                    EXPECT_EQ(Frame(s), plain) << "unweighted";
                }
                EXPECT_TRUE(s.GuardsIntact());
                RemoveSkeletonFromMesh(m);
                DeleteSkeleton(k);
            }
        }
}

TEST(Skinning, AGrownMeshKeepsItsSkinAndVerticesAddedLaterHaveNoEntry) {
    for (bool depth : {true, false}) {
        e3dtest::LeakCheck leaks;
        {
            Stage s(depth);
            E3DMesh *m = CreateMesh(0, 0, 0xFFFFFF);
            const float corners[4][2] = {{-2, 1}, {2, 1}, {2, -1}, {-2, -1}};
            for (const auto &c : corners) ASSERT_EQ(AddMeshVertex(m, c[0], c[1], 10.0f), 1);
            ASSERT_EQ(AddMeshTriPolygon(m, 0, 1, 2, 0, 0), 1);
            E3DSkeleton *k = Arm();
            ASSERT_EQ(AssignSkeletonToMesh(m, k), 1);
            Weigh(m, 1, 1, 1.0f);
            // Grown past the skin array: the new vertex has no entry to set or read.
            ASSERT_EQ(AddMeshVertex(m, 0.0f, -3.0f, 10.0f), 1);
            ASSERT_EQ(AddMeshTriPolygon(m, 0, 2, 4, 0, 0), 1);
            int32_t bones[4] = {1, -1, -1, -1};
            float weights[4] = {1, 0, 0, 0};
            EXPECT_EQ(SetVertexBoneWeights(m, 4, bones, weights), 0);
            EXPECT_EQ(GetVertexBoneWeights(m, 4, bones, weights), 0);
            // Validation makes a new record that keeps skeleton and weights.
            m = ValidateMesh(m);
            ASSERT_NE(m, nullptr);
            EXPECT_EQ(m->meshKind, 2);
            EXPECT_EQ(m->skeleton, k);
            ASSERT_EQ(GetVertexBoneWeights(m, 1, bones, weights), 1);
            EXPECT_EQ(bones[0], 1);
            EXPECT_EQ(weights[0], 1.0f);
            SetMeshShadeMode(&m->node, 1);
            SetMeshCullMode(&m->node, 0x08);
            AssignMeshToScene(s.scene, m, 0);
            Pose(k, "elbow", 0.0f, 0.0f, 90.0f);
            Redraw(s);
            EXPECT_GT(s.Written(), 50);
            EXPECT_TRUE(s.GuardsIntact());
            // Vertex 1 turned about the elbow at (1, 0); the added one is rigid.
            ExpectNear3(m->vertices[1].worldPosition, 0.0f, 1.0f, 10.0f, 1e-5f, "turned", 1);
            ExpectNear3(m->vertices[4].worldPosition, 0.0f, -3.0f, 10.0f, 0.0f, "rigid", 4);
            DeleteSkeleton(k);
        }  // the scene frees the mesh
        leaks.Check();
    }
}

TEST(Skinning, DeformedPathDrawsRigidVerticesLikeTheOrdinaryPath) {
    // Two separate pieces: a lit ribbon on screen that no bone moves, and a
    // small triangle far to the left that the elbow turns (keeping it off
    // screen). The deformed path runs, and the ribbon must come out as the
    // ordinary path draws it, flat and Gouraud, with an omni and a
    // directional light and specular highlights.
    for (uint32_t shade : {3u, 7u}) {
        for (bool depth : {true, false}) {
            std::vector<uint16_t> frames[2];
            for (int skinned = 0; skinned < 2; ++skinned) {
                Stage s(depth);
                E3DMesh *m = CreateMesh(13, 9, 0x4080C0);
                for (int i = 0; i <= 4; ++i) {
                    const float x = -2.5f + 1.25f * float(i);
                    SetMeshVertex(m, i, x, 1.5f + 0.25f * float(i & 1), 10.0f + 0.5f * float(i));
                    SetMeshVertex(m, 5 + i, x, -1.5f, 10.0f + 0.5f * float(i) + 0.25f * float(i & 1));
                }
                for (int i = 0; i < 4; ++i) SetMeshQuadPolygon(m, 2 * i, i, i + 1, 6 + i, 5 + i, 0, 0);
                SetMeshVertex(m, 10, -60.0f, 1.0f, 10.0f);
                SetMeshVertex(m, 11, -59.0f, 1.0f, 10.0f);
                SetMeshVertex(m, 12, -59.0f, -1.0f, 10.0f);
                SetMeshTriPolygon(m, 8, 10, 11, 12, 0, 1);
                m = ValidateMesh(m);
                SetMeshShadeMode(&m->node, shade);
                E3DMaterial *mat = GetMeshDefaultMaterial(m);
                SetMaterialColor(mat, 1, 200.0f, 150.0f, 100.0f);
                SetMaterialColor(mat, 3, 255.0f, 255.0f, 255.0f);
                SetMaterialShininess(mat, 4.0f);
                SetMaterialSpecularLevel(mat, 0.75f);
                E3DSkeleton *k = nullptr;
                if (skinned) {
                    k = Arm(-59.0f, 1.0f);
                    ASSERT_EQ(AssignSkeletonToMesh(m, k), 1);
                    for (int v = 10; v < 13; ++v) Weigh(m, v, 1, 1.0f);
                    Pose(k, "elbow", 0.0f, 0.0f, 30.0f);
                }
                AssignMeshToScene(s.scene, m, 0);
                const float white[4] = {1, 0.9f, 0.8f, 0}, at[3] = {3, 4, 2}, aim[3] = {0, 0, 12};
                E3DLight *omni = CreateOmniLight(at, white, 0.8f, 1.0f, 100.0f, 0);
                E3DLight *sun = CreateDirectLight(at, aim, white, 0.5f, 0);
                SetLightStatus(omni, 1, 0);
                SetLightStatus(sun, 1, 0);
                AssignLightToScene(s.scene, omni, 1);
                AssignLightToScene(s.scene, sun, 1);
                Redraw(s);
                frames[skinned] = Frame(s);
                EXPECT_GT(s.Written(), 300);
                if (k) {
                    EXPECT_NE(m->vertices[10].worldPosition[1], 1.0f) << "the far triangle moved";
                    EXPECT_EQ(s.scene->count, 9) << "no deformed polygon is trivially rejected";
                    RemoveSkeletonFromMesh(m);
                    DeleteSkeleton(k);
                }
            }
            EXPECT_EQ(frames[1], frames[0]) << "shade " << shade << (depth ? " depth" : " painter's");
        }
    }
}

TEST(Skinning, QuarterTurnMovesExactlyTheVerticesWeightedToTheBone) {
    // Ribbon x = -2 .. 4 in eight columns (vertex x = -2 + 0.75 i); the
    // elbow sits at x = 1. Vertices right of it belong to the elbow, the rest
    // to the root; the elbow turns 90 degrees about z.
    Stage s(true, true, 0.0f);
    E3DMesh *m = Ribbon(8, -2.0f, 4.0f, 10.0f);
    SetMeshShadeMode(&m->node, 1);
    SetMeshCullMode(&m->node, 0x08);
    E3DSkeleton *k = Arm(1.0f, 1.0f);
    ASSERT_EQ(AssignSkeletonToMesh(m, k), 1);
    std::vector<bool> onElbow(size_t(m->vertexCount));
    for (int v = 0; v < m->vertexCount; ++v) {
        onElbow[size_t(v)] = m->vertices[v].position[0] > 1.0f;
        Weigh(m, v, onElbow[size_t(v)] ? 1 : 0, 1.0f);
    }
    Pose(k, "elbow", 0.0f, 0.0f, 90.0f);
    AssignMeshToScene(s.scene, m, 0);
    Redraw(s);
    for (int v = 0; v < m->vertexCount; ++v) {
        const float *p = m->vertices[v].position, *q = m->vertices[v].worldPosition;
        if (onElbow[size_t(v)]) {
            // (x, y) turns to (1 - y, x - 1) about the elbow.
            ExpectNear3(q, 1.0f - p[1], p[0] - 1.0f, p[2], 2e-6f, "turned vertex", v);
        } else {
            EXPECT_EQ(std::memcmp(p, q, sizeof(float) * 3), 0) << "rigid vertex " << v;
        }
    }
    // The bone's skinning matrix is kept in its third matrix.
    const float *third = GetBonePointerByName(k, "elbow")->thirdMatrix;
    EXPECT_NEAR(third[1], -1.0f, 1e-6f);
    EXPECT_NEAR(third[4], 1.0f, 1e-6f);
    EXPECT_NEAR(third[3], 1.0f, 1e-6f);
    EXPECT_NEAR(third[7], -1.0f, 1e-6f);
    EXPECT_GT(s.Written(), 100);

    // Moving the mesh carries the bent mesh (state 0); in state 1 the bones
    // are world frames that bend the placed mesh.
    SetMeshModelPosition(m, 0.0f, 0.0f, 5.0f);
    Redraw(s);
    for (int v = 0; v < m->vertexCount; ++v) {
        const float *p = m->vertices[v].position, *q = m->vertices[v].worldPosition;
        if (onElbow[size_t(v)]) ExpectNear3(q, 1.0f - p[1], p[0] - 1.0f, p[2] + 5.0f, 2e-6f, "carried", v);
    }
    SetSkeletonXFormState(k, 1);
    SetMeshModelPosition(m, 0.0f, 1.0f, 0.0f);
    Redraw(s);
    for (int v = 0; v < m->vertexCount; ++v) {
        const float *p = m->vertices[v].position, *q = m->vertices[v].worldPosition;
        // Placed first at y + 1, then turned about the world point (1, 0).
        if (onElbow[size_t(v)]) ExpectNear3(q, -p[1], p[0] - 1.0f, p[2], 2e-6f, "world-space bones", v);
        else ExpectNear3(q, p[0], p[1] + 1.0f, p[2], 0.0f, "placed", v);
    }
    RemoveSkeletonFromMesh(m);
    DeleteSkeleton(k);
}

TEST(Skinning, BlendsAgainstAReferenceModel) {
    // Half and half between the resting root and the elbow turned 90
    // degrees: the midpoint of the two placements.
    Stage s(true);
    E3DMesh *m = Ribbon(4, 1.0f, 3.0f, 10.0f);
    SetMeshCullMode(&m->node, 0x08);
    E3DSkeleton *k = Arm(1.0f, 1.0f);
    ASSERT_EQ(AssignSkeletonToMesh(m, k), 1);
    for (int v = 0; v < m->vertexCount; ++v) Weigh(m, v, 0, 0.5f, 1, 0.5f);
    Pose(k, "elbow", 0.0f, 0.0f, 90.0f);
    AssignMeshToScene(s.scene, m, 0);
    Redraw(s);
    for (int v = 0; v < m->vertexCount; ++v) {
        const float *p = m->vertices[v].position;
        float turned[3];
        TurnAbout(90.0f, 1.0f, 0.0f, p, turned);
        ExpectNear3(m->vertices[v].worldPosition, 0.5f * p[0] + 0.5f * turned[0], 0.5f * p[1] + 0.5f * turned[1],
                    p[2], 2e-6f, "half and half", v);
    }
    RemoveSkeletonFromMesh(m);
    DeleteSkeleton(k);

    // Random three-bone chains, random rest and pose frames, random weights
    // over up to four influences (one naming a missing bone), against a
    // double-precision model built from the definition: world frames down the
    // chain, pose world x inverse(rest world), weighted sum of placements, the
    // unassigned weight following the mesh's matrix.
    std::mt19937 rng(1234);
    std::uniform_real_distribution<float> angle(-180.0f, 180.0f), offset(-2.0f, 2.0f), unit(0.0f, 1.0f);
    for (int trial = 0; trial < 40; ++trial) {
        E3DMesh *mesh = Ribbon(3, -1.0f, 1.0f, 10.0f);
        E3DSkeleton *chain = CreateSkeleton();
        const char *names[3] = {"a", "b", "c"};
        for (int i = 0; i < 3; ++i) {
            E3DBone *b = CreateBone();
            const float rest[3] = {angle(rng), angle(rng), angle(rng)}, at[3] = {offset(rng), offset(rng), offset(rng)};
            SetBoneOrientation(b, rest, 1);
            SetBonePosition(b, at, 1);
            const float pose[3] = {angle(rng), angle(rng), angle(rng)}, moved[3] = {offset(rng), offset(rng), 0.0f};
            SetBoneOrientation(b, pose, 0);
            SetBonePosition(b, moved, 0);
            ASSERT_EQ(AttachBoneToSkeleton(chain, i ? names[i - 1] : nullptr, b, names[i]), 1);
        }
        if (trial & 1) SetSkeletonXFormState(chain, 1);
        ASSERT_EQ(AssignSkeletonToMesh(mesh, chain), 1);
        SetMeshModelPosition(mesh, offset(rng), offset(rng), offset(rng));
        SetMeshModelOrientation(mesh, angle(rng), angle(rng), angle(rng));
        for (int v = 0; v < mesh->vertexCount; ++v) {
            float w[4] = {unit(rng), unit(rng), unit(rng), unit(rng)};
            const float sum = w[0] + w[1] + w[2] + w[3];
            for (float &x : w) x /= sum;
            const int32_t bones[4] = {0, 1, 2, v % 2 ? 1 : 0};
            ASSERT_EQ(SetVertexBoneWeights(mesh, v, bones, w), 1);
        }
        mesh->skinWeights[4 * 1] = (mesh->skinWeights[4 * 1] & 0x00FFFFFFu) | 0xC8000000u;  // bone 200: missing
        // The mesh matrix as the traversal makes it.
        std::memcpy(mesh->worldMatrix, mesh->modelMatrix, sizeof mesh->worldMatrix);
        e3d::BuildBoneTable(mesh);
        float lo[3], hi[3];
        e3d::DeformVertices(mesh, lo, hi);

        using M = std::array<double, 12>;
        auto mul = [](const M &a, const M &b) {
            M o{};
            for (int i = 0; i < 3; ++i) {
                for (int j = 0; j < 4; ++j) {
                    o[4 * i + j] = a[4 * i] * b[j] + a[4 * i + 1] * b[4 + j] + a[4 * i + 2] * b[8 + j];
                }
                o[4 * i + 3] += a[4 * i + 3];
            }
            return o;
        };
        auto inverse = [](const M &a) {  // general 3 x 3 inverse with the translation
            const double det = a[0] * (a[5] * a[10] - a[6] * a[9]) - a[1] * (a[4] * a[10] - a[6] * a[8]) +
                               a[2] * (a[4] * a[9] - a[5] * a[8]);
            M o{};
            o[0] = (a[5] * a[10] - a[6] * a[9]) / det, o[1] = (a[2] * a[9] - a[1] * a[10]) / det;
            o[2] = (a[1] * a[6] - a[2] * a[5]) / det, o[4] = (a[6] * a[8] - a[4] * a[10]) / det;
            o[5] = (a[0] * a[10] - a[2] * a[8]) / det, o[6] = (a[2] * a[4] - a[0] * a[6]) / det;
            o[8] = (a[4] * a[9] - a[5] * a[8]) / det, o[9] = (a[1] * a[8] - a[0] * a[9]) / det;
            o[10] = (a[0] * a[5] - a[1] * a[4]) / det;
            for (int i = 0; i < 3; ++i) o[4 * i + 3] = -(o[4 * i] * a[3] + o[4 * i + 1] * a[7] + o[4 * i + 2] * a[11]);
            return o;
        };
        auto load = [](const float *f) {
            M o;
            for (int i = 0; i < 12; ++i) o[size_t(i)] = f[i];
            return o;
        };
        const M world = load(mesh->worldMatrix);
        M restW{}, poseW{}, placed[3];
        for (int b = 0; b < 3; ++b) {
            const E3DBone *bone = chain->bones[b];
            restW = b ? mul(restW, load(bone->restMatrix)) : load(bone->restMatrix);
            poseW = b ? mul(poseW, load(bone->poseMatrix)) : load(bone->poseMatrix);
            const M skin = mul(poseW, inverse(restW));
            placed[b] = (trial & 1) ? mul(skin, world) : mul(world, skin);
        }
        for (int v = 0; v < mesh->vertexCount; ++v) {
            int32_t bones[4];
            float w[4];
            GetVertexBoneWeights(mesh, v, bones, w);
            const float *p = mesh->vertices[v].position;
            double expected[3] = {0, 0, 0}, rest = 1.0;
            for (int j = 0; j < 4; ++j) {
                const M &f = bones[j] >= 0 && bones[j] < 3 ? placed[bones[j]] : world;
                rest -= w[j];
                for (int a = 0; a < 3; ++a)
                    expected[a] += w[j] * (f[4 * a] * p[0] + f[4 * a + 1] * p[1] + f[4 * a + 2] * p[2] + f[4 * a + 3]);
            }
            for (int a = 0; a < 3; ++a)
                expected[a] += rest * (world[4 * a] * p[0] + world[4 * a + 1] * p[1] + world[4 * a + 2] * p[2] +
                                       world[4 * a + 3]);
            ExpectNear3(mesh->vertices[v].worldPosition, float(expected[0]), float(expected[1]), float(expected[2]),
                        1e-4f, "random chain", trial * 100 + v);
            // The corner normal turns with the same blend, then is normalised.
            const float n[3] = {0.48f, -0.6f, 0.64f};
            double turned[3] = {0, 0, 0};
            for (int j = 0; j < 4; ++j) {
                const M &f = bones[j] >= 0 && bones[j] < 3 ? placed[bones[j]] : world;
                for (int a = 0; a < 3; ++a) turned[a] += w[j] * (f[4 * a] * n[0] + f[4 * a + 1] * n[1] + f[4 * a + 2] * n[2]);
            }
            for (int a = 0; a < 3; ++a)
                turned[a] += rest * (world[4 * a] * n[0] + world[4 * a + 1] * n[1] + world[4 * a + 2] * n[2]);
            const double length = std::sqrt(turned[0] * turned[0] + turned[1] * turned[1] + turned[2] * turned[2]);
            float normal[3];
            e3d::SkinNormal(mesh, v, n, normal);
            ExpectNear3(normal, float(turned[0] / length), float(turned[1] / length), float(turned[2] / length), 1e-5f,
                        "blended normal", trial * 100 + v);
            for (int a = 0; a < 3; ++a) {
                EXPECT_LE(lo[a], mesh->vertices[v].worldPosition[a]);
                EXPECT_GE(hi[a], mesh->vertices[v].worldPosition[a]);
            }
        }
        RemoveSkeletonFromMesh(mesh);
        DeleteSkeleton(chain);
        DeleteMesh(mesh);
    }
}

namespace {

// The ribbon with each column in its own smoothing group, so that its corner
// normals are its face normals however it is bent.
E3DMesh *FacetedRibbon(int columns, float x0, float x1, float z) {
    E3DMesh *m = CreateMesh(2 * (columns + 1), 2 * columns, 0x808080);
    for (int i = 0; i <= columns; ++i) {
        const float x = x0 + (x1 - x0) * float(i) / float(columns);
        SetMeshVertex(m, i, x, 1.0f, z);
        SetMeshVertex(m, columns + 1 + i, x, -1.0f, z);
    }
    for (int i = 0; i < columns; ++i) SetMeshQuadPolygon(m, 2 * i, i, i + 1, columns + 2 + i, columns + 1 + i, 0, i);
    return ValidateMesh(m);
}

// Ry(a) about the vertical line through (cx, ., cz), as SetBoneOrientation
// turns about y.
void TurnAboutY(float a, float cx, float cz, const float *p, float *out) {
    const double r = double(a) * 3.14159265358979323846 / 180.0;
    const double dx = p[0] - cx, dz = p[2] - cz;
    out[0] = float(cx + std::cos(r) * dx + std::sin(r) * dz);
    out[1] = p[1];
    out[2] = float(cz - std::sin(r) * dx + std::cos(r) * dz);
}

}  // namespace

TEST(Skinning, BentFaceNormalsAndBlendedCornerNormalsMatchReferences) {
    // The elbow (at x = 1, z = 10) swings the far half 60 degrees about y;
    // the joint column is shared half and half.
    Stage s(true);
    E3DMesh *m = Ribbon(8, -2.0f, 4.0f, 10.0f);
    SetMeshCullMode(&m->node, 0x08);
    SetMeshShadeMode(&m->node, 7);
    E3DSkeleton *k = Arm(1.0f, 1.0f, 10.0f);
    ASSERT_EQ(AssignSkeletonToMesh(m, k), 1);
    for (int v = 0; v < m->vertexCount; ++v) {
        const float x = m->vertices[v].position[0];
        if (x == 1.0f) Weigh(m, v, 0, 0.5f, 1, 0.5f);
        else Weigh(m, v, x > 1.0f ? 1 : 0, 1.0f);
    }
    Pose(k, "elbow", 0.0f, 60.0f, 0.0f);
    AssignMeshToScene(s.scene, m, 0);
    Redraw(s);
    EXPECT_GT(s.Written(), 100);
    int bent = 0;
    for (int i = 0; i < m->polygonCount; ++i) {
        const E3DPolygon &p = m->polygons[i];
        const float *a = m->vertices[p.vertex[0]].worldPosition, *b = m->vertices[p.vertex[1]].worldPosition,
                    *c = m->vertices[p.vertex[2]].worldPosition;
        // Reference: (b - a) x (c - b), normalised in double precision.
        const double e1[3] = {double(b[0]) - a[0], double(b[1]) - a[1], double(b[2]) - a[2]};
        const double e2[3] = {double(c[0]) - b[0], double(c[1]) - b[1], double(c[2]) - b[2]};
        double n[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2], e1[0] * e2[1] - e1[1] * e2[0]};
        const double l = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
        for (double &x : n) x /= l;
        const double d = -((a[0] + b[0] + c[0]) * n[0] + (a[1] + b[1] + c[1]) * n[1] + (a[2] + b[2] + c[2]) * n[2]) / 3;
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(p.normal[j], n[j], 2e-3) << "polygon " << i;
        EXPECT_NEAR(p.planeD, d, 2e-2) << "polygon " << i;
        bent += std::fabs(n[2] + 1.0) > 0.1;
    }
    EXPECT_GE(bent, 8) << "the far half is bent away from the view axis";

    // Corner normals: turned with the bone, and half and half at the joint.
    const float rest[3] = {0.0f, 0.0f, -1.0f};
    const double r = 60.0 * 3.14159265358979323846 / 180.0;
    const double turned[3] = {-std::sin(r), 0.0, -std::cos(r)};
    for (int v = 0; v < m->vertexCount; ++v) {
        const float x = m->vertices[v].position[0];
        float got[3];
        e3d::SkinNormal(m, v, rest, got);
        double want[3] = {0.0, 0.0, -1.0};
        if (x > 1.0f) {
            for (int j = 0; j < 3; ++j) want[j] = turned[j];
        } else if (x == 1.0f) {
            double h[3] = {0.5 * turned[0], 0.0, 0.5 * turned[2] - 0.5};
            const double l = std::sqrt(h[0] * h[0] + h[2] * h[2]);
            for (int j = 0; j < 3; ++j) want[j] = h[j] / l;
        }
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(got[j], want[j], 1e-6) << "vertex " << v;
    }
    RemoveSkeletonFromMesh(m);
    DeleteSkeleton(k);
}

TEST(Skinning, LightingMatchesAnOrdinaryMeshBentByHand) {
    // The same faceted ribbon twice: bent by the elbow (drawn deformed, lit
    // in world space), and as an ordinary mesh whose vertices were bent by
    // the formula. Every face colour and every corner colour away from the
    // joint agrees within one step per channel, flat and Gouraud, front and
    // back sides.
    for (uint32_t shade : {3u, 7u}) {
        for (float bend : {50.0f, 150.0f}) {
            Stage s(true);
            E3DMesh *a = FacetedRibbon(8, -2.0f, 4.0f, 10.0f);
            E3DMesh *b = FacetedRibbon(8, -2.0f, 4.0f, 10.0f);
            for (int v = 0; v < b->vertexCount; ++v) {
                float *p = b->vertices[v].position;
                if (p[0] > 1.0f) {
                    float q[3];
                    TurnAboutY(bend, 1.0f, 10.0f, p, q);
                    SetMeshVertex(b, v, q[0], q[1], q[2]);
                }
            }
            b = ValidateMesh(b);
            for (E3DMesh *m : {a, b}) {
                SetMeshCullMode(&m->node, 0x08);
                SetMeshShadeMode(&m->node, shade);
                E3DMaterial *mat = GetMeshDefaultMaterial(m);
                SetMaterialColor(mat, 0, 10.0f, 20.0f, 30.0f);
                SetMaterialColor(mat, 1, 200.0f, 170.0f, 120.0f);
                SetMaterialColor(mat, 3, 255.0f, 255.0f, 255.0f);
                SetMaterialShininess(mat, 6.0f);
                SetMaterialSpecularLevel(mat, 0.5f);
                AssignMeshToScene(s.scene, m, 0);
            }
            E3DSkeleton *k = Arm(1.0f, 1.0f, 10.0f);
            ASSERT_EQ(AssignSkeletonToMesh(a, k), 1);
            for (int v = 0; v < a->vertexCount; ++v) Weigh(a, v, a->vertices[v].position[0] > 1.0f ? 1 : 0, 1.0f);
            Pose(k, "elbow", 0.0f, bend, 0.0f);
            const float warm[4] = {1, 0.8f, 0.6f, 0}, at[3] = {6, 3, 4}, aim[3] = {0, -1, 12}, low[3] = {-4, -2, 6};
            E3DLight *omni = CreateOmniLight(at, warm, 0.9f, 2.0f, 40.0f, 0);
            E3DLight *sun = CreateDirectLight(low, aim, warm, 0.6f, 0);
            SetLightStatus(omni, 1, 1);  // attenuated
            SetLightStatus(sun, 1, 0);
            AssignLightToScene(s.scene, omni, 1);
            AssignLightToScene(s.scene, sun, 1);
            Redraw(s);
            ASSERT_EQ(a->meshKind, 2);
            int backs = 0;
            for (int i = 0; i < a->polygonCount; ++i) {
                const E3DPolygon &pa = a->polygons[i], &pb = b->polygons[i];
                EXPECT_EQ(pa.flags & 0x80u, pb.flags & 0x80u) << "side of polygon " << i;
                backs += (pa.flags & 0x80u) != 0;
                const uint32_t ca[3] = {pa.color, pa.color1, pa.color2}, cb[3] = {pb.color, pb.color1, pb.color2};
                // The joint column's corners keep their bones' normals while
                // its face is slanted: only its face colour is comparable.
                const bool jointColumn = i / 2 == 4;
                const int corners = shade == 7 ? (jointColumn ? 0 : 3) : 1;
                for (int j = 0; j < corners; ++j) {
                    for (int shift : {16, 8, 0}) {
                        const int x = int((ca[j] >> shift) & 255u), y = int((cb[j] >> shift) & 255u);
                        EXPECT_LE(std::abs(x - y), 1) << "shade " << shade << " bend " << bend << " polygon " << i
                                                      << " corner " << j << " shift " << shift;
                    }
                }
            }
            if (bend > 90.0f) {
                EXPECT_GT(backs, 0) << "the far half shows its back";
            }
            RemoveSkeletonFromMesh(a);
            DeleteSkeleton(k);
        }
    }
}

TEST(Skinning, CullingNeverDropsAVisibleDeformedMesh) {
    // At rest the ribbon lies far off to the left, so its own box is off
    // screen; the elbow's pose carries it to the middle. It must be drawn.
    for (bool depth : {true, false}) {
        Stage s(depth);
        E3DMesh *m = Ribbon(4, -32.0f, -28.0f, 10.0f, 0xFF0000);
        SetMeshShadeMode(&m->node, 1);
        E3DSkeleton *k = Arm(-30.0f, 1.0f, 10.0f);
        ASSERT_EQ(AssignSkeletonToMesh(m, k), 1);
        for (int v = 0; v < m->vertexCount; ++v) Weigh(m, v, 1, 1.0f);
        const float middle[3] = {0.0f, 0.0f, 0.0f};
        SetBonePosition(GetBonePointerByName(k, "elbow"), middle, 0);
        AssignMeshToScene(s.scene, m, 0);
        Redraw(s);
        EXPECT_GT(s.Written(), 200);
        // Visible meshes are counted by the flags the walk finds, before the
        // skeleton: this one's own box is off screen.
        EXPECT_EQ(GetSceneNumberOfVisibleMeshes(s.scene), 0);
        EXPECT_FALSE(m->state & 0x20000u);
        // The skeleton's sphere encloses the deformed ribbon (x -2 .. 2).
        EXPECT_NEAR(k->sphere->center[0], 0.0f, 1e-5f);
        EXPECT_NEAR(k->sphere->center[2], 10.0f, 1e-5f);
        EXPECT_NEAR(k->sphere->radius, std::sqrt(5.0f), 1e-5f);
        // Posed away again: culled, nothing emitted, nothing counted.
        const float away[3] = {0.0f, 40.0f, 0.0f};
        SetBonePosition(GetBonePointerByName(k, "elbow"), away, 0);
        Redraw(s);
        EXPECT_EQ(s.Written(), 0);
        EXPECT_TRUE(m->state & 0x20000u);
        EXPECT_EQ(s.scene->count, 0);
        EXPECT_EQ(GetSceneNumberOfVisibleMeshes(s.scene), 0);
        RemoveSkeletonFromMesh(m);
        DeleteSkeleton(k);
        RemoveMeshFromScene(s.scene, m, 0);
        // Own box in view, every deformed vertex posed away: culled, but
        // counted, as any mesh whose flags pass the walk.
        E3DMesh *centred = Ribbon(4, -2.0f, 2.0f, 10.0f, 0xFF0000);
        k = Arm(1.0f, 1.0f, 10.0f);
        ASSERT_EQ(AssignSkeletonToMesh(centred, k), 1);
        for (int v = 0; v < centred->vertexCount; ++v) Weigh(centred, v, 1, 1.0f);
        SetBonePosition(GetBonePointerByName(k, "elbow"), away, 0);
        AssignMeshToScene(s.scene, centred, 0);
        Redraw(s);
        EXPECT_EQ(s.Written(), 0);
        EXPECT_TRUE(centred->state & 0x20000u);
        EXPECT_EQ(GetSceneNumberOfVisibleMeshes(s.scene), 1);
        DeleteSkeleton(k);
        DeleteMesh(m);
    }

    // Random poses of the three bones: whenever some deformed vertex lies
    // on screen in front of near, the mesh is not culled; a pose that brings
    // vertices to or behind near switches to the clamping projection.
    Stage s(true);
    E3DMesh *m = Ribbon(12, -3.0f, 3.0f, 12.0f);
    SetMeshShadeMode(&m->node, 1);
    SetMeshCullMode(&m->node, 0x08);
    E3DSkeleton *k = Arm(-1.0f, 2.0f, 12.0f);
    ASSERT_EQ(AssignSkeletonToMesh(m, k), 1);
    for (int v = 0; v < m->vertexCount; ++v) {
        const float x = m->vertices[v].position[0];
        Weigh(m, v, x < -1.0f ? 0 : x < 1.0f ? 1 : 2, 0.75f, x < 0.0f ? 1 : 2, 0.25f);
    }
    AssignMeshToScene(s.scene, m, 0);
    const double focal = 32.0 / std::tan(30.0 * 3.14159265358979323846 / 180.0);
    std::mt19937 rng(99);
    std::uniform_real_distribution<float> angle(-180.0f, 180.0f), shift(-14.0f, 14.0f);
    int culled = 0, onScreen = 0, crossing = 0;
    for (int trial = 0; trial < 400; ++trial) {
        for (const char *name : {"root", "elbow", "wrist"}) {
            Pose(k, name, angle(rng), angle(rng), angle(rng));
            const float at[3] = {shift(rng), shift(rng), name[0] == 'r' ? 12.0f + shift(rng) : shift(rng) * 0.25f};
            SetBonePosition(GetBonePointerByName(k, name), at, 0);
        }
        Redraw(s);
        ASSERT_TRUE(s.GuardsIntact());
        bool visible = false, nearOrBehind = false;
        for (int v = 0; v < m->vertexCount; ++v) {
            const float *q = m->vertices[v].worldPosition;
            if (q[2] <= 1.0f) nearOrBehind = true;
            if (q[2] > 1.01f && std::fabs(q[0] / q[2] * focal) < 31.5 && std::fabs(q[1] / q[2] * focal) < 23.5)
                visible = true;
        }
        const bool isCulled = (m->state & 0x20000u) != 0;
        if (visible) {
            EXPECT_FALSE(isCulled) << "trial " << trial;
        }
        if (nearOrBehind) {
            EXPECT_TRUE(m->state & 0x80000u) << "trial " << trial;
            if (!isCulled) {
                EXPECT_EQ(e3d::g_projection.project, e3d::ProjectVertexWorldClamped);
            }
        }
        culled += isCulled;
        onScreen += visible;
        crossing += nearOrBehind;
    }
    EXPECT_GT(culled, 20);
    EXPECT_GT(onScreen, 20);
    EXPECT_GT(crossing, 20);
    RemoveSkeletonFromMesh(m);
    DeleteSkeleton(k);
}

TEST(Skinning, EditedSkeletonsMissingBonesAndBadPosesAreSurvived) {
    for (bool depth : {true, false}) {
        Stage s(depth);
        E3DMesh *m = Ribbon(6, -3.0f, 3.0f, 10.0f, 0x00FF00);
        SetMeshShadeMode(&m->node, 7);
        E3DSkeleton *k = Arm(0.0f, 1.0f, 10.0f);
        ASSERT_EQ(AssignSkeletonToMesh(m, k), 1);
        for (int v = 0; v < m->vertexCount; ++v) Weigh(m, v, v % 3, 0.5f, (v + 1) % 3, 0.5f);
        AssignMeshToScene(s.scene, m, 0);
        Pose(k, "elbow", 0.0f, 0.0f, 20.0f);
        Redraw(s);
        EXPECT_GT(s.Written(), 100);

        // A bone added while assigned: the block is rebuilt, weights stay.
        E3DBone *finger = CreateBone();
        const float tip[3] = {0.5f, 0, 0};
        SetBonePosition(finger, tip, 1);
        ASSERT_EQ(AttachBoneToSkeleton(k, "wrist", finger, "finger"), 1);
        Pose(k, "finger", 0.0f, 0.0f, -30.0f);
        const int32_t bones[4] = {3, 0, -1, -1};
        const float weights[4] = {0.25f, 0.75f, 0, 0};
        ASSERT_EQ(SetVertexBoneWeights(m, 0, bones, weights), 1);
        Redraw(s);
        EXPECT_GT(s.Written(), 100);
        EXPECT_TRUE(s.GuardsIntact());

        // The root re-attached: one bone left, posed; weight on the former
        // bones now follows the mesh.
        E3DBone *root = CreateBone();
        ASSERT_EQ(AttachBoneToSkeleton(k, nullptr, root, "again"), 1);
        ASSERT_EQ(k->boneCount, 1);
        const float lift[3] = {0.0f, 0.5f, 0.0f};
        SetBonePosition(k->bones[0], lift, 0);
        Redraw(s);
        for (int v = 0; v < m->vertexCount; ++v) {
            int32_t b[4];
            float w[4];
            GetVertexBoneWeights(m, v, b, w);
            float onRoot = 0.0f;
            for (int j = 0; j < 4; ++j) onRoot += b[j] == 0 ? w[j] : 0.0f;
            const float *p = m->vertices[v].position, *q = m->vertices[v].worldPosition;
            ExpectNear3(q, p[0], p[1] + 0.5f * onRoot, p[2], 1e-6f, "after a new root", v);
        }
        // A vertex naming a bone that never existed follows the mesh.
        m->skinWeights[4 * 2] = 0xFFFFFF7Fu;
        m->skinWeights[4 * 2 + 1] = e3d::kWeightOne;
        Redraw(s);
        ExpectNear3(m->vertices[2].worldPosition, m->vertices[2].position[0], m->vertices[2].position[1],
                    m->vertices[2].position[2], 0.0f, "missing bone", 2);

        // Not-a-number, infinite and huge poses: drawn or not, never outside
        // the buffer.
        const float nan = std::nanf("");
        const float poses[][3] = {{nan, 0, 0}, {0, INFINITY, 0}, {1e30f, -1e30f, 1e30f}, {0, 0, 45}};
        const float places[][3] = {{0, 0, 0}, {nan, 1, 1}, {INFINITY, 0, -INFINITY}, {1e30f, 0, 0}, {0, 0, -9.5f}};
        for (const auto &pose : poses) {
            for (const auto &place : places) {
                SetBoneOrientation(k->bones[0], pose, 0);
                SetBonePosition(k->bones[0], place, 0);
                Redraw(s);
                ASSERT_TRUE(s.GuardsIntact());
            }
        }

        // Removed, then deleted: the mesh draws as before it had bones.
        std::vector<uint16_t> plain;
        RemoveSkeletonFromMesh(m);
        DeleteSkeleton(k);
        EXPECT_EQ(m->meshKind, 1);
        Redraw(s);
        plain = Frame(s);
        EXPECT_GT(s.Written(), 100);
        // And a kind-2 child of another mesh is deformed and drawn too.
        E3DSkeleton *k2 = Arm(0.0f, 1.0f, 10.0f);
        E3DMesh *child = Ribbon(4, -1.0f, 1.0f, 10.0f, 0x0000FF);
        SetMeshShadeMode(&child->node, 1);
        RemoveMeshFromScene(s.scene, m, 0);
        AttachChildToNode(&m->node, &child->node);
        AssignMeshToScene(s.scene, m, 0);
        ASSERT_EQ(AssignSkeletonToMesh(child, k2), 1);
        for (int v = 0; v < child->vertexCount; ++v) Weigh(child, v, 1, 1.0f);
        const float down[3] = {0.0f, -2.0f, 0.0f};
        SetBonePosition(GetBonePointerByName(k2, "elbow"), down, 0);
        Redraw(s);
        EXPECT_NEAR(child->vertices[0].worldPosition[1], -1.0f, 1e-6f);
        EXPECT_TRUE(s.GuardsIntact());
        RemoveSkeletonFromMesh(child);
        DeleteSkeleton(k2);
    }
}

TEST(Skinning, EnvironmentCoordinatesUseTheBlendedNormalAndTheView) {
    // The camera looks along +z from a point off to the side, so that its
    // view rows are not the axes. After a frame with the elbow turned 60
    // degrees about y, the deformed stage is run again in the environment
    // draw mode: each corner's u, v are its blended, normalised normal dotted
    // with the view's first two rows.
    Stage s(true);
    const float eye[3] = {-3.0f, 2.0f, -4.0f}, target[3] = {1.0f, 0.0f, 10.0f};
    SetCameraPosition(s.camera, eye, 0);
    SetCameraPosition(s.camera, target, 1);
    E3DMesh *m = Ribbon(8, -2.0f, 4.0f, 10.0f);
    SetMeshShadeMode(&m->node, 1);
    SetMeshCullMode(&m->node, 0x08);
    E3DSkeleton *k = Arm(1.0f, 1.0f, 10.0f);
    ASSERT_EQ(AssignSkeletonToMesh(m, k), 1);
    for (int v = 0; v < m->vertexCount; ++v) {
        const float x = m->vertices[v].position[0];
        if (x == 1.0f) Weigh(m, v, 0, 0.5f, 1, 0.5f);
        else Weigh(m, v, x > 1.0f ? 1 : 0, 1.0f);
    }
    Pose(k, "elbow", 0.0f, 60.0f, 0.0f);
    AssignMeshToScene(s.scene, m, 0);
    Redraw(s);
    ASSERT_GT(s.Written(), 50);
    const float *view = s.camera->viewMatrix;
    for (int i = 0; i < m->polygonCount; ++i) m->polygons[i].flags |= 0x2000000u;
    GetMeshDefaultMaterial(m)->mode |= 0x2000000u;
    std::vector<E3DSortEntry> entries(size_t(m->polygonCount));
    e3d::g_lists = {entries.data(), entries.data() + entries.size() - 1, 0, 0};
    EXPECT_EQ(e3d::kDepthBufferedStages[2](m), uint32_t(m->polygonCount));
    const double r = 60.0 * 3.14159265358979323846 / 180.0;
    for (int i = 0; i < m->polygonCount; ++i) {
        const E3DPolygon &p = m->polygons[i];
        for (int j = 0; j < 3; ++j) {
            const float *rest = m->vertexNormals + 3 * p.normalIndex[j];
            ASSERT_NEAR(rest[2], 1.0f, 2e-3f);
            const float x = m->vertices[p.vertex[j]].position[0];
            // Ry(60) of the rest normal; moved corners are normalised, a
            // corner no moved bone carries keeps the rest normal as it is.
            const double turned[3] = {std::cos(r) * rest[0] + std::sin(r) * rest[2], rest[1],
                                      -std::sin(r) * rest[0] + std::cos(r) * rest[2]};
            double n[3] = {rest[0], rest[1], rest[2]};
            if (x >= 1.0f) {
                const double share = x > 1.0f ? 1.0 : 0.5;
                for (int a = 0; a < 3; ++a) n[a] = (1.0 - share) * n[a] + share * turned[a];
                const double l = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
                for (double &c : n) c /= l;
            }
            EXPECT_NEAR(p.coords[j][2], n[0] * view[0] + n[1] * view[1] + n[2] * view[2], 1e-5) << i << " " << j;
            EXPECT_NEAR(p.coords[j][3], n[0] * view[4] + n[1] * view[5] + n[2] * view[6], 1e-5) << i << " " << j;
        }
    }
    RemoveSkeletonFromMesh(m);
    DeleteSkeleton(k);
}
