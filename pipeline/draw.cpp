// Scene and mesh draw traversal: per-frame set-up, the object walk that
// feeds the vertex stages, the depth sort and the drawing order.
#include "engine3d.h"

#include <cmath>
#include <cstring>

#include "core/clip.h"
#include "core/matrix.h"
#include "core/modes.h"
#include "core/node.h"
#include "core/normals.h"
#include "core/view.h"
#include "pipeline/dispatch.h"
#include "pipeline/radix_sort.h"
#include "raster/flat_solid.h"
#include "raster/gouraud_solid.h"
#include "raster/raster.h"
#include "scene/mesh.h"
#include "shading/skinning.h"
#include "shading/vertex_stages.h"

namespace e3d {

namespace {

constexpr uint32_t kSkipMesh = kMeshSwitchedOff | kMeshHidden | kMeshOutsideView;

// The six stage slots of each entry point, filled at the start of every draw.
const StageRoutine *g_sceneStages;
const StageRoutine *g_meshStages;
const StageRoutine *g_stages;
uint32_t g_count;
uint32_t g_capacity;  // entries the frame's list holds
int32_t g_visibleMeshes;

E3DMesh *AsMesh(E3DNode *n) { return reinterpret_cast<E3DMesh *>(n); }

// World matrices down the hierarchy: a mesh below a mesh takes its parent's
// world matrix as its base.
void UpdateWorldMatrices(E3DNode *node, const float *parentWorld) {
    if (IsMeshNode(node)) {
        E3DMesh *mesh = AsMesh(node);
        if (parentWorld) std::memcpy(mesh->baseMatrix, parentWorld, sizeof mesh->baseMatrix);
        RefreshMeshMatrices(mesh);
        parentWorld = mesh->worldMatrix;
    }
    for (int i = 0; i < node->childCount; ++i) UpdateWorldMatrices(node->children[i], parentWorld);
}

uint32_t BoxCornerCode(const float *m, const float *corner, const float *offset, bool &crosses) {
    const ClipFrame &f = g_clipFrame;
    const float px = corner[0] + offset[0], py = corner[1] + offset[1], pz = corner[2] + offset[2];
    const float z = m[8] * px + m[9] * py + m[10] * pz + m[11];
    const float dn = z - f.nearZ;
    if (IsNegative(dn) || dn == 0.0f) {
        crosses = true;
        return kOutNear;
    }
    if (z - f.farZ > 0.0f) {
        crosses = true;
        return kOutFar;
    }
    const float k = (1.0f / z) * f.focal;
    const float x = (m[0] * px + m[1] * py + m[2] * pz + m[3]) * k + f.centerX;
    const float y = (m[4] * px + m[5] * py + m[6] * pz + m[7]) * k * f.yScale + f.centerY;
    return ScreenCodeX(x, f) | ScreenCodeY(y, f);
}

// Billboards turn toward the eye: mode 1 fully (the mesh's axes become the
// view's), mode 2 about the world's y axis only. The world matrix takes the
// turned orientation too, so that the eye and the lights are carried into
// the mesh space the billboard is drawn in.
void FaceCamera(E3DMesh *mesh, const float *view) {
    float *m = mesh->auxMatrix;
    float *w = mesh->worldMatrix;
    const uint32_t mode = mesh->billboardMode & 3u;
    if (mode == 1) {
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) {
                m[4 * i + j] = i == j ? 1.0f : 0.0f;
                w[4 * i + j] = view[4 * j + i];  // the view's inverse rotation
            }
        return;
    }
    if (mode != 2) return;
    const float dx = view[3] - w[3], dz = view[11] - w[11];
    const float length = std::sqrt(dx * dx + dz * dz);
    if (!(length > 0.0f)) return;
    // Local z points away from the eye, so the face (toward -z) looks at it.
    const float sine = -dx / length, cosine = -dz / length;
    const float turn[12] = {cosine, 0, sine, 0, 0, 1, 0, 0, -sine, 0, cosine, 0};
    MultiplyRotations(m, view, turn);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) w[4 * i + j] = turn[4 * i + j];
}

