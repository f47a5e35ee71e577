// Engine start and release: the top of the engine, since it starts the
// tables of the folders below it.
#include "engine3d.h"

#include "core/engine_state.h"
#include "e3dhost.h"
#include "raster/raster_tables.h"

namespace {

// Nothing in the engine depends on the processor type; the answer is
// received and deliberately ignored.
void SelectProcessorRoutines(int32_t) {}

}  // namespace

using e3d::g_engine;

extern "C" E3D_API int32_t InitEngine3D(void) {
    SelectProcessorRoutines(ProcessorGetType());
    InitRadixSort();
    e3d::BuildRasterTables();
    e3d::BuildRootTables();
    g_engine.sceneHead = nullptr;
    g_engine.sceneTail = nullptr;
    g_engine.initialised = 1;
    return 0;
}

extern "C" E3D_API void ReleaseEngine3D(void) {
    if (!g_engine.initialised) return;
    ReleaseRadixSort();
    e3d::ReleaseRasterTables();
    g_engine.sceneHead = nullptr;
    g_engine.sceneTail = nullptr;
    g_engine.initialised = 0;
}
