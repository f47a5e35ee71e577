// The exported triangle fillers, drawing into the current viewport.
#include "raster/filler_list.h"
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

template <e3d::TextureLighting lighting, e3d::TextureMapKind map, bool depthPass>
void Textured(E3DPolygon *polygon, E3DVertex *vertices) {
    if (!polygon || !vertices) return;
    e3d::TextureFill(polygon, vertices, e3d::CurrentRasterTarget(depthPass), lighting, map, depthPass);
}

}  // namespace

// Texture-mapped fillers: lighting x map x pass, from the filler list.
#define E3D_WRITTEN_ELSEWHERE(shade, drawMode, name)
#define E3D_TEXTURE_FILLER(shade, drawMode, name, lighting, map)                          \
    extern "C" E3D_API void name(E3DPolygon *polygon, E3DVertex *vertices) {             \
        Textured<e3d::lighting, e3d::map, false>(polygon, vertices);                     \
    }                                                                                    \
    extern "C" E3D_API void name##Z(E3DPolygon *polygon, E3DVertex *vertices) {          \
        Textured<e3d::lighting, e3d::map, true>(polygon, vertices);                      \
    }
E3D_FILLERS(E3D_WRITTEN_ELSEWHERE, E3D_TEXTURE_FILLER)
