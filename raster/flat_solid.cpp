// Flat solid fillers. The eight span writers (four operators, two passes)
// come from one template body.
#include "raster/flat_solid.h"

#include <cmath>

#include "raster/pixel.h"
#include "raster/simd.h"

namespace e3d {

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

// Depth-tested replace on [from, to) of a row, z the depth at `from`: eight
// pixels per step, then quads. The last quad ends at `to`; its lanes before
// `from` are left alone, and those this span has already drawn come out the
// same again (the depth they left fails their own depth). Short spans of
// small triangles are one or two quads instead of a loop of pixels whose
// tests pass or fail at random.
[[gnu::always_inline]] inline void FlatDepthReplace(uint16_t *frame, int32_t *depth, int32_t from, int32_t to,
                                                    uint32_t z, uint32_t dz, uint16_t s) {
    const __m128i pixel = _mm_set1_epi16(int16_t(s));
    const __m128i steps = _mm_setr_epi32(0, int32_t(dz), int32_t(dz * 2), int32_t(dz * 3));
    int32_t x = from;
#if defined(__AVX2__)
    if (to - x >= 8) {
        // Eight depths a compare.
        const __m256i dz8 = _mm256_set1_epi32(int32_t(dz * 8));
        __m256i z8 = _mm256_add_epi32(_mm256_set1_epi32(int32_t(z)), _mm256_mullo_epi32(_mm256_set1_epi32(int32_t(dz)),
                                                                                        _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7)));
        for (; x + 8 <= to; x += 8) {
            __m256i *d = reinterpret_cast<__m256i *>(depth + x);
            const __m256i pass = _mm256_cmpgt_epi32(z8, _mm256_loadu_si256(d));
            __m128i *f = reinterpret_cast<__m128i *>(frame + x);
            const uint32_t passed = uint32_t(_mm256_movemask_epi8(pass));
            if (passed == 0xFFFFFFFFu) {
                _mm256_storeu_si256(d, z8);
                _mm_storeu_si128(f, pixel);
            } else if (passed != 0) {
                _mm256_storeu_si256(d, _mm256_blendv_epi8(_mm256_loadu_si256(d), z8, pass));
                const __m128i pass16 = _mm_packs_epi32(_mm256_castsi256_si128(pass), _mm256_extracti128_si256(pass, 1));
                _mm_storeu_si128(f, _mm_blendv_epi8(_mm_loadu_si128(f), pixel, pass16));
            }
            z8 = _mm256_add_epi32(z8, dz8);
        }
        if (x == to) return;
    }
#else
    if (to - x >= 8) {
        const __m128i dz4 = _mm_set1_epi32(int32_t(dz * 4));
        __m128i zA = _mm_add_epi32(_mm_set1_epi32(int32_t(z)), steps);
        __m128i zB = _mm_add_epi32(zA, dz4);
        const __m128i dz8 = _mm_add_epi32(dz4, dz4);
        for (; x + 8 <= to; x += 8) {
            __m128i *d = reinterpret_cast<__m128i *>(depth + x);
            const __m128i passA = _mm_cmpgt_epi32(zA, _mm_loadu_si128(d));
            const __m128i passB = _mm_cmpgt_epi32(zB, _mm_loadu_si128(d + 1));
            const __m128i pass = _mm_packs_epi32(passA, passB);
            __m128i *f = reinterpret_cast<__m128i *>(frame + x);
            const int passed = _mm_movemask_epi8(pass);
            if (passed == 0xFFFF) {
                // All eight in front: plain stores, the old pixels unread.
                _mm_storeu_si128(d, zA);
                _mm_storeu_si128(d + 1, zB);
                _mm_storeu_si128(f, pixel);
            } else if (passed != 0) {
                // The old depths read again (from the cache) rather than
                // held across the branch, which spilled them every turn.
                const __m128i dA = _mm_loadu_si128(d), dB = _mm_loadu_si128(d + 1);
                _mm_storeu_si128(d, _mm_or_si128(_mm_and_si128(passA, zA), _mm_andnot_si128(passA, dA)));
                _mm_storeu_si128(d + 1, _mm_or_si128(_mm_and_si128(passB, zB), _mm_andnot_si128(passB, dB)));
                const __m128i old = _mm_loadu_si128(f);
                _mm_storeu_si128(f, _mm_or_si128(_mm_and_si128(pass, pixel), _mm_andnot_si128(pass, old)));
            }
            zA = _mm_add_epi32(zA, dz8);
            zB = _mm_add_epi32(zB, dz8);
        }
        if (x == to) return;
    }
#endif
    if (to < 4) {
        // No quad fits before the row's start: pixel by pixel.
        z += uint32_t(x - from) * dz;
        for (; x < to; ++x, z += dz) {
            const int32_t old = depth[x];
            const bool pass = int32_t(z) > old;
            const uint16_t oldPixel = frame[x];
            depth[x] = pass ? int32_t(z) : old;
            frame[x] = pass ? s : oldPixel;
        }
        return;
    }
    auto quad = [&](int32_t q, __m128i keep) {
        const __m128i zq = _mm_add_epi32(_mm_set1_epi32(int32_t(z + uint32_t(q - from) * dz)), steps);
        __m128i *d = reinterpret_cast<__m128i *>(depth + q);
        const __m128i old = _mm_loadu_si128(d);
        const __m128i pass = _mm_and_si128(_mm_cmpgt_epi32(zq, old), keep);
        _mm_storeu_si128(d, _mm_or_si128(_mm_and_si128(pass, zq), _mm_andnot_si128(pass, old)));
        const __m128i pass16 = _mm_packs_epi32(pass, pass);
        __m128i *f = reinterpret_cast<__m128i *>(frame + q);
        _mm_storel_epi64(f, _mm_or_si128(_mm_and_si128(pass16, pixel), _mm_andnot_si128(pass16, _mm_loadl_epi64(f))));
    };
    if (to - x > 4) {
        quad(x, _mm_set1_epi32(-1));
        x += 4;
    }
    const int32_t q = to - 4;
    quad(q, _mm_cmpgt_epi32(_mm_add_epi32(_mm_set1_epi32(q), _mm_setr_epi32(0, 1, 2, 3)), _mm_set1_epi32(from - 1)));
}

