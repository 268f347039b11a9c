"""Builds the phone package out of the library's sources, with clang and lld and no SDK."""

import pathlib
import plistlib
import re
import shutil
import subprocess
import tempfile

import archive
import code_signature

PACKAGE = "org.mernwick.hushlane"
INSTALL_NAME = "/Library/MobileSubstrate/DynamicLibraries/Hushlane.dylib"
DYLIB = INSTALL_NAME[1:]
FILTER = DYLIB.replace(".dylib", ".plist")
DOCUMENTS = f"usr/share/doc/{PACKAGE}/"
MINIMUM_VERSION = "7.0"
ROOMS = ("core", "settings", "admission", "schedule", "platform")

# For each slice: the compiler's target, the linker's platform. The linker has no armv7.
SLICES = {
    "arm64": ("arm64-apple-ios7.0", "ios"),
    "x86_64": ("x86_64-apple-ios7.0-simulator", "ios-simulator"),
    "armv7": ("armv7-apple-ios7.0", None),
}
WARNINGS = ("-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Wconversion", "-Werror")


class BuildError(Exception):
    pass


def tool(name):
    found = shutil.which(name) or shutil.which(name + "-14")
    if not found:
        raise BuildError(f"{name} is missing; script/setup installs it")
    return found


def run(*command, cwd=None):
    result = subprocess.run([str(word) for word in command], cwd=cwd, capture_output=True, text=True,
                            check=False)
    if result.returncode != 0:
        raise BuildError(f"{' '.join(map(str, command))}\n{result.stdout}{result.stderr}")


def version(root):
    text = (root / "CMakeLists.txt").read_text(encoding="utf-8")
    return re.search(r"project\(\w+ VERSION ([\d.]+)", text).group(1)


def library_sources(root):
    return sorted(path.relative_to(root) for room in ROOMS for path in (root / room).glob("*.cpp"))


def compile_slice(root, slice_name, out, sources, flags=()):
    """Compiles the sources into objects in `out`; gives the objects."""
    library_flags = (root / "package/library_flags.txt").read_text(encoding="utf-8").split()
    objects = []
    for source in sources:
        objects.append(out / (str(source).replace("/", "-") + ".o"))
        run(tool("clang++"), "-target", SLICES[slice_name][0], "-std=c++20", "-O2", *library_flags,
            *WARNINGS, *flags, "-I.", "-Iinclude", "-c", source, "-o", objects[-1], cwd=root)
    return objects


def dylib(root, slice_name, extra_sources=(), compile_flags=(), link_flags=(),
          install_name=INSTALL_NAME, minimum_version=MINIMUM_VERSION):
    """The bytes of the signed library."""
    with tempfile.TemporaryDirectory() as directory:
        out = pathlib.Path(directory)
        sources = library_sources(root) + list(extra_sources)
        objects = compile_slice(root, slice_name, out, sources, compile_flags)
        linked, stripped = out / "linked.dylib", out / "stripped.dylib"
        run(tool("ld64.lld"), "-dylib", "-arch", slice_name, "-platform_version",
            SLICES[slice_name][1], minimum_version, minimum_version, "-install_name", install_name,
            "-no_adhoc_codesign", "-headerpad", "40", "-dead_strip", *link_flags, "-o", linked,
            *objects, *sorted((root / "package/stubs").glob("*.tbd")))
        # Local names are long and of no use on the phone.
        run(tool("llvm-strip"), "-x", linked, "-o", stripped)
        return code_signature.sign(stripped.read_bytes())


def data_files(root, library):
    filter_list = plistlib.loads((root / "package/filter.plist").read_bytes())
    return {
        DYLIB: archive.File(library, 0o755),
        FILTER: archive.File(plistlib.dumps(filter_list, fmt=plistlib.FMT_BINARY)),
        DOCUMENTS + "copyright": archive.File((root / "LICENSE").read_bytes()),
        DOCUMENTS + "changes": archive.File((root / "package/changes").read_bytes()),
    }


def control_files(root, files):
    kibibytes = sum(-(-len(file.data) // 1024) for file in files.values())
    text = (root / "package/control").read_text(encoding="utf-8")
    text = text.replace("@VERSION@", version(root)).replace("@INSTALLED_SIZE@", str(kibibytes))
    return {"control": archive.File(text.encode())}


def file_name(root):
    return f"{PACKAGE}_{version(root)}_iphoneos-arm.deb"


def package(root):
    files = data_files(root, dylib(root, "arm64"))
    return archive.pack(control_files(root, files), files)
