#!/usr/bin/env python3
"""The package as it is built passes every check; each broken one is refused by the right check."""

import pathlib
import plistlib
import struct
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "script"), str(ROOT / "package")]
sys.dont_write_bytecode = True

import archive  # noqa: E402
import build  # noqa: E402
import code_signature  # noqa: E402
import interface  # noqa: E402
import mach_o  # noqa: E402
import verify  # noqa: E402

GOOD = build.package(ROOT)
LIBRARY = verify.Package(GOOD).dylib


def pack(change_files=lambda files: None, dylib=None, control=lambda text: text):
    """The good package, but for what the arguments change."""
    files = build.data_files(ROOT, dylib or LIBRARY.data)
    change_files(files)
    controls = build.control_files(ROOT, files)
    controls["control"].data = control(controls["control"].data)
    return archive.pack(controls, files)


def with_code(text, **options):
    """A package whose library has one source more."""
    with tempfile.TemporaryDirectory() as directory:
        source = pathlib.Path(directory) / "more.cpp"
        source.write_text(text, encoding="utf-8")
        return pack(dylib=build.dylib(ROOT, "arm64", extra_sources=[source], **options))


def with_file(name, *contents):
    return pack(lambda files: files.update({name: archive.File(*contents)}))


def patched(offset, *words):
    """The good library with other 32-bit words at the offset, not signed again yet."""
    data = bytearray(LIBRARY.data[:LIBRARY.signature[0]])
    struct.pack_into(f"<{len(words)}I", data, offset, *words)
    return bytes(data)


def signed(data):
    return pack(dylib=data + code_signature.signature_of(LIBRARY, data))


BUNDLES = {"Filter": {"Bundles": ["com.apple.springboard", "com.apple.MobileSMS"]}}
VISIBLE = '__attribute__((visibility("default")))'

# What is broken, how, the check that must refuse it, and in which words.
BROKEN = (
    ("second initializer",
     lambda: with_code("namespace { volatile int calls; "
                       "__attribute__((constructor)) void second() { calls = 1; } }"),
     "exactly one initializer", "it has 2 initializers instead of one"),
    ("export that is not public",
     lambda: with_code(f'extern "C" {VISIBLE} int leftOver; int leftOver = 1;'),
     "exports exactly the public names", "its symbol table exports leftOver"),
    ("exports that a loader does not find", lambda: signed(patched(LIBRARY.dyld_info[8], 0)),
     "exports exactly the public names", "its export trie has no loadABGroups"),
    ("code that may be written",
     lambda: signed(patched(LIBRARY.segments[0].command_offset + 56, 7, 7)),
     "segments and sections", "('__TEXT', 7, 7)"),
    ("calls redirected without an initializer",
     lambda: with_code('__attribute__((used, section("__DATA,__interpose"))) const void* pair[2];'),
     "segments and sections", "section __DATA,__interpose does not belong there"),
    ("platform function that is not in the interface",
     lambda: with_code(f'extern "C" int getpid(); extern "C" {VISIBLE} bool isDNDActiveNow(); '
                       "bool isDNDActiveNow() { return getpid() > 0; }",
                       link_flags=["-undefined", "dynamic_lookup"]),
     "takes only what the platform's interface names",
     "it takes _getpid, which the platform's interface does not name"),
    ("no signature", lambda: pack(dylib=patched(16, len(LIBRARY.commands) - 1)),
     "hash of every page in both signatures", "it is not signed"),
    ("bytes after the signature", lambda: pack(dylib=LIBRARY.data + b"more"),
     "hash of every page in both signatures", "it does not end with the signature"),
    ("other install name",
     lambda: pack(dylib=build.dylib(ROOT, "arm64", install_name="/usr/lib/Hushlane.dylib")),
     "load commands, install name, minimum version",
     "the install name is /usr/lib/Hushlane.dylib instead of " + build.INSTALL_NAME),
    ("later phones only",
     lambda: pack(dylib=build.dylib(ROOT, "arm64", minimum_version="9.0")),
     "load commands, install name, minimum version", "the minimum version is 9.0, not 7.0"),
    ("library of the simulator", lambda: pack(dylib=build.dylib(ROOT, "x86_64")),
     "arm64 dynamic library of at most 96 KiB", "it is no arm64 dynamic library"),
    ("library with signed pointers", lambda: signed(patched(8, 2)),
     "arm64 dynamic library of at most 96 KiB", "it is no arm64 dynamic library"),
    ("debugging symbol", lambda: signed(patched(LIBRARY.symbol_table + 4, 0x24)),
     "no debugging symbols", "it has 1 debugging symbols"),
    ("too large",
     lambda: with_code(f"{VISIBLE} extern const char large[65536]; const char large[65536] = {{1}};"),
     "arm64 dynamic library of at most 96 KiB", "more than 98304"),
    ("path of the build machine",
     lambda: with_code(f'{VISIBLE} extern const char* where; const char* where = '
                       '"/usr/lib/llvm/include/stddef.h";'),
     "no path of the build machine", "holds the path /usr/lib/llvm/include/stddef.h"),
    ("filter for another program as well",
     lambda: with_file(build.FILTER, plistlib.dumps(BUNDLES, fmt=plistlib.FMT_BINARY)),
     "filter", "it names something else than com.apple.springboard alone"),
    ("filter that is cut short",
     lambda: with_file(build.FILTER, b"bplist00\xd1"), "filter", "it does not parse"),
    ("file that everybody may write", lambda: with_file(build.DYLIB, LIBRARY.data, 0o777),
     "modes and owner", build.DYLIB + " has mode 0777 instead of 0755"),
    ("file of another owner", lambda: with_file(build.FILTER, b"", 0o644, (501, 0)),
     "modes and owner", build.FILTER + " belongs to root:wheel (501:0), not to root"),
    ("file without a use", lambda: with_file("usr/bin/extra", b""),
     "list of files", "usr/bin/extra does not belong there"),
    ("no licence", lambda: pack(lambda files: files.pop(build.DOCUMENTS + "copyright")),
     "list of files", build.DOCUMENTS + "copyright is missing"),
    ("dependency forgotten",
     lambda: pack(control=lambda text: text.replace(b"mobilesubstrate, ", b"")),
     "control file", "Depends is 'firmware (>= 7.0)' instead of"),
    ("field that forbids removal",
     lambda: pack(control=lambda text: b"Essential: yes\n" + text),
     "control file", "Essential does not belong there"),
    ("archive cut short", lambda: GOOD[:-100], "package can be taken apart", "truncated member"),
)


