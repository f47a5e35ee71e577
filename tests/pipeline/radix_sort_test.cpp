// Radix sorters against std::stable_sort and a float-order model, quirks, scratch.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <numeric>
#include <random>

#include "pipeline/radix_sort.h"
#include "support/memory_check.h"

namespace {

std::vector<uint32_t> Identity(uint32_t n, bool reversed = false) {
    std::vector<uint32_t> v(n);
    return std::iota(v.begin(), v.end(), 0u), reversed ? std::vector<uint32_t>(v.rbegin(), v.rend()) : v;
}

// Ascending by value over the total order of float bit patterns (sign-set
// patterns first, -0.0 last among them); equal keys keep the starting order,
// except sign-set ones, whose runs are filled from the end and so come out
// reversed.
std::vector<uint32_t> ModelFloatOrder(const std::vector<uint32_t> &bits, std::vector<uint32_t> start) {
    auto key = [](uint32_t b) { return (b & 0x80000000u) ? ~b : b | 0x80000000u; };
    std::vector<int64_t> rank(bits.size());
    for (size_t i = 0; i < start.size(); ++i) rank[start[i]] = int64_t(i);
    std::sort(start.begin(), start.end(), [&](uint32_t a, uint32_t b) {
        if (key(bits[a]) != key(bits[b])) return key(bits[a]) < key(bits[b]);
        return (bits[a] & 0x80000000u) ? rank[a] > rank[b] : rank[a] < rank[b];
    });
    return start;
}

class RadixSort : public ::testing::Test {
protected:
    void TearDown() override { leaks_.Check(); }  // the scratch array released on both sides
    e3dtest::LeakCheck leaks_;
};

}  // namespace

TEST_F(RadixSort, ExamplesEarlyExitsAndQuirks) {
    RadixLongSorter(0, nullptr, nullptr, 0);  // empty input touches nothing
    RadixFloatSorter(0, nullptr, nullptr);
    uint32_t index = 77;
    e3d::SortPolygonList(0, nullptr, &index);
    EXPECT_TRUE(index == 77u && e3d::g_radix.scratch == nullptr);
    const struct {
        std::vector<uint32_t> keys, start, sorted;
        int mode;  // 0 unsigned, 1 signed, 2 float
    } cases[] = {
        {{0x40000000u, 0xBF800000u, 0xC0400000u, 0x3F000000u}, {0, 1, 2, 3}, {2, 1, 3, 0}, 2},  // 2, -1, -3, 0.5
        {{5, 0xFFFFFFFEu, 0}, {0, 1, 2}, {2, 0, 1}, 0},
        {{7, 0, 3}, {0, 1, 2}, {1, 2, 0}, 1},
        {{uint32_t(-5), 3}, {0, 1}, {0, 1}, 1},                   // in order by the signed view: left alone
        {{30, 10, 20, 10}, {3, 1, 2, 0}, {3, 1, 2, 0}, 0},         // in order along the index order
        {{0, 0x80000000u, 0x3F800000u}, {0, 1, 2}, {0, 1, 2}, 2},  // -0.0 equals +0.0
        // -1.5, -1, -1.25, -1.75 share their top byte: that pass is skipped
        // and they stay in ascending order of their magnitude bits.
        {{0xBFC00000u, 0xBF800000u, 0xBFA00000u, 0xBFE00000u}, {0, 1, 2, 3}, {1, 2, 0, 3}, 2},
        {std::vector<uint32_t>(50, 0xDEADBEEFu), Identity(50, true), Identity(50, true), 0},
    };
    for (auto c : cases) {
        if (c.mode == 2) RadixFloatSorter(uint32_t(c.start.size()), reinterpret_cast<const float *>(c.keys.data()), c.start.data());
        else RadixLongSorter(uint32_t(c.start.size()), c.keys.data(), c.start.data(), c.mode);
        EXPECT_EQ(c.start, c.sorted) << "mode " << c.mode << " first key " << c.keys[0];
    }
    std::vector<E3DSortEntry> entries(50);
    std::vector<uint32_t> pidx(50, 999);
    for (auto &e : entries) e.key = -2.5f;
    EXPECT_EQ((e3d::SortPolygonList(50, entries.data(), pidx.data()), pidx), Identity(50)) << "equal keys: its own order";
}

