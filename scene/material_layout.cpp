// Material and texture layout that hosts and the layer code depend on.
#include <cstddef>
#include <cstdint>

#include "engine3d.h"

// Layer block 3 starts at colorOp on every build, and however large a block
// is, it ends before hostObject: a texture on layer 3 stays inside the record.
static_assert(offsetof(E3DMaterial, tail) == offsetof(E3DMaterial, tail.layer3));
static_assert(offsetof(E3DMaterial, tail) == offsetof(E3DMaterial, tail.named.colorOp));
static_assert(offsetof(E3DMaterial, tail.layer3) + sizeof(E3DTextureLayer) <= offsetof(E3DMaterial, hostObject));
static_assert(sizeof(((E3DMaterial *)nullptr)->tail.named.name) == 30);

#if UINTPTR_MAX == 0xFFFFFFFFu
// Block n at 7-word index n + 3: block 3 covers colorOp and name[0..25].
static_assert(offsetof(E3DMaterial, layers) == 21 * 4);
static_assert(offsetof(E3DMaterial, tail) == 42 * 4);
static_assert(offsetof(E3DMaterial, tail.named.name) == 42 * 4 + 2);
static_assert(offsetof(E3DMaterial, hostObject) == 50 * 4);
static_assert(offsetof(E3DMaterial, shininess) == 17 * 4 && offsetof(E3DMaterial, alphaLevel) == 19 * 4);
static_assert(sizeof(E3DTextureLayer) == 7 * 4 && offsetof(E3DTextureLayer, texture) == 5 * 4);
static_assert(sizeof(E3DTexture) == 24 * 4 && offsetof(E3DTexture, height2) == 19 * 4);
#endif
