// The fillers' test bench: a viewport-backed canvas, a hand-made triangle,
// slow exact models (lines, blend operators, dither) and the one harness
// that runs every filler family on random input against its model.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <vector>

#include "core/view.h"
#include "raster/raster.h"

namespace e3dtest {

using e3d::RasterTarget;
using Pixel = std::pair<int, int>;
constexpr uint16_t kGuardValue = 0x5A5A;

// A w x h surface in rows of `pitch` pixels plus guard rows below, bound to
// a viewport that is current with clip bounds loaded; the columns past the
// width and the rows below keep kGuardValue unless something strays there.
struct Canvas {
    int width, height, pitch;
    std::vector<uint16_t> pixels;
    E3DTexture surface{};
    E3DViewport *viewport;
    Canvas(int w, int h, bool depth = false, uint16_t fill = 0, int p = 0)
        : width(w), height(h), pitch(p ? p : w), pixels(size_t(pitch) * (h + 4), kGuardValue) {
        InitEngine3D();
        Clear(fill);
        surface.pixels = pixels.data(), surface.pitch = 2 * pitch;
        viewport = CreateViewport(&surface, w, h, depth ? 1 : 0, 0);
        e3d::SetRasterContext(viewport, nullptr), e3d::LoadClipBounds(viewport);
    }
    ~Canvas() {
        e3d::SetRasterContext(nullptr, nullptr);
        DeleteViewport(viewport);
        ReleaseEngine3D();
    }
    Canvas(const Canvas &) = delete;
    void Clear(uint16_t fill = 0) {
        for (int y = 0; y < height; ++y) std::fill_n(pixels.begin() + size_t(y) * pitch, width, fill);
    }
    void Scissor(float x0, float x1, float y0, float y1) {
        SetViewportScissor(viewport, x0, x1, y0, y1);
        e3d::LoadClipBounds(viewport);
    }
    RasterTarget Target() { return RasterTarget{pixels.data(), viewport->depthBuffer, pitch, width, height}; }
    int32_t *Depth() { return viewport->depthBuffer; }
    uint16_t At(int x, int y) const { return pixels[size_t(y) * pitch + x]; }
    int32_t DepthAt(int x, int y) const { return viewport->depthBuffer[size_t(y) * pitch + x]; }
    bool GuardsIntact() const {
        for (size_t i = 0; i < pixels.size(); ++i)
            if ((int(i % pitch) >= width || int(i / pitch) >= height) && pixels[i] != kGuardValue) return false;
        return true;
    }
    std::map<Pixel, uint16_t> Changed(uint16_t background = 0) const {  // the pixels inside that differ
        std::map<Pixel, uint16_t> m;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                if (At(x, y) != background) m[{x, y}] = At(x, y);
        return m;
    }
};

// One triangle over corners 0, 1, 2 with both materials, back side (0x80)
// drawn unless changed. Not copyable: the polygon points into it.
struct Triangle {
    E3DVertex v[3]{};
    E3DPolygon p{};
    E3DMaterial front{}, back{};
    bool depthPass = false;
    Triangle() {
        for (int i = 0; i < 3; ++i) p.vertex[i] = i, v[i].invDepth = 0.5f;
        p.flags = 0x80, p.color = p.color1 = p.color2 = 0xFFFFFF, p.material = &front, p.backMaterial = &back;
    }
    Triangle(float x0, float y0, float x1, float y1, float x2, float y2, uint32_t flags = 0x80) : Triangle() {
        Corner(0, x0, y0), Corner(1, x1, y1), Corner(2, x2, y2), p.flags = flags;
    }
    Triangle(const Triangle &) = delete;
    E3DMaterial &Side() { return p.flags & 0x80 ? back : front; }
    // Corner i at (x, y), reciprocal depth z, texel (u, tv) on a coordinate pair.
    void Corner(int i, float x, float y, float z = 0.5f, float u = 0, float tv = 0, int pair = 0) {
        v[i].screenX = x, v[i].screenY = y, v[i].invDepth = z;
        p.coords[i][pair] = u * z, p.coords[i][pair + 1] = tv * z;
    }
};

// The filler the selection table names for a draw mode, shade and pass.
inline e3d::TriangleFillerRoutine Selected(uint32_t shade, uint32_t drawMode, bool depthPass) {
    const uint32_t mode = drawMode << 20 | shade;
    return e3d::FillerTable[shade][depthPass ? e3d::DepthPassFillerIndex(mode) : e3d::SortedPassFillerIndex(mode)];
}

inline int64_t FloorDiv(int64_t n, int64_t d) { return n / d - (n % d < 0 ? 1 : 0); }  // d > 0

// The pixels of the line from (x0, y0) to (x1, y1), ends rounded to nearest
// (ties to even), the first end drawn and the second not; one pixel per
// step of the longer axis, the other coordinate the exact value rounded to
// nearest with a tie going down. Worked with a floor and a comparison of
// the remainder, not with an error term.
inline std::vector<Pixel> ModelLine(float fx0, float fy0, float fx1, float fy1) {
    const int64_t x0 = int64_t(std::nearbyint(fx0)), y0 = int64_t(std::nearbyint(fy0));
    const int64_t dx = int64_t(std::nearbyint(fx1)) - x0, dy = int64_t(std::nearbyint(fy1)) - y0;
    const bool yMajor = std::llabs(dy) > std::llabs(dx);
    const int64_t length = yMajor ? std::llabs(dy) : std::llabs(dx);
    std::vector<Pixel> out;
    for (int64_t i = 0; i < length; ++i) {
        const int64_t major = (yMajor ? y0 : x0) + ((yMajor ? dy : dx) > 0 ? i : -i);
        // Minor value n0 + i * a / length as (numerator / length).
        const int64_t numerator = (yMajor ? x0 : y0) * length + i * (yMajor ? dx : dy);
        const int64_t k = FloorDiv(numerator, length), rest = numerator - k * length;
        const int minor = int(k + (2 * rest > length ? 1 : 0));
        out.push_back(yMajor ? Pixel{minor, int(major)} : Pixel{int(major), minor});
    }
    return out;
}

// The four blend operators per channel: replace, additive (red and green
// lose their lowest bit, blue saturates at 31), opacity weighting the frame
// by frameWeight / 256, and the packed subtraction with its guard bits on
// the source (painter's form) or on the frame (depth form).
inline uint16_t Combine(uint32_t s, uint32_t d, uint32_t blend, uint32_t frameWeight, bool depthForm) {
    const uint32_t s3[3] = {(s >> 10) & 31, (s >> 5) & 31, s & 31}, d3[3] = {(d >> 10) & 31, (d >> 5) & 31, d & 31};
    uint32_t out = 0;
    switch (blend) {
        case 0: return uint16_t(s);
        case 1:
            for (uint32_t c = 0, keep = 30; c < 3; ++c, keep = c < 2 ? 30 : 31) out = out << 5 | std::min((s3[c] & keep) + (d3[c] & keep), keep);
            return uint16_t(out);
        case 2:
            for (int c = 0; c < 3; ++c) out = out << 5 | ((frameWeight * d3[c] + (255 - frameWeight) * s3[c]) >> 8);
            return uint16_t(out);
        default: {
            const uint32_t diff = depthForm ? (s & 0x7BDF) - (d | 0x8420) : (s | 0x8420) - (d & 0x7BDF), t = diff & 0x8420;
            return uint16_t(diff & (t - (t >> 5)));
        }
    }
}

// The solid Gouraud blends, on an 8-bit channel and a 5-bit frame channel.
inline uint32_t Blend8(uint32_t v, uint32_t d5, uint32_t blend, int32_t weight) {
    if (blend == 1) return std::min(v + 8 * d5, 255u);
    if (blend == 3) return v > 8 * d5 ? v - 8 * d5 : 0;
    const int32_t s = int32_t(v >> 3) << 10, d = int32_t(d5) << 10;
    return blend == 0 ? v : uint32_t((s + (((d - s) * weight) >> 8)) >> 7);
}

inline uint16_t Pixel555(uint32_t k) { return uint16_t(((k >> 19) & 31) << 10 | ((k >> 11) & 31) << 5 | ((k >> 3) & 31)); }

// An 8-bit channel to 5 bits at a cell of the 4 x 4 ordered dither.
inline uint32_t Dithered(uint32_t v, int row, int column) {
    static const int matrix[4][4] = {{0, 4, 1, 5}, {6, 2, 7, 3}, {1, 5, 0, 4}, {7, 3, 6, 2}};
    return (v >> 3) + ((v & 7) > uint32_t(matrix[row & 3][column & 3]) && v < 248 ? 1 : 0);
}

// A filler family on random input: make(rng, round, t) builds a triangle,
// engine(t, canvas) draws it, model(t, target) draws it into a copy of the
// canvas (frame, guards, depth). Every pixel and depth value must agree.
// Stored depths: some exactly the first corner's.
// Returns the number of rounds that changed the frame.
template <class Make, class Engine, class Model>
int AgainstModel(const char *name, uint32_t seed, int rounds, int w, int h, Make make, Engine engine, Model model) {
    std::mt19937 rng(seed);
    Canvas c(w, h, true, 0, w + 5);
    const size_t n = c.pixels.size(), depthN = size_t(c.pitch) * h;
    int changed = 0;
    for (int round = 0; round < rounds; ++round) {
        Triangle t;
        make(rng, round, t);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) c.pixels[size_t(y) * c.pitch + x] = uint16_t(rng() & 0x7FFF);
        const int32_t z = e3d::RoundToInt32(t.v[0].invDepth * e3d::kDepthScale);
        for (size_t i = 0; i < depthN;) {  // runs that all pass, all fail, or sit near the first corner
            const uint32_t kind = rng() % 4, run = 1 + rng() % 24, near[2] = {uint32_t(z), uint32_t(z) - 1};
            for (uint32_t k = 0; k < run && i < depthN; ++k, ++i)
                c.Depth()[i] = kind == 0 ? INT32_MIN : kind == 1 ? INT32_MAX : int32_t(rng() % 2 ? near[rng() % 2] : rng() % 0x40000000u);
        }
        const std::vector<uint16_t> before(c.pixels);
        std::vector<uint16_t> frame(before);
        std::vector<int32_t> depth(c.Depth(), c.Depth() + depthN);
        engine(t, c);
        model(t, RasterTarget{frame.data(), depth.data(), c.pitch, w, h});
        for (size_t i = 0; i < n; ++i) {
            if (c.pixels[i] != frame[i] || (i < depthN && c.Depth()[i] != depth[i])) {
                ADD_FAILURE() << name << " round " << round << " pixel " << i % c.pitch << "," << i / c.pitch << " got "
                              << c.pixels[i] << " want " << frame[i] << " depth " << c.Depth()[i % depthN] << " want " << depth[i % depthN];
                return changed;
            }
        }
        changed += c.pixels != before;
    }
    return changed;
}

}  // namespace e3dtest