// Replace without depth: eight pixels per store. A long span is bound by
// the number of stores, so the ends take as few as they can: an unaligned
// store before the first 16-byte boundary only when the span starts off
// one, and one unaligned store ending at the span's end after the aligned
// ones.
[[gnu::always_inline]] inline void FlatReplace(uint16_t *frame, int32_t from, int32_t to, uint16_t s) {
    const __m128i v = _mm_set1_epi16(int16_t(s));
    int32_t x = from;
    if (to - x < 8) {
        for (; x < to; ++x) frame[x] = s;
        return;
    }
#if defined(__AVX2__)
    if (to - x >= 16 && !(reinterpret_cast<uintptr_t>(frame + x) & 1u)) {
        // 32-byte stores: half the stores, and stores are what a long span
        // waits for.
        const __m256i w = _mm256_set1_epi16(int16_t(s));
        const uint32_t offset32 = uint32_t(reinterpret_cast<uintptr_t>(frame + x) & 31u);
        if (offset32 != 0) {
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(frame + x), w);
            x += int32_t(32u - offset32) / 2;
        }
        for (; x + 64 <= to; x += 64) {
            __m256i *f = reinterpret_cast<__m256i *>(frame + x);
            _mm256_store_si256(f, w);
            _mm256_store_si256(f + 1, w);
            _mm256_store_si256(f + 2, w);
            _mm256_store_si256(f + 3, w);
        }
        for (; x + 16 <= to; x += 16) _mm256_store_si256(reinterpret_cast<__m256i *>(frame + x), w);
        if (x < to) _mm256_storeu_si256(reinterpret_cast<__m256i *>(frame + to - 16), w);
        return;
    }
