// Textures: the checker generator, textures from a host's own pixels and
// the matching release.
#include "engine3d.h"

#include <cstring>

#include "e3dhost.h"
#include "scene/unhook.h"

extern "C" E3D_API E3DTexture *CreateCheckerTexture(int32_t width, int32_t height, int32_t squares, uint16_t a,
                                                    uint16_t b) {
    if (width < 1 || height < 1 || squares < 1 || uint64_t(width) * uint64_t(height) * 2 > 0xFFFFFFFFull) {
        return nullptr;
    }
    auto *t = static_cast<E3DTexture *>(AllocateMemory(sizeof(E3DTexture)));
    if (!t) return nullptr;
    std::memset(t, 0, sizeof *t);
    auto *pixels = static_cast<uint16_t *>(AllocateMemory(uint32_t(width) * uint32_t(height) * 2));
    if (!pixels) {
        FreeMemory(t);
        return nullptr;
    }
    t->pixels = pixels;
    t->pitch = 2 * width;
    t->width = t->width2 = width;
    t->height = t->height2 = height;
    int32_t cellW = width / squares, cellH = height / squares;
    if (cellW < 1) cellW = 1;  // Guard: more squares than pixels
    if (cellH < 1) cellH = 1;
    // Row by row in runs of one cell: the colour flips at every multiple of
    // the cell width, and each band of cellH rows starts with the other one.
    uint16_t *out = pixels;
    for (int32_t y = 0; y < height; ++y) {
        const bool oddBand = (y / cellH) & 1;
        uint16_t colour = oddBand ? a : b, other = oddBand ? b : a;
        for (int32_t left = width; left > 0;) {
            const int32_t run = left < cellW ? left : cellW;
            for (int32_t i = 0; i < run; ++i) *out++ = colour;
            left -= run;
            const uint16_t swap = colour;
            colour = other;
            other = swap;
        }
    }
    return t;
}

// The fillers address texels through the integer part of 16.16 values: at
// most 32768 columns and rows.
constexpr int32_t kLargestTextureSide = 32768;

extern "C" E3D_API E3DTexture *CreateTextureFromPixels(const uint16_t *pixels, int32_t width, int32_t height,
                                                       int32_t pitch) {
    if (!pixels || width < 1 || height < 1 || width > kLargestTextureSide || height > kLargestTextureSide ||
        pitch / 2 < width) {
        return nullptr;
    }
    auto *t = static_cast<E3DTexture *>(AllocateMemory(sizeof(E3DTexture)));
    if (!t) return nullptr;
    std::memset(t, 0, sizeof *t);
    const uint32_t rowBytes = 2 * uint32_t(width);
    auto *copy = static_cast<uint16_t *>(AllocateMemory(rowBytes * uint32_t(height)));
    if (!copy) {
        FreeMemory(t);
        return nullptr;
    }
    // Rows are packed in the copy; the caller's may be further apart.
    const auto *from = reinterpret_cast<const unsigned char *>(pixels);
    for (int32_t y = 0; y < height; ++y) {
        std::memcpy(copy + size_t(y) * uint32_t(width), from + size_t(y) * uint32_t(pitch), rowBytes);
    }
    t->pixels = copy;
    t->pitch = int32_t(rowBytes);
    t->width = t->width2 = width;
    t->height = t->height2 = height;
    return t;
}

extern "C" E3D_API void DeleteTexture(E3DTexture *texture) {
    if (!texture) return;
    e3d::ForgetTexture(texture);
    FreeMemory(texture->pixels);
    FreeMemory(texture);
}
