// Cameras, lights and their lists, the view matrix and skeletons.
#include "support/scene_fixture.h"

using e3dtest::MakeCamera;
using e3dtest::MakeOmni;
using std::tuple;

// Rows {given, as created, as set}: the fov set on a camera at 45, the near on one
// with near 20 and far 1000, the far on one with near 20 and far 1e8.
TEST(Camera, StoredValuesFollowOneRule) {
    const float inf = INFINITY, nan = NAN, p[3] = {0, 0, -10}, t[3] = {0, 0, 0};
    const float fovs[][3] = {{60, 60, 60},         {0.5f, 0.5f, 0.5f}, {180, 180, 180}, {0, 0, 60},   {-30, -30, 60},
                             {180.5f, 180.5f, 60}, {nan, 60, 60},      {inf, 60, 60},   {-inf, 60, 60}};
    const float nears[][3] = {{1, 1, 20},   {10, 10, 10},   {25, 25, 25},    {1000, 1000, 1000}, {5000, 5000, 20},
                              {1e9f, 1e9f, 20}, {0, 0, 20}, {-1, -1, 20}, {nan, 10, 20}, {inf, 10, 20}, {-inf, 10, 20}};
    const float fars[][2] = {{1000, 1000}, {20, 20}, {19, 1e8f}, {nan, 1e8f}, {inf, 1e8f}, {-inf, 1e8f}};
    for (const auto &k : fovs) {
        E3DCamera *c = CreateCamera(p, t, 0, k[0], 10);
        const float created = GetCameraFov(c);
        SetCameraFov(c, 45);
        SetCameraFov(c, k[0]);
        EXPECT_EQ(tuple(created, GetCameraFov(c)), tuple(k[1], k[2])) << k[0];
        DeleteCamera(c);
    }
    for (const auto &k : nears) {
        E3DCamera *c = CreateCamera(p, t, 0, 60, k[0]);
        EXPECT_EQ(tuple(GetCameraNear(c), GetCameraFar(c)), tuple(k[1], 1e8f)) << k[0];
        SetCameraNear(c, 20);
        SetCameraFar(c, 1000);
        SetCameraNear(c, k[0]);
        EXPECT_EQ(GetCameraNear(c), k[2]) << k[0];
        DeleteCamera(c);
    }
    for (const auto &k : fars) {
        E3DCamera *c = CreateCamera(p, t, 0, 60, 20);
        EXPECT_EQ(SetCameraFar(c, k[0]), c);
        EXPECT_EQ(GetCameraFar(c), k[1]) << k[0];
        DeleteCamera(c);
    }
    E3DCamera *c = MakeCamera();
    E3DViewport *v = CreateViewport(nullptr, 320, 200, 0, 1);  // an own frame buffer of 640 x 400
    AdjustCameraFocale(v, c);
    EXPECT_NEAR(c->focal, 200 / std::tan(30.0 * 3.14159265358979 / 180.0), 0.01);
    DeleteViewport(v);
    DeleteCamera(c);
}

TEST(Light, ColourClampAndSharedBuffers) {
    E3DLight *a = MakeOmni(), *b = MakeOmni();
    SetLightColor(a, 510, -3, 127.5f);
    SetLightColor(b, 51, 127.5f, 0);
    EXPECT_EQ(tuple(a->color[0], a->color[1], a->color[2], a->color[3]), tuple(1.0f, 0.0f, 0.5f, 0.0f));
    float *ca = GetLightColor(a);
    EXPECT_EQ(tuple(ca[0], ca[1], ca[2]), tuple(255.0f, 0.0f, 127.5f));
    EXPECT_EQ(GetLightColor(b), ca) << "one buffer for all lights";
    EXPECT_TRUE(std::fabs(ca[0] - 51.0f) < 1e-4f && ca[1] == 127.5f);
    EXPECT_EQ(GetLightFarAttenuation(SetLightAttenuation(a, 2, 9)), 9.0f);
    e3dtest::DeleteAll(a, b);
}

