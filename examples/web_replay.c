/* Replays a session of the web host without a browser and writes the frame
 * buffer after each run of frames, so the WebAssembly page can be checked
 * against this native build pixel for pixel.
 *
 * usage: web_replay SCRIPT OUTPUT
 *        web_replay --bench N     (times N frames the way the page does)
 * SCRIPT is space-separated tokens: fN renders N frames (1/60 s each) and
 * then writes the frame buffer; dX,Y drags by X,Y pixels; wN turns the
 * wheel N notches; kC presses key C (k_ is Space). OUTPUT receives the
 * frame buffers one after another, 16-bit little-endian pixels. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "web_host.h"

static int WriteFrame(FILE *out) {
    const int n = WebHostWidth() * WebHostHeight();
    const uint16_t *p = WebHostPixels();
    for (int i = 0; i < n; ++i) {
        const unsigned char b[2] = {(unsigned char)(p[i] & 255), (unsigned char)(p[i] >> 8)};
        if (fwrite(b, 1, 2, out) != 2) return 0;
    }
    return 1;
}

static int Play(const char *token, FILE *out) {
    char *end = NULL;
    switch (token[0]) {
    case 'f': {
        const long n = strtol(token + 1, &end, 10);
        if (*end || n < 1) return 0;
        /* The page passes its step as a double rounded to float; do the same. */
        for (long i = 0; i < n; ++i) WebHostFrame((float)(1.0 / 60.0));
        return WriteFrame(out);
    }
    case 'd': {
        const float dx = strtof(token + 1, &end);
        if (*end != ',') return 0;
        const float dy = strtof(end + 1, &end);
        if (*end) return 0;
        WebHostDrag(dx, dy);
        return 1;
    }
    case 'w': {
        const long n = strtol(token + 1, &end, 10);
        if (*end) return 0;
        WebHostWheel((int)n);
        return 1;
    }
    case 'k':
        if (!token[1] || token[2]) return 0;
        return WebHostKey(token[1] == '_' ? ' ' : token[1]);
    default:
        return 0;
    }
}

static double NowMs(void) {
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return (double)t.tv_sec * 1e3 + (double)t.tv_nsec * 1e-6;
}

static int CompareDoubles(const void *a, const void *b) {
    const double x = *(const double *)a, y = *(const double *)b;
    return (x > y) - (x < y);
}

/* The page's timing mode: warm up, then N frames in batches of ten; the
 * mean, median and best milliseconds per frame and the drawing-only frame
 * rate (from the median). */
static int Bench(long n) {
    enum { kBatch = 10 };
    const long batches = n > 0 ? (n + kBatch - 1) / kBatch : 0;
    double *perFrame = batches > 0 ? (double *)malloc(sizeof(double) * (size_t)batches) : NULL;
    if (!perFrame || !WebHostStart()) {
        free(perFrame);
        return 1;
    }
    for (int i = 0; i < 300; ++i) WebHostFrame(0.0f);
    double total = 0.0;
    for (long b = 0; b < batches; ++b) {
        const long k = n - b * kBatch < kBatch ? n - b * kBatch : kBatch;
        const double t0 = NowMs();
        for (long i = 0; i < k; ++i) WebHostFrame(0.0f);
        const double t = NowMs() - t0;
        total += t;
        perFrame[b] = t / (double)k;
    }
    qsort(perFrame, (size_t)batches, sizeof(double), CompareDoubles);
    const double median = perFrame[batches / 2];
    printf("{\"frames\": %ld, \"drawMs\": %.4f, \"medianMs\": %.4f, \"bestMs\": %.4f, \"fps\": %.1f}\n", n,
           total / (double)n, median, perFrame[0], 1000.0 / median);
    free(perFrame);
    WebHostStop();
    return 0;
}

int main(int argc, char **argv) {
    if (argc == 3 && strcmp(argv[1], "--bench") == 0) return Bench(strtol(argv[2], NULL, 10));
    if (argc != 3) {
        fprintf(stderr, "usage: web_replay SCRIPT OUTPUT | web_replay --bench N\n");
        return 2;
    }
    FILE *out = fopen(argv[2], "wb");
    if (!out || !WebHostStart()) {
        fprintf(stderr, "web_replay: cannot start\n");
        return 1;
    }
    char *script = strdup(argv[1]);
    int ok = script != NULL;
    for (char *t = script ? strtok(script, " ") : NULL; ok && t; t = strtok(NULL, " ")) {
        ok = Play(t, out);
        if (!ok) fprintf(stderr, "web_replay: bad token '%s'\n", t);
    }
    free(script);
    WebHostStop();
    if (fclose(out) != 0) ok = 0;
    return ok ? 0 : 1;
}
