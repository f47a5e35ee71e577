// The ordered dither of eight lanes at once, for the SSE2 span writers.
#pragma once

#include "raster/simd.h"

#include <cstdint>

#include "raster/gouraud_solid.h"

namespace e3d {

// up = 7 - matrix entry for eight columns from each phase, per dither row.
struct DitherUps {
    alignas(16) uint16_t lanes[4][4][8];
};
inline constexpr DitherUps kDitherUps = [] {
    DitherUps t{};
    for (uint32_t row = 0; row < 4; ++row)
        for (uint32_t phase = 0; phase < 4; ++phase)
            for (uint32_t i = 0; i < 8; ++i)
                t.lanes[row][phase][i] = uint16_t(7u - DitherMatrix[row][(phase + i) & 3u]);
    return t;
}();

// DitherLevel of eight 16-bit channel values at once; values outside 0..255
// act as held to that range (the sum saturates, the level stops at 31).
inline __m128i DitherLevels8(__m128i v, __m128i up) {
    v = _mm_max_epi16(v, _mm_setzero_si128());
    return _mm_min_epi16(_mm_srli_epi16(_mm_adds_epu16(v, up), 3), _mm_set1_epi16(31));
}

}  // namespace e3d
