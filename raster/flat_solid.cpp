// Flat solid fillers. The eight span writers (four operators, two passes)
// come from one template body.
#include "raster/flat_solid.h"

#include <cmath>

#include "raster/pixel.h"
#include "raster/simd.h"

namespace e3d {

namespace {

enum Blend { kReplace = 0, kAdditive = 1, kOpacity = 2, kSubtractive = 3 };

}  // namespace

FlatState g_flat;

namespace {

template <int Op, bool Depth>
void FlatSpan(uint16_t *frame, int32_t *depth, int32_t, int32_t xLeft, int32_t, int32_t from, int32_t to,
              const float *left) {
    const uint32_t s = g_flat.pixel;
    uint32_t z = 0, dz = 0;
    if constexpr (Depth) {
        z = uint32_t(RoundToInt32(left[0] * kDepthScale));
        dz = uint32_t(RoundToInt32(g_flat.dzdx * kDepthScale));
        z += uint32_t(from - xLeft) * dz;
    }
    for (int32_t x = from; x < to; ++x) {
        if constexpr (Depth) {
            if (int32_t(z) <= depth[x]) {
                // The additive writer steps its depth only on pixels that pass.
                if constexpr (Op != kAdditive) z += dz;
                continue;
            }
        }
        if constexpr (Op == kReplace) {
            frame[x] = uint16_t(s);
            if constexpr (Depth) depth[x] = int32_t(z);
        } else if constexpr (Op == kAdditive) {
            frame[x] = AddPixels(s, frame[x]);
        } else if constexpr (Op == kOpacity) {
            frame[x] = MixPixels(g_flat.weighted[0], g_flat.weighted[1], g_flat.weighted[2], g_flat.destWeight,
                                 frame[x]);
        } else if constexpr (Depth) {
            frame[x] = SubtractPixelsDepth(s, frame[x]);
        } else {
            frame[x] = SubtractPixelsSorted(s, frame[x]);
        }
        if constexpr (Depth) z += dz;
    }
}

// The additive, opacity and subtractive operators on eight frame pixels:
// the packed forms of raster/pixel.h in 16-bit lanes (their results only
// depend on the low 16 bits) and the opacity mix per channel.
template <int Op, bool Depth>
struct FlatBlend8 {
    __m128i source, destWeight, weightedR, weightedG, weightedB;
    FlatBlend8()
        : source(_mm_set1_epi16(int16_t(g_flat.pixel))),
          destWeight(_mm_set1_epi16(int16_t(g_flat.destWeight))),
          weightedR(_mm_set1_epi16(int16_t(g_flat.weighted[0]))),
          weightedG(_mm_set1_epi16(int16_t(g_flat.weighted[1]))),
          weightedB(_mm_set1_epi16(int16_t(g_flat.weighted[2]))) {}
    __m128i operator()(__m128i d) const {
        const __m128i five = _mm_set1_epi16(31);
        if constexpr (Op == kAdditive) {
            const __m128i keep = _mm_set1_epi16(0x7BDF);
            const __m128i t = _mm_add_epi16(_mm_and_si128(source, keep), _mm_and_si128(d, keep));
            const __m128i q = _mm_and_si128(t, _mm_set1_epi16(int16_t(0x8420)));
            return _mm_and_si128(_mm_or_si128(_mm_sub_epi16(q, _mm_srli_epi16(q, 5)), t), keep);
        } else if constexpr (Op == kOpacity) {
            const __m128i r = _mm_srli_epi16(
                _mm_add_epi16(_mm_mullo_epi16(_mm_and_si128(_mm_srli_epi16(d, 10), five), destWeight), weightedR), 8);
            const __m128i g = _mm_srli_epi16(
                _mm_add_epi16(_mm_mullo_epi16(_mm_and_si128(_mm_srli_epi16(d, 5), five), destWeight), weightedG), 8);
            const __m128i b =
                _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(_mm_and_si128(d, five), destWeight), weightedB), 8);
            return _mm_or_si128(_mm_or_si128(_mm_slli_epi16(r, 10), _mm_slli_epi16(g, 5)), b);
        } else {
            // Sorted pass: guard bits on the source; depth pass: on the frame.
            const __m128i guard = _mm_set1_epi16(int16_t(0x8420)), keep = _mm_set1_epi16(0x7BDF);
            const __m128i diff = Depth ? _mm_sub_epi16(_mm_and_si128(source, keep), _mm_or_si128(d, guard))
                                       : _mm_sub_epi16(_mm_or_si128(source, guard), _mm_and_si128(d, keep));
            const __m128i t = _mm_and_si128(diff, guard);
            return _mm_and_si128(diff, _mm_sub_epi16(t, _mm_srli_epi16(t, 5)));
        }
    }
};

