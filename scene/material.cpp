// Materials: mode word, colour slots, specular values, alpha, the four
// texture layers, and the face materials of meshes.
#include "engine3d.h"

#include <bit>
#include <cstring>

#include "core/live_objects.h"
#include "core/modes.h"
#include "core/names.h"
#include "core/node.h"
#include "core/texture_layer.h"
#include "e3dhost.h"
#include "scene/mesh.h"
#include "scene/unhook.h"

namespace {

using e3d::kColorOpOn;
using e3d::kLayerPresent0;
using e3d::kLayerPresentMask;
using e3d::kPowerOfTwoSides;
using e3d::kSpecularOn;

// Layer block n; block 3 shares its storage with colorOp and the name.
E3DTextureLayer *Layer(E3DMaterial *m, uint32_t n) { return n < 3 ? &m->layers[n] : &m->tail.layer3; }

// Exactly one bit set; 0x80000000 counts.
bool IsPowerOfTwo(uint32_t v) { return std::has_single_bit(v); }

void FillLayer(E3DTextureLayer *block, const E3DTexture *texture, uint32_t modeBits) {
    if (!texture) {
        block->mode = 0;
        block->pixels = nullptr;
        block->width = block->height = block->shift = 0;
        block->texture = nullptr;
        return;
    }
    block->pixels = texture->pixels;
    block->width = texture->width;
    block->height = texture->height;
    block->texture = const_cast<E3DTexture *>(texture);
    const auto w = uint32_t(texture->width), h = uint32_t(texture->height);
    if (IsPowerOfTwo(w) && IsPowerOfTwo(h)) {
        block->shift = std::countr_zero(w);
        block->mode = modeBits | kPowerOfTwoSides;
    } else {
        block->shift = texture->pitch / 2;
        block->mode = modeBits;
    }
}

bool ValidSide(int32_t side) { return side >= 0 && side <= 2; }

void SetSides(E3DPolygon &p, E3DMaterial *material, int32_t side) {
    if (side != 1) p.material = material;
    if (side != 0) p.backMaterial = material;
}

// Side 1 reads the back pointer, 0 and 2 the front one.
E3DMaterial *SideOf(const E3DPolygon &p, int32_t side) { return side == 1 ? p.backMaterial : p.material; }

// Name field equality that stops at the field's end when it has no
// terminator (layer 3 may have overwritten it).
bool NameEquals(const char (&field)[30], const char *text) {
    for (size_t i = 0; i < sizeof field; ++i) {
        if (field[i] != text[i]) return false;
        if (field[i] == '\0') return true;
    }
    return text[sizeof field] == '\0';
}

// The recursive part of SetMaterial: non-mesh nodes are passed through so
// that meshes hung under a camera or light are reached as well.
void SetMaterialOnChildren(E3DNode *node, E3DMaterial *material, int32_t side) {
    for (int i = 0; i < node->childCount; ++i) {
        E3DNode *child = node->children[i];
        if (e3d::IsMeshNode(child)) {
            E3DMesh *mesh = reinterpret_cast<E3DMesh *>(child);
            for (int32_t j = 0; j < mesh->polygonCount; ++j) SetSides(mesh->polygons[j], material, side);
        }
        SetMaterialOnChildren(child, material, side);
    }
}

}  // namespace

using namespace e3d;

extern "C" E3D_API E3DMaterial *CreateMaterial(E3DMaterial *templateMaterial) {
    if (!templateMaterial) return nullptr;
    // The block also carries the material's links on the chain of live ones.
    auto *m = static_cast<E3DMaterial *>(AllocateMemory(uint32_t(kMaterialBlockBytes)));
    if (m) {
        std::memcpy(m, templateMaterial, sizeof *m);
        LinkLive(kLiveMaterial, m);
    }
    // The default name goes to the template (the copy keeps the old name),
    // and the counter moves on even when the copy could not be made.
    WriteDefaultName(templateMaterial->tail.named.name, sizeof templateMaterial->tail.named.name, "Material",
                     kCounterMaterial);
    return m;
}

extern "C" E3D_API void DeleteMaterial(E3DMaterial *material) {
    // Guard: only a material CreateMaterial made is freed (a mesh's default
    // material, say, is part of its mesh).
    if (!IsLive(kLiveMaterial, material)) return;
    ForgetMaterial(material);
    UnlinkLive(kLiveMaterial, material);
    FreeMemory(material);
}

extern "C" E3D_API char *SetMaterialName(E3DMaterial *material, const char *name) {
    if (!material) return nullptr;
    return CopyName(material->tail.named.name, sizeof material->tail.named.name, name);
}

