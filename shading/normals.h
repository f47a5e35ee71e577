// Face planes and smoothing-group corner normals.
#pragma once

#include "engine3d.h"

namespace e3d {

// Face planes from the vertices' world positions (bone-deformed meshes).
void CalcMeshPolygonsNormalWorld(E3DMesh *mesh);

}  // namespace e3d
