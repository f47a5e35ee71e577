// Regression tests built from API fuzzer reproducers: hostile values that
// once reached undefined behaviour.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "engine3d.h"
#include "support/memory_check.h"

namespace {

// A NaN top scissor edge survives SetViewportScissor (it is not negative and
// not above the height); clearing the depth rows must then clear nothing
// rather than convert NaN to an integer.
TEST(HostileInput, DepthClearUnderANaNScissorEdgeClearsNothing) {
    e3dtest::LeakCheck leaks;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    E3DViewport *v = CreateViewport(nullptr, 8, 6, 1, 1);
    ASSERT_NE(v, nullptr);
    ASSERT_NE(v->depthBuffer, nullptr);
    ClearViewportDepthBuffer(v, 7);
    SetViewportScissor(v, 0, 8, nan, 6);
    ASSERT_TRUE(std::isnan(v->scissorYMin));
    const int elements = int(v->width * v->height);
    const std::vector<int32_t> before(v->depthBuffer, v->depthBuffer + elements);
    ClearViewportDepthBuffer(v, 5);
    EXPECT_EQ(std::vector<int32_t>(v->depthBuffer, v->depthBuffer + elements), before);
    // Finite edges still clear whole rows from the truncated top edge.
    SetViewportScissor(v, 0, 8, 1.75f, 3);
    ClearViewportDepthBuffer(v, 5);
    EXPECT_EQ(v->depthBuffer[int(v->width) - 1], 7);
    EXPECT_EQ(v->depthBuffer[int(v->width)], 5);
    DeleteViewport(v);
    leaks.Check();
}

}  // namespace