extern "C" E3D_API int32_t SetMaterial(E3DMesh *mesh, E3DMaterial *material, int32_t side, int32_t recurse) {
    if (!mesh) return 0;
    if (!ValidSide(side)) return 0;
    for (int32_t i = 0; i < mesh->polygonCount; ++i) SetSides(mesh->polygons[i], material, side);
    if (recurse == 1) SetMaterialOnChildren(&mesh->node, material, side);
    return 1;
}

extern "C" E3D_API E3DMaterial *GetMaterial(E3DMesh *mesh, int32_t side) {
    if (!mesh) return nullptr;
    if (mesh->polygonCount < 1 || !ValidSide(side)) return nullptr;
    return SideOf(mesh->polygons[0], side);
}

extern "C" E3D_API E3DMaterial *GetMaterialByName(E3DMesh *mesh, const char *name) {
    if (!mesh) return nullptr;
    if (!name) return nullptr;
    for (int32_t i = 0; i < mesh->polygonCount; ++i) {
        const E3DPolygon &p = mesh->polygons[i];
        if (p.material && NameEquals(p.material->tail.named.name, name)) return p.material;
        if (p.backMaterial && NameEquals(p.backMaterial->tail.named.name, name)) return p.backMaterial;
    }
    return nullptr;
}

extern "C" E3D_API int32_t SetFaceMaterial(E3DMesh *mesh, int32_t index, E3DMaterial *material, int32_t quad,
                                           int32_t side) {
    if (!mesh) return 0;
    if (index < 0 || index >= mesh->polygonCount) return 1;
    if (!ValidSide(side)) return 0;
    SetSides(mesh->polygons[index], material, side);
    if (quad && index + 1 < mesh->polygonCount) SetSides(mesh->polygons[index + 1], material, side);
    return 1;
}

extern "C" E3D_API E3DMaterial *GetFaceMaterial(E3DMesh *mesh, int32_t index, int32_t side) {
    if (!mesh) return nullptr;
    if (index < 0 || index >= mesh->polygonCount || !ValidSide(side)) return nullptr;
    return SideOf(mesh->polygons[index], side);
}

extern "C" E3D_API void RemoveMaterialFromMesh(E3DMaterial *material, E3DMesh *mesh) {
    if (!mesh) return;
    for (int32_t i = 0; i < mesh->polygonCount; ++i) {
        E3DPolygon &p = mesh->polygons[i];
        if (p.material == material) p.material = &mesh->defaultMaterial;
        if (p.backMaterial == material) p.backMaterial = &mesh->defaultMaterial;
    }
}

extern "C" E3D_API int32_t SetMaterialTexture(E3DMaterial *material, uint32_t layer, E3DTexture *texture,
                                              uint32_t modeBits) {
    if (!material) return 0;
    if (layer > 3) return 0;
    FillLayer(Layer(material, layer), texture, modeBits);
    const uint32_t present = kLayerPresent0 << layer;
    material->mode = texture ? (material->mode | present) : (material->mode & ~present);
    return 1;
}

extern "C" E3D_API E3DTextureLayer *GetMaterialTexture(E3DMaterial *material, uint32_t layer) {
    if (!material) return nullptr;
    return layer > 3 ? nullptr : Layer(material, layer);
}

extern "C" E3D_API void SetMaterialTextureMode(E3DMaterial *material, uint32_t layer, uint32_t value) {
    if (!material) return;
    if (layer > 3 || (value != 16 && value != 32)) return;
    E3DTextureLayer *block = Layer(material, layer);
    block->mode = (block->mode & ~e3d::kLayerTextureModeMask) | value;
}

extern "C" E3D_API uint32_t GetMaterialTextureMode(E3DMaterial *material, uint32_t layer) {
    if (!material) return 0;
    return layer > 3 ? 0 : Layer(material, layer)->mode & e3d::kLayerTextureModeMask;
}

extern "C" E3D_API void RemoveTextureFromMaterial(E3DTexture *texture, E3DMaterial *material) {
    if (!material) return;
    const uint32_t present = (material->mode & kLayerPresentMask) >> 23;
    if (!IsPowerOfTwo(present)) return;
    // The comparison always uses layer 0's texture, whichever layer is present.
    if (texture != material->layers[0].texture) return;
    const auto layer = uint32_t(std::countr_zero(present));
    FillLayer(Layer(material, layer), nullptr, 0);
    material->mode &= ~(kLayerPresent0 << layer);
}

extern "C" E3D_API void SetMaterialColor(E3DMaterial *material, uint32_t slot, float r, float g, float b) {
    if (!material) return;
    if (slot > 3) return;
    auto clamp = [](float v) { return v < 0.0f ? 0.0f : (v > 255.0f ? 255.0f : v); };
    float *c = MaterialColor(material, int(slot));
    c[0] = clamp(r);
    c[1] = clamp(g);
    c[2] = clamp(b);
    c[3] = 255.0f;
}

