// The C interface of the import library, and animation sampling.
#include "import_internal.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

using e3dimport::Node;

extern "C" E3D_IMPORT_API E3DImport *ImportModelFile(const char *path, char *error, int32_t errorSize) {
    std::string why;
    E3DImport *im = e3dimport::Load(path, why);
    if (error && errorSize > 0) std::snprintf(error, size_t(errorSize), "%s", im ? "" : why.c_str());
    if (im) {
        for (size_t i = 0; i < im->meshes.size(); ++i) {
            if (im->meshParent[i] < 0) im->roots.push_back(im->meshes[i]);
        }
    }
    return im;
}

extern "C" E3D_IMPORT_API void DeleteImport(E3DImport *import) { e3dimport::Release(import); }

extern "C" E3D_IMPORT_API int32_t GetImportCount(const E3DImport *im, int32_t kind) {
    if (!im) return 0;
    switch (kind) {
        case E3D_IMPORT_MESHES: return int32_t(im->meshes.size());
        case E3D_IMPORT_ROOTS: return int32_t(im->roots.size());
        case E3D_IMPORT_MATERIALS: return int32_t(im->materials.size());
        case E3D_IMPORT_TEXTURES: return int32_t(im->textures.size());
        case E3D_IMPORT_CAMERAS: return int32_t(im->cameras.size());
        case E3D_IMPORT_LIGHTS: return int32_t(im->lights.size());
        case E3D_IMPORT_SKELETONS: return int32_t(im->skeletons.size());
        default: return 0;
    }
}

extern "C" E3D_IMPORT_API void *GetImportObject(const E3DImport *im, int32_t kind, int32_t index) {
    if (!im || index < 0 || index >= GetImportCount(im, kind)) return nullptr;
    const size_t i = size_t(index);
    switch (kind) {
        case E3D_IMPORT_MESHES: return im->meshes[i];
        case E3D_IMPORT_ROOTS: return im->roots[i];
        case E3D_IMPORT_MATERIALS: return im->materials[i];
        case E3D_IMPORT_TEXTURES: return im->textures[i];
        case E3D_IMPORT_CAMERAS: return im->cameras[i];
        case E3D_IMPORT_LIGHTS: return im->lights[i];
        case E3D_IMPORT_SKELETONS: return im->skeletons[i];
        default: return nullptr;
    }
}

extern "C" E3D_IMPORT_API const char *GetImportMeshNodeName(const E3DImport *im, int32_t index) {
    if (!im || index < 0 || size_t(index) >= im->meshNodeName.size()) return "";
    return im->meshNodeName[size_t(index)].c_str();
}

extern "C" E3D_IMPORT_API void GetImportBounds(const E3DImport *im, float *min, float *max, float *center,
                                               float *radius) {
    if (!im) return;
    float c[3], r2 = 0.0f;
    for (int k = 0; k < 3; ++k) {
        c[k] = 0.5f * (im->boundsMin[k] + im->boundsMax[k]);
        const float h = 0.5f * (im->boundsMax[k] - im->boundsMin[k]);
        r2 += h * h;
        if (min) min[k] = im->boundsMin[k];
        if (max) max[k] = im->boundsMax[k];
        if (center) center[k] = c[k];
    }
    if (radius) *radius = std::sqrt(r2);
}

extern "C" E3D_IMPORT_API int32_t FillSceneFromImport(E3DImport *im, E3DScene *scene) {
    if (!im || !scene) return 0;
    // Every step is undone on a later failure, so the scene is all or nothing.
    size_t meshes = 0, lights = 0, cameras = 0, materials = 0, skeletons = 0;
    E3DCamera *active = GetActiveSceneCamera(scene);
    // Runs `add` on items 0, 1, ... counting those added, until one fails.
    const auto stage = [](size_t &done, size_t count, auto add) {
        for (; done < count; ++done) {
            if (!add(done)) return false;
        }
        return true;
    };
    bool ok = stage(meshes, im->roots.size(), [&](size_t i) { return AssignMeshToScene(scene, im->roots[i], 0) != nullptr; });
    ok = ok && stage(lights, im->lights.size(), [&](size_t i) {
        if (!AssignLightToScene(scene, im->lights[i], 1)) return false;
        // Children of the roots take it too.
        for (E3DMesh *m : im->roots) AssignLightToMesh(im->lights[i], &m->node);
        return true;
    });
    ok = ok && stage(cameras, im->cameras.size(), [&](size_t i) { return AssignCameraToScene(scene, im->cameras[i]) != 0; });
    ok = ok && stage(materials, im->materials.size(),
                     [&](size_t i) { return AssignMaterialToScene(scene, im->materials[i]) != 0; });
    ok = ok && stage(skeletons, im->skeletons.size(),
                     [&](size_t i) { return AssignSkeletonToScene(scene, im->skeletons[i]) != 0; });
    if (ok) {
        if (!active && !im->cameras.empty()) SetActiveSceneCamera(scene, im->cameras[0]);
        return 1;
    }
    while (skeletons) RemoveSkeletonFromScene(scene, im->skeletons[--skeletons]);
    while (materials) RemoveMaterialFromScene(scene, im->materials[--materials]);
    while (cameras) RemoveCameraFromScene(scene, im->cameras[--cameras]);
    while (lights) {
        E3DLight *l = im->lights[--lights];
        RemoveLightFromScene(scene, l);
        for (E3DMesh *m : im->roots) RemoveLightFromMesh(l, &m->node);
    }
    while (meshes) RemoveMeshFromScene(scene, im->roots[--meshes], 0);
    if (active) SetActiveSceneCamera(scene, active);
    return 0;
}

