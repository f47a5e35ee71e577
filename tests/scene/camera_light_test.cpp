// Cameras, lights and the light lists of meshes and scenes.
#include "support/scene_fixture.h"

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
    e3dtest::DeleteAll(a, b);
}

TEST(Light, MeshListsAndScenes) {
    E3DMesh *m = e3dtest::MakeStrip(2);
    std::vector<E3DLight *> lights(65);
    for (E3DLight *&l : lights) EXPECT_EQ(AssignLightToMesh(l = MakeOmni(), &m->node), 0);
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
    // A light assigned to a mesh held by two scenes joins both, and leaves both.
    E3DScene *s1 = CreateScene(), *s2 = CreateScene();
    AssignMeshToScene(s1, m, 0);
    AssignMeshToScene(s2, m, 0);
    AssignLightToMesh(lights[1], &m->node);
    EXPECT_EQ(GetSceneNumberOfLights(s1) + GetSceneNumberOfLights(s2), 2);
    RemoveLightFromScene(nullptr, lights[1]);
    EXPECT_EQ(tuple(GetSceneNumberOfLights(s1), GetSceneNumberOfLights(s2)), tuple(0, 0));
    for (E3DLight *l : lights) DeleteLight(l);
    e3dtest::DeleteAll(s1, s2);  // deletes m
}

// The bones lie in one block, each slot padded to keep the next record aligned.
TEST(Skeleton, BonesShareOneAlignedBlock) {
    E3DSkeleton *s = CreateSkeleton();
    EXPECT_EQ(AttachBoneToSkeleton(s, nullptr, SetBoneRoot(CreateBone()), "hip"), 1);
    EXPECT_EQ(AttachBoneToSkeleton(s, "hip", CreateBone(), "left"), 1);
    EXPECT_EQ(AttachBoneToSkeleton(s, "hip", CreateBone(), "right"), 1);
    const size_t a = alignof(E3DBone), leaf = (sizeof(E3DBone) + a - 1) / a * a;
    EXPECT_EQ(size_t(s->blockSize), (sizeof(E3DBone) + 8 + a - 1) / a * a + 2 * leaf);
    EXPECT_EQ(tuple(s->boneCount, s->bones[0]->childCount, s->bones[2]->parentIndex, GetBoneIndexByName(s, "right")),
              tuple(3, 2, 0, 2));
    DeleteSkeleton(s);
}