// Camera-space matrix and bounding-box classification of an object and,
// through the hierarchy, of its children.
void PrepareObject(E3DNode *node, const float *view) {
    if (IsMeshNode(node)) {
        E3DMesh *mesh = AsMesh(node);
        mesh->state &= ~(kMeshCrossesDepth | kMeshOutsideView);
        E3DMesh *box = mesh->boundingBox;
        CombineViewWithWorld(mesh->auxMatrix, view, mesh->worldMatrix);
        if (mesh->meshKind == kMeshBillboard) FaceCamera(mesh, view);
        if (box) {
            box->state &= ~(kMeshCrossesDepth | kMeshOutsideView);
            std::memcpy(box->auxMatrix, mesh->auxMatrix, sizeof box->auxMatrix);
            bool crosses = false;
            uint32_t all = ~0u;
            for (int i = 0; i < 8 && i < box->vertexCount; ++i) {
                all &= BoxCornerCode(mesh->auxMatrix, box->vertices[i].position, mesh->pivot, crosses);
            }
            if (crosses) mesh->state |= kMeshCrossesDepth;
            if (all) mesh->state |= kMeshOutsideView;
        }
    }
    for (int i = 0; i < node->childCount; ++i) PrepareObject(node->children[i], view);
}

// Bone-deformed meshes are culled by their deformed vertices, not by the
// box of the undeformed mesh; only switched-off and hidden ones are skipped
// before the skeleton is applied.
constexpr uint32_t kSkipSkinned = kMeshSwitchedOff | kMeshHidden;

inline uint32_t SkipMask(const E3DMesh *mesh) { return mesh->meshKind == kMeshDeformed ? kSkipSkinned : kSkipMesh; }

uint32_t RunStage(E3DMesh *mesh, int firstSlot);

// Apply the skeleton (which may cull the mesh), project every vertex from
// its world position, face planes from the world positions, then the stage.
// A mesh that no bone moves this frame is drawn as the ordinary mesh it is,
// culled by its own box, so a skeleton at rest changes no pixel. Kind-2
// children get the same treatment rather than drawing stale positions.
// The face planes a deformed frame leaves in world space go back to mesh
// space before the mesh is drawn undeformed again.
uint32_t RunSkinnedStage(E3DMesh *mesh) {
    const bool deformed = ApplySkeleton(mesh);
    if (mesh->state & kMeshOutsideView) return 0;
    if (!deformed) {
        RestoreMeshPlanes(mesh);
        return RunStage(mesh, 0);
    }
    // Guard: as for the other kinds, no room in the list means no stage.
    if (uint32_t(mesh->polygonCount) > g_capacity - g_count) return 0;
    ProjectSkinnedVertices(mesh);
    CalcMeshPolygonsNormalWorld(mesh);
    return g_stages[2 + ((mesh->state & kShadeMask) == E3D_SHADE_NONE ? 0 : 1)](mesh);
}

uint32_t RunStage(E3DMesh *mesh, int firstSlot) {
    // Guard: a stage emits at most one entry a polygon; a mesh the list has
    // no room for (its allocation failed) is not staged rather than written
    // past the list.
    if (uint32_t(mesh->polygonCount) > g_capacity - g_count) return 0;
    SetUpMeshProjection(mesh);
    return g_stages[firstSlot + ((mesh->state & kShadeMask) == E3D_SHADE_NONE ? 0 : 1)](mesh);
}

// Every mesh below is walked whether or not its parent is drawn; only
// type-1 nodes take part. Not counted as visible meshes.
void ChildWalk(E3DNode *node, bool sceneWalk) {
    if (NodeType(node) != 1) return;
    E3DMesh *mesh = AsMesh(node);
    if (!(mesh->state & SkipMask(mesh))) {
        switch (mesh->meshKind) {
            case kMeshOrdinary: g_count += RunStage(mesh, 0); break;
            case kMeshDeformed:
                if (sceneWalk) g_count += RunSkinnedStage(mesh);
                break;
            case kMeshBillboard: g_count += RunStage(mesh, 4); break;
            default: break;
        }
    }
    for (int i = 0; i < node->childCount; ++i) ChildWalk(node->children[i], sceneWalk);
}

