// Bone-deformed meshes: weights, deformation and normals against a model,
// drawing against ordinary meshes, environment coordinates and culling.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <random>
#include <string>

#include "shading/skinning.h"
#include "shading/vertex_stages.h"
#include "support/memory_check.h"
#include "support/mesh_builders.h"
#include "support/stage_kit.h"

using namespace e3dtest;

TEST(Skinning, WeightsAreValidatedStoredAndKeptThroughGrowth) {
    InitEngine3D();
    LeakCheck leaks;
    E3DMesh *m = Ribbon(4, -2, 2, 10);
    E3DSkeleton *s = Arm();
    const int32_t bones[4] = {0, 1, -1, -1}, three[4] = {2, 0, 1, -1}, none[4] = {-1, -1, -1, -1};
    const float halves[4] = {0.5f, 0.5f, 0, 0}, nan = std::nanf("");
    int32_t gotBones[4] = {};
    float gotWeights[4] = {};
    EXPECT_TRUE(SetVertexBoneWeights(m, 0, bones, halves) == 0 && m->meshKind == 1) << "no skeleton yet";
    ASSERT_TRUE(AssignSkeletonToMesh(m, s) == 1 && m->meshKind == 2 && SetVertexBoneWeights(m, 3, bones, halves) == 1);
    const uint32_t stored[4] = {0xFFFF0100u, 0x40004000u, 0, 0};
    EXPECT_EQ(std::memcmp(m->skinWeights + 12, stored, sizeof stored), 0);
    const struct { int32_t vertex, bones[4]; float weights[4]; } refused[] = {
        {3, {0, 3, -1, -1}, {0.5f, 0.5f, 0, 0}},    {3, {0, -2, -1, -1}, {0.5f, 0.5f, 0, 0}},
        {3, {0, 1, -1, -1}, {1.5f, -0.5f, 0, 0}},   {3, {0, 1, -1, -1}, {nan, 1.0f, 0, 0}},
        {3, {0, 1, -1, -1}, {INFINITY, 1.0f, 0, 0}}, {3, {0, 1, -1, -1}, {0.5f, 0.49f, 0, 0}},
        {3, {0, 1, 2, -1}, {0.5f, 0.5f, 0.002f, 0}}, {10, {0, -1, -1, -1}, {1.0f, 0, 0, 0}},
        {-1, {0, -1, -1, -1}, {1.0f, 0, 0, 0}},     {0, {0, -1, -1, -1}, {nan, 0, 0, 0}},
    };
    for (const auto &r : refused)
        EXPECT_TRUE(SetVertexBoneWeights(m, r.vertex, r.bones, r.weights) == 0 && !std::memcmp(m->skinWeights + 12, stored, 16));
    EXPECT_TRUE(SetVertexBoneWeights(m, 0, nullptr, halves) == 0 && GetVertexBoneWeights(m, 10, gotBones, gotWeights) == 0);
    // Within the tolerance: scaled to sum to one exactly, the rounding going
    // to the largest weight, wherever it stands; an unnamed slot is ignored;
    // all four unnamed clear the vertex.
    const float sets[3][4] = {{0.3334f, 0.3333f, 0.3336f, 7.0f}, {0.6f, 0.2f, 0.2f, 0.0f}, {1, 1, 1, 1}};
    const uint32_t units[3][3] = {{10922, 10918, 10928}, {19660, 6554, 6554}, {0, 0, 0}};
    for (int k = 0; k < 3; ++k) {
        ASSERT_TRUE(SetVertexBoneWeights(m, 5, k < 2 ? three : none, sets[k]) && GetVertexBoneWeights(m, 5, gotBones, gotWeights));
        for (int j = 0; j < 4; ++j) EXPECT_EQ(gotBones[j], k < 2 ? three[j] : -1);
        for (int j = 0; j < 4; ++j) EXPECT_EQ(gotWeights[j] * 32768.0f, j < 3 ? float(units[k][j]) : 0.0f) << k << j;
    }
    // A grown mesh: a vertex added past the skin array has no entry.
    E3DMesh *g = MakeGrownStrip(1);
    ASSERT_TRUE(AssignSkeletonToMesh(g, s) && AddMeshVertex(g, 0.0f, -3.0f, 10.0f));
    EXPECT_TRUE(SetVertexBoneWeights(g, 2, bones, halves) == 1 && SetVertexBoneWeights(g, 3, bones, halves) == 0);
    EXPECT_EQ(GetVertexBoneWeights(g, 3, gotBones, gotWeights), 0);
    RemoveSkeletonFromMesh(m);
    EXPECT_TRUE(m->meshKind == 1 && GetVertexBoneWeights(m, 3, gotBones, gotWeights) == 0);
    E3DMesh *board = BillboardCreate(1.0f, nullptr, 0xFFFFFF);
    EXPECT_TRUE(AssignSkeletonToMesh(board, s) && board->meshKind == 3) << "a billboard keeps its kind";
    for (E3DMesh *x : {g, board, m}) RemoveSkeletonFromMesh(x), DeleteMesh(x);
    DeleteSkeleton(s), leaks.Check();
    ReleaseEngine3D();
}

