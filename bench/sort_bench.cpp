// Polygon-list sort against std::stable_sort over the same entries.
// Reports ns per entry in the "ns/entry" counter.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <vector>

#include "engine3d.h"
#include "pipeline/radix_sort.h"

namespace {

enum Pattern { kRandom = 0, kNearlySorted = 1 };

// Depth sums of a plausible frame: positive keys in a narrow-ish range, or
// last frame's order with 1% of the entries moved.
std::vector<E3DSortEntry> MakeEntries(size_t n, int pattern) {
    std::mt19937 rng(42);
    std::uniform_real_distribution<float> depth(3.0f, 3000.0f);
    std::vector<E3DSortEntry> entries(n);
    for (auto &e : entries) e.key = depth(rng);
    if (pattern == kNearlySorted) {
        std::sort(entries.begin(), entries.end(),
                  [](const E3DSortEntry &a, const E3DSortEntry &b) { return a.key < b.key; });
        for (size_t i = 0; i < n / 100; ++i) std::swap(entries[rng() % n], entries[rng() % n]);
    }
    return entries;
}

void SetCounters(benchmark::State &state) {
    state.SetItemsProcessed(int64_t(state.iterations()) * state.range(0));
    state.counters["ns/entry"] = benchmark::Counter(
        double(state.range(0)) * double(state.iterations()), benchmark::Counter::kIsRate | benchmark::Counter::kInvert,
        benchmark::Counter::OneK::kIs1000);
}

void BM_RadixPolygonSort(benchmark::State &state) {
    InitEngine3D();
    const auto entries = MakeEntries(size_t(state.range(0)), int(state.range(1)));
    std::vector<uint32_t> index(entries.size());
    for (auto _ : state) {
        e3d::SortPolygonList(uint32_t(entries.size()), entries.data(), index.data());
        benchmark::DoNotOptimize(index.data());
        benchmark::ClobberMemory();
    }
    SetCounters(state);
    ReleaseEngine3D();
}

void BM_StdStableSort(benchmark::State &state) {
    const auto entries = MakeEntries(size_t(state.range(0)), int(state.range(1)));
    std::vector<uint32_t> index(entries.size());
    for (auto _ : state) {
        std::iota(index.begin(), index.end(), 0u);
        std::stable_sort(index.begin(), index.end(),
                         [&](uint32_t a, uint32_t b) { return entries[a].key < entries[b].key; });
        benchmark::DoNotOptimize(index.data());
        benchmark::ClobberMemory();
    }
    SetCounters(state);
}

void Sizes(benchmark::internal::Benchmark *b) {
    for (int pattern : {kRandom, kNearlySorted})
        for (int n : {1000, 10000, 100000}) b->Args({n, pattern});
    b->ArgNames({"n", "nearlySorted"});
}

}  // namespace

BENCHMARK(BM_RadixPolygonSort)->Apply(Sizes);
BENCHMARK(BM_StdStableSort)->Apply(Sizes);
