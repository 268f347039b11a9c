"""Checks a built package as a repository's gatekeeper would, from its bytes alone.

Every check is a function of the parsed package that gives what is wrong, in words.
"""

import bisect
import collections
import gzip
import io
import pathlib
import plistlib
import re
import tarfile
import zlib

from debian.arfile import ArError
from debian.changelog import Changelog, ChangelogParseError
from debian.debfile import DebFile

from package import build, code_signature, mach_o, settings_pane
from tools import interface

CONTROL_FIELDS = ("Package", "Name", "Version", "Architecture", "Section", "Maintainer", "Author",
                  "Depends", "Installed-Size", "Description")
FIXED_FIELDS = {"Package": build.PACKAGE, "Name": "Hushlane", "Architecture": "iphoneos-arm",
                "Section": "Tweaks", "Depends": "mobilesubstrate, preferenceloader, firmware (>= 8.0), "
                           "firmware (<< 12.0)"}
FILE_MODES = {build.DYLIB: 0o755, build.FILTER: 0o644, build.PANE: 0o755, build.PANE_ENTRY: 0o644,
              build.DOCUMENTS + "copyright": 0o644, build.CHANGELOG: 0o644,
              **{build.BUNDLE + name: 0o644 for name in ("Info.plist", "Root.plist", *build.ICONS)}}
LOAD_COMMANDS = {
    mach_o.LC_SEGMENT_64, mach_o.LC_DYLD_INFO_ONLY, mach_o.LC_SYMTAB, mach_o.LC_DYSYMTAB,
    mach_o.LC_ENCRYPTION_INFO_64, mach_o.LC_ID_DYLIB, mach_o.LC_UUID,
    mach_o.LC_VERSION_MIN_IPHONEOS, mach_o.LC_LOAD_DYLIB, mach_o.LC_FUNCTION_STARTS,
    mach_o.LC_DATA_IN_CODE, mach_o.LC_CODE_SIGNATURE,
}
SINGLE_COMMANDS = LOAD_COMMANDS - {mach_o.LC_SEGMENT_64, mach_o.LC_LOAD_DYLIB}
SEGMENTS = [("__TEXT", mach_o.READ | mach_o.EXECUTE), ("__DATA", mach_o.READ | mach_o.WRITE),
            ("__LINKEDIT", mach_o.READ)]
# Names and kinds. Others can make a loader run or redirect code without any initializer.
SECTIONS = {
    "__text": mach_o.REGULAR, "__stubs": mach_o.STUBS, "__stub_helper": mach_o.REGULAR,
    "__const": mach_o.REGULAR, "__cstring": mach_o.C_STRINGS, "__literal4": mach_o.LITERALS_4,
    "__literal8": mach_o.LITERALS_8, "__literal16": mach_o.LITERALS_16,
    "__gcc_except_tab": mach_o.REGULAR, "__unwind_info": mach_o.REGULAR,
    "__eh_frame": mach_o.REGULAR, "__got": mach_o.POINTERS,
    "__la_symbol_ptr": mach_o.LAZY_POINTERS, "__data": mach_o.REGULAR,
    "__mod_init_func": mach_o.INITIALIZERS, "__common": mach_o.ZERO_FILL,
    "__bss": mach_o.ZERO_FILL,
}
# A class brings more, and no initializer.
PANE_SECTIONS = {
    **SECTIONS, "__cfstring": mach_o.REGULAR, "__objc_selrefs": mach_o.LITERAL_POINTERS,
    "__objc_const": mach_o.REGULAR, "__objc_data": mach_o.REGULAR,
    "__objc_classlist": mach_o.REGULAR, "__objc_imageinfo": mach_o.REGULAR,
}

# What one of the binaries may be, take and give.
Binary = collections.namedtuple(
    "Binary", "path install_name kibibytes sections initializers exports takes stubs")
LIBRARY = Binary(
    build.DYLIB, build.INSTALL_NAME, 96, SECTIONS, 1, interface.public_names(),
    interface.platform_names(), build.STUBS)
