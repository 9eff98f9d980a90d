"""Rotations of whole arrays from one form to another."""

from __future__ import annotations

from typing import Sequence

import numpy as np
import numpy.typing as npt

from ._node import ROTATION_ORDERS

Doubles = npt.NDArray[np.float64]

FORMS = ("quaternion", "matrix", "euler", "rotvec")


def matrices_of(quaternions: Doubles) -> Doubles:
    """Unit quaternions (x, y, z, w) as matrices that turn columns: shape (..., 3, 3)."""
    x, y, z, w = np.moveaxis(quaternions, -1, 0)
    rows = [
        [1 - 2 * (y * y + z * z), 2 * (x * y - z * w), 2 * (x * z + y * w)],
        [2 * (x * y + z * w), 1 - 2 * (x * x + z * z), 2 * (y * z - x * w)],
        [2 * (x * z - y * w), 2 * (y * z + x * w), 1 - 2 * (x * x + y * y)],
    ]
    return np.stack([np.stack(row, axis=-1) for row in rows], axis=-2)


def rotation_vectors_of(quaternions: Doubles) -> Doubles:
    """Unit quaternions as axes times angles in radians, of the turn by half a turn at most: shape (..., 3)."""
    shorter = np.where(quaternions[..., 3:] < 0, -quaternions, quaternions)
    sine = np.linalg.norm(shorter[..., :3], axis=-1, keepdims=True)
    angle = 2.0 * np.arctan2(sine, shorter[..., 3:])
    scale = np.where(sine > 1e-12, angle / np.maximum(sine, 1e-12), 2.0)
    vectors: Doubles = shorter[..., :3] * scale
    return vectors


def euler_angles_of(matrices: Doubles, order: str) -> Doubles:
    """Matrices as angles about x, y and z in degrees, of which the first letter of the order turns first.

    The second angle to turn is from -90 to 90; where it is one of these, the first one is 0.
    """
    first, second, third = (("XYZ").index(axis) for axis in order)
    sign = 1.0 if (second - first) % 3 == 1 else -1.0
    sine = np.clip(-sign * matrices[..., third, first], -1.0, 1.0)
    at_pole = np.abs(sine) > 1.0 - 1e-12
    angles = np.empty(matrices.shape[:-2] + (3,))
    angles[..., second] = np.arcsin(sine)
    angles[..., first] = np.where(
        at_pole, 0.0, np.arctan2(sign * matrices[..., third, second], matrices[..., third, third]))
    angles[..., third] = np.where(
        at_pole, np.arctan2(-sign * matrices[..., first, second], matrices[..., second, second]),
        np.arctan2(sign * matrices[..., second, first], matrices[..., first, first]))
    return np.degrees(angles)


def rotations_as(quaternions: Doubles, form: str, orders: Sequence[str]) -> Doubles:
    """Quaternions of joints (..., joints, 4) in one of the `FORMS`; Euler angles in the order of each joint."""
    if form == "quaternion":
        return quaternions
    if form == "rotvec":
        return rotation_vectors_of(quaternions)
    matrices = matrices_of(quaternions)
    if form == "matrix":
        return matrices
    angles = np.empty(quaternions.shape[:-1] + (3,))
    for order in ROTATION_ORDERS:
        joints = [joint for joint, own in enumerate(orders) if own == order]
        angles[..., joints, :] = euler_angles_of(matrices[..., joints, :, :], order)
    return angles
