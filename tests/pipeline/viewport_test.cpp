// Viewports: buffers, scissor rules, type and depth state.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "core/live_objects.h"
#include "engine3d.h"
#include "support/memory_check.h"

TEST(Viewport, OwnBufferIsDoubledWhileScissorAndPitchAreNot) {
    e3dtest::LeakCheck leaks;
    const int64_t before = e3dtest::MemoryStats().liveBytes;
    E3DViewport *v = CreateViewport(nullptr, 160, 120, 0, 1);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->width, 320.0f);
    EXPECT_EQ(v->height, 240.0f);
    EXPECT_EQ(v->pitch, 160u);
    EXPECT_EQ(v->centerX, 160.0f);
    EXPECT_EQ(v->centerY, 120.0f);
    EXPECT_EQ(v->flags, 0x44u);
    EXPECT_EQ(v->yScale, -1.0f);
    EXPECT_EQ(v->aspect, -1.0f);
    EXPECT_EQ(v->reserved13, 32768u);
    // The record (with the links that follow it in its block) and a frame of
    // 320 x 240 pixels.
    EXPECT_GE(e3d::kViewportBlockBytes, sizeof(E3DViewport));
    EXPECT_EQ(e3dtest::MemoryStats().liveBytes - before, int64_t(e3d::kViewportBlockBytes) + 153600);
    float s[4];
    GetViewportScissor(v, s);
    EXPECT_EQ(s[0], 0.0f);
    EXPECT_EQ(s[1], 160.0f);
    EXPECT_EQ(s[2], 0.0f);
    EXPECT_EQ(s[3], 120.0f);
    DeleteViewport(v);
    leaks.Check();
}

TEST(Viewport, CallerSurfaceIsBorrowed) {
    e3dtest::LeakCheck leaks;
    std::vector<uint16_t> pixels(400 * 200);
    E3DTexture surface{};
    surface.pixels = pixels.data();
    surface.pitch = 800;
    E3DViewport *v = CreateViewport(&surface, 320, 200, 1, 0);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->frameBuffer, pixels.data());
    EXPECT_EQ(v->pitch, 400u);
    EXPECT_EQ(v->flags, 0x4u | 0x18u);
    EXPECT_NE(v->depthBuffer, nullptr);
    EXPECT_NEAR(v->aspect, -(200.0f * 4.0f) / (320.0f * 3.0f), 1e-7);
    DeleteViewport(v);  // frees depth and record, not the caller's pixels
    leaks.Check();
}

TEST(Viewport, ScissorRejectsAndClamps) {
    E3DTexture surface{};
    std::vector<uint16_t> pixels(320 * 200);
    surface.pixels = pixels.data();
    surface.pitch = 640;
    E3DViewport *v = CreateViewport(&surface, 320, 200, 0, 0);
    float s[4];
    SetViewportScissor(v, -5, 100, -1, 50);
    GetViewportScissor(v, s);
    EXPECT_EQ(s[0], 0.0f);
    EXPECT_EQ(s[1], 100.0f);
    EXPECT_EQ(s[2], 0.0f);
    EXPECT_EQ(s[3], 50.0f);
    SetViewportScissor(v, 0, 321, 0, 10);  // rejected whole
    GetViewportScissor(v, s);
    EXPECT_EQ(s[1], 100.0f);
    EXPECT_EQ(s[3], 50.0f);
    SetViewportScissor(v, 400, 320, 250, 200);  // mins held to the size
    GetViewportScissor(v, s);
    EXPECT_EQ(s[0], 320.0f);
    EXPECT_EQ(s[2], 200.0f);
    SetViewportScissor(v, -0.0f, 10, -0.0f, 10);  // -0.0 is not negative
    GetViewportScissor(v, s);
    EXPECT_TRUE(std::signbit(s[0]));
    EXPECT_TRUE(std::signbit(s[2]));
    DeleteViewport(v);
}

