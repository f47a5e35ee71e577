// Polygon dispatch: trivial reject, texture coordinate preparation,
// near/far and screen clipping, and fan drawing through a filler.
#pragma once

#include <cstdint>

#include "engine3d.h"
#include "core/clip.h"

namespace e3d {

using TriangleFiller = void (*)(E3DPolygon *polygon, E3DVertex *vertexArray);

// Draws one polygon-list entry with the filler chosen for it.
void DispatchPolygon(const E3DSortEntry *entry, TriangleFiller filler);

}  // namespace e3d
