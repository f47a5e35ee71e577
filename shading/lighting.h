// Lighting: per-light routines by type code, face and corner lighting, the
// compose rule, and the lightless colour.
#pragma once

#include <array>
#include <cstdint>

#include "engine3d.h"

namespace e3d {

// Accumulators of one evaluation (a face or a corner).
struct LightSums {
    float r, g, b;     // diffuse sums
    float specular;    // specular sum
    float point[3];    // the lit point
    float eye[3];      // the eye, in the same space
    float shininess;
    bool specularOn;
};

// normal points at 3 floats; for faces normal[3] is the plane constant.
using LightRoutine = void (*)(const E3DLight &light, const float *normal, LightSums &sums);

// Four tables of 32 routines by type code (flags & 31): 2 and 18 omni, 3 and
// 19 omni with attenuation, 4 and 5 directional, 20 and 21 directional
// limited to the light's half-space (faces only: corners have no plane).
extern const std::array<LightRoutine, 32> kFaceFrontLights;
extern const std::array<LightRoutine, 32> kFaceBackLights;
extern const std::array<LightRoutine, 32> kCornerFrontLights;
extern const std::array<LightRoutine, 32> kCornerBackLights;

// Mesh-space positions and directions of the mesh's lights that are on.
void SetUpLights(E3DMesh *mesh);

// The 0x00RRGGBB colour of the sums with a material and draw mode.
uint32_t ComposeColor(const LightSums &sums, const E3DMaterial *material, uint32_t mode);

}  // namespace e3d
