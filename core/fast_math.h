// Table-driven square root and reciprocal square root for lighting, normals
// and bounding spheres. Inputs must be positive and finite.
#pragma once

#include <bit>
#include <cstdint>

#include "core/engine_state.h"

namespace e3d {

// About ten bits of precision, no refinement.
inline float FastRSqrt(float x) {
    const uint32_t v = std::bit_cast<uint32_t>(x);
    const uint32_t exponent = ((0xBE000000u - (v & 0x7F800000u)) >> 1) & 0x7F800000u;
    const uint32_t mantissa = g_engine.rsqrtTable[(v >> 14) & 0x3FFu];
    return std::bit_cast<float>(exponent | mantissa);
}

// Table estimate refined by one Newton step.
inline float FastSqrt(float x) {
    const uint32_t v = std::bit_cast<uint32_t>(x);
    const uint32_t exponent = (((v & 0x7F800000u) + 0x3F800000u) >> 1) & 0x7F800000u;
    const float y = std::bit_cast<float>(exponent | g_engine.sqrtTable[(v >> 14) & 0x3FFu]);
    return (3.0f - y * y / x) * y * 0.5f;
}

}  // namespace e3d