TEST(Skinning, RestPosesAndRigidVerticesDrawAsTheOrdinaryMesh) {
    // A lit ribbon, moved and turned, with a triangle far off to the left,
    // on bones whose rest frames are turned too. It draws the plain mesh's
    // pixels when posed with nothing weighing on the bone, when the elbow
    // carries only the far triangle (the deformed path then draws the rigid
    // ribbon), back at rest after a bent frame, and with its skeleton removed
    // after one: a bent frame's world-space face planes must not outlive it.
    for (bool depth : {true, false})
        for (uint32_t shade : {3u, 7u}) {
            SCOPED_TRACE(std::to_string(depth) + " shade " + std::to_string(shade));
            Stage s(depth);
            E3DMesh *m = CreateMesh(13, 9, 0x4080C0);
            for (int i = 0; i <= 4; ++i) {
                const float x = -2.5f + 1.25f * float(i), z = 10.0f + 0.5f * float(i);
                SetMeshVertex(m, i, x, 1.5f + 0.25f * float(i & 1), z);
                SetMeshVertex(m, 5 + i, x, -1.5f, z + 0.25f * float(i & 1));
            }
            for (int i = 0; i < 4; ++i) SetMeshQuadPolygon(m, 2 * i, i, i + 1, 6 + i, 5 + i, 0, 0);
            for (int i = 0; i < 3; ++i) SetMeshVertex(m, 10 + i, i ? -59.0f : -60.0f, i == 2 ? -1.0f : 1.0f, 10.0f);
            SetMeshTriPolygon(m, 8, 10, 11, 12, 0, 1);
            m = ValidateMesh(m);
            SetMeshModelPosition(m, 0.25f, -0.25f, 1.0f), SetMeshModelOrientation(m, 5.0f, 10.0f, -5.0f);
            SetMeshCullMode(&m->node, 0x08);
            E3DMaterial *mat = GetMeshDefaultMaterial(m);
            SetMaterialColor(mat, 0, 10.0f, 20.0f, 30.0f), SetMaterialColor(mat, 1, 200.0f, 160.0f, 100.0f);
            SetMaterialColor(mat, 3, 255.0f, 255.0f, 255.0f), SetMaterialShininess(mat, 8.0f);
            SetMaterialSpecularLevel(mat, 0.5f), SetMeshShadeMode(&m->node, shade);
            AssignMeshToScene(s.scene, m, 0);
            AddOmni(s.scene, -6, 5, 0, 1.0f, 1.0f, 100.0f);
            AddSun(s.scene, {3, 4, 2}, {0, 0, 12}, 0.5f);
            Redraw(s);
            const std::vector<uint16_t> plain = Frame(s);
            EXPECT_GT(s.Written(), 200);
            auto plainAgain = [&] { return Redraw(s), Frame(s) == plain; };
            E3DSkeleton *k = Arm(-59.0f, 1.0f, 0.25f);
            const float turn[3] = {10.0f, -30.0f, 45.0f};
            E3DBone *elbow = GetBonePointerByName(k, "elbow");
            ASSERT_EQ((SetBoneOrientation(elbow, turn, 1), AssignSkeletonToMesh(m, k)), 1);
            Pose(k, "elbow", 0.0f, 0.0f, 30.0f);
            EXPECT_TRUE(plainAgain()) << "unweighted";
            for (int v = 10; v < 13; ++v) Weigh(m, v, 1, 1.0f);
            EXPECT_TRUE(plainAgain()) << "rigid ribbon";
            EXPECT_NE(m->vertices[10].worldPosition[1], 1.0f) << "the far triangle moved";
            EXPECT_EQ(s.scene->count, 9) << "no deformed polygon is trivially rejected";
            for (int v = 0; v < 10; ++v) Weigh(m, v, v % 3, 0.375f, 1, 0.625f);
            EXPECT_FALSE(plainAgain()) << "bent";
            std::memcpy(elbow->poseMatrix, elbow->restMatrix, sizeof elbow->poseMatrix);
            EXPECT_TRUE(plainAgain()) << "back at rest after a bent frame";
            Pose(k, "elbow", 0.0f, 0.0f, 60.0f), Redraw(s), RemoveSkeletonFromMesh(m);
            EXPECT_TRUE(plainAgain()) << "removed after a bent frame";
            EXPECT_TRUE(s.GuardsIntact());
            DeleteSkeleton(k);
        }
}

