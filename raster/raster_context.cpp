// The draw context every filler reads: the current viewport and camera.
#include <cstdint>

#include "raster/raster.h"

namespace e3d {

namespace {

E3DViewport *g_currentViewport;
E3DCamera *g_currentCamera;

int32_t ToCount(float v) {
    if (!(v > 0.0f)) return 0;
    return v >= 2147483520.0f ? 2147483520 : int32_t(v);
}

}  // namespace

void SetRasterContext(E3DViewport *viewport, E3DCamera *camera) {
    g_currentViewport = viewport;
    g_currentCamera = camera;
}

E3DViewport *CurrentViewport() { return g_currentViewport; }
E3DCamera *CurrentCamera() { return g_currentCamera; }

RasterTarget CurrentRasterTarget(bool depthPass) {
    RasterTarget t{nullptr, nullptr, 0, 0, 0};
    const E3DViewport *v = g_currentViewport;
    if (!v || !v->frameBuffer || v->pitch == 0 || v->pitch > 0x7FFFFFFFu) return t;
    t.frame = v->frameBuffer;
    t.pitch = int32_t(v->pitch);
    // Rows are pitch pixels apart: a row never reaches past its pitch.
    const int32_t width = ToCount(v->width);
    t.width = width < t.pitch ? width : t.pitch;
    t.height = ToCount(v->height);
    if (depthPass) {
        t.depth = v->depthBuffer;
        if (!t.depth) {
            t.frame = nullptr;
            return t;
        }
        const int64_t rows = int64_t(DepthBufferElements(v) / uint64_t(t.pitch));
        if (rows < t.height) t.height = int32_t(rows);
    }
    return t;
}

}  // namespace e3d
