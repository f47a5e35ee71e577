// Record sizes that hosts and the engine's arithmetic depend on. On 32-bit
// builds they match the engine's 32-bit layout to the byte.
#include <cstddef>
#include <cstdint>

#include "engine3d.h"

static_assert(sizeof(E3DVertex) == 13 * sizeof(float));

#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(sizeof(E3DList) == 12);
static_assert(sizeof(E3DNode) == 12);
static_assert(sizeof(E3DSortEntry) == 16);
static_assert(sizeof(E3DPolygon) == 28 * 4);
static_assert(sizeof(E3DTextureLayer) == 7 * 4);
static_assert(offsetof(E3DMaterial, layers) == 3 * sizeof(E3DTextureLayer));
static_assert(offsetof(E3DMaterial, tail) == 6 * sizeof(E3DTextureLayer));
static_assert(sizeof(E3DMaterial) == 51 * 4);
static_assert(sizeof(E3DTexture) == 24 * 4);
static_assert(offsetof(E3DTexture, pixels) == 7 * 4);
static_assert(offsetof(E3DTexture, width) == 10 * 4);
static_assert(offsetof(E3DTexture, pitch) == 12 * 4);
static_assert(offsetof(E3DTexture, width2) == 18 * 4);
static_assert(sizeof(E3DViewport) == 19 * 4);
static_assert(offsetof(E3DViewport, frameBuffer) == 13 * 4);
static_assert(offsetof(E3DViewport, pitch) == 17 * 4);
#endif

// A light's attenuation pair shares its place with a camera's near and far,
// so one getter serves both.
static_assert(offsetof(E3DCamera, near) == offsetof(E3DLight, attenuation));
static_assert(offsetof(E3DCamera, far) == offsetof(E3DLight, attenuation) + sizeof(float));
#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(offsetof(E3DCamera, near) == 120);
#endif

#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(sizeof(E3DBone) == 168);
static_assert(sizeof(E3DBVSphere) == 20);
#endif
