#!/usr/bin/env python3
"""Runs clang-tidy over the tree's own sources, as many at a time as there are processors.

A file that passed is not looked at again until it, a header of ours that it includes, its compile command,
.clang-tidy or clang-tidy itself changes: a hash of all these is kept for each file, in the cache folder of this
clone and, for a fresh clone, in tests/lint-passed.txt (written anew by --record after a clean pass).

    lint.py BUILD_FOLDER CACHE_FOLDER [--record | source ...]
"""

import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
RECORD = ROOT / "tests" / "lint-passed.txt"
INCLUDE = re.compile(rb'^\s*#\s*include\s*"([^"]+)"', re.M)


def contents(path, memory):
    if path not in memory:
        try:
            memory[path] = (ROOT / path).read_bytes()
        except OSError:
            memory[path] = b""
    return memory[path]


def closure(source, memory):
    """The source and every header of ours that it includes, directly or not."""
    found, todo = set(), [source]
    while todo:
        path = todo.pop()
        if path in found:
            continue
        found.add(path)
        for header in INCLUDE.findall(contents(path, memory)):
            for base in (pathlib.PurePosixPath(), pathlib.PurePosixPath(path).parent):
                name = str(base / header.decode("utf-8", "replace"))
                if (ROOT / name).is_file():
                    todo.append(name)
                    break
    return sorted(found)


def main():
    build, cache = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve()
    record = "--record" in sys.argv[3:]
    wanted = set(sys.argv[3:]) - {"--record"}
    passed = set(RECORD.read_text().split()) if RECORD.is_file() else set()
    cache.mkdir(parents=True, exist_ok=True)
    tidy = os.environ.get("CLANG_TIDY", "clang-tidy")
    version = subprocess.run([tidy, "--version"], check=True, capture_output=True).stdout
    # It names the processor, too, which changes nothing.
    version = b"\n".join(line for line in version.splitlines() if b"CPU" not in line)
    config = b"".join(path.read_bytes() for path in sorted(ROOT.glob("**/.clang-tidy")))

    commands = {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        path = pathlib.Path(entry["directory"], entry["file"]).resolve()
        if ROOT in path.parents and build not in path.parents and "build" != path.relative_to(ROOT).parts[0]:
            # The folder of this clone doesn't matter.
            commands[path.relative_to(ROOT).as_posix()] = entry["command"].replace(str(ROOT), "")
    if not commands:
        sys.exit(f"no source of {ROOT} in {build / 'compile_commands.json'}")

    memory, todo, digests = {}, [], []
    for source, command in sorted(commands.items()):
        if wanted and source not in wanted:
            continue
        digest = hashlib.sha256(version + config + " ".join(shlex.split(command)).encode())
        for path in closure(source, memory):
            digest.update(path.encode() + b"\0" + contents(path, memory))
        mark = cache / (source.replace("/", "_") + ".passed")
        digests.append(f"{source} {digest.hexdigest()}")
        if digest.hexdigest() not in passed and not (mark.is_file() and mark.read_text() == digest.hexdigest()):
            todo.append((source, mark, digest.hexdigest()))
    # The big ones first, so that the last processor isn't left with one of them at the end.
    todo.sort(key=lambda item: -len(contents(item[0], memory)))

    def lint(item):
        source, mark, digest = item
        # The compile commands are g++'s: clang doesn't know all of its warnings.
        result = subprocess.run([tidy, "--quiet", "--extra-arg=-Wno-unknown-warning-option", "-p", str(build),
                                 str(ROOT / source)], capture_output=True, text=True)
        if result.returncode == 0:
            mark.write_text(digest)
            return source, None
        mark.unlink(missing_ok=True)
        return source, result.stdout + "\n".join(
            line for line in result.stderr.splitlines() if not re.match(r"\d+ warnings? (generated|treated)", line))

    failed = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count() or 1) as pool:
        for source, fault in pool.map(lint, todo):
            if fault is not None:
                failed += 1
                print(f"{source}:\n{fault.replace(str(ROOT) + '/', '')}", flush=True)
    if record and not failed and not wanted:
        RECORD.write_text("\n".join(digests) + "\n")
    print(f"{len(commands)} files, {len(todo)} looked at, {failed} with faults")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
