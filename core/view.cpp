// View and projection.
#include "core/view.h"

#include <bit>
#include <cmath>

#include "core/float_math.h"
#include "core/matrix.h"

namespace e3d {

ClipBounds g_clipBounds;

namespace {

bool IsExactly(float value, float target) {
    return (std::bit_cast<uint32_t>(value - target) & 0x7FFFFFFFu) == 0;
}

// The look rotation for a unit direction d (rows x, y, z); straight up or
// down turns about x by +-90 degrees instead.
void LookRotation(float *m, const float *d) {
    if (!IsExactly(d[1], 1.0f) && !IsExactly(d[1], -1.0f)) {
        const float s = std::sqrt(1.0f - d[1] * d[1]);
        m[0] = d[2] / s, m[1] = 0.0f, m[2] = -d[0] / s;
        m[4] = -d[0] * d[1] / s, m[5] = s, m[6] = -d[1] * d[2] / s;
        m[8] = d[0], m[9] = d[1], m[10] = d[2];
    } else {
        const float sine = d[1] > 0.0f ? 1.0f : -1.0f;  // cos(+-90) = 0
        m[0] = 1.0f, m[1] = 0.0f, m[2] = 0.0f;
        m[4] = 0.0f, m[5] = 0.0f, m[6] = -sine;
        m[8] = 0.0f, m[9] = sine, m[10] = 0.0f;
    }
}

void Normalise(float *d) {
    const float k = 1.0f / std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
    d[0] *= k, d[1] *= k, d[2] *= k;
}

}  // namespace

void LoadClipBounds(const E3DViewport *v) {
    g_clipBounds.xMin = v->scissorXMin;
    g_clipBounds.xMax = v->scissorXMax;
    g_clipBounds.xMaxInner = v->scissorXMax - 1.0f;
    g_clipBounds.yMin = v->scissorYMin;
    g_clipBounds.yMax = v->scissorYMax;
    g_clipBounds.yMaxInner = v->scissorYMax - 1.0f;
}

void FitFocalFactor(const E3DViewport *v, E3DCamera *c) {
    const float half = c->fov * 0.5f * kDegreesToRadians;
    const float horizontal = v->centerX / Tan(half);
    // The exact-equality test is deliberate: a 4:3 buffer treats fov as the
    // horizontal angle, every other shape as the vertical one.
    c->focal = IsExactly(v->aspect, -1.0f) ? horizontal : horizontal * (v->aspect * -0.75f);
}

void BuildCameraViewMatrix(E3DCamera *c) {
    float *d = c->direction;
    for (int i = 0; i < 3; ++i) d[i] = c->workTarget[i] - c->workPosition[i];
    Normalise(d);
    float look[12];
    LookRotation(look, d);
    const float r = c->roll * kDegreesToRadians;
    const float cr = Cos(r), sr = Sin(r);
    float *m = c->viewMatrix;
    for (int j = 0; j < 3; ++j) {
        m[j] = cr * look[j] - sr * look[4 + j];
        m[4 + j] = sr * look[j] + cr * look[4 + j];
        m[8 + j] = look[8 + j];
    }
    m[3] = c->workPosition[0];
    m[7] = c->workPosition[1];
    m[11] = c->workPosition[2];
}

void CombineViewWithWorld(float *out, const float *view, const float *world) {
    MultiplyRotations(out, view, world);
    const float tx = world[3] - view[3], ty = world[7] - view[7], tz = world[11] - view[11];
    for (int i = 0; i < 3; ++i) out[4 * i + 3] = view[4 * i] * tx + view[4 * i + 1] * ty + view[4 * i + 2] * tz;
}

}  // namespace e3d

extern "C" E3D_API void CreateLookAtMatrix(const float *a, const float *b, float *out) {
    if (!a || !b || !out) return;
    float d[3] = {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
    e3d::Normalise(d);
    e3d::LookRotation(out, d);
    out[3] = a[0];
    out[7] = a[1];
    out[11] = a[2];
}
