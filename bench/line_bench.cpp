// Line rates of the wire fillers (one visible edge per call) for short and
// long lines, flat and Gouraud, with and without depth, and whole frames of
// a wireframe sphere. Lines per second are reported as "items_per_second".
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "engine3d.h"
#include "core/view.h"
#include "raster/raster.h"
#include "raster/wire.h"

namespace {

constexpr int kWidth = 640, kHeight = 480;

struct Screen {
    std::vector<uint16_t> pixels = std::vector<uint16_t>(kWidth * kHeight);
    E3DTexture surface{};
    E3DViewport *viewport;
    Screen() {
        InitEngine3D();
        surface.pixels = pixels.data();
        surface.pitch = kWidth * 2;
        viewport = CreateViewport(&surface, kWidth, kHeight, 1, 0);
        e3d::SetRasterContext(viewport, nullptr);
        e3d::LoadClipBounds(viewport);
    }
    ~Screen() {
        e3d::SetRasterContext(nullptr, nullptr);
        DeleteViewport(viewport);
        ReleaseEngine3D();
    }
};

// 1024 random lines of the given length in every direction, inside the screen.
struct Lines {
    std::vector<E3DVertex> v;
    std::vector<E3DPolygon> p;
    E3DMaterial m{};
    explicit Lines(float length) : v(2048), p(1024) {
        std::mt19937 rng(7);
        std::uniform_real_distribution<float> angle(0.0f, 6.2831853f), x(length, kWidth - length),
            y(length, kHeight - length), w(0.01f, 0.5f);
        for (int i = 0; i < 1024; ++i) {
            const float a = angle(rng), cx = x(rng), cy = y(rng);
            E3DVertex &s = v[2 * i], &e = v[2 * i + 1];
            s.screenX = cx, s.screenY = cy, s.invDepth = w(rng);
            e.screenX = cx + length * std::cos(a), e.screenY = cy + length * std::sin(a), e.invDepth = w(rng);
            E3DPolygon &q = p[i];
            q.flags = 0x200;  // the edge from corner 0 to corner 1
            q.vertex[0] = 2 * i, q.vertex[1] = 2 * i + 1, q.vertex[2] = 2 * i;
            q.material = q.backMaterial = &m;
            q.color = 0x406080, q.color1 = 0xFF2000, q.color2 = 0x20FF40;
        }
    }
};

void BM_Lines(benchmark::State &state, void (*filler)(E3DPolygon *, E3DVertex *)) {
    Screen screen;
    Lines lines(float(state.range(0)));
    for (auto _ : state) {
        // A cleared depth buffer lets every pixel pass, as in a first frame;
        // the clear itself is not timed.
        state.PauseTiming();
        ClearViewportDepthBuffer(screen.viewport, 0);
        state.ResumeTiming();
        for (E3DPolygon &q : lines.p) filler(&q, lines.v.data());
        benchmark::DoNotOptimize(screen.pixels.data());
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * 1024);
}

BENCHMARK_CAPTURE(BM_Lines, Flat, e3d::ClipAndDrawFlatWireTriangle)->Arg(10)->Arg(500);
BENCHMARK_CAPTURE(BM_Lines, FlatDepth, e3d::ClipAndDrawFlatWireTriangleZ)->Arg(10)->Arg(500);
BENCHMARK_CAPTURE(BM_Lines, Gouraud, e3d::ClipAndDrawGouraudWireTriangle)->Arg(10)->Arg(500);
BENCHMARK_CAPTURE(BM_Lines, GouraudDepth, e3d::ClipAndDrawGouraudWireTriangleZ)->Arg(10)->Arg(500);

// A lit 32 x 32 sphere (about 2k triangles) in wire mode filling most of the
// screen, drawn with the depth buffer (arg 1) or the painter's sort (arg 0).
void BM_WireSphereFrame(benchmark::State &state) {
    Screen screen;
    const bool depth = state.range(0) != 0;
    if (!depth) SetViewportDepthState(screen.viewport, 0);
    SetViewportType(screen.viewport, 0x80000001u);
    const float eye[3] = {0, 0, -6}, target[3] = {0, 0, 0};
    E3DCamera *camera = CreateCamera(eye, target, 0, 60, 1);
    E3DScene *scene = CreateScene();
    AssignCameraToScene(scene, camera);
    SetActiveSceneCamera(scene, camera);
    SetSceneViewport(scene, screen.viewport);
    E3DMesh *sphere = SphereCreate(2.5f, nullptr, 32, 32, 0xC0C0C0);
    ActivateMesh(sphere);
    SetMeshRenderMode(&sphere->node, 0x300000);
    SetMeshShadeMode(&sphere->node, 7);
    AssignMeshToScene(scene, sphere, 0);
    for (auto _ : state) {
        if (depth) ClearViewportDepthBuffer(screen.viewport, 0);
        DrawScene(scene);
        benchmark::DoNotOptimize(screen.pixels.data());
    }
    state.SetItemsProcessed(int64_t(state.iterations()));
    DeleteScene(scene);
}

BENCHMARK(BM_WireSphereFrame)->Arg(1)->Arg(0);

}  // namespace
