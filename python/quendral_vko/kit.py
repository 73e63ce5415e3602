"""The kit: discovery, opening cameras, hot-plug callbacks, clean exit."""

from __future__ import annotations

import atexit
import threading
import weakref
from typing import Any, Callable

from . import _quendral_vko
from ._dispatch import WAIT_SLICE_S, Dispatcher
from .camera import Camera
from .errors import STATUS_INVALID_OPERATION, QxError

# Frames and events waiting for the dispatcher; a full queue holds back the
# thread that takes frames, so slow callbacks cost frames, never memory.
_DISPATCH_QUEUE_LENGTH = 8

_open_kits: weakref.WeakSet[Kit] = weakref.WeakSet()
_open_lock = threading.Lock()


class Kit:
    """The camera library, opened: ``with quendral_vko.Kit() as kit:``.

    One kit is open at a time in a process. Closing it closes its cameras;
    at interpreter exit every open kit is closed, which stops running streams.
    """

    def __init__(self) -> None:
        with _open_lock:
            if any(kit.is_open for kit in _open_kits):
                raise QxError(STATUS_INVALID_OPERATION, "A Kit is already open in this process.")
            self._session: Any = _quendral_vko.KitSession()
            _open_kits.add(self)
        self._cameras: list[Camera] = []
        self._lock = threading.RLock()
        self._dispatch: Dispatcher | None = None
        self._connect: Callable[[str, int], Any] | None = None
        self._disconnect: Callable[[str], Any] | None = None
        self._hotplug_stop = threading.Event()
        self._hotplug_thread: threading.Thread | None = None

    def __enter__(self) -> Kit:
        return self

    def __exit__(self, *exc_info: object) -> None:
        self.close()

    @property
    def is_open(self) -> bool:
        return self._session is not None

    def _session_or_raise(self) -> Any:
        if self._session is None:
            raise QxError(STATUS_INVALID_OPERATION, "The Kit is closed.")
        return self._session

    def cameras(self) -> list[str]:
        """Serial numbers of every camera that can be opened now."""
        return list(self._session_or_raise().cameras())

    def open(self, serial_number: str | None = None) -> Camera:
        """Opens a camera by serial number (None: the first one found)."""
        # The library opens only cameras its own discovery has seen.
        found = self._session_or_raise().cameras()
        if serial_number is None:
            if not found:
                raise QxError(STATUS_INVALID_OPERATION, "No camera found.")
            serial_number = found[0]
        camera = Camera(self, serial_number)
        with self._lock:
            self._cameras.append(camera)
        return camera

    def _forget(self, camera: Camera) -> None:
        with self._lock:
            if camera in self._cameras:
                self._cameras.remove(camera)

    def _dispatcher(self) -> Dispatcher:
        with self._lock:
            if self._dispatch is None:
                self._dispatch = Dispatcher("quendral_vko dispatcher", _DISPATCH_QUEUE_LENGTH)
            return self._dispatch

    @property
    def callback_errors(self) -> int:
        """How many callbacks raised an exception so far."""
        return 0 if self._dispatch is None else self._dispatch.errors

    def on_connect(self, callback: Callable[[str, int], Any] | None) -> None:
        """Calls ``callback(serial_number, usb_port_type)`` on the dispatcher thread when a camera arrives."""
        self._connect = callback
        self._listen()

    def on_disconnect(self, callback: Callable[[str], Any] | None) -> None:
        """Calls ``callback(serial_number)`` on the dispatcher thread when a camera leaves."""
        self._disconnect = callback
        self._listen()

    def _listen(self) -> None:
        session = self._session_or_raise()
        if self._hotplug_thread is not None:
            return
        session.listen_for_hotplug()
        dispatcher = self._dispatcher()
        stop = self._hotplug_stop

        def pump() -> None:
            while not stop.is_set():
                event = session.next_event(int(WAIT_SLICE_S * 1000))
                if event is None:
                    continue
                connected, serial_number, port_type = event
                callback = self._connect if connected else self._disconnect
                if callback is not None:
                    arguments = (serial_number, port_type) if connected else (serial_number,)
                    dispatcher.submit(callback, *arguments, stop=stop)

        self._hotplug_thread = threading.Thread(target=pump, name="quendral_vko hot-plug", daemon=True)
        self._hotplug_thread.start()

    def close(self) -> None:
        """Closes every camera of the kit, stops the callbacks and closes the library; idempotent."""
        if self._session is None:
            return
        with self._lock:
            cameras = list(self._cameras)
        for camera in cameras:
            camera.close()
        self._hotplug_stop.set()
        if self._hotplug_thread is not None:
            self._hotplug_thread.join()
            self._hotplug_thread = None
        if self._dispatch is not None:
            self._dispatch.close()
            self._dispatch = None
        session, self._session = self._session, None
        session.close()


@atexit.register
def _close_open_kits() -> None:
    # Streams still running at exit stop here, before the interpreter goes.
    for kit in list(_open_kits):
        try:
            kit.close()
        except QxError:
            pass
