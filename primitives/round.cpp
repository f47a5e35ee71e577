// Round generators: sphere, torus, disk and ring. Angles are in degrees and
// every running value is accumulated in single precision.
#include <cmath>

#include "primitives/generator.h"

using namespace e3d;

namespace {

inline float CosDegrees(float degrees) { return e3d::Cos(degrees * kGeneratorDegrees); }
inline float SinDegrees(float degrees) { return e3d::Sin(degrees * kGeneratorDegrees); }

struct SphereArgs {
    float radius;
    int32_t rings, segments;
};

bool BuildSphere(E3DMesh *m, const void *args, uint32_t colour) {
    const SphereArgs &a = *static_cast<const SphereArgs *>(args);
    const float *s = g_generatorScale;
    const int32_t rings = a.rings, segments = a.segments, spare = int32_t(colour);
    const float latStep = GeneratorStep(rings, 180.0f), lonStep = GeneratorStep(segments, 360.0f);
    const float du = GeneratorStep(segments), dv = GeneratorStep(rings);
    const int32_t bottom = (rings - 1) * segments + 1;
    SetMeshVertex(m, 0, 0.0f, a.radius * s[1], 0.0f);
    float lat = 90.0f;
    for (int32_t k = 1; k < rings; ++k) {
        lat -= latStep;
        float lon = 0.0f;
        for (int32_t j = 0; j < segments; ++j, lon += lonStep) {
            SetMeshVertex(m, 1 + (k - 1) * segments + j, CosDegrees(lon) * CosDegrees(lat) * a.radius * s[0],
                          SinDegrees(lat) * a.radius * s[1], SinDegrees(lon) * CosDegrees(lat) * a.radius * s[2]);
        }
    }
    SetMeshVertex(m, bottom, 0.0f, -a.radius * s[1], 0.0f);

    int32_t p = 0;
    float u = 0.0f;
    for (int32_t i = 1; i < segments; ++i, u += du, ++p) {
        SetMeshTriPolygon(m, p, 0, i + 1, i, spare, 0);
        SetMeshTriTexCoords(m, p, u, 0.0f, u + du, dv, u, dv);
    }
    // The closing triangle's u is mirrored, as the layout has it.
    SetMeshTriPolygon(m, p, 0, 1, segments, spare, 0);
    SetMeshTriTexCoords(m, p++, u, 0.0f, u, dv, u + du, dv);

    float v = dv;
    for (int32_t k = 1; k <= rings - 2; ++k, v += dv) {
        const int32_t first = 1 + (k - 1) * segments;
        float bu = 0.0f;
        for (int32_t j = 1; j < segments; ++j, bu += du, p += 2) {
            SetMeshQuadPolygon(m, p, first + j - 1, first + j, first + segments + j, first + segments + j - 1, spare, 0);
            SetMeshQuadTexCoords(m, p, bu, v, bu + du, v, bu + du, v + dv, bu, v + dv);
        }
        SetMeshQuadPolygon(m, p, first + segments - 1, first, first + segments, first + 2 * segments - 1, spare, 0);
        SetMeshQuadTexCoords(m, p, bu, v, bu + du, v, bu + du, v + dv, bu, v + dv);
        p += 2;
    }
    const float vLast = v, vBottom = vLast + dv;
    const int32_t firstOfLast = 1 + (rings - 2) * segments;
    float bu = 0.0f;
    for (int32_t q = firstOfLast; q <= bottom - 2; ++q, bu += du, ++p) {
        SetMeshTriPolygon(m, p, bottom, q, q + 1, spare, 0);
        SetMeshTriTexCoords(m, p, bu, vBottom, bu + du, vLast, bu, vLast);
    }
    SetMeshTriPolygon(m, p, bottom, bottom - 1, firstOfLast, spare, 0);
    SetMeshTriTexCoords(m, p, bu, vBottom, bu, vLast, bu + du, vLast);
    return true;
}

struct TorusArgs {
    float radius, tube;
    int32_t sides, segments;
};

bool BuildTorus(E3DMesh *m, const void *args, uint32_t colour) {
    const TorusArgs &a = *static_cast<const TorusArgs *>(args);
    const float *s = g_generatorScale;
    const float ringStep = GeneratorStep(a.segments, 360.0f), sideStep = GeneratorStep(a.sides, 360.0f);
    float ringAngle = 0.0f;
    for (int32_t i = 0; i < a.segments; ++i, ringAngle += ringStep) {
        float sideAngle = 0.0f;
        for (int32_t j = 0; j < a.sides; ++j, sideAngle += sideStep) {
            const float d = CosDegrees(sideAngle) * a.tube + a.radius;
            SetMeshVertex(m, i * a.sides + j, d * CosDegrees(ringAngle) * s[0], SinDegrees(sideAngle) * a.tube * s[1],
                          d * SinDegrees(ringAngle) * s[2]);
        }
    }
    const float ds = GeneratorStep(a.segments), dt = GeneratorStep(a.sides);
    float sCoord = 0.0f;
    for (int32_t i = 0; i < a.segments; ++i, sCoord += ds) {
        float t = 1.0f;
        for (int32_t j = 0; j < a.sides; ++j, t -= dt) {
            const int32_t cur = i * a.sides + j;
            const int32_t next = j == a.sides - 1 ? i * a.sides : cur + 1;
            const int32_t down = ((i + 1) % a.segments) * a.sides + j;
            const int32_t diag = next - cur + down;
            SetMeshTriPolygon(m, 2 * cur, cur, diag, down, int32_t(colour), 0);
            SetMeshTriPolygon(m, 2 * cur + 1, cur, next, diag, int32_t(colour), 0);
            // The quad's diagonal is hidden, its four sides shown.
            E3DPolygon &first = m->polygons[2 * cur], &second = m->polygons[2 * cur + 1];
            first.flags = (first.flags & ~e3d::kEdgeMask) | e3d::kEdge2 | e3d::kEdge0;
            second.flags = (second.flags & ~e3d::kEdgeMask) | e3d::kEdge1 | e3d::kEdge0;
            SetMeshTriTexCoords(m, 2 * cur, sCoord, t, sCoord + ds, t - dt, sCoord + ds, t);
            SetMeshTriTexCoords(m, 2 * cur + 1, sCoord, t, sCoord, t - dt, sCoord + ds, t - dt);
        }
    }
    return true;
}

struct FlatArgs {
    float outer, inner;
    int32_t segments;
};

bool BuildDisk(E3DMesh *m, const void *args, uint32_t colour) {
    const FlatArgs &a = *static_cast<const FlatArgs *>(args);
    const float *s = g_generatorScale;
    const float step = GeneratorStep(a.segments, 360.0f), du = GeneratorStep(a.segments);
    SetMeshVertex(m, 0, 0.0f, 0.0f, 0.0f);
    float angle = 0.0f;
    for (int32_t k = 1; k <= a.segments; ++k, angle += step)
        SetMeshVertex(m, k, CosDegrees(angle) * a.outer * s[0], SinDegrees(angle) * a.outer * s[1], 0.0f);
    float u = 0.0f;
    for (int32_t i = 1; i <= a.segments; ++i) {
        const bool closing = i == a.segments;
        SetMeshTriPolygon(m, i - 1, 0, closing ? 1 : i + 1, closing ? a.segments : i, int32_t(colour), 0);
        E3DPolygon &p = m->polygons[i - 1];
        p.flags = (p.flags & ~e3d::kEdgeMask) | e3d::kEdge0;  // the rim shows, the spokes do not
        if (closing) SetMeshTriTexCoords(m, i - 1, u, 0.0f, u, 1.0f, u + du, 1.0f);
        else SetMeshTriTexCoords(m, i - 1, u, 0.0f, u + du, 1.0f, u, 1.0f);
        if (!closing) u += du;
    }
    return true;
}

bool BuildRing(E3DMesh *m, const void *args, uint32_t colour) {
    const FlatArgs &a = *static_cast<const FlatArgs *>(args);
    const float *s = g_generatorScale;
    const int32_t n = a.segments;
    const float step = GeneratorStep(n, 360.0f), du = GeneratorStep(n);
    float angle = 0.0f;
    for (int32_t k = 0; k < n; ++k, angle += step) {
        SetMeshVertex(m, k, CosDegrees(angle) * a.inner * s[0], SinDegrees(angle) * a.inner * s[1], 0.0f);
        SetMeshVertex(m, n + k, CosDegrees(angle) * a.outer * s[0], SinDegrees(angle) * a.outer * s[1], 0.0f);
    }
    float u = 0.0f;
    for (int32_t k = 0; k < n; ++k) {
        if (k < n - 1) SetMeshQuadPolygon(m, 2 * k, k, k + 1, n + k + 1, n + k, int32_t(colour), 0);
        else SetMeshQuadPolygon(m, 2 * k, n - 1, 0, n, 2 * n - 1, int32_t(colour), 0);
        SetMeshQuadTexCoords(m, 2 * k, u, 0.0f, u + du, 0.0f, u + du, 1.0f, u, 1.0f);
        if (k < n - 1) u += du;
    }
    return true;
}

// Guard: counts whose products do not fit are refused.
bool Fits(int64_t a, int64_t b) { return a * b < 0x20000000; }

}  // namespace

