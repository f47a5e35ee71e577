// Lighting: per-light routines, attenuation, specular rules, compose and the
// lightless colour.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "core/engine_state.h"
#include "engine3d.h"
#include "shading/lighting.h"
#include "shading/vertex_stages.h"
#include "support/stage.h"

using namespace e3d;

namespace {

// A light at `at` (already in mesh space) of the given type code, white.
E3DLight Light(uint32_t code, float x, float y, float z, float intensity = 1.0f) {
    E3DLight l{};
    l.flags = 0x80000000u | code;
    l.meshPosition[0] = x, l.meshPosition[1] = y, l.meshPosition[2] = z;
    l.color[0] = l.color[1] = l.color[2] = 1.0f;
    l.intensity = intensity;
    return l;
}

LightSums Sums(bool specular = false, float shininess = 1.0f) {
    LightSums s{};
    s.specularOn = specular;
    s.shininess = shininess;
    s.eye[2] = -10.0f;
    return s;
}

// Normal +z: the front of a face seen from -z (the light must be on -z too).
const float kNormal[4] = {0, 0, 1, 0};

}  // namespace

class Lighting : public ::testing::Test {
protected:
    void SetUp() override { BuildRootTables(); }
};

TEST_F(Lighting, OnlyLitTypeCodesWithTheOnBitContribute) {
    for (uint32_t code = 0; code < 32; ++code) {
        E3DLight l = Light(code, 0, 0, -5);
        l.meshDirection[2] = 1.0f;
        l.attenuation[1] = 100.0f;
        LightSums s = Sums();
        kFaceFrontLights[code](l, kNormal, s);
        const bool lit = code == 2 || code == 3 || code == 4 || code == 5 || code == 18 || code == 19 ||
                         code == 20 || code == 21;
        EXPECT_EQ(s.r > 0.0f, lit) << "code " << code;
    }
    // The on bit is checked by the caller: a light with bit 31 clear is
    // skipped when the mesh's list is run (covered end to end below).
}

TEST_F(Lighting, AttenuationEdgesAndSmoothstep) {
    // d exactly far: nothing; d exactly near: the full value s / d * I.
    for (float far : {5.0f, 10.0f}) {
        E3DLight l = Light(3, 0, 0, -5);
        l.attenuation[0] = 5.0f;
        l.attenuation[1] = far;
        LightSums s = Sums();
        kFaceFrontLights[3](l, kNormal, s);
        EXPECT_FLOAT_EQ(s.r, far == 5.0f ? 0.0f : 1.0f);
    }
    // u = (far - d) / (far - near): 0.5 gives 0.5, 0.25 gives 0.15625.
    for (auto [d, expected] : {std::pair{15.0f, 0.5f}, std::pair{17.5f, 0.15625f}}) {
        E3DLight l = Light(3, 0, 0, -d);
        l.attenuation[0] = 10.0f;
        l.attenuation[1] = 20.0f;
        LightSums s = Sums();
        kFaceFrontLights[3](l, kNormal, s);
        EXPECT_FLOAT_EQ(s.r, expected);
    }
}

TEST_F(Lighting, SpecularFollowsTheDiffuseAndHighlightTests) {
    // Light behind the face: no diffuse, and no specular either.
    E3DLight behind = Light(2, 0, 0, 5);
    LightSums s = Sums(true);
    kFaceFrontLights[2](behind, kNormal, s);
    EXPECT_EQ(s.r, 0.0f);
    EXPECT_EQ(s.specular, 0.0f);
    // Diffuse passes, highlight fails: the eye far off to the side behind.
    E3DLight side = Light(2, 0, 0, -1);
    s = Sums(true);
    s.eye[0] = 0, s.eye[2] = 50.0f;  // H = (P - E) + D points toward -z
    kFaceFrontLights[2](side, kNormal, s);
    EXPECT_GT(s.r, 0.0f);
    EXPECT_EQ(s.specular, 0.0f);
    // Head-on light and eye: diffuse 1 and a highlight of ~1, unscaled by
    // the light's colour and intensity.
    E3DLight front = Light(2, 0, 0, -4, 0.5f);
    front.color[0] = 0.2f;
    s = Sums(true, 8.0f);
    kFaceFrontLights[2](front, kNormal, s);
    EXPECT_NEAR(s.r, 0.1f, 1e-3f);
    EXPECT_NEAR(s.specular, 1.0f, 1e-2f);
}

