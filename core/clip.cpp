// The frame's clip constants, and edges cut to the depth range for the
// fillers that clip for themselves.
#include "core/clip.h"

namespace e3d {

ClipFrame g_clipFrame;

bool CutEdgeToDepthRange(const E3DVertex &a, const E3DVertex &b, EdgePoint &from, EdgePoint &to) {
    const uint32_t codeA = a.clipCode & (kOutNear | kOutFar), codeB = b.clipCode & (kOutNear | kOutFar);
    if (codeA & codeB) return false;
    const ClipFrame &f = g_clipFrame;
    const float dz = b.depth - a.depth;
    auto place = [&](EdgePoint &e, const E3DVertex &own, uint32_t code, float t) {
        if (!code) {
            e = EdgePoint{own.screenX, own.screenY, own.invDepth, t};
            return;
        }
        const float plane = (code & kOutNear) ? f.nearZ : f.farZ;
        e.t = (plane - a.depth) / dz;
        const float x = a.viewX + e.t * (b.viewX - a.viewX);
        const float y = a.viewY + e.t * (b.viewY - a.viewY);
        e.w = 1.0f / plane;
        const float factor = e.w * f.focal;
        e.x = x * factor + f.centerX;
        e.y = y * factor * f.yScale + f.centerY;
    };
    place(from, a, codeA, 0.0f);
    place(to, b, codeB, 1.0f);
    // Also catches a cut that is not a number (an edge along a plane).
    return from.t >= 0.0f && from.t <= to.t && to.t <= 1.0f;
}

}  // namespace e3d
