"""Exceptions of the quendral_vko package.

Every failure of the camera library arrives as a :class:`QxError` carrying the
status code and the library's own text of the failure.
"""

from __future__ import annotations

__all__ = ["QxError", "QxTimeoutError", "DeviceLostError", "FrameReleasedError", "EmulatorError"]

#: Status codes of the camera library (the C header's QX_STATUS_* values).
STATUS_UNSUPPORTED = 1002
STATUS_INVALID_PARAMETER = 1003
STATUS_INVALID_OPERATION = 1004

#: Emulator status meaning the virtual camera is unplugged.
_EMULATOR_NO_DEVICE = -3

# Texts by which the camera library reports a camera that is gone.
_LOST_DEVICE_MARKERS = ("no device", "no_device", "not connected", "disconnected", "unplugged", "no such device")


class QxError(RuntimeError):
    """A failed call of the camera library.

    Attributes:
        status: the library's status code (0 never appears here).
        text: the library's last-error text for the failure.
    """

    def __init__(self, status: int, text: str) -> None:
        super().__init__(f"[{status}] {text}" if text else f"[{status}]")
        self.status = status
        self.text = text


class QxTimeoutError(QxError, TimeoutError):
    """No frame (or event) arrived within the time-out."""


class DeviceLostError(QxError):
    """The camera was unplugged or stopped answering."""


class FrameReleasedError(QxError):
    """A frame was used after its slot was given back to the camera."""


class EmulatorError(QxError):
    """A failed call of the camera emulator (negative status)."""


def _from_status(status: int, text: str, from_emulator: bool = False) -> QxError:
    """The exception for a failed call: the extension raises what this returns."""
    if from_emulator:
        return EmulatorError(status, text)
    lowered = text.lower()
    if any(marker in lowered for marker in _LOST_DEVICE_MARKERS):
        return DeviceLostError(status, text)
    return QxError(status, text)
