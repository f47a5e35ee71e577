// Every triangle filler, once: the shade row of the filler table, the draw
// mode, and the routine drawn in the painter's pass (its depth-buffered twin
// has the same name with Z). The filler table is made from this list, and so
// are the exported texture-mapped fillers: F names a filler written out
// elsewhere (dots, wire, solid), T one the list defines, with its lighting and
// its map.
#pragma once

#define E3D_FILLERS(F, T)                                                    \
    F(E3D_SHADE_NONE, 1, ClipAndDrawFlatDotsTriangle)                        \
    F(E3D_SHADE_NONE, 3, ClipAndDrawFlatWireTriangle)                        \
    F(E3D_SHADE_NONE, 7, FlatSolidTriangle)                                  \
    T(E3D_SHADE_NONE, 15, NoneDiffuseTriangle, kTextureUnlit, kDiffuseMap)   \
    T(E3D_SHADE_NONE, 23, NoneOpacityTriangle, kTextureUnlit, kOpacityMap)   \
    T(E3D_SHADE_NONE, 39, NoneEnvironmentTriangle, kTextureUnlit, kEnvironmentMap) \
    F(E3D_SHADE_FLAT, 1, ClipAndDrawFlatDotsTriangle)                        \
    F(E3D_SHADE_FLAT, 3, ClipAndDrawFlatWireTriangle)                        \
    F(E3D_SHADE_FLAT, 7, FlatSolidTriangle)                                  \
    T(E3D_SHADE_FLAT, 15, FlatDiffuseTriangle, kTextureFlat, kDiffuseMap)    \
    T(E3D_SHADE_FLAT, 23, FlatOpacityTriangle, kTextureFlat, kOpacityMap)    \
    T(E3D_SHADE_FLAT, 39, FlatEnvironmentTriangle, kTextureFlat, kEnvironmentMap) \
    F(E3D_SHADE_GOURAUD, 1, ClipAndDrawGouraudDotsTriangle)                  \
    F(E3D_SHADE_GOURAUD, 3, ClipAndDrawGouraudWireTriangle)                  \
    F(E3D_SHADE_GOURAUD, 7, GouraudSolidTriangle)                            \
    T(E3D_SHADE_GOURAUD, 15, GouraudDiffuseTriangle, kTextureGouraud, kDiffuseMap) \
    T(E3D_SHADE_GOURAUD, 23, GouraudOpacityTriangle, kTextureGouraud, kOpacityMap) \
    T(E3D_SHADE_GOURAUD, 39, GouraudEnvironmentTriangle, kTextureGouraud, kEnvironmentMap)
