// Cameras, lights and their lists, the view matrix and skeletons.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "core/view.h"
#include "engine3d.h"
#include "support/memory_check.h"
#include "support/mesh_builders.h"
#include "support/stage.h"

using e3dtest::LeakCheck;
using e3dtest::MakeCamera;
using e3dtest::MakeOmni;

// Field of view, near and far as CreateCamera and the setters store them:
// one rule each, with NaN and infinity out of range everywhere.
TEST(Camera, StoredValuesFollowOneRule) {
    const float inf = INFINITY, nan = NAN, p[3] = {0, 0, -10}, t[3] = {0, 0, 0};
    // Create stores finite values as given; the setters check ranges.
    const float fovs[][3] = {{60, 60, 60},  {0.5f, 0.5f, 0.5f}, {180, 180, 180}, {0, 0, 60},    {-30, -30, 60},
                             {180.5f, 180.5f, 60}, {nan, 60, 60}, {inf, 60, 60},   {-inf, 60, 60}};
    for (const auto &k : fovs) {
        E3DCamera *c = CreateCamera(p, t, 0, k[0], 10);
        EXPECT_EQ(GetCameraFov(c), k[1]) << "created with " << k[0];
        SetCameraFov(c, 45);
        SetCameraFov(c, k[0]);
        EXPECT_EQ(GetCameraFov(c), k[2]) << "set to " << k[0];
        DeleteCamera(c);
    }
    // Near set on a camera whose near is 20 and far 1000; created with far 1e8.
    const float nears[][3] = {{1, 1, 20},       {10, 10, 10}, {25, 25, 25},  {1000, 1000, 1000},
                              {5000, 5000, 20}, {1e9f, 1e9f, 20}, {0, 0, 20}, {-1, -1, 20},
                              {nan, 10, 20},    {inf, 10, 20}, {-inf, 10, 20}};
    for (const auto &k : nears) {
        E3DCamera *c = CreateCamera(p, t, 0, 60, k[0]);
        EXPECT_EQ(GetCameraNear(c), k[1]) << "created with " << k[0];
        EXPECT_EQ(GetCameraFar(c), 100000000.0f);
        SetCameraNear(c, 20);
        SetCameraFar(c, 1000);
        SetCameraNear(c, k[0]);
        EXPECT_EQ(GetCameraNear(c), k[2]) << "set to " << k[0];
        DeleteCamera(c);
    }
    // Far set on a camera whose near is 20 and far 1e8.
    const float fars[][2] = {{1000, 1000}, {20, 20}, {19, 1e8f}, {nan, 1e8f}, {inf, 1e8f}, {-inf, 1e8f}};
    for (const auto &k : fars) {
        E3DCamera *c = CreateCamera(p, t, 0, 60, 20);
        EXPECT_EQ(SetCameraFar(c, k[0]), c);
        EXPECT_EQ(GetCameraFar(c), k[1]) << "set to " << k[0];
        DeleteCamera(c);
    }
}

// A value refused by the camera setters leaves a camera that still draws.
TEST(Camera, RefusedValuesKeepTheFrame) {
    void (*const setters[])(E3DCamera *) = {[](E3DCamera *c) { SetCameraFov(c, NAN); },
                                            [](E3DCamera *c) { SetCameraNear(c, NAN); },
                                            [](E3DCamera *c) { SetCameraFar(c, NAN); }};
    for (auto set : setters) {
        e3dtest::Stage stage;
        AssignMeshToScene(stage.scene, ActivateMesh(e3dtest::MakeQuadAt(0, 0xFFFFFF)), 0);
        set(stage.camera);
        DrawScene(stage.scene);
        EXPECT_GT(stage.Written(), 0);
    }
}

