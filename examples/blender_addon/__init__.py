"""Recorded motion in Blender: imports what yfcurve reads onto an armature, and exports armatures as BVH, glTF or scenes.

The package `yfcurve` has to be installed for Blender's own Python; without it the menus say so.
"""

from __future__ import annotations

from math import degrees, radians
from typing import Any

bl_info = {
    "name": "Recorded motion (yfcurve)", "author": "yfcurve", "version": (0, 1, 0), "blender": (3, 0, 0),
    "location": "File > Import-Export", "category": "Import-Export",
    "description": "Imports and exports recorded motion with the package yfcurve",
}

try:
    import bpy
    from bpy.props import FloatProperty, StringProperty
    from bpy_extras.io_utils import ExportHelper, ImportHelper
    from mathutils import Euler, Matrix, Vector
except ImportError:  # outside of Blender, as in tests
    bpy = None

try:
    import yfcurve as yf
except ImportError:
    yf = None

MISSING = "the Python package yfcurve is not installed for Blender; install it with pip for Blender's own Python"
SHORTEST_BONE = 1e-3


def bone_ends(joints: list[Any]) -> list[tuple[tuple[float, float, float], tuple[float, float, float]]]:
    """Where the bone of each joint begins and ends at rest: towards the mean of its children, or up a little."""
    heads: list[tuple[float, float, float]] = []
    for joint in joints:
        above = heads[joint.parent] if joint.parent >= 0 else (0.0, 0.0, 0.0)
        heads.append(tuple(a + b for a, b in zip(above, joint.offset)))  # type: ignore[arg-type]
    ends = []
    for number, head in enumerate(heads):
        below = [heads[child] for child, joint in enumerate(joints) if joint.parent == number]
        tail = tuple(sum(parts) / len(below) for parts in zip(*below)) if below else head
        if sum((a - b) ** 2 for a, b in zip(head, tail)) < SHORTEST_BONE**2:
            tail = (head[0], head[1] + 1.0, head[2])
        ends.append((head, tail))
    return ends  # type: ignore[return-value]


def unique_names(names: list[str]) -> list[str]:
    """Names as bones have them: none twice, none empty."""
    taken: set[str] = set()
    result = []
    for name in names:
        free, count = name or "joint", 1
        while free in taken:
            free, count = f"{name}.{count:03d}", count + 1
        taken.add(free)
        result.append(free)
    return result


def frames_of(rate: float) -> tuple[int, float]:
    """Frames a second as Blender has them: a whole number, and what it is divided by."""
    whole = min(max(1, round(rate)), 32767)
    return whole, whole / rate


def moving_joints(joints: list[Any]) -> set[int]:
    """The numbers of the joints that have a translation, and roots: all others only turn."""
    kinds = ("Lcl Translation", "Translation")
    return {number for number, joint in enumerate(joints)
            if joint.node is not None and (joint.parent < 0 or any(child.type in kinds for child in joint.node))}


def scene_of_tracks(
    names: list[str], parents: list[int], offsets: list[Any], order: str, rows: list[list[float]], rate: float
) -> Any:
    """A scene of joints, each with a translation and a rotation, out of rows of six numbers a joint.

    Made by way of a BVH text, which is what describes a skeleton.
    """
    lines = ["HIERARCHY"]
    children: dict[int, list[int]] = {}
    for number, parent in enumerate(parents):
        children.setdefault(parent, []).append(number)
    channels = " ".join(f"{axis}rotation" for axis in reversed(order))

    def add(number: int) -> None:
        lines.append(f"{'ROOT' if parents[number] < 0 else 'JOINT'} {names[number].replace(' ', '_')}")
        lines.append("{\nOFFSET " + " ".join(f"{part:.9g}" for part in offsets[number]))
        lines.append(f"CHANNELS 6 Xposition Yposition Zposition {channels}")
        for child in children.get(number, []):
            add(child)
        if not children.get(number):
            lines.append("End Site\n{\nOFFSET 0 1 0\n}")
        lines.append("}")

    walked: list[int] = []

    def walk(number: int) -> None:
        walked.append(number)
        for child in children.get(number, []):
            walk(child)

    for root in children.get(-1, []):
        add(root)
        walk(root)
    lines += ["MOTION", f"Frames: {len(rows)}", f"Frame Time: {1 / rate:.9g}"]
    places = ["XYZ".index(axis) + 3 for axis in reversed(order)]
    for row in rows:
        numbers = []
        for number in walked:
            track = row[6 * number:6 * number + 6]
            numbers += track[:3] + [track[place] for place in places]
        lines.append(" ".join(f"{number:.9g}" for number in numbers))
    return yf.load_bytes("\n".join(lines).encode() + b"\n", "armature")


