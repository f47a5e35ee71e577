// Lighting in the mesh's own space: ambient, diffuse and specular terms per
// light type, per face (flat) or per corner (Gouraud).
#include "shading/lighting.h"

#include <cmath>
#include <cstring>

#include "core/fast_math.h"
#include "core/float_math.h"
#include "core/modes.h"
#include "scene/mesh.h"
#include "shading/skinning.h"
#include "shading/vertex_stages.h"

namespace e3d {

namespace {

inline float Dot(const float *a, const float *b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

inline void AddDiffuse(const E3DLight &l, float k, LightSums &s) {
    s.r += k * l.color[0];
    s.g += k * l.color[1];
    s.b += k * l.color[2];
}

// The back side is the front side with the normal (and plane) turned.
template <bool Back, bool Face>
struct Normal {
    float n[4];
    explicit Normal(const float *src) {
        for (int i = 0; i < (Face ? 4 : 3); ++i) n[i] = Back ? -src[i] : src[i];
    }
};

template <bool Back, bool Face>
void Omni(const E3DLight &l, const float *normal, LightSums &s) {
    const Normal<Back, Face> nn(normal);
    const float *n = nn.n;
    const float d[3] = {s.point[0] - l.meshPosition[0], s.point[1] - l.meshPosition[1], s.point[2] - l.meshPosition[2]};
    const float dn = Dot(d, n);
    if (dn < 0.0f) return;
    AddDiffuse(l, dn * FastRSqrt(Dot(d, d)) * l.intensity, s);
    if (!s.specularOn) return;
    // The view and light vectors are summed unnormalised.
    const float h[3] = {s.point[0] - s.eye[0] + d[0], s.point[1] - s.eye[1] + d[1], s.point[2] - s.eye[2] + d[2]};
    const float t = Dot(h, n);
    if (t >= 0.0f) s.specular += Pow(t * FastRSqrt(Dot(h, h)), s.shininess);
}

template <bool Back, bool Face>
void OmniAttenuated(const E3DLight &l, const float *normal, LightSums &s) {
    const Normal<Back, Face> nn(normal);
    const float *n = nn.n;
    const float d[3] = {s.point[0] - l.meshPosition[0], s.point[1] - l.meshPosition[1], s.point[2] - l.meshPosition[2]};
    const float dn = Dot(d, n);
    if (dn < 0.0f) return;
    const float dist = std::sqrt(Dot(d, d));
    const float nearD = l.attenuation[0], farD = l.attenuation[1];
    if (dist >= farD) return;
    float a = 1.0f;
    if (!(dist <= nearD)) {
        const float u = (farD - dist) / (farD - nearD);
        a = u * u * (3.0f - 2.0f * u);
    }
    AddDiffuse(l, (dn / dist) * l.intensity * a, s);
    if (!s.specularOn) return;
    const float h[3] = {s.point[0] - s.eye[0] + d[0], s.point[1] - s.eye[1] + d[1], s.point[2] - s.eye[2] + d[2]};
    const float t = Dot(h, n);
    if (t >= 0.0f) s.specular += Pow(t * FastRSqrt(Dot(h, h)), s.shininess) * a;
}

template <bool Back, bool Face, bool HalfSpace>
void Directional(const E3DLight &l, const float *normal, LightSums &s) {
    const Normal<Back, Face> nn(normal);
    const float *n = nn.n;
    // Half-space limit (faces): only points on the light's side of the plane.
    if constexpr (HalfSpace && Face) {
        if (Dot(l.meshPosition, n) + n[3] >= 0.0f) return;
    }
    const float *dir = l.meshDirection;
    const float dn = Dot(dir, n);
    if (dn < 0.0f) return;
    AddDiffuse(l, dn * l.intensity, s);
    if (!s.specularOn) return;
    float v[3] = {s.point[0] - s.eye[0], s.point[1] - s.eye[1], s.point[2] - s.eye[2]};
    const float k = FastRSqrt(Dot(v, v));
    v[0] *= k, v[1] *= k, v[2] *= k;
    const float h[3] = {v[0] + dir[0], v[1] + dir[1], v[2] + dir[2]};
    const float t = Dot(h, n);
    if (t >= 0.0f) s.specular += Pow(t * FastRSqrt(Dot(h, h)), s.shininess);
}

void NoLight(const E3DLight &, const float *, LightSums &) {}

template <bool Back, bool Face>
constexpr std::array<LightRoutine, 32> MakeTable() {
    std::array<LightRoutine, 32> t{};
    for (auto &r : t) r = NoLight;
    t[2] = t[18] = Omni<Back, Face>;
    t[3] = t[19] = OmniAttenuated<Back, Face>;
    t[4] = t[5] = Directional<Back, Face, false>;
    t[20] = t[21] = Directional<Back, Face, true>;
    return t;
}


}  // namespace

const std::array<LightRoutine, 32> kFaceFrontLights = MakeTable<false, true>();
const std::array<LightRoutine, 32> kFaceBackLights = MakeTable<true, true>();
const std::array<LightRoutine, 32> kCornerFrontLights = MakeTable<false, false>();
const std::array<LightRoutine, 32> kCornerBackLights = MakeTable<true, false>();

namespace {

// A world point carried into mesh space by the inverse world matrix.
void ToMeshSpace(const E3DMesh *mesh, const float *world, float *out) {
    const float *w = mesh->worldMatrix;
    const float dx = world[0] - mesh->pivot[0] - w[3];
    const float dy = world[1] - mesh->pivot[1] - w[7];
    const float dz = world[2] - mesh->pivot[2] - w[11];
    out[0] = w[0] * dx + w[4] * dy + w[8] * dz;
    out[1] = w[1] * dx + w[5] * dy + w[9] * dz;
    out[2] = w[2] * dx + w[6] * dy + w[10] * dz;
}

void StartSums(LightSums &s, const E3DMaterial *m, const float *point) {
    s.r = s.g = s.b = s.specular = 0.0f;
    s.point[0] = point[0], s.point[1] = point[1], s.point[2] = point[2];
    s.eye[0] = g_projection.eye[0], s.eye[1] = g_projection.eye[1], s.eye[2] = g_projection.eye[2];
    s.shininess = m->shininess;
    s.specularOn = (m->mode & e3d::kSpecularOn) != 0;
}

void RunLights(const E3DMesh *mesh, const LightRoutine *table, const float *normal, LightSums &s) {
    for (int i = 0; i < 64 && mesh->lights[i]; ++i) {
        const E3DLight &l = *mesh->lights[i];
        if (l.flags & e3d::kLightOn) table[l.flags & 31u](l, normal, s);
    }
}

// World: a bone-deformed mesh, lit at its first vertex's world position.
template <bool World = false>
void FaceLighting(E3DMesh *mesh, E3DPolygon *p, uint32_t mode, const E3DMaterial *m) {
    LightSums s;
    const E3DVertex &first = mesh->vertices[p->vertex[0]];
    StartSums(s, m, World ? first.worldPosition : first.position);
    const float plane[4] = {p->normal[0], p->normal[1], p->normal[2], p->planeD};
    RunLights(mesh, (p->flags & e3d::kPolygonBackShowing) ? kFaceBackLights.data() : kFaceFrontLights.data(), plane, s);
    p->color = ComposeColor(s, m, mode);
}

void VertexLighting(E3DMesh *mesh, E3DPolygon *p, uint32_t mode, const E3DMaterial *m) {
    const LightRoutine *table = (p->flags & e3d::kPolygonBackShowing) ? kCornerBackLights.data() : kCornerFrontLights.data();
    uint32_t *out[3] = {&p->color, &p->color1, &p->color2};
    for (int j = 0; j < 3; ++j) {
        LightSums s;
        StartSums(s, m, mesh->vertices[p->vertex[j]].position);
        static const float kNoNormal[3] = {0.0f, 0.0f, 0.0f};
        const float *n = mesh->vertexNormals && p->normalIndex[j] >= 0 && p->normalIndex[j] < mesh->normalCount
                             ? mesh->vertexNormals + 3 * p->normalIndex[j]
                             : kNoNormal;
        RunLights(mesh, table, n, s);
        *out[j] = ComposeColor(s, m, mode);
    }
}

// Gouraud lighting of a bone-deformed mesh: as VertexLighting, at the world
// positions and with each corner normal blended like its vertex.
void SkinnedVertexLighting(E3DMesh *mesh, E3DPolygon *p, uint32_t mode, const E3DMaterial *m) {
    const LightRoutine *table = (p->flags & e3d::kPolygonBackShowing) ? kCornerBackLights.data() : kCornerFrontLights.data();
    uint32_t *out[3] = {&p->color, &p->color1, &p->color2};
    for (int j = 0; j < 3; ++j) {
        LightSums s;
        StartSums(s, m, mesh->vertices[p->vertex[j]].worldPosition);
        float n[3] = {0.0f, 0.0f, 0.0f};
        if (mesh->vertexNormals && p->normalIndex[j] >= 0 && p->normalIndex[j] < mesh->normalCount)
            SkinNormal(mesh, p->vertex[j], mesh->vertexNormals + 3 * p->normalIndex[j], n);
        RunLights(mesh, table, n, s);
        *out[j] = ComposeColor(s, m, mode);
    }
}

// World-space lights for bone-deformed meshes: positions as they are,
// directions toward the aimed-at point.
void SetUpWorldLights(E3DMesh *mesh) {
    if (!mesh->lights) return;
    for (int i = 0; i < 64 && mesh->lights[i]; ++i) {
        E3DLight &l = *mesh->lights[i];
        if (!(l.flags & e3d::kLightOn)) continue;
        switch (l.flags & 31u) {
            case 2: case 3: case 19:
                std::memcpy(l.meshPosition, l.workPosition, sizeof l.meshPosition);
                break;
            case 4: case 20: {
                std::memcpy(l.meshPosition, l.workPosition, sizeof l.meshPosition);
                const float d[3] = {l.workDirection[0] - l.workPosition[0], l.workDirection[1] - l.workPosition[1],
                                    l.workDirection[2] - l.workPosition[2]};
                const float k = FastRSqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
                l.meshDirection[0] = d[0] * k, l.meshDirection[1] = d[1] * k, l.meshDirection[2] = d[2] * k;
                break;
            }
            default:
                break;  // 5, 18 and 21 keep what they last received
        }
    }
}

// A lit mesh without lights: a headlight from the eye, k = +-eye.n / |eye|.
void LightlessColor(E3DPolygon *p, float k, uint32_t mode, const E3DMaterial *m) {
    if ((mode & 7u) == 1u) {
        p->color = UnlitColor(m, mode);
        return;
    }
    if (!(k > 0.0f)) {  // also not a number
        p->color = 0;
        return;
    }
    const float *c0 = MaterialColor(m, 0), *c1 = MaterialColor(m, 1), *c2 = MaterialColor(m, 2);
    const uint32_t field = mode & e3d::kLayerPresentMask;
    float v[3];
    for (int x = 0; x < 3; ++x) {
        v[x] = (field == 0 || field == E3D_TEXTURE_LAYER2) ? k * c1[x] + c2[x] + c0[x] : (c2[x] + c0[x]) + k * 255.0f;
    }
    p->color = PackColor(v[0], v[1], v[2]);
}

}  // namespace


uint32_t ComposeColor(const LightSums &s, const E3DMaterial *m, uint32_t mode) {
    const float *c0 = MaterialColor(m, 0), *c1 = MaterialColor(m, 1);
    const float *c2 = MaterialColor(m, 2), *c3 = MaterialColor(m, 3);
    const uint32_t field = mode & e3d::kLayerPresentMask;
    const bool colourModulated = field == 0 || field == E3D_TEXTURE_LAYER2;
    const float sums[3] = {s.r, s.g, s.b};
    const float specular = s.specular * m->specularLevel;
    float v[3];
    for (int x = 0; x < 3; ++x) {
        // Textured modes modulate 255: the light scales the texture.
        const float base = colourModulated ? sums[x] * c1[x] : sums[x] * 255.0f;
        v[x] = s.specularOn ? specular * c3[x] + base + c2[x] + c0[x] : base + c2[x] + c0[x];
    }
    return PackColor(v[0], v[1], v[2]);
}

void SetUpLights(E3DMesh *mesh) {
    if (!mesh->lights) return;
    for (int i = 0; i < 64 && mesh->lights[i]; ++i) {
        E3DLight &l = *mesh->lights[i];
        if (!(l.flags & e3d::kLightOn)) continue;
        switch (l.flags & 31u) {
            case 2: case 3: case 19:
                ToMeshSpace(mesh, l.workPosition, l.meshPosition);
                break;
            case 4: case 20: {
                // The direction field holds the point the light aims at.
                float target[3];
                ToMeshSpace(mesh, l.workPosition, l.meshPosition);
                ToMeshSpace(mesh, l.workDirection, target);
                float d[3] = {target[0] - l.meshPosition[0], target[1] - l.meshPosition[1], target[2] - l.meshPosition[2]};
                const float k = FastRSqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
                l.meshDirection[0] = d[0] * k, l.meshDirection[1] = d[1] * k, l.meshDirection[2] = d[2] * k;
                break;
            }
            default:
                break;  // 5, 18 and 21 keep what they last received
        }
    }
}

LightingHooks g_lighting = {SetUpLights, FaceLighting<false>, VertexLighting, LightlessColor};
LightingHooks g_skinLighting = {SetUpWorldLights, FaceLighting<true>, SkinnedVertexLighting, LightlessColor};

}  // namespace e3d