TEST(Camera, PositionRollAndFocalFactors) {
    E3DCamera *c = MakeCamera();
    float out[3];
    const float t[3] = {4, 5, 6};
    SetCameraPosition(c, t, 1);
    EXPECT_EQ(GetCameraPosition(out, c, 1)[2], 6.0f);
    EXPECT_EQ(GetCameraPosition(out, c, 0)[2], -10.0f);
    EXPECT_EQ(GetCameraRoll(SetCameraRoll(c, 15)), 15.0f);
    const double tan30 = std::tan(30.0 * 3.14159265358979 / 180.0);
    // Own frame buffers of 2w x 2h pixels.
    const double cases[][3] = {{160, 120, 160 / tan30}, {320, 240, 320 / tan30}, {320, 200, 200 / tan30}};
    for (const auto &k : cases) {
        E3DViewport *v = CreateViewport(nullptr, int32_t(k[0]), int32_t(k[1]), 0, 1);
        c->focal = 0;
        AdjustCameraFocale(v, c);
        EXPECT_NEAR(c->focal, k[2], 0.01) << k[0] << "x" << k[1];
        DeleteViewport(v);
    }
    DeleteCamera(c);
}

TEST(Light, ColourClampAndSharedBuffers) {
    E3DLight *a = MakeOmni(), *b = MakeOmni();
    SetLightColor(a, 510, -3, 127.5f);
    EXPECT_EQ(a->color[0], 1.0f);
    EXPECT_EQ(a->color[1], 0.0f);
    EXPECT_NEAR(a->color[2], 0.5f, 1e-6f);
    EXPECT_EQ(a->color[3], 0.0f);
    SetLightColor(b, 51, 127.5f, 0);
    float *ca = GetLightColor(a);
    EXPECT_EQ(ca[0], 255.0f);
    EXPECT_NEAR(ca[2], 127.5f, 1e-3f);
    float *cb = GetLightColor(b);
    EXPECT_EQ(ca, cb) << "one buffer for all lights";
    EXPECT_NEAR(cb[0], 51.0f, 1e-3f);
    EXPECT_EQ(cb[1], 127.5f);
    EXPECT_EQ(GetLightPosition(a, 0), GetLightPosition(b, 1));
    EXPECT_EQ(GetLightNearAttenuation(a), 5.0f);
    EXPECT_EQ(GetLightFarAttenuation(SetLightAttenuation(a, 2, 9)), 9.0f);
    uint32_t *flags = SetLightStatus(a, 1, 0);
    EXPECT_EQ(*flags & 0x80000001u, 0x80000000u);
    SetLightStatus(a, 0, 1);
    EXPECT_EQ(a->flags & 0x80000001u, 1u);
    EXPECT_EQ(a->flags & 31u, 3u);
    EXPECT_EQ(std::strncmp(a->name, "Omni", 4), 0);
    DeleteLight(a);
    DeleteLight(b);
}

TEST(Light, MeshListsAndScenes) {
    LeakCheck leaks;
    E3DMesh *m = e3dtest::MakeStrip(2);
    std::vector<E3DLight *> lights;
    for (int i = 0; i < 65; ++i) lights.push_back(MakeOmni());
    for (E3DLight *l : lights) EXPECT_EQ(AssignLightToMesh(l, &m->node), 0);
    AssignLightToMesh(lights[5], &m->node);  // no duplicate
    for (int i = 0; i < 64; ++i) EXPECT_EQ(m->lights[i], lights[i]);
    // The list holds 64: the spare bytes behind it are never taken for a 65th.
    m->lights[64] = lights[64];
    DeleteLight(lights[0]);
    EXPECT_EQ(m->lights[0], lights[1]);
    EXPECT_EQ(m->lights[63], nullptr);
    AssignLightToMesh(lights[0] = MakeOmni(), &m->node);
    RemoveLightFromMesh(lights[1], &m->node);
    EXPECT_EQ(m->lights[0], lights[2]);
    EXPECT_EQ(m->lights[62], lights[0]);
    EXPECT_EQ(m->lights[63], nullptr);
    m->lights[64] = nullptr;
    // A light assigned to a mesh held by two scenes joins both.
    E3DScene *s1 = CreateScene(), *s2 = CreateScene();
    AssignMeshToScene(s1, m, 0);
    AssignMeshToScene(s2, m, 0);
    AssignLightToMesh(lights[1], &m->node);
    EXPECT_EQ(GetSceneNumberOfLights(s1), 1);
    EXPECT_EQ(GetSceneNumberOfLights(s2), 1);
    RemoveLightFromScene(nullptr, lights[1]);
    EXPECT_EQ(GetSceneNumberOfLights(s1), 0);
    for (E3DLight *l : lights) DeleteLight(l);
    DeleteScene(s1);  // deletes m
    DeleteScene(s2);
    leaks.Check();
}

