// The generators whose shapes are the engine's own design: chamfered cube,
// hemisphere, geodesic sphere, cylinder, tube and billboard. Faces are laid
// so that every normal points into the solid (the front of a face is seen
// from outside), by ordering each face against a point inside.
#include <cmath>
#include <cstring>
#include <initializer_list>

#include "e3dhost.h"
#include "primitives/generator.h"

using namespace e3d;

namespace {

inline float CosDegrees(float degrees) { return e3d::Cos(degrees * kGeneratorDegrees); }
inline float SinDegrees(float degrees) { return e3d::Sin(degrees * kGeneratorDegrees); }

const float *Position(const E3DMesh *m, int32_t i) { return m->vertices[i].position; }

// Sign of the engine's face normal ((P1 - P0) x (P2 - P1) of the stored
// corners) against the direction from `inside` to the face.
bool FacesInward(const E3DMesh *m, int32_t s0, int32_t s1, int32_t s2, const float *inside) {
    const float *p0 = Position(m, s0), *p1 = Position(m, s1), *p2 = Position(m, s2);
    const float e1[3] = {p1[0] - p0[0], p1[1] - p0[1], p1[2] - p0[2]};
    const float e2[3] = {p2[0] - p1[0], p2[1] - p1[1], p2[2] - p1[2]};
    const float n[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2], e1[0] * e2[1] - e1[1] * e2[0]};
    float c[3];
    for (int a = 0; a < 3; ++a) c[a] = (p0[a] + p1[a] + p2[a]) / 3.0f - inside[a];
    return n[0] * c[0] + n[1] * c[1] + n[2] * c[2] < 0.0f;
}

// Triangle (a, b, c) in whichever turn makes its normal point inward.
void Tri(E3DMesh *m, int32_t index, int32_t a, int32_t b, int32_t c, const float *inside, uint32_t colour, int group) {
    if (FacesInward(m, c, b, a, inside)) SetMeshTriPolygon(m, index, a, b, c, int32_t(colour), group);
    else SetMeshTriPolygon(m, index, c, b, a, int32_t(colour), group);
}

// Quad a-b-c-d (a loop), likewise; fills slots index and index + 1.
void Quad(E3DMesh *m, int32_t index, int32_t a, int32_t b, int32_t c, int32_t d, const float *inside, uint32_t colour,
          int group, bool texture = true) {
    if (FacesInward(m, d, b, a, inside)) {
        SetMeshQuadPolygon(m, index, a, b, c, d, int32_t(colour), group);
    } else {
        SetMeshQuadPolygon(m, index, d, c, b, a, int32_t(colour), group);
    }
    if (texture) SetMeshQuadTexCoords(m, index, 0, 0, 1, 0, 1, 1, 0, 1);
}

const float kOrigin[3] = {0, 0, 0};

// ---- chamfered cube --------------------------------------------------------

struct ChCubeArgs {
    float size, chamfer;
};

// Vertex of face (axis, sign) at the inset corner (su, sv) of its two other axes.
int32_t FaceVertex(int axis, int sign, int su, int sv) { return (axis * 2 + (sign > 0)) * 4 + (su > 0) * 2 + (sv > 0); }