extern "C" E3D_IMPORT_API int32_t GetImportWarningCount(const E3DImport *im) {
    return im ? int32_t(im->warnings.size()) : 0;
}

extern "C" E3D_IMPORT_API const char *GetImportWarning(const E3DImport *im, int32_t index) {
    if (!im || index < 0 || size_t(index) >= im->warnings.size()) return nullptr;
    return im->warnings[size_t(index)].c_str();
}

extern "C" E3D_IMPORT_API int32_t GetImportClipCount(const E3DImport *im) { return im ? int32_t(im->clips.size()) : 0; }

extern "C" E3D_IMPORT_API const char *GetImportClipName(const E3DImport *im, int32_t index) {
    if (!im || index < 0 || size_t(index) >= im->clips.size()) return nullptr;
    return im->clips[size_t(index)].name.c_str();
}

extern "C" E3D_IMPORT_API float GetImportClipDuration(const E3DImport *im, int32_t index) {
    if (!im || index < 0 || size_t(index) >= im->clips.size()) return 0.0f;
    const e3dimport::Clip &c = im->clips[size_t(index)];
    return float(c.source->mDuration / c.ticksPerSecond);
}

extern "C" E3D_IMPORT_API int32_t FindImportClip(const E3DImport *im, const char *name) {
    if (!im || !name) return -1;
    for (size_t i = 0; i < im->clips.size(); ++i) {
        if (im->clips[i].name == name) return int32_t(i);
    }
    return -1;
}

namespace {

// Index of the last key at or before t (0 when t is before the first).
template <class Key>
unsigned KeyBefore(const Key *keys, unsigned n, double t) {
    unsigned lo = 0, hi = n;
    while (hi - lo > 1) {
        const unsigned mid = (lo + hi) / 2;
        if (keys[mid].mTime <= t) lo = mid;
        else hi = mid;
    }
    return lo;
}

// Interpolation weight of t between keys i and i + 1, held at the ends.
template <class Key>
float Between(const Key *keys, unsigned n, unsigned i, double t) {
    if (i + 1 >= n) return 0.0f;
    const double span = keys[i + 1].mTime - keys[i].mTime;
    if (!(span > 0.0)) return 0.0f;
    return float(std::clamp((t - keys[i].mTime) / span, 0.0, 1.0));
}

aiVector3D Lerp(const aiVectorKey *keys, unsigned n, double t, const aiVector3D &fallback) {
    if (n == 0) return fallback;
    const unsigned i = KeyBefore(keys, n, t);
    const float f = Between(keys, n, i, t);
    if (f == 0.0f) return keys[i].mValue;
    return keys[i].mValue + (keys[i + 1].mValue - keys[i].mValue) * f;
}

}  // namespace

extern "C" E3D_IMPORT_API int32_t SetImportAnimationTime(E3DImport *im, int32_t clip, float seconds) {
    if (!im || clip < 0 || size_t(clip) >= im->clips.size() || !std::isfinite(seconds)) return 0;
    const e3dimport::Clip &c = im->clips[size_t(clip)];
    const double t = double(seconds) * c.ticksPerSecond;
    for (Node &n : im->nodes) n.local = n.rest;
    for (unsigned k = 0; k < c.source->mNumChannels; ++k) {
        if (c.channelNode[k] < 0) continue;
        const aiNodeAnim *ch = c.source->mChannels[k];
        Node &node = im->nodes[size_t(c.channelNode[k])];
        aiVector3D restScale, restPosition;
        aiQuaternion restRotation;
        node.rest.Decompose(restScale, restRotation, restPosition);
        const aiVector3D position = Lerp(ch->mPositionKeys, ch->mNumPositionKeys, t, restPosition);
        const aiVector3D scale = Lerp(ch->mScalingKeys, ch->mNumScalingKeys, t, restScale);
        aiQuaternion rotation = restRotation;
        if (ch->mNumRotationKeys > 0) {
            const unsigned i = KeyBefore(ch->mRotationKeys, ch->mNumRotationKeys, t);
            const float f = Between(ch->mRotationKeys, ch->mNumRotationKeys, i, t);
            rotation = ch->mRotationKeys[i].mValue;
            if (f != 0.0f) {
                aiQuaternion::Interpolate(rotation, ch->mRotationKeys[i].mValue, ch->mRotationKeys[i + 1].mValue, f);
            }
            rotation.Normalize();
        }
        node.local = aiMatrix4x4(scale, rotation, position);
    }
    e3dimport::UpdateGlobals(*im);
    e3dimport::ApplyPose(*im);
    return 1;
}
