// Node tree: attach, detach and the recursive detach that frees mesh
// descendants, with the polygon bookkeeping of mesh trees.
#pragma once

#include "engine3d.h"

namespace e3d {

inline int NodeType(const E3DNode *n) { return n->type & 63; }
inline bool IsMeshNode(const E3DNode *n) { return NodeType(n) == 1 || NodeType(n) == 2; }

// Detaches every child (children's subtrees first) and frees the meshes
// among them; cameras, lights and targets are detached only.
void DetachAllChildren(E3DNode *node);

}  // namespace e3d
