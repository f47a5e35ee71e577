/* The skinning example's scene; see skinning_scene.h. */
#include "skinning_scene.h"

#include <math.h>
#include <string.h>

static const char *const kBoneNames[3] = {"shoulder", "elbow", "wrist"};

/* Weight of the bone starting at `start` for a vertex at height y: full
 * inside the bone, blended linearly over 0.6 units across each joint. */
static float Share(float y, float start, float end, int first, int last) {
    const float blend = 0.3f;
    float lo = first ? 1.0f : (y - (start - blend)) / (2.0f * blend);
    float hi = last ? 1.0f : ((end + blend) - y) / (2.0f * blend);
    if (lo > 1.0f) lo = 1.0f;
    if (hi > 1.0f) hi = 1.0f;
    const float w = lo < hi ? lo : hi;
    return w > 0.0f ? w : 0.0f;
}

int SkinningBuildScene(SkinningScene *out, E3DViewport *viewport, int skinned) {
    memset(out, 0, sizeof *out);
    /* Six units tall along y, 48 rings of 20 sides: bones of two units. */
    E3DMesh *arm = CylinderCreate(0.55f, 6.0f, NULL, 20, 48, 0xD08040);
    if (!arm) return 0;
    ActivateMesh(arm);
    SetMeshShadeMode(&arm->node, E3D_SHADE_GOURAUD);
    E3DMaterial *m = GetMeshDefaultMaterial(arm);
    SetMaterialColor(m, 0, 18.0f, 14.0f, 12.0f);
    SetMaterialColor(m, 1, 230.0f, 140.0f, 70.0f);
    SetMaterialColor(m, 3, 255.0f, 240.0f, 220.0f);
    SetMaterialShininess(m, 12.0f);
    SetMaterialSpecularLevel(m, 0.6f);

    E3DScene *scene = CreateScene();
    const float eye[3] = {1.5f, 0.0f, -11.0f}, target[3] = {1.5f, 0.0f, 0.0f};
    E3DCamera *camera = CreateCamera(eye, target, 0.0f, 60.0f, 1.0f);
    if (!scene || !camera) return 0;
    AssignCameraToScene(scene, camera);
    SetActiveSceneCamera(scene, camera);
    SetSceneViewport(scene, viewport);
    AssignMeshToScene(scene, arm, 0);
    const float warm[4] = {1.0f, 0.9f, 0.8f, 0.0f}, cool[4] = {0.35f, 0.45f, 0.7f, 0.0f};
    const float omniAt[3] = {-5.0f, 4.0f, -7.0f}, sunAt[3] = {6.0f, -2.0f, -3.0f}, sunAim[3] = {0.0f, 0.0f, 0.0f};
    E3DLight *omni = CreateOmniLight(omniAt, warm, 1.0f, 1.0f, 100.0f, 0);
    E3DLight *sun = CreateDirectLight(sunAt, sunAim, cool, 0.8f, 0);
    SetLightStatus(omni, 1, 0);
    SetLightStatus(sun, 1, 0);
    AssignLightToScene(scene, omni, 1);
    AssignLightToScene(scene, sun, 1);
    out->scene = scene;
    out->arm = arm;
    if (!skinned) return 1;

    /* Shoulder at the bottom of the arm, each further bone two units up. */
    E3DSkeleton *skeleton = CreateSkeleton();
    if (!skeleton) return 0;
    out->skeleton = skeleton;
    for (int i = 0; i < 3; ++i) {
        E3DBone *bone = CreateBone();
        const float at[3] = {0.0f, i == 0 ? -3.0f : 2.0f, 0.0f};
        SetBonePosition(bone, at, 1);
        if (!AttachBoneToSkeleton(skeleton, i ? kBoneNames[i - 1] : NULL, bone, kBoneNames[i])) return 0;
    }
    if (!AssignSkeletonToMesh(arm, skeleton)) return 0;
    for (int v = 0; v < arm->vertexCount; ++v) {
        const float y = arm->vertices[v].position[1];
        int32_t bones[4] = {-1, -1, -1, -1};
        float weights[4] = {0, 0, 0, 0};
        float sum = 0.0f;
        for (int b = 0; b < 3; ++b) {
            const float start = -3.0f + 2.0f * (float)b;
            bones[b] = b;
            weights[b] = Share(y, start, start + 2.0f, b == 0, b == 2);
            sum += weights[b];
        }
        for (int b = 0; b < 3; ++b) weights[b] /= sum;
        SetVertexBoneWeights(arm, v, bones, weights);
    }
    return 1;
}

void SkinningPose(const SkinningScene *s, int frame) {
    if (!s->skeleton) return;
    const float t = 6.2831853f * (float)(frame % kSkinningFrames) / (float)kSkinningFrames;
    const float shoulder[3] = {20.0f * sinf(t), 25.0f * sinf(t), -35.0f * sinf(t)};
    const float elbow[3] = {0.0f, 0.0f, -50.0f + 50.0f * cosf(t)};
    const float wrist[3] = {30.0f * sinf(2.0f * t), 0.0f, -40.0f * sinf(2.0f * t)};
    SetBoneOrientation(GetBonePointerByName(s->skeleton, kBoneNames[0]), shoulder, 0);
    SetBoneOrientation(GetBonePointerByName(s->skeleton, kBoneNames[1]), elbow, 0);
    SetBoneOrientation(GetBonePointerByName(s->skeleton, kBoneNames[2]), wrist, 0);
}

void SkinningReleaseScene(SkinningScene *s) {
    if (s->arm && s->skeleton) RemoveSkeletonFromMesh(s->arm);
    if (s->scene) DeleteScene(s->scene);
    else if (s->arm) DeleteMesh(s->arm);
    if (s->skeleton) DeleteSkeleton(s->skeleton);
    memset(s, 0, sizeof *s);
}
