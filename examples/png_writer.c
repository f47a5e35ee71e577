/* 5-5-5 to 8-bit channels by bit replication, so 31 becomes 255 and 0 stays 0. */
#include "png_writer.h"

#include <png.h>
#include <stdio.h>
#include <stdlib.h>

static uint8_t Expand5(unsigned v) { return (uint8_t)((v << 3) | (v >> 2)); }

int WritePng555(const char *path, const uint16_t *pixels, int width, int height, int pitch) {
    FILE *file = fopen(path, "wb");
    if (!file) return -1;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, NULL, NULL, NULL);
    png_infop info = png ? png_create_info_struct(png) : NULL;
    uint8_t *row = (uint8_t *)malloc((size_t)width * 3);
    if (!png || !info || !row || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        free(row);
        fclose(file);
        return -1;
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, (png_uint_32)width, (png_uint_32)height, 8, PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int y = 0; y < height; ++y) {
        const uint16_t *src = pixels + (size_t)y * (size_t)pitch;
        for (int x = 0; x < width; ++x) {
            const unsigned p = src[x];
            row[3 * x + 0] = Expand5((p >> 10) & 31);
            row[3 * x + 1] = Expand5((p >> 5) & 31);
            row[3 * x + 2] = Expand5(p & 31);
        }
        png_write_row(png, row);
    }
    png_write_end(png, NULL);
    png_destroy_write_struct(&png, &info);
    free(row);
    return fclose(file) == 0 ? 0 : -1;
}
