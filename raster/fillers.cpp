// The exported triangle fillers, drawing into the current viewport.
#include "raster/flat_solid.h"
#include "raster/gouraud_solid.h"
#include "raster/raster.h"
#include "raster/texture_fill.h"

extern "C" E3D_API void FloorDivMod(int32_t numerator, int32_t denominator, int32_t *quotient, int32_t *remainder) {
    if (!quotient || !remainder) return;
    if (denominator == 0) {  // Guard: no division by zero
        *quotient = 0;
        *remainder = 0;
        return;
    }
    // Wide arithmetic keeps -numerator defined for the most negative value.
    const int64_t n = numerator, d = denominator;
    int64_t q = n / d, r;
    if (n > 0) {
        r = n % d;
    } else {
        r = (-n) % d;
        if (r != 0) {
            q -= 1;
            r = d - r;
        }
    }
    *quotient = int32_t(q);
    *remainder = int32_t(r);
}

extern "C" E3D_API void FlatSolidTriangle(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    e3d::FlatSolidFill(polygon, vertices, e3d::CurrentRasterTarget(false), false);
}

extern "C" E3D_API void FlatSolidTriangleZ(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    e3d::FlatSolidFill(polygon, vertices, e3d::CurrentRasterTarget(true), true);
}

extern "C" E3D_API void GouraudSolidTriangle(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    e3d::GouraudSolidFill(polygon, vertices, e3d::CurrentRasterTarget(false), false);
}

extern "C" E3D_API void GouraudSolidTriangleZ(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    e3d::GouraudSolidFill(polygon, vertices, e3d::CurrentRasterTarget(true), true);
}

namespace {

void Textured(E3DPolygon *polygon, E3DVertex *vertices, e3d::TextureLighting lighting, e3d::TextureMapKind map,
              bool depthPass) {
    e3d::TextureFill(polygon, vertices, e3d::CurrentRasterTarget(depthPass), lighting, map, depthPass);
}

}  // namespace

// Texture-mapped fillers: lighting x map x pass.
extern "C" E3D_API void NoneDiffuseTriangle(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    Textured(polygon, vertices, e3d::kTextureUnlit, e3d::kDiffuseMap, false);
}

extern "C" E3D_API void NoneDiffuseTriangleZ(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    Textured(polygon, vertices, e3d::kTextureUnlit, e3d::kDiffuseMap, true);
}

extern "C" E3D_API void NoneOpacityTriangle(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    Textured(polygon, vertices, e3d::kTextureUnlit, e3d::kOpacityMap, false);
}

extern "C" E3D_API void NoneOpacityTriangleZ(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    Textured(polygon, vertices, e3d::kTextureUnlit, e3d::kOpacityMap, true);
}

extern "C" E3D_API void NoneEnvironmentTriangle(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    Textured(polygon, vertices, e3d::kTextureUnlit, e3d::kEnvironmentMap, false);
}

extern "C" E3D_API void NoneEnvironmentTriangleZ(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    Textured(polygon, vertices, e3d::kTextureUnlit, e3d::kEnvironmentMap, true);
}

extern "C" E3D_API void FlatDiffuseTriangle(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    Textured(polygon, vertices, e3d::kTextureFlat, e3d::kDiffuseMap, false);
}

extern "C" E3D_API void FlatDiffuseTriangleZ(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    Textured(polygon, vertices, e3d::kTextureFlat, e3d::kDiffuseMap, true);
}

extern "C" E3D_API void FlatOpacityTriangle(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    Textured(polygon, vertices, e3d::kTextureFlat, e3d::kOpacityMap, false);
}

extern "C" E3D_API void FlatOpacityTriangleZ(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    Textured(polygon, vertices, e3d::kTextureFlat, e3d::kOpacityMap, true);
}

extern "C" E3D_API void FlatEnvironmentTriangle(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    Textured(polygon, vertices, e3d::kTextureFlat, e3d::kEnvironmentMap, false);
}

extern "C" E3D_API void FlatEnvironmentTriangleZ(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    Textured(polygon, vertices, e3d::kTextureFlat, e3d::kEnvironmentMap, true);
}

extern "C" E3D_API void GouraudDiffuseTriangle(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    Textured(polygon, vertices, e3d::kTextureGouraud, e3d::kDiffuseMap, false);
}

extern "C" E3D_API void GouraudDiffuseTriangleZ(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    Textured(polygon, vertices, e3d::kTextureGouraud, e3d::kDiffuseMap, true);
}

extern "C" E3D_API void GouraudOpacityTriangle(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    Textured(polygon, vertices, e3d::kTextureGouraud, e3d::kOpacityMap, false);
}

extern "C" E3D_API void GouraudOpacityTriangleZ(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    Textured(polygon, vertices, e3d::kTextureGouraud, e3d::kOpacityMap, true);
}

extern "C" E3D_API void GouraudEnvironmentTriangle(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    Textured(polygon, vertices, e3d::kTextureGouraud, e3d::kEnvironmentMap, false);
}

extern "C" E3D_API void GouraudEnvironmentTriangleZ(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    Textured(polygon, vertices, e3d::kTextureGouraud, e3d::kEnvironmentMap, true);
}
