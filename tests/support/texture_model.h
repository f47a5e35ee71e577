// A slow model of the stepping fillers (textured, and the solid ones lit
// without a texture), pixel by pixel: every pixel's texel coordinates are
// recomputed from the run it falls in, no stepping carried along the span.
#pragma once

#include "support/raster_model.h"

namespace e3dtest {

struct TextureModel {
    int lighting = 1;  // 0 unlit, 1 flat, 2 Gouraud; solid fillers: 3 Gouraud, 4 flat
    int map = 0;       // 0 diffuse, 1 opacity (colour key), 2 environment
    uint32_t uMask = 127, vMask = 127;  // the model's own engine-wide masks
    int clampedFetches = 0;             // row-length fetches outside the texture
    std::vector<int> spanLengths;       // every non-empty span drawn

    struct Walker {
        int64_t x = 0, xStep = 0, numerator = 0, denominator = 1, error = 0, y = 0, height = 0;
        float value[6] = {}, step[6] = {}, extra[6] = {};
        void Advance() {
            x += xStep, y += 1, height -= 1, error += numerator;
            const bool carry = error >= denominator;
            if (carry) x += 1, error -= denominator;
            for (int k = 0; k < 6; ++k) {
                value[k] += step[k];
                if (carry) value[k] += extra[k];
            }
        }
    };
    const uint16_t *texels = nullptr;  // per triangle, for the spans
    int64_t shift = 0, width = 0, height = 0;
    bool powerOfTwo = false, key = false;
    int blend = 0;
    uint32_t frameWeight = 0, colour = 0, bias[2] = {}, colourBias[3] = {};
    float ddx[6] = {};

    // round(x) to 32 bits, wrapping.
    static uint32_t Round32(float x) { return uint32_t(uint64_t(std::llrint(x))); }
    static uint32_t Fix16(float x) { return Round32(x * 65536.0f); }

