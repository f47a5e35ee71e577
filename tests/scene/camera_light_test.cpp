// Cameras, lights and their lists, the view matrix and skeletons.
#include <gtest/gtest.h>

#include <cstdio>

#include <cmath>
#include <cstring>
#include <vector>

#include "engine3d.h"
#include "core/view.h"
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
    struct Fov {
        float given, created, set;
    } fovs[] = {{60, 60, 60},        {0.5f, 0.5f, 0.5f}, {180, 180, 180}, {0, 0, 60},     {-30, -30, 60},
                {180.5f, 180.5f, 60}, {nan, 60, 60},     {inf, 60, 60},   {-inf, 60, 60}};
    for (const Fov &k : fovs) {
        E3DCamera *c = CreateCamera(p, t, 0, k.given, 10);
        EXPECT_EQ(GetCameraFov(c), k.created) << "created with " << k.given;
        SetCameraFov(c, 45);
        SetCameraFov(c, k.given);
        EXPECT_EQ(GetCameraFov(c), k.set) << "set to " << k.given;
        DeleteCamera(c);
    }
    // Set on a camera whose near is 20 and far 1000; created with far 1e8.
    struct Near {
        float given, created, set;
    } nears[] = {{1, 1, 20},     {10, 10, 10},      {25, 25, 25},   {1000, 1000, 1000}, {5000, 5000, 20},
                 {1e9f, 1e9f, 20}, {0, 0, 20},        {-1, -1, 20},   {nan, 10, 20},      {inf, 10, 20},
                 {-inf, 10, 20}};
    for (const Near &k : nears) {
        E3DCamera *c = CreateCamera(p, t, 0, 60, k.given);
        EXPECT_EQ(GetCameraNear(c), k.created) << "created with " << k.given;
        EXPECT_EQ(GetCameraFar(c), 100000000.0f);
        SetCameraNear(c, 20);
        SetCameraFar(c, 1000);
        SetCameraNear(c, k.given);
        EXPECT_EQ(GetCameraNear(c), k.set) << "set to " << k.given;
        DeleteCamera(c);
    }
    // Set on a camera whose near is 20 and far 1e8.
    struct Far {
        float given, set;
    } fars[] = {{1000, 1000}, {20, 20}, {19, 1e8f}, {nan, 1e8f}, {inf, 1e8f}, {-inf, 1e8f}};
    for (const Far &k : fars) {
        E3DCamera *c = CreateCamera(p, t, 0, 60, 20);
        EXPECT_EQ(SetCameraFar(c, k.given), c);
        EXPECT_EQ(GetCameraFar(c), k.set) << "set to " << k.given;
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
        E3DMesh *quad = ActivateMesh(e3dtest::MakeQuadAt(0, 0xFFFFFF));
        AssignMeshToScene(stage.scene, quad, 0);
        set(stage.camera);
        DrawScene(stage.scene);
        EXPECT_GT(stage.Written(), 0);
    }
}

TEST(Camera, PositionAndRoll) {
    E3DCamera *c = MakeCamera();
    float out[3];
    const float t[3] = {4, 5, 6};
    SetCameraPosition(c, t, 1);
    EXPECT_EQ(GetCameraPosition(out, c, 1)[2], 6.0f);
    EXPECT_EQ(GetCameraRoll(SetCameraRoll(c, 15)), 15.0f);
    DeleteCamera(c);
}

