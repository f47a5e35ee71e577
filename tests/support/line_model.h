// The line tests' canvas and the reference line stepper live with the
// fillers' test bench.
#pragma once

#include "support/raster_model.h"

namespace e3dtest {

using LineCanvas = Canvas;

}  // namespace e3dtest
