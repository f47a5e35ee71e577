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
    E3DCamera *camera = MakeCameraAtOrigin();
    E3DLight *light = CreateOmniLight(floats, floats, 1, 0, 100, 0);
    E3DMaterial *material = CreateMaterial(GetMeshDefaultMaterial(mesh));
    E3DSkeleton *skeleton = CreateSkeleton();
    E3DBone *bone = CreateBone();
    E3DViewport *viewport = CreateViewport(nullptr, 8, 8, 1, 1);
    E3DTexture *texture = CreateCheckerTexture(4, 4, 2, 0, 0x7FFF);
    E3DBVSphere *sphere = CreateBVSphere();

    static E3DCamera *MakeCameraAtOrigin() {
        const float eye[3] = {0, 0, -50}, at[3] = {0, 0, 0};
        return CreateCamera(eye, at, 0, 60, 1);
    }
    bool Complete() const {
        return scene && mesh && camera && light && material && skeleton && bone && viewport && texture && sphere;
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

World *g_world = nullptr;

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

E3DBVSphere *LiveObject(Tag<E3DBVSphere>) { return g_world->sphere; }
E3DBone *LiveObject(Tag<E3DBone>) { return g_world->bone; }
E3DCamera *LiveObject(Tag<E3DCamera>) { return g_world->camera; }
E3DLight *LiveObject(Tag<E3DLight>) { return g_world->light; }
E3DList *LiveObject(Tag<E3DList>) { return &g_world->list; }
E3DMaterial *LiveObject(Tag<E3DMaterial>) { return g_world->material; }
E3DMesh *LiveObject(Tag<E3DMesh>) { return g_world->mesh; }
E3DNode *LiveObject(Tag<E3DNode>) { return &g_world->mesh->node; }
E3DPolygon *LiveObject(Tag<E3DPolygon>) { return &g_world->mesh->polygons[0]; }
E3DScene *LiveObject(Tag<E3DScene>) { return g_world->scene; }
E3DSkeleton *LiveObject(Tag<E3DSkeleton>) { return g_world->skeleton; }
E3DTexture *LiveObject(Tag<E3DTexture>) { return g_world->texture; }
E3DVertex *LiveObject(Tag<E3DVertex>) { return g_world->mesh->vertices; }
E3DViewport *LiveObject(Tag<E3DViewport>) { return g_world->viewport; }
char *LiveObject(Tag<char>) { return g_world->name; }
float *LiveObject(Tag<float>) { return g_world->floats; }
int32_t *LiveObject(Tag<int32_t>) { return g_world->ints; }
uint32_t *LiveObject(Tag<uint32_t>) { return g_world->words; }
uint16_t *LiveObject(Tag<uint16_t>) { return g_world->pixels; }
void *LiveObject(Tag<void>) { return g_world->mesh; }

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
            g_world = &world;
            c.call();
            g_world = nullptr;
        }
        SCOPED_TRACE(std::string(c.name) + ", argument " + std::to_string(c.nulled) + " null");
        leaks.Check();
    }
    ReleaseEngine3D();
}
