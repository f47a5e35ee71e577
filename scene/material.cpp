// Materials: mode word, colour slots, specular values, alpha, and the four
// texture layers; face materials of meshes; checker textures.
#include "engine3d.h"

#include <cstring>
#include <initializer_list>

#include "core/names.h"
#include "core/node.h"
#include "e3dhost.h"
#include "scene/mesh.h"

namespace {

// Layer block n; block 3 shares its storage with colorOp and the name.
E3DTextureLayer *Layer(E3DMaterial *m, uint32_t n) { return n < 3 ? &m->layers[n] : &m->tail.layer3; }

bool IsPowerOfTwo(uint32_t v) { return v != 0 && (v & (v - 1)) == 0; }

uint32_t Log2(uint32_t v) {
    uint32_t n = 0;
    while (v > 1) v >>= 1, ++n;
    return n;
}

void FillLayer(E3DTextureLayer *block, E3DTexture *texture, uint32_t modeBits) {
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
    block->texture = texture;
    if (IsPowerOfTwo(uint32_t(texture->width)) && IsPowerOfTwo(uint32_t(texture->height))) {
        block->shift = int32_t(Log2(uint32_t(texture->width)));
        block->mode = modeBits | 0x40000000u;
    } else {
        block->shift = texture->pitch / 2;
        block->mode = modeBits;
    }
}

E3DMaterial **Side(E3DPolygon &p, int32_t side) { return side == 1 ? &p.backMaterial : &p.material; }

}  // namespace

using namespace e3d;

extern "C" E3D_API E3DMaterial *CreateMaterial(E3DMaterial *templateMaterial) {
    if (!templateMaterial) return nullptr;
    auto *m = static_cast<E3DMaterial *>(AllocateMemory(sizeof(E3DMaterial)));
    if (m) std::memcpy(m, templateMaterial, sizeof *m);
    // The default name goes to the template (the copy keeps the old name),
    // and the counter moves on even when the copy could not be made.
    WriteDefaultName(templateMaterial->tail.named.name, sizeof templateMaterial->tail.named.name, "Material",
                     kCounterMaterial);
    return m;
}

extern "C" E3D_API void DeleteMaterial(E3DMaterial *material) { DeleteBVSphere(material); }

extern "C" E3D_API char *SetMaterialName(E3DMaterial *material, const char *name) {
    if (!material) return nullptr;
    return CopyName(material->tail.named.name, sizeof material->tail.named.name, name);
}

extern "C" E3D_API int32_t SetMaterial(E3DMesh *mesh, E3DMaterial *material, int32_t side, int32_t recurse) {
    if (side < 0 || side > 2) return 0;
    for (int32_t i = 0; i < mesh->polygonCount; ++i) {
        E3DPolygon &p = mesh->polygons[i];
        if (side != 1) p.material = material;
        if (side != 0) p.backMaterial = material;
    }
    if (recurse == 1) {
        for (int i = 0; i < mesh->node.childCount; ++i) {
            E3DNode *child = mesh->node.children[i];
            if (IsMeshNode(child)) SetMaterial(reinterpret_cast<E3DMesh *>(child), material, side, recurse);
        }
    }
    return 1;
}

extern "C" E3D_API E3DMaterial *GetMaterial(E3DMesh *mesh, int32_t side) {
    if (mesh->polygonCount < 1 || side < 0 || side > 2) return nullptr;
    return *Side(mesh->polygons[0], side);
}

extern "C" E3D_API E3DMaterial *GetMaterialByName(E3DMesh *mesh, const char *name) {
    if (!name) return nullptr;
    for (int32_t i = 0; i < mesh->polygonCount; ++i) {
        for (E3DMaterial *m : {mesh->polygons[i].material, mesh->polygons[i].backMaterial}) {
            if (m && std::strncmp(m->tail.named.name, name, sizeof m->tail.named.name) == 0) return m;
        }
    }
    return nullptr;
}