void TopLevelWalk(E3DMesh *mesh) {
    if (mesh->node.childCount > 0) {
        ChildWalk(&mesh->node, true);
        return;
    }
    if (mesh->state & SkipMask(mesh)) return;
    switch (mesh->meshKind) {
        case kMeshOrdinary: ++g_visibleMeshes, g_count += RunStage(mesh, 0); break;
        case kMeshDeformed:
            // Counted by the flags the walk finds, like every kind: the
            // deformed box may still cull it below.
            if (!(mesh->state & kSkipMesh)) ++g_visibleMeshes;
            g_count += RunSkinnedStage(mesh);
            break;
        case kMeshBillboard: ++g_visibleMeshes, g_count += RunStage(mesh, 4); break;
        default: break;
    }
}

void CopyLightWork(E3DMesh *mesh) {
    if (!mesh->lights) return;
    for (int i = 0; i < 64 && mesh->lights[i]; ++i) {
        E3DLight *l = mesh->lights[i];
        std::memcpy(l->workPosition, l->position, sizeof l->position);
        std::memcpy(l->workDirection, l->direction, sizeof l->direction);
    }
}

void CopyLightWorkTree(E3DNode *node) {
    if (IsMeshNode(node)) CopyLightWork(AsMesh(node));
    for (int i = 0; i < node->childCount; ++i) CopyLightWorkTree(node->children[i]);
}

// Per-frame constants for the projection, the bounding-box test and clipping.
void LoadFrame(E3DViewport *viewport, E3DCamera *camera) {
    LoadClipBounds(viewport);
    std::memcpy(camera->workPosition, camera->position, sizeof camera->position);
    std::memcpy(camera->workTarget, camera->target, sizeof camera->target);
    AdjustCameraFocale(viewport, camera);
    BuildCameraViewMatrix(camera);
    ClipFrame &f = g_clipFrame;
    f.xMin = g_clipBounds.xMin;
    f.xMax = g_clipBounds.xMax;
    f.yMin = g_clipBounds.yMin;
    f.yMax = g_clipBounds.yMax;
    f.centerX = viewport->centerX;
    f.centerY = viewport->centerY;
    f.yScale = viewport->yScale;
    f.focal = camera->focal;
    f.nearZ = camera->near;
    f.farZ = camera->far;
    ProjectionState &p = g_projection;
    p.centerX = f.centerX;
    p.centerY = f.centerY;
    p.yScale = f.yScale;
    p.focal = f.focal;
    p.nearZ = f.nearZ;
    p.farZ = f.farZ;
    p.clipXMin = f.xMin;
    p.clipXMax = f.xMax;
    p.clipYMin = f.yMin;
    p.clipYMax = f.yMax;
    std::memcpy(p.cameraWorld, camera->position, sizeof p.cameraWorld);
}

void StartLists(E3DSortEntry *entries, int32_t capacity, bool depthBuffered) {
    g_lists.front = entries;
    g_lists.back = depthBuffered && capacity > 0 ? entries + (capacity - 1) : nullptr;
    g_lists.sortedCount = 0;
    g_lists.opaqueCount = 0;
    g_count = 0;
    g_capacity = entries && capacity > 0 ? uint32_t(capacity) : 0u;
}

inline void Draw(const E3DSortEntry &entry, bool depthBuffered) {
    const uint32_t mode = entry.mode;
    const uint32_t index = depthBuffered ? DepthPassFillerIndex(mode) : SortedPassFillerIndex(mode);
    DispatchPolygon(&entry, FillerTable[mode & kShadeMask][index]);
}

// Sorted entries visit polygon and vertex records in depth order, scattered
// over memory: fetch them a few entries ahead so that the cache misses
// overlap instead of stalling each draw in turn. Entry first, then its
// polygon, then (once the polygon is in) its three vertices.
constexpr int32_t kAheadVertices = 8, kAheadPolygon = 16, kAheadEntry = 24, kAheadRecord = 16;

