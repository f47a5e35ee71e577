// The rasteriser's interface to the render pipeline: the draw context, the
// lookup tables and the filler selection table.
#pragma once

#include <array>
#include <cstdint>

#include "core/modes.h"
#include "engine3d.h"
#include "raster/edge_walker.h"

namespace e3d {

using TriangleFillerRoutine = void (*)(E3DPolygon *polygon, E3DVertex *vertexArray);

// The viewport and camera the fillers draw for; set before every dispatch.
void SetRasterContext(E3DViewport *viewport, E3DCamera *camera);
E3DViewport *CurrentViewport();
E3DCamera *CurrentCamera();

// Length of a depth-buffer row: the longer of the viewport's width and its
// pitch, so that a padded caller surface (pitch wider than its width) has a
// depth value for every pixel the fillers address by pitch.
inline float DepthRowLength(const E3DViewport *v) {
    const float pitch = float(v->pitch);
    return pitch > v->width ? pitch : v->width;
}

// Elements of a viewport's depth buffer, height rows of DepthRowLength; 0
// when that is not a positive size below 2^32.
inline uint64_t DepthBufferElements(const E3DViewport *v) {
    const float n = DepthRowLength(v) * v->height;
    if (!(n > 0.0f) || n >= 4294967296.0f) return 0;
    return uint64_t(n);
}

// The current viewport's buffers as a target the fillers can clamp to;
// frame is null when there is nothing to draw into. The depth pass's rows
// are also held to what the depth buffer holds.
RasterTarget CurrentRasterTarget(bool depthPass);

// Lookup tables, built by BuildRasterTables (raster/raster_tables.h).
struct RasterTables {
    uint8_t *addClamp;     // [a][b] = min(31, a + b), 32 x 32
    uint8_t *subClamp;     // [a][b] = max(0, a - b), 32 x 32
    uint8_t *scale;        // [i][k] = (i * k) >> 5, 32 x 32
    uint16_t *scaleGreen;  // scale << 5
    uint16_t *scaleRed;    // scale << 10
    uint16_t *product;     // [a][k] = a * k, 256 x 32
    int32_t builtFlag;     // never set: every engine start builds afresh
};
extern RasterTables g_rasterTables;
extern const std::array<float, 256> ReciprocalTable;  // [n] = 1 / n, [0] = 0

// 8 rows (shading bits) of 256 entries (2 x draw mode + depth pass), so any
// draw-mode value selects an entry inside its row.
inline constexpr uint32_t kFillerRowLength = 256;
extern const TriangleFillerRoutine *const FillerTable[8];

// Depth pass: odd entries; painter's pass: even entries (the render bits
// over one pass bit).
inline constexpr int kFillerIndexShift = 19;
constexpr uint32_t DepthPassFillerIndex(uint32_t mode) {
    return ((mode & kRenderMask) | (1u << kFillerIndexShift)) >> kFillerIndexShift;
}
constexpr uint32_t SortedPassFillerIndex(uint32_t mode) { return (mode & kRenderMask) >> kFillerIndexShift; }

// The routine of every combination without a filler: draws nothing.
void EmptyFiller(E3DPolygon *, E3DVertex *);

}  // namespace e3d
