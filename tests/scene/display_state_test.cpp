// Mesh display state: the mode setters down the node tree, hide and show,
// and the plain accessors of the mesh record.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "engine3d.h"
#include "support/memory_check.h"
#include "support/mesh_builders.h"

namespace {

E3DNode *N(E3DMesh *m) { return &m->node; }

// The render-mode rule restated on fields: the render field becomes the
// named mode, or the textured one for any texture bit, or stays; bit 6
// follows the argument; nothing else moves.
uint32_t ExpectedRenderState(uint32_t state, uint32_t mode) {
    const uint32_t named = mode & ~0x40u;
    uint32_t render = state & 0x7F00000u;
    if (named == 0x100000u || named == 0x300000u || named == 0x700000u) {
        render = named;
    } else if (mode & 0x7800000u) {
        render = 0x7F00000u;
    }
    return (state & ~0x7F00040u) | render | (mode & 0x40u);
}

// Material mode after a mode setter with a field mask: a zero field changes nothing.
uint32_t ExpectedMaterialField(uint32_t materialMode, uint32_t mode, uint32_t mask) {
    return (mode & mask) ? (materialMode & ~mask) | (mode & mask) : materialMode;
}

bool InSubtree(const E3DNode *node, const E3DNode *top) {
    for (; node; node = node->parent)
        if (node == top) return true;
    return false;
}

}  // namespace

TEST(DisplayState, RenderModeCases) {
    E3DMesh *m = CreateMesh(3, 1, 0);
    SetMeshRenderMode(N(m), 0x300040);
    EXPECT_EQ(GetMeshRenderMode(m), 0x300000u);
    EXPECT_EQ(m->state & 0x40u, 0x40u);
    EXPECT_EQ(GetMaterialRenderMode(GetMeshDefaultMaterial(m)), 0x300040u) << "the material keeps its own bit 6";
    SetMeshRenderMode(N(m), 0x2000000);
    EXPECT_EQ(GetMeshRenderMode(m), 0x7F00000u);
    EXPECT_EQ(m->state & 0x40u, 0u);
    EXPECT_EQ(GetMaterialRenderMode(GetMeshDefaultMaterial(m)), 0x300040u) << "no bit of 0x700000: unchanged";
    SetMeshRenderMode(N(m), 0x100040);
    SetMeshRenderMode(N(m), 0);
    EXPECT_EQ(GetMeshRenderMode(m), 0x100000u);
    EXPECT_EQ(m->state & 0x40u, 0u);
    DeleteMesh(m);
}

// An unvalidated mesh, a camera under it and a type-2 mesh under the camera.
TEST(DisplayState, CameraPassesModesOnAndCullSkipsUnvalidatedMeshes) {
    e3dtest::LeakCheck leaks;
    E3DMesh *root = CreateMesh(3, 1, 0), *grand = e3dtest::MakeStrip(1);
    E3DCamera *camera = e3dtest::MakeCamera();
    AttachChildToNode(N(root), &camera->node);
    AttachChildToNode(&camera->node, N(grand));
    grand->node.type = E3D_NODE_MESH2 | 0x40;  // the object type is type & 63
    E3DCamera before;
    std::memcpy(&before, camera, sizeof before);
    SetMeshCullMode(N(root), 0x18);
    EXPECT_EQ(GetMeshCullMode(root), 0x20u) << "kind 0 keeps its cull mode";
    EXPECT_EQ(GetMeshCullMode(grand), 0x18u) << "but passes it on";
    EXPECT_EQ(GetMaterialCullMode(GetMeshDefaultMaterial(grand)), 0x20u) << "the material is not touched";
    SetMeshRenderMode(N(root), 0x300000);
    SetMeshShadeMode(N(root), 0xFB);
    EXPECT_EQ(grand->state & 0x7F00007u, 0x300003u);
    EXPECT_EQ(GetMeshShadeMode(grand), 3u);
    EXPECT_EQ(GetMaterialShadeMode(GetMeshDefaultMaterial(grand)), 3u);
    HideMesh(N(root));
    ShowMesh(N(root));
    EXPECT_EQ(IsHiddenMesh(root), 0u);
    EXPECT_NE(IsHiddenMesh(grand), 0u) << "type 2 is hidden but not shown again";
    EXPECT_EQ(std::memcmp(&before, camera, sizeof before), 0) << "the camera itself is untouched";
    grand->node.type = E3D_NODE_MESH;
    DeleteMesh(root);  // frees the grandchild too and detaches the camera
    DeleteCamera(camera);
    leaks.Check();
}

