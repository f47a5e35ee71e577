// The standard scenes at 640 x 480, whole frames back to back (clear,
// DrawScene, finished pixels in the buffer), on the depth-buffered and the
// painter's pass. S1 reports fill rate ("Mpix/s", screen pixels per frame),
// S2 and S3 triangle rate ("Mtri/s", triangles in the scene per frame).
// bench/scenes_table.sh prints the medians as a table.
#include <benchmark/benchmark.h>

#include "support/standard_scenes.h"

namespace {

using e3dscenes::SceneKind;
using e3dscenes::StandardScene;

void RunScene(benchmark::State &state, SceneKind kind, bool depthPass) {
    StandardScene s(kind, depthPass);
    for (auto _ : state) {
        s.Render();
        benchmark::DoNotOptimize(s.pixels.data());
        benchmark::ClobberMemory();
    }
    const double frames = double(state.iterations());
    if (kind == SceneKind::FullScreenPair) {
        state.counters["Mpix/s"] =
            benchmark::Counter(frames * s.width * s.height * 1e-6, benchmark::Counter::kIsRate);
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

}  // namespace

BENCHMARK(BM_S1_FullScreenPair_Depth)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_S1_FullScreenPair_Painter)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_S2_GouraudSphere_Depth)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_S2_GouraudSphere_Painter)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_S3_SmallTriangles_Depth)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_S3_SmallTriangles_Painter)->Unit(benchmark::kMillisecond);
