/* The showcase scene, shared by every example host. */
#ifndef E3D_EXAMPLES_SHOWCASE_SCENE_H
#define E3D_EXAMPLES_SHOWCASE_SCENE_H

#include "engine3d.h"

/* Frame size the showcase pictures are made at. */
enum { kShowcaseWidth = 640, kShowcaseHeight = 480 };

/* Background the hosts clear to before each frame (5-5-5). */
#define SHOWCASE_BACKGROUND ((uint16_t)((12 << 10) | (16 << 5) | 22))

/* The showcase camera's eye and target. */
extern const float kShowcaseEye[3];
extern const float kShowcaseTarget[3];

/* Builds the scene with its camera active and bound to `viewport`;
 * DeleteScene frees all of it but the textures. */
E3DScene *ShowcaseBuildScene(E3DViewport *viewport);

/* Frees the textures the scene was built with, after DeleteScene. */
void ShowcaseReleaseTextures(void);

/* Renders the render-modes picture into dir/showcase_modes.png; 0 on success. */
int ShowcaseRenderModes(const char *dir);

#endif
