"""The command mvk-capture: a description of the tape hardware that mvk sees, for mvk-sim --library.

Nothing is moved or loaded; the label of a tape that is loaded already is read, which rewinds it,
unless another program has the drive open.
"""

import os
import re
import sys

from .ask import ask as ask_mvk

USAGE = "usage: mvk-capture [--no-labels] >FILE"
NO_LABELS = "--no-labels"
FAILED = 1


def ask(*args):
    """What mvk says; names a question that failed."""
    answer = ask_mvk(list(args))
    if answer["status"]:
        print(f"mvk-capture: mvk {' '.join(args)}: {answer['message']}", file=sys.stderr)
    return answer


def line_of(text):
    """A text as the value of a key: one line without blanks at its ends."""
    return re.sub(r"[^ -~]", "?", text or "").strip(" ")


def data_of(text):
    """Bytes in a description's notation: texts in quotes, anything else in hexadecimal."""
    words = re.findall(r"[ !#-~]+|(?s:.)", text)
    return " ".join(f'"{w}"' if re.match("[ !#-~]", w) else f"{ord(w):02x}" for w in words)


def print_section(name, lines):
    """Prints a section without the keys that have no value."""
    print(f"\n[{name}]")
    for key, value in lines:
        if value not in (None, "", False):
            print(f"{key} = {'yes' if value is True else value}")


def identity(device, kind):
    """The lines that any device has. Channel, target and LUN are the last digits of an ID."""
    digits = device["id"].rjust(4, "0")
    lines = [("address", ":".join((digits[:-3], *digits[-3:]))), ("type", kind)]
    return lines + [(key, line_of(device.get(key))) for key in ("vendor", "product", "revision")]


def element_runs(elements):
    """The elements as counts from first addresses, one line for each row of addresses."""
    runs = []
    for element in elements:
        kind, address = element["kind"], element["address"]
        if runs and runs[-1][0] == kind and runs[-1][-1] + 1 == address:
            runs[-1].append(address)
        else:
            runs.append([kind, address])
    return [(f"{kind}s", f"{len(row)} from {row[0]}") for kind, *row in runs]


def list_loaders(devices):
    """The elements of each loader by its ID. The twin has room for each address once: a loader
    that uses addresses of an earlier one is left without elements."""
    listings, taken = {}, set()
    for device in devices:
        if device["type"] == "loader":
            elements = ask(device["id"], "l").get("elements", [])
            addresses = {element["address"] for element in elements}
            if addresses & taken:
                print(f"mvk-capture: {device['id']}: addresses of another loader", file=sys.stderr)
                elements = []
            taken |= addresses
            listings[device["id"]] = elements
    return listings


def drive_elements(devices, listings):
    """The element address of each tape drive by its ID: as the loader tells, else in order."""
    tapes = [device["id"] for device in devices if device["type"] == "tape"]
    found, places = {}, []
    for loader, elements in listings.items():
        drives = {e["number"]: e["address"] for e in elements if e["kind"] == "drive"}
        for drive in ask(loader, "e", "scsi").get("drives", []) if drives else []:
            if drive["id"] in tapes and drive["id"] not in found and drive["number"] in drives:
                found[drive["id"]] = drives.pop(drive["number"])
        places += drives.values()
    return {**dict(zip((tape for tape in tapes if tape not in found), places)), **found}


def mode_lines(tape):
    """A drive's mode pages, walked as the standard lays them out, and the text of its EEPROM."""
    answer = ask(tape, "get")
    mode = answer.get("mode", {"data": "", "descriptors": 0, "header_length": 0})
    data = bytes.fromhex(mode["data"]) + b"\0" if mode["data"] else b""  # mvk misses the last byte
    place, lines = mode["header_length"] + 8 * mode["descriptors"], []
    while place + 1 < len(data) and place + 2 + data[place + 1] <= len(data):
        page = data[place : place + 2 + data[place + 1]]
        if page[0] & 0x3F not in (0, 0x3E):
            key = "compression_page" if page[0] & 0x3F == 0x0F else "page"
            lines.append((key, page.hex(" ")))
        place += len(page)
    text = ask(tape, "get_eeprom").get("eeprom", "")
    return lines + [("eeprom", data_of(text[:254] + "\n") if text.strip("\0\n") else "")]


