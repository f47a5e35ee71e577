/* Engine3D web host: the showcase scene behind a handful of plain C entry
 * points that a page (or a replay driver) calls. The host owns the 5-5-5
 * frame buffer; the caller reads it after each WebHostFrame and presents it.
 *
 * Controls: left-drag orbits the camera around the showcase target, the
 * wheel zooms, D toggles depth buffer / painter's sort, 1/2/3 set solid /
 * wire / dots on every mesh, L toggles the lights, Space pauses the slow
 * orbit turn. The orbit and mode logic sits in its own section below so it
 * can be shared with other hosts. */
#include "web_host.h"

#include <math.h>
#include <stdlib.h>
#include <string.h>

#include "showcase_scene.h"

/* ---- orbit camera -------------------------------------------------------
 * The eye is the showcase eye's offset from the target, raised or lowered by
 * `pitch`, turned about the vertical by `yaw` and scaled by `zoom`. With all
 * three at rest the eye is the showcase eye exactly, so a fresh host renders
 * the showcase picture. */
typedef struct Orbit {
    float yaw, pitch; /* radians */
    float zoom;       /* distance factor */
    int paused;       /* slow turn stopped */
} Orbit;

/* Pitch limits, degrees from the rest view (about 20.6 degrees up): the eye
 * stays between just above the floor and short of the pole. */
static const float kOrbitPitchLow = -15.0f, kOrbitPitchHigh = 60.0f;
static const float kOrbitDegrees = 0.017453292f;
static const float kOrbitDragRate = 0.5f;   /* degrees per pixel dragged */
static const float kOrbitTurnRate = 6.0f;   /* degrees per second */
static const float kOrbitZoomStep = 1.125f; /* per wheel notch */
static const float kOrbitZoomMin = 0.25f, kOrbitZoomMax = 4.0f;

static void OrbitReset(Orbit *o) {
    o->yaw = 0.0f;
    o->pitch = 0.0f;
    o->zoom = 1.0f;
    o->paused = 0;
}

/* Keeps yaw within one turn either way, so hours of turning lose no precision. */
static void OrbitWrapYaw(Orbit *o) {
    const float turn = 360.0f * kOrbitDegrees;
    if (o->yaw > turn) o->yaw -= turn;
    if (o->yaw < -turn) o->yaw += turn;
}

static void OrbitDrag(Orbit *o, float dx, float dy) {
    if (!isfinite(dx) || !isfinite(dy)) return;
    o->yaw += dx * kOrbitDragRate * kOrbitDegrees;
    OrbitWrapYaw(o);
    /* Dragging down lifts the eye. */
    o->pitch += dy * kOrbitDragRate * kOrbitDegrees;
    if (o->pitch < kOrbitPitchLow * kOrbitDegrees) o->pitch = kOrbitPitchLow * kOrbitDegrees;
    if (o->pitch > kOrbitPitchHigh * kOrbitDegrees) o->pitch = kOrbitPitchHigh * kOrbitDegrees;
}

/* Positive notches move closer. Repeated multiplication, not powf, keeps
 * the result identical on every C library. */
static void OrbitZoom(Orbit *o, int notches) {
    for (; notches > 0; --notches) o->zoom /= kOrbitZoomStep;
    for (; notches < 0; ++notches) o->zoom *= kOrbitZoomStep;
    if (o->zoom < kOrbitZoomMin) o->zoom = kOrbitZoomMin;
    if (o->zoom > kOrbitZoomMax) o->zoom = kOrbitZoomMax;
}

static void OrbitAdvance(Orbit *o, float seconds) {
    if (!o->paused && isfinite(seconds)) o->yaw += seconds * kOrbitTurnRate * kOrbitDegrees;
    OrbitWrapYaw(o);
}

static void OrbitEye(const Orbit *o, float eye[3]) {
    float v[3] = {kShowcaseEye[0] - kShowcaseTarget[0], kShowcaseEye[1] - kShowcaseTarget[1],
                  kShowcaseEye[2] - kShowcaseTarget[2]};
    /* Pitch: rotate v about the horizontal axis a = normalize(v x up)
     * (Rodrigues; a is perpendicular to v, so the a(a.v) term vanishes). */
    const float h = sqrtf(v[0] * v[0] + v[2] * v[2]);
    if (h > 0.0f) {
        const float a[3] = {-v[2] / h, 0.0f, v[0] / h};
        const float c = cosf(o->pitch), s = sinf(o->pitch);
        const float axv[3] = {a[1] * v[2] - a[2] * v[1], a[2] * v[0] - a[0] * v[2], a[0] * v[1] - a[1] * v[0]};
        for (int i = 0; i < 3; ++i) v[i] = v[i] * c + axv[i] * s;
    }
    const float c = cosf(o->yaw), s = sinf(o->yaw);
    const float x = v[0] * c + v[2] * s, z = v[2] * c - v[0] * s;
    eye[0] = kShowcaseTarget[0] + x * o->zoom;
    eye[1] = kShowcaseTarget[1] + v[1] * o->zoom;
    eye[2] = kShowcaseTarget[2] + z * o->zoom;
}

