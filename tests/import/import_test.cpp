// The import library on small files written here: the engine objects that
// come out, animation poses against a model of the interpolation, errors,
// allocation failures, and rendered frames against recorded hashes.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "engine3d_import.h"
#include "model_files.h"
#include "render_frame.h"
#include "support/memory_check.h"

namespace {

using e3dtest::TempFolder;

struct Engine : ::testing::Test {
    void SetUp() override { InitEngine3D(); }
    void TearDown() override { ReleaseEngine3D(); }
};

E3DImport *Load(const std::string &path, std::string *error = nullptr) {
    char text[512] = "unset";
    E3DImport *im = ImportModelFile(path.c_str(), text, sizeof text);
    if (error) *error = text;
    return im;
}

E3DMesh *Mesh(const E3DImport *im, int i) { return static_cast<E3DMesh *>(GetImportObject(im, E3D_IMPORT_MESHES, i)); }

uint64_t Fnv1a(const void *data, size_t n) {
    uint64_t h = 1469598103934665603ull;
    for (size_t i = 0; i < n; ++i) h = (h ^ static_cast<const uint8_t *>(data)[i]) * 1099511628211ull;
    return h;
}

// Opaque, cut-out and odd-sized textures: the layer, the form and the
// texels; an odd-sized texture the model tiles is resampled to wrap.
TEST_F(Engine, TexturedQuadTakesTheMaterialAndTheTextureInTheEngineForm) {
    struct Case {
        const char *name;
        int w, h;
        uint32_t corner;  // texel (0, 0); the others are opaque grey
        int layer;
        bool powerOfTwo;
        uint16_t expect;  // the 5-5-5 texel (0, 0)
        int tiles = 1;
        int width = 0;    // in the engine, when not w
    } cases[] = {
        {"opaque", 4, 4, 0xFFFF8000u, 0, true, 0x7E00},
        {"cutout", 4, 2, 0x00FF8000u, 1, true, 0x8000},
        {"odd", 3, 2, 0xFF0010FFu, 0, false, 0x005F},
        {"odd tiled", 3, 2, 0xFF0010FFu, 0, true, 0x005F, 3, 4},
    };
    for (const Case &c : cases) {
        TempFolder dir;
        std::vector<uint32_t> texels(size_t(c.w * c.h), 0xFF808080u);
        texels[0] = c.corner;
        dir.Write("t.tga", e3dtest::Tga(c.w, c.h, texels));
        dir.Write("q.mtl", e3dtest::Mtl("t.tga"));
        E3DImport *im = Load(dir.Write("q.obj", e3dtest::QuadObj("q.mtl", "", c.tiles)));
        ASSERT_NE(im, nullptr) << c.name;
        ASSERT_EQ(GetImportCount(im, E3D_IMPORT_MESHES), 1) << c.name;
        ASSERT_EQ(GetImportCount(im, E3D_IMPORT_TEXTURES), 1) << c.name;
        EXPECT_EQ(GetImportWarningCount(im), 0) << c.name;
        const E3DMesh *m = Mesh(im, 0);
        EXPECT_EQ(m->vertexCount, 4);
        EXPECT_EQ(m->polygonCount, 2);
        EXPECT_EQ(m->meshKind, 1);
        E3DMaterial *mat = m->polygons[0].material;
        EXPECT_EQ(mat, GetImportObject(im, E3D_IMPORT_MATERIALS, 0));
        EXPECT_EQ(mat->mode & (E3D_TEXTURE_LAYER0 | E3D_TEXTURE_LAYER1), c.layer ? E3D_TEXTURE_LAYER1 : E3D_TEXTURE_LAYER0)
            << c.name;
        const E3DTextureLayer &l = mat->layers[c.layer];
        const int width = c.width ? c.width : c.w;
        EXPECT_EQ(l.width, width) << c.name;
        EXPECT_EQ((l.mode & E3D_TEXTURE_POWER_OF_TWO) != 0, c.powerOfTwo) << c.name;
        EXPECT_EQ(l.shift, c.powerOfTwo ? int(std::log2(width)) : width) << c.name;
        EXPECT_EQ(l.pixels[0], c.expect) << c.name;
        EXPECT_EQ(l.pixels[width - 1], 0x4210) << c.name;
        // Specular from Ks and Ns; textured faces take a white diffuse.
        EXPECT_EQ(GetMaterialShininess(mat), 20.0f);
        EXPECT_EQ(GetMaterialColor(mat, E3D_COLOR_DIFFUSE)[0], 255.0f);
        // The file's coordinates, each triangle moved by whole tiles toward 0.
        for (int p = 0; p < m->polygonCount; ++p) {
            for (int k = 0; k < 3; ++k) {
                const float u = m->polygons[p].coords[k][0];
                EXPECT_TRUE(u == 0.0f || u == float(c.tiles)) << c.name << " " << u;
            }
        }
        DeleteImport(im);
    }
}

TEST_F(Engine, DegenerateAndRepeatedCornerTrianglesAreDroppedAndAMissingTextureWarns) {
    TempFolder dir;
    dir.Write("q.mtl", e3dtest::Mtl("absent.png"));
    // A sliver on a line and a face naming one corner twice.
    E3DImport *im = Load(dir.Write("q.obj", e3dtest::QuadObj("q.mtl", "v 2 0 0\nf 1 2 5\nf 1 1 3\n")));
    ASSERT_NE(im, nullptr);
    EXPECT_EQ(Mesh(im, 0)->polygonCount, 2);
    ASSERT_EQ(GetImportWarningCount(im), 1);
    EXPECT_NE(std::string(GetImportWarning(im, 0)).find("absent.png"), std::string::npos);
    EXPECT_EQ(GetImportCount(im, E3D_IMPORT_TEXTURES), 0);
    EXPECT_EQ(Mesh(im, 0)->polygons[0].material->mode & 0x7800000u, 0u);
    float lo[3], hi[3], centre[3], radius;
    GetImportBounds(im, lo, hi, centre, &radius);
    EXPECT_EQ(hi[0] - lo[0], 2.0f);  // the unused fifth vertex still counts
    DeleteImport(im);
}

// The hierarchy: arm under base, its transform in the model matrix, its
// scale in its vertices; clip "lift" moves it linearly.
TEST_F(Engine, TwoNodesKeepTheirHierarchyAndTheAnimatedNodeMoves) {
    TempFolder dir;
    E3DImport *im = Load(dir.Write("two.gltf", e3dtest::TwoNodes()));
    ASSERT_NE(im, nullptr);
    ASSERT_EQ(GetImportCount(im, E3D_IMPORT_MESHES), 2);
    ASSERT_EQ(GetImportCount(im, E3D_IMPORT_ROOTS), 1);
    E3DMesh *base = Mesh(im, 0), *arm = Mesh(im, 1);
    EXPECT_STREQ(GetImportMeshNodeName(im, 0), "base");
    EXPECT_STREQ(GetImportMeshNodeName(im, 1), "arm");
    EXPECT_EQ(arm->node.parent, &base->node);
    EXPECT_EQ(base->modelMatrix[3], 1.0f);
    EXPECT_EQ(arm->modelMatrix[3], 0.0f);
    EXPECT_EQ(arm->modelMatrix[7], 1.0f);
    EXPECT_EQ(arm->modelMatrix[0], 1.0f);  // rigid: the scale went to the vertices
    EXPECT_EQ(arm->vertices[1].position[0] + arm->vertices[2].position[0], 2.0f);
    float lo[3], hi[3];
    GetImportBounds(im, lo, hi, nullptr, nullptr);
    EXPECT_EQ(lo[0], 1.0f);
    EXPECT_EQ(hi[0], 3.0f);
    EXPECT_EQ(hi[1], 3.0f);

    ASSERT_EQ(GetImportClipCount(im), 1);
    EXPECT_EQ(FindImportClip(im, "lift"), 0);
    EXPECT_EQ(GetImportClipDuration(im, 0), 2.0f);
    for (float t : {-1.0f, 0.0f, 0.5f, 1.0f, 2.0f, 5.0f}) {
        ASSERT_EQ(SetImportAnimationTime(im, 0, t), 1);
        const float held = std::fmin(std::fmax(t, 0.0f), 2.0f);
        EXPECT_FLOAT_EQ(arm->modelMatrix[7], 1.0f + held) << t;
        EXPECT_EQ(base->modelMatrix[3], 1.0f);
    }
    EXPECT_EQ(SetImportAnimationTime(im, 1, 0.0f), 0);
    EXPECT_EQ(SetImportAnimationTime(im, 0, NAN), 0);
    DeleteImport(im);
}

// Deformed vertices after a draw against the interpolation worked out
// here: root slides linearly, joint turns about z at a linear angle.
TEST_F(Engine, SkinnedStripIsPosedAtAnyTime) {
    TempFolder dir;
    E3DImport *im = Load(dir.Write("strip.gltf", e3dtest::SkinnedStrip()));
    ASSERT_NE(im, nullptr);
    ASSERT_EQ(GetImportCount(im, E3D_IMPORT_SKELETONS), 1);
    E3DMesh *strip = Mesh(im, 0);
    EXPECT_EQ(strip->meshKind, 2);
    const E3DSkeleton *skeleton = static_cast<E3DSkeleton *>(GetImportObject(im, E3D_IMPORT_SKELETONS, 0));
    EXPECT_EQ(skeleton->boneCount, 3);
    EXPECT_EQ(GetBoneIndexByName(skeleton, "joint"), 2);
    for (int v = 0; v < 6; ++v) {
        int32_t bones[4];
        float weights[4];
        ASSERT_EQ(GetVertexBoneWeights(strip, v, bones, weights), 1);
        const float y = strip->vertices[v].position[1];
        EXPECT_EQ(bones[0], y > 1.5f ? 2 : 1) << v;
        EXPECT_EQ(weights[0], y > 0.5f && y < 1.5f ? 0.5f : 1.0f) << v;
    }

    std::vector<uint16_t> pixels(64 * 48);
    E3DTexture surface{};
    surface.pixels = pixels.data();
    surface.pitch = 128;
    E3DViewport *viewport = CreateViewport(&surface, 64, 48, E3D_DEPTH_ON, 0);
    SetViewportType(viewport, E3D_VIEWPORT_TYPE1 | E3D_VIEWPORT_ENABLED);
    ModelStage stage;
    ASSERT_EQ(ModelStageBuild(&stage, im, viewport), 1);
    // (At time 0 no bone moves and the mesh is drawn undeformed.)
    for (float t : {0.25f, 0.5f, 0.75f, 1.0f}) {
        ASSERT_EQ(SetImportAnimationTime(im, 0, t), 1);
        ModelStageDraw(&stage, pixels.data(), 64, 48, 64);
        const float a = t * 1.5707964f, c = std::cos(a), s = std::sin(a), x = 2.0f * t;
        for (int v = 0; v < 6; ++v) {
            const float px = strip->vertices[v].position[0], py = strip->vertices[v].position[1];
            // On root: slid. On joint: turned about (0, 1) and slid.
            const float rootX = x + px, rootY = py;
            const float jointX = x + c * px - s * (py - 1.0f), jointY = 1.0f + s * px + c * (py - 1.0f);
            const float w = py < 0.5f ? 0.0f : (py < 1.5f ? 0.5f : 1.0f);
            const float *q = strip->vertices[v].worldPosition;
            EXPECT_NEAR(q[0], (1 - w) * rootX + w * jointX, 1e-4f) << "t " << t << " vertex " << v;
            EXPECT_NEAR(q[1], (1 - w) * rootY + w * jointY, 1e-4f) << "t " << t << " vertex " << v;
            EXPECT_NEAR(q[2], 0.0f, 1e-5f);
        }
    }
    ModelStageRelease(&stage);
    DeleteViewport(viewport);
    DeleteImport(im);
}

TEST_F(Engine, BadFilesFailWithAClearErrorAndLeaveNothing) {
    TempFolder dir;
    struct Case {
        const char *name;
        std::string file;
        const char *contents;  // nullptr: the file is not written
        std::string text;
        const char *expect;
    } cases[] = {
        {"missing", "none.obj", nullptr, "", "cannot open"},
        {"corrupt", "broken.gltf", "", "{\"asset\": {\"version\": \"2.0\"}, \"nodes\": [", "cannot import"},
        {"unknown format", "model.qqq", "", "not a model at all", "cannot import"},
        {"no faces", "points.obj", "", "v 0 0 0\nv 1 0 0\nv 0 1 0\n", "no faces"},
        {"zero area", "flat.obj", "", "v 0 0 0\nv 1 0 0\nv 2 0 0\nf 1 2 3\n", "no triangles"},
        {"index out of range", "range.gltf", "", e3dtest::TwoNodes(7), "cannot import"},
        {"not a number", "nan.gltf", "", e3dtest::SkinnedStrip({0.5f, 0.5f}, 1.0f), "not a finite number"},
    };
    for (const Case &c : cases) {
        e3dtest::LeakCheck leaks;
        const std::string path = c.contents ? dir.Write(c.file, c.text) : dir.Path(c.file);
        std::string error;
        E3DImport *im = Load(path, &error);
        EXPECT_EQ(im, nullptr) << c.name;
        if (im) DeleteImport(im);
        EXPECT_NE(error.find(c.expect), std::string::npos) << c.name << ": " << error;
        leaks.Check();
    }
}

// The load's engine objects, to compare a load that survived a failed
// allocation with.
std::vector<int> Shape(const E3DImport *im) {
    std::vector<int> s;
    for (int k = E3D_IMPORT_MESHES; k <= E3D_IMPORT_SKELETONS; ++k) s.push_back(GetImportCount(im, k));
    for (int i = 0; i < GetImportCount(im, E3D_IMPORT_MESHES); ++i) {
        s.push_back(Mesh(im, i)->polygonCount);
        s.push_back(Mesh(im, i)->normalCount);
        s.push_back(Mesh(im, i)->boundingBox != nullptr);
    }
    return s;
}

// Every engine allocation of a load failing in turn: NULL and nothing left,
// or, where the engine survives the failure (the sort's scratch array when
// the order needs no sorting), the whole model.
TEST_F(Engine, FailedAllocationsLeaveNothingAllocated) {
    TempFolder dir;
    std::vector<uint32_t> texels(16, 0xFF204060u);
    texels[5] = 0;
    dir.Write("t.tga", e3dtest::Tga(4, 4, texels));
    dir.Write("q.mtl", e3dtest::Mtl("t.tga"));
    const std::string files[] = {dir.Write("q.obj", e3dtest::QuadObj("q.mtl")),
                                 dir.Write("two.gltf", e3dtest::TwoNodes()),
                                 dir.Write("strip.gltf", e3dtest::SkinnedStrip())};
    for (const std::string &f : files) {
        E3DImport *whole = Load(f);
        ASSERT_NE(whole, nullptr);
        const std::vector<int> shape = Shape(whole);
        DeleteImport(whole);
        int survived = 0;
        const int points = e3dtest::ForEachAllocationFailure<E3DImport>(
            [&] {
                E3DImport *im = Load(f);
                if (im && HostMemoryPendingFailure() == 0) {
                    ++survived;
                    EXPECT_EQ(Shape(im), shape) << f;
                }
                return im;
            },
            DeleteImport, false);
        EXPECT_GT(points, 5) << f;
        EXPECT_LT(survived, points) << f;
    }
    // Filling a scene is all or nothing too.
    E3DImport *im = Load(files[2]);
    ASSERT_NE(im, nullptr);
    const int points = e3dtest::ForEachAllocationFailure<E3DScene>(
        [&]() -> E3DScene * {
            E3DScene *scene = CreateScene();
            if (scene && !FillSceneFromImport(im, scene)) {
                EXPECT_EQ(GetSceneNumberOfMeshes(scene), 0);
                EXPECT_EQ(IsMeshAssigned(Mesh(im, 0)), 0);
                DeleteScene(scene);
                return nullptr;
            }
            // Filled in spite of a failure (the sort's scratch array): whole.
            if (scene) {
                EXPECT_EQ(scene->skeletons.count + GetSceneNumberOfMeshes(scene), 2);
            }
            return scene;
        },
        DeleteScene, false);
    EXPECT_GT(points, 1);
    DeleteImport(im);
}

// The textured quad and the bent strip framed, both passes, against
// hashes recorded from pictures that were looked at.
TEST_F(Engine, FramedRendersMatchTheRecordedHashes) {
    TempFolder dir;
    std::vector<uint32_t> texels(64);
    for (int i = 0; i < 64; ++i) texels[size_t(i)] = ((i / 8 + i) & 1) ? 0xFFF0C020u : (i == 9 ? 0 : 0xFF2040A0u);
    dir.Write("t.tga", e3dtest::Tga(8, 8, texels));
    dir.Write("q.mtl", e3dtest::Mtl("t.tga"));
    struct Case {
        std::string path;
        float time;
        uint64_t depth, painter;
    } cases[] = {
        {dir.Write("q.obj", e3dtest::QuadObj("q.mtl")), -1.0f, 0xecf9790ae099e5b4ull, 0xecf9790ae099e5b4ull},
        {dir.Write("strip.gltf", e3dtest::SkinnedStrip()), 0.5f, 0xe2dd7ab5dc38466full, 0xe2dd7ab5dc38466full},
    };
    const int w = 160, h = 120;
    for (const Case &c : cases) {
        E3DImport *im = Load(c.path);
        ASSERT_NE(im, nullptr);
        std::vector<uint16_t> pixels(size_t(w * h));
        E3DTexture surface{};
        surface.pixels = pixels.data();
        surface.pitch = 2 * w;
        E3DViewport *viewport = CreateViewport(&surface, w, h, E3D_DEPTH_ON, 0);
        SetViewportType(viewport, E3D_VIEWPORT_TYPE1 | E3D_VIEWPORT_ENABLED);
        ModelStage stage;
        ASSERT_EQ(ModelStageBuild(&stage, im, viewport), 1);
        if (c.time >= 0.0f) SetImportAnimationTime(im, 0, c.time);
        uint64_t got[2];
        for (int pass = 0; pass < 2; ++pass) {
            SetViewportDepthState(viewport, pass == 0 ? E3D_DEPTH_ON : E3D_DEPTH_OFF);
            ModelStageDraw(&stage, pixels.data(), w, h, w);
            int drawn = 0;
            for (uint16_t p : pixels) drawn += p != MODEL_STAGE_BACKGROUND;
            EXPECT_GT(drawn, w * h / 20) << c.path;
            got[pass] = Fnv1a(pixels.data(), pixels.size() * 2);
        }
        EXPECT_EQ(got[0], c.depth) << c.path << std::hex << " 0x" << got[0];
        EXPECT_EQ(got[1], c.painter) << c.path << std::hex << " 0x" << got[1];
        ModelStageRelease(&stage);
        DeleteViewport(viewport);
        DeleteImport(im);
    }
}

}  // namespace
