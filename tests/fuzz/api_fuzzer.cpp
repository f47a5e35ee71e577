// API fuzzer: the input bytes are decoded into a sequence of engine calls over
// small tables of live handles. The decoder acts as a careful host: it passes
// only live objects, validates meshes before they join a tree or a scene
// (node cycles it does try: they must be refused), and keeps caller frame
// buffers inside guard zones that are checked after every call. Allocation
// failures are injected from the bytes. At the end of an input everything is deleted and the host's counters
// must be back where they started.
//
// The engine's FreeMemory calls are observed (the fuzzer defines the symbol and
// forwards to the host library), so a handle drops out of its table the moment
// the engine frees it, however the engine came to free it.
#include <dlfcn.h>

#include <cfloat>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

#include "e3dhost.h"
#include "engine3d.h"
#include "raster/raster.h"

namespace {

[[noreturn]] void Fail(const char *what) {
    std::fprintf(stderr, "api fuzzer: %s\n", what);
    std::abort();
}

// ---- input decoding ---------------------------------------------------------
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kSpecialFloats[] = {kNaN,    -kNaN,   kInf,  -kInf,   0.0f,  -0.0f, FLT_TRUE_MIN, -FLT_TRUE_MIN,
                                    FLT_MIN, 1e30f,  -1e30f, FLT_MAX, -FLT_MAX, 0.4f, 1e6f,        -1e6f};
constexpr int32_t kSpecialInts[] = {0,         1,         -1,        2, -2, INT32_MIN, INT32_MIN + 1, INT32_MAX,
                                    INT32_MAX - 1, INT32_MAX / 2, 32, 64};
constexpr uint32_t kModes[] = {0x100000u, 0x300000u, 0x700000u, 0x700040u, 0x800000u, 0x1000000u, 0x2000000u,
                               0x4000000u, 0x7F00000u, 1u,       3u,        7u,        0x8u,       0x10u,
                               0x18u,      0x38u,      0u,        0xFFFFFFFFu, 0x80000000u, 0x80000001u, 2u,
                               0x10u,      0x20u,      0x30u};

class Input {
public:
    Input(const uint8_t *data, size_t size) : p_(data), n_(size) {}
    bool More() const { return n_ > 0; }
    uint8_t U8() {
        if (!n_) return 0;
        --n_;
        return *p_++;
    }
    uint32_t U32() {
        uint32_t v = 0;
        for (int i = 0; i < 4; ++i) v = v << 8 | U8();
        return v;
    }
    int Pick(int n) { return U8() % n; }
    bool Bit() { return U8() & 1; }
    // Specials (NaN, infinities, zeros, denormals, huge) or a value in -34..29.75.
    float F() {
        const uint8_t b = U8();
        constexpr int kCount = int(sizeof kSpecialFloats / sizeof kSpecialFloats[0]);
        if (b < kCount) return kSpecialFloats[b];
        return float(int(b) - 136) * 0.25f;
    }
    // Specials around 0, +-1 and the ends of the 32-bit range, or -8..55.
    int32_t I() {
        const uint8_t b = U8();
        constexpr int kCount = int(sizeof kSpecialInts / sizeof kSpecialInts[0]);
        if (b < kCount) return kSpecialInts[b];
        return int32_t(b % 64) - 8;
    }
    // An index for an array of `count`: mostly inside (one past the end
    // included), sometimes anything.
    int32_t Index(int32_t count) {
        const uint8_t b = U8();
        if (b < 224) return count > 0 ? int32_t(b % (uint32_t(count) + 1)) : 0;
        return I();
    }
    uint32_t Mode() {
        const uint8_t b = U8();
        constexpr int kCount = int(sizeof kModes / sizeof kModes[0]);
        if (b < kCount) return kModes[b];
        if (b < 200) return uint32_t(b) * 0x010203u;
        return U32();
    }
    void Floats(float *out, int n) {
        for (int i = 0; i < n; ++i) out[i] = F();
    }

private:
    const uint8_t *p_;
    size_t n_;
};

// ---- caller frame buffers with guard zones ----------------------------------
constexpr uint16_t kGuardPixel = 0xA5C3;
constexpr size_t kGuardPixels = 64;

struct Surface {
    std::vector<uint16_t> memory;  // guard, pitch * height pixels, guard
    E3DTexture desc{};
    int32_t width = 0, height = 0, pitch = 0;  // pitch in pixels

