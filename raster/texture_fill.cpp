// Texture-mapped fillers. Every span writer (three lightings, two passes,
// two addressing forms) comes from one template body, picked per polygon
// from a table. The replace writers draw eight pixels a step with SSE2, one
// instance per colour key; one scalar instance serves the other operators
// and stays the reference the SSE2 writers are tested against. Few
// instances keep the library small (it also ships as WebAssembly).
#include "raster/texture_fill.h"

#include <bit>
#include <climits>
#include <cmath>

#include "core/modes.h"
#include "core/texture_layer.h"
#include "raster/gouraud_solid.h"
#include "raster/dither_sse2.h"
#include "raster/pixel.h"
#include "raster/raster.h"
#include "raster/simd.h"

namespace e3d {

TextureMasks g_textureMasks = {127, 127};

namespace {

// The scalar writer that serves every operator and key: it reads both from
// the per-triangle state, a choice that stays the same along the whole
// polygon. The SSE2 replace writers keep theirs in the template.
constexpr int kAnyBlend = 4;

// Runs of 16 pixels, each with one exact division; linear 16.16 in between.
constexpr int32_t kRunLength = 16;
constexpr int32_t kRunShift = 4;
constexpr int32_t kRunMask = 15;

// Interpolant order on the edges: 1/z, u/z, v/z, then the corner colours.
constexpr int kZ = 0, kU = 1, kV = 2, kRed = 3;

constexpr int Interpolants(int lighting) { return lighting == kTextureGouraud ? 6 : 3; }

// Per-triangle values the span writers read.
struct TextureState {
    const uint16_t *texels;
    uint32_t shift;        // log2 of the row length (masked form), or the row length
    int64_t lastTexel;     // row-length form: the last index inside the texture
    float dzdx, dudx, dvdx;
    float zRun, uRun, vRun;  // 16 x the per-pixel gradients
    Fixed16_16 biasU, biasV;
    // Flat lighting: the ScaleTable rows of the polygon colour's b5, g5 and
    // r5, each already in its channel's place, side by side.
    uint16_t light[96];
    // The same colour's b5, g5 and r5 << 6 in every lane, for eight texels
    // at once (FlatLight8).
    __m128i level8[3];
    // Depth steps per pixel, and for the eight lanes: 0-3 steps, 4 and 8.
    uint32_t dd;
    __m128i ddLanes, dd4, dd8;
    int blend;          // the operator of the scalar writer
    bool key;           // whether it skips texel 0x8000
    const uint16_t *sourceWeight;  // ProductTable rows of the opacity operator
    const uint16_t *destWeight;
    Fixed16_16 colorBias[3];  // Gouraud
    float colorDdx[3];
};

TextureState g_tex;

// x rounded to the nearest integer (ties to even), wrapped to 32 bits: the
// 64-bit conversion answers every value in range, and the rest (far-tiled
// coordinates) wraps, which keeps the right power-of-two texel; non-finite
// values give 0. Plain C++ rather than the SSE2 conversion, which SIMDe
// would have to emulate off x86: the same bits on every processor.
inline uint32_t RoundWrap32(float x) {
    if (!(std::fabs(x) < 9.0e18f)) return 0;
    return uint32_t(uint64_t(std::llrint(x)));
}

// round(x * 65536): 16.16 fixed point.
inline uint32_t To16_16(float x) { return RoundWrap32(x * 65536.0f); }

// The same conversion as the solid fillers, so that textured and solid
// surfaces meet with the same depth values.
inline uint32_t ToDepth(float z) { return uint32_t(RoundToInt32(z * kDepthScale)); }

// 0x8000 when the channel rises to the right (or is flat across and rises
// downward), else 0x7FFF: the same rule as the solid Gouraud fillers.
inline Fixed16_16 ChannelBias(float ddx, float ddy) {
    return (ddx > 0.0f || (ddx == 0.0f && ddy >= 0.0f)) ? 0x8000 : 0x7FFF;
}

inline uint32_t Channel8(uint32_t value) {
    // Guard: overshoot past the corner range at pixel edges is held to 0..255.
    const int32_t v = int32_t(value) >> 16;
    return v < 0 ? 0u : (v > 255 ? 255u : uint32_t(v));
}

// What steps per pixel: texel coordinates (restarted every run), depth and
// Gouraud colours (linear across the whole span).
struct Cursor {
    uint32_t U, V, dU, dV;
    uint32_t d, dd;
    uint32_t c[3], dc[3];
};

// One texel fetch at (U, V) in either addressing form.
template <bool Masked>
inline uint32_t Texel(const uint16_t *texels, uint32_t U, uint32_t V, uint32_t shift, uint32_t uMask, uint32_t vMask,
                      int64_t last) {
    const int32_t column = int32_t(U) >> 16, row = int32_t(V) >> 16;
    if constexpr (Masked) {
        return texels[(uint32_t(row) & vMask) << shift | (uint32_t(column) & uMask)];
    } else {
        int64_t i = int64_t(row) * shift + column;
        // Guard: coordinates the dispatch never produces read the first or
        // last texel instead of memory outside the texture.
        i = i < 0 ? 0 : (i > last ? last : i);
        return texels[i];
    }
}

// The flat lighting of eight texels at once: ScaleTable[k][c] is (k c) >> 5,
// so each channel is one 16-bit product with the polygon colour's level,
// already shifted to its place. Same values as the three row look-ups.
struct FlatLight8 {
    __m128i blue, green, red;  // b5, g5 and r5 << 6 in every lane
    explicit FlatLight8(const __m128i *level) : blue(level[0]), green(level[1]), red(level[2]) {}
    __m128i operator()(__m128i t) const {
        const __m128i b = _mm_srli_epi16(_mm_mullo_epi16(_mm_and_si128(t, _mm_set1_epi16(0x1F)), blue), 5);
        const __m128i g = _mm_and_si128(
            _mm_srli_epi16(_mm_mullo_epi16(_mm_and_si128(t, _mm_set1_epi16(0x3E0)), green), 5),
            _mm_set1_epi16(0x3E0));
        const __m128i r = _mm_and_si128(
            _mm_slli_epi16(_mm_mulhi_epu16(_mm_and_si128(t, _mm_set1_epi16(0x7C00)), red), 5),
            _mm_set1_epi16(0x7C00));
        return _mm_or_si128(_mm_or_si128(r, g), b);
    }
};

// The Gouraud lighting of eight texels at once: each channel's 16.16 value
// held to 0..255, dithered in closed form (DitherLevel) with the matrix
// entries of the eight columns, then multiplied with the texel channel as
// the ScaleTable rows do. The channel lanes step along with the pixels.
struct GouraudLight8 {
    __m128i up;             // 7 - matrix entry of each lane's column
    __m128i low[3], high[3];  // channel values of lanes 0-3 and 4-7
    __m128i step8[3];         // eight steps

