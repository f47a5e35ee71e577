// Texture-mapped fillers: perspective-correct texel coordinates, exact every
// 16 pixels and stepped in 16.16 between, texels lit by the family's rule
// (unlit, the flat polygon colour, or the dithered corner colours).
#pragma once

#include <cstdint>

#include "raster/edge_walker.h"

namespace e3d {

// How a family lights its texels.
enum TextureLighting : int { kTextureUnlit = 0, kTextureFlat = 1, kTextureGouraud = 2 };
// Which layer a member reads: the diffuse map, the colour-keyed opacity map
// (texel 0x8000 is not drawn) or the environment map on the second pair.
enum TextureMapKind : int { kDiffuseMap = 0, kOpacityMap = 1, kEnvironmentMap = 2 };

// Wrap masks of the power-of-two form. Engine-wide: only that form writes
// them, so a row-length texture leaves the last power-of-two sizes behind.
struct TextureMasks {
    uint32_t u;
    uint32_t v;
};
extern TextureMasks g_textureMasks;

// Draws one textured triangle into the target. reference: through the
// scalar span writers only, which the SSE2 replace writers must match.
void TextureFill(E3DPolygon *polygon, E3DVertex *vertices, const RasterTarget &target, TextureLighting lighting,
                 TextureMapKind map, bool depthPass, bool reference = false);

}  // namespace e3d
