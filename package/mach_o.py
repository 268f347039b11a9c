"""Reads a 64-bit Mach-O dynamic library as far as building and checking one need it.

Layouts and numbers: <mach-o/loader.h> and <mach-o/nlist.h>, as published in
https://github.com/apple-oss-distributions/xnu/tree/main/EXTERNAL_HEADERS/mach-o
"""

import collections
import functools
import struct

MAGIC_64 = 0xFEEDFACF
DYLIB = 6
CPU = {"arm64": 0x0100000C, "x86_64": 0x01000007}

LC_SYMTAB, LC_DYSYMTAB, LC_LOAD_DYLIB, LC_ID_DYLIB = 0x2, 0xB, 0xC, 0xD
LC_SEGMENT_64, LC_UUID, LC_CODE_SIGNATURE, LC_ENCRYPTION_INFO_64 = 0x19, 0x1B, 0x1D, 0x2C
LC_DYLD_INFO_ONLY, LC_VERSION_MIN_IPHONEOS = 0x80000022, 0x25
LC_FUNCTION_STARTS, LC_DATA_IN_CODE = 0x26, 0x29
REGULAR_PAGE, COMPRESSED_PAGE = 2, 3

SECTION_TYPE = 0xFF
REGULAR, ZERO_FILL, C_STRINGS, LITERALS_4, LITERALS_8 = 0x0, 0x1, 0x2, 0x3, 0x4
LITERAL_POINTERS, POINTERS, LAZY_POINTERS, STUBS, INITIALIZERS = 0x5, 0x6, 0x7, 0x8, 0x9
LITERALS_16 = 0xE
READ, WRITE, EXECUTE = 1, 2, 4

N_STAB, N_TYPE, N_EXT, N_UNDF = 0xE0, 0x0E, 0x01, 0x0


# Of the Objective-C runtime: a class as the file holds it. The names are those of what the loader
# binds in its place; a method's type is written as the runtime does, with the arguments' offsets.
Class = collections.namedtuple("Class", "name superclass metaclass_superclass root methods "
                               "class_methods")


class MachOError(Exception):
    pass


class Section:
    def __init__(self, fields):
        self.name = fields[0].rstrip(b"\0").decode()
        self.segment = fields[1].rstrip(b"\0").decode()
        self.address, self.size, self.offset = fields[2:5]
        self.type = fields[8] & SECTION_TYPE


class Segment:
    def __init__(self, command_offset, fields, sections):
        self.command_offset = command_offset
        self.name = fields[0].rstrip(b"\0").decode()
        self.address, self.size, self.file_offset, self.file_size = fields[1:5]
        self.protections = fields[5:7]  # at most, and at first
        self.sections = sections


class Symbol:
    def __init__(self, name, kind, description):
        self.name = name
        self.is_debug = bool(kind & N_STAB)
        self.is_undefined = not self.is_debug and (kind & N_TYPE) == N_UNDF
        self.is_exported = not self.is_debug and not self.is_undefined and bool(kind & N_EXT)
        self.library_ordinal = description >> 8


