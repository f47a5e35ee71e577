// Whole frames at 640 x 480: 100 unlit boxes (1,200 triangles) and one mesh
// of about 100k small triangles, on the depth-buffered and painter's paths.
// "frames/s" and "triangles/s" (triangles submitted) are the counters.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "engine3d.h"
#include "support/standard_scenes.h"

namespace {

constexpr int kWidth = 640, kHeight = 480;

E3DMesh *Box(float h, uint32_t colour) {
    static const float c[8][3] = {{-1, 1, -1}, {1, 1, -1}, {1, -1, -1}, {-1, -1, -1},
                                  {-1, 1, 1},  {1, 1, 1},  {1, -1, 1},  {-1, -1, 1}};
    static const int f[6][4] = {{0, 1, 2, 3}, {1, 5, 6, 2}, {5, 4, 7, 6}, {4, 0, 3, 7}, {4, 5, 1, 0}, {3, 2, 6, 7}};
    E3DMesh *m = CreateMesh(8, 12, colour);
    for (int i = 0; i < 8; ++i) SetMeshVertex(m, i, c[i][0] * h, c[i][1] * h, c[i][2] * h);
    for (int i = 0; i < 6; ++i) SetMeshQuadPolygon(m, 2 * i, f[i][0], f[i][1], f[i][2], f[i][3], 0, i);
    m = ValidateMesh(m);
    SetMeshShadeMode(&m->node, 1);
    return m;
}

// An n x n wavy sheet facing the camera: 2 n^2 triangles.
E3DMesh *Sheet(int n, float size) {
    E3DMesh *m = CreateMesh((n + 1) * (n + 1), 2 * n * n, 0x80A0C0);
    const float step = size / float(n);
    for (int y = 0; y <= n; ++y)
        for (int x = 0; x <= n; ++x)
            SetMeshVertex(m, y * (n + 1) + x, float(x) * step - size / 2, size / 2 - float(y) * step,
                          float((x * 7 + y * 3) % 5) * 0.01f);
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) {
            const int a = y * (n + 1) + x;
            SetMeshQuadPolygon(m, 2 * (y * n + x), a, a + 1, a + n + 2, a + n + 1, 0, 0);
        }
    m = ValidateMesh(m);
    SetMeshShadeMode(&m->node, 1);
    SetMeshCullMode(&m->node, 0x08);
    return m;
}

struct Frame {
    std::vector<uint16_t> pixels = std::vector<uint16_t>(size_t(kWidth) * kHeight);
    E3DTexture surface{};
    E3DViewport *viewport;
    E3DScene *scene;
    int triangles = 0;
    Frame(bool depth, bool boxes, int lights = 0) {
        InitEngine3D();
        surface.pixels = pixels.data();
        surface.pitch = 2 * kWidth;
        viewport = CreateViewport(&surface, kWidth, kHeight, depth ? 1 : 0, 0);
        SetViewportType(viewport, 0x80000001u);
        scene = CreateScene();
        const float eye[3] = {0, 0, -30}, target[3] = {0, 0, 0};
        E3DCamera *camera = CreateCamera(eye, target, 0, 60, 1);
        AssignCameraToScene(scene, camera);
        SetActiveSceneCamera(scene, camera);
        SetSceneViewport(scene, viewport);
        if (lights > 0) {
            E3DMesh *ball = e3dscenes::MakeBall(46, 46, 12.0f);  // 4,140 triangles
            AssignMeshToScene(scene, ball, 0);
            triangles = ball->polygonCount;
            const float white[4] = {1, 1, 1, 0};
            for (int i = 0; i < lights; ++i) {
                const float at[3] = {float(i % 2 ? 20 : -20), float(i / 2 ? 20 : -5), -25};
                E3DLight *l = CreateOmniLight(at, white, 0.6f, 10, 80, 0);
                SetLightStatus(l, 1, 1);
                AssignLightToScene(scene, l, 1);
            }
        } else if (boxes) {
            for (int i = 0; i < 100; ++i) {
                E3DMesh *b = Box(0.8f, 0x102030u * uint32_t(i % 7 + 1));
                SetMeshModelOrientation(b, float(i * 13), float(i * 29), 0);
                SetMeshModelPosition(b, float(i % 10) * 3.0f - 13.5f, float(i / 10) * 2.2f - 10.0f, float(i % 3));
                AssignMeshToScene(scene, b, 0);
                triangles += 12;
            }
        } else {
            AssignMeshToScene(scene, Sheet(224, 30.0f), 0);  // 100,352 triangles
            triangles = 2 * 224 * 224;
        }
    }
    ~Frame() {
        DeleteScene(scene);
        DeleteViewport(viewport);
        ReleaseEngine3D();
    }
};

void Run(benchmark::State &state, bool depth, bool boxes, int lights = 0) {
    Frame f(depth, boxes, lights);
    for (auto _ : state) {
        if (depth) ClearViewportDepthBuffer(f.viewport, 0);
        DrawScene(f.scene);
        benchmark::ClobberMemory();
    }
    state.counters["frames/s"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    state.counters["triangles/s"] =
        benchmark::Counter(double(state.iterations()) * f.triangles, benchmark::Counter::kIsRate);
}

void BM_BoxesDepth(benchmark::State &s) { Run(s, true, true); }
void BM_BoxesPainter(benchmark::State &s) { Run(s, false, true); }
void BM_SheetDepth(benchmark::State &s) { Run(s, true, false); }
void BM_SheetPainter(benchmark::State &s) { Run(s, false, false); }
void BM_LitBallDepth(benchmark::State &s) { Run(s, true, false, int(s.range(0))); }
void BM_LitBallPainter(benchmark::State &s) { Run(s, false, false, int(s.range(0))); }

}  // namespace

BENCHMARK(BM_BoxesDepth)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_BoxesPainter)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SheetDepth)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SheetPainter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LitBallDepth)->ArgName("lights")->Arg(1)->Arg(4)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_LitBallPainter)->ArgName("lights")->Arg(1)->Arg(4)->Unit(benchmark::kMicrosecond);
