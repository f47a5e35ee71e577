// Radix sorters against an independent ordering, plus the deliberate quirks.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>

#include "engine3d.h"
#include "pipeline/radix_sort.h"
#include "support/memory_check.h"

namespace {

std::vector<uint32_t> Identity(uint32_t n) {
    std::vector<uint32_t> v(n);
    std::iota(v.begin(), v.end(), 0u);
    return v;
}

std::vector<uint32_t> Shuffled(uint32_t n, std::mt19937 &rng) {
    auto v = Identity(n);
    std::shuffle(v.begin(), v.end(), rng);
    return v;
}

// Total order of float bit patterns: all sign-set patterns (most negative
// first, -0.0 last among them) before all sign-clear ones.
uint32_t FloatOrderKey(uint32_t bits) { return (bits & 0x80000000u) ? ~bits : bits | 0x80000000u; }

// Model of the float sort when the top-byte pass runs: ascending by value;
// equal keys keep the starting order, except sign-set keys, whose runs are
// filled from the end and so come out in reverse starting order.
std::vector<uint32_t> ModelFloatOrder(const std::vector<uint32_t> &bits, std::vector<uint32_t> start) {
    std::vector<int64_t> rank(bits.size());
    for (size_t i = 0; i < start.size(); ++i) rank[start[i]] = int64_t(i);
    std::sort(start.begin(), start.end(), [&](uint32_t a, uint32_t b) {
        const uint32_t ka = FloatOrderKey(bits[a]), kb = FloatOrderKey(bits[b]);
        if (ka != kb) return ka < kb;
        return (bits[a] & 0x80000000u) ? rank[a] > rank[b] : rank[a] < rank[b];
    });
    return start;
}

class RadixSort : public ::testing::Test {
protected:
    void SetUp() override { ReleaseRadixSort(); }
    void TearDown() override {
        ReleaseRadixSort();
        leaks_.Check();
    }
    e3dtest::LeakCheck leaks_;
};

}  // namespace

TEST_F(RadixSort, EmptyInputTouchesNothing) {
    RadixLongSorter(0, nullptr, nullptr, 0);
    RadixFloatSorter(0, nullptr, nullptr);
    E3DSortEntry entry{};
    uint32_t index = 77;
    e3d::SortPolygonList(0, &entry, &index);
    EXPECT_EQ(index, 77u);
    EXPECT_EQ(e3d::g_radix.scratch, nullptr);
}

TEST_F(RadixSort, DocumentedExamples) {
    const float f[] = {2.0f, -1.0f, -3.0f, 0.5f};
    auto fi = Identity(4);
    RadixFloatSorter(4, f, fi.data());
    EXPECT_EQ(fi, (std::vector<uint32_t>{2, 1, 3, 0}));

    const uint32_t u[] = {5, 0xFFFFFFFEu, 0};
    auto ui = Identity(3);
    RadixLongSorter(3, u, ui.data(), 0);
    EXPECT_EQ(ui, (std::vector<uint32_t>{2, 0, 1}));

    const uint32_t s[] = {7, 0, 3};
    auto si = Identity(3);
    RadixLongSorter(3, s, si.data(), 1);
    EXPECT_EQ(si, (std::vector<uint32_t>{1, 2, 0}));
}

TEST_F(RadixSort, OrderedInputReturnsEarlyAndLeavesIndices) {
    // Keys in order along a non-identity index order: nothing may move,
    // not even equal keys that a full sort would keep anyway.
    const uint32_t keys[] = {30, 10, 20, 10};
    std::vector<uint32_t> idx = {3, 1, 2, 0};
    RadixLongSorter(4, keys, idx.data(), 0);
    EXPECT_EQ(idx, (std::vector<uint32_t>{3, 1, 2, 0}));
    // -0.0 and +0.0 compare equal: the order counts as sorted.
    const float f[] = {0.0f, -0.0f, 1.0f};
    std::vector<uint32_t> fi = {0, 1, 2};
    RadixFloatSorter(3, f, fi.data());
    EXPECT_EQ(fi, (std::vector<uint32_t>{0, 1, 2}));
    // The early exit uses the signed view in signed mode.
    const uint32_t s[] = {uint32_t(-5), 3};
    std::vector<uint32_t> sidx = {0, 1};
    RadixLongSorter(2, s, sidx.data(), 1);
    EXPECT_EQ(sidx, (std::vector<uint32_t>{0, 1}));
}

