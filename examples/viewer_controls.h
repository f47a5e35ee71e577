/* Interaction of the example viewers, free of any window system so that the
 * SDL host and the browser host behave the same: left-drag orbits the
 * camera about a target, the wheel zooms, D switches depth buffer /
 * painter's sort, 1 / 2 / 3 set solid / wire / dots on every mesh, L
 * switches the lights, Space pauses the slow turn, Esc quits. */
#ifndef E3D_EXAMPLES_VIEWER_CONTROLS_H
#define E3D_EXAMPLES_VIEWER_CONTROLS_H

#include "engine3d.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Keys are ASCII codes ('d', 'D', '1', ' ', 27), which are also SDL's key
 * codes for these keys; browser hosts map their key names to them. */
enum { VIEWER_KEY_ESCAPE = 27, VIEWER_KEY_SPACE = ' ' };

typedef struct ViewerControls {
    float target[3];     /* the point the camera orbits and looks at */
    float yaw, pitch;    /* orbit angles in degrees; yaw 0 looks along +z */
    float distance;      /* eye to target */
    int depthBuffer;     /* 1 depth-buffered, 0 painter's sort */
    uint32_t renderMode; /* 0: as the scene was built, else E3D_RENDER_... */
    int lightsOn;
    int paused;
    int quit;
    /* What ViewerControlsApply last pushed into the scene. */
    uint32_t appliedRenderMode;
    int appliedLightsOn;
} ViewerControls;

/* Orbit limits and speeds. */
#define VIEWER_PITCH_MIN (-10.0f)
#define VIEWER_PITCH_MAX 85.0f
#define VIEWER_DISTANCE_MIN 4.0f
#define VIEWER_DISTANCE_MAX 80.0f
#define VIEWER_DEGREES_PER_PIXEL 0.4f
#define VIEWER_ZOOM_PER_STEP 0.9f     /* distance factor of one wheel notch */
#define VIEWER_TURN_PER_SECOND 12.0f  /* the animation: degrees of yaw */

/* Starts at the given eye and target, depth-buffered, lights on, turning. */
void ViewerControlsInit(ViewerControls *c, const float eye[3], const float target[3]);
/* Handles one key press; 1 when the key means something, else 0. */
int ViewerControlsKey(ViewerControls *c, int key);
/* A drag with the left button by (dx, dy) pixels: right turns the orbit
 * right, down raises the eye. */
void ViewerControlsDrag(ViewerControls *c, float dx, float dy);
/* Wheel notches: positive moves the eye closer. */
void ViewerControlsWheel(ViewerControls *c, float steps);
/* Advances the animation by `seconds` unless paused. */
void ViewerControlsAdvance(ViewerControls *c, float seconds);
/* The eye position of the current orbit. */
void ViewerControlsEye(const ViewerControls *c, float eye[3]);
/* Pushes the state into the scene: the active camera's eye and target, the
 * viewport's depth buffer, and (only when they changed) the render mode of
 * every mesh and the status of every light. */
void ViewerControlsApply(ViewerControls *c, E3DScene *scene, E3DViewport *viewport);

#ifdef __cplusplus
}
#endif

#endif
