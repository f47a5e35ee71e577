// The engine-wide state and the root tables it starts with.
#include "engine3d.h"

#include <bit>
#include <cmath>

#include "core/engine_state.h"

namespace e3d {

EngineState g_engine;

namespace {

// Entry i covers the float 0x3F000000 | (i << 14): [0.5, 1) for i < 512,
// [1, 2) above, indexed by the low exponent bit and nine mantissa bits.
float RootTableArgument(uint32_t i) { return std::bit_cast<float>(0x3F000000u | (i << 14)); }

}  // namespace

void BuildRootTables() {
    if (!g_engine.sqrtTableBuilt) {
        for (uint32_t i = 0; i < 1024; ++i) {
            const double r = std::sqrt(double(RootTableArgument(i)));
            g_engine.sqrtTable[i] =
                r == 1.0 ? 0u : std::bit_cast<uint32_t>(float(r)) & 0x007FE000u;
        }
        g_engine.sqrtTableBuilt = 1;
    }
    if (!g_engine.rsqrtTableBuilt) {
        for (uint32_t i = 0; i < 1024; ++i) {
            const double r = 1.0 / std::sqrt(double(RootTableArgument(i)));
            // At x = 1 the full mantissa keeps the result just below the next
            // power of two for the exponent arithmetic of the look-up.
            g_engine.rsqrtTable[i] =
                r == 1.0 ? 0x007FE000u : std::bit_cast<uint32_t>(float(r)) & 0x007FE000u;
        }
        g_engine.rsqrtTableBuilt = 1;
    }
}

}  // namespace e3d
