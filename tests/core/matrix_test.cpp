// 3 x 4 matrices: products against a double-precision model, the rotation
// from three angles against elementary rotations, and the mesh refresh step.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "core/matrix.h"
#include "engine3d.h"
#include "scene/mesh.h"

namespace {

using M = double[12];

// a o b as affine maps, in double.
void Compose(double *out, const double *a, const double *b) {
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 4; ++j) {
            double v = j == 3 ? a[4 * i + 3] : 0.0;
            for (int k = 0; k < 3; ++k) v += a[4 * i + k] * b[4 * k + j];
            out[4 * i + j] = v;
        }
    }
}

void Apply(const double *m, const double *p, double *out) {
    for (int i = 0; i < 3; ++i) out[i] = m[4 * i] * p[0] + m[4 * i + 1] * p[1] + m[4 * i + 2] * p[2] + m[4 * i + 3];
}

// Right-handed rotation by `degrees` about axis 0, 1 or 2.
void Elementary(double *m, int axis, double degrees) {
    const double r = degrees * 3.14159265358979323846 / 180.0, c = std::cos(r), s = std::sin(r);
    for (int i = 0; i < 12; ++i) m[i] = 0.0;
    const int u = (axis + 1) % 3, v = (axis + 2) % 3;
    m[4 * axis + axis] = 1.0;
    m[4 * u + u] = c;
    m[4 * u + v] = -s;
    m[4 * v + u] = s;
    m[4 * v + v] = c;
}

}  // namespace

TEST(Matrix, ProductsMatchTheDoubleModel) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> any(-4.0f, 4.0f);
    for (int round = 0; round < 300; ++round) {
        float a[12], b[12], out[12];
        M da, db, dout;
        for (int i = 0; i < 12; ++i) da[i] = a[i] = any(rng), db[i] = b[i] = any(rng);
        out[3] = out[7] = out[11] = 123.0f;
        e3d::MultiplyRotations(out, a, b);
        Compose(dout, da, db);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) ASSERT_NEAR(out[4 * i + j], dout[4 * i + j], 1e-4);
        EXPECT_EQ(out[3], 123.0f) << "the rotation product leaves the translation alone";
        e3d::MultiplyMatrices(out, a, b);
        for (int i = 0; i < 12; ++i) ASSERT_NEAR(out[i], dout[i], 2e-4) << i;
        // As maps: (a o b)(p) = a(b(p)).
        const double p[3] = {any(rng), any(rng), any(rng)};
        double bp[3], abp[3], direct[3];
        Apply(db, p, bp);
        Apply(da, bp, abp);
        Apply(dout, p, direct);
        for (int k = 0; k < 3; ++k) ASSERT_NEAR(direct[k], abp[k], 1e-9);
    }
}

TEST(Matrix, RotationFromAnglesIsZAfterYAfterX) {
    std::mt19937 rng(9);
    std::uniform_real_distribution<float> angle(-360.0f, 360.0f);
    for (int round = 0; round < 300; ++round) {
        const float x = angle(rng), y = angle(rng), z = angle(rng);
        float m[12];
        e3d::SetIdentity(m);
        m[3] = 1.0f, m[7] = 2.0f, m[11] = 3.0f;
        e3d::SetRotationFromAngles(m, x, y, z);
        M rx, ry, rz, zy, zyx;
        Elementary(rx, 0, x);
        Elementary(ry, 1, y);
        Elementary(rz, 2, z);
        Compose(zy, rz, ry);
        Compose(zyx, zy, rx);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) ASSERT_NEAR(m[4 * i + j], zyx[4 * i + j], 2e-6) << x << " " << y << " " << z;
        EXPECT_EQ(m[3], 1.0f);
        EXPECT_EQ(m[7], 2.0f);
        EXPECT_EQ(m[11], 3.0f);
    }
    // A quarter turn about z takes the x axis to the y axis.
    float m[12];
    e3d::SetIdentity(m);
    e3d::SetRotationFromAngles(m, 0, 0, 90);
    EXPECT_NEAR(m[0], 0.0f, 1e-7f);
    EXPECT_NEAR(m[4], 1.0f, 1e-7f);
    EXPECT_NEAR(m[8], 0.0f, 1e-7f);
}

TEST(Matrix, MeshRefreshCombinesModelAndBase) {
    E3DMesh *mesh = CreateMesh(3, 1, 0);
    ASSERT_NE(mesh, nullptr);
    e3d::SetRotationFromAngles(mesh->modelMatrix, 10, 20, 30);
    e3d::SetRotationFromAngles(mesh->baseMatrix, -40, 5, 60);
    mesh->modelMatrix[3] = 1, mesh->modelMatrix[7] = 2, mesh->modelMatrix[11] = 3;
    mesh->baseMatrix[3] = 10, mesh->baseMatrix[7] = 20, mesh->baseMatrix[11] = 30;
    mesh->state |= 0x000A0000u | 0x00040000u;
    e3d::RefreshMeshMatrices(mesh);
    EXPECT_EQ(mesh->state & 0x000A0000u, 0u);
    EXPECT_EQ(mesh->state & 0x00040000u, 0x00040000u) << "only bits 17 and 19 are cleared";
    EXPECT_EQ(mesh->worldMatrix[3], 11.0f);
    EXPECT_EQ(mesh->worldMatrix[7], 22.0f);
    EXPECT_EQ(mesh->worldMatrix[11], 33.0f);
    M model, base, world;
    for (int i = 0; i < 12; ++i) model[i] = mesh->modelMatrix[i], base[i] = mesh->baseMatrix[i];
    Compose(world, model, base);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(mesh->worldMatrix[4 * i + j], world[4 * i + j], 1e-6);
    DeleteMesh(mesh);
}