TEST_F(Lighting, BackSideTurnsTheNormal) {
    E3DLight l = Light(2, 0, 0, 5);  // behind the front, in front of the back
    LightSums front = Sums(), back = Sums();
    kFaceFrontLights[2](l, kNormal, front);
    kFaceBackLights[2](l, kNormal, back);
    EXPECT_EQ(front.r, 0.0f);
    EXPECT_NEAR(back.r, 1.0f, 2e-3f);
    // Half-space directional: nothing when the light is on the plane's far side.
    E3DLight d = Light(20, 0, 0, 5);
    d.meshDirection[2] = 1.0f;
    LightSums h = Sums();
    kFaceFrontLights[20](d, kNormal, h);
    EXPECT_EQ(h.r, 0.0f);
    d.meshPosition[2] = -5.0f;
    kFaceFrontLights[20](d, kNormal, h);
    EXPECT_FLOAT_EQ(h.r, 1.0f);
}

TEST_F(Lighting, ComposeRules) {
    E3DMaterial m{};
    SetMaterialColor(&m, 0, 10, 20, 30);    // ambient
    SetMaterialColor(&m, 1, 100, 100, 100); // diffuse
    SetMaterialColor(&m, 2, 5, 5, 5);       // emissive
    SetMaterialColor(&m, 3, 200, 0, 0);     // specular
    LightSums s{};
    s.r = s.g = s.b = 1.0f;
    // Untextured: sum x diffuse + emissive + ambient.
    EXPECT_EQ(ComposeColor(s, &m, 0x700000), (115u << 16) | (125u << 8) | 135u);
    // Textured head-on white light: 255 + emissive + ambient, clamped.
    EXPECT_EQ(ComposeColor(s, &m, 0xF00000), 0xFFFFFFu);
    // Lights all behind: ambient plus emissive.
    s.r = s.g = s.b = 0.0f;
    EXPECT_EQ(ComposeColor(s, &m, 0x700000), (15u << 16) | (25u << 8) | 35u);
    // Specular: S x level x colour 3 added first.
    s.specularOn = true;
    s.specular = 0.5f;
    m.specularLevel = 1.0f;
    EXPECT_EQ(ComposeColor(s, &m, 0x700000) >> 16, 115u);
}

TEST_F(Lighting, LitMeshEndToEnd) {
    // A square facing the camera, flat-lit by a white omni light at the eye:
    // every pixel gets ambient + diffuse x cos, computed here by hand.
    e3dtest::Stage stage;
    E3DScene *scene = stage.scene;
    E3DViewport *v = stage.viewport;
    E3DMesh *m = CreateMesh(4, 2, 0);
    SetMeshVertex(m, 0, -1, 1, 10);
    SetMeshVertex(m, 1, 1, 1, 10);
    SetMeshVertex(m, 2, 1, -1, 10);
    SetMeshVertex(m, 3, -1, -1, 10);
    SetMeshQuadPolygon(m, 0, 0, 1, 2, 3, 0, 0);
    m = ValidateMesh(m);
    E3DMaterial *mat = GetMeshDefaultMaterial(m);
    SetMaterialColor(mat, 0, 16, 16, 16);
    SetMaterialColor(mat, 1, 200, 100, 0);
    SetMeshShadeMode(&m->node, 3);
    const float at[3] = {0, 0, 0}, white[4] = {1, 1, 1, 0};
    E3DLight *l = CreateOmniLight(at, white, 1.0f, 0, 0, 0);
    AssignMeshToScene(scene, m, 0);
    AssignLightToScene(scene, l, 1);
    DrawScene(scene);
    EXPECT_EQ(stage.At(32, 24), (2 << 10) | (2 << 5) | 2) << "a light that is off adds nothing to ambient";
    SetLightStatus(l, 1, 0);
    ClearViewportDepthBuffer(v, 0);  // the same depths would fail the strict test
    DrawScene(scene);
    // Face lit at its first stored vertex, (-1, -1, 10): cos = 10 / sqrt(102)
    // within the table root's precision.
    const double cosine = 10.0 / std::sqrt(102.0);
    const uint32_t r = uint32_t(16 + 200 * cosine), g = uint32_t(16 + 100 * cosine), b = 16;
    const uint16_t expected = uint16_t((r >> 3) << 10 | (g >> 3) << 5 | (b >> 3));
    EXPECT_EQ(stage.At(32, 24), expected);
}

