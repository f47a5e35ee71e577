// Rasteriser lookup tables, built at engine start and freed at release.
#pragma once

namespace e3d {

// Sets up the two line tables (raster/line.h) first, then allocates and
// fills the lookup tables.
void BuildRasterTables();
void ReleaseRasterTables();

}  // namespace e3d
