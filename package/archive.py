"""The package's outer form: an ar archive of two compressed tar archives, equal bytes for equal
contents."""

import gzip
import io
import tarfile

# Of every file in every package, so that equal contents give equal packages: 2026-01-01.
FILE_TIME = 1767225600
AR_MAGIC = b"!<arch>\n"


class ArchiveError(Exception):
    pass


class File:
    def __init__(self, data, mode=0o644, owner=(0, 0)):
        self.data, self.mode, self.owner = data, mode, owner


def with_directories(names):
    """The names, each after the directories above it; a directory ends with a slash."""
    found = {"./"}
    for name in names:
        parts = name.split("/")
        found.update("./" + "".join(p + "/" for p in parts[:i]) for i in range(1, len(parts)))
        found.add("./" + name)
    return sorted(found)


def tar(files):
    raw = io.BytesIO()
    with tarfile.open(fileobj=raw, mode="w", format=tarfile.USTAR_FORMAT) as archive:
        for name in with_directories(files):
            entry = tarfile.TarInfo(name)
            file = File(b"", 0o755) if name.endswith("/") else files[name[2:]]
            entry.type = tarfile.DIRTYPE if name.endswith("/") else tarfile.REGTYPE
            entry.mode, (entry.uid, entry.gid) = file.mode, file.owner
            entry.uname, entry.gname = "root", "wheel"
            entry.mtime, entry.size = FILE_TIME, len(file.data)
            archive.addfile(entry, io.BytesIO(file.data))
    return gzip.compress(raw.getvalue(), 9, mtime=0)


def pack(control_files, data_files):
    members = (("debian-binary", b"2.0\n"), ("control.tar.gz", tar(control_files)),
               ("data.tar.gz", tar(data_files)))
    result = AR_MAGIC
    for name, data in members:
        result += f"{name:<16}{FILE_TIME:<12}{0:<6}{0:<6}{'100644':<8}{len(data):<10}`\n".encode()
        result += data + b"\n" * (len(data) % 2)
    return result


def unpack(package):
    """The members of the outer archive, in order, as pairs of name and bytes."""
    if not package.startswith(AR_MAGIC):
        raise ArchiveError("it is no ar archive")
    members, offset = [], len(AR_MAGIC)
    while offset < len(package):
        header = package[offset:offset + 60]
        if len(header) != 60 or header[58:] != b"`\n" or not header[48:58].strip().isdigit():
            raise ArchiveError(f"damaged member header at byte {offset}")
        size = int(header[48:58])
        offset += 60
        if offset + size > len(package):
            raise ArchiveError(f"truncated member at byte {offset}")
        members.append((header[:16].decode("ascii", "replace").strip(),
                        package[offset:offset + size]))
        offset += size + size % 2
    return members


def untar(data):
    """The entries of a compressed tar archive, in order, as pairs of tarfile's header and bytes."""
    try:
        with tarfile.open(fileobj=io.BytesIO(data), mode="r:gz") as archive:
            return [(entry, archive.extractfile(entry).read() if entry.isreg() else b"")
                    for entry in archive]
    except (tarfile.TarError, OSError, EOFError) as error:
        raise ArchiveError(f"damaged tar archive: {error}") from error
