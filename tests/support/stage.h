// A small scene drawn into a 64 x 48 surface, for end-to-end tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine3d.h"
#include "raster/raster.h"

namespace e3dtest {

inline constexpr int kW = 64, kH = 48, kGuardRows = 4;
inline constexpr uint16_t kBackground = 0x0421;

// A 64 x 48 surface with guard rows behind it, a camera at (0, 0, eyeZ) looking
// along +z with fov 60 (focal 32 / tan 30 on this 4:3 surface), and a scene.
struct Stage {
    std::vector<uint16_t> pixels = std::vector<uint16_t>(size_t(kW) * (kH + kGuardRows), kBackground);
    E3DTexture surface{};
    E3DViewport *viewport;
    E3DCamera *camera;
    E3DScene *scene;
    explicit Stage(bool depth = true, bool enable = true, float eyeZ = 0.0f) {
        InitEngine3D();
        surface.pixels = pixels.data();
        surface.pitch = 2 * kW;
        viewport = CreateViewport(&surface, kW, kH, depth ? 1 : 0, 0);
        if (enable) SetViewportType(viewport, 0x80000001u);
        const float eye[3] = {0, 0, eyeZ}, target[3] = {0, 0, eyeZ + 1};
        camera = CreateCamera(eye, target, 0, 60, 1);
        scene = CreateScene();
        AssignCameraToScene(scene, camera);
        SetActiveSceneCamera(scene, camera);
        SetSceneViewport(scene, viewport);
    }
    ~Stage() {
        e3d::SetRasterContext(nullptr, nullptr);
        DeleteScene(scene);
        DeleteViewport(viewport);
        ReleaseEngine3D();
    }
    int Written() const {
        int n = 0;
        for (int i = 0; i < kW * kH; ++i) n += pixels[i] != kBackground;
        return n;
    }
    uint16_t At(int x, int y) const { return pixels[size_t(y) * kW + x]; }
    bool GuardsIntact() const {
        for (size_t i = size_t(kW) * kH; i < pixels.size(); ++i)
            if (pixels[i] != kBackground) return false;
        return true;
    }
};

}  // namespace e3dtest
