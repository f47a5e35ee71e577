// Every export called with null for each pointer and zero for the rest gives
// its failure value and keeps nothing, before the engine starts and while it
// runs a scene; with one pointer null and live objects in the others, it
// neither crashes nor leaks. The calls come from the header at build time.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "engine3d.h"
#include "support/memory_check.h"
#include "support/null_calls.h"

namespace e3dtest {
namespace {

// What the live pointers of one call point at; made afresh for every call.
struct World {
    E3DList list{};
    char name[32] = "Live";
    float floats[64] = {};
    int32_t ints[64] = {};
    uint32_t words[64] = {};
    uint16_t pixels[64] = {};
    E3DScene *scene = CreateScene();
    E3DMesh *mesh = ActivateMesh(CubeCreate(10, nullptr, 0xFFFFFF));
    E3DCamera *camera = CreateCamera(floats, floats, 0, 60, 1);
    E3DLight *light = CreateOmniLight(floats, floats, 1, 0, 100, 0);
    E3DMaterial *material = CreateMaterial(GetMeshDefaultMaterial(mesh));
    E3DSkeleton *skeleton = CreateSkeleton();
    E3DBone *bone = CreateBone();
    E3DViewport *viewport = CreateViewport(nullptr, 8, 8, 1, 1);
    E3DTexture *texture = CreateCheckerTexture(4, 4, 2, 0, 0x7FFF);
    E3DBVSphere *sphere = CreateBVSphere();

    bool Complete() const {
        return scene && mesh && camera && light && material && skeleton && bone && viewport && texture && sphere;
    }
    LiveObjects Objects() {
        return {sphere, bone, camera, light, &list, material, mesh, &mesh->node, &mesh->polygons[0], scene,
                skeleton, texture, mesh->vertices, viewport, name, floats, ints, words, pixels, mesh};
    }
    ~World() {
        do RemoveListElement(&list, nullptr);
        while (list.items);
        // A bone the skeleton took in was freed by it.
        if (skeleton && skeleton->boneCount == 0) DeleteBone(bone);
        DeleteMesh(mesh);
        DeleteCamera(camera);
        DeleteLight(light);
        DeleteMaterial(material);
        DeleteSkeleton(skeleton);
        DeleteScene(scene);
        DeleteViewport(viewport);
        DeleteTexture(texture);
        DeleteBVSphere(sphere);
    }
};

// Index look-ups fail with -1, since 0 is an index.
const std::set<std::string> kIndexLookups = {"GetListElementIndex", "GetBoneIndexByName"};

void WalkNullCalls() {
    LeakCheck leaks;
    int called = 0;
    for (int i = 0; i < kNullCallCount; ++i) {
        const NullCall &c = kNullCalls[i];
        if (!c.call) continue;
        ++called;
        const NullResult r = c.call();
        if (r.kind == NullResult::kPointer) {
            EXPECT_TRUE(r.isNull) << c.name;
        } else if (r.kind == NullResult::kNumber) {
            EXPECT_EQ(r.number, kIndexLookups.count(c.name) ? -1.0 : 0.0) << c.name;
        }
    }
    EXPECT_GT(called, 200) << "the table lost the header's exports";
    leaks.Check();
}

}  // namespace

LiveObjects g_live;

}  // namespace e3dtest

using namespace e3dtest;

TEST(NullArguments, EveryExportFailsQuietly) {
    ReleaseEngine3D();
    WalkNullCalls();

    InitEngine3D();
    E3DScene *scene = CreateScene();
    E3DMesh *cube = ActivateMesh(CubeCreate(10, nullptr, 0xFFFFFF));
    ASSERT_EQ(AssignMeshToScene(scene, cube, 0), cube);
    WalkNullCalls();
    EXPECT_EQ(GetSceneNumberOfMeshes(scene), 1) << "a null call reached a live scene";
    DeleteScene(scene);
    ReleaseEngine3D();
}

TEST(NullArguments, OneNullAmongLiveObjects) {
    InitEngine3D();
    EXPECT_GT(kMixedCallCount, 50);
    for (int i = 0; i < kMixedCallCount; ++i) {
        const MixedCall &c = kMixedCalls[i];
        LeakCheck leaks;
        {
            World world;
            ASSERT_TRUE(world.Complete());
            g_live = world.Objects();
            c.call();
            g_live = {};
        }
        SCOPED_TRACE(std::string(c.name) + ", argument " + std::to_string(c.nulled) + " null");
        leaks.Check();
    }
    ReleaseEngine3D();
}
