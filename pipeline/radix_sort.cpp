// Least-significant-byte-first radix sort into index arrays. Keys are never
// moved: each pass scatters 32-bit indices between the caller's array and the
// shared scratch array, and uniform bytes skip their pass.
#include "pipeline/radix_sort.h"

#include <bit>
#include <cstring>

#include "e3dhost.h"

namespace e3d {

RadixSortState g_radix;

namespace {

enum class KeyOrder { Unsigned, Signed, Float };

void FreeScratch() {
    if (g_radix.scratch) FreeMemory(g_radix.scratch);
    g_radix.scratch = nullptr;
    g_radix.scratchCapacity = 0;
    g_radix.records = nullptr;
    g_radix.recordBytes = 0;
}

// The scratch array only grows; its old contents are not kept.
bool GrowScratch(uint32_t n) {
    if (n <= g_radix.scratchCapacity) return true;
    FreeScratch();
    // Guard: a count whose byte size does not fit the allocator's size type
    // cannot be allocated; report failure instead of wrapping around.
    if (n > 0x3FFFFFFFu) {
        g_radix.scratch = nullptr;
        return false;
    }
    g_radix.scratch = static_cast<uint32_t *>(AllocateMemory(n * uint32_t(sizeof(uint32_t))));
    if (g_radix.scratch) g_radix.scratchCapacity = n;
    return g_radix.scratch != nullptr;
}

struct PlainKeys {
    const uint32_t *keys;
    uint32_t operator()(uint32_t i) const { return keys[i]; }
};

struct FloatKeys {
    const float *keys;
    uint32_t operator()(uint32_t i) const { return std::bit_cast<uint32_t>(keys[i]); }
};

struct EntryKeys {
    const E3DSortEntry *entries;
    uint32_t operator()(uint32_t i) const { return std::bit_cast<uint32_t>(entries[i].key); }
};

// Position of every bin for the pass over byte j.
template <KeyOrder Order>
void ComputeOffsets(uint32_t j) {
    const uint32_t *h = g_radix.histograms[j];
    uint32_t *o = g_radix.offsets;
    if (j < 3 || Order == KeyOrder::Unsigned) {
        o[0] = 0;
        for (int b = 1; b < 256; ++b) o[b] = o[b - 1] + h[b - 1];
        return;
    }
    o[0] = g_radix.negativeCount;
    for (int b = 1; b < 128; ++b) o[b] = o[b - 1] + h[b - 1];
    if constexpr (Order == KeyOrder::Signed) {
        // Negative keys restart at the same base as bin 0: only inputs without
        // negative keys come out ordered in signed mode.
        o[128] = g_radix.negativeCount;
        for (int b = 129; b < 256; ++b) o[b] = o[b - 1] + h[b - 1];
    } else {
        // Negative floats fill their runs from the end, most negative first.
        o[255] = 0;
        for (int b = 254; b >= 128; --b) o[b] = o[b + 1] + h[b + 1];
        for (int b = 128; b < 256; ++b) o[b] += h[b];
    }
}

template <KeyOrder Order, class Keys>
void Scatter(uint32_t j, uint32_t n, Keys key, const uint32_t *src, uint32_t *dst) {
    uint32_t *o = g_radix.offsets;
    const uint32_t shift = 8 * j;
    if (Order == KeyOrder::Float && j == 3) {
        for (uint32_t i = 0; i < n; ++i) {
            const uint32_t b = key(src[i]) >> 24;
            if (b < 128) dst[o[b]++] = src[i];
            else dst[--o[b]] = src[i];
        }
    } else if (Order == KeyOrder::Signed && j == 3 && g_radix.negativeCount > 0) {
        // Guard: overlapping destinations may run past the end. Keep writes in
        // the array, and leave every slot holding some valid index.
        std::memcpy(dst, src, n * sizeof(uint32_t));
        for (uint32_t i = 0; i < n; ++i) {
            const uint32_t pos = o[(key(src[i]) >> shift) & 0xFF]++;
            if (pos < n) dst[pos] = src[i];
        }
    } else {
        for (uint32_t i = 0; i < n; ++i) dst[o[(key(src[i]) >> shift) & 0xFF]++] = src[i];
    }
}

// Passes 0-3 over the histograms already counted; the result ends in `indices`.
template <KeyOrder Order, class Keys>
void RunPasses(uint32_t n, Keys key, uint32_t *indices) {
    g_radix.negativeCount = 0;
    if (Order != KeyOrder::Unsigned) {
        for (int b = 128; b < 256; ++b) g_radix.negativeCount += g_radix.histograms[3][b];
    }
    uint32_t *src = indices;
    uint32_t *dst = g_radix.scratch;
    int passes = 0;
    for (uint32_t j = 0; j < 4; ++j) {
        const uint32_t *h = g_radix.histograms[j];
        int first = 0;
        while (h[first] == 0) ++first;
        if (h[first] == n) continue;
        ComputeOffsets<Order>(j);
        Scatter<Order>(j, n, key, src, dst);
        uint32_t *t = src;
        src = dst;
        dst = t;
        ++passes;
    }
    if (passes & 1) std::memcpy(indices, src, n * sizeof(uint32_t));
}

// Counts all four bytes in one walk and reports whether the keys taken in
// the current index order are already ascending.
template <KeyOrder Order, class Keys>
bool CountAndCheckOrder(uint32_t n, Keys key, const uint32_t *indices) {
    std::memset(g_radix.histograms, 0, sizeof g_radix.histograms);
    bool ordered = true;
    uint32_t previous = key(indices[0]);
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t k = key(i);
        ++g_radix.histograms[0][k & 0xFF];
        ++g_radix.histograms[1][(k >> 8) & 0xFF];
        ++g_radix.histograms[2][(k >> 16) & 0xFF];
        ++g_radix.histograms[3][k >> 24];
        const uint32_t current = key(indices[i]);
        if constexpr (Order == KeyOrder::Float) {
            if (std::bit_cast<float>(current) < std::bit_cast<float>(previous)) ordered = false;
        } else if constexpr (Order == KeyOrder::Signed) {
            if (int32_t(current) < int32_t(previous)) ordered = false;
        } else {
            if (current < previous) ordered = false;
        }
        previous = current;
    }
    return ordered;
}

template <KeyOrder Order, class Keys>
void SortKeys(uint32_t n, Keys key, uint32_t *indices) {
    if (n == 0) return;
    if (!GrowScratch(n)) return;
    if (CountAndCheckOrder<Order>(n, key, indices)) return;
    RunPasses<Order>(n, key, indices);
}

}  // namespace