class Dylib:
    """The parts of one library. Raises MachOError for what is no such library."""

    def __init__(self, data):
        self.data = data
        self.segments, self.commands = [], []
        self.dependencies, self.least_versions = [], []
        self.install_name = self.minimum_version = self.signature = None
        self.function_starts = None
        self.symbols, self.symbol_table, self.dyld_info, self.encryption = [], None, None, None
        try:
            self._read()
        except (struct.error, IndexError, UnicodeDecodeError, ValueError) as error:
            raise MachOError(f"damaged Mach-O file: {error}") from error

    @property
    def sections(self):
        return [section for segment in self.segments for section in segment.sections]

    def _read(self):
        (magic, self.cpu, self.cpu_variant, self.file_type, count, self.commands_size, self.flags,
         _) = struct.unpack_from("<8I", self.data, 0)
        if magic != MAGIC_64:
            raise MachOError("no 64-bit Mach-O file")
        offset = 32
        for _ in range(count):
            command, size = struct.unpack_from("<2I", self.data, offset)
            if size < 8:
                raise MachOError(f"load command of {size} bytes")
            self.commands.append(command)
            self._read_command(command, offset)
            offset += size

    def _read_command(self, command, offset):
        if command == LC_SEGMENT_64:
            self._read_segment(offset)
        elif command in (LC_ID_DYLIB, LC_LOAD_DYLIB):
            name = self._text(offset + struct.unpack_from("<I", self.data, offset + 8)[0])
            if command == LC_ID_DYLIB:
                self.install_name = name
            else:
                self.dependencies.append(name)
                self.least_versions.append(struct.unpack_from("<I", self.data, offset + 20)[0])
        elif command == LC_VERSION_MIN_IPHONEOS:
            version = struct.unpack_from("<I", self.data, offset + 8)[0]
            self.minimum_version = f"{version >> 16}.{version >> 8 & 0xFF}"
        elif command == LC_CODE_SIGNATURE:
            self.signature = struct.unpack_from("<2I", self.data, offset + 8)
        elif command == LC_ENCRYPTION_INFO_64:
            self.encryption = struct.unpack_from("<I", self.data, offset + 16)[0]
        elif command == LC_FUNCTION_STARTS:
            self.function_starts = struct.unpack_from("<2I", self.data, offset + 8)
        elif command == LC_DYLD_INFO_ONLY:
            self.dyld_info = struct.unpack_from("<10I", self.data, offset + 8)
        elif command == LC_SYMTAB:
            self._read_symbols(*struct.unpack_from("<4I", self.data, offset + 8))

    def _read_segment(self, offset):
        fields = struct.unpack_from("<16s4Q4I", self.data, offset + 8)
        sections = [Section(struct.unpack_from("<16s16s2Q8I", self.data, offset + 72 + 80 * i))
                    for i in range(fields[7])]
        self.segments.append(Segment(offset, fields, sections))

    def _read_symbols(self, offset, count, strings, _):
        self.symbol_table = offset
        for i in range(count):
            name, kind, _, description, _ = struct.unpack_from("<I2BHQ", self.data, offset + 16 * i)
            self.symbols.append(Symbol(self._text(strings + name), kind, description))

    def _text(self, offset):
        return self.data[offset:self.data.index(b"\0", offset)].decode()

    def _uleb(self, offset):
        value = shift = 0
        while True:
            byte = self.data[offset]
            offset += 1
            value |= (byte & 0x7F) << shift
            shift += 7
            if not byte & 0x80:
                return value, offset

    def exported_names(self):
        """What the loader finds: the names in the export trie."""
        names = set()
        start, size = self.dyld_info[8:10]

        def walk(node, prefix):
            if len(prefix) > size:
                raise MachOError("the export trie runs in a circle")
            terminal, offset = self._uleb(start + node)
            if terminal:
                names.add(prefix)
            offset += terminal
            children, offset = self.data[offset], offset + 1
            for _ in range(children):
                edge = self._text(offset)
                child, offset = self._uleb(offset + len(edge) + 1)
                walk(child, prefix + edge)

        if size:
            walk(0, "")
        return names

    def bound_names(self):
        """What the loader looks up: pairs of the library's ordinal and the name, each once."""
        found = self.lazily_bound_names()
        for kind in (1, 2):
            found |= self._bound_in(*self.dyld_info[2 * kind:2 * kind + 2])
        return found

    def lazily_bound_names(self):
        """Of these, what it looks up at the first call."""
        return self._bound_in(*self.dyld_info[6:8])

    def functions(self):
        """The addresses at which functions begin."""
        offset, size = self.function_starts or (0, 0)
        address, end, found = self.segments[0].address, offset + size, []
        while offset < end:
            step, offset = self._uleb(offset)
            if step == 0:  # padding
                break
            address += step
            found.append(address)
        return found

    def unwinding(self):
        """Ascending pairs of an address and how frames are unwound from there on; 0 is not at all.
        The layout: <mach-o/compact_unwind_encoding.h>."""
        [start] = [section.offset for section in self.sections if section.name == "__unwind_info"]
        at = functools.partial(struct.unpack_from, buffer=self.data)
        _, common_at, common_count, _, _, index_at, index_count = at("<7I", offset=start)
        common = at(f"<{common_count}I", offset=start + common_at)
        for i in range(index_count):
            first, page_at, _ = at("<3I", offset=start + index_at + 12 * i)
            if page_at == 0:  # the end
                yield self.segments[0].address + first, 0
                continue
            page = start + page_at
            kind, entries_at, count = at("<I2H", offset=page)
            if kind == REGULAR_PAGE:
                pairs = [at("<2I", offset=page + entries_at + 8 * n) for n in range(count)]
            elif kind == COMPRESSED_PAGE:
                own_at, own_count = at("<2H", offset=page + 8)
                encodings = common + at(f"<{own_count}I", offset=page + own_at)
                entries = at(f"<{count}I", offset=page + entries_at)
                pairs = [(first + (entry & 0xFFFFFF), encodings[entry >> 24]) for entry in entries]
            else:
                raise MachOError(f"unwinding in a page of kind {kind}")
            yield from ((self.segments[0].address + offset, encoding) for offset, encoding in pairs)

    def classes(self):
        """The layouts: <objc-runtime-new.h> of objc4, as published in
        https://github.com/apple-oss-distributions/objc4/tree/main/runtime"""
        bound = {address: name for address, _, name in self._bindings(*self.dyld_info[2:4])}
        try:
            for section in self.sections:
                if section.name == "__objc_classlist":
                    for [address] in struct.iter_unpack("<Q", self._bytes(section.address,
                                                                          section.size)):
                        yield self._class(address, bound)
        except (struct.error, IndexError, UnicodeDecodeError, ValueError) as error:
            raise MachOError(f"damaged class: {error}") from error

    def _class(self, address, bound):
        [metaclass] = struct.unpack("<Q", self._bytes(address, 8))
        name, methods = self._class_data(address)
        return Class(name, bound.get(address + 8), bound.get(metaclass + 8), bound.get(metaclass),
                     methods, self._class_data(metaclass)[1])

    def _class_data(self, address):
        """Its name, and its methods' types by their selectors."""
        [data] = struct.unpack("<Q", self._bytes(address + 32, 8))
        name, methods = struct.unpack("<2Q", self._bytes((data & ~7) + 24, 16))
        found = {}
        if methods:
            _, count = struct.unpack("<2I", self._bytes(methods, 8))
            for entry in struct.iter_unpack("<3Q", self._bytes(methods + 8, 24 * count)):
                selector, types = map(self._text_at, entry[:2])
                found[selector] = types
        return self._text_at(name), found

    def _offset(self, address):
        for segment in self.segments:
            if 0 <= address - segment.address < segment.file_size:
                return segment.file_offset + address - segment.address
        raise ValueError(f"nothing at {address:#x}")

    def _bytes(self, address, size):
        offset = self._offset(address)
        return self.data[offset:offset + size]

    def _text_at(self, address):
        return self._text(self._offset(address))

    def _bound_in(self, offset, size):
        return {(ordinal, name) for _, ordinal, name in self._bindings(offset, size)}

    def _bindings(self, offset, size):
        """What is bound: each address, with the library's ordinal and the name."""
        end, ordinal, name, address = offset + size, 0, "", 0
        while offset < end:
            opcode, immediate = self.data[offset] & 0xF0, self.data[offset] & 0x0F
            offset += 1
            times, skipped = 1, 0
            if opcode == 0x10:
                ordinal = immediate
            elif opcode == 0x20:
                ordinal, offset = self._uleb(offset)
            elif opcode == 0x30:
                ordinal = immediate - 16 if immediate else 0
            elif opcode == 0x40:
                name = self._text(offset)
                offset += len(name) + 1
            elif opcode == 0x60:
                _, offset = self._uleb(offset)
            elif opcode == 0x70:
                distance, offset = self._uleb(offset)
                address = self.segments[immediate].address + distance
            elif opcode == 0x80:
                distance, offset = self._uleb(offset)
                address = (address + distance) % (1 << 64)
            elif opcode == 0xA0:
                skipped, offset = self._uleb(offset)
            elif opcode == 0xB0:
                skipped = 8 * immediate
            elif opcode == 0xC0:
                times, offset = self._uleb(offset)
                skipped, offset = self._uleb(offset)
            if opcode in (0x90, 0xA0, 0xB0, 0xC0):
                if times > len(self.data):
                    raise MachOError("it binds more than it has")
                for _ in range(times):
                    yield address, ordinal, name
                    address = (address + 8 + skipped) % (1 << 64)
