// Scene side of the mesh bookkeeping; see scene_links.h.
#include "scene/scene_links.h"

namespace e3d {

void RemoveMeshFromAllScenes(E3DMesh *, int32_t) {}

bool ResizeScenesHoldingRoot(E3DMesh *, int32_t) { return false; }

}  // namespace e3d
