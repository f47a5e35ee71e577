// Rasteriser lookup tables, built at engine start and freed at release.
#pragma once

namespace e3d {

void BuildRasterTables();
void ReleaseRasterTables();

}  // namespace e3d
