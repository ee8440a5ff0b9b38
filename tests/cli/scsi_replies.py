# What changers and tape drives answer, put together field by field, and helpers for tables of
# tests. Layouts are those of SMC, SSC and SPC; every length can be made to lie.
import pytest


def table(rows):
    # The rows of a test: the first field is the name.
    return [pytest.param(*row[1:], id=row[0]) for row in rows]


def short(value):
    # How a field shows in the name of a row without a name.
    return value[:24] if isinstance(value, str) else ""


def be(value, size=2):
    return value.to_bytes(size, "big")


def element(address, flags=8, source=0, tag=b"", target=0):
    # An element descriptor: flags are bit 0 full, 2 exception, 3 access.
    return be(address) + bytes([flags, 0, 0, 0, 0x80, target, 0, 0x80]) + be(source) + tag


def page(kind, *elements, tags=0, length=None, size=None):
    # An element status page: length of a descriptor, size of all of them.
    data = b"".join(elements)
    length = len(elements[0]) if length is None else length
    return bytes([kind, tags << 7]) + be(length) + be(len(data) if size is None else size, 4) + data


def report(*pages, size=None):
    # The reply to READ ELEMENT STATUS; size: the bytes it says to follow its header.
    data = b"".join(pages)
    return bytes([0xFF, 1, 0xFF, 2]) + be(len(data) if size is None else size, 4) + data


def address_page(*fields, code=0x1D, descriptors=0):
    # The reply to MODE SENSE(6): first address and count of each element type.
    return (bytes([0, 0, 0, descriptors]) + b"\x1d" * descriptors + bytes([code, 18]) + b"".join(map(be, fields)))


def mode6(pages=b"", blocks=b"", medium=0, specific=0, length=None):
    data = bytes([medium, specific, len(blocks)]) + blocks + pages
    return bytes([len(data) if length is None else length]) + data


def mode10(pages=b"", blocks=b"", length=None):
    data = bytes([0x86, 0x10, 0, 0]) + be(len(blocks)) + blocks + pages
    return be(len(data) if length is None else length) + data


def attributes(*items, length=None):
    # The reply to READ ATTRIBUTE; items: number, flags, value and a length other than its own.
    data = b"".join(be(number) + bytes([flags]) + be(*(other or [len(value)])) + value
                    for number, flags, value, *other in items)
    return be(len(data) if length is None else length, 4) + data


def block(*pieces, size=2048):
    # The first block of a tape from pieces of (position, bytes), zeros between them.
    data = bytearray(size)
    for at, piece in pieces:
        data[at:at + len(piece)] = piece
    return bytes(data)
