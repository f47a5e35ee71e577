// Bone-deformed meshes: deformed vertices per second for a 10k-vertex mesh
// with four influences each (the deformation alone, and with projection
// and face planes), and frames per second of the skinning example's scene
// beside the same arm drawn undeformed. Counters: "vertices/s", "frames/s".
#include <benchmark/benchmark.h>

#include <vector>

#include "engine3d.h"
#include "core/normals.h"
#include "shading/skinning.h"
#include "shading/vertex_stages.h"
#include "skinning_scene.h"

namespace {

// A 100 x 100 vertex sheet (10,000 vertices) over a four-bone chain, every
// vertex weighted on all four bones, every bone posed.
struct SkinnedSheet {
    E3DMesh *mesh = nullptr;
    E3DSkeleton *skeleton = nullptr;
    SkinnedSheet() {
        InitEngine3D();
        constexpr int n = 100;
        mesh = CreateMesh(n * n, 2 * (n - 1) * (n - 1), 0x808080);
        for (int y = 0; y < n; ++y)
            for (int x = 0; x < n; ++x) SetMeshVertex(mesh, y * n + x, float(x) * 0.1f - 5.0f, float(y) * 0.1f - 5.0f, 0);
        for (int y = 0; y + 1 < n; ++y)
            for (int x = 0; x + 1 < n; ++x) {
                const int a = y * n + x;
                SetMeshQuadPolygon(mesh, 2 * (y * (n - 1) + x), a, a + 1, a + n + 1, a + n, 0, 0);
            }
        mesh = ValidateMesh(mesh);
        skeleton = CreateSkeleton();
        const char *names[4] = {"a", "b", "c", "d"};
        for (int i = 0; i < 4; ++i) {
            E3DBone *b = CreateBone();
            const float at[3] = {i ? 2.5f : -5.0f, 0, 0}, turn[3] = {5.0f * float(i), 10.0f, 15.0f};
            SetBonePosition(b, at, 1);
            SetBoneOrientation(b, turn, 0);
            AttachBoneToSkeleton(skeleton, i ? names[i - 1] : nullptr, b, names[i]);
        }
        AssignSkeletonToMesh(mesh, skeleton);
        for (int v = 0; v < mesh->vertexCount; ++v) {
            const int32_t bones[4] = {0, 1, 2, 3};
            const float w[4] = {0.4f, 0.3f, 0.2f, 0.1f};
            SetVertexBoneWeights(mesh, v, bones, w);
        }
    }
    ~SkinnedSheet() {
        RemoveSkeletonFromMesh(mesh);
        DeleteSkeleton(skeleton);
        DeleteMesh(mesh);
        ReleaseEngine3D();
    }
};

void BM_DeformVertices(benchmark::State &state) {
    SkinnedSheet sheet;
    float lo[3], hi[3];
    for (auto _ : state) {
        e3d::BuildBoneTable(sheet.mesh);
        e3d::DeformVertices(sheet.mesh, lo, hi);
        benchmark::DoNotOptimize(sheet.mesh->vertices[0].worldPosition[0]);
    }
    state.counters["vertices/s"] =
        benchmark::Counter(double(sheet.mesh->vertexCount), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_DeformVertices);

// Deformation, bounds, projection of every vertex and world face planes:
// the per-vertex work a deformed mesh costs before its stage.
void BM_DeformProjectAndPlanes(benchmark::State &state) {
    SkinnedSheet sheet;
    const float view[12] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, -20};
    e3d::SetSkinningView(view);
    e3d::ProjectionState &p = e3d::g_projection;
    p.focal = 300.0f, p.centerX = 320.0f, p.centerY = 240.0f, p.yScale = -1.0f, p.nearZ = 1.0f, p.farZ = 1e6f;
    p.clipXMin = 0, p.clipXMax = 640, p.clipYMin = 0, p.clipYMax = 480;
    for (auto _ : state) {
        e3d::ApplySkeleton(sheet.mesh);
        e3d::ProjectSkinnedVertices(sheet.mesh);
        e3d::CalcMeshPolygonsNormalWorld(sheet.mesh);
        benchmark::DoNotOptimize(sheet.mesh->polygons[0].planeD);
    }
    state.counters["vertices/s"] =
        benchmark::Counter(double(sheet.mesh->vertexCount), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_DeformProjectAndPlanes);

// The skinning example's frame (320 x 240, depth buffer, two lights,
// Gouraud): arg 1 deformed through the 60-frame cycle, arg 0 the same arm
// without a skeleton.
void BM_SkinningExampleFrame(benchmark::State &state) {
    InitEngine3D();
    std::vector<uint16_t> pixels(size_t(kSkinningWidth) * kSkinningHeight);
    E3DTexture surface{};
    surface.pixels = pixels.data();
    surface.width = kSkinningWidth;
    surface.height = kSkinningHeight;
    surface.pitch = 2 * kSkinningWidth;
    E3DViewport *viewport = CreateViewport(&surface, kSkinningWidth, kSkinningHeight, 1, 0);
    SetViewportType(viewport, 0x80000001u);
    SkinningScene s;
    if (!SkinningBuildScene(&s, viewport, int(state.range(0)))) {
        state.SkipWithError("scene");
        return;
    }
    int frame = 0;
    for (auto _ : state) {
        std::fill(pixels.begin(), pixels.end(), uint16_t(SKINNING_BACKGROUND));
        ClearViewportDepthBuffer(viewport, 0);
        SkinningPose(&s, frame++);
        DrawScene(s.scene);
    }
    state.counters["frames/s"] = benchmark::Counter(1.0, benchmark::Counter::kIsIterationInvariantRate);
    SkinningReleaseScene(&s);
    DeleteViewport(viewport);
    ReleaseEngine3D();
}
BENCHMARK(BM_SkinningExampleFrame)->Arg(1)->Arg(0);

}  // namespace
