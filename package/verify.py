"""Checks a built package as a repository's gatekeeper would, from its bytes alone.

Every check is a function of the parsed package that gives what is wrong, in words.
"""

import pathlib
import plistlib
import re

import archive
import build
import code_signature
import interface
import mach_o

SIZE_LIMIT = 96 * 1024
CONTROL_FIELDS = ("Package", "Name", "Version", "Architecture", "Section", "Maintainer", "Depends",
                  "Installed-Size", "Description")
FIXED_FIELDS = {"Package": build.PACKAGE, "Name": "Hushlane", "Architecture": "iphoneos-arm",
                "Section": "Tweaks", "Depends": "mobilesubstrate, firmware (>= 7.0)"}
FILE_MODES = {build.DYLIB: 0o755, build.FILTER: 0o644, build.DOCUMENTS + "copyright": 0o644,
              build.DOCUMENTS + "changes": 0o644}
# What a file of the package may name: places on the phone.
PHONE_PLACES = ("/usr/lib/", "/System/Library/", "/Library/", "/var/mobile/Library/")
LOAD_COMMANDS = {
    mach_o.LC_SEGMENT_64, mach_o.LC_DYLD_INFO_ONLY, mach_o.LC_SYMTAB, mach_o.LC_DYSYMTAB,
    mach_o.LC_ENCRYPTION_INFO_64, mach_o.LC_ID_DYLIB, mach_o.LC_UUID,
    mach_o.LC_VERSION_MIN_IPHONEOS, mach_o.LC_LOAD_DYLIB, mach_o.LC_FUNCTION_STARTS,
    mach_o.LC_DATA_IN_CODE, mach_o.LC_CODE_SIGNATURE,
}
SINGLE_COMMANDS = LOAD_COMMANDS - {mach_o.LC_SEGMENT_64, mach_o.LC_LOAD_DYLIB}


class Package:
    """A package taken apart. Raises ArchiveError or MachOError when that can't be done."""

    def __init__(self, data):
        self.members = archive.unpack(data)
        contents = dict(self.members)
        if [name for name, _ in self.members] != ["debian-binary", "control.tar.gz", "data.tar.gz"]:
            raise archive.ArchiveError(f"its members are {', '.join(contents)}")
        if contents["debian-binary"] != b"2.0\n":
            raise archive.ArchiveError("it is of another format than 2.0")
        self.control_entries = archive.untar(contents["control.tar.gz"])
        self.entries = archive.untar(contents["data.tar.gz"])
        self.files = {entry.name.removeprefix("./"): data
                      for entry, data in self.entries if entry.isreg()}
        if build.DYLIB not in self.files:
            raise archive.ArchiveError(f"it has no {build.DYLIB}")
        self.dylib = mach_o.Dylib(self.files[build.DYLIB])


def stub_symbols(root):
    """From the link stubs: for each install name, the names that it gives."""
    stubs = {}
    for path in sorted((root / "package/stubs").glob("*.tbd")):
        text = path.read_text(encoding="utf-8")
        name = re.search(r"install-name: '(.*)'", text).group(1)
        stubs[name] = set(re.findall(r"^ +- (\w+)$", text, flags=re.M))
    return stubs


def without_underscore(name):
    return name.removeprefix("_")


# ---- The archive ---------------------------------------------------------------------------------

