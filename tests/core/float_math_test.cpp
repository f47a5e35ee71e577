// The engine's own sine, cosine, tangent and power against the C library's
// double functions rounded to float and the special values of C's powf; the
// table-driven roots.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>

#include "core/engine_state.h"
#include "core/fast_math.h"
#include "core/float_math.h"

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
    std::uniform_real_distribution<float> base(0.0f, 1.0f), exponent(0.0f, 256.0f);
    for (int i = 0; i < 200000; ++i) {
        const float x = base(random), y = exponent(random);
        ASSERT_LE(UlpsApart(e3d::Pow(x, y), float(std::pow(double(x), double(y)))), 1) << x << "^" << y;
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

}  // namespace
