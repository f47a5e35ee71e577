// Skeletons: bones packed in one block, rebuilt on every attach; bones refer
// to each other by index, never by pointer.
#include "engine3d.h"

#include <cstring>
#include <initializer_list>

#include "core/engine_state.h"
#include "core/matrix.h"
#include "core/modes.h"
#include "e3dhost.h"
#include "scene/unhook.h"

namespace {

constexpr size_t kNameSize = 32;

// A bone's slot: its record and one child index per child, padded so that
// the next record stays aligned (no padding on 32-bit hosts: 168 + 4 n).
size_t SlotSize(uint32_t children) {
    const size_t raw = sizeof(E3DBone) + 4 * size_t(children);
    return (raw + alignof(E3DBone) - 1) / alignof(E3DBone) * alignof(E3DBone);
}

uint32_t *ChildIndices(E3DBone *bone) { return reinterpret_cast<uint32_t *>(bone + 1); }

// Copies at most 32 characters; no terminator when the name fills them.
void CopyBoneName(char *entry, const char *name) {
    std::memset(entry, 0, kNameSize);
    if (name) std::strncpy(entry, name, kNameSize);
}

int32_t FindName(const E3DSkeleton *s, const char *name) {
    if (!name || name[0] == '\0' || !s->boneNames || s->boneCount < 1) return -1;
    for (int32_t i = 0; i < s->boneCount; ++i) {
        if (s->boneNames[i][0] != '\0' && std::strncmp(s->boneNames[i], name, kNameSize) == 0) return i;
    }
    return -1;
}

void FreeBones(E3DSkeleton *s) {
    for (int32_t i = 0; i < s->boneCount; ++i) {
        if (s->bones && s->bones[i]) DeleteBVSphere(s->bones[i]->sphere);
    }
    if (s->boneBlock) FreeMemory(s->boneBlock);
    if (s->bones) FreeMemory(s->bones);
    if (s->boneNames) FreeMemory(s->boneNames);
    s->boneBlock = nullptr;
    s->bones = nullptr;
    s->boneNames = nullptr;
    s->boneCount = 0;
    s->blockSize = 0;
}

}  // namespace

extern "C" E3D_API E3DSkeleton *CreateSkeleton(void) {
    auto *s = static_cast<E3DSkeleton *>(AllocateMemory(sizeof(E3DSkeleton)));
    if (!s) return nullptr;
    std::memset(s, 0, sizeof *s);
    s->sphere = CreateBVSphere();
    if (!s->sphere) {
        FreeMemory(s);
        return nullptr;
    }
    return s;
}

extern "C" E3D_API void DeleteSkeleton(E3DSkeleton *skeleton) {
    if (!skeleton) return;
    // Every scene and every mesh lets go of it, not only the first scene.
    e3d::ForgetSkeleton(skeleton);
    DeleteBVSphere(skeleton->sphere);
    FreeBones(skeleton);
    FreeMemory(skeleton);
}

extern "C" E3D_API uint32_t SetSkeletonXFormState(E3DSkeleton *skeleton, int32_t state) {
    if (!skeleton) return 0;
    skeleton->xformFlags = uint16_t((skeleton->xformFlags & ~3u) | (state == 1 ? 2u : 1u));
    return skeleton->xformFlags;
}

extern "C" E3D_API int32_t GetSkeletonXFormState(const E3DSkeleton *skeleton) {
    if (!skeleton) return 0;
    return (skeleton->xformFlags & 3u) == 2u ? 1 : 0;
}

extern "C" E3D_API E3DBone *CreateBone(void) {
    auto *b = static_cast<E3DBone *>(AllocateMemory(sizeof(E3DBone)));
    if (!b) return nullptr;
    std::memset(b, 0, sizeof *b);
    b->sphere = CreateBVSphere();
    if (!b->sphere) {
        FreeMemory(b);
        return nullptr;
    }
    b->parentIndex = -1;
    e3d::SetIdentity(b->restMatrix);
    e3d::SetIdentity(b->poseMatrix);  // a bone never posed sits at rest
    e3d::SetIdentity(b->thirdMatrix);
    return b;
}

extern "C" E3D_API void DeleteBone(E3DBone *bone) {
    if (!bone) return;
    DeleteBVSphere(bone->sphere);
    FreeMemory(bone);
}

extern "C" E3D_API E3DBone *SetBoneRoot(E3DBone *bone) {
    if (!bone) return nullptr;
    bone->rootFlags |= e3d::kRootBone;
    return bone;
}

extern "C" E3D_API void SetBoneTvObject(E3DBone *bone, uintptr_t value) {
    if (bone) bone->hostObject = value;
}

extern "C" E3D_API void SetBoneOrientation(E3DBone *bone, const float *angles, uint32_t flags) {
    if (!bone || !angles) return;
    if (flags & 1u) e3d::SetRotationFromAngles(bone->restMatrix, angles[0], angles[1], angles[2]);
    e3d::SetRotationFromAngles(bone->poseMatrix, angles[0], angles[1], angles[2]);
}

