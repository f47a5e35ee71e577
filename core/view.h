// View and projection: clip bounds from the scissor, the focal factor, the
// camera's view matrix and its combination with an object's world matrix.
#pragma once

#include "engine3d.h"

namespace e3d {

// Engine-wide clip bounds, rewritten for every frame.
struct ClipBounds {
    float xMin, xMax, xMaxInner;
    float yMin, yMax, yMaxInner;
};
extern ClipBounds g_clipBounds;

void LoadClipBounds(const E3DViewport *viewport);

// focal from fov and the viewport: the horizontal angle on a 4:3 buffer
// (aspect exactly -1), the vertical angle on any other.
void FitFocalFactor(const E3DViewport *viewport, E3DCamera *camera);

// The camera's view rotation from its working position and target, roll
// applied after the look direction; translation column = the position.
void BuildCameraViewMatrix(E3DCamera *camera);

// out maps an object's local point to view space: x right, y up, z along
// the viewing direction. The view matrix's translation is the eye position.
void CombineViewWithWorld(float *out, const float *view, const float *world);

}  // namespace e3d
