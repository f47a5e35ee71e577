// Deleting an object leaves nothing pointing at it: each holder falls back to
// something live. Every sequence here once left a dangling pointer.
#include "support/scene_fixture.h"

#include <memory>

#include "raster/raster.h"  // the fillers' current camera

using e3dtest::Frame;
using e3dtest::MakeQuadAt;
using std::tuple;

// A stage made after the leak count is taken and gone before it is checked.
class DeleteRules : public ::testing::Test {
protected:
    e3dtest::LeakCheck leaks;
    std::unique_ptr<e3dtest::Stage> stage = std::make_unique<e3dtest::Stage>(true);
    e3dtest::Stage &s = *stage;
    void TearDown() override {
        stage.reset();
        leaks.Check();
    }
};

// Children become roots; viewports, scenes, fillers and light lists forget the object.
TEST_F(DeleteRules, ADeletedCameraOrLightLeavesNodesViewportsAndLists) {
    E3DCamera *camera = e3dtest::MakeCamera(0, 0, 0, 0, 0, 1);
    E3DLight *light = e3dtest::MakeOmni();
    E3DMesh *a = MakeQuadAt(-3, 0xFF0000), *b = MakeQuadAt(0, 0x00FF00), *c = MakeQuadAt(3, 0x0000FF);
    AttachChildToNode(&camera->node, &a->node);
    AttachChildToNode(&camera->targetNode, &b->node);
    AttachChildToNode(&light->node, &c->node);
    AssignMeshToScene(s.scene, a, 0);
    AssignLightToMesh(light, &a->node);
    // A scene without a camera takes the viewport's, and deletes it with itself.
    SetViewportCamera(s.viewport, camera);
    E3DScene *other = CreateScene();
    SetSceneViewport(other, s.viewport);
    ASSERT_EQ(GetActiveSceneCamera(other), camera);
    e3dtest::DeleteAll(other, light);
    EXPECT_EQ(tuple(a->node.parent, b->node.parent, c->node.parent, a->lights[0]), tuple(nullptr, nullptr, nullptr, nullptr));
    SetMeshViewport(b, s.viewport);
    EXPECT_EQ(tuple(GetViewportCamera(s.viewport), DrawMesh(b), s.Written()), tuple(nullptr, 0, 0));
    AssignMeshToScene(s.scene, c, 0);
    Frame(s);
    ASSERT_EQ(e3d::CurrentCamera(), s.camera);
    DeleteCamera(s.camera);
    EXPECT_EQ(tuple(e3d::CurrentCamera(), GetActiveSceneCamera(s.scene)), tuple(nullptr, nullptr));
    e3dtest::DeleteAll(b, c);  // once wrote into the light's freed child array
}

// Every scene entry and mesh forgets a skeleton; every layer showing a texture is emptied.
TEST_F(DeleteRules, ADeletedSkeletonOrTextureLeavesEveryHolder) {
    E3DMesh *a = MakeQuadAt(-3, 0xFFFFFF), *b = MakeQuadAt(3, 0xFFFFFF);
    AssignMeshToScene(s.scene, a, 0);
    AssignMeshToScene(s.scene, b, 0);
    E3DMaterial *material = CreateMaterial(&a->defaultMaterial);
    AssignMaterialToScene(s.scene, material);
    const std::vector<uint16_t> plain = Frame(s);
    E3DSkeleton *k = CreateSkeleton();
    ASSERT_EQ(AttachBoneToSkeleton(k, nullptr, SetBoneRoot(CreateBone()), "hip"), 1);
    ASSERT_EQ(AssignSkeletonToMesh(a, k), 1);
    E3DScene *other = CreateScene();
    AssignSkeletonToScene(s.scene, k);
    AssignSkeletonToScene(other, k);
    AddListElement(&other->skeletons, k);
    DeleteSkeleton(k);
    EXPECT_EQ(tuple(s.scene->skeletons.count, other->skeletons.count), tuple(0, 0));
    EXPECT_EQ(tuple(a->skeleton, a->skinWeights, a->meshKind), tuple(nullptr, nullptr, 1));
    DeleteScene(other);
    E3DTexture *t = CreateCheckerTexture(16, 16, 2, 0x7C00, 0x001F);
    SetMaterialTexture(material, 0, t, 0);
    SetMaterialTexture(material, 2, t, 0);
    SetFaceMaterial(a, 0, material, 1, 2);
    SetTexture(b, t, 1);
    const uint32_t materialMode = material->mode, defaultMode = b->defaultMaterial.mode;
    DeleteTexture(t);
    for (const E3DMaterial *m : {material, &b->defaultMaterial})
        for (const E3DTextureLayer &l : m->layers) EXPECT_TRUE(l.texture == nullptr && l.pixels == nullptr);
    EXPECT_EQ(tuple(material->mode, b->defaultMaterial.mode), tuple(materialMode & ~0x7800000u, defaultMode & ~0x7800000u));
    SetFaceMaterial(a, 0, &a->defaultMaterial, 1, 2);
    EXPECT_EQ(Frame(s), plain) << "both meshes draw plain again";
}