extern "C" E3D_API void SetBonePosition(E3DBone *bone, const float *xyz, uint32_t flags) {
    if (!bone || !xyz) return;
    bone->poseMatrix[3] = xyz[0], bone->poseMatrix[7] = xyz[1], bone->poseMatrix[11] = xyz[2];
    if (flags & 1u) {
        std::memcpy(bone->position, xyz, sizeof bone->position);
        bone->restMatrix[3] = xyz[0], bone->restMatrix[7] = xyz[1], bone->restMatrix[11] = xyz[2];
    }
}

extern "C" E3D_API int32_t AttachBoneToSkeleton(E3DSkeleton *skeleton, const char *parentName, E3DBone *bone,
                                                const char *boneName) {
    if (!skeleton || !bone) return 0;
    if (!parentName) {
        const size_t size = SlotSize(0);
        auto *block = static_cast<uint8_t *>(AllocateMemory(uint32_t(size)));
        auto **bones = static_cast<E3DBone **>(AllocateMemory(sizeof(E3DBone *)));
        auto *names = static_cast<char (*)[kNameSize]>(AllocateMemory(kNameSize));
        if (!block || !bones || !names) {
            for (void *p : {static_cast<void *>(block), static_cast<void *>(bones), static_cast<void *>(names)})
                if (p) FreeMemory(p);
            return 0;
        }
        // A root starts the skeleton afresh; the former bones are freed.
        FreeBones(skeleton);
        std::memcpy(block, bone, sizeof(E3DBone));
        bones[0] = reinterpret_cast<E3DBone *>(block);
        CopyBoneName(names[0], boneName);
        skeleton->boneBlock = block;
        skeleton->bones = bones;
        skeleton->boneNames = names;
        skeleton->boneCount = 1;
        skeleton->blockSize = int32_t(size);
        FreeMemory(bone);
        return 1;
    }
    const int32_t parent = FindName(skeleton, parentName);
    if (parent < 0 || !skeleton->bones[parent]) return 0;
    const int32_t count = skeleton->boneCount;
    // Guard: bone indices are signed bytes (0 .. 127) and child counts bytes.
    if (count >= 128 || skeleton->bones[parent]->childCount == 255) return 0;
    size_t total = 0;
    for (int32_t i = 0; i < count; ++i) total += SlotSize(skeleton->bones[i]->childCount + (i == parent ? 1u : 0u));
    total += SlotSize(0);
    auto *block = static_cast<uint8_t *>(AllocateMemory(uint32_t(total)));
    auto **bones = static_cast<E3DBone **>(AllocateMemory(uint32_t(count + 1) * sizeof(E3DBone *)));
    auto *names = static_cast<char (*)[kNameSize]>(AllocateMemory(uint32_t(count + 1) * kNameSize));
    if (!block || !bones || !names) {
        for (void *p : {static_cast<void *>(block), static_cast<void *>(bones), static_cast<void *>(names)})
            if (p) FreeMemory(p);
        return 0;
    }
    size_t at = 0;
    for (int32_t i = 0; i < count; ++i) {
        const E3DBone *old = skeleton->bones[i];
        auto *copy = reinterpret_cast<E3DBone *>(block + at);
        std::memcpy(copy, old, sizeof(E3DBone) + 4 * size_t(old->childCount));
        if (i == parent) ChildIndices(copy)[copy->childCount++] = uint32_t(count);
        bones[i] = copy;
        std::memcpy(names[i], skeleton->boneNames[i], kNameSize);
        at += SlotSize(copy->childCount);
    }
    bone->parentIndex = int8_t(parent);
    auto *added = reinterpret_cast<E3DBone *>(block + at);
    std::memcpy(added, bone, sizeof(E3DBone));
    added->childCount = 0;
    bones[count] = added;
    CopyBoneName(names[count], boneName);
    FreeMemory(skeleton->boneBlock);
    FreeMemory(skeleton->bones);
    FreeMemory(skeleton->boneNames);
    skeleton->boneBlock = block;
    skeleton->bones = bones;
    skeleton->boneNames = names;
    skeleton->boneCount = int16_t(count + 1);
    skeleton->blockSize = int32_t(total);
    FreeMemory(bone);
    return 1;
}

extern "C" E3D_API E3DBone *GetBonePointerByName(const E3DSkeleton *skeleton, const char *name) {
    if (!skeleton) return nullptr;
    const int32_t i = FindName(skeleton, name);
    return i < 0 ? nullptr : skeleton->bones[i];
}

extern "C" E3D_API int32_t GetBoneIndexByName(const E3DSkeleton *skeleton, const char *name) {
    if (!skeleton) return -1;
    return int8_t(FindName(skeleton, name));
}
