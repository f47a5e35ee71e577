// Gouraud solid fillers. The span writers of both passes come from one
// template body; the depth pass anchors the dither at the screen column, the
// sorted pass at each span's right end.
#include "raster/gouraud_solid.h"

#include <cmath>

namespace e3d {

namespace {

enum Blend { kReplace = 0, kAdditive = 1, kOpacity = 2, kSubtractive = 3 };

// Per-triangle values the span writers read.
struct GouraudState {
    Fixed16_16 bias[3];
    float ddx[4];       // z (depth pass), r, g, b per pixel
    int32_t weight;     // 255 - opacity level
};

GouraudState g_state;

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

inline int32_t ToFixed(float value, float scale) { return int32_t(std::lrint(value * scale)); }

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

using GouraudSpanWriter = void (*)(uint16_t *, int32_t *, int32_t, int32_t, int32_t, int32_t, int32_t,
                                   const float *);

constexpr GouraudSpanWriter kSortedSpans[4] = {GouraudSpan<kReplace, false>, GouraudSpan<kAdditive, false>,
                                               GouraudSpan<kOpacity, false>, GouraudSpan<kSubtractive, false>};
constexpr GouraudSpanWriter kDepthSpans[4] = {GouraudSpan<kReplace, true>, GouraudSpan<kAdditive, true>,
                                              GouraudSpan<kOpacity, true>, GouraudSpan<kSubtractive, true>};

// 0x8000 when the channel rises to the right (or is flat across and rises
// downward), else 0x7FFF.
inline Fixed16_16 ChannelBias(float ddx, float ddy) {
    return (ddx > 0.0f || (ddx == 0.0f && ddy >= 0.0f)) ? 0x8000 : 0x7FFF;
}

template <int N>
void Fill(E3DPolygon *p, E3DVertex *vertices, const RasterTarget &target, const GouraudSpanWriter *group) {
    const bool back = (p->flags & 0x80u) != 0;
    const E3DMaterial *material = back ? p->backMaterial : p->material;
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
    const GouraudSpanWriter writer = group[blend];
    ScanTriangle(s, target, writer);
}

}  // namespace

void GouraudSolidFill(E3DPolygon *polygon, E3DVertex *vertices, const RasterTarget &target, bool depthPass) {
    if (!target.frame || (depthPass && !target.depth)) return;
    if (depthPass) Fill<4>(polygon, vertices, target, kDepthSpans);
    else Fill<3>(polygon, vertices, target, kSortedSpans);
}

}  // namespace e3d