// The other operators eight pixels at a time; the depth-tested additive
// writer steps its depth only on drawn pixels, a chain from pixel to pixel,
// and stays scalar. Leftover pixels go through FlatSpan.
template <int Op, bool Depth>
inline void FlatBlendSpanVector(uint16_t *frame, int32_t *depth, int32_t y, int32_t xLeft, int32_t xRight,
                                int32_t from, int32_t to, const float *left) {
    int32_t x = from;
    if (to - x >= 8) {
        const FlatBlend8<Op, Depth> blend;
        if constexpr (Depth) {
            const uint32_t dz = uint32_t(RoundToInt32(g_flat.dzdx * kDepthScale));
            const uint32_t z = uint32_t(RoundToInt32(left[0] * kDepthScale)) + uint32_t(from - xLeft) * dz;
            const __m128i dz4 = _mm_set1_epi32(int32_t(dz * 4));
            __m128i zA = _mm_add_epi32(_mm_set1_epi32(int32_t(z)),
                                       _mm_set_epi32(int32_t(dz * 3), int32_t(dz * 2), int32_t(dz), 0));
            __m128i zB = _mm_add_epi32(zA, dz4);
            const __m128i dz8 = _mm_add_epi32(dz4, dz4);
            for (; x + 8 <= to; x += 8) {
                const __m128i *d = reinterpret_cast<const __m128i *>(depth + x);
                const __m128i pass = _mm_packs_epi32(_mm_cmpgt_epi32(zA, _mm_loadu_si128(d)),
                                                     _mm_cmpgt_epi32(zB, _mm_loadu_si128(d + 1)));
                __m128i *f = reinterpret_cast<__m128i *>(frame + x);
                const __m128i old = _mm_loadu_si128(f);
                _mm_storeu_si128(f, _mm_or_si128(_mm_and_si128(pass, blend(old)), _mm_andnot_si128(pass, old)));
                zA = _mm_add_epi32(zA, dz8);
                zB = _mm_add_epi32(zB, dz8);
            }
        } else {
            for (; x + 8 <= to; x += 8) {
                __m128i *f = reinterpret_cast<__m128i *>(frame + x);
                _mm_storeu_si128(f, blend(_mm_loadu_si128(f)));
            }
        }
    }
    if (x < to) FlatSpan<Op, Depth>(frame, depth, y, xLeft, xRight, x, to, left);
}