namespace {

// Scratch for n indices and, after it, recordBytes of records, in one block.
bool GrowScratchAndRecords(uint32_t n, uint32_t recordBytes) {
    if (n <= g_radix.scratchCapacity && recordBytes <= g_radix.recordBytes) return true;
    FreeScratch();
    const uint64_t scratchBytes = (uint64_t(n) * sizeof(uint32_t) + 31) & ~uint64_t(31);
    const uint64_t total = scratchBytes + 32 + recordBytes;
    if (n > 0x3FFFFFFFu || total > 0xFFFFFFFFu) return false;
    auto *block = static_cast<unsigned char *>(AllocateMemory(uint32_t(total)));
    if (!block) return false;
    g_radix.scratch = reinterpret_cast<uint32_t *>(block);
    g_radix.scratchCapacity = n;
    const uintptr_t records = (reinterpret_cast<uintptr_t>(block) + uintptr_t(scratchBytes) + 31) & ~uintptr_t(31);
    g_radix.records = reinterpret_cast<void *>(records);
    g_radix.recordBytes = recordBytes;
    return true;
}

void SortEntries(uint32_t n, const E3DSortEntry *entries, uint32_t *index) {
    std::memset(g_radix.histograms, 0, sizeof g_radix.histograms);
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t k = std::bit_cast<uint32_t>(entries[i].key);
        ++g_radix.histograms[0][k & 0xFF];
        ++g_radix.histograms[1][(k >> 8) & 0xFF];
        ++g_radix.histograms[2][(k >> 16) & 0xFF];
        ++g_radix.histograms[3][k >> 24];
        index[i] = i;
    }
    RunPasses<KeyOrder::Float>(n, EntryKeys{entries}, index);
}

// Guard: without scratch space draw in list order rather than not at all.
void ListOrder(uint32_t n, uint32_t *index) {
    for (uint32_t i = 0; i < n; ++i) index[i] = i;
}

}  // namespace

void SortPolygonList(uint32_t n, const E3DSortEntry *entries, uint32_t *index) {
    if (n == 0) return;
    if (!GrowScratch(n)) return ListOrder(n, index);
    SortEntries(n, entries, index);
}

void *SortPolygonListWithRecords(uint32_t n, const E3DSortEntry *entries, uint32_t *index, uint32_t recordBytes) {
    if (n == 0) return nullptr;
    if (!GrowScratchAndRecords(n, recordBytes)) {
        ListOrder(n, index);
        return nullptr;
    }
    SortEntries(n, entries, index);
    return g_radix.records;
}

}  // namespace e3d

extern "C" E3D_API void InitRadixSort(void) { e3d::FreeScratch(); }

extern "C" E3D_API void ReleaseRadixSort(void) { e3d::FreeScratch(); }

extern "C" E3D_API void ResetRadixSort(uint32_t n, uint32_t *indices) {
    if (!indices) return;
    e3d::GrowScratch(n);
    for (uint32_t i = 0; i < n; ++i) indices[i] = i;
}

extern "C" E3D_API void RadixLongSorter(uint32_t n, const uint32_t *keys, uint32_t *indices,
                                        int32_t isSigned) {
    if (!keys || !indices) return;
    if (isSigned) e3d::SortKeys<e3d::KeyOrder::Signed>(n, e3d::PlainKeys{keys}, indices);
    else e3d::SortKeys<e3d::KeyOrder::Unsigned>(n, e3d::PlainKeys{keys}, indices);
}

extern "C" E3D_API void RadixFloatSorter(uint32_t n, const float *keys, uint32_t *indices) {
    if (!keys || !indices) return;
    e3d::SortKeys<e3d::KeyOrder::Float>(n, e3d::FloatKeys{keys}, indices);
}
