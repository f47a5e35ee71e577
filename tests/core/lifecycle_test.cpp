// Engine start and release: the root tables are built once per process, the
// scene chain is forgotten, and nothing is left allocated.
#include <gtest/gtest.h>

#include <cstring>

#include "core/engine_state.h"
#include "engine3d.h"
#include "support/memory_check.h"

using e3d::g_engine;

TEST(Lifecycle, StartsAndReleasesInAnyOrder) {
    e3dtest::LeakCheck leaks;
    const e3d::EngineState before = g_engine;
    if (!before.initialised) {
        ReleaseEngine3D();  // before a start: nothing
        EXPECT_EQ(std::memcmp(&before, &g_engine, sizeof before), 0);
    }
    EXPECT_EQ(InitEngine3D(), 0);
    EXPECT_EQ(InitEngine3D(), 0);
    EXPECT_EQ(g_engine.initialised, 1);
    uint32_t sqrtCopy[1024], rsqrtCopy[1024];
    std::memcpy(sqrtCopy, g_engine.sqrtTable, sizeof sqrtCopy);
    std::memcpy(rsqrtCopy, g_engine.rsqrtTable, sizeof rsqrtCopy);
    g_engine.sceneHead = g_engine.sceneTail = reinterpret_cast<E3DScene *>(&sqrtCopy);  // a stale chain
    ReleaseEngine3D();
    EXPECT_EQ(g_engine.initialised, 0);
    EXPECT_EQ(g_engine.sceneHead, nullptr);
    ReleaseEngine3D();
    leaks.Check();
    // Poisoned tables show that the next start does not rebuild them.
    g_engine.sqrtTable[3] ^= 1u;
    g_engine.rsqrtTable[5] ^= 1u;
    EXPECT_EQ(InitEngine3D(), 0);
    EXPECT_EQ(g_engine.sqrtTable[3], sqrtCopy[3] ^ 1u);
    EXPECT_EQ(g_engine.rsqrtTable[5], rsqrtCopy[5] ^ 1u);
    g_engine.sqrtTable[3] = sqrtCopy[3], g_engine.rsqrtTable[5] = rsqrtCopy[5];
    EXPECT_EQ(std::memcmp(sqrtCopy, g_engine.sqrtTable, sizeof sqrtCopy), 0);
    EXPECT_EQ(std::memcmp(rsqrtCopy, g_engine.rsqrtTable, sizeof rsqrtCopy), 0);
    EXPECT_EQ(g_engine.sceneTail, nullptr);
    ReleaseEngine3D();
    leaks.Check();
}
