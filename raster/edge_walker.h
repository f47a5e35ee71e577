// Triangle set-up shared by the solid fillers: 28.4 corners, the corner sort
// with its tie rules, the middle-side rule, integer edge stepping and the
// plane gradients of the float interpolants (depth, colour channels).
#pragma once

#include <cmath>
#include <cstdint>

#include "engine3d.h"

namespace e3d {

// A screen coordinate with 4 fraction bits.
using Fixed28_4 = int32_t;
// A colour channel or step with 16 fraction bits.
using Fixed16_16 = int32_t;

// Floor division with a remainder in [0, denominator), denominator > 0.
inline void FloorDivMod64(int64_t numerator, int64_t denominator, int64_t &quotient, int64_t &remainder) {
    quotient = numerator / denominator;
    remainder = numerator % denominator;
    if (remainder < 0) {
        quotient -= 1;
        remainder += denominator;
    }
}

inline bool FitsInt32(int64_t v) { return v >= INT32_MIN && v <= INT32_MAX; }

// FloorDivMod64 for operands that fit 32 bits; the same results, with a
// division a fraction of the cost (and no library call on 32-bit hosts).
inline void FloorDivMod32(int32_t numerator, int32_t denominator, int64_t &quotient, int64_t &remainder) {
    int32_t q = numerator / denominator;
    int32_t r = numerator % denominator;
    if (r < 0) {
        q -= 1;
        r += denominator;
    }
    quotient = q;
    remainder = r;
}

// Corners further out than this many pixels are pulled in before the
// fixed-point set-up, so that no input can overflow its integer arithmetic.
// Real corners are inside the viewport; only direct calls with wild
// coordinates are affected.
constexpr float kCornerLimit = 32768.0f;

inline Fixed28_4 ToFixed28_4(float screen) {
    float v = screen * 16.0f;
    if (!(v >= -kCornerLimit * 16.0f)) v = -kCornerLimit * 16.0f;  // also NaN
    if (v > kCornerLimit * 16.0f) v = kCornerLimit * 16.0f;
    return Fixed28_4(std::lrint(v));
}

// Rounds to the nearest 32-bit integer (ties to even) as the processor's
// 32-bit conversion does: a value outside the 32-bit range, or NaN, gives
// INT32_MIN. Every build converts depths and steps this one way.
inline int32_t RoundToInt32(float v) {
    if (!(v >= -2147483648.0f && v < 2147483648.0f)) return INT32_MIN;
    return int32_t(std::lrint(v));
}

// N float attributes ride along each edge: value at the edge's current
// pixel, change per scanline, and extra change when the error term carries.
template <int N>
struct EdgeWalker {
    int32_t x;
    int32_t xStep;
    int32_t numerator;
    int32_t denominator;
    int32_t errorTerm;
    int32_t y;
    int32_t height;
    float value[N > 0 ? N : 1];
    float step[N > 0 ? N : 1];
    float stepExtra[N > 0 ? N : 1];

