// Lighting: every light routine against a double-precision model, the
// compose rule and the lightless headlight.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "core/engine_state.h"
#include "shading/lighting.h"
#include "shading/vertex_stages.h"

using namespace e3d;

static double Dot(const double *a, const double *b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

TEST(Lighting, EveryRoutineMatchesTheModel) {
    BuildRootTables();
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> u(-1.0, 1.0), pos(-8.0, 8.0), unit(0.05, 1.0);
    int lit = 0, specular = 0;
    for (int trial = 0; trial < 6000; ++trial) {
        const uint32_t code = uint32_t(trial % 32), back = (trial / 32) & 1, face = (trial / 64) & 1;
        double n[4] = {u(rng), u(rng), u(rng), pos(rng)}, dir[3] = {u(rng), u(rng), u(rng)};
        const double ln = std::sqrt(Dot(n, n)), ld = std::sqrt(Dot(dir, dir));
        for (int a = 0; a < 3; ++a) n[a] /= ln, dir[a] /= ld;
        const double P[3] = {pos(rng), pos(rng), pos(rng)}, E[3] = {pos(rng), pos(rng), pos(rng)};
        const double L[3] = {pos(rng), pos(rng), pos(rng)}, c[3] = {unit(rng), unit(rng), unit(rng)};
        const double I = unit(rng) * 2, nearR = unit(rng) * 6, farR = nearR + unit(rng) * 14, shine = 1 + 7 * unit(rng);
        const bool specOn = (trial / 128) % 3 != 0;
        E3DLight l{};
        LightSums s{};
        l.flags = 0x80000000u | code, l.intensity = float(I), l.attenuation[0] = float(nearR), l.attenuation[1] = float(farR);
        for (int a = 0; a < 3; ++a) l.meshPosition[a] = float(L[a]), l.meshDirection[a] = float(dir[a]), l.color[a] = float(c[a]);
        for (int a = 0; a < 3; ++a) s.point[a] = float(P[a]), s.eye[a] = float(E[a]);
        s.shininess = float(shine), s.specularOn = specOn;
        const float normal[4] = {float(n[0]), float(n[1]), float(n[2]), float(n[3])};
        const auto &table = face ? (back ? kFaceBackLights : kFaceFrontLights) : (back ? kCornerBackLights : kCornerFrontLights);
        table[code](l, normal, s);

        // The model: the back side turns normal and plane.
        double m[4];
        for (int a = 0; a < 4; ++a) m[a] = back ? -n[a] : n[a];
        const double d[3] = {P[0] - L[0], P[1] - L[1], P[2] - L[2]}, dist = std::sqrt(Dot(d, d));
        const uint32_t kind = code & ~16u;  // 2 and 18 omni, 3 and 19 attenuated, 4, 5, 20 and 21 directional
        double k = 0.0, highlight = 0.0, doubt = 1.0;  // doubt: nearness to a threshold
        if (kind == 2 || kind == 3) {
            const double t = (farR - dist) / (farR - nearR);  // smoothstep between near and far
            const double att = kind == 2 ? 1.0 : dist >= farR ? 0.0 : dist <= nearR ? 1.0 : t * t * (3 - 2 * t);
            if (kind == 3) doubt = std::min(std::fabs(dist - farR), std::fabs(dist - nearR));
            const double dn = Dot(d, m), h[3] = {P[0] - E[0] + d[0], P[1] - E[1] + d[1], P[2] - E[2] + d[2]};
            const double th = Dot(h, m) / std::sqrt(Dot(h, h));
            doubt = std::min({doubt, std::fabs(dn / dist), std::fabs(th)});
            if (dn >= 0 && att > 0) {
                k = dn / dist * I * att;
                if (specOn && th >= 0) highlight = std::pow(th, shine) * att;
            }
        }
        if (kind == 4 || kind == 5) {
            const double side = Dot(L, m) + m[3];
            const bool half = face && code >= 20;
            if (half) doubt = std::fabs(side);
            const double dn = Dot(dir, m), v[3] = {P[0] - E[0], P[1] - E[1], P[2] - E[2]}, lv = std::sqrt(Dot(v, v));
            const double h[3] = {v[0] / lv + dir[0], v[1] / lv + dir[1], v[2] / lv + dir[2]};
            const double th = Dot(h, m) / std::sqrt(Dot(h, h));
            doubt = std::min({doubt, std::fabs(dn), std::fabs(th)});
            if (dn >= 0 && !(half && side >= 0)) {
                k = dn * I;
                if (specOn && th >= 0) highlight = std::pow(th, shine);
            }
        }
        if (doubt < 0.02) continue;
        for (int a = 0; a < 3; ++a) ASSERT_NEAR((&s.r)[a], k * c[a], 3e-3 * (1 + k)) << "trial " << trial << " code " << code;
        ASSERT_NEAR(s.specular, highlight, 2e-2 * (1 + highlight)) << "trial " << trial << " code " << code;
        lit += k > 0.01, specular += highlight > 0.01;
    }
    EXPECT_TRUE(lit > 400 && specular > 200) << lit << " " << specular;
}

TEST(Lighting, ComposeAndTheLightlessHeadlight) {
    E3DMaterial m{};  // ambient, diffuse, emissive and specular colours
    SetMaterialColor(&m, 0, 10, 20, 30), SetMaterialColor(&m, 1, 100, 60, 40);
    SetMaterialColor(&m, 2, 5, 6, 7), SetMaterialColor(&m, 3, 200, 100, 50);
    LightSums s{};
    s.r = 1.0f, s.g = 0.5f, s.b = 0.25f;
    EXPECT_EQ(ComposeColor(s, &m, 0x700000), (115u << 16) | (56u << 8) | 47u);  // sum x diffuse + emissive + ambient
    EXPECT_EQ(ComposeColor(s, &m, 0xF00000), 0xFF9964u);  // textured: the light scales 255
    s.specularOn = true, s.specular = 0.5f, m.specularLevel = 0.5f;
    EXPECT_EQ(ComposeColor(s, &m, 0x700000), (165u << 16) | (81u << 8) | 59u);  // S x level x colour 3 added
    s.r = s.g = s.b = s.specular = 0.0f;
    EXPECT_EQ(ComposeColor(s, &m, 0x700000), (15u << 16) | (26u << 8) | 37u);
    const uint32_t high = (s.r = s.g = s.b = 8.0f, ComposeColor(s, &m, 0x700000));
    EXPECT_TRUE(high == 0xFFFFFFu && (s.r = s.g = s.b = -8.0f, ComposeColor(s, &m, 0x700000)) == 0u) << "held to 0 .. 255";
    E3DPolygon p{};
    for (float k : {0.0f, -0.5f, std::nanf("")})
        EXPECT_EQ((g_lighting.lightless(&p, k, 0x700003, &m), p.color), 0u) << "turned away: black";
    EXPECT_EQ((g_lighting.lightless(&p, 0.5f, 0x700003, &m), p.color), (65u << 16) | (56u << 8) | 57u);
    EXPECT_EQ((g_lighting.lightless(&p, 0.5f, 0xF00003, &m), p.color), (142u << 16) | (153u << 8) | 164u);
}
