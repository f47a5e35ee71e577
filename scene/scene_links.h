// What the mesh side of the node tree and mesh deletion need from scenes:
// taking a mesh out of every scene, and resizing the polygon lists of scenes
// that hold a tree's root. With no scene in the chain they find nothing, and
// the callers fall back to the mesh's own sort buffer.
#pragma once

#include <cstdint>

#include "engine3d.h"

namespace e3d {

// RemoveMeshFromScene with a null scene: every scene of the chain.
// A polygon list for n entries, reset to the identity order, or null.
uint32_t *NewSceneBuffer(uint32_t n);
// Frees the scene's list and installs `buffer` (null: none) for n entries.
void InstallSceneBuffer(E3DScene *scene, uint32_t *buffer, uint32_t n);

void RemoveMeshFromAllScenes(E3DMesh *mesh, int32_t flags);

// For every scene holding `root`: polygon total += delta, sort buffer sized
// and reset for the new total. Returns whether any scene holds the root.
bool ResizeScenesHoldingRoot(E3DMesh *root, int32_t delta);

}  // namespace e3d
