"""Reads the reports of scan, i, e, l, m and hm, and of s of a loader.

A text from a device may hold line feeds and look like a line of mvk's own: the forms below are
matched from their fixed ends and widths, never line by line, and take no more room than mvk gives
such a text.
"""

import re

from .texts import numbers, take

KINDS = {"Transport": "transport", "Slot": "slot", "Port": "port", "Drive": "drive"}

SCANNED = re.compile(
    r"^ID=(\S*) (?:(Loader: |Tape:   )(?s:(.{31}|.{0,31}?)) \((/dev/(?:sg|nst)(?:\d+|\?))\)"
    r"|(other:  )(?s:(.{26}|.{0,26}?)))\n",
    re.MULTILINE,
)


def parse_scan(text, _args):
    """scan: the devices; fields have the width of the kernel's listing."""
    matches, rest = take(SCANNED, text)
    devices = []
    for match in matches:
        words = match[3] if match[2] else match[6]
        device = {
            "id": match[1],
            "type": (match[2] or match[5]).rstrip(": ").lower(),
            "vendor": words[1:9].rstrip(" "),
            "product": words[10:26].rstrip(" "),
        }
        if match[2]:
            device["revision"] = words[27:].rstrip(" ")
            device["device"] = None if match[4].endswith("?") else match[4]
        devices.append(device)
    return {"devices": devices}, rest


IDENTIFIED = re.compile(
    r"^ID=NONE (Tape:  |Loader:)  (?s:(.{8})(.{16}) (.{4}) \((.*?)\) )"
    r"(?: \((no loader|loader present)\) )?\n\Z",
    re.MULTILINE,
)


def parse_inquiry(text, _args):
    """i: the device."""
    matches, rest = take(IDENTIFIED, text)
    devices = []
    for match in matches:
        names = ("vendor", "product", "revision", "device")
        device = {"type": match[1].rstrip(": ").lower()}
        device.update(zip(names, (field.rstrip(" ") for field in match.group(2, 3, 4, 5))))
        if match[6]:
            device["loader_present"] = match[6] == "loader present"
        devices.append(device)
    return {"devices": devices}, rest


COUNT = re.compile(
    r"^ *(\d{1,10}) x (Transport|Slot|Port|Drive) First=(-?\d{1,10})\n", re.MULTILINE
)


def parse_counts(text):
    """The counts and first addresses of elements, as s and m print them."""
    matches, rest = take(COUNT, text)
    return [
        {"kind": KINDS[match[2]], "count": int(match[1]), "first": int(match[3])}
        for match in matches
    ], rest


# An element's line is longer up to its label than a label can be (36 bytes): no label holds one.
ELEMENT_LINE = (
    r"(?:Transport |Slot      |Port      |Drive     ) (?=[ \d]{3}) *\d{1,9}"
    r"\(adr=(?=[ \d]{4}) *\d{1,9},src=(?=[ \d]{4}) *\d{1,9},tape=[01]\) "
)

ELEMENT = re.compile(
    rf"^({ELEMENT_LINE})((?s:.{{0,36}}?)(?=\n{ELEMENT_LINE}|\n\Z)|.*)\n", re.MULTILINE
)

DRIVE_ID = re.compile(r"^ID=(\S+) Tape Drive (\d{1,9}) in Loader (\S+)\n", re.MULTILINE)


def parse_elements(text, args):
    """e and l: the elements, or the IDs of the drives."""
    if args[2:3] == ["scsi"]:
        matches, rest = take(DRIVE_ID, text)
        names = ("id", "number", "loader")
        drives = [dict(zip(names, match.groups())) for match in matches]
        return {"drives": [{**drive, "number": int(drive["number"])} for drive in drives]}, rest
    matches, rest = take(ELEMENT, text)
    elements = []
    for match in matches:
        element = {"kind": KINDS[match[1][:10].rstrip(" ")]}
        element.update(zip(("number", "address", "source", "full"), numbers(match[1])))
        element["full"] = element["full"] == 1
        element["label"] = match[2].rstrip(" ")
        elements.append(element)
    return {"elements": elements}, rest


TRY_MOVE = re.compile(
    r"^Try (\(transport=(-?\d+)\):\(source=(-?\d+)\)>\(target=(-?\d+)\)\n)", re.MULTILINE
)


def address_of(text):
    """The element address that a number stands for: read as a C long, and 16 bits of it."""
    match = re.match(r"[ \t-\r]*([+-]?)0*(\d{1,20})", text)
    number = int(match[1] + match[2]) if match else 0
    return max(-(2**63), min(number, 2**63 - 1)) & 0xFFFF


def move_data(words, moved):
    """The addresses of a move, and whether mvk says that it was made."""
    names = ("transport", "source", "target")
    return {**dict(zip(names, map(address_of, words))), "moved": moved}


def parse_move(text, _args):
    """m: the move, and the counts of an override. Its value stands before the move and may look
    like it: the last one counts."""
    counts, rest = parse_counts(text)
    matches = list(TRY_MOVE.finditer(rest))
    data = {"counts": counts} if counts else {}
    if matches:
        match = matches[-1]
        head, tail, done = rest[: match.start()], rest[match.end() :], "Moved " + match[1]
        data["move"] = move_data(match.group(2, 3, 4), tail.endswith(done))
        rest = head + tail.removesuffix(done)
    return data, rest


def parse_hard_move(text, args):
    """hm: the move, whose addresses are printed as they were typed."""
    source, target, transport = args[2:5]
    line = f"(transport={transport}):(source={source})>(target={target})\n"
    if f"Try {line}" not in text:
        return {}, text
    moved = text.endswith(f"Moved {line}")
    rest = text.removesuffix(f"Moved {line}").replace(f"Try {line}", "", 1)
    return {"move": move_data((transport, source, target), moved)}, rest
