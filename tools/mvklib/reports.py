"""Which operation mvk makes of its arguments, and which reader reads its report."""

from .drive_reports import parse_attributes, parse_label, parse_status
from .library_reports import parse_elements, parse_hard_move, parse_inquiry, parse_move, parse_scan
from .page_reports import parse_eeprom, parse_pages

PARSERS = {
    "scan": parse_scan,
    "i": parse_inquiry,
    "s": parse_status,
    "e": parse_elements,
    "l": parse_elements,
    "m": parse_move,
    "hm": parse_hard_move,
    "L": parse_label,
    "read": parse_attributes,
    "get": parse_pages,
    "get_eeprom": parse_eeprom,
}

# The operations that change nothing at a device; an interrupt may end them.
QUESTIONS = ("--help", "scan", "i", "s", "e", "l", "read", "get", "get_eeprom")

# The operations that mvk takes with a dash, too.
DASHED = ("i", "s", "e", "l", "hm", "m", "u", "L", "r", "a", "p", "I", "c")

# The number of operands without which an operation is another: a usage error.
OPERANDS = {"hm": 3, "c": 1, "set": 2, "set_eeprom": 2}


def operation_of(args):
    """The operation that mvk makes of its arguments, "" for one that it does not perform."""
    words = args[:-1] if args[-1:] == ["debug"] else args
    if words[:1] in (["scan"], ["--help"]):
        return words[0]
    word = words[1] if len(words) > 1 else ""
    if word.removeprefix("-") in DASHED:
        word = word.removeprefix("-")
    return word if len(words) - 2 >= OPERANDS.get(word, 0) else ""
