// Filler selection: one row per shading value, one entry per draw mode and
// pass. Rows 0, 2, 4, 5 and 6 share the block of empty routines.
#include <array>

#include "raster/raster.h"
#include "raster/wire.h"

namespace e3d {

void EmptyFiller(E3DPolygon *, E3DVertex *) {}

namespace {

// Seven draw-mode bits and the pass bit: every index the two index
// functions can make has an entry, the empty routine where nothing is listed.
using Row = std::array<TriangleFillerRoutine, 256>;

struct Pair {
    uint32_t drawMode;
    TriangleFillerRoutine sorted, depth;
};

template <size_t N>
constexpr Row MakeRow(const Pair (&pairs)[N]) {
    Row row{};
    for (auto &entry : row) entry = EmptyFiller;
    for (const Pair &p : pairs) {
        row[2 * p.drawMode] = p.sorted;
        row[2 * p.drawMode + 1] = p.depth;
    }
    return row;
}

// Unlit solid, dots and wire polygons share the flat fillers. Draw modes 1
// and 3 are dots and wire; 15, 23 and 39 the diffuse, opacity and
// environment maps.
constexpr Pair kNone[] = {{1, ClipAndDrawFlatDotsTriangle, ClipAndDrawFlatDotsTriangleZ},
                          {3, ClipAndDrawFlatWireTriangle, ClipAndDrawFlatWireTriangleZ},
                          {7, FlatSolidTriangle, FlatSolidTriangleZ},
                          {15, NoneDiffuseTriangle, NoneDiffuseTriangleZ},
                          {23, NoneOpacityTriangle, NoneOpacityTriangleZ},
                          {39, NoneEnvironmentTriangle, NoneEnvironmentTriangleZ}};
constexpr Pair kFlat[] = {{1, ClipAndDrawFlatDotsTriangle, ClipAndDrawFlatDotsTriangleZ},
                          {3, ClipAndDrawFlatWireTriangle, ClipAndDrawFlatWireTriangleZ},
                          {7, FlatSolidTriangle, FlatSolidTriangleZ},
                          {15, FlatDiffuseTriangle, FlatDiffuseTriangleZ},
                          {23, FlatOpacityTriangle, FlatOpacityTriangleZ},
                          {39, FlatEnvironmentTriangle, FlatEnvironmentTriangleZ}};
constexpr Pair kGouraud[] = {{1, ClipAndDrawGouraudDotsTriangle, ClipAndDrawGouraudDotsTriangleZ},
                             {3, ClipAndDrawGouraudWireTriangle, ClipAndDrawGouraudWireTriangleZ},
                             {7, GouraudSolidTriangle, GouraudSolidTriangleZ},
                             {15, GouraudDiffuseTriangle, GouraudDiffuseTriangleZ},
                             {23, GouraudOpacityTriangle, GouraudOpacityTriangleZ},
                             {39, GouraudEnvironmentTriangle, GouraudEnvironmentTriangleZ}};
constexpr Pair kNothing[] = {{0, EmptyFiller, EmptyFiller}};

constexpr Row kEmptyRow = MakeRow(kNothing);
constexpr Row kNoneRow = MakeRow(kNone);
constexpr Row kFlatRow = MakeRow(kFlat);
constexpr Row kGouraudRow = MakeRow(kGouraud);

constexpr const TriangleFillerRoutine *kRows[8] = {kEmptyRow.data(), kNoneRow.data(),  kEmptyRow.data(),
                                                   kFlatRow.data(),  kEmptyRow.data(), kEmptyRow.data(),
                                                   kEmptyRow.data(), kGouraudRow.data()};

}  // namespace

const TriangleFillerRoutine *const FillerTable[8] = {kRows[0], kRows[1], kRows[2], kRows[3],
                                                     kRows[4], kRows[5], kRows[6], kRows[7]};

}  // namespace e3d
