#!/usr/bin/env python3
"""Writes the fuzzer's seed corpus: short call sequences, encoded the way the
decoder of api_fuzzer.cpp reads its bytes, that build and draw whole scenes, so
that fuzzing starts from deep states. Run from anywhere; rewrites corpus/."""
import os
import struct

SPECIAL_INTS = [0, 1, -1, 2, -2, -2**31, -2**31 + 1, 2**31 - 1, 2**31 - 2, (2**31 - 1) // 2, 32, 64]


class Seq:
    def __init__(self, surfaces=((40, 30, 1, 0), (17, 9, 3, 1))):
        self.b = bytearray()
        for w, h, extra, odd in surfaces:
            self.u8(w - 1, h - 1, extra, odd)

    def u8(self, *values):
        for v in values:
            self.b.append(v & 255)
        return self

    def f(self, v):  # ordinary floats: multiples of 0.25 in -30 .. 29.75
        return self.u8(136 + int(round(v * 4)))

    def i(self, v):
        if v in SPECIAL_INTS:
            return self.u8(SPECIAL_INTS.index(v))
        assert -8 <= v <= 55
        return self.u8(64 + v + 8)

    def u32(self, v):
        self.b += struct.pack(">I", v & 0xFFFFFFFF)
        return self

    def op(self, code, fail_at=None):
        if fail_at is not None:
            return self.u8(19, fail_at - 1, code)
        return self.u8(code)

    # ---- whole operations, mirroring the decoder ----
    def viewport(self, slot, depth=True, own=False, w=20, h=15, surface=0):
        self.op(13).u8(slot, 0)
        self.u8(1) if depth else self.u8(0).i(0)
        if own:
            self.u8(1).i(w).i(h)
        else:
            self.u8(0).i(0).i(0).i(0).u8(surface, 1, 1)
        return self.u8(slot)

    def enable(self, slot):
        return self.op(13).u8(slot, 5, 1)

    def camera(self, slot, eye=(0, 0, -20), target=(0, 0, 0), fov=29.75, near=1):
        self.op(5).u8(slot, 0)
        for v in (*eye, *target, 0, fov, near):
            self.f(v)
        return self.u8(slot)

    def scene(self, slot):
        return self.op(9).u8(slot, 0, slot)

    def scene_camera(self, scene, cam):
        self.op(9).u8(scene, 4, cam, 1)  # assign
        self.op(9).u8(scene, 8, cam)  # active
        return self

    def scene_viewport(self, scene, vp):
        return self.op(9).u8(scene, 9, vp)

    def generator(self, slot, which, a=8, b=3, c=6, i=8, j=8, colour=0x3080C0, open_=0):
        self.op(2).u8(which).f(a).f(b).f(c).i(i).i(j).u32(colour).u8(1).i(open_)
        return self.u8(slot)

    def activate(self, slot):
        return self.op(0).u8(slot, 7)

    def assign_mesh(self, scene, mesh, flags=1):
        return self.op(9).u8(scene, 2, mesh, flags)

    def light(self, slot, omni=True):
        self.op(6).u8(slot, 0)
        for v in (-10, 10, -20, 0, 0, 1, 0.75, 0.75, 0.75, 0, 1, 0, 0):
            self.f(v)
        return self.u8(2 if omni else 20).u8(1 if omni else 0, slot)

    def light_to_scene(self, scene, light, flags=1):
        return self.op(9).u8(scene, 5, light, 1, flags)

    def draw_scene(self, scene):
        return self.op(14).u8(1, scene)

    def draw_mesh(self, mesh):
        return self.op(14).u8(0, mesh)

    def shade(self, mesh, mode_index):  # index into the decoder's mode table
        return self.op(3).u8(mesh, 2, mode_index)

    def position(self, mesh, x, y, z):
        return self.op(3).u8(mesh, 8).f(x).f(y).f(z)

    def orientation(self, mesh, x, y, z):
        return self.op(3).u8(mesh, 7).f(x).f(y).f(z)

    def attach(self, parent_mesh, child_mesh):
        return self.op(11).u8(0, parent_mesh, 0, child_mesh, 0)

    # Mesh slot 0 grown from nothing: a 10 x 10 square of four vertices and
    # the given triangles.
    def grown_quad(self, triangles=((0, 1, 2), (0, 2, 3))):
        self.op(0).u8(0, 0).i(0).i(0).u8(0).u32(0x00FF8040).u8(0)
        for x, y in ((-5, -5), (5, -5), (5, 5), (-5, 5)):
            self.op(0).u8(0, 0).f(x).f(y).f(0)
        for a, b, c in triangles:
            self.op(0).u8(0, 2, a, b, c).i(0).i(1)
        return self

    # Skeleton 0: root "a" and "Base00" under it, assigned to mesh slot 0.
    def two_bone_skeleton(self):
        self.op(12).u8(0, 0, 0, 0).op(12).u8(2, 0, 0, 0).op(12).u8(4, 0, 0, 1, 4)
        self.op(12).u8(2, 0, 0, 1).op(12).u8(4, 0, 1, 0, 4, 1)
        return self.op(3).u8(0, 14, 0, 1).i(0).i(0).f(0).i(0).i(0)

    def stage(self, depth=True, own=False):
        self.viewport(0, depth=depth, own=own).enable(0).camera(0).scene(0)
        return self.scene_camera(0, 0).scene_viewport(0, 0)


def seeds():
    s = {}
    q = Seq().stage()
    q.generator(0, 0).activate(0).assign_mesh(0, 0).draw_scene(0)
    s["cube_depth"] = q

    q = Seq().stage(depth=False)
    q.generator(0, 2, a=7, i=8, j=10).activate(0).shade(0, 11).light(0).light_to_scene(0, 0)
    q.assign_mesh(0, 0).draw_scene(0).orientation(0, 20, 30, 0).draw_scene(0)
    s["gouraud_sphere_painter"] = q

    q = Seq().stage(own=True)
    q.generator(0, 3, a=6, b=2, i=8, j=8).activate(0).generator(1, 0, a=3).activate(1).position(1, 8, 0, 0)
    q.attach(0, 1).assign_mesh(0, 0).light(0, omni=False).light_to_scene(0, 0).draw_scene(0)
    s["torus_tree_own_buffer"] = q

    q = Seq().stage()
    for slot, which in enumerate((4, 5, 6, 7, 8, 9, 10, 11)):
        q.generator(slot, which, a=4, b=1 if which == 6 else 2, c=5, i=2 if which == 8 else 6, j=6).activate(slot).position(slot, (slot - 4) * 4, 0, 0)
        q.assign_mesh(0, slot)
    q.draw_scene(0)
    s["every_other_generator"] = q

    # A grown mesh: four vertices, two triangles, validated and drawn.
    q = Seq().stage()
    q.grown_quad(((0, 1, 2), (0, 2, 3), (0, 2, 1), (0, 3, 2)))  # both windings
    q.op(0).u8(0, 6, 0)  # validate
    q.assign_mesh(0, 0).draw_scene(0)
    s["grown_mesh"] = q

    # DrawMesh through the mesh's own viewport and that viewport's camera.
    q = Seq()
    q.viewport(1, depth=True).enable(1).camera(0).op(13).u8(1, 6, 0)
    q.generator(2, 1, a=10, i=4, j=3).activate(2).op(13).u8(1, 8, 2).draw_mesh(2)
    s["draw_mesh_grid"] = q

    # Direct filler calls after a draw, with hostile and near-buffer corners.
    q = Seq().stage()
    q.generator(0, 0).activate(0).assign_mesh(0, 0).draw_scene(0)
    q.op(16).u8(0, 0, 0, 1, 10, 3, 1, 50, 7, 1, 30, 20, 1, 2, 0, 0).u32(0x123456).u32(0xFF00FF).u32(0x00FF00)
    q.u8(2, 128, 0, 3)
    q.op(16).u8(2, 3, 136, 0, 9, 13, 4, 0, 11, 12, 10, 0, 0, 0, 0).u32(0x80).u32(0x8000).u32(0x800000)
    q.u8(0, 0, 1, 1)
    s["fillers"] = q

    q = Seq()
    q.op(17).u8(12, 0)
    for k in range(12):
        q.u8(k % 2).u8((k * 37) & 255 if k % 2 else 0).u8(136 + k)
        if k % 2 == 0:
            q.b[-2:-1] = b""
            q.u32(0x80000000 + k * 7)
    q.op(17).u8(9, 2)
    for k in range(9):
        q.u8(1, k * 5, 16 + k * 23)
    q.op(18).u8(3).i(-7).i(3)
    s["sorters"] = q

    # Allocation failures while building and drawing.
    q = Seq().stage()
    q.op(2, fail_at=1).u8(2).f(6).f(1).f(1).i(6).i(6).u32(0xFF).u8(1).i(0).u8(1)
    q.op(2, fail_at=2).u8(0).f(6).f(1).f(1).i(6).i(6).u32(0xFF).u8(1).i(0).u8(0)
    q.activate(0).assign_mesh(0, 0).op(14, fail_at=1).u8(1, 0)
    q.op(9, fail_at=1).u8(0, 1, 0)  # delete the scene with a failing allocation
    s["failures"] = q

    # Materials and a checker texture on a drawn mesh, then deletes.
    q = Seq().stage()
    q.generator(0, 0).activate(0).assign_mesh(0, 0)
    q.op(7).u8(0, 1, 0)  # CreateMaterial from a mesh default material
    q.op(7).u8(19, 1, 0).i(16).i(16).i(4).u32(0x7FFF001F).u8(0)  # checker texture
    q.op(7).u8(2, 0, 0).i(0).i(0)  # SetMaterial(mesh 0, material 0, front)
    q.op(7).u8(8, 1, 0).i(1).f(20).f(10).f(5)
    q.draw_scene(0).op(7).u8(1, 0).op(7).u8(20, 0).draw_scene(0)
    s["materials"] = q

    q = Seq()
    q.op(12).u8(0, 0, 0, 0).op(12).u8(2, 0, 0, 0).op(12).u8(4, 0, 0, 1, 4, 4)
    q.op(12).u8(2, 0, 0, 1).op(12).u8(4, 0, 1, 0, 1, 4).op(12).u8(7, 0, 0, 4)
    q.f(10).f(20).f(30).u8(1).op(12).u8(1, 0, 0)
    s["skeleton"] = q

    # A grown mesh given a skeleton, then grown further: influences of the
    # vertex added after the skin array was made, validation, a pose, a draw.
    q = Seq().stage()
    q.grown_quad()
    q.two_bone_skeleton()
    q.op(0).u8(0, 0).f(0).f(-8).f(0)  # a fifth vertex, past the skin array
    q.op(0).u8(0, 2, 0, 2, 4).i(0).i(1)
    for vertex in (4, 1):
        q.op(12).u8(8, 0, 0, 0, vertex, 0).i(1).u8(1, 1, 1).f(1).f(0).f(0).f(0).u8(vertex)
    q.op(0).u8(0, 6, 0)  # validate
    q.op(12).u8(7, 0, 0, 1).f(10).f(20).f(30).u8(0)  # pose "Base00"
    q.assign_mesh(0, 0).draw_scene(0)
    s["grown_skinned_mesh"] = q

    # A scene whose polygon list could not be had (removing a mesh with a
    # failing allocation) still walks a bent skinned mesh and writes nothing.
    q = Seq().stage()
    q.grown_quad()
    q.op(0).u8(0, 6, 0)  # validate
    q.two_bone_skeleton()
    for vertex in range(4):
        q.op(12).u8(8, 0, 0, 0, vertex, 0).i(1).u8(1, 1, 1).f(1).f(0).f(0).f(0).u8(vertex)
    q.op(12).u8(7, 0, 0, 1).f(10).f(20).f(30).u8(0)  # pose "Base00"
    q.assign_mesh(0, 0).generator(1, 0).activate(1).assign_mesh(0, 1).draw_scene(0)
    for k in range(1, 5):
        q.op(9, fail_at=k).u8(0, 3, 1, 1, 1).draw_scene(0).assign_mesh(0, 1)
    q.draw_scene(0)
    s["listless_scene_skinned_mesh"] = q

    s["empty"] = Seq()
    return s


def main():
    out = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")
    os.makedirs(out, exist_ok=True)
    for f in os.listdir(out):
        os.remove(os.path.join(out, f))
    for name, seq in seeds().items():
        with open(os.path.join(out, name), "wb") as fh:
            fh.write(bytes(seq.b))


if __name__ == "__main__":
    main()