def label_lines(tape, node):
    """The label of a loaded tape. Holding the drive's node keeps other programs from the drive;
    one that is held already is left in peace."""
    if NO_LABELS in sys.argv:
        return []
    try:
        held = os.open(node, os.O_RDONLY | os.O_NONBLOCK)
    except (OSError, TypeError):
        print(f"mvk-capture: {tape} is in use: its label is not read", file=sys.stderr)
        return []
    try:
        label = ask(tape, "L").get("label", {"layout": None})
    finally:
        os.close(held)
    texts = [("label_text", "label"), ("label_time", "init_time"), ("label_etc", "etc")]
    lines = [(key, line_of(label.get(name))) for key, name in texts]
    return [("label", label["layout"]), *lines] if label["layout"] else []


def attribute_lines(tape):
    """The attributes of a loaded cartridge, as far as their bytes can be told from the report."""
    for attribute in ask(tape, "read", "debug").get("attributes", []):
        value, length = attribute["value"], attribute.get("length")
        if attribute["format"] != "binary":
            yield "attribute", f"{attribute['id']} {attribute['format']} {data_of(value)}"
        elif attribute["id"] != "0x0408" and (length == 1 or len(value) == 2 * length):
            yield "attribute", f"{attribute['id']} binary {bytes.fromhex(value.zfill(2)).hex(' ')}"


def capture_drive(device, element, counter):
    """Prints a drive; returns the lines of the cartridge that is loaded in it."""
    fields = ask(device["id"], "s").get("fields", {})
    loaded = element is not None and fields.get("load") == 1
    node = re.sub(r"\D", "", device["device"] or "") or "none"
    print_section(
        "device",
        [
            *identity(device, "tape"),
            ("element", element),
            ("node", node if node != str(counter) else ""),
            ("loaded", loaded),
            ("cleaning", fields.get("cleaning_bit") == 1),
            ("status_byte", fields.get("internal_status_byte")),
            ("density", fields.get("density_code")),
            ("block_length", fields.get("block_length")),
            *mode_lines(device["id"]),
        ],
    )
    if not loaded:
        return []
    worm = fields["medium_type"] == "Write-once medium"
    lines = [("kind", "worm" if worm else ""), ("protected", fields.get("write_protect") == 1)]
    return [*lines, *label_lines(device["id"], device["device"]), *attribute_lines(device["id"])]


def capture_cartridges(elements, loaded):
    """Prints the cartridges of a loader; loaded: further lines by the address of the drive."""
    places = {element["address"] for element in elements}
    for element in elements:
        if element["full"]:
            lines = loaded.get(element["address"], [])
            if not lines and element["label"].startswith("CLN"):
                lines = [("kind", "cleaning")]
            source = element["source"] if element["source"] in places else None
            place = [("place", element["address"]), ("source", source or None)]
            print_section("cartridge", [("barcode", line_of(element["label"])), *place, *lines])


def main(args):
    """Prints the description; returns the exit status."""
    if args not in ([], [NO_LABELS]):
        print(USAGE, file=sys.stderr)
        return FAILED
    scan = ask("scan")
    devices = scan.get("devices", [])
    if not devices:
        print("mvk-capture: no devices", file=sys.stderr)
        return scan["status"] or FAILED
    listings, loaded, tapes, number = list_loaders(devices), {}, 0, 0
    drives = drive_elements(devices, listings)
    print("# A library as mvk saw it; for mvk-sim --library.")
    for device in devices:
        if device["type"] == "tape":
            element = drives.get(device["id"])
            loaded[element] = capture_drive(device, element, tapes)
            tapes += 1
        elif device["type"] == "loader":
            generic = int(re.sub(r"\D", "", device["device"]))
            gap = [("sg", generic)] if generic != number else []
            lines = element_runs(listings[device["id"]])
            print_section("device", identity(device, "changer") + gap + lines)
            number = generic
        else:
            print_section("device", identity(device, "disk"))
        number += 1
    for elements in listings.values():
        capture_cartridges(elements, loaded)
    return 0