#endif
    const uint32_t offset = uint32_t(reinterpret_cast<uintptr_t>(frame + x) & 15u);
    if (offset & 1u) {
        // Rows off 2-byte alignment: unaligned stores throughout.
        for (; x + 8 <= to; x += 8) _mm_storeu_si128(reinterpret_cast<__m128i *>(frame + x), v);
    } else {
        if (offset != 0) {
            _mm_storeu_si128(reinterpret_cast<__m128i *>(frame + x), v);
            x += int32_t(16u - offset) / 2;
        }
        // Four stores a turn keep the store unit busy on long spans.
        for (; x + 32 <= to; x += 32) {
            __m128i *f = reinterpret_cast<__m128i *>(frame + x);
            _mm_store_si128(f, v);
            _mm_store_si128(f + 1, v);
            _mm_store_si128(f + 2, v);
            _mm_store_si128(f + 3, v);
        }
        for (; x + 8 <= to; x += 8) _mm_store_si128(reinterpret_cast<__m128i *>(frame + x), v);
    }
    if (x < to) _mm_storeu_si128(reinterpret_cast<__m128i *>(frame + to - 8), v);
}

// The SIMD writers the fillers use. Same results as FlatSpan, which stays
// the reference.
template <int Op, bool Depth>
inline void FlatSpanVector(uint16_t *frame, int32_t *depth, int32_t y, int32_t xLeft, int32_t xRight, int32_t from,
                           int32_t to, const float *left) {
    if constexpr (Op == kAdditive && Depth) {
        FlatSpan<Op, Depth>(frame, depth, y, xLeft, xRight, from, to, left);
    } else if constexpr (Op != kReplace) {
        FlatBlendSpanVector<Op, Depth>(frame, depth, y, xLeft, xRight, from, to, left);
    } else if constexpr (!Depth) {
        FlatReplace(frame, from, to, uint16_t(g_flat.pixel));
    } else {
        const uint32_t dz = uint32_t(RoundToInt32(g_flat.dzdx * kDepthScale));
        const uint32_t z = uint32_t(RoundToInt32(left[0] * kDepthScale)) + uint32_t(from - xLeft) * dz;
        FlatDepthReplace(frame, depth, from, to, z, dz, uint16_t(g_flat.pixel));
    }
}