bool BuildChCube(E3DMesh *m, const void *args, uint32_t colour) {
    const ChCubeArgs &a = *static_cast<const ChCubeArgs *>(args);
    const float *s = g_generatorScale;
    const float h = a.size * 0.5f, inset = h - a.chamfer;
    for (int axis = 0; axis < 3; ++axis)
        for (int sign = -1; sign <= 1; sign += 2)
            for (int su = -1; su <= 1; su += 2)
                for (int sv = -1; sv <= 1; sv += 2) {
                    float p[3];
                    const int u = (axis + 1) % 3, v = (axis + 2) % 3;
                    p[axis] = float(sign) * h;
                    p[u] = float(su) * inset;
                    p[v] = float(sv) * inset;
                    SetMeshVertex(m, FaceVertex(axis, sign, su, sv), p[0] * s[0], p[1] * s[1], p[2] * s[2]);
                }
    int32_t poly = 0;
    // Six faces, each its own smoothing group.
    for (int axis = 0; axis < 3; ++axis)
        for (int sign = -1; sign <= 1; sign += 2, poly += 2)
            Quad(m, poly, FaceVertex(axis, sign, -1, -1), FaceVertex(axis, sign, 1, -1), FaceVertex(axis, sign, 1, 1),
                 FaceVertex(axis, sign, -1, 1), kOrigin, colour, axis * 2 + (sign > 0));
    // Twelve chamfer strips between neighbouring faces, in group 6.
    for (int axis = 0; axis < 3; ++axis) {
        const int other = (axis + 1) % 3;  // the strip joins faces of axis and other
        const int third = (axis + 2) % 3;
        for (int sa = -1; sa <= 1; sa += 2)
            for (int so = -1; so <= 1; so += 2, poly += 2) {
                // On face (axis, sa): coordinate `other` = so, `third` = +-1.
                // FaceVertex(axis, ...) takes (u, v) = (axis + 1, axis + 2) = (other, third).
                const int32_t a0 = FaceVertex(axis, sa, so, -1), a1 = FaceVertex(axis, sa, so, 1);
                // On face (other, so): its u is axis + 2 = third, its v is axis.
                const int32_t b0 = FaceVertex(other, so, -1, sa), b1 = FaceVertex(other, so, 1, sa);
                (void)third;
                Quad(m, poly, a0, a1, b1, b0, kOrigin, colour, 6);
            }
    }
    // Eight corner triangles, in group 7.
    for (int sx = -1; sx <= 1; sx += 2)
        for (int sy = -1; sy <= 1; sy += 2)
            for (int sz = -1; sz <= 1; sz += 2) {
                const int sign[3] = {sx, sy, sz};
                int32_t v[3];
                for (int axis = 0; axis < 3; ++axis) v[axis] = FaceVertex(axis, sign[axis], sign[(axis + 1) % 3], sign[(axis + 2) % 3]);
                Tri(m, poly++, v[0], v[1], v[2], kOrigin, colour, 7);
            }
    return true;
}

// ---- hemisphere -----------------------------------------------------------

struct HemisphereArgs {
    float radius;
    int32_t rings, segments, open;
};

bool BuildHemisphere(E3DMesh *m, const void *args, uint32_t colour) {
    const HemisphereArgs &a = *static_cast<const HemisphereArgs *>(args);
    const float *s = g_generatorScale;
    const int32_t n = a.segments;
    const float latStep = GeneratorStep(a.rings - 1, 90.0f), lonStep = GeneratorStep(n, 360.0f);
    SetMeshVertex(m, 0, 0.0f, a.radius * s[1], 0.0f);
    float lat = 90.0f;
    for (int32_t k = 1; k < a.rings; ++k) {
        lat -= latStep;
        if (k == a.rings - 1) lat = 0.0f;  // the last ring closes on the equator
        float lon = 0.0f;
        for (int32_t j = 0; j < n; ++j, lon += lonStep)
            SetMeshVertex(m, 1 + (k - 1) * n + j, CosDegrees(lon) * CosDegrees(lat) * a.radius * s[0],
                          SinDegrees(lat) * a.radius * s[1], SinDegrees(lon) * CosDegrees(lat) * a.radius * s[2]);
    }
    const int32_t equator = 1 + (a.rings - 2) * n, centre = (a.rings - 1) * n + 1;
    const float inside[3] = {0.0f, a.radius * s[1] * 0.25f, 0.0f};
    int32_t p = 0;
    for (int32_t j = 0; j < n; ++j) Tri(m, p++, 0, 1 + (j + 1) % n, 1 + j, inside, colour, 0);
    for (int32_t k = 1; k <= a.rings - 2; ++k) {
        const int32_t first = 1 + (k - 1) * n;
        for (int32_t j = 0; j < n; ++j, p += 2)
            Quad(m, p, first + j, first + (j + 1) % n, first + n + (j + 1) % n, first + n + j, inside, colour, 0, false);
    }
    if (!a.open) {
        SetMeshVertex(m, centre, 0.0f, 0.0f, 0.0f);
        for (int32_t j = 0; j < n; ++j) Tri(m, p++, centre, equator + j, equator + (j + 1) % n, inside, colour, 1);
    }
    return true;
}

// ---- cylinder and tube ----------------------------------------------------

struct RoundWallArgs {
    float outer, inner, height;
    int32_t sides, segments;
};

// Rings of `sides` vertices from the top down, `segments` + 1 of them.
void PlaceWall(E3DMesh *m, int32_t first, float radius, const RoundWallArgs &a) {
    const float *s = g_generatorScale;
    const float angleStep = GeneratorStep(a.sides, 360.0f), yStep = a.height / float(a.segments);
    float y = a.height * 0.5f;
    for (int32_t r = 0; r <= a.segments; ++r, y -= yStep) {
        if (r == a.segments) y = -a.height * 0.5f;
        float angle = 0.0f;
        for (int32_t j = 0; j < a.sides; ++j, angle += angleStep)
            SetMeshVertex(m, first + r * a.sides + j, CosDegrees(angle) * radius * s[0], y * s[1],
                          SinDegrees(angle) * radius * s[2]);
    }
}

