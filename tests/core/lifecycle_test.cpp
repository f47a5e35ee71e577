// Engine start and release, and the fast root helpers built at start.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>

#include "core/engine_state.h"
#include "core/fast_math.h"
#include "engine3d.h"
#include "support/memory_check.h"

using e3d::g_engine;

TEST(Lifecycle, ReleaseBeforeInitDoesNothing) {
    e3dtest::LeakCheck leaks;
    const e3d::EngineState before = g_engine;
    if (!before.initialised) {
        ReleaseEngine3D();
        EXPECT_EQ(std::memcmp(&before, &g_engine, sizeof before), 0);
    }
    leaks.Check();
}

TEST(Lifecycle, InitReleaseInitKeepsTablesAndEmptiesChain) {
    e3dtest::LeakCheck leaks;
    EXPECT_EQ(InitEngine3D(), 0);
    EXPECT_EQ(g_engine.initialised, 1);
    uint32_t sqrtCopy[1024], rsqrtCopy[1024];
    std::memcpy(sqrtCopy, g_engine.sqrtTable, sizeof sqrtCopy);
    std::memcpy(rsqrtCopy, g_engine.rsqrtTable, sizeof rsqrtCopy);
    // A stale chain must be forgotten by the next start.
    g_engine.sceneHead = reinterpret_cast<E3DScene *>(&sqrtCopy);
    ReleaseEngine3D();
    EXPECT_EQ(g_engine.initialised, 0);
    EXPECT_EQ(g_engine.sceneHead, nullptr);
    ReleaseEngine3D();  // second release is a no-op
    leaks.Check();

    // Poison the tables: the built-once flags must keep the second start from rebuilding.
    g_engine.sqrtTable[3] ^= 1u;
    EXPECT_EQ(InitEngine3D(), 0);
    EXPECT_EQ(g_engine.sqrtTable[3], sqrtCopy[3] ^ 1u);
    g_engine.sqrtTable[3] = sqrtCopy[3];
    EXPECT_EQ(std::memcmp(sqrtCopy, g_engine.sqrtTable, sizeof sqrtCopy), 0);
    EXPECT_EQ(std::memcmp(rsqrtCopy, g_engine.rsqrtTable, sizeof rsqrtCopy), 0);
    EXPECT_EQ(g_engine.sceneHead, nullptr);
    EXPECT_EQ(g_engine.sceneTail, nullptr);
    ReleaseEngine3D();
    leaks.Check();
}

TEST(Lifecycle, InitTwiceThenReleaseLeaksNothing) {
    e3dtest::LeakCheck leaks;
    InitEngine3D();
    InitEngine3D();
    ReleaseEngine3D();
    leaks.Check();
}

class RootTables : public ::testing::Test {
protected:
    void SetUp() override { e3d::BuildRootTables(); }
};

TEST_F(RootTables, SpecialEntries) {
    // x = 1.0 is entry 512 in both tables.
    EXPECT_EQ(g_engine.sqrtTable[512], 0u);
    EXPECT_EQ(g_engine.rsqrtTable[512], 0x007FE000u);
    // x = 0.5: sqrt = 0.70710678 -> mantissa of 1.41421356 * 2^-1.
    EXPECT_EQ(g_engine.sqrtTable[0], std::bit_cast<uint32_t>(float(std::sqrt(0.5))) & 0x007FE000u);
    EXPECT_EQ(g_engine.rsqrtTable[0], std::bit_cast<uint32_t>(float(1.0 / std::sqrt(0.5))) & 0x007FE000u);
    for (uint32_t i = 0; i < 1024; ++i) {
        EXPECT_EQ(g_engine.sqrtTable[i] & ~0x007FE000u, 0u);
        EXPECT_EQ(g_engine.rsqrtTable[i] & ~0x007FE000u, 0u);
    }
}

TEST_F(RootTables, DocumentedExamples) {
    EXPECT_NEAR(e3d::FastSqrt(4.0f), 2.0f, 2.0f / 1000.0f);
    const float r1 = e3d::FastRSqrt(1.0f);
    EXPECT_EQ(std::bit_cast<uint32_t>(r1), 0x3F000000u | 0x007FE000u);
    EXPECT_LT(r1, 1.0f);
    EXPECT_GT(r1, 0.999f);
    EXPECT_NEAR(e3d::FastRSqrt(0.25f), 2.0f, 0.002f);
}

TEST_F(RootTables, AccuracyOverManyDecades) {
    // About ten bits for the reciprocal root; the Newton step refines the root.
    for (float x = 1e-20f; x < 1e20f; x *= 1.37f) {
        const double exact = std::sqrt(double(x));
        EXPECT_NEAR(e3d::FastRSqrt(x) * exact, 1.0, 2e-3) << x;
        EXPECT_NEAR(e3d::FastSqrt(x) / exact, 1.0, 1e-5) << x;
    }
}
