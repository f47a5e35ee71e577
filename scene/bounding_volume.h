// Bounding box meshes and bounding spheres.
#pragma once

#include "engine3d.h"
