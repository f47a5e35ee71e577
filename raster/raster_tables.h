// Rasteriser lookup tables, built at engine start and freed at release
// (declared with the lifecycle's other start-up work).
#pragma once

#include "core/lifecycle_links.h"
