"""Blocking waits: time-outs, Ctrl-C, and a camera that goes away."""

from __future__ import annotations

import os
import signal
import threading

import pytest

from quendral_vko import DeviceLostError, QxTimeoutError, emulator


class RecordingSession:
    """Stands in front of a camera session and records every frame wait."""

    def __init__(self, session) -> None:
        self._session = session
        self.waits_ms: list[int] = []
        self.waiting = threading.Event()

    def acquire(self, timeout_ms: int):
        self.waits_ms.append(timeout_ms)
        self.waiting.set()
        return self._session.acquire(timeout_ms)

    def __getattr__(self, name: str):
        return getattr(self._session, name)


@pytest.mark.parametrize("call", ["grab", "frames"])
def test_no_frame_in_time_raises_a_timeout(camera, call: str) -> None:
    camera.arm(buffers=2)  # armed, never triggered
    with pytest.raises(QxTimeoutError) as raised:
        camera.grab(timeout=0.25) if call == "grab" else next(camera.frames(count=1, timeout=0.25))
    assert isinstance(raised.value, TimeoutError) and raised.value.status == 1004


def test_ctrl_c_interrupts_a_blocking_grab(camera, monkeypatch) -> None:
    recorder = RecordingSession(camera._session)
    monkeypatch.setattr(camera, "_session", recorder)
    camera.arm(buffers=2)

    def interrupt() -> None:
        recorder.waiting.wait()
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
    assert recorder.waits_ms and max(recorder.waits_ms) <= 100


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
