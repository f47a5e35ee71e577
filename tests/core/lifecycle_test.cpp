// Engine release: it frees the shared tables of a running engine only.
#include <gtest/gtest.h>

#include "engine3d.h"
#include "support/memory_check.h"

TEST(Lifecycle, ReleaseOutsideARunningEngineFreesNothing) {
    e3dtest::LeakCheck leaks;
    InitEngine3D();
    ReleaseEngine3D();
    uint32_t order[64];
    ResetRadixSort(64, order);  // the sort takes its scratch again
    const HostMemoryStats taken = e3dtest::MemoryStats();
    ReleaseEngine3D();
    EXPECT_EQ(e3dtest::MemoryStats().liveBlocks, taken.liveBlocks);
    InitEngine3D();
    ReleaseEngine3D();
    leaks.Check();
}