TEST(Camera, FocalFactors) {
    E3DCamera *c = MakeCamera();
    const double tan30 = std::tan(30.0 * 3.14159265358979 / 180.0);
    struct Case {
        int w, h;
        double expected;
    } cases[] = {{320, 240, 160 / tan30}, {640, 480, 320 / tan30}, {640, 400, 200 / tan30}};
    for (const Case &k : cases) {
        std::vector<uint16_t> pixels(size_t(k.w) * k.h);
        E3DTexture surface{};
        surface.pixels = pixels.data();
        surface.pitch = 2 * k.w;
        E3DViewport *v = CreateViewport(&surface, k.w, k.h, 0, 0);
        AdjustCameraFocale(v, c);
        EXPECT_NEAR(c->focal, k.expected, 0.01) << k.w << "x" << k.h;
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
    float *ca = GetLightColor(a);
    EXPECT_EQ(ca[0], 255.0f);
    EXPECT_NEAR(ca[2], 127.5f, 1e-3f);
    float *cb = GetLightColor(b);
    EXPECT_EQ(ca, cb) << "one buffer for all lights";
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
    for (E3DLight *l : lights) AssignLightToMesh(l, &m->node);
    EXPECT_EQ(m->lights[63], lights[63]);
    AssignLightToMesh(lights[5], &m->node);  // no duplicate
    for (int i = 0; i < 64; ++i) EXPECT_EQ(m->lights[i], lights[i]);
    RemoveLightFromMesh(lights[0], &m->node);
    EXPECT_EQ(m->lights[0], lights[1]);
    EXPECT_EQ(m->lights[63], nullptr);
    EXPECT_EQ(GetMeshLightList(m), m->lights);
    // A light assigned to a mesh held by two scenes joins both.
    E3DScene *s1 = CreateScene(), *s2 = CreateScene();
    AssignMeshToScene(s1, m, 0);
    AssignMeshToScene(s2, m, 0);
    RemoveLightFromMesh(lights[1], &m->node);
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
    // Straight up: +90 degrees about x; straight down: -90.
    E3DCamera *up = MakeCamera(0, 0, 0, 0, 5, 0);
    std::memcpy(up->workPosition, up->position, sizeof up->position);
    std::memcpy(up->workTarget, up->target, sizeof up->target);
    e3d::BuildCameraViewMatrix(up);
    EXPECT_EQ(up->viewMatrix[0], 1.0f);
    EXPECT_EQ(up->viewMatrix[6], -1.0f);
    EXPECT_EQ(up->viewMatrix[9], 1.0f);
    EXPECT_EQ(up->viewMatrix[10], 0.0f);
    std::memcpy(up->workTarget, (const float[3]){0, -5, 0}, 3 * sizeof(float));
    e3d::BuildCameraViewMatrix(up);
    EXPECT_EQ(up->viewMatrix[6], 1.0f);
    EXPECT_EQ(up->viewMatrix[9], -1.0f);
    // Nearly up uses the general form (row x has no y part, row y's y part is
    // s = sqrt(1 - d.y^2), not the 0 of the turned form).
    std::memcpy(up->workTarget, (const float[3]){0.0005f, 1, 0}, 3 * sizeof(float));
    e3d::BuildCameraViewMatrix(up);
    const float *m = up->viewMatrix;
    EXPECT_LT(m[9], 1.0f);
    EXPECT_GT(m[5], 0.0f);
    EXPECT_EQ(m[1], 0.0f);
    // An ordinary direction gives an orthonormal basis with z = d.
    std::memcpy(up->workTarget, (const float[3]){0.3f, 0.8f, 0.5f}, 3 * sizeof(float));
    e3d::BuildCameraViewMatrix(up);
    EXPECT_NEAR(m[0] * m[8] + m[1] * m[9] + m[2] * m[10], 0.0f, 1e-6f);
    EXPECT_NEAR(m[4] * m[8] + m[5] * m[9] + m[6] * m[10], 0.0f, 1e-6f);
    EXPECT_NEAR(m[4] * m[4] + m[5] * m[5] + m[6] * m[6], 1.0f, 1e-5f);
    EXPECT_NEAR(m[0] * m[0] + m[1] * m[1] + m[2] * m[2], 1.0f, 1e-5f);
    // A camera at z = -10 looking at the origin sees a point at the origin
    // straight ahead, 10 away; roll 90 turns view x into view y.
    E3DCamera *c = MakeCamera();
    std::memcpy(c->workPosition, c->position, sizeof c->position);
    std::memcpy(c->workTarget, c->target, sizeof c->target);
    e3d::BuildCameraViewMatrix(c);
    float world[12] = {1, 0, 0, 1, 0, 1, 0, 0, 0, 0, 1, 0};
    float cs[12];
    e3d::CombineViewWithWorld(cs, c->viewMatrix, world);
    EXPECT_NEAR(cs[3], 1.0f, 1e-6f);
    EXPECT_NEAR(cs[11], 10.0f, 1e-6f);
    c->roll = 90;
    e3d::BuildCameraViewMatrix(c);
    e3d::CombineViewWithWorld(cs, c->viewMatrix, world);
    EXPECT_NEAR(cs[3], 0.0f, 1e-6f);
    EXPECT_NEAR(std::fabs(cs[7]), 1.0f, 1e-6f);
    // Look-at points its z row from b to a.
    float out[12];
    const float a[3] = {0, 0, 5}, b[3] = {0, 0, 0};
    CreateLookAtMatrix(a, b, out);
    EXPECT_EQ(out[10], 1.0f);
    EXPECT_EQ(out[11], 5.0f);
    DeleteCamera(up);
    DeleteCamera(c);
}

TEST(View, ClipBounds) {
    E3DViewport *v = CreateViewport(nullptr, 320, 200, 0, 1);
    e3d::LoadClipBounds(v);
    EXPECT_EQ(e3d::g_clipBounds.xMaxInner, 319.0f);
    EXPECT_EQ(e3d::g_clipBounds.yMaxInner, 199.0f);
    DeleteViewport(v);
}

TEST(Skeleton, BoneTreeAndLookups) {
    LeakCheck leaks;
    E3DSkeleton *s = CreateSkeleton();
    EXPECT_EQ(GetSkeletonXFormState(s), 0);
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
    EXPECT_EQ(children[0], 1u);
    EXPECT_EQ(children[1], 2u);
    EXPECT_EQ(s->bones[1]->parentIndex, 0);
    EXPECT_EQ(s->bones[2]->parentIndex, 0);
    EXPECT_EQ(s->bones[2]->position[1], 2.0f);
    if (sizeof(void *) == 4) {
        EXPECT_EQ(s->blockSize, 168 + 172 + 172);
    }
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
    EXPECT_EQ(s->boneCount, 128);
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
