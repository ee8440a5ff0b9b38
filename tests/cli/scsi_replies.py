# What changers and tape drives answer, put together field by field. Layouts are those of SMC, SSC
# and SPC; every length can be made to lie.


# A number, big-endian.
def be(value, size=2):
    return value.to_bytes(size, "big")


# A reply behind the number of its bytes.
def counted(data, size, length=None):
    return be(len(data) if length is None else length, size) + data


# An element descriptor: flags are bit 0 full, 2 exception, 3 access.
def element(address, flags=8, source=0, tag=b"", target=0):
    return be(address) + bytes([flags, 0, 0, 0, 0x80, target, 0, 0x80]) + be(source) + tag


# An element status page: length of a descriptor, size of all of them.
def page(kind, *elements, tags=0, length=None, size=None):
    length = len(elements[0]) if length is None else length
    return bytes([kind, tags << 7]) + be(length) + counted(b"".join(elements), 4, size)


# The reply to READ ELEMENT STATUS; size: the bytes it says to follow its header.
def report(*pages, size=None):
    return bytes([0xFF, 1, 0xFF, 2]) + counted(b"".join(pages), 4, size)


# The reply to MODE SENSE(6) of an address page: first address and count of each element type.
def address_page(*fields, code=0x1D, descriptors=0):
    header = bytes([0, 0, 0, descriptors]) + b"\x1d" * descriptors
    return header + bytes([code, 18]) + b"".join(map(be, fields))


# The reply to MODE SENSE(6).
def mode6(pages=b"", blocks=b"", medium=0, specific=0, length=None):
    return counted(bytes([medium, specific, len(blocks)]) + blocks + pages, 1, length)


# An attribute of a cartridge; flags are bits 0 and 1 format, 7 read-only.
def attribute(number, flags, value, length=None):
    return be(number) + bytes([flags]) + counted(value, 2, length)


# The reply to READ ATTRIBUTE.
def attributes(*items, length=None):
    return counted(b"".join(items), 4, length)


# The first block of a tape: what lies at each position, zeros between.
def tape_block(pieces):
    data = bytearray(2048)
    for position, piece in pieces.items():
        data[position : position + len(piece)] = piece
    return bytes(data)
