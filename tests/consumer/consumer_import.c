/* Loads a quad written as an OBJ file through an installed import library
 * and checks the mesh that comes out. */
#include <stdio.h>
#include <stdlib.h>

#include <engine3d_import.h>

int main(void) {
    char path[] = "/tmp/e3d-consumer-XXXXXX.obj";
    const int fd = mkstemps(path, 4);
    FILE *f = fd >= 0 ? fdopen(fd, "w") : NULL;
    if (!f) return 1;
    fputs("v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf 1 2 3 4\n", f);
    fclose(f);
    InitEngine3D();
    char error[256];
    E3DImport *model = ImportModelFile(path, error, sizeof error);
    remove(path);
    const E3DMesh *mesh = model ? (const E3DMesh *)GetImportObject(model, E3D_IMPORT_MESHES, 0) : NULL;
    const int ok = mesh && GetImportCount(model, E3D_IMPORT_MESHES) == 1 && mesh->vertexCount == 4 &&
                   mesh->polygonCount == 2;
    if (!ok) fprintf(stderr, "import failed: %s\n", model ? "wrong mesh" : error);
    DeleteImport(model);
    ReleaseEngine3D();
    if (ok) printf("imported a quad\n");
    return ok ? 0 : 1;
}
