// The mesh side of the node tree: tree polygon counts and sort buffers move
// with the meshes hung under meshes.
#include "core/node.h"

#include "core/engine_state.h"
#include "e3dhost.h"
#include "scene/mesh.h"
#include "scene/node_tree.h"
#include "scene/scene_links.h"

namespace e3d {

namespace {

E3DMesh *AsMesh(E3DNode *n) { return reinterpret_cast<E3DMesh *>(n); }

// Adds delta to the tree polygon count of every mesh from `from` up to the
// tree's root.
void AddToTreeCounts(E3DNode *from, int32_t delta) {
    E3DNode *root = MeshTreeRoot(from);
    for (E3DNode *n = from;; n = n->parent) {
        AsMesh(n)->treePolygonCount += delta;
        if (n == root) break;
    }
}

// The scenes holding the root resize their lists; a root outside every scene
// gets a fresh buffer of its own.
void ResizeTree(E3DNode *parent, int32_t delta) {
    E3DMesh *rootMesh = AsMesh(MeshTreeRoot(parent));
    if (!ResizeScenesHoldingRoot(rootMesh, delta)) ReplaceSortBuffer(rootMesh, rootMesh->treePolygonCount);
}

}  // namespace

// One scene whose list changes: it holds the root of the tree the child
// joins, the child itself (which stops being a root), or both.
struct PlannedList {
    E3DScene *scene;
    uint32_t *buffer;
    uint32_t entries;
    bool holdsRoot, holdsChild;
};

struct MeshAttachPlan {
    uint32_t *rootBuffer;  // the root's own list when no scene holds it
    int32_t count;
    PlannedList lists[1];  // `count` of them
};

namespace {

bool SceneHolds(const E3DScene *s, const E3DMesh *m) { return GetListElementIndex(&s->meshes, m) >= 0; }

void FreePlan(MeshAttachPlan *plan) {
    for (int32_t i = 0; i < plan->count; ++i)
        if (plan->lists[i].buffer) FreeMemory(plan->lists[i].buffer);
    if (plan->rootBuffer) FreeMemory(plan->rootBuffer);
    FreeMemory(plan);
}

}  // namespace

MeshAttachPlan *PrepareMeshAttach(E3DNode *parent, E3DNode *child) {
    E3DMesh *root = AsMesh(MeshTreeRoot(parent)), *childMesh = AsMesh(child);
    const int32_t moved = childMesh->treePolygonCount;
    int32_t scenes = 0;
    for (E3DScene *s = g_engine.sceneHead; s; s = s->next) scenes += SceneHolds(s, root) || SceneHolds(s, childMesh);
    const uint64_t bytes = sizeof(MeshAttachPlan) + uint64_t(scenes) * sizeof(PlannedList);
    auto *plan = bytes <= 0xFFFFFFFFull ? static_cast<MeshAttachPlan *>(AllocateMemory(uint32_t(bytes))) : nullptr;
    if (!plan) return nullptr;
    plan->rootBuffer = nullptr;
    plan->count = 0;
    bool rootHeld = false;
    for (E3DScene *s = g_engine.sceneHead; s; s = s->next) {
        const bool holdsRoot = SceneHolds(s, root), holdsChild = SceneHolds(s, childMesh);
        if (!holdsRoot && !holdsChild) continue;
        rootHeld = rootHeld || holdsRoot;
        const int32_t total = s->polygonTotal + (holdsRoot ? moved : 0) - (holdsChild ? moved : 0);
        PlannedList &l = plan->lists[plan->count++];
        l = {s, nullptr, total > 0 ? uint32_t(total) : 0u, holdsRoot, holdsChild};
        l.buffer = NewSceneBuffer(l.entries);
        if (!l.buffer) {
            FreePlan(plan);
            return nullptr;
        }
    }
    if (!rootHeld) {
        plan->rootBuffer = NewSortBuffer(root->treePolygonCount + moved);
        if (!plan->rootBuffer) {
            FreePlan(plan);
            return nullptr;
        }
    }
    return plan;
}

void MeshAttachedUnderMesh(E3DNode *parent, E3DNode *child, MeshAttachPlan *plan) {
    E3DMesh *childMesh = AsMesh(child), *root = AsMesh(MeshTreeRoot(parent));
    const int32_t moved = childMesh->treePolygonCount;
    // From now on the child is drawn as part of its root's tree: it leaves
    // the scenes it was a root of, and the root's scenes count its polygons.
    for (int32_t i = 0; i < plan->count; ++i) {
        PlannedList &l = plan->lists[i];
        E3DScene *s = l.scene;
        s->flags &= ~1u;
        if (l.holdsChild) {
            s->polygonTotal -= moved;
            s->vertexTotal -= childMesh->vertexCount;
            RemoveListElement(&s->meshes, childMesh);
        }
        if (l.holdsRoot) s->polygonTotal += moved;
        InstallSceneBuffer(s, l.buffer, l.entries);
        l.buffer = nullptr;
        s->flags |= 1u;
    }
    AddToTreeCounts(parent, moved);
    FreeSortBuffer(childMesh);
    if (plan->rootBuffer) {
        InstallSortBuffer(root, plan->rootBuffer, root->treePolygonCount);
        plan->rootBuffer = nullptr;
    }
    FreePlan(plan);
}

void MeshDetachedFromMesh(E3DNode *parent, E3DNode *child) {
    E3DMesh *childMesh = AsMesh(child);
    AddToTreeCounts(parent, -childMesh->treePolygonCount);
    ResizeTree(parent, -childMesh->treePolygonCount);
    // The child is a root of its own tree now, outside every scene.
    ReplaceSortBuffer(childMesh, childMesh->treePolygonCount);
}

void ReleaseMeshNode(E3DNode *mesh) {
    // A mesh reached through a camera or light of the subtree may be a scene's
    // root: no scene keeps a freed mesh.
    RemoveMeshFromAllScenes(AsMesh(mesh), 1);
    ReleaseMesh(AsMesh(mesh));
}

}  // namespace e3d
