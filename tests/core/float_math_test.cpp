// The engine's sine, cosine, tangent and power against the C library's, the
// table-driven roots, and 3 x 4 matrices and look rotations against models.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>

#include "core/engine_state.h"
#include "core/fast_math.h"
#include "core/float_math.h"
#include "core/matrix.h"
#include "engine3d.h"

using e3d::g_engine;

namespace {

int64_t Ordered(float f) { return std::bit_cast<int32_t>(f) < 0 ? int64_t(INT32_MIN) - std::bit_cast<int32_t>(f) : std::bit_cast<int32_t>(f); }
int64_t UlpsApart(float a, float b) { return std::llabs(Ordered(a) - Ordered(b)); }

// Within one unit in the last place everywhere, equal nearly everywhere.
TEST(FloatMath, WithinOneUlpOfTheRoundedDoubleAndMostlyEqual) {
    const struct {
        const char *name;
        float (*engine)(float);
        double (*model)(double);
        float lo, hi;
    } functions[] = {
        {"sin", e3d::Sin, [](double x) { return std::sin(x); }, -1000, 1000},
        {"cos", e3d::Cos, [](double x) { return std::cos(x); }, -1000, 1000},
        {"tan", e3d::Tan, [](double x) { return std::tan(x); }, -1000, 1000},
        // Beyond 2^19 an angle is first taken modulo the double nearest 2 pi.
        {"sin of huge angles", e3d::Sin, [](double x) { return std::sin(std::fmod(x, 0x1.921fb54442d18p+2)); }, 1e6f, 1e9f},
        {"pow", [](float y) { return e3d::Pow(0.8125f, y); }, [](double y) { return std::pow(0.8125, y); }, -200, 400},
        {"pow of bases", [](float x) { return e3d::Pow(x, 37.3f); }, [](double x) { return std::pow(x, double(37.3f)); }, 0, 1},
    };
    std::mt19937 random(7);
    for (const auto &f : functions) {
        std::uniform_real_distribution<float> pick(f.lo, f.hi);
        int differ = 0;
        for (int i = 0; i < 200000; ++i) {
            const float x = pick(random), got = f.engine(x), want = float(f.model(double(x)));
            ASSERT_LE(UlpsApart(got, want), 1) << f.name << "(" << x << ") " << got << " vs " << want;
            differ += got != want;
        }
        EXPECT_LT(differ, 200) << f.name;
    }
}

TEST(FloatMath, SpecialValues) {
    const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(std::signbit(e3d::Sin(-0.0f)) && std::signbit(e3d::Tan(-0.0f)) && e3d::Cos(0.0f) == 1.0f);
    for (float x : {inf, -inf, nan}) EXPECT_TRUE(std::isnan(e3d::Sin(x)) && std::isnan(e3d::Cos(x)) && std::isnan(e3d::Tan(x)));
    // C's powf for the values that have no logarithm to go through.
    const float cases[][2] = {{nan, 0},  {1, nan},    {0, -3},  {-0.0f, -3}, {-0.0f, -2}, {0, 2.5f}, {-0.0f, 3}, {-0.0f, 2},
                              {-1, inf}, {0.5f, inf}, {2, inf}, {0.5f, -inf}, {2, -inf},  {-inf, 3}, {-inf, -3}, {-inf, 2},
                              {inf, -1}, {-2, 0.5f},  {-2, 3},  {-2, -2},    {nan, 1},    {2, 200},  {2, -200},  {-8, 1e30f}};
    for (const auto &c : cases) {
        const float got = e3d::Pow(c[0], c[1]), want = std::pow(c[0], c[1]);
        EXPECT_TRUE(std::isnan(want) ? std::isnan(got) : std::bit_cast<uint32_t>(got) == std::bit_cast<uint32_t>(want)) << c[0] << "^" << c[1];
    }
}

// Roots from 1024-entry mantissa tables: x = 1 and x = 0.5 exactly, about
// ten bits for the reciprocal root, the Newton step refining the root.
TEST(FastRoots, TablesAndAccuracyOverManyDecades) {
    e3d::BuildRootTables();
    EXPECT_TRUE(g_engine.sqrtTable[512] == 0 && g_engine.rsqrtTable[512] == 0x007FE000u);  // just below 1, for the exponent
    EXPECT_EQ(g_engine.sqrtTable[0], std::bit_cast<uint32_t>(float(std::sqrt(0.5))) & 0x007FE000u);
    EXPECT_EQ(g_engine.rsqrtTable[0], std::bit_cast<uint32_t>(float(1.0 / std::sqrt(0.5))) & 0x007FE000u);
    for (int i = 0; i < 1024; ++i) ASSERT_EQ((g_engine.sqrtTable[i] | g_engine.rsqrtTable[i]) & ~0x007FE000u, 0u) << i;
    for (float x = 1e-20f; x < 1e20f; x *= 1.37f) {
        ASSERT_NEAR(e3d::FastRSqrt(x) * std::sqrt(double(x)), 1.0, 2e-3) << x;
        ASSERT_NEAR(e3d::FastSqrt(x) / std::sqrt(double(x)), 1.0, 1e-5) << x;
    }
}

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