// The replace writers with SSE2: eight pixels per store, four depths per
// compare. Same results as FlatSpan, which stays the reference.
template <int Op, bool Depth>
inline void FlatSpanVector(uint16_t *frame, int32_t *depth, int32_t y, int32_t xLeft, int32_t xRight, int32_t from,
                           int32_t to, const float *left) {
    if constexpr (Op == kAdditive && Depth) {
        FlatSpan<Op, Depth>(frame, depth, y, xLeft, xRight, from, to, left);
    } else if constexpr (Op != kReplace) {
        FlatBlendSpanVector<Op, Depth>(frame, depth, y, xLeft, xRight, from, to, left);
    } else if constexpr (!Depth) {
        const uint16_t s = uint16_t(g_flat.pixel);
        int32_t x = from;
        const __m128i v = _mm_set1_epi16(int16_t(s));
        if (to - x >= 8) {
            // One unaligned store covers the head; then aligned stores from the
            // next 16-byte boundary (rows are 2-byte aligned), and one unaligned
            // store ending at the span's end covers the tail.
            _mm_storeu_si128(reinterpret_cast<__m128i *>(frame + x), v);
            x += int32_t((16u - (reinterpret_cast<uintptr_t>(frame + x) & 15u)) & 15u) / 2;
            if ((reinterpret_cast<uintptr_t>(frame + x) & 15u) == 0) {
                // Four stores a turn keep the store unit busy on long spans.
                for (; x + 32 <= to; x += 32) {
                    __m128i *f = reinterpret_cast<__m128i *>(frame + x);
                    _mm_store_si128(f, v);
                    _mm_store_si128(f + 1, v);
                    _mm_store_si128(f + 2, v);
                    _mm_store_si128(f + 3, v);
                }
                for (; x + 8 <= to; x += 8) _mm_store_si128(reinterpret_cast<__m128i *>(frame + x), v);
            } else {
                for (; x + 8 <= to; x += 8) _mm_storeu_si128(reinterpret_cast<__m128i *>(frame + x), v);
            }
            if (x < to) _mm_storeu_si128(reinterpret_cast<__m128i *>(frame + to - 8), v);
            return;
        }
        for (; x < to; ++x) frame[x] = s;
    } else {
        const uint32_t dz = uint32_t(RoundToInt32(g_flat.dzdx * kDepthScale));
        uint32_t z = uint32_t(RoundToInt32(left[0] * kDepthScale)) + uint32_t(from - xLeft) * dz;
        int32_t x = from;
        if (to - x >= 8) {
            const __m128i pixel = _mm_set1_epi16(int16_t(g_flat.pixel));
            const __m128i dz4 = _mm_set1_epi32(int32_t(dz * 4));
            __m128i zA = _mm_add_epi32(_mm_set1_epi32(int32_t(z)),
                                       _mm_set_epi32(int32_t(dz * 3), int32_t(dz * 2), int32_t(dz), 0));
            __m128i zB = _mm_add_epi32(zA, dz4);
            const __m128i dz8 = _mm_add_epi32(dz4, dz4);
            for (; x + 8 <= to; x += 8) {
                __m128i *d = reinterpret_cast<__m128i *>(depth + x);
                const __m128i dA = _mm_loadu_si128(d), dB = _mm_loadu_si128(d + 1);
                const __m128i passA = _mm_cmpgt_epi32(zA, dA), passB = _mm_cmpgt_epi32(zB, dB);
                const __m128i pass = _mm_packs_epi32(passA, passB);
                __m128i *f = reinterpret_cast<__m128i *>(frame + x);
                const int passed = _mm_movemask_epi8(pass);
                if (passed == 0xFFFF) {
                    // All eight in front: plain stores, the old pixels unread.
                    _mm_storeu_si128(d, zA);
                    _mm_storeu_si128(d + 1, zB);
                    _mm_storeu_si128(f, pixel);
                } else if (passed != 0) {
                    _mm_storeu_si128(d, _mm_or_si128(_mm_and_si128(passA, zA), _mm_andnot_si128(passA, dA)));
                    _mm_storeu_si128(d + 1, _mm_or_si128(_mm_and_si128(passB, zB), _mm_andnot_si128(passB, dB)));
                    const __m128i old = _mm_loadu_si128(f);
                    _mm_storeu_si128(f, _mm_or_si128(_mm_and_si128(pass, pixel), _mm_andnot_si128(pass, old)));
                }
                zA = _mm_add_epi32(zA, dz8);
                zB = _mm_add_epi32(zB, dz8);
            }
            z += uint32_t(x - from) * dz;
        }
        // Short spans of small triangles pass or fail at random: selects
        // instead of a branch the predictor keeps missing.
        const uint16_t s = uint16_t(g_flat.pixel);
        for (; x < to; ++x, z += dz) {
            const int32_t old = depth[x];
            const bool pass = int32_t(z) > old;
            const uint16_t oldPixel = frame[x];
            depth[x] = pass ? int32_t(z) : old;
            frame[x] = pass ? s : oldPixel;
        }
    }
}

// The scanline walk with its span writer inlined: one routine per operator
// and pass, chosen once per triangle.
template <int N, int Op>
void FlatScan(TriangleSetUp<N> &s, const RasterTarget &t) {
    ScanTriangle(s, t, [](uint16_t *frame, int32_t *depth, int32_t y, int32_t xl, int32_t xr, int32_t from, int32_t to,
                          const float *left) { FlatSpanVector<Op, N == 1>(frame, depth, y, xl, xr, from, to, left); });
}

template <int N>
using FlatScanRoutine = void (*)(TriangleSetUp<N> &, const RasterTarget &);

constexpr FlatScanRoutine<0> kSortedScans[4] = {FlatScan<0, kReplace>, FlatScan<0, kAdditive>, FlatScan<0, kOpacity>,
                                                FlatScan<0, kSubtractive>};
constexpr FlatScanRoutine<1> kDepthScans[4] = {FlatScan<1, kReplace>, FlatScan<1, kAdditive>, FlatScan<1, kOpacity>,
                                               FlatScan<1, kSubtractive>};

constexpr FlatSpanWriter kReferenceSpans[2][4] = {
    {FlatSpan<kReplace, false>, FlatSpan<kAdditive, false>, FlatSpan<kOpacity, false>, FlatSpan<kSubtractive, false>},
    {FlatSpan<kReplace, true>, FlatSpan<kAdditive, true>, FlatSpan<kOpacity, true>, FlatSpan<kSubtractive, true>}};
