// 3 x 4 matrix helpers.
#include "core/matrix.h"

#include <cmath>

#include "core/float_math.h"

namespace e3d {

void SetIdentity(float *m) {
    for (int i = 0; i < 12; ++i) m[i] = 0.0f;
    m[0] = m[5] = m[10] = 1.0f;
}

void MultiplyRotations(float *out, const float *a, const float *b) {
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            out[4 * i + j] = a[4 * i] * b[j] + a[4 * i + 1] * b[4 + j] + a[4 * i + 2] * b[8 + j];
        }
    }
}

void MultiplyMatrices(float *out, const float *a, const float *b) {
    MultiplyRotations(out, a, b);
    for (int i = 0; i < 3; ++i) {
        out[4 * i + 3] = a[4 * i] * b[3] + a[4 * i + 1] * b[7] + a[4 * i + 2] * b[11] + a[4 * i + 3];
    }
}

void SetRotationFromAngles(float *m, float x, float y, float z) {
    const float ax = x * kDegreesToRadians, ay = y * kDegreesToRadians, az = z * kDegreesToRadians;
    const float cx = Cos(ax), sx = Sin(ax);
    const float cy = Cos(ay), sy = Sin(ay);
    const float cz = Cos(az), sz = Sin(az);
    // Rz * Ry * Rx
    m[0] = cz * cy;
    m[1] = cz * sy * sx - sz * cx;
    m[2] = cz * sy * cx + sz * sx;
    m[4] = sz * cy;
    m[5] = sz * sy * sx + cz * cx;
    m[6] = sz * sy * cx - cz * sx;
    m[8] = -sy;
    m[9] = cy * sx;
    m[10] = cy * cx;
}

}  // namespace e3d
