"""A library as backup suites count it: slots from 1, import/export elements behind them, drives
from 0; and at which slot the cartridge of a drive stands."""

import re

from .changer_call import Refusal, failure
from .library import lying_at


class Library:
    """One listing, in a suite's numbers.

    listing   mvk's object
    slots     how many slots there are
    places    the elements that hold cartridges by number: slots, and import/export elements behind
    drives    the elements of drives by number
    homes     by number of a full drive: the place that its cartridge came from, or is taken to
              have come from; None when there is none left
    settled   the drives whose home the library does not tell
    """

    def __init__(self, listing):
        self.listing = listing
        by_kind = {"slot": [], "port": [], "drive": [], "transport": []}
        for element in listing["elements"]:
            by_kind[element["kind"]].append(element)
        self.slots = len(by_kind["slot"])
        self.places = dict(enumerate(by_kind["slot"] + by_kind["port"], 1))
        self.drives = dict(enumerate(by_kind["drive"]))
        self.transport = by_kind["transport"][0]["address"] if by_kind["transport"] else 0
        self.homes, self.settled = {}, set()
        self.settle_homes()

    def settle_homes(self):
        """Finds the home of each cartridge in a drive. Where the library does not tell one, or one
        that cannot be (no place, full again, told for another drive too), it is the first slot
        that is empty and nobody's home."""
        numbers = {element["address"]: number for number, element in self.places.items()}
        full = [number for number, drive in self.drives.items() if drive["full"]]
        for drive in full:
            home = numbers.get(self.drives[drive]["source"])
            if home and not self.places[home]["full"] and home not in self.homes.values():
                self.homes[drive] = home
        taken = set(self.homes.values())
        free = (
            number
            for number in range(1, self.slots + 1)
            if not self.places[number]["full"] and number not in taken
        )
        for drive in full:
            if drive not in self.homes:
                self.homes[drive] = next(free, None)
                self.settled.add(drive)

    def place(self, word):
        """The number of the place that a word names."""
        number = int(word) if re.fullmatch(r"\d{1,9}", word) else 0
        if number in self.places:
            return number
        ports = len(self.places) - self.slots
        behind = f", import/export {self.slots + 1} to {len(self.places)}" if ports else ""
        raise Refusal(f"Slot {word} does not exist: there are slots 1 to {self.slots}{behind}")

    def drive(self, word):
        """The number of the drive that a word names; without one the only drive."""
        if word is None and len(self.drives) == 1:
            return 0
        number = int(word) if word is not None and re.fullmatch(r"\d{1,9}", word) else -1
        if number in self.drives:
            return number
        drives = ", ".join(map(str, self.drives)) or "none"
        if word is None:
            raise Refusal(f"The drive index is missing: the library has the drives {drives}")
        raise Refusal(f"Drive {word} does not exist: the library has the drives {drives}")

    def name(self, address):
        """An element in the operator's words."""
        for number, element in self.places.items():
            if element["address"] == address:
                return f"slot {number}" + (" (import/export)" if number > self.slots else "")
        for number, element in self.drives.items():
            if element["address"] == address:
                return f"drive {number}"
        return f"element {address}"


def cartridge(element):
    """What lies in a full element, in the operator's words."""
    return element["label"] or "a cartridge without a bar code"


def read_library(call, changer):
    """Lists the library."""
    who = f"The changer {changer}"
    listing = call.ask([changer, "l"], who)
    if listing["status"]:
        raise Refusal(f"{who} cannot be listed: {failure(listing)}")
    if not listing.get("elements"):
        raise Refusal(f"{who} lists no elements: is it a library, is it ready, is its door closed?")
    return Library(listing)


def unmoved(before, after, move):
    """What an operator has to know about a move that did not do its work."""
    source, target = move["source"], move["target"]
    was, there = lying_at(before.listing, source), lying_at(after.listing, target)
    left = lying_at(after.listing, source)
    what = f"{cartridge(was)} of {before.name(source)}"
    road = f"did not go to {before.name(target)}"
    if left and left["full"] and not (there and there["full"]):
        return f"{what} {road}: the library refused the move and left it where it was"
    found = [
        after.name(element["address"])
        for element in after.listing["elements"]
        if was["label"] and element["full"] and element["label"] == was["label"]
    ]
    where = f"it is in {' and '.join(found)}" if found else "the library does not say where it is"
    held = f"; {before.name(target)} holds {cartridge(there)}" if there and there["full"] else ""
    return f"{what} {road}: {where}{held}"