TEST(View, LookDirectionsAndRoll) {
    auto look = [](E3DCamera *c, float x, float y, float z) {
        std::memcpy(c->workPosition, c->position, sizeof c->position);
        const float to[3] = {x, y, z};
        std::memcpy(c->workTarget, to, sizeof to);
        e3d::BuildCameraViewMatrix(c);
        return c->viewMatrix;
    };
    // Straight up: +90 degrees about x; straight down: -90.
    E3DCamera *up = MakeCamera(0, 0, 0, 0, 5, 0);
    const float *m = look(up, 0, 5, 0);
    EXPECT_TRUE(m[0] == 1.0f && m[6] == -1.0f && m[9] == 1.0f && m[10] == 0.0f);
    look(up, 0, -5, 0);
    EXPECT_TRUE(m[6] == 1.0f && m[9] == -1.0f);
    // Nearly up uses the general form (row x has no y part, row y's y part is
    // s = sqrt(1 - d.y^2), not the 0 of the turned form).
    look(up, 0.0005f, 1, 0);
    EXPECT_TRUE(m[9] < 1.0f && m[5] > 0.0f && m[1] == 0.0f);
    // An ordinary direction gives an orthonormal basis with z = d.
    look(up, 0.3f, 0.8f, 0.5f);
    EXPECT_NEAR(m[0] * m[8] + m[1] * m[9] + m[2] * m[10], 0.0f, 1e-6f);
    EXPECT_NEAR(m[4] * m[8] + m[5] * m[9] + m[6] * m[10], 0.0f, 1e-6f);
    EXPECT_NEAR(m[4] * m[4] + m[5] * m[5] + m[6] * m[6], 1.0f, 1e-5f);
    EXPECT_NEAR(m[0] * m[0] + m[1] * m[1] + m[2] * m[2], 1.0f, 1e-5f);
    // A camera at z = -10 looking at the origin sees a point at the origin
    // straight ahead, 10 away; roll 90 turns view x into view y.
    E3DCamera *c = MakeCamera();
    const float world[12] = {1, 0, 0, 1, 0, 1, 0, 0, 0, 0, 1, 0};
    float cs[12];
    e3d::CombineViewWithWorld(cs, look(c, 0, 0, 0), world);
    EXPECT_NEAR(cs[3], 1.0f, 1e-6f);
    EXPECT_NEAR(cs[11], 10.0f, 1e-6f);
    c->roll = 90;
    e3d::CombineViewWithWorld(cs, look(c, 0, 0, 0), world);
    EXPECT_NEAR(cs[3], 0.0f, 1e-6f);
    EXPECT_NEAR(std::fabs(cs[7]), 1.0f, 1e-6f);
    // Look-at points its z row from b to a.
    float out[12];
    const float a[3] = {0, 0, 5}, b[3] = {0, 0, 0};
    CreateLookAtMatrix(a, b, out);
    EXPECT_TRUE(out[10] == 1.0f && out[11] == 5.0f);
    DeleteCamera(up);
    DeleteCamera(c);
    E3DViewport *v = CreateViewport(nullptr, 320, 200, 0, 1);
    e3d::LoadClipBounds(v);
    EXPECT_EQ(e3d::g_clipBounds.xMaxInner, 319.0f);
    EXPECT_EQ(e3d::g_clipBounds.yMaxInner, 199.0f);
    DeleteViewport(v);
}

