// Mesh display state: the mode setters down the node tree, hiding and the accessors.
#include "support/scene_fixture.h"

using std::tuple;

namespace {

// The render field becomes the named mode, or the textured one for any
// texture bit, or stays; bit 6 follows the argument; nothing else moves.
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

// A material field follows the mode unless the mode's field is zero.
uint32_t ExpectedField(uint32_t was, uint32_t mode, uint32_t mask) {
    return (mode & mask) ? (was & ~mask) | (mode & mask) : was;
}

}  // namespace

// Random trees of meshes of every kind and type code (type & 63) with cameras in
// between: a setter changes exactly the meshes of the subtree its rule names.
TEST(DisplayState, TreeWalksMatchTheRulesOnRandomTrees) {
    std::mt19937 rng(11);
    const uint32_t named[] = {0x100000u, 0x300000u, 0x700000u, 0x800000u, 0x4000000u, 0u, 0x200000u};
    const int32_t types[] = {E3D_NODE_MESH, E3D_NODE_MESH | 0x40, E3D_NODE_MESH2, E3D_NODE_MESH2 | 0x40};
    for (int round = 0; round < 30; ++round) {
        std::vector<E3DMesh *> meshes{e3dtest::MakeStrip(1)};
        std::vector<E3DCamera *> cameras;
        std::vector<E3DNode *> nodes{&meshes[0]->node};
        for (int i = 0; i < 14; ++i) {
            E3DNode *parent = nodes[rng() % nodes.size()];
            const bool camera = rng() % 4 == 0;
            if (camera) cameras.push_back(e3dtest::MakeCamera());
            else meshes.push_back(rng() % 3 ? e3dtest::MakeStrip(1) : CreateMesh(3, 1, 0));
            nodes.push_back(camera ? &cameras.back()->node : &meshes.back()->node);
            AttachChildToNode(parent, nodes.back());
        }
        for (E3DMesh *m : meshes) {
            if (m->meshKind == 1 && rng() % 3 == 0) m->meshKind = 2 + int32_t(rng() % 2);  // deformed, billboard
            m->node.type = types[rng() % 4];
        }
        std::vector<E3DCamera> before;  // cameras are passed through untouched
        for (E3DCamera *c : cameras) before.push_back(*c);
        for (int op = 0; op < 60; ++op) {
            E3DNode *top = nodes[rng() % nodes.size()];
            const uint32_t pick = rng() % 3;
            const uint32_t mode = pick == 0 ? rng() : pick == 1 ? rng() & 0x70007Fu : named[rng() % 7] | (rng() & 0x40u);
            const int which = int(rng() % 5);
            std::vector<uint32_t> state, material;
            for (E3DMesh *m : meshes) state.push_back(m->state = rng()), material.push_back(m->defaultMaterial.mode = rng());
            void (*const setters[])(E3DNode *, uint32_t) = {SetMeshRenderMode, SetMeshCullMode, SetMeshShadeMode};
            which < 3 ? setters[which](top, mode) : which == 3 ? HideMesh(top) : ShowMesh(top);
            for (size_t i = 0; i < meshes.size(); ++i) {
                const E3DMesh *m = meshes[i];
                uint32_t s = state[i], mat = material[i];
                bool inside = false;
                for (const E3DNode *n = &m->node; n; n = n->parent) inside = inside || n == top;
                if (inside) {
                    if (which == 0) s = ExpectedRenderState(s, mode), mat = ExpectedField(mat, mode, 0x700000u);
                    if (which == 1 && m->meshKind == 1) s = (s & ~0x38u) | (mode & 0x38u);
                    if (which == 2) s = (s & ~7u) | (mode & 7u), mat = ExpectedField(mat, mode, 7u);
                    if (which == 3) s |= 0x4000u;
                    if (which == 4 && (m->node.type & 63) == E3D_NODE_MESH) s &= ~0x4000u;
                }
                ASSERT_EQ(tuple(m->state, m->defaultMaterial.mode), tuple(s, mat))
                    << "round " << round << " op " << op << " setter " << which << " mode " << mode << " mesh " << i;
            }
        }
        for (size_t i = 0; i < cameras.size(); ++i) EXPECT_EQ(std::memcmp(&before[i], cameras[i], sizeof(E3DCamera)), 0);
        for (E3DMesh *m : meshes) {
            m->node.type = E3D_NODE_MESH;  // deletion frees type-1 descendants only
            if (m->meshKind > 1) m->meshKind = 1;
        }
        DeleteMesh(meshes[0]);
        for (E3DCamera *c : cameras) DeleteCamera(c);
    }
}

TEST(DisplayState, Accessors) {
    E3DMesh *m = CreateMesh(4, 2, 0), *other = CreateMesh(3, 1, 0);
    EXPECT_EQ(ActivateMesh(m)->state, 0x07F08027u);
    m->polygons[1].flags = 0xFFFFFFFFu;
    for (int32_t bad : {32, -1}) SetMeshFaceSmoothG(m, 1, bad), SetMeshFaceSmoothG(m, bad == 32 ? 2 : -1, 3);
    SetMeshFaceSmoothG(m, 1, 9);
    EXPECT_EQ(m->polygons[1].flags, 0xFFFE9FFFu) << "only bits 12-16 change";
    EXPECT_EQ(tuple(GetMeshFaceSmoothG(m, 1), GetMeshFaceSmoothG(m, -1), GetMeshFaceSmoothG(m, 2)), tuple(9, 0, 0));
    m->billboardMode = 0xFFFFFF00u;
    EXPECT_EQ(SetMeshBillboardMode(m, 0x25)->billboardMode, 0xFFFFFF05u);
    SetMeshModelOrientation(SetMeshModelPosition(m, 1, 2, 3), 0, 90, 0);  // x to -z, the position kept
    const float *p = GetMeshModelPosition(m), *pivot = GetMeshPivot(SetMeshPivot(m, 4, 5, 6));
    EXPECT_EQ(tuple(p[0], p[1], p[2], m->modelMatrix[8], pivot[0], pivot[1], pivot[2]),
              tuple(1.0f, 2.0f, 3.0f, -1.0f, 4.0f, 5.0f, 6.0f));
    EXPECT_EQ(GetMeshModelPosition(SetMeshModelPosition(other, 7, 8, 9)), p) << "one buffer for all meshes";
    EXPECT_EQ(p[0], 7.0f);
    e3dtest::DeleteAll(m, other);
}
