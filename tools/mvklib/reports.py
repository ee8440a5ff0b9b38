"""Which reader reads the report of an operation."""

from .drive_reports import parse_attributes, parse_label, parse_status
from .library_reports import parse_elements, parse_hard_move, parse_inquiry, parse_move, parse_scan
from .page_reports import parse_eeprom, parse_pages

# How the report of an operation is read, and the least number of arguments with which it gives one.
PARSERS = {
    "scan": (parse_scan, 1),
    "i": (parse_inquiry, 2),
    "s": (parse_status, 2),
    "e": (parse_elements, 2),
    "l": (parse_elements, 2),
    "m": (parse_move, 4),
    "hm": (parse_hard_move, 5),
    "L": (parse_label, 2),
    "read": (parse_attributes, 2),
    "get": (parse_pages, 2),
    "get_eeprom": (parse_eeprom, 2),
}


def operation_of(args):
    """The operation that mvk makes of its arguments, "" for one that prints no data."""
    if args[-1] == "debug":
        args = args[:-1]
    if args[:1] in (["scan"], ["--help"]):
        word = args[0]
    else:
        word = args[1] if len(args) > 1 else ""
        if word.startswith("-") and len(word.removeprefix("-")) < 3:
            word = word[1:]
    return word if word in PARSERS and len(args) >= PARSERS[word][1] else ""
