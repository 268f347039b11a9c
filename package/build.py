"""Builds the phone package out of the library's sources, with clang and lld and no SDK."""

import collections
import gzip
import pathlib
import plistlib
import re
import tempfile

from package import code_signature
from tools.project import LIBRARY_FOLDERS, run

PACKAGE = "org.mernwick.hushlane"
INSTALL_NAME = "/Library/MobileSubstrate/DynamicLibraries/Hushlane.dylib"
DYLIB = INSTALL_NAME[1:]
FILTER = DYLIB.replace(".dylib", ".plist")
BUNDLE = "Library/PreferenceBundles/Hushlane.bundle/"
PANE = BUNDLE + "Hushlane"
PANE_INSTALL_NAME = "/" + PANE
PANE_ENTRY = "Library/PreferenceLoader/Preferences/Hushlane.plist"
ICONS = ("icon.png", "icon@2x.png", "icon@3x.png")
DOCUMENTS = f"usr/share/doc/{PACKAGE}/"
CHANGELOG = DOCUMENTS + "changelog.Debian.gz"
MINIMUM_VERSION = "8.0"
# Of everything in every package, so that equal contents give equal packages: 2026-01-01.
FILE_TIME = 1767225600

# Debian's package gives it no other name.
LINKER = "ld64.lld-14"
# For each slice: the compiler's target, the linker's platform. The linker has no armv7.
SLICES = {
    "arm64": (f"arm64-apple-ios{MINIMUM_VERSION}", "ios"),
    "x86_64": (f"x86_64-apple-ios{MINIMUM_VERSION}-simulator", "ios-simulator"),
    "armv7": (f"armv7-apple-ios{MINIMUM_VERSION}", None),
}
# A function that a phone lacks keeps the library out: bound at its first call, it would end the home
# screen instead. And an exception must find its way out of every function.
PHONE_FLAGS = ("-fno-plt", "-funwind-tables")
SLICE_FLAGS = {"arm64": ("-mllvm", "-aarch64-enable-nonlazybind")}

# What is linked against: the pane takes a little more than the library does.
STUBS = ("package/stubs",)
PANE_STUBS = (*STUBS, "package/pane_stubs")

File = collections.namedtuple("File", "data mode", defaults=[0o644])


def version(root):
    text = (root / "CMakeLists.txt").read_text(encoding="utf-8")
    return re.search(r"project\(\w+ VERSION ([\d.]+)", text).group(1)


def library_sources(root):
    return sorted(path.relative_to(root) for folder in LIBRARY_FOLDERS
                  for path in (root / folder).glob("*.cpp"))


def pane_sources(root):
    patterns = (root / "package/pane_sources.txt").read_text(encoding="utf-8").split()
    return sorted(path.relative_to(root) for pattern in patterns for path in root.glob(pattern))


# What names the superclass, which phones alone have.
PANE_CLASS = pathlib.PurePath("settings_pane/controller.mm")


def compile_slice(root, slice_name, out, sources):
    """Compiles the sources into objects in `out`; gives the objects."""
    fixed_flags = [flag for kind in ("library", "warning") for flag in
                   (root / f"package/{kind}_flags.txt").read_text(encoding="utf-8").split()]
    objects = []
    for source in sources:
        objects.append(out / (str(source).replace("/", "-") + ".o"))
        run("clang++", "-target", SLICES[slice_name][0], "-std=c++20", "-O2", *fixed_flags,
            *PHONE_FLAGS, *SLICE_FLAGS.get(slice_name, ()), "-I.", "-Iinclude", "-c", source,
            "-o", objects[-1], cwd=root)
    return objects


def link(root, slice_name, sources, stubs, link_flags, install_name, minimum_version):
    """The bytes of a signed library."""
    with tempfile.TemporaryDirectory() as directory:
        out = pathlib.Path(directory)
        objects = compile_slice(root, slice_name, out, sources)
        linked, stripped = out / "linked.dylib", out / "stripped.dylib"
        run(LINKER, "-dylib", "-arch", slice_name, "-platform_version",
            SLICES[slice_name][1], minimum_version, minimum_version, "-install_name", install_name,
            "-no_adhoc_codesign", "-headerpad", "40", "-dead_strip", *link_flags, "-o", linked,
            *objects, *(path for folder in stubs for path in sorted((root / folder).glob("*.tbd"))))
        # Local names are long and of no use on the phone.
        run("llvm-strip", "-x", linked, "-o", stripped)
        return code_signature.sign(stripped.read_bytes())


def dylib(root, slice_name, extra_sources=(), link_flags=(), install_name=INSTALL_NAME,
          minimum_version=MINIMUM_VERSION):
    """The library."""
    return link(root, slice_name, library_sources(root) + list(extra_sources), STUBS, link_flags,
                install_name, minimum_version)


def pane(root, slice_name, sources=(PANE_CLASS,)):
    """The settings pane: its functions, and what is named besides."""
    # The linker ends its table of unwinding too early when the last functions are unwound alike,
    # as the shortest are, so these come first.
    ordered = [*sources, *reversed(pane_sources(root))]
    return link(root, slice_name, ordered, PANE_STUBS, ["-dead_strip_dylibs"], PANE_INSTALL_NAME,
                MINIMUM_VERSION)


def property_list(root, path):
    """Such a file in binary form."""
    text = (root / path).read_text(encoding="utf-8").replace("@VERSION@", version(root))
    return File(plistlib.dumps(plistlib.loads(text.encode()), fmt=plistlib.FMT_BINARY))


def data_files(root, library, pane_binary):
    return {
        DYLIB: File(library, 0o755),
        FILTER: property_list(root, "package/filter.plist"),
        PANE: File(pane_binary, 0o755),
        PANE_ENTRY: property_list(root, "settings_pane/entry.plist"),
        **{BUNDLE + name: property_list(root, f"settings_pane/{name}")
           for name in ("Info.plist", "Root.plist")},
        **{BUNDLE + name: File((root / "settings_pane" / name).read_bytes()) for name in ICONS},
        DOCUMENTS + "copyright": File((root / "LICENSE").read_bytes()),
        CHANGELOG: File(gzip.compress(
            (root / "package/changelog").read_bytes(), mtime=0)),
    }


def control_file(root, files):
    kibibytes = sum(-(-len(file.data) // 1024) for file in files.values())
    text = (root / "package/control").read_text(encoding="utf-8")
    text = text.replace("@VERSION@", version(root)).replace("@INSTALLED_SIZE@", str(kibibytes))
    return File(text.encode())


def pack(files, control):
    """The package's bytes. Compressed in the one way that the oldest phones read."""
    with tempfile.TemporaryDirectory() as directory:
        tree, package = pathlib.Path(directory) / "tree", pathlib.Path(directory) / "package.deb"
        for name, file in {**files, "DEBIAN/control": control}.items():
            path = tree / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(file.data)
            path.chmod(file.mode)
        for path in (tree, *tree.rglob("*/")):
            path.chmod(0o755)
        run("env", f"SOURCE_DATE_EPOCH={FILE_TIME}", "dpkg-deb", "--root-owner-group", "-Zgzip",
            "--build", tree, package)
        return package.read_bytes()


def file_name(root):
    return f"{PACKAGE}_{version(root)}_iphoneos-arm.deb"


def package(root):
    files = data_files(root, dylib(root, "arm64"), pane(root, "arm64"))
    return pack(files, control_file(root, files))