extern "C" E3D_API int32_t SetFaceMaterial(E3DMesh *mesh, int32_t index, E3DMaterial *material, int32_t quad,
                                           int32_t side) {
    if (index < 0 || index >= mesh->polygonCount) return 1;
    if (side < 0 || side > 2) return 0;
    const int32_t last = (quad && index + 1 < mesh->polygonCount) ? index + 1 : index;
    for (int32_t i = index; i <= last; ++i) {
        E3DPolygon &p = mesh->polygons[i];
        if (side != 1) p.material = material;
        if (side != 0) p.backMaterial = material;
    }
    return 1;
}

extern "C" E3D_API E3DMaterial *GetFaceMaterial(E3DMesh *mesh, int32_t index, int32_t side) {
    if (index < 0 || index >= mesh->polygonCount || side < 0 || side > 2) return nullptr;
    return *Side(mesh->polygons[index], side);
}

extern "C" E3D_API void RemoveMaterialFromMesh(E3DMaterial *material, E3DMesh *mesh) {
    for (int32_t i = 0; i < mesh->polygonCount; ++i) {
        E3DPolygon &p = mesh->polygons[i];
        if (p.material == material) p.material = &mesh->defaultMaterial;
        if (p.backMaterial == material) p.backMaterial = &mesh->defaultMaterial;
    }
}

extern "C" E3D_API int32_t SetMaterialTexture(E3DMaterial *material, uint32_t layer, E3DTexture *texture,
                                              uint32_t modeBits) {
    if (layer > 3) return 0;
    FillLayer(Layer(material, layer), texture, modeBits);
    const uint32_t present = 0x800000u << layer;
    material->mode = texture ? (material->mode | present) : (material->mode & ~present);
    return 1;
}

extern "C" E3D_API E3DTextureLayer *GetMaterialTexture(E3DMaterial *material, uint32_t layer) {
    return layer > 3 ? nullptr : Layer(material, layer);
}

extern "C" E3D_API void SetMaterialTextureMode(E3DMaterial *material, uint32_t layer, uint32_t value) {
    if (layer > 3 || (value != 16 && value != 32)) return;
    E3DTextureLayer *block = Layer(material, layer);
    block->mode = (block->mode & ~48u) | value;
}

extern "C" E3D_API uint32_t GetMaterialTextureMode(E3DMaterial *material, uint32_t layer) {
    return layer > 3 ? 0 : Layer(material, layer)->mode & 48u;
}

extern "C" E3D_API void RemoveTextureFromMaterial(E3DTexture *texture, E3DMaterial *material) {
    const uint32_t present = (material->mode >> 23) & 15u;
    if (!IsPowerOfTwo(present)) return;
    // The comparison always uses layer 0's texture, whichever layer is present.
    if (texture != material->layers[0].texture) return;
    const uint32_t layer = Log2(present);
    FillLayer(Layer(material, layer), nullptr, 0);
    material->mode &= ~(0x800000u << layer);
}

extern "C" E3D_API void SetMaterialColor(E3DMaterial *material, uint32_t slot, float r, float g, float b) {
    if (slot > 3) return;
    auto clamp = [](float v) { return v < 0.0f ? 0.0f : (v > 255.0f ? 255.0f : v); };
    float *c = MaterialColor(material, int(slot));
    c[0] = clamp(r);
    c[1] = clamp(g);
    c[2] = clamp(b);
    c[3] = 255.0f;
}

extern "C" E3D_API float *GetMaterialColor(E3DMaterial *material, uint32_t slot) {
    return slot > 3 ? reinterpret_cast<float *>(material) : MaterialColor(material, int(slot));
}

extern "C" E3D_API void SetMaterialColorOp(E3DMaterial *material, uint16_t value, int32_t enable) {
    material->tail.named.colorOp = value;
    material->mode = enable ? (material->mode | 0x100u) : (material->mode & ~0x100u);
}

namespace {

// A non-zero value is stored and turns specular on; zero (either sign) only
// turns it off, keeping the stored value.
void SetSpecularValue(E3DMaterial *material, float &field, float value) {
    if (value != 0.0f) {
        field = value;
        material->mode |= 0x80000u;
    } else {
        material->mode &= ~0x80000u;
    }
}

}  // namespace

extern "C" E3D_API void SetMaterialShininess(E3DMaterial *material, float value) {
    SetSpecularValue(material, material->shininess, value);
}

