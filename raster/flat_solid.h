// Flat solid fillers: one colour per triangle through the blend operator of
// the drawn side's material.
#pragma once

#include "raster/edge_walker.h"

namespace e3d {

void FlatSolidFill(E3DPolygon *polygon, E3DVertex *vertices, const RasterTarget &target, bool depthPass);

// The fan (0, i, i + 1) of a polygon's `count` corners (at most
// kFanCapacity), as the dispatcher cuts a clipped polygon, on the painter's
// pass: the same pixels as FlatSolidFill on each triangle in turn.
constexpr int kFanCapacity = 32;
void FlatFanFill(E3DPolygon *polygon, const E3DVertex *corners, int count, const RasterTarget &target);

// Per-triangle colour values the span writers read.
struct FlatState {
    uint32_t pixel;
    uint32_t weighted[3];  // L x channel, for the opacity operator
    uint32_t destWeight;   // 255 - L
    float dzdx;
};
extern FlatState g_flat;

// A painter's-pass flat triangle reduced to what drawing it needs: corners
// in 28.4 (in the filler's corner order), the pixel and the blend operator.
// Built ahead of the draw loop so that it reads one small record per
// triangle instead of the polygon and its three vertices.
struct FlatSortedTriangle {
    Fixed28_4 x[3], y[3];
    uint32_t pixel;
    uint32_t blend;  // 0..3 an operator; kFlatNothing; kFlatGeneral
};
constexpr uint32_t kFlatNothing = 4;  // draws nothing
constexpr uint32_t kFlatGeneral = 5;  // needs the filler itself (opacity mix)

// The record of what FlatSolidFill would draw for the polygon on the
// painter's pass; blend kFlatGeneral where the record cannot say it.
void PrepareFlatSorted(const E3DPolygon *polygon, const E3DVertex *vertices, FlatSortedTriangle &out);
// Draws a record with blend 0..3, exactly as FlatSolidFill does.
void DrawFlatSorted(const FlatSortedTriangle &triangle, const RasterTarget &target);

// A span writer: (frame row, depth row, y, xLeft, xRight, xFrom, xTo, left
// edge values), as ScanTriangle hands spans over.
using FlatSpanWriter = void (*)(uint16_t *, int32_t *, int32_t, int32_t, int32_t, int32_t, int32_t, const float *);

// The writer of a blend type and pass: the scalar reference, or the form the
// fillers use (SIMD where it pays). Both read g_flat.
FlatSpanWriter FlatSpanWriterFor(uint32_t blend, bool depthPass, bool reference);

}  // namespace e3d
