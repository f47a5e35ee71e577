/* Engine3D viewer: the showcase scene, or a model file, in an SDL2 window,
 * in real time.
 *
 * Left-drag orbits, the wheel zooms, D switches depth buffer / painter's
 * sort, 1 / 2 / 3 solid / wire / dots, L the lights, Space pauses the slow
 * turn, Esc quits. The window title shows frames per second and
 * milliseconds per frame; resizing the window resizes the viewport.
 *
 * usage: viewer [MODEL] [--frames N] [--screenshot out.png] [--headless]
 *   MODEL           a model file (with the import library): framed from its
 *                   bounds, its first animation playing
 *   --frames N      stop after N frames, each advancing the turn by 1/60 s
 *   --screenshot F  write the last frame as read back from the window
 *   --headless      no window: render the same frames into memory only */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <SDL.h>

#include "engine3d.h"
#include "png_writer.h"
#include "showcase_scene.h"
#include "viewer_controls.h"
#ifdef E3D_VIEWER_MODELS
#include <math.h>

#include "engine3d_import.h"
#include "render_frame.h"
#endif

/* A viewport over a frame buffer of the host's. */
typedef struct Frame {
    uint16_t *pixels;
    int width, height;
    E3DViewport *viewport;
} Frame;

static int FrameCreate(Frame *f, int width, int height, int depth) {
    E3DTexture surface;
    f->width = width;
    f->height = height;
    f->pixels = (uint16_t *)malloc(sizeof(uint16_t) * (size_t)width * (size_t)height);
    if (!f->pixels) return 0;
    memset(&surface, 0, sizeof surface);
    surface.pixels = f->pixels;
    surface.width = width;
    surface.height = height;
    surface.pitch = 2 * width;
    f->viewport = CreateViewport(&surface, width, height, depth ? E3D_DEPTH_ON : E3D_DEPTH_OFF, 0);
    if (!f->viewport) {
        free(f->pixels);
        return 0;
    }
    SetViewportType(f->viewport, E3D_VIEWPORT_TYPE1 | E3D_VIEWPORT_ENABLED);
    return 1;
}

static void FrameDelete(Frame *f) {
    DeleteViewport(f->viewport);
    free(f->pixels);
}

static void RenderFrame(E3DScene *scene, const Frame *f) {
    const size_t n = (size_t)f->width * (size_t)f->height;
    for (size_t i = 0; i < n; ++i) f->pixels[i] = SHOWCASE_BACKGROUND;
    if (f->viewport->depthBuffer) ClearViewportDepthBuffer(f->viewport, 0);
    DrawScene(scene);
}

typedef struct Options {
    const char *model; /* NULL: the showcase */
    int frames; /* 0: until Esc or the window closes */
    const char *screenshot;
    int headless;
} Options;

static int ParseOptions(int argc, char **argv, Options *o) {
    memset(o, 0, sizeof *o);
    for (int i = 1; i < argc; ++i) {
        if (!strcmp(argv[i], "--frames") && i + 1 < argc) {
            o->frames = atoi(argv[++i]);
            if (o->frames < 1) return 0;
        } else if (!strcmp(argv[i], "--screenshot") && i + 1 < argc) {
            o->screenshot = argv[++i];
        } else if (!strcmp(argv[i], "--headless")) {
            o->headless = 1;
        } else if (argv[i][0] != '-' && !o->model) {
            o->model = argv[i];
        } else {
            return 0;
        }
    }
    return !o->headless || o->frames > 0;
}

/* What the viewer shows: the showcase scene, or a model on its stage. The
 * orbit controls work in showcase units; a model is seen through them
 * scaled so that its bounding sphere has radius kModelRadius. */
typedef struct Content {
    E3DScene *scene;
#ifdef E3D_VIEWER_MODELS
    E3DImport *model;
    ModelStage stage;
    float scale; /* model units per control unit */
    float time;  /* animation seconds */
#endif
} Content;

#ifdef E3D_VIEWER_MODELS
static const float kModelRadius = 8.0f;
#endif