    GouraudLight8() = default;
    GouraudLight8(const uint32_t *c, const uint32_t *dc, uint32_t row, uint32_t phase) {
        up = _mm_load_si128(reinterpret_cast<const __m128i *>(kDitherUps.lanes[row][phase]));
        for (int i = 0; i < 3; ++i) {
            low[i] = _mm_add_epi32(_mm_set1_epi32(int32_t(c[i])), _mm_set_epi32(int32_t(3 * dc[i]),
                                                                              int32_t(2 * dc[i]), int32_t(dc[i]), 0));
            high[i] = _mm_add_epi32(low[i], _mm_set1_epi32(int32_t(4 * dc[i])));
            step8[i] = _mm_set1_epi32(int32_t(8 * dc[i]));
        }
    }
    // Dithered 5-bit levels of channel i for the eight lanes; then steps it.
    [[gnu::always_inline]] __m128i Level(int i) {
        const __m128i v = _mm_packs_epi32(_mm_srai_epi32(low[i], 16), _mm_srai_epi32(high[i], 16));
        low[i] = _mm_add_epi32(low[i], step8[i]);
        high[i] = _mm_add_epi32(high[i], step8[i]);
        return DitherLevels8(v, up);
    }
    [[gnu::always_inline]] __m128i operator()(__m128i t) {
        const __m128i red = Level(0), green = Level(1), blue = Level(2);
        const __m128i b = _mm_srli_epi16(_mm_mullo_epi16(_mm_and_si128(t, _mm_set1_epi16(0x1F)), blue), 5);
        const __m128i g = _mm_and_si128(
            _mm_srli_epi16(_mm_mullo_epi16(_mm_and_si128(t, _mm_set1_epi16(0x3E0)), green), 5),
            _mm_set1_epi16(0x3E0));
        const __m128i r = _mm_and_si128(
            _mm_slli_epi16(_mm_mulhi_epu16(_mm_and_si128(t, _mm_set1_epi16(0x7C00)), _mm_slli_epi16(red, 6)), 5),
            _mm_set1_epi16(0x7C00));
        return _mm_or_si128(_mm_or_si128(r, g), b);
    }
};

// Replace writers, eight pixels a step from x up to end: texels fetched one
// by one, then lit, depth-tested, keyed and stored eight at a time. Returns
// where it stopped (fewer than eight left); U, V, d and the Gouraud colours
// c have advanced to there. Same results as the scalar loop below,
// which stays the reference.
template <int Lighting, bool Key, bool Depth, bool Masked>
[[gnu::always_inline]] inline int32_t ReplaceEights(uint16_t *frame, int32_t *depth, int32_t x, int32_t end,
                                                    uint32_t &U, uint32_t &V, uint32_t &d, uint32_t dU, uint32_t dV,
                                                    uint32_t dd, uint32_t *c, const uint32_t *dc, uint32_t ditherRow,
                                                    int32_t xRight) {
    const TextureState &s = g_tex;
    const uint16_t *texels = s.texels;
    const uint32_t shift = s.shift;
    const uint32_t uMask = g_textureMasks.u, vMask = g_textureMasks.v;
    const int64_t last = s.lastTexel;
    const FlatLight8 light(s.level8);
    // The dither column of the depth-tested writers is x & 3, that of the
    // sorted ones (x - xRight) & 3: either way the same for every group.
    GouraudLight8 shade;
    if constexpr (Lighting == kTextureGouraud) {
        shade = GouraudLight8(c, dc, ditherRow, uint32_t(Depth ? x : x - xRight) & 3u);
    }
    __m128i dA = _mm_setzero_si128(), dB = dA, d8 = dA;
    if constexpr (Depth) {
        dA = _mm_add_epi32(_mm_set1_epi32(int32_t(d)), s.ddLanes);
        dB = _mm_add_epi32(dA, s.dd4);
        d8 = s.dd8;
    }
    // The masked form's row offset as a product: one instruction where a
    // shift by a variable count takes several (shift is at most 30 there).
    const uint32_t rowStep = Masked ? 1u << shift : 0u;
    const auto fetch = [&](uint32_t u, uint32_t v) __attribute__((always_inline)) {
        if constexpr (Masked) {
            return uint32_t(
                texels[(uint32_t(int32_t(v) >> 16) & vMask) * rowStep | (uint32_t(int32_t(u) >> 16) & uMask)]);
        } else {
            return Texel<false>(texels, u, v, shift, uMask, vMask, last);
        }
    };
    const int32_t start = x;
    for (; end - x >= 8; x += 8) {
        __m128i t = _mm_setzero_si128();
#define E3D_TEXEL(lane)                                  \
    t = _mm_insert_epi16(t, int(fetch(U, V)), lane); \
    U += dU;                                             \
    V += dV;
        E3D_TEXEL(0) E3D_TEXEL(1) E3D_TEXEL(2) E3D_TEXEL(3) E3D_TEXEL(4) E3D_TEXEL(5) E3D_TEXEL(6) E3D_TEXEL(7)
#undef E3D_TEXEL
        __m128i lit = t;
        if constexpr (Lighting == kTextureFlat) lit = light(t);
        if constexpr (Lighting == kTextureGouraud) lit = shade(t);
        __m128i *f = reinterpret_cast<__m128i *>(frame + x);
        if constexpr (Depth) {
            __m128i *z = reinterpret_cast<__m128i *>(depth + x);
            const __m128i oldA = _mm_loadu_si128(z), oldB = _mm_loadu_si128(z + 1);
            __m128i passA = _mm_cmpgt_epi32(dA, oldA), passB = _mm_cmpgt_epi32(dB, oldB);
            if constexpr (Key) {
                const __m128i drawn = _mm_xor_si128(_mm_cmpeq_epi16(t, _mm_set1_epi16(int16_t(kKeyPixel))),
                                                    _mm_set1_epi32(-1));
                passA = _mm_and_si128(passA, _mm_unpacklo_epi16(drawn, drawn));
                passB = _mm_and_si128(passB, _mm_unpackhi_epi16(drawn, drawn));
            }
            const __m128i pass = _mm_packs_epi32(passA, passB);
            const int all = _mm_movemask_epi8(pass);
            if (all == 0xFFFF) {
                _mm_storeu_si128(f, lit);
                _mm_storeu_si128(z, dA);
                _mm_storeu_si128(z + 1, dB);
            } else if (all != 0) {
                const __m128i old = _mm_loadu_si128(f);
                _mm_storeu_si128(f, _mm_or_si128(_mm_and_si128(pass, lit), _mm_andnot_si128(pass, old)));
                _mm_storeu_si128(z, _mm_or_si128(_mm_and_si128(passA, dA), _mm_andnot_si128(passA, oldA)));
                _mm_storeu_si128(z + 1, _mm_or_si128(_mm_and_si128(passB, dB), _mm_andnot_si128(passB, oldB)));
            }
            dA = _mm_add_epi32(dA, d8);
            dB = _mm_add_epi32(dB, d8);
        } else if constexpr (Key) {
            const __m128i key = _mm_cmpeq_epi16(t, _mm_set1_epi16(int16_t(kKeyPixel)));
            const __m128i old = _mm_loadu_si128(f);
            _mm_storeu_si128(f, _mm_or_si128(_mm_andnot_si128(key, lit), _mm_and_si128(key, old)));
        } else {
            _mm_storeu_si128(f, lit);
        }
    }
    if constexpr (Depth) d += uint32_t(x - start) * dd;
    if constexpr (Lighting == kTextureGouraud) {
        for (int i = 0; i < 3; ++i) c[i] += uint32_t(x - start) * dc[i];
    }
    return x;
}

// Writes `count` pixels from x, the cursor holding the values at x.
template <int Lighting, bool Key, bool Depth, bool Masked, int Op>
[[gnu::always_inline]] inline void Pixels(uint16_t *frame, int32_t *depth, int32_t x, int32_t count, const Cursor &cur,
                                          uint32_t ditherRow, int32_t xRight) {
    const TextureState &s = g_tex;
    uint32_t U = cur.U, V = cur.V, d = cur.d;
    const uint32_t dU = cur.dU, dV = cur.dV, dd = cur.dd;
    uint32_t c[3] = {cur.c[0], cur.c[1], cur.c[2]};
    const uint16_t *texels = s.texels;
    const uint16_t *light = s.light;
    const uint32_t shift = s.shift;
    const uint32_t uMask = g_textureMasks.u, vMask = g_textureMasks.v;
    const int64_t last = s.lastTexel;
    const int32_t end = x + count;
    const int op = Op == kAnyBlend ? s.blend : Op;
    const bool key = Op == kAnyBlend ? s.key : Key;
    if constexpr (Op == kReplace) {
        x = ReplaceEights<Lighting, Key, Depth, Masked>(frame, depth, x, end, U, V, d, dU, dV, dd, c, cur.dc,
                                                        ditherRow, xRight);
    }
    for (; x < end; ++x) {
        bool pass = true;
        if constexpr (Depth) pass = int32_t(d) > depth[x];
        if (pass) {
            const int32_t column = int32_t(U) >> 16, row = int32_t(V) >> 16;
            uint32_t t;
            if constexpr (Masked) {
                t = texels[(uint32_t(row) & vMask) << shift | (uint32_t(column) & uMask)];
            } else {
                int64_t i = int64_t(row) * shift + column;
                // Guard: coordinates the dispatch never produces read the
                // first or last texel instead of memory outside the texture.
                i = i < 0 ? 0 : (i > last ? last : i);
                t = texels[i];
            }
            if (!key || t != kKeyPixel) {
                uint32_t lit;
                if constexpr (Lighting == kTextureUnlit) {
                    lit = t;
                } else if constexpr (Lighting == kTextureFlat) {
                    // One base for the three rows keeps a register free.
                    lit = uint32_t(light[t & 31u]) | light[32 + size_t((t >> 5) & 31u)] |
                          light[64 + size_t((t >> 10) & 31u)];
                } else {
                    const uint32_t column4 = Depth ? uint32_t(x & 3) : uint32_t((x - xRight) & 3);
                    const uint32_t up = 7u - DitherMatrix[ditherRow][column4];
                    const uint32_t ir = DitherLevel(Channel8(c[0]), up);
                    const uint32_t ig = DitherLevel(Channel8(c[1]), up);
                    const uint32_t ib = DitherLevel(Channel8(c[2]), up);
                    lit = uint32_t(g_rasterTables.scaleRed[ir << 5 | ((t >> 10) & 31u)]) |
                          g_rasterTables.scaleGreen[ig << 5 | ((t >> 5) & 31u)] |
                          g_rasterTables.scale[ib << 5 | (t & 31u)];
                }
                if (op == kReplace) {
                    frame[x] = uint16_t(lit);
                    if constexpr (Depth) depth[x] = int32_t(d);
                } else if (op == kAdditive) {
                    frame[x] = AddPixels(lit, frame[x]);
                } else if (op == kOpacity) {
                    const uint32_t f = frame[x];
                    const uint32_t r = (s.destWeight[(f >> 10) & 31u] + s.sourceWeight[(lit >> 10) & 31u]) >> 8;
                    const uint32_t g = (s.destWeight[(f >> 5) & 31u] + s.sourceWeight[(lit >> 5) & 31u]) >> 8;
                    const uint32_t b = (s.destWeight[f & 31u] + s.sourceWeight[lit & 31u]) >> 8;
                    frame[x] = uint16_t(r << 10 | g << 5 | b);
                } else if constexpr (Depth) {
                    frame[x] = SubtractPixelsDepth(lit, frame[x]);
                } else {
                    frame[x] = SubtractPixelsSorted(lit, frame[x]);
                }
            }
        }
        // Coordinates, depth and colours advance at every pixel, drawn or not.
        U += dU;
        V += dV;
        if constexpr (Depth) d += dd;
        if constexpr (Lighting == kTextureGouraud) {
            c[0] += cur.dc[0];
            c[1] += cur.dc[1];
            c[2] += cur.dc[2];
        }
    }
}

// One scanline [left x, right x); only [from, to) lies inside the target
// (direct calls with corners off the buffer). Runs of 16 pixels, each ending
// on an exact division, then a tail that ends exactly at the last pixel. One
// place draws every run, whole or clipped, which keeps each of the many
// writer instances small: depth and colours restart from the span's start,
// which is the same 32-bit value the per-pixel steps reach.
template <int Lighting, bool Key, bool Depth, bool Masked, int Op>
void TextureSpan(uint16_t *frame, int32_t *depth, int32_t y, const EdgeWalker<Interpolants(Lighting)> &leftEdge,
                 const EdgeWalker<Interpolants(Lighting)> &rightEdge, int32_t from, int32_t to) {
    const int32_t xLeft = leftEdge.x, xRight = rightEdge.x;
    if (xRight - xLeft < 1) return;
    const float *left = leftEdge.value, *right = rightEdge.value;
    const TextureState &s = g_tex;
    int32_t runs = (xRight - xLeft) >> kRunShift, rest = (xRight - xLeft) & kRunMask;
    if (rest == 0) {  // the last pixels always go through the tail
        rest = kRunLength;
        runs -= 1;
    }
    Cursor start{};
    if constexpr (Depth) {
        start.d = ToDepth(left[kZ]);
        start.dd = s.dd;
    }
    if constexpr (Lighting == kTextureGouraud) {
        for (int i = 0; i < 3; ++i) {
            start.c[i] = To16_16(left[kRed + i]) + uint32_t(s.colorBias[i]);
            start.dc[i] = To16_16(s.colorDdx[i]);
        }
    }
    const uint32_t ditherRow = uint32_t(y & 3);
    float z = left[kZ], u = left[kU], v = left[kV];
    float r = 1.0f / z;
    float uStart = u * r, vStart = v * r;
    for (int32_t k = 0, x = xLeft; x < to; ++k, x += kRunLength) {
        float uEnd, vEnd;
        Cursor at = start;
        at.U = To16_16(uStart) + uint32_t(s.biasU);
        at.V = To16_16(vStart) + uint32_t(s.biasV);
        int32_t count = kRunLength;
        if (k < runs) {
            z += s.zRun;
            u += s.uRun;
            v += s.vRun;
            r = 1.0f / z;
            uEnd = u * r;
            vEnd = v * r;
            at.dU = uint32_t(int32_t(To16_16(uEnd - uStart)) >> kRunShift);
            at.dV = uint32_t(int32_t(To16_16(vEnd - vStart)) >> kRunShift);
        } else {
            r = 1.0f / (right[kZ] - s.dzdx);
            uEnd = (right[kU] - s.dudx) * r;
            vEnd = (right[kV] - s.dvdx) * r;
            at.dU = at.dV = 0;
            if (rest > 1) {
                at.dU = uint32_t(int32_t(To16_16(uEnd - uStart)) / (rest - 1));
                at.dV = uint32_t(int32_t(To16_16(vEnd - vStart)) / (rest - 1));
            }
            count = rest;
        }
        const int32_t begin = x > from ? x : from;
        const int32_t end = x + count < to ? x + count : to;
        if (begin < end) {
            const uint32_t skip = uint32_t(begin - x), offset = uint32_t(begin - xLeft);
            at.U += skip * at.dU;
            at.V += skip * at.dV;
            at.d = start.d + offset * start.dd;
            for (int i = 0; i < 3; ++i) at.c[i] = start.c[i] + offset * start.dc[i];
            Pixels<Lighting, Key, Depth, Masked, Op>(frame, depth, begin, end - begin, at, ditherRow, xRight);
        }
        if (k == runs) return;
        uStart = uEnd;
        vStart = vEnd;
    }
}

template <int Lighting>
using TextureSpanWriter = void (*)(uint16_t *, int32_t *, int32_t, const EdgeWalker<Interpolants(Lighting)> &,
                                   const EdgeWalker<Interpolants(Lighting)> &, int32_t, int32_t);

// [scalar, SSE2 replace, SSE2 replace with colour key]
template <int Lighting, bool Depth, bool Masked>
constexpr TextureSpanWriter<Lighting> kWriters[3] = {TextureSpan<Lighting, false, Depth, Masked, kAnyBlend>,
                                                     TextureSpan<Lighting, false, Depth, Masked, kReplace>,
                                                     TextureSpan<Lighting, true, Depth, Masked, kReplace>};

// [depth pass][power-of-two form]
template <int Lighting>
constexpr const TextureSpanWriter<Lighting> *kWriterGroups[2][2] = {
    {kWriters<Lighting, false, false>, kWriters<Lighting, false, true>},
    {kWriters<Lighting, true, false>, kWriters<Lighting, true, true>}};

// The edge walk of the solid fillers, handing both edges to the writer: the
// tail of a span takes its end values from the right edge.
template <int N, class Writer>
void Scan(TriangleSetUp<N> &s, const RasterTarget &t, Writer writer) {
    EdgeWalker<N> *left = s.middleOnRight ? &s.longEdge : &s.topEdge;
    EdgeWalker<N> *right = s.middleOnRight ? &s.topEdge : &s.longEdge;
    for (int part = 0; part < 2; ++part) {
        EdgeWalker<N> &shortEdge = part == 0 ? s.topEdge : s.bottomEdge;
        if (s.middleOnRight) right = &shortEdge;
        else left = &shortEdge;
        for (int32_t h = shortEdge.height; h > 0; --h) {
            const int32_t y = left->y;
            if (y >= t.height) return;
            if (y >= 0) {
                const int32_t from = left->x > 0 ? left->x : 0;
                const int32_t to = right->x < t.width ? right->x : t.width;
                if (from < to) {
                    const size_t row = size_t(y) * size_t(t.pitch);
                    writer(t.frame + row, t.depth ? t.depth + row : nullptr, y, *left, *right, from, to);
                }
            }
            left->Advance();
            right->Advance();
        }
    }
}

// Sign of the true coordinate's slope along x (then y): u = (u/z) / (1/z).
inline Fixed16_16 CoordinateBias(float dqdx, float dzdx, float dqdy, float dzdy, float zA, float qA) {
    const float sx = dqdx * zA - qA * dzdx;
    if (sx > 0.0f) return 0x8000;
    if (sx < 0.0f) return 0x7FFF;
    return dqdy * zA - qA * dzdy >= 0.0f ? 0x8000 : 0x7FFF;
}

template <int Lighting>
void Fill(E3DPolygon *p, E3DVertex *vertices, const RasterTarget &target, int map, bool depthPass, bool vector) {
    constexpr int N = Interpolants(Lighting);
    const bool key = map == kOpacityMap;
    const RasterTables &tables = g_rasterTables;
    const bool back = (p->flags & kPolygonBackShowing) != 0;
    const E3DMaterial *material = back ? p->backMaterial : p->material;
    if (!material) return;  // Guard: a hand-made polygon without a material draws nothing
    const TextureLayerView layer = ReadTextureLayer(material->layers[map]);
    if (!layer.texels) return;
    if (Lighting != kTextureUnlit && !(tables.scale && tables.scaleGreen && tables.scaleRed)) return;

    uint32_t blend = material->alphaMode & 3u;
    if (blend == kOpacity) {
        const uint32_t level = material->alphaLevel;
        if (level == 0) return;
        if (level >= 255) {
            blend = kReplace;
        } else {
            if (!tables.product) return;
            // The unlit family stores the level itself as the frame's weight.
            const uint32_t weight = Lighting == kTextureUnlit ? level : 255 - level;
            g_tex.destWeight = tables.product + weight * 32;
            g_tex.sourceWeight = tables.product + (255 - weight) * 32;
        }
    }
    if (layer.wraps) {
        g_textureMasks.u = uint32_t(layer.width - 1);
        g_textureMasks.v = uint32_t(layer.height - 1);
    }
    g_tex.blend = int(blend);
    g_tex.key = key;
    const int kind = vector && blend == kReplace ? (key ? 2 : 1) : 0;
    const TextureSpanWriter<Lighting> writer = kWriterGroups<Lighting>[depthPass ? 1 : 0][layer.maskedForm ? 1 : 0][kind];
    g_tex.texels = layer.texels;
    g_tex.shift = layer.shift;
    g_tex.lastTexel = int64_t(layer.height - 1) * layer.shift + (layer.width - 1);
    if constexpr (Lighting == kTextureFlat) {
        const uint32_t k = p->color;
        g_tex.level8[0] = _mm_set1_epi16(int16_t(Blue5(k)));
        g_tex.level8[1] = _mm_set1_epi16(int16_t(Green5(k)));
        g_tex.level8[2] = _mm_set1_epi16(int16_t(Red5(k) << 6));
        for (uint32_t i = 0; i < 32; ++i) {
            g_tex.light[i] = tables.scale[Blue5(k) * 32 + i];
            g_tex.light[32 + i] = tables.scaleGreen[Green5(k) * 32 + i];
            g_tex.light[64 + i] = tables.scaleRed[Red5(k) * 32 + i];
        }
    }

    const int pair = map == kEnvironmentMap ? 2 : 0;
    const uint32_t colors[3] = {p->color, p->color1, p->color2};
    // The back side takes the corners in stored order, the front reversed,
    // so both sides keep the same screen winding.
    const int order[3] = {back ? 0 : 2, 1, back ? 2 : 0};
    SetUpCorner<N> corner[3];
    for (int i = 0; i < 3; ++i) {
        const int slot = order[i];
        const E3DVertex &v = vertices[p->vertex[slot]];
        corner[i].x = ToFixed28_4(v.screenX);
        corner[i].y = ToFixed28_4(v.screenY);
        corner[i].attr[kZ] = v.invDepth;
        corner[i].attr[kU] = p->coords[slot][pair];
        corner[i].attr[kV] = p->coords[slot][pair + 1];
        if constexpr (Lighting == kTextureGouraud) {
            const uint32_t k = colors[slot];
            corner[i].attr[kRed] = float((k >> 16) & 255u);
            corner[i].attr[kRed + 1] = float((k >> 8) & 255u);
            corner[i].attr[kRed + 2] = float(k & 255u);
        }
    }
    TriangleSetUp<N> s;
    if (!SetUpTriangle(s, corner[0], corner[1], corner[2])) return;
    g_tex.dzdx = s.ddx[kZ];
    const uint32_t dd = ToDepth(s.ddx[kZ]);
    g_tex.dd = dd;
    g_tex.ddLanes = _mm_set_epi32(int32_t(3 * dd), int32_t(2 * dd), int32_t(dd), 0);
    g_tex.dd4 = _mm_set1_epi32(int32_t(4 * dd));
    g_tex.dd8 = _mm_set1_epi32(int32_t(8 * dd));
    g_tex.dudx = s.ddx[kU];
    g_tex.dvdx = s.ddx[kV];
    g_tex.zRun = float(kRunLength) * s.ddx[kZ];
    g_tex.uRun = float(kRunLength) * s.ddx[kU];
    g_tex.vRun = float(kRunLength) * s.ddx[kV];
    const float zA = corner[0].attr[kZ];
    g_tex.biasU = CoordinateBias(s.ddx[kU], s.ddx[kZ], s.ddy[kU], s.ddy[kZ], zA, corner[0].attr[kU]);
    g_tex.biasV = CoordinateBias(s.ddx[kV], s.ddx[kZ], s.ddy[kV], s.ddy[kZ], zA, corner[0].attr[kV]);
    if constexpr (Lighting == kTextureGouraud) {
        for (int c = 0; c < 3; ++c) {
            g_tex.colorBias[c] = ChannelBias(s.ddx[kRed + c], s.ddy[kRed + c]);
            g_tex.colorDdx[c] = s.ddx[kRed + c];
        }
    }
    Scan(s, target, writer);
}

using TextureFiller = void (*)(E3DPolygon *, E3DVertex *, const RasterTarget &, int, bool, bool);

constexpr TextureFiller kFills[3] = {Fill<kTextureUnlit>, Fill<kTextureFlat>, Fill<kTextureGouraud>};

}  // namespace

void TextureFill(E3DPolygon *polygon, E3DVertex *vertices, const RasterTarget &target, TextureLighting lighting,
                 TextureMapKind map, bool depthPass, bool reference) {
    if (!target.frame || (depthPass && !target.depth)) return;
    kFills[lighting](polygon, vertices, target, map, depthPass, !reference);
}

}  // namespace e3d
