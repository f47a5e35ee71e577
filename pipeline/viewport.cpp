// Viewports: the frame buffer (own or borrowed), the depth buffer, the
// scissor rectangle, the type and the camera.
#include "engine3d.h"

#include <bit>
#include <cmath>
#include <cstring>

#include "core/clip.h"
#include "core/engine_state.h"
#include "core/live_objects.h"
#include "e3dhost.h"
#include "raster/raster.h"

using e3d::DepthBufferElements;
using e3d::DepthRowLength;

namespace {

constexpr uint32_t kFlagAlways = 0x4;
constexpr uint32_t kFlagDepth = E3D_VIEWPORT_DEPTH_BUFFER | E3D_VIEWPORT_DEPTH_TEST;
constexpr uint32_t kFlagOwnsFrame = E3D_VIEWPORT_OWN_BUFFER;

}  // namespace

extern "C" E3D_API int32_t SetViewportDepthState(E3DViewport *v, int32_t state) {
    if (!v) return 0;
    if (state == 1) {
        if (v->flags & E3D_VIEWPORT_DEPTH_BUFFER) return 1;
        const uint64_t elements = DepthBufferElements(v);
        const uint64_t bytes = elements * 4;
        void *buffer = (elements > 0 && bytes <= 0xFFFFFFFFull) ? AllocateMemory(uint32_t(bytes)) : nullptr;
        v->depthBuffer = static_cast<int32_t *>(buffer);
        if (!buffer) return 0;
        v->flags |= kFlagDepth;
        ClearViewportDepthBuffer(v, 0);
        return 1;
    }
    if (v->flags & E3D_VIEWPORT_DEPTH_BUFFER) {
        if (v->depthBuffer) FreeMemory(v->depthBuffer);
        v->depthBuffer = nullptr;
        v->flags &= ~kFlagDepth;
    }
    return 0;
}

extern "C" E3D_API E3DViewport *CreateViewport(const E3DTexture *surface, int32_t w, int32_t h, int32_t depth,
                                               int32_t own) {
    if (w < 1 || h < 1 || (own != 1 && !surface)) return nullptr;
    // A caller's surface must hold the viewport: pixels, a pitch of at least
    // one row, and (where the description gives them) the sides.
    if (own != 1 && (!surface->pixels || int64_t(surface->pitch) < 2 * int64_t(w) ||
                     (surface->width > 0 && surface->width < w) ||
                     (surface->height > 0 && surface->height < h)))
        return nullptr;
    if (own == 1 && uint64_t(w) * uint64_t(h) * 8 > 0xFFFFFFFFull) return nullptr;
    // The block also carries the viewport's links on the chain of live ones.
    auto *v = static_cast<E3DViewport *>(AllocateMemory(uint32_t(e3d::kViewportBlockBytes)));
    if (!v) return nullptr;
    std::memset(v, 0, sizeof *v);
    e3d::OwnedFrameOf(v) = nullptr;
    if (own == 1) {
        v->frameBuffer = static_cast<uint16_t *>(AllocateMemory(uint32_t(w) * uint32_t(h) * 8));
        if (!v->frameBuffer) {
            FreeMemory(v);
            return nullptr;
        }
        e3d::OwnedFrameOf(v) = v->frameBuffer;
        // The own buffer is twice the requested size each way, while the
        // scissor and pitch describe the requested size.
        v->width = float(2 * w);
        v->height = float(2 * h);
        v->pitch = uint32_t(w);
        v->flags = kFlagAlways | kFlagOwnsFrame;
    } else {
        v->width = float(w);
        v->height = float(h);
        v->frameBuffer = surface->pixels;
        v->pitch = uint32_t(surface->pitch) >> 1;
        v->flags = kFlagAlways;
    }
    v->centerX = v->width * 0.5f;
    v->centerY = 0.5f * v->height;
    v->aspect = -(v->height * 4.0f) / (v->width * 3.0f);
    v->yScale = -1.0f;
    v->reserved12 = 0;
    v->reserved13 = 32768;
    v->reserved17 = 0;
    v->material = nullptr;
    v->camera = nullptr;
    v->depthBuffer = nullptr;
    SetViewportScissor(v, 0.0f, float(w), 0.0f, float(h));
    if (depth == 1) SetViewportDepthState(v, 1);
    e3d::LinkLive(e3d::kLiveViewport, v);
    return v;
}

