// Flat solid fillers: one colour per triangle through the blend operator of
// the drawn side's material.
#pragma once

#include "raster/edge_walker.h"

namespace e3d {

void FlatSolidFill(E3DPolygon *polygon, E3DVertex *vertices, const RasterTarget &target, bool depthPass);

}  // namespace e3d
