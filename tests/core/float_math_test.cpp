// The engine's own sine, cosine, tangent and power against the C library's
// double functions rounded to float: within one unit in the last place
// everywhere, equal nearly everywhere, and the special values of C's powf.
// Then the table-driven roots.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

#include "core/engine_state.h"
#include "core/fast_math.h"
#include "core/float_math.h"

namespace {

int64_t UlpsApart(float a, float b) {
    auto ordered = [](float f) {
        const int32_t i = std::bit_cast<int32_t>(f);
        return i < 0 ? int64_t(INT32_MIN) - i : int64_t(i);
    };
    return std::llabs(ordered(a) - ordered(b));
}

struct Function {
    const char *name;
    float (*engine)(float);
    double (*model)(double);
    float lo, hi;
};


TEST(FloatMath, WithinOneUlpOfTheRoundedDoubleAndMostlyEqual) {
    const Function functions[] = {
        {"sin", e3d::Sin, [](double x) { return std::sin(x); }, -1000.0f, 1000.0f},
        {"cos", e3d::Cos, [](double x) { return std::cos(x); }, -1000.0f, 1000.0f},
        {"tan", e3d::Tan, [](double x) { return std::tan(x); }, -1000.0f, 1000.0f},
        // Beyond 2^19 an angle is first taken modulo the double nearest 2 pi.
        {"sin of huge angles", e3d::Sin, [](double x) { return std::sin(std::fmod(x, 0x1.921fb54442d18p+2)); }, 1e6f, 1e9f},
        {"pow", [](float y) { return e3d::Pow(0.8125f, y); }, [](double y) { return std::pow(0.8125, y); }, -200, 400},
    };
    std::mt19937 random(7);
    for (const Function &f : functions) {
        std::uniform_real_distribution<float> pick(f.lo, f.hi);
        int differ = 0;
        const int n = 200000;
        for (int i = 0; i < n; ++i) {
            const float x = pick(random);
            const float got = f.engine(x), want = float(f.model(double(x)));
            ASSERT_LE(UlpsApart(got, want), 1) << f.name << "(" << x << ") " << got << " vs " << want;
            differ += got != want;
        }
        EXPECT_LT(differ, n / 1000) << f.name;
    }
    // Power over bases and exponents of the lighting's range.
    std::uniform_real_distribution<float> base(0.0f, 1.0f), exponent(0.0f, 256.0f);
    for (int i = 0; i < 200000; ++i) {
        const float x = base(random), y = exponent(random);
        ASSERT_LE(UlpsApart(e3d::Pow(x, y), float(std::pow(double(x), double(y)))), 1) << x << "^" << y;
    }
}

TEST(FloatMath, SpecialValues) {
    const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(std::signbit(e3d::Sin(-0.0f)));
    EXPECT_TRUE(std::signbit(e3d::Tan(-0.0f)));
    EXPECT_EQ(e3d::Cos(0.0f), 1.0f);
    for (float x : {inf, -inf, nan}) {
        EXPECT_TRUE(std::isnan(e3d::Sin(x)));
        EXPECT_TRUE(std::isnan(e3d::Cos(x)));
        EXPECT_TRUE(std::isnan(e3d::Tan(x)));
    }
    // C's powf for the values that have no logarithm to go through.
    const float cases[][2] = {{nan, 0.0f},  {1.0f, nan},  {0.0f, -3.0f}, {-0.0f, -3.0f}, {-0.0f, -2.0f},
                              {0.0f, 2.5f}, {-0.0f, 3.0f}, {-0.0f, 2.0f}, {-1.0f, inf},  {0.5f, inf},
                              {2.0f, inf},  {0.5f, -inf}, {2.0f, -inf}, {-inf, 3.0f},  {-inf, -3.0f},
                              {-inf, 2.0f}, {inf, -1.0f}, {-2.0f, 0.5f}, {-2.0f, 3.0f}, {-2.0f, -2.0f},
                              {nan, 1.0f},  {2.0f, 200.0f}, {2.0f, -200.0f}, {-8.0f, 1e30f}};
    for (const auto &c : cases) {
        const float got = e3d::Pow(c[0], c[1]), want = std::pow(c[0], c[1]);
        if (std::isnan(want)) {
            EXPECT_TRUE(std::isnan(got)) << c[0] << "^" << c[1];
        } else {
            EXPECT_EQ(std::bit_cast<uint32_t>(got), std::bit_cast<uint32_t>(want)) << c[0] << "^" << c[1];
        }
    }
}

// Roots from 1024-entry mantissa tables: x = 1 and x = 0.5 exactly, about
// ten bits for the reciprocal root, the Newton step refining the root.
TEST(FastRoots, TablesAndAccuracyOverManyDecades) {
    e3d::BuildRootTables();
    const uint32_t *sqrtTable = e3d::g_engine.sqrtTable, *rsqrtTable = e3d::g_engine.rsqrtTable;
    EXPECT_EQ(sqrtTable[512], 0u);
    EXPECT_EQ(rsqrtTable[512], 0x007FE000u);  // just below 1: the exponent arithmetic needs it
    EXPECT_EQ(sqrtTable[0], std::bit_cast<uint32_t>(float(std::sqrt(0.5))) & 0x007FE000u);
    EXPECT_EQ(rsqrtTable[0], std::bit_cast<uint32_t>(float(1.0 / std::sqrt(0.5))) & 0x007FE000u);
    for (int i = 0; i < 1024; ++i) ASSERT_EQ((sqrtTable[i] | rsqrtTable[i]) & ~0x007FE000u, 0u) << i;
    EXPECT_EQ(std::bit_cast<uint32_t>(e3d::FastRSqrt(1.0f)), 0x3F7FE000u);
    for (float x = 1e-20f; x < 1e20f; x *= 1.37f) {
        const double exact = std::sqrt(double(x));
        ASSERT_NEAR(e3d::FastRSqrt(x) * exact, 1.0, 2e-3) << x;
        ASSERT_NEAR(e3d::FastSqrt(x) / exact, 1.0, 1e-5) << x;
    }
}

}  // namespace
