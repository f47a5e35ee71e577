// Counted object lists: exact one-slot growth, and the two removal quirks
// (an absent element still drops the last entry; a duplicate pair loses only
// one count) that callers rely on staying as they are.
#include "engine3d.h"

#include <cstring>

#include "e3dhost.h"

extern "C" E3D_API void InitList(E3DList *list) {
    if (!list) return;
    list->count = 0;
    list->capacity = 0;
    list->items = nullptr;
}

extern "C" E3D_API void AddListElement(E3DList *list, void *element) {
    if (!list) return;
    if (list->capacity >= list->count + 1) {
        list->items[list->count++] = element;
        return;
    }
    const int32_t count = list->count;
    auto **grown = static_cast<void **>(AllocateMemory(uint32_t(count + 1) * sizeof(void *)));
    if (!grown) return;
    if (count > 0) std::memcpy(grown, list->items, size_t(count) * sizeof(void *));
    grown[count] = element;
    if (list->items) FreeMemory(list->items);
    list->items = grown;
    list->capacity += 1;
    list->count = count + 1;
}

extern "C" E3D_API void RemoveListElement(E3DList *list, void *element) {
    if (!list) return;
    if (list->count > 1) {
        int32_t write = 0;
        for (int32_t read = 0; read < list->count; ++read) {
            if (list->items[read] != element) list->items[write++] = list->items[read];
        }
        list->count -= 1;
        return;
    }
    if (list->items) FreeMemory(list->items);
    list->count = 0;
    list->capacity = 0;
    list->items = nullptr;
}

extern "C" E3D_API int32_t GetListElementIndex(const E3DList *list, const void *element) {
    if (!list) return -1;
    for (int32_t i = 0; i < list->count; ++i) {
        if (list->items[i] == element) return i;
    }
    return -1;
}