TEST_F(RadixSort, AllKeysEqualSkipEveryPass) {
    std::vector<uint32_t> keys(50, 0xDEADBEEFu);
    std::mt19937 rng(3);
    auto idx = Shuffled(50, rng);
    const auto start = idx;
    keys[0] = 0xDEADBEEFu;
    RadixLongSorter(50, keys.data(), idx.data(), 0);
    EXPECT_EQ(idx, start);  // already "sorted": early exit
    std::vector<E3DSortEntry> entries(50);
    for (auto &e : entries) e.key = -2.5f;
    std::vector<uint32_t> pidx(50, 999);
    e3d::SortPolygonList(50, entries.data(), pidx.data());
    EXPECT_EQ(pidx, Identity(50));
}

TEST_F(RadixSort, NegativeFloatsWithOneTopByteKeepMagnitudeOrder) {
    // Pass 3 is skipped when every key has the same top byte, so the negative
    // keys stay in ascending order of their magnitude bits: descending by value.
    const float f[] = {-1.5f, -1.0f, -1.25f, -1.75f};
    auto idx = Identity(4);
    RadixFloatSorter(4, f, idx.data());
    EXPECT_EQ(idx, (std::vector<uint32_t>{1, 2, 0, 3}));
}

class RadixSortRandom : public RadixSort, public ::testing::WithParamInterface<uint32_t> {};

// The masks make one, two, three or four passes run (odd and even counts).
INSTANTIATE_TEST_SUITE_P(KeyWidths, RadixSortRandom,
                         ::testing::Values(0x000000FFu, 0x0000FFFFu, 0x00FF00FFu, 0x00FFFFFFu,
                                           0xFFFFFFFFu, 0x7FFFFFFFu, 0xFF000000u));

TEST_P(RadixSortRandom, UnsignedAndNonNegativeSignedMatchStableSort) {
    const uint32_t mask = GetParam();
    std::mt19937 rng(mask);
    for (uint32_t n : {1u, 2u, 7u, 255u, 1000u, 5000u}) {
        std::vector<uint32_t> keys(n);
        for (auto &k : keys) k = rng() & mask & (rng() % 4 == 0 ? 0xFFFF00FFu : 0xFFFFFFFFu);
        auto idx = Shuffled(n, rng);
        auto model = idx;
        std::stable_sort(model.begin(), model.end(), [&](uint32_t a, uint32_t b) { return keys[a] < keys[b]; });
        RadixLongSorter(n, keys.data(), idx.data(), 0);
        ASSERT_EQ(idx, model) << "unsigned n=" << n;

        for (auto &k : keys) k &= 0x7FFFFFFFu;
        idx = Shuffled(n, rng);
        model = idx;
        std::stable_sort(model.begin(), model.end(), [&](uint32_t a, uint32_t b) { return keys[a] < keys[b]; });
        RadixLongSorter(n, keys.data(), idx.data(), 1);
        ASSERT_EQ(idx, model) << "signed n=" << n;
    }
}

