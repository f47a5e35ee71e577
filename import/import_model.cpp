// Model files into engine objects through assimp. The handle owns all it
// made; every failure deletes what was made so far and says why.
#include "import_internal.h"

#include <assimp/Importer.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace e3dimport {
namespace {

using Mat = aiMatrix4x4;

bool Finite(const aiVector3D &v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

// Rotation part of an affine matrix by Gram-Schmidt on its axes, made proper;
// identity when the axes collapse.
Mat RigidPart(const Mat &g) {
    aiVector3D x(g.a1, g.b1, g.c1), y(g.a2, g.b2, g.c2);
    Mat r;
    const float lx = x.Length();
    if (!(lx > 1e-20f) || !std::isfinite(lx)) return Mat(1, 0, 0, g.a4, 0, 1, 0, g.b4, 0, 0, 1, g.c4, 0, 0, 0, 1);
    x /= lx;
    y -= x * (x * y);
    const float ly = y.Length();
    if (!(ly > 1e-20f)) {
        // Pick any axis at right angles to x.
        y = std::fabs(x.x) < 0.9f ? aiVector3D(1, 0, 0) : aiVector3D(0, 1, 0);
        y -= x * (x * y);
        y.Normalize();
    } else {
        y /= ly;
    }
    const aiVector3D z = x ^ y;
    r.a1 = x.x, r.a2 = y.x, r.a3 = z.x, r.a4 = g.a4;
    r.b1 = x.y, r.b2 = y.y, r.b3 = z.y, r.b4 = g.b4;
    r.c1 = x.z, r.c2 = y.z, r.c3 = z.z, r.c4 = g.c4;
    return r;
}

// Inverse of a rigid matrix: transposed rotation.
Mat InverseRigid(const Mat &m) {
    Mat r(m.a1, m.b1, m.c1, 0, m.a2, m.b2, m.c2, 0, m.a3, m.b3, m.c3, 0, 0, 0, 0, 1);
    r.a4 = -(r.a1 * m.a4 + r.a2 * m.b4 + r.a3 * m.c4);
    r.b4 = -(r.b1 * m.a4 + r.b2 * m.b4 + r.b3 * m.c4);
    r.c4 = -(r.c1 * m.a4 + r.c2 * m.b4 + r.c3 * m.c4);
    return r;
}

void ToEngine(const Mat &m, float *out) {
    const float v[12] = {m.a1, m.a2, m.a3, m.a4, m.b1, m.b2, m.b3, m.b4, m.c1, m.c2, m.c3, m.c4};
    std::memcpy(out, v, sizeof v);
}

float Determinant3(const Mat &m) {
    return m.a1 * (m.b2 * m.c3 - m.b3 * m.c2) - m.a2 * (m.b1 * m.c3 - m.b3 * m.c1) + m.a3 * (m.b1 * m.c2 - m.b2 * m.c1);
}

float Clamp255(float v) { return v < 0.0f ? 0.0f : (v > 255.0f ? 255.0f : v); }

struct Loader {
    E3DImport &im;
    const aiScene &sc;
    std::string dir;
    std::string error;
    std::vector<E3DMaterial *> materialOf;  // by file material index, made on first use
    std::vector<int> materialLayer;         // texture layer of that material, -1 none

    bool Fail(const char *fmt, ...) __attribute__((format(printf, 2, 3))) {
        char text[512];
        va_list ap;
        va_start(ap, fmt);
        std::vsnprintf(text, sizeof text, fmt, ap);
        va_end(ap);
        if (error.empty()) error = text;
        return false;
    }

    void CollectNodes(const aiNode *n, int parent) {
        const int index = int(im.nodes.size());
        im.nodes.push_back(Node{n, parent, n->mTransformation, n->mTransformation, Mat()});
        im.nodeByName.emplace(n->mName.C_Str(), index);
        for (unsigned i = 0; i < n->mNumChildren; ++i) CollectNodes(n->mChildren[i], index);
    }

    // Whether a mesh of the material has a triangle whose coordinates span
    // more than one period, once moved by whole periods toward 0..1.
    bool Tiles(unsigned material) const {
        for (unsigned i = 0; i < sc.mNumMeshes; ++i) {
            const aiMesh *m = sc.mMeshes[i];
            if (m->mMaterialIndex != material || !m->HasTextureCoords(0)) continue;
            for (unsigned f = 0; f < m->mNumFaces; ++f) {
                const aiFace &face = m->mFaces[f];
                if (face.mNumIndices != 3) continue;
                float lo[2] = {INFINITY, INFINITY}, hi[2] = {-INFINITY, -INFINITY};
                for (int k = 0; k < 3; ++k) {
                    if (face.mIndices[k] >= m->mNumVertices) return false;
                    const aiVector3D &uv = m->mTextureCoords[0][face.mIndices[k]];
                    lo[0] = std::min(lo[0], uv.x), hi[0] = std::max(hi[0], uv.x);
                    lo[1] = std::min(lo[1], uv.y), hi[1] = std::max(hi[1], uv.y);
                }
                for (int k = 0; k < 2; ++k) {
                    if (std::isfinite(lo[k]) && hi[k] - std::floor(lo[k]) > 1.001f) return true;
                }
            }
        }
        return false;
    }

    bool MakeMaterial(unsigned index) {
        if (materialOf[index]) return true;
        const aiMaterial *src = sc.mMaterials[index];
        E3DMaterial templ;
        std::memset(&templ, 0, sizeof templ);
        SetMaterialRenderMode(&templ, E3D_RENDER_SOLID);
        E3DMaterial *m = CreateMaterial(&templ);
        if (!m) return Fail("out of memory for a material");
        im.materials.push_back(m);
        materialOf[index] = m;
        m->hostObject = reinterpret_cast<uintptr_t>(&im);
        m->mode = (m->mode & ~0x3Fu) | 0x40u | E3D_CULL_BACK | E3D_SHADE_GOURAUD;
        aiString name;
        if (src->Get(AI_MATKEY_NAME, name) == AI_SUCCESS) SetMaterialName(m, name.C_Str());

        aiColor4D diffuse(0.8f, 0.8f, 0.8f, 1.0f), ambient(0, 0, 0, 1), specular(0, 0, 0, 1), emissive(0, 0, 0, 1);
        src->Get(AI_MATKEY_COLOR_DIFFUSE, diffuse);
        src->Get(AI_MATKEY_COLOR_AMBIENT, ambient);
        src->Get(AI_MATKEY_COLOR_SPECULAR, specular);
        src->Get(AI_MATKEY_COLOR_EMISSIVE, emissive);
        const float d[3] = {Clamp255(diffuse.r * 255), Clamp255(diffuse.g * 255), Clamp255(diffuse.b * 255)};
        // A headlit model with a black ambient shows black sides: keep a floor.
        SetMaterialColor(m, E3D_COLOR_AMBIENT, std::max(ambient.r * 255, 0.25f * d[0]),
                         std::max(ambient.g * 255, 0.25f * d[1]), std::max(ambient.b * 255, 0.25f * d[2]));
        SetMaterialColor(m, E3D_COLOR_DIFFUSE, d[0], d[1], d[2]);
        SetMaterialColor(m, E3D_COLOR_EMISSIVE, emissive.r * 255, emissive.g * 255, emissive.b * 255);
        float shininess = 0.0f, strength = 1.0f;
        src->Get(AI_MATKEY_SHININESS, shininess);
        src->Get(AI_MATKEY_SHININESS_STRENGTH, strength);
        if (shininess > 0.0f && std::isfinite(shininess) && (specular.r + specular.g + specular.b) > 0.0f) {
            SetMaterialColor(m, E3D_COLOR_SPECULAR, specular.r * 255, specular.g * 255, specular.b * 255);
            SetMaterialShininess(m, std::min(shininess, 128.0f));
            SetMaterialSpecularLevel(m, std::isfinite(strength) ? std::clamp(strength, 0.0f, 1.0f) : 1.0f);
        }
        float opacity = 1.0f;
        if (src->Get(AI_MATKEY_OPACITY, opacity) == AI_SUCCESS && opacity < 0.999f && opacity >= 0.0f) {
            SetMaterialAlphaMode(m, E3D_BLEND_OPACITY);
            SetMaterialAlphaLevel(m, int32_t(std::lround(opacity * 255.0f)));
        }
        int twoSided = 0;
        if (src->Get(AI_MATKEY_TWOSIDED, twoSided) == AI_SUCCESS && twoSided) SetMaterialCullMode(m, E3D_CULL_NONE);
        int shading = 0;
        if (src->Get(AI_MATKEY_SHADING_MODEL, shading) == AI_SUCCESS && shading == aiShadingMode_Flat) {
            SetMaterialShadeMode(m, E3D_SHADE_FLAT);
        }

        aiString path;
        bool found = src->GetTexture(aiTextureType_DIFFUSE, 0, &path) == AI_SUCCESS;
        if (!found) found = src->GetTexture(aiTextureType_BASE_COLOR, 0, &path) == AI_SUCCESS;
        if (!found || path.length == 0) return true;
        TextureResult t = LoadTexture(im, sc, dir, path.C_Str(), Tiles(index));
        if (t.outOfMemory) return Fail("out of memory for texture %s", path.C_Str());
        if (!t.texture) return true;  // warned
        const uint32_t layer = t.cutOut ? 1u : 0u;
        SetMaterialTexture(m, layer, t.texture, 0);
        materialLayer[index] = int(layer);
        // The lit texel is the texel times the diffuse colour: a texture
        // over a dark diffuse would vanish, so textured faces take white.
        SetMaterialColor(m, E3D_COLOR_DIFFUSE, 255, 255, 255);
        SetMaterialColor(m, E3D_COLOR_AMBIENT, 64, 64, 64);
        return true;
    }

    // One engine mesh from one file mesh. `bake` is applied to the
    // positions; skinned meshes stay in their own space.
    E3DMesh *MakeMesh(const aiMesh *src, const Mat &bake, const char *nodeName) {
        const unsigned nv = src->mNumVertices;
        if (nv == 0 || src->mNumFaces == 0) {
            im.warnings.push_back(std::string("mesh '") + src->mName.C_Str() + "' has no faces: skipped");
            return nullptr;
        }
        for (unsigned v = 0; v < nv; ++v) {
            if (!Finite(src->mVertices[v])) {
                Fail("mesh '%s': vertex %u is not a finite number", src->mName.C_Str(), v);
                return nullptr;
            }
        }
        std::vector<aiVector3D> pos(nv);
        for (unsigned v = 0; v < nv; ++v) pos[v] = bake * src->mVertices[v];
        const bool mirror = Determinant3(bake) < 0.0f;
        // Triangles kept: in range, three different corners, some area.
        std::vector<unsigned> tris;
        tris.reserve(size_t(src->mNumFaces) * 3);
        for (unsigned f = 0; f < src->mNumFaces; ++f) {
            const aiFace &face = src->mFaces[f];
            if (face.mNumIndices != 3) continue;
            unsigned a = face.mIndices[0], b = face.mIndices[1], c = face.mIndices[2];
            if (a >= nv || b >= nv || c >= nv) {
                Fail("mesh '%s': face %u names vertex %u of %u", src->mName.C_Str(), f, std::max({a, b, c}), nv);
                return nullptr;
            }
            if (a == b || b == c || a == c) continue;
            const aiVector3D n = (pos[b] - pos[a]) ^ (pos[c] - pos[a]);
            if (n.SquareLength() == 0.0f) continue;
            if (mirror) std::swap(b, c);
            tris.insert(tris.end(), {a, b, c});
        }
        const unsigned nt = unsigned(tris.size() / 3);
        if (nt == 0) {
            im.warnings.push_back(std::string("mesh '") + src->mName.C_Str() + "' has no triangle with area: skipped");
            return nullptr;
        }
        if (nv > 0x7FFFFFFFu / 64 || nt > 0x7FFFFFFFu / 128) {
            Fail("mesh '%s' is too large", src->mName.C_Str());
            return nullptr;
        }
        if (!MakeMaterial(src->mMaterialIndex)) return nullptr;
        E3DMaterial *material = materialOf[src->mMaterialIndex];
        const bool textured = materialLayer[src->mMaterialIndex] >= 0 && src->HasTextureCoords(0);

        E3DMesh *mesh = CreateMesh(int32_t(nv), int32_t(nt), 0xCCCCCC);
        if (!mesh) {
            Fail("out of memory for mesh '%s' (%u vertices, %u triangles)", src->mName.C_Str(), nv, nt);
            return nullptr;
        }
        for (unsigned v = 0; v < nv; ++v) SetMeshVertex(mesh, int32_t(v), pos[v].x, pos[v].y, pos[v].z);
        // One smoothing group: where the file wants a crease it split the
        // vertices, so shared corners are smooth ones.
        for (unsigned t = 0; t < nt; ++t) {
            const unsigned *c = &tris[size_t(t) * 3];
            SetMeshTriPolygon(mesh, int32_t(t), int32_t(c[0]), int32_t(c[1]), int32_t(c[2]), 0, 1);
            if (textured) {
                // Moved by whole periods toward 0..1, where a texture that
                // does not wrap shows them.
                const aiVector3D *uv = src->mTextureCoords[0];
                float u[3], v[3];
                for (int k = 0; k < 3; ++k) u[k] = uv[c[k]].x, v[k] = uv[c[k]].y;
                const float du = std::floor(std::min({u[0], u[1], u[2]})), dv = std::floor(std::min({v[0], v[1], v[2]}));
                for (int k = 0; k < 3; ++k) {
                    if (std::isfinite(du)) u[k] -= du;
                    if (std::isfinite(dv)) v[k] -= dv;
                }
                SetMeshTriTexCoords(mesh, int32_t(t), u[0], v[0], u[1], v[1], u[2], v[2]);
            }
        }
        SetMeshName(mesh, nodeName && *nodeName ? nodeName : src->mName.C_Str());
        E3DMesh *valid = ValidateMesh(mesh);
        if (!valid) {
            // Corners were checked above: only a failed allocation refuses,
            // and that deletes the mesh.
            Fail("out of memory validating mesh '%s'", src->mName.C_Str());
            return nullptr;
        }
        mesh = valid;
        SetMeshTvObject(mesh, reinterpret_cast<uintptr_t>(&im));
        SetMaterial(mesh, material, E3D_SIDE_BOTH, 0);
        // The mesh's own state masks the material's: copy what the material wants.
        const bool smooth = src->HasNormals() && (material->mode & 7u) == E3D_SHADE_GOURAUD;
        SetMeshShadeMode(&mesh->node, smooth ? E3D_SHADE_GOURAUD : E3D_SHADE_FLAT);
        if ((material->mode & 0x38u) == E3D_CULL_NONE) SetMeshCullMode(&mesh->node, E3D_CULL_NONE);
        if (!textured && materialLayer[src->mMaterialIndex] >= 0) {
            // Textured material without coordinates: this mesh draws its colour.
            SetMeshRenderMode(&mesh->node, E3D_RENDER_SOLID);
        }
        // The default material stays unseen, but keep it in step for hosts reading it.
        std::memcpy(mesh->defaultMaterial.color, material->color, sizeof material->color);
        return mesh;
    }

    bool Skin(const aiMesh *src, E3DMesh *mesh) {
        if (src->mNumBones > 127) {
            im.warnings.push_back(std::string("mesh '") + src->mName.C_Str() + "' has more than 127 bones: drawn unskinned");
            return true;
        }
        Skinned s;
        s.mesh = mesh;
        s.skeleton = CreateSkeleton();
        if (!s.skeleton) return Fail("out of memory for a skeleton");
        im.skeletons.push_back(s.skeleton);
        s.skeleton->hostObject = reinterpret_cast<uintptr_t>(&im);
        // A flat skeleton: every file bone hangs from a root at rest, and its
        // pose holds the whole skinning matrix, so scaled bind poses work too.
        char rootName[32];
        std::snprintf(rootName, sizeof rootName, "skin%zu", im.skins.size());
        E3DBone *root = CreateBone();
        if (!root) return Fail("out of memory for a bone");
        if (!AttachBoneToSkeleton(s.skeleton, nullptr, root, rootName)) {
            DeleteBone(root);
            return Fail("out of memory for a bone");
        }
        for (unsigned b = 0; b < src->mNumBones; ++b) {
            const aiBone *bone = src->mBones[b];
            E3DBone *eb = CreateBone();
            if (!eb) return Fail("out of memory for a bone");
            if (!AttachBoneToSkeleton(s.skeleton, rootName, eb, bone->mName.C_Str()) ||
                s.skeleton->boneCount != int(b) + 2) {
                DeleteBone(eb);
                return Fail("out of memory for bone '%s'", bone->mName.C_Str());
            }
            auto it = im.nodeByName.find(bone->mName.C_Str());
            if (it == im.nodeByName.end()) {
                im.warnings.push_back(std::string("bone '") + bone->mName.C_Str() + "' has no node: it stays at rest");
            }
            s.boneNode.push_back(it == im.nodeByName.end() ? -1 : it->second);
            s.offset.push_back(bone->mOffsetMatrix);
        }
        // Cull mode first: SetMeshCullMode acts on ordinary meshes only.
        if (!AssignSkeletonToMesh(mesh, s.skeleton)) return Fail("out of memory for a skin");
        std::vector<int> count(src->mNumVertices, 0);
        std::vector<int32_t> bones(size_t(src->mNumVertices) * 4, -1);
        std::vector<float> weights(size_t(src->mNumVertices) * 4, 0.0f);
        for (unsigned b = 0; b < src->mNumBones; ++b) {
            const aiBone *bone = src->mBones[b];
            for (unsigned w = 0; w < bone->mNumWeights; ++w) {
                const aiVertexWeight &vw = bone->mWeights[w];
                if (vw.mVertexId >= src->mNumVertices) {
                    return Fail("bone '%s' weighs vertex %u of %u", bone->mName.C_Str(), vw.mVertexId,
                                src->mNumVertices);
                }
                if (!std::isfinite(vw.mWeight) || vw.mWeight < 0.0f) {
                    return Fail("bone '%s' has a weight that is not a non-negative number", bone->mName.C_Str());
                }
                int &n = count[vw.mVertexId];
                if (n < 4) {
                    bones[size_t(vw.mVertexId) * 4 + n] = int32_t(b) + 1;
                    weights[size_t(vw.mVertexId) * 4 + n] = vw.mWeight;
                    ++n;
                }
            }
        }
        for (unsigned v = 0; v < src->mNumVertices; ++v) {
            if (count[v] == 0) continue;
            float *w = &weights[size_t(v) * 4];
            const float sum = w[0] + w[1] + w[2] + w[3];
            if (!(sum > 0.0f)) return Fail("mesh '%s': the bone weights of vertex %u sum to zero", src->mName.C_Str(), v);
            for (int k = 0; k < 4; ++k) w[k] /= sum;
            SetVertexBoneWeights(mesh, int32_t(v), &bones[size_t(v) * 4], w);
        }
        s.source = src;
        im.skins.push_back(std::move(s));
        return true;
    }

    bool Hook(E3DMesh *child, E3DMesh *parent) {
        AttachChildToNode(&parent->node, &child->node);
        if (child->node.parent != &parent->node) return Fail("out of memory attaching mesh '%s'", child->name);
        return true;
    }

    // Meshes of node `index` and below; `parentMesh` is the nearest engine
    // mesh above, `parentRigid` its world placement.
    bool BuildNode(int index, E3DMesh *parentMesh, const Mat &parentRigid) {
        const Node &node = im.nodes[size_t(index)];
        const Mat rigid = RigidPart(node.global);
        const Mat bake = InverseRigid(rigid) * node.global;
        E3DMesh *first = nullptr;
        for (unsigned k = 0; k < node.source->mNumMeshes; ++k) {
            const aiMesh *src = sc.mMeshes[node.source->mMeshes[k]];
            const bool skinned = src->HasBones();
            E3DMesh *mesh = MakeMesh(src, skinned ? Mat() : bake, node.source->mName.C_Str());
            if (!mesh) {
                if (!error.empty()) return false;
                continue;
            }
            im.meshes.push_back(mesh);
            im.meshNode.push_back(index);
            im.meshNodeName.emplace_back(node.source->mName.C_Str());
            if (skinned) {
                // Placed by its bones: a root at the origin.
                im.meshParent.push_back(-1);
                if (!Skin(src, mesh)) return false;
                continue;
            }
            E3DMesh *parent = first ? first : parentMesh;
            const Mat local = first ? Mat() : (parentMesh ? InverseRigid(parentRigid) * rigid : rigid);
            ToEngine(local, mesh->modelMatrix);
            im.meshParent.push_back(parent ? int(std::find(im.meshes.begin(), im.meshes.end(), parent) - im.meshes.begin()) : -1);
            if (parent && !Hook(mesh, parent)) {
                im.meshParent.back() = -1;  // left a root: freed as one
                return false;
            }
            if (!first) first = mesh;
        }
        for (size_t i = size_t(index) + 1; i < im.nodes.size(); ++i) {
            if (im.nodes[i].parent != index) continue;
            if (!BuildNode(int(i), first ? first : parentMesh, first ? rigid : parentRigid)) return false;
        }
        return true;
    }

    bool BuildCamerasAndLights() {
        for (unsigned i = 0; i < sc.mNumCameras; ++i) {
            const aiCamera *c = sc.mCameras[i];
            auto it = im.nodeByName.find(c->mName.C_Str());
            const Mat g = it == im.nodeByName.end() ? Mat() : im.nodes[size_t(it->second)].global;
            const aiVector3D eye = g * c->mPosition;
            aiVector3D dir = aiMatrix3x3(g) * c->mLookAt;
            if (!Finite(eye) || !Finite(dir) || dir.SquareLength() == 0.0f) {
                im.warnings.push_back(std::string("camera '") + c->mName.C_Str() + "' is degenerate: skipped");
                continue;
            }
            dir.Normalize();
            const aiVector3D at = eye + dir;
            const float e[3] = {eye.x, eye.y, eye.z}, t[3] = {at.x, at.y, at.z};
            float fov = 2.0f * c->mHorizontalFOV * 57.29578f;
            if (!(fov > 1.0f && fov < 179.0f)) fov = 60.0f;
            E3DCamera *cam = CreateCamera(e, t, 0.0f, fov, c->mClipPlaneNear > 0.0f ? c->mClipPlaneNear : 0.1f);
            if (!cam) return Fail("out of memory for a camera");
            im.cameras.push_back(cam);
            cam->hostObject = reinterpret_cast<uintptr_t>(&im);
            SetCameraName(cam, c->mName.C_Str());
            if (c->mClipPlaneFar > c->mClipPlaneNear) SetCameraFar(cam, c->mClipPlaneFar);
        }
        for (unsigned i = 0; i < sc.mNumLights; ++i) {
            const aiLight *l = sc.mLights[i];
            auto it = im.nodeByName.find(l->mName.C_Str());
            const Mat g = it == im.nodeByName.end() ? Mat() : im.nodes[size_t(it->second)].global;
            const aiVector3D p = g * l->mPosition;
            aiVector3D dir = aiMatrix3x3(g) * l->mDirection;
            float peak = std::max({l->mColorDiffuse.r, l->mColorDiffuse.g, l->mColorDiffuse.b});
            if (!(peak > 0.0f) || !std::isfinite(peak) || !Finite(p)) {
                im.warnings.push_back(std::string("light '") + l->mName.C_Str() + "' is dark or degenerate: skipped");
                continue;
            }
            const float colour[4] = {l->mColorDiffuse.r / peak, l->mColorDiffuse.g / peak, l->mColorDiffuse.b / peak,
                                     0.0f};
            const float at[3] = {p.x, p.y, p.z};
            E3DLight *light = nullptr;
            if (l->mType == aiLightSource_DIRECTIONAL) {
                if (!Finite(dir) || dir.SquareLength() == 0.0f) dir = aiVector3D(0, 0, 1);
                dir.Normalize();
                const float aim[3] = {p.x + dir.x, p.y + dir.y, p.z + dir.z};
                light = CreateDirectLight(at, aim, colour, 1.0f, 0);
            } else {
                light = CreateOmniLight(at, colour, 1.0f, 0.0f, 1e30f, 0);
            }
            if (!light) return Fail("out of memory for a light");
            im.lights.push_back(light);
            light->hostObject = reinterpret_cast<uintptr_t>(&im);
            SetLightName(light, l->mName.C_Str());
            SetLightStatus(light, E3D_LIGHT_ON, E3D_LIGHT_UNATTENUATED);
        }
        return true;
    }
};

}  // namespace

void UpdateGlobals(E3DImport &im) {
    for (Node &n : im.nodes) {
        n.global = n.parent < 0 ? n.local : im.nodes[size_t(n.parent)].global * n.local;
    }
}

// Bone poses and mesh placements from the nodes' current globals.
void ApplyPose(E3DImport &im) {
    for (const Skinned &s : im.skins) {
        for (size_t b = 0; b < s.boneNode.size(); ++b) {
            E3DBone *bone = s.skeleton->bones[b + 1];
            const Mat m = s.boneNode[b] < 0 ? Mat() : im.nodes[size_t(s.boneNode[b])].global * s.offset[b];
            float pose[12];
            ToEngine(m, pose);
            bool finite = true;
            for (float v : pose) finite &= std::isfinite(v);
            if (finite) std::memcpy(bone->poseMatrix, pose, sizeof pose);
        }
    }
    for (size_t i = 0; i < im.meshes.size(); ++i) {
        if (im.meshMoves.empty() || !im.meshMoves[i]) continue;
        const Mat rigid = RigidPart(im.nodes[size_t(im.meshNode[i])].global);
        const int p = im.meshParent[i];
        const Mat local = p < 0 ? rigid
                        : (im.meshNode[size_t(p)] == im.meshNode[i]
                               ? Mat()
                               : InverseRigid(RigidPart(im.nodes[size_t(im.meshNode[size_t(p)])].global)) * rigid);
        ToEngine(local, im.meshes[i]->modelMatrix);
    }
}

void ComputeBounds(E3DImport &im) {
    float lo[3] = {INFINITY, INFINITY, INFINITY}, hi[3] = {-INFINITY, -INFINITY, -INFINITY};
    auto grow = [&](const aiVector3D &p) {
        const float v[3] = {p.x, p.y, p.z};
        for (int k = 0; k < 3; ++k) lo[k] = std::min(lo[k], v[k]), hi[k] = std::max(hi[k], v[k]);
    };
    for (size_t i = 0; i < im.meshes.size(); ++i) {
        const E3DMesh *m = im.meshes[i];
        const Skinned *skin = nullptr;
        for (const Skinned &s : im.skins) skin = s.mesh == m ? &s : skin;
        const Mat world = RigidPart(im.nodes[size_t(im.meshNode[i])].global);
        for (int v = 0; v < m->vertexCount; ++v) {
            const aiVector3D p(m->vertices[v].position[0], m->vertices[v].position[1], m->vertices[v].position[2]);
            if (!skin) {
                grow(world * p);
                continue;
            }
            int32_t bones[4];
            float w[4];
            GetVertexBoneWeights(m, v, bones, w);
            aiVector3D sum(0, 0, 0);
            float rest = 1.0f;
            for (int k = 0; k < 4; ++k) {
                if (bones[k] < 1) continue;
                const float *q = skin->skeleton->bones[bones[k]]->poseMatrix;
                const Mat b(q[0], q[1], q[2], q[3], q[4], q[5], q[6], q[7], q[8], q[9], q[10], q[11], 0, 0, 0, 1);
                sum += (b * p) * w[k];
                rest -= w[k];
            }
            grow(sum + p * rest);
        }
    }
    for (int k = 0; k < 3; ++k) im.boundsMin[k] = lo[k], im.boundsMax[k] = hi[k];
}

E3DImport *Load(const char *path, std::string &error) {
    if (!path || !*path) {
        error = "no file name";
        return nullptr;
    }
    FILE *probe = std::fopen(path, "rb");
    if (!probe) {
        error = std::string("cannot open ") + path + ": " + std::strerror(errno);
        return nullptr;
    }
    std::fclose(probe);
    auto *im = new E3DImport();
    im->importer = std::make_unique<Assimp::Importer>();
    im->importer->SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE, aiPrimitiveType_POINT | aiPrimitiveType_LINE);
    im->importer->SetPropertyInteger(AI_CONFIG_PP_LBW_MAX_WEIGHTS, 4);
    const aiScene *sc = im->importer->ReadFile(
        path, aiProcess_Triangulate | aiProcess_JoinIdenticalVertices | aiProcess_SortByPType |
                  aiProcess_ConvertToLeftHanded | aiProcess_LimitBoneWeights | aiProcess_ValidateDataStructure |
                  aiProcess_RemoveRedundantMaterials);
    if (!sc || !sc->mRootNode) {
        const char *why = im->importer->GetErrorString();
        error = std::string("cannot import ") + path + ": " + (why && *why ? why : "unknown format");
        delete im;
        return nullptr;
    }
    im->scene = sc;
    Loader ld{*im, *sc, {}, {}, std::vector<E3DMaterial *>(sc->mNumMaterials, nullptr),
              std::vector<int>(sc->mNumMaterials, -1)};
    const char *slash = std::strrchr(path, '/');
    ld.dir = slash ? std::string(path, size_t(slash - path + 1)) : std::string();
    ld.CollectNodes(sc->mRootNode, -1);
    UpdateGlobals(*im);
    bool ok = ld.BuildNode(0, nullptr, Mat());
    if (ok) ok = ld.BuildCamerasAndLights();
    if (ok && im->meshes.empty()) ok = ld.Fail("%s has no triangles to draw", path);
    if (ok) {
        // Meshes whose node, or a node above it, some clip moves.
        std::vector<char> animated(im->nodes.size(), 0);
        for (unsigned a = 0; a < sc->mNumAnimations; ++a) {
            for (unsigned c = 0; c < sc->mAnimations[a]->mNumChannels; ++c) {
                auto it = im->nodeByName.find(sc->mAnimations[a]->mChannels[c]->mNodeName.C_Str());
                if (it != im->nodeByName.end()) animated[size_t(it->second)] = 1;
            }
        }
        for (size_t n = 1; n < im->nodes.size(); ++n) animated[n] |= animated[size_t(im->nodes[n].parent)];
        im->meshMoves.assign(im->meshes.size(), 0);
        for (size_t i = 0; i < im->meshes.size(); ++i) {
            bool skinned = false;
            for (const Skinned &s : im->skins) skinned |= s.mesh == im->meshes[i];
            im->meshMoves[i] = !skinned && animated[size_t(im->meshNode[i])];
        }
        ApplyPose(*im);
        ComputeBounds(*im);
        bool finite = true;
        for (int k = 0; k < 3; ++k) finite &= std::isfinite(im->boundsMin[k]) && std::isfinite(im->boundsMax[k]);
        if (!finite) {
            ok = ld.Fail("%s: the model's positions are not finite", path);
        } else if (im->boundsMax[0] - im->boundsMin[0] <= 0.0f && im->boundsMax[1] - im->boundsMin[1] <= 0.0f &&
                   im->boundsMax[2] - im->boundsMin[2] <= 0.0f) {
            ok = ld.Fail("%s: the model has no extent", path);
        }
    }
    if (!ok) {
        error = ld.error;
        Release(im);
        return nullptr;
    }
    for (unsigned a = 0; a < sc->mNumAnimations; ++a) {
        const aiAnimation *anim = sc->mAnimations[a];
        Clip clip;
        clip.source = anim;
        clip.name = anim->mName.C_Str();
        clip.ticksPerSecond = anim->mTicksPerSecond > 0.0 ? anim->mTicksPerSecond : 25.0;
        for (unsigned c = 0; c < anim->mNumChannels; ++c) {
            auto it = im->nodeByName.find(anim->mChannels[c]->mNodeName.C_Str());
            clip.channelNode.push_back(it == im->nodeByName.end() ? -1 : it->second);
        }
        im->clips.push_back(std::move(clip));
    }
    return im;
}

void Release(E3DImport *im) {
    if (!im) return;
    // Deleting a root frees the meshes below it, unless they are bound.
    for (E3DMesh *m : im->meshes) SetMeshTvObject(m, 0);
    for (size_t i = 0; i < im->meshes.size(); ++i) {
        if (im->meshParent[i] < 0) DeleteMesh(im->meshes[i]);
    }
    for (E3DSkeleton *s : im->skeletons) DeleteSkeleton(s);
    for (E3DLight *l : im->lights) DeleteLight(l);
    for (E3DCamera *c : im->cameras) DeleteCamera(c);
    for (E3DMaterial *m : im->materials) DeleteMaterial(m);
    for (E3DTexture *t : im->textures) DeleteTexture(t);
    delete im;
}

}  // namespace e3dimport