// Always inlined: a separate routine of nothing but prefetches would count as
// free of effects and its calls be dropped.
[[gnu::always_inline]] inline void PrefetchSorted(const E3DSortEntry *entries, const uint32_t *order, int32_t i) {
    if (i >= kAheadEntry) __builtin_prefetch(&entries[order[i - kAheadEntry]]);
    if (i >= kAheadPolygon) {
        const char *p = reinterpret_cast<const char *>(entries[order[i - kAheadPolygon]].polygon);
        __builtin_prefetch(p);
        __builtin_prefetch(p + sizeof(E3DPolygon) - 1);
    }
    if (i >= kAheadVertices) {
        const E3DSortEntry &e = entries[order[i - kAheadVertices]];
        const E3DVertex *v = e.mesh->vertices;
        for (int j = 0; j < 3; ++j) {
            const char *c = reinterpret_cast<const char *>(v + e.polygon->vertex[j]);
            __builtin_prefetch(c);
            __builtin_prefetch(c + sizeof(E3DVertex) - 1);
        }
    }
}

// Small triangles drawn in list order land anywhere on the screen, and each
// of their rows misses the cache in both buffers. Fetch the top rows of a
// triangle some entries ahead, from its projected corners. Addresses are
// formed as integers and only prefetched, so corners off the screen (or not
// numbers) do no harm.
struct RowPrefetch {
    uintptr_t frame, depth;  // buffer bases
    uintptr_t framePitch, depthPitch;  // bytes per row
    float maxX, maxY;
};

constexpr int32_t kAheadRows = 6, kPrefetchRows = 4;

inline float PrefetchBound(float size) { return size >= 1.0f && size <= 65536.0f ? size - 1.0f : 0.0f; }

RowPrefetch MakeRowPrefetch(const E3DViewport *v) {
    return RowPrefetch{uintptr_t(v->frameBuffer), uintptr_t(v->depthBuffer), 2 * uintptr_t(v->pitch),
                       4 * uintptr_t(v->pitch), PrefetchBound(v->width), PrefetchBound(v->height)};
}

[[gnu::always_inline]] inline void PrefetchRows(const RowPrefetch &r, const E3DSortEntry &e) {
    const E3DVertex *v = e.mesh->vertices;
    const int32_t *corner = e.polygon->vertex;
    const E3DVertex &a = v[corner[0]], &b = v[corner[1]], &c = v[corner[2]];
    float x = a.screenX < b.screenX ? a.screenX : b.screenX;
    x = c.screenX < x ? c.screenX : x;
    float y = a.screenY < b.screenY ? a.screenY : b.screenY;
    y = c.screenY < y ? c.screenY : y;
    if (!(x >= 0.0f)) x = 0.0f;
    if (!(y >= 0.0f)) y = 0.0f;
    if (x > r.maxX) x = r.maxX;
    if (y > r.maxY) y = r.maxY;
    const uintptr_t column = uintptr_t(x), row = uintptr_t(y);
    for (int32_t k = 0; k < kPrefetchRows; ++k) {
        __builtin_prefetch(reinterpret_cast<const void *>(r.depth + (row + k) * r.depthPitch + column * 4));
        __builtin_prefetch(reinterpret_cast<const void *>(r.frame + (row + k) * r.framePitch + column * 2));
    }
}

// The painter's pass draws its entries in depth order, scattered over the
// polygon and vertex records. Flat triangles that need no clipping (nearly
// all of a typical list) are first reduced, in list order, to 32-byte
// records the draw loop reads instead: one cache line fetch per triangle
// rather than one for the entry, two for the polygon and several for its
// vertices. Every other entry is drawn through its filler as before.
using SortedRecord = FlatSortedTriangle;
static_assert(sizeof(SortedRecord) == 32);

// Fills the records of the n entries; `general` counts the entries left to
// their fillers.
void PrepareSortedRecords(const E3DSortEntry *entries, uint32_t n, SortedRecord *records, uint32_t &general) {
    general = 0;
    for (uint32_t i = 0; i < n; ++i) {
        const E3DSortEntry &e = entries[i];
        SortedRecord &r = records[i];
        const uint32_t mode = e.mode;
        const E3DPolygon *p = e.polygon;
        const E3DVertex *v = e.mesh->vertices;
        const uint32_t a = v[p->vertex[0]].clipCode, b = v[p->vertex[1]].clipCode, c = v[p->vertex[2]].clipCode;
        r.blend = kFlatGeneral;
        if (FillerTable[mode & kShadeMask][SortedPassFillerIndex(mode)] != FlatSolidTriangle) {
            ++general;
            continue;
        }
        if (a & b & c) {
            r.blend = kFlatNothing;  // wholly outside one edge
            continue;
        }
        // Solid modes with a corner outside are clipped into a fan first.
        if ((mode & kRenderSolid) == kRenderSolid && (a | b | c) != 0) {
            ++general;
            continue;
        }
        PrepareFlatSorted(p, v, r);
        if (r.blend == kFlatGeneral) ++general;
    }
}

