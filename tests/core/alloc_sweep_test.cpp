// Allocation-failure sweep: every function that allocates is run with each of
// its allocations failing in turn, inside a fully built scene. Each run must
// report the failure, leak nothing, leave the objects it was given as they
// were, and the scene must then draw the same frame, bit for bit, as before.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "engine3d.h"
#include "support/memory_check.h"
#include "support/mesh_builders.h"
#include "support/stage.h"

namespace {

using e3dtest::MemoryStats;
using e3dtest::Stage;

// A lit, depth-buffered scene: a sphere with a cube hung under it (the cube
// wears a material of its own) and a camera and a light.
struct World {
    Stage stage;
    E3DMesh *root, *child;
    E3DLight *light;
    E3DMaterial *material;

    World() : stage(true, true, -30.0f) {
        root = ActivateMesh(SphereCreate(8, nullptr, 8, 10, 0x3080C0));
        SetMeshShadeMode(&root->node, 7);
        child = ActivateMesh(CubeCreate(6, nullptr, 0xC08030));
        SetMeshModelPosition(child, 10, 2, -4);
        SetMeshModelOrientation(child, 20, 30, 0);
        material = CreateMaterial(&child->defaultMaterial);
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
};

// What the objects of the world look like from outside: membership, trees,
// counts, light lists and materials. Pointers to the engine's own buffers
// are left out; the frame drawn afterwards checks those.
std::vector<uintptr_t> Snapshot(const World &w) {
    std::vector<uintptr_t> s;
    auto list = [&](const E3DList &l) {
        s.push_back(uintptr_t(l.count));
        for (int32_t i = 0; i < l.count; ++i) s.push_back(uintptr_t(l.items[i]));
    };
    const E3DScene *sc = w.stage.scene;
    list(sc->meshes);
    list(sc->cameras);
    list(sc->lights);
    list(sc->materials);
    list(sc->skeletons);
    s.insert(s.end(), {uintptr_t(sc->activeCamera), uintptr_t(sc->viewport), uintptr_t(sc->polygonTotal),
                       uintptr_t(sc->vertexTotal), uintptr_t(sc->sortCapacity)});
    for (const E3DMesh *m : {w.root, w.child}) {
        s.insert(s.end(), {uintptr_t(m->node.parent), uintptr_t(m->node.childCount), uintptr_t(m->state),
                           uintptr_t(m->treePolygonCount), uintptr_t(m->polygonCount), uintptr_t(m->vertexCount),
                           uintptr_t(m->normalCount), uintptr_t(m->skeleton), uintptr_t(m->viewport)});
        for (int i = 0; i < m->node.childCount; ++i) s.push_back(uintptr_t(m->node.children[i]));
        for (int i = 0; i < 64 && m->lights && m->lights[i]; ++i) s.push_back(uintptr_t(m->lights[i]));
        for (int i = 0; i < m->polygonCount; ++i) {
            s.push_back(uintptr_t(m->polygons[i].material));
            s.push_back(uintptr_t(m->polygons[i].backMaterial));
        }
    }
    const E3DViewport *v = w.stage.viewport;
    s.insert(s.end(), {uintptr_t(v->flags), uintptr_t(v->camera), uintptr_t(v->depthBuffer != nullptr)});
    return s;
}

// The outcome of one call under a failing allocation.
struct Outcome {
    bool failed;                      // the call reported the failure
    std::function<void()> release{};  // frees what the call returned, if anything
    std::function<void()> cleanup{};  // frees what the case built before the call
    bool changesWorld = false;        // a survived failure may change the world as success does
};

// The sort's shared scratch array grows on demand; grown beforehand, no call
// under test reallocates it, so its (survivable) failure is not swept.
void GrowSortScratch() {
    static uint32_t indices[4096];
    ResetRadixSort(4096, indices);
}

// One case: `call` builds what it needs (before arm()), calls arm() right
// before the function under test and returns the outcome.
using Case = std::function<Outcome(World &, const std::function<void()> &arm)>;

// Runs `c` with its k-th allocation after arm() failing, for k = 1, 2, ...
// until a run completes without using the failure. Everything is checked
// before the outcome's release. With sweepScratch the sort's scratch array
// starts out released, so that its allocation is among those that fail.
// Returns the number of failure points exercised.
int Sweep(const Case &c, bool sweepScratch = false) {
    // The frame the world draws after the call succeeded, for calls that
    // survive a failure by completing.
    std::vector<uint16_t> successFrame;
    {
        World w;
        Outcome o = c(w, [] {});
        successFrame = w.Frame();
        if (o.release) o.release();
        if (o.cleanup) o.cleanup();
    }
    const bool failedBefore = ::testing::Test::HasFailure();
    int k = 1;
    for (;; ++k) {
        e3dtest::LeakCheck leaks;
        bool used = false;
        {
            World w;
            std::vector<uint16_t> before;
            std::vector<uintptr_t> snapshot;
            HostMemoryStats armed{};
            Outcome o = c(w, [&] {
                snapshot = Snapshot(w);
                before = w.Frame();
                if (sweepScratch) ReleaseRadixSort();
                else GrowSortScratch();
                armed = MemoryStats();
                HostMemoryFailNth(k);
            });
            used = HostMemoryPendingFailure() == 0;
            HostMemoryFailNth(0);
            SCOPED_TRACE("allocation " + std::to_string(k) + " failing");
            if (!used) {
                if (o.release) o.release();
            } else if (o.failed || !o.changesWorld) {
                EXPECT_TRUE(o.failed) << "failure not reported";
                EXPECT_EQ(Snapshot(w), snapshot) << "the objects it was given changed";
                if (o.release) o.release();
                const HostMemoryStats after = MemoryStats();
                EXPECT_EQ(after.liveBlocks, armed.liveBlocks) << "blocks left behind by the failed call";
                EXPECT_EQ(after.liveBytes, armed.liveBytes) << "bytes left behind by the failed call";
                EXPECT_EQ(w.Frame(), before) << "the scene draws differently";
            } else {
                EXPECT_EQ(w.Frame(), successFrame) << "a survived failure left a different scene";
                if (o.release) o.release();
            }
            if (o.cleanup) o.cleanup();
        }
        leaks.Check();
        // Stop at the first failing point of this sweep; an earlier case's
        // failure does not stop this one.
        if (!used || (::testing::Test::HasFailure() && !failedBefore)) break;
    }
    return k - 1;
}

// A case for a create function: null on failure, freed with `del`.
template <class T>
Case Creates(std::function<T *(World &)> make, std::function<void(T *)> del) {
    return [make, del](World &w, const std::function<void()> &arm) {
        arm();
        T *made = make(w);
        return Outcome{made == nullptr, [made, del] {
                           if (made) del(made);
                       }};
    };
}

Case CreatesMesh(std::function<E3DMesh *(World &)> make) {
    return Creates<E3DMesh>(std::move(make), [](E3DMesh *m) { DeleteMesh(m); });
}

TEST(AllocationSweep, CreatesReturnNullAndLeaveTheSceneAlone) {
    const float eye[3] = {0, 0, -5}, at[3] = {0, 0, 0}, colour[4] = {1, 1, 1, 0};
    const std::pair<const char *, Case> cases[] = {
        {"CreateMesh", CreatesMesh([](World &) { return CreateMesh(8, 12, 0xFF); })},
        {"CreateMesh grown", CreatesMesh([](World &) { return CreateMesh(0, 0, 0xFF); })},
        {"CreateAABB", CreatesMesh([](World &w) { return CreateAABB(w.root); })},
        {"CreateCamera", Creates<E3DCamera>([&](World &) { return CreateCamera(eye, at, 0, 60, 1); }, DeleteCamera)},
        {"CreateOmniLight",
         Creates<E3DLight>([&](World &) { return CreateOmniLight(eye, colour, 1, 1, 10, 0); }, DeleteLight)},
        {"CreateDirectLight",
         Creates<E3DLight>([&](World &) { return CreateDirectLight(eye, at, colour, 1, 0); }, DeleteLight)},
        {"CreateMaterial",
         Creates<E3DMaterial>([](World &w) { return CreateMaterial(w.material); }, DeleteMaterial)},
        {"CreateCheckerTexture",
         Creates<E3DTexture>([](World &) { return CreateCheckerTexture(16, 8, 4, 0x7FFF, 0x001F); }, DeleteTexture)},
        {"CreateScene", Creates<E3DScene>([](World &) { return CreateScene(); }, DeleteScene)},
        {"CreateViewport own",
         Creates<E3DViewport>([](World &) { return CreateViewport(nullptr, 8, 6, 0, 1); }, DeleteViewport)},
        {"CreateSkeleton", Creates<E3DSkeleton>([](World &) { return CreateSkeleton(); }, DeleteSkeleton)},
        {"CreateBone", Creates<E3DBone>([](World &) { return CreateBone(); }, DeleteBone)},
        {"CreateBVSphere", Creates<E3DBVSphere>([](World &) { return CreateBVSphere(); }, DeleteBVSphere)},
    };
    for (const auto &[name, c] : cases) {
        SCOPED_TRACE(name);
        EXPECT_GE(Sweep(c), 1);
    }
}

// A depth buffer that cannot be had leaves a viewport without one.
TEST(AllocationSweep, ViewportDepthIsOptional) {
    const int points = Sweep([](World &, const std::function<void()> &arm) {
        arm();
        E3DViewport *v = CreateViewport(nullptr, 8, 6, 1, 1);
        const bool noDepth = !v || (v->depthBuffer == nullptr && !(v->flags & 8u));
        return Outcome{noDepth, [v] { DeleteViewport(v); }};
    });
    EXPECT_GE(points, 2);
    EXPECT_GE(Sweep([](World &w, const std::function<void()> &arm) {
                  SetViewportDepthState(w.stage.viewport, 0);
                  arm();
                  const int32_t r = SetViewportDepthState(w.stage.viewport, 1);
                  return Outcome{r == 0 && !w.stage.viewport->depthBuffer};
              }),
              1);
}

TEST(AllocationSweep, GeneratorsReturnNull) {
    const std::pair<const char *, Case> cases[] = {
        {"CubeCreate", CreatesMesh([](World &) { return CubeCreate(2, nullptr, 1); })},
        {"GridCreate", CreatesMesh([](World &) { return GridCreate(2, nullptr, 2, 3, 1); })},
        {"SphereCreate", CreatesMesh([](World &) { return SphereCreate(2, nullptr, 4, 5, 1); })},
        {"TorusCreate", CreatesMesh([](World &) { return TorusCreate(3, 1, nullptr, 4, 5, 1); })},
        {"DiskCreate", CreatesMesh([](World &) { return DiskCreate(2, nullptr, 5, 1); })},
        {"RingCreate", CreatesMesh([](World &) { return RingCreate(3, 1, nullptr, 5, 1); })},
        {"ChCubeCreate", CreatesMesh([](World &) { return ChCubeCreate(4, 1, nullptr, 1); })},
        {"HemisphereCreate", CreatesMesh([](World &) { return HemisphereCreate(2, nullptr, 4, 5, 1, 0); })},
        {"GeoSphereCreate", CreatesMesh([](World &) { return GeoSphereCreate(2, nullptr, 1, 1); })},
        {"CylinderCreate", CreatesMesh([](World &) { return CylinderCreate(2, 3, nullptr, 5, 2, 1); })},
        {"TubeCreate", CreatesMesh([](World &) { return TubeCreate(3, 1, 2, nullptr, 5, 2, 1); })},
        {"BillboardCreate", CreatesMesh([](World &) { return BillboardCreate(2, nullptr, 1); })},
    };
    for (const auto &[name, c] : cases) {
        SCOPED_TRACE(name);
        EXPECT_GE(Sweep(c), 3);
    }
}

// A grown mesh of a quad: four vertices, two triangles.
E3DMesh *GrownQuad() {
    E3DMesh *m = CreateMesh(0, 0, 0xFF);
    AddMeshVertex(m, 0, 0, 0);
    AddMeshVertex(m, 1, 0, 0);
    AddMeshVertex(m, 1, 1, 0);
    AddMeshVertex(m, 0, 1, 0);
    AddMeshTriPolygon(m, 0, 1, 2, 0, 0);
    AddMeshTriPolygon(m, 0, 2, 3, 0, 0);
    return m;
}

TEST(AllocationSweep, GrowingLeavesTheMeshAsItWas) {
    for (bool vertex : {true, false}) {
        SCOPED_TRACE(vertex ? "AddMeshVertex" : "AddMeshTriPolygon");
        Sweep([vertex](World &, const std::function<void()> &arm) {
            E3DMesh *m = GrownQuad();
            const int32_t vc = m->vertexCount, pc = m->polygonCount;
            const E3DVertex v3 = m->vertices[3];
            const E3DPolygon p1 = m->polygons[1];
            arm();
            const int32_t r = vertex ? AddMeshVertex(m, 2, 2, 2) : AddMeshTriPolygon(m, 1, 3, 2, 0, 0);
            bool unchanged = m->vertexCount == vc && m->polygonCount == pc &&
                             std::memcmp(&m->vertices[3], &v3, sizeof v3) == 0 &&
                             std::memcmp(&m->polygons[1], &p1, sizeof p1) == 0;
            return Outcome{r == 0 && unchanged, {}, [m] { DeleteMesh(m); }};
        });
    }
}

// A one-block quad made with its counts, not validated.
E3DMesh *CountedQuad() {
    E3DMesh *m = CreateMesh(4, 2, 0xFF);
    SetMeshVertex(m, 0, 0, 0, 0);
    SetMeshVertex(m, 1, 1, 0, 0);
    SetMeshVertex(m, 2, 1, 1, 0);
    SetMeshVertex(m, 3, 0, 1, 0);
    SetMeshTriPolygon(m, 0, 0, 1, 2, 0, 0);
    SetMeshTriPolygon(m, 1, 0, 2, 3, 0, 0);
    return m;
}

// Validation that runs out of memory gives NULL, and the argument is gone
// with everything it held.
TEST(AllocationSweep, ValidateMeshFailsWhole) {
    for (bool grown : {true, false}) {
        SCOPED_TRACE(grown ? "grown" : "made with its counts");
        int k = 1;
        for (;; ++k) {
            e3dtest::LeakCheck leaks;
            E3DMesh *m = grown ? GrownQuad() : CountedQuad();
            HostMemoryFailNth(k);
            E3DMesh *r = ValidateMesh(m);
            const bool used = HostMemoryPendingFailure() == 0;
            HostMemoryFailNth(0);
            if (used) {
                // NULL, or a whole mesh where the failure was the sort's
                // scratch array and the polygons were in order anyway.
                if (r) {
                    EXPECT_NE(r->vertexNormals, nullptr) << "allocation " << k << " failed";
                    EXPECT_NE(r->boundingBox, nullptr) << "allocation " << k << " failed";
                }
            } else {
                ASSERT_NE(r, nullptr);
                EXPECT_GT(r->normalCount, 0);
            }
            if (r) DeleteMesh(r);
            leaks.Check();
            if (!used || HasFailure()) break;
        }
        EXPECT_GE(k, 3);
    }
}

void RunCases(std::initializer_list<std::pair<const char *, Case>> cases) {
    for (const auto &[name, c] : cases) {
        SCOPED_TRACE(name);
        EXPECT_GE(Sweep(c), 1);
    }
}

// A scene list that cannot grow must leave the scene and the object alone.
TEST(AllocationSweep, SceneAssignsReportFailure) {
    const float eye[3] = {0, 0, -5}, at[3] = {0, 0, 0}, colour[4] = {1, 1, 1, 0};
    RunCases({
        {"AssignMeshToScene",
         [](World &w, const std::function<void()> &arm) {
             E3DMesh *m = ActivateMesh(CubeCreate(2, nullptr, 1));
             SetMeshModelPosition(m, -12, 0, 0);
             arm();
             E3DMesh *r = AssignMeshToScene(w.stage.scene, m, 1);
             const bool held = GetListElementIndex(&w.stage.scene->meshes, m) >= 0;
             return Outcome{r == nullptr && !held, {}, [&w, m] {
                                RemoveMeshFromScene(w.stage.scene, m, 1);
                                DeleteMesh(m);
                            }};
         }},
        {"AssignCameraToScene",
         [&](World &w, const std::function<void()> &arm) {
             E3DCamera *c = CreateCamera(eye, at, 0, 60, 1);
             arm();
             const int32_t r = AssignCameraToScene(w.stage.scene, c);
             return Outcome{r == 0, {}, [&w, c] {
                                RemoveCameraFromScene(w.stage.scene, c);
                                DeleteCamera(c);
                            }};
         }},
        {"AssignLightToScene",
         [&](World &w, const std::function<void()> &arm) {
             E3DLight *l = CreateOmniLight(eye, colour, 1, 1, 10, 0);
             arm();
             const int32_t r = AssignLightToScene(w.stage.scene, l, 1);
             return Outcome{r == 0, {}, [&w, l] {
                                RemoveLightFromScene(w.stage.scene, l);
                                DeleteLight(l);
                            }};
         }},
        {"AssignMaterialToScene",
         [](World &w, const std::function<void()> &arm) {
             E3DMaterial *m = CreateMaterial(w.material);
             arm();
             const int32_t r = AssignMaterialToScene(w.stage.scene, m);
             return Outcome{r == 0, {}, [&w, m] {
                                RemoveMaterialFromScene(w.stage.scene, m);
                                DeleteMaterial(m);
                            }};
         }},
        {"AssignSkeletonToScene",
         [](World &w, const std::function<void()> &arm) {
             E3DSkeleton *k = CreateSkeleton();
             arm();
             const int32_t r = AssignSkeletonToScene(w.stage.scene, k);
             return Outcome{r == 0, {}, [&w, k] {
                                RemoveSkeletonFromScene(w.stage.scene, k);
                                DeleteSkeleton(k);
                            }};
         }},
    });
}

TEST(AllocationSweep, AssignsAndAttachesLeaveObjectsUnchanged) {
    RunCases({
        {"AssignSkeletonToMesh",
         [](World &w, const std::function<void()> &arm) {
             E3DSkeleton *k = CreateSkeleton();
             arm();
             const int32_t r = AssignSkeletonToMesh(w.child, k);
             return Outcome{r == 0, {}, [&w, k] {
                                RemoveSkeletonFromMesh(w.child);
                                DeleteSkeleton(k);
                            }};
         }},
        {"AttachChildToNode light",
         [](World &w, const std::function<void()> &arm) {
             arm();
             AttachChildToNode(&w.child->node, &w.light->node);
             return Outcome{w.light->node.parent == nullptr, {},
                            [&w] { DetachChildFromNode(&w.child->node, &w.light->node); }};
         }},
        {"AttachBoneToSkeleton",
         [](World &, const std::function<void()> &arm) {
             E3DSkeleton *k = CreateSkeleton();
             E3DBone *root = CreateBone();
             AttachBoneToSkeleton(k, nullptr, root, "hip");
             E3DBone *b = CreateBone();
             const int16_t bones = k->boneCount;
             arm();
             const int32_t r = AttachBoneToSkeleton(k, "hip", b, "knee");
             return Outcome{r == 0 && k->boneCount == bones, {}, [k, b, r] {
                                if (r == 0) DeleteBone(b);
                                DeleteSkeleton(k);
                            }};
         }},
        {"SetSceneViewport",
         [](World &w, const std::function<void()> &arm) {
             E3DScene *s = CreateScene();
             SetViewportCamera(w.stage.viewport, w.stage.camera);
             arm();
             SetSceneViewport(s, w.stage.viewport);
             const bool joined = GetActiveSceneCamera(s) == w.stage.camera;
             return Outcome{!joined, {}, [&w, s] {
                                RemoveCameraFromScene(s, w.stage.camera);
                                DeleteScene(s);
                                SetViewportCamera(w.stage.viewport, nullptr);
                            }};
         }},
    });
}

// A mesh joining a tree in a scene: the scene's polygon list must grow, or
// the attach must be undone.
TEST(AllocationSweep, AttachingAMeshKeepsTheScenesList) {
    RunCases({{"AttachChildToNode mesh", [](World &w, const std::function<void()> &arm) {
                   E3DMesh *m = ActivateMesh(CubeCreate(2, nullptr, 1));
                   SetMeshModelPosition(m, 0, 12, 0);
                   arm();
                   AttachChildToNode(&w.child->node, &m->node);
                   return Outcome{m->node.parent == nullptr, {}, [&w, m] {
                                      DetachChildFromNode(&w.child->node, &m->node);
                                      DeleteMesh(m);
                                  }};
               }},
              // The child leaves the scene it was a root of, in the same step.
              {"AttachChildToNode scene root", [](World &w, const std::function<void()> &arm) {
                   E3DMesh *m = ActivateMesh(CubeCreate(2, nullptr, 1));
                   SetMeshModelPosition(m, 0, -12, 0);
                   AssignMeshToScene(w.stage.scene, m, 0);
                   arm();
                   AttachChildToNode(&w.child->node, &m->node);
                   return Outcome{m->node.parent == nullptr, {}, [&w, m] {
                                      DetachChildFromNode(&w.child->node, &m->node);
                                      DeleteMesh(m);
                                  }};
               }}});
}

// A scene whose polygon list could not be had (a removal's new list failed)
// still walks a bent skinned mesh, and writes no entry anywhere.
TEST(AllocationSweep, ASceneWithoutItsListStagesNoSkinnedMesh) {
    int listless = 0;
    for (int k = 1;; ++k) {
        e3dtest::LeakCheck leaks;
        bool used = false;
        {
            World w;
            E3DMesh *bent = ActivateMesh(CubeCreate(6, nullptr, 0x30C080));
            E3DSkeleton *skeleton = CreateSkeleton();
            const float origin[3] = {0, 0, 0}, aside[3] = {2, 0, 0}, turn[3] = {0, 0, 40};
            for (int b = 0; b < 2; ++b) {
                E3DBone *bone = CreateBone();
                SetBonePosition(bone, b ? aside : origin, 1);
                AttachBoneToSkeleton(skeleton, b ? "root" : nullptr, bone, b ? "tip" : "root");
            }
            SetBoneOrientation(GetBonePointerByName(skeleton, "tip"), turn, 0);
            ASSERT_EQ(AssignSkeletonToMesh(bent, skeleton), 1);
            const int32_t bones[4] = {1, -1, -1, -1};
            const float weights[4] = {1, 0, 0, 0};
            for (int v = 0; v < bent->vertexCount; ++v) SetVertexBoneWeights(bent, v, bones, weights);
            AssignMeshToScene(w.stage.scene, bent, 0);
            GrowSortScratch();
            HostMemoryFailNth(k);
            RemoveMeshFromScene(w.stage.scene, w.root, 0);
            used = HostMemoryPendingFailure() == 0;
            HostMemoryFailNth(0);
            listless += w.stage.scene->sortCapacity == 0;
            w.Frame();
            EXPECT_TRUE(w.stage.GuardsIntact());
            if (w.stage.scene->sortCapacity == 0) EXPECT_EQ(w.stage.scene->count, 0);
            else EXPECT_GT(w.stage.scene->count, 0);
            DeleteMesh(w.root);
            RemoveSkeletonFromMesh(bent);
            DeleteSkeleton(skeleton);
        }
        leaks.Check();
        if (!used || ::testing::Test::HasFailure()) break;
    }
    EXPECT_GT(listless, 0);
}

// Drawing survives a failed allocation: nothing leaks, nothing changes, and
// the next frame is the one it would have been.
TEST(AllocationSweep, DrawsSurviveFailures) {
    const int scenePoints = Sweep(
        [](World &w, const std::function<void()> &arm) {
            SetViewportDepthState(w.stage.viewport, 0);  // the painter's pass sorts everything
            arm();
            DrawScene(w.stage.scene);
            return Outcome{true};
        },
        true);
    EXPECT_EQ(scenePoints, 1) << "the sort's scratch array";
    const int meshPoints = Sweep(
        [](World &w, const std::function<void()> &arm) {
        E3DMesh *m = ActivateMesh(TorusCreate(4, 1, nullptr, 6, 8, 0xFF00));
        SetMeshViewport(m, w.stage.viewport);
        SetViewportCamera(w.stage.viewport, w.stage.camera);
        SetViewportDepthState(w.stage.viewport, 0);
        arm();
        DrawMesh(m);
        return Outcome{true, {}, [&w, m] {
                           SetViewportCamera(w.stage.viewport, nullptr);
                           DeleteMesh(m);
                       }};
        },
        true);
    EXPECT_EQ(meshPoints, 1);
}

}  // namespace
