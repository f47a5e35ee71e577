// Drawing straight into a viewport without a scene: lines, screen-space
// triangles and the post-effect overlay. Each borrows the current viewport
// and restores it.
#include "engine3d.h"

#include "core/clip.h"
#include "core/modes.h"
#include "core/view.h"
#include "pipeline/draw2d.h"
#include "raster/raster.h"
#include "raster/wire.h"
#include "scene/mesh.h"

namespace e3d {

int g_overlaySlot;

namespace {

// The borrowed draw context, restored when the draw is done.
class BorrowedContext {
public:
    explicit BorrowedContext(E3DViewport *viewport) : viewport_(CurrentViewport()), camera_(CurrentCamera()) {
        SetRasterContext(viewport, nullptr);
    }
    ~BorrowedContext() { SetRasterContext(viewport_, camera_); }
    BorrowedContext(const BorrowedContext &) = delete;
    BorrowedContext &operator=(const BorrowedContext &) = delete;

private:
    E3DViewport *viewport_;
    E3DCamera *camera_;
};

// Fixed working storage: no allocation per call.
E3DPolygon g_polygon2D;
E3DVertex g_corners2D[4];
ClipPolygon g_clip2DA;
ClipPolygon g_clip2DB;

// Clips at the scissor edges; out-codes of new corners are judged against
// `codes` (the whole buffer), which may differ from the edges themselves.
ClipPolygon *ClipAtScissor(const E3DViewport *v, const ClipFrame &codes) {
    ClipPolygon *src = &g_clip2DA, *dst = &g_clip2DB;
    auto stage = [&](auto edgeTag, float boundary, uint32_t bit) {
        uint32_t any = 0;
        for (int i = 0; i < src->count; ++i) any |= src->corners[i].outCode;
        if (!(any & bit)) return;
        ClipAgainst<kAttrPlain, decltype(edgeTag)::value>(*src, *dst, boundary, bit, codes);
        ClipPolygon *t = src;
        src = dst;
        dst = t;
    };
    using V = std::integral_constant<ClipEdge, ClipEdge::Vertical>;
    using H = std::integral_constant<ClipEdge, ClipEdge::Horizontal>;
    stage(V{}, v->scissorXMin, kOutLeft);
    stage(V{}, v->scissorXMax, kOutRight);
    stage(H{}, v->scissorYMin, kOutAbove);
    stage(H{}, v->scissorYMax, kOutBelow);
    return src;
}

// A material channel 0..255 as an integer: truncated, then clamped.
uint32_t Channel255(float c) {
    if (!(c > 0.0f)) return 0;  // also not a number
    return c >= 255.0f ? 255u : uint32_t(c);
}

// The colour word whose top five bits per channel are the 5-5-5 pixel, so
// the fillers' conversion gives the pixel back unchanged.
uint32_t PixelToColour(uint32_t pixel) {
    return ((pixel >> 10) & 31u) << 19 | ((pixel >> 5) & 31u) << 11 | (pixel & 31u) << 3;
}

}  // namespace

}  // namespace e3d

using namespace e3d;

extern "C" E3D_API void DrawLine2D(E3DViewport *viewport, float x0, float y0, float x1, float y1, uint32_t colour) {
    if (!viewport) return;
    BorrowedContext borrowed(viewport);
    LoadClipBounds(viewport);
    DrawFlatLine(x0, y0, x1, y1, colour);
}

