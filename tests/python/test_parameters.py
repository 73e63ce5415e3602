"""Parameters as generated properties, converted by the catalogue's types."""

from __future__ import annotations

from pathlib import Path

import pytest

import quendral_vko
from quendral_vko import CATALOGUE, QxError

PYTHON_TYPES = {"int": int, "float": float, "bool": bool, "str": str, "tuple[int, ...]": tuple}


def test_every_catalogue_row_is_a_documented_property_and_in_the_stub() -> None:
    stub = (Path(quendral_vko.__file__).parent / "__init__.pyi").read_text()
    for name, parameter in CATALOGUE.items():
        attribute = getattr(quendral_vko.Camera, name)
        assert isinstance(attribute, property) and parameter.description in attribute.__doc__
        assert (attribute.fset is not None) == parameter.writable
        assert f"def {name}(self) -> {parameter.python_type}" in stub


def test_readable_parameters_read_as_their_type(camera) -> None:
    for name, parameter in CATALOGUE.items():
        if parameter.readable:
            try:
                value = getattr(camera, name)
            except QxError as failure:  # a feature the emulated camera lacks
                assert failure.status == 1004
                continue
            assert isinstance(value, PYTHON_TYPES[parameter.python_type]), name


@pytest.mark.parametrize("name", [name for name, p in CATALOGUE.items() if p.readable and p.writable and p.has_range])
def test_ranged_parameters_take_their_limits_and_stay_within(camera, name: str) -> None:
    try:
        minimum, maximum = camera.ranges[name]
    except QxError:
        pytest.skip(f"{name} is not supported by the emulated camera")
    assert camera.range(name) == (minimum, maximum)
    if CATALOGUE[name].value_type != 0:  # beyond the limits is tried on whole numbers
        return
    original = getattr(camera, name)
    for value in (minimum, maximum):
        setattr(camera, name, value)
        assert getattr(camera, name) == value
    try:  # beyond the range: refused, or kept within it
        setattr(camera, name, maximum + 1)
    except QxError as refused:
        assert refused.status == 1004 and refused.text
    assert minimum <= getattr(camera, name) <= maximum
    setattr(camera, name, original)


@pytest.mark.parametrize("name, values", [
    ("led", [False, True]),
    ("trigger_mode", ["hardware", "software"]),
    ("gain_db", [6.0, 0.0]),
    ("roi", [(8, 2, 32, 4), (0, 0, 64, 8)]),
    ("binning", [(2, 1), (1, 1)]),
    ("frames_per_trigger", [3, 0]),
])
def test_values_round_trip_through_their_python_types(camera, name: str, values: list) -> None:
    for value in values:
        setattr(camera, name, value)
        assert getattr(camera, name) == value and type(getattr(camera, name)) is type(value)
