// Polygon dispatch. Solid polygons are clipped (near/far in view space, then
// the scissor edges in screen space) into a fan; dots and wire go to their
// fillers unclipped, since those clip for themselves.
#include "pipeline/dispatch.h"

#include "core/texture_layer.h"
#include "raster/flat_solid.h"
#include "raster/raster.h"

namespace e3d {

namespace {

// Texture state of the polygon being dispatched.
struct TextureState {
    int slot;     // 0 diffuse, 1 opacity, 2 environment; -1 none
    float maxU;   // width - 1
    float maxV;   // height - 1
    bool tiling;  // power-of-two layer: coordinates wrap instead of clamping
};

// Fixed working storage: no allocation per polygon.
E3DPolygon g_local;
E3DVertex g_scratch[3];
// Coordinate pair the fillers read: the environment fillers take the second.
int g_texturePair;
ClipPolygon g_clipA;
ClipPolygon g_clipB;

int TextureSlot(uint32_t mode) {
    switch (mode & kLayerPresentMask) {
        case E3D_TEXTURE_LAYER0: return 0;
        case E3D_TEXTURE_LAYER1: return 1;
        case E3D_TEXTURE_LAYER2: return 2;
        default: return -1;  // no filler draws these combinations
    }
}

TextureState SetUpTexture(const E3DPolygon *p, uint32_t mode) {
    TextureState t{TextureSlot(mode), 0.0f, 0.0f, false};
    if (t.slot < 0) return t;
    const E3DMaterial *m = (p->flags & kPolygonBackShowing) ? p->backMaterial : p->material;
    const TextureLayerView layer = ReadTextureLayer(m->layers[t.slot]);
    t.maxU = float(layer.width - 1);
    t.maxV = float(layer.height - 1);
    t.tiling = t.slot < 2 && layer.wraps;
    return t;
}

inline float Clamp01(float x) {
    if (x > 1.0f) return 1.0f;
    if (x < 0.0f) return 0.0f;
    return x;
}

// Texel coordinates times the reciprocal depth w, from the polygon's raw
// pair (u, v) for the diffuse and opacity slots or the environment pair.
inline void TexelCoordinates(const TextureState &t, float u, float v, float w, float &outU, float &outV) {
    if (t.slot == 2) {
        // The environment u axis is mirrored; v is not.
        outU = (0.5f - u * 0.5f) * t.maxU * w;
        outV = (v + 1.0f) * t.maxV * 0.5f * w;
        return;
    }
    if (!t.tiling) {
        u = Clamp01(u);
        v = Clamp01(v);
    }
    outU = u * t.maxU * w;
    outV = v * t.maxV * w;
}

inline void UnpackColor(uint32_t k, ClipVertex &c) {
    c.r = float((k >> 16) & 255u);
    c.g = float((k >> 8) & 255u);
    c.b = float(k & 255u);
}

inline uint32_t PackTruncated(const ClipVertex &c) {
    return (uint32_t(int32_t(c.r)) << 16) | (uint32_t(int32_t(c.g)) << 8) | uint32_t(int32_t(c.b));
}

// Guarded truncation: colours stay within 0..255 for finite corners, and
// non-finite ones must not reach an undefined conversion.
inline float SafeChannel(float x) { return x >= 0.0f && x <= 255.0f ? x : (x > 255.0f ? 255.0f : 0.0f); }

// Corners of a clipped polygon for the flat fan fill.
E3DVertex g_fanCorners[kFanCapacity];
static_assert(kClipCapacity <= kFanCapacity);

template <int Set>
void DrawFan(const ClipPolygon &poly, TriangleFiller filler) {
    if constexpr (Set == kAttrPlain) {
        // The painter's flat fill takes the whole fan at once.
        if (filler == FlatSolidTriangle) {
            for (int i = 0; i < poly.count; ++i) {
                g_fanCorners[i].screenX = poly.corners[i].screenX;
                g_fanCorners[i].screenY = poly.corners[i].screenY;
            }
            FlatFanFill(&g_local, g_fanCorners, poly.count, CurrentRasterTarget(false));
            return;
        }
    }
    g_local.vertex[0] = 0;
    g_local.vertex[1] = 1;
    g_local.vertex[2] = 2;
    const ClipVertex &first = poly.corners[0];
    for (int i = 1; i + 1 < poly.count; ++i) {
        const ClipVertex *corner[3] = {&first, &poly.corners[i], &poly.corners[i + 1]};
        for (int j = 0; j < 3; ++j) {
            g_scratch[j].clipCode = 0;
            g_scratch[j].screenX = corner[j]->screenX;
            g_scratch[j].screenY = corner[j]->screenY;
            g_scratch[j].invDepth = corner[j]->invDepth;
            if constexpr ((Set & kAttrTextured) != 0) {
                g_local.coords[j][g_texturePair] = corner[j]->u;
                g_local.coords[j][g_texturePair + 1] = corner[j]->v;
            }
        }
        if constexpr ((Set & kAttrGouraud) != 0) {
            ClipVertex c[3] = {*corner[0], *corner[1], *corner[2]};
            for (ClipVertex &k : c) {
                k.r = SafeChannel(k.r);
                k.g = SafeChannel(k.g);
                k.b = SafeChannel(k.b);
            }
            g_local.color = PackTruncated(c[0]);
            g_local.color1 = PackTruncated(c[1]);
            g_local.color2 = PackTruncated(c[2]);
        }
        filler(&g_local, g_scratch);
    }
}

template <int Set>
void ClipToScreenAndDraw(TriangleFiller filler) {
    const ClipPolygon *result = ClipToScreen<Set>(g_clipA, g_clipB, g_clipFrame);
    if (result->count < 3) return;
    DrawFan<Set>(*result, filler);
}

// Corners made from the mesh's vertex records, with the attributes of the set.
template <int Set>
void LoadCorners(const E3DVertex *const (&v)[3], bool withView) {
    g_clipA.count = 3;
    const uint32_t colors[3] = {g_local.color, g_local.color1, g_local.color2};
    for (int j = 0; j < 3; ++j) {
        ClipVertex &c = g_clipA.corners[j];
        c.outCode = v[j]->clipCode;
        if (withView) {
            c.viewX = v[j]->viewX;
            c.viewY = v[j]->viewY;
            c.viewZ = v[j]->depth;
        }
        c.screenX = v[j]->screenX;
        c.screenY = v[j]->screenY;
        c.invDepth = v[j]->invDepth;
        if constexpr ((Set & kAttrGouraud) != 0) UnpackColor(colors[j], c);
    }
}

template <int Set>
void NearFarPath(const E3DVertex *const (&v)[3], uint32_t any, const TextureState &tex, TriangleFiller filler) {
    LoadCorners<Set>(v, true);
    if constexpr ((Set & kAttrTextured) != 0) {
        const int first = tex.slot == 2 ? 2 : 0;
        for (int j = 0; j < 3; ++j) {
            g_clipA.corners[j].u = g_local.coords[j][first];
            g_clipA.corners[j].v = g_local.coords[j][first + 1];
        }
    }
    ClipPolygon *in = &g_clipA;
    ClipPolygon *out = &g_clipB;
    if (any & kOutNear) {
        ClipAgainst<Set, ClipEdge::Depth>(*in, *out, g_clipFrame.nearZ, kOutNear, g_clipFrame);
        if (out->count < 3) return;
        ClipPolygon *t = in;
        in = out;
        out = t;
    }
    if (any & kOutFar) {
        ClipAgainst<Set, ClipEdge::Depth>(*in, *out, g_clipFrame.farZ, kOutFar, g_clipFrame);
        if (out->count < 3) return;
        in = out;
    }
    if (in != &g_clipA) g_clipA = *in;
    if constexpr ((Set & kAttrTextured) != 0) {
        for (int j = 0; j < g_clipA.count; ++j) {
            ClipVertex &c = g_clipA.corners[j];
            TexelCoordinates(tex, c.u, c.v, c.invDepth, c.u, c.v);
        }
    }
    ClipToScreenAndDraw<Set>(filler);
}

template <int Set>
void DispatchSolid(E3DVertex *vertices, const E3DVertex *const (&v)[3], uint32_t any, uint32_t mode,
                   TriangleFiller filler) {
    TextureState tex{-1, 0.0f, 0.0f, false};
    if constexpr ((Set & kAttrTextured) != 0) {
        tex = SetUpTexture(&g_local, mode);
        g_texturePair = tex.slot == 2 ? 2 : 0;
    }
    if (any & (kOutNear | kOutFar)) {
        NearFarPath<Set>(v, any, tex, filler);
        return;
    }
    if constexpr ((Set & kAttrTextured) != 0) {
        const int first = tex.slot == 2 ? 2 : 0;
        for (int j = 0; j < 3; ++j) {
            TexelCoordinates(tex, g_local.coords[j][first], g_local.coords[j][first + 1], v[j]->invDepth,
                             g_local.coords[j][first], g_local.coords[j][first + 1]);
        }
    }
    if (any == 0) {
        filler(&g_local, vertices);
        return;
    }
    LoadCorners<Set>(v, false);
    if constexpr ((Set & kAttrTextured) != 0) {
        for (int j = 0; j < 3; ++j) {
            g_clipA.corners[j].u = g_local.coords[j][g_texturePair];
            g_clipA.corners[j].v = g_local.coords[j][g_texturePair + 1];
        }
    }
    ClipToScreenAndDraw<Set>(filler);
}

using SolidRoutine = void (*)(E3DVertex *, const E3DVertex *const (&)[3], uint32_t, uint32_t, TriangleFiller);
constexpr SolidRoutine kSolidRoutines[4] = {DispatchSolid<kAttrPlain>, DispatchSolid<kAttrTextured>,
                                            DispatchSolid<kAttrGouraud>, DispatchSolid<kAttrTexturedGouraud>};

}  // namespace

void DispatchPolygon(const E3DSortEntry *entry, TriangleFiller filler) {
    E3DPolygon *p = entry->polygon;
    E3DVertex *vertices = entry->mesh->vertices;
    const uint32_t mode = entry->mode;
    const E3DVertex *const v[3] = {&vertices[p->vertex[0]], &vertices[p->vertex[1]], &vertices[p->vertex[2]]};
    if (v[0]->clipCode & v[1]->clipCode & v[2]->clipCode) return;
    if ((mode & kRenderSolid) != kRenderSolid) {
        filler(p, vertices);
        return;
    }
    const uint32_t any = v[0]->clipCode | v[1]->clipCode | v[2]->clipCode;
    g_local = *p;
    kSolidRoutines[AttributeSetOf(mode)](vertices, v, any, mode, filler);
}

}  // namespace e3d
