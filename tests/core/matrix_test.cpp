// 3 x 4 matrices and the view maths against double-precision models: products,
// the rotation from three angles, the mesh refresh, look-at and camera views.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "core/matrix.h"
#include "core/view.h"
#include "engine3d.h"
#include "scene/mesh.h"

namespace {

// a o b as affine maps, in double.
void Compose(double *out, const double *a, const double *b) {
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 4; ++j) {
            double v = j == 3 ? a[4 * i + 3] : 0.0;
            for (int k = 0; k < 3; ++k) v += a[4 * i + k] * b[4 * k + j];
            out[4 * i + j] = v;
        }
}

// Right-handed rotation by `degrees` about axis 0, 1 or 2.
void Elementary(double *m, int axis, double degrees) {
    const double r = degrees * 3.14159265358979323846 / 180.0, c = std::cos(r), s = std::sin(r);
    const int u = (axis + 1) % 3, v = (axis + 2) % 3;
    for (int i = 0; i < 12; ++i) m[i] = 0.0;
    m[5 * axis] = 1.0, m[5 * u] = c, m[4 * u + v] = -s, m[4 * v + u] = s, m[5 * v] = c;
}

void ExpectNear(const float *got, const double *want, double tolerance, bool translation = true) {
    for (int i = 0; i < 12; ++i)
        ASSERT_TRUE((!translation && i % 4 == 3) || std::fabs(got[i] - want[i]) <= tolerance) << got[i] << " vs " << want[i] << " at " << i;
}

std::mt19937 g_random(7);
float Any(float lo, float hi) { return std::uniform_real_distribution<float>(lo, hi)(g_random); }

}  // namespace

TEST(Matrix, ProductsAndRotationsMatchTheDoubleModel) {
    for (int round = 0; round < 300; ++round) {
        float a[12], b[12], out[12];
        double da[12], db[12], want[12];
        for (int i = 0; i < 12; ++i) da[i] = a[i] = Any(-4, 4), db[i] = b[i] = Any(-4, 4);
        out[3] = out[7] = out[11] = 123.0f;
        e3d::MultiplyRotations(out, a, b);
        Compose(want, da, db);
        ExpectNear(out, want, 1e-4, false);
        EXPECT_EQ(out[3] + out[7] + out[11], 369.0f) << "the rotation product leaves the translation";
        e3d::MultiplyMatrices(out, a, b);
        ExpectNear(out, want, 2e-4);
        // The rotation from angles is about x, then y, then z.
        const float x = Any(-360, 360), y = Any(-360, 360), z = Any(-360, 360);
        double rx[12], ry[12], rz[12], zy[12];
        Elementary(rx, 0, x), Elementary(ry, 1, y), Elementary(rz, 2, z);
        Compose(zy, rz, ry);
        Compose(want, zy, rx);
        e3d::SetIdentity(out);
        out[3] = 1, out[7] = 2, out[11] = 3;
        e3d::SetRotationFromAngles(out, x, y, z);
        want[3] = 1, want[7] = 2, want[11] = 3;
        ExpectNear(out, want, 2e-6);
    }
    float m[12];
    e3d::SetIdentity(m);
    const double identity[12] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};
    ExpectNear(m, identity, 0);
}

TEST(Matrix, MeshRefreshCombinesModelAndBase) {
    E3DMesh *mesh = CreateMesh(3, 1, 0);
    e3d::SetRotationFromAngles(mesh->modelMatrix, 10, 20, 30);
    e3d::SetRotationFromAngles(mesh->baseMatrix, -40, 5, 60);
    mesh->modelMatrix[3] = 1, mesh->modelMatrix[7] = 2, mesh->modelMatrix[11] = 3;
    mesh->baseMatrix[3] = 10, mesh->baseMatrix[7] = 20, mesh->baseMatrix[11] = 30;
    mesh->state |= 0x000A0000u | 0x00040000u;
    e3d::RefreshMeshMatrices(mesh);
    EXPECT_EQ(mesh->state & 0x000E0000u, 0x00040000u) << "only bits 17 and 19 are cleared";
    double model[12], base[12], world[12];
    for (int i = 0; i < 12; ++i) model[i] = mesh->modelMatrix[i], base[i] = mesh->baseMatrix[i];
    Compose(world, model, base);
    for (int i = 0; i < 3; ++i) world[4 * i + 3] = mesh->modelMatrix[4 * i + 3] + mesh->baseMatrix[4 * i + 3];
    ExpectNear(mesh->worldMatrix, world, 1e-6);
    DeleteMesh(mesh);
}