TEST(Light, MeshListsAndScenes) {
    e3dtest::LeakCheck leaks;
    E3DMesh *m = e3dtest::MakeStrip(2);
    std::vector<E3DLight *> lights;
    for (int i = 0; i < 65; ++i) lights.push_back(MakeOmni());
    for (E3DLight *l : lights) EXPECT_EQ(AssignLightToMesh(l, &m->node), 0);
    AssignLightToMesh(lights[5], &m->node);  // no duplicate
    EXPECT_TRUE(std::equal(m->lights, m->lights + 64, lights.begin()));
    // The list holds 64: the spare bytes behind it are never taken for a 65th.
    m->lights[64] = lights[64];
    DeleteLight(lights[0]);
    EXPECT_EQ(tuple(m->lights[0], m->lights[63]), tuple(lights[1], nullptr));
    AssignLightToMesh(lights[0] = MakeOmni(), &m->node);
    RemoveLightFromMesh(lights[1], &m->node);
    EXPECT_EQ(tuple(m->lights[0], m->lights[62], m->lights[63]), tuple(lights[2], lights[0], nullptr));
    m->lights[64] = nullptr;
    // A light assigned to a mesh held by two scenes joins both.
    E3DScene *s1 = CreateScene(), *s2 = CreateScene();
    AssignMeshToScene(s1, m, 0);
    AssignMeshToScene(s2, m, 0);
    AssignLightToMesh(lights[1], &m->node);
    EXPECT_EQ(tuple(GetSceneNumberOfLights(s1), GetSceneNumberOfLights(s2)), tuple(1, 1));
    RemoveLightFromScene(nullptr, lights[1]);
    EXPECT_EQ(tuple(GetSceneNumberOfLights(s1), GetSceneNumberOfLights(s2)), tuple(0, 0));
    for (E3DLight *l : lights) DeleteLight(l);
    e3dtest::DeleteAll(s1, s2);  // deletes m
    leaks.Check();
}

TEST(Skeleton, BoneTreeAndLookups) {
    e3dtest::LeakCheck leaks;
    E3DSkeleton *s = CreateSkeleton();
    E3DBone *orphan = CreateBone(), *right = CreateBone();
    EXPECT_EQ(AttachBoneToSkeleton(s, "nobody", orphan, "x"), 0) << "the caller keeps its bone";
    EXPECT_EQ(AttachBoneToSkeleton(s, nullptr, SetBoneRoot(CreateBone()), "hip"), 1);
    EXPECT_EQ(AttachBoneToSkeleton(s, "hip", CreateBone(), "left"), 1);
    const float at[3] = {1, 2, 3};
    SetBonePosition(right, at, 1);
    EXPECT_EQ(AttachBoneToSkeleton(s, "hip", right, "right"), 1);
    const E3DBone *hip = s->bones[0];
    const uint32_t *children = reinterpret_cast<const uint32_t *>(hip + 1);
    EXPECT_EQ(tuple(s->boneCount, hip->childCount, hip->rootFlags & 0x80u, children[0], children[1]),
              tuple(3, 2, 0x80u, 1u, 2u));
    EXPECT_EQ(tuple(s->bones[1]->parentIndex, s->bones[2]->parentIndex, s->bones[2]->position[1]), tuple(0, 0, 2.0f));
    // Each bone's slot holds its record and child indices, padded to keep the next record aligned.
    const size_t a = alignof(E3DBone), leaf = (sizeof(E3DBone) + a - 1) / a * a;
    EXPECT_EQ(size_t(s->blockSize), (sizeof(E3DBone) + 8 + a - 1) / a * a + 2 * leaf);
    EXPECT_EQ(size_t(reinterpret_cast<const char *>(s->bones[2]) - reinterpret_cast<const char *>(s->bones[1])), leaf);
    EXPECT_EQ(tuple(GetBoneIndexByName(s, "right"), GetBoneIndexByName(s, "elbow"), GetBoneIndexByName(s, "")),
              tuple(2, -1, -1));
    EXPECT_EQ(GetBonePointerByName(s, "left"), s->bones[1]);
    DeleteBone(orphan);
    DeleteSkeleton(s);
    leaks.Check();
}
