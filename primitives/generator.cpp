// The generator frame.
#include "primitives/generator.h"

#include "core/names.h"

namespace e3d {

float g_generatorScale[3];

E3DMesh *Generate(int32_t vertexCount, int32_t polygonCount, uint32_t colour, const float *scale, const char *base,
                  NameCounter counter, BuildShape build, const void *args) {
    E3DMesh *mesh = CreateMesh(vertexCount, polygonCount, colour);
    if (!mesh) return nullptr;
    for (int i = 0; i < 3; ++i) g_generatorScale[i] = scale ? scale[i] : 1.0f;
    const bool built = build(mesh, args, colour);
    if (built) {
        CalcMeshPolygonsNormal(mesh);
        CalcMeshVerticesNormal(mesh);
    }
    // Normals that could not be allocated count as a failure too.
    if (built && mesh->vertexNormals) mesh->boundingBox = CreateAABB(mesh);
    if (!mesh->boundingBox) {
        DeleteMesh(mesh);
        return nullptr;
    }
    WriteDefaultName(mesh->name, sizeof mesh->name, base, counter);
    mesh->meshKind = e3d::kMeshOrdinary;
    return mesh;
}

}  // namespace e3d
