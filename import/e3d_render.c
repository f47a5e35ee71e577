/* e3d-render: draws a model file to PNG pictures.
 *
 * usage: e3d-render MODEL [-o out.png] [--size WxH] [--painter] [--wire | --dots]
 *                   [--turntable N] [--time T | --frames A:B:STEP] [--clip NAME]
 *
 * Several frames (a turntable or an animation range) are written as
 * out_0000.png, out_0001.png, ... (or through a printf pattern given in -o). */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "engine3d.h"
#include "engine3d_import.h"
#include "png_writer.h"
#include "render_frame.h"

static double Now(void) {
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return (double)t.tv_sec + (double)t.tv_nsec * 1e-9;
}

static int Usage(void) {
    fprintf(stderr,
            "usage: e3d-render MODEL [-o out.png] [--size WxH] [--painter] [--wire | --dots]\n"
            "                  [--turntable N] [--time T | --frames A:B:STEP] [--clip NAME]\n");
    return 2;
}

/* Frame `index`'s file name: the pattern when -o holds one, else the name
 * with _NNNN before its extension (or the name itself for a single frame). */
static void FrameName(char *out, size_t size, const char *base, int index, int many) {
    if (strchr(base, '%')) {
        snprintf(out, size, base, index);
    } else if (!many) {
        snprintf(out, size, "%s", base);
    } else {
        const char *dot = strrchr(base, '.');
        const int stem = dot ? (int)(dot - base) : (int)strlen(base);
        snprintf(out, size, "%.*s_%04d%s", stem, base, index, dot ? dot : ".png");
    }
}

int main(int argc, char **argv) {
    const char *modelPath = NULL, *out = "out.png", *clipName = NULL;
    int width = 640, height = 480, painter = 0, turntable = 0, timed = 0;
    uint32_t mode = E3D_RENDER_TEXTURED;
    double t0 = 0.0, t1 = 0.0, step = 1.0;
    for (int i = 1; i < argc; ++i) {
        const char *a = argv[i];
        const int more = i + 1 < argc;
        if (!strcmp(a, "-o") && more) out = argv[++i];
        else if (!strcmp(a, "--size") && more) {
            if (sscanf(argv[++i], "%dx%d", &width, &height) != 2 || width < 1 || height < 1 || width > 16384 ||
                height > 16384)
                return Usage();
        } else if (!strcmp(a, "--painter")) painter = 1;
        else if (!strcmp(a, "--wire")) mode = E3D_RENDER_WIRE;
        else if (!strcmp(a, "--dots")) mode = E3D_RENDER_DOTS;
        else if (!strcmp(a, "--turntable") && more) {
            turntable = atoi(argv[++i]);
            if (turntable < 1) return Usage();
        } else if (!strcmp(a, "--time") && more) {
            t0 = t1 = atof(argv[++i]);
            step = 1.0;
            timed = 1;
        } else if (!strcmp(a, "--frames") && more) {
            if (sscanf(argv[++i], "%lf:%lf:%lf", &t0, &t1, &step) != 3 || !(step > 0.0) || t1 < t0) return Usage();
            timed = 1;
        } else if (!strcmp(a, "--clip") && more) clipName = argv[++i];
        else if (a[0] != '-' && !modelPath) modelPath = a;
        else return Usage();
    }
    if (!modelPath) return Usage();

    InitEngine3D();
    char error[512];
    E3DImport *model = ImportModelFile(modelPath, error, sizeof error);
    if (!model) {
        fprintf(stderr, "e3d-render: %s\n", error);
        ReleaseEngine3D();
        return 1;
    }
    for (int i = 0; i < GetImportWarningCount(model); ++i) fprintf(stderr, "warning: %s\n", GetImportWarning(model, i));
    int clip = GetImportClipCount(model) > 0 ? 0 : -1;
    if (clipName) {
        clip = FindImportClip(model, clipName);
        if (clip < 0) {
            fprintf(stderr, "e3d-render: %s has no clip named '%s'\n", modelPath, clipName);
            DeleteImport(model);
            ReleaseEngine3D();
            return 1;
        }
    }

    uint16_t *pixels = malloc(sizeof(uint16_t) * (size_t)width * (size_t)height);
    E3DTexture surface;
    memset(&surface, 0, sizeof surface);
    surface.pixels = pixels;
    surface.width = width;
    surface.height = height;
    surface.pitch = 2 * width;
    E3DViewport *viewport = pixels ? CreateViewport(&surface, width, height, painter ? E3D_DEPTH_OFF : E3D_DEPTH_ON, 0)
                                   : NULL;
    ModelStage stage;
    if (!viewport || !ModelStageBuild(&stage, model, viewport)) {
        fprintf(stderr, "e3d-render: out of memory\n");
        return 1;
    }
    SetViewportType(viewport, E3D_VIEWPORT_TYPE1 | E3D_VIEWPORT_ENABLED);
    ModelStageSetRenderMode(&stage, mode);

    const int timeFrames = timed ? (int)floor((t1 - t0) / step + 1e-9) + 1 : 1;
    const int turns = turntable ? turntable : 1;
    const int total = timeFrames * turns;
    double drawing = 0.0;
    int failed = 0;
    for (int f = 0; f < total && !failed; ++f) {
        const int ti = f % timeFrames, turn = f / timeFrames;
        if (clip >= 0) SetImportAnimationTime(model, clip, (float)(t0 + ti * step));
        ModelStageTurn(&stage, turntable ? 360.0f * (float)turn / (float)turntable : 0.0f);
        const double start = Now();
        ModelStageDraw(&stage, pixels, width, height, width);
        drawing += Now() - start;
        char name[1024];
        FrameName(name, sizeof name, out, f, total > 1);
        if (WritePng555(name, pixels, width, height, width) != 0) {
            fprintf(stderr, "e3d-render: cannot write %s\n", name);
            failed = 1;
        }
        if (total >= 10 && (f % 10 == 9 || f + 1 == total)) fprintf(stderr, "\rframe %d of %d", f + 1, total);
    }
    if (total >= 10) fprintf(stderr, "\n");
    if (!failed) {
        printf("%s: %d frame%s, %d polygons drawn in the last, %.3f ms per frame\n", modelPath, total,
               total > 1 ? "s" : "", GetSceneViewport(stage.scene) ? stage.scene->count : 0, 1000.0 * drawing / total);
    }
    ModelStageRelease(&stage);
    DeleteImport(model);
    DeleteViewport(viewport);
    ReleaseEngine3D();
    free(pixels);
    return failed;
}