static int ContentBuild(Content *c, const char *modelPath, E3DViewport *viewport, ViewerControls *controls) {
    memset(c, 0, sizeof *c);
    if (!modelPath) {
        c->scene = ShowcaseBuildScene(viewport);
        ViewerControlsInit(controls, kShowcaseEye, kShowcaseTarget);
        return c->scene != NULL;
    }
#ifdef E3D_VIEWER_MODELS
    char error[512];
    c->model = ImportModelFile(modelPath, error, sizeof error);
    if (!c->model) {
        fprintf(stderr, "viewer: %s\n", error);
        return 0;
    }
    for (int i = 0; i < GetImportWarningCount(c->model); ++i)
        fprintf(stderr, "warning: %s\n", GetImportWarning(c->model, i));
    if (!ModelStageBuild(&c->stage, c->model, viewport)) return 0;
    c->scene = c->stage.scene;
    c->scale = c->stage.radius / kModelRadius;
    float eye[3];
    const float origin[3] = {0.0f, 0.0f, 0.0f};
    GetCameraPosition(eye, c->stage.camera, 0);
    for (int k = 0; k < 3; ++k) eye[k] = (eye[k] - c->stage.center[k]) / c->scale;
    ViewerControlsInit(controls, eye, origin);
    return 1;
#else
    (void)viewport;
    fprintf(stderr, "viewer: built without the import library, it opens no model files\n");
    return 0;
#endif
}

/* The controls into the scene, and the model's animation forward. */
static void ContentApply(Content *c, ViewerControls *controls, E3DViewport *viewport, float seconds) {
    ViewerControlsApply(controls, c->scene, viewport);
#ifdef E3D_VIEWER_MODELS
    if (!c->model) return;
    float eye[3];
    ViewerControlsEye(controls, eye);
    for (int k = 0; k < 3; ++k) eye[k] = c->stage.center[k] + eye[k] * c->scale;
    SetCameraPosition(c->stage.camera, eye, 0);
    SetCameraPosition(c->stage.camera, c->stage.center, 1);
    /* Near stays in front of the model however close the zoom comes (the
     * field is written directly: SetCameraNear keeps a floor of 10). */
    const float d = controls->distance * c->scale, r = c->stage.radius;
    c->stage.camera->near = d - r > 0.05f * d ? d - r : 0.05f * d;
    SetCameraFar(c->stage.camera, d + 2.0f * r);
    if (c->stage.lights[0]) SetLightPosition(c->stage.lights[0], eye, 0);
    if (GetImportClipCount(c->model) > 0 && !controls->paused) {
        const float length = GetImportClipDuration(c->model, 0);
        c->time += seconds;
        SetImportAnimationTime(c->model, 0, length > 0.0f ? fmodf(c->time, length) : 0.0f);
    }
#else
    (void)seconds;
#endif
}

static void ContentRender(Content *c, const Frame *f) {
#ifdef E3D_VIEWER_MODELS
    if (c->model) {
        ModelStageDraw(&c->stage, f->pixels, f->width, f->height, f->width);
        return;
    }
#endif
    RenderFrame(c->scene, f);
}

static void ContentRelease(Content *c) {
#ifdef E3D_VIEWER_MODELS
    if (c->model) {
        ModelStageRelease(&c->stage);
        DeleteImport(c->model);
        memset(c, 0, sizeof *c);
        return;
    }
#endif
    if (c->scene) DeleteScene(c->scene);
    memset(c, 0, sizeof *c);
}

/* Fixed-step runs (--frames) advance the turn by this much a frame, so they
 * give the same picture on every machine. */
static const float kFixedStep = 1.0f / 60.0f;

