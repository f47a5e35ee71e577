// ValidateMesh of a smooth grid mesh (one smoothing group): the time per
// triangle should stay flat from 1k to 100k triangles.
#include <benchmark/benchmark.h>

#include <cmath>

#include "engine3d.h"

namespace {

// A wavy grid of (n + 1)^2 vertices and 2 n^2 triangles, all in group 0.
E3DMesh *MakeGrid(int n) {
    E3DMesh *m = CreateMesh((n + 1) * (n + 1), 2 * n * n, 0x808080);
    for (int y = 0; y <= n; ++y)
        for (int x = 0; x <= n; ++x)
            SetMeshVertex(m, y * (n + 1) + x, float(x), float(y), std::sin(float(x) * 0.3f) * std::cos(float(y) * 0.2f));
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) {
            const int a = y * (n + 1) + x;
            SetMeshQuadPolygon(m, 2 * (y * n + x), a, a + 1, a + n + 2, a + n + 1, 0, 0);
        }
    return m;
}

void BM_ValidateMesh(benchmark::State &state) {
    InitEngine3D();
    const int n = int(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        E3DMesh *m = MakeGrid(n);
        state.ResumeTiming();
        m = ValidateMesh(m);
        benchmark::DoNotOptimize(m);
        state.PauseTiming();
        DeleteMesh(m);
        state.ResumeTiming();
    }
    const double triangles = 2.0 * n * n;
    state.SetItemsProcessed(int64_t(state.iterations() * triangles));
    state.counters["ns/triangle"] = benchmark::Counter(triangles * double(state.iterations()),
                                                      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    ReleaseEngine3D();
}

}  // namespace

// 1,152, 10,082 and 100,352 triangles.
BENCHMARK(BM_ValidateMesh)->Arg(24)->Arg(71)->Arg(224)->Unit(benchmark::kMicrosecond);
