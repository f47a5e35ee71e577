// Mesh internals shared by the node tree, the generators and the pipeline.
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine3d.h"

namespace e3d {

// Bytes of a sort buffer for n polygons: n u32 indices, then n entries at
// their natural alignment (20 bytes per polygon on 32-bit hosts).
constexpr size_t SortIndexBytes(uint32_t n) {
    return (size_t(n) * sizeof(uint32_t) + alignof(E3DSortEntry) - 1) / alignof(E3DSortEntry) * alignof(E3DSortEntry);
}
constexpr size_t SortBufferBytes(uint32_t n) { return SortIndexBytes(n) + size_t(n) * sizeof(E3DSortEntry); }
E3DSortEntry *SortEntriesOf(uint32_t *buffer, uint32_t n);

#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(SortBufferBytes(1) == 20 && SortBufferBytes(1000) == 20000);
#endif

// Gives the mesh a fresh sort buffer for `count` polygons, reset to the
// identity order. Guard: when it cannot be allocated the old buffer stays.
void ReplaceSortBuffer(E3DMesh *mesh, int32_t count);
// The two halves of ReplaceSortBuffer: a buffer for `count` polygons (null
// when it cannot be had), and installing one in place of the old.
uint32_t *NewSortBuffer(int32_t count);
void InstallSortBuffer(E3DMesh *mesh, uint32_t *buffer, int32_t count);
void FreeSortBuffer(E3DMesh *mesh);

// The release step: frees the mesh unless it is bound to a host object
// (`redirectFaces` as for FreeMeshRecord).
void ReleaseMesh(E3DMesh *mesh, bool redirectFaces = true);

// What DeleteMesh does, with the faces of other meshes left to the caller
// when `redirectFaces` is false (for the mesh's record and its bounding box).
void DeleteMeshRecord(E3DMesh *mesh, bool redirectFaces);

// worldMatrix from modelMatrix and baseMatrix; clears state bits 0xA0000.
void RefreshMeshMatrices(E3DMesh *mesh);

// Colour slots are stored in the order 0, 1, 3, 2.
constexpr int kColorSlotStorage[4] = {0, 1, 3, 2};
inline float *MaterialColor(E3DMaterial *m, int slot) { return m->color[kColorSlotStorage[slot & 3]]; }
inline const float *MaterialColor(const E3DMaterial *m, int slot) { return m->color[kColorSlotStorage[slot & 3]]; }

}  // namespace e3d