TEST(Viewport, TypeCarriesTheEnableBit) {
    E3DViewport *v = CreateViewport(nullptr, 8, 8, 0, 1);
    SetViewportType(v, 0);
    SetViewportType(v, 4);
    EXPECT_EQ(v->flags, 0x44u);
    SetViewportType(v, 0x80000002u);
    EXPECT_EQ(GetViewportType(v), 2u);
    EXPECT_TRUE(v->flags & 0x80000000u);
    SetViewportType(v, 1);  // the enable bit stays: only the low bits are cleared
    EXPECT_EQ(GetViewportType(v), 1u);
    EXPECT_TRUE(v->flags & 0x80000000u);
    E3DMaterial m{};
    EXPECT_EQ(SetViewportMaterial(v, &m), &m);
    EXPECT_EQ(SetViewportCamera(v, nullptr), static_cast<void *>(v));
    EXPECT_EQ(GetViewportCamera(v), nullptr);
    DeleteViewport(v);
}

TEST(Viewport, DepthStateAllocatesOnceAndClearsScissorRows) {
    e3dtest::LeakCheck leaks;
    E3DTexture surface{};
    std::vector<uint16_t> pixels(320 * 40);
    surface.pixels = pixels.data();
    surface.pitch = 640;
    E3DViewport *v = CreateViewport(&surface, 320, 40, 0, 0);
    EXPECT_EQ(SetViewportDepthState(v, 0), 0);  // nothing to free
    EXPECT_EQ(v->flags & 0x18u, 0u);
    const int64_t allocations = e3dtest::MemoryStats().allocations;
    EXPECT_EQ(SetViewportDepthState(v, 1), 1);
    EXPECT_EQ(SetViewportDepthState(v, 1), 1);
    EXPECT_EQ(e3dtest::MemoryStats().allocations - allocations, 1);
    for (int i = 0; i < 320 * 40; ++i) v->depthBuffer[i] = 7;
    SetViewportScissor(v, 5, 300, 10, 20);
    ClearViewportDepthBuffer(v, 0);
    for (int i = 0; i < 320 * 40; ++i) {
        ASSERT_EQ(v->depthBuffer[i], (i >= 3200 && i < 6400) ? 0 : 7) << i;
    }
    EXPECT_EQ(SetViewportDepthState(v, 0), 0);
    EXPECT_EQ(v->depthBuffer, nullptr);
    EXPECT_EQ(v->flags & 0x18u, 0u);
    ClearViewportDepthBuffer(v, 0);  // no buffer: nothing happens
    DeleteViewport(v);
    leaks.Check();
}

TEST(Viewport, FailedAllocationsLeaveNothingBehind) {
    const int points = e3dtest::ForEachAllocationFailure<E3DViewport>(
        [] { return CreateViewport(nullptr, 64, 48, 0, 1); }, [](E3DViewport *v) { DeleteViewport(v); });
    EXPECT_EQ(points, 2);
    // A failed depth buffer is ignored: the viewport comes back without one.
    HostMemoryFailNth(3);
    E3DViewport *v = CreateViewport(nullptr, 64, 48, 1, 1);
    HostMemoryFailNth(0);
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v->depthBuffer, nullptr);
    EXPECT_EQ(v->flags & 0x18u, 0u);
    DeleteViewport(v);
    EXPECT_EQ(CreateViewport(nullptr, 0, 48, 0, 1), nullptr);
    EXPECT_EQ(CreateViewport(nullptr, 64, 48, 0, 0), nullptr) << "no surface to borrow";
}