PANE = Binary(
    build.PANE, build.PANE_INSTALL_NAME, 64, PANE_SECTIONS, 0, interface.pane_names(),
    interface.platform_names() | interface.pane_platform_names() | settings_pane.CLASS_NAMES,
    build.PANE_STUBS)


class DamagedPackage(Exception):
    pass


class Package:
    """A package taken apart. Raises DamagedPackage or MachOError when that can't be done."""

    def __init__(self, data):
        try:
            self._read(DebFile(fileobj=io.BytesIO(data)), len(data))
        except (ArError, tarfile.TarError, zlib.error, OSError, EOFError, ValueError) as error:
            raise DamagedPackage(f"damaged archive: {error}") from error
        for path in (build.DYLIB, build.PANE):
            if path not in self.files:
                raise DamagedPackage(f"it has no {path}")
        self.dylib, self.pane = (mach_o.Dylib(self.files[path])
                                 for path in (build.DYLIB, build.PANE))

    def _read(self, archive, size):
        members = 8 + sum(60 + member.size + member.size % 2 for member in archive.members)
        if members != size:
            raise DamagedPackage(f"its members take {members} bytes, but it has {size}")
        if archive.getnames() != ["debian-binary", "control.tar.gz", "data.tar.gz"]:
            raise DamagedPackage(f"its members are {', '.join(archive.getnames())}")
        if archive.version != b"2.0":
            raise DamagedPackage("it is of another format than 2.0")
        self.control = archive.debcontrol()
        self.control_entries = archive.control.tgz().getmembers()
        self.entries = archive.data.tgz().getmembers()
        self.files = {entry.name.removeprefix("./"): archive.data.tgz().extractfile(entry).read()
                      for entry in self.entries if entry.isreg()}


# What a line of a link stub gives, by the list that it stands in.
STUB_SYMBOLS = {"symbols": ("{}",), "objc-classes": ("_OBJC_CLASS_$_{}", "_OBJC_METACLASS_$_{}"),
                "objc-ivars": ("_OBJC_IVAR_$_{}",)}


def stub_entries(root, folder):
    """From the link stubs of a folder: the install name, and the names that a line gives."""
    for path in sorted((root / folder).glob("*.tbd")):
        text = path.read_text(encoding="utf-8")
        install_name, kind = re.search(r"install-name: '(.*)'", text).group(1), None
        for line in text.splitlines():
            if found := re.fullmatch(r" +([\w-]+):", line):
                kind = found.group(1)
            elif found := re.fullmatch(r" +- ([\w.]+)", line):
                yield install_name, {name.format(found.group(1)) for name in STUB_SYMBOLS[kind]}


def stub_symbols(root, folders):
    """For each install name, the names that it gives."""
    stubs = collections.defaultdict(set)
    for folder in folders:
        for install_name, names in stub_entries(root, folder):
            stubs[install_name] |= names
    return stubs


def without_underscore(name):
    return name.removeprefix("_")


# ---- The archive ---------------------------------------------------------------------------------