TEST(Skinning, DeformationAndNormalsMatchAReferenceModel) {
    // Random three-bone chains, rest and pose frames, weights over four
    // influences (one naming a missing bone), against a model built from the
    // definition: world frames down the chain, pose x inverse(rest), weighted
    // sum of placements, the unassigned weight following the mesh's matrix.
    using M = std::array<double, 12>;
    auto mul = [](const M &a, const M &b) {
        M o{};
        for (int i = 0; i < 12; ++i) o[i] = a[i & ~3] * b[i & 3] + a[(i & ~3) + 1] * b[4 + (i & 3)] + a[(i & ~3) + 2] * b[8 + (i & 3)];
        for (int i = 0; i < 3; ++i) o[4 * i + 3] += a[4 * i + 3];
        return o;
    };
    auto inverse = [](const M &a) {  // cofactors, and the translation taken back
        M o{};
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) {
                const int r0 = (j + 1) % 3, r1 = (j + 2) % 3, c0 = (i + 1) % 3, c1 = (i + 2) % 3;
                o[4 * i + j] = a[4 * r0 + c0] * a[4 * r1 + c1] - a[4 * r0 + c1] * a[4 * r1 + c0];
            }
        const double det = a[0] * o[0] + a[1] * o[4] + a[2] * o[8];
        for (int i = 0; i < 3; ++i) {
            for (int j = 0; j < 3; ++j) o[4 * i + j] /= det;
            o[4 * i + 3] = -(o[4 * i] * a[3] + o[4 * i + 1] * a[7] + o[4 * i + 2] * a[11]);
        }
        return o;
    };
    auto load = [](const float *f) { return M{f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7], f[8], f[9], f[10], f[11]}; };
    std::mt19937 rng(1234);
    std::uniform_real_distribution<float> angle(-180.0f, 180.0f), offset(-2.0f, 2.0f), unit(0.0f, 1.0f);
    for (int trial = 0; trial < 40; ++trial) {
        E3DMesh *mesh = Ribbon(3, -1.0f, 1.0f, 10.0f);
        E3DSkeleton *chain = CreateSkeleton();
        const char *names[3] = {"a", "b", "c"};
        for (int i = 0; i < 3; ++i) {
            E3DBone *b = CreateBone();
            const float rest[3] = {angle(rng), angle(rng), angle(rng)}, at[3] = {offset(rng), offset(rng), offset(rng)};
            const float pose[3] = {angle(rng), angle(rng), angle(rng)}, moved[3] = {offset(rng), offset(rng), 0.0f};
            SetBoneOrientation(b, rest, 1), SetBonePosition(b, at, 1), SetBoneOrientation(b, pose, 0), SetBonePosition(b, moved, 0);
            ASSERT_EQ(AttachBoneToSkeleton(chain, i ? names[i - 1] : nullptr, b, names[i]), 1);
        }
        if (trial & 1) SetSkeletonXFormState(chain, 1);  // bones are world frames
        ASSERT_EQ(AssignSkeletonToMesh(mesh, chain), 1);
        SetMeshModelPosition(mesh, offset(rng), offset(rng), offset(rng)), SetMeshModelOrientation(mesh, angle(rng), angle(rng), angle(rng));
        for (int v = 0; v < mesh->vertexCount; ++v) {
            float w[4] = {unit(rng), unit(rng), unit(rng), unit(rng)}, sum = w[0] + w[1] + w[2] + w[3];
            const int32_t bones[4] = {0, 1, 2, v % 2 ? 1 : 0};
            ASSERT_EQ((std::for_each(w, w + 4, [sum](float &x) { x /= sum; }), SetVertexBoneWeights(mesh, v, bones, w)), 1);
        }
        mesh->skinWeights[4] = (mesh->skinWeights[4] & 0x00FFFFFFu) | 0xC8000000u;  // bone 200: missing
        std::memcpy(mesh->worldMatrix, mesh->modelMatrix, sizeof mesh->worldMatrix);  // as the walk makes it
        e3d::BuildBoneTable(mesh);
        float lo[3], hi[3];
        e3d::DeformVertices(mesh, lo, hi);
        const M world = load(mesh->worldMatrix);
        M restW{}, poseW{}, placed[3];
        for (int b = 0; b < 3; ++b) {
            const E3DBone *bone = chain->bones[b];
            restW = b ? mul(restW, load(bone->restMatrix)) : load(bone->restMatrix);
            poseW = b ? mul(poseW, load(bone->poseMatrix)) : load(bone->poseMatrix);
            const M skin = mul(poseW, inverse(restW));
            placed[b] = (trial & 1) ? mul(skin, world) : mul(world, skin);
        }
        const float n[3] = {0.48f, -0.6f, 0.64f};
        float seenLo[3] = {INFINITY, INFINITY, INFINITY}, seenHi[3] = {-INFINITY, -INFINITY, -INFINITY};
        for (int v = 0; v < mesh->vertexCount; ++v) {
            int32_t bones[4];
            float w[4];
            GetVertexBoneWeights(mesh, v, bones, w);
            const float *p = mesh->vertices[v].position;
            double at[3] = {0, 0, 0}, turned[3] = {0, 0, 0}, rest = 1.0;
            for (int j = 0; j <= 4; ++j) {
                const M &f = j < 4 && bones[j] >= 0 && bones[j] < 3 ? placed[bones[j]] : world;
                const double share = j < 4 ? w[j] : rest;
                if (j < 4) rest -= w[j];
                for (int a = 0; a < 3; ++a) {
                    at[a] += share * (f[4 * a] * p[0] + f[4 * a + 1] * p[1] + f[4 * a + 2] * p[2] + f[4 * a + 3]);
                    turned[a] += share * (f[4 * a] * n[0] + f[4 * a + 1] * n[1] + f[4 * a + 2] * n[2]);
                }
            }
            const float *q = mesh->vertices[v].worldPosition;
            ExpectNear3(q, at[0], at[1], at[2], 1e-4, "random chain", trial * 100 + v);
            const double length = std::sqrt(turned[0] * turned[0] + turned[1] * turned[1] + turned[2] * turned[2]);
            float normal[3];
            e3d::SkinNormal(mesh, v, n, normal);  // blended like the position, then normalised
            ExpectNear3(normal, turned[0] / length, turned[1] / length, turned[2] / length, 1e-5, "normal", trial * 100 + v);
            for (int a = 0; a < 3; ++a) seenLo[a] = std::min(seenLo[a], q[a]), seenHi[a] = std::max(seenHi[a], q[a]);
        }
        for (int a = 0; a < 3; ++a) EXPECT_TRUE(lo[a] == seenLo[a] && hi[a] == seenHi[a]) << "bounds of axis " << a;
        RemoveSkeletonFromMesh(mesh), DeleteSkeleton(chain), DeleteMesh(mesh);
    }
}

