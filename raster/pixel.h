// The 5-5-5 pixel format, colour conversion and the packed span operators.
#pragma once

#include <cstdint>

#include "engine3d.h"

namespace e3d {

// Polygon colour meaning "no colour of its own": the sorted-pass flat filler
// paints it as the key pixel 0x8000.
constexpr uint32_t kNoColor = 0x80000000u;
constexpr uint16_t kKeyPixel = 0x8000;

// A material's blend type, as the span writers are grouped by it.
enum Blend : uint32_t {
    kReplace = E3D_BLEND_REPLACE,
    kAdditive = E3D_BLEND_ADDITIVE,
    kOpacity = E3D_BLEND_OPACITY,
    kSubtractive = E3D_BLEND_SUBTRACTIVE
};

// Keeps the top five bits of each 8-bit channel.
constexpr uint32_t Red5(uint32_t k) { return (k >> 19) & 31u; }
constexpr uint32_t Green5(uint32_t k) { return (k >> 11) & 31u; }
constexpr uint32_t Blue5(uint32_t k) { return (k >> 3) & 31u; }
constexpr uint16_t ColorToPixel(uint32_t k) { return uint16_t(Red5(k) << 10 | Green5(k) << 5 | Blue5(k)); }

// Packed saturating add: the masks leave the low bits of red and green free
// to catch the carries of blue and green, which then saturate each channel.
constexpr uint16_t AddPixels(uint32_t s, uint32_t d) {
    const uint32_t t = (s & 0x7BDFu) + (d & 0x7BDFu);
    const uint32_t q = t & 0x8420u;
    return uint16_t(((q - (q >> 5)) | t) & 0x7BDFu);
}

// Packed clamped subtraction, sorted-pass form: guard bits on the source.
constexpr uint16_t SubtractPixelsSorted(uint32_t s, uint32_t d) {
    const uint32_t diff = (s | 0x8420u) - (d & 0x7BDFu);
    const uint32_t t = diff & 0x8420u;
    return uint16_t(diff & (t - (t >> 5)));
}

// Depth-pass form: guard bits on the frame-buffer value. The two forms give
// different results for the same inputs; both are kept.
constexpr uint16_t SubtractPixelsDepth(uint32_t s, uint32_t d) {
    const uint32_t diff = (s & 0x7BDFu) - (d | 0x8420u);
    const uint32_t t = diff & 0x8420u;
    return uint16_t(diff & (t - (t >> 5)));
}

// Level-weighted mix with premultiplied source channels; dividing by 256
// makes white over white 30, not 31.
constexpr uint16_t MixPixels(uint32_t weightedR, uint32_t weightedG, uint32_t weightedB, uint32_t destWeight,
                             uint32_t d) {
    const uint32_t r = (destWeight * ((d >> 10) & 31u) + weightedR) >> 8;
    const uint32_t g = (destWeight * ((d >> 5) & 31u) + weightedG) >> 8;
    const uint32_t b = (destWeight * (d & 31u) + weightedB) >> 8;
    return uint16_t(r << 10 | g << 5 | b);
}

}  // namespace e3d
