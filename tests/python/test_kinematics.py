"""Where joints are in the world, against forward kinematics in numpy from the text of the file."""


import numpy as np
import pytest

import yfcurve as yf
from conftest import SMALL, WALK


def read_bvh(text: str) -> tuple[list[dict], np.ndarray]:
    """Joints with parents, offsets and channels, and the frames: no more than these tests need."""
    joints: list[dict] = []
    stack: list[int] = []
    head, motion = text.split("MOTION")
    for line in head.splitlines():
        words = line.split()
        if words[:1] in (["ROOT"], ["JOINT"], ["End"]):
            joints.append({"parent": stack[-1] if stack else -1, "channels": []})
        elif words[:1] == ["{"]:
            stack.append(len(joints) - 1)
        elif words[:1] == ["}"]:
            stack.pop()
        elif words[:1] == ["OFFSET"]:
            joints[-1]["offset"] = np.array(words[1:], float)
        elif words[:1] == ["CHANNELS"]:
            joints[-1]["channels"] = words[2:]
    frames = [line.split() for line in motion.strip().splitlines()[2:]]
    return joints, np.array(frames, float)


def turn(axis: str, degrees: np.ndarray) -> np.ndarray:
    """Matrices (frames, 3, 3) about an axis."""
    matrices = np.tile(np.eye(3), (len(degrees), 1, 1))
    first, second = {"X": (1, 2), "Y": (2, 0), "Z": (0, 1)}[axis]
    angles = np.radians(degrees)
    matrices[:, first, first] = matrices[:, second, second] = np.cos(angles)
    matrices[:, second, first] = np.sin(angles)
    matrices[:, first, second] = -np.sin(angles)
    return matrices


def forward_kinematics(text: str) -> tuple[np.ndarray, np.ndarray]:
    joints, frames = read_bvh(text)
    positions, rotations = [], []
    column = 0
    for joint in joints:
        place = np.tile(joint["offset"], (len(frames), 1))
        matrix = np.tile(np.eye(3), (len(frames), 1, 1))
        for channel in joint["channels"]:
            if channel.endswith("position"):
                place[:, "XYZ".index(channel[0])] = frames[:, column]
            else:
                matrix = matrix @ turn(channel[0], frames[:, column])
            column += 1
        if joint["parent"] >= 0:
            above = rotations[joint["parent"]]
            place = positions[joint["parent"]] + np.einsum("nij,nj->ni", above, place)
            matrix = above @ matrix
        positions.append(place)
        rotations.append(matrix)
    return np.stack(positions, axis=1), np.stack(rotations, axis=1)


def matrices_of_angles(angles: np.ndarray, order: str) -> np.ndarray:
    flat = angles.reshape(-1, 3)
    matrix = np.tile(np.eye(3), (len(flat), 1, 1))
    for axis in order:
        matrix = turn(axis, flat[:, "XYZ".index(axis)]) @ matrix
    return matrix.reshape(*angles.shape[:-1], 3, 3)


def matrices_of_vectors(vectors: np.ndarray) -> np.ndarray:
    """By the series of the exponential."""
    x, y, z = np.moveaxis(vectors, -1, 0)
    zero = np.zeros_like(x)
    cross = np.stack([np.stack(row, -1) for row in ([zero, -z, y], [z, zero, -x], [-y, x, zero])], -2)
    result, term = np.broadcast_to(np.eye(3), cross.shape).copy(), np.broadcast_to(np.eye(3), cross.shape)
    for n in range(1, 30):
        term = term @ cross / n
        result += term
    return result


@pytest.mark.parametrize("text", [SMALL.decode(), WALK.read_text()], ids=["small", "walk"])
def test_world_poses_are_those_of_forward_kinematics(text: str) -> None:
    scene = yf.load_bytes(text.encode())
    positions, rotations = forward_kinematics(text)
    assert np.allclose(scene.positions(), positions, atol=1e-4)
    matrices = scene.rotations(as_="matrix")
    assert np.allclose(matrices, rotations, atol=1e-6)
    x, y, z, w = np.moveaxis(scene.rotations(), -1, 0)
    assert np.allclose(w*w + x*x + y*y + z*z, 1) and np.allclose(2*(x*y + z*w), rotations[..., 1, 0], atol=1e-6)
    assert np.allclose(matrices_of_vectors(scene.rotations(as_="rotvec")), rotations, atol=1e-6)
    angles = scene.rotations(as_="euler")
    orders = [joint.node.rotation.rotation_order if joint.node else None for joint in scene.joints]
    for number, order in enumerate(orders):
        order = order or orders[scene.joints[number].parent]
        assert np.allclose(matrices_of_angles(angles[:, number], order), rotations[:, number], atol=1e-6), order


def test_euler_angles_of_every_order_and_at_the_poles() -> None:
    from yfcurve._rotations import euler_angles_of

    grid = np.array(np.meshgrid([-170, -30, 0, 90], [-90, -89.9, 0, 45, 90], [-100, 0, 20], indexing="ij"), float)
    angles = grid.reshape(3, -1).T
    for order in yf.ROTATION_ORDERS:
        turned = np.empty_like(angles)
        for place, axis in enumerate(order):
            turned[:, "XYZ".index(axis)] = angles[:, place]
        matrices = matrices_of_angles(turned, order)
        found = euler_angles_of(matrices, order)
        assert np.allclose(matrices_of_angles(found, order), matrices, atol=1e-6), order
        assert np.abs(found[:, "XYZ".index(order[1])]).max() <= 90


def test_joints_are_chosen_by_name(small: yf.Scene) -> None:
    assert small.positions(nodes="Arm").shape == (3, 1, 3)
    assert np.array_equal(small.positions(nodes=["Arm", "Hips"]), small.positions()[:, :2])
    assert small.rotations(nodes="Arm", as_="euler", times=[0.25, 0.5]).shape == (2, 1, 3)
    with pytest.raises(yf.NotFound):
        small.positions(nodes="X")
    with pytest.raises(yf.Refused, match="skeleton"):
        yf.Scene().positions(times=[0])
    with pytest.raises(ValueError):
        small.rotations(as_="angles")
