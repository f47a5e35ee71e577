// The node tree's operations (scene/node_tree.cpp) and what they ask of the
// mesh code (scene/mesh_tree.cpp). A mesh hung under a mesh is drawn and
// sorted as part of its root's tree, so attaching and detaching move polygon
// counts and sort buffers between trees and the scenes that hold them; the
// recursive detach lets go of the meshes it detaches.
#pragma once

#include "engine3d.h"

namespace e3d {

// Unhooks a camera or light and its target node from their parents and
// detaches their children, which become roots of their own.
void UnlinkNodeWithTarget(E3DNode *node, E3DNode *target);

// Detaches every child (children's subtrees first) and frees the meshes
// among them; cameras, lights and targets are detached only.
void DetachAllChildren(E3DNode *node);

// The polygon lists a mesh joining a mesh tree needs (the scenes holding
// either tree, or the root's own list), had before anything changes: when
// one cannot be had nothing is taken and the result is null.
struct MeshAttachPlan;
MeshAttachPlan *PrepareMeshAttach(E3DNode *parent, E3DNode *child);

// `child`, a mesh, has just been hung under `parent`, a mesh; installs and
// frees the plan.
void MeshAttachedUnderMesh(E3DNode *parent, E3DNode *child, MeshAttachPlan *plan);

// `child`, a mesh, has just been taken from under `parent`, a mesh.
void MeshDetachedFromMesh(E3DNode *parent, E3DNode *child);

// The release step for a mesh node the recursive detach lets go of.
void ReleaseMeshNode(E3DNode *mesh);

}  // namespace e3d
