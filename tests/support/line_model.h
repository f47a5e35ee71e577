// A slow reference line stepper for the line, wire and 2D tests.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "support/raster_model.h"

namespace e3dtest {

using LineCanvas = Canvas;

// The pixels of the line from (x0, y0) to (x1, y1), ends rounded to nearest
// (ties to even), the first end drawn and the second not; one pixel per
// step of the longer axis, the other coordinate the exact value rounded to
// nearest with a tie going down. Worked with a floor and a comparison of
// the remainder, not with an error term.
inline std::vector<Pixel> ModelLine(float fx0, float fy0, float fx1, float fy1) {
    const int64_t x0 = int64_t(std::nearbyint(fx0)), y0 = int64_t(std::nearbyint(fy0));
    const int64_t x1 = int64_t(std::nearbyint(fx1)), y1 = int64_t(std::nearbyint(fy1));
    std::vector<Pixel> out;
    const int64_t dx = x1 - x0, dy = y1 - y0;
    const bool yMajor = std::llabs(dy) > std::llabs(dx);
    const int64_t length = yMajor ? std::llabs(dy) : std::llabs(dx);
    for (int64_t i = 0; i < length; ++i) {
        const int64_t major = (yMajor ? y0 : x0) + ((yMajor ? dy : dx) > 0 ? i : -i);
        // Minor value n0 + i * a / length as (numerator / length).
        const int64_t numerator = (yMajor ? x0 : y0) * length + i * (yMajor ? dx : dy);
        const int64_t k = FloorDiv(numerator, length), rest = numerator - k * length;
        const int minor = int(k + (2 * rest > length ? 1 : 0));
        out.push_back(yMajor ? Pixel{minor, int(major)} : Pixel{int(major), minor});
    }
    return out;
}

}  // namespace e3dtest
