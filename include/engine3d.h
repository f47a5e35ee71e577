/*
 * Engine3D: a CPU software 3D renderer with a flat C interface.
 *
 * A host calls InitEngine3D, builds scenes of meshes, lights, cameras,
 * materials and skeletons through the functions below, binds a viewport
 * with a 16-bit 5-5-5 frame buffer (and optionally a 1/z depth buffer) and
 * calls DrawScene once per frame. ReleaseEngine3D ends the engine's life.
 *
 * Conventions
 * - Objects are plain records handed out as pointers. The caller owns what
 *   it creates and frees it with the matching Delete... function.
 * - Failure is a NULL or 0 result; there are no error codes or messages.
 * - Guard: a NULL where a call needs an object, a name or an array changes
 *   nothing and gives the call's failure value: NULL, 0 (0.0 for a float),
 *   -1 for the index look-ups GetListElementIndex and GetBoneIndexByName,
 *   nothing for a void call. A NULL given a meaning below keeps it (a
 *   generator's scale, the NULL scene of the Remove...FromScene calls,
 *   SetViewportCamera's camera, a material or texture NULL that clears).
 * - Every byte comes from the host support library (AllocateMemory /
 *   FreeMemory); the engine starts no threads and reads no files.
 * - The engine is single-threaded and not re-entrant: serialise all calls.
 * - Records keep the field order of the engine's 32-bit record layout.
 *   Pointer fields are pointer-sized, so on 64-bit hosts records are larger;
 *   sizes quoted in words hold for 32-bit builds.
 *
 * Where Engine3D goes beyond the letter of its design, the comment of the
 * function says so ("Guard:"): such guards never change a result that the
 * design defines for finite, in-range input.
 *
 * Before the first frame (the README's "A first frame" program does all this)
 * - Space: view space has x to the right, y up and z into the screen (a
 *   left-handed system); screen y grows downward. A polygon's front is the
 *   side from which its corners, in the order given to SetMeshTriPolygon or
 *   SetMeshQuadPolygon, run clockwise on screen.
 * - Depth: the depth buffer holds (1/z) * 2^30, larger is nearer; clear it
 *   with ClearViewportDepthBuffer(v, 0), which makes every pixel pass.
 * - A generated or built mesh draws only once active: call ActivateMesh (or
 *   ValidateMesh for a mesh built by hand) before AssignMeshToScene.
 * - Nothing draws until the viewport is enabled:
 *   SetViewportType(v, E3D_VIEWPORT_TYPE1 | E3D_VIEWPORT_ENABLED).
 * - The colour given to CreateMesh or a generator is the default material's
 *   ambient colour (E3D_COLOR_AMBIENT), which lights do not change. A lit
 *   mesh needs a diffuse colour: SetMaterialColor(GetMeshDefaultMaterial(m),
 *   E3D_COLOR_DIFFUSE, r, g, b), and a light switched on with SetLightStatus.
 * - AssignLightToScene(scene, light, 1) gives the light to the meshes the
 *   scene holds now, not to meshes assigned later: assign meshes first, or
 *   assign later meshes with AssignMeshToScene(scene, mesh, 1).
 * - A triangle AddMeshTriPolygon refuses (a bad or repeated corner) still
 *   takes its slot, so ValidateMesh then refuses the whole mesh.
 */
#ifndef ENGINE3D_H
#define ENGINE3D_H

#include <stdint.h>

/* Windows: exported from the DLL, imported by its users; E3D_STATIC for a
 * program linking the static library there. */
#if defined(_WIN32) && defined(E3D_BUILDING)
#define E3D_API __declspec(dllexport)
#elif defined(_WIN32) && !defined(E3D_STATIC)
#define E3D_API __declspec(dllimport)
#elif defined(E3D_BUILDING)
#define E3D_API __attribute__((visibility("default")))
#else
#define E3D_API
#endif

#include "engine3d_version.h" /* E3D_VERSION, written by the build */

