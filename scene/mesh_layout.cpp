// Sizes the mesh code's arithmetic depends on. On 32-bit hosts the vertex
// and polygon records and the sort buffer keep their 32-bit sizes,
// so a one-block mesh is sizeof(E3DMesh) + 4 (28 p + 13 v + ceil(v / 32))
// + 256 + 4096 bytes.
#include <cstdint>

#include "engine3d.h"
#include "scene/mesh.h"

static_assert(sizeof(E3DVertex) == 13 * sizeof(float), "vertex record: 13 words");
static_assert(alignof(E3DVertex) == 4);
static_assert(e3d::SortBufferBytes(0) == 0);

#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(sizeof(E3DVertex) == 13 * 4, "vertex record: 13 words");
static_assert(sizeof(E3DPolygon) == 28 * 4, "polygon record: 28 words");
static_assert(sizeof(E3DSortEntry) == 16);
static_assert(e3d::SortBufferBytes(1) == 20 && e3d::SortBufferBytes(7) == 140 &&
                  e3d::SortBufferBytes(100000) == 2000000,
              "sort buffer: 20 bytes a polygon");
static_assert(sizeof(E3DMesh) % 4 == 0 && alignof(E3DPolygon) == 4 && alignof(E3DLight *) == 4,
              "no padding between the arrays of a one-block mesh");
#endif