extern "C" E3D_API E3DMesh *SphereCreate(float radius, const float *scale, int32_t rings, int32_t segments,
                                         uint32_t colour) {
    if (radius <= 0.0f || rings < 4 || segments < 4 || !Fits(rings, segments)) return nullptr;
    const SphereArgs args{radius, rings, segments};
    return Generate((rings - 1) * segments + 2, 2 * (rings - 1) * segments, colour, scale, "Sphere", kCounterSphere,
                    BuildSphere, &args);
}

extern "C" E3D_API E3DMesh *TorusCreate(float radius, float tubeRadius, const float *scale, int32_t sides,
                                        int32_t segments, uint32_t colour) {
    if (radius <= 0.0f || tubeRadius <= 0.0f || sides < 4 || segments < 4 || !Fits(sides, segments)) return nullptr;
    const TorusArgs args{radius, tubeRadius, sides, segments};
    return Generate(sides * segments, 2 * sides * segments, colour, scale, "Torus", kCounterTorus, BuildTorus, &args);
}

extern "C" E3D_API E3DMesh *DiskCreate(float radius, const float *scale, int32_t segments, uint32_t colour) {
    if (radius <= 0.0f || segments < 4 || !Fits(segments, 2)) return nullptr;
    const FlatArgs args{radius, 0.0f, segments};
    return Generate(segments + 1, segments, colour, scale, "Disk", kCounterDisk, BuildDisk, &args);
}

extern "C" E3D_API E3DMesh *RingCreate(float outerRadius, float innerRadius, const float *scale, int32_t segments,
                                       uint32_t colour) {
    if (!(outerRadius > 0.0f && innerRadius > 0.0f && outerRadius > innerRadius) || segments < 4 ||
        !Fits(segments, 2)) {
        return nullptr;
    }
    const FlatArgs args{outerRadius, innerRadius, segments};
    return Generate(2 * segments, 2 * segments, colour, scale, "Ring", kCounterRing, BuildRing, &args);
}
