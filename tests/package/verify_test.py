#!/usr/bin/python3
"""The package as it is built passes every check; each broken one is refused by the right check."""

import gzip
import pathlib
import plistlib
import struct
import sys
import tempfile
import unittest
from unittest import mock

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT))
sys.dont_write_bytecode = True

from package import build, code_signature, mach_o, verify  # noqa: E402

GOOD = build.package(ROOT)
LIBRARY, PANE = verify.Package(GOOD).dylib, verify.Package(GOOD).pane


def pack(change_files=lambda files: None, dylib=LIBRARY.data, pane=PANE.data,
         control=lambda text: text):
    """The good package, but for what the arguments change."""
    files = build.data_files(ROOT, dylib, pane)
    change_files(files)
    return build.pack(files, build.File(control(build.control_file(ROOT, files).data)))


def with_code(text, **options):
    """A package whose library has one source more."""
    with tempfile.TemporaryDirectory() as directory:
        source = pathlib.Path(directory) / "more.cpp"
        source.write_text(text, encoding="utf-8")
        return linked("arm64", extra_sources=[source], **options)


def linked(*arguments, **options):
    return pack(dylib=build.dylib(ROOT, *arguments, **options))


def with_file(name, *contents):
    return pack(lambda files: files.update({name: build.File(*contents)}))


def with_flags(flags):
    with mock.patch.multiple(build, PHONE_FLAGS=flags, SLICE_FLAGS={}):
        return linked("arm64")


def with_description(change):
    """A package whose settings page is described otherwise."""
    description = plistlib.loads((ROOT / "settings_pane/Root.plist").read_bytes())
    change(description["items"])
    return with_file(build.BUNDLE + "Root.plist", plistlib.dumps(description, fmt=plistlib.FMT_BINARY))


def with_class(change):
    """A package whose pane's class is written otherwise."""
    with tempfile.TemporaryDirectory() as directory:
        source = pathlib.Path(directory) / "controller.mm"
        source.write_text(change((ROOT / build.PANE_CLASS).read_text(encoding="utf-8")))
        return pack(pane=build.pane(ROOT, "arm64", [source]))


def without_list(text):
    """The class, made of nothing."""
    return text.partition("@interface HLSettings")[0] + (
        "@interface HLSettingsController : NSObject\n@end\n"
        "@implementation HLSettingsController\n@end\n")


def patched(offset, *words):
    """The good library with other 32-bit words at the offset, not signed again yet."""
    data = bytearray(LIBRARY.data[:LIBRARY.signature[0]])
    struct.pack_into(f"<{len(words)}I", data, offset, *words)
    return bytes(data)


def signed(data):
    return pack(dylib=data + code_signature.signature_of(LIBRARY, data))


