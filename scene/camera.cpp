// Cameras: eye, target node, roll, field of view, near and far.
#include "engine3d.h"

#include <cmath>
#include <cstring>

#include "core/clip.h"
#include "core/names.h"
#include "core/node.h"
#include "core/view.h"
#include "e3dhost.h"
#include "scene/node_tree.h"
#include "scene/unhook.h"

using e3d::IsNegative;

namespace {

// The setter's rule: a field of view outside (0, 180], NaN included, is 60.
float UsableFov(float fov) { return fov > 0.0f && fov <= 180.0f ? fov : 60.0f; }

}  // namespace

extern "C" E3D_API E3DCamera *CreateCamera(const float *position, const float *target, float roll, float fov,
                                           float near) {
    if (!position || !target) return nullptr;
    auto *c = static_cast<E3DCamera *>(AllocateMemory(sizeof(E3DCamera)));
    if (!c) return nullptr;
    std::memset(c, 0, sizeof *c);
    c->node.type = E3D_NODE_CAMERA;
    c->targetNode.type = E3D_NODE_CAMERA_TARGET;
    std::memcpy(c->position, position, sizeof c->position);
    std::memcpy(c->target, target, sizeof c->target);
    c->roll = roll;
    // Stored as given, unlike the setters; only what is not a number at all
    // takes the setters' defaults (a NaN field of view draws nothing).
    c->fov = std::isfinite(fov) ? fov : 60.0f;
    c->near = std::isfinite(near) ? near : 10.0f;
    c->far = 100000000.0f;
    e3d::WriteDefaultName(c->name, sizeof c->name, "Camera", e3d::kCounterCamera);
    return c;
}

extern "C" E3D_API void DeleteCamera(E3DCamera *camera) {
    if (!camera) return;
    RemoveCameraFromScene(nullptr, camera);
    e3d::ForgetCamera(camera);
    camera->hostObject = 0;
    camera->hostObject2 = 0;
    e3d::UnlinkNodeWithTarget(&camera->node, &camera->targetNode);
    FreeMemory(camera);
}

extern "C" E3D_API char *SetCameraName(E3DCamera *camera, const char *name) {
    if (!camera) return nullptr;
    return e3d::CopyName(camera->name, sizeof camera->name, name);
}

extern "C" E3D_API E3DCamera *SetCameraPosition(E3DCamera *camera, const float *xyz, int32_t which) {
    if (!camera || !xyz) return nullptr;
    std::memcpy(which == 0 ? camera->position : camera->target, xyz, 3 * sizeof(float));
    return camera;
}

extern "C" E3D_API float *GetCameraPosition(float *out, const E3DCamera *camera, int32_t which) {
    if (!out || !camera) return nullptr;
    std::memcpy(out, which == 0 ? camera->position : camera->target, 3 * sizeof(float));
    return out;
}

extern "C" E3D_API E3DCamera *SetCameraRoll(E3DCamera *camera, float roll) {
    if (!camera) return nullptr;
    camera->roll = roll;
    return camera;
}

extern "C" E3D_API float GetCameraRoll(const E3DCamera *camera) { return camera ? camera->roll : 0.0f; }

extern "C" E3D_API void SetCameraFov(E3DCamera *camera, float fov) {
    if (camera) camera->fov = UsableFov(fov);
}

extern "C" E3D_API float GetCameraFov(const E3DCamera *camera) { return camera ? camera->fov : 0.0f; }

extern "C" E3D_API void SetCameraNear(E3DCamera *camera, float near) {
    // Nothing nearer than 10; never beyond far. Guard: NaN is never stored.
    if (camera && !std::isnan(near) && !IsNegative(near - 10.0f) && !IsNegative(camera->far - near))
        camera->near = near;
}

// Also GetLightNearAttenuation: the light keeps that value in the same place.
extern "C" E3D_API float GetCameraNear(const E3DCamera *camera) { return camera ? camera->near : 0.0f; }

extern "C" E3D_API E3DCamera *SetCameraFar(E3DCamera *camera, float far) {
    if (!camera) return nullptr;
    // Guard: NaN and infinity are never stored.
    if (std::isfinite(far) && !IsNegative(far - camera->near)) camera->far = far;
    return camera;
}

extern "C" E3D_API float GetCameraFar(const E3DCamera *camera) { return camera ? camera->far : 0.0f; }

extern "C" E3D_API float GetLightNearAttenuation(const E3DLight *light) {
    return GetCameraNear(reinterpret_cast<const E3DCamera *>(light));
}

extern "C" E3D_API float GetLightFarAttenuation(const E3DLight *light) {
    return GetCameraFar(reinterpret_cast<const E3DCamera *>(light));
}

extern "C" E3D_API void AdjustCameraFocale(const E3DViewport *viewport, E3DCamera *camera) {
    if (!viewport || !camera) return;
    e3d::FitFocalFactor(viewport, camera);
}
