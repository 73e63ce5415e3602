"""Cameras and their frames."""

from __future__ import annotations

import threading
import time
from typing import TYPE_CHECKING, Any, Callable, Iterator, Mapping, NamedTuple

import numpy as np

from . import _parameters, _quendral_vko
from ._dispatch import WAIT_SLICE_S
from .errors import STATUS_INVALID_OPERATION, DeviceLostError, FrameReleasedError, QxError, QxTimeoutError

if TYPE_CHECKING:
    from .kit import Kit

# Metadata tags of a frame record: four ASCII bytes read as a little-endian word.
_TAG_NAMES = {b"FCNT": "frame_count", b"IOFF": "image_offset_words", b"IFMT": "format", b"TSLO": "timestamp_low",
              b"TSHI": "timestamp_high"}
_MAGIC = b"VKO\0"
# How long a wait goes without a frame before it checks that the camera is still connected.
_PRESENCE_PROBE_S = 1.0
_END = b"ENDT"


def parse_metadata(record: bytes) -> dict[str, int]:
    """The tag/value pairs of a frame's metadata record, with derived fields.

    Returns the named tags, plus "timestamp" (64 bits, in ticks of the
    camera's time-stamp clock), "bit_depth" and "packed" when the record
    holds them. An empty or foreign record gives an empty dictionary.
    """
    fields: dict[str, int] = {}
    if len(record) < 8 or record[:4] != _MAGIC:
        return fields
    for offset in range(8, len(record) - 7, 8):
        tag = record[offset:offset + 4]
        if tag == _END:
            break
        value = int.from_bytes(record[offset + 4:offset + 8], "little")
        fields[_TAG_NAMES.get(tag, tag.decode("latin-1").rstrip("\0"))] = value
    if "timestamp_low" in fields and "timestamp_high" in fields:
        fields["timestamp"] = fields["timestamp_high"] << 32 | fields["timestamp_low"]
    if "format" in fields:
        fields["bit_depth"] = (fields["format"] >> 8) & 0xFF
        fields["packed"] = fields["format"] & 1
    return fields


class Frame:
    """One frame of a camera, read in place.

    ``frame.array`` is a read-only ``uint16`` view of the camera's frame slot,
    with no copy. The slot is kept from the camera until the frame is closed
    (the end of its ``with`` block) and every view of it is gone, whichever
    comes later. A closed frame refuses to give out new views.
    """

    __slots__ = ("_held", "_array", "counter", "width", "height", "bit_depth", "_metadata_bytes", "__weakref__")

    def __init__(self, held: Any) -> None:
        self._held = held
        self._array: np.ndarray | None = None
        self.counter: int = held.counter
        self.width: int = held.width
        self.height: int = held.height
        self.bit_depth: int = held.bit_depth
        self._metadata_bytes: bytes = held.metadata

    def __enter__(self) -> Frame:
        return self

    def __exit__(self, *exc_info: object) -> None:
        self.close()

    def __repr__(self) -> str:
        state = "closed" if self._held is None else "held"
        return f"<Frame {self.counter} {self.width}x{self.height} {self.bit_depth}-bit {state}>"

    @property
    def closed(self) -> bool:
        return self._held is None

    @property
    def array(self) -> np.ndarray:
        """The pixels, rows by columns, as a read-only view of the frame's slot."""
        if self._array is None:
            if self._held is None:
                raise FrameReleasedError(STATUS_INVALID_OPERATION, f"Frame {self.counter} was released.")
            self._array = self._held.pixels()
        return self._array

    @property
    def metadata(self) -> dict[str, int]:
        """The frame's metadata record, parsed (see :func:`parse_metadata`)."""
        return parse_metadata(self._metadata_bytes)

    @property
    def metadata_bytes(self) -> bytes:
        """The frame's metadata record as the camera sent it."""
        return self._metadata_bytes

    def copy(self) -> np.ndarray:
        """A writable copy of the pixels that outlives the frame."""
        return np.array(self.array, copy=True)

    def close(self) -> None:
        """Gives the slot back once no view of it remains; idempotent."""
        self._array = None
        self._held = None


