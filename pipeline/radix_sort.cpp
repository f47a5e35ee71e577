// Radix sort state and the exported sorters.
#include "pipeline/radix_sort.h"

#include "e3dhost.h"

namespace e3d {

RadixSortState g_radix;

namespace {

void FreeScratch() {
    if (g_radix.scratch) FreeMemory(g_radix.scratch);
    g_radix.scratch = nullptr;
    g_radix.scratchCapacity = 0;
}

// The scratch array only grows; its old contents are not kept.
bool GrowScratch(uint32_t n) {
    if (n <= g_radix.scratchCapacity) return true;
    if (g_radix.scratch) FreeMemory(g_radix.scratch);
    g_radix.scratch = static_cast<uint32_t *>(AllocateMemory(n * uint32_t(sizeof(uint32_t))));
    g_radix.scratchCapacity = g_radix.scratch ? n : 0;
    return g_radix.scratch != nullptr;
}

}  // namespace

}  // namespace e3d

using e3d::g_radix;

extern "C" E3D_API void InitRadixSort(void) { e3d::FreeScratch(); }

extern "C" E3D_API void ReleaseRadixSort(void) { e3d::FreeScratch(); }

extern "C" E3D_API void ResetRadixSort(uint32_t n, uint32_t *indices) {
    e3d::GrowScratch(n);
    for (uint32_t i = 0; i < n; ++i) indices[i] = i;
}

// TODO(radix): sorters
extern "C" E3D_API void RadixLongSorter(uint32_t, const uint32_t *, uint32_t *, int32_t) {}
extern "C" E3D_API void RadixFloatSorter(uint32_t, const float *, uint32_t *) {}