def control(package, root):
    fields = package.control
    for name in CONTROL_FIELDS:
        if not fields.get(name):
            yield f"the control file has no {name}"
    for name in sorted(set(fields) - set(CONTROL_FIELDS)):
        yield f"{name} does not belong there"
    wanted = FIXED_FIELDS | {"Version": build.version(root), "Installed-Size": str(
        sum(-(-len(data) // 1024) for data in package.files.values()))}
    for name, value in wanted.items():
        if fields.get(name, value) != value:
            yield f"{name} is '{fields[name]}' instead of '{value}'"


def file_list(package, _):
    for entries, files in ((package.entries, FILE_MODES), (package.control_entries, ["control"])):
        wanted = {f"./{name}" for name in files} | {
            f"./{folder}/" for name in files for folder in pathlib.PurePath(name).parents}
        found = [f"./{entry.name.removeprefix('./')}" + "/" * entry.isdir() for entry in entries]
        for name in sorted(wanted ^ set(found)):
            yield f"{name} is missing" if name in wanted else f"{name} does not belong there"
        if len(found) != len(set(found)):
            yield "an entry is there twice"
        for entry in entries:
            if not entry.isreg() and not entry.isdir():
                yield f"{entry.name} is neither a file nor a directory"


def modes_and_owner(package, _):
    for entry in package.entries + package.control_entries:
        name = entry.name.removeprefix("./")
        mode = 0o755 if entry.isdir() else FILE_MODES.get(name, 0o644)
        if entry.mode != mode:
            yield f"{name} has mode {entry.mode:04o} instead of {mode:04o}"
        if (entry.uid, entry.gid, entry.uname, entry.gname) != (0, 0, "root", "root"):
            yield (f"{name} belongs to {entry.uname}:{entry.gname} ({entry.uid}:{entry.gid}), "
                   "not to root")


def filter_list(package, _):
    data = package.files.get(build.FILTER, b"")
    try:
        if not data.startswith(b"bplist00"):
            yield "it is not in binary form"
        elif plistlib.loads(data) != {"Filter": {"Bundles": ["com.apple.springboard"]}}:
            yield "it names something else than com.apple.springboard alone"
    except (plistlib.InvalidFileException, ValueError) as error:
        yield f"it does not parse: {error}"


def changelog(package, _):
    try:
        text = gzip.decompress(package.files[build.CHANGELOG]).decode()
        newest = Changelog(text, strict=True)
    except (KeyError, OSError, EOFError, ValueError, ChangelogParseError) as error:
        yield f"it can't be read: {error}"
        return
    for name, value in (("Package", newest.package), ("Version", str(newest.version)),
                        ("Maintainer", newest.author)):
        if package.control.get(name) != value:
            yield f"its newest entry has {name} {value}"


# ---- A binary ------------------------------------------------------------------------------------

def shape(library, binary, _):
    if (library.cpu, library.cpu_variant, library.file_type) != (
            mach_o.CPU["arm64"], 0, mach_o.DYLIB):
        yield "it is no arm64 dynamic library"
    if len(library.data) > 1024 * binary.kibibytes:
        yield f"it has {len(library.data)} bytes, more than {1024 * binary.kibibytes}"


def load_commands(library, binary, root):
    for command in sorted(set(library.commands) - LOAD_COMMANDS):
        yield f"load command {command:#x} does not belong there"
    for command in sorted(SINGLE_COMMANDS):
        if (count := library.commands.count(command)) != 1:
            yield f"load command {command:#x} is there {count} times instead of once"
    if library.install_name != binary.install_name:
        yield f"the install name is {library.install_name} instead of {binary.install_name}"
    if library.minimum_version != build.MINIMUM_VERSION:
        yield f"the minimum version is {library.minimum_version}, not {build.MINIMUM_VERSION}"
    if library.encryption:
        yield "it is marked as encrypted"
    # What frameworks call their compatibility version differs between phones; ours suits any.
    for name, version in zip(library.dependencies, library.least_versions):
        if version != 0:
            yield f"it wants {name} in version {version >> 16} or later"
    taken = {name for _, name in taken_symbols(library)}
    needed = {name for name, given in stub_symbols(root, binary.stubs).items() if given & taken}
    for name in sorted(set(library.dependencies) ^ needed):
        yield f"it loads {name}" if name in library.dependencies else f"it does not load {name}"


def layout(library, binary, _):
    segments = [(segment.name, *segment.protections) for segment in library.segments]
    if segments != [(name, protection, protection) for name, protection in SEGMENTS]:
        yield f"its segments and their protections are {segments}"
    for section in library.sections:
        if binary.sections.get(section.name) != section.type:
            yield f"section {section.segment},{section.name} does not belong there"


def initializers(library, binary, _):
    count = sum(section.size // 8 for section in library.sections
                if section.type == mach_o.INITIALIZERS)
    if count != binary.initializers:
        yield f"it has {count} initializers instead of {binary.initializers}"


def exports(library, binary, _):
    for names, table in ((library.exported_names(), "its export trie"),
                         ({s.name for s in library.symbols if s.is_exported}, "its symbol table")):
        for name in sorted({without_underscore(name) for name in names} ^ binary.exports):
            yield (f"{table} has no {name}" if name in binary.exports
                   else f"{table} exports {name}")


def taken_symbols(library):
    """Pairs of the library's ordinal and the name."""
    return library.bound_names() | {(s.library_ordinal, s.name)
                                    for s in library.symbols if s.is_undefined}


def undefined_symbols(library, binary, root):
    stubs = stub_symbols(root, binary.stubs)
    known = binary.takes | interface.RUNTIME_NAMES | {"dyld_stub_binder"}
    for ordinal, name in sorted(taken_symbols(library)):
        source = (library.dependencies[ordinal - 1] if 0 < ordinal <= len(library.dependencies)
                  else f"library number {ordinal}")
        if without_underscore(name) not in known:
            yield f"it takes {name}, which the platform's interface does not name"
        elif name not in stubs.get(source, ()):
            yield f"it takes {name} from {source}"


def unused_stubs(library, binary, root):
    """The last folder of stubs is the binary's own."""
    taken = {name for _, name in taken_symbols(library)}
    for install_name, names in stub_entries(root, binary.stubs[-1]):
        if not names & taken:
            yield f"{' and '.join(sorted(names))} of {install_name} is in a stub, but not taken"


def bound_at_load(library, _, __):
    for _, name in sorted(library.lazily_bound_names()):
        if name != "__Unwind_Resume":  # which the code generator calls in its own way
            yield f"{name} is looked up at its first call"


def unwound_everywhere(library, _, __):
    starts, encodings = zip(*library.unwinding())
    for function in library.functions():
        entry = bisect.bisect(starts, function) - 1
        if entry < 0 or encodings[entry] == 0:
            yield f"an exception finds no way out of the function at {function:#x}"


def signature(library, _, __):
    yield from code_signature.complaints(library)


def no_debug_symbols(library, _, __):
    if count := sum(symbol.is_debug for symbol in library.symbols):
        yield f"it has {count} debugging symbols"


# ---- All of it -----------------------------------------------------------------------------------

def link_stubs(_, root):
    given = [without_underscore(name) for _, names in stub_entries(root, build.STUBS[0])
             for name in names]
    for name in sorted(name for name in set(given) if given.count(name) > 1):
        yield f"{name} is in two stubs"
    for name in sorted(interface.platform_names() - set(given)):
        yield f"{name} is in no stub"


def no_build_paths(package, root):
    on_phone = {build.INSTALL_NAME, build.PANE_INSTALL_NAME, *stub_symbols(root, build.PANE_STUBS)}
    for name, data in sorted(package.files.items()):
        for found in sorted(set(re.findall(rb"/[\w.+-]+(?:/[\w.+ -]+)+", data))):
            path = found.decode()
            if path not in on_phone and not path.startswith("/var/mobile/Library/"):
                yield f"{name} holds the path {path}"


CHECKS = (
    ("control file", control),
    ("list of files", file_list),
    ("modes and owner", modes_and_owner),
    ("filter", filter_list),
    ("changelog", changelog),
    ("link stubs give each name of the interface once", link_stubs),
    ("no path of the build machine", no_build_paths),
    *settings_pane.CHECKS,
)
BINARY_CHECKS = (
    ("an arm64 dynamic library, and small", shape),
    ("load commands, install name, minimum version", load_commands),
    ("segments and sections", layout),
    ("no initializer but the library's one", initializers),
    ("exports exactly what its header names", exports),
    ("takes only what the platform's interface names", undefined_symbols),
    ("takes all that its link stubs give", unused_stubs),
    ("bound when it is loaded", bound_at_load),
    ("unwinding for every function", unwound_everywhere),
    ("hash of every page in both signatures", signature),
    ("no debugging symbols", no_debug_symbols),
)


def verify(data, root):
    """Pairs of a check's title and its complaints; complaints alone when it can't be taken apart."""
    try:
        package = Package(data)
    except (DamagedPackage, mach_o.MachOError) as error:
        return [("package can be taken apart", [str(error)])]
    return [(title, list(check(package, root))) for title, check in CHECKS] + [
        (f"{name}: {title}", list(check(library, binary, root)))
        for name, library, binary in (("library", package.dylib, LIBRARY),
                                      ("pane", package.pane, PANE))
        for title, check in BINARY_CHECKS]
