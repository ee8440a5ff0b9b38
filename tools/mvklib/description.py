"""The words of a description for mvk-sim."""

import re

# The order in which changers report their elements unless they say.
USUAL_ORDER = ("transports", "slots", "ports", "drives")


def line_of(text):
    """A text as the value of a key: one line without blanks at its ends."""
    return re.sub(r"[^ -~]", "?", text or "").strip(" ")


def data_of(text):
    """Bytes in a description's notation: texts in quotes, anything else in hexadecimal."""
    words = re.findall(r"[ !#-~]+|(?s:.)", text)
    return " ".join(f'"{w}"' if re.match("[ !#-~]", w) else f"{ord(w):02x}" for w in words)


def section(name, lines):
    """The lines of a section without the keys that have no value."""
    yield f"\n[{name}]"
    for key, value in lines:
        if value not in (None, "") and value is not False:
            yield f"{key} = {'yes' if value is True else value}"


def generic_number(device, number):
    """The number of a device's generic device file, the given one when it is not known."""
    known = re.fullmatch(r"/dev/sg(\d+)", device["generic"] or device["device"] or "")
    return int(known[1]) if known else number


def identity(device, kind, number):
    """The lines that any device has; number: that of its generic device file unless it is told."""
    own = generic_number(device, number)
    lines = [("address", device["address"]), ("sg", own if own != number else None), ("type", kind)]
    return lines + [(key, line_of(device[key])) for key in ("vendor", "product", "revision")]


def element_lines(elements):
    """The elements as counts from first addresses, a line for each row of addresses, and the order
    of their kinds when it is not the usual one."""
    runs = []
    for element in elements:
        kind, address = f"{element['kind']}s", element["address"]
        if runs and runs[-1][0] == kind and runs[-1][-1] + 1 == address:
            runs[-1].append(address)
        else:
            runs.append([kind, address])
    order = list(dict.fromkeys(kind for kind, *_ in runs))
    lines = [(kind, f"{len(row)} from {row[0]}") for kind, *row in runs]
    if order != [kind for kind in USUAL_ORDER if kind in order]:
        lines.append(("element_order", " ".join(order)))
    return lines
