// Exact integer line stepping shared by the wire fillers and DrawLine2D.
//
// The line from pixel P0 to pixel P1 (endpoints rounded to the nearest
// integer) has max(|dx|, |dy|) pixels: one per step along the major axis (x
// when |dx| >= |dy|), starting with P0 and stopping before P1. The minor
// coordinate of step i is the exact line value rounded to nearest, a tie
// going to the smaller coordinate, so a line and its reverse cover the same
// pixels apart from the end rule. Clipping only narrows the range of steps,
// so a clipped line draws exactly the unclipped line's pixels inside the
// bounds, and its pixel count is bounded by the clipped length.
#pragma once

#include <cstdint>

#include "raster/edge_walker.h"

namespace e3d {

// Step directions per octant: index bit 0 = dx < 0, bit 1 = dy < 0, bit 2 =
// y is the major axis. Built at start-up.
struct LineOctant {
    int8_t majorX, majorY, minorX, minorY;
};
extern LineOctant g_lineOctants[8];

// [n] = ceil(2^36 / n) for n = 1..1023 ([0] = 0): a colour step
// trunc(delta * 65536 / n) for |delta| <= 255 is one multiply and a shift.
constexpr int kLineReciprocalCount = 1024;
extern uint64_t g_lineReciprocals[kLineReciprocalCount];

void BuildLineTables();

// trunc(delta * 65536 / length), length > 0, |delta| <= 255.
inline int32_t LineColourStep(int32_t delta, int32_t length) {
    const int64_t magnitude = delta < 0 ? -int64_t(delta) : delta;
    int64_t q;
    if (uint32_t(length) < uint32_t(kLineReciprocalCount)) q = int64_t((uint64_t(magnitude << 16) * g_lineReciprocals[length]) >> 36);
    else q = (magnitude << 16) / length;
    return int32_t(delta < 0 ? -q : q);
}

// Endpoints further out than this are first cut to the square of this half
// size, so the stepping's integers cannot overflow. Only wild input is
// affected: every line inside the viewport keeps its exact pixels.
constexpr float kLineLimit = 1048576.0f;

// Inclusive pixel rectangle a line may touch.
struct PixelBounds {
    int32_t xMin, xMax, yMin, yMax;
};

// Pixel range allowed by the clip bounds x in [xMin, xMaxInner], y in
// [yMin, yMaxInner], held to the target; false when it is empty.
bool LinePixelBounds(const RasterTarget &t, PixelBounds &out);

// A set-up line: `first` is the index of the first drawn step of the whole
// line of `length` steps, `count` the steps to draw from there.
struct LineSteps {
    int32_t x, y;        // first drawn pixel
    int32_t first, count, length;
    int32_t error;       // carries into the minor axis when it reaches 0
    int32_t increment;   // 2 |minor delta|
    int32_t wrap;        // 2 x length
    uint8_t octant;
};

// Exact stepping of the integer line (x0, y0) -> (x1, y1), clipped to b.
// False when no pixel of it lies inside.
bool SetUpLine(LineSteps &s, int32_t x0, int32_t y0, int32_t x1, int32_t y1, const PixelBounds &b);

// An edge end in screen space with its attributes.
struct LineEnd {
    float x, y, w;       // screen position and reciprocal depth
    float r, g, b;       // colour channels 0..255 (Gouraud)
};

// Rounds the ends to pixels, after cutting wild coordinates to kLineLimit
// (the attributes follow the cut). False for a coordinate that is not a
// number or infinite, and when nothing is left.
bool LineEndsToPixels(LineEnd &a, LineEnd &b, int32_t (&pixel)[4]);

}  // namespace e3d