TEST_F(RadixSort, RandomKeysOfEveryWidthMatchTheModels) {
    // The masks make one to four passes run, odd and even counts.
    for (uint32_t mask : {0x000000FFu, 0x0000FFFFu, 0x00FF00FFu, 0x00FFFFFFu, 0xFFFFFFFFu, 0x7FFFFFFFu, 0xFF000000u}) {
        std::mt19937 rng(mask);
        for (uint32_t n : {1u, 2u, 7u, 255u, 1000u, 5000u}) {
            std::vector<uint32_t> keys(n);
            for (auto &k : keys) k = rng() & mask & (rng() % 4 == 0 ? 0xFFFF00FFu : 0xFFFFFFFFu);
            for (int mode : {0, 1}) {  // unsigned, and signed with non-negative keys
                if (mode) for (auto &k : keys) k &= 0x7FFFFFFFu;
                auto idx = Identity(n), model = (std::shuffle(idx.begin(), idx.end(), rng), idx);
                std::stable_sort(model.begin(), model.end(), [&](uint32_t a, uint32_t b) { return keys[a] < keys[b]; });
                RadixLongSorter(n, keys.data(), idx.data(), mode);
                ASSERT_EQ(idx, model) << std::hex << mask << " mode " << mode << " n=" << std::dec << n;
            }
            // Negative signed keys overlap the non-negative positions and may
            // run past the end: still valid indices, nothing written beyond.
            for (auto &k : keys) k = (rng() % 4 == 0) ? rng() : (rng() | 0x80000000u);
            std::vector<uint32_t> idx(n + 1, 0xCAFEF00Du);
            std::iota(idx.begin(), idx.end() - 1, 0u);
            RadixLongSorter(n, keys.data(), idx.data(), 1);
            ASSERT_EQ(idx[n], 0xCAFEF00Du);
            for (uint32_t i = 0; i < n; ++i) ASSERT_LT(idx[i], n);
            // Floats of both signs, so the top pass always runs; many equal keys and zeros.
            if (n < 2) continue;
            std::vector<uint32_t> bits(n);
            for (auto &b : bits) b = (rng() % 5 ? (rng() & mask & 0x7FFFFFFFu) % 0x7F800000u : rng() % 3 ? 0x3F800000u : 0u) | (rng() & 1u) << 31;
            bits[0] = 0x40000000u, bits[1] = 0xC0000000u;
            std::vector<float> floats(n);
            std::vector<E3DSortEntry> entries(n);
            for (uint32_t i = 0; i < n; ++i) floats[i] = entries[i].key = std::bit_cast<float>(bits[i]);
            idx = Identity(n);
            std::shuffle(idx.begin(), idx.end(), rng);
            const auto model = ModelFloatOrder(bits, idx);
            ASSERT_EQ((RadixFloatSorter(n, floats.data(), idx.data()), idx), model) << std::hex << mask << " float n=" << std::dec << n;
            std::vector<uint32_t> pidx(n, 0xFFFFFFFFu);  // the list writes its own starting order
            ASSERT_EQ((e3d::SortPolygonList(n, entries.data(), pidx.data()), pidx), ModelFloatOrder(bits, Identity(n))) << n;
        }
    }
}

TEST_F(RadixSort, ScratchOnlyGrowsAndAFailedOneLeavesIndicesAlone) {
    std::vector<uint32_t> idx(100, 5);
    EXPECT_EQ((ResetRadixSort(100, idx.data()), idx), Identity(100));
    EXPECT_EQ((ResetRadixSort(10, idx.data()), e3d::g_radix.scratchCapacity), 100u);
    const uint32_t keys[] = {3, 2, 1};
    uint32_t small[] = {0, 1, 2}, again[] = {7, 7, 7};
    const int64_t before = e3dtest::MemoryStats().allocations;
    RadixLongSorter(3, keys, small, 0);
    EXPECT_TRUE(e3dtest::MemoryStats().allocations == before && small[0] == 2u);
    InitRadixSort();
    EXPECT_TRUE(e3d::g_radix.scratch == nullptr && e3d::g_radix.scratchCapacity == 0u);
    HostMemoryFailNth(1), e3d::SortPolygonList(3, std::vector<E3DSortEntry>(3).data(), again), HostMemoryFailNth(0);  // list order
    HostMemoryFailNth(1), RadixLongSorter(3, keys, again, 0), HostMemoryFailNth(0);
    EXPECT_TRUE(again[0] == 0u && again[2] == 2u && e3d::g_radix.scratchCapacity == 0u);
    EXPECT_EQ((RadixLongSorter(3, keys, again, 0), again[0]), 2u) << "works once memory is there again";
}
