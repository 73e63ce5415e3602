"""Callbacks run on the package's one dispatcher thread and survive exceptions."""

from __future__ import annotations

import logging
import threading

import numpy as np
import quendral_vko
from quendral_vko import emulator
from conftest import gradient


def test_frame_callbacks_run_on_the_dispatcher_and_survive_a_raise(camera, caplog) -> None:
    seen: list[tuple[int, str, bool]] = []
    enough = threading.Event()

    def on_frame(frame: quendral_vko.Frame) -> None:
        exact = bool(np.array_equal(frame.array, gradient(frame.counter, 12)))
        seen.append((frame.counter, threading.current_thread().name, exact))
        if len(seen) == 1:
            raise RuntimeError("the application's bug")
        if len(seen) == 5:
            enough.set()

    camera.on_frame(on_frame)
    camera.arm(buffers=4)
    with caplog.at_level(logging.ERROR, logger="quendral_vko"):
        camera.trigger()
        assert enough.wait(10.0)
        camera.on_frame(None)
    assert {name for _, name, _ in seen} == {"quendral_vko dispatcher"}
    assert all(exact for _, _, exact in seen)
    assert camera._kit.callback_errors == 1
    assert any("the application's bug" in record.getMessage() or record.exc_info for record in caplog.records)


def test_connect_and_disconnect_reach_the_dispatcher(camera) -> None:
    events: list[tuple[str, str, str]] = []
    arrived, left = threading.Event(), threading.Event()
    kit = camera._kit
    kit.on_connect(lambda serial, port: (events.append(("connect", serial, threading.current_thread().name)),
                                         arrived.set()))
    kit.on_disconnect(lambda serial: (events.append(("disconnect", serial, threading.current_thread().name)),
                                      left.set()))
    path = emulator.plug({"serial": "PY-HOT"})
    assert arrived.wait(10.0)
    emulator.unplug(path)
    assert left.wait(10.0)
    assert ("connect", "PY-HOT", "quendral_vko dispatcher") in events
    assert ("disconnect", "PY-HOT", "quendral_vko dispatcher") in events