class StreamStatistics(NamedTuple):
    """A snapshot of a camera's stream counters, counted since it was opened."""

    frames_delivered: int
    frames_lost_incomplete: int
    frames_lost_no_free_slot: int
    stalls_recovered: int
    resets: int
    bytes_received: int
    packets_received: int


class _Ranges(Mapping[str, tuple[Any, Any]]):
    """Ranges of the camera's parameters that have one, read on access."""

    def __init__(self, camera: Camera) -> None:
        self._camera = camera

    def _names(self) -> list[str]:
        return [name for name, parameter in CATALOGUE.items() if parameter.has_range]

    def __getitem__(self, name: str) -> tuple[Any, Any]:
        if name not in self._names():
            raise KeyError(name)
        return self._camera.range(name)

    def __iter__(self) -> Iterator[str]:
        return iter(self._names())

    def __len__(self) -> int:
        return len(self._names())


class Camera:
    """An open camera; see :meth:`quendral_vko.Kit.open`.

    Parameters are properties named with their unit (``exposure_us``,
    ``gain_db`` ...), generated from the library's parameter catalogue;
    ``cam.range(name)`` and ``cam.ranges[name]`` give their limits.
    """

    def __init__(self, kit: Kit, serial_number: str) -> None:
        self._kit = kit
        self._serial = serial_number
        self._session: Any = None
        self._frame_stop: threading.Event | None = None
        self._frame_thread: threading.Thread | None = None
        # Set while the camera is armed through this object; the frame
        # callback's thread waits on it instead of asking an unarmed camera.
        self._armed = threading.Event()
        self._session = _quendral_vko.CameraSession(serial_number)

    def __enter__(self) -> Camera:
        return self

    def __exit__(self, *exc_info: object) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<Camera {self._serial} {'open' if self.is_open else 'closed'}>"

    def _session_or_raise(self) -> Any:
        if self._session is None:
            raise QxError(STATUS_INVALID_OPERATION, f"Camera {self._serial} is closed.")
        return self._session

    @property
    def serial(self) -> str:
        """The serial number the camera was opened by."""
        return self._serial

    @property
    def is_open(self) -> bool:
        return self._session is not None

    def close(self) -> None:
        """Stops any frame callback and the stream and closes the camera; idempotent."""
        if self._session is None:
            return
        self.on_frame(None)
        self._armed.clear()
        session, self._session = self._session, None
        try:
            session.close()
        finally:
            self._kit._forget(self)

    # Acquisition

    def arm(self, buffers: int = 16) -> None:
        """Prepares the stream with room for ``buffers`` frames (2 or more)."""
        self._session_or_raise().arm(int(buffers))
        self._armed.set()

    def disarm(self) -> None:
        """Stops the stream; a camera that is not armed is left as it is."""
        self._armed.clear()
        self._session_or_raise().disarm()

    def trigger(self) -> None:
        """Issues a software trigger: the configured number of frames follow."""
        self._session_or_raise().trigger()

    @property
    def armed(self) -> bool:
        return bool(self._session_or_raise().is_armed())

    def grab(self, timeout: float | None = 1.0) -> Frame:
        """The next frame, waiting at most ``timeout`` seconds (None: no limit).

        Use it as ``with cam.grab() as frame:``. Raises QxTimeoutError when no
        frame came in time and DeviceLostError when the camera is gone;
        Ctrl-C interrupts the wait within about 0.1 s.
        """
        frame = self._next_frame(timeout)
        if frame is None:
            raise QxTimeoutError(STATUS_INVALID_OPERATION, f"No frame within {timeout} s.")
        return frame

    def frames(self, count: int | None = None, timeout: float | None = 1.0) -> Iterator[Frame]:
        """Iterates over the next ``count`` frames (None: until the stream ends).

        Each frame is closed when the iterator moves on; a view taken from it
        (``frame.array``) keeps its slot until the view is dropped. A frame
        missing for ``timeout`` seconds raises QxTimeoutError.
        """
        taken = 0
        while count is None or taken < count:
            frame = self.grab(timeout)
            try:
                yield frame
            finally:
                frame.close()
            taken += 1

    def _next_frame(self, timeout: float | None, stop: threading.Event | None = None) -> Frame | None:
        # Waits in slices so the interpreter can run signal handlers between
        # them, and asks after a silence whether the camera is still there:
        # a camera that was unplugged simply sends no more frames.
        now = time.monotonic()
        deadline = None if timeout is None else now + max(0.0, timeout)
        next_probe = now + _PRESENCE_PROBE_S
        session = self._session_or_raise()
        while True:
            remaining = WAIT_SLICE_S if deadline is None else min(WAIT_SLICE_S, deadline - time.monotonic())
            held = session.acquire(max(0, int(remaining * 1000)))
            if held is not None:
                return Frame(held)
            now = time.monotonic()
            timed_out = deadline is not None and now >= deadline
            if timed_out or now >= next_probe:
                self._raise_if_lost()
                next_probe = now + _PRESENCE_PROBE_S
            if timed_out or (stop is not None and stop.is_set()):
                return None

    def _raise_if_lost(self) -> None:
        if self._serial not in self._kit.cameras():
            raise DeviceLostError(STATUS_INVALID_OPERATION, f"Camera {self._serial} is no longer connected.")

    def on_frame(self, callback: Callable[[Frame], Any] | None) -> None:
        """Calls ``callback(frame)`` for every frame, on the kit's dispatcher thread.

        A thread of the package takes the frames and hands them to the
        dispatcher, which holds the interpreter lock while it runs the
        callback; the frame is closed when the callback returns. An exception
        in the callback is logged on the "quendral_vko" logger and the stream
        goes on; a camera that is lost ends the callbacks, and that too is
        logged. ``None`` stops the callbacks. Arm and trigger as usual.
        """
        if self._frame_thread is not None and self._frame_stop is not None:
            self._frame_stop.set()
            if threading.current_thread() is not self._frame_thread:
                self._frame_thread.join()
            self._frame_thread = self._frame_stop = None
        if callback is None:
            return
        session = self._session_or_raise()
        dispatcher = self._kit._dispatcher()
        stop = threading.Event()

        def deliver(frame: Frame) -> None:
            with frame:
                if not stop.is_set():  # frames queued before on_frame(None) are dropped
                    callback(frame)

        def pump() -> None:
            while not stop.is_set():
                if not self._armed.wait(WAIT_SLICE_S):
                    continue
                try:
                    frame = self._next_frame(None, stop) if self._session is session else None
                except QxError as error:
                    if not self._armed.is_set():  # disarmed while waiting: wait for the next arm
                        continue
                    dispatcher.submit(_report, error)
                    return
                if frame is not None and not dispatcher.submit(deliver, frame, stop=stop):
                    frame.close()

        self._frame_stop = stop
        self._frame_thread = threading.Thread(target=pump, name=f"quendral_vko frames {self._serial}",
                                              daemon=True)
        self._frame_thread.start()

    @property
    def statistics(self) -> StreamStatistics:
        """The stream counters since the camera was opened."""
        return StreamStatistics(*self._session_or_raise().statistics())

    # Parameters

    @property
    def parameters(self) -> Mapping[str, _parameters.Parameter]:
        """The catalogue: every parameter's name, unit, type and access."""
        return CATALOGUE

    def range(self, name: str) -> tuple[Any, Any]:
        """The smallest and largest value of a parameter, converted by its type."""
        parameter = CATALOGUE.get(name)
        if parameter is None:
            raise KeyError(name)
        minimum, maximum = self._session_or_raise().parameter_range(name)
        return parameter.from_text(minimum), parameter.from_text(maximum)

    @property
    def ranges(self) -> Mapping[str, tuple[Any, Any]]:
        """``cam.ranges["exposure_us"]``: the ranges of all parameters that have one."""
        return _Ranges(self)

    def command(self, text: str) -> str:
        """Sends a command text to the camera and returns its reply (for diagnostics)."""
        return self._session_or_raise().command(text)


def _report(error: BaseException) -> None:
    raise error


CATALOGUE: dict[str, _parameters.Parameter] = _parameters.load_catalogue()
for _name, _parameter in CATALOGUE.items():
    if _name.isidentifier() and not hasattr(Camera, _name):
        setattr(Camera, _name, _parameters.make_property(_parameter))

__all__ = ["Camera", "Frame", "StreamStatistics", "parse_metadata", "CATALOGUE"]
