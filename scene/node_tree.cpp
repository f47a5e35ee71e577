// Node tree operations. What a mesh hung under a mesh means for polygon
// counts and sort buffers is the mesh code's business (scene/mesh_tree.cpp).
#include "scene/node_tree.h"

#include <cstring>
#include <initializer_list>

#include "core/node.h"
#include "e3dhost.h"

namespace e3d {

namespace {

bool MeshUnderMesh(const E3DNode *parent, const E3DNode *child) {
    return NodeType(parent) == 1 && IsMeshNode(child);
}

}  // namespace

void UnlinkNodeWithTarget(E3DNode *node, E3DNode *target) {
    for (E3DNode *n : {node, target}) {
        if (n->parent) DetachChildFromNode(n->parent, n);
        // Children outlive the node as roots of their own.
        while (n->childCount > 0) {
            const int16_t count = n->childCount;
            DetachChildFromNode(n, n->children[0]);
            if (n->childCount == count) break;
        }
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
        if (NodeType(child) == 1) ReleaseMeshNode(child);
    }
}

}  // namespace e3d

using namespace e3d;

extern "C" E3D_API int32_t AttachChildToNode(E3DNode *parent, E3DNode *child) {
    if (!parent || !child) return 0;
    // Guard: a node never becomes its own ancestor, so every upward walk ends.
    for (const E3DNode *n = parent; n; n = n->parent) {
        if (n == child) return 0;
    }
    if (child->parent) DetachChildFromNode(child->parent, child);
    const int32_t count = parent->childCount + 1;
    auto **grown = static_cast<E3DNode **>(AllocateMemory(uint32_t(count) * sizeof(E3DNode *)));
    if (!grown) return 1;  // Guard: the child stays unattached
    MeshAttachPlan *plan = nullptr;
    if (MeshUnderMesh(parent, child)) {
        plan = PrepareMeshAttach(parent, child);
        if (!plan) {  // Guard: as above; every tree and scene stays as it was
            FreeMemory(grown);
            return 1;
        }
    }
    if (parent->children) {
        std::memcpy(grown, parent->children, size_t(count - 1) * sizeof(E3DNode *));
        FreeMemory(parent->children);
    }
    grown[count - 1] = child;
    parent->children = grown;
    parent->childCount = int16_t(count);
    child->parent = parent;
    if (plan) MeshAttachedUnderMesh(parent, child, plan);
    return 1;
}

extern "C" E3D_API int32_t DetachChildFromNode(E3DNode *parent, E3DNode *child) {
    if (!parent || !child || parent->childCount < 1) return 0;
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
    if (MeshUnderMesh(parent, child)) MeshDetachedFromMesh(parent, child);
    return 1;
}
