// Fill rate of the texture-mapped fillers: a 640 x 480 checker floor (256 x
// 256 texture) seen at a grazing angle, filling the lower half of the screen
// with depth. Mpix/s is reported as "items_per_second" (pixels drawn); the
// depth clear between frames is not timed.
#include <benchmark/benchmark.h>

#include <vector>

#include "engine3d.h"
#include "raster/raster.h"

namespace {

constexpr int kWidth = 640, kHeight = 480;
constexpr float kFocal = 320.0f;   // 90 degrees across
constexpr float kHorizon = 240.0f;
constexpr float kTop = 241.0f;     // one row below the horizon: 320 units away

struct Floor {
    std::vector<uint16_t> pixels = std::vector<uint16_t>(size_t(kWidth) * kHeight);
    E3DTexture surface{};
    E3DViewport *viewport = nullptr;
    E3DTexture *checker = nullptr;
    E3DVertex v[4]{};
    E3DPolygon p[2]{};
    E3DMaterial m{};
    int64_t drawn = 0;

    // rowLength: the texture drawn through row-length addressing instead of
    // the wrapping power-of-two form. repeats: checker copies across.
    Floor(bool rowLength, float repeats) {
        InitEngine3D();
        surface.pixels = pixels.data();
        surface.pitch = kWidth * 2;
        viewport = CreateViewport(&surface, kWidth, kHeight, 1, 0);
        e3d::SetRasterContext(viewport, nullptr);
        checker = CreateCheckerTexture(256, 256, 16, 0x6318, 0x2108);
        SetMaterialTexture(&m, 0, checker, 0);  // the opacity fillers read layer 1
        SetMaterialTexture(&m, 1, checker, 0);
        if (rowLength) {
            for (int layer = 0; layer < 2; ++layer) {
                m.layers[layer].mode &= ~0x40000000u;
                m.layers[layer].shift = checker->pitch / 2;
            }
        }
        // Eye one unit above the floor: a screen row dy below the horizon
        // sees the floor kFocal / dy away. u spans the texture across the far
        // row, v from the nearest to the farthest row.
        const float zNear = kFocal / (float(kHeight) - kHorizon), zFar = kFocal / (kTop - kHorizon);
        const float xy[4][2] = {{0, kTop}, {kWidth, kTop}, {kWidth, kHeight}, {0, kHeight}};
        for (int i = 0; i < 4; ++i) {
            const float z = kFocal / (xy[i][1] - kHorizon);
            const float x = (xy[i][0] - kWidth / 2) * z / kFocal;
            const float u = repeats * (127.5f + 127.5f * x / zFar);
            const float tv = repeats * 255.0f * (z - zNear) / (zFar - zNear);
            v[i].screenX = xy[i][0];
            v[i].screenY = xy[i][1];
            v[i].invDepth = 1.0f / z;
            for (int t = 0; t < 2; ++t) {
                const int idx[2][3] = {{0, 1, 2}, {0, 2, 3}};
                for (int j = 0; j < 3; ++j) {
                    if (idx[t][j] != i) continue;
                    p[t].coords[j][0] = u * v[i].invDepth;
                    p[t].coords[j][1] = tv * v[i].invDepth;
                }
            }
        }
        for (int t = 0; t < 2; ++t) {
            p[t].flags = 0x80;
            const int idx[2][3] = {{0, 1, 2}, {0, 2, 3}};
            for (int j = 0; j < 3; ++j) p[t].vertex[j] = idx[t][j];
            p[t].material = p[t].backMaterial = &m;
            p[t].color = 0xF0E0D0;
            p[t].color1 = 0xFF8040;
            p[t].color2 = 0x40FF80;
        }
    }
    ~Floor() {
        e3d::SetRasterContext(nullptr, nullptr);
        DeleteTexture(checker);
        DeleteViewport(viewport);
        ReleaseEngine3D();
    }
    // Pixels one frame draws, counted once from a cleared frame.
    template <class Filler>
    int64_t CountDrawn(Filler filler) {
        for (auto &px : pixels) px = 0x8000;
        ClearViewportDepthBuffer(viewport, 0);
        filler(&p[0], v);
        filler(&p[1], v);
        int64_t n = 0;
        for (uint16_t px : pixels) n += px != 0x8000;
        return n;
    }
};

template <void (*Filler)(E3DPolygon *, E3DVertex *)>
void BM_CheckerFloor(benchmark::State &state) {
    Floor floor(state.range(0) != 0, float(state.range(1)));
    const int64_t perFrame = floor.CountDrawn(Filler);
    if (perFrame < int64_t(kWidth) * 200) state.SkipWithError("the floor does not fill the lower half");
    for (auto _ : state) {
        state.PauseTiming();
        ClearViewportDepthBuffer(floor.viewport, 0);
        state.ResumeTiming();
        Filler(&floor.p[0], floor.v);
        Filler(&floor.p[1], floor.v);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * perFrame);
    state.SetLabel(state.range(0) ? "row-length" : "masked");
}

// Arguments: row-length form (0 masked, 1 row-length), checker repeats.
#define FLOOR_FORMS ArgNames({"rowLength", "repeats"})->Args({0, 1})->Args({1, 1})->Args({0, 8})

BENCHMARK_TEMPLATE(BM_CheckerFloor, FlatDiffuseTriangleZ)->FLOOR_FORMS;
BENCHMARK_TEMPLATE(BM_CheckerFloor, NoneDiffuseTriangleZ)->FLOOR_FORMS;
BENCHMARK_TEMPLATE(BM_CheckerFloor, GouraudDiffuseTriangleZ)->FLOOR_FORMS;
BENCHMARK_TEMPLATE(BM_CheckerFloor, FlatDiffuseTriangle)->Args({0, 1})->Args({1, 1});
BENCHMARK_TEMPLATE(BM_CheckerFloor, FlatOpacityTriangleZ)->Args({0, 1})->Args({1, 1});

}  // namespace
