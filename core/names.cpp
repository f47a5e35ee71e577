// Object names.
#include "core/names.h"

#include <cstdio>

#include "engine3d.h"

namespace e3d {

char *CopyName(char *field, size_t fieldSize, const char *text) {
    if (!field || !text || fieldSize == 0) return nullptr;
    size_t i = 0;
    for (; i + 1 < fieldSize && text[i] != '\0'; ++i) field[i] = text[i];
    field[i] = '\0';
    return field + i;
}

void WriteDefaultName(char *field, size_t fieldSize, const char *base, NameCounter kind) {
    int32_t &counter = g_engine.nameCounters[kind];
    char digits[16];
    std::snprintf(digits, sizeof digits, "%s%ld", counter < 10 ? "0" : "", long(counter));
    char *end = CopyName(field, fieldSize, base);
    if (end) CopyName(end, fieldSize - size_t(end - field), digits);
    counter += 1;
}

}  // namespace e3d
