"""The operations of mvk-changer that move: load, unload and transfer.

Each looks before it moves, sends nothing when that shows that it cannot be done, and looks again.
"""

from .ask import OCCUPIED
from .changer_call import Refusal, failure, holder
from .changer_drives import await_ready, await_release, drive_device
from .changer_library import cartridge, read_library, unmoved
from .devices import NOTHING_KNOWN
from .library import failures

IOCTL_ERROR, SIGNALLED = 3, 128  # mvk's exit status when a request failed; and from there a signal


def may_have_gone_out(answer):
    """Whether a move that failed can be at the device all the same: mvk could not write or read, or
    a signal of others ended it."""
    unread = answer["status"] == IOCTL_ERROR and answer["name"] == "ERROR"
    return unread or answer["status"] > SIGNALLED


def carry(call, changer, plan, prepare):
    """Makes a move and looks whether it was made.

    plan(library)     the elements from which and to which, or a Refusal
    prepare(library)  what has to be done once before, when a first look showed that it can be done
    """
    prepared = False
    while True:
        before = read_library(call, changer)
        source, target = plan(before)
        if not prepared:
            prepare(before)
            prepared = True
        addresses = (source["address"], target["address"], before.transport)
        road = f"from {before.name(addresses[0])} to {before.name(addresses[1])}"
        call.check_interruption()
        answer = call.ask_once([changer, "hm", *map(str, addresses)])
        if answer["status"] != OCCUPIED:
            break
        call.wait(f"The changer {changer} is busy: {holder(answer)}")
    reason = failure(answer)
    if reason and not may_have_gone_out(answer):
        raise Refusal(f"The changer {changer} cannot move: {reason}")
    call.sent = f"the move of {cartridge(source)} {road} went out, and was not looked at"
    call.check_interruption()
    try:
        after = read_library(call, changer)
    except Refusal as refusal:
        raise Refusal(f"{refusal}; {call.sent}") from None
    if failures(before.listing, after.listing, answer["move"]):
        mvk_said = f" (mvk said: {reason})" if reason else ""
        raise Refusal(unmoved(before, after, answer["move"]) + mvk_said)
    call.sent = f"{cartridge(source)} went {road}"


def empty_place(library, number):
    """A place to which something is to go."""
    place = library.places[number]
    if place["full"]:
        raise Refusal(f"Slot {number} is full: it holds {cartridge(place)}")
    return place


def full_place(library, number):
    """A place from which something is to come."""
    place = library.places[number]
    if place["full"]:
        return place
    for drive, home in library.homes.items():
        if home == number:
            there = cartridge(library.drives[drive])
            raise Refusal(f"Slot {number} is empty: its cartridge, {there}, is in drive {drive}")
    raise Refusal(f"Slot {number} is empty")


def find_drive(call, changer, library, number, options):
    """The device of a drive, which has to be known."""
    device = drive_device(call, changer, library, number, options) or NOTHING_KNOWN
    if device["address"]:
        return device
    raise Refusal(
        f"Drive {number}: which device it is, nobody tells: name its node as archive device or in"
        " a table, see mvk-changer(8)"
    )


def load(call, changer, options):
    """Takes a cartridge from a slot to a drive, and waits until the drive is ready."""
    found = {}

    def plan(library):
        slot, drive = library.place(options["slot"]), library.drive(options["drive"])
        element = library.drives[drive]
        if element["full"]:
            home = library.homes[drive]
            what = cartridge(element)
            if home and drive not in library.settled:
                what += f" of slot {home}"
            raise Refusal(f"Drive {drive} is full: it holds {what}; unload it first")
        return full_place(library, slot), element

    def prepare(library):
        number = library.drive(options["drive"])
        device = find_drive(call, changer, library, number, options)
        if device["tape"] is None:
            raise Refusal(
                f"Drive {number} ({device['address']}) has no tape device file: is the kernel's"
                " tape driver there?"
            )
        found.update(number=number, device=device)

    carry(call, changer, plan, prepare)
    await_ready(call, found["number"], found["device"])
    return ""


def unload(call, changer, options):
    """Unloads the tape of a drive and takes it to a slot."""
    said = []

    def plan(library):
        slot, drive = library.place(options["slot"]), library.drive(options["drive"])
        if not library.drives[drive]["full"]:
            raise Refusal(f"Drive {drive} is empty: there is nothing to unload")
        return library.drives[drive], empty_place(library, slot)

    def prepare(library):
        number = library.drive(options["drive"])
        device = find_drive(call, changer, library, number, options)
        waits = call.waits
        await_release(call, number, device)
        if call.waits > waits:  # what the first look has shown may be over
            plan(read_library(call, changer))
        tape, who = cartridge(library.drives[number]), f"Drive {number} ({device['address']})"
        sent = f"{tape} was unloaded in drive {number} and is still there"
        answer = call.ask([device["address"], "u"], who, sent)
        if answer["status"]:
            raise Refusal(f"Drive {number} cannot be unloaded: {failure(answer)}")
        if number in library.settled:
            said.append(
                f"{tape} went from drive {number} to slot {options['slot']}: the library does not"
                " tell where it came from"
            )

    carry(call, changer, plan, prepare)
    return "".join(said)


def transfer(call, changer, options):
    """Takes a cartridge from one slot to another."""

    def plan(library):
        source, target = library.place(options["slot"]), library.place(options["node"] or "")
        return full_place(library, source), empty_place(library, target)

    carry(call, changer, plan, lambda library: None)
    return ""