TEST_P(RadixSortRandom, FloatsAndPolygonListMatchModel) {
    const uint32_t mask = GetParam();
    std::mt19937 rng(~mask);
    for (uint32_t n : {2u, 9u, 300u, 4000u}) {
        // Both signs, so the top-byte pass always runs; plenty of equal keys and zeros.
        std::vector<uint32_t> bits(n);
        for (uint32_t i = 0; i < n; ++i) {
            uint32_t b = (rng() & mask & 0x7FFFFFFFu) % 0x7F800000u;
            if (rng() % 5 == 0) b = rng() % 3 == 0 ? 0u : 0x3F800000u;
            bits[i] = b | ((rng() & 1u) << 31);
        }
        bits[0] = 0x40000000u;
        bits[1] = 0xC0000000u;
        std::vector<float> keys(n);
        for (uint32_t i = 0; i < n; ++i) keys[i] = std::bit_cast<float>(bits[i]);

        auto idx = Shuffled(n, rng);
        const auto model = ModelFloatOrder(bits, idx);
        RadixFloatSorter(n, keys.data(), idx.data());
        ASSERT_EQ(idx, model) << "float n=" << n;
        for (uint32_t i = 1; i < n; ++i) ASSERT_LE(keys[idx[i - 1]], keys[idx[i]]);

        std::vector<E3DSortEntry> entries(n);
        for (uint32_t i = 0; i < n; ++i) entries[i].key = keys[i];
        std::vector<uint32_t> pidx(n, 0xFFFFFFFFu);
        e3d::SortPolygonList(n, entries.data(), pidx.data());
        ASSERT_EQ(pidx, ModelFloatOrder(bits, Identity(n))) << "polygon list n=" << n;
    }
}

TEST_F(RadixSort, SignedNegativeKeysStayInsideTheArrays) {
    // Negative keys overlap the non-negative positions and may run past the
    // end; the output must still be made of valid indices and nothing may be
    // written beyond the arrays (checked by a canary and by the sanitizer build).
    std::mt19937 rng(11);
    for (int round = 0; round < 200; ++round) {
        const uint32_t n = 1 + rng() % 300;
        std::vector<uint32_t> keys(n);
        for (auto &k : keys) k = (rng() % 4 == 0) ? rng() : (rng() | 0x80000000u);
        std::vector<uint32_t> idx(n + 1);
        std::iota(idx.begin(), idx.end() - 1, 0u);
        std::shuffle(idx.begin(), idx.end() - 1, rng);
        idx[n] = 0xCAFEF00Du;
        RadixLongSorter(n, keys.data(), idx.data(), 1);
        ASSERT_EQ(idx[n], 0xCAFEF00Du);
        for (uint32_t i = 0; i < n; ++i) ASSERT_LT(idx[i], n);
    }
}

TEST_F(RadixSort, ScratchOnlyGrowsAndResetWritesIdentity) {
    std::vector<uint32_t> idx(100, 5);
    ResetRadixSort(100, idx.data());
    EXPECT_EQ(idx, Identity(100));
    EXPECT_EQ(e3d::g_radix.scratchCapacity, 100u);
    ResetRadixSort(10, idx.data());
    EXPECT_EQ(e3d::g_radix.scratchCapacity, 100u);
    const uint32_t keys[] = {3, 2, 1};
    uint32_t small[] = {0, 1, 2};
    const int64_t before = e3dtest::MemoryStats().allocations;
    RadixLongSorter(3, keys, small, 0);
    EXPECT_EQ(e3dtest::MemoryStats().allocations, before);
    EXPECT_EQ(small[0], 2u);
    InitRadixSort();
    EXPECT_EQ(e3d::g_radix.scratch, nullptr);
    EXPECT_EQ(e3d::g_radix.scratchCapacity, 0u);
}

TEST_F(RadixSort, FailedScratchAllocationLeavesIndicesAlone) {
    const uint32_t keys[] = {3, 2, 1};
    uint32_t idx[] = {0, 1, 2};
    HostMemoryFailNth(1);
    RadixLongSorter(3, keys, idx, 0);
    HostMemoryFailNth(0);
    EXPECT_EQ(idx[0], 0u);
    EXPECT_EQ(idx[2], 2u);
    EXPECT_EQ(e3d::g_radix.scratchCapacity, 0u);
    RadixLongSorter(3, keys, idx, 0);  // works once memory is there again
    EXPECT_EQ(idx[0], 2u);
}
