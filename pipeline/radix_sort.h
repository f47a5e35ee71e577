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
    void *records;         // the draw loop's per-entry records, inside the scratch block
    uint32_t recordBytes;  // 0 when the block has none
};

extern RadixSortState g_radix;

// Writes index[i] = i and sorts the n entries by their float key (stable).
void SortPolygonList(uint32_t n, const E3DSortEntry *entries, uint32_t *index);

// SortPolygonList that also returns `recordBytes` of 32-byte aligned storage
// for the draw loop, held in the same block as the scratch array (one
// allocation, kept between frames); null, and the entries in list order,
// when that block cannot be had.
void *SortPolygonListWithRecords(uint32_t n, const E3DSortEntry *entries, uint32_t *index, uint32_t recordBytes);

}  // namespace e3d
