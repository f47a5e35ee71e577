// Every file of a model corpus (Debian's assimp-testmodels) that assimp
// claims by its extension is imported and drawn once, each in a child
// process so that one crash cannot hide the others; the engine's memory
// must be back where it was after each. Prints counts by format and the
// reasons of the failures; fails on a crash or a leak.
//
// usage: import_corpus MODELS_DIR [MAX_BYTES]   (larger files are skipped)
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <assimp/Importer.hpp>

#include <csignal>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "e3dhost.h"
#include "engine3d_import.h"
#include "render_frame.h"

namespace {

enum Outcome { kImported = 0, kFailed = 1, kLeaked = 2 };

// A file that keeps the importer longer is reported as timed out: assimp
// loops on some of the deliberately broken files.
constexpr unsigned kSecondsPerFile = 10;

// Child side: import, draw one frame at 160 x 120, delete; the message
// (error or polygon count) goes to `out`.
int Attempt(const std::string &path, FILE *out) {
    HostMemoryStats before{};
    HostMemoryGetStats(&before);
    InitEngine3D();
    char error[512];
    E3DImport *model = ImportModelFile(path.c_str(), error, sizeof error);
    if (!model) {
        std::fprintf(out, "%s", error);
        ReleaseEngine3D();
        return kFailed;
    }
    enum { W = 160, H = 120 };
    static uint16_t pixels[W * H];
    E3DTexture surface{};
    surface.pixels = pixels;
    surface.pitch = 2 * W;
    E3DViewport *viewport = CreateViewport(&surface, W, H, E3D_DEPTH_ON, 0);
    SetViewportType(viewport, E3D_VIEWPORT_TYPE1 | E3D_VIEWPORT_ENABLED);
    ModelStage stage;
    int drawn = -1;
    if (ModelStageBuild(&stage, model, viewport)) {
        if (GetImportClipCount(model) > 0) SetImportAnimationTime(model, 0, 0.5f * GetImportClipDuration(model, 0));
        ModelStageDraw(&stage, pixels, W, H, W);
        drawn = stage.scene->count;
        ModelStageRelease(&stage);
    }
    DeleteImport(model);
    DeleteViewport(viewport);
    ReleaseEngine3D();
    HostMemoryStats after{};
    HostMemoryGetStats(&after);
    if (after.liveBlocks != before.liveBlocks) {
        std::fprintf(out, "%lld engine blocks left", (long long)(after.liveBlocks - before.liveBlocks));
        return kLeaked;
    }
    std::fprintf(out, "%d polygons drawn", drawn);
    return kImported;
}

struct Tally {
    int imported = 0, failed = 0, skipped = 0;
    std::map<std::string, int> reasons;
};

// The reason without the file's own path, so that alike ones add up.
std::string Reason(std::string text, const std::string &path) {
    for (size_t at; (at = text.find(path)) != std::string::npos;) text.erase(at, path.size());
    if (text.size() > 90) text = text.substr(0, 90) + "...";
    return text;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: import_corpus MODELS_DIR [MAX_BYTES]\n");
        return 2;
    }
    const std::filesystem::path root = argv[1];
    const uintmax_t maxBytes = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : UINTMAX_MAX;
    Assimp::Importer probe;
    std::vector<std::filesystem::path> files;
    for (const auto &e : std::filesystem::recursive_directory_iterator(root)) {
        if (e.is_regular_file() && probe.IsExtensionSupported(e.path().extension().string())) files.push_back(e.path());
    }
    std::sort(files.begin(), files.end());
    std::map<std::string, Tally> byFormat;
    int broken = 0;
    for (const auto &f : files) {
        // The format: the extension, lower case.
        std::string format = f.extension().string().substr(1);
        for (char &c : format) c = char(std::tolower(static_cast<unsigned char>(c)));
        Tally &t = byFormat[format];
        if (std::filesystem::file_size(f) > maxBytes) {
            ++t.skipped;
            continue;
        }
        int pipeFds[2];
        if (pipe(pipeFds) != 0) return 2;
        std::fflush(stdout);
        const pid_t child = fork();
        if (child == 0) {
            close(pipeFds[0]);
            alarm(kSecondsPerFile);
            FILE *out = fdopen(pipeFds[1], "w");
            const int outcome = Attempt(f.string(), out);
            std::fclose(out);
            std::exit(outcome);
        }
        close(pipeFds[1]);
        std::string message;
        char buffer[256];
        for (ssize_t n; (n = read(pipeFds[0], buffer, sizeof buffer)) > 0;) message.append(buffer, size_t(n));
        close(pipeFds[0]);
        int status = 0;
        waitpid(child, &status, 0);
        const std::string rel = std::filesystem::relative(f, root).string();
        if (WIFEXITED(status) && WEXITSTATUS(status) == kImported) {
            ++t.imported;
        } else if (WIFEXITED(status) && WEXITSTATUS(status) == kFailed) {
            ++t.failed;
            ++t.reasons[Reason(message, f.string())];
        } else if (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM) {
            ++t.failed;
            ++t.reasons["timed out after " + std::to_string(kSecondsPerFile) + " s: " + rel];
        } else {
            ++broken;
            std::printf("BROKEN %s: %s%s\n", rel.c_str(), message.c_str(),
                        WIFSIGNALED(status) ? (std::string(" (signal ") + std::to_string(WTERMSIG(status)) + ")").c_str()
                                            : (" (exit " + std::to_string(WEXITSTATUS(status)) + ")").c_str());
        }
    }
    int imported = 0, failed = 0, skipped = 0;
    std::printf("%-8s %8s %8s %8s\n", "format", "imported", "failed", "skipped");
    for (const auto &[format, t] : byFormat) {
        std::printf("%-8s %8d %8d %8d\n", format.c_str(), t.imported, t.failed, t.skipped);
        for (const auto &[why, n] : t.reasons) std::printf("           %3d x %s\n", n, why.c_str());
        imported += t.imported, failed += t.failed, skipped += t.skipped;
    }
    std::printf("%-8s %8d %8d %8d   (%d crashed, hung or leaked)\n", "total", imported, failed, skipped, broken);
    return broken == 0 && imported > 0 ? 0 : 1;
}
