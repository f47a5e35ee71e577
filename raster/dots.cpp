// Dots fillers: one pixel per corner, no depth test and no blending. The
// eight forms come from one template body.
#include <cmath>

#include "core/clip.h"
#include "core/view.h"
#include "raster/pixel.h"
#include "raster/raster.h"
#include "raster/wire.h"

namespace e3d {

namespace {

// Truncated screen position, or false when the corner is not strictly
// inside the clip bounds (and the buffer).
inline bool DotPosition(const E3DVertex &v, const RasterTarget &t, int32_t &x, int32_t &y) {
    // Beyond this the bounds reject the corner anyway; checking first keeps
    // the conversion defined (not a number fails too).
    constexpr float kFar = 1073741824.0f;
    if (!(std::fabs(v.screenX) < kFar && std::fabs(v.screenY) < kFar)) return false;
    x = int32_t(v.screenX);
    y = int32_t(v.screenY);
    const ClipBounds &c = g_clipBounds;
    const float fx = float(x), fy = float(y);
    if (!(c.xMin < fx && fx < c.xMax && c.yMin < fy && fy < c.yMax)) return false;
    return x >= 0 && x < t.width && y >= 0 && y < t.height;
}

inline int32_t DepthValue(float w) {
    const float v = w * kDepthScale;
    if (!(v > -2147483648.0f)) return INT32_MIN;  // also not a number
    if (v >= 2147483648.0f) return INT32_MAX;
    return int32_t(std::lrint(v));
}

// Gouraud dots take each corner's own colour (color, color1, color2 for
// slots 0, 1, 2); flat dots the polygon colour. The depth forms also leave
// the nearer of the dot's and the stored depth in the buffer, so surfaces
// drawn later behind a dot do not cover it.
template <bool Gouraud, bool Depth, bool SkipDepthCoded>
void DotsFill(E3DPolygon *p, E3DVertex *vertices) {
    const RasterTarget t = CurrentRasterTarget(Depth);
    if (!t.frame) return;
    const uint32_t colours[3] = {p->color, Gouraud ? p->color1 : p->color, Gouraud ? p->color2 : p->color};
    for (int i = 0; i < 3; ++i) {
        const E3DVertex &v = vertices[p->vertex[i]];
        if constexpr (SkipDepthCoded) {
            if (v.clipCode & (kOutNear | kOutFar)) continue;
        }
        int32_t x, y;
        if (!DotPosition(v, t, x, y)) continue;
        const size_t at = size_t(y) * size_t(t.pitch) + size_t(x);
        t.frame[at] = ColorToPixel(colours[i]);
        if constexpr (Depth) {
            const int32_t z = DepthValue(v.invDepth);
            if (z > t.depth[at]) t.depth[at] = z;
        }
    }
}

}  // namespace

void ClipAndDrawFlatDotsTriangle(E3DPolygon *p, E3DVertex *v) { DotsFill<false, false, true>(p, v); }
void ClipAndDrawFlatDotsTriangleZ(E3DPolygon *p, E3DVertex *v) { DotsFill<false, true, true>(p, v); }
void ClipAndDrawGouraudDotsTriangle(E3DPolygon *p, E3DVertex *v) { DotsFill<true, false, true>(p, v); }
void ClipAndDrawGouraudDotsTriangleZ(E3DPolygon *p, E3DVertex *v) { DotsFill<true, true, true>(p, v); }

}  // namespace e3d

extern "C" E3D_API void FlatDotsTriangle(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    e3d::DotsFill<false, false, false>(polygon, vertices);
}

extern "C" E3D_API void GouraudDotsTriangle(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    e3d::DotsFill<true, false, false>(polygon, vertices);
}
