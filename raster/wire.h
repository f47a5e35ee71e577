// Wire and dots fillers that the selection table names, and the plain line
// that DrawLine2D draws.
#pragma once

#include "engine3d.h"

namespace e3d {

// Wire: only the edges whose visibility bits are set; the ClipAndDraw forms
// also cut edges at the near and far planes, the Z forms test depth.
void ClipAndDrawFlatWireTriangle(E3DPolygon *polygon, E3DVertex *vertices);
void ClipAndDrawFlatWireTriangleZ(E3DPolygon *polygon, E3DVertex *vertices);
void ClipAndDrawGouraudWireTriangle(E3DPolygon *polygon, E3DVertex *vertices);
void ClipAndDrawGouraudWireTriangleZ(E3DPolygon *polygon, E3DVertex *vertices);

// Dots: the three corners; the ClipAndDraw forms skip corners beyond the
// near or far plane, the Z forms also keep the depth buffer.
void ClipAndDrawFlatDotsTriangle(E3DPolygon *polygon, E3DVertex *vertices);
void ClipAndDrawFlatDotsTriangleZ(E3DPolygon *polygon, E3DVertex *vertices);
void ClipAndDrawGouraudDotsTriangle(E3DPolygon *polygon, E3DVertex *vertices);
void ClipAndDrawGouraudDotsTriangleZ(E3DPolygon *polygon, E3DVertex *vertices);

// One line in colour 0x00RRGGBB into the current viewport, replaced, no
// depth, clipped to the current clip bounds.
void DrawFlatLine(float x0, float y0, float x1, float y1, uint32_t colour);

}  // namespace e3d
