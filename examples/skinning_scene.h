/* The skinning example's scene: a three-bone arm (a subdivided cylinder)
 * posed over a 60-frame cycle, Gouraud-lit, shared by the example and the
 * benchmark. */
#ifndef E3D_EXAMPLES_SKINNING_SCENE_H
#define E3D_EXAMPLES_SKINNING_SCENE_H

#include "engine3d.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Size of one frame of the contact sheet. */
enum { kSkinningWidth = 320, kSkinningHeight = 240, kSkinningFrames = 60 };

#define SKINNING_BACKGROUND ((uint16_t)((4 << 10) | (6 << 5) | 9))

typedef struct SkinningScene {
    E3DScene *scene;
    E3DMesh *arm;
    E3DSkeleton *skeleton; /* NULL for the undeformed twin */
} SkinningScene;

/* Builds the scene bound to `viewport`; with `skinned` 0 the arm gets no
 * skeleton (the same mesh, drawn undeformed). 0 on failure. */
int SkinningBuildScene(SkinningScene *out, E3DViewport *viewport, int skinned);

/* Poses the bones for frame 0 .. kSkinningFrames - 1 (nothing without a
 * skeleton). */
void SkinningPose(const SkinningScene *s, int frame);

/* Frees the scene, its objects and the skeleton. */
void SkinningReleaseScene(SkinningScene *s);

#ifdef __cplusplus
}
#endif

#endif
