// Cube and grid.
#include "primitives/generator.h"

using namespace e3d;

namespace {

struct CubeArgs {
    float size;
};

bool BuildCube(E3DMesh *m, const void *args, uint32_t colour) {
    const float h = static_cast<const CubeArgs *>(args)->size * 0.5f;
    const float *s = g_generatorScale;
    static const float sign[8][3] = {{-1, 1, -1}, {1, 1, -1}, {1, -1, -1}, {-1, -1, -1},
                                     {-1, 1, 1},  {1, 1, 1},  {1, -1, 1},  {-1, -1, 1}};
    for (int i = 0; i < 8; ++i)
        SetMeshVertex(m, i, sign[i][0] * h * s[0], sign[i][1] * h * s[1], sign[i][2] * h * s[2]);
    // Each face its own smoothing group: hard edges.
    static const int faces[6][4] = {{0, 1, 2, 3}, {1, 5, 6, 2}, {5, 4, 7, 6}, {4, 0, 3, 7}, {4, 5, 1, 0}, {3, 2, 6, 7}};
    for (int f = 0; f < 6; ++f) {
        SetMeshQuadPolygon(m, 2 * f, faces[f][0], faces[f][1], faces[f][2], faces[f][3], int32_t(colour), f);
        SetMeshQuadTexCoords(m, 2 * f, 0, 0, 1, 0, 1, 1, 0, 1);
    }
    return true;
}

struct GridArgs {
    float size;
    int32_t rows, columns;
};

bool BuildGrid(E3DMesh *m, const void *args, uint32_t colour) {
    const GridArgs &g = *static_cast<const GridArgs *>(args);
    const float *s = g_generatorScale;
    const float stepX = GeneratorStep(g.columns, g.size);
    const float stepY = GeneratorStep(g.rows, g.size);
    // Running values are accumulated, not multiplied out.
    float y = g.size * 0.5f;
    for (int32_t r = 0; r <= g.rows; ++r, y -= stepY) {
        float x = -g.size * 0.5f;
        for (int32_t c = 0; c <= g.columns; ++c, x += stepX) SetMeshVertex(m, r * (g.columns + 1) + c, x * s[0], y * s[1], 0.0f);
    }
    const float du = GeneratorStep(g.columns), dv = GeneratorStep(g.rows);
    float v = 0.0f;
    for (int32_t r = 0; r < g.rows; ++r, v += dv) {
        float u = 0.0f;
        for (int32_t c = 0; c < g.columns; ++c, u += du) {
            const int32_t index = 2 * (r * g.columns + c);
            const int32_t a = r * (g.columns + 1) + c, br = (r + 1) * (g.columns + 1) + c + 1;
            SetMeshQuadPolygon(m, index, a, a + 1, br, br - 1, int32_t(colour), 0);
            SetMeshQuadTexCoords(m, index, u, v, u + du, v, u + du, v + dv, u, v + dv);
            // Each grid line drawn once in wireframe: the first triangle shows
            // the cell's top and left, the second its right and bottom only at
            // the grid's last column and row.
            E3DPolygon &first = m->polygons[index], &second = m->polygons[index + 1];
            first.flags = (first.flags & ~e3d::kEdgeMask) | e3d::kEdge2 | e3d::kEdge1;
            second.flags &= ~e3d::kEdgeMask;
            if (c == g.columns - 1) second.flags |= e3d::kEdge1;
            if (r == g.rows - 1) second.flags |= e3d::kEdge0;
        }
    }
    return true;
}

}  // namespace

extern "C" E3D_API E3DMesh *CubeCreate(float size, const float *scale, uint32_t colour) {
    if (size <= 0.0f) return nullptr;  // a size that is not a number passes
    const CubeArgs args{size};
    return Generate(8, 12, colour, scale, "Cube", kCounterCube, BuildCube, &args);
}

extern "C" E3D_API E3DMesh *GridCreate(float size, const float *scale, int32_t rows, int32_t columns, uint32_t colour) {
    if (size <= 0.0f || rows < 1 || columns < 1) return nullptr;
    const int64_t vertices = (int64_t(rows) + 1) * (int64_t(columns) + 1), triangles = 2 * int64_t(rows) * columns;
    if (vertices > 0x3FFFFFFF || triangles > 0x3FFFFFFF) return nullptr;  // Guard: counts must fit
    const GridArgs args{size, rows, columns};
    return Generate(int32_t(vertices), int32_t(triangles), colour, scale, "Grid", kCounterGrid, BuildGrid, &args);
}
