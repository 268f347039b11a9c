"""Reads a 64-bit Mach-O dynamic library as far as building and checking one need it.

Layouts and numbers: <mach-o/loader.h> and <mach-o/nlist.h>, as published in
https://github.com/apple-oss-distributions/xnu/tree/main/EXTERNAL_HEADERS/mach-o
"""

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
POINTERS, LAZY_POINTERS, STUBS, INITIALIZERS, LITERALS_16 = 0x6, 0x7, 0x8, 0x9, 0xE
READ, WRITE, EXECUTE = 1, 2, 4

N_STAB, N_TYPE, N_EXT, N_UNDF = 0xE0, 0x0E, 0x01, 0x0


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

    def _bound_in(self, offset, size):
        found, end, ordinal, name = set(), offset + size, 0, ""
        while offset < end:
            opcode, immediate = self.data[offset] & 0xF0, self.data[offset] & 0x0F
            offset += 1
            if opcode == 0x10:
                ordinal = immediate
            elif opcode == 0x20:
                ordinal, offset = self._uleb(offset)
            elif opcode == 0x30:
                ordinal = immediate - 16 if immediate else 0
            elif opcode == 0x40:
                name = self._text(offset)
                offset += len(name) + 1
            elif opcode in (0x60, 0x70, 0x80, 0xA0):
                _, offset = self._uleb(offset)
            elif opcode == 0xC0:
                _, offset = self._uleb(offset)
                _, offset = self._uleb(offset)
            if opcode in (0x90, 0xA0, 0xB0, 0xC0):
                found.add((ordinal, name))
        return found
