"""Writes the package's type stubs: the template with one property per
parameter of the camera library's catalogue, typed by its value type.

Usage: generate_stubs.py TEMPLATE OUTPUT (with the built package importable).
"""

from __future__ import annotations

import sys
from pathlib import Path


def parameter_lines(catalogue: dict) -> list[str]:
    lines: list[str] = []
    for name, parameter in sorted(catalogue.items()):
        if not name.isidentifier() or not parameter.readable and not parameter.writable:
            continue
        unit = f" [{parameter.unit}]" if parameter.unit else ""
        summary = f"{parameter.description}{unit}".replace("\\", "/").replace('"', "'")
        lines.append("    @property")
        lines.append(f"    def {name}(self) -> {parameter.python_type}:")
        lines.append(f'        """{summary}"""')
        if parameter.writable:
            lines.append(f"    @{name}.setter")
            lines.append(f"    def {name}(self, value: {parameter.python_type}) -> None: ...")
    return lines or ["    ..."]


def main(template: str, output: str) -> int:
    from quendral_vko import CATALOGUE

    text = Path(template).read_text(encoding="utf-8")
    text = text.replace("@PARAMETERS@", "\n".join(parameter_lines(CATALOGUE)))
    target = Path(output)
    if not target.exists() or target.read_text(encoding="utf-8") != text:
        target.write_text(text, encoding="utf-8")
    return 0


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1], sys.argv[2]))