// Random trees of meshes of every kind and type code with cameras in
// between; every setter on a random node must change exactly the nodes of
// that subtree that its rule names, in the state and the default material.
TEST(DisplayState, TreeWalksMatchTheRulesOnRandomTrees) {
    e3dtest::LeakCheck leaks;
    std::mt19937 rng(11);
    const uint32_t named[] = {0x100000u, 0x300000u, 0x700000u, 0x800000u, 0x4000000u, 0u, 0x200000u};
    for (int round = 0; round < 30; ++round) {
        std::vector<E3DMesh *> meshes{e3dtest::MakeStrip(1)};
        std::vector<E3DCamera *> cameras;
        std::vector<E3DNode *> nodes{N(meshes[0])};
        for (int i = 0; i < 14; ++i) {
            E3DNode *parent = nodes[rng() % nodes.size()], *node;
            if (rng() % 4 == 0) {
                cameras.push_back(e3dtest::MakeCamera());
                node = &cameras.back()->node;
            } else {
                meshes.push_back(rng() % 3 ? e3dtest::MakeStrip(1) : CreateMesh(3, 1, 0));
                node = N(meshes.back());
            }
            AttachChildToNode(parent, node);
            nodes.push_back(node);
        }
        for (E3DMesh *m : meshes) {
            if (m->meshKind == 1 && rng() % 3 == 0) m->meshKind = 2 + int32_t(rng() % 2);  // deformed, billboard
            if (rng() % 3 == 0) m->node.type = E3D_NODE_MESH2;
        }
        std::vector<E3DCamera> before(cameras.size());
        for (size_t i = 0; i < cameras.size(); ++i) std::memcpy(&before[i], cameras[i], sizeof(E3DCamera));
        for (int op = 0; op < 60; ++op) {
            E3DNode *top = nodes[rng() % nodes.size()];
            const uint32_t pick = rng() % 3;
            const uint32_t mode = pick == 0 ? rng() : pick == 1 ? rng() & 0x70007Fu : named[rng() % 7] | (rng() & 0x40u);
            const int which = int(rng() % 5);
            std::vector<uint32_t> state, material;
            for (E3DMesh *m : meshes) {
                state.push_back(m->state = rng());
                material.push_back(m->defaultMaterial.mode = rng());
            }
            switch (which) {
                case 0: SetMeshRenderMode(top, mode); break;
                case 1: SetMeshCullMode(top, mode); break;
                case 2: SetMeshShadeMode(top, mode); break;
                case 3: HideMesh(top); break;
                default: ShowMesh(top); break;
            }
            for (size_t i = 0; i < meshes.size(); ++i) {
                const E3DMesh *m = meshes[i];
                uint32_t s = state[i], mat = material[i];
                if (InSubtree(&m->node, top)) {
                    if (which == 0) s = ExpectedRenderState(s, mode), mat = ExpectedMaterialField(mat, mode, 0x700000u);
                    if (which == 1 && m->meshKind == 1) s = (s & ~0x38u) | (mode & 0x38u);
                    if (which == 2) s = (s & ~7u) | (mode & 7u), mat = ExpectedMaterialField(mat, mode, 7u);
                    if (which == 3) s |= 0x4000u;
                    if (which == 4 && m->node.type == E3D_NODE_MESH) s &= ~0x4000u;
                }
                ASSERT_EQ(m->state, s) << "round " << round << " op " << op << " setter " << which << " mesh " << i;
                ASSERT_EQ(m->defaultMaterial.mode, mat) << "round " << round << " op " << op << " mesh " << i;
            }
        }
        for (size_t i = 0; i < cameras.size(); ++i)
            EXPECT_EQ(std::memcmp(&before[i], cameras[i], sizeof(E3DCamera)), 0) << "cameras are passed through";
        for (E3DMesh *m : meshes) {
            m->node.type = E3D_NODE_MESH;  // deletion frees type-1 descendants only
            if (m->meshKind > 1) m->meshKind = 1;
        }
        DeleteMesh(meshes[0]);
        for (E3DCamera *c : cameras) DeleteCamera(c);
    }
    leaks.Check();
}

TEST(DisplayState, Accessors) {
    E3DMesh *m = CreateMesh(4, 2, 0), *other = CreateMesh(3, 1, 0);
    EXPECT_EQ(ActivateMesh(m), m);
    EXPECT_EQ(m->state, 0x07F08027u);
    m->polygons[1].flags = 0xFFFFFFFFu;
    for (int32_t bad : {32, -1}) SetMeshFaceSmoothG(m, 1, bad);
    for (int32_t bad : {2, -1}) SetMeshFaceSmoothG(m, bad, 3);
    SetMeshFaceSmoothG(m, 1, 9);
    EXPECT_EQ(m->polygons[1].flags, 0xFFFE9FFFu) << "only bits 12-16 change";
    EXPECT_EQ(GetMeshFaceSmoothG(m, 1), 9);
    EXPECT_EQ(GetMeshFaceSmoothG(m, -1) | GetMeshFaceSmoothG(m, 2), 0);
    m->billboardMode = 0xFFFFFF00u;
    EXPECT_EQ(SetMeshBillboardMode(m, 0x25), m);
    EXPECT_EQ(m->billboardMode, 0xFFFFFF05u);
    EXPECT_EQ(GetMeshLightList(m), nullptr);
    m->lights[0] = reinterpret_cast<E3DLight *>(other);
    EXPECT_EQ(GetMeshLightList(m), m->lights);
    m->lights[0] = nullptr;
    SetMeshModelPosition(m, 1, 2, 3);
    SetMeshModelOrientation(m, 0, 90, 0);
    SetMeshModelPosition(other, 7, 8, 9);
    const float *p = GetMeshModelPosition(m);
    EXPECT_TRUE(p[0] == 1.0f && p[1] == 2.0f && p[2] == 3.0f) << "the orientation keeps the position";
    EXPECT_EQ(GetMeshModelPosition(other), p) << "one buffer for all meshes";
    EXPECT_EQ(p[0], 7.0f);
    EXPECT_NEAR(m->modelMatrix[8], -1.0f, 1e-6f) << "90 degrees about y takes x to -z";
    EXPECT_NEAR(m->modelMatrix[0], 0.0f, 1e-6f);
    EXPECT_EQ(GetMeshPivot(SetMeshPivot(m, 4, 5, 6)), m->pivot);
    EXPECT_TRUE(m->pivot[0] == 4.0f && m->pivot[1] == 5.0f && m->pivot[2] == 6.0f);
    EXPECT_EQ(SetMeshTvObject(m, 77), 77u);
    EXPECT_EQ(GetMeshTvObject(m), 77u);
    SetMeshTvObject(m, 0);
    E3DViewport *v = reinterpret_cast<E3DViewport *>(other);
    EXPECT_EQ(SetMeshViewport(m, v), v);
    EXPECT_EQ(GetMeshViewport(m), v);
    DeleteMesh(m);
    DeleteMesh(other);
}