if bpy is not None:

    def make_armature(context: Any, scene: Any, name: str, scale: float) -> Any:
        """An armature in the rest pose of a skeleton, lying in the axes of the file turned so that y is up."""
        joints = scene.joints
        armature = bpy.data.objects.new(name, bpy.data.armatures.new(name))
        context.collection.objects.link(armature)
        context.view_layer.objects.active = armature
        armature.rotation_euler = (radians(90), 0, 0)
        bpy.ops.object.mode_set(mode="EDIT")
        names = unique_names([joint.name for joint in joints])
        bones = {}
        for number, (joint, (head, tail)) in enumerate(zip(joints, bone_ends(joints))):
            if joint.is_end_site:
                continue
            bone = armature.data.edit_bones.new(names[number])
            bone.head, bone.tail = Vector(head) * scale, Vector(tail) * scale
            bone.parent = bones.get(joint.parent)
            bones[number] = bone
        bpy.ops.object.mode_set(mode="OBJECT")
        return armature, {number: names[number] for number in bones}

    def set_pose_keys(
        joints: list[Any], positions: Any, matrices: Any, armature: Any, names: dict[int, str], scale: float
    ) -> None:
        """A key for each frame and bone, from where joints are in the world."""
        moving, bones = moving_joints(joints), armature.data.bones
        for frame in range(len(positions)):
            # Of bones that are set already; their poses in Blender are only brought up to date later.
            poses: dict[int, Any] = {}
            for number, name in names.items():
                turn = Matrix(matrices[frame, number].tolist()).to_4x4()
                rest = bones[name].matrix_local
                place = Vector(positions[frame, number]) * scale
                poses[number] = Matrix.Translation(place) @ turn @ rest.to_3x3().to_4x4()
                above = joints[number].parent
                at_rest = poses[above] @ bones[names[above]].matrix_local.inverted() @ rest if above >= 0 else rest
                bone = armature.pose.bones[name]
                bone.matrix_basis = at_rest.inverted() @ poses[number]
                bone.keyframe_insert("rotation_quaternion", frame=frame + 1)
                if number in moving:
                    bone.keyframe_insert("location", frame=frame + 1)

    class ImportMotion(bpy.types.Operator, ImportHelper):
        """Imports recorded motion as an armature"""

        bl_idname, bl_label = "import_anim.yfcurve", "Recorded motion (yfcurve)"
        filter_glob: StringProperty(default="*.bvh;*.glb;*.gltf;*.ytalo;*.gz", options={"HIDDEN"})
        scale: FloatProperty(name="Scale", default=0.01, min=1e-6)

        def execute(self, context: Any) -> set[str]:
            if yf is None:
                self.report({"ERROR"}, MISSING)
                return {"CANCELLED"}
            try:
                scene = yf.load(self.filepath)
                # Refused without a skeleton, before anything is made.
                positions, matrices = scene.positions(), scene.rotations(as_="matrix")
                armature, names = make_armature(context, scene, bpy.path.display_name(self.filepath), self.scale)
                context.scene.render.fps, context.scene.render.fps_base = frames_of(scene.rate)
                set_pose_keys(scene.joints, positions, matrices, armature, names, self.scale)
            except (yf.Error, OSError) as error:
                self.report({"ERROR"}, str(error))
                return {"CANCELLED"}
            return {"FINISHED"}

    class ExportMotion(bpy.types.Operator, ExportHelper):
        """Exports the active armature as recorded motion"""

        bl_idname, bl_label = "export_anim.yfcurve", "Recorded motion (yfcurve)"
        filename_ext = ".bvh"
        scale: FloatProperty(name="Scale", default=100.0, min=1e-6)

        def execute(self, context: Any) -> set[str]:
            armature = context.active_object
            if yf is None or armature is None or armature.type != "ARMATURE":
                self.report({"ERROR"}, MISSING if yf is None else "no armature is active; choose one")
                return {"CANCELLED"}
            try:
                self.scene_of(context, armature).save(self.filepath)
            except (yf.Error, OSError) as error:
                self.report({"ERROR"}, str(error))
                return {"CANCELLED"}
            return {"FINISHED"}

        def scene_of(self, context: Any, armature: Any) -> Any:
            bones = list(armature.pose.bones)
            names = [bone.name for bone in bones]
            parents = [names.index(bone.parent.name) if bone.parent else -1 for bone in bones]
            rows = []
            for frame in range(context.scene.frame_start, context.scene.frame_end + 1):
                context.scene.frame_set(frame)
                rows.append([number for bone in bones for number in self.track(bone)])
            offsets = [list(self.local(bone.bone.matrix_local, bone.bone.parent and bone.bone.parent.matrix_local)
                            .to_translation() * self.scale) for bone in bones]
            rate = context.scene.render.fps / context.scene.render.fps_base
            return scene_of_tracks(names, parents, offsets, "XYZ", rows, rate)

        @staticmethod
        def local(matrix: Any, above: Any) -> Any:
            return above.inverted() @ matrix if above else matrix

        def track(self, bone: Any) -> list[float]:
            matrix = self.local(bone.matrix, bone.parent and bone.parent.matrix)
            turn: Euler = matrix.to_euler("XYZ")
            return [*(matrix.to_translation() * self.scale), *(degrees(angle) for angle in turn)]

    def import_entry(menu: Any, context: Any) -> None:
        menu.layout.operator(ImportMotion.bl_idname)

    def export_entry(menu: Any, context: Any) -> None:
        menu.layout.operator(ExportMotion.bl_idname)

    def register() -> None:
        """Is called by Blender."""
        for kind in (ImportMotion, ExportMotion):
            bpy.utils.register_class(kind)
        bpy.types.TOPBAR_MT_file_import.append(import_entry)
        bpy.types.TOPBAR_MT_file_export.append(export_entry)

    def unregister() -> None:
        """Is called by Blender."""
        bpy.types.TOPBAR_MT_file_import.remove(import_entry)
        bpy.types.TOPBAR_MT_file_export.remove(export_entry)
        for kind in (ImportMotion, ExportMotion):
            bpy.utils.unregister_class(kind)