    void Advance() {
        x += xStep;
        y += 1;
        height -= 1;
        errorTerm += numerator;
        const bool carry = errorTerm >= denominator;
        if (carry) {
            x += 1;
            errorTerm -= denominator;
        }
        for (int i = 0; i < N; ++i) {
            value[i] += step[i];
            if (carry) value[i] += stepExtra[i];
        }
    }
    // The same for an edge whose values nobody reads (a right edge): the
    // position only.
    void AdvancePosition() {
        x += xStep;
        y += 1;
        height -= 1;
        errorTerm += numerator;
        if (errorTerm >= denominator) {
            x += 1;
            errorTerm -= denominator;
        }
    }
};

template <int N>
struct SetUpCorner {
    Fixed28_4 x, y;
    float attr[N > 0 ? N : 1];
};

template <int N>
struct TriangleSetUp {
    EdgeWalker<N> longEdge, topEdge, bottomEdge;
    bool middleOnRight;
    float ddx[N > 0 ? N : 1];  // per-pixel gradients
    float ddy[N > 0 ? N : 1];
};

// Sets an edge from upper corner t to lower corner b; false when it covers
// no scanline.
template <int N>
inline bool SetUpEdge(EdgeWalker<N> &e, const SetUpCorner<N> &t, const SetUpCorner<N> &b,
                      const float *ddx, const float *ddy) {
    // First scanline at or below each corner: floor division by 16 as an
    // arithmetic shift.
    const int64_t yStart = (int64_t(t.y) + 15) >> 4, yEnd = (int64_t(b.y) + 15) >> 4;
    e.y = int32_t(yStart);
    e.height = int32_t(yEnd - yStart);
    if (e.height <= 0) {
        e.height = 0;
        return false;
    }
    const int64_t dY = int64_t(b.y) - t.y;
    const int64_t dX = int64_t(b.x) - t.x;
    const int64_t n = (16 * yStart - t.y) * dX + (int64_t(t.x) + 16) * dY - 1;
    int64_t x, error;
    int64_t step, numerator;
    if (FitsInt32(n) && FitsInt32(16 * dX) && FitsInt32(16 * dY)) {
        // Small edges (all real ones within a screen) divide in 32 bits.
        FloorDivMod32(int32_t(n), int32_t(16 * dY), x, error);
        FloorDivMod32(int32_t(16 * dX), int32_t(16 * dY), step, numerator);
    } else {
        FloorDivMod64(n, 16 * dY, x, error);
        FloorDivMod64(16 * dX, 16 * dY, step, numerator);
    }
    e.x = int32_t(x);
    e.errorTerm = int32_t(error);
    e.xStep = int32_t(step);
    e.numerator = int32_t(numerator);
    e.denominator = int32_t(16 * dY);
    for (int i = 0; i < N; ++i) {
        e.value[i] = t.attr[i] + float(16 * yStart - t.y) * (1.0f / 16.0f) * ddy[i] +
                     float(16 * x - t.x) * (1.0f / 16.0f) * ddx[i];
        e.step[i] = float(e.xStep) * ddx[i] + ddy[i];
        e.stepExtra[i] = ddx[i];
    }
    return true;
}

// Sorts the corners A, B, C (top first) with the exact tie rules, finds the
// side of the middle corner and sets up the three edges and the gradients.
// Returns false when the triangle covers no scanline at all.
template <int N>
inline bool SetUpTriangle(TriangleSetUp<N> &s, const SetUpCorner<N> &a, const SetUpCorner<N> &b,
                          const SetUpCorner<N> &c) {
    if (a.y == b.y && b.y == c.y) return false;
    const SetUpCorner<N> *top, *mid, *bot;
    bool rotation;  // the sorted order is a rotation of A, B, C
    if (a.y < b.y) {
        if (c.y < a.y) top = &c, mid = &a, bot = &b, rotation = true;
        else if (b.y < c.y) top = &a, mid = &b, bot = &c, rotation = true;
        else top = &a, mid = &c, bot = &b, rotation = false;
    } else {
        if (c.y < b.y) top = &c, mid = &b, bot = &a, rotation = false;
        else if (a.y < c.y) top = &b, mid = &a, bot = &c, rotation = false;
        else top = &b, mid = &c, bot = &a, rotation = true;
    }
    s.middleOnRight = rotation;
    if constexpr (N > 0) {
        const float d = (float(b.x - c.x) * float(a.y - c.y) * (1.0f / 256.0f)) -
                        (float(a.x - c.x) * float(b.y - c.y) * (1.0f / 256.0f));
        // A collinear triangle has no plane for its interpolants: draw nothing.
        if (d == 0.0f) return false;
        const float oneOverDx = 1.0f / d;
        const float oneOverDy = -oneOverDx;
        for (int i = 0; i < N; ++i) {
            const float d1 = b.attr[i] - c.attr[i];
            const float d0 = a.attr[i] - c.attr[i];
            s.ddx[i] = (d1 * float(a.y - c.y) * (1.0f / 16.0f) - d0 * float(b.y - c.y) * (1.0f / 16.0f)) * oneOverDx;
            s.ddy[i] = (d1 * float(a.x - c.x) * (1.0f / 16.0f) - d0 * float(b.x - c.x) * (1.0f / 16.0f)) * oneOverDy;
        }
    }
    SetUpEdge(s.longEdge, *top, *bot, s.ddx, s.ddy);
    SetUpEdge(s.topEdge, *top, *mid, s.ddx, s.ddy);
    SetUpEdge(s.bottomEdge, *mid, *bot, s.ddx, s.ddy);
    return true;
}

}  // namespace e3d

namespace e3d {

// Where a filler draws: taken from the current viewport at the start of
// every triangle. width and height bound every write.
struct RasterTarget {
    uint16_t *frame;
    int32_t *depth;
    int32_t pitch;   // pixels per row, for both buffers
    int32_t width;
    int32_t height;
};

// Walks the scanlines of a set-up triangle and hands each span to `span` as
// (frame row, depth row, y, xLeft, xRight, xFrom, xTo, left edge values):
// [xLeft, xRight) is the span as the edges give it, [xFrom, xTo) the part
// inside the target. Rows and columns outside the target are never handed
// over, so a filler called with corners off the buffer stays inside it.
// The scanlines between one short edge and the long edge; false once they
// pass the bottom of the target. Both edges are stepped in locals, so that
// they stay in registers instead of going through memory on every scanline.
template <bool LongOnLeft, int N, class Span>
inline bool ScanPart(EdgeWalker<N> &longEdge, const EdgeWalker<N> &shortEdge, const RasterTarget &t, Span &span) {
    EdgeWalker<N> a = longEdge, b = shortEdge;
    EdgeWalker<N> &left = LongOnLeft ? a : b;
    EdgeWalker<N> &right = LongOnLeft ? b : a;
    for (int32_t h = b.height; h > 0; --h) {
        const int32_t y = left.y;
        if (y >= t.height) return false;
        if (y >= 0) {
            const int32_t xl = left.x, xr = right.x;
            const int32_t from = xl > 0 ? xl : 0;
            const int32_t to = xr < t.width ? xr : t.width;
            if (from < to) {
                const size_t row = size_t(y) * size_t(t.pitch);
                span(t.frame + row, t.depth ? t.depth + row : nullptr, y, xl, xr, from, to, left.value);
            }
        }
        left.Advance();
        right.AdvancePosition();  // spans take the left edge's values only
    }
    longEdge = a;
    return true;
}

template <int N, class Span>
inline void ScanTriangle(TriangleSetUp<N> &s, const RasterTarget &t, Span &&span) {
    EdgeWalker<N> longEdge = s.longEdge;
    if (s.middleOnRight) {
        if (ScanPart<true>(longEdge, s.topEdge, t, span)) ScanPart<true>(longEdge, s.bottomEdge, t, span);
    } else {
        if (ScanPart<false>(longEdge, s.topEdge, t, span)) ScanPart<false>(longEdge, s.bottomEdge, t, span);
    }
}

// 2^30 scale of the depth buffer's reciprocal depth.
constexpr float kDepthScale = 1073741824.0f;

}  // namespace e3d