def control(package, root):
    texts = {entry.name.removeprefix("./"): data for entry, data in package.control_entries
             if entry.isreg()}
    if set(texts) != {"control"}:
        yield f"the control archive holds {', '.join(sorted(texts))} instead of just 'control'"
        return
    fields = dict(re.findall(r"^([\w-]+): (.*)$", texts["control"].decode(), flags=re.M))
    for name in CONTROL_FIELDS:
        if not fields.get(name):
            yield f"the control file has no {name}"
    wanted = FIXED_FIELDS | {"Version": build.version(root), "Installed-Size": str(
        sum(-(-len(data) // 1024) for data in package.files.values()))}
    for name, value in wanted.items():
        if fields.get(name, value) != value:
            yield f"{name} is '{fields[name]}' instead of '{value}'"


def file_list(package, _):
    for name in sorted(set(package.files) ^ set(FILE_MODES)):
        yield f"{name} is missing" if name in FILE_MODES else f"{name} does not belong there"
    for entry, _ in package.entries + package.control_entries:
        if not entry.isreg() and not entry.isdir():
            yield f"{entry.name} is neither a file nor a directory"


def modes_and_owner(package, _):
    for entry, _ in package.entries + package.control_entries:
        name = entry.name.removeprefix("./")
        mode = 0o755 if entry.isdir() else FILE_MODES.get(name, 0o644)
        if entry.mode != mode:
            yield f"{name} has mode {entry.mode:04o} instead of {mode:04o}"
        if (entry.uid, entry.gid, entry.uname) != (0, 0, "root"):
            yield f"{name} belongs to {entry.uid}:{entry.gid}, not to root"


def filter_list(package, _):
    data = package.files.get(build.FILTER, b"")
    try:
        if not data.startswith(b"bplist00"):
            yield "it is not in binary form"
        elif plistlib.loads(data) != {"Filter": {"Bundles": ["com.apple.springboard"]}}:
            yield "it names something else than com.apple.springboard alone"
    except (plistlib.InvalidFileException, ValueError) as error:
        yield f"it does not parse: {error}"


# ---- The library ---------------------------------------------------------------------------------

def shape(package, _):
    library = package.dylib
    if (library.cpu, library.file_type) != (mach_o.CPU["arm64"], mach_o.DYLIB):
        yield "it is no arm64 dynamic library"
    if len(library.data) > SIZE_LIMIT:
        yield f"it has {len(library.data)} bytes, more than {SIZE_LIMIT}"


def load_commands(package, root):
    library = package.dylib
    for command in sorted(set(library.commands) - LOAD_COMMANDS):
        yield f"load command {command:#x} does not belong there"
    for command in sorted(SINGLE_COMMANDS):
        if (count := library.commands.count(command)) != 1:
            yield f"load command {command:#x} is there {count} times instead of once"
    if library.install_name != build.INSTALL_NAME:
        yield f"the install name is {library.install_name} instead of {build.INSTALL_NAME}"
    if library.minimum_version != build.MINIMUM_VERSION:
        yield f"the minimum version is {library.minimum_version}, not {build.MINIMUM_VERSION}"
    # What frameworks call their compatibility version differs between phones; ours suits any.
    for name, version in zip(library.dependencies, library.least_versions):
        if version != 0:
            yield f"it wants {name} in version {version >> 16} or later"
    for name in sorted(set(library.dependencies) ^ set(stub_symbols(root))):
        yield f"it loads {name}" if name in library.dependencies else f"it does not load {name}"


def initializers(package, _):
    sections = package.dylib.sections
    count = sum(section.size // 8 for section in sections
                if section.type == mach_o.MOD_INIT_FUNC_POINTERS)
    count += sum(section.size // 4 for section in sections
                 if section.type == mach_o.INIT_FUNC_OFFSETS)
    if count != 1:
        yield f"it has {count} initializers instead of one"


def exports(package, _):
    library, public = package.dylib, interface.public_names()
    found = library.exported_names() | {s.name for s in library.symbols if s.is_exported}
    found = {without_underscore(name) for name in found}
    for name in sorted(found ^ public):
        yield f"it does not export {name}" if name in public else f"it exports {name}"


def undefined_symbols(package, root):
    library, stubs = package.dylib, stub_symbols(root)
    taken = library.bound_names()
    taken |= {(s.library_ordinal, s.name) for s in library.symbols if s.is_undefined}
    known = interface.platform_names() | interface.RUNTIME_NAMES | {"dyld_stub_binder"}
    for ordinal, name in sorted(taken):
        source = (library.dependencies[ordinal - 1] if 0 < ordinal <= len(library.dependencies)
                  else f"library number {ordinal}")
        if without_underscore(name) not in known:
            yield f"it takes {name}, which the platform's interface does not name"
        elif name not in stubs.get(source, ()):
            yield f"it takes {name} from {source}"


def link_stubs(_, root):
    given = [without_underscore(name) for names in stub_symbols(root).values() for name in names]
    platform = interface.platform_names()
    for name in sorted(name for name in set(given) if given.count(name) > 1):
        yield f"{name} is in two stubs"
    for name in sorted(platform - set(given)):
        yield f"{name} is in no stub"
    for name in sorted(set(given) - platform - interface.RUNTIME_NAMES - {"dyld_stub_binder"}):
        yield f"{name} is in a stub, but the platform's interface does not name it"


def signature(package, _):
    yield from code_signature.complaints(package.dylib)


def no_debug_symbols(package, _):
    for section in package.dylib.sections:
        if section.segment == "__DWARF" or section.name.startswith("__debug"):
            yield f"it has a section {section.segment},{section.name}"
    if count := sum(symbol.is_debug for symbol in package.dylib.symbols):
        yield f"it has {count} debugging symbols"


def no_build_paths(package, root):
    own_paths = (str(root), str(pathlib.Path.home()))
    for name, data in sorted(package.files.items()):
        for found in sorted(set(re.findall(rb"/[\w.+-]+(?:/[\w.+ -]+)+", data))):
            path = found.decode()
            in_url = re.search(rb"\w:/" + re.escape(found), data)
            if path.startswith(own_paths) or not (path.startswith(PHONE_PLACES) or in_url):
                yield f"{name} holds the path {path}"


CHECKS = (
    ("control file", control),
    ("list of files", file_list),
    ("modes and owner", modes_and_owner),
    ("filter", filter_list),
    ("arm64 dynamic library of at most 96 KiB", shape),
    ("load commands, install name, minimum version", load_commands),
    ("exactly one initializer", initializers),
    ("exports exactly the public names", exports),
    ("takes only what the platform's interface names", undefined_symbols),
    ("link stubs give exactly what the platform's interface names", link_stubs),
    ("hash of every page in both signatures", signature),
    ("no debugging symbols", no_debug_symbols),
    ("no path of the build machine", no_build_paths),
)


def verify(data, root):
    """Pairs of a check's title and its complaints; complaints alone when it can't be taken apart."""
    try:
        package = Package(data)
    except (archive.ArchiveError, mach_o.MachOError) as error:
        return [("package can be taken apart", [str(error)])]
    return [(title, list(check(package, root))) for title, check in CHECKS]
