// Every export called with null for each pointer and zero for the rest gives
// its failure value and keeps nothing, before the engine starts and while it
// runs a scene; with one pointer null and live objects in the others, it
// neither crashes nor leaks. The calls come from the header at build time.
#include <gtest/gtest.h>

#include <string>

#include "support/memory_check.h"
#include "support/null_calls.h"

namespace e3dtest {
LiveObjects g_live;
}  // namespace e3dtest
using namespace e3dtest;

TEST(NullArguments, EveryExportFailsQuietly) {
    ReleaseEngine3D();
    for (bool running : {false, true}) {
        E3DScene *scene = running ? (InitEngine3D(), CreateScene()) : nullptr;
        if (running) AssignMeshToScene(scene, ActivateMesh(CubeCreate(10, nullptr, 0xFFFFFF)), 0);
        LeakCheck leaks;
        int called = 0;
        for (const NullCall *c = kNullCalls; c < kNullCalls + kNullCallCount; ++c) {
            const NullResult r = c->call ? (++called, c->call()) : NullResult{NullResult::kVoid, false, 0};
            // Index look-ups fail with -1, since 0 is an index.
            const bool index = std::string(c->name) == "GetListElementIndex" || std::string(c->name) == "GetBoneIndexByName";
            EXPECT_TRUE(r.kind != NullResult::kPointer || r.isNull) << c->name;
            EXPECT_TRUE(r.kind != NullResult::kNumber || r.number == (index ? -1.0 : 0.0)) << c->name << " gave " << r.number;
        }
        EXPECT_GT(called, 200) << "the table lost the header's exports";
        leaks.Check();
        EXPECT_EQ(GetSceneNumberOfMeshes(scene), running ? 1 : 0) << "a null call reached a live scene";
        DeleteScene(scene);
    }
    ReleaseEngine3D();
}

TEST(NullArguments, OneNullAmongLiveObjects) {
    InitEngine3D();
    EXPECT_GT(kMixedCallCount, 50);
    for (const MixedCall *c = kMixedCalls; c < kMixedCalls + kMixedCallCount; ++c) {
        SCOPED_TRACE(std::string(c->name) + ", argument " + std::to_string(c->nulled) + " null");
        LeakCheck leaks;
        E3DList list{};
        char name[32] = "Live";
        float floats[64] = {};
        int32_t ints[64] = {};
        uint32_t words[64] = {};
        uint16_t pixels[64] = {};
        E3DMesh *mesh = ActivateMesh(CubeCreate(10, nullptr, 0xFFFFFF));
        g_live = {CreateBVSphere(), CreateBone(), CreateCamera(floats, floats, 0, 60, 1), CreateOmniLight(floats, floats, 1, 0, 100, 0),
                  &list, CreateMaterial(GetMeshDefaultMaterial(mesh)), mesh, &mesh->node, &mesh->polygons[0], CreateScene(),
                  CreateSkeleton(), CreateCheckerTexture(4, 4, 2, 0, 0x7FFF), mesh->vertices, CreateViewport(nullptr, 8, 8, 1, 1),
                  name, floats, ints, words, pixels, mesh};
        c->call();
        while (list.items) RemoveListElement(&list, nullptr);
        [[maybe_unused]] auto [sphere, bone, camera, light, l, material, m, n, p, scene, skeleton, texture, v, viewport, c0, f, i, u, s, x] = g_live;
        if (skeleton->boneCount == 0) DeleteBone(bone);  // else the skeleton took it in
        DeleteMesh(mesh), DeleteSkeleton(skeleton), DeleteBVSphere(sphere), DeleteCamera(camera), DeleteLight(light);
        DeleteMaterial(material), DeleteScene(scene), DeleteViewport(viewport), DeleteTexture(texture);
        g_live = {};
        leaks.Check();
    }
    ReleaseEngine3D();
}