static int RunHeadless(const Options *o) {
    Frame frame;
    ViewerControls controls;
    Content content;
    if (!FrameCreate(&frame, kShowcaseWidth, kShowcaseHeight, 1)) return 1;
    if (!ContentBuild(&content, o->model, frame.viewport, &controls)) {
        ContentRelease(&content);
        FrameDelete(&frame);
        return 1;
    }
    for (int i = 0; i < o->frames; ++i) {
        ViewerControlsAdvance(&controls, kFixedStep);
        ContentApply(&content, &controls, frame.viewport, kFixedStep);
        ContentRender(&content, &frame);
    }
    int failed = 0;
    if (o->screenshot && WritePng555(o->screenshot, frame.pixels, frame.width, frame.height, frame.width) != 0) {
        fprintf(stderr, "could not write %s\n", o->screenshot);
        failed = 1;
    }
    ContentRelease(&content);
    FrameDelete(&frame);
    return failed;
}

/* The window's pixels, read back in the engine's format and written out:
 * what was presented, not the engine's buffer. */
static int Screenshot(SDL_Renderer *renderer, int width, int height, const char *path) {
    uint16_t *pixels = (uint16_t *)malloc(sizeof(uint16_t) * (size_t)width * (size_t)height);
    int failed = !pixels || SDL_RenderReadPixels(renderer, NULL, SDL_PIXELFORMAT_RGB555, pixels, 2 * width) != 0 ||
                 WritePng555(path, pixels, width, height, width) != 0;
    if (failed) fprintf(stderr, "could not write %s (%s)\n", path, SDL_GetError());
    free(pixels);
    return failed;
}

static const char *RenderModeName(uint32_t mode) {
    return mode == E3D_RENDER_WIRE ? "wire" : mode == E3D_RENDER_DOTS ? "dots" : "solid";
}

