// Checker texture generation (pixels per second, 8x8 and one-pixel cells)
// and a render-mode change walking a mesh tree (time per node).
#include <benchmark/benchmark.h>

#include <vector>

#include "engine3d.h"

namespace {

void BM_CheckerTexture(benchmark::State &state) {
    const int side = int(state.range(0)), squares = int(state.range(1));
    for (auto _ : state) {
        E3DTexture *t = CreateCheckerTexture(side, side, squares, 0x7C00, 0x001F);
        benchmark::DoNotOptimize(t->pixels[side * side - 1]);
        DeleteTexture(t);
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * side * side);
}

// A root with `fan` children, each with `fan` children of its own.
void BM_SetMeshRenderModeTree(benchmark::State &state) {
    InitEngine3D();
    const int fan = int(state.range(0));
    std::vector<E3DMesh *> meshes{CreateMesh(3, 1, 0)};
    for (int i = 0; i < fan; ++i) {
        E3DMesh *child = CreateMesh(3, 1, 0);
        AttachChildToNode(&meshes[0]->node, &child->node);
        for (int j = 0; j < fan; ++j) {
            E3DMesh *leaf = CreateMesh(3, 1, 0);
            AttachChildToNode(&child->node, &leaf->node);
            meshes.push_back(leaf);
        }
        meshes.push_back(child);
    }
    const uint32_t modes[2] = {0x300040u, 0x2000000u};
    uint32_t k = 0;
    for (auto _ : state) {
        SetMeshRenderMode(&meshes[0]->node, modes[k++ & 1]);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(meshes.size()));
    DeleteMesh(meshes[0]);
    ReleaseEngine3D();
}

}  // namespace

BENCHMARK(BM_CheckerTexture)->Args({256, 32})->Args({1024, 128})->Args({256, 256})->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SetMeshRenderModeTree)->Arg(10)->Arg(40)->Unit(benchmark::kMicrosecond);
