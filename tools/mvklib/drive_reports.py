"""Reads the reports of s of a drive, of L and of read."""

import re

from .library_reports import parse_counts
from .texts import bounded, hexadecimal, take


def block_length(text):
    """The value of block_length, whose 0 is explained."""
    return bounded(text.removesuffix(" (variable)"))


# The fields of a drive's status and how their values are read.
STATUS_FIELDS = {
    "medium_type": str,
    "internal_status_byte": hexadecimal,
    "cleaning_bit": bounded,
    "load": bounded,
    "buffered_mode": bounded,
    "block_length": block_length,
    "media_type": str,
    "write_protect": bounded,
    "density_code": hexadecimal,
    "compression": bounded,
}

FIELD = re.compile(r"^(\w+)=((?!\().*)\n", re.MULTILINE)


def parse_status(text, _args):
    """s: a loader's counts or a drive's fields."""
    if "Tape Info\n" not in text:
        counts, rest = parse_counts(text)
        return {"counts": counts}, rest
    fields = {}

    def keep(match):  # takes a line that is known out of the text
        try:
            fields[match[1]] = STATUS_FIELDS[match[1]](match[2])
        except (KeyError, ValueError):
            return match[0]
        return ""

    rest = FIELD.sub(keep, text.replace("Tape Info\n", "", 1))
    return {"fields": fields}, rest


LABEL = re.compile(
    r"^(?s:(?P<fields>zel_label=.*)|gorvath_label=(?P<text>.*)"
    r"|UNKNOWN\niBufSize=\d+\n(?P<hex>[\da-f ]*))\nDONE READ\n\Z",
    re.MULTILINE,
)

# The fields of a label, most likely form first: a time has 19 characters, or fewer in a label that
# is odd, and both it and the rest may be missing.
TIME = r"\nzel_init_time=(?P<init_time>."

LABEL_FIELDS = [
    re.compile(rf"(?s)zel_label=(?P<label>.*?){time}{etc}")
    for time in (rf"{TIME}{{19}})", rf"{TIME}{{0,20}}?)", "")
    for etc in (r"\nzel_etc=(?P<etc>.*)", "")
]


def parse_label(text, _args):
    """L: the label on the tape."""
    match = LABEL.search(text)
    if not match:
        return {}, text
    if match["fields"] is not None:
        found = (form.fullmatch(match["fields"]) for form in LABEL_FIELDS)
        fields = next(filter(None, found)).groupdict()
        label = {"layout": "2A", "label": None, "init_time": None, "etc": None, **fields}
    elif match["text"] is not None:
        # A key is printed before every M; without the keys it is the text as it was written.
        first, *others = re.split(r"\ngorvath_etc=(?=M)", match["text"])
        label = {"layout": "TAPE", "label": first, "etc": "".join(others)}
    else:
        label = {"layout": None, "nonzero": bytes(map(hexadecimal, match["hex"].split())).hex()}
    return {"label": label}, text[: match.start()] + "DONE READ\n"


ATTRIBUTE = re.compile(
    r"Attribute Id: 0x([\da-f]{4})"
    r"(?: followed by: \w+ ([\da-f]{1,2}) ([\da-f]{1,2}) \w+)?( ReadOnly)? "
    r"\((ASCII|TEXT|BINARY)\)\nvalue: \[(?:(?<=BINARY\)\nvalue: \[)0x)?"
)

ATTRIBUTE_END = re.compile(rf"\]\n(?={ATTRIBUTE.pattern}|\Z)")


def parse_attributes(text, args):
    """read: the attributes, in their order; with the word medium_type only that."""
    if args[2:3] == ["medium_type"]:
        matches, rest = take(FIELD, text)
        return {"fields": {match[1]: match[2] for match in matches}}, rest
    attributes, rest, place = [], "", 0
    while match := ATTRIBUTE.search(text, place):
        attribute = {"id": f"0x{match[1]}", "read_only": match[4] is not None}
        attribute["format"] = match[5].lower()
        start, end = match.end(), -1
        if match[2]:  # a debug report tells the length
            attribute["length"] = int(match[2], 16) << 8 | int(match[3], 16)
            end = start + attribute["length"] if match[5] != "BINARY" else -1
        if not text.startswith("]\n", end):
            found = ATTRIBUTE_END.search(text, start)
            end = found.start() if found else len(text)
        attribute["value"] = text[start:end]
        attributes.append(attribute)
        rest, place = rest + text[place : match.start()], end + 2
    return {"attributes": attributes}, rest + text[place:]