// A look-at rotation is orthonormal and right-handed, its z row the unit
// direction from b to a and its x row level; straight up or down it turns
// about x instead.
TEST(View, LookAtCameraViewAndCombination) {
    for (int round = 0; round < 300; ++round) {
        const float a[3] = {Any(-9, 9), Any(-9, 9), Any(-9, 9)}, b[3] = {Any(-9, 9), Any(-9, 9), Any(-9, 9)};
        float m[12];
        CreateLookAtMatrix(a, b, m);
        const double d[3] = {double(a[0]) - b[0], double(a[1]) - b[1], double(a[2]) - b[2]};
        const double len = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]), s = std::sqrt(1 - d[1] * d[1] / len / len);
        const double want[12] = {d[2] / len / s, 0, -d[0] / len / s, a[0], -d[0] * d[1] / len / len / s, s,
                                 -d[1] * d[2] / len / len / s, a[1], d[0] / len, d[1] / len, d[2] / len, a[2]};
        ExpectNear(m, want, 1e-4);
        // A camera's view: the look from its position to its target, then the roll.
        E3DCamera camera{};
        for (int i = 0; i < 3; ++i) camera.workPosition[i] = b[i], camera.workTarget[i] = a[i];
        camera.roll = Any(-180, 180);
        e3d::BuildCameraViewMatrix(&camera);
        const double r = camera.roll * 3.14159265358979323846 / 180, c = std::cos(r), sr = std::sin(r);
        double view[12];
        for (int j = 0; j < 3; ++j) {
            view[j] = c * want[j] - sr * want[4 + j], view[4 + j] = sr * want[j] + c * want[4 + j];
            view[8 + j] = want[8 + j], view[4 * j + 3] = b[j];
        }
        ExpectNear(camera.viewMatrix, view, 1e-4);
        // Object to view space: rotate by the view what the world matrix
        // puts relative to the eye.
        float world[12], out[12];
        double dv[12], dw[12], shifted[12], combined[12];
        for (int i = 0; i < 12; ++i) dv[i] = camera.viewMatrix[i], dw[i] = world[i] = Any(-4, 4);
        e3d::CombineViewWithWorld(out, camera.viewMatrix, world);
        for (int i = 0; i < 12; ++i) shifted[i] = i % 4 == 3 ? dw[i] - dv[i] : dw[i];
        for (int i = 3; i < 12; i += 4) dv[i] = 0;
        Compose(combined, dv, shifted);
        ExpectNear(out, combined, 1e-3);
    }
    const float below[3] = {1, -2, 3}, above[3] = {1, 5, 3};
    float m[12];
    CreateLookAtMatrix(above, below, m);
    const double up[12] = {1, 0, 0, 1, 0, 0, -1, 5, 0, 1, 0, 3};
    ExpectNear(m, up, 0);
    CreateLookAtMatrix(below, above, m);
    const double down[12] = {1, 0, 0, 1, 0, 0, 1, -2, 0, -1, 0, 3};
    ExpectNear(m, down, 0);
}

// fov is the horizontal angle on an exactly 4:3 viewport, else the vertical one.
TEST(View, FocalFromFieldOfView) {
    E3DViewport viewport{};
    viewport.centerX = 160;
    E3DCamera camera{};
    camera.fov = 90;
    for (float aspect : {-1.0f, -0.5f, std::nextafter(-1.0f, 0.0f)}) {
        viewport.aspect = aspect;
        e3d::FitFocalFactor(&viewport, &camera);
        EXPECT_NEAR(camera.focal, aspect == -1.0f ? 160.0 : 160.0 * aspect * -0.75, 1e-3) << aspect;
    }
}
