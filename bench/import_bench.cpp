// The import library on the three largest models of Debian's
// assimp-testmodels (by triangles) and a skinned one through its animation:
// import time, and frame time at 640 x 480 on the depth-buffered and the
// painter's pass. Counter "triangles" gives the model's size.
#include <benchmark/benchmark.h>

#include <cmath>
#include <string>
#include <vector>

#include "engine3d.h"
#include "engine3d_import.h"
#include "render_frame.h"

namespace {

const char *const kCorpus = "/usr/share/assimp/models/";
const char *const kLargest[] = {"BLEND/SuzanneSubdiv_252.blend", "BLEND/yxa_1.blend",
                                "glTF2/2CylinderEngine-glTF-Binary/2CylinderEngine.glb"};
const char *const kSkinned = "X/BCN_Epileptic.X";

int Triangles(const E3DImport *im) {
    int n = 0;
    for (int i = 0; i < GetImportCount(im, E3D_IMPORT_MESHES); ++i)
        n += static_cast<E3DMesh *>(GetImportObject(im, E3D_IMPORT_MESHES, i))->polygonCount;
    return n;
}

void Import(benchmark::State &state, std::string path) {
    InitEngine3D();
    char error[512];
    int triangles = 0;
    for (auto _ : state) {
        E3DImport *im = ImportModelFile(path.c_str(), error, sizeof error);
        if (!im) {
            state.SkipWithError(error);
            break;
        }
        triangles = Triangles(im);
        DeleteImport(im);
    }
    state.counters["triangles"] = triangles;
    ReleaseEngine3D();
}

// A 640 x 480 frame of the model on its stage; `clip` >= 0 advances the
// animation by 1/30 s a frame.
void Frame(benchmark::State &state, std::string path, bool depth, int clip) {
    InitEngine3D();
    char error[512];
    E3DImport *im = ImportModelFile(path.c_str(), error, sizeof error);
    if (!im) {
        state.SkipWithError(error);
        ReleaseEngine3D();
        return;
    }
    const int w = 640, h = 480;
    std::vector<uint16_t> pixels(size_t(w) * h);
    E3DTexture surface{};
    surface.pixels = pixels.data();
    surface.pitch = 2 * w;
    E3DViewport *viewport = CreateViewport(&surface, w, h, depth ? E3D_DEPTH_ON : E3D_DEPTH_OFF, 0);
    SetViewportType(viewport, E3D_VIEWPORT_TYPE1 | E3D_VIEWPORT_ENABLED);
    ModelStage stage;
    ModelStageBuild(&stage, im, viewport);
    const float length = clip >= 0 ? GetImportClipDuration(im, clip) : 0.0f;
    int frame = 0;
    for (auto _ : state) {
        if (clip >= 0) SetImportAnimationTime(im, clip, length > 0 ? std::fmod(float(frame++) / 30.0f, length) : 0.0f);
        ModelStageDraw(&stage, pixels.data(), w, h, w);
        benchmark::DoNotOptimize(pixels.data());
    }
    state.counters["triangles"] = Triangles(im);
    state.counters["frames/s"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    ModelStageRelease(&stage);
    DeleteViewport(viewport);
    DeleteImport(im);
    ReleaseEngine3D();
}

}  // namespace

int main(int argc, char **argv) {
    std::vector<std::string> models(std::begin(kLargest), std::end(kLargest));
    for (const std::string &m : models) {
        const std::string path = kCorpus + m;
        benchmark::RegisterBenchmark(("Import/" + m).c_str(), Import, path)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("FrameDepth/" + m).c_str(), Frame, path, true, -1)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("FramePainter/" + m).c_str(), Frame, path, false, -1)
            ->Unit(benchmark::kMillisecond);
    }
    const std::string skinned = std::string(kCorpus) + kSkinned;
    benchmark::RegisterBenchmark((std::string("Import/") + kSkinned).c_str(), Import, skinned)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((std::string("AnimatedDepth/") + kSkinned).c_str(), Frame, skinned, true, 0)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((std::string("AnimatedPainter/") + kSkinned).c_str(), Frame, skinned, false, 0)
        ->Unit(benchmark::kMillisecond);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
