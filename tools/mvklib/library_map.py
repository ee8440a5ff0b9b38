"""Draws what a library holds."""

import os
import re
import shutil
import sys

from .library import list_library, reference

NOTHING_LISTED = 20

FULL_COLOUR, EMPTY_COLOUR, NO_COLOUR = "\033[1;32m", "\033[2m", "\033[0m"


def element_text(element, names):
    """What a map says of an element; nothing in it steers a terminal."""
    if not element["full"]:
        return "-"
    label = re.sub(r"[^ -~]", "?", element["label"] or "full")
    source = element["source"]
    known = source is not None and element["kind"] != "slot"
    came = f" < {names.get(source, source)}" if known else ""
    return label + came


def draw_kind(cells, width, colour):
    """The lines of elements of one kind, each with its text, in as many columns as fit."""
    digits = max(len(str(element["number"])) for element, _ in cells)
    room = min(max(len(text) for _, text in cells), width - digits - 3)
    columns = max(1, width // (digits + room + 3))
    for row in range(0, len(cells), columns):
        line = ""
        for element, text in cells[row : row + columns]:
            text = text if len(text) <= room else text[: room - 1] + "~"
            pad = " " * (room - len(text))
            if colour:
                text = f"{FULL_COLOUR if element['full'] else EMPTY_COLOUR}{text}{NO_COLOUR}"
            line += f"  {element['number']:{digits}} {text}{pad}"
        yield line.rstrip(" ")


def draw(elements, width, colour):
    """The lines of a map, kind by kind."""
    names = {element["address"]: reference(element) for element in elements}
    for kind in ("transport", "drive", "port", "slot"):
        cells = [(each, element_text(each, names)) for each in elements if each["kind"] == kind]
        if cells:
            full = sum(element["full"] for element, _ in cells)
            yield f"{kind.capitalize()}s: {len(cells)}, {full} full"
            yield from draw_kind(cells, width, colour)


def map_library(device):
    """Prints the map; returns the status of the listing, another one when that is empty."""
    listing = list_library(device)
    for line in listing["warnings"] + listing["lines"]:
        print(re.sub(r"[^ -~]", "?", line), file=sys.stderr)
    if listing["status"]:
        print(f"mvk-json: {listing['name']}: {listing['message']}", file=sys.stderr)
    elif not listing.get("elements"):
        print(f"mvk-json: {device} lists no elements", file=sys.stderr)
    width = max(40, shutil.get_terminal_size().columns)
    plain = "NO_COLOR" in os.environ or os.environ.get("TERM") == "dumb"
    colour = sys.stdout.isatty() and not plain
    for line in draw(listing.get("elements", []), width, colour):
        print(line)
    return listing["status"] or (0 if listing.get("elements") else NOTHING_LISTED)