extern "C" E3D_API void DeleteViewport(E3DViewport *v) {
    if (!v) return;
    // The fillers draw into the current viewport: a deleted one is no target.
    if (e3d::CurrentViewport() == v) e3d::SetRasterContext(nullptr, nullptr);
    // Scenes and meshes drawing into it lose it (they then draw nothing).
    for (E3DScene *s = e3d::g_engine.sceneHead; s; s = s->next) {
        if (s->viewport == v) s->viewport = nullptr;
    }
    e3d::ForEachLive<E3DMesh>(e3d::kLiveMesh, [&](E3DMesh *m) {
        if (m->viewport == v) m->viewport = nullptr;
    });
    e3d::UnlinkLive(e3d::kLiveViewport, v);
    if (v->depthBuffer) FreeMemory(v->depthBuffer);
    // Bit 6 says the viewport owns its frame; the buffer freed is the one the
    // engine allocated, so a bit ORed in by SetViewportType never frees a
    // caller's surface.
    if ((v->flags & kFlagOwnsFrame) && e3d::OwnedFrameOf(v)) FreeMemory(e3d::OwnedFrameOf(v));
    FreeMemory(v);
}

extern "C" E3D_API void ClearViewportDepthBuffer(E3DViewport *v, int32_t value) {
    if (!v || !v->depthBuffer) return;
    // Whole rows: horizontal scissor edges are ignored here by design.
    const float row = DepthRowLength(v);
    const float countF = (v->scissorYMax - v->scissorYMin) * row;
    // Guard: a NaN (or beyond 64-bit) top edge covers no rows; tested before
    // the conversion, which such a value does not survive.
    if (!(countF > 0.0f) || !(std::fabs(v->scissorYMin) < 9.0e18f)) return;
    const float firstF = float(int64_t(v->scissorYMin)) * row;
    const uint64_t elements = DepthBufferElements(v);
    if (!(firstF >= 0.0f)) return;
    const uint64_t first = firstF < 4294967296.0f ? uint64_t(firstF) : elements;
    uint64_t count = countF < 4294967296.0f ? uint64_t(countF) : elements;
    if (first >= elements) return;
    if (count > elements - first) count = elements - first;
    int32_t *d = v->depthBuffer + first;
    const uint32_t u = uint32_t(value);
    if (u == (u & 0xFFu) * 0x01010101u) {
        // Four equal bytes (0 above all): the C library's fill is the fastest.
        std::memset(d, int(u & 0xFFu), size_t(count) * sizeof(int32_t));
        return;
    }
    for (uint64_t i = 0; i < count; ++i) d[i] = value;
}

extern "C" E3D_API E3DViewport *SetViewportScissor(E3DViewport *v, float xMin, float xMax, float yMin, float yMax) {
    if (!v) return nullptr;
    if (yMax > v->height || xMax > v->width) return v;
    if (e3d::IsNegative(xMin)) xMin = 0.0f;
    else if (xMin > v->width) xMin = v->width;
    if (e3d::IsNegative(xMax)) xMax = 0.0f;
    else if (xMax > v->width) xMax = v->width;
    if (e3d::IsNegative(yMin)) yMin = 0.0f;
    else if (yMin > v->height) yMin = v->height;
    if (e3d::IsNegative(yMax)) yMax = 0.0f;
    v->scissorXMin = xMin;
    v->scissorXMax = xMax;
    v->scissorYMin = yMin;
    v->scissorYMax = yMax;
    return v;
}

extern "C" E3D_API void GetViewportScissor(const E3DViewport *v, float *out) {
    if (!v || !out) return;
    out[0] = v->scissorXMin;
    out[1] = v->scissorXMax;
    out[2] = v->scissorYMin;
    out[3] = v->scissorYMax;
}

extern "C" E3D_API E3DViewport *SetViewportType(E3DViewport *v, uint32_t type) {
    if (!v) return nullptr;
    if (type & 3u) v->flags = (v->flags & ~3u) | type;
    return v;
}

extern "C" E3D_API uint32_t GetViewportType(const E3DViewport *v) { return v ? v->flags & 3u : 0; }

extern "C" E3D_API void *SetViewportCamera(E3DViewport *v, E3DCamera *camera) {
    if (!v) return nullptr;
    v->camera = camera;
    return camera ? static_cast<void *>(camera) : static_cast<void *>(v);
}

extern "C" E3D_API E3DCamera *GetViewportCamera(const E3DViewport *v) { return v ? v->camera : nullptr; }

extern "C" E3D_API E3DMaterial *SetViewportMaterial(E3DViewport *v, E3DMaterial *material) {
    if (!v) return nullptr;
    v->material = material;
    return material;
}
