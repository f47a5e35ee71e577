// Node tree: attach, detach and the recursive detach that frees mesh
// descendants, with the polygon bookkeeping of mesh trees.
#pragma once

#include "engine3d.h"

namespace e3d {

inline int NodeType(const E3DNode *n) { return n->type & 63; }
inline bool IsMeshNode(const E3DNode *n) { return NodeType(n) == 1 || NodeType(n) == 2; }

// The root of a mesh's tree: the topmost mesh reached through mesh parents.
// A mesh hung under a camera or a light is the root of a tree of its own.
inline E3DNode *MeshTreeRoot(E3DNode *n) {
    while (n->parent && NodeType(n->parent) == 1) n = n->parent;
    return n;
}

// Unhooks a camera or light and its target node from their parents and
// detaches their children, which become roots of their own.
void UnlinkNodeWithTarget(E3DNode *node, E3DNode *target);

// Detaches every child (children's subtrees first) and frees the meshes
// among them; cameras, lights and targets are detached only.
void DetachAllChildren(E3DNode *node);

}  // namespace e3d