// Quads of a wall; `inside` of each is found by `insideOf`.
template <class InsideOf>
int32_t WallQuads(E3DMesh *m, int32_t poly, int32_t first, const RoundWallArgs &a, uint32_t colour, InsideOf insideOf) {
    const float du = GeneratorStep(a.sides), dv = GeneratorStep(a.segments);
    for (int32_t r = 0; r < a.segments; ++r)
        for (int32_t j = 0; j < a.sides; ++j, poly += 2) {
            const int32_t q0 = first + r * a.sides + j, q1 = first + r * a.sides + (j + 1) % a.sides;
            float in[3];
            insideOf(Position(m, q0), in);
            Quad(m, poly, q0, q1, q1 + a.sides, q0 + a.sides, in, colour, 0, false);
            SetMeshQuadTexCoords(m, poly, float(j) * du, float(r) * dv, float(j + 1) * du, float(r) * dv,
                                 float(j + 1) * du, float(r + 1) * dv, float(j) * du, float(r + 1) * dv);
        }
    return poly;
}

bool BuildCylinder(E3DMesh *m, const void *args, uint32_t colour) {
    const RoundWallArgs &a = *static_cast<const RoundWallArgs *>(args);
    const int32_t rings = (a.segments + 1) * a.sides, top = rings, bottom = rings + 1;
    PlaceWall(m, 0, a.outer, a);
    const float *s = g_generatorScale;
    SetMeshVertex(m, top, 0.0f, a.height * 0.5f * s[1], 0.0f);
    SetMeshVertex(m, bottom, 0.0f, -a.height * 0.5f * s[1], 0.0f);
    int32_t p = WallQuads(m, 0, 0, a, colour, [](const float *, float *in) { in[0] = in[1] = in[2] = 0.0f; });
    const int32_t last = a.segments * a.sides;
    for (int32_t j = 0; j < a.sides; ++j) Tri(m, p++, top, j, (j + 1) % a.sides, kOrigin, colour, 1);
    for (int32_t j = 0; j < a.sides; ++j) Tri(m, p++, bottom, last + j, last + (j + 1) % a.sides, kOrigin, colour, 2);
    return true;
}

bool BuildTube(E3DMesh *m, const void *args, uint32_t colour) {
    const RoundWallArgs &a = *static_cast<const RoundWallArgs *>(args);
    const int32_t wall = (a.segments + 1) * a.sides;
    PlaceWall(m, 0, a.outer, a);
    PlaceWall(m, wall, a.inner, a);
    // The material lies between the two radii: the point inside any face is
    // on the middle circle at the face's height and angle.
    const float *s = g_generatorScale;
    const float middle = (a.outer + a.inner) * 0.5f;
    auto between = [&](const float *p, float *in) {
        const float len = std::sqrt(p[0] / s[0] * p[0] / s[0] + p[2] / s[2] * p[2] / s[2]);
        in[0] = p[0] / s[0] / len * middle * s[0];
        in[1] = p[1];
        in[2] = p[2] / s[2] / len * middle * s[2];
    };
    int32_t p = WallQuads(m, 0, 0, a, colour, between);
    p = WallQuads(m, p, wall, a, colour, between);
    const int32_t lastRing = a.segments * a.sides;
    for (int32_t j = 0; j < a.sides; ++j) {
        const int32_t j1 = (j + 1) % a.sides;
        float in[3];
        between(Position(m, j), in);
        in[1] -= a.height * 0.25f * s[1];
        Quad(m, p, j, j1, wall + j1, wall + j, in, colour, 1);
        p += 2;
        between(Position(m, lastRing + j), in);
        in[1] += a.height * 0.25f * s[1];
        Quad(m, p, lastRing + j, lastRing + j1, wall + lastRing + j1, wall + lastRing + j, in, colour, 2);
        p += 2;
    }
    return true;
}

// ---- geodesic sphere ------------------------------------------------------

struct GeoArgs {
    float radius;
    int32_t level;
};

// Midpoints shared between the two faces of an edge, found through a small
// open-addressing table keyed by the edge's vertex pair.
struct EdgeTable {
    uint64_t *keys;
    int32_t *values;
    uint32_t mask;
};

