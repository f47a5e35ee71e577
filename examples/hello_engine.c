/* The smallest host: start the engine, report, release it. */
#include <stdio.h>

#include "engine3d.h"

int main(void) {
    int32_t rc = InitEngine3D();
    printf("Engine3D started (InitEngine3D returned %d)\n", (int)rc);
    ReleaseEngine3D();
    printf("Engine3D released\n");
    return rc == 0 ? 0 : 1;
}