#ifdef __cplusplus
extern "C" {
#endif

/* ======================================================================
 * Named values
 * The numbers a host passes to the setters below. Mode words are bit
 * fields: combine them with | where a setter takes several (for example
 * SetViewportType(v, E3D_VIEWPORT_TYPE1 | E3D_VIEWPORT_ENABLED)).
 *
 * Colour ranges:
 *   0..255 per channel    SetMaterialColor, GetMaterialColor, SetLightColor,
 *                         GetLightColor
 *   0..1 per channel      the colour array of CreateOmniLight and
 *                         CreateDirectLight; the light record's color field
 *   0x00RRGGBB word       CreateMesh, the generators, polygon colours
 *   5-5-5 pixel           frame buffers and textures: red bits 10-14,
 *                         green 5-9, blue 0-4
 * ====================================================================== */

/* Viewport type and drawing switch (SetViewportType): a type of 1..3 with
 * E3D_VIEWPORT_ENABLED, without which DrawScene draws nothing. */
#define E3D_VIEWPORT_TYPE1 0x1u
#define E3D_VIEWPORT_TYPE2 0x2u
#define E3D_VIEWPORT_TYPE3 0x3u
#define E3D_VIEWPORT_ENABLED 0x80000000u
/* Viewport flags the engine keeps: depth buffer in use (and tested), own
 * frame buffer. */
#define E3D_VIEWPORT_DEPTH_BUFFER 0x8u
#define E3D_VIEWPORT_DEPTH_TEST 0x10u
#define E3D_VIEWPORT_OWN_BUFFER 0x40u

/* Depth state (SetViewportDepthState, CreateViewport's depth argument):
 * on draws depth-buffered, off draws in painter's order. */
enum { E3D_DEPTH_OFF = 0, E3D_DEPTH_ON = 1 };

/* Render modes (SetMeshRenderMode, SetMaterialRenderMode). */
#define E3D_RENDER_DOTS 0x100000u
#define E3D_RENDER_WIRE 0x300000u
#define E3D_RENDER_SOLID 0x700000u
#define E3D_RENDER_TEXTURED 0x7F00000u
#define E3D_RENDER_MODIFIER 0x40u /* bit 6, kept beside the render mode */

/* Shade modes (SetMeshShadeMode, SetMaterialShadeMode). */
enum { E3D_SHADE_NONE = 1, E3D_SHADE_FLAT = 3, E3D_SHADE_GOURAUD = 7 };

/* Cull modes (SetMeshCullMode, SetMaterialCullMode): which faces are drawn.
 * E3D_CULL_NONE draws both sides (on a material: two-sided). */
#define E3D_CULL_NONE 0x08u
#define E3D_CULL_FRONT 0x10u /* back faces only, with the back material */
#define E3D_CULL_BACK 0x20u  /* front faces only: the default */

/* Blend types (SetMaterialAlphaMode); opacity uses the alpha level. */
enum { E3D_BLEND_REPLACE = 0, E3D_BLEND_ADDITIVE = 1, E3D_BLEND_OPACITY = 2, E3D_BLEND_SUBTRACTIVE = 3 };

/* Material mode bits: colour op enabled, specular enabled. */
#define E3D_MATERIAL_COLOR_OP 0x100u
#define E3D_MATERIAL_SPECULAR 0x80000u
/* Texture layer present bits of a material mode (layers 0..3): layer 0
 * holds the diffuse map, 1 the opacity map, 2 the environment map. */
#define E3D_TEXTURE_LAYER0 0x800000u
#define E3D_TEXTURE_LAYER1 0x1000000u
#define E3D_TEXTURE_LAYER2 0x2000000u
#define E3D_TEXTURE_LAYER3 0x4000000u
/* Layer mode bit: both texture sides are powers of two. */
#define E3D_TEXTURE_POWER_OF_TWO 0x40000000u

/* Material colour slots (SetMaterialColor) and polygon sides (SetMaterial,
 * SetFaceMaterial). */
enum { E3D_COLOR_AMBIENT = 0, E3D_COLOR_DIFFUSE = 1, E3D_COLOR_EMISSIVE = 2, E3D_COLOR_SPECULAR = 3 };
enum { E3D_SIDE_FRONT = 0, E3D_SIDE_BACK = 1, E3D_SIDE_BOTH = 2 };

/* Light status (SetLightStatus(light, on, attenuated)) and the light flag
 * bits it writes; the kind bits come from the create functions. */
enum { E3D_LIGHT_OFF = 0, E3D_LIGHT_ON = 1 };
enum { E3D_LIGHT_UNATTENUATED = 0, E3D_LIGHT_ATTENUATED = 1 };
#define E3D_LIGHT_FLAG_ATTENUATED 0x1u
#define E3D_LIGHT_FLAG_OMNI 0x2u
#define E3D_LIGHT_FLAG_DIRECT 0x4u
#define E3D_LIGHT_FLAG_ON 0x80000000u

/* Billboard modes (SetMeshBillboardMode): turn fully toward the camera, or
 * about the billboard's y axis only. */
enum { E3D_BILLBOARD_FIXED = 0, E3D_BILLBOARD_FACE_CAMERA = 1, E3D_BILLBOARD_UPRIGHT = 2 };

/* Assign...ToScene flags: also share lights between the scene's meshes and
 * lights. */
#define E3D_SCENE_SHARE_LIGHTS 0x1u

/* ======================================================================
 * Records shared by several families
 * ====================================================================== */

/* Records defined further on, or by later families. */
typedef struct E3DMesh E3DMesh;
typedef struct E3DScene E3DScene;
typedef struct E3DCamera E3DCamera;
typedef struct E3DLight E3DLight;
typedef struct E3DSkeleton E3DSkeleton;
typedef struct E3DBone E3DBone;

/* Counted, growable array of object pointers; an all-zero list is empty. */
typedef struct E3DList {
    int32_t count;    /* entries in use */
    int32_t capacity; /* slots in items */
    void **items;     /* entries in insertion order, or NULL */
} E3DList;

/* Node header: the first fields of every mesh, camera and light record.
 * Object type = type & 63: 1 and 2 mesh, 4 camera, 8 camera target,
 * 16 light, 32 light target. */
typedef struct E3DNode {
    uint16_t type;
    int16_t childCount;
    struct E3DNode *parent;    /* NULL for a root */
    struct E3DNode **children; /* childCount entries in attach order, or NULL */
} E3DNode;

enum {
    E3D_NODE_MESH = 1,
    E3D_NODE_MESH2 = 2,
    E3D_NODE_CAMERA = 4,
    E3D_NODE_CAMERA_TARGET = 8,
    E3D_NODE_LIGHT = 16,
    E3D_NODE_LIGHT_TARGET = 32
};

/* Polygon-list entry: one per drawn triangle (16 bytes on 32-bit hosts). */
typedef struct E3DSortEntry {
    float key;             /* sum of the three view depths (sorted entries) */
    struct E3DMesh *mesh;  /* owner of the polygon and its vertex work array */
    struct E3DPolygon *polygon;
    uint32_t mode;         /* render bits 20-26 | shading code bits 0-2 */
} E3DSortEntry;

/* Per-vertex work record (13 words on 32-bit hosts). Mesh building writes
 * only position; the vertex stages own the rest. */
typedef struct E3DVertex {
    uint32_t clipCode;       /* out-code of the last projection */
    float position[3];       /* mesh space */
    float worldPosition[3];  /* bone-deformed meshes only */
    float viewX, viewY, depth;
    float screenX, screenY;
    float invDepth;
} E3DVertex;

/* Polygon record: one triangle (28 words on 32-bit hosts). Slot order is the
 * reverse of the argument order of the polygon setters. */
typedef struct E3DPolygon {
    uint32_t flags;         /* mode 0-2 and 6, 0x80 back side drawn, edge
                               visibility 9-11, smoothing group 12-16, render
                               20-22, texture 23-26 */
    float normal[3];        /* face plane normal */
    float planeD;           /* face plane distance */
    int32_t vertex[3];      /* vertex indices of slots 0, 1, 2 */
    int32_t normalIndex[3]; /* per-slot index into the mesh's vertexNormals */
    float coords[3][4];     /* per slot: u, v, environment u, environment v */
    struct E3DMaterial *material;     /* front material */
    struct E3DMaterial *backMaterial; /* back material */
    uint32_t color;         /* 0x00RRGGBB face colour (first corner, Gouraud) */
    uint32_t color1;        /* second corner (Gouraud) */
    uint32_t color2;        /* third corner (Gouraud) */
} E3DPolygon;

/* Texture layer block of a material (7 words on 32-bit hosts). */
typedef struct E3DTextureLayer {
    uint32_t mode;        /* bits 4-5 texture mode; bit 30 power-of-two sides */
    uint16_t *pixels;
    int32_t width;
    int32_t height;
    int32_t shift;        /* log2(width) for power-of-two textures, else pitch/2 */
    struct E3DTexture *texture;
    uint32_t reserved;
} E3DTextureLayer;

/* Material: mode word, four colour slots, specular values, alpha level and
 * blend type, and four texture layers. Layer block 3 shares its storage
 * with colorOp and the start of name: a texture set on layer 3 overwrites
 * them (on 64-bit hosts the larger block covers all of colorOp and name,
 * and never hostObject). */
typedef struct E3DMaterial {
    uint32_t mode;          /* shade 0-2, cull 3-5, bit 6, colour op 0x100,
                               specular 0x80000, render 20-22, layers 23-26 */
    float color[4][4];      /* r, g, b, a in 0..255; storage order of the
                               slots: 0, 1, 3, 2 */
    float shininess;
    float specularLevel;
    uint16_t alphaLevel;    /* opacity level 0..255 (blend type 2) */
    uint16_t alphaMode;     /* blend type: 0 replace, 1 additive, 2 opacity,
                               3 subtractive */
    uint32_t reserved;
    E3DTextureLayer layers[3];
    union {
        E3DTextureLayer layer3;
        struct {
            uint16_t colorOp;
            char name[30];
        } named;
    } tail;
    uintptr_t hostObject;   /* non-zero: bound to a host object */
} E3DMaterial;

/* Viewport: a 16-bit frame buffer (own or a caller's surface), an optional
 * 1/z depth buffer, a scissor rectangle, a type and a camera (19 words on
 * 32-bit hosts). */
typedef struct E3DViewport {
    uint32_t flags;          /* 0-1 type, 0x4 always, 0x8|0x10 depth on,
                                0x40 owns the frame buffer, bit 31 enabled */
    float width, height;     /* frame buffer size in pixels */
    float centerX, centerY;  /* optical axis */
    float scissorXMin, scissorXMax, scissorYMin, scissorYMax;
    float yScale;            /* always -1: screen y grows downward */
    float aspect;            /* -(height * 4) / (width * 3) */
    uint32_t reserved12;     /* 0 */
    uint32_t reserved13;     /* 0x8000 */
    uint16_t *frameBuffer;
    int32_t *depthBuffer;    /* width * height values, or NULL */
    E3DMaterial *material;   /* laid over the viewport by post effects */
    uint32_t reserved17;     /* 0 */
    uint32_t pitch;          /* pixels from one row to the next */
    struct E3DCamera *camera;
} E3DViewport;

/* Mesh: vertices, triangles, an embedded default material, four matrices,
 * a light list and the buffers of the depth sort. */
struct E3DMesh {
    E3DNode node;              /* type 1 */
    int32_t meshKind;          /* 0 unvalidated, 1 ordinary, 2 bone-deformed, 3 billboard */
    uint32_t state;            /* display state word; 0x07F00027 at creation */
    uint32_t billboardMode;
    int32_t vertexCount;
    int32_t polygonCount;      /* triangles of this mesh */
    int32_t treePolygonCount;  /* triangles of this mesh and its mesh descendants */
    E3DVertex *vertices;
    float *vertexNormals;      /* 3 floats per corner normal */
    E3DPolygon *polygons;
    uint32_t *vertexFlags;     /* one bit per vertex: projected this frame */
    uint32_t *sortBuffer;      /* treePolygonCount indices, then the entries */
    E3DSortEntry *sortEntries; /* first entry in sortBuffer; NULL while the
                                  mesh is built incrementally */
    struct E3DSkeleton *skeleton;
    uint32_t *skinWeights;     /* four words per vertex */
    float pivot[3];
    float modelMatrix[12];     /* 3 rows of 4: rotation, translation last */
    float baseMatrix[12];
    float worldMatrix[12];
    float auxMatrix[12];
    struct E3DMesh *boundingBox; /* the box: a mesh of 8 vertices, 12 triangles */
    struct E3DLight **lights;  /* 64 slots, ending at the first NULL */
    E3DMaterial defaultMaterial;
    char name[32];
    struct E3DViewport *viewport;
    uintptr_t hostObject;      /* non-zero: bound to a host object */
    /* Engine3D additions behind the 32-bit layout: */
    int32_t normalCount;       /* corner normals in vertexNormals */
    int32_t sortCapacity;      /* entries the sort buffer holds */
    struct E3DMesh *livePrev;  /* the engine's chain of live meshes, which */
    struct E3DMesh *liveNext;  /* deletes walk to unhook what they free */
    int32_t skinCount;         /* vertices the skin array holds */
    int32_t worldPlanes;       /* 1 while the face planes hold a deformed
                                  frame's world-space values */
};

/* Bounding sphere: centre and radius. */
typedef struct E3DBVSphere {
    uint16_t reserved[2];
    float center[3];
    float radius;
} E3DBVSphere;

/* Scene: root meshes with their trees, cameras (one active), lights,
 * materials and skeletons, a viewport and the polygon list of a frame. */
struct E3DScene {
    uint32_t flags;           /* bit 0 set while the lists are consistent */
    E3DList meshes;           /* root meshes only */
    E3DList cameras;
    E3DList lights;
    E3DList materials;
    E3DList skeletons;
    int32_t visibleMeshCount; /* top-level meshes whose flags passed the last frame's walk */
    int32_t activeCamera;     /* index into cameras, -1 for none */
    uint32_t *sortBuffer;     /* polygonTotal indices, then the entries */
    E3DSortEntry *sortEntries;
    int32_t count;            /* entries emitted in the last frame */
    int32_t vertexTotal;      /* own vertices of the root meshes */
    int32_t polygonTotal;     /* tree polygons of the root meshes */
    E3DViewport *viewport;
    E3DScene *prev, *next;    /* the chain of all scenes */
    uint32_t reserved1;
    void (*callback)(E3DScene *scene);
    uint32_t reserved2[2];
    void *workBuffer;
    uint32_t reserved3;
    int32_t sortCapacity;     /* engine addition: entries the buffer holds */
};

/* Camera: a node with a target node, eye and target points, roll, field of
 * view in degrees, focal length, near and far. near and far sit where a
 * light keeps its attenuation pair. */
struct E3DCamera {
    E3DNode node;             /* type 4 */
    E3DNode targetNode;       /* type 8 */
    float position[3];
    float target[3];
    float direction[3];       /* viewing direction, written per frame */
    float viewMatrix[12];     /* written per frame */
    float roll;
    float fov;
    float focal;
    float near;
    float far;
    float workPosition[3];    /* per-frame copies the view is built from */
    float workTarget[3];
    float eye[3];             /* eye in the space of the mesh being staged */
    char name[32];
    uintptr_t hostObject;
    uintptr_t hostObject2;
};

/* Light: omnidirectional (type code 2) or directional (4); bit 0 of flags
 * switches attenuation, bit 31 switches the light on. */
struct E3DLight {
    E3DNode node;             /* type 16 */
    E3DNode targetNode;       /* type 32 (directional lights) */
    uint32_t flags;
    float position[3];
    float meshPosition[3];    /* in the space of the mesh being lit */
    float direction[3];
    float meshDirection[3];
    float workPosition[3];    /* per-frame copies */
    float workDirection[3];
    float color[4];           /* 0..1 */
    float intensity;
    float attenuation[2];     /* near, far */
    uint32_t reserved;
    char name[32];
    uintptr_t hostObject;
    uintptr_t hostObject2;
};

/* Bone: pose and rest matrices; inside a skeleton's block each bone is
 * followed by one 32-bit child index per child. */
struct E3DBone {
    uint8_t boneFlags;
    uint8_t rootFlags;        /* bit 7: root bone */
    int8_t parentIndex;       /* -1 until attached */
    uint8_t childCount;
    float position[3];
    float restMatrix[12];
    float poseMatrix[12];
    float thirdMatrix[12];    /* skinning matrix of the last frame drawn */
    E3DBVSphere *sphere;
    uintptr_t hostObject;
};

/* Skeleton: bones packed in one block, with their names. */
struct E3DSkeleton {
    uint16_t xformFlags;      /* bits 0-1: transform state */
    int16_t boneCount;
    uint8_t *boneBlock;
    E3DBone **bones;          /* boneCount pointers into boneBlock */
    char (*boneNames)[32];    /* boneCount names; the first names the skeleton */
    int32_t blockSize;        /* bytes in boneBlock */
    E3DBVSphere *sphere;
    uintptr_t hostObject;
};

/* Texture record, also the host's bitmap description (24 words on 32-bit
 * hosts): pixels in word 8, width and height in words 11-12 (again in
 * 19-20), byte pitch in word 13. */
typedef struct E3DTexture {
    uint32_t reserved0[7];
    uint16_t *pixels;
    uint32_t reserved1[2];
    int32_t width;
    int32_t height;
    int32_t pitch;          /* bytes from one row to the next */
    uint32_t reserved2[5];
    int32_t width2;
    int32_t height2;
    uint32_t reserved3[4];
} E3DTexture;

/* ======================================================================
 * Engine lifecycle
 * ====================================================================== */

/* Builds the shared tables (sort state, raster tables, root tables); returns 0. */
E3D_API int32_t InitEngine3D(void);
/* Frees the shared tables; does nothing unless the engine is initialised. */
E3D_API void ReleaseEngine3D(void);

/* ======================================================================
 * Object lists
 * ====================================================================== */

/* Zeroes count, capacity and items without freeing anything. */
E3D_API void InitList(E3DList *list);
/* Appends element, growing the array by exactly one slot when full.
 * Guard: when the allocation fails the list is left unchanged. */
E3D_API void AddListElement(E3DList *list, void *element);
/* With two or more entries: compacts out every entry equal to element and
 * decreases count by one (even when element is absent). With one entry or
 * none: frees the array and zeroes the list, whatever element is. */
E3D_API void RemoveListElement(E3DList *list, void *element);
/* Index of the first entry equal to element, or -1. */
E3D_API int32_t GetListElementIndex(const E3DList *list, const void *element);

/* ======================================================================
 * Radix sort
 * ====================================================================== */

/* Frees the shared scratch array (called by InitEngine3D). */
E3D_API void InitRadixSort(void);
/* Frees the shared scratch array (called by ReleaseEngine3D). */
E3D_API void ReleaseRadixSort(void);
/* Grows the scratch array to n if needed and writes indices[i] = i. */
E3D_API void ResetRadixSort(uint32_t n, uint32_t *indices);
/* Stable LSB-first radix sort of indices by keys[indices[i]]; returns at once
 * when the keys are already in order. Signed mode orders only non-negative
 * keys (negative keys overlap; Guard: every write stays inside the arrays).
 * Guard: when the scratch array cannot be allocated, indices are unchanged. */
E3D_API void RadixLongSorter(uint32_t n, const uint32_t *keys, uint32_t *indices, int32_t isSigned);
/* Stable radix sort of indices by the float keys (negatives first). */
E3D_API void RadixFloatSorter(uint32_t n, const float *keys, uint32_t *indices);

/* ======================================================================
 * Hierarchy and names
 * ====================================================================== */

/* Hangs child under parent (moving it from a former parent); a mesh under a
 * mesh joins its root's tree: polygon counts and sort buffers follow, and
 * the child leaves every scene. Always 1. Validate a grown mesh before
 * attaching it. Guard: an attach that would make a node its own ancestor
 * (under itself or under a descendant) is refused with 0, changing nothing;
 * when the child array or a polygon list the attach needs cannot be had,
 * the child is left unattached (still 1) and every tree and scene stays as
 * it was. */
E3D_API int32_t AttachChildToNode(E3DNode *parent, E3DNode *child);
/* Unhooks child from parent; 1 when it was a child, else 0. A detached mesh
 * becomes the root of its own tree with a sort buffer of its own.
 * Guard: when a smaller child array cannot be had, the old one is compacted
 * in place. */
E3D_API int32_t DetachChildFromNode(E3DNode *parent, E3DNode *child);
/* Names are copied into 32-character fields (30 for materials); keep them
 * within 31 characters (29). Guard: a longer name is cut to 31 (29)
 * characters and a terminator, never written past the field. Returns the
 * terminating zero written, or NULL for a NULL argument (nothing copied). */
E3D_API char *SetMeshName(E3DMesh *mesh, const char *name);

/* ======================================================================
 * Meshes
 * A mesh made with its counts is one block: the record, the vertices, the
 * vertex flag words (one bit a vertex), the polygons, the 64-slot light list
 * and 4096 spare bytes, i.e. sizeof(E3DMesh) + 52 v + 4 ceil(v / 32) +
 * 112 p + 256 + 4096 bytes on 32-bit hosts (plus alignment padding, taken
 * from the spare bytes, on 64-bit ones); the sort buffer is a block of its
 * own (20 bytes a polygon on 32-bit hosts). A grown mesh (made with 0, 0)
 * keeps separate vertex and polygon arrays, reallocated one record at a
 * time, until ValidateMesh turns it into one block.
 * Vertex and polygon setters keep their bounds exactly, including those that
 * admit one index past the end (SetMeshVertex with index == vertexCount,
 * the texture-coordinate setters with index == polygonCount); hosts must not
 * rely on that slot. Guard: it is a spare record of the mesh's own, so such
 * a write changes nothing else: a one-block mesh carves one spare vertex and
 * one spare polygon record out of its spare bytes, right behind the arrays,
 * and a grown mesh's arrays are allocated one record longer than needed.
 * ====================================================================== */

/* Mesh with room for the given counts (both > 0), or an empty mesh to grow
 * (both 0); colour 0x00RRGGBB goes to the default material. NULL otherwise
 * or when memory runs out. */
E3D_API E3DMesh *CreateMesh(int32_t vertexCount, int32_t polygonCount, uint32_t colour);
/* Checks the triangles, turns a grown mesh into its final form, computes
 * normals and the bounding box, activates it. Returns the mesh to use from
 * now on (it may be a new record), or NULL; when the result differs from the
 * argument, the argument is gone. A one-block mesh with a repeated corner
 * gives NULL and stays; a grown mesh without vertices or triangles is
 * deleted (NULL); a grown mesh with a repeated corner gives NULL and stays.
 * A grown mesh's new record takes over its matrices, whole default material
 * (colour included), state, viewport and host object, not its name; polygon
 * materials pointing at the old default material are pointed at the new one
 * (the back material on the test of the front one). Guard: the old record
 * leaves every scene and tree before it is freed (its children stay, as
 * roots), and what it held besides its arrays is freed; a back material
 * still naming the old default material is pointed at the new one too. A
 * failed allocation (record, normals or box) deletes the mesh: NULL. */
E3D_API E3DMesh *ValidateMesh(E3DMesh *mesh);
/* Removes the mesh from scenes and its parent, frees its mesh descendants
 * and the mesh itself. Returns 1 (0 for NULL). Guard: faces of other meshes
 * using its default material fall back to their own mesh's default material,
 * viewports lose it, scenes drop it; a mesh freed below a camera or light of
 * the subtree leaves every scene first. */
E3D_API int32_t DeleteMesh(E3DMesh *mesh);
/* Appends a vertex to a mesh being grown; 0 once the mesh is final.
 * Guard: 0 also when memory runs out (the mesh is unchanged). */
E3D_API int32_t AddMeshVertex(E3DMesh *mesh, float x, float y, float z);
/* Sets a vertex position; 0 when index < 0 or index > vertexCount. */
E3D_API int32_t SetMeshVertex(E3DMesh *mesh, int32_t index, float x, float y, float z);
/* Appends a triangle (a, b, c) to a mesh being grown; the result of
 * SetMeshTriPolygon on the new slot, or 0. A refused triangle still takes
 * its slot, so ValidateMesh then refuses the mesh. */
E3D_API int32_t AddMeshTriPolygon(E3DMesh *mesh, int32_t a, int32_t b, int32_t c, int32_t spare, int32_t group);
/* Sets triangle `index` to (a, b, c) (stored c, b, a) with smoothing group
 * (dropped when 32 or above); 0 for a bad index or repeated corners. */
E3D_API int32_t SetMeshTriPolygon(E3DMesh *mesh, int32_t index, int32_t a, int32_t b, int32_t c, int32_t spare,
                                  int32_t group);
/* Does nothing and returns 1: grown meshes are built from triangles. */
E3D_API int32_t AddMeshQuadPolygon(E3DMesh *mesh, int32_t a, int32_t b, int32_t c, int32_t d, int32_t spare,
                                   int32_t group);
/* Sets triangles index and index + 1 to the quad (a, b, c, d), split on the
 * hidden diagonal b-d; 0 when refused. */
E3D_API int32_t SetMeshQuadPolygon(E3DMesh *mesh, int32_t index, int32_t a, int32_t b, int32_t c, int32_t d,
                                   int32_t spare, int32_t group);
/* Texture coordinates of triangle `index` for corners a, b, c. */
E3D_API void SetMeshTriTexCoords(E3DMesh *mesh, int32_t index, float ua, float va, float ub, float vb, float uc,
                                 float vc);
/* Texture coordinates of the quad at `index` for corners a, b, c, d. */
E3D_API void SetMeshQuadTexCoords(E3DMesh *mesh, int32_t index, float ua, float va, float ub, float vb, float uc,
                                  float vc, float ud, float vd);
/* Allocates the zeroed skin array (4 words a vertex) and sets the skeleton;
 * 0 when memory runs out (the skeleton is then not set). Guard: a former
 * array is freed rather than leaked. A validated ordinary mesh becomes
 * meshKind 2 (bone-deformed); see "Bone-deformed meshes" below. */
E3D_API int32_t AssignSkeletonToMesh(E3DMesh *mesh, E3DSkeleton *skeleton);
/* Clears the skeleton and frees the skin array; meshKind 2 goes back to 1. */
E3D_API void RemoveSkeletonFromMesh(E3DMesh *mesh);
/* Kept for callers: do nothing and return 1. */
E3D_API int32_t AssignVertexInfluence(E3DMesh *mesh, int32_t vertex, int32_t bone, float weight);
E3D_API int32_t CheckWeightedVertices(E3DMesh *mesh);
/* Kept for callers: does nothing. */
E3D_API void RemoveVertexInfluence(E3DMesh *mesh, int32_t vertex, int32_t bone);

/* Bone-deformed meshes (meshKind 2), as Engine3D defines them:
 * - Kind: AssignSkeletonToMesh turns a validated ordinary mesh (kind 1) into
 *   kind 2, and ValidateMesh keeps kind 2 for a mesh that has a skeleton
 *   (a grown mesh's new record takes over its skeleton and skin array);
 *   RemoveSkeletonFromMesh makes it kind 1 again. Billboards stay kind 3.
 *   SetMeshCullMode acts on kind 1 only: set the cull mode first.
 * - Skin entry (four 32-bit words a vertex): word 0 holds the bone indices of
 *   influences 0..3 in its bytes 0..3 (0xFF none); words 1 and 2 hold the
 *   four weights as unsigned 16-bit fractions of 32768 (influence 0 in the
 *   low half of word 1, 1 in its high half, 2 and 3 likewise in word 2);
 *   word 3 is 0. Whatever weight the named bones do not carry (1 - the sum)
 *   follows the mesh, so the zeroed entry that AssignSkeletonToMesh leaves,
 *   or one naming no bone, moves rigidly with the mesh; so does the weight
 *   of an index naming no bone of the skeleton (e.g. after a root re-attach).
 * - Bones: rest and pose matrices are frames relative to the parent bone
 *   (a bone is a root when its parent index is negative or not below its
 *   own). World frames go down the hierarchy; a bone's skinning matrix,
 *   kept in its thirdMatrix, is pose world x inverse rest world (rest frames
 *   are taken as rigid). A bone whose pose equals its rest bit for bit takes
 *   its parent's skinning matrix (identity for a root), so a skeleton at
 *   rest puts every vertex exactly where the mesh alone would.
 * - Transform state 0 (the default): bone frames are in the mesh's space and
 *   the mesh's world matrix carries the deformed mesh. State 1
 *   (SetSkeletonXFormState): bone frames are in world space and deform the
 *   mesh after its world matrix has placed it. Vertex = sum over influences
 *   of weight x bone matrix x (position + pivot).
 * - A kind-2 mesh that no bone moves in a frame (skeleton at rest, or no
 *   weights) is drawn as the ordinary mesh it is: exactly the same pixels,
 *   also after deformed frames and after RemoveSkeletonFromMesh (a deformed
 *   frame leaves world-space face planes, which go back to mesh space when
 *   the mesh is next drawn undeformed or loses its skeleton).
 * - Skin array: one entry for each vertex the mesh had when the skeleton
 *   was assigned (skinCount); vertices added later follow the mesh.
 * - Culling: the box of the deformed world positions replaces the mesh's
 *   own box; the mesh is skipped only when its eight corners are all beyond
 *   one clip plane, so no deformed vertex on screen is ever dropped, and a
 *   box crossing near or far selects the clamping projection. The
 *   skeleton's sphere is refreshed to enclose that box (the last mesh drawn
 *   with the skeleton wins). Kind-2 children of a mesh are deformed too.
 * - Drawn by DrawScene only (DrawMesh draws kinds 1 and 3). */
/* Sets the bones (index, or -1 for none) and weights of a vertex of a mesh with a skeleton; 1, or 0 changing nothing for a bad vertex (one added after AssignSkeletonToMesh has no entry: it follows the mesh), a bone index past the skeleton, a negative, infinite or NaN weight, or weights of the named bones not summing to 1 within 0.001 (stored scaled to sum exactly 1); all four -1 clears the vertex. */
E3D_API int32_t SetVertexBoneWeights(E3DMesh *mesh, int32_t vertex, const int32_t *bones, const float *weights);
/* Reads a vertex's four bones (-1 for none) and weights as stored (multiples of 1/32768); 1, or 0 for a mesh without skin array or a vertex without an entry. */
E3D_API int32_t GetVertexBoneWeights(const E3DMesh *mesh, int32_t vertex, int32_t *bones, float *weights);

/* ======================================================================
 * Normals
 * ====================================================================== */

/* Unit face normal and plane constant of every polygon: n = (P1 - P0) x
 * (P2 - P1) scaled by the table reciprocal square root, planeD = -n . c at
 * the centroid c. Guard: a polygon naming no vertex of the mesh is skipped. */
E3D_API void CalcMeshPolygonsNormal(E3DMesh *mesh);
/* The same for one polygon of the mesh. */
E3D_API void CalcMeshPolygonNormal(E3DMesh *mesh, E3DPolygon *polygon);
/* Corner normals shared by the polygons of a smoothing group that meet at
 * a vertex: the normalised sum of their unit face normals (run
 * CalcMeshPolygonsNormal first). Normals are numbered group by group in
 * ascending group order, in order of first use. Linear in the polygon
 * count. Guard: when working memory runs out the mesh has no normals
 * (normalCount 0); a corner naming no vertex gets normal index 0. */
E3D_API void CalcMeshVerticesNormal(E3DMesh *mesh);
/* Kept for callers: does nothing. */
E3D_API void UpdateMeshPolygonsNormal(E3DMesh *mesh);

/* ======================================================================
 * Bounding volumes
 * ====================================================================== */

/* The box of the mesh's vertices as a wire mesh of 8 vertices and 12
 * triangles, or NULL. Guard: a mesh without vertices gets a box at 0. */
E3D_API E3DMesh *CreateAABB(E3DMesh *mesh);
/* A zeroed sphere, or NULL. */
E3D_API E3DBVSphere *CreateBVSphere(void);
/* Frees a sphere (nothing for NULL). */
E3D_API void DeleteBVSphere(void *sphere);
/* Centre at the mean of the points, radius to the farthest. */
E3D_API void ComputeBVSphere(E3DBVSphere *sphere, const float *points, int32_t count);
/* Grows the sphere to enclose another, unless one lies inside the other. */
E3D_API void MergeBVSphere(E3DBVSphere *sphere, const float *center, float radius);
/* Kept for callers: does nothing. */
E3D_API void MergeBVSpheres(void);

/* ======================================================================
 * Mesh display state
 * Setters that take a node walk its whole subtree; children of any node
 * type are visited.
 * ====================================================================== */

/* Render mode of mesh nodes: 0x100000 dots, 0x300000 wire, 0x700000 solid
 * (bit 6 aside), else textured (0x7F00000) when a bit of 0x7800000 is set,
 * else the render bits stay; bit 6 is copied from mode. The default material
 * gets SetMaterialRenderMode(mode). */
E3D_API void SetMeshRenderMode(E3DNode *node, uint32_t mode);
/* state & 0x7F00000. */
E3D_API uint32_t GetMeshRenderMode(const E3DMesh *mesh);
/* Cull mode (mode & 0x38) of validated ordinary meshes (kind 1); others keep
 * theirs and pass the value on unchanged. */
E3D_API void SetMeshCullMode(E3DNode *node, uint32_t mode);
/* state & 0x38. */
E3D_API uint32_t GetMeshCullMode(const E3DMesh *mesh);
/* Shade mode (1 none, 3 flat, 7 Gouraud), also on the default material. */
E3D_API void SetMeshShadeMode(E3DNode *node, uint32_t mode);
/* state & 7. */
E3D_API uint32_t GetMeshShadeMode(const E3DMesh *mesh);
/* Hides mesh nodes of the subtree. */
E3D_API void HideMesh(E3DNode *node);
/* Shows again the nodes of type code 1 only (type 2 stays hidden). */
E3D_API void ShowMesh(E3DNode *node);
/* Non-zero when hidden. */
E3D_API uint32_t IsHiddenMesh(const E3DMesh *mesh);
/* Sets the active bit; returns the mesh. */
E3D_API E3DMesh *ActivateMesh(E3DMesh *mesh);
/* Smoothing group (0..31) of one polygon; other values are ignored. */
E3D_API void SetMeshFaceSmoothG(E3DMesh *mesh, int32_t index, int32_t group);
/* Smoothing group of one polygon, 0 for a bad index. */
E3D_API int32_t GetMeshFaceSmoothG(const E3DMesh *mesh, int32_t index);
/* Low five bits of billboardMode; returns the mesh. For billboards (kind 3):
 * mode & 3 = 1 turns the mesh to face the camera fully (its x and y axes
 * along the view's), 2 turns it about its y axis only (stays upright);
 * 0 leaves its own orientation. A turned billboard's world matrix holds the
 * turned rotation after each draw, and it is lit in that orientation. */
E3D_API E3DMesh *SetMeshBillboardMode(E3DMesh *mesh, uint32_t mode);
/* The viewport DrawMesh draws into; returns it. */
E3D_API E3DViewport *SetMeshViewport(E3DMesh *mesh, E3DViewport *viewport);
E3D_API E3DViewport *GetMeshViewport(const E3DMesh *mesh);
/* The 64-slot light list, or NULL when it is empty. */
E3D_API E3DLight **GetMeshLightList(E3DMesh *mesh);
/* Rotation of modelMatrix from angles in degrees: about x, then y, then z
 * (R = Rz Ry Rx); the position is kept. Returns the mesh. */
E3D_API E3DMesh *SetMeshModelOrientation(E3DMesh *mesh, float x, float y, float z);
/* Translation of modelMatrix; returns the mesh. */
E3D_API E3DMesh *SetMeshModelPosition(E3DMesh *mesh, float x, float y, float z);
/* The translation, in one buffer shared by all meshes (next call overwrites). */
E3D_API float *GetMeshModelPosition(const E3DMesh *mesh);
/* The offset added to every vertex before projection; returns the mesh. */
E3D_API E3DMesh *SetMeshPivot(E3DMesh *mesh, float x, float y, float z);
E3D_API float *GetMeshPivot(E3DMesh *mesh);
/* Host binding: a bound mesh survives scene deletion. Returns the value. */
E3D_API uintptr_t SetMeshTvObject(E3DMesh *mesh, uintptr_t value);
E3D_API uintptr_t GetMeshTvObject(const E3DMesh *mesh);
/* The embedded default material. */
E3D_API E3DMaterial *GetMeshDefaultMaterial(E3DMesh *mesh);

/* ======================================================================
 * Materials and textures
 * Colour slots: 0 ambient, 1 diffuse, 2 emissive, 3 specular (stored in the
 * order 0, 1, 3, 2). Layer 3's block overlaps colorOp and the name.
 * ====================================================================== */

/* Copy of the template; the default name "MaterialNN" is written into the
 * template (the copy keeps the old name), and the counter advances even when
 * the copy fails. NULL on failure. Guard: a NULL template gives NULL and
 * leaves the counter. */
E3D_API E3DMaterial *CreateMaterial(E3DMaterial *templateMaterial);
/* Frees a material (nothing for NULL). Guard: faces using it fall back to
 * their mesh's default material, viewports lose it, every scene drops it; a
 * material CreateMaterial did not make (a mesh's default one) is left alone. */
E3D_API void DeleteMaterial(E3DMaterial *material);
/* Bounded to 29 characters; see SetMeshName. */
E3D_API char *SetMaterialName(E3DMaterial *material, const char *name);
/* Front (0), back (1) or both (2) materials of every polygon, and with
 * recurse 1 of every mesh below it; 0 for another side, else 1.
 * Guard: cameras, lights and targets in the tree are not written but passed
 * through, so meshes hung under them are reached too. */
E3D_API int32_t SetMaterial(E3DMesh *mesh, E3DMaterial *material, int32_t side, int32_t recurse);
/* The first polygon's front (side 0 or 2) or back (1) material; NULL for
 * another side. Guard: NULL for a mesh without polygons. */
E3D_API E3DMaterial *GetMaterial(E3DMesh *mesh, int32_t side);
/* The first material, front before back in polygon order, with that name.
 * Names are compared within their 30-character field, so a name whose
 * terminator layer 3 overwrote still matches its first 30 characters only. */
E3D_API E3DMaterial *GetMaterialByName(E3DMesh *mesh, const char *name);
/* Material of one polygon (and the next when quad is set and it exists);
 * a bad index returns 1 unchanged, a bad side 0. */
E3D_API int32_t SetFaceMaterial(E3DMesh *mesh, int32_t index, E3DMaterial *material, int32_t quad, int32_t side);
/* A polygon's front (0 or 2) or back (1) material; NULL when out of range. */
E3D_API E3DMaterial *GetFaceMaterial(E3DMesh *mesh, int32_t index, int32_t side);
/* Points every polygon side using the material back at the default one. */
E3D_API void RemoveMaterialFromMesh(E3DMaterial *material, E3DMesh *mesh);
/* Fills layer 0..3 from a texture and sets its present bit (mode 0x800000
 * << layer): pixels, sides and texture copied; when both sides are powers of
 * two (exactly one bit set, 0x80000000 included) shift = log2(width) and the
 * block mode = modeBits | 0x40000000, else shift = pitch / 2 and mode =
 * modeBits. NULL zeroes the block's first six words and clears the bit.
 * 1, or 0 for a layer above 3. Guard: modeBits carrying 0x40000000 for other
 * sides are stored as given, but the fillers then read the layer by rows,
 * inside the texture, instead of masking into rows of 2^shift texels. */
E3D_API int32_t SetMaterialTexture(E3DMaterial *material, uint32_t layer, E3DTexture *texture, uint32_t modeBits);
/* Address of the layer block; NULL above 3. Layer 3's block begins at
 * colorOp: on 32-bit hosts it covers colorOp and name[0..25]; on 64-bit
 * hosts the larger block covers colorOp, all of name and the padding behind
 * it, never hostObject. Use layers 0-2 where the name matters. */
E3D_API E3DTextureLayer *GetMaterialTexture(E3DMaterial *material, uint32_t layer);
/* Texture mode 16 or 32 of a layer; other values are ignored. */
E3D_API void SetMaterialTextureMode(E3DMaterial *material, uint32_t layer, uint32_t value);
/* Layer mode & 48; 0 above layer 3. */
E3D_API uint32_t GetMaterialTextureMode(E3DMaterial *material, uint32_t layer);
/* Empties the one present layer when the texture is layer 0's. */
E3D_API void RemoveTextureFromMaterial(E3DTexture *texture, E3DMaterial *material);
/* Colour slot 0..3 clamped to 0..255, alpha 255. */
E3D_API void SetMaterialColor(E3DMaterial *material, uint32_t slot, float r, float g, float b);
/* Address of the slot's r, g, b, a; the material itself above slot 3. */
E3D_API float *GetMaterialColor(E3DMaterial *material, uint32_t slot);
/* Stores colorOp and switches mode bit 0x100. */
E3D_API void SetMaterialColorOp(E3DMaterial *material, uint16_t value, int32_t enable);
/* A non-zero value is stored and turns specular on; zero only turns it off. */
E3D_API void SetMaterialShininess(E3DMaterial *material, float value);
E3D_API float GetMaterialShininess(const E3DMaterial *material);
E3D_API void SetMaterialSpecularLevel(E3DMaterial *material, float value);
E3D_API float GetMaterialSpecularLevel(const E3DMaterial *material);
/* Opacity level, clamped to 0..255. */
E3D_API void SetMaterialAlphaLevel(E3DMaterial *material, int32_t level);
E3D_API uint32_t GetMaterialAlphaLevel(const E3DMaterial *material);
/* Blend type 0 replace, 1 additive, 2 opacity, 3 subtractive; above 3 stores 0. */
E3D_API void SetMaterialAlphaMode(E3DMaterial *material, uint32_t mode);
E3D_API uint32_t GetMaterialAlphaMode(const E3DMaterial *material);
/* Zero arguments leave the field as it is. Render getter: mode & 0x700040. */
E3D_API void SetMaterialRenderMode(E3DMaterial *material, uint32_t mode);
E3D_API uint32_t GetMaterialRenderMode(const E3DMaterial *material);
E3D_API void SetMaterialShadeMode(E3DMaterial *material, uint32_t mode);
E3D_API uint32_t GetMaterialShadeMode(const E3DMaterial *material);
E3D_API void SetMaterialCullMode(E3DMaterial *material, uint32_t mode);
E3D_API uint32_t GetMaterialCullMode(const E3DMaterial *material);
/* Layer 0 (flag 0) or 1 of the mesh's default material, straight from the
 * texture (shift = pitch / 2); returns the block. Guard: NULL texture does
 * nothing. */
E3D_API E3DTextureLayer *SetTexture(E3DMesh *mesh, E3DTexture *texture, int32_t layer);
/* width x height checker, pitch 2 * width, cells of width / squares by
 * height / squares pixels; the top-left cell has colour b and the colour
 * flips at every cell edge. Other words of the record are zero. NULL on
 * failure. Guard: sizes or squares below 1, or more than 4 GB of pixels,
 * give NULL; more squares than pixels along a side give one-pixel cells;
 * when the pixels cannot be had the record is freed as well. */
E3D_API E3DTexture *CreateCheckerTexture(int32_t width, int32_t height, int32_t squares, uint16_t a, uint16_t b);
/* Engine3D addition: a texture copied from host 5-5-5 pixels (pitch in
 * bytes); NULL unless both sides are 1..32768 and pitch >= 2 * width. */
E3D_API E3DTexture *CreateTextureFromPixels(const uint16_t *pixels, int32_t width, int32_t height, int32_t pitch);
/* Engine3D addition: frees a texture from CreateCheckerTexture or
 * CreateTextureFromPixels, pixels and record (nothing for NULL). Not for a
 * host's own bitmap descriptions. Every material layer showing it (mesh
 * default materials included) is emptied as SetMaterialTexture(NULL) does. */
E3D_API void DeleteTexture(E3DTexture *texture);

/* ======================================================================
 * Scenes
 * ====================================================================== */

/* New empty scene at the end of the scene chain, or NULL. */
E3D_API E3DScene *CreateScene(void);
/* Deletes the scene and its objects not bound to a host object, in the order
 * meshes, lights, materials, cameras, skeletons, each by its own Delete...
 * (whose rules apply); the scene's viewport stays. */
E3D_API void DeleteScene(E3DScene *scene);
/* Deletes the scene and every object in it, bound or not (bound meshes are
 * only removed), in the order materials, cameras, meshes, lights, skeletons. */
E3D_API void DeleteWholeScene(E3DScene *scene);
/* Adds the root of an active mesh's tree (flags bit 0: also give it the
 * scene's lights); the root, or NULL when inactive or already held. The
 * root is the topmost mesh reached through mesh parents (a mesh under a
 * camera or light roots its own tree). Guard: NULL, and the scene as it
 * was, when its longer polygon list or list slot cannot be allocated. */
E3D_API E3DMesh *AssignMeshToScene(E3DScene *scene, E3DMesh *mesh, uint32_t flags);
/* Removes a root mesh (NULL scene: from every scene; flags bit 0: also take
 * the scene's lights off it); 0 when absent. */
E3D_API int32_t RemoveMeshFromScene(E3DScene *scene, E3DMesh *mesh, uint32_t flags);
/* 1 when some scene holds the mesh. */
E3D_API int32_t IsMeshAssigned(const E3DMesh *mesh);
/* Membership: assign returns 0 when already present (Guard: or when the
 * list cannot grow), remove 0 when absent; a NULL scene removes from every
 * scene (not for materials). */
E3D_API int32_t AssignSkeletonToScene(E3DScene *scene, E3DSkeleton *skeleton);
E3D_API int32_t AssignCameraToScene(E3DScene *scene, E3DCamera *camera);
E3D_API int32_t AssignMaterialToScene(E3DScene *scene, E3DMaterial *material);
/* flags bit 0: also assign the light to every mesh the scene holds now
 * (meshes assigned later get it only through AssignMeshToScene's bit 0). */
E3D_API int32_t AssignLightToScene(E3DScene *scene, E3DLight *light, uint32_t flags);
E3D_API int32_t RemoveSkeletonFromScene(E3DScene *scene, E3DSkeleton *skeleton);
/* Removing the active camera makes the first remaining one active. */
E3D_API int32_t RemoveCameraFromScene(E3DScene *scene, E3DCamera *camera);
/* Also takes the light off every mesh of the scene. */
E3D_API int32_t RemoveLightFromScene(E3DScene *scene, E3DLight *light);
E3D_API int32_t RemoveMaterialFromScene(E3DScene *scene, E3DMaterial *material);
/* NULL: no active camera; a camera not in the scene changes nothing. */
E3D_API void SetActiveSceneCamera(E3DScene *scene, E3DCamera *camera);
/* The active camera, or NULL (also for a NULL scene). */
E3D_API E3DCamera *GetActiveSceneCamera(const E3DScene *scene);
/* Binds the viewport; its camera joins and becomes active only when the
 * scene has no active camera. */
E3D_API void SetSceneViewport(E3DScene *scene, E3DViewport *viewport);
E3D_API E3DViewport *GetSceneViewport(const E3DScene *scene);
E3D_API int32_t GetSceneNumberOfMeshes(const E3DScene *scene);
E3D_API int32_t GetSceneNumberOfCameras(const E3DScene *scene);
E3D_API int32_t GetSceneNumberOfLights(const E3DScene *scene);
/* Top-level meshes of the last frame that were not switched off, hidden or
 * outside the view by their own box (a bone-deformed mesh counts by its own
 * box, whatever its deformed vertices do). */
E3D_API int32_t GetSceneNumberOfVisibleMeshes(const E3DScene *scene);
/* Objects by list index; NULL outside 0 .. count - 1. */
E3D_API E3DMesh *SearchMeshByIndex(const E3DScene *scene, int32_t index);
E3D_API E3DCamera *SearchCameraByIndex(const E3DScene *scene, int32_t index);
E3D_API E3DLight *SearchLightByIndex(const E3DScene *scene, int32_t index);
E3D_API E3DMaterial *SearchMaterialByIndex(const E3DScene *scene, int32_t index);
/* First object with that name; empty names never match. Skeletons go by
 * their root bone's name. */
E3D_API E3DMesh *SearchMeshByName(const E3DScene *scene, const char *name);
E3D_API E3DCamera *SearchCameraByName(const E3DScene *scene, const char *name);
E3D_API E3DLight *SearchLightByName(const E3DScene *scene, const char *name);
E3D_API E3DMaterial *SearchMaterialByName(const E3DScene *scene, const char *name);
E3D_API E3DSkeleton *SearchSkeletonByName(const E3DScene *scene, const char *name);

/* ======================================================================
 * Cameras
 * ====================================================================== */

/* Camera at position looking at target (3 floats each), roll and fov in
 * degrees, near as given; far 100000000; named "CameraNN". NULL on failure.
 * Unlike the setters, finite fov and near are stored without range checks.
 * Guard: a fov that is NaN or infinite is taken as 60, such a near as 10
 * (the setters' default and least near). */
E3D_API E3DCamera *CreateCamera(const float *position, const float *target, float roll, float fov, float near);
/* Removes the camera from scenes and parents and frees it. Guard: viewports
 * lose it (and draw nothing until they get another); children of the camera
 * and of its target become roots. */
E3D_API void DeleteCamera(E3DCamera *camera);
/* Bounded to 31 characters; see SetMeshName. */
E3D_API char *SetCameraName(E3DCamera *camera, const char *name);
/* which 0: position, otherwise target. Returns the camera. */
E3D_API E3DCamera *SetCameraPosition(E3DCamera *camera, const float *xyz, int32_t which);
/* Copies position (which 0) or target into out; returns out. */
E3D_API float *GetCameraPosition(float *out, const E3DCamera *camera, int32_t which);
/* Roll in degrees, applied after the look direction. Returns the camera. */
E3D_API E3DCamera *SetCameraRoll(E3DCamera *camera, float roll);
E3D_API float GetCameraRoll(const E3DCamera *camera);
/* fov <= 0 or > 180 stores 60. Guard: so does NaN. */
E3D_API void SetCameraFov(E3DCamera *camera, float fov);
E3D_API float GetCameraFov(const E3DCamera *camera);
/* Stored only when 10 <= near <= far. Guard: NaN is never stored. */
E3D_API void SetCameraNear(E3DCamera *camera, float near);
E3D_API float GetCameraNear(const E3DCamera *camera);
/* Stored only when far >= near. Returns the camera. Guard: NaN and
 * infinity are never stored. */
E3D_API E3DCamera *SetCameraFar(E3DCamera *camera, float far);
E3D_API float GetCameraFar(const E3DCamera *camera);
/* focal = centerX / tan(fov / 2), times aspect * -0.75 unless the viewport
 * is exactly 4:3 (aspect -1). */
E3D_API void AdjustCameraFocale(const E3DViewport *viewport, E3DCamera *camera);

/* ======================================================================
 * Lights
 * ====================================================================== */

/* Omnidirectional light: position, colour (4 floats 0..1), intensity, near
 * and far attenuation; flags | 2; named "OmniNN". NULL on failure. */
E3D_API E3DLight *CreateOmniLight(const float *position, const float *color, float intensity, float attenuation1,
                                  float attenuation2, uint32_t flags);
/* Directional light: position and direction; flags | 4; "DirectNN". */
E3D_API E3DLight *CreateDirectLight(const float *position, const float *direction, const float *color,
                                    float intensity, uint32_t flags);
/* Removes the light from scenes (and their meshes) and parents; frees it.
 * Guard: every mesh's light list drops it, in a scene or not; children of
 * the light and of its target become roots. */
E3D_API void DeleteLight(E3DLight *light);
/* Bounded to 31 characters; see SetMeshName. */
E3D_API char *SetLightName(E3DLight *light, const char *name);
/* Colour from 0..255 channels, clamped to 0..1; fourth component 0. */
E3D_API void SetLightColor(E3DLight *light, float r, float g, float b);
/* The colour times 255, in one buffer shared by all lights. */
E3D_API float *GetLightColor(const E3DLight *light);
E3D_API E3DLight *SetLightIntensity(E3DLight *light, float intensity);
E3D_API float GetLightIntensity(const E3DLight *light);
/* Near and far attenuation distances; returns the light. */
E3D_API E3DLight *SetLightAttenuation(E3DLight *light, float nearValue, float farValue);
E3D_API float GetLightNearAttenuation(const E3DLight *light);
E3D_API float GetLightFarAttenuation(const E3DLight *light);
/* on: bit 31 (lit at all); attenuated: bit 0. Returns the flags' address. */
E3D_API uint32_t *SetLightStatus(E3DLight *light, int32_t on, int32_t attenuated);
/* which 0: position, otherwise direction. */
E3D_API E3DLight *SetLightPosition(E3DLight *light, const float *xyz, int32_t which);
/* Position or direction in one buffer shared by all lights. */
E3D_API float *GetLightPosition(const E3DLight *light, int32_t which);
/* Adds the light to the 64-slot lists of the meshes of the subtree (no
 * duplicates; a full list is left alone) and to the scenes holding them. */
E3D_API int32_t AssignLightToMesh(E3DLight *light, E3DNode *node);
/* Takes the light off the lists of the subtree, keeping their order. */
E3D_API int32_t RemoveLightFromMesh(E3DLight *light, E3DNode *node);

/* ======================================================================
 * Skeletons and bones
 * ====================================================================== */

/* Empty skeleton with a zeroed bounding sphere, or NULL. */
E3D_API E3DSkeleton *CreateSkeleton(void);
/* Removes it from the scenes holding it and frees it with its bones. Guard:
 * every scene drops it, not only the first; meshes deformed by it are taken
 * off it as RemoveSkeletonFromMesh does. */
E3D_API void DeleteSkeleton(E3DSkeleton *skeleton);
/* state 1 sets transform bits 2, anything else 1; returns the flags. */
E3D_API uint32_t SetSkeletonXFormState(E3DSkeleton *skeleton, int32_t state);
/* 1 when state 1 was set, else 0. */
E3D_API int32_t GetSkeletonXFormState(const E3DSkeleton *skeleton);
/* New bone (identity rest and pose matrices, parent -1), or NULL. */
E3D_API E3DBone *CreateBone(void);
/* Engine3D addition: frees a bone never attached. */
E3D_API void DeleteBone(E3DBone *bone);
E3D_API E3DBone *SetBoneRoot(E3DBone *bone);
E3D_API void SetBoneTvObject(E3DBone *bone, uintptr_t value);
/* Pose rotation from three angles in degrees (as SetMeshModelOrientation);
 * flags bit 0 sets the rest rotation too. */
E3D_API void SetBoneOrientation(E3DBone *bone, const float *angles, uint32_t flags);
/* Pose translation; flags bit 0 also sets position and rest translation. */
E3D_API void SetBonePosition(E3DBone *bone, const float *xyz, uint32_t flags);
/* Copies the bone into the skeleton under the named parent (NULL: as the
 * root, starting the skeleton afresh) and frees the given bone; 1 on
 * success, 0 when the parent is unknown (the bone stays the caller's).
 * Beyond the letter: a fresh root frees the former bones instead of
 * abandoning them; at most 128 bones (indices 0..127, what a signed byte
 * holds), and at most 255 children a bone: a bone past either gets 0. */
E3D_API int32_t AttachBoneToSkeleton(E3DSkeleton *skeleton, const char *parentName, E3DBone *bone,
                                     const char *boneName);
/* The bone of that name inside the skeleton, or NULL. */
E3D_API E3DBone *GetBonePointerByName(const E3DSkeleton *skeleton, const char *name);
/* Its index, or -1. */
E3D_API int32_t GetBoneIndexByName(const E3DSkeleton *skeleton, const char *name);

/* ======================================================================
 * Drawing
 * ====================================================================== */

/* Draws the scene through its viewport (flags bit 31 must be set, see
 * SetViewportType) and active camera: depth-buffered when the viewport has
 * a depth buffer, back to front otherwise. The host clears the frame (and
 * depth) buffer between frames. Bone-deformed meshes (kind 2) are deformed,
 * lit and culled in world space. Lights shine on a mesh only from its light list (AssignLightToMesh,
 * or AssignLightToScene with flags 1); a lit mesh without lights is lit by a
 * headlight from the eye. The walk (world matrices, box flags, counts) runs
 * even when the scene has no polygon list. Guard: a mesh the list has no
 * room left for (after a failed allocation) is not drawn. */
E3D_API void DrawScene(E3DScene *scene);
/* Draws an active mesh and its mesh children through the mesh's viewport and
 * that viewport's camera; returns the entries emitted (do not rely on it).
 * Guard: a mesh inside a scene or a tree (no polygon list of its own) draws
 * nothing. */
E3D_API int32_t DrawMesh(E3DMesh *mesh);

/* ======================================================================
 * View
 * ====================================================================== */

/* A look-at rotation whose z row points from b to a; translation a. */
E3D_API void CreateLookAtMatrix(const float *a, const float *b, float *out);

/* ======================================================================
 * Primitive generators
 * Each returns a finished mesh (normals, bounding box, default name "Base00"
 * with a counter per base name, meshKind 1) or NULL. The generators do
 * not set the active bit: call ActivateMesh before
 * AssignMeshToScene or DrawMesh. scale may be NULL for (1, 1, 1). The
 * colour goes to the default material's ambient slot (lit meshes need a
 * diffuse colour too: see "Before the first frame" above). Sizes that are not positive are
 * refused (a size that is not a number is not).
 * ====================================================================== */

/* Cube of edge `size` centred on the origin; a smoothing group per face. */
E3D_API E3DMesh *CubeCreate(float size, const float *scale, uint32_t colour);
/* rows x columns cells in the plane z = 0; a wireframe draws every line once. */
E3D_API E3DMesh *GridCreate(float size, const float *scale, int32_t rows, int32_t columns, uint32_t colour);
/* Latitude/longitude sphere with pole vertices (rings, segments >= 4). */
E3D_API E3DMesh *SphereCreate(float radius, const float *scale, int32_t rings, int32_t segments, uint32_t colour);
/* Ring torus that wraps both ways (sides, segments >= 4). */
E3D_API E3DMesh *TorusCreate(float radius, float tubeRadius, const float *scale, int32_t sides, int32_t segments,
                             uint32_t colour);
/* Flat disk in z = 0 with `segments` rim divisions (>= 4). */
E3D_API E3DMesh *DiskCreate(float radius, const float *scale, int32_t segments, uint32_t colour);
/* Flat annulus in z = 0 (outer > inner > 0, segments >= 4). */
E3D_API E3DMesh *RingCreate(float outerRadius, float innerRadius, const float *scale, int32_t segments,
                            uint32_t colour);
/* Cube of edge `size` whose edges are cut to strips `chamfer` wide (0 <
 * chamfer < size / 2): 24 vertices, 6 faces, 12 strips, 8 corner triangles.
 * Named "CubeNN": it shares the cube's base name and counter. */
E3D_API E3DMesh *ChCubeCreate(float size, float chamfer, const float *scale, uint32_t colour);
/* The top half of the sphere layout: rings (>= 4) latitudes from the pole
 * down to the equator, segments (>= 4) around. open = 0 closes the bottom
 * with a disk ((rings-1) x segments + 2 vertices, 2 (rings-1) segments
 * triangles); otherwise it stays open (one vertex and segments triangles
 * fewer). Named "HSphereNN". */
E3D_API E3DMesh *HemisphereCreate(float radius, const float *scale, int32_t rings, int32_t segments, uint32_t colour,
                                  int32_t open);
/* Geodesic sphere: an icosahedron whose faces are split in four `level`
 * times (0..6), 20 x 4^level triangles. Named "GeoSphereNN". */
E3D_API E3DMesh *GeoSphereCreate(float radius, const float *scale, int32_t level, uint32_t colour);
/* Capped cylinder about the y axis, centred: sides (>= 4) around, segments
 * (>= 1) along the height; caps in smoothing groups of their own. */
E3D_API E3DMesh *CylinderCreate(float radius, float height, const float *scale, int32_t sides, int32_t segments,
                                uint32_t colour);
/* Hollow tube about the y axis (outer > inner > 0) with flat annular ends. */
E3D_API E3DMesh *TubeCreate(float outerRadius, float innerRadius, float height, const float *scale, int32_t sides,
                            int32_t segments, uint32_t colour);
/* A square of edge `size` in z = 0 facing -z, mesh kind 3 (drawn without
 * culling through the billboard stages). Named "BillboardNN". See
 * SetMeshBillboardMode for turning it toward the camera. */
E3D_API E3DMesh *BillboardCreate(float size, const float *scale, uint32_t colour);

/* ======================================================================
 * Viewports
 * ====================================================================== */

/* New viewport of w x h pixels. own = 1: allocates a 2w x 2h frame buffer
 * (width/height 2w, 2h; pitch w; scissor w x h). Otherwise draws into the
 * caller's surface (pixels and byte pitch of the bitmap record). depth = 1
 * adds a depth buffer when it can be allocated. NULL on failure.
 * Guard: w or h below 1, or sizes beyond 32-bit byte counts, give NULL; so
 * does a caller's surface without pixels, with a byte pitch below 2 * w, or
 * narrower or lower than w x h where its width or height is set (a width or
 * height of 0 is taken as not given: then only the pitch is checked). */
E3D_API E3DViewport *CreateViewport(const E3DTexture *surface, int32_t w, int32_t h, int32_t depth, int32_t own);
/* Frees the depth buffer, the frame buffer when owned, and the record.
 * Guard: when it is the fillers' current viewport, they draw nothing until
 * the next draw sets one; scenes and meshes naming it lose it; only a frame
 * buffer CreateViewport allocated is freed (bit 0x40 ORed in by
 * SetViewportType does not free a caller's surface). */
E3D_API void DeleteViewport(E3DViewport *viewport);
/* state 1: allocates and clears a depth buffer (returns 1, or 0 on failure);
 * anything else frees it and returns 0. Guard: a row of the depth buffer is
 * the longer of width and pitch, so a padded caller surface (pitch wider than
 * its width) has depth for every row it draws in both passes. */
E3D_API int32_t SetViewportDepthState(E3DViewport *viewport, int32_t state);
/* Writes value into the depth rows the scissor covers, across the full row
 * (width, or pitch when wider). Guard: does nothing without a depth buffer,
 * and stays inside the buffer. */
E3D_API void ClearViewportDepthBuffer(E3DViewport *viewport, int32_t value);
/* Sets the scissor; rejected whole when xMax > width or yMax > height;
 * negative edges become 0 and xMin/yMin are held to the size. */
E3D_API E3DViewport *SetViewportScissor(E3DViewport *viewport, float xMin, float xMax, float yMin, float yMax);
/* Copies xMin, xMax, yMin, yMax into out[0..3]. */
E3D_API void GetViewportScissor(const E3DViewport *viewport, float *out);
/* When type & 3 is not 0, ORs the whole value into the cleared type bits:
 * bit 31 (drawing enabled) arrives only this way. Returns the viewport. */
E3D_API E3DViewport *SetViewportType(E3DViewport *viewport, uint32_t type);
/* flags & 3. */
E3D_API uint32_t GetViewportType(const E3DViewport *viewport);
/* Stores the camera; returns it, or the viewport when the camera is NULL. */
E3D_API void *SetViewportCamera(E3DViewport *viewport, struct E3DCamera *camera);
/* The viewport's camera or NULL. */
E3D_API struct E3DCamera *GetViewportCamera(const E3DViewport *viewport);
/* Stores the post-effect material (NULL allowed); returns it. */
E3D_API E3DMaterial *SetViewportMaterial(E3DViewport *viewport, E3DMaterial *material);

/* ======================================================================
 * Fillers
 * Triangle fillers draw one polygon record into the current viewport (the
 * one the last draw used). Corners are screenX/screenY/invDepth of the
 * vertex records named by the polygon. Guard: a filler called directly with
 * corners off the buffer writes only inside the frame and depth buffers;
 * with no current viewport it draws nothing. A polygon with no material on
 * its drawn side (the back one when its flags have 0x80) is not filled by
 * the solid and textured fillers; the wire filler draws it replacing.
 * ====================================================================== */

/* Floor division: quotient and remainder in [0, denominator), denominator > 0. */
E3D_API void FloorDivMod(int32_t numerator, int32_t denominator, int32_t *quotient, int32_t *remainder);
/* One colour, painter's pass; colour 0x80000000 paints the key pixel 0x8000. */
E3D_API void FlatSolidTriangle(E3DPolygon *polygon, E3DVertex *vertices);
/* One colour, depth-tested (1/z, strictly nearer passes). */
E3D_API void FlatSolidTriangleZ(E3DPolygon *polygon, E3DVertex *vertices);
/* Corner colours interpolated and dithered, painter's pass. */
E3D_API void GouraudSolidTriangle(E3DPolygon *polygon, E3DVertex *vertices);
/* Corner colours interpolated and dithered, depth-tested. */
E3D_API void GouraudSolidTriangleZ(E3DPolygon *polygon, E3DVertex *vertices);

/* ======================================================================
 * Texture-mapped fillers
 * Perspective-correct: texel coordinates are exact every 16 pixels and
 * stepped in 16.16 between. Power-of-two layers wrap (masks width - 1 and
 * height - 1, kept engine-wide); others address rows of `shift` texels.
 * Corner coordinates are texel coordinates times invDepth, as the dispatch
 * prepares them. Blend types combine the lit texel with the frame: packed
 * saturating add, ProductTable mix (frame weighted 255 - level; the unlit
 * family weights it by the level) and packed subtraction; blended writes
 * test depth but never write it, and depth steps on every pixel. Guard: any
 * coordinates, finite or not, read only inside the texture; a layer without
 * pixels draws nothing.
 * ====================================================================== */

/* Diffuse map (layer 0) stored unlit, painter's pass; opacity blends weight the frame by the level itself. */
E3D_API void NoneDiffuseTriangle(E3DPolygon *polygon, E3DVertex *vertices);
/* Diffuse map stored unlit, depth-tested (1/z, strictly nearer passes). */
E3D_API void NoneDiffuseTriangleZ(E3DPolygon *polygon, E3DVertex *vertices);
/* Opacity map (layer 1) unlit, painter's pass; texel 0x8000 is a hole. */
E3D_API void NoneOpacityTriangle(E3DPolygon *polygon, E3DVertex *vertices);
/* Opacity map unlit with its colour-key holes, depth-tested. */
E3D_API void NoneOpacityTriangleZ(E3DPolygon *polygon, E3DVertex *vertices);
/* Environment map (layer 2, second coordinate pair) unlit, painter's pass. */
E3D_API void NoneEnvironmentTriangle(E3DPolygon *polygon, E3DVertex *vertices);
/* Environment map unlit, depth-tested. */
E3D_API void NoneEnvironmentTriangleZ(E3DPolygon *polygon, E3DVertex *vertices);
/* Diffuse map lit by the polygon colour through ScaleTable (texel 31 under white gives 30), painter's pass. */
E3D_API void FlatDiffuseTriangle(E3DPolygon *polygon, E3DVertex *vertices);
/* Diffuse map lit by the polygon colour, depth-tested; depth and coordinates step at every pixel. */
E3D_API void FlatDiffuseTriangleZ(E3DPolygon *polygon, E3DVertex *vertices);
/* Opacity map lit by the polygon colour, painter's pass; texel 0x8000 is skipped while U and V advance. */
E3D_API void FlatOpacityTriangle(E3DPolygon *polygon, E3DVertex *vertices);
/* Opacity map lit by the polygon colour with its colour-key holes, depth-tested. */
E3D_API void FlatOpacityTriangleZ(E3DPolygon *polygon, E3DVertex *vertices);
/* Environment map lit by the polygon colour, painter's pass. */
E3D_API void FlatEnvironmentTriangle(E3DPolygon *polygon, E3DVertex *vertices);
/* Environment map lit by the polygon colour, depth-tested. */
E3D_API void FlatEnvironmentTriangleZ(E3DPolygon *polygon, E3DVertex *vertices);
/* Diffuse map scaled per channel by the dithered corner colours, painter's pass (dither anchored at the span end). */
E3D_API void GouraudDiffuseTriangle(E3DPolygon *polygon, E3DVertex *vertices);
/* Diffuse map scaled per channel by the dithered corner colours, depth-tested (dither at the screen column). */
E3D_API void GouraudDiffuseTriangleZ(E3DPolygon *polygon, E3DVertex *vertices);
/* Opacity map scaled by the dithered corner colours, painter's pass; texel 0x8000 is a hole. */
E3D_API void GouraudOpacityTriangle(E3DPolygon *polygon, E3DVertex *vertices);
/* Opacity map scaled by the dithered corner colours with its holes, depth-tested. */
E3D_API void GouraudOpacityTriangleZ(E3DPolygon *polygon, E3DVertex *vertices);
/* Environment map scaled by the dithered corner colours, painter's pass. */
E3D_API void GouraudEnvironmentTriangle(E3DPolygon *polygon, E3DVertex *vertices);
/* Environment map scaled by the dithered corner colours, depth-tested. */
E3D_API void GouraudEnvironmentTriangleZ(E3DPolygon *polygon, E3DVertex *vertices);

/* ======================================================================
 * Dots, wire and lines
 * A line runs from its first end's pixel up to, not including, its second
 * end's pixel (ends rounded to the nearest pixel), one pixel per step along
 * the longer axis; the other coordinate is the exact line's, rounded to
 * nearest with a tie going to the smaller coordinate. So a closed outline
 * and a line split into pieces write every pixel once. Lines are clipped to
 * x in [clipXMin, clipXMaxInner], y in [clipYMin, clipYMaxInner] without
 * changing their pixels. Start-up builds two line tables: the step
 * directions of the eight octants and ceil(2^36 / n) for n < 1024, which
 * makes a Gouraud colour step trunc(delta * 65536 / length) one multiply.
 * Guard: ends beyond 2^20 pixels are first cut to that square; an edge with
 * an end that is not finite draws nothing.
 * ====================================================================== */

/* The three corners as single pixels (truncated), strictly inside the clip bounds; no depth, no blending. */
E3D_API void FlatDotsTriangle(E3DPolygon *polygon, E3DVertex *vertices);
/* As FlatDotsTriangle, each corner in its own colour (color, color1, color2 for slots 0, 1, 2). */
E3D_API void GouraudDotsTriangle(E3DPolygon *polygon, E3DVertex *vertices);
/* Visible edges (flags 0x200: 0-1, 0x400: 1-2, 0x800: 2-0) as lines; flag 0x40 blends by the material. */
E3D_API void FlatWireTriangle(E3DPolygon *polygon, E3DVertex *vertices);
/* As FlatWireTriangle, corner colours interpolated along each edge (8.16 steps, not dithered). */
E3D_API void GouraudWireTriangle(E3DPolygon *polygon, E3DVertex *vertices);
/* A line in colour 0x00RRGGBB through the viewport's scissor (loaded as clip bounds); current viewport restored. */
E3D_API void DrawLine2D(E3DViewport *viewport, float x0, float y0, float x1, float y1, uint32_t colour);

/* ======================================================================
 * 2D drawing and post effects
 * Both borrow the current viewport for the call and restore it.
 * ====================================================================== */

/* Fills one screen-space triangle with FlatSolidTriangle, clipped at the scissor when a vertex out-code is set; leaves clip bounds 0..width x 0..height after clipping. Guard: no material on the drawn side: nothing (as for the fillers). */
E3D_API void DrawTriangle2D(E3DPolygon *polygon, E3DVertex *vertices, E3DViewport *viewport);
/* Lays the viewport's material (colour, or a texture slot that stays chosen across calls) over the scissor; no material: nothing. Guard: draw modes past the selection table draw nothing. */
E3D_API void DrawViewportPostFX(E3DViewport *viewport);

#ifdef __cplusplus
}
#endif

#endif /* ENGINE3D_H */
