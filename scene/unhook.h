// What a delete does to the records that still name the object it frees:
// each holder falls back to something live, so nothing the engine follows
// later points into freed memory.
#pragma once

#include <cstdint>

#include "engine3d.h"

namespace e3d {

// Faces fall back to their own mesh's default material; viewports lose it;
// scene lists drop it.
void ForgetMaterial(const E3DMaterial *material);

// Viewports lose the camera (and draw nothing until they get another); the
// fillers' current camera is cleared.
void ForgetCamera(const E3DCamera *camera);

// Every mesh's light list drops the light.
void ForgetLight(const E3DLight *light);

// Every scene drops the skeleton; every mesh deformed by it is taken off it.
void ForgetSkeleton(const E3DSkeleton *skeleton);

// Every material layer showing the texture is emptied, as
// SetMaterialTexture(material, layer, NULL, 0) empties it.
void ForgetTexture(const E3DTexture *texture);

// Faces of live meshes that use the default material of one of `count` freed
// mesh records (their addresses, sorted) fall back to their own: the walk a
// batch of deletes makes once instead of once per mesh.
void ForgetDefaultMaterials(const uintptr_t *freed, int32_t count);

// Frees a mesh record (the block of a one-block mesh) after taking it off
// the chain of live meshes and redirecting whatever used its default material
// (the faces of other meshes only when `redirectFaces`: a batch of deletes
// redirects them once at its end with ForgetDefaultMaterials).
void FreeMeshRecord(E3DMesh *mesh, bool redirectFaces = true);

}  // namespace e3d
