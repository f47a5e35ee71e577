// The viewers' shared controls: the orbit keeps the eye on its sphere and
// within its limits, keys switch what they name, and Apply reaches every
// mesh, light, the camera and the viewport.
#include <gtest/gtest.h>

#include <cmath>

#include "engine3d.h"
#include "viewer_controls.h"

namespace {

const float kEye[3] = {0.0f, 7.0f, -16.0f};
const float kTarget[3] = {0.0f, 1.0f, 0.0f};

float Distance(const float a[3], const float b[3]) {
    const float dx = a[0] - b[0], dy = a[1] - b[1], dz = a[2] - b[2];
    return std::sqrt(dx * dx + dy * dy + dz * dz);
}

TEST(ViewerControls, StartsAtTheGivenEyeAndOrbitsOnItsSphere) {
    ViewerControls c;
    ViewerControlsInit(&c, kEye, kTarget);
    float eye[3];
    ViewerControlsEye(&c, eye);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(eye[i], kEye[i], 1e-4f) << i;
    const float radius = Distance(kEye, kTarget);

    // A quarter turn to the right carries the eye from -z round to +x.
    ViewerControlsDrag(&c, 90.0f / VIEWER_DEGREES_PER_PIXEL, 0.0f);
    ViewerControlsEye(&c, eye);
    EXPECT_NEAR(Distance(eye, kTarget), radius, 1e-3f);
    EXPECT_NEAR(eye[2], kTarget[2], 1e-3f);
    EXPECT_NEAR(eye[0], 16.0f, 1e-3f); // the horizontal radius
    EXPECT_NEAR(eye[1], kEye[1], 1e-4f);

    // Pitch stops at its limits: the eye never passes over the pole.
    ViewerControlsDrag(&c, 0.0f, 10000.0f);
    EXPECT_EQ(c.pitch, VIEWER_PITCH_MAX);
    ViewerControlsDrag(&c, 0.0f, -10000.0f);
    EXPECT_EQ(c.pitch, VIEWER_PITCH_MIN);
    ViewerControlsEye(&c, eye);
    EXPECT_NEAR(Distance(eye, kTarget), radius, 1e-3f);

    // Yaw wraps instead of growing: a long run keeps its precision.
    for (int i = 0; i < 1000; ++i) ViewerControlsDrag(&c, -500.0f, 0.0f);
    EXPECT_GE(c.yaw, 0.0f);
    EXPECT_LT(c.yaw, 360.0f);
}

TEST(ViewerControls, WheelZoomsWithinLimitsAndAnimationHonoursPause) {
    ViewerControls c;
    ViewerControlsInit(&c, kEye, kTarget);
    const float start = c.distance;
    ViewerControlsWheel(&c, 1.0f);
    EXPECT_NEAR(c.distance, start * VIEWER_ZOOM_PER_STEP, 1e-4f);
    ViewerControlsWheel(&c, -1.0f);
    EXPECT_NEAR(c.distance, start, 1e-4f);
    ViewerControlsWheel(&c, 1000.0f);
    EXPECT_EQ(c.distance, VIEWER_DISTANCE_MIN);
    ViewerControlsWheel(&c, -1000.0f);
    EXPECT_EQ(c.distance, VIEWER_DISTANCE_MAX);

    const float yaw = c.yaw;
    ViewerControlsAdvance(&c, 0.5f);
    EXPECT_NEAR(c.yaw, yaw + 0.5f * VIEWER_TURN_PER_SECOND, 1e-4f);
    EXPECT_EQ(ViewerControlsKey(&c, VIEWER_KEY_SPACE), 1);
    const float paused = c.yaw;
    ViewerControlsAdvance(&c, 3.0f);
    EXPECT_EQ(c.yaw, paused);
    ViewerControlsKey(&c, VIEWER_KEY_SPACE);
    ViewerControlsAdvance(&c, 1.0f);
    EXPECT_NE(c.yaw, paused);
}

TEST(ViewerControls, KeysSwitchWhatTheyName) {
    ViewerControls c;
    ViewerControlsInit(&c, kEye, kTarget);
    EXPECT_EQ(c.depthBuffer, 1);
    EXPECT_EQ(c.renderMode, 0u); // as built until a mode key
    EXPECT_EQ(ViewerControlsKey(&c, 'd'), 1);
    EXPECT_EQ(c.depthBuffer, 0);
    ViewerControlsKey(&c, 'D');
    EXPECT_EQ(c.depthBuffer, 1);
    ViewerControlsKey(&c, '2');
    EXPECT_EQ(c.renderMode, E3D_RENDER_WIRE);
    ViewerControlsKey(&c, '3');
    EXPECT_EQ(c.renderMode, E3D_RENDER_DOTS);
    ViewerControlsKey(&c, '1');
    EXPECT_EQ(c.renderMode, E3D_RENDER_SOLID);
    ViewerControlsKey(&c, 'L');
    EXPECT_EQ(c.lightsOn, 0);
    ViewerControlsKey(&c, 'l');
    EXPECT_EQ(c.lightsOn, 1);
    EXPECT_EQ(ViewerControlsKey(&c, 'x'), 0);
    EXPECT_EQ(ViewerControlsKey(&c, '4'), 0);
    EXPECT_EQ(c.quit, 0);
    EXPECT_EQ(ViewerControlsKey(&c, VIEWER_KEY_ESCAPE), 1);
    EXPECT_EQ(c.quit, 1);
}

TEST(ViewerControls, ApplyReachesCameraViewportMeshesAndLights) {
    E3DViewport *viewport = CreateViewport(nullptr, 32, 24, E3D_DEPTH_ON, 1);
    E3DScene *scene = CreateScene();
    E3DCamera *camera = CreateCamera(kEye, kTarget, 0.0f, 60.0f, 1.0f);
    E3DMesh *root = CubeCreate(1.0f, nullptr, 0x808080);
    E3DMesh *child = CubeCreate(0.5f, nullptr, 0x808080);
    const float at[3] = {0, 5, 0}, white[4] = {1, 1, 1, 0};
    E3DLight *omni = CreateOmniLight(at, white, 1.0f, 1.0f, 20.0f, 0);
    E3DLight *sun = CreateDirectLight(at, kTarget, white, 1.0f, 0);
    ASSERT_TRUE(viewport && scene && camera && root && child && omni && sun);
    AssignCameraToScene(scene, camera);
    SetActiveSceneCamera(scene, camera);
    SetSceneViewport(scene, viewport);
    ActivateMesh(root);
    ActivateMesh(child);
    AttachChildToNode(&root->node, &child->node);
    AssignMeshToScene(scene, root, 0);
    SetLightStatus(omni, E3D_LIGHT_ON, E3D_LIGHT_ATTENUATED);
    SetLightStatus(sun, E3D_LIGHT_ON, E3D_LIGHT_UNATTENUATED);
    AssignLightToScene(scene, omni, E3D_SCENE_SHARE_LIGHTS);
    AssignLightToScene(scene, sun, E3D_SCENE_SHARE_LIGHTS);
    const uint32_t builtMode = GetMeshRenderMode(child);

    ViewerControls c;
    ViewerControlsInit(&c, kEye, kTarget);
    ViewerControlsDrag(&c, 50.0f, 20.0f);
    ViewerControlsApply(&c, scene, viewport);
    float eye[3], position[3], target[3];
    ViewerControlsEye(&c, eye);
    GetCameraPosition(position, camera, 0);
    GetCameraPosition(target, camera, 1);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(position[i], eye[i]);
        EXPECT_EQ(target[i], kTarget[i]);
    }
    EXPECT_EQ(GetMeshRenderMode(child), builtMode) << "no mode key yet: meshes keep theirs";
    EXPECT_NE(viewport->depthBuffer, nullptr);

