// Allocation-failure sweep: each call that allocates runs with each of its
// allocations failing in turn, inside a built, lit scene. It must report the
// failure, and leave the allocations and the frame as they were.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "engine3d.h"
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
        ClearViewportDepthBuffer(stage.viewport, 0);
        DrawScene(stage.scene);
        return stage.pixels;
    }
};

// What a case's call reported, and how to free what was made.
struct Outcome {
    bool reported;
    std::function<void()> release = [] {};
};
using Arm = std::function<void()>;
struct Case {
    const char *name;
    int minPoints;      // failure points the call must have
    bool owns;          // the case checks the result itself
    bool sweepScratch;  // the sort's scratch array starts released, to fail too
    std::function<Outcome(World &, const Arm &)> run;
};

template <class T, class R>
Case Creates(const char *name, int minPoints, std::type_identity_t<std::function<T *(World &)>> make, R (*del)(T *)) {
    return {name, minPoints, false, false, [make, del](World &w, const Arm &arm) {
                arm();
                T *made = make(w);
                return Outcome{!made, [made, del] { made ? void(del(made)) : void(); }};
            }};
}
#define CREATES(points, call, del) Creates(#call, points, []([[maybe_unused]] World &w) { return call; }, del)

// A call on an object built first; `call` is true when it reported failure.
template <class T>
Case On(const char *name, std::function<T *(World &)> build, std::function<bool(World &, T *)> call,
        std::function<void(World &, T *)> undo, bool owns = false, bool sweepScratch = false) {
    return {name, 1, owns, sweepScratch, [=](World &w, const Arm &arm) {
                T *t = build(w);
                arm();
                return Outcome{call(w, t), [&w, t, undo] { undo(w, t); }};
            }};
}

E3DMesh *CubeAt(float y, E3DScene *scene = nullptr) {
    E3DMesh *m = ActivateMesh(CubeCreate(2, nullptr, 1));
    return SetMeshModelPosition(m, y ? 0 : -12, y, 0), scene ? AssignMeshToScene(scene, m, 0) : m;
}
bool AttachToChild(World &w, E3DMesh *m) { return AttachChildToNode(&w.child->node, &m->node), !m->node.parent; }
void DetachFromChild(World &w, E3DMesh *m) { DetachChildFromNode(&w.child->node, &m->node), DeleteMesh(m); }

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
    // Corner normals that cannot be had are none at all, never half made.
    On<E3DMesh>("CalcMeshVerticesNormal", [](World &w) { return w.child; }, [](World &, E3DMesh *m) {
        const int32_t n = m->normalCount;
        CalcMeshVerticesNormal(m);
        EXPECT_EQ(m->normalCount, m->vertexNormals ? n : 0);
        return false;
    }, [](World &, E3DMesh *) {}, true),
    // A tree that cannot grow leaves both nodes alone.
    On<E3DLight>("AttachChildToNode light", [](World &w) { return w.light; },
                 [](World &w, E3DLight *l) { return AttachChildToNode(&w.child->node, &l->node), !l->node.parent; },
                 [](World &w, E3DLight *l) { DetachChildFromNode(&w.child->node, &l->node); }),
    // A mesh joining a tree in a scene, from outside or from being one of its
    // roots: the scene's list grows, or the attach is undone.
    On<E3DMesh>("AttachChildToNode mesh", [](World &) { return CubeAt(12); }, AttachToChild, DetachFromChild),
    On<E3DMesh>("AttachChildToNode root", [](World &w) { return CubeAt(-12, w.stage.scene); }, AttachToChild, DetachFromChild),
    // Drawing survives: nothing leaks, and the next frame is as it would have been.
    On<E3DScene>("DrawScene", [](World &w) { return SetViewportDepthState(w.stage.viewport, 0), w.stage.scene; },
                 [](World &, E3DScene *s) { return DrawScene(s), true; }, [](World &, E3DScene *) {}, false, true),
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
                c.sweepScratch ? ReleaseRadixSort() : ResetRadixSort(4096, indices);
                armed = e3dtest::MemoryStats(), HostMemoryFailNth(k);
            });
            used = HostMemoryPendingFailure() == 0;
            HostMemoryFailNth(0);
            const HostMemoryStats after = e3dtest::MemoryStats();
            if (used && !c.owns) {
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
