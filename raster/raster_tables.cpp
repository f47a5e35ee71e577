// Rasteriser lookup tables, allocated at every engine start.
#include "raster/raster_tables.h"

#include <array>

#include "e3dhost.h"
#include "raster/line.h"
#include "raster/raster.h"

namespace e3d {

RasterTables g_rasterTables;

const std::array<float, 256> ReciprocalTable = [] {
    std::array<float, 256> t{};
    for (int n = 1; n < 256; ++n) t[n] = 1.0f / float(n);
    return t;
}();

namespace {

template <class T>
T *Allocate(uint32_t elements) {
    return static_cast<T *>(AllocateMemory(elements * uint32_t(sizeof(T))));
}

template <class T>
void Release(T *&table) {
    if (table) FreeMemory(table);
    table = nullptr;
}

void ReleaseAll() {
    Release(g_rasterTables.addClamp);
    Release(g_rasterTables.subClamp);
    Release(g_rasterTables.scale);
    Release(g_rasterTables.scaleGreen);
    Release(g_rasterTables.scaleRed);
    Release(g_rasterTables.product);
}

}  // namespace

void BuildRasterTables() {
    if (g_rasterTables.builtFlag == 1) return;
    BuildLineTables();
    // A second start without a release would otherwise lose the first set.
    ReleaseAll();
    RasterTables &t = g_rasterTables;
    t.addClamp = Allocate<uint8_t>(32 * 32);
    t.subClamp = Allocate<uint8_t>(32 * 32);
    t.scale = Allocate<uint8_t>(32 * 32);
    t.scaleGreen = Allocate<uint16_t>(32 * 32);
    t.scaleRed = Allocate<uint16_t>(32 * 32);
    t.product = Allocate<uint16_t>(256 * 32);
    for (uint32_t a = 0; a < 32; ++a) {
        for (uint32_t b = 0; b < 32; ++b) {
            const uint32_t i = a * 32 + b;
            if (t.addClamp) t.addClamp[i] = uint8_t(a + b > 31 ? 31 : a + b);
            if (t.subClamp) t.subClamp[i] = uint8_t(a > b ? a - b : 0);
            const uint32_t scaled = (a * b) >> 5;  // never above 31
            if (t.scale) t.scale[i] = uint8_t(scaled);
            if (t.scaleGreen) t.scaleGreen[i] = uint16_t(scaled << 5);
            if (t.scaleRed) t.scaleRed[i] = uint16_t(scaled << 10);
        }
    }
    if (t.product) {
        for (uint32_t a = 0; a < 256; ++a)
            for (uint32_t k = 0; k < 32; ++k) t.product[a * 32 + k] = uint16_t(a * k);
    }
}

void ReleaseRasterTables() { ReleaseAll(); }

}  // namespace e3d
