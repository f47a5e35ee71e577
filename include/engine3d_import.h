/*
 * Engine3D import: a companion library that loads model files (glTF, OBJ,
 * Collada, FBX, 3DS, X, ... through assimp) into engine objects.
 *
 * Conventions
 * - One call makes an E3DImport handle that owns every mesh, material,
 *   texture, camera, light and skeleton it created; DeleteImport frees them
 *   all. Objects are bound to the handle (their host object is set), so
 *   DeleteScene on a scene filled from it leaves them to the handle.
 * - On failure nothing is left allocated and the error text says why.
 * - Coordinates are the engine's: y up, the camera looks along +z.
 * - Meshes of nodes that carry meshes keep the file's node hierarchy
 *   (AttachChildToNode); empty nodes pass their transforms down. Scale and
 *   shear of node transforms are baked into the vertices, so model matrices
 *   stay rigid. Skinned meshes are roots placed by their bones.
 * - Call after InitEngine3D; like the engine, not re-entrant.
 */
#ifndef ENGINE3D_IMPORT_H
#define ENGINE3D_IMPORT_H

#include <stdint.h>

#include "engine3d.h"

#if defined(E3D_IMPORT_BUILDING)
#define E3D_IMPORT_API __attribute__((visibility("default")))
#else
#define E3D_IMPORT_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct E3DImport E3DImport;

/* Object kinds for GetImportCount / GetImportObject. */
enum {
    E3D_IMPORT_MESHES = 0,    /* every mesh, parents before children (E3DMesh *) */
    E3D_IMPORT_ROOTS = 1,     /* meshes without a parent mesh (E3DMesh *) */
    E3D_IMPORT_MATERIALS = 2, /* E3DMaterial * */
    E3D_IMPORT_TEXTURES = 3,  /* E3DTexture * */
    E3D_IMPORT_CAMERAS = 4,   /* E3DCamera * */
    E3D_IMPORT_LIGHTS = 5,    /* E3DLight * */
    E3D_IMPORT_SKELETONS = 6  /* E3DSkeleton *, one per skinned mesh */
};

/* Loads a model file; NULL on failure with the reason in error (errorSize bytes, may be NULL). */
E3D_IMPORT_API E3DImport *ImportModelFile(const char *path, char *error, int32_t errorSize);
/* Frees the handle and everything it made (takes the meshes out of every scene first); NULL is ignored. */
E3D_IMPORT_API void DeleteImport(E3DImport *import);
/* Number of objects of a kind (E3D_IMPORT_...), 0 for an unknown kind. */
E3D_IMPORT_API int32_t GetImportCount(const E3DImport *import, int32_t kind);
/* Object `index` of a kind, or NULL out of range. */
E3D_IMPORT_API void *GetImportObject(const E3DImport *import, int32_t kind, int32_t index);
/* Name the file gave the mesh's node (meshes of the kind E3D_IMPORT_MESHES), or "". */
E3D_IMPORT_API const char *GetImportMeshNodeName(const E3DImport *import, int32_t index);
/* World-space box of the whole model as loaded: min[3], max[3]; the centre and radius of its sphere. */
E3D_IMPORT_API void GetImportBounds(const E3DImport *import, float *min, float *max, float *center, float *radius);
/* Adds the root meshes, lights (shared with the meshes), cameras (the first becomes active when the scene has none), materials and skeletons to a scene; 1, or 0 when the scene could not take them all (the scene then holds none of them). */
E3D_IMPORT_API int32_t FillSceneFromImport(E3DImport *import, E3DScene *scene);
/* Warnings of a load that succeeded (a missing texture file, skipped content). */
E3D_IMPORT_API int32_t GetImportWarningCount(const E3DImport *import);
/* Warning text `index`, or NULL. */
E3D_IMPORT_API const char *GetImportWarning(const E3DImport *import, int32_t index);
/* Animation clips in the file. */
E3D_IMPORT_API int32_t GetImportClipCount(const E3DImport *import);
/* Name of clip `index` ("" when unnamed), or NULL out of range. */
E3D_IMPORT_API const char *GetImportClipName(const E3DImport *import, int32_t index);
/* Length of clip `index` in seconds (0 out of range). */
E3D_IMPORT_API float GetImportClipDuration(const E3DImport *import, int32_t index);
/* Index of the first clip with that name, or -1. */
E3D_IMPORT_API int32_t FindImportClip(const E3DImport *import, const char *name);
/* Poses the model at `seconds` into a clip (held at its first and last keys): bones and animated node meshes move; linear position and scale, spherical rotation between keys. 1, or 0 for a bad clip or time. */
E3D_IMPORT_API int32_t SetImportAnimationTime(E3DImport *import, int32_t clip, float seconds);

#ifdef __cplusplus
}
#endif

#endif /* ENGINE3D_IMPORT_H */
