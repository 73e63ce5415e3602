"""Camera parameters from the library's catalogue.

The catalogue names every parameter with its unit ("exposure_us"), its value
type and whether it can be read, written and has a range. The Camera class
gets one property per row when the package is imported; values travel as
text and are converted here by the row's value type.
"""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any, Callable

from . import _quendral_vko

INTEGER, REAL, BOOLEAN, TEXT, INTEGER_LIST = range(5)
READABLE, WRITABLE, HAS_RANGE = 1, 2, 4

# The Python type a value type reads as; the stub generator uses the names.
PYTHON_TYPES = {INTEGER: "int", REAL: "float", BOOLEAN: "bool", TEXT: "str", INTEGER_LIST: "tuple[int, ...]"}


def _integer_list(text: str) -> tuple[int, ...]:
    return tuple(int(word) for word in text.replace(",", " ").split())


def _boolean_text(value: Any) -> str:
    return "1" if bool(value) else "0"


def _integer_list_text(value: Any) -> str:
    return ",".join(str(int(item)) for item in value)


def _integer_text(value: Any) -> str:
    if isinstance(value, float) and not value.is_integer():
        raise ValueError(f"expected a whole number, got {value!r}")
    return str(int(value))


_FROM_TEXT: dict[int, Callable[[str], Any]] = {
    INTEGER: int,
    REAL: float,
    BOOLEAN: lambda text: text.strip() not in ("0", "off", "false", ""),
    TEXT: str,
    INTEGER_LIST: _integer_list,
}
_TO_TEXT: dict[int, Callable[[Any], str]] = {
    INTEGER: _integer_text,
    REAL: repr,
    BOOLEAN: _boolean_text,
    TEXT: str,
    INTEGER_LIST: _integer_list_text,
}


@dataclass(frozen=True)
class Parameter:
    """One row of the catalogue."""

    name: str
    unit: str
    description: str
    value_type: int
    flags: int

    @property
    def readable(self) -> bool:
        return bool(self.flags & READABLE)

    @property
    def writable(self) -> bool:
        return bool(self.flags & WRITABLE)

    @property
    def has_range(self) -> bool:
        return bool(self.flags & HAS_RANGE)

    @property
    def python_type(self) -> str:
        return PYTHON_TYPES.get(self.value_type, "str")

    def from_text(self, text: str) -> Any:
        return _FROM_TEXT.get(self.value_type, str)(text)

    def to_text(self, value: Any) -> str:
        return _TO_TEXT.get(self.value_type, str)(value)


def load_catalogue() -> dict[str, Parameter]:
    """Every parameter the loaded camera library knows, by name."""
    return {row["name"]: Parameter(**row) for row in _quendral_vko.parameter_catalogue() if row["name"]}


def make_property(parameter: Parameter) -> property:
    """A property of Camera that reads and writes the parameter through the catalogue."""
    getter = None
    setter = None
    if parameter.readable:

        def getter(camera: Any) -> Any:
            return parameter.from_text(camera._session_or_raise().get_parameter(parameter.name))

    if parameter.writable:

        def setter(camera: Any, value: Any) -> None:
            camera._session_or_raise().set_parameter(parameter.name, parameter.to_text(value))

    unit = f" [{parameter.unit}]" if parameter.unit else ""
    access = "read-write" if parameter.readable and parameter.writable else "read-only" if parameter.readable else "write-only"
    doc = f"{parameter.description}{unit} ({parameter.python_type}, {access})"
    return property(getter, setter, doc=doc)
