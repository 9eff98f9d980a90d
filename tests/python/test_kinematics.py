"""Where joints are in the world, against forward kinematics in numpy of the numbers in the file."""

import numpy as np

import yfcurve as yf
from conftest import SMALL, raises


def turn(axis: str, degrees: np.ndarray) -> np.ndarray:
    """Matrices (frames, 3, 3) about an axis."""
    matrices = np.tile(np.eye(3), (len(degrees), 1, 1))
    first, second = {"X": (1, 2), "Y": (2, 0), "Z": (0, 1)}[axis]
    angles = np.radians(degrees)
    matrices[:, first, first] = matrices[:, second, second] = np.cos(angles)
    matrices[:, second, first] = np.sin(angles)
    matrices[:, first, second] = -np.sin(angles)
    return matrices


def matrices_of_angles(angles: np.ndarray, order: str) -> np.ndarray:
    flat = angles.reshape(-1, 3)
    matrix = np.tile(np.eye(3), (len(flat), 1, 1))
    for axis in order:
        matrix = turn(axis, flat[:, "XYZ".index(axis)]) @ matrix
    return matrix.reshape(*angles.shape[:-1], 3, 3)


def test_world_poses_are_those_of_forward_kinematics(small: yf.Scene) -> None:
    # Places of the hips, their angles about Z, X and Y, and those of the arm about Y, Z and X.
    channels = np.array([line.split() for line in SMALL.decode().splitlines()[-3:]], float).T
    hips = turn("Z", channels[3]) @ turn("X", channels[4]) @ turn("Y", channels[5])
    arm = hips @ turn("Y", channels[6]) @ turn("Z", channels[7]) @ turn("X", channels[8])
    shoulder = channels[:3].T + hips @ [0, 5, 0]
    assert np.allclose(small.positions(), np.stack([channels[:3].T, shoulder, shoulder + arm @ [2, 0, 0]], 1), atol=1e-4)
    matrices = np.stack([hips, arm, arm], axis=1)
    assert np.allclose(small.rotations(as_="matrix"), matrices, atol=1e-6)
    x, y, z, w = np.moveaxis(small.rotations(), -1, 0)
    assert np.allclose(w*w + x*x + y*y + z*z, 1) and np.allclose(2*(x*y + z*w), matrices[..., 1, 0], atol=1e-6)
    # What a matrix and its transpose differ by is twice the axis times the sine.
    vectors = small.rotations(as_="rotvec")
    angles = np.linalg.norm(vectors, axis=-1)
    skew = (matrices - np.swapaxes(matrices, -1, -2)) / 2
    sines = np.stack([skew[..., 2, 1], skew[..., 0, 2], skew[..., 1, 0]], axis=-1)
    assert np.allclose(vectors * np.sinc(angles / np.pi)[..., None], sines, atol=1e-6)
    assert np.allclose(1 + 2*np.cos(angles), np.trace(matrices, axis1=-2, axis2=-1), atol=1e-6)
    for joint, order in enumerate(("YXZ", "XZY", "XZY")):
        found = small.rotations(as_="euler")[:, joint]
        assert np.allclose(matrices_of_angles(found, order), matrices[:, joint], atol=1e-6), order


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
    raises(yf.NotFound, lambda: small.positions(nodes="X"))
    raises(yf.Refused, lambda: yf.Scene().positions(times=[0]), match="skeleton")
    raises(ValueError, lambda: small.rotations(as_="angles"))