TEST(Skinning, EnvironmentCoordinatesUseTheBlendedNormalAndTheView) {
    // A camera off to the side, so that its view rows are not the axes, and
    // a ribbon bent 60 degrees at the elbow. The deformed stage run again in
    // the environment mode gives each corner its blended normal dotted with
    // the view's first two rows.
    Stage s(true);
    const float eye[3] = {-3.0f, 2.0f, -4.0f}, target[3] = {1.0f, 0.0f, 10.0f};
    SetCameraPosition(s.camera, eye, 0), SetCameraPosition(s.camera, target, 1);
    E3DMesh *m = Ribbon(8, -2.0f, 4.0f, 10.0f);
    E3DSkeleton *k = Arm(1.0f, 1.0f, 10.0f);
    ASSERT_EQ((SetMeshCullMode(&m->node, 0x08), AssignSkeletonToMesh(m, k)), 1);
    for (int v = 0; v < m->vertexCount; ++v) Weigh(m, v, 0, 0.5f, m->vertices[v].position[0] > 0.0f ? 1 : 2, 0.5f);
    Pose(k, "elbow", 0.0f, 60.0f, 0.0f), AssignMeshToScene(s.scene, m, 0);
    ASSERT_GT((Redraw(s), s.Written()), 50);
    for (int i = 0; i < m->polygonCount; ++i) m->polygons[i].flags |= 0x2000000u;
    GetMeshDefaultMaterial(m)->mode |= 0x2000000u;
    std::vector<E3DSortEntry> entries(size_t(m->polygonCount));
    e3d::g_lists = {entries.data(), entries.data() + entries.size() - 1, 0, 0};
    EXPECT_EQ(e3d::kDepthBufferedStages[2](m), uint32_t(m->polygonCount));
    const float *view = s.camera->viewMatrix;
    for (int i = 0; i < m->polygonCount; ++i) {
        const E3DPolygon &p = m->polygons[i];
        for (int j = 0; j < 3; ++j) {
            float n[3];  // the blended normal, checked against the model above
            e3d::SkinNormal(m, p.vertex[j], m->vertexNormals + 3 * p.normalIndex[j], n);
            EXPECT_NEAR(p.coords[j][2], n[0] * view[0] + n[1] * view[1] + n[2] * view[2], 1e-5) << i;
            EXPECT_NEAR(p.coords[j][3], n[0] * view[4] + n[1] * view[5] + n[2] * view[6], 1e-5) << i;
        }
    }
    RemoveSkeletonFromMesh(m), DeleteSkeleton(k);
}

