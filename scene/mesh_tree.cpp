// The mesh side of the node tree: tree polygon counts and sort buffers move
// with the meshes hung under meshes.
#include "core/node.h"
#include "core/node_links.h"
#include "scene/mesh.h"
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

void MeshAttachedUnderMesh(E3DNode *parent, E3DNode *child) {
    E3DMesh *childMesh = AsMesh(child);
    // From now on the child is drawn as part of its root's tree.
    RemoveMeshFromAllScenes(childMesh, 0);
    AddToTreeCounts(parent, childMesh->treePolygonCount);
    FreeSortBuffer(childMesh);
    ResizeTree(parent, childMesh->treePolygonCount);
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
