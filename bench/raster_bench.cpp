// Fill rates of the solid fillers against a plain 16-bit fill loop over a
// 640 x 480 buffer. Mpix/s is reported as "items_per_second".
#include <benchmark/benchmark.h>

#include "raster/simd.h"

#include <cstring>
#include <random>
#include <vector>

#include "engine3d.h"
#include "raster/raster.h"

namespace {

constexpr int kWidth = 640, kHeight = 480;

struct Screen {
    std::vector<uint16_t> pixels = std::vector<uint16_t>(kWidth * kHeight);
    E3DTexture surface{};
    E3DViewport *viewport;
    Screen() {
        surface.pixels = pixels.data();
        surface.pitch = kWidth * 2;
        viewport = CreateViewport(&surface, kWidth, kHeight, 1, 0);
        e3d::SetRasterContext(viewport, nullptr);
    }
    ~Screen() {
        e3d::SetRasterContext(nullptr, nullptr);
        DeleteViewport(viewport);
    }
};

// Two triangles covering the screen, back-side order (corners as stored).
struct ScreenPair {
    E3DVertex v[4]{};
    E3DPolygon p[2]{};
    E3DMaterial m{};
    explicit ScreenPair(uint16_t blend, uint16_t level = 255) {
        const float xy[4][2] = {{0, 0}, {kWidth, 0}, {kWidth, kHeight}, {0, kHeight}};
        for (int i = 0; i < 4; ++i) {
            v[i].screenX = xy[i][0];
            v[i].screenY = xy[i][1];
            v[i].invDepth = 0.01f + 0.001f * float(i);
        }
        const int idx[2][3] = {{0, 1, 2}, {0, 2, 3}};
        m.alphaMode = blend;
        m.alphaLevel = level;
        for (int t = 0; t < 2; ++t) {
            p[t].flags = 0x80;
            for (int j = 0; j < 3; ++j) p[t].vertex[j] = idx[t][j];
            p[t].material = p[t].backMaterial = &m;
            p[t].color = 0x406080;
            p[t].color1 = 0xFF2000;
            p[t].color2 = 0x20FF40;
        }
    }
};

void BM_PlainFillLoop(benchmark::State &state) {
    std::vector<uint16_t> pixels(kWidth * kHeight);
    uint16_t value = 0;
    for (auto _ : state) {
        ++value;
        uint16_t *p = pixels.data();
        for (int i = 0; i < kWidth * kHeight; ++i) p[i] = value;
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

// The ceilings of a whole-screen flat frame on this machine, with the
// stores the engine may use (SSE2, 16 bytes): the painter's pass can go no
// faster than writing every pixel once, the depth pass no faster than
// clearing the depth buffer and then reading, comparing and writing every
// depth and pixel. memset, free to use wider stores, is the reference.
alignas(64) __m128i g_floorPixels[kWidth * kHeight / 8], g_floorDepth[kWidth * kHeight / 4];
constexpr size_t kPixelQuads = kWidth * kHeight / 8, kDepthQuads = kWidth * kHeight / 4;

void BM_Sse2FillFloor(benchmark::State &state) {
    int16_t value = 0;
    for (auto _ : state) {
        const __m128i v = _mm_set1_epi16(++value);
        __m128i *p = g_floorPixels;
        for (size_t i = 0; i < kPixelQuads; i += 4) {
            _mm_store_si128(p + i, v);
            _mm_store_si128(p + i + 1, v);
            _mm_store_si128(p + i + 2, v);
            _mm_store_si128(p + i + 3, v);
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

void BM_MemsetFloor(benchmark::State &state) {
    std::vector<uint16_t> pixels(kWidth * kHeight);
    int value = 0;
    for (auto _ : state) {
        std::memset(pixels.data(), ++value & 0xFF, pixels.size() * sizeof(uint16_t));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

void BM_Sse2DepthFloor(benchmark::State &state) {
    int32_t z = 0;
    for (auto _ : state) {
        __m128i *d = g_floorDepth;
        const __m128i zero = _mm_setzero_si128();
        for (size_t i = 0; i < kDepthQuads; i += 4) {
            _mm_store_si128(d + i, zero);
            _mm_store_si128(d + i + 1, zero);
            _mm_store_si128(d + i + 2, zero);
            _mm_store_si128(d + i + 3, zero);
        }
        const __m128i zq = _mm_set1_epi32(++z), color = _mm_set1_epi16(int16_t(z));
        __m128i *p = g_floorPixels;
        for (size_t i = 0; i < kPixelQuads; ++i) {
            const __m128i old0 = _mm_load_si128(d + 2 * i), old1 = _mm_load_si128(d + 2 * i + 1);
            const __m128i pass0 = _mm_cmpgt_epi32(zq, old0), pass1 = _mm_cmpgt_epi32(zq, old1);
            _mm_store_si128(d + 2 * i, _mm_or_si128(_mm_and_si128(pass0, zq), _mm_andnot_si128(pass0, old0)));
            _mm_store_si128(d + 2 * i + 1, _mm_or_si128(_mm_and_si128(pass1, zq), _mm_andnot_si128(pass1, old1)));
            const __m128i pass = _mm_packs_epi32(pass0, pass1);
            _mm_store_si128(p + i, _mm_or_si128(_mm_and_si128(pass, color), _mm_andnot_si128(pass, _mm_load_si128(p + i))));
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

template <void (*Filler)(E3DPolygon *, E3DVertex *)>
void BM_ScreenPair(benchmark::State &state) {
    Screen screen;
    ScreenPair pair(uint16_t(state.range(0)), uint16_t(state.range(1)));
    for (auto _ : state) {
        ClearViewportDepthBuffer(screen.viewport, 0);
        Filler(&pair.p[0], pair.v);
        Filler(&pair.p[1], pair.v);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}

// 10k triangles of about ten pixels each, spread over the screen.
template <void (*Filler)(E3DPolygon *, E3DVertex *)>
void BM_SmallTriangles(benchmark::State &state) {
    Screen screen;
    constexpr int kCount = 10000;
    std::vector<E3DVertex> v(3 * kCount);
    std::vector<E3DPolygon> p(kCount);
    E3DMaterial m{};
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> x(0.0f, kWidth - 6.0f), y(0.0f, kHeight - 6.0f);
    for (int t = 0; t < kCount; ++t) {
        const float ox = x(rng), oy = y(rng);
        const float xy[3][2] = {{ox, oy}, {ox + 5.0f, oy + 0.5f}, {ox + 0.5f, oy + 4.5f}};
        for (int j = 0; j < 3; ++j) {
            v[3 * t + j].screenX = xy[j][0];
            v[3 * t + j].screenY = xy[j][1];
            v[3 * t + j].invDepth = 0.01f;
            p[t].vertex[j] = 3 * t + j;
        }
        p[t].flags = 0x80;
        p[t].material = p[t].backMaterial = &m;
        p[t].color = p[t].color1 = p[t].color2 = 0x808080;
    }
    for (auto _ : state) {
        ClearViewportDepthBuffer(screen.viewport, 0);
        for (int t = 0; t < kCount; ++t) Filler(&p[t], v.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}

}  // namespace

BENCHMARK(BM_PlainFillLoop);
BENCHMARK(BM_Sse2FillFloor);
BENCHMARK(BM_MemsetFloor);
BENCHMARK(BM_Sse2DepthFloor);
// Arguments: blend type, opacity level.
BENCHMARK(BM_ScreenPair<FlatSolidTriangle>)->ArgNames({"blend", "level"})->Args({0, 255})->Args({1, 255})->Args({2, 128})->Args({3, 255});
BENCHMARK(BM_ScreenPair<FlatSolidTriangleZ>)->ArgNames({"blend", "level"})->Args({0, 255})->Args({1, 255})->Args({2, 128});
BENCHMARK(BM_ScreenPair<GouraudSolidTriangle>)->ArgNames({"blend", "level"})->Args({0, 255});
BENCHMARK(BM_ScreenPair<GouraudSolidTriangleZ>)->ArgNames({"blend", "level"})->Args({0, 255});
BENCHMARK(BM_SmallTriangles<FlatSolidTriangle>);
BENCHMARK(BM_SmallTriangles<FlatSolidTriangleZ>);