extern "C" E3D_API void DrawTriangle2D(E3DPolygon *polygon, E3DVertex *vertices, E3DViewport *viewport) {
    if (!polygon || !vertices || !viewport) return;  // Guard
    BorrowedContext borrowed(viewport);
    const E3DVertex *v[3] = {&vertices[polygon->vertex[0]], &vertices[polygon->vertex[1]],
                             &vertices[polygon->vertex[2]]};
    const uint32_t any = v[0]->clipCode | v[1]->clipCode | v[2]->clipCode;
    E3DPolygon &local = g_polygon2D;
    local.flags = polygon->flags;
    local.material = polygon->material;
    local.backMaterial = polygon->backMaterial;
    local.color = polygon->color;
    if (any == 0) {
        // Always the flat solid filler, whatever the material says.
        for (int j = 0; j < 3; ++j) local.vertex[j] = polygon->vertex[j];
        FlatSolidTriangle(&local, vertices);
        return;
    }
    g_clip2DA.count = 3;
    for (int j = 0; j < 3; ++j) {
        ClipVertex &c = g_clip2DA.corners[j];
        c = ClipVertex{};
        c.outCode = v[j]->clipCode;
        c.screenX = v[j]->screenX;
        c.screenY = v[j]->screenY;
        c.invDepth = v[j]->invDepth;
    }
    // The bounds judge the codes of new corners; they stay set after the
    // call on purpose.
    g_clipBounds.xMin = 0.0f;
    g_clipBounds.xMax = viewport->width;
    g_clipBounds.yMin = 0.0f;
    g_clipBounds.yMax = viewport->height;
    ClipFrame codes{};
    codes.xMin = 0.0f, codes.xMax = viewport->width, codes.yMin = 0.0f, codes.yMax = viewport->height;
    const ClipPolygon *result = ClipAtScissor(viewport, codes);
    if (result->count < 3) return;
    for (int j = 0; j < 3; ++j) local.vertex[j] = j;
    for (int i = 1; i + 1 < result->count; ++i) {
        const ClipVertex *corner[3] = {&result->corners[0], &result->corners[i], &result->corners[i + 1]};
        for (int j = 0; j < 3; ++j) {
            g_corners2D[j].clipCode = 0;
            g_corners2D[j].screenX = corner[j]->screenX;
            g_corners2D[j].screenY = corner[j]->screenY;
            g_corners2D[j].invDepth = corner[j]->invDepth;
        }
        FlatSolidTriangle(&local, g_corners2D);
    }
}

extern "C" E3D_API void DrawViewportPostFX(E3DViewport *viewport) {
    if (!viewport || !viewport->material) return;
    BorrowedContext borrowed(viewport);
    E3DMaterial *m = viewport->material;
    const float xs[4] = {viewport->scissorXMin, viewport->scissorXMax, viewport->scissorXMax, viewport->scissorXMin};
    const float ys[4] = {viewport->scissorYMin, viewport->scissorYMin, viewport->scissorYMax, viewport->scissorYMax};
    constexpr float kOverlayInvDepth = 0.2f;  // the float 0x3E4CCCCD
    for (int k = 0; k < 4; ++k) {
        g_corners2D[k] = E3DVertex{};
        g_corners2D[k].screenX = xs[k];
        g_corners2D[k].screenY = ys[k];
        g_corners2D[k].invDepth = kOverlayInvDepth;
    }
    const uint32_t texture = m->mode & kLayerPresentMask;
    uint32_t pixel = 0x7FFF;
    if (texture == 0) {
        const float *c = MaterialColor(m, 0);
        pixel = (Channel255(c[0]) >> 3) << 10 | (Channel255(c[1]) >> 3) << 5 | (Channel255(c[2]) >> 3);
    }
    if (texture == E3D_TEXTURE_LAYER0) g_overlaySlot = 0;
    else if (texture == E3D_TEXTURE_LAYER1) g_overlaySlot = 1;
    const E3DTextureLayer &layer = m->layers[g_overlaySlot];
    const float maxU = float(int64_t(layer.width) - 1), maxV = float(int64_t(layer.height) - 1);
    const float us[4] = {0.0f, maxU, maxU, 0.0f}, vs[4] = {0.0f, 0.0f, maxV, maxV};
    const TriangleFillerRoutine filler = FillerTable[1][SortedPassFillerIndex(m->mode)];
    E3DPolygon &p = g_polygon2D;
    p = E3DPolygon{};
    p.material = p.backMaterial = m;
    p.color = PixelToColour(pixel);
    const int32_t triangles[2][3] = {{2, 1, 0}, {3, 2, 0}};
    for (const auto &t : triangles) {
        for (int j = 0; j < 3; ++j) {
            p.vertex[j] = t[j];
            p.coords[j][0] = us[t[j]] * kOverlayInvDepth;
            p.coords[j][1] = vs[t[j]] * kOverlayInvDepth;
        }
        filler(&p, g_corners2D);
    }
}