    void Make(int32_t w, int32_t h, int32_t extra, bool oddBytePitch) {
        width = w;
        height = h;
        pitch = w + extra;
        memory.assign(kGuardPixels * 2 + size_t(pitch) * size_t(h), kGuardPixel);
        desc = E3DTexture{};
        desc.pixels = memory.data() + kGuardPixels;
        desc.width = desc.width2 = w;
        desc.height = desc.height2 = h;
        desc.pitch = 2 * pitch + (oddBytePitch ? 1 : 0);
    }
    // Everything outside width x height (including the ends of rows inside
    // the pitch) must keep the guard pattern. Compared with memcmp against a
    // row of guard pixels: a loop here would have every pixel's comparison
    // traced for the mutator, which used to cost a few percent of every run.
    void Check() const {
        if (memory.empty()) return;
        static const std::vector<uint16_t> guard(kGuardPixels, kGuardPixel);
        const size_t body = size_t(pitch) * size_t(height);
        const size_t zone = kGuardPixels * sizeof(uint16_t);
        if (std::memcmp(memory.data(), guard.data(), zone) != 0 ||
            std::memcmp(memory.data() + kGuardPixels + body, guard.data(), zone) != 0)
            Fail("write outside a caller frame buffer");
        const size_t pad = size_t(pitch - width);
        if (pad == 0) return;
        if (pad > guard.size()) Fail("fuzzer surface padding wider than its guard row");
        for (int32_t y = 0; y < height; ++y) {
            const uint16_t *row = memory.data() + kGuardPixels + size_t(y) * size_t(pitch);
            if (std::memcmp(row + width, guard.data(), pad * sizeof(uint16_t)) != 0)
                Fail("write into the row padding of a caller frame buffer");
        }
    }
};

// ---- live handles -----------------------------------------------------------
constexpr int kMeshes = 8, kCameras = 3, kLights = 3, kScenes = 3, kMaterials = 4, kTextures = 2, kViewports = 3,
              kSkeletons = 2, kBones = 3, kSpheres = 2, kSurfaces = 2;

struct Handles {
    E3DMesh *mesh[kMeshes];
    E3DCamera *camera[kCameras];
    E3DLight *light[kLights];
    E3DScene *scene[kScenes];
    E3DMaterial *material[kMaterials];
    E3DTexture *texture[kTextures];
    E3DViewport *viewport[kViewports];
    E3DSkeleton *skeleton[kSkeletons];
    E3DBone *bone[kBones];
    E3DBVSphere *sphere[kSpheres];
};

Handles g_live;
bool g_tracking = false;
Surface g_surface[kSurfaces];

// Every table with its delete, in the order the end of an input deletes them.
template <class F>
void ForEachTable(F f) {
    f(g_live.scene, [](E3DScene *s) { DeleteScene(s); });
    f(g_live.mesh, DeleteMesh);
    f(g_live.light, DeleteLight);
    f(g_live.camera, DeleteCamera);
    f(g_live.material, DeleteMaterial);
    f(g_live.texture, DeleteTexture);
    f(g_live.skeleton, DeleteSkeleton);
    f(g_live.bone, DeleteBone);
    f(g_live.sphere, DeleteBVSphere);
    f(g_live.viewport, DeleteViewport);
}

void ForgetBlock(const void *block) {
    ForEachTable([block](auto &table, auto) {
        for (auto *&h : table)
            if (h == block) h = nullptr;
    });
}

template <class T, int N>
bool Holds(T *(&table)[N], const T *h) {
    for (T *x : table)
        if (x == h) return true;
    return false;
}

// Stores a new handle in the chosen slot; an occupied slot's object is kept
// alive in the first free slot, or deleted when there is none.
template <class T, int N, class Del>
void Store(T *(&table)[N], int slot, T *h, Del del) {
    if (!h || Holds(table, h)) return;
    if (table[slot]) {
        int free = -1;
        for (int i = 0; i < N; ++i)
            if (!table[i]) free = i;
        if (free < 0) del(table[slot]);
        else table[free] = table[slot];
        table[slot] = nullptr;
    }
    table[slot] = h;
}

}  // namespace

// The host this fuzzer plays has 16 MB blocks at most: larger requests fail
// as they would on a host out of memory, which keeps the huge counts the
// decoder produces on the engine's failure paths instead of spending each
// run clearing hundreds of megabytes.
constexpr uint32_t kLargestBlock = 16u << 20;

extern "C" void *AllocateMemory(uint32_t size) {
    using AllocateFn = void *(*)(uint32_t);
    static const AllocateFn real = reinterpret_cast<AllocateFn>(dlsym(RTLD_NEXT, "AllocateMemory"));
    if (!real) Fail("host AllocateMemory not found");
    return size > kLargestBlock ? nullptr : real(size);
}

// The engine's frees pass through here on their way to the host library.
extern "C" void FreeMemory(void *block) {
    using FreeFn = void (*)(void *);
    static const FreeFn real = reinterpret_cast<FreeFn>(dlsym(RTLD_NEXT, "FreeMemory"));
    if (!real) Fail("host FreeMemory not found");
    if (g_tracking && block) ForgetBlock(block);
    real(block);
}