BUNDLES = {"Filter": {"Bundles": ["com.apple.springboard", "com.apple.MobileSMS"]}}
SHOWN = 'extern "C" __attribute__((visibility("default")))'
# What must be said of which broken packages. The words tell which check says them.
BROKEN = (
    ("it has 2 initializers instead of 1", lambda: with_code(
        "static volatile int n; __attribute__((constructor)) static void more() { n = 1; }")),
    ("its symbol table exports leftOver",
     lambda: with_code(f"{SHOWN} int leftOver; int leftOver = 1;")),
    ("its export trie has no loadABGroups", lambda: signed(patched(LIBRARY.dyld_info[8], 0))),
    ("its segments and their protections are [('__TEXT', 7, 7)",
     lambda: signed(patched(LIBRARY.segments[0].command_offset + 56, 7, 7))),
    ("section __DATA,__interpose does not belong there", lambda: with_code(
        '__attribute__((used, section("__DATA,__interpose"))) const void* redirection[2];')),
    ("it takes _getpid, which the platform's interface does not name", lambda: with_code(
        f'extern "C" int getpid(); {SHOWN} int more(); int more() {{ return getpid(); }}',
        link_flags=["-undefined", "dynamic_lookup"])),
    ("_NSLog is looked up at its first call", lambda: with_flags([])),
    ("an exception finds no way out of the function at", lambda: with_code(
        f'{SHOWN} void more(); asm(".globl _more\\n_more: ret");'
        f'{SHOWN} void caller(); void caller() {{ more(); }}')),
    ("it is not signed", lambda: pack(dylib=patched(16, len(LIBRARY.commands) - 1))),
    ("it does not end with the signature", lambda: pack(dylib=LIBRARY.data + b"more")),
    ("the install name is /usr/lib/Hushlane.dylib instead of " + build.INSTALL_NAME,
     lambda: linked("arm64", install_name="/usr/lib/Hushlane.dylib")),
    ("the minimum version is 9.0, not 8.0", lambda: linked("arm64", minimum_version="9.0")),
    ("it is no arm64 dynamic library", lambda: linked("x86_64")),
    ("it is no arm64 dynamic library", lambda: signed(patched(8, 2))),  # signed pointers
    ("more than 98304", lambda: with_code(f"{SHOWN} const char large[65536]; "
                                          "const char large[65536] = {1};")),
    ("it has 1 debugging symbols", lambda: signed(patched(LIBRARY.symbol_table + 4, 0x24))),
    ("holds the path /usr/lib/llvm/include/stddef.h", lambda: with_code(
        f'{SHOWN} const char* at; const char* at = "/usr/lib/llvm/include/stddef.h";')),
    ("it names something else than com.apple.springboard alone",
     lambda: with_file(build.FILTER, plistlib.dumps(BUNDLES, fmt=plistlib.FMT_BINARY))),
    ("it does not parse", lambda: with_file(build.FILTER, b"bplist00\xd1")),
    (build.DYLIB + " has mode 0777 instead of 0755",
     lambda: with_file(build.DYLIB, LIBRARY.data, 0o777)),
    ("usr/bin/extra does not belong there", lambda: with_file("usr/bin/extra", b"")),
    (build.DOCUMENTS + "copyright is missing",
     lambda: pack(lambda files: files.pop(build.DOCUMENTS + "copyright"))),
    ("its methods are {'specifiers': '@16@0:8', 'groupValues:': ",
     lambda: with_class(lambda text: text.replace("groupTitles:", "namesOfGroups:"))),
    ("HLSettingsController is derived from _OBJC_CLASS_$_NSObject, not from PSListController",
     lambda: with_class(without_list)),
    ("it does not take _OBJC_IVAR_$_PSListController._specifiers, which it has to fill",
     lambda: with_class(without_list)),
    ("its classes are HLPage, not HLSettingsController",
     lambda: with_class(lambda text: text.replace("HLSettingsController", "HLPage"))),
    ("it has 1 initializers instead of 0", lambda: with_class(lambda text: text + (
        "static volatile int n; __attribute__((constructor)) static void run() { n = 1; }"))),
    ("NSPrincipalClass is None instead of 'HLSettingsController'",
     lambda: with_file(build.BUNDLE + "Info.plist", b"bplist00")),
    ("bundle is 'Other' instead of 'Hushlane'", lambda: with_file(build.PANE_ENTRY, plistlib.dumps(
        {"entry": {"bundle": "Other"}}, fmt=plistlib.FMT_BINARY))),
    ("icon@2x.png is no picture of 58 by 58", lambda: with_file(
        build.BUNDLE + "icon@2x.png", (ROOT / "settings_pane/icon.png").read_bytes())),
    ("it does not begin with a section", lambda: with_description(lambda items: items.pop(0))),
    ("Sunday has no PostNotification",
     lambda: with_description(lambda items: items[-7].pop("PostNotification"))),
    ("Depends is 'preferenceloader, firmware (>= 8.0), firmware (<< 12.0)' instead of",
     lambda: pack(control=lambda text: text.replace(b"mobilesubstrate, ", b""))),
    ("Essential does not belong there",
     lambda: pack(control=lambda text: b"Essential: yes\n" + text)),
    (f"its members take {len(GOOD)} bytes, but it has {len(GOOD) - 1}", lambda: GOOD[:-1]),
    ("its newest entry has Version 0.9", lambda: with_file(build.CHANGELOG, gzip.compress(
        (ROOT / "package/changelog").read_bytes().replace(b"(1.0.0)", b"(0.9)")))),
    ("damaged archive", lambda: GOOD[:8] + GOOD[9:]),
)


class VerifyTest(unittest.TestCase):
    def test_good_package_passes_every_check(self):
        for title, complaints in verify.verify(GOOD, ROOT):
            self.assertEqual(complaints, [], title)

    def test_broken_packages_are_refused(self):
        for words, broken in BROKEN:
            with self.subTest(words):
                complaints = [text for _, texts in verify.verify(broken(), ROOT) for text in texts]
                self.assertTrue(any(words in text for text in complaints), complaints)

    def test_another_owner_is_refused(self):
        package = verify.Package(GOOD)
        package.entries[-1].uid = 501
        self.assertIn("belongs to root:root (501:0), not to root",
                      "".join(verify.modes_and_owner(package, ROOT)))

    def test_dpkg_installs_upgrades_and_removes_it(self):
        newer = pack(control=lambda text: text.replace(b"Version: ", b"Version: 1:"))
        with tempfile.TemporaryDirectory() as directory:
            phone = pathlib.Path(directory) / "phone"
            for folder in ("info", "updates"):
                (phone / "var/lib/dpkg" / folder).mkdir(parents=True)
            (phone / "var/lib/dpkg/status").touch()
            archive = pathlib.Path(directory) / "package.deb"

            def dpkg(*arguments):
                build.run("dpkg", f"--root={phone}", f"--log={directory}/log",
                          "--force-architecture,depends,not-root,bad-path", *arguments)
                names = [path.relative_to(phone) for path in phone.rglob("*") if path.is_file()]
                return {str(name) for name in names if not name.is_relative_to("var/lib/dpkg")}

            for package in (GOOD, newer):
                archive.write_bytes(package)
                self.assertEqual(dpkg("--install", archive), set(verify.FILE_MODES))
            self.assertEqual((phone / build.DYLIB).read_bytes(), LIBRARY.data)
            self.assertEqual(dpkg("--remove", build.PACKAGE), set())

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
            build.run(build.LINKER, "-dylib", "-arch", "arm64", "-platform_version",
                      "ios", "8.0", "8.0", "-adhoc_codesign", "-o", out / "signed.dylib", *objects,
                      *sorted((ROOT / "package/stubs").glob("*.tbd")))
            library = mach_o.Dylib((out / "signed.dylib").read_bytes())
        start, size = library.signature
        hashes = b"".join(code_signature.page_hashes(library.data[:start], 2))
        self.assertIn(hashes, library.data[start:start + size])


if __name__ == "__main__":
    unittest.main()
