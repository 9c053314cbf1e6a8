#!/usr/bin/env python3
"""Prints the folder graph of the host platform from its #include lines.

Each folder of platform/host is a build unit. A file depends on another folder when it
includes "folder/name.h", or a bare "name.h" that only that folder has. The graph is
printed one folder a line, "folder -> dep, dep", lowest layer first. A cycle makes the
script exit with 1 after naming the folders that form it and the includes behind each
step.

    tools/host_folder_graph.py [PLATFORM_HOST_DIR]
"""

import pathlib
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"')
SOURCE_SUFFIXES = {".h", ".hpp", ".cpp", ".cc"}


def source_files(folder):
    return sorted(p for p in folder.rglob("*") if p.is_file() and p.suffix in SOURCE_SUFFIXES)


def target_folder(included, own, folders, files_by_name):
    """The folder an include names, or None for a header from outside platform/host."""
    first, _, rest = included.partition("/")
    if rest and first in folders:
        return first
    if not rest:
        if included in files_by_name.get(own, set()):
            return own
        owners = [f for f, names in files_by_name.items() if included in names]
        if len(owners) == 1:
            return owners[0]
    return None


def read_graph(root):
    folders = sorted(p.name for p in root.iterdir() if p.is_dir())
    files_by_name = {f: {p.name for p in source_files(root / f)} for f in folders}
    edges = {f: {} for f in folders}  # folder -> {dep: [include lines]}
    for folder in folders:
        for path in source_files(root / folder):
            for number, line in enumerate(path.read_text(errors="replace").splitlines(), 1):
                match = INCLUDE.match(line)
                if not match:
                    continue
                dep = target_folder(match.group(1), folder, set(folders), files_by_name)
                if dep and dep != folder:
                    where = f"{path.relative_to(root)}:{number}: {match.group(1)}"
                    edges[folder].setdefault(dep, []).append(where)
    return edges


def find_cycle(edges):
    """A list of folders that form a cycle (first repeated at the end), or None."""
    state = {}  # absent: unseen, 1: on the path, 2: done
    path = []

    def visit(folder):
        state[folder] = 1
        path.append(folder)
        for dep in sorted(edges[folder]):
            if state.get(dep) == 1:
                return path[path.index(dep):] + [dep]
            if dep not in state:
                cycle = visit(dep)
                if cycle:
                    return cycle
        path.pop()
        state[folder] = 2
        return None

    for folder in sorted(edges):
        if folder not in state:
            cycle = visit(folder)
            if cycle:
                return cycle
    return None


def layer_order(edges):
    """Folders lowest first: each after everything it depends on; ties by name."""
    depth = {}

    def layer(folder):
        if folder not in depth:
            depth[folder] = 1 + max((layer(d) for d in edges[folder]), default=-1)
        return depth[folder]

    return sorted(edges, key=lambda f: (layer(f), f))


def main(argv):
    default = pathlib.Path(__file__).resolve().parent.parent / "platform" / "host"
    root = pathlib.Path(argv[1]) if len(argv) > 1 else default
    if not root.is_dir():
        print(f"host_folder_graph: {root} is not a folder", file=sys.stderr)
        return 2
    edges = read_graph(root)
    cycle = find_cycle(edges)
    if cycle:
        print("cycle: " + " -> ".join(cycle), file=sys.stderr)
        for src, dst in zip(cycle, cycle[1:]):
            for where in edges[src][dst]:
                print(f"  {src} -> {dst}: {where}", file=sys.stderr)
        return 1
    for folder in layer_order(edges):
        print(f"{folder} -> {', '.join(sorted(edges[folder]))}".rstrip())
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
