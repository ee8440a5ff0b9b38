"""Reads the reports of scan, i, e, l, m and hm, and of s of a loader.

A text from a device may hold line feeds and look like a line of mvk's own: the forms below are
matched from their fixed ends and widths, never line by line, and take no more room than mvk gives
such a text.
"""

import re

from .devices import NOTHING_KNOWN, find_device, id_of, known_devices, tape_drives
from .texts import numbers, take

KINDS = {"Transport": "transport", "Slot": "slot", "Port": "port", "Drive": "drive"}

SCANNED = re.compile(
    r"^ID=(\S*) (?:(Loader: |Tape:   )(?s:(.{31}|.{0,31}?)) \((/dev/(?:sg|nst)(?:\d+|\?))\)"
    r"|(other:  )(?s:(.{26}|.{0,26}?)))\n",
    re.MULTILINE,
)


def identities(ids):
    """What the system knows of each of these IDs in the order of a scan. A device that came or went
    meanwhile shifts the order; then only an ID that is one device's tells it."""
    devices = known_devices()
    if [device["id"] for device in devices] == ids:
        return devices
    return [find_device(word, devices) or NOTHING_KNOWN for word in ids]


def parse_scan(text, _args):
    """scan: the devices; fields have the width of the kernel's listing."""
    matches, rest = take(SCANNED, text)
    devices = []
    for match, known in zip(matches, identities([match[1] for match in matches])):
        words = match[3] if match[2] else match[6]
        device = {
            **known,
            "id": match[1],
            "type": (match[2] or match[5]).rstrip(": ").lower(),
            "vendor": words[1:9].rstrip(" "),
            "product": words[10:26].rstrip(" "),
        }
        device["revision"] = words[27:].rstrip(" ") if match[2] else None
        device["device"] = match[4] if match[2] and not match[4].endswith("?") else None
        devices.append(device)
    return {"devices": devices}, rest


IDENTIFIED = re.compile(
    r"^ID=NONE (Tape:  |Loader:)  (?s:(.{8})(.{16}) (.{4}) \((.*?)\) )"
    r"(?: \((no loader|loader present)\) )?\n\Z",
    re.MULTILINE,
)


def parse_inquiry(text, args):
    """i: the device. The report says the device file, the caller said some name."""
    matches, rest = take(IDENTIFIED, text)
    known = known_devices() if matches else []
    devices = []
    for match in matches:
        names = ("vendor", "product", "revision", "device")
        device = find_device(match[5], known) or find_device(args[0], known) or NOTHING_KNOWN
        device = {**device, "type": match[1].rstrip(": ").lower()}
        device.update(zip(names, (field.rstrip(" ") for field in match.group(2, 3, 4, 5))))
        device["loader_present"] = match[6] == "loader present" if match[6] else None
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


def told_drive(told, loader, tapes):
    """The one drive that the line for a drive means, None without one. The line's ID is that of the
    loader up to its channel, then the target in hexadecimal, then 0."""
    found = []
    for device in tapes:
        host, channel, target, _ = device["address"].split(":")
        front = id_of(f"{host}:{channel}:0:0")[:-2]
        if len(loader) == 3:  # an ID that leaves the host out
            front = front.removeprefix(host)
        if told == f"{front}{int(target):x}0" and loader.startswith(front):
            found.append(device)
    return found[0] if len(found) == 1 else None


def parse_drives(text):
    """e scsi: the drives as the loader tells them, and the devices that it means."""
    matches, rest = take(DRIVE_ID, text)
    addresses = tape_drives() if matches else []
    tapes = [device for device in known_devices() if device["address"] in addresses]
    drives = []
    for match in matches:
        device = told_drive(match[1], match[3], tapes) or NOTHING_KNOWN
        loader = {"id": match[1], "number": int(match[2]), "loader": match[3]}
        drives.append({**device, **loader})
    return {"drives": drives}, rest


def parse_elements(text, args):
    """e and l: the elements, or the drives. A source of 0 stands for none, unless an element has
    that address."""
    if args[2:3] == ["scsi"]:
        return parse_drives(text)
    matches, rest = take(ELEMENT, text)
    elements = []
    for match in matches:
        element = {"kind": KINDS[match[1][:10].rstrip(" ")]}
        element.update(zip(("number", "address", "source", "full"), numbers(match[1])))
        element["full"] = element["full"] == 1
        element["label"] = match[2].rstrip(" ") or None
        elements.append(element)
    if all(element["address"] for element in elements):
        for element in elements:
            element["source"] = element["source"] or None
    return {"elements": elements}, rest


TRY_MOVE = re.compile(
    r"^Try (\(transport=(-?\d+)\):\(source=(-?\d+)\)>\(target=(-?\d+)\)\n)", re.MULTILINE
)


def c_number(text, bits):
    """A number as mvk reads it, so many bits of it: a C long from the digits at the start of a
    text, 0 without any."""
    match = re.match(r"[ \t-\r]*([+-]?)0*(\d{1,20})", text)
    number = int(match[1] + match[2]) if match else 0
    return max(-(2**63), min(number, 2**63 - 1)) & (1 << bits) - 1


def address_of(text):
    """The element address that a number stands for."""
    return c_number(text, 16)


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
