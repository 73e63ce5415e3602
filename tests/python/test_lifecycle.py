"""Opening, closing and leaving: errors, clean exit, no leaks."""

from __future__ import annotations

import os
import subprocess
import sys
import textwrap

import pytest

import quendral_vko
from quendral_vko import EmulatorError, QxError, emulator
from conftest import open_camera


def test_failures_carry_status_and_text() -> None:
    with open_camera() as (kit, _):
        with pytest.raises(QxError) as unknown:
            kit.open("NO-SUCH-SERIAL")
        assert unknown.value.status == 1004 and "Serial number not found" in unknown.value.text
        with pytest.raises(QxError, match="already open"):
            quendral_vko.Kit()
    with pytest.raises(EmulatorError, match="unknown key 'colour'"):
        emulator.configure([{"colour": "red"}])


EXIT_SCRIPT = textwrap.dedent("""
    import atexit, threading
    state = {}
    # Registered first, so it runs after the package's own exit hook.
    atexit.register(lambda: print("closed at exit:", not state["kit"].is_open, not state["cam"].is_open))
    import quendral_vko
    from quendral_vko import emulator
    emulator.configure({"cameras": [{"serial": "PY-EXIT", "sensor_width": 64, "sensor_height": 8,
                                     "pacing": "fast"}]})
    kit = quendral_vko.Kit()
    cam = kit.open("PY-EXIT")
    state.update(kit=kit, cam=cam)
    streaming = threading.Event()
    cam.on_frame(lambda frame: streaming.set())
    cam.arm(buffers=4)
    cam.trigger()
    assert streaming.wait(10.0)
    print("streaming")  # the stream runs on; the script ends without closing anything
""")


def test_exit_with_a_stream_running_is_clean() -> None:
    result = subprocess.run([sys.executable, "-c", EXIT_SCRIPT], capture_output=True, text=True, timeout=120,
                            env=dict(os.environ, PYTHONPATH=os.pathsep.join(sys.path)))
    assert result.returncode == 0, result.stderr
    assert "streaming" in result.stdout and "closed at exit: True True" in result.stdout
    assert "Traceback" not in result.stderr


def _process_usage() -> tuple[int, int, int]:
    with open("/proc/self/statm") as statm:
        resident_pages = int(statm.read().split()[1])
    return (resident_pages * os.sysconf("SC_PAGE_SIZE"), len(os.listdir("/proc/self/task")),
            len(os.listdir("/proc/self/fd")))


def test_a_thousand_open_close_cycles_leak_nothing() -> None:
    with open_camera() as (kit, first):
        first.close()

        def cycle(times: int) -> None:
            for index in range(times):
                with kit.open("PY-0001") as cam:
                    if index % 100 == 0:  # now and then a stream, a frame taken and a callback's thread
                        cam.arm(buffers=2)
                        cam.trigger()
                        cam.grab(timeout=5.0).close()
                        cam.on_frame(lambda frame: None)

        cycle(50)
        rss, threads, fds = _process_usage()
        cycle(1000)
        rss_after, threads_after, fds_after = _process_usage()
    assert (threads_after, fds_after) == (threads, fds)
    assert rss_after - rss < 8 * 2**20, f"resident memory grew by {(rss_after - rss) / 2**20:.1f} MiB"
