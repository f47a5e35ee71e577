// Gouraud solid fillers: per-channel interpolation at 8 bits with 16
// fraction bits, reduced to 5-5-5 through a 4 x 4 ordered dither.
#pragma once

#include <array>
#include <cstdint>

#include "raster/edge_walker.h"

namespace e3d {

// Ordered dither: rows by scanline & 3, columns by column & 3.
inline constexpr uint8_t DitherMatrix[4][4] = {{0, 4, 1, 5}, {6, 2, 7, 3}, {1, 5, 0, 4}, {7, 3, 6, 2}};

// The 5-bit band of an 8-bit value.
inline constexpr std::array<uint8_t, 256> DitherHigh = [] {
    std::array<uint8_t, 256> t{};
    for (int v = 0; v < 256; ++v) t[v] = uint8_t(v >> 3);
    return t;
}();

// Minus the 3 bits below the band; the top band never carries past 31.
inline constexpr std::array<int8_t, 256> DitherLow = [] {
    std::array<int8_t, 256> t{};
    for (int v = 0; v < 256; ++v) t[v] = v < 248 ? int8_t(-(v & 7)) : int8_t(0);
    return t;
}();

// Reduces an 8-bit channel to 5 bits at a dither cell.
inline uint32_t Dither5(uint32_t v, uint32_t row, uint32_t column) {
    return DitherHigh[v] + ((DitherLow[v] + DitherMatrix[row][column]) < 0 ? 1u : 0u);
}

// The same dither in closed form: a band of 8 rounds up when its low bits
// exceed the matrix entry m (up = 7 - m), and the top band stays at 31.
inline uint32_t DitherLevel(uint32_t v, uint32_t up) {
    const uint32_t level = (v + up) >> 3;
    return level < 31 ? level : 31;
}

void GouraudSolidFill(E3DPolygon *polygon, E3DVertex *vertices, const RasterTarget &target, bool depthPass);

// Per-triangle values the span writers read.
struct GouraudState {
    Fixed16_16 bias[3];
    float ddx[4];    // z (depth pass), r, g, b per pixel
    int32_t weight;  // 255 - opacity level
};
extern GouraudState g_state;

// A span writer, with the arguments ScanTriangle hands over.
using GouraudSpanWriter = void (*)(uint16_t *, int32_t *, int32_t, int32_t, int32_t, int32_t, int32_t,
                                   const float *);

// Per-triangle constants of the SIMD writers from g_state.ddx and bias; due
// after every change of them, before the writers run.
void PrepareGouraudSpans();

// The writer of a blend type and pass: the scalar reference, or the form the
// fillers use (SIMD where it pays). Both read g_state.
GouraudSpanWriter GouraudSpanWriterFor(uint32_t blend, bool depthPass, bool reference);

}  // namespace e3d
