// The standard scenes at 640 x 480, whole frames back to back (clear,
// DrawScene, finished pixels in the buffer), on the depth-buffered and the
// painter's pass. S1 and S4 report fill rate ("Mpix/s": S1 the whole screen
// per frame, S4 the pixels the floor covers, counted from a first frame), S2
// and S3 triangle rate ("Mtri/s", triangles in the scene per frame).
// bench/scenes_table.sh prints the medians as a table.
#include <benchmark/benchmark.h>

#include "support/standard_scenes.h"

namespace {

using e3dscenes::SceneKind;
using e3dscenes::StandardScene;

void RunScene(benchmark::State &state, SceneKind kind, bool depthPass) {
    StandardScene s(kind, depthPass);
    double pixelsPerFrame = double(s.width) * s.height;
    if (kind == SceneKind::CheckerFloor) {
        // Every floor texel is lit to a non-zero pixel, so the pixels that
        // differ from the cleared frame are the ones the floor covers.
        s.Render();
        pixelsPerFrame = 0;
        for (uint16_t p : s.pixels) pixelsPerFrame += p != 0;
        if (pixelsPerFrame < double(s.width) * s.height * 0.45) state.SkipWithError("the floor does not fill");
    }
    for (auto _ : state) {
        s.Render();
        benchmark::DoNotOptimize(s.pixels.data());
        benchmark::ClobberMemory();
    }
    const double frames = double(state.iterations());
    if (kind == SceneKind::FullScreenPair || kind == SceneKind::CheckerFloor) {
        state.counters["Mpix/s"] = benchmark::Counter(frames * pixelsPerFrame * 1e-6, benchmark::Counter::kIsRate);
    } else {
        state.counters["Mtri/s"] = benchmark::Counter(frames * s.triangles * 1e-6, benchmark::Counter::kIsRate);
    }
}

void BM_S1_FullScreenPair_Depth(benchmark::State &s) { RunScene(s, SceneKind::FullScreenPair, true); }
void BM_S1_FullScreenPair_Painter(benchmark::State &s) { RunScene(s, SceneKind::FullScreenPair, false); }
void BM_S2_GouraudSphere_Depth(benchmark::State &s) { RunScene(s, SceneKind::GouraudSphere, true); }
void BM_S2_GouraudSphere_Painter(benchmark::State &s) { RunScene(s, SceneKind::GouraudSphere, false); }
void BM_S3_SmallTriangles_Depth(benchmark::State &s) { RunScene(s, SceneKind::SmallTriangles, true); }
void BM_S3_SmallTriangles_Painter(benchmark::State &s) { RunScene(s, SceneKind::SmallTriangles, false); }
void BM_S4_CheckerFloor_Depth(benchmark::State &s) { RunScene(s, SceneKind::CheckerFloor, true); }
void BM_S4_CheckerFloor_Painter(benchmark::State &s) { RunScene(s, SceneKind::CheckerFloor, false); }

}  // namespace

BENCHMARK(BM_S1_FullScreenPair_Depth)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_S1_FullScreenPair_Painter)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_S2_GouraudSphere_Depth)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_S2_GouraudSphere_Painter)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_S3_SmallTriangles_Depth)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_S3_SmallTriangles_Painter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_S4_CheckerFloor_Depth)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_S4_CheckerFloor_Painter)->Unit(benchmark::kMicrosecond);