extern "C" E3D_API float GetMaterialShininess(const E3DMaterial *material) { return material->shininess; }

extern "C" E3D_API void SetMaterialSpecularLevel(E3DMaterial *material, float value) {
    SetSpecularValue(material, material->specularLevel, value);
}

extern "C" E3D_API float GetMaterialSpecularLevel(const E3DMaterial *material) { return material->specularLevel; }

extern "C" E3D_API void SetMaterialAlphaLevel(E3DMaterial *material, int32_t level) {
    material->alphaLevel = uint16_t(level < 0 ? 0 : (level > 255 ? 255 : level));
}

extern "C" E3D_API uint32_t GetMaterialAlphaLevel(const E3DMaterial *material) { return material->alphaLevel; }

extern "C" E3D_API void SetMaterialAlphaMode(E3DMaterial *material, uint32_t mode) {
    material->alphaMode = uint16_t(mode > 3 ? 0 : mode);
}

extern "C" E3D_API uint32_t GetMaterialAlphaMode(const E3DMaterial *material) { return material->alphaMode; }

extern "C" E3D_API void SetMaterialRenderMode(E3DMaterial *material, uint32_t mode) {
    if (mode & 0x700000u) material->mode = (material->mode & ~0x700000u) | (mode & 0x700000u);
}

extern "C" E3D_API uint32_t GetMaterialRenderMode(const E3DMaterial *material) { return material->mode & 0x700040u; }

extern "C" E3D_API void SetMaterialShadeMode(E3DMaterial *material, uint32_t mode) {
    if (mode & 7u) material->mode = (material->mode & ~7u) | (mode & 7u);
}

extern "C" E3D_API uint32_t GetMaterialShadeMode(const E3DMaterial *material) { return material->mode & 7u; }

extern "C" E3D_API void SetMaterialCullMode(E3DMaterial *material, uint32_t mode) {
    if (mode & 0x38u) material->mode = (material->mode & ~0x38u) | (mode & 0x38u);
}

extern "C" E3D_API uint32_t GetMaterialCullMode(const E3DMaterial *material) { return material->mode & 0x38u; }

extern "C" E3D_API E3DTextureLayer *SetTexture(E3DMesh *mesh, E3DTexture *texture, int32_t layer) {
    E3DMaterial &m = mesh->defaultMaterial;
    E3DTextureLayer *block = &m.layers[layer ? 1 : 0];
    if (!texture) return block;  // Guard: nothing to take the pixels from
    m.mode = (m.mode & ~0x7800000u) | (layer ? 0x1000000u : 0x800000u);
    block->mode = 2;
    block->pixels = texture->pixels;
    block->width = texture->width;
    block->height = texture->height;
    block->shift = texture->pitch / 2;
    block->texture = texture;
    return block;
}

extern "C" E3D_API E3DTexture *CreateCheckerTexture(int32_t width, int32_t height, int32_t squares, uint16_t a,
                                                    uint16_t b) {
    if (width < 1 || height < 1 || squares < 1 || uint64_t(width) * uint64_t(height) * 2 > 0xFFFFFFFFull) {
        return nullptr;
    }
    auto *t = static_cast<E3DTexture *>(AllocateMemory(sizeof(E3DTexture)));
    if (!t) return nullptr;
    std::memset(t, 0, sizeof *t);
    t->pixels = static_cast<uint16_t *>(AllocateMemory(uint32_t(width) * uint32_t(height) * 2));
    if (!t->pixels) {
        FreeMemory(t);
        return nullptr;
    }
    t->pitch = 2 * width;
    t->width = t->width2 = width;
    t->height = t->height2 = height;
    int32_t cellW = width / squares, cellH = height / squares;
    if (cellW < 1) cellW = 1;  // Guard: more squares than pixels
    if (cellH < 1) cellH = 1;
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            t->pixels[y * width + x] = ((x / cellW + y / cellH) & 1) ? a : b;
        }
    }
    return t;
}

extern "C" E3D_API void DeleteTexture(E3DTexture *texture) {
    if (!texture) return;
    if (texture->pixels) FreeMemory(texture->pixels);
    FreeMemory(texture);
}
