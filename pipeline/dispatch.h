// Polygon dispatch: trivial reject, texture coordinate preparation,
// near/far and screen clipping, and fan drawing through a filler.
#pragma once

#include <cstdint>

#include "engine3d.h"
#include "pipeline/clip.h"

namespace e3d {

using TriangleFiller = void (*)(E3DPolygon *polygon, E3DVertex *vertexArray);

// Bounds and projection constants of the frame being drawn.
extern ClipFrame g_clipFrame;

// Draws one polygon-list entry with the filler chosen for it.
void DispatchPolygon(const E3DSortEntry *entry, TriangleFiller filler);

// One end of an edge cut to the depth range: screen position, reciprocal
// depth and the end's parameter t along the edge (0 at a, 1 at b).
struct EdgePoint {
    float x, y, w, t;
};

// The part of the edge a -> b between the near and far planes of the frame,
// for the wire fillers, which clip for themselves: an end beyond a plane
// (by its out-code) moves onto it and is projected there. False when the
// edge lies wholly beyond one plane.
bool CutEdgeToDepthRange(const E3DVertex &a, const E3DVertex &b, EdgePoint &from, EdgePoint &to);

}  // namespace e3d
