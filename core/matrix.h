// 3 x 4 matrices: three rows of four floats, the rotation in the first three
// columns (rows are the x, y and z axes) and the translation in the fourth.
#pragma once

namespace e3d {

// Degrees to radians: the float nearest pi / 180.
constexpr float kDegreesToRadians = 0.0174532924f;

void SetIdentity(float *m);

// out's rotation = a's rotation x b's rotation; out's translation untouched.
// out may not alias a or b.
void MultiplyRotations(float *out, const float *a, const float *b);

// out = a o b as affine maps: a point goes through b, then a.
void MultiplyMatrices(float *out, const float *a, const float *b);

// Rotation part from three angles in degrees: about x first, then y, then z
// (out.R = Rz(z) Ry(y) Rx(x)); the translation column is left as it is.
void SetRotationFromAngles(float *m, float x, float y, float z);

}  // namespace e3d