    ViewerControlsKey(&c, 'd');
    ViewerControlsKey(&c, '2');
    ViewerControlsKey(&c, 'l');
    ViewerControlsApply(&c, scene, viewport);
    EXPECT_EQ(viewport->depthBuffer, nullptr);
    EXPECT_EQ(viewport->flags & E3D_VIEWPORT_DEPTH_BUFFER, 0u);
    EXPECT_EQ(GetMeshRenderMode(root), E3D_RENDER_WIRE);
    EXPECT_EQ(GetMeshRenderMode(child), E3D_RENDER_WIRE);
    EXPECT_EQ(omni->flags & E3D_LIGHT_FLAG_ON, 0u);
    EXPECT_EQ(sun->flags & E3D_LIGHT_FLAG_ON, 0u);
    EXPECT_NE(omni->flags & E3D_LIGHT_FLAG_ATTENUATED, 0u) << "switching off keeps attenuation";
    EXPECT_EQ(sun->flags & E3D_LIGHT_FLAG_ATTENUATED, 0u);

    ViewerControlsKey(&c, 'd');
    ViewerControlsKey(&c, 'l');
    ViewerControlsKey(&c, '1');
    ViewerControlsApply(&c, scene, viewport);
    EXPECT_NE(viewport->depthBuffer, nullptr);
    EXPECT_EQ(GetMeshRenderMode(child), E3D_RENDER_SOLID);
    EXPECT_NE(omni->flags & E3D_LIGHT_FLAG_ON, 0u);
    EXPECT_NE(omni->flags & E3D_LIGHT_FLAG_ATTENUATED, 0u);

    DeleteScene(scene);
    DeleteViewport(viewport);
}

} // namespace
