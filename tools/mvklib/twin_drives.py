"""What a description says of a tape drive, and of the cartridge that is loaded in it."""

import re

from .description import data_of, identity, line_of, section


def mode_pages(mode):
    """The mode pages of a reply, walked as the standard lays them out: with bit 6 of the code set a
    subpage code stands behind it, and the length has two bytes."""
    data = bytes.fromhex(mode["data"]) + b"\0" if mode["data"] else b""  # mvk misses the last byte
    place = mode["header_length"] + 8 * mode.get("descriptors", 0)
    while place + 4 <= len(data):
        length = 2 + data[place + 1]
        if data[place] & 0x40:
            length = 4 + int.from_bytes(data[place + 2 : place + 4], "big")
        if place + length <= len(data):
            yield data[place : place + length]
        place += length


def mode_lines(name, questions):
    """A drive's mode pages without subpages, and the text of its EEPROM."""
    lines = []
    for page in mode_pages(
        questions.ask(name, "get").get("mode", {"data": "", "header_length": 0})
    ):
        if page[0] & 0x3F not in (0, 0x3E) and not page[0] & 0x40:
            key = "compression_page" if page[0] & 0x3F == 0x0F else "page"
            lines.append((key, page.hex(" ")))
    text = questions.ask(name, "get_eeprom").get("eeprom", "")
    return lines + [("eeprom", data_of(text[:254] + "\n") if text.strip("\0\n") else "")]


def attribute_lines(name, questions):
    """The attributes of a loaded cartridge, as far as their bytes can be told from the report."""
    for attribute in questions.ask(name, "read", "debug").get("attributes", []):
        value, length = attribute["value"], attribute.get("length")
        if attribute["format"] != "binary":
            yield "attribute", f"{attribute['id']} {attribute['format']} {data_of(value)}"
        elif attribute["id"] != "0x0408" and (length == 1 or len(value) == 2 * length):
            yield "attribute", f"{attribute['id']} binary {bytes.fromhex(value.zfill(2)).hex(' ')}"


def label_lines(device, questions):
    """The label of a loaded tape; none of one that cannot be read."""
    label = questions.read_label(device["name"], device["tape"]) or {"layout": None}
    texts = [("label_text", "label"), ("label_time", "init_time"), ("label_etc", "etc")]
    lines = [(key, line_of(label.get(name))) for key, name in texts]
    return [("label", label["layout"]), *lines] if label["layout"] else []


def describe_drive(device, place, numbers, questions, labels):
    """The section of a drive, and the lines of the cartridge that is loaded in it, none without.
    place: the lines that tell its element; numbers: those of its files unless they are told."""
    fields, modes = {}, []
    if device["name"] is not None:
        fields = questions.ask(device["name"], "s").get("fields", {})
        modes = mode_lines(device["name"], questions)
    loaded = bool(place) and fields.get("load") == 1
    node = re.sub(r"\D", "", device["tape"] or device["device"] or "")
    node = int(node) if node else "none"
    lines = [
        *identity(device, "tape", numbers[0]),
        *place,
        ("node", node if node != numbers[1] else None),
        ("loaded", loaded),
        ("cleaning", fields.get("cleaning_bit") == 1),
        ("status_byte", fields.get("internal_status_byte")),
        ("density", fields.get("density_code")),
        ("block_length", fields.get("block_length")),
        *modes,
    ]
    cartridge = []
    if loaded:
        worm = fields.get("medium_type") == "Write-once medium"
        cartridge = [("kind", "worm" if worm else None)]
        cartridge.append(("protected", fields.get("write_protect") == 1))
        cartridge += label_lines(device, questions) if labels else []
        cartridge += attribute_lines(device["name"], questions)
    return list(section("device", lines)), cartridge
