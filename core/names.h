// Object names: bounded copies and the default "Base00" names.
#pragma once

#include <cstddef>

#include "core/engine_state.h"

namespace e3d {

// Copies text into a name field of fieldSize characters, cutting it to
// fieldSize - 1 characters. Returns the terminating zero written, or null
// when field or text is null (nothing copied then).
char *CopyName(char *field, size_t fieldSize, const char *text);

// base, then "0" when the kind's counter is below 10, then the counter in
// decimal; advances the counter.
void WriteDefaultName(char *field, size_t fieldSize, const char *base, NameCounter kind);

}  // namespace e3d
