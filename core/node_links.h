// What the node tree asks of the mesh code. A mesh hung under a mesh is
// drawn and sorted as part of its root's tree, so attaching and detaching
// move polygon counts and sort buffers between trees and the scenes that
// hold them; the recursive detach lets go of the meshes it detaches. The
// mesh code (scene/mesh_tree.cpp) defines these; core/ knows meshes only as
// nodes.
#pragma once

#include "engine3d.h"

namespace e3d {

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
