// Viewports: buffers, surfaces, scissor rules, type and depth state.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <algorithm>
#include <vector>

#include "core/live_objects.h"
#include "engine3d.h"
#include "support/memory_check.h"
#include "support/stage.h"

namespace {

std::vector<float> Scissor(const E3DViewport *v) {
    std::vector<float> s(4);
    return GetViewportScissor(v, s.data()), s;
}

}  // namespace

TEST(Viewport, OwnBufferIsDoubledWhileScissorAndPitchAreNotAndSurfacesAreBorrowed) {
    e3dtest::LeakCheck leaks;
    const int64_t before = e3dtest::MemoryStats().liveBytes;
    E3DViewport *v = CreateViewport(nullptr, 160, 120, 0, 1);
    EXPECT_TRUE(v->width == 320.0f && v->height == 240.0f && v->pitch == 160u && v->flags == 0x44u);
    EXPECT_TRUE(v->centerX == 160.0f && v->centerY == 120.0f && v->yScale == -1.0f && v->aspect == -1.0f);
    EXPECT_EQ(v->reserved13, 32768u);
    EXPECT_EQ(e3dtest::MemoryStats().liveBytes - before, int64_t(e3d::kViewportBlockBytes) + 153600);
    EXPECT_EQ(Scissor(v), (std::vector<float>{0, 160, 0, 120}));
    DeleteViewport(v);
    // Surfaces of 160 x 120 (byte pitch 320 unless a case says otherwise).
    // w, h, byte pitch, surface sides (0: not given), pixels given, made.
    const int cases[][7] = {{160, 120, 320, 160, 120, 1, 1}, {100, 50, 320, 160, 120, 1, 1}, {640, 480, 1280, 160, 120, 1, 0},
                            {161, 120, 322, 160, 120, 1, 0}, {160, 121, 320, 160, 120, 1, 0}, {160, 120, 318, 160, 120, 1, 0},
                            {160, 120, -320, 160, 120, 1, 0}, {160, 120, 320, 0, 0, 1, 1}, {161, 120, 320, 0, 0, 1, 0},
                            {160, 120, 320, 160, 120, 0, 0}};
    std::vector<uint16_t> pixels(160 * 120 + 8, 0x1234);
    for (const auto &c : cases) {
        E3DTexture surface{};
        surface.pixels = c[5] ? pixels.data() : nullptr;
        surface.pitch = c[2], surface.width = c[3], surface.height = c[4];
        E3DViewport *s = CreateViewport(&surface, c[0], c[1], 1, 0);
        EXPECT_EQ(s != nullptr, c[6] != 0) << c[0] << " x " << c[1] << " pitch " << c[2];
        EXPECT_TRUE(!s || (s->frameBuffer == pixels.data() && s->pitch == uint32_t(c[2] / 2) && s->flags == 0x1Cu &&
                           s->aspect == -(float(c[1]) * 4.0f) / (float(c[0]) * 3.0f)));
        DeleteViewport(s);  // frees depth and record, not the caller's pixels
    }
    EXPECT_TRUE(!CreateViewport(nullptr, 0, 48, 0, 1) && !CreateViewport(nullptr, 64, 48, 0, 0)) << "no size, no surface";
    leaks.Check();
}

