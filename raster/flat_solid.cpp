// Flat solid fillers. The eight span writers (four operators, two passes)
// come from one template body.
#include "raster/flat_solid.h"

#include <cmath>

#include "raster/pixel.h"

namespace e3d {

namespace {

enum Blend { kReplace = 0, kAdditive = 1, kOpacity = 2, kSubtractive = 3 };

// Per-triangle colour values the span writers read.
struct FlatState {
    uint32_t pixel;
    uint32_t weighted[3];  // L x channel, for the opacity operator
    uint32_t destWeight;   // 255 - L
    float dzdx;
};

FlatState g_flat;

template <int Op, bool Depth>
void FlatSpan(uint16_t *frame, int32_t *depth, int32_t, int32_t xLeft, int32_t, int32_t from, int32_t to,
              const float *left) {
    const uint32_t s = g_flat.pixel;
    uint32_t z = 0, dz = 0;
    if constexpr (Depth) {
        z = uint32_t(int32_t(std::lrint(left[0] * kDepthScale)));
        dz = uint32_t(int32_t(std::lrint(g_flat.dzdx * kDepthScale)));
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

using FlatSpanWriter = void (*)(uint16_t *, int32_t *, int32_t, int32_t, int32_t, int32_t, int32_t, const float *);

constexpr FlatSpanWriter kSortedSpans[4] = {FlatSpan<kReplace, false>, FlatSpan<kAdditive, false>,
                                            FlatSpan<kOpacity, false>, FlatSpan<kSubtractive, false>};
constexpr FlatSpanWriter kDepthSpans[4] = {FlatSpan<kReplace, true>, FlatSpan<kAdditive, true>,
                                           FlatSpan<kOpacity, true>, FlatSpan<kSubtractive, true>};

template <int N>
void Fill(E3DPolygon *p, E3DVertex *vertices, const RasterTarget &target, const FlatSpanWriter *group) {
    const bool back = (p->flags & 0x80u) != 0;
    const E3DMaterial *material = back ? p->backMaterial : p->material;
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
    ScanTriangle(s, target, group[blend]);
}

}  // namespace

void FlatSolidFill(E3DPolygon *polygon, E3DVertex *vertices, const RasterTarget &target, bool depthPass) {
    if (!target.frame || (depthPass && !target.depth)) return;
    if (depthPass) Fill<1>(polygon, vertices, target, kDepthSpans);
    else Fill<0>(polygon, vertices, target, kSortedSpans);
}

}  // namespace e3d
