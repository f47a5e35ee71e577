// Flat solid fillers: one colour per triangle through the blend operator of
// the drawn side's material.
#pragma once

#include "raster/edge_walker.h"

namespace e3d {

void FlatSolidFill(E3DPolygon *polygon, E3DVertex *vertices, const RasterTarget &target, bool depthPass);

// Per-triangle colour values the span writers read.
struct FlatState {
    uint32_t pixel;
    uint32_t weighted[3];  // L x channel, for the opacity operator
    uint32_t destWeight;   // 255 - L
    float dzdx;
};
extern FlatState g_flat;

// A span writer: (frame row, depth row, y, xLeft, xRight, xFrom, xTo, left
// edge values), as ScanTriangle hands spans over.
using FlatSpanWriter = void (*)(uint16_t *, int32_t *, int32_t, int32_t, int32_t, int32_t, int32_t, const float *);

// The writer of a blend type and pass: the scalar reference, or the form the
// fillers use (SIMD where it pays). Both read g_flat.
FlatSpanWriter FlatSpanWriterFor(uint32_t blend, bool depthPass, bool reference);

}  // namespace e3d
