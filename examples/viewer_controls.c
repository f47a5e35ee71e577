/* Orbit camera and display switches shared by the example viewers. */
#include "viewer_controls.h"

#include <math.h>

static const float kDegrees = 0.017453292f; /* radians per degree */

static float Clamp(float v, float lo, float hi) { return v < lo ? lo : (v > hi ? hi : v); }

void ViewerControlsInit(ViewerControls *c, const float eye[3], const float target[3]) {
    const float dx = eye[0] - target[0], dy = eye[1] - target[1], dz = eye[2] - target[2];
    for (int i = 0; i < 3; ++i) c->target[i] = target[i];
    c->distance = Clamp(sqrtf(dx * dx + dy * dy + dz * dz), VIEWER_DISTANCE_MIN, VIEWER_DISTANCE_MAX);
    c->yaw = atan2f(dx, -dz) / kDegrees;
    c->pitch = Clamp(atan2f(dy, sqrtf(dx * dx + dz * dz)) / kDegrees, VIEWER_PITCH_MIN, VIEWER_PITCH_MAX);
    c->depthBuffer = 1;
    c->renderMode = 0;
    c->lightsOn = 1;
    c->paused = 0;
    c->quit = 0;
    c->appliedRenderMode = 0;
    c->appliedLightsOn = 1;
}

int ViewerControlsKey(ViewerControls *c, int key) {
    switch (key) {
    case 'd': case 'D': c->depthBuffer = !c->depthBuffer; return 1;
    case '1': c->renderMode = E3D_RENDER_SOLID; return 1;
    case '2': c->renderMode = E3D_RENDER_WIRE; return 1;
    case '3': c->renderMode = E3D_RENDER_DOTS; return 1;
    case 'l': case 'L': c->lightsOn = !c->lightsOn; return 1;
    case VIEWER_KEY_SPACE: c->paused = !c->paused; return 1;
    case VIEWER_KEY_ESCAPE: c->quit = 1; return 1;
    default: return 0;
    }
}

/* Yaw stays in [0, 360) so that hours of turning lose no precision. */
static void Turn(ViewerControls *c, float degrees) {
    c->yaw = fmodf(c->yaw + degrees, 360.0f);
    if (c->yaw < 0.0f) c->yaw += 360.0f;
}

void ViewerControlsDrag(ViewerControls *c, float dx, float dy) {
    Turn(c, dx * VIEWER_DEGREES_PER_PIXEL);
    c->pitch = Clamp(c->pitch + dy * VIEWER_DEGREES_PER_PIXEL, VIEWER_PITCH_MIN, VIEWER_PITCH_MAX);
}

void ViewerControlsWheel(ViewerControls *c, float steps) {
    c->distance = Clamp(c->distance * powf(VIEWER_ZOOM_PER_STEP, steps), VIEWER_DISTANCE_MIN, VIEWER_DISTANCE_MAX);
}

void ViewerControlsAdvance(ViewerControls *c, float seconds) {
    if (!c->paused) Turn(c, seconds * VIEWER_TURN_PER_SECOND);
}

void ViewerControlsEye(const ViewerControls *c, float eye[3]) {
    const float yaw = c->yaw * kDegrees, pitch = c->pitch * kDegrees;
    const float across = c->distance * cosf(pitch);
    eye[0] = c->target[0] + across * sinf(yaw);
    eye[1] = c->target[1] + c->distance * sinf(pitch);
    eye[2] = c->target[2] - across * cosf(yaw);
}

void ViewerControlsApply(ViewerControls *c, E3DScene *scene, E3DViewport *viewport) {
    if (scene && scene->activeCamera >= 0 && scene->activeCamera < scene->cameras.count) {
        E3DCamera *camera = (E3DCamera *)scene->cameras.items[scene->activeCamera];
        float eye[3];
        ViewerControlsEye(c, eye);
        SetCameraPosition(camera, eye, 0);
        SetCameraPosition(camera, c->target, 1);
    }
    if (viewport) {
        const int has = (viewport->flags & E3D_VIEWPORT_DEPTH_BUFFER) != 0;
        /* Without memory for a depth buffer the painter's sort goes on. */
        if (c->depthBuffer && !has) c->depthBuffer = SetViewportDepthState(viewport, E3D_DEPTH_ON);
        if (!c->depthBuffer && has) SetViewportDepthState(viewport, E3D_DEPTH_OFF);
    }
    if (!scene) return;
    if (c->renderMode != c->appliedRenderMode && c->renderMode != 0) {
        for (int32_t i = 0; i < scene->meshes.count; ++i)
            SetMeshRenderMode(&((E3DMesh *)scene->meshes.items[i])->node, c->renderMode);
        c->appliedRenderMode = c->renderMode;
    }
    if (c->lightsOn != c->appliedLightsOn) {
        for (int32_t i = 0; i < scene->lights.count; ++i) {
            E3DLight *light = (E3DLight *)scene->lights.items[i];
            SetLightStatus(light, c->lightsOn ? E3D_LIGHT_ON : E3D_LIGHT_OFF,
                           (light->flags & E3D_LIGHT_FLAG_ATTENUATED) != 0);
        }
        c->appliedLightsOn = c->lightsOn;
    }
}
