/* The public header must compile as plain C11. */
#include "engine3d.h"

#include <stddef.h>

int e3d_c11_header_probe(void) {
    E3DList list = {0, 0, NULL};
    E3DSortEntry entry;
    entry.key = 0.0f;
    (void)entry;
    return (int)(sizeof(E3DPolygon) + sizeof(E3DVertex) + sizeof(E3DMaterial) + (size_t)list.count);
}
