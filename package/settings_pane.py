"""Checks of the settings pane: that the Settings app finds it, and that it finds what it names."""

import plistlib
import struct

from package import build, mach_o

CLASS = "HLSettingsController"
SUPERCLASS = "PSListController"
# The superclass's variable that the class fills.
VARIABLE = f"_OBJC_IVAR_$_{SUPERCLASS}._specifiers"
# What a compiler takes for a class and a constant string, without the underscore in front.
CLASS_NAMES = frozenset({
    VARIABLE[1:], f"OBJC_CLASS_$_{SUPERCLASS}", f"OBJC_METACLASS_$_{SUPERCLASS}",
    "OBJC_METACLASS_$_NSObject", "_objc_empty_cache", "__CFConstantStringClassReference",
})
# How the runtime writes methods that give an object: of none, and of one object.
GIVES, GIVES_FOR_ONE = "@16@0:8", "@24@0:8@16"
ICON_SIZES = dict(zip(build.ICONS, (29, 58, 87)))


def read(package, path):
    """The property list; an empty one when it is none, which lacks all that is wanted."""
    try:
        return plistlib.loads(package.files.get(path, b""), fmt=plistlib.FMT_BINARY)
    except (plistlib.InvalidFileException, ValueError, IndexError, struct.error):
        return {}


def cells(package):
    return read(package, build.BUNDLE + "Root.plist").get("items", [])


def the_class(package, _):
    try:
        found = list(package.pane.classes())
    except mach_o.MachOError as error:
        yield str(error)
        return
    if [each.name for each in found] != [CLASS]:
        yield f"its classes are {', '.join(each.name for each in found) or 'none'}, not {CLASS}"
        return
    above = (f"_OBJC_CLASS_$_{SUPERCLASS}", f"_OBJC_METACLASS_$_{SUPERCLASS}",
             "_OBJC_METACLASS_$_NSObject")
    if (found[0].superclass, found[0].metaclass_superclass, found[0].root) != above:
        yield f"{CLASS} is derived from {found[0].superclass}, not from {SUPERCLASS}"
    wanted = {"specifiers": GIVES, **{
        cell[key]: GIVES_FOR_ONE for cell in cells(package)
        for key in ("valuesDataSource", "titlesDataSource") if key in cell}}
    if found[0].methods != wanted or found[0].class_methods:
        yield f"its methods are {found[0].methods}, not {wanted}"
    if VARIABLE not in {name for _, name in package.pane.bound_names()}:
        yield f"it does not take {VARIABLE}, which it has to fill"


def information(package, root):
    wanted = {
        "CFBundleDevelopmentRegion": "en", "CFBundleExecutable": build.PANE[len(build.BUNDLE):],
        "CFBundleIdentifier": build.PACKAGE + ".settings", "CFBundleInfoDictionaryVersion": "6.0",
        "CFBundleName": "Hushlane", "CFBundlePackageType": "BNDL", "CFBundleSignature": "????",
        "CFBundleShortVersionString": build.version(root), "CFBundleVersion": build.version(root),
        "NSPrincipalClass": CLASS}
    yield from differences(read(package, build.BUNDLE + "Info.plist"), wanted)


def entry(package, _):
    found = read(package, build.PANE_ENTRY).get("entry", {})
    yield from differences(found, {
        "cell": "PSLinkCell", "label": "Hushlane", "icon": build.ICONS[0], "detail": CLASS,
        "bundle": build.BUNDLE.rstrip("/").rsplit("/")[-1].removesuffix(".bundle"),
        "isController": True})


def differences(found, wanted):
    for key in sorted(wanted.keys() | found.keys()):
        if found.get(key) != wanted.get(key):
            yield f"{key} is {found.get(key)!r} instead of {wanted.get(key)!r}"


def description(package, _):
    items = cells(package)
    if not items or items[0].get("cell") != "PSGroupCell":
        yield "it does not begin with a section"
    for cell in items:
        name = cell.get("label")
        if cell.get("cell") not in ("PSGroupCell", "PSSwitchCell", "PSLinkListCell"):
            yield f"{name} is a cell of the kind {cell.get('cell')}"
        elif cell["cell"] != "PSGroupCell":
            for key in ("key", "defaults", "default", "PostNotification", "label"):
                if key not in cell:
                    yield f"{name} has no {key}"
        if cell.get("cell") == "PSLinkListCell" and cell.get("detail") != "PSListItemsController":
            yield f"{name} opens no list"


def icons(package, _):
    for name, size in ICON_SIZES.items():
        image = package.files.get(build.BUNDLE + name, b"")
        if image[:8] != b"\x89PNG\r\n\x1a\n" or struct.unpack_from(">2I", image, 16) != (size, size):
            yield f"{name} is no picture of {size} by {size}"


CHECKS = (
    ("class of the settings pane", the_class),
    ("Info.plist of the settings pane", information),
    ("entry in the list of the Settings app", entry),
    ("description of the settings page", description),
    ("icons", icons),
)
