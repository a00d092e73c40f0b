#!/usr/bin/env python3
"""Checks who includes whom against the arrows that docs/architecture.md shows, and a few rules of the tree.

The page's ```arrows block is the one list of allowed edges, so page and check cannot differ. An arrow that
no file uses any more is no fault.

    check_includes.py [root of the repository]
"""

import pathlib
import re
import subprocess
import sys

MODULES = ("platform", "core", "audio", "schedule", "programmes", "video", "synthe", "ui/look", "ui", "app")

# Modules, and single files, that compile without Qt.
QT_FREE_MODULES = ("platform", "core", "audio", "schedule")
QT_FREE_FILES = ("video/contentlistmngr.h", "video/contentlistmngr.cpp", "video/ecran.h", "video/ecran.cpp")

# What one module may see of another, where an arrow alone says too much.
NARROW = {("schedule", "video"): ("video/contentlistmngr.h", "video/ecran.h")}

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
ARROW = re.compile(r"^([\w/]+) -> ([\w/]+)$")
# Qt's headers: <QString>, <QtCore/QString>, <QtGlobal>, <qglobal.h>.
QT_HEADER = re.compile(r"^(Qt?[A-Z]\w*(/\w+(\.h)?)?|q[a-z]+\.h)$")

# A machine's paths have no place in the tree; "/run/user" and the like are the system's.
MACHINE_PATH = re.compile(r"(^|[^.\w])/(work|farm|root|home/[a-z]\w*)/")
# Where such words come from pages that the tree does not hold.
OUTSIDE_WORDS = re.compile(r"\bParts? [0-9]+\.[0-9]")
TEXT_SUFFIXES = {".cpp", ".h", ".md", ".py", ".sh", ".cmake", ".txt", ".json", ".yml", ".svg", ".ini", ".desktop",
                 ".service", ".qrc", ""}


def module_of(path):
    """The module that a path from the root belongs to: its longest folder that is one; "" for none."""
    folders = str(path).split("/")[:-1]
    for count in range(len(folders), 0, -1):
        if (name := "/".join(folders[:count])) in MODULES:
            return name
    return ""


def tracked(root):
    """Files of the tree, new ones included; without git, all but what builds and runs leave behind."""
    try:
        names = subprocess.run(["git", "-C", str(root), "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                               check=True, capture_output=True).stdout.decode("utf-8", "surrogateescape").split("\0")
        paths = [pathlib.PurePosixPath(n) for n in names if n]
    except (OSError, subprocess.CalledProcessError):
        paths = [pathlib.PurePosixPath(p.relative_to(root).as_posix()) for p in root.rglob("*") if p.is_file()]
        paths = [p for p in paths if p.parts[0] not in (".git", "build", "start", ".ccache")]
    return [p for p in paths if (root / p).is_file()]


def allowed_arrows(page):
    """The edges of the page's block. Exits if there is none: a check without its list would pass anything."""
    block = re.search(r"^```arrows\n(.*?)^```", page.read_text(encoding="utf-8"), re.M | re.S)
    if not block or not block.group(1).strip():
        sys.exit(f"{page}: no ```arrows block")
    arrows = set()
    for line in block.group(1).splitlines():
        if not line.strip():
            continue
        match = ARROW.match(line.strip())
        if not match or not set(match.groups()) <= set(MODULES):
            sys.exit(f"{page}: not an arrow between modules: {line!r}")
        arrows.add(match.groups())
    return arrows


def cycle(arrows):
    """A module that reaches itself, if any."""
    for start in MODULES:
        reached, todo = set(), [start]
        while todo:
            for source, target in arrows:
                if source == todo[-1] and target not in reached:
                    reached.add(target)
                    todo.insert(0, target)
            todo.pop()
        if start in reached:
            return start
    return None


def check(root):
    faults = []
    arrows = allowed_arrows(root / "docs" / "architecture.md")
    if round_trip := cycle(arrows):
        faults.append(f"docs/architecture.md: the arrows lead from {round_trip} back to itself")
    files = tracked(root)
    sources = [p for p in files if p.suffix in (".cpp", ".h") and module_of(p)]
    if not sources:
        faults.append("no source found")

    for path in sources:
        module = module_of(path)
        text = (root / path).read_text(encoding="utf-8", errors="replace")
        for number, line in enumerate(text.splitlines(), 1):
            match = INCLUDE.match(line)
            if not match:
                continue
            bracket, header = match.groups()
            where = f"{path}:{number}"
            target = module_of(header)
            if bracket == '"' and not (root / header).is_file():
                faults.append(f"{where}: \"{header}\" is not a path from the root of the repository")
            if target and target != module:
                if (module, target) not in arrows:
                    faults.append(f"{where}: {module} may not include {target} ({header})")
                elif header not in NARROW.get((module, target), (header,)):
                    faults.append(f"{where}: of {target}, {module} may see only "
                                  f"{', '.join(NARROW[(module, target)])}, not {header}")
            elif header.startswith("tests/"):
                faults.append(f"{where}: the program may not include test code ({header})")
            if QT_HEADER.match(header) and (module in QT_FREE_MODULES or str(path) in QT_FREE_FILES):
                faults.append(f"{where}: {module if module in QT_FREE_MODULES else path} "
                              f"is to compile without Qt ({header})")

    for path in files:
        if path.suffix not in TEXT_SUFFIXES or str(path) == "tests/architecture/check_includes.py":
            continue
        text = (root / path).read_text(encoding="utf-8", errors="replace")
        for number, line in enumerate(text.splitlines(), 1):
            if MACHINE_PATH.search(line):
                faults.append(f"{path}:{number}: a path of one machine: {line.strip()[:100]}")
            if OUTSIDE_WORDS.search(line):
                faults.append(f"{path}:{number}: refers to a page outside the tree: {line.strip()[:100]}")
    return faults, len(sources), len(arrows)


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parents[2]).resolve()
    faults, sources, arrows = check(root)
    for fault in faults:
        print(fault)
    print(f"{sources} files against {arrows} arrows: {len(faults)} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
