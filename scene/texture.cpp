// Textures: the checker generator and the matching release.
#include "engine3d.h"

#include <cstring>

#include "e3dhost.h"

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

extern "C" E3D_API void DeleteTexture(E3DTexture *texture) {
    if (!texture) return;
    FreeMemory(texture->pixels);
    FreeMemory(texture);
}