    // Draws into frame/depth rows of `pitch`; corners must lie in the buffer.
    void Draw(const E3DPolygon &p, const E3DVertex *vertices, uint16_t *frame, int32_t *depth, int pitch) {
        const bool back = (p.flags & 0x80u) != 0;
        const E3DMaterial &m = back ? *p.backMaterial : *p.material;
        const E3DTextureLayer &layer = m.layers[map];
        texels = layer.mode & 2u ? reinterpret_cast<const uint16_t *>(reinterpret_cast<const uint8_t *>(layer.texture->pixels) +
                                                                      (layer.texture->reserved2[4] & ~1u))
                                 : layer.pixels;
        powerOfTwo = (layer.mode & 0x40000000u) != 0;
        shift = layer.shift, width = layer.width, height = layer.height, colour = p.color;
        // The flat solid fillers' "no colour": the key pixel, replaced, on the painter's pass.
        key = lighting == 4 && !depth && p.color == 0x80000000u;
        blend = key ? 0 : m.alphaMode;
        if (blend == 2) {
            if (m.alphaLevel == 0) return;
            if (m.alphaLevel == 255) blend = 0;
            frameWeight = lighting == 0 ? m.alphaLevel : 255u - m.alphaLevel;
        }
        if (powerOfTwo) uMask = uint32_t(layer.width - 1), vMask = uint32_t(layer.height - 1);

        // Corners A, B, C: x, y in 28.4 and z, u, v (then r, g, b).
        const int slots[3] = {back ? 0 : 2, 1, back ? 2 : 0};
        const uint32_t colours[3] = {p.color, p.color1, p.color2};
        int64_t cx[3], cy[3];
        float q[3][6];
        const int pair = map == 2 ? 2 : 0;
        for (int i = 0; i < 3; ++i) {
            const E3DVertex &v = vertices[p.vertex[slots[i]]];
            cx[i] = std::lrint(v.screenX * 16.0f), cy[i] = std::lrint(v.screenY * 16.0f);
            q[i][0] = v.invDepth, q[i][1] = p.coords[slots[i]][pair], q[i][2] = p.coords[slots[i]][pair + 1];
            for (int c = 0; c < 3; ++c) q[i][3 + c] = float((colours[slots[i]] >> (16 - 8 * c)) & 255);
        }
        if (cy[0] == cy[1] && cy[1] == cy[2]) return;
        // Corner sort with its tie rules; a rotation of A, B, C puts the
        // middle corner on the right.
        int top, mid, bot;
        bool middleRight;
        if (cy[0] < cy[1]) {
            if (cy[2] < cy[0]) top = 2, mid = 0, bot = 1, middleRight = true;
            else if (cy[1] < cy[2]) top = 0, mid = 1, bot = 2, middleRight = true;
            else top = 0, mid = 2, bot = 1, middleRight = false;
        } else {
            if (cy[2] < cy[1]) top = 2, mid = 1, bot = 0, middleRight = false;
            else if (cy[0] < cy[2]) top = 1, mid = 0, bot = 2, middleRight = false;
            else top = 1, mid = 2, bot = 0, middleRight = true;
        }

        // Plane gradients.
        const float D = (float(cy[0] - cy[2]) * float(cx[1] - cx[2]) / 256.0f) -
                        (float(cy[1] - cy[2]) * float(cx[0] - cx[2]) / 256.0f);
        if (D == 0.0f) return;
        const float inv = 1.0f / D;
        float ddy[6];
        for (int k = 0; k < 6; ++k) {
            const float qa = q[0][k] - q[2][k], qb = q[1][k] - q[2][k];
            ddx[k] = (qb * float(cy[0] - cy[2]) / 16.0f - qa * float(cy[1] - cy[2]) / 16.0f) * inv;
            ddy[k] = (qb * float(cx[0] - cx[2]) / 16.0f - qa * float(cx[1] - cx[2]) / 16.0f) * -inv;
        }
        // Rounding biases of u and v from the true coordinates' slopes.
        for (int k = 1; k <= 2; ++k) {
            const float sx = ddx[k] * q[0][0] - q[0][k] * ddx[0], sy = ddy[k] * q[0][0] - q[0][k] * ddy[0];
            bias[k - 1] = sx > 0.0f ? 0x8000u : (sx < 0.0f ? 0x7FFFu : (sy >= 0.0f ? 0x8000u : 0x7FFFu));
        }
        for (int c = 0; c < 3; ++c)
            colourBias[c] = (ddx[3 + c] > 0.0f || (ddx[3 + c] == 0.0f && ddy[3 + c] >= 0.0f)) ? 0x8000u : 0x7FFFu;

        auto edge = [&](int t, int b) {
            Walker w;
            const int64_t yStart = FloorDiv(cy[t] + 15, 16), yEnd = FloorDiv(cy[b] + 15, 16);
            w.y = yStart, w.height = std::max<int64_t>(0, yEnd - yStart);
            if (w.height == 0) return w;
            const int64_t dY = cy[b] - cy[t], dX = cx[b] - cx[t];
            const int64_t n = (16 * yStart - cy[t]) * dX + (cx[t] + 16) * dY - 1;
            w.x = FloorDiv(n, 16 * dY), w.error = n - 16 * dY * w.x;
            w.xStep = FloorDiv(16 * dX, 16 * dY), w.numerator = 16 * dX - 16 * dY * w.xStep, w.denominator = 16 * dY;
            for (int k = 0; k < 6; ++k) {
                w.value[k] = q[t][k] + float(16 * yStart - cy[t]) * (1.0f / 16.0f) * ddy[k] +
                             float(16 * w.x - cx[t]) * (1.0f / 16.0f) * ddx[k];
                w.step[k] = float(w.xStep) * ddx[k] + ddy[k], w.extra[k] = ddx[k];
            }
            return w;
        };
        Walker longEdge = edge(top, bot), topEdge = edge(top, mid), bottomEdge = edge(mid, bot);
        for (Walker *shortEdge : {&topEdge, &bottomEdge}) {
            Walker &left = middleRight ? longEdge : *shortEdge, &right = middleRight ? *shortEdge : longEdge;
            for (; shortEdge->height > 0; left.Advance(), right.Advance())
                Span(left, right, frame + left.y * pitch, depth ? depth + left.y * pitch : nullptr);
        }
    }

