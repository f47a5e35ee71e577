// The engine's names for the values and bits of its mode and state words:
// the header's E3D_* names where a host passes the value, internal names for
// the bits only the engine sets or reads. Code says these names, never the
// numbers.
#pragma once

#include <cstdint>

#include "engine3d.h"

namespace e3d {

// ---- fields shared by a mesh's display state, a material's mode and a
// polygon's flags (the same bits in all three) --------------------------------
inline constexpr uint32_t kShadeMask = 0x7u;  // E3D_SHADE_NONE, _FLAT, _GOURAUD
inline constexpr uint32_t kCullMask = E3D_CULL_NONE | E3D_CULL_FRONT | E3D_CULL_BACK;
inline constexpr uint32_t kModifier = E3D_RENDER_MODIFIER;
// Render (draw) modes are cumulative masks over bits 20-26: dots, wire, solid,
// then the texture layers on top of solid.
inline constexpr uint32_t kRenderDots = E3D_RENDER_DOTS;
inline constexpr uint32_t kRenderWire = E3D_RENDER_WIRE;
inline constexpr uint32_t kRenderSolid = E3D_RENDER_SOLID;
inline constexpr uint32_t kRenderMask = E3D_RENDER_TEXTURED;
inline constexpr uint32_t kLayerPresent0 = E3D_TEXTURE_LAYER0;  // layer n: kLayerPresent0 << n
inline constexpr uint32_t kLayerPresentMask =
    E3D_TEXTURE_LAYER0 | E3D_TEXTURE_LAYER1 | E3D_TEXTURE_LAYER2 | E3D_TEXTURE_LAYER3;

// ---- mesh display state -------------------------------------------------------
inline constexpr uint32_t kMeshSwitchedOff = 0x2000u;
inline constexpr uint32_t kMeshHidden = 0x4000u;
inline constexpr uint32_t kMeshActive = 0x8000u;
// Set by the walk for the frame: the mesh's box lies wholly outside the view,
// or crosses the near or far plane.
inline constexpr uint32_t kMeshOutsideView = 0x20000u;
inline constexpr uint32_t kMeshCrossesDepth = 0x80000u;
// A new mesh: textured render mode, Gouraud, back faces culled; not hidden,
// not active.
inline constexpr uint32_t kMeshInitialState = kRenderMask | E3D_CULL_BACK | E3D_SHADE_GOURAUD;

enum MeshKind : int32_t { kMeshUnvalidated = 0, kMeshOrdinary = 1, kMeshDeformed = 2, kMeshBillboard = 3 };

// ---- material mode --------------------------------------------------------------
inline constexpr uint32_t kColorOpOn = E3D_MATERIAL_COLOR_OP;
inline constexpr uint32_t kSpecularOn = E3D_MATERIAL_SPECULAR;
// A mesh's default material: solid, flat, back faces culled, with bit 6.
inline constexpr uint32_t kDefaultMaterialMode = kRenderSolid | kModifier | E3D_CULL_BACK | E3D_SHADE_FLAT;

// ---- texture layer mode -----------------------------------------------------------
inline constexpr uint32_t kPowerOfTwoSides = E3D_TEXTURE_POWER_OF_TWO;

// ---- polygon flags --------------------------------------------------------------------
// Edge visibility for wireframes, one bit per edge, and where the smoothing
// group starts.
inline constexpr uint32_t kEdge0 = 0x200u, kEdge1 = 0x400u, kEdge2 = 0x800u;
inline constexpr uint32_t kEdgeMask = kEdge0 | kEdge1 | kEdge2;
inline constexpr int kGroupShift = 12;
// Set per frame by the stages: the polygon goes to the sorted list, and the
// side showing is the back (drawn with the back material).
inline constexpr uint32_t kPolygonSeeThrough = 0x40u;
inline constexpr uint32_t kPolygonBackShowing = 0x80u;
// A new triangle: solid, every edge shown, bit 6, Gouraud; a quad's two
// triangles leave out the shared diagonal.
inline constexpr uint32_t kTriangleFlags = kRenderSolid | kEdgeMask | kModifier | E3D_SHADE_GOURAUD;
inline constexpr uint32_t kQuadFirstFlags = kRenderSolid | kEdge2 | kEdge1 | kModifier | E3D_SHADE_GOURAUD;
inline constexpr uint32_t kQuadSecondFlags = kRenderSolid | kEdge1 | kEdge0 | kModifier | E3D_SHADE_GOURAUD;

// ---- lights and bones -----------------------------------------------------------------------
inline constexpr uint32_t kLightOn = 0x80000000u;
inline constexpr uint8_t kRootBone = 0x80u;  // a bone's rootFlags

}  // namespace e3d
