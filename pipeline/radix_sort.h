// LSB-first radix sort of 32-bit keys into index arrays, shared by the
// exported sorters and the polygon-list sort of the draw traversal.
#pragma once

#include <cstdint>

#include "engine3d.h"

namespace e3d {

struct RadixSortState {
    uint32_t histograms[4][256];
    uint32_t offsets[256];
    uint32_t negativeCount;
    uint32_t *scratch;
    uint32_t scratchCapacity;
};

extern RadixSortState g_radix;

// Writes index[i] = i and sorts the n entries by their float key (stable).
void SortPolygonList(uint32_t n, const E3DSortEntry *entries, uint32_t *index);

}  // namespace e3d