TEST(Viewport, ScissorTypeAndDepthState) {
    e3dtest::LeakCheck leaks;
    std::vector<uint16_t> pixels(320 * 40);
    E3DTexture surface{};
    surface.pixels = pixels.data(), surface.pitch = 640;
    E3DViewport *v = CreateViewport(&surface, 320, 40, 0, 0);
    SetViewportScissor(v, -5, 100, -1, 30);
    EXPECT_EQ(Scissor(v), (std::vector<float>{0, 100, 0, 30}));
    SetViewportScissor(SetViewportScissor(v, 0, 321, 0, 10), 0, 10, 0, 41);  // each rejected whole
    EXPECT_EQ(Scissor(v), (std::vector<float>{0, 100, 0, 30}));
    SetViewportScissor(v, 400, 320, 250, -3);  // mins held to the size
    EXPECT_EQ(Scissor(v), (std::vector<float>{320, 320, 40, 0}));
    SetViewportScissor(v, -0.0f, 10, -0.0f, 10);  // -0.0 is not negative
    EXPECT_TRUE(std::signbit(Scissor(v)[0]) && std::signbit(Scissor(v)[2]));
    SetViewportType(SetViewportType(v, 0), 4);  // no type bits: ignored
    EXPECT_EQ(v->flags, 0x4u);
    SetViewportType(v, 0x80000002u);
    EXPECT_EQ(GetViewportType(SetViewportType(v, 1)), 1u);
    EXPECT_EQ(v->flags, 0x80000005u) << "only the type bits are replaced: the enable bit stays";
    ASSERT_EQ(SetViewportDepthState(v, 0), 0);  // nothing to free
    const int64_t allocations = e3dtest::MemoryStats().allocations;
    EXPECT_TRUE(SetViewportDepthState(v, 1) == 1 && SetViewportDepthState(v, 1) == 1 && (v->flags & 0x18u) == 0x18u &&
                e3dtest::MemoryStats().allocations - allocations == 1);
    // From the truncated top edge's row, (bottom - top) rows' worth of
    // elements; a value of four equal bytes and one of unequal ones alike.
    for (int32_t value : {0x7F7F7F7F, 5}) {
        std::fill(v->depthBuffer, v->depthBuffer + 320 * 40, 7);
        ClearViewportDepthBuffer(SetViewportScissor(v, 5, 300, 10.75f, 20), value);
        for (int i = 0; i < 320 * 40; ++i) ASSERT_EQ(v->depthBuffer[i], (i >= 3200 && i < 3200 + 2960) ? value : 7) << i;
        ClearViewportDepthBuffer(SetViewportScissor(v, 0, 320, 0, 40), value);
        for (int i = 0; i < 320 * 40; ++i) ASSERT_EQ(v->depthBuffer[i], value) << i;
    }
    // A NaN top edge passes the scissor setter; the clear then clears
    // nothing rather than convert NaN to an integer.
    ClearViewportDepthBuffer(SetViewportScissor(v, 0, 8, std::numeric_limits<float>::quiet_NaN(), 6), 9);
    EXPECT_EQ(v->depthBuffer[0], 5);
    EXPECT_EQ(SetViewportDepthState(v, 0), 0);
    EXPECT_TRUE(v->depthBuffer == nullptr && (v->flags & 0x18u) == 0);
    ClearViewportDepthBuffer(v, 0);  // no buffer: nothing happens
    DeleteViewport(v);
    leaks.Check();
}

TEST(Viewport, FailedAllocationsLeaveNothingBehind) {
    EXPECT_EQ(e3dtest::ForEachAllocationFailure<E3DViewport>([] { return CreateViewport(nullptr, 64, 48, 0, 1); },
                                                             [](E3DViewport *v) { DeleteViewport(v); }), 2);
    HostMemoryFailNth(3);  // a failed depth buffer: the viewport comes back without one
    E3DViewport *v = CreateViewport(nullptr, 64, 48, 1, 1);
    HostMemoryFailNth(0);
    ASSERT_NE(v, nullptr);
    EXPECT_TRUE(v->depthBuffer == nullptr && (v->flags & 0x18u) == 0);
    DeleteViewport(v);
}

TEST(Viewport, PaddedSurfaceDrawsEveryRowInBothPasses) {
    // A 64 x 48 picture in rows of 80 pixels: the depth buffer follows the
    // row length, so the depth pass reaches the last row as the sorted pass
    // does, and clearing covers every row.
    for (int depth : {1, 0}) {
        e3dtest::Stage s;  // its scene and camera
        std::vector<uint16_t> pixels(80 * 48, 0x0421);
        E3DTexture surface{};
        surface.pixels = pixels.data(), surface.pitch = 160;
        E3DViewport *v = CreateViewport(&surface, 64, 48, depth, 0);
        SetSceneViewport(s.scene, SetViewportType(v, 0x80000001u));
        E3DMesh *m = CubeCreate(100.0f, nullptr, 0x00FF00);
        ActivateMesh(m), SetMeshShadeMode(&m->node, 1), SetMeshModelPosition(m, 0, 0, 60), AssignMeshToScene(s.scene, m, 0);
        DrawScene(s.scene);
        std::fill(pixels.begin(), pixels.end(), 0x0421);
        ClearViewportDepthBuffer(v, 0), DrawScene(s.scene);  // again: every row's depth must have been reset
        for (int i = 0; i < 80 * 48; ++i) ASSERT_EQ(pixels[size_t(i)], i % 80 < 64 ? 0x03E0 : 0x0421) << depth << " at " << i;
        DeleteViewport(v);  // the scene loses it and then draws nothing
        EXPECT_EQ((DrawScene(s.scene), s.scene->viewport), nullptr);
    }
}
