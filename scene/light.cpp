// Lights: omnidirectional and directional nodes, and the 64-slot light lists
// of meshes.
#include "engine3d.h"

#include <bit>
#include <cstring>

#include "core/engine_state.h"
#include "core/modes.h"
#include "core/names.h"
#include "core/node.h"
#include "e3dhost.h"
#include "scene/node_tree.h"
#include "scene/unhook.h"

namespace {

constexpr int kLightSlots = 64;

void InitLight(E3DLight *l, const float *position, const float *color, float intensity, uint32_t flags) {
    std::memset(l, 0, sizeof *l);
    l->node.type = E3D_NODE_LIGHT;
    std::memcpy(l->position, position, sizeof l->position);
    std::memcpy(l->color, color, sizeof l->color);
    l->intensity = intensity;
    l->flags = flags;
}

// 0..255 to 0..1, clamped on the float bits (-0.0 is kept).
float ColorComponent(float v) {
    const float x = v * 0.003921569f;
    const uint32_t bits = std::bit_cast<uint32_t>(x);
    if ((bits & 0x80000000u) && bits != 0x80000000u) return 0.0f;
    return x > 1.0f ? 1.0f : x;
}

}  // namespace

extern "C" E3D_API E3DLight *CreateOmniLight(const float *position, const float *color, float intensity,
                                             float attenuation1, float attenuation2, uint32_t flags) {
    if (!position || !color) return nullptr;
    auto *l = static_cast<E3DLight *>(AllocateMemory(sizeof(E3DLight)));
    if (!l) return nullptr;
    InitLight(l, position, color, intensity, flags | 2u);
    l->attenuation[0] = attenuation1;
    l->attenuation[1] = attenuation2;
    e3d::WriteDefaultName(l->name, sizeof l->name, "Omni", e3d::kCounterOmni);
    return l;
}

extern "C" E3D_API E3DLight *CreateDirectLight(const float *position, const float *direction, const float *color,
                                               float intensity, uint32_t flags) {
    if (!position || !direction || !color) return nullptr;
    auto *l = static_cast<E3DLight *>(AllocateMemory(sizeof(E3DLight)));
    if (!l) return nullptr;
    InitLight(l, position, color, intensity, flags | 4u);
    std::memcpy(l->direction, direction, sizeof l->direction);
    l->targetNode.type = E3D_NODE_LIGHT_TARGET;
    e3d::WriteDefaultName(l->name, sizeof l->name, "Direct", e3d::kCounterDirect);
    return l;
}

extern "C" E3D_API void DeleteLight(E3DLight *light) {
    if (!light) return;
    RemoveLightFromScene(nullptr, light);
    e3d::ForgetLight(light);
    light->hostObject = 0;
    light->hostObject2 = 0;
    e3d::UnlinkNodeWithTarget(&light->node, &light->targetNode);
    FreeMemory(light);
}

extern "C" E3D_API char *SetLightName(E3DLight *light, const char *name) {
    if (!light) return nullptr;
    return e3d::CopyName(light->name, sizeof light->name, name);
}

extern "C" E3D_API void SetLightColor(E3DLight *light, float r, float g, float b) {
    if (!light) return;
    light->color[0] = ColorComponent(r);
    light->color[1] = ColorComponent(g);
    light->color[2] = ColorComponent(b);
    light->color[3] = 0.0f;
}

extern "C" E3D_API float *GetLightColor(const E3DLight *light) {
    // One buffer shared by all lights: the next call overwrites it.
    static float color[4];
    if (!light) return nullptr;
    for (int i = 0; i < 4; ++i) color[i] = light->color[i] * 255.0f;
    return color;
}

extern "C" E3D_API E3DLight *SetLightIntensity(E3DLight *light, float intensity) {
    if (!light) return nullptr;
    light->intensity = intensity;
    return light;
}

extern "C" E3D_API float GetLightIntensity(const E3DLight *light) { return light ? light->intensity : 0.0f; }

extern "C" E3D_API E3DLight *SetLightAttenuation(E3DLight *light, float nearValue, float farValue) {
    if (!light) return nullptr;
    light->attenuation[0] = nearValue;
    light->attenuation[1] = farValue;
    return light;
}

extern "C" E3D_API uint32_t *SetLightStatus(E3DLight *light, int32_t on, int32_t attenuated) {
    if (!light) return nullptr;
    light->flags = attenuated ? (light->flags | 1u) : (light->flags & ~1u);
    light->flags = on ? (light->flags | e3d::kLightOn) : (light->flags & ~e3d::kLightOn);
    return &light->flags;
}

extern "C" E3D_API E3DLight *SetLightPosition(E3DLight *light, const float *xyz, int32_t which) {
    if (!light || !xyz) return nullptr;
    std::memcpy(which == 0 ? light->position : light->direction, xyz, 3 * sizeof(float));
    return light;
}

extern "C" E3D_API float *GetLightPosition(const E3DLight *light, int32_t which) {
    static float xyz[3];
    if (!light) return nullptr;
    std::memcpy(xyz, which == 0 ? light->position : light->direction, sizeof xyz);
    return xyz;
}

extern "C" E3D_API int32_t AssignLightToMesh(E3DLight *light, E3DNode *node) {
    if (!light || !node) return 0;
    if (e3d::NodeType(node) == 1) {
        E3DMesh *mesh = reinterpret_cast<E3DMesh *>(node);
        if (mesh->lights) {
            int slot = 0;
            while (slot < kLightSlots && mesh->lights[slot] && mesh->lights[slot] != light) ++slot;
            if (slot < kLightSlots) {
                mesh->lights[slot] = light;
                // The light joins every scene that draws the mesh.
                for (E3DScene *s = e3d::g_engine.sceneHead; s; s = s->next) {
                    if (GetListElementIndex(&s->meshes, mesh) >= 0) AssignLightToScene(s, light, 0);
                }
            }
        }
    }
    for (int i = 0; i < node->childCount; ++i) AssignLightToMesh(light, node->children[i]);
    return 0;
}

extern "C" E3D_API int32_t RemoveLightFromMesh(E3DLight *light, E3DNode *node) {
    if (!light || !node) return 0;
    if (e3d::NodeType(node) == 1) {
        E3DMesh *mesh = reinterpret_cast<E3DMesh *>(node);
        if (mesh->lights) {
            int w = 0;
            for (int r = 0; r < kLightSlots && mesh->lights[r]; ++r) {
                if (mesh->lights[r] != light) mesh->lights[w++] = mesh->lights[r];
            }
            for (; w < kLightSlots && mesh->lights[w]; ++w) mesh->lights[w] = nullptr;
        }
    }
    for (int i = 0; i < node->childCount; ++i) RemoveLightFromMesh(light, node->children[i]);
    return 0;
}
