// Rasteriser lookup tables, built at engine start and freed at release
// (pipeline/lifecycle.cpp). BuildRasterTables sets up the two line tables
// (raster/line.h) first, then allocates and fills the lookup tables.
#pragma once

namespace e3d {

void BuildRasterTables();
void ReleaseRasterTables();

}  // namespace e3d
