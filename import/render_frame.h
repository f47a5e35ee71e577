/* A stage for an imported model: the model in a scene, framed from its
 * bounds by a camera on a three-quarter view, with a headlight and a fill
 * light when the file brings no lights. Shared by e3d-render, the viewer,
 * the tests and the benchmark. */
#ifndef E3D_IMPORT_RENDER_FRAME_H
#define E3D_IMPORT_RENDER_FRAME_H

#include "engine3d.h"
#include "engine3d_import.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct ModelStage {
    E3DImport *model;
    E3DScene *scene;
    E3DCamera *camera;
    E3DLight *lights[2]; /* ours, when the file has none */
    float center[3];
    float radius;
} ModelStage;

/* Builds the stage around a loaded model drawn into `viewport`; 1, or 0 with nothing left allocated. */
int ModelStageBuild(ModelStage *stage, E3DImport *model, E3DViewport *viewport);
/* Puts the camera (and the headlight) at `degrees` around the model's vertical axis, 0 being the three-quarter view. */
void ModelStageTurn(ModelStage *stage, float degrees);
/* Render mode of every mesh: E3D_RENDER_SOLID / _WIRE / _DOTS, or E3D_RENDER_TEXTURED for the file's own. */
void ModelStageSetRenderMode(ModelStage *stage, uint32_t mode);
/* Clears the frame (and depth) buffer to the background and draws one frame. */
void ModelStageDraw(ModelStage *stage, uint16_t *pixels, int width, int height, int pitch);
/* Frees the scene, camera and lights (the model stays the caller's). */
void ModelStageRelease(ModelStage *stage);

#define MODEL_STAGE_BACKGROUND 0x1CE7u /* 5-5-5 grey-blue */

#ifdef __cplusplus
}
#endif

#endif