// Opaque entries of the depth pass that the depth-tested flat or Gouraud
// filler draws and whose corners need no clipping go straight to its fill
// routine, with the target looked up once per list: the dispatcher would
// only copy the polygon and look the target up again for every triangle.
[[gnu::always_inline]] inline void DrawOpaque(const E3DSortEntry &entry, const RasterTarget &target) {
    const uint32_t mode = entry.mode;
    const TriangleFiller filler = FillerTable[mode & kShadeMask][DepthPassFillerIndex(mode)];
    const bool flat = filler == FlatSolidTriangleZ;
    if (flat || filler == GouraudSolidTriangleZ) {
        E3DPolygon *p = entry.polygon;
        E3DVertex *v = entry.mesh->vertices;
        const uint32_t a = v[p->vertex[0]].clipCode, b = v[p->vertex[1]].clipCode, c = v[p->vertex[2]].clipCode;
        if (a & b & c) return;  // wholly outside one edge
        if ((mode & kRenderSolid) != kRenderSolid || (a | b | c) == 0) {
            if (flat) FlatSolidFill(p, v, target, true);
            else GouraudSolidFill(p, v, target, true);
            return;
        }
    }
    Draw(entry, true);
}

// The frame of one polygon list: sort, then draw in order. Opaque entries
// are drawn upward from the lowest slot (scenes) or downward from the last
// slot (single meshes).
void SortAndDraw(E3DSortEntry *entries, uint32_t *order, int32_t capacity, bool depthBuffered, bool meshOrder,
                 E3DViewport *viewport, E3DCamera *camera) {
    if (depthBuffered) {
        if (!meshOrder || g_lists.sortedCount) SortPolygonList(g_lists.sortedCount, entries, order);
        SetRasterContext(viewport, camera);
        const int32_t opaque = int32_t(g_lists.opaqueCount);
        const RowPrefetch rows = MakeRowPrefetch(viewport);
        const RasterTarget target = CurrentRasterTarget(true);
        if (meshOrder) {
            const int32_t last = capacity - opaque;
            for (int32_t i = capacity - 1; i >= last; --i) {
                if (i - kAheadRows >= last) PrefetchRows(rows, entries[i - kAheadRows]);
                DrawOpaque(entries[i], target);
            }
        } else {
            for (int32_t i = capacity - opaque; i < capacity; ++i) {
                if (i + kAheadRows < capacity) PrefetchRows(rows, entries[i + kAheadRows]);
                DrawOpaque(entries[i], target);
            }
        }
        for (int32_t i = int32_t(g_lists.sortedCount) - 1; i >= 0; --i) {
            PrefetchSorted(entries, order, i);
            Draw(entries[order[i]], true);
        }
    } else {
        const uint32_t recordBytes =
            g_count <= 0x7FFFFFFFu / sizeof(SortedRecord) ? g_count * uint32_t(sizeof(SortedRecord)) : 0u;
        auto *records =
            static_cast<SortedRecord *>(SortPolygonListWithRecords(g_count, entries, order, recordBytes));
        SetRasterContext(viewport, camera);
        const RasterTarget target = CurrentRasterTarget(false);
        uint32_t general = 0;
        if (!target.frame || recordBytes == 0) records = nullptr;
        if (records) PrepareSortedRecords(entries, g_count, records, general);
        if (!records) {
            for (int32_t i = int32_t(g_count) - 1; i >= 0; --i) {
                PrefetchSorted(entries, order, i);
                Draw(entries[order[i]], false);
            }
            return;
        }
        for (int32_t i = int32_t(g_count) - 1; i >= 0; --i) {
            if (i >= kAheadRecord) __builtin_prefetch(&records[order[i - kAheadRecord]]);
            if (general && i >= kAheadVertices && records[order[i - kAheadVertices]].blend == kFlatGeneral) {
                // The few entries left to their fillers: fetch their polygons.
                const E3DSortEntry &e = entries[order[i - kAheadVertices]];
                __builtin_prefetch(e.polygon);
                __builtin_prefetch(reinterpret_cast<const char *>(e.polygon) + sizeof(E3DPolygon) - 1);
            }
            const SortedRecord &r = records[order[i]];
            if (r.blend < kFlatNothing) DrawFlatSorted(r, target);
            else if (r.blend == kFlatGeneral) Draw(entries[order[i]], false);
        }
    }
}

}  // namespace

}  // namespace e3d

