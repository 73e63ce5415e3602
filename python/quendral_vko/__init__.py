"""Quendral VKO scientific cameras from Python and numpy.

    import quendral_vko

    with quendral_vko.Kit() as kit:
        with kit.open(kit.cameras()[0]) as cam:
            cam.arm(buffers=16)
            cam.trigger()
            with cam.grab(timeout=1.0) as frame:
                print(frame.counter, frame.array.mean())

Frames are read in place: ``frame.array`` is a read-only view of the
camera's frame slot, kept from the camera while any view of it exists.
Parameters are properties named with their unit (``cam.exposure_us``).
Callbacks run on one thread of the package. Failures raise
:class:`QxError` and its subclasses. Virtual cameras: :mod:`quendral_vko.emulator`.
"""

from __future__ import annotations

from . import errors
from ._parameters import Parameter
from .camera import CATALOGUE, Camera, Frame, StreamStatistics, parse_metadata
from .errors import DeviceLostError, EmulatorError, FrameReleasedError, QxError, QxTimeoutError
from .kit import Kit
from . import emulator

__all__ = ["Kit", "Camera", "Frame", "StreamStatistics", "Parameter", "CATALOGUE", "parse_metadata", "QxError",
           "QxTimeoutError", "DeviceLostError", "FrameReleasedError", "EmulatorError", "emulator", "errors"]