TEST(Skinning, CullingFollowsTheDeformedVertices) {
    // Random poses: whenever some deformed vertex lies on screen in front of
    // near, the mesh is not culled (its own box may well be off screen); one
    // at or behind near switches to the clamping projection; the skeleton's
    // sphere encloses the deformed box. Now and then a pose that is not a
    // number, infinite or huge: drawn or not, never outside the buffer.
    Stage s(true);
    E3DMesh *m = Ribbon(12, -3.0f, 3.0f, 12.0f);
    SetMeshShadeMode(&m->node, 1), SetMeshCullMode(&m->node, 0x08);
    E3DSkeleton *k = Arm(-1.0f, 2.0f, 12.0f);
    ASSERT_EQ(AssignSkeletonToMesh(m, k), 1);
    for (int v = 0; v < m->vertexCount; ++v)
        Weigh(m, v, v % 13 < 4 ? 0 : v % 13 < 9 ? 1 : 2, 0.75f, v % 13 < 6 ? 1 : 2, 0.25f);  // along x
    AssignMeshToScene(s.scene, m, 0);
    const double focal = 32.0 / std::tan(30.0 * (3.14159265358979323846 / 180.0));
    std::mt19937 rng(99);
    std::uniform_real_distribution<float> angle(-180.0f, 180.0f), shift(-14.0f, 14.0f);
    const float wild[] = {std::nanf(""), INFINITY, -INFINITY, 1e30f, -1e30f};
    int culled = 0, onScreen = 0, crossing = 0, drawnPixels = 0;
    for (int trial = 0; trial < 400; ++trial) {
        for (const char *name : {"root", "elbow", "wrist"})
            Pose(k, name, angle(rng), angle(rng), angle(rng)), Place(k, name, shift(rng), shift(rng), name[0] == 'r' ? 12.0f + shift(rng) : shift(rng) * 0.25f);
        if (trial % 10 == 9) Place(k, "wrist", wild[trial % 5], 0, wild[(trial / 10) % 5]);
        ASSERT_TRUE((Redraw(s), s.GuardsIntact()));
        if (trial % 10 == 9) continue;
        bool visible = false, nearOrBehind = false;
        float lo[3] = {INFINITY, INFINITY, INFINITY}, hi[3] = {-INFINITY, -INFINITY, -INFINITY};
        for (int v = 0; v < m->vertexCount; ++v) {
            const float *q = m->vertices[v].worldPosition;
            nearOrBehind |= q[2] <= 1.0f;
            visible |= q[2] > 1.01f && std::fabs(q[0] / q[2] * focal) < 31.5 && std::fabs(q[1] / q[2] * focal) < 23.5;
            for (int a = 0; a < 3; ++a) lo[a] = std::min(lo[a], q[a]), hi[a] = std::max(hi[a], q[a]);
        }
        ExpectNear3(k->sphere->center, (lo[0] + hi[0]) / 2, (lo[1] + hi[1]) / 2, (lo[2] + hi[2]) / 2, 1e-4, "centre", trial);
        EXPECT_NEAR(k->sphere->radius, std::hypot(hi[0] - lo[0], hi[1] - lo[1], hi[2] - lo[2]) / 2, 1e-4);
        const bool isCulled = (m->state & 0x20000u) != 0;
        EXPECT_TRUE(!(visible && isCulled) && (!isCulled || s.Written() == 0)) << "trial " << trial;
        EXPECT_TRUE(!nearOrBehind || ((m->state & 0x80000u) && (isCulled || e3d::g_projection.project == e3d::ProjectVertexWorldClamped)));
        culled += isCulled, onScreen += visible, crossing += nearOrBehind, drawnPixels += s.Written();
    }
    EXPECT_TRUE(culled > 20 && onScreen > 20 && crossing > 20 && drawnPixels > 2000);
    RemoveSkeletonFromMesh(m), DeleteSkeleton(k);
}
