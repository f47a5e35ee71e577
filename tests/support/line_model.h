// A slow reference line stepper and a viewport canvas for the line, wire,
// dots and 2D tests.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "engine3d.h"
#include "core/view.h"
#include "raster/raster.h"

namespace e3dtest {

using Pixel = std::pair<int, int>;

// The pixels of the line from (x0, y0) to (x1, y1), ends rounded to nearest
// (ties to even), the first end drawn and the second not; one pixel per
// step of the longer axis, the other coordinate the exact value rounded to
// nearest with a tie going down. Worked with a floor and a comparison of
// the remainder, not with an error term.
inline std::vector<Pixel> ModelLine(float fx0, float fy0, float fx1, float fy1) {
    const int64_t x0 = int64_t(std::nearbyint(fx0)), y0 = int64_t(std::nearbyint(fy0));
    const int64_t x1 = int64_t(std::nearbyint(fx1)), y1 = int64_t(std::nearbyint(fy1));
    std::vector<Pixel> out;
    const int64_t dx = x1 - x0, dy = y1 - y0;
    const bool yMajor = std::llabs(dy) > std::llabs(dx);
    const int64_t length = yMajor ? std::llabs(dy) : std::llabs(dx);
    for (int64_t i = 0; i < length; ++i) {
        const int64_t major = (yMajor ? y0 : x0) + ((yMajor ? dy : dx) > 0 ? i : -i);
        // Minor value n0 + i * a / length as (numerator / length).
        const int64_t numerator = (yMajor ? x0 : y0) * length + i * (yMajor ? dx : dy);
        int64_t k = numerator / length, rest = numerator % length;
        if (rest < 0) k -= 1, rest += length;
        if (2 * rest > length) k += 1;
        out.push_back(yMajor ? Pixel{int(k), int(major)} : Pixel{int(major), int(k)});
    }
    return out;
}

constexpr uint16_t kGuardValue = 0x5A5A;

// A w x h surface (rows guarded below) bound to a viewport that is current,
// with the clip bounds loaded from its scissor. The engine is started for
// the tables the fillers use.
struct LineCanvas {
    int width, height;
    std::vector<uint16_t> pixels;
    E3DTexture surface{};
    E3DViewport *viewport;
    LineCanvas(int w, int h, bool depth = false, uint16_t fill = 0)
        : width(w), height(h), pixels(size_t(w) * (h + 4), kGuardValue) {
        InitEngine3D();
        for (size_t i = 0; i < size_t(w) * h; ++i) pixels[i] = fill;
        surface.pixels = pixels.data();
        surface.pitch = 2 * w;
        viewport = CreateViewport(&surface, w, h, depth ? 1 : 0, 0);
        e3d::SetRasterContext(viewport, nullptr);
        e3d::LoadClipBounds(viewport);
    }
    ~LineCanvas() {
        e3d::SetRasterContext(nullptr, nullptr);
        DeleteViewport(viewport);
        ReleaseEngine3D();
    }
    LineCanvas(const LineCanvas &) = delete;
    LineCanvas &operator=(const LineCanvas &) = delete;
    void Clear(uint16_t fill = 0) {
        for (size_t i = 0; i < size_t(width) * height; ++i) pixels[i] = fill;
    }
    // Sets scissor and clip bounds together.
    void Scissor(float x0, float x1, float y0, float y1) {
        SetViewportScissor(viewport, x0, x1, y0, y1);
        e3d::LoadClipBounds(viewport);
    }
    uint16_t At(int x, int y) const { return pixels[size_t(y) * width + x]; }
    int32_t DepthAt(int x, int y) const { return viewport->depthBuffer[size_t(y) * width + x]; }
    bool GuardsIntact() const {
        for (size_t i = size_t(width) * height; i < pixels.size(); ++i)
            if (pixels[i] != kGuardValue) return false;
        return true;
    }
    // Pixel -> value of every pixel that differs from `background`.
    std::map<Pixel, uint16_t> Changed(uint16_t background = 0) const {
        std::map<Pixel, uint16_t> m;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                if (At(x, y) != background) m[{x, y}] = At(x, y);
        return m;
    }
};

// A hand-made polygon over three vertices. Blending through an additive
// material with colour 0x000008 (blue 1) counts the writes of each pixel.
struct WirePolygon {
    E3DVertex v[3]{};
    E3DPolygon p{};
    E3DMaterial m{};
    WirePolygon(float x0, float y0, float x1, float y1, float x2, float y2, uint32_t edges) {
        const float xs[3] = {x0, x1, x2}, ys[3] = {y0, y1, y2};
        for (int i = 0; i < 3; ++i) {
            v[i].screenX = xs[i];
            v[i].screenY = ys[i];
            v[i].invDepth = 0.5f;
            p.vertex[i] = i;
        }
        p.flags = edges;
        p.color = p.color1 = p.color2 = 0x00FFFFFF;
        p.material = p.backMaterial = &m;
    }
    void CountWrites() {
        p.flags |= 0x40u;
        m.alphaMode = 1;
        p.color = p.color1 = p.color2 = 0x000008;
    }
};

}  // namespace e3dtest
