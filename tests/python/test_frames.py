"""Frames: pixel-exact in every encoding, read in place, and safe to keep."""

from __future__ import annotations

import numpy as np
import pytest

from quendral_vko import FrameReleasedError, emulator
from conftest import gradient, open_camera


@pytest.mark.parametrize("bit_depth, packing", [(12, "none"), (10, "10")], ids=["unpacked-12", "packed-10"])
def test_frames_are_pixel_exact_in_each_encoding(bit_depth: int, packing: str) -> None:
    with open_camera(bit_depth=bit_depth, packing=packing) as (_, cam):
        cam.arm(buffers=4)
        cam.trigger()
        counters = []
        for frame in cam.frames(count=4, timeout=5.0):
            array = frame.array
            assert array.dtype == np.uint16 and not array.flags.writeable and not array.flags.owndata
            np.testing.assert_array_equal(array, gradient(frame.counter, bit_depth))
            assert frame.metadata["frame_count"] == frame.counter
            assert (frame.metadata["bit_depth"], frame.metadata["packed"]) == (bit_depth, int(packing != "none"))
            counters.append(frame.counter)
        # The emulator starts just below the 32-bit wrap: the counter is unsigned.
        assert counters == [(counters[0] + step) % 2**32 for step in range(4)]


@pytest.mark.parametrize("kept_slots", [1, 2], ids=["one-slot-kept", "all-but-one-kept"])
def test_views_kept_past_their_frame_are_never_overwritten(kept_slots: int) -> None:
    with open_camera() as (_, camera):
        camera.arm(buffers=3)
        camera.trigger()
        kept = []
        for _ in range(kept_slots):
            with camera.grab(timeout=5.0) as frame:
                kept.append((frame.counter, frame.array[2:, 8:]))  # a view of a view owns the slot too
            with pytest.raises(FrameReleasedError):
                frame.array
        # The frames that pass through the other slots meanwhile; a busy
        # machine may make the camera skip some, so each copy is checked
        # against its own counter.
        copies = [(f.counter, f.copy()) for f in camera.frames(count=8, timeout=5.0)]
        for counter, view in kept:
            np.testing.assert_array_equal(view, gradient(counter, 12)[2:, 8:])
        for counter, copy in copies:
            assert copy.flags.writeable and counter != kept[-1][0]
            np.testing.assert_array_equal(copy, gradient(counter, 12))
    # The camera and the kit are closed; the views still read their frames.
    for counter, view in kept:
        np.testing.assert_array_equal(view, gradient(counter, 12)[2:, 8:])


def test_statistics_and_the_emulator_count_the_frames_taken(camera) -> None:
    path = emulator.camera_paths()[0]
    sent, before = emulator.counters(path), camera.statistics
    camera.arm(buffers=4)
    camera.trigger()
    for _ in camera.frames(count=6, timeout=5.0):
        pass
    after = camera.statistics
    # The packet loop counts a frame just after handing it over, so the sixth
    # frame taken vouches for the count of the fifth.
    assert after.frames_delivered - before.frames_delivered >= 5
    assert after.bytes_received > before.bytes_received
    counters = emulator.counters(path)
    assert counters["frames_completed"] - sent["frames_completed"] >= 6
    assert set(counters["faults_by_kind"]) == set(emulator.FAULT_KINDS)
