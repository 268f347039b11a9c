"""Checks built libraries: they give exactly the public names, take no others than the platform's,
and run exactly one initializer when they are loaded."""

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


def complaints(library):
    exported = dynamic_symbols(library, "--defined-only")
    taken = dynamic_symbols(library, "--undefined-only")
    public = interface.public_names()
    for name in sorted(exported - public):
        yield f"exports {name}, which is not public"
    for name in sorted(public - exported):
        yield f"does not export {name}"
    for name in sorted(taken - interface.platform_names() - interface.RUNTIME_NAMES):
        yield f"takes {name}, which the platform's interface does not name"
    if (count := initializer_count(library)) != 1:
        yield f"has {count} load-time initializers instead of one"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("library", nargs="+")
    sys.exit(project.report((f"{library}: exports, undefined symbols and initializer as intended",
                             complaints(library)) for library in parser.parse_args().library))
