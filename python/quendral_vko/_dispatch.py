"""The one thread on which the package calls the application's callbacks."""

from __future__ import annotations

import logging
import queue
import threading
from typing import Any, Callable

_log = logging.getLogger("quendral_vko")

# How often waiting threads of the package look at their stop request.
WAIT_SLICE_S = 0.1


class Dispatcher:
    """Runs submitted calls one after another on a daemon thread of its own.

    An exception raised by a call is logged on the "quendral_vko" logger and
    counted; it never ends the thread. Calls are taken in submission order.
    """

    def __init__(self, name: str, capacity: int = 0) -> None:
        self._calls: queue.Queue[tuple[Callable[..., Any], tuple[Any, ...]] | None] = queue.Queue(capacity)
        self._thread = threading.Thread(target=self._run, name=name, daemon=True)
        self.errors = 0
        self._closing = False
        self._thread.start()

    @property
    def thread(self) -> threading.Thread:
        return self._thread

    def submit(self, call: Callable[..., Any], *arguments: Any, stop: threading.Event | None = None) -> bool:
        """Queues a call; with a bounded queue waits for room until ``stop`` is set."""
        while True:
            try:
                self._calls.put((call, arguments), timeout=WAIT_SLICE_S)
                return True
            except queue.Full:
                if stop is not None and stop.is_set():
                    return False

    def close(self) -> None:
        """Lets queued calls finish, then ends the thread.

        From a callback (the thread itself) the thread ends after that call,
        since waiting for room in the queue there would wait for itself.
        """
        if not self._thread.is_alive():
            return
        if threading.current_thread() is self._thread:
            self._closing = True
            return
        self._calls.put(None)
        self._thread.join()

    def _run(self) -> None:
        while not self._closing:
            item = self._calls.get()
            if item is None:
                return
            call, arguments = item
            try:
                call(*arguments)
            except BaseException:  # the application's code: report, never end the thread
                self.errors += 1
                _log.exception("A quendral_vko callback raised an exception")
            finally:
                del item, call, arguments
