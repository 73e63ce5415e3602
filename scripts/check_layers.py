#!/usr/bin/env python3
"""Checks that every folder includes only the layers the table allows it.

The table is cmake/layers.txt. Each quoted include in src/ and in the
folders outside src/ that the table names is resolved as the compiler
resolves it (beside the including file first, then src/); an include that
lands in a src/ folder the including folder may not use is reported as

    file:line: <layer> includes <higher layer> (<header>)

and makes the check fail. Run from anywhere; exits 0 when nothing is wrong.
"""

import os
import re
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SOURCE_ROOT = os.path.join(ROOT, "src")
TABLE = os.path.join(ROOT, "cmake", "layers.txt")
SOURCE_SUFFIXES = (".h", ".hpp", ".c", ".cc", ".cpp")
INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"')


def read_table(path):
    """The folders each folder may include, for src/ and for the outside."""
    stack, allowed, outside = [], {}, {}
    with open(path, encoding="utf-8") as table:
        for number, line in enumerate(table, 1):
            words = line.split("#", 1)[0].split()
            if not words:
                continue
            kind, folder, below = words[0], words[1] if len(words) > 1 else None, set(words[2:])
            if kind == "layer" and folder and (not below or words[2] == "on"):
                # A layer stands on the row before it, or on the layers its
                # row names after "on", and sees all that those see.
                bases = set(words[3:]) if below else set(stack[-1:])
                if not bases <= set(stack):
                    sys.exit(f"{path}:{number}: {folder} stands on unknown layers {sorted(bases - set(stack))}")
                allowed[folder] = set().union(*({base} | allowed[base] for base in bases)) if bases else set()
                stack.append(folder)
            elif kind == "beside" and folder:
                allowed[folder] = below
            elif kind == "outside" and folder:
                outside[folder] = below
            else:
                sys.exit(f"{path}:{number}: unreadable row: {line.strip()}")
    known = set(allowed)
    for folder, uses in list(allowed.items()) + list(outside.items()):
        if not uses <= known:
            sys.exit(f"{path}: {folder} names unknown folders {sorted(uses - known)}")
    return allowed, outside


def source_files(folder):
    for directory, subdirectories, files in os.walk(folder):
        subdirectories[:] = sorted(d for d in subdirectories if not d.startswith((".", "build")))
        for name in sorted(files):
            if name.endswith(SOURCE_SUFFIXES):
                yield os.path.join(directory, name)


def included_layer(including_file, header):
    """The src/ folder an include resolves into, or None when it lands elsewhere."""
    for base in (os.path.dirname(including_file), SOURCE_ROOT):
        candidate = os.path.normpath(os.path.join(base, header))
        if os.path.isfile(candidate):
            relative = os.path.relpath(candidate, SOURCE_ROOT)
            if relative.startswith(".." + os.sep) or os.sep not in relative:
                return None
            return relative.split(os.sep, 1)[0]
    return None


def violations(files, folder_of, allowed_for):
    for path in files:
        folder = folder_of(path)
        with open(path, encoding="utf-8", errors="replace") as source:
            for number, line in enumerate(source, 1):
                match = INCLUDE.match(line)
                if not match:
                    continue
                layer = included_layer(path, match.group(1))
                if layer is None or layer == folder or layer in allowed_for(folder):
                    continue
                yield f"{os.path.relpath(path, ROOT)}:{number}: {folder} includes {layer} ({match.group(1)})"


def main():
    allowed, outside = read_table(TABLE)
    found = []
    source_folders = sorted(d for d in os.listdir(SOURCE_ROOT) if os.path.isdir(os.path.join(SOURCE_ROOT, d)))
    for folder in source_folders:
        if folder not in allowed:
            found.append(f"src/{folder}: folder missing from {os.path.relpath(TABLE, ROOT)}")
    found += violations(
        (path for folder in source_folders for path in source_files(os.path.join(SOURCE_ROOT, folder))),
        lambda path: os.path.relpath(path, SOURCE_ROOT).split(os.sep, 1)[0],
        lambda folder: allowed.get(folder, set()))
    for folder, uses in sorted(outside.items()):
        found += violations(source_files(os.path.join(ROOT, folder)), lambda path, folder=folder: folder,
                            lambda folder: outside[folder])
    for line in found:
        print(line)
    if found:
        print(f"{len(found)} include(s) break the layer order in {os.path.relpath(TABLE, ROOT)}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