int32_t Midpoint(EdgeTable &t, E3DMesh *m, int32_t &next, int32_t a, int32_t b, float radius) {
    const uint64_t key = a < b ? (uint64_t(uint32_t(a)) << 32 | uint32_t(b)) : (uint64_t(uint32_t(b)) << 32 | uint32_t(a));
    uint32_t slot = uint32_t((key * 0x9E3779B97F4A7C15ull) >> 40) & t.mask;
    while (t.keys[slot] != ~0ull && t.keys[slot] != key) slot = (slot + 1) & t.mask;
    if (t.keys[slot] == key) return t.values[slot];
    const float *pa = Position(m, a), *pb = Position(m, b);
    float p[3] = {(pa[0] + pb[0]) * 0.5f, (pa[1] + pb[1]) * 0.5f, (pa[2] + pb[2]) * 0.5f};
    const float k = radius / std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
    SetMeshVertex(m, next, p[0] * k, p[1] * k, p[2] * k);
    t.keys[slot] = key;
    t.values[slot] = next;
    return next++;
}

bool BuildGeoSphere(E3DMesh *m, const void *args, uint32_t colour) {
    const GeoArgs &a = *static_cast<const GeoArgs *>(args);
    // Icosahedron on the unit sphere, then split each face in four per level,
    // pushing new vertices out to the radius; the scale is applied last.
    const float t = (1.0f + std::sqrt(5.0f)) * 0.5f, k = a.radius / std::sqrt(1.0f + t * t);
    const float ico[12][3] = {{-1, t, 0}, {1, t, 0}, {-1, -t, 0}, {1, -t, 0}, {0, -1, t}, {0, 1, t},
                              {0, -1, -t}, {0, 1, -t}, {t, 0, -1}, {t, 0, 1}, {-t, 0, -1}, {-t, 0, 1}};
    for (int i = 0; i < 12; ++i) SetMeshVertex(m, i, ico[i][0] * k, ico[i][1] * k, ico[i][2] * k);
    static const int32_t faces[20][3] = {{0, 11, 5}, {0, 5, 1},  {0, 1, 7},   {0, 7, 10}, {0, 10, 11},
                                         {1, 5, 9},  {5, 11, 4}, {11, 10, 2}, {10, 7, 6}, {7, 1, 8},
                                         {3, 9, 4},  {3, 4, 2},  {3, 2, 6},   {3, 6, 8},  {3, 8, 9},
                                         {4, 9, 5},  {2, 4, 11}, {6, 2, 10},  {8, 6, 7},  {9, 8, 1}};
    const int32_t total = m->polygonCount;
    // Faces are kept as index triples in a scratch array, level by level.
    auto *tri = static_cast<int32_t *>(AllocateMemory(uint32_t(total) * 3 * sizeof(int32_t) * 2));
    uint32_t capacity = 64;
    while (capacity < uint32_t(m->vertexCount) * 2) capacity <<= 1;
    EdgeTable table{static_cast<uint64_t *>(AllocateMemory(capacity * sizeof(uint64_t))),
                    static_cast<int32_t *>(AllocateMemory(capacity * sizeof(int32_t))), capacity - 1};
    if (tri && table.keys && table.values) {
        std::memcpy(tri, faces, sizeof faces);
        std::memset(table.keys, 0xFF, capacity * sizeof(uint64_t));
        int32_t count = 20, next = 12;
        int32_t *src = tri, *dst = tri + total * 3;
        for (int level = 0; level < a.level; ++level) {
            for (int32_t f = 0; f < count; ++f) {
                const int32_t v0 = src[3 * f], v1 = src[3 * f + 1], v2 = src[3 * f + 2];
                const int32_t m01 = Midpoint(table, m, next, v0, v1, a.radius);
                const int32_t m12 = Midpoint(table, m, next, v1, v2, a.radius);
                const int32_t m20 = Midpoint(table, m, next, v2, v0, a.radius);
                const int32_t out[4][3] = {{v0, m01, m20}, {v1, m12, m01}, {v2, m20, m12}, {m01, m12, m20}};
                std::memcpy(dst + 12 * f, out, sizeof out);
            }
            count *= 4;
            int32_t *swap = src;
            src = dst;
            dst = swap;
        }
        const float *s = g_generatorScale;
        for (int32_t i = 0; i < m->vertexCount; ++i) {
            float *p = m->vertices[i].position;
            p[0] *= s[0], p[1] *= s[1], p[2] *= s[2];
        }
        for (int32_t f = 0; f < count; ++f) Tri(m, f, src[3 * f], src[3 * f + 1], src[3 * f + 2], kOrigin, colour, 0);
    }
    const bool built = tri && table.keys && table.values;
    for (void *block : {static_cast<void *>(tri), static_cast<void *>(table.keys), static_cast<void *>(table.values)})
        if (block) FreeMemory(block);
    return built;
}

