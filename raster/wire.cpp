// Line stepping and the wire fillers. The line writers (four operators, with
// and without depth, flat and Gouraud) come from one template body.
#include "raster/wire.h"

#include <cmath>
#include <cstddef>

#include "core/clip.h"
#include "core/modes.h"
#include "core/view.h"
#include "raster/line.h"
#include "raster/pixel.h"
#include "raster/raster.h"

namespace e3d {

LineOctant g_lineOctants[8];
uint64_t g_lineReciprocals[kLineReciprocalCount];

void BuildLineTables() {
    for (int o = 0; o < 8; ++o) {
        const int8_t sx = (o & 1) ? -1 : 1, sy = (o & 2) ? -1 : 1;
        const bool yMajor = (o & 4) != 0;
        g_lineOctants[o] = yMajor ? LineOctant{0, sy, sx, 0} : LineOctant{sx, 0, 0, sy};
    }
    g_lineReciprocals[0] = 0;
    for (uint64_t n = 1; n < uint64_t(kLineReciprocalCount); ++n)
        g_lineReciprocals[n] = ((uint64_t(1) << 36) + n - 1) / n;
}

namespace {

int64_t FloorDiv(int64_t n, int64_t d) {  // d > 0
    int64_t q = n / d;
    if (q * d > n) --q;
    return q;
}

int64_t CeilDiv(int64_t n, int64_t d) {  // d > 0
    int64_t q = n / d;
    if (q * d < n) ++q;
    return q;
}

// Smallest pixel at or above f, and largest at or below f, held to
// [-1, limit + 1] so that an empty range stays empty. Not a number: empty.
int32_t PixelAtOrAbove(float f, int32_t limit) {
    if (!(f > -1.0f)) return f == f ? 0 : limit + 1;
    if (!(f <= float(limit))) return limit + 1;
    return int32_t(std::ceil(f));
}

int32_t PixelAtOrBelow(float f, int32_t limit) {
    if (!(f < float(limit))) return f == f ? limit : -1;
    if (!(f >= 0.0f)) return -1;
    return int32_t(std::floor(f));
}

}  // namespace

bool LinePixelBounds(const RasterTarget &t, PixelBounds &out) {
    if (!t.frame || t.width <= 0 || t.height <= 0) return false;
    const ClipBounds &c = g_clipBounds;
    out.xMin = PixelAtOrAbove(c.xMin, t.width - 1);
    out.xMax = PixelAtOrBelow(c.xMaxInner, t.width - 1);
    out.yMin = PixelAtOrAbove(c.yMin, t.height - 1);
    out.yMax = PixelAtOrBelow(c.yMaxInner, t.height - 1);
    return out.xMin <= out.xMax && out.yMin <= out.yMax;
}

bool SetUpLine(LineSteps &s, int32_t x0, int32_t y0, int32_t x1, int32_t y1, const PixelBounds &bounds) {
    const int64_t dx = int64_t(x1) - x0, dy = int64_t(y1) - y0;
    const bool yMajor = (dy < 0 ? -dy : dy) > (dx < 0 ? -dx : dx);
    const int64_t majorDelta = yMajor ? dy : dx, minorDelta = yMajor ? dx : dy;
    const int64_t length = majorDelta < 0 ? -majorDelta : majorDelta;
    if (length == 0) return false;
    const int64_t m0 = yMajor ? y0 : x0, n0 = yMajor ? x0 : y0;
    const int64_t majorLo = yMajor ? bounds.yMin : bounds.xMin, majorHi = yMajor ? bounds.yMax : bounds.xMax;
    const int64_t minorLo = yMajor ? bounds.xMin : bounds.yMin, minorHi = yMajor ? bounds.xMax : bounds.yMax;

    // Steps i in [0, length) whose major coordinate is inside.
    int64_t first = 0, last = length - 1, lo, hi;
    if (majorDelta > 0) lo = majorLo - m0, hi = majorHi - m0;
    else lo = m0 - majorHi, hi = m0 - majorLo;
    if (lo > first) first = lo;
    if (hi < last) last = hi;

    // The minor coordinate of step i is n0 + ceil((2 i a - L) / 2L), a the
    // minor delta and L the length; it is monotonic in i, so the steps with
    // an inside minor coordinate form a range too.
    const int64_t below = length * (2 * (minorLo - n0) - 1);  // minor >= lo  <=>  2 i a > below
    const int64_t above = length * (2 * (minorHi - n0) + 1);  // minor <= hi  <=>  2 i a <= above
    if (minorDelta > 0) {
        lo = FloorDiv(below, 2 * minorDelta) + 1;
        hi = FloorDiv(above, 2 * minorDelta);
    } else if (minorDelta < 0) {
        lo = CeilDiv(-above, -2 * minorDelta);
        hi = CeilDiv(-below, -2 * minorDelta) - 1;
    } else {
        if (n0 < minorLo || n0 > minorHi) return false;
        lo = first, hi = last;
    }
    if (lo > first) first = lo;
    if (hi < last) last = hi;
    if (first > last) return false;

    const int64_t u = 2 * first * minorDelta + length - 1;
    const int64_t carried = FloorDiv(u, 2 * length), rest = u - carried * 2 * length;
    const int64_t major = m0 + (majorDelta > 0 ? first : -first), minor = n0 + carried;
    s.x = int32_t(yMajor ? minor : major);
    s.y = int32_t(yMajor ? major : minor);
    s.first = int32_t(first);
    s.count = int32_t(last - first + 1);
    s.length = int32_t(length);
    s.error = int32_t(minorDelta >= 0 ? rest - 2 * length : -rest - 1);
    s.increment = int32_t(2 * (minorDelta < 0 ? -minorDelta : minorDelta));
    s.wrap = int32_t(2 * length);
    s.octant = uint8_t((dx < 0 ? 1 : 0) | (dy < 0 ? 2 : 0) | (yMajor ? 4 : 0));
    return true;
}

bool LineEndsToPixels(LineEnd &a, LineEnd &b, int32_t (&pixel)[4]) {
    const float limit = kLineLimit;
    if (!std::isfinite(a.x) || !std::isfinite(a.y) || !std::isfinite(b.x) || !std::isfinite(b.y)) return false;
    if (!(std::fabs(a.x) <= limit && std::fabs(a.y) <= limit && std::fabs(b.x) <= limit &&
          std::fabs(b.y) <= limit)) {
        // Cut the segment to the square in double precision (Liang-Barsky).
        // A cut end is placed on the boundary it crosses and its other
        // coordinate follows the slope, which keeps the course of lines
        // whose ends are far beyond float precision of t.
        const double x0 = a.x, y0 = a.y, dx = double(b.x) - x0, dy = double(b.y) - y0;
        double t0 = 0.0, t1 = 1.0;
        int enter = -1, exit = -1;
        const double p[4] = {-dx, dx, -dy, dy};
        const double q[4] = {x0 + limit, limit - x0, y0 + limit, limit - y0};
        for (int k = 0; k < 4; ++k) {
            if (p[k] == 0.0) {
                if (q[k] < 0.0) return false;
                continue;
            }
            const double r = q[k] / p[k];
            if (p[k] < 0.0) {
                if (r > t0) t0 = r, enter = k;
            } else if (r < t1) {
                t1 = r, exit = k;
            }
        }
        if (!(t0 <= t1)) return false;
        auto at = [&](double t, int boundary, const LineEnd &own) {
            if (boundary < 0) return own;
            LineEnd e;
            const double side = (boundary & 1) ? limit : -double(limit);
            double x, y;
            if (boundary < 2) x = side, y = y0 + (side - x0) * (dy / dx);
            else y = side, x = x0 + (side - y0) * (dx / dy);
            // Rounding must not step back outside the square.
            e.x = float(x > limit ? limit : (x < -limit ? -limit : x));
            e.y = float(y > limit ? limit : (y < -limit ? -limit : y));
            const float k = float(t);
            e.w = a.w + k * (b.w - a.w);
            e.r = a.r + k * (b.r - a.r);
            e.g = a.g + k * (b.g - a.g);
            e.b = a.b + k * (b.b - a.b);
            return e;
        };
        const LineEnd from = at(t0, enter, a), to = at(t1, exit, b);
        a = from;
        b = to;
    }
    // Guard: every end must now lie within the square; one that does not
    // (whatever the arithmetic above made of it) draws nothing rather than
    // reach the stepping's integers.
    const float ends[4] = {a.x, a.y, b.x, b.y};
    for (int k = 0; k < 4; ++k) {
        if (!(std::fabs(ends[k]) <= limit)) return false;
        pixel[k] = int32_t(std::lrint(ends[k]));
    }
    return true;
}

namespace {

// Per-line values the writers read.
struct LineState {
    uint32_t pixel;        // flat source pixel
    uint32_t weighted[3];  // L x channel (flat opacity)
    uint32_t level;        // L (Gouraud opacity)
    uint32_t destWeight;   // 255 - L
    int32_t channel[3];    // Gouraud r, g, b in 8.16
    int32_t channelStep[3];
    uint32_t z, dz;        // depth value and its step
};

LineState g_line;

inline int32_t DepthValue(float w) {
    const float v = w * kDepthScale;
    if (!(v > -2147483648.0f)) return v == v ? INT32_MIN : 0;
    if (v >= 2147483648.0f) return INT32_MAX;
    return int32_t(std::lrint(v));
}

template <int Op, bool Depth, bool Gouraud>
void LineWriter(const LineSteps &s, const RasterTarget &t) {
    const LineOctant o = g_lineOctants[s.octant];
    const ptrdiff_t pitch = t.pitch;
    const ptrdiff_t majorStride = o.majorX + o.majorY * pitch, minorStride = o.minorX + o.minorY * pitch;
    ptrdiff_t at = ptrdiff_t(s.y) * pitch + s.x;
    uint16_t *const frame = t.frame;
    int32_t *const depth = t.depth;
    int32_t error = s.error;
    const int32_t increment = s.increment, wrap = s.wrap;
    uint32_t z = g_line.z;
    const uint32_t dz = g_line.dz;
    int32_t r = g_line.channel[0], g = g_line.channel[1], b = g_line.channel[2];
    const int32_t dr = g_line.channelStep[0], dg = g_line.channelStep[1], db = g_line.channelStep[2];
    for (int32_t n = s.count; n > 0; --n) {
        bool pass = true;
        if constexpr (Depth) pass = int32_t(z) > depth[at];
        if (pass) {
            uint32_t src;
            if constexpr (Gouraud) src = uint32_t(r >> 19) << 10 | uint32_t(g >> 19) << 5 | uint32_t(b >> 19);
            else src = g_line.pixel;
            if constexpr (Op == kReplace) {
                frame[at] = uint16_t(src);
                if constexpr (Depth) depth[at] = int32_t(z);
            } else if constexpr (Op == kAdditive) {
                frame[at] = AddPixels(src, frame[at]);
            } else if constexpr (Op == kOpacity) {
                if constexpr (Gouraud) {
                    const uint32_t l = g_line.level;
                    frame[at] = MixPixels(l * uint32_t(r >> 19), l * uint32_t(g >> 19), l * uint32_t(b >> 19),
                                          g_line.destWeight, frame[at]);
                } else {
                    frame[at] = MixPixels(g_line.weighted[0], g_line.weighted[1], g_line.weighted[2],
                                          g_line.destWeight, frame[at]);
                }
            } else if constexpr (Depth) {
                frame[at] = SubtractPixelsDepth(src, frame[at]);
            } else {
                frame[at] = SubtractPixelsSorted(src, frame[at]);
            }
        }
        if constexpr (Depth) z += dz;
        if constexpr (Gouraud) r += dr, g += dg, b += db;
        at += majorStride;
        error += increment;
        if (error >= 0) {
            error -= wrap;
            at += minorStride;
        }
    }
}

using LineWriterRoutine = void (*)(const LineSteps &, const RasterTarget &);

template <bool Depth, bool Gouraud>
constexpr LineWriterRoutine kGroup[4] = {LineWriter<kReplace, Depth, Gouraud>, LineWriter<kAdditive, Depth, Gouraud>,
                                         LineWriter<kOpacity, Depth, Gouraud>,
                                         LineWriter<kSubtractive, Depth, Gouraud>};

// [Gouraud][depth]: the four operators in blend-type order.
constexpr const LineWriterRoutine *kLineWriters[2][2] = {{kGroup<false, false>, kGroup<true, false>},
                                                         {kGroup<false, true>, kGroup<true, true>}};

inline int32_t Channel(float c) {
    if (!(c >= 0.0f)) return 0;  // also not a number
    return c >= 255.0f ? 255 : int32_t(c);
}

// Steps the line from a to b (b's pixel not drawn) through the writer.
template <bool Depth, bool Gouraud>
void StepLine(LineEnd a, LineEnd b, const PixelBounds &bounds, const RasterTarget &t, LineWriterRoutine writer) {
    int32_t pixel[4];
    if (!LineEndsToPixels(a, b, pixel)) return;
    LineSteps s;
    if (!SetUpLine(s, pixel[0], pixel[1], pixel[2], pixel[3], bounds)) return;
    if constexpr (Gouraud) {
        const int32_t from[3] = {Channel(a.r), Channel(a.g), Channel(a.b)};
        const int32_t to[3] = {Channel(b.r), Channel(b.g), Channel(b.b)};
        for (int k = 0; k < 3; ++k) {
            const int32_t step = LineColourStep(to[k] - from[k], s.length);
            g_line.channelStep[k] = step;
            g_line.channel[k] = (from[k] << 16) + s.first * step;
        }
    }
    if constexpr (Depth) {
        const uint32_t dz = uint32_t(DepthValue((b.w - a.w) / float(s.length)));
        g_line.dz = dz;
        g_line.z = uint32_t(DepthValue(a.w)) + uint32_t(s.first) * dz;
    }
    writer(s, t);
}

// Picks the operator of the drawn side's material when the polygon blends
// (flag 0x40), else replace. -1: draw nothing (opacity level 0).
int ChooseOperator(const E3DPolygon *p, uint32_t colour, bool gouraud) {
    g_line.pixel = ColorToPixel(colour);
    if (!(p->flags & kPolygonSeeThrough)) return kReplace;
    const E3DMaterial *m = (p->flags & 0x80u) ? p->backMaterial : p->material;
    if (!m) return kReplace;  // Guard: a hand-made polygon without a material
    int op = int(m->alphaMode & 3u);
    if (op == kOpacity) {
        const uint32_t level = m->alphaLevel;
        if (level == 0) return -1;
        if (level >= 255) return kReplace;
        g_line.level = level;
        g_line.destWeight = 255 - level;
        if (!gouraud) {
            g_line.weighted[0] = level * Red5(colour);
            g_line.weighted[1] = level * Green5(colour);
            g_line.weighted[2] = level * Blue5(colour);
        }
    }
    return op;
}

inline LineEnd EndOf(const E3DVertex &v, uint32_t colour) {
    return LineEnd{v.screenX, v.screenY, v.invDepth, float((colour >> 16) & 255u), float((colour >> 8) & 255u),
                   float(colour & 255u)};
}

template <bool Gouraud, bool Depth, bool Cut>
void WireFill(E3DPolygon *p, E3DVertex *vertices) {
    if (!(p->flags & 0xE00u)) return;
    const RasterTarget t = CurrentRasterTarget(Depth);
    PixelBounds bounds;
    if (!LinePixelBounds(t, bounds)) return;
    const int op = ChooseOperator(p, p->color, Gouraud);
    if (op < 0) return;
    const LineWriterRoutine writer = kLineWriters[Gouraud][Depth][op];
    const uint32_t colours[3] = {p->color, Gouraud ? p->color1 : p->color, Gouraud ? p->color2 : p->color};
    for (int i = 0; i < 3; ++i) {
        if (!(p->flags & (0x200u << i))) continue;
        const int j = i == 2 ? 0 : i + 1;
        const E3DVertex &va = vertices[p->vertex[i]], &vb = vertices[p->vertex[j]];
        LineEnd a = EndOf(va, colours[i]), b = EndOf(vb, colours[j]);
        if constexpr (Cut) {
            if ((va.clipCode | vb.clipCode) & (kOutNear | kOutFar)) {
                EdgePoint from, to;
                if (!CutEdgeToDepthRange(va, vb, from, to)) continue;
                const LineEnd ea = a, eb = b;
                auto place = [&](LineEnd &e, const EdgePoint &q) {
                    e.x = q.x, e.y = q.y, e.w = q.w;
                    e.r = ea.r + q.t * (eb.r - ea.r);
                    e.g = ea.g + q.t * (eb.g - ea.g);
                    e.b = ea.b + q.t * (eb.b - ea.b);
                };
                place(a, from);
                place(b, to);
            }
        }
        StepLine<Depth, Gouraud>(a, b, bounds, t, writer);
    }
}

}  // namespace

void ClipAndDrawFlatWireTriangle(E3DPolygon *p, E3DVertex *v) { WireFill<false, false, true>(p, v); }
void ClipAndDrawFlatWireTriangleZ(E3DPolygon *p, E3DVertex *v) { WireFill<false, true, true>(p, v); }
void ClipAndDrawGouraudWireTriangle(E3DPolygon *p, E3DVertex *v) { WireFill<true, false, true>(p, v); }
void ClipAndDrawGouraudWireTriangleZ(E3DPolygon *p, E3DVertex *v) { WireFill<true, true, true>(p, v); }

void DrawFlatLine(float x0, float y0, float x1, float y1, uint32_t colour) {
    const RasterTarget t = CurrentRasterTarget(false);
    PixelBounds bounds;
    if (!LinePixelBounds(t, bounds)) return;
    g_line.pixel = ColorToPixel(colour);
    const LineEnd a{x0, y0, 0.0f, 0.0f, 0.0f, 0.0f}, b{x1, y1, 0.0f, 0.0f, 0.0f, 0.0f};
    StepLine<false, false>(a, b, bounds, t, kLineWriters[0][0][kReplace]);
}

}  // namespace e3d

extern "C" E3D_API void FlatWireTriangle(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    e3d::WireFill<false, false, false>(polygon, vertices);
}

extern "C" E3D_API void GouraudWireTriangle(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    e3d::WireFill<true, false, false>(polygon, vertices);
}
