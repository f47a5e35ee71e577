/* Writes a 16-bit 5-5-5 frame buffer as an 8-bit RGB PNG. */
#ifndef E3D_EXAMPLES_PNG_WRITER_H
#define E3D_EXAMPLES_PNG_WRITER_H

#include <stdint.h>

/* rows are `pitch` pixels apart; returns 0 on success, -1 on failure. */
int WritePng555(const char *path, const uint16_t *pixels, int width, int height, int pitch);

#endif
