/* Engine3D web host: the showcase behind plain C entry points, for a page
 * (through WebAssembly) or a native replay driver. */
#ifndef E3D_EXAMPLES_WEB_HOST_H
#define E3D_EXAMPLES_WEB_HOST_H

#include <stdint.h>

/* Starts the engine and builds the showcase; 1 on success (again: no-op). */
int WebHostStart(void);
/* Frees everything WebHostStart made. */
void WebHostStop(void);
/* Renders one frame, then advances the slow orbit turn by `seconds`. */
void WebHostFrame(float seconds);
/* The 5-5-5 frame buffer, WebHostWidth() x WebHostHeight(), rows packed. */
const uint16_t *WebHostPixels(void);
int WebHostWidth(void);
int WebHostHeight(void);
/* Left-button drag by (dx, dy) pixels: orbits around the showcase target. */
void WebHostDrag(float dx, float dy);
/* Wheel notches, positive toward the target. */
void WebHostWheel(int notches);
/* Key by character: D depth/painter, 1/2/3 solid/wire/dots, L lights,
 * Space pause. 1 when the key means something. */
int WebHostKey(int key);
/* Bit 0 depth buffer, bit 1 lights, bit 2 paused, bits 4-5 render mode (1-3). */
int WebHostState(void);

#endif
