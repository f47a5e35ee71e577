// The frame every primitive generator follows: size test, mesh, scale
// vector, vertices and faces, normals, bounding box, name.
#pragma once

#include <cstdint>

#include "core/engine_state.h"
#include "core/float_math.h"
#include "core/modes.h"
#include "engine3d.h"

namespace e3d {

// The engine-wide scratch scale vector the generators share.
extern float g_generatorScale[3];

// Fills the mesh; false when it could not (a scratch allocation failed).
using BuildShape = bool (*)(E3DMesh *mesh, const void *args, uint32_t colour);

// CreateMesh, scale vector, `build`, normals, bounding box (any failure
// deletes the half-built mesh and leaves the counter alone), then the
// default name. No partial mesh is ever returned.
E3DMesh *Generate(int32_t vertexCount, int32_t polygonCount, uint32_t colour, const float *scale, const char *base,
                  NameCounter counter, BuildShape build, const void *args);

// The step (1 / n) x total, worked out in double and rounded to float once;
// running values then accumulate it in float.
inline float GeneratorStep(int32_t n, double total = 1.0) { return float((1.0 / double(n)) * total); }

// Degrees to radians, as the generators have it.
constexpr float kGeneratorDegrees = 0.017453292f;

}  // namespace e3d
