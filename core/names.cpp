// Object names.
#include "core/names.h"

#include <cstdint>

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
    // Decimal text, built backwards; the "0" goes in front of any "-" of a
    // negative counter (which never occurs).
    char digits[16];
    char *at = digits + sizeof digits;
    *--at = '\0';
    uint32_t value = counter < 0 ? 0u - uint32_t(counter) : uint32_t(counter);
    do {
        *--at = char('0' + value % 10);
        value /= 10;
    } while (value != 0);
    if (counter < 0) *--at = '-';
    if (counter < 10) *--at = '0';
    char *end = CopyName(field, fieldSize, base);
    if (end) CopyName(end, fieldSize - size_t(end - field), at);
    counter = int32_t(uint32_t(counter) + 1u);
}

}  // namespace e3d
