// The import handle and the pieces its source files share.
#pragma once

#include <assimp/Importer.hpp>
#include <assimp/scene.h>

#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "engine3d.h"
#include "engine3d_import.h"

namespace e3dimport {

// A node of the file's tree, in depth-first order (parents first).
struct Node {
    const aiNode *source;
    int parent;
    aiMatrix4x4 rest;    // the file's own transform
    aiMatrix4x4 local;   // rest, or the animated one
    aiMatrix4x4 global;
};

// A skinned mesh: file bone b is engine bone b + 1 under a root at rest.
struct Skinned {
    E3DMesh *mesh = nullptr;
    E3DSkeleton *skeleton = nullptr;
    const aiMesh *source = nullptr;
    std::vector<int> boneNode;  // node index per bone, -1 when missing
    std::vector<aiMatrix4x4> offset;
};

struct Clip {
    const aiAnimation *source = nullptr;
    std::string name;
    double ticksPerSecond = 25.0;
    std::vector<int> channelNode;
};

struct TextureResult {
    E3DTexture *texture = nullptr;
    bool cutOut = false;
    bool outOfMemory = false;
};

}  // namespace e3dimport

struct E3DImport {
    std::unique_ptr<Assimp::Importer> importer;
    const aiScene *scene = nullptr;
    std::vector<e3dimport::Node> nodes;
    std::unordered_map<std::string, int> nodeByName;
    std::vector<E3DMesh *> meshes;
    std::vector<int> meshParent;  // index into meshes, -1 for a root
    std::vector<int> meshNode;
    std::vector<std::string> meshNodeName;
    std::vector<char> meshMoves;  // placed by an animated node
    std::vector<E3DMesh *> roots;
    std::vector<E3DMaterial *> materials;
    std::vector<E3DTexture *> textures;
    std::map<std::string, e3dimport::TextureResult> textureByPath;
    std::vector<E3DCamera *> cameras;
    std::vector<E3DLight *> lights;
    std::vector<E3DSkeleton *> skeletons;
    std::vector<e3dimport::Skinned> skins;
    std::vector<e3dimport::Clip> clips;
    std::vector<std::string> warnings;
    float boundsMin[3] = {0, 0, 0}, boundsMax[3] = {0, 0, 0};
};

namespace e3dimport {

E3DImport *Load(const char *path, std::string &error);
void Release(E3DImport *im);
void UpdateGlobals(E3DImport &im);
void ApplyPose(E3DImport &im);
// A file's diffuse texture as an engine texture (cached by path); a missing
// or unreadable one gives no texture and a warning. `wrap`: the model tiles
// it, so other sides are resampled to powers of two, which wrap.
TextureResult LoadTexture(E3DImport &im, const aiScene &sc, const std::string &dir, const char *path, bool wrap);

}  // namespace e3dimport
