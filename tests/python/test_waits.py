"""Blocking waits: time-outs, Ctrl-C, and a camera that goes away."""

from __future__ import annotations

import os
import signal
import threading
from unittest import mock

import pytest

from quendral_vko import DeviceLostError, QxTimeoutError, emulator


@pytest.mark.parametrize("call", ["grab", "frames"])
def test_no_frame_in_time_raises_a_timeout(camera, call: str) -> None:
    camera.arm(buffers=2)  # armed, never triggered
    with pytest.raises(QxTimeoutError) as raised:
        camera.grab(timeout=0.25) if call == "grab" else next(camera.frames(count=1, timeout=0.25))
    assert isinstance(raised.value, TimeoutError) and raised.value.status == 1004


def test_ctrl_c_interrupts_a_blocking_grab(camera, monkeypatch) -> None:
    session, waiting = camera._session, threading.Event()

    def acquire(timeout_ms: int):
        waiting.set()
        return session.acquire(timeout_ms)

    # Stands in front of the session and records every frame wait.
    recorder = mock.Mock(wraps=session, acquire=mock.Mock(side_effect=acquire))
    monkeypatch.setattr(camera, "_session", recorder)
    camera.arm(buffers=2)

    def interrupt() -> None:
        waiting.wait()
        os.kill(os.getpid(), signal.SIGINT)

    sender = threading.Thread(target=interrupt)
    sender.start()
    try:
        with pytest.raises(KeyboardInterrupt):
            camera.grab(timeout=600.0)
    finally:
        sender.join()
    # Every wait handed to the library was a short slice, so the signal's
    # handler ran within one slice, not at the end of the time-out.
    waits_ms = [call.args[0] for call in recorder.acquire.call_args_list]
    assert waits_ms and max(waits_ms) <= 100


# A short time-out finds the loss when it ends; a long one by the check made
# after each second without a frame.
@pytest.mark.parametrize("timeout", [0.5, 60.0], ids=["at-time-out", "during-a-long-wait"])
def test_unplug_while_grabbing_raises_device_lost(camera, timeout) -> None:
    camera.arm(buffers=4)
    camera.trigger()
    camera.grab(timeout=5.0).close()
    emulator.unplug(emulator.camera_paths()[0])
    with pytest.raises(DeviceLostError):
        for _ in camera.frames(timeout=timeout):
            pass
    camera.close()
    assert not camera.is_open
