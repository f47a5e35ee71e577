// Node tree operations. A mesh hung under a mesh is drawn and sorted as part
// of its root's tree, so attaching and detaching move polygon counts and sort
// buffers between trees (and the scenes that hold them).
#include "core/node.h"

#include <cstring>
#include <initializer_list>

#include "e3dhost.h"
#include "scene/mesh.h"
#include "scene/scene_links.h"

namespace e3d {

namespace {

E3DMesh *AsMesh(E3DNode *n) { return reinterpret_cast<E3DMesh *>(n); }

E3DNode *RootOf(E3DNode *n) {
    while (n->parent) n = n->parent;
    return n;
}

// Adds delta to the tree polygon count of every mesh from `from` up to the root.
void AddToTreeCounts(E3DNode *from, int32_t delta) {
    for (E3DNode *n = from; n; n = n->parent) {
        if (IsMeshNode(n)) AsMesh(n)->treePolygonCount += delta;
    }
}

// The scenes holding the root resize their lists; a root outside every scene
// gets a fresh buffer of its own.
void ResizeTree(E3DNode *parent, int32_t delta) {
    E3DNode *root = RootOf(parent);
    if (!IsMeshNode(root)) return;
    E3DMesh *rootMesh = AsMesh(root);
    if (!ResizeScenesHoldingRoot(rootMesh, delta)) ReplaceSortBuffer(rootMesh, rootMesh->treePolygonCount);
}

bool MeshUnderMesh(const E3DNode *parent, const E3DNode *child) {
    return NodeType(parent) == 1 && IsMeshNode(child);
}

}  // namespace

void UnlinkNodeWithTarget(E3DNode *node, E3DNode *target) {
    for (E3DNode *n : {node, target}) {
        if (n->parent) DetachChildFromNode(n->parent, n);
        if (n->children) FreeMemory(n->children);
        n->children = nullptr;
        n->childCount = 0;
    }
}

void DetachAllChildren(E3DNode *node) {
    for (int count = node->childCount; count > 0 && node->childCount > 0; --count) {
        E3DNode *child = node->children[0];
        if (child->childCount > 0) DetachAllChildren(child);
        DetachChildFromNode(node, child);
        if (NodeType(child) == 1) ReleaseMesh(AsMesh(child));
    }
}

}  // namespace e3d

using namespace e3d;

extern "C" E3D_API int32_t AttachChildToNode(E3DNode *parent, E3DNode *child) {
    if (child->parent) DetachChildFromNode(child->parent, child);
    const int32_t count = parent->childCount + 1;
    auto **grown = static_cast<E3DNode **>(AllocateMemory(uint32_t(count) * sizeof(E3DNode *)));
    if (!grown) return 1;  // Guard: the child stays unattached
    if (parent->children) {
        std::memcpy(grown, parent->children, size_t(count - 1) * sizeof(E3DNode *));
        FreeMemory(parent->children);
    }
    grown[count - 1] = child;
    parent->children = grown;
    parent->childCount = int16_t(count);
    child->parent = parent;
    if (MeshUnderMesh(parent, child)) {
        E3DMesh *childMesh = AsMesh(child);
        // From now on the child is drawn as part of its root's tree.
        RemoveMeshFromAllScenes(childMesh, 0);
        AddToTreeCounts(parent, childMesh->treePolygonCount);
        FreeSortBuffer(childMesh);
        ResizeTree(parent, childMesh->treePolygonCount);
    }
    return 1;
}

extern "C" E3D_API int32_t DetachChildFromNode(E3DNode *parent, E3DNode *child) {
    if (parent->childCount < 1) return 0;
    int found = -1;
    for (int i = 0; i < parent->childCount; ++i) {
        if (parent->children[i] == child) {
            found = i;
            break;
        }
    }
    if (found < 0) return 0;
    if (parent->childCount == 1) {
        FreeMemory(parent->children);
        parent->children = nullptr;
    } else {
        auto **shrunk = static_cast<E3DNode **>(AllocateMemory(uint32_t(parent->childCount - 1) * sizeof(E3DNode *)));
        if (shrunk) {
            int w = 0;
            for (int i = 0; i < parent->childCount; ++i) {
                if (parent->children[i] != child) shrunk[w++] = parent->children[i];
            }
            FreeMemory(parent->children);
            parent->children = shrunk;
        } else {
            // Guard: compact in place when a smaller array cannot be had.
            std::memmove(parent->children + found, parent->children + found + 1,
                         size_t(parent->childCount - found - 1) * sizeof(E3DNode *));
        }
    }
    child->parent = nullptr;
    parent->childCount -= 1;
    if (!MeshUnderMesh(parent, child)) return 1;
    E3DMesh *childMesh = AsMesh(child);
    AddToTreeCounts(parent, -childMesh->treePolygonCount);
    ResizeTree(parent, -childMesh->treePolygonCount);
    // The child is a root of its own tree now, outside every scene.
    ReplaceSortBuffer(childMesh, childMesh->treePolygonCount);
    return 1;
}