class VerifyTest(unittest.TestCase):
    def test_good_package_passes_every_check(self):
        for title, complaints in verify.verify(GOOD, ROOT):
            with self.subTest(title):
                self.assertEqual(complaints, [])

    def test_broken_packages_are_refused(self):
        for name, broken, title, words in BROKEN:
            with self.subTest(name):
                refused = {title: complaints
                           for title, complaints in verify.verify(broken(), ROOT) if complaints}
                self.assertIn(title, refused)
                self.assertTrue(any(words in text for text in refused[title]), refused)

    def test_every_damaged_byte_of_the_code_is_noticed(self):
        for offset in range(LIBRARY.signature[0] - 1, LIBRARY.sections[0].offset, -1009):
            damaged = bytearray(LIBRARY.data)
            damaged[offset] ^= 0x80
            library = mach_o.Dylib(LIBRARY.data)
            library.data = bytes(damaged)
            wrong = code_signature.complaints(library)
            self.assertEqual([text.split()[0] for text in wrong], ["sha1", "sha256"], offset)

    def test_the_linker_hashes_pages_alike(self):
        with tempfile.TemporaryDirectory() as directory:
            out = pathlib.Path(directory)
            objects = build.compile_slice(ROOT, "arm64", out, build.library_sources(ROOT))
            build.run(build.tool("ld64.lld"), "-dylib", "-arch", "arm64", "-platform_version",
                      "ios", "7.0", "7.0", "-adhoc_codesign", "-o", out / "signed.dylib", *objects,
                      *sorted((ROOT / "package/stubs").glob("*.tbd")))
            library = mach_o.Dylib((out / "signed.dylib").read_bytes())
        start, size = library.signature
        hashes = b"".join(code_signature.page_hashes(library.data[:start], 2))
        self.assertIn(hashes, library.data[start:start + size])

    def test_debian_tools_read_the_package(self):
        with tempfile.TemporaryDirectory() as directory:
            package = pathlib.Path(directory) / build.file_name(ROOT)
            package.write_bytes(GOOD)
            fields = subprocess.run(["dpkg-deb", "--show", package], check=True,
                                    capture_output=True, text=True).stdout
            build.run("dpkg-deb", "--extract", package, directory)
            extracted = (pathlib.Path(directory) / build.DYLIB).read_bytes()
        self.assertEqual(fields.split(), [build.PACKAGE, build.version(ROOT)])
        self.assertEqual(extracted, LIBRARY.data)


class DeclaredNamesTest(unittest.TestCase):
    def test_declarations_are_read(self):
        for text, names in (
                ("int a(void (*call)(int), char b);", {"a"}),
                ("extern const long a[3];\nextern bool b;", {"a", "b"}),
                ("struct c;\ntypedef struct c* d;\nenum { e = 1, f };", set()),
                ("#define X(a) \\\n  b(a);\n/* int c(); */ // int d();\nid e() noexcept;", {"e"}),
                ('int a();\nextern "C" {\nint b();\n}', {"b"})):
            with self.subTest(text):
                self.assertEqual(interface.declared_names("some.h", text), names)

    def test_what_cannot_be_read_is_an_error(self):
        with self.assertRaises(ValueError):
            interface.declared_names("some.h", "int a() { return 1; }")


if __name__ == "__main__":
    unittest.main()
