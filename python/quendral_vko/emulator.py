"""The camera emulator's control interface.

Virtual cameras stand in for real ones: configure them (a count, inline JSON
or a JSON file, see docs/emulator.md), plug, unplug and move them, inject
faults and read their counters. The kit sees the same cameras.
"""

from __future__ import annotations

import json
from typing import Any

from . import _quendral_vko

_emulator = _quendral_vko._emulator

__all__ = ["configure", "camera_count", "camera_paths", "plug", "unplug", "move", "pulse_hardware_trigger",
           "set_faults", "counters", "FAULT_KINDS"]

#: Fault kinds in the order of the counters' "faults_by_kind".
FAULT_KINDS = ("drop_packet", "sequence_gap", "corrupt_header", "stall_image", "stall_command",
               "reply_timeout", "firmware_error", "unplug", "delay_packet")


def _text(config: Any) -> str:
    return config if isinstance(config, str) else json.dumps(config)


def configure(config: Any) -> None:
    """Replaces every virtual camera: a count, a JSON text or file path, or a list/dict of cameras."""
    if isinstance(config, int):
        config = str(config)
    _emulator.reset(_text(config))


def camera_count(family: str | None = None) -> int:
    """Plugged-in cameras of a family ("qv", "ralto"), or of all families."""
    return int(_emulator.camera_count(family))


def camera_paths(family: str | None = None) -> list[str]:
    """Device paths of the plugged-in cameras, in plug order."""
    return [_emulator.camera_path(family, index) for index in range(camera_count(family))]


def plug(camera: Any = None) -> str:
    """Plugs in a camera (a dict or JSON text; None: defaults) and returns its path."""
    return str(_emulator.plug(None if camera is None else _text(camera)))


def unplug(device_path: str) -> None:
    """Unplugs a camera: its open devices fail from now on."""
    _emulator.unplug(device_path)


def move(device_path: str, port: int) -> str:
    """Unplugs a camera and plugs it into another port; returns the new path."""
    return str(_emulator.move(device_path, int(port)))


def pulse_hardware_trigger(device_path: str) -> None:
    """Pulses the camera's hardware trigger input."""
    _emulator.pulse_hardware_trigger(device_path)


def set_faults(device_path: str, faults: Any) -> None:
    """Replaces the camera's fault schedule (a dict or JSON text; {} clears it)."""
    _emulator.set_faults(device_path, _text(faults))


def counters(device_path: str) -> dict[str, Any]:
    """The camera's counters since it was plugged in, faults also by kind name."""
    values = dict(_emulator.counters(device_path))
    values["faults_by_kind"] = dict(zip(FAULT_KINDS, values["faults_by_kind"]))
    return values
