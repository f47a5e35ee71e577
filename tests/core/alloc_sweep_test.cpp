// Allocation-failure sweep: each call that allocates runs with each of its
// allocations failing in turn, inside a built, lit scene. It must report the
// failure, and leave the allocations and the frame as they were.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/memory_check.h"
#include "support/stage.h"

namespace {

// A sphere with a cube under it (the cube wears a material of its own), a light.
struct World {
    e3dtest::Stage stage{true, true, -30.0f};
    E3DMesh *root = ActivateMesh(SphereCreate(8, nullptr, 8, 10, 0x3080C0));
    E3DMesh *child = ActivateMesh(CubeCreate(6, nullptr, 0xC08030));
    E3DMaterial *material = CreateMaterial(&child->defaultMaterial);
    static constexpr float kLightAt[3] = {-20, 20, -40}, kLightColour[4] = {1, 1, 1, 0};
    E3DLight *light = CreateOmniLight(kLightAt, kLightColour, 1, 10, 200, 0x80000000u);
    World() {
        SetMeshShadeMode(&root->node, 7), SetMeshModelPosition(child, 10, 2, -4), SetMeshModelOrientation(child, 20, 30, 0);
        SetMaterialColor(material, 1, 40, 200, 90), SetMaterial(child, material, 2, 0);
        AttachChildToNode(&root->node, &child->node), AssignMeshToScene(stage.scene, root, 0);
        AssignMaterialToScene(stage.scene, material), AssignLightToScene(stage.scene, light, 1);
    }
    std::vector<uint16_t> Frame() {
        std::fill(stage.pixels.begin(), stage.pixels.end(), e3dtest::kBackground);
        ClearViewportDepthBuffer(stage.viewport, 0), DrawScene(stage.scene);
        return stage.pixels;
    }
};

struct Outcome {
    bool reported;
    std::function<void()> release = [] {};
};
using Arm = std::function<void()>;
struct Case {
    const char *name;
    int minPoints;      // failure points the call must have
    std::function<Outcome(World &, const Arm &)> run;
};

template <class T, class R>
Case Creates(const char *name, int minPoints, std::type_identity_t<std::function<T *(World &)>> make, R (*del)(T *)) {
    return {name, minPoints, [make, del](World &w, const Arm &arm) {
                T *made = (arm(), make(w));
                return Outcome{!made, [made, del] { made ? void(del(made)) : void(); }};
            }};
}
#define CREATES(points, call, del) Creates(#call, points, []([[maybe_unused]] World &w) { return call; }, del)

const float kEye[3] = {0, 0, -5}, kAt[3] = {0, 0, 0}, kWhite[4] = {1, 1, 1, 0};

const Case kCases[] = {
    CREATES(1, CreateMesh(8, 12, 0xFF), DeleteMesh),
    CREATES(1, CreateMesh(0, 0, 0xFF), DeleteMesh),
    CREATES(1, CreateAABB(w.root), DeleteMesh),
    CREATES(1, CreateCamera(kEye, kAt, 0, 60, 1), DeleteCamera),
    CREATES(1, CreateOmniLight(kEye, kWhite, 1, 1, 10, 0), DeleteLight),
    CREATES(1, CreateDirectLight(kEye, kAt, kWhite, 1, 0), DeleteLight),
    CREATES(1, CreateMaterial(w.material), DeleteMaterial),
    CREATES(1, CreateCheckerTexture(16, 8, 4, 0x7FFF, 0x001F), DeleteTexture),
    CREATES(1, CreateScene(), DeleteScene),
    CREATES(1, CreateViewport(nullptr, 8, 6, 0, 1), DeleteViewport),
    CREATES(1, CreateSkeleton(), DeleteSkeleton),
    CREATES(1, CreateBone(), DeleteBone),
    CREATES(1, CreateBVSphere(), DeleteBVSphere),
    CREATES(3, CubeCreate(2, nullptr, 1), DeleteMesh),
    CREATES(3, GridCreate(2, nullptr, 2, 3, 1), DeleteMesh),
    CREATES(3, SphereCreate(2, nullptr, 4, 5, 1), DeleteMesh),
    CREATES(3, TorusCreate(3, 1, nullptr, 4, 5, 1), DeleteMesh),
    CREATES(3, DiskCreate(2, nullptr, 5, 1), DeleteMesh),
    CREATES(3, RingCreate(3, 1, nullptr, 5, 1), DeleteMesh),
    CREATES(3, ChCubeCreate(4, 1, nullptr, 1), DeleteMesh),
    CREATES(3, HemisphereCreate(2, nullptr, 4, 5, 1, 0), DeleteMesh),
    CREATES(3, GeoSphereCreate(2, nullptr, 1, 1), DeleteMesh),
    CREATES(3, CylinderCreate(2, 3, nullptr, 5, 2, 1), DeleteMesh),
    CREATES(3, TubeCreate(3, 1, 2, nullptr, 5, 2, 1), DeleteMesh),
    CREATES(3, BillboardCreate(2, nullptr, 1), DeleteMesh),
    // A child list that cannot grow leaves both nodes alone.
    {"AttachChildToNode", 1, [](World &w, const Arm &arm) {
         arm();
         AttachChildToNode(&w.child->node, &w.light->node);
         return Outcome{!w.light->node.parent, [&w] { DetachChildFromNode(&w.child->node, &w.light->node); }};
     }},
};

TEST(AllocationSweep, EveryAllocationFailsCleanly) {
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        const bool failedBefore = HasFailure();
        int k = 1;
        for (bool used = true; used && !(HasFailure() && !failedBefore); ++k) {
            e3dtest::LeakCheck leaks;
            auto w = std::make_unique<World>();
            std::vector<uint16_t> before;
            HostMemoryStats armed{};
            Outcome o = c.run(*w, [&] {
                before = w->Frame();
                static uint32_t indices[4096];  // grown beforehand, the sort's scratch is not reallocated
                ResetRadixSort(4096, indices);
                armed = e3dtest::MemoryStats(), HostMemoryFailNth(k);
            });
            used = HostMemoryPendingFailure() == 0;
            const HostMemoryStats after = (HostMemoryFailNth(0), e3dtest::MemoryStats());
            if (used) {
                EXPECT_TRUE(o.reported) << "allocation " << k << ": failure not reported";
                EXPECT_TRUE(after.liveBytes == armed.liveBytes && after.liveBlocks == armed.liveBlocks) << "allocation " << k << ": left behind";
                EXPECT_EQ(w->Frame(), before) << "allocation " << k << ": the scene draws differently";
            }
            o.release(), w.reset();
            leaks.Check();
        }
        EXPECT_GE(k - 2, c.minPoints);
    }
}

}  // namespace
