// Allocation-failure sweep: every function that allocates runs with each of
// its allocations failing in turn, inside a fully built, lit scene. A call
// that fails must say so, leak nothing and leave its arguments and the frame
// as they were; a call allowed to survive must leave the scene as success does.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "engine3d.h"
#include "support/memory_check.h"
#include "support/stage.h"

namespace {

using e3dtest::MemoryStats;

// A sphere with a cube under it (the cube wears a material of its own), a light.
struct World {
    e3dtest::Stage stage{true, true, -30.0f};
    E3DMesh *root = ActivateMesh(SphereCreate(8, nullptr, 8, 10, 0x3080C0));
    E3DMesh *child = ActivateMesh(CubeCreate(6, nullptr, 0xC08030));
    E3DMaterial *material = CreateMaterial(&child->defaultMaterial);
    E3DLight *light;
    World() {
        SetMeshShadeMode(&root->node, 7);
        SetMeshModelPosition(child, 10, 2, -4);
        SetMeshModelOrientation(child, 20, 30, 0);
        SetMaterialColor(material, 1, 40, 200, 90);
        SetMaterial(child, material, 2, 0);
        AttachChildToNode(&root->node, &child->node);
        AssignMeshToScene(stage.scene, root, 0);
        AssignMaterialToScene(stage.scene, material);
        const float at[3] = {-20, 20, -40}, colour[4] = {1, 1, 1, 0};
        light = CreateOmniLight(at, colour, 1, 10, 200, 0x80000000u);
        AssignLightToScene(stage.scene, light, 1);
    }
    std::vector<uint16_t> Frame() {
        std::fill(stage.pixels.begin(), stage.pixels.end(), e3dtest::kBackground);
        ClearViewportDepthBuffer(stage.viewport, 0);
        DrawScene(stage.scene);
        return stage.pixels;
    }
    // What the objects look like from outside: lists, trees, counts, lights
    // and materials (the engine's own buffers show in the frame instead).
    std::vector<uintptr_t> Snapshot() const {
        std::vector<uintptr_t> s;
        const E3DScene *sc = stage.scene;
        auto add = [&s](void *const *items, int n) {
            for (int i = 0; i < n; ++i) s.push_back(uintptr_t(items[i]));
            s.push_back(uintptr_t(n));
        };
        for (const E3DList *l : {&sc->meshes, &sc->cameras, &sc->lights, &sc->materials, &sc->skeletons})
            add(l->items, l->count);
        s.insert(s.end(), {uintptr_t(sc->activeCamera), uintptr_t(sc->viewport), uintptr_t(sc->polygonTotal),
                           uintptr_t(sc->vertexTotal), uintptr_t(sc->sortCapacity), stage.viewport->flags,
                           uintptr_t(stage.viewport->camera), uintptr_t(stage.viewport->depthBuffer != nullptr)});
        for (const E3DMesh *m : {root, child}) {
            s.insert(s.end(), {uintptr_t(m->node.parent), uintptr_t(m->node.childCount), m->state,
                               uintptr_t(m->treePolygonCount), uintptr_t(m->polygonCount), uintptr_t(m->vertexCount),
                               uintptr_t(m->normalCount), uintptr_t(m->skeleton), uintptr_t(m->viewport)});
            add(reinterpret_cast<void *const *>(m->node.children), m->node.childCount);
            for (int i = 0; i < 64 && m->lights && m->lights[i]; ++i) s.push_back(uintptr_t(m->lights[i]));
            for (int i = 0; i < m->polygonCount; ++i)
                s.insert(s.end(), {uintptr_t(m->polygons[i].material), uintptr_t(m->polygons[i].backMaterial)});
        }
        return s;
    }
};

// A case builds what it needs, calls arm() and then the function under test.
// With `owns` it checks the result itself; else a failed allocation must be
// reported and leave arguments, allocations and frame as they were.
struct Outcome {
    bool reported;                    // the call said it failed
    std::function<void()> release = [] {};  // frees what the call made and the case built
};
using Arm = std::function<void()>;
struct Case {
    const char *name;
    bool owns;
    int minPoints;      // failure points the call must have
    bool sweepScratch;  // the sort's scratch array starts released, to fail too
    std::function<Outcome(World &, const Arm &)> run;
};

// A create: null on failure.
template <class T, class R>
Case Creates(const char *name, int minPoints, std::type_identity_t<std::function<T *(World &)>> make, R (*del)(T *)) {
    return {name, false, minPoints, false, [make, del](World &w, const Arm &arm) {
                arm();
                T *made = make(w);
                return Outcome{made == nullptr, [made, del] { if (made) del(made); }};
            }};
}
#define CREATES(points, call, del) Creates(#call, points, []([[maybe_unused]] World &w) { return call; }, del)

// A call on an object built first: `call` is true when it reported failure.
template <class T>
Case On(const char *name, std::function<T *(World &)> build, std::function<bool(World &, T *)> call,
        std::function<void(World &, T *)> undo, bool owns = false, bool sweepScratch = false) {
    return {name, owns, 1, sweepScratch, [=](World &w, const Arm &arm) {
                T *t = build(w);
                arm();
                const bool reported = call(w, t);
                return Outcome{reported, [&w, t, undo] { undo(w, t); }};
            }};
}

E3DMesh *Quad(bool grown) {
    E3DMesh *m = CreateMesh(grown ? 0 : 4, grown ? 0 : 2, 0xFF);
    const float xy[4][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
    for (int i = 0; i < 4; ++i)
        grown ? AddMeshVertex(m, xy[i][0], xy[i][1], 0) : SetMeshVertex(m, i, xy[i][0], xy[i][1], 0);
    grown ? AddMeshTriPolygon(m, 0, 1, 2, 0, 0) : SetMeshTriPolygon(m, 0, 0, 1, 2, 0, 0);
    grown ? AddMeshTriPolygon(m, 0, 2, 3, 0, 0) : SetMeshTriPolygon(m, 1, 0, 2, 3, 0, 0);
    return m;
}

E3DMesh *CubeAt(World &, float x, float y) {
    E3DMesh *m = ActivateMesh(CubeCreate(2, nullptr, 1));
    return SetMeshModelPosition(m, x, y, 0), m;
}
bool AttachToChild(World &w, E3DMesh *m) { return AttachChildToNode(&w.child->node, &m->node), !m->node.parent; }
void DetachFromChild(World &w, E3DMesh *m) { DetachChildFromNode(&w.child->node, &m->node), DeleteMesh(m); }

// A cube bent by a two-bone skeleton, in the scene.
E3DMesh *BentCube(World &w) {
    E3DMesh *bent = ActivateMesh(CubeCreate(6, nullptr, 0x30C080));
    E3DSkeleton *skeleton = CreateSkeleton();
    const float origin[3] = {0, 0, 0}, aside[3] = {2, 0, 0}, turn[3] = {0, 0, 40};
    for (int b = 0; b < 2; ++b) {
        E3DBone *bone = CreateBone();
        SetBonePosition(bone, b ? aside : origin, 1);
        AttachBoneToSkeleton(skeleton, b ? "root" : nullptr, bone, b ? "tip" : "root");
    }
    SetBoneOrientation(GetBonePointerByName(skeleton, "tip"), turn, 0);
    EXPECT_EQ(AssignSkeletonToMesh(bent, skeleton), 1);
    const int32_t bones[4] = {1, -1, -1, -1};
    const float weights[4] = {1, 0, 0, 0};
    for (int v = 0; v < bent->vertexCount; ++v) SetVertexBoneWeights(bent, v, bones, weights);
    AssignMeshToScene(w.stage.scene, bent, 0);
    return bent;
}

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
    // A depth buffer that cannot be had leaves a viewport without one.
    {"CreateViewport with depth", false, 2, false, [](World &, const Arm &arm) {
         arm();
         E3DViewport *v = CreateViewport(nullptr, 8, 6, 1, 1);
         if (v && (v->depthBuffer || (v->flags & 8u))) return Outcome{false, [v] { DeleteViewport(v); }};
         return DeleteViewport(v), Outcome{true};
     }},
    On<E3DViewport>("SetViewportDepthState", [](World &w) { return SetViewportDepthState(w.stage.viewport, 0), w.stage.viewport; },
                    [](World &, E3DViewport *v) { return !SetViewportDepthState(v, 1) && !v->depthBuffer; },
                    [](World &, E3DViewport *) {}),
    // Growing a mesh that cannot grow leaves it exactly as it was.
    On<E3DMesh>("AddMeshVertex", [](World &) { return Quad(true); }, [](World &, E3DMesh *m) {
        const E3DVertex v3 = m->vertices[3];
        return !AddMeshVertex(m, 2, 2, 2) && m->vertexCount == 4 && !std::memcmp(&m->vertices[3], &v3, sizeof v3);
    }, [](World &, E3DMesh *m) { DeleteMesh(m); }),
    On<E3DMesh>("AddMeshTriPolygon", [](World &) { return Quad(true); }, [](World &, E3DMesh *m) {
        const E3DPolygon p1 = m->polygons[1];
        return !AddMeshTriPolygon(m, 1, 3, 2, 0, 0) && m->polygonCount == 2 && !std::memcmp(&m->polygons[1], &p1, sizeof p1);
    }, [](World &, E3DMesh *m) { DeleteMesh(m); }),
    // Validation out of memory gives null and frees its argument; a result is whole.
    {"ValidateMesh", true, 6, false, [](World &, const Arm &arm) {
         E3DMesh *grown = Quad(true), *counted = Quad(false);
         arm();
         E3DMesh *r[2] = {ValidateMesh(grown), ValidateMesh(counted)};
         const bool unused = HostMemoryPendingFailure() > 0;
         for (E3DMesh *m : r) EXPECT_TRUE(m ? m->vertexNormals && m->boundingBox && m->normalCount > 0 : !unused);
         return Outcome{false, [r] { for (E3DMesh *m : r) if (m) DeleteMesh(m); }};
     }},
    // A scene list or a tree that cannot grow leaves scene and object alone.
    On<E3DMesh>("AssignMeshToScene", [](World &w) { return CubeAt(w, -12, 0); }, [](World &w, E3DMesh *m) {
        return !AssignMeshToScene(w.stage.scene, m, 1) && GetListElementIndex(&w.stage.scene->meshes, m) < 0;
    }, [](World &w, E3DMesh *m) { RemoveMeshFromScene(w.stage.scene, m, 1), DeleteMesh(m); }),
    On<E3DCamera>("AssignCameraToScene", [](World &) { return CreateCamera(kEye, kAt, 0, 60, 1); },
                  [](World &w, E3DCamera *c) { return !AssignCameraToScene(w.stage.scene, c); },
                  [](World &w, E3DCamera *c) { RemoveCameraFromScene(w.stage.scene, c), DeleteCamera(c); }),
    On<E3DLight>("AssignLightToScene", [](World &) { return CreateOmniLight(kEye, kWhite, 1, 1, 10, 0); },
                 [](World &w, E3DLight *l) { return !AssignLightToScene(w.stage.scene, l, 1); },
                 [](World &w, E3DLight *l) { RemoveLightFromScene(w.stage.scene, l), DeleteLight(l); }),
    On<E3DMaterial>("AssignMaterialToScene", [](World &w) { return CreateMaterial(w.material); },
                    [](World &w, E3DMaterial *m) { return !AssignMaterialToScene(w.stage.scene, m); },
                    [](World &w, E3DMaterial *m) { RemoveMaterialFromScene(w.stage.scene, m), DeleteMaterial(m); }),
    On<E3DSkeleton>("AssignSkeletonToScene", [](World &) { return CreateSkeleton(); },
                    [](World &w, E3DSkeleton *k) { return !AssignSkeletonToScene(w.stage.scene, k); },
                    [](World &w, E3DSkeleton *k) { RemoveSkeletonFromScene(w.stage.scene, k), DeleteSkeleton(k); }),
    On<E3DSkeleton>("AssignSkeletonToMesh", [](World &) { return CreateSkeleton(); },
                    [](World &w, E3DSkeleton *k) { return !AssignSkeletonToMesh(w.child, k); },
                    [](World &w, E3DSkeleton *k) { RemoveSkeletonFromMesh(w.child), DeleteSkeleton(k); }),
    On<E3DLight>("AttachChildToNode light", [](World &w) { return w.light; },
                 [](World &w, E3DLight *l) { return AttachChildToNode(&w.child->node, &l->node), !l->node.parent; },
                 [](World &w, E3DLight *l) { DetachChildFromNode(&w.child->node, &l->node); }),
    {"AttachBoneToSkeleton", false, 1, false, [](World &, const Arm &arm) {
         E3DSkeleton *k = CreateSkeleton();
         AttachBoneToSkeleton(k, nullptr, CreateBone(), "hip");
         E3DBone *b = CreateBone();
         arm();
         const bool failed = !AttachBoneToSkeleton(k, "hip", b, "knee");
         EXPECT_EQ(k->boneCount, failed ? 1 : 2);
         return Outcome{failed, [k, b, failed] { failed ? DeleteBone(b) : void(), DeleteSkeleton(k); }};
     }},
    On<E3DScene>("SetSceneViewport",
                 [](World &w) { return SetViewportCamera(w.stage.viewport, w.stage.camera), CreateScene(); },
                 [](World &w, E3DScene *s) {
                     return SetSceneViewport(s, w.stage.viewport), GetActiveSceneCamera(s) != w.stage.camera;
                 },
                 [](World &w, E3DScene *s) {
                     RemoveCameraFromScene(s, w.stage.camera), DeleteScene(s);
                     SetViewportCamera(w.stage.viewport, nullptr);
                 }),
    // A mesh joining a tree in a scene (from outside, or from being one of
    // its roots): the scene's list grows, or the attach is undone.
    On<E3DMesh>("AttachChildToNode mesh", [](World &w) { return CubeAt(w, 0, 12); }, AttachToChild, DetachFromChild),
    On<E3DMesh>("AttachChildToNode scene root", [](World &w) {
        E3DMesh *m = CubeAt(w, 0, -12);
        return AssignMeshToScene(w.stage.scene, m, 0), m;
    }, AttachToChild, DetachFromChild),
    // A scene whose list could not be had (a removal's new list failed)
    // still walks a bent skinned mesh, and writes no entry anywhere.
    On<E3DMesh>("RemoveMeshFromScene, then a skinned mesh drawn", BentCube,
                [](World &w, E3DMesh *) { return RemoveMeshFromScene(w.stage.scene, w.root, 0), false; },
                [](World &w, E3DMesh *bent) {
                    w.Frame();
                    EXPECT_TRUE(w.stage.GuardsIntact());
                    EXPECT_EQ(w.stage.scene->count == 0, w.stage.scene->sortCapacity == 0);
                    E3DSkeleton *k = bent->skeleton;
                    DeleteMesh(w.root), RemoveSkeletonFromMesh(bent), DeleteSkeleton(k);
                }, true),
    // Drawing survives: nothing leaks, and the next frame is as it would have been.
    On<E3DScene>("DrawScene", [](World &w) { return SetViewportDepthState(w.stage.viewport, 0), w.stage.scene; },
                 [](World &, E3DScene *s) { return DrawScene(s), true; }, [](World &, E3DScene *) {}, false, true),
    On<E3DMesh>("DrawMesh", [](World &w) {
        E3DMesh *m = ActivateMesh(TorusCreate(4, 1, nullptr, 6, 8, 0xFF00));
        SetMeshViewport(m, w.stage.viewport), SetViewportCamera(w.stage.viewport, w.stage.camera);
        return SetViewportDepthState(w.stage.viewport, 0), m;
    }, [](World &, E3DMesh *m) { return DrawMesh(m), true; },
       [](World &w, E3DMesh *m) { SetViewportCamera(w.stage.viewport, nullptr), DeleteMesh(m); }, false, true),
};

TEST(AllocationSweep, EveryAllocationFailsCleanly) {
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        const bool failedBefore = ::testing::Test::HasFailure();
        int k = 1;
        for (bool used = true; used; ++k) {
            e3dtest::LeakCheck leaks;
            {
                World w;
                std::vector<uint16_t> before;
                std::vector<uintptr_t> snapshot;
                HostMemoryStats armed{};
                Outcome o = c.run(w, [&] {
                    snapshot = w.Snapshot();
                    before = w.Frame();
                    // Grown beforehand, the sort's scratch array is not reallocated.
                    static uint32_t indices[4096];
                    c.sweepScratch ? ReleaseRadixSort() : ResetRadixSort(4096, indices);
                    armed = MemoryStats();
                    HostMemoryFailNth(k);
                });
                used = HostMemoryPendingFailure() == 0;
                HostMemoryFailNth(0);
                SCOPED_TRACE("allocation " + std::to_string(k) + " failing");
                if (used && !c.owns) {
                    EXPECT_TRUE(o.reported) << "failure not reported";
                    EXPECT_EQ(w.Snapshot(), snapshot) << "the objects it was given changed";
                    const HostMemoryStats after = MemoryStats();
                    EXPECT_EQ(after.liveBlocks, armed.liveBlocks) << "blocks left behind by the failed call";
                    EXPECT_EQ(after.liveBytes, armed.liveBytes) << "bytes left behind by the failed call";
                    EXPECT_EQ(w.Frame(), before) << "the scene draws differently";
                }
                o.release();
            }
            leaks.Check();
            if (::testing::Test::HasFailure() && !failedBefore) break;
        }
        EXPECT_GE(k - 2, c.minPoints);
    }
}

}  // namespace
