/* See render_frame.h. */
#include "render_frame.h"

#include <math.h>
#include <string.h>

/* Field of view and view angles of the framing camera, in degrees. */
#define FRAME_FOV 50.0f
#define FRAME_AZIMUTH 35.0f
#define FRAME_ELEVATION 25.0f

static void Eye(const ModelStage *s, float degrees, float *eye) {
    const float az = (FRAME_AZIMUTH + degrees) * 0.017453292f, el = FRAME_ELEVATION * 0.017453292f;
    /* The bounding sphere fits the narrower (vertical) field with a margin. */
    const float distance = s->radius * 1.15f / sinf(0.5f * FRAME_FOV * 0.75f * 0.017453292f);
    eye[0] = s->center[0] + distance * sinf(az) * cosf(el);
    eye[1] = s->center[1] + distance * sinf(el);
    eye[2] = s->center[2] - distance * cosf(az) * cosf(el);
}

int ModelStageBuild(ModelStage *s, E3DImport *model, E3DViewport *viewport) {
    memset(s, 0, sizeof *s);
    s->model = model;
    GetImportBounds(model, NULL, NULL, s->center, &s->radius);
    float eye[3];
    Eye(s, 0.0f, eye);
    const float distance = sqrtf((eye[0] - s->center[0]) * (eye[0] - s->center[0]) +
                                 (eye[1] - s->center[1]) * (eye[1] - s->center[1]) +
                                 (eye[2] - s->center[2]) * (eye[2] - s->center[2]));
    s->scene = CreateScene();
    s->camera = CreateCamera(eye, s->center, 0.0f, FRAME_FOV, (distance - s->radius) * 0.5f);
    if (!s->scene || !s->camera) goto fail;
    /* Bound like the model's objects, so DeleteScene leaves them to us. */
    s->camera->hostObject = 1;
    SetCameraFar(s->camera, distance + 2.0f * s->radius);
    if (!FillSceneFromImport(model, s->scene)) goto fail;
    if (!AssignCameraToScene(s->scene, s->camera)) goto fail;
    SetActiveSceneCamera(s->scene, s->camera);
    SetSceneViewport(s->scene, viewport);
    SetViewportCamera(viewport, s->camera);
    AdjustCameraFocale(viewport, s->camera);
    if (GetImportCount(model, E3D_IMPORT_LIGHTS) == 0) {
        const float head[4] = {1.0f, 0.97f, 0.92f, 0.0f}, fill[4] = {0.35f, 0.4f, 0.5f, 0.0f};
        const float below[3] = {s->center[0] - (eye[0] - s->center[0]), s->center[1] - 0.5f * (eye[1] - s->center[1]),
                                s->center[2] - (eye[2] - s->center[2])};
        s->lights[0] = CreateDirectLight(eye, s->center, head, 1.0f, 0);
        s->lights[1] = CreateDirectLight(below, s->center, fill, 1.0f, 0);
        for (int i = 0; i < 2; ++i) {
            if (!s->lights[i]) goto fail;
            s->lights[i]->hostObject = 1;
            SetLightStatus(s->lights[i], E3D_LIGHT_ON, E3D_LIGHT_UNATTENUATED);
            if (!AssignLightToScene(s->scene, s->lights[i], 1)) goto fail;
            for (int r = 0; r < GetImportCount(model, E3D_IMPORT_ROOTS); ++r) {
                AssignLightToMesh(s->lights[i], &((E3DMesh *)GetImportObject(model, E3D_IMPORT_ROOTS, r))->node);
            }
        }
    }
    return 1;
fail:
    ModelStageRelease(s);
    return 0;
}

void ModelStageTurn(ModelStage *s, float degrees) {
    float eye[3];
    Eye(s, degrees, eye);
    SetCameraPosition(s->camera, eye, 0);
    if (s->lights[0]) {
        SetLightPosition(s->lights[0], eye, 0);
        const float below[3] = {s->center[0] - (eye[0] - s->center[0]), s->center[1] - 0.5f * (eye[1] - s->center[1]),
                                s->center[2] - (eye[2] - s->center[2])};
        SetLightPosition(s->lights[1], below, 0);
    }
}

void ModelStageSetRenderMode(ModelStage *s, uint32_t mode) {
    for (int i = 0; i < GetImportCount(s->model, E3D_IMPORT_ROOTS); ++i) {
        SetMeshRenderMode(&((E3DMesh *)GetImportObject(s->model, E3D_IMPORT_ROOTS, i))->node, mode);
    }
}

void ModelStageDraw(ModelStage *s, uint16_t *pixels, int width, int height, int pitch) {
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) pixels[y * pitch + x] = MODEL_STAGE_BACKGROUND;
    }
    E3DViewport *v = GetSceneViewport(s->scene);
    if (v->depthBuffer) ClearViewportDepthBuffer(v, 0);
    DrawScene(s->scene);
}

void ModelStageRelease(ModelStage *s) {
    if (s->scene) {
        /* The model's objects are bound to it: DeleteScene leaves them. */
        DeleteScene(s->scene);
    }
    if (s->camera) DeleteCamera(s->camera);
    for (int i = 0; i < 2; ++i) {
        if (s->lights[i]) DeleteLight(s->lights[i]);
    }
    memset(s, 0, sizeof *s);
}