constexpr FlatSpanWriter kVectorSpans[2][4] = {
    {FlatSpanVector<kReplace, false>, FlatSpanVector<kAdditive, false>, FlatSpanVector<kOpacity, false>,
     FlatSpanVector<kSubtractive, false>},
    {FlatSpanVector<kReplace, true>, FlatSpanVector<kAdditive, true>, FlatSpanVector<kOpacity, true>,
     FlatSpanVector<kSubtractive, true>}};

template <int N>
void Fill(E3DPolygon *p, E3DVertex *vertices, const RasterTarget &target, const FlatScanRoutine<N> *group) {
    const bool back = (p->flags & 0x80u) != 0;
    const E3DMaterial *material = back ? p->backMaterial : p->material;
    if (!material) return;  // Guard: a hand-made polygon without a material draws nothing
    const uint32_t k = p->color;
    uint32_t blend = material->alphaMode & 3u;
    if (N == 0 && k == kNoColor) {
        // Only the sorted pass honours "no colour": the key pixel, replaced.
        g_flat.pixel = kKeyPixel;
        blend = kReplace;
    } else {
        g_flat.pixel = ColorToPixel(k);
        if (blend == kOpacity) {
            const uint32_t level = material->alphaLevel;
            if (level == 0) return;
            if (level >= 255) {
                blend = kReplace;
            } else {
                g_flat.weighted[0] = level * Red5(k);
                g_flat.weighted[1] = level * Green5(k);
                g_flat.weighted[2] = level * Blue5(k);
                g_flat.destWeight = 255 - level;
            }
        }
    }
    const int order[3] = {back ? 0 : 2, 1, back ? 2 : 0};
    SetUpCorner<N> corner[3];
    for (int i = 0; i < 3; ++i) {
        const E3DVertex &v = vertices[p->vertex[order[i]]];
        corner[i].x = ToFixed28_4(v.screenX);
        corner[i].y = ToFixed28_4(v.screenY);
        if constexpr (N == 1) corner[i].attr[0] = v.invDepth;
    }
    TriangleSetUp<N> s;
    if (!SetUpTriangle(s, corner[0], corner[1], corner[2])) return;
    if constexpr (N == 1) g_flat.dzdx = s.ddx[0];
    group[blend](s, target);
}

}  // namespace

void PrepareFlatSorted(const E3DPolygon *p, const E3DVertex *vertices, FlatSortedTriangle &out) {
    const bool back = (p->flags & 0x80u) != 0;
    const E3DMaterial *material = back ? p->backMaterial : p->material;
    const uint32_t k = p->color;
    uint32_t blend = material->alphaMode & 3u;
    if (k == kNoColor) {
        out.pixel = kKeyPixel;
        blend = kReplace;
    } else {
        out.pixel = ColorToPixel(k);
        if (blend == kOpacity) {
            const uint32_t level = material->alphaLevel;
            blend = level == 0 ? kFlatNothing : (level >= 255 ? uint32_t(kReplace) : kFlatGeneral);
        }
    }
    out.blend = blend;
    const int order[3] = {back ? 0 : 2, 1, back ? 2 : 0};
    for (int i = 0; i < 3; ++i) {
        const E3DVertex &v = vertices[p->vertex[order[i]]];
        out.x[i] = ToFixed28_4(v.screenX);
        out.y[i] = ToFixed28_4(v.screenY);
    }
}

void DrawFlatSorted(const FlatSortedTriangle &triangle, const RasterTarget &target) {
    SetUpCorner<0> corner[3];
    for (int i = 0; i < 3; ++i) {
        corner[i].x = triangle.x[i];
        corner[i].y = triangle.y[i];
    }
    TriangleSetUp<0> s;
    if (!SetUpTriangle(s, corner[0], corner[1], corner[2])) return;
    g_flat.pixel = triangle.pixel;
    kSortedScans[triangle.blend & 3u](s, target);
}

void FlatSolidFill(E3DPolygon *polygon, E3DVertex *vertices, const RasterTarget &target, bool depthPass) {
    if (!target.frame || (depthPass && !target.depth)) return;
    if (depthPass) Fill<1>(polygon, vertices, target, kDepthScans);
    else Fill<0>(polygon, vertices, target, kSortedScans);
}

FlatSpanWriter FlatSpanWriterFor(uint32_t blend, bool depthPass, bool reference) {
    return (reference ? kReferenceSpans : kVectorSpans)[depthPass ? 1 : 0][blend & 3u];
}

}  // namespace e3d
