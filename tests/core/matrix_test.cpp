// 3 x 4 matrices and the look rotation against double-precision models.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "core/matrix.h"
#include "engine3d.h"

namespace {

// a o b as affine maps.
void Compose(double *out, const double *a, const double *b) {
    for (int i = 0; i < 12; ++i) {
        out[i] = i % 4 == 3 ? a[i] : 0.0;
        for (int k = 0; k < 3; ++k) out[i] += a[i / 4 * 4 + k] * b[4 * k + i % 4];
    }
}

// Right-handed rotation by `degrees` about axis 0, 1 or 2.
void Elementary(double *m, int axis, double degrees) {
    const double r = degrees * 3.14159265358979323846 / 180.0;
    const int u = (axis + 1) % 3, v = (axis + 2) % 3;
    for (int i = 0; i < 12; ++i) m[i] = 0.0;
    m[5 * axis] = 1.0, m[5 * u] = m[5 * v] = std::cos(r), m[4 * u + v] = -std::sin(r), m[4 * v + u] = std::sin(r);
}

void ExpectNear(const float *got, const double *want, double tolerance) {
    for (int i = 0; i < 12; ++i) ASSERT_NEAR(got[i], want[i], tolerance) << "element " << i;
}

std::mt19937 g_random(7);
float Any(float lo, float hi) { return std::uniform_real_distribution<float>(lo, hi)(g_random); }

}  // namespace

TEST(Matrix, ProductsAndRotationsMatchTheModel) {
    float a[12], b[12], out[12];
    for (int round = 0; round < 300; ++round) {
        double da[12], db[12], want[12], rx[12], ry[12], rz[12], zy[12];
        for (int i = 0; i < 12; ++i) da[i] = a[i] = Any(-4, 4), db[i] = b[i] = Any(-4, 4);
        Compose(want, da, db);
        e3d::MultiplyMatrices(out, a, b);
        ExpectNear(out, want, 2e-4);
        want[3] = out[3] = 1, want[7] = out[7] = 2, want[11] = out[11] = 3;  // left as they are
        e3d::MultiplyRotations(out, a, b);
        ExpectNear(out, want, 2e-4);
        // From angles: about x, then y, then z.
        const float x = Any(-360, 360), y = Any(-360, 360), z = Any(-360, 360);
        Elementary(rx, 0, x), Elementary(ry, 1, y), Elementary(rz, 2, z), Compose(zy, rz, ry), Compose(want, zy, rx);
        want[3] = 1, want[7] = 2, want[11] = 3;
        e3d::SetRotationFromAngles(out, x, y, z);
        ExpectNear(out, want, 2e-6);
    }
    const double identity[12] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};
    e3d::SetIdentity(out);
    ExpectNear(out, identity, 0);
}

// The look-at rotation: z row the unit direction from b to a, x row level, y
// row completing a right-handed frame; straight up or down it turns about x.
TEST(View, LookAtRotations) {
    float m[12];
    for (int round = 0; round < 300; ++round) {
        const float a[3] = {Any(-9, 9), Any(-9, 9), Any(-9, 9)}, b[3] = {Any(-9, 9), Any(-9, 9), Any(-9, 9)};
        double d[3] = {double(a[0]) - b[0], double(a[1]) - b[1], double(a[2]) - b[2]};
        const double len = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
        for (double &c : d) c /= len;
        const double s = std::sqrt(1 - d[1] * d[1]);
        const double want[12] = {d[2] / s, 0, -d[0] / s, a[0], -d[0] * d[1] / s, s, -d[1] * d[2] / s, a[1], d[0], d[1], d[2], a[2]};
        CreateLookAtMatrix(a, b, m);
        ExpectNear(m, want, 1e-4);
    }
    const float below[3] = {1, -2, 3}, above[3] = {1, 5, 3};
    const double up[12] = {1, 0, 0, 1, 0, 0, -1, 5, 0, 1, 0, 3}, down[12] = {1, 0, 0, 1, 0, 0, 1, -2, 0, -1, 0, 3};
    CreateLookAtMatrix(above, below, m);
    ExpectNear(m, up, 0);
    CreateLookAtMatrix(below, above, m);
    ExpectNear(m, down, 0);
}