static int RunWindow(const Options *o) {
    if (SDL_Init(SDL_INIT_VIDEO) != 0) {
        fprintf(stderr, "SDL: %s\n", SDL_GetError());
        return 1;
    }
    SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "nearest");
    SDL_Window *window = SDL_CreateWindow("Engine3D viewer", SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED,
                                          kShowcaseWidth, kShowcaseHeight, SDL_WINDOW_RESIZABLE);
    /* Interactive runs wait for the display; fixed-step runs go flat out. */
    SDL_Renderer *renderer =
        window ? SDL_CreateRenderer(window, -1, o->frames ? 0 : SDL_RENDERER_PRESENTVSYNC) : NULL;
    Frame frame;
    int width = kShowcaseWidth, height = kShowcaseHeight;
    if (renderer) SDL_GetRendererOutputSize(renderer, &width, &height);
    if (!renderer || !FrameCreate(&frame, width, height, 1)) {
        fprintf(stderr, "SDL: %s\n", SDL_GetError());
        SDL_Quit();
        return 1;
    }
    /* RGB555 is the engine's pixel: the buffer is uploaded as it is. */
    SDL_Texture *texture =
        SDL_CreateTexture(renderer, SDL_PIXELFORMAT_RGB555, SDL_TEXTUREACCESS_STREAMING, width, height);
    ViewerControls controls;
    Content content;
    memset(&content, 0, sizeof content);
    int failed = !texture || !ContentBuild(&content, o->model, frame.viewport, &controls);
    E3DScene *scene = content.scene;
    const Uint64 ticksPerSecond = SDL_GetPerformanceFrequency();
    Uint64 last = SDL_GetPerformanceCounter(), titleStart = last, drawTicks = 0;
    const Uint64 runStart = last;
    Uint64 runDrawTicks = 0;
    int titleFrames = 0, count = 0;
    for (int done = 0; !failed && !done && !controls.quit;) {
        SDL_Event e;
        while (SDL_PollEvent(&e)) {
            if (e.type == SDL_QUIT) done = 1;
            else if (e.type == SDL_KEYDOWN && !e.key.repeat) ViewerControlsKey(&controls, (int)e.key.keysym.sym);
            else if (e.type == SDL_MOUSEMOTION && (e.motion.state & SDL_BUTTON_LMASK))
                ViewerControlsDrag(&controls, (float)e.motion.xrel, (float)e.motion.yrel);
            else if (e.type == SDL_MOUSEWHEEL)
                ViewerControlsWheel(&controls, (float)(e.wheel.direction == SDL_MOUSEWHEEL_FLIPPED ? -e.wheel.y
                                                                                                    : e.wheel.y));
            else if (e.type == SDL_WINDOWEVENT && e.window.event == SDL_WINDOWEVENT_SIZE_CHANGED) {
                int w, h;
                Frame resized;
                SDL_GetRendererOutputSize(renderer, &w, &h);
                if ((w != frame.width || h != frame.height) && w > 0 && h > 0 &&
                    FrameCreate(&resized, w, h, controls.depthBuffer)) {
                    SetSceneViewport(scene, resized.viewport);
                    FrameDelete(&frame);
                    frame = resized;
                    SDL_DestroyTexture(texture);
                    texture = SDL_CreateTexture(renderer, SDL_PIXELFORMAT_RGB555, SDL_TEXTUREACCESS_STREAMING, w, h);
                    failed = !texture;
                }
            }
        }
        if (failed) break;
        const Uint64 now = SDL_GetPerformanceCounter();
        const float elapsed = (float)(now - last) / (float)ticksPerSecond;
        last = now;
        /* A long stall (a dragged window) must not jump the turn. */
        const float step = o->frames ? kFixedStep : (elapsed < 0.1f ? elapsed : 0.1f);
        ViewerControlsAdvance(&controls, step);
        ContentApply(&content, &controls, frame.viewport, step);
        const Uint64 drawStart = SDL_GetPerformanceCounter();
        ContentRender(&content, &frame);
        const Uint64 drawn = SDL_GetPerformanceCounter() - drawStart;
        drawTicks += drawn;
        runDrawTicks += drawn;

        SDL_UpdateTexture(texture, NULL, frame.pixels, 2 * frame.width);
        SDL_RenderClear(renderer);
        SDL_RenderCopy(renderer, texture, NULL, NULL);
        ++count;
        const int lastFrame = o->frames && count == o->frames;
        if (lastFrame && o->screenshot) failed = Screenshot(renderer, frame.width, frame.height, o->screenshot);
        SDL_RenderPresent(renderer);
        if (lastFrame) done = 1;

        ++titleFrames;
        const double span = (double)(SDL_GetPerformanceCounter() - titleStart) / (double)ticksPerSecond;
        if (span >= 0.5) {
            char title[160];
            snprintf(title, sizeof title, "Engine3D viewer: %.0f fps, %.2f ms per frame (engine %.2f ms) | %s, %s, lights %s%s",
                     titleFrames / span, 1000.0 * span / titleFrames,
                     1000.0 * (double)drawTicks / (double)ticksPerSecond / titleFrames,
                     controls.depthBuffer ? "depth buffer" : "painter's sort", RenderModeName(controls.renderMode),
                     controls.lightsOn ? "on" : "off", controls.paused ? ", paused" : "");
            SDL_SetWindowTitle(window, title);
            titleStart = SDL_GetPerformanceCounter();
            titleFrames = 0;
            drawTicks = 0;
        }
    }
    if (count > 0) {
        const double seconds = (double)(SDL_GetPerformanceCounter() - runStart) / (double)ticksPerSecond;
        printf("%d frames of %d x %d: %.2f ms per frame, engine %.2f ms per frame\n", count, frame.width,
               frame.height, 1000.0 * seconds / count, 1000.0 * (double)runDrawTicks / (double)ticksPerSecond / count);
    }
    ContentRelease(&content);
    FrameDelete(&frame);
    if (texture) SDL_DestroyTexture(texture);
    SDL_DestroyRenderer(renderer);
    SDL_DestroyWindow(window);
    SDL_Quit();
    return failed;
}

int main(int argc, char **argv) {
    Options o;
    if (!ParseOptions(argc, argv, &o)) {
        fprintf(stderr, "usage: %s [MODEL] [--frames N] [--screenshot out.png] [--headless]\n", argv[0]);
        return 2;
    }
    InitEngine3D();
    const int failed = o.headless ? RunHeadless(&o) : RunWindow(&o);
    ReleaseEngine3D();
    return failed;
}
