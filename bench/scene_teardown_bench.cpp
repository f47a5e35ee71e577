// A scene of n cubes: assigning them all, removing them all one by one, and
// deleting the scene with them. Deleting the scene should take a time per
// object that stays flat (or grows like log n) from 1k to 64k objects. Each
// assignment and removal rebuilds the scene's polygon list for its new total
// (one allocation and one reset of every index), so those two grow with the
// scene and are measured up to 16k.
#include <benchmark/benchmark.h>

#include <vector>

#include "engine3d.h"

namespace {

std::vector<E3DMesh *> MakeCubes(int n) {
    std::vector<E3DMesh *> cubes(size_t(n), nullptr);
    for (E3DMesh *&m : cubes) m = ActivateMesh(CubeCreate(1.0f, nullptr, 0x808080));
    return cubes;
}

enum Phase { kAssign, kRemove, kDelete };

void Teardown(benchmark::State &state, Phase phase) {
    InitEngine3D();
    const int n = int(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<E3DMesh *> cubes = MakeCubes(n);
        E3DScene *scene = CreateScene();
        if (phase == kAssign) state.ResumeTiming();
        for (E3DMesh *m : cubes) AssignMeshToScene(scene, m, 1);
        if (phase == kAssign) state.PauseTiming();
        if (phase == kRemove) {
            state.ResumeTiming();
            for (E3DMesh *m : cubes) RemoveMeshFromScene(scene, m, 1);
            state.PauseTiming();
            for (E3DMesh *m : cubes) DeleteMesh(m);
        }
        if (phase == kDelete) state.ResumeTiming();
        DeleteScene(scene);
        if (phase != kDelete) state.ResumeTiming();
    }
    state.counters["per object"] = benchmark::Counter(double(n) * double(state.iterations()),
                                                      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    ReleaseEngine3D();
}

void BM_AssignMeshes(benchmark::State &state) { Teardown(state, kAssign); }
void BM_RemoveMeshes(benchmark::State &state) { Teardown(state, kRemove); }
void BM_DeleteScene(benchmark::State &state) { Teardown(state, kDelete); }

}  // namespace

BENCHMARK(BM_AssignMeshes)->RangeMultiplier(4)->Range(1 << 10, 1 << 14)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_RemoveMeshes)->RangeMultiplier(4)->Range(1 << 10, 1 << 14)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_DeleteScene)->RangeMultiplier(4)->Range(1 << 10, 1 << 16)->Unit(benchmark::kMillisecond)->Iterations(1);