namespace {

Handles &L = g_live;

bool IsMesh(const E3DNode *n) { return (n->type & 63) == 1 || (n->type & 63) == 2; }
bool Validated(const E3DMesh *m) { return m->meshKind != 0; }

template <class T, int N>
T *Any(Input &in, T *(&table)[N]) {
    return table[in.Pick(N)];
}

// A material the host may hand to `mesh`: a table material or the mesh's own default.
E3DMaterial *MaterialFor(Input &in, E3DMesh *mesh) {
    const int k = in.Pick(kMaterials + 1);
    if (k == kMaterials) return mesh ? &mesh->defaultMaterial : nullptr;
    return L.material[k];
}

// Any material: a table material or the default material of a live mesh.
E3DMaterial *AnyMaterial(Input &in) {
    if (in.Bit()) return Any(in, L.material);
    E3DMesh *m = Any(in, L.mesh);
    return m ? &m->defaultMaterial : nullptr;
}

// A texture: one of the engine's checkers, or a caller surface's description.
E3DTexture *AnyTexture(Input &in) {
    const int k = in.Pick(kTextures + kSurfaces + 1);
    if (k < kTextures) return L.texture[k];
    if (k < kTextures + kSurfaces) return g_surface[k - kTextures].memory.empty() ? nullptr
                                                                                  : &g_surface[k - kTextures].desc;
    return nullptr;
}

// A node of a live mesh, camera or light.
E3DNode *AnyNode(Input &in) {
    switch (in.Pick(3)) {
        case 0: {
            E3DMesh *m = Any(in, L.mesh);
            return m ? &m->node : nullptr;
        }
        case 1: {
            E3DCamera *c = Any(in, L.camera);
            return c ? &c->node : nullptr;
        }
        default: {
            E3DLight *l = Any(in, L.light);
            return l ? &l->node : nullptr;
        }
    }
}

const float *Scale(Input &in, float *storage) {
    if (in.Bit()) return nullptr;
    in.Floats(storage, 3);
    return storage;
}

const char *Name(Input &in, char *storage, size_t size) {
    static const char *const kNames[] = {"", "Base00", "Cube00", "Material00", "a", "Camera00", "Omni00",
                                         "a name far longer than any field of a record can hold, really"};
    const int k = in.Pick(9);
    if (k < 8) return kNames[k];
    size_t n = in.Pick(int(size) - 1);
    for (size_t i = 0; i < n; ++i) storage[i] = char('A' + in.Pick(26));
    storage[n] = '\0';
    return storage;
}

// The engine unhooks whatever still names a deleted object, so the fuzzer
// deletes without preparing anything.
// ---- operations --------------------------------------------------------------
bool g_failureArmed = false;  // this call was given a failing allocation

// Whether the injected failure of this call has been used so far.
bool FailureUsed() { return g_failureArmed && HostMemoryPendingFailure() == 0; }

// Keeps the mesh a builder returned in a slot of the table.
void KeepMesh(Input &in, E3DMesh *m) {
    if (!m) return;
    Store(L.mesh, in.Pick(kMeshes), m, DeleteMesh);
}

void OpGenerator(Input &in) {
    float s[3];
    const int which = in.Pick(12);
    const float a = in.F(), b = in.F(), c = in.F();
    int32_t i = in.I(), j = in.I();
    const uint32_t colour = in.U32();
    const float *scale = Scale(in, s);
    const int32_t open = in.I();
    E3DMesh *m = nullptr;
    switch (which) {
        case 0: m = CubeCreate(a, scale, colour); break;
        case 1: m = GridCreate(a, scale, i, j, colour); break;
        case 2: m = SphereCreate(a, scale, i, j, colour); break;
        case 3: m = TorusCreate(a, b, scale, i, j, colour); break;
        case 4: m = DiskCreate(a, scale, i, colour); break;
        case 5: m = RingCreate(a, b, scale, i, colour); break;
        case 6: m = ChCubeCreate(a, b, scale, colour); break;
        case 7: m = HemisphereCreate(a, scale, i, j, colour, open); break;
        case 8: m = GeoSphereCreate(a, scale, i, colour); break;
        case 9: m = CylinderCreate(a, b, scale, i, j, colour); break;
        case 10: m = TubeCreate(a, b, c, scale, i, j, colour); break;
        default: m = BillboardCreate(a, scale, colour); break;
    }
    KeepMesh(in, m);
}

void OpMeshBuild(Input &in) {
    E3DMesh *m = Any(in, L.mesh);
    const int which = in.Pick(8);
    if (!m) {
        int32_t v = in.I(), p = in.I();
        if (in.Bit()) {
            v = in.Pick(12);
            p = v ? in.Pick(12) : 0;
            if (!p) v = 0;
        }
        E3DMesh *made = CreateMesh(v, p, in.U32());
        if (made) Store(L.mesh, in.Pick(kMeshes), made, DeleteMesh);
        return;
    }
    const int32_t vc = m->vertexCount, pc = m->polygonCount;
    switch (which) {
        case 0: {
            const float x = in.F(), y = in.F(), z = in.F();
            AddMeshVertex(m, x, y, z);
            break;
        }
        case 1: {
            const int32_t idx = in.Index(vc);
            const float x = in.F(), y = in.F(), z = in.F();
            SetMeshVertex(m, idx, x, y, z);
            break;
        }
        case 2: {
            const int32_t a = in.Index(vc), b = in.Index(vc), c = in.Index(vc);
            AddMeshTriPolygon(m, a, b, c, in.I(), in.I());
            break;
        }
        case 3: {
            const int32_t idx = in.Index(pc), a = in.Index(vc), b = in.Index(vc), c = in.Index(vc);
            SetMeshTriPolygon(m, idx, a, b, c, in.I(), in.I());
            break;
        }
        case 4: {
            int32_t idx = in.Index(pc);
            const int32_t a = in.Index(vc), b = in.Index(vc), c = in.Index(vc), d = in.Index(vc);
            if (in.Bit()) AddMeshQuadPolygon(m, a, b, c, d, in.I(), in.I());
            else SetMeshQuadPolygon(m, idx, a, b, c, d, in.I(), in.I());
            break;
        }
        case 5: {
            const int32_t idx = in.Index(pc);
            float uv[8];
            in.Floats(uv, 8);
            if (in.Bit()) SetMeshTriTexCoords(m, idx, uv[0], uv[1], uv[2], uv[3], uv[4], uv[5]);
            else SetMeshQuadTexCoords(m, idx, uv[0], uv[1], uv[2], uv[3], uv[4], uv[5], uv[6], uv[7]);
            break;
        }
        case 6: {
            const int slot = in.Pick(kMeshes);
            E3DMesh *r = ValidateMesh(m);
            if (r && r != m && !Holds(L.mesh, r)) {
                Store(L.mesh, slot, r, DeleteMesh);
            }
            break;
        }
        default: ActivateMesh(m); break;
    }
}

void OpMeshState(Input &in) {
    E3DMesh *m = Any(in, L.mesh);
    if (!m) return;
    const int which = in.Pick(16);
    static void (*const kModeSetters[])(E3DNode *, uint32_t) = {SetMeshRenderMode, SetMeshCullMode, SetMeshShadeMode};
    static E3DMesh *(*const kPlacers[])(E3DMesh *, float, float, float) = {SetMeshModelOrientation,
                                                                         SetMeshModelPosition, SetMeshPivot};
    switch (which) {
        case 0:
        case 1:
        case 2: kModeSetters[which](&m->node, in.Mode()); break;
        case 3: HideMesh(&m->node); break;
        case 4: ShowMesh(&m->node); break;
        case 5: {
            const int32_t idx = in.Index(m->polygonCount);
            SetMeshFaceSmoothG(m, idx, in.I());
            (void)GetMeshFaceSmoothG(m, idx);
            break;
        }
        case 6: SetMeshBillboardMode(m, in.Mode()); break;
        case 7:
        case 8:
        case 9: {
            const float x = in.F(), y = in.F(), z = in.F();
            kPlacers[which - 7](m, x, y, z);
            break;
        }
        case 10: {
            char name[48];
            SetMeshName(m, Name(in, name, sizeof name));
            break;
        }
        case 11: SetMeshTvObject(m, in.Bit() ? 0 : 1); break;
        case 12: {
            const int k = in.Pick(4);
            if (k == 0) CalcMeshPolygonsNormal(m);
            else if (k == 1 && m->polygonCount > 0)
                CalcMeshPolygonNormal(m, &m->polygons[in.Pick(m->polygonCount)]);
            else if (k == 2) CalcMeshVerticesNormal(m);
            else UpdateMeshPolygonsNormal(m);
            break;
        }
        case 13: {
            E3DMesh *box = CreateAABB(m);
            if (box) Store(L.mesh, in.Pick(kMeshes), box, DeleteMesh);
            break;
        }
        case 14: {
            E3DSkeleton *k = Any(in, L.skeleton);
            if (k && in.Bit()) AssignSkeletonToMesh(m, k);
            else RemoveSkeletonFromMesh(m);
            AssignVertexInfluence(m, in.I(), in.I(), in.F());
            CheckWeightedVertices(m);
            RemoveVertexInfluence(m, in.I(), in.I());
            break;
        }
        default: {
            (void)GetMeshLightList(m);
            (void)GetMeshModelPosition(m);
            (void)GetMeshPivot(m);
            (void)IsMeshAssigned(m);
            (void)IsHiddenMesh(m);
            break;
        }
    }
}

void OpCamera(Input &in) {
    E3DCamera *c = Any(in, L.camera);
    const int which = in.Pick(9);
    if (!c || which == 0) {
        float p[3], t[3];
        in.Floats(p, 3);
        in.Floats(t, 3);
        const float roll = in.F(), fov = in.F(), nearZ = in.F();
        Store(L.camera, in.Pick(kCameras), CreateCamera(p, t, roll, fov, nearZ), DeleteCamera);
        return;
    }
    float xyz[3];
    switch (which) {
        case 1: DeleteCamera(c); break;
        case 2:
            in.Floats(xyz, 3);
            SetCameraPosition(c, xyz, in.I());
            GetCameraPosition(xyz, c, in.I());
            break;
        case 3: SetCameraRoll(c, in.F()); break;
        case 4: SetCameraFov(c, in.F()); break;
        case 5: SetCameraNear(c, in.F()); break;
        case 6: SetCameraFar(c, in.F()); break;
        case 7: {
            E3DViewport *v = Any(in, L.viewport);
            if (v) AdjustCameraFocale(v, c);
            break;
        }
        default: {
            char name[48];
            SetCameraName(c, Name(in, name, sizeof name));
            break;
        }
    }
}

void OpLight(Input &in) {
    E3DLight *l = Any(in, L.light);
    const int which = in.Pick(11);
    if (!l || which == 0) {
        float p[3], d[3], colour[4];
        in.Floats(p, 3);
        in.Floats(d, 3);
        in.Floats(colour, 4);
        const float intensity = in.F(), a1 = in.F(), a2 = in.F();
        const uint32_t flags = in.Mode();
        E3DLight *made = in.Bit() ? CreateOmniLight(p, colour, intensity, a1, a2, flags)
                                  : CreateDirectLight(p, d, colour, intensity, flags);
        Store(L.light, in.Pick(kLights), made, DeleteLight);
        return;
    }
    float xyz[3];
    switch (which) {
        case 1: DeleteLight(l); break;
        case 2: {
            const float r = in.F(), g = in.F(), b = in.F();
            SetLightColor(l, r, g, b);
            (void)GetLightColor(l);
            break;
        }
        case 3: SetLightIntensity(l, in.F()); break;
        case 4: {
            const float a = in.F(), b = in.F();
            SetLightAttenuation(l, a, b);
            break;
        }
        case 5: {
            const int32_t on = in.I(), att = in.I();
            SetLightStatus(l, on, att);
            break;
        }
        case 6:
            in.Floats(xyz, 3);
            SetLightPosition(l, xyz, in.I());
            (void)GetLightPosition(l, in.I());
            break;
        case 7:
        case 8: {
            E3DNode *n = AnyNode(in);
            if (!n) break;
            if (which == 7) AssignLightToMesh(l, n);
            else RemoveLightFromMesh(l, n);
            break;
        }
        default: {
            char name[48];
            SetLightName(l, Name(in, name, sizeof name));
            break;
        }
    }
}

void OpMaterial(Input &in) {
    const int which = in.Pick(22);
    if (which == 0) {
        E3DMaterial *t = AnyMaterial(in);
        Store(L.material, in.Pick(kMaterials), CreateMaterial(t), DeleteMaterial);
        return;
    }
    if (which == 1) {
        E3DMaterial *m = Any(in, L.material);
        if (m) DeleteMaterial(m);
        return;
    }
    if (which <= 4) {
        E3DMesh *mesh = Any(in, L.mesh);
        if (!mesh) return;
        E3DMaterial *mat = MaterialFor(in, mesh);
        if (which == 4) {
            if (mat) RemoveMaterialFromMesh(mat, mesh);
            (void)GetMaterialByName(mesh, "Material00");
            (void)GetMaterial(mesh, in.I());
            (void)GetFaceMaterial(mesh, in.Index(mesh->polygonCount), in.I());
            return;
        }
        if (!mat) return;
        const int32_t side = in.I();
        if (which == 2) SetMaterial(mesh, mat, side, in.I());
        else SetFaceMaterial(mesh, in.Index(mesh->polygonCount), mat, in.I(), side);
        return;
    }
    E3DMaterial *m = AnyMaterial(in);
    if (!m) return;
    switch (which) {
        case 5: {
            uint32_t layer = uint32_t(in.I());
            if (in.Bit()) layer &= 3u;
            E3DTexture *t = AnyTexture(in);
            const uint32_t bits = in.Mode();
            SetMaterialTexture(m, layer, t, bits);
            break;
        }
        case 6: SetMaterialTextureMode(m, uint32_t(in.I()), in.Mode()); break;
        case 7: {
            E3DTexture *t = AnyTexture(in);
            if (t) RemoveTextureFromMaterial(t, m);
            break;
        }
        case 8: {
            const uint32_t slot = uint32_t(in.I());
            const float r = in.F(), g = in.F(), b = in.F();
            SetMaterialColor(m, slot, r, g, b);
            (void)GetMaterialColor(m, slot & 7u);
            break;
        }
        case 9: SetMaterialColorOp(m, uint16_t(in.U32()), in.I()); break;
        case 10: SetMaterialShininess(m, in.F()); break;
        case 11: SetMaterialSpecularLevel(m, in.F()); break;
        case 12: SetMaterialAlphaLevel(m, in.I()); break;
        case 13:
        case 14:
        case 15:
        case 16: {
            static void (*const kModeSetters[])(E3DMaterial *, uint32_t) = {
                SetMaterialAlphaMode, SetMaterialRenderMode, SetMaterialShadeMode, SetMaterialCullMode};
            kModeSetters[which - 13](m, in.Mode());
            break;
        }
        case 17: {
            char name[48];
            SetMaterialName(m, Name(in, name, sizeof name));
            break;
        }
        case 18: {
            E3DMesh *mesh = Any(in, L.mesh);
            E3DTexture *t = AnyTexture(in);
            if (mesh) SetTexture(mesh, t, in.I());
            break;
        }
        case 19: {
            const int32_t w = in.I(), h = in.I(), sq = in.I();
            const uint32_t colours = in.U32();
            Store(L.texture, in.Pick(kTextures),
                  CreateCheckerTexture(w, h, sq, uint16_t(colours), uint16_t(colours >> 16)), DeleteTexture);
            break;
        }
        case 20: {
            E3DTexture *t = Any(in, L.texture);
            if (t) DeleteTexture(t);
            break;
        }
        default: {
            (void)GetMaterialTextureMode(m, uint32_t(in.I()));
            (void)GetMaterialRenderMode(m);
            (void)GetMaterialAlphaLevel(m);
            break;
        }
    }
}

void OpScene(Input &in) {
    E3DScene *s = Any(in, L.scene);
    const int which = in.Pick(16);
    if (!s || which == 0) {
        Store(L.scene, in.Pick(kScenes), CreateScene(), DeleteScene);
        return;
    }
    switch (which) {
        case 1:
            if (in.Bit()) DeleteWholeScene(s);
            else DeleteScene(s);
            break;
        case 2: {
            E3DMesh *m = Any(in, L.mesh);
            if (!m || !Validated(m)) break;
            AssignMeshToScene(s, m, in.U8());
            break;
        }
        case 3: {
            E3DMesh *m = Any(in, L.mesh);
            if (m) RemoveMeshFromScene(in.Bit() ? s : nullptr, m, in.U8());
            break;
        }
        case 4: {
            E3DCamera *c = Any(in, L.camera);
            if (!c) break;
            if (in.Bit()) AssignCameraToScene(s, c);
            else RemoveCameraFromScene(in.Bit() ? s : nullptr, c);
            break;
        }
        case 5: {
            E3DLight *l = Any(in, L.light);
            if (!l) break;
            if (in.Bit()) AssignLightToScene(s, l, in.U8());
            else RemoveLightFromScene(in.Bit() ? s : nullptr, l);
            break;
        }
        case 6: {
            E3DMaterial *m = Any(in, L.material);
            if (!m) break;
            if (in.Bit()) AssignMaterialToScene(s, m);
            else RemoveMaterialFromScene(s, m);
            break;
        }
        case 7: {
            E3DSkeleton *k = Any(in, L.skeleton);
            if (!k) break;
            if (in.Bit()) AssignSkeletonToScene(s, k);
            else RemoveSkeletonFromScene(in.Bit() ? s : nullptr, k);
            break;
        }
        case 8: SetActiveSceneCamera(s, Any(in, L.camera)); break;
        case 9: SetSceneViewport(s, Any(in, L.viewport)); break;
        case 10: {
            const int32_t i = in.I();
            (void)SearchMeshByIndex(s, i);
            (void)SearchCameraByIndex(s, i);
            (void)SearchLightByIndex(s, i);
            (void)SearchMaterialByIndex(s, i);
            break;
        }
        case 11: {
            char name[48];
            const char *n = Name(in, name, sizeof name);
            (void)SearchMeshByName(s, n);
            (void)SearchCameraByName(s, n);
            (void)SearchLightByName(s, n);
            (void)SearchMaterialByName(s, n);
            (void)SearchSkeletonByName(s, n);
            break;
        }
        default: {
            (void)GetActiveSceneCamera(s);
            (void)GetSceneViewport(s);
            (void)GetSceneNumberOfMeshes(s);
            (void)GetSceneNumberOfCameras(s);
            (void)GetSceneNumberOfLights(s);
            (void)GetSceneNumberOfVisibleMeshes(s);
            break;
        }
    }
}

bool IsAncestorOrSelf(const E3DNode *maybeAncestor, const E3DNode *node) {
    for (const E3DNode *n = node; n; n = n->parent)
        if (n == maybeAncestor) return true;
    return false;
}

void OpTree(Input &in) {
    E3DNode *parent = AnyNode(in), *child = AnyNode(in);
    if (!parent || !child) return;
    if (in.Bit()) {
        DetachChildFromNode(parent, child);
        return;
    }
    // Only validated meshes in trees; cycles are tried, and must be refused
    // with nothing changed.
    if (IsAncestorOrSelf(child, parent)) {
        E3DNode *const before = child->parent;
        if (AttachChildToNode(parent, child) != 0 || child->parent != before) Fail("an attach made a node cycle");
        return;
    }
    if (IsMesh(child) && !Validated(reinterpret_cast<E3DMesh *>(child))) return;
    if (IsMesh(parent) && !Validated(reinterpret_cast<E3DMesh *>(parent))) return;
    AttachChildToNode(parent, child);
}

void OpSkeleton(Input &in) {
    const int which = in.Pick(10);
    E3DSkeleton *k = Any(in, L.skeleton);
    E3DBone *b = Any(in, L.bone);
    char name[48];
    switch (which) {
        case 0: Store(L.skeleton, in.Pick(kSkeletons), CreateSkeleton(), DeleteSkeleton); break;
        case 1:
            if (k) DeleteSkeleton(k);
            break;
        case 2: Store(L.bone, in.Pick(kBones), CreateBone(), DeleteBone); break;
        case 3:
            if (b) DeleteBone(b);
            break;
        case 4: {
            if (!k || !b) break;
            const char *parentName = in.Bit() ? nullptr : Name(in, name, sizeof name);
            char boneName[48];
            const char *bn = Name(in, boneName, sizeof boneName);
            AttachBoneToSkeleton(k, parentName, b, bn);
            break;
        }
        case 5: {
            if (!b) break;
            float a[3];
            in.Floats(a, 3);
            SetBoneOrientation(b, a, in.U8());
            break;
        }
        case 6: {
            if (!b) break;
            float p[3];
            in.Floats(p, 3);
            SetBonePosition(b, p, in.U8());
            SetBoneRoot(b);
            SetBoneTvObject(b, 0);
            break;
        }
        case 7: {
            if (!k) break;
            const char *n = Name(in, name, sizeof name);
            E3DBone *inside = GetBonePointerByName(k, n);
            if (inside) {
                float a[3];
                in.Floats(a, 3);
                SetBoneOrientation(inside, a, in.U8());
            }
            (void)GetBoneIndexByName(k, n);
            break;
        }
        case 8: {
            // Influences of a mesh's vertex, any vertex the mesh has now,
            // including ones added after the skeleton was assigned.
            E3DMesh *m = Any(in, L.mesh);
            if (!m) break;
            const int32_t vertex = in.Index(m->vertexCount);
            int32_t bones[4];
            float weights[4];
            for (int j = 0; j < 4; ++j) bones[j] = in.Bit() ? -1 : in.I();
            in.Floats(weights, 4);
            SetVertexBoneWeights(m, vertex, bones, weights);
            (void)GetVertexBoneWeights(m, in.Index(m->vertexCount), bones, weights);
            break;
        }
        default:
            if (k) {
                SetSkeletonXFormState(k, in.I());
                (void)GetSkeletonXFormState(k);
            }
            break;
    }
}

void OpViewport(Input &in) {
    E3DViewport *v = Any(in, L.viewport);
    const int which = in.Pick(11);
    if (!v || which == 0) {
        const int32_t depth = in.Bit() ? 1 : in.I();
        int32_t own = in.Bit() ? 1 : in.I();
        int32_t w = in.I(), h = in.I();
        const E3DTexture *surface = nullptr;
        if (own != 1) {
            // The caller's surface: its own size, a part of it, or more than
            // it holds (refused; the guard zones tell if it were not).
            const Surface &s = g_surface[in.Pick(kSurfaces)];
            if (s.memory.empty()) return;
            surface = &s.desc;
            w = in.Bit() ? s.width : 1 + in.Pick(s.width + 64);
            h = in.Bit() ? s.height : 1 + in.Pick(s.height + 64);
        }
        Store(L.viewport, in.Pick(kViewports), CreateViewport(surface, w, h, depth, own), DeleteViewport);
        return;
    }
    switch (which) {
        case 1: DeleteViewport(v); break;
        case 2: SetViewportDepthState(v, in.Bit() ? 1 : in.I()); break;
        case 3: ClearViewportDepthBuffer(v, in.I()); break;
        case 4: {
            float r[4];
            in.Floats(r, 4);
            if (in.Bit()) {
                // Mostly sensible rectangles inside the buffer.
                r[0] = float(in.Pick(8)), r[1] = v->width - float(in.Pick(8));
                r[2] = float(in.Pick(8)), r[3] = v->height - float(in.Pick(8));
            }
            SetViewportScissor(v, r[0], r[1], r[2], r[3]);
            GetViewportScissor(v, r);
            break;
        }
        case 5:
            // Bit 6 is the record of an own frame buffer: a careful host never sets it.
            SetViewportType(v, in.Bit() ? 0x80000001u : in.Mode() & ~0x40u);
            break;
        case 6: SetViewportCamera(v, Any(in, L.camera)); break;
        case 7: SetViewportMaterial(v, Any(in, L.material)); break;
        case 8: {
            E3DMesh *m = Any(in, L.mesh);
            if (m) SetMeshViewport(m, v);
            break;
        }
        default:
            (void)GetViewportType(v);
            (void)GetViewportCamera(v);
            break;
    }
}

void OpDraw(Input &in) {
    if (in.Bit()) {
        E3DScene *s = Any(in, L.scene);
        if (s) DrawScene(s);
    } else {
        E3DMesh *m = Any(in, L.mesh);
        if (m) DrawMesh(m);
    }
}

// The exported fillers on hostile corners, into whatever viewport is current.
void OpFiller(Input &in) {
    E3DVertex v[3] = {};
    for (E3DVertex &x : v) {
        x.screenX = in.F();
        x.screenY = in.F();
        x.invDepth = in.F();
        if (in.Bit()) {
            // Near the buffer, where the interesting clipping happens.
            x.screenX = float(in.Pick(120)) - 20.0f + float(in.Pick(4)) * 0.25f;
            x.screenY = float(in.Pick(100)) - 20.0f + float(in.Pick(4)) * 0.25f;
        }
    }
    E3DPolygon p{};
    p.vertex[0] = in.Pick(3);
    p.vertex[1] = (p.vertex[0] + 1 + in.Pick(2)) % 3;
    p.vertex[2] = 3 - p.vertex[0] - p.vertex[1];
    p.color = in.Bit() ? 0x80000000u : in.U32();
    p.color1 = in.U32();
    p.color2 = in.U32();
    // Engine polygons always name materials; the blend comes from them.
    E3DMaterial material{};
    material.alphaMode = uint16_t(in.Pick(4));
    material.alphaLevel = in.U8();
    p.material = p.backMaterial = &material;
    p.flags = in.Bit() ? 0x80u : 0u;
    switch (in.Pick(4)) {
        case 0: FlatSolidTriangle(&p, v); break;
        case 1: FlatSolidTriangleZ(&p, v); break;
        case 2: GouraudSolidTriangle(&p, v); break;
        default: GouraudSolidTriangleZ(&p, v); break;
    }
}

bool IsPermutation(const uint32_t *idx, uint32_t n) {
    bool seen[32] = {};
    for (uint32_t i = 0; i < n; ++i) {
        if (idx[i] >= n || seen[idx[i]]) return false;
        seen[idx[i]] = true;
    }
    return true;
}

// The sorters on hostile keys: the result is always a permutation, ordered
// and stable where the order is defined.
void OpSort(Input &in) {
    const uint32_t n = in.Pick(32);
    uint32_t keys[32], idx[32];
    float fkeys[32];
    const int kind = in.Pick(3);
    for (uint32_t i = 0; i < n; ++i) {
        keys[i] = in.Bit() ? in.U8() : in.U32();
        fkeys[i] = in.F();
    }
    ResetRadixSort(n, idx);
    for (uint32_t i = 0; i < n; ++i)
        if (idx[i] != i) Fail("ResetRadixSort did not write the identity");
    // Without its scratch array a sort leaves the order as it was.
    const bool mayBeUnsorted = FailureUsed();
    if (kind == 2) {
        RadixFloatSorter(n, fkeys, idx);
        if (!IsPermutation(idx, n)) Fail("RadixFloatSorter lost an index");
        bool plain = !mayBeUnsorted;  // finite, no zero of either sign: the order is plain
        for (uint32_t i = 0; i < n; ++i) plain = plain && fkeys[i] == fkeys[i] && fkeys[i] != 0.0f &&
                                                  fkeys[i] != kInf && fkeys[i] != -kInf;
        for (uint32_t i = 1; plain && i < n; ++i) {
            const float a = fkeys[idx[i - 1]], b = fkeys[idx[i]];
            if ((a < 0) != (b < 0) && a >= 0) Fail("RadixFloatSorter put a non-negative key before a negative one");
            if (a >= 0 && b >= 0 && (a > b || (a == b && idx[i - 1] > idx[i])))
                Fail("RadixFloatSorter misordered non-negative keys");
        }
        return;
    }
    const bool isSigned = kind == 1;
    RadixLongSorter(n, keys, idx, isSigned);
    // Negative keys of the signed order overlap: then only the bounds hold.
    bool negative = false;
    for (uint32_t i = 0; i < n && isSigned; ++i) negative = negative || int32_t(keys[i]) < 0;
    for (uint32_t i = 0; i < n; ++i)
        if (idx[i] >= n) Fail("RadixLongSorter wrote an index out of range");
    if (!negative && !IsPermutation(idx, n)) Fail("RadixLongSorter lost an index");
    const bool ordered = !mayBeUnsorted && !negative;
    for (uint32_t i = 1; ordered && i < n; ++i) {
        const uint32_t a = keys[idx[i - 1]], b = keys[idx[i]];
        if (a > b || (a == b && idx[i - 1] > idx[i])) Fail("RadixLongSorter misordered or unstable");
    }
}

E3DList g_list;  // emptied at the end of every input

void EmptyList() {
    while (g_list.count > 0 || g_list.items) RemoveListElement(&g_list, nullptr);
}

void OpMisc(Input &in) {
    E3DList &list = g_list;
    switch (in.Pick(5)) {
        case 0: {
            void *element = reinterpret_cast<void *>(uintptr_t(1 + in.Pick(4)));
            if (in.Bit()) AddListElement(&list, element);
            else RemoveListElement(&list, element);
            (void)GetListElementIndex(&list, element);
            break;
        }
        case 1: {
            E3DBVSphere *s = Any(in, L.sphere);
            float pts[12];
            in.Floats(pts, 12);
            if (!s) Store(L.sphere, in.Pick(kSpheres), CreateBVSphere(), DeleteBVSphere);
            else if (in.Bit()) ComputeBVSphere(s, pts, in.Pick(5));
            else if (in.Bit()) MergeBVSphere(s, pts, pts[3]);
            else DeleteBVSphere(s);
            MergeBVSpheres();
            break;
        }
        case 2: {
            float a[3], b[3], out[12];
            in.Floats(a, 3);
            in.Floats(b, 3);
            CreateLookAtMatrix(a, b, out);
            break;
        }
        case 3: {
            int32_t q, r;
            const int32_t num = in.I();
            int32_t den = in.I();
            if (den <= 0) den = 1 + in.Pick(7);
            FloorDivMod(num, den, &q, &r);
            if (r < 0 || r >= den) Fail("FloorDivMod remainder out of range");
            if (int64_t(q) * den + r != num) Fail("FloorDivMod quotient and remainder disagree");
            break;
        }
        default: EmptyList(); break;
    }
}

// Deletes everything left; a handle still in a table after its delete fails.
void ReleaseAll() {
    EmptyList();
    ForEachTable([](auto &table, auto del) {
        for (auto *&h : table)
            if (h) del(h);
    });
    ForEachTable([](auto &table, auto) {
        for (auto *h : table)
            if (h) Fail("a handle survived its delete");
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    HostMemoryFailNth(0);
    HostMemoryStats before{};
    HostMemoryGetStats(&before);
    InitEngine3D();
    g_live = Handles{};
    g_tracking = true;
    for (Surface &s : g_surface) {
        const int32_t w = 1 + in.Pick(48), h = 1 + in.Pick(40), extra = in.Pick(4);
        s.Make(w, h, extra, in.Bit());
    }
    while (in.More()) {
        int32_t failAt = 0;
        uint8_t op = in.U8() % 20;
        if (op == 19) {  // the next call meets a failing allocation
            failAt = 1 + in.Pick(12);
            op = in.U8() % 19;
        }
        HostMemoryFailNth(failAt);
        g_failureArmed = failAt > 0;
        switch (op) {
            case 0:
            case 1: OpMeshBuild(in); break;
            case 2: OpGenerator(in); break;
            case 3:
            case 4: OpMeshState(in); break;
            case 5: OpCamera(in); break;
            case 6: OpLight(in); break;
            case 7:
            case 8: OpMaterial(in); break;
            case 9:
            case 10: OpScene(in); break;
            case 11: OpTree(in); break;
            case 12: OpSkeleton(in); break;
            case 13: OpViewport(in); break;
            case 14:
            case 15: OpDraw(in); break;
            case 16: OpFiller(in); break;
            case 17: OpSort(in); break;
            default: OpMisc(in); break;
        }
        HostMemoryFailNth(0);
        g_failureArmed = false;
        for (const Surface &s : g_surface) s.Check();
    }
    ReleaseAll();
    g_tracking = false;
    e3d::SetRasterContext(nullptr, nullptr);
    ReleaseEngine3D();
    HostMemoryStats after{};
    HostMemoryGetStats(&after);
    for (const Surface &s : g_surface) s.Check();
    if (after.liveBlocks != before.liveBlocks || after.liveBytes != before.liveBytes) {
        std::fprintf(stderr, "api fuzzer: %lld blocks, %lld bytes leaked\n",
                     (long long)(after.liveBlocks - before.liveBlocks),
                     (long long)(after.liveBytes - before.liveBytes));
        std::abort();
    }
    return 0;
}