// ---- billboard ------------------------------------------------------------

bool BuildBillboard(E3DMesh *m, const void *args, uint32_t colour) {
    const float h = *static_cast<const float *>(args) * 0.5f;
    const float *s = g_generatorScale;
    // A square in z = 0 whose front faces -z, toward a camera looking along +z.
    SetMeshVertex(m, 0, -h * s[0], h * s[1], 0.0f);
    SetMeshVertex(m, 1, h * s[0], h * s[1], 0.0f);
    SetMeshVertex(m, 2, h * s[0], -h * s[1], 0.0f);
    SetMeshVertex(m, 3, -h * s[0], -h * s[1], 0.0f);
    SetMeshQuadPolygon(m, 0, 0, 1, 2, 3, int32_t(colour), 0);
    SetMeshQuadTexCoords(m, 0, 0, 0, 1, 0, 1, 1, 0, 1);
    return true;
}

}  // namespace

extern "C" E3D_API E3DMesh *ChCubeCreate(float size, float chamfer, const float *scale, uint32_t colour) {
    if (size <= 0.0f || !(chamfer > 0.0f) || !(chamfer < size * 0.5f)) return nullptr;
    const ChCubeArgs args{size, chamfer};
    return Generate(24, 44, colour, scale, "Cube", kCounterCube, BuildChCube, &args);
}

extern "C" E3D_API E3DMesh *HemisphereCreate(float radius, const float *scale, int32_t rings, int32_t segments,
                                             uint32_t colour, int32_t open) {
    if (radius <= 0.0f || rings < 4 || segments < 4 || int64_t(rings) * segments >= 0x20000000) return nullptr;
    const HemisphereArgs args{radius, rings, segments, open};
    const int32_t vertices = (rings - 1) * segments + (open ? 1 : 2);
    const int32_t triangles = open ? (2 * rings - 3) * segments : 2 * (rings - 1) * segments;
    return Generate(vertices, triangles, colour, scale, "HSphere", kCounterHSphere, BuildHemisphere, &args);
}

extern "C" E3D_API E3DMesh *GeoSphereCreate(float radius, const float *scale, int32_t level, uint32_t colour) {
    if (radius <= 0.0f || level < 0 || level > 6) return nullptr;
    const GeoArgs args{radius, level};
    const int32_t faces = 20 << (2 * level);
    return Generate(faces / 2 + 2, faces, colour, scale, "GeoSphere", kCounterGeoSphere, BuildGeoSphere, &args);
}

extern "C" E3D_API E3DMesh *CylinderCreate(float radius, float height, const float *scale, int32_t sides,
                                           int32_t segments, uint32_t colour) {
    if (radius <= 0.0f || height <= 0.0f || sides < 4 || segments < 1 || int64_t(sides) * (int64_t(segments) + 1) >= 0x10000000)
        return nullptr;
    const RoundWallArgs args{radius, 0.0f, height, sides, segments};
    return Generate((segments + 1) * sides + 2, 2 * sides * segments + 2 * sides, colour, scale, "Cylinder",
                    kCounterCylinder, BuildCylinder, &args);
}

extern "C" E3D_API E3DMesh *TubeCreate(float outerRadius, float innerRadius, float height, const float *scale,
                                       int32_t sides, int32_t segments, uint32_t colour) {
    if (!(outerRadius > innerRadius && innerRadius > 0.0f) || height <= 0.0f || sides < 4 || segments < 1 ||
        int64_t(sides) * (int64_t(segments) + 1) >= 0x10000000)
        return nullptr;
    const RoundWallArgs args{outerRadius, innerRadius, height, sides, segments};
    return Generate(2 * (segments + 1) * sides, 4 * sides * segments + 4 * sides, colour, scale, "Tube", kCounterTube,
                    BuildTube, &args);
}

extern "C" E3D_API E3DMesh *BillboardCreate(float size, const float *scale, uint32_t colour) {
    if (size <= 0.0f) return nullptr;
    E3DMesh *m = Generate(4, 2, colour, scale, "Billboard", kCounterBillboard, BuildBillboard, &size);
    if (m) m->meshKind = e3d::kMeshBillboard;
    return m;
}