TEST(Skeleton, BoneTreeAndLookups) {
    LeakCheck leaks;
    E3DSkeleton *s = CreateSkeleton();
    SetSkeletonXFormState(s, 1);
    EXPECT_EQ(GetSkeletonXFormState(s), 1);
    SetSkeletonXFormState(s, 7);
    EXPECT_EQ(GetSkeletonXFormState(s), 0);
    E3DBone *orphan = CreateBone();
    EXPECT_EQ(AttachBoneToSkeleton(s, "nobody", orphan, "x"), 0) << "the caller keeps its bone";
    EXPECT_EQ(AttachBoneToSkeleton(s, nullptr, SetBoneRoot(CreateBone()), "hip"), 1);
    EXPECT_EQ(AttachBoneToSkeleton(s, "hip", CreateBone(), "left"), 1);
    const float at[3] = {1, 2, 3};
    E3DBone *right = CreateBone();
    SetBonePosition(right, at, 1);
    EXPECT_EQ(AttachBoneToSkeleton(s, "hip", right, "right"), 1);
    EXPECT_EQ(s->boneCount, 3);
    const E3DBone *hip = s->bones[0];
    EXPECT_EQ(hip->childCount, 2);
    EXPECT_EQ(hip->rootFlags & 0x80u, 0x80u);
    const uint32_t *children = reinterpret_cast<const uint32_t *>(hip + 1);
    EXPECT_TRUE(children[0] == 1u && children[1] == 2u);
    EXPECT_TRUE(s->bones[1]->parentIndex == 0 && s->bones[2]->parentIndex == 0);
    EXPECT_EQ(s->bones[2]->position[1], 2.0f);
    // Each bone's slot holds its record and child indices, padded to keep the
    // next record aligned.
    auto slot = [](size_t children) {
        const size_t raw = sizeof(E3DBone) + 4 * children, a = alignof(E3DBone);
        return (raw + a - 1) / a * a;
    };
    EXPECT_EQ(size_t(s->blockSize), slot(2) + 2 * slot(0));
    EXPECT_EQ(reinterpret_cast<const char *>(s->bones[2]) - reinterpret_cast<const char *>(s->bones[1]),
              std::ptrdiff_t(slot(0)));
    EXPECT_EQ(GetBoneIndexByName(s, "right"), 2);
    EXPECT_EQ(GetBoneIndexByName(s, "elbow"), -1);
    EXPECT_EQ(GetBoneIndexByName(s, ""), -1);
    EXPECT_EQ(GetBonePointerByName(s, "left"), s->bones[1]);
    E3DScene *scene = CreateScene();
    AssignSkeletonToScene(scene, s);
    EXPECT_EQ(SearchSkeletonByName(scene, "hip"), s);
    DeleteBone(orphan);
    DeleteScene(scene);  // deletes the skeleton
    leaks.Check();
}

TEST(Skeleton, EveryIndexASignedByteHoldsAndNoMore) {
    LeakCheck leaks;
    E3DSkeleton *s = CreateSkeleton();
    ASSERT_EQ(AttachBoneToSkeleton(s, nullptr, SetBoneRoot(CreateBone()), "b0"), 1);
    for (int i = 1; i < 128; ++i) {
        char name[16], parent[16];
        std::snprintf(name, sizeof name, "b%d", i);
        std::snprintf(parent, sizeof parent, "b%d", i - 1);
        ASSERT_EQ(AttachBoneToSkeleton(s, parent, CreateBone(), name), 1) << "bone " << i;
    }
    EXPECT_EQ(GetBoneIndexByName(s, "b127"), 127);
    EXPECT_EQ(s->bones[127]->parentIndex, 126);
    E3DBone *extra = CreateBone();
    EXPECT_EQ(AttachBoneToSkeleton(s, "b127", extra, "b128"), 0) << "index 128 does not fit a signed byte";
    EXPECT_EQ(s->boneCount, 128);
    EXPECT_EQ(s->bones[127]->childCount, 0);
    DeleteBone(extra);
    DeleteSkeleton(s);
    leaks.Check();
}
