// The one reading of a material's texture layer, for the polygon dispatch and
// the texture fillers alike; scene/material.cpp writes layers with the same
// names.
#pragma once

#include <bit>
#include <cstdint>

#include "core/modes.h"
#include "engine3d.h"

namespace e3d {

// Layer mode bits besides the power-of-two mark: the texels come from the
// layer's bitmap record (its pixels plus a byte offset), and the texture mode
// field that SetMaterialTextureMode sets.
inline constexpr uint32_t kLayerFromBitmap = 0x2u;
inline constexpr uint32_t kLayerTextureModeMask = 0x30u;

struct TextureLayerView {
    const uint16_t *texels;  // null: the layer shows nothing
    int32_t width, height;
    uint32_t shift;   // log2 of the width in the masked form, texels per row otherwise
    bool wraps;       // marked power-of-two: coordinates wrap by the sides' masks
    bool maskedForm;  // and really so (both sides powers of two, shift log2 of
                      // the width): texels are addressed by shifting
};

inline TextureLayerView ReadTextureLayer(const E3DTextureLayer &layer) {
    TextureLayerView view{layer.pixels, layer.width, layer.height, uint32_t(layer.shift), false, false};
    if (layer.mode & kLayerFromBitmap) {
        const E3DTexture *t = layer.texture;
        view.texels = t && t->pixels ? reinterpret_cast<const uint16_t *>(reinterpret_cast<const uint8_t *>(t->pixels) +
                                                                         (t->reserved2[4] & ~1u))
                                     : nullptr;
    }
    view.wraps = (layer.mode & kPowerOfTwoSides) != 0;
    // Guard: a layer with sizes that address nothing shows nothing.
    if (layer.width < 1 || layer.height < 1 || layer.shift < 0 || (view.wraps && layer.shift > 30))
        view.texels = nullptr;
    // Guard: the masked form stays inside the texture only for the layers
    // SetMaterialTexture marks itself. A caller's mode bits may carry the mark
    // for other sides too (its shift is then the row length): such a layer
    // keeps its masks but is addressed by rows, clamped to the texture.
    view.maskedForm = view.wraps && std::has_single_bit(uint32_t(layer.width)) &&
                      std::has_single_bit(uint32_t(layer.height)) &&
                      uint32_t(layer.shift) == uint32_t(std::countr_zero(uint32_t(layer.width)));
    return view;
}

}  // namespace e3d
