// Filler selection: one row per shading value, one entry per draw mode and
// pass. Rows 0, 2, 4, 5 and 6 share the block of empty routines.
#include <array>

#include "raster/filler_list.h"
#include "raster/raster.h"
#include "raster/wire.h"

namespace e3d {

void EmptyFiller(E3DPolygon *, E3DVertex *) {}

namespace {

// Seven draw-mode bits and the pass bit: every index the two index
// functions can make has an entry, the empty routine where nothing is listed.
using Row = std::array<TriangleFillerRoutine, 256>;

struct Pair {
    uint32_t shade, drawMode;
    TriangleFillerRoutine sorted, depth;
};

// One row per shade mode: an entry per filler of the list in that row. Unlit
// dots, wire and solid polygons share the flat fillers.
template <size_t N>
constexpr Row RowOf(uint32_t shade, const Pair (&all)[N]) {
    Row row{};
    for (auto &entry : row) entry = EmptyFiller;
    for (size_t i = 0; i < N; ++i) {
        if (all[i].shade != shade) continue;
        row[2 * all[i].drawMode] = all[i].sorted;
        row[2 * all[i].drawMode + 1] = all[i].depth;
    }
    return row;
}

#define E3D_LISTED(shade, drawMode, name) {shade, drawMode, name, name##Z},
#define E3D_LISTED_TEXTURE(shade, drawMode, name, lighting, map) E3D_LISTED(shade, drawMode, name)
constexpr Pair kListed[] = {E3D_FILLERS(E3D_LISTED, E3D_LISTED_TEXTURE)};
#undef E3D_LISTED
#undef E3D_LISTED_TEXTURE

constexpr Row kEmptyRow = RowOf(0, kListed);
constexpr Row kNoneRow = RowOf(E3D_SHADE_NONE, kListed);
constexpr Row kFlatRow = RowOf(E3D_SHADE_FLAT, kListed);
constexpr Row kGouraudRow = RowOf(E3D_SHADE_GOURAUD, kListed);

constexpr const TriangleFillerRoutine *kRows[8] = {kEmptyRow.data(), kNoneRow.data(),  kEmptyRow.data(),
                                                   kFlatRow.data(),  kEmptyRow.data(), kEmptyRow.data(),
                                                   kEmptyRow.data(), kGouraudRow.data()};

}  // namespace

const TriangleFillerRoutine *const FillerTable[8] = {kRows[0], kRows[1], kRows[2], kRows[3],
                                                     kRows[4], kRows[5], kRows[6], kRows[7]};

}  // namespace e3d
