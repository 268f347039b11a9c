"""Code signatures of hashes alone: of the file's pages, signed by nobody.

The flags are 0, as the usual signing tool for jailbroken phones writes them, beside an empty set of
requirements. The ad-hoc bit would ask a kernel for its own list of what it trusts, which no package
is on; what such phones let through is the form without it.

There are two directories of hashes, as for any library that must load on old and new phones:
SHA-1, all that the oldest ones read, and SHA-256, which the newer ones ask for.
Layouts and numbers: https://github.com/apple-oss-distributions/xnu/blob/main/osfmk/kern/cs_blobs.h
"""

import hashlib
import struct

from package import mach_o

SUPER_BLOB, CODE_DIRECTORY, REQUIREMENTS = 0xFADE0CC0, 0xFADE0C02, 0xFADE0C01
DIRECTORY_SLOT, REQUIREMENTS_SLOT, ALTERNATE_DIRECTORY_SLOT = 0, 2, 0x1000
VERSION, FLAGS, PAGE_BITS = 0x20400, 0, 12
HASHES = {1: hashlib.sha1, 2: hashlib.sha256}

HEADER = struct.Struct(">9I4B4I4Q")
NO_REQUIREMENTS = struct.pack(">3I", REQUIREMENTS, 12, 0)
SPECIAL_SLOTS = 2  # information list (none) and requirements


def page_hashes(code, hash_type):
    page = 1 << PAGE_BITS
    return [HASHES[hash_type](code[i:i + page]).digest() for i in range(0, len(code), page)]


def directory(code, identifier, text_size, hash_type):
    hash_size = HASHES[hash_type]().digest_size
    special = [HASHES[hash_type](NO_REQUIREMENTS).digest(), bytes(hash_size)]
    pages = page_hashes(code, hash_type)
    name = identifier.encode() + b"\0"
    hash_offset = HEADER.size + len(name) + SPECIAL_SLOTS * hash_size
    header = HEADER.pack(
        CODE_DIRECTORY, hash_offset + len(pages) * hash_size, VERSION, FLAGS, hash_offset,
        HEADER.size, SPECIAL_SLOTS, len(pages), len(code), hash_size, hash_type, 0, PAGE_BITS,
        0, 0, 0, 0, 0, 0, text_size, 0)
    return header + name + b"".join(special + pages)


def super_blob(blobs):
    offset, index, body = 12 + 8 * len(blobs), b"", b""
    for slot, blob in blobs:
        index += struct.pack(">2I", slot, offset + len(body))
        body += blob
    return struct.pack(">3I", SUPER_BLOB, offset + len(body), len(blobs)) + index + body


def signature(code, identifier, text_size):
    return super_blob([
        (DIRECTORY_SLOT, directory(code, identifier, text_size, 1)),
        (REQUIREMENTS_SLOT, NO_REQUIREMENTS),
        (ALTERNATE_DIRECTORY_SLOT, directory(code, identifier, text_size, 2)),
    ])


def signature_of(library, code):
    text = next(segment for segment in library.segments if segment.name == "__TEXT")
    return signature(code, library.install_name.rsplit("/")[-1], text.file_size)


def sign(data):
    """The unsigned library `data` with a signature at its end."""
    library = mach_o.Dylib(data)
    link_edit = library.segments[-1]
    commands_end = 32 + library.commands_size
    if library.signature or link_edit.name != "__LINKEDIT":
        raise mach_o.MachOError("signed already, or not as the linker lays it out")
    if commands_end + 16 > min(s.offset for s in library.sections if s.offset):
        raise mach_o.MachOError("no room for the signature's load command")

    code = bytearray(data + bytes(-len(data) % 16))
    # The size depends on the length of the code alone, so a first signature measures it.
    size = len(signature_of(library, code))
    struct.pack_into("<2I", code, 16, len(library.commands) + 1, library.commands_size + 16)
    struct.pack_into("<4I", code, commands_end, mach_o.LC_CODE_SIGNATURE, 16, len(code), size)
    file_size = len(code) + size - link_edit.file_offset
    struct.pack_into("<Q", code, link_edit.command_offset + 32, -(-file_size // 0x4000) * 0x4000)
    struct.pack_into("<Q", code, link_edit.command_offset + 48, file_size)
    return bytes(code) + signature_of(library, bytes(code))


def complaints(library):
    """What a loader that recomputes every hash would refuse."""
    if not library.signature:
        return ["it is not signed"]
    start, size = library.signature
    blob = library.data[start:start + size]
    try:
        magic, _, count = struct.unpack_from(">3I", blob)
        if magic != SUPER_BLOB:
            return ["its signature has an unknown form"]
        slots = dict(struct.unpack_from(">2I", blob, 12 + 8 * i) for i in range(count))
        found = []
        for slot, hash_type in ((DIRECTORY_SLOT, 1), (ALTERNATE_DIRECTORY_SLOT, 2)):
            name = HASHES[hash_type]().name
            if slot not in slots:
                found.append(f"its signature has no {name} directory")
                continue
            found += [f"{name} {text}"
                      for text in _directory_complaints(library, blob, slots, slot, hash_type)]
        if not found and library.data[start:] != signature_of(library, library.data[:start]):
            found = ["it does not end with the signature that goes with its code and name"]
        return found
    except (struct.error, KeyError) as error:
        return [f"its signature is damaged: {error!r}"]


def _directory_complaints(library, blob, slots, slot, hash_type):
    offset = slots[slot]
    fields = HEADER.unpack_from(blob, offset)
    (magic, _, _, flags, hash_offset, _, special, count, limit, hash_size, used_hash, _,
     page_bits) = fields[:13]
    if (magic, used_hash, page_bits) != (CODE_DIRECTORY, hash_type, PAGE_BITS):
        yield "directory has an unknown form"
        return
    if flags != FLAGS:
        yield f"directory has flags {flags:#x} instead of {FLAGS:#x}"
    if limit != library.signature[0]:
        yield f"directory covers {limit} bytes, but the code has {library.signature[0]}"
    first = offset + hash_offset
    stored = [blob[first + i * hash_size:first + (i + 1) * hash_size] for i in range(-special, count)]
    requirements = blob[slots[REQUIREMENTS_SLOT]:][:len(NO_REQUIREMENTS)]
    if stored[special - 2] != HASHES[hash_type](requirements).digest():
        yield "hash of the requirements is wrong"
    computed = page_hashes(library.data[:limit], hash_type)
    if len(computed) != count:
        yield f"directory has {count} pages instead of {len(computed)}"
    for number, (have, want) in enumerate(zip(stored[special:], computed)):
        if have != want:
            yield f"hash of page {number} is wrong"