using namespace e3d;

extern "C" E3D_API void DrawScene(E3DScene *scene) {
    if (!scene || !(scene->flags & 1u) || scene->meshes.count < 1 || scene->cameras.count < 1) return;
    E3DViewport *viewport = scene->viewport;
    if (!viewport || scene->activeCamera < 0 || !(viewport->flags & E3D_VIEWPORT_ENABLED)) return;
    if (scene->activeCamera >= scene->cameras.count) return;  // Guard: a stale index
    E3DCamera *camera = static_cast<E3DCamera *>(scene->cameras.items[scene->activeCamera]);
    scene->count = 0;
    const bool depthBuffered = (viewport->flags & E3D_VIEWPORT_DEPTH_BUFFER) != 0 && viewport->depthBuffer;
    g_sceneStages = depthBuffered ? kDepthBufferedStages : kPainterStages;
    g_stages = g_sceneStages;
    // The walk runs even without a polygon list (matrices, box flags and
    // counts are the frame's either way); only drawing needs the list.
    const int32_t capacity = scene->sortEntries ? scene->sortCapacity : 0;
    StartLists(scene->sortEntries, capacity, depthBuffered);
    LoadFrame(viewport, camera);
    SetSkinningView(camera->viewMatrix);
    for (int32_t i = 0; i < scene->meshes.count; ++i) {
        auto *mesh = static_cast<E3DMesh *>(scene->meshes.items[i]);
        CopyLightWorkTree(&mesh->node);
        UpdateWorldMatrices(&mesh->node, nullptr);
    }
    for (int32_t i = 0; i < scene->meshes.count; ++i)
        PrepareObject(&static_cast<E3DMesh *>(scene->meshes.items[i])->node, camera->viewMatrix);
    g_visibleMeshes = 0;
    for (int32_t i = 0; i < scene->meshes.count; ++i) TopLevelWalk(static_cast<E3DMesh *>(scene->meshes.items[i]));
    scene->visibleMeshCount = g_visibleMeshes;
    scene->count = int32_t(g_count);
    if (capacity <= 0) return;
    SortAndDraw(scene->sortEntries, scene->sortBuffer, capacity, depthBuffered, false, viewport, camera);
}

extern "C" E3D_API int32_t DrawMesh(E3DMesh *mesh) {
    if (!mesh || !(mesh->state & kMeshActive) || !mesh->viewport) return 0;
    E3DViewport *viewport = mesh->viewport;
    E3DCamera *camera = viewport->camera;
    if (!camera || !(viewport->flags & E3D_VIEWPORT_ENABLED)) return 0;
    // Guard: a mesh that sorts through a scene or a root has no list here.
    const int32_t capacity = (mesh->sortBuffer && mesh->sortEntries) ? mesh->sortCapacity : 0;
    if (capacity <= 0 || capacity < mesh->treePolygonCount) return 0;
    const bool depthBuffered = (viewport->flags & E3D_VIEWPORT_DEPTH_BUFFER) != 0 && viewport->depthBuffer;
    g_meshStages = depthBuffered ? kDepthBufferedStages : kPainterStages;
    g_stages = g_meshStages;
    StartLists(mesh->sortEntries, capacity, depthBuffered);
    LoadFrame(viewport, camera);
    CopyLightWorkTree(&mesh->node);
    UpdateWorldMatrices(&mesh->node, nullptr);
    PrepareObject(&mesh->node, camera->viewMatrix);
    ChildWalk(&mesh->node, false);
    SortAndDraw(mesh->sortEntries, mesh->sortBuffer, capacity, depthBuffered, true, viewport, camera);
    return int32_t(g_count);
}