/* ---- render modes -------------------------------------------------------- */
enum { kModeSolid = 0x700000, kModeWire = 0x300000, kModeDots = 0x100000 };

static void SetAllMeshesRenderMode(E3DScene *scene, uint32_t mode) {
    const int32_t n = GetSceneNumberOfMeshes(scene);
    for (int32_t i = 0; i < n; ++i) {
        E3DMesh *mesh = SearchMeshByIndex(scene, i);
        if (mesh) SetMeshRenderMode(&mesh->node, mode);
    }
}

/* Lights keep their attenuation bit when switched. */
static void SetAllLightsOn(E3DScene *scene, int on) {
    const int32_t n = GetSceneNumberOfLights(scene);
    for (int32_t i = 0; i < n; ++i) {
        E3DLight *light = SearchLightByIndex(scene, i);
        if (light) SetLightStatus(light, on, (int32_t)(light->flags & 1u));
    }
}

/* ---- the host ------------------------------------------------------------ */
static struct {
    uint16_t *pixels;
    E3DTexture surface;
    E3DViewport *viewport;
    E3DScene *scene;
    Orbit orbit;
    int started, depth, lights;
    uint32_t mode;
} host;

int WebHostStart(void) {
    if (host.scene) return 1;
    InitEngine3D();
    host.started = 1;
    host.pixels = (uint16_t *)malloc(sizeof(uint16_t) * kShowcaseWidth * kShowcaseHeight);
    memset(&host.surface, 0, sizeof host.surface);
    host.surface.pixels = host.pixels;
    host.surface.width = kShowcaseWidth;
    host.surface.height = kShowcaseHeight;
    host.surface.pitch = 2 * kShowcaseWidth;
    host.viewport = host.pixels ? CreateViewport(&host.surface, kShowcaseWidth, kShowcaseHeight, 1, 0) : NULL;
    if (host.viewport) {
        SetViewportType(host.viewport, E3D_VIEWPORT_ENABLED | E3D_VIEWPORT_TYPE1); /* type 1, drawing enabled */
        host.scene = ShowcaseBuildScene(host.viewport);
    }
    if (!host.scene) {
        WebHostStop();
        return 0;
    }
    OrbitReset(&host.orbit);
    host.depth = host.viewport->depthBuffer != NULL;
    host.lights = 1;
    host.mode = kModeSolid;
    return 1;
}

void WebHostStop(void) {
    if (host.scene) DeleteScene(host.scene);
    if (host.viewport) DeleteViewport(host.viewport);
    if (host.started) ReleaseEngine3D();
    free(host.pixels);
    memset(&host, 0, sizeof host);
}

void WebHostFrame(float seconds) {
    if (!host.scene) return;
    float eye[3];
    OrbitEye(&host.orbit, eye);
    SetCameraPosition(GetActiveSceneCamera(host.scene), eye, 0);
    for (int i = 0; i < kShowcaseWidth * kShowcaseHeight; ++i) host.pixels[i] = SHOWCASE_BACKGROUND;
    if (host.viewport->depthBuffer) ClearViewportDepthBuffer(host.viewport, 0);
    DrawScene(host.scene);
    /* The turn applies to the next frame, so frame 0 is the rest view. */
    OrbitAdvance(&host.orbit, seconds);
}

const uint16_t *WebHostPixels(void) { return host.pixels; }
int WebHostWidth(void) { return kShowcaseWidth; }
int WebHostHeight(void) { return kShowcaseHeight; }

void WebHostDrag(float dx, float dy) { OrbitDrag(&host.orbit, dx, dy); }
void WebHostWheel(int notches) { OrbitZoom(&host.orbit, notches); }

int WebHostKey(int key) {
    if (!host.scene) return 0;
    switch (key) {
    case 'D':
    case 'd':
        /* Painter's sort whenever the depth buffer is gone (or cannot be had). */
        host.depth = SetViewportDepthState(host.viewport, host.depth ? 0 : 1);
        return 1;
    case '1':
    case '2':
    case '3':
        host.mode = key == '1' ? kModeSolid : key == '2' ? kModeWire : kModeDots;
        SetAllMeshesRenderMode(host.scene, host.mode);
        return 1;
    case 'L':
    case 'l':
        host.lights = !host.lights;
        SetAllLightsOn(host.scene, host.lights);
        return 1;
    case ' ':
        host.orbit.paused = !host.orbit.paused;
        return 1;
    default:
        return 0;
    }
}

int WebHostState(void) {
    const int mode = host.mode == kModeSolid ? 1 : host.mode == kModeWire ? 2 : 3;
    return (host.depth ? 1 : 0) | (host.lights ? 2 : 0) | (host.orbit.paused ? 4 : 0) | mode << 4;
}
