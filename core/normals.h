// Face planes and smoothing-group corner normals.
#pragma once

#include "engine3d.h"

namespace e3d {

// Face planes from the vertices' world positions (bone-deformed meshes);
// marks the mesh's planes as world-space.
void CalcMeshPolygonsNormalWorld(E3DMesh *mesh);

// Face planes back in mesh space after a deformed frame (nothing to do when
// they already are), for a mesh drawn undeformed again.
void RestoreMeshPlanes(E3DMesh *mesh);

}  // namespace e3d