    void Span(const Walker &left, const Walker &right, uint16_t *frameRow, int32_t *depthRow) {
        const int64_t n = right.x - left.x;
        if (n < 1) return;
        spanLengths.push_back(int(n));
        int64_t runs = n / 16, rest = n % 16;
        if (rest == 0) rest = 16, runs -= 1;
        uint32_t drawn = 0;  // the additive flat writer steps its depth on drawn pixels only
        for (int64_t i = 0; i < n; ++i) {
            const int64_t x = left.x + i;
            // The run this pixel falls in, its start and its end values.
            const int64_t k = i < 16 * runs ? i / 16 : runs;
            float z = left.value[0], u = left.value[1], v = left.value[2];
            for (int64_t r = 0; r < k; ++r) z += 16.0f * ddx[0], u += 16.0f * ddx[1], v += 16.0f * ddx[2];
            const float uStart = u * (1.0f / z), vStart = v * (1.0f / z);
            uint32_t dU = 0, dV = 0;  // steps within the run
            if (k < runs) {
                const float zEnd = z + 16.0f * ddx[0];
                const float uEnd = (u + 16.0f * ddx[1]) * (1.0f / zEnd), vEnd = (v + 16.0f * ddx[2]) * (1.0f / zEnd);
                dU = uint32_t(int32_t(Fix16(uEnd - uStart)) >> 4), dV = uint32_t(int32_t(Fix16(vEnd - vStart)) >> 4);
            } else if (rest > 1) {
                const float zLast = 1.0f / (right.value[0] - ddx[0]);
                const float uEnd = (right.value[1] - ddx[1]) * zLast, vEnd = (right.value[2] - ddx[2]) * zLast;
                dU = uint32_t(int32_t(Fix16(uEnd - uStart)) / int32_t(rest - 1));
                dV = uint32_t(int32_t(Fix16(vEnd - vStart)) / int32_t(rest - 1));
            }
            const uint32_t j = uint32_t(i - 16 * k);
            const int32_t U = int32_t(Fix16(uStart) + bias[0] + j * dU), V = int32_t(Fix16(vStart) + bias[1] + j * dV);
            int32_t d = 0;
            if (depthRow) {
                const uint32_t steps = lighting == 4 && blend == 1 ? drawn : uint32_t(i);
                d = int32_t(Round32(left.value[0] * 1073741824.0f) + steps * Round32(ddx[0] * 1073741824.0f));
                if (!(d > depthRow[x])) continue;
                ++drawn;
            }
            uint32_t t = 0;
            if (lighting < 3) {  // the solid fillers read no texture
                if (powerOfTwo) {
                    t = texels[((uint32_t(V >> 16) & vMask) << shift) | (uint32_t(U >> 16) & uMask)];
                } else {
                    int64_t index = int64_t(V >> 16) * shift + (U >> 16);
                    const int64_t last = (height - 1) * shift + width - 1;
                    if (index < 0 || index > last) ++clampedFetches, index = index < 0 ? 0 : last;
                    t = texels[index];
                }
                if (map == 1 && t == 0x8000) continue;  // the colour key: nothing written
            }
            uint32_t s = lighting == 0 ? t : key ? 0x8000u : Pixel555(colour);
            if (lighting >= 1 && lighting <= 3) {
                uint32_t level[3];
                const int column = depthRow ? int(x & 3) : int((x - right.x) & 3);
                for (int c = 0; c < 3; ++c) {
                    if (lighting == 1) {
                        level[c] = (colour >> (19 - 8 * c)) & 31;
                        continue;
                    }
                    const int32_t value = int32_t(Fix16(left.value[3 + c]) + colourBias[c] + uint32_t(i) * Fix16(ddx[3 + c]));
                    uint32_t v8 = uint32_t(std::clamp(value >> 16, 0, 255));
                    const uint32_t d5 = (frameRow[x] >> (c == 2 && blend == 3 ? 5 : 10 - 5 * c)) & 31;
                    if (lighting == 3) v8 = Blend8(v8, d5, uint32_t(blend), int32_t(frameWeight));
                    level[c] = Dithered(v8, int(left.y), column);
                }
                s = 0;
                for (int c = 0; c < 3; ++c) s = s << 5 | (lighting == 3 ? level[c] : (level[c] * ((t >> (10 - 5 * c)) & 31)) >> 5);
            }
            frameRow[x] = lighting == 3 ? uint16_t(s) : Combine(s, frameRow[x], uint32_t(blend), frameWeight, depthRow != nullptr);
            if (depthRow && blend == 0) depthRow[x] = d;
        }
    }
};

}  // namespace e3dtest
