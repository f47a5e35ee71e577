// Polygon clipping against the near and far planes (view space) and the
// scissor edges (screen space), one edge routine per attribute set.
#pragma once

#include <bit>
#include <cstdint>

#include "engine3d.h"

namespace e3d {

// Out-code bits of a projected vertex.
enum : uint32_t {
    kOutNear = 0x10,
    kOutFar = 0x20,
    kOutLeft = 0x40,
    kOutRight = 0x80,
    kOutAbove = 0x100,
    kOutBelow = 0x200,
    kOutScreenX = kOutLeft | kOutRight,
    kOutScreenY = kOutAbove | kOutBelow,
};

// A float difference counts as negative when its sign bit is set and it is
// not -0.0: a point exactly on a bound is inside.
inline bool IsNegative(float difference) {
    const uint32_t bits = std::bit_cast<uint32_t>(difference);
    return (bits & 0x80000000u) != 0 && bits != 0x80000000u;
}

struct ClipVertex {
    uint32_t outCode;
    float viewX, viewY, viewZ;
    float screenX, screenY;
    float invDepth;
    float u, v;     // texel coordinates times invDepth (raw u, v before the near/far stage)
    float r, g, b;  // corner colour channels 0..255 (Gouraud)
};

// The attribute sets: which of u, v and r, g, b travel with a corner.
enum AttributeSet : int { kAttrPlain = 0, kAttrTextured = 1, kAttrGouraud = 2, kAttrTexturedGouraud = 3 };

constexpr int AttributeSetOf(uint32_t mode) {
    return ((mode & 0x7800000u) ? kAttrTextured : 0) | ((mode & 7u) == 7u ? kAttrGouraud : 0);
}

// Screen bounds of the frame (the scissor) and the projection constants that
// corners made on the near or far plane need.
struct ClipFrame {
    float xMin, xMax, yMin, yMax;
    float centerX, centerY, yScale, focal;
    float nearZ, farZ;
};

// Bounds and projection constants of the frame being drawn.
extern ClipFrame g_clipFrame;

// One end of an edge cut to the depth range: screen position, reciprocal
// depth and the end's parameter t along the edge (0 at a, 1 at b).
struct EdgePoint {
    float x, y, w, t;
};

// The part of the edge a -> b between the near and far planes of the frame,
// for the wire fillers, which clip for themselves: an end beyond a plane
// (by its out-code) moves onto it and is projected there. False when the
// edge lies wholly beyond one plane.
bool CutEdgeToDepthRange(const E3DVertex &a, const E3DVertex &b, EdgePoint &from, EdgePoint &to);

// A clipped polygon never has more than 9 corners (a triangle cut by two planes
// and four lines); the arrays leave room for degenerate input, and emission
// stops at their end so that no input can write past them.
constexpr int kClipCapacity = 32;

struct ClipPolygon {
    int count;
    ClipVertex corners[kClipCapacity];
};

inline uint32_t ScreenCodeX(float x, const ClipFrame &f) {
    if (IsNegative(x - f.xMin)) return kOutLeft;
    if (x - f.xMax > 0.0f) return kOutRight;
    return 0;
}

inline uint32_t ScreenCodeY(float y, const ClipFrame &f) {
    if (IsNegative(y - f.yMin)) return kOutAbove;
    if (y - f.yMax > 0.0f) return kOutBelow;
    return 0;
}

template <int Set>
inline void LerpAttributes(ClipVertex &out, const ClipVertex &a, const ClipVertex &b, float t) {
    if constexpr ((Set & kAttrTextured) != 0) {
        out.u = a.u + t * (b.u - a.u);
        out.v = a.v + t * (b.v - a.v);
    }
    if constexpr ((Set & kAttrGouraud) != 0) {
        out.r = a.r + t * (b.r - a.r);
        out.g = a.g + t * (b.g - a.g);
        out.b = a.b + t * (b.b - a.b);
    }
}

enum class ClipEdge { Vertical, Horizontal, Depth };

// Where the edge a -> b meets the boundary. `outside` is the corner that
// carries the plane's bit; the new corner starts from its code less that bit.
template <int Set, ClipEdge Edge>
inline ClipVertex Intersect(const ClipVertex &a, const ClipVertex &b, const ClipVertex &outside,
                            float boundary, uint32_t bit, const ClipFrame &f) {
    ClipVertex n;
    float t;
    if constexpr (Edge == ClipEdge::Vertical) {
        t = (boundary - a.screenX) / (b.screenX - a.screenX);
        n.screenX = boundary;
        n.screenY = a.screenY + t * (b.screenY - a.screenY);
        n.invDepth = a.invDepth + t * (b.invDepth - a.invDepth);
        n.outCode = ((outside.outCode & ~bit) & ~kOutScreenY) | ScreenCodeY(n.screenY, f);
    } else if constexpr (Edge == ClipEdge::Horizontal) {
        t = (boundary - a.screenY) / (b.screenY - a.screenY);
        n.screenY = boundary;
        n.screenX = a.screenX + t * (b.screenX - a.screenX);
        n.invDepth = a.invDepth + t * (b.invDepth - a.invDepth);
        n.outCode = ((outside.outCode & ~bit) & ~kOutScreenX) | ScreenCodeX(n.screenX, f);
    } else {
        // boundary is the plane's depth; the corner is projected onto it.
        t = (boundary - a.viewZ) / (b.viewZ - a.viewZ);
        n.viewX = a.viewX + t * (b.viewX - a.viewX);
        n.viewY = a.viewY + t * (b.viewY - a.viewY);
        n.viewZ = boundary;
        n.invDepth = 1.0f / boundary;
        const float factor = n.invDepth * f.focal;
        const float factorY = factor * f.yScale;
        n.screenX = n.viewX * factor + f.centerX;
        n.screenY = n.viewY * factorY + f.centerY;
        n.outCode = ((outside.outCode & ~bit) & (kOutNear | kOutFar)) | ScreenCodeX(n.screenX, f) |
                    ScreenCodeY(n.screenY, f);
    }
    if constexpr (Edge != ClipEdge::Depth) {
        n.viewX = n.viewY = n.viewZ = 0.0f;
    }
    LerpAttributes<Set>(n, a, b, t);
    return n;
}

// Clips every edge of `in` (0->1, 1->2, ..., last->0) against one boundary.
template <int Set, ClipEdge Edge>
void ClipAgainst(const ClipPolygon &in, ClipPolygon &out, float boundary, uint32_t bit,
                 const ClipFrame &f) {
    out.count = 0;
    auto emit = [&out](const ClipVertex &v) {
        if (out.count < kClipCapacity) out.corners[out.count++] = v;
    };
    for (int i = 0; i < in.count; ++i) {
        const ClipVertex &a = in.corners[i];
        const ClipVertex &b = in.corners[i + 1 < in.count ? i + 1 : 0];
        const bool aOut = (a.outCode & bit) != 0;
        const bool bOut = (b.outCode & bit) != 0;
        if (aOut) {
            if (!bOut) emit(Intersect<Set, Edge>(a, b, a, boundary, bit, f));
        } else {
            emit(a);
            if (bOut) {
                const ClipVertex n = Intersect<Set, Edge>(a, b, b, boundary, bit, f);
                // A corner that lands on a itself is dropped.
                if (!(n.screenX == a.screenX && n.screenY == a.screenY)) emit(n);
            }
        }
    }
}

// Clips against the scissor edges in the order left, right, top, bottom; a
// stage runs only when some corner is outside its edge. The result is in
// `work` or `spare`; the returned pointer names it.
template <int Set>
ClipPolygon *ClipToScreen(ClipPolygon &work, ClipPolygon &spare, const ClipFrame &f) {
    ClipPolygon *src = &work;
    ClipPolygon *dst = &spare;
    auto stage = [&](auto edgeTag, float boundary, uint32_t bit) {
        uint32_t any = 0;
        for (int i = 0; i < src->count; ++i) any |= src->corners[i].outCode;
        if ((any & bit) == 0) return;
        ClipAgainst<Set, decltype(edgeTag)::value>(*src, *dst, boundary, bit, f);
        ClipPolygon *t = src;
        src = dst;
        dst = t;
    };
    using V = std::integral_constant<ClipEdge, ClipEdge::Vertical>;
    using H = std::integral_constant<ClipEdge, ClipEdge::Horizontal>;
    stage(V{}, f.xMin, kOutLeft);
    stage(V{}, f.xMax, kOutRight);
    stage(H{}, f.yMin, kOutAbove);
    stage(H{}, f.yMax, kOutBelow);
    return src;
}

}  // namespace e3d
