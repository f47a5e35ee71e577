// Node records: their type and the root of a mesh tree. The tree operations
// themselves (attach, detach, the recursive detach that frees meshes) are
// the scene's: scene/node_tree.h.
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

}  // namespace e3d
