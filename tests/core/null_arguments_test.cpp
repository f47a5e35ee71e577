// Every export called with null for each pointer and zero for the rest gives
// its failure value and keeps nothing, before the engine starts and while it
// runs a scene. The calls come from the header at build time.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "engine3d.h"
#include "support/memory_check.h"
#include "support/null_calls.h"

namespace {

using e3dtest::kNullCallCount;
using e3dtest::kNullCalls;
using e3dtest::NullResult;

// Index look-ups fail with -1, since 0 is an index.
const std::set<std::string> kIndexLookups = {"GetListElementIndex", "GetBoneIndexByName"};

void WalkNullCalls() {
    e3dtest::LeakCheck leaks;
    int called = 0;
    for (int i = 0; i < kNullCallCount; ++i) {
        const e3dtest::NullCall &c = kNullCalls[i];
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