extern "C" E3D_API float *GetMaterialColor(E3DMaterial *material, uint32_t slot) {
    if (!material) return nullptr;
    return slot > 3 ? reinterpret_cast<float *>(material) : MaterialColor(material, int(slot));
}

extern "C" E3D_API void SetMaterialColorOp(E3DMaterial *material, uint16_t value, int32_t enable) {
    if (!material) return;
    material->tail.named.colorOp = value;
    material->mode = enable ? (material->mode | kColorOpOn) : (material->mode & ~kColorOpOn);
}

namespace {

// A non-zero value is stored and turns specular on; zero (either sign) only
// turns it off, keeping the stored value.
void SetSpecularValue(E3DMaterial *material, float &field, float value) {
    if (value != 0.0f) {
        field = value;
        material->mode |= kSpecularOn;
    } else {
        material->mode &= ~kSpecularOn;
    }
}

// Replaces the bits of `mask` with those of mode, unless mode has none.
void SetModeField(E3DMaterial *material, uint32_t mode, uint32_t mask) {
    if (mode & mask) material->mode = (material->mode & ~mask) | (mode & mask);
}

}  // namespace

extern "C" E3D_API void SetMaterialShininess(E3DMaterial *material, float value) {
    if (!material) return;
    SetSpecularValue(material, material->shininess, value);
}

extern "C" E3D_API float GetMaterialShininess(const E3DMaterial *material) {
    if (!material) return 0.0f;
    return material->shininess;
}

extern "C" E3D_API void SetMaterialSpecularLevel(E3DMaterial *material, float value) {
    if (!material) return;
    SetSpecularValue(material, material->specularLevel, value);
}

extern "C" E3D_API float GetMaterialSpecularLevel(const E3DMaterial *material) {
    if (!material) return 0.0f;
    return material->specularLevel;
}

extern "C" E3D_API void SetMaterialAlphaLevel(E3DMaterial *material, int32_t level) {
    if (!material) return;
    material->alphaLevel = uint16_t(level < 0 ? 0 : (level > 255 ? 255 : level));
}

extern "C" E3D_API uint32_t GetMaterialAlphaLevel(const E3DMaterial *material) {
    if (!material) return 0;
    return material->alphaLevel;
}

extern "C" E3D_API void SetMaterialAlphaMode(E3DMaterial *material, uint32_t mode) {
    if (!material) return;
    material->alphaMode = uint16_t(mode > 3 ? 0 : mode);
}

extern "C" E3D_API uint32_t GetMaterialAlphaMode(const E3DMaterial *material) {
    if (!material) return 0;
    return material->alphaMode;
}

extern "C" E3D_API void SetMaterialRenderMode(E3DMaterial *material, uint32_t mode) {
    if (!material) return;
    SetModeField(material, mode, e3d::kRenderSolid);
}

extern "C" E3D_API uint32_t GetMaterialRenderMode(const E3DMaterial *material) {
    if (!material) return 0;
    return material->mode & (e3d::kRenderSolid | e3d::kModifier);
}

extern "C" E3D_API void SetMaterialShadeMode(E3DMaterial *material, uint32_t mode) {
    if (material) SetModeField(material, mode, e3d::kShadeMask);
}

extern "C" E3D_API uint32_t GetMaterialShadeMode(const E3DMaterial *material) {
    if (!material) return 0;
    return material->mode & e3d::kShadeMask;
}

extern "C" E3D_API void SetMaterialCullMode(E3DMaterial *material, uint32_t mode) {
    if (!material) return;
    SetModeField(material, mode, e3d::kCullMask);
}

extern "C" E3D_API uint32_t GetMaterialCullMode(const E3DMaterial *material) {
    if (!material) return 0;
    return material->mode & e3d::kCullMask;
}

extern "C" E3D_API E3DTextureLayer *SetTexture(E3DMesh *mesh, E3DTexture *texture, int32_t layer) {
    if (!mesh) return nullptr;
    E3DMaterial &m = mesh->defaultMaterial;
    E3DTextureLayer *block = &m.layers[layer ? 1 : 0];
    if (!texture) return block;  // Guard: nothing to take the pixels from
    // Only the one layer counts as present; no power-of-two test here.
    m.mode = (m.mode & ~kLayerPresentMask) | (layer ? kLayerPresent0 << 1 : kLayerPresent0);
    block->mode = 2;
    block->pixels = texture->pixels;
    block->width = texture->width;
    block->height = texture->height;
    block->shift = texture->pitch / 2;
    block->texture = texture;
    return block;
}
