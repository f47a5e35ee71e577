// Start-up and release work of the subsystems above core that the engine
// lifecycle runs; they define these (the raster lookup tables live in
// raster/raster_tables.cpp).
#pragma once

namespace e3d {

void BuildRasterTables();
void ReleaseRasterTables();

}  // namespace e3d
