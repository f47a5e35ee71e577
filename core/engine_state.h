// Process-wide engine state: the initialised flag, the scene chain, the
// default-name counters and the two fast-root tables.
#pragma once

#include <cstdint>

struct E3DScene;

namespace e3d {

// One default-name counter per kind of object, and one per primitive base name.
enum NameCounter : int {
    kCounterOmni,
    kCounterDirect,
    kCounterCamera,
    kCounterMaterial,
    kCounterBillboard,
    kCounterCube,  // shared by the chamfered cube
    kCounterSphere,
    kCounterHSphere,
    kCounterGeoSphere,
    kCounterGrid,
    kCounterCylinder,
    kCounterTube,
    kCounterTorus,
    kCounterDisk,
    kCounterRing,
    kCounterKinds
};

struct EngineState {
    int32_t initialised;
    E3DScene *sceneHead;
    E3DScene *sceneTail;
    int32_t nameCounters[kCounterKinds];
    uint32_t sqrtTable[1024];
    int32_t sqrtTableBuilt;
    uint32_t rsqrtTable[1024];
    int32_t rsqrtTableBuilt;
    // Heads of the chains of live meshes, materials and viewports
    // (core/live_objects.h); they outlive a release, as the objects do.
    void *liveHeads[3];
};

// Zero at load, like every module global.
extern EngineState g_engine;

// Builds the root tables when they have not been built in this process.
void BuildRootTables();

}  // namespace e3d