TEST_F(Lighting, LightlessFacesTakeAHeadlight) {
    E3DMaterial m{};
    SetMaterialColor(&m, 1, 100, 100, 100);
    E3DPolygon p{};
    g_lighting.lightless(&p, 0.0f, 0x700003, &m);
    EXPECT_EQ(p.color, 0u) << "perpendicular: black";
    g_lighting.lightless(&p, std::nanf(""), 0x700003, &m);
    EXPECT_EQ(p.color, 0u);
    g_lighting.lightless(&p, 0.5f, 0x700003, &m);
    EXPECT_EQ(p.color, (50u << 16) | (50u << 8) | 50u);
}

TEST_F(Lighting, LitOctahedronFacesMatchHandComputedColours) {
    // A flat-lit octahedron seen from -z with a white omni light at the eye.
    // Each front face is lit at its first stored corner: value = 240 * s / |D|
    // with D = corner - light and s = D . n, worked out here in double.
    e3dtest::Stage stage(true, true, -10.0f);
    E3DScene *scene = stage.scene;
    const float eye[3] = {0, 0, -10};
    const double r = 2.0;
    const double pos[6][3] = {{0, r, 0}, {0, -r, 0}, {r, 0, 0}, {-r, 0, 0}, {0, 0, r}, {0, 0, -r}};
    // Faces (a, b, c) clockwise seen from outside: top/bottom x (+-x, +-z).
    const int faces[8][3] = {{0, 2, 5}, {0, 5, 3}, {0, 3, 4}, {0, 4, 2}, {1, 5, 2}, {1, 3, 5}, {1, 4, 3}, {1, 2, 4}};
    E3DMesh *m = CreateMesh(6, 8, 0);
    for (int i = 0; i < 6; ++i) SetMeshVertex(m, i, float(pos[i][0]), float(pos[i][1]), float(pos[i][2]));
    for (int f = 0; f < 8; ++f) SetMeshTriPolygon(m, f, faces[f][0], faces[f][1], faces[f][2], 0, f);
    m = ValidateMesh(m);
    E3DMaterial *mat = GetMeshDefaultMaterial(m);
    SetMaterialColor(mat, 0, 0, 0, 0);
    SetMaterialColor(mat, 1, 240, 240, 240);
    SetMeshShadeMode(&m->node, 3);
    const float white[4] = {1, 1, 1, 0};
    E3DLight *l = CreateOmniLight(eye, white, 1.0f, 0, 0, 0);
    SetLightStatus(l, 1, 0);
    AssignMeshToScene(scene, m, 0);
    AssignLightToScene(scene, l, 1);
    DrawScene(scene);
    const double focal = 32.0 / std::tan(30.0 * 3.14159265358979 / 180.0);
    int checked = 0;
    for (int f = 0; f < 8; ++f) {
        const double *a = pos[faces[f][0]], *b = pos[faces[f][1]], *cc = pos[faces[f][2]];
        // Stored corners are (c, b, a); the normal is (P1 - P0) x (P2 - P1).
        const double e1[3] = {b[0] - cc[0], b[1] - cc[1], b[2] - cc[2]};
        const double e2[3] = {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
        double n[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2], e1[0] * e2[1] - e1[1] * e2[0]};
        const double len = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
        for (double &x : n) x /= len;
        const double centroid[3] = {(a[0] + b[0] + cc[0]) / 3, (a[1] + b[1] + cc[1]) / 3, (a[2] + b[2] + cc[2]) / 3};
        const double facing = (0 - centroid[0]) * 0 + n[0] * eye[0] + n[1] * eye[1] + n[2] * eye[2] -
                              (n[0] * centroid[0] + n[1] * centroid[1] + n[2] * centroid[2]);
        if (facing >= 0) continue;  // a back face: culled
        const double d[3] = {cc[0] - eye[0], cc[1] - eye[1], cc[2] - eye[2]};
        const double s = d[0] * n[0] + d[1] * n[1] + d[2] * n[2];
        const int value = int(240.0 * s / std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]));
        const double depth = centroid[2] - eye[2];
        const int px = int(std::floor(32.0 + centroid[0] * focal / depth));
        const int py = int(std::floor(24.0 - centroid[1] * focal / depth));
        const uint16_t got = stage.At(px, py);
        for (int shift : {10, 5, 0}) EXPECT_NEAR((got >> shift) & 31, value >> 3, 1) << "face " << f;
        ++checked;
    }
    EXPECT_EQ(checked, 4);
}