// The scanline walk with its span writer inlined: one routine per operator
// and pass, chosen once per triangle.
template <int N, int Op>
void FlatScan(TriangleSetUp<N> &s, const RasterTarget &t) {
    if constexpr (Op == kReplace) {
        // The pixel and the depth step once per triangle, not per span.
        const uint16_t pixel = uint16_t(g_flat.pixel);
        if constexpr (N == 1) {
            const uint32_t dz = uint32_t(RoundToInt32(g_flat.dzdx * kDepthScale));
            ScanTriangle(s, t, [pixel, dz](uint16_t *frame, int32_t *depth, int32_t, int32_t xl, int32_t, int32_t from,
                                           int32_t to, const float *left) {
                // The processor's conversion gives RoundToInt32's results
                // (INT32_MIN out of range) without its range tests.
                const uint32_t z = uint32_t(_mm_cvtss_si32(_mm_set_ss(left[0] * kDepthScale))) + uint32_t(from - xl) * dz;
                FlatDepthReplace(frame, depth, from, to, z, dz, pixel);
            });
        } else {
            ScanTriangle(s, t, [pixel](uint16_t *frame, int32_t *, int32_t, int32_t, int32_t, int32_t from, int32_t to,
                                       const float *) { FlatReplace(frame, from, to, pixel); });
        }
    } else {
        ScanTriangle(s, t, [](uint16_t *frame, int32_t *depth, int32_t y, int32_t xl, int32_t xr, int32_t from,
                              int32_t to, const float *left) {
            FlatSpanVector<Op, N == 1>(frame, depth, y, xl, xr, from, to, left);
        });
    }
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

// The polygon's colour into g_flat and its operator into `blend`; false
// when nothing is drawn.
template <int N>
inline bool SetUpColour(const E3DPolygon *p, uint32_t &blend) {
    const bool back = (p->flags & 0x80u) != 0;
    const E3DMaterial *material = back ? p->backMaterial : p->material;
    if (!material) return false;  // Guard: a hand-made polygon without a material draws nothing
    const uint32_t k = p->color;
    blend = material->alphaMode & 3u;
    if (N == 0 && k == kNoColor) {
        // Only the sorted pass honours "no colour": the key pixel, replaced.
        g_flat.pixel = kKeyPixel;
        blend = kReplace;
    } else {
        g_flat.pixel = ColorToPixel(k);
        if (blend == kOpacity) {
            const uint32_t level = material->alphaLevel;
            if (level == 0) return false;
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
    return true;
}

// Triangle (a, b, c) of a polygon's corners in the filler's corner order.
template <int N>
inline bool SetUpCorners(TriangleSetUp<N> &s, bool back, const E3DVertex &a, const E3DVertex &b, const E3DVertex &c) {
    const E3DVertex *v[3] = {back ? &a : &c, &b, back ? &c : &a};
    SetUpCorner<N> corner[3];
    for (int i = 0; i < 3; ++i) {
        corner[i].x = ToFixed28_4(v[i]->screenX);
        corner[i].y = ToFixed28_4(v[i]->screenY);
        if constexpr (N == 1) corner[i].attr[0] = v[i]->invDepth;
    }
    return SetUpTriangle(s, corner[0], corner[1], corner[2]);
}

template <int N>
void Fill(E3DPolygon *p, E3DVertex *vertices, const RasterTarget &target, const FlatScanRoutine<N> *group) {
    uint32_t blend;
    if (!SetUpColour<N>(p, blend)) return;
    TriangleSetUp<N> s;
    if (!SetUpCorners(s, (p->flags & 0x80u) != 0, vertices[p->vertex[0]], vertices[p->vertex[1]],
                      vertices[p->vertex[2]]))
        return;
    if constexpr (N == 1) g_flat.dzdx = s.ddx[0];
    group[blend](s, target);
}

// A convex polygon's rows between its left and right boundary chains, the
// edges stepped in locals as ScanPart does, down to the bottom of the
// polygon or of the target.
template <int Op>
void ScanConvex(const EdgeWalker<0> *leftChain, int leftCount, const EdgeWalker<0> *rightChain, int rightCount,
                const RasterTarget &t) {
    const uint16_t pixel = uint16_t(g_flat.pixel);
    int li = 0, ri = 0;
    EdgeWalker<0> l = leftChain[0], r = rightChain[0];
    for (;;) {
        int32_t h = l.height < r.height ? l.height : r.height;
        for (; h > 0; --h) {
            const int32_t y = l.y;
            if (y >= t.height) return;
            if (y >= 0) {
                const int32_t from = l.x > 0 ? l.x : 0;
                const int32_t to = r.x < t.width ? r.x : t.width;
                if (from < to) {
                    uint16_t *frame = t.frame + size_t(y) * size_t(t.pitch);
                    if constexpr (Op == kReplace) FlatReplace(frame, from, to, pixel);
                    else FlatSpanVector<Op, false>(frame, nullptr, y, from, to, from, to, nullptr);
                }
            }
            l.Advance();
            r.Advance();
        }
        // Advance leaves the height at zero at an edge's end.
        if (l.height <= 0) {
            do {
                if (++li == leftCount) return;
                l = leftChain[li];
            } while (l.height <= 0);
        }
        if (r.height <= 0) {
            do {
                if (++ri == rightCount) return;
                r = rightChain[ri];
            } while (r.height <= 0);
        }
    }
}

using ConvexRoutine = void (*)(const EdgeWalker<0> *, int, const EdgeWalker<0> *, int, const RasterTarget &);
constexpr ConvexRoutine kConvexScans[4] = {ScanConvex<kReplace>, ScanConvex<kAdditive>, ScanConvex<kOpacity>,
                                           ScanConvex<kSubtractive>};

inline int64_t Cross(const SetUpCorner<0> &o, const SetUpCorner<0> &a, const SetUpCorner<0> &b) {
    return (int64_t(a.x) - o.x) * (int64_t(b.y) - o.y) - (int64_t(a.y) - o.y) * (int64_t(b.x) - o.x);
}

// The painter's pass draws a clipped polygon whole when every triangle of
// its fan would draw its full area (each one turned the way the filler
// draws) and the polygon is strictly convex and falls in one left and one
// right chain: its rows are then exactly the spans the triangles would
// fill, each written once. The pixels of one colour and operator come out
// as from the triangles in turn; a row is one span instead of one per
// triangle. Anything else is drawn triangle by triangle.
void SortedFanFill(E3DPolygon *p, const E3DVertex *corners, int count, const RasterTarget &target) {
    uint32_t blend;
    if (count < 3 || count > kFanCapacity || !SetUpColour<0>(p, blend)) return;
    const bool back = (p->flags & 0x80u) != 0;
    SetUpCorner<0> c[kFanCapacity];
    int top = 0;
    for (int i = 0; i < count; ++i) {
        c[i].x = ToFixed28_4(corners[i].screenX);
        c[i].y = ToFixed28_4(corners[i].screenY);
        if (c[i].y < c[top].y) top = i;
    }
    // The filler draws triangle (a, b, c) whole when cross(b - a, c - a) > 0;
    // its corners go in reversed for the front side.
    const int64_t sign = back ? 1 : -1;
    bool whole = true;
    for (int i = 1; i + 1 < count && whole; ++i) whole = sign * Cross(c[0], c[i], c[i + 1]) > 0;
    for (int i = 0; i < count && whole; ++i)
        whole = sign * Cross(c[i], c[(i + 1) % count], c[(i + 2) % count]) > 0;
    EdgeWalker<0> forward[kFanCapacity], backward[kFanCapacity];
    int forwardCount = 0, backwardCount = 0;
    if (whole) {
        // Both chains run down from the top corner to a lowest one, and
        // together take every edge.
        int32_t bottomY = c[0].y;
        for (int i = 1; i < count; ++i) bottomY = c[i].y > bottomY ? c[i].y : bottomY;
        int i = top;
        while (whole && c[i].y != bottomY) {
            const int next = (i + 1) % count;
            whole = c[next].y >= c[i].y;
            SetUpEdge<0>(forward[forwardCount++], c[i], c[next], nullptr, nullptr);
            i = next;
        }
        i = top;
        while (whole && c[i].y != bottomY) {
            const int next = (i + count - 1) % count;
            whole = c[next].y >= c[i].y;
            SetUpEdge<0>(backward[backwardCount++], c[i], c[next], nullptr, nullptr);
            i = next;
        }
        whole = whole && forwardCount > 0 && backwardCount > 0 && forwardCount + backwardCount <= count;
    }
    if (!whole) {
        for (int i = 1; i + 1 < count; ++i) {
            TriangleSetUp<0> s;
            if (SetUpCorners(s, back, corners[0], corners[i], corners[i + 1])) kSortedScans[blend](s, target);
        }
        return;
    }
    // Corners turning clockwise on the screen (y down) put the forward chain
    // on the right.
    if (sign > 0) kConvexScans[blend](backward, backwardCount, forward, forwardCount, target);
    else kConvexScans[blend](forward, forwardCount, backward, backwardCount, target);
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

void FlatFanFill(E3DPolygon *polygon, const E3DVertex *corners, int count, const RasterTarget &target) {
    if (target.frame) SortedFanFill(polygon, corners, count, target);
}

FlatSpanWriter FlatSpanWriterFor(uint32_t blend, bool depthPass, bool reference) {
    return (reference ? kReferenceSpans : kVectorSpans)[depthPass ? 1 : 0][blend & 3u];
}

}  // namespace e3d
