// Rasteriser lookup tables, built at engine start and freed at release
// (declared with the lifecycle's other start-up work). BuildRasterTables
// sets up the two line tables (raster/line.h) first, then allocates and
// fills the lookup tables.
#pragma once

#include "core/lifecycle_links.h"