TEST_F(DeleteRules, ADeletedMaterialFallsBackEverywhere) {
    E3DMesh *m = MakeQuadAt(0, 0x00FF00), *lender = MakeQuadAt(-3, 0xFF0000);
    AssignMeshToScene(s.scene, m, 0);
    const std::vector<uint16_t> plain = Frame(s);
    E3DMaterial *red = CreateMaterial(&m->defaultMaterial);
    SetMaterialColor(red, 0, 255, 0, 0);
    SetFaceMaterial(m, 0, red, 1, 2);
    SetViewportMaterial(s.viewport, red);
    E3DScene *other = CreateScene();
    AssignMaterialToScene(s.scene, red);
    AssignMaterialToScene(other, red);
    DeleteMaterial(red);
    for (int face = 0; face < 4; ++face) EXPECT_EQ(GetFaceMaterial(m, face / 2, face % 2), &m->defaultMaterial);
    EXPECT_EQ(tuple(s.viewport->material, s.scene->materials.count, other->materials.count), tuple(nullptr, 0, 0));
    DeleteScene(other);  // once freed the material a second time
    // A deleted mesh lends its default material to no one.
    SetFaceMaterial(m, 1, &lender->defaultMaterial, 0, 2);
    SetViewportMaterial(s.viewport, &lender->defaultMaterial);
    AssignMaterialToScene(s.scene, &lender->defaultMaterial);
    DeleteMesh(lender);
    EXPECT_EQ(tuple(GetFaceMaterial(m, 1, 1), s.viewport->material, s.scene->materials.count),
              tuple(&m->defaultMaterial, nullptr, 0));
    EXPECT_EQ(Frame(s), plain);
}

// Scene `gone` holds lenders (one listed twice, one bound and so spared) and a lit tree.
TEST_F(DeleteRules, ADeletedSceneLendsTheDefaultMaterialsOfItsMeshesToNoOne) {
    for (bool whole : {false, true}) {
        E3DMesh *borrower = MakeQuadAt(3, 0x0000FF);
        AssignMeshToScene(s.scene, borrower, 0);
        E3DScene *gone = CreateScene();
        AssignLightToScene(gone, e3dtest::MakeOmni(), 0);
        std::vector<E3DMesh *> lenders;
        for (int i = 0; i < 40; ++i) {
            lenders.push_back(MakeQuadAt(-3, 0x010101u * uint32_t(i)));
            ASSERT_EQ(AssignMeshToScene(gone, lenders.back(), 1), lenders.back());
        }
        AttachChildToNode(&lenders[5]->node, &MakeQuadAt(0, 0x00FF00)->node);
        AddListElement(&gone->meshes, lenders[7]);
        E3DMesh *lowest = *std::min_element(lenders.begin(), lenders.end());  // first of the sorted freed set
        E3DMesh *bound = lenders[lowest == lenders[9] ? 10 : 9];
        bound->hostObject = 1;
        SetFaceMaterial(borrower, 0, &lowest->defaultMaterial, 0, 0);
        SetFaceMaterial(borrower, 1, &bound->defaultMaterial, 0, 0);
        SetFaceMaterial(borrower, 1, &lenders[30]->defaultMaterial, 0, 1);
        whole ? DeleteWholeScene(gone) : DeleteScene(gone);
        EXPECT_EQ(tuple(GetFaceMaterial(borrower, 0, 0), GetFaceMaterial(borrower, 1, 1)),
                  tuple(&borrower->defaultMaterial, &borrower->defaultMaterial));
        // The bound lender lives on, outside every scene, with its own sort buffer and no light.
        EXPECT_EQ(tuple(GetFaceMaterial(borrower, 1, 0), IsMeshAssigned(bound), bound->sortCapacity, bound->lights[0]),
                  tuple(&bound->defaultMaterial, 0, 2, nullptr));
        Frame(s);
        bound->hostObject = 0;
        e3dtest::DeleteAll(bound, borrower);
    }
}

TEST_F(DeleteRules, AMeshFreedThroughACameraOfItsTreeLeavesEveryScene) {
    E3DMesh *top = MakeQuadAt(-3, 0xFF0000), *below = MakeQuadAt(3, 0x00FF00);
    E3DCamera *rider = e3dtest::MakeCamera();
    AttachChildToNode(&top->node, &rider->node);
    AttachChildToNode(&rider->node, &below->node);
    ASSERT_EQ(AssignMeshToScene(s.scene, below, 0), below) << "below a camera a mesh roots its own tree";
    DeleteMesh(top);  // the subtree's meshes go, cameras stay
    EXPECT_EQ(tuple(s.scene->meshes.count, s.scene->polygonTotal, rider->node.parent, rider->node.childCount),
              tuple(0, 0, nullptr, 0));
    DeleteCamera(rider);
}
