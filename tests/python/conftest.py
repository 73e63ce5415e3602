"""Emulated cameras for the package's tests: small sensors, fast pacing."""

from __future__ import annotations

import contextlib
from typing import Any, Iterator

import numpy as np
import pytest

import quendral_vko
from quendral_vko import emulator

WIDTH, HEIGHT = 64, 8


def gradient(counter: int, bits: int) -> np.ndarray:
    """The emulator's gradient pattern: (x + 3y + 7f) mod 2^bits."""
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH].astype(np.uint64)
    return ((x + 3 * y + 7 * counter) % (1 << bits)).astype(np.uint16)


@contextlib.contextmanager
def open_camera(**overrides: Any) -> Iterator[tuple[quendral_vko.Kit, quendral_vko.Camera]]:
    emulator.configure({"cameras": [{"serial": "PY-0001", "sensor_width": WIDTH, "sensor_height": HEIGHT,
                                     "pacing": "fast", **overrides}]})
    try:
        with quendral_vko.Kit() as kit, kit.open("PY-0001") as cam:
            yield kit, cam
    finally:
        emulator.configure(0)


@pytest.fixture
def camera() -> Iterator[quendral_vko.Camera]:
    with open_camera() as (_, cam):
        yield cam
