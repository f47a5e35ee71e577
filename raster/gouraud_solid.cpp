// Gouraud solid fillers. The span writers of both passes come from one
// template body; the depth pass anchors the dither at the screen column, the
// sorted pass at each span's right end.
#include "raster/gouraud_solid.h"
#include "core/modes.h"
#include "raster/dither_sse2.h"
#include "raster/pixel.h"
#include "raster/simd.h"

#include <cmath>

namespace e3d {

GouraudState g_state;

namespace {

inline uint32_t Channel(Fixed16_16 value) {
    // Guard: values that overshoot the corner range at pixel edges are held
    // to 0..255 instead of indexing past the dither tables.
    const int32_t v = value >> 16;
    return v < 0 ? 0u : (v > 255 ? 255u : uint32_t(v));
}

template <int Op>
inline uint32_t Blend8(uint32_t v, uint32_t d5) {
    if constexpr (Op == kReplace) {
        return v;
    } else if constexpr (Op == kAdditive) {
        const uint32_t s = v + d5 * 8;
        return s > 255 ? 255 : s;
    } else if constexpr (Op == kSubtractive) {
        return v > d5 * 8 ? v - d5 * 8 : 0;
    } else {
        const int32_t s = int32_t((v >> 3) << 10);
        const int32_t d = int32_t(d5 << 10);
        return uint32_t((s + (((d - s) * g_state.weight) >> 8)) >> 7);
    }
}

inline int32_t ToFixed(float value, float scale) { return RoundToInt32(value * scale); }

template <int Op, bool Depth>
inline void GouraudPixels(uint16_t *frame, int32_t *depth, int32_t y, int32_t xRight, int32_t from, int32_t to,
                          uint32_t r, uint32_t g, uint32_t b, [[maybe_unused]] uint32_t z, uint32_t dr, uint32_t dg,
                          uint32_t db, [[maybe_unused]] uint32_t dz);

// One template body for all eight writers. Every interpolant steps on every
// pixel, whether or not the pixel passes the depth test.
template <int Op, bool Depth>
void GouraudSpan(uint16_t *frame, int32_t *depth, int32_t y, int32_t xLeft, int32_t xRight, int32_t from,
                 int32_t to, const float *left) {
    constexpr int c0 = Depth ? 1 : 0;  // first colour interpolant
    const uint32_t skip = uint32_t(from - xLeft);
    uint32_t r = uint32_t(ToFixed(left[c0], 65536.0f) + g_state.bias[0]);
    uint32_t g = uint32_t(ToFixed(left[c0 + 1], 65536.0f) + g_state.bias[1]);
    uint32_t b = uint32_t(ToFixed(left[c0 + 2], 65536.0f) + g_state.bias[2]);
    const uint32_t dr = uint32_t(ToFixed(g_state.ddx[1], 65536.0f));
    const uint32_t dg = uint32_t(ToFixed(g_state.ddx[2], 65536.0f));
    const uint32_t db = uint32_t(ToFixed(g_state.ddx[3], 65536.0f));
    r += skip * dr;
    g += skip * dg;
    b += skip * db;
    uint32_t z = 0, dz = 0;
    if constexpr (Depth) {
        z = uint32_t(ToFixed(left[0], kDepthScale));
        dz = uint32_t(ToFixed(g_state.ddx[0], kDepthScale));
        z += skip * dz;
    }
    GouraudPixels<Op, Depth>(frame, depth, y, xRight, from, to, r, g, b, z, dr, dg, db, dz);
}

// The per-pixel loop of GouraudSpan, from interpolants already at `from`.
template <int Op, bool Depth>
inline void GouraudPixels(uint16_t *frame, int32_t *depth, int32_t y, int32_t xRight, int32_t from, int32_t to,
                          uint32_t r, uint32_t g, uint32_t b, [[maybe_unused]] uint32_t z, uint32_t dr, uint32_t dg,
                          uint32_t db, [[maybe_unused]] uint32_t dz) {
    const uint32_t row = uint32_t(y & 3);
    for (int32_t x = from; x < to; ++x) {
        bool pass = true;
        if constexpr (Depth) pass = int32_t(z) > depth[x];
        if (pass) {
            const uint32_t d = frame[x];
            const uint32_t column = Depth ? uint32_t(x & 3) : uint32_t((x - xRight) & 3);
            const uint32_t vr = Blend8<Op>(Channel(int32_t(r)), (d >> 10) & 31);
            const uint32_t vg = Blend8<Op>(Channel(int32_t(g)), (d >> 5) & 31);
            // The subtractive writer takes blue's frame value from the green field.
            const uint32_t vb = Blend8<Op>(Channel(int32_t(b)), Op == kSubtractive ? (d >> 5) & 31 : d & 31);
            frame[x] = uint16_t(Dither5(vr, row, column) << 10 | Dither5(vg, row, column) << 5 |
                                Dither5(vb, row, column));
            if constexpr (Depth && Op == kReplace) depth[x] = int32_t(z);
        }
        r += dr;
        g += dg;
        b += db;
        if constexpr (Depth) z += dz;
    }
}

// Per-triangle lane constants of the SIMD writers, from g_state.
struct GouraudLanes {
    uint32_t step[4];  // fixed-point z, r, g, b steps per pixel
    __m128i offset[4];  // 0, 1, 2, 3 steps
    __m128i stride[4];  // 4 steps
    __m128i back[4][4];  // [j][z, r, g, b]: j steps back, in every lane
    __m128i bias[2];    // channel biases in the lanes of left values: sorted (r, g, b, 0), depth (0, r, g, b)
};
GouraudLanes g_lanes;

// Lanes of the quad ending at a span's end that lie inside a span j pixels
// shorter than the quad.
alignas(16) constexpr int32_t kLastLanes[4][4] = {{-1, -1, -1, -1}, {0, -1, -1, -1}, {0, 0, -1, -1}, {0, 0, 0, -1}};

// The replace writers with SSE2, four pixels at a time: channels dithered
// in 16-bit lanes, four depths per compare; a span shorter than four pixels
// is one quad with the lanes outside it masked. Same results as
// GouraudSpan, which stays the reference; the other operators are
// GouraudSpan itself.
template <int Op, bool Depth>
[[gnu::always_inline]] inline void GouraudSpanVector(uint16_t *frame, int32_t *depth, int32_t y, int32_t xLeft,
                                                    int32_t xRight, int32_t from, int32_t to, const float *left) {
    if constexpr (Op != kReplace) {
        GouraudSpan<Op, Depth>(frame, depth, y, xLeft, xRight, from, to, left);
    } else {
        constexpr int c0 = Depth ? 1 : 0;
        const GouraudLanes &l = g_lanes;
        const uint32_t skip = uint32_t(from - xLeft);
        // The left values converted together: the packed conversion gives
        // INT32_MIN outside the 32-bit range as RoundToInt32 does.
        __m128 values, scales;
        if constexpr (Depth) {
            // Four scalar loads: should the edge walk store the values one by
            // one, a wide load of them would wait for the stores.
            values = _mm_movelh_ps(_mm_unpacklo_ps(_mm_load_ss(left), _mm_load_ss(left + 1)),
                                   _mm_unpacklo_ps(_mm_load_ss(left + 2), _mm_load_ss(left + 3)));
            scales = _mm_setr_ps(kDepthScale, 65536.0f, 65536.0f, 65536.0f);
        } else {
            values = _mm_setr_ps(left[0], left[1], left[2], 0.0f);
            scales = _mm_setr_ps(65536.0f, 65536.0f, 65536.0f, 0.0f);
        }
        __m128i at = _mm_add_epi32(_mm_cvtps_epi32(_mm_mul_ps(values, scales)), l.bias[Depth ? 1 : 0]);
        if (skip != 0) {
            const __m128i z4 = _mm_set1_epi32(int32_t(skip * l.step[0]));
            const __m128i r4 = _mm_set1_epi32(int32_t(skip * l.step[1]));
            const __m128i g4 = _mm_set1_epi32(int32_t(skip * l.step[2]));
            const __m128i b4 = _mm_set1_epi32(int32_t(skip * l.step[3]));
            at = _mm_add_epi32(at, Depth ? _mm_unpacklo_epi64(_mm_unpacklo_epi32(z4, r4), _mm_unpacklo_epi32(g4, b4))
                                         : _mm_unpacklo_epi64(_mm_unpacklo_epi32(r4, g4), _mm_unpacklo_epi32(b4, z4)));
        }
        const __m128i rAt = _mm_shuffle_epi32(at, c0 * 0x55), gAt = _mm_shuffle_epi32(at, (c0 + 1) * 0x55);
        const __m128i bAt = _mm_shuffle_epi32(at, (c0 + 2) * 0x55);
        const __m128i zAt = _mm_shuffle_epi32(at, Depth ? 0 : 0xFF);
        if (to < 4 || to <= from) {
            // A span at the left edge shorter than a quad (no quad fits in
            // the row), or none: pixel by pixel.
            GouraudPixels<Op, Depth>(frame, depth, y, xRight, from, to, uint32_t(_mm_cvtsi128_si32(rAt)),
                                     uint32_t(_mm_cvtsi128_si32(gAt)), uint32_t(_mm_cvtsi128_si32(bAt)),
                                     uint32_t(_mm_cvtsi128_si32(zAt)), l.step[1], l.step[2], l.step[3], l.step[0]);
            return;
        }
        const auto &upRow = kDitherUps.lanes[y & 3];
        auto upsAt = [&](int32_t x) {
            const uint32_t column = Depth ? uint32_t(x) & 3u : uint32_t(x - xRight) & 3u;
            return _mm_load_si128(reinterpret_cast<const __m128i *>(upRow[column]));
        };
        __m128i rv = _mm_add_epi32(rAt, l.offset[1]);
        __m128i gv = _mm_add_epi32(gAt, l.offset[2]);
        __m128i bv = _mm_add_epi32(bAt, l.offset[3]);
        __m128i zv = _mm_add_epi32(zAt, l.offset[0]);
        // Four pixels from lanes already at x; with Masked, only the lanes
        // `keep` selects are written.
        auto quad = [&]<bool Masked>(int32_t x, __m128i rq, __m128i gq, __m128i bq, [[maybe_unused]] __m128i zq,
                                     [[maybe_unused]] __m128i keep) {
            const __m128i up = upsAt(x);
            const __m128i rg = DitherLevels8(_mm_packs_epi32(_mm_srai_epi32(rq, 16), _mm_srai_epi32(gq, 16)), up);
            const __m128i bb = DitherLevels8(_mm_packs_epi32(_mm_srai_epi32(bq, 16), _mm_srai_epi32(bq, 16)), up);
            __m128i pixels = _mm_or_si128(_mm_slli_epi16(rg, 10), _mm_slli_epi16(_mm_srli_si128(rg, 8), 5));
            pixels = _mm_or_si128(pixels, bb);
            __m128i *f = reinterpret_cast<__m128i *>(frame + x);
            if constexpr (Depth) {
                __m128i *d = reinterpret_cast<__m128i *>(depth + x);
                const __m128i old = _mm_loadu_si128(d);
                __m128i pass = _mm_cmpgt_epi32(zq, old);
                if constexpr (Masked) pass = _mm_and_si128(pass, keep);
                _mm_storeu_si128(d, _mm_or_si128(_mm_and_si128(pass, zq), _mm_andnot_si128(pass, old)));
                const __m128i pass16 = _mm_packs_epi32(pass, pass);
                pixels = _mm_or_si128(_mm_and_si128(pass16, pixels), _mm_andnot_si128(pass16, _mm_loadl_epi64(f)));
            } else if constexpr (Masked) {
                const __m128i keep16 = _mm_packs_epi32(keep, keep);
                pixels = _mm_or_si128(_mm_and_si128(keep16, pixels), _mm_andnot_si128(keep16, _mm_loadl_epi64(f)));
            }
            _mm_storel_epi64(f, pixels);
        };
        const __m128i none = _mm_setzero_si128();
        if (to - from < 4) {
            // The quad ending at `to`, its lanes before `from` left alone.
            const int32_t j = 4 - (to - from);
            quad.template operator()<true>(to - 4, _mm_add_epi32(rv, l.back[j][1]), _mm_add_epi32(gv, l.back[j][2]),
                                           _mm_add_epi32(bv, l.back[j][3]), _mm_add_epi32(zv, l.back[j][0]),
                                           _mm_load_si128(reinterpret_cast<const __m128i *>(kLastLanes[j])));
            return;
        }
        int32_t x = from;
        for (; x + 4 <= to; x += 4) {
            quad.template operator()<false>(x, rv, gv, bv, zv, none);
            rv = _mm_add_epi32(rv, l.stride[1]);
            gv = _mm_add_epi32(gv, l.stride[2]);
            bv = _mm_add_epi32(bv, l.stride[3]);
            if constexpr (Depth) zv = _mm_add_epi32(zv, l.stride[0]);
        }
        if (x < to) {
            // The last pixels as the four ending at `to`, stepped back from
            // x. Those of them already drawn come out the same again: the
            // depth they left fails their own depth, and without depth the
            // same pixel is written twice.
            const int32_t j = x - (to - 4);
            quad.template operator()<false>(to - 4, _mm_add_epi32(rv, l.back[j][1]), _mm_add_epi32(gv, l.back[j][2]),
                                            _mm_add_epi32(bv, l.back[j][3]), _mm_add_epi32(zv, l.back[j][0]), none);
        }
    }
}

// The scanline walk with its span writer inlined: one routine per operator
// and pass, chosen once per triangle.
template <int N, int Op>
void GouraudScan(TriangleSetUp<N> &s, const RasterTarget &t) {
    ScanTriangle(s, t, [](uint16_t *frame, int32_t *depth, int32_t y, int32_t xl, int32_t xr, int32_t from, int32_t to,
                          const float *left) __attribute__((always_inline)) {
        GouraudSpanVector<Op, N == 4>(frame, depth, y, xl, xr, from, to, left);
    });
}

template <int N>
using GouraudScanRoutine = void (*)(TriangleSetUp<N> &, const RasterTarget &);

constexpr GouraudScanRoutine<3> kSortedScans[4] = {GouraudScan<3, kReplace>, GouraudScan<3, kAdditive>,
                                                   GouraudScan<3, kOpacity>, GouraudScan<3, kSubtractive>};
constexpr GouraudScanRoutine<4> kDepthScans[4] = {GouraudScan<4, kReplace>, GouraudScan<4, kAdditive>,
                                                  GouraudScan<4, kOpacity>, GouraudScan<4, kSubtractive>};

constexpr GouraudSpanWriter kReferenceSpans[2][4] = {
    {GouraudSpan<kReplace, false>, GouraudSpan<kAdditive, false>, GouraudSpan<kOpacity, false>,
     GouraudSpan<kSubtractive, false>},
    {GouraudSpan<kReplace, true>, GouraudSpan<kAdditive, true>, GouraudSpan<kOpacity, true>,
     GouraudSpan<kSubtractive, true>}};
constexpr GouraudSpanWriter kVectorSpans[2][4] = {
    {GouraudSpanVector<kReplace, false>, GouraudSpanVector<kAdditive, false>, GouraudSpanVector<kOpacity, false>,
     GouraudSpanVector<kSubtractive, false>},
    {GouraudSpanVector<kReplace, true>, GouraudSpanVector<kAdditive, true>, GouraudSpanVector<kOpacity, true>,
     GouraudSpanVector<kSubtractive, true>}};

// 0x8000 when the channel rises to the right (or is flat across and rises
// downward), else 0x7FFF.
inline Fixed16_16 ChannelBias(float ddx, float ddy) {
    return (ddx > 0.0f || (ddx == 0.0f && ddy >= 0.0f)) ? 0x8000 : 0x7FFF;
}

template <int N>
void Fill(E3DPolygon *p, E3DVertex *vertices, const RasterTarget &target, const GouraudScanRoutine<N> *group) {
    const bool back = (p->flags & kPolygonBackShowing) != 0;
    const E3DMaterial *material = back ? p->backMaterial : p->material;
    if (!material) return;  // Guard: a hand-made polygon without a material draws nothing
    uint32_t blend = material->alphaMode & 3u;
    if (blend == kOpacity) {
        const uint32_t level = material->alphaLevel;
        if (level == 0) return;
        if (level == 255) blend = kReplace;
        g_state.weight = int32_t(255 - level);
    }
    const uint32_t colors[3] = {p->color, p->color1, p->color2};
    // The back side takes the corners in stored order, the front reversed,
    // so both sides keep the same screen winding.
    const int order[3] = {back ? 0 : 2, 1, back ? 2 : 0};
    SetUpCorner<N> corner[3];
    for (int i = 0; i < 3; ++i) {
        const E3DVertex &v = vertices[p->vertex[order[i]]];
        const uint32_t k = colors[order[i]];
        corner[i].x = ToFixed28_4(v.screenX);
        corner[i].y = ToFixed28_4(v.screenY);
        int a = 0;
        if constexpr (N == 4) corner[i].attr[a++] = v.invDepth;
        corner[i].attr[a++] = float((k >> 16) & 255u);
        corner[i].attr[a++] = float((k >> 8) & 255u);
        corner[i].attr[a] = float(k & 255u);
    }
    TriangleSetUp<N> s;
    if (!SetUpTriangle(s, corner[0], corner[1], corner[2])) return;
    constexpr int c0 = N == 4 ? 1 : 0;
    for (int c = 0; c < 3; ++c) {
        g_state.bias[c] = ChannelBias(s.ddx[c0 + c], s.ddy[c0 + c]);
        g_state.ddx[1 + c] = s.ddx[c0 + c];
    }
    g_state.ddx[0] = N == 4 ? s.ddx[0] : 0.0f;
    PrepareGouraudSpans();
    group[blend](s, target);
}

}  // namespace

void GouraudSolidFill(E3DPolygon *polygon, E3DVertex *vertices, const RasterTarget &target, bool depthPass) {
    if (!target.frame || (depthPass && !target.depth)) return;
    if (depthPass) Fill<4>(polygon, vertices, target, kDepthScans);
    else Fill<3>(polygon, vertices, target, kSortedScans);
}

void PrepareGouraudSpans() {
    for (int i = 0; i < 4; ++i) {
        const uint32_t d = uint32_t(ToFixed(g_state.ddx[i], i == 0 ? kDepthScale : 65536.0f));
        g_lanes.step[i] = d;
        g_lanes.offset[i] = _mm_set_epi32(int32_t(3 * d), int32_t(2 * d), int32_t(d), 0);
        g_lanes.stride[i] = _mm_set1_epi32(int32_t(4 * d));
        for (uint32_t j = 0; j < 4; ++j) g_lanes.back[j][i] = _mm_set1_epi32(int32_t(0u - j * d));
    }
    const Fixed16_16 *b = g_state.bias;
    g_lanes.bias[0] = _mm_setr_epi32(b[0], b[1], b[2], 0);
    g_lanes.bias[1] = _mm_setr_epi32(0, b[0], b[1], b[2]);
}

GouraudSpanWriter GouraudSpanWriterFor(uint32_t blend, bool depthPass, bool reference) {
    return (reference ? kReferenceSpans : kVectorSpans)[depthPass ? 1 : 0][blend & 3u];
}

}  // namespace e3d
