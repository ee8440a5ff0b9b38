"""The command mvk-changer: its options, its reports, and the one text that it prints.

A suite reads both streams, as data or for the operator, whatever the exit status is. So all goes to
standard output, and nothing but one text: the data, or one line that says why there is none.
"""

import getopt

from . import VERSION
from .changer_call import PATIENCE, Call, Refusal, printable
from .changer_drives import drive_device, named_device
from .changer_library import read_library
from .changer_moves import load, transfer, unload
from .devices import known_devices
from .process import interruption

NAME = "mvk-changer"
FAILED = 1
USAGE = """usage: mvk-changer [options] CHANGER OPERATION [SLOT [ARCHIVE-DEVICE [DRIVE]]]
The changer program of a backup suite; see mvk-changer(8).

operations: slots, list, listall, loaded, load, unload, transfer
  --log FILE          append what is called and asked, and what came of it
  --patience SECONDS  how long to wait for busy devices, up to 230, which is meant otherwise
  --table FILE        which device is which drive, instead of /etc/opt/tarvo/changer.ini
  -h, --help          show this
  --version           show the version
"""


def field(element):
    """A bar code as a field: whatever could shift a field or a line is a question mark."""
    return printable(element["label"] or "").replace(":", "?").replace(" ", "?")


def note_settled(call, library):
    """Notes in the log which cartridges stand at a slot that the library did not tell."""
    for drive in sorted(library.settled):
        home = library.homes[drive]
        place = f"is taken to be of slot {home}" if home else "has no slot: none is empty"
        call.note(f"drive {drive}: {field(library.drives[drive])} came from nowhere, and {place}")


def slots(call, changer, _options):
    """How many slots there are."""
    return str(read_library(call, changer).slots)


def list_full(call, changer, _options):
    """The full slots, and those whose cartridge is in a drive."""
    library = read_library(call, changer)
    note_settled(call, library)
    full = {number: place for number, place in library.places.items() if place["full"]}
    for drive, home in library.homes.items():
        full[home] = library.drives[drive]
    numbers = sorted(number for number in full if number and number <= library.slots)
    return "\n".join(f"{number}:{field(full[number])}" for number in numbers)


def list_all(call, changer, _options):
    """Drives, slots, import/export elements; 0 is the slot of a cartridge that has none."""
    library = read_library(call, changer)
    note_settled(call, library)
    lines = []
    for number, drive in library.drives.items():
        full = f"F:{library.homes.get(number) or 0}:{field(drive)}"
        lines.append(f"D:{number}:{full if drive['full'] else 'E'}")
    for number, place in library.places.items():
        kind = "S" if number <= library.slots else "I"
        lines.append(f"{kind}:{number}:{'F:' + field(place) if place['full'] else 'E'}")
    return "\n".join(lines)


def loaded(call, changer, options):
    """The slot of the cartridge in a drive, 0 for none."""
    library = read_library(call, changer)
    note_settled(call, library)
    number = library.drive(options["drive"])
    drive_device(call, changer, library, number, options)
    home = library.homes.get(number, 0)
    if home is None:
        raise Refusal(
            f"Drive {number} is full, the library does not tell from which slot, and none is"
            " empty: take a cartridge out"
        )
    return str(home)


OPERATIONS = {
    "slots": slots,
    "list": list_full,
    "listall": list_all,
    "loaded": loaded,
    "load": load,
    "unload": unload,
    "transfer": transfer,
}
MOVING = ("load", "unload", "transfer")
NEEDED = {"load": 1, "unload": 1, "transfer": 2}  # operands


def wrong(reason):
    """What is wrong with the command line."""
    return Refusal(f"Wrong call: {reason} (see {NAME} --help)")


def parse(args):
    """The options as an object, and the other arguments."""
    try:
        given, rest = getopt.getopt(args, "h", ["help", "version", "log=", "patience=", "table="])
    except getopt.GetoptError as problem:
        raise wrong(problem.msg) from None
    options = {"--log": None, "--table": None, "--patience": str(PATIENCE), **dict(given)}
    if "-h" in options or "--help" in options or "--version" in options:
        return options, rest
    patience = options["--patience"]
    if not patience.isdecimal() or len(patience) > 3 or int(patience) > PATIENCE:
        raise wrong(f"--patience is a number of seconds up to {PATIENCE}")
    if len(rest) < 2 or len(rest) > 5:
        raise wrong("a changer, an operation and up to three operands are wanted")
    if rest[1] not in OPERATIONS:
        raise wrong(f"there is no operation {rest[1]}")
    if len(rest) < 2 + NEEDED.get(rest[1], 0):
        raise wrong(f"{rest[1]} lacks a slot")
    return options, rest


def perform(call, options, rest):
    """The data that an operation prints; a Refusal when it fails."""
    operands = dict(zip(("slot", "node", "drive"), rest[2:]))
    devices = known_devices()
    changer = named_device(rest[0], devices, "Changer")["address"]
    how = {
        "devices": devices,
        "slot": operands.get("slot"),
        "node": operands.get("node") or None,
        "drive": operands.get("drive") or None,
        "table": options["--table"],
    }
    text = OPERATIONS[rest[1]](call, changer, how)
    call.check_interruption()
    return text


def finish(call, rest):
    """Performs the call; returns its text and its exit status."""
    options, words = rest
    call.note(f"called: {' '.join(words)}")
    try:
        text, status = perform(call, options, words), 0
    except Refusal as refusal:
        text, status = str(refusal), FAILED
        if words[1] in MOVING and not call.sent:
            text += "; nothing was moved"
        text = printable(text)
    except Exception as problem:  # pylint: disable=broad-exception-caught # no trace for the suite
        call.note(f"{type(problem).__name__}: {problem}")
        text, status = printable(f"Internal error: {type(problem).__name__}: {problem}"), FAILED
    call.note(f"ends with status {128 + interruption() if interruption() else status}: {text}")
    return text, status


def main(args):
    """Prints one text; returns the exit status."""
    try:
        options, rest = parse(args)
        if "--version" in options:
            print(NAME, VERSION)
            return 0
        if "-h" in options or "--help" in options:
            print(USAGE, end="")
            return 0
        call = Call(int(options["--patience"]), options["--log"])
    except Refusal as refusal:
        print(printable(str(refusal)))
        return FAILED
    text, status = finish(call, (options, rest))
    if text:
        print(text)
    return status
