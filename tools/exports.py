"""Checks built libraries: they give exactly the public names, take no others than the platform's,
and run exactly one initializer when they are loaded; the settings pane runs none."""

import argparse
import sys

from tools import interface, project


def dynamic_symbols(library, kind):
    symbols = project.run("nm", "--dynamic", "--format=posix", kind, library)
    return {line.split()[0].split("@")[0] for line in symbols.splitlines()}


def initializer_count(library):
    headers = project.run("readelf", "--wide", "--dynamic", library).splitlines()
    sizes = [int(line.split()[2]) for line in headers if "(INIT_ARRAYSZ)" in line]
    has_init = any("(INIT)" in line for line in headers)
    return sum(sizes) // 8 + has_init


def complaints(library, pane=False):
    exported = dynamic_symbols(library, "--defined-only")
    taken = dynamic_symbols(library, "--undefined-only")
    public = interface.pane_names() if pane else interface.public_names()
    platform = interface.platform_names() | (interface.pane_platform_names() if pane else set())
    initializers = 0 if pane else 1
    for name in sorted(exported - public):
        yield f"exports {name}, which is not public"
    for name in sorted(public - exported):
        yield f"does not export {name}"
    for name in sorted(taken - platform - interface.RUNTIME_NAMES):
        yield f"takes {name}, which the platform's interface does not name"
    if (count := initializer_count(library)) != initializers:
        yield f"has {count} load-time initializers instead of {initializers}"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--pane", help="the settings pane, with its own names and no initializer")
    parser.add_argument("library", nargs="+")
    options = parser.parse_args()
    checked = [(library, False) for library in options.library]
    checked += [(options.pane, True)] if options.pane else []
    sys.exit(project.report((f"{library}: exports, undefined symbols and initializer as intended",
                             complaints(library, pane)) for library, pane in checked))