TEST(Viewport, ACallerSurfaceMustHoldTheViewport) {
    // Surfaces of 160 x 120 (byte pitch 320, unless a case says otherwise).
    struct Case {
        int w, h, pitch, surfaceW, surfaceH;
        bool pixels, made;
    } cases[] = {
        {160, 120, 320, 160, 120, true, true},   // exactly the surface
        {100, 50, 320, 160, 120, true, true},    // a corner of it
        {640, 480, 1280, 160, 120, true, false}, // pitch fits, the rows do not
        {161, 120, 322, 160, 120, true, false},  // one column too wide
        {160, 121, 320, 160, 120, true, false},  // one row too low
        {160, 120, 318, 160, 120, true, false},  // pitch below the width
        {160, 120, -320, 160, 120, true, false}, // negative pitch
        {160, 120, 320, 0, 0, true, true},       // sides not given: pitch decides
        {161, 120, 320, 0, 0, true, false},
        {160, 120, 320, 160, 120, false, false}, // no pixels
    };
    std::vector<uint16_t> pixels(160 * 120 + 8, 0x1234);
    for (const Case &c : cases) {
        e3dtest::LeakCheck leaks;
        E3DTexture surface{};
        surface.pixels = c.pixels ? pixels.data() : nullptr;
        surface.pitch = c.pitch;
        surface.width = c.surfaceW;
        surface.height = c.surfaceH;
        E3DViewport *v = CreateViewport(&surface, c.w, c.h, 1, 0);
        EXPECT_EQ(v != nullptr, c.made) << c.w << " x " << c.h << " pitch " << c.pitch;
        DeleteViewport(v);
        leaks.Check();
    }
}

TEST(Viewport, PaddedSurfaceDrawsEveryRowInBothPasses) {
    // A 64 x 48 picture in rows of 80 pixels: the depth buffer follows the
    // row length, so the depth pass reaches the last row as the sorted pass
    // does, and clearing covers every row.
    constexpr int kWidth = 64, kHeight = 48, kPitch = 80;
    std::vector<uint16_t> frames[2];
    for (int depth : {1, 0}) {
        InitEngine3D();
        std::vector<uint16_t> pixels(size_t(kPitch) * kHeight, 0x0421);
        E3DTexture surface{};
        surface.pixels = pixels.data();
        surface.pitch = 2 * kPitch;
        E3DViewport *v = CreateViewport(&surface, kWidth, kHeight, depth, 0);
        ASSERT_NE(v, nullptr);
        SetViewportType(v, 0x80000001u);
        if (depth) {
            ASSERT_NE(v->depthBuffer, nullptr);
        }
        const float eye[3] = {0, 0, 0}, target[3] = {0, 0, 1};
        E3DCamera *camera = CreateCamera(eye, target, 0, 60, 1);
        E3DScene *scene = CreateScene();
        AssignCameraToScene(scene, camera);
        SetActiveSceneCamera(scene, camera);
        SetSceneViewport(scene, v);
        E3DMesh *m = CreateMesh(4, 2, 0x00FF00);
        SetMeshVertex(m, 0, -50, 50, 10);
        SetMeshVertex(m, 1, 50, 50, 10);
        SetMeshVertex(m, 2, 50, -50, 10);
        SetMeshVertex(m, 3, -50, -50, 10);
        SetMeshQuadPolygon(m, 0, 0, 1, 2, 3, 0, 0);
        m = ValidateMesh(m);
        SetMeshShadeMode(&m->node, 1);
        AssignMeshToScene(scene, m, 0);
        DrawScene(scene);
        // Again after clearing: every row's depth must have been reset.
        std::fill(pixels.begin(), pixels.end(), 0x0421);
        if (depth) ClearViewportDepthBuffer(v, 0);
        DrawScene(scene);
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kPitch; ++x) {
                const uint16_t expected = x < kWidth ? 0x03E0 : 0x0421;
                ASSERT_EQ(pixels[size_t(y) * kPitch + x], expected) << "depth " << depth << " at " << x << ", " << y;
            }
        }
        frames[depth] = pixels;
        DeleteScene(scene);
        DeleteViewport(v);
        ReleaseEngine3D();
    }
    EXPECT_EQ(frames[0], frames[1]);
}
