// Rasteriser lookup tables.
#include "raster/raster_tables.h"

namespace e3d {

void BuildRasterTables() {}

void ReleaseRasterTables() {}

}  // namespace e3d
