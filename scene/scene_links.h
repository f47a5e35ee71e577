// What the node tree and mesh deletion need from scenes: taking a mesh out of
// every scene, and resizing the polygon lists of scenes that hold a tree's
// root. Until scenes exist no scene holds a mesh, so these find nothing and
// the no-scene path of the callers is the whole story.
#pragma once

#include <cstdint>

#include "engine3d.h"

namespace e3d {

// RemoveMeshFromScene with a null scene: every scene of the chain.
void RemoveMeshFromAllScenes(E3DMesh *mesh, int32_t flags);

// For every scene holding `root`: polygon total += delta, sort buffer sized
// and reset for the new total. Returns whether any scene holds the root.
bool ResizeScenesHoldingRoot(E3DMesh *root, int32_t delta);

}  // namespace e3d
