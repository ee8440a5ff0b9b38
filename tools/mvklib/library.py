"""What a library holds: its elements, what a move's words mean there, and whether a move did its
work."""

import re

from .ask import ask, ask_patiently

# The kinds of elements by the letter of a reference.
LETTERS = {"t": "transport", "s": "slot", "p": "port", "d": "drive"}


def list_library(device, patience=0):
    """The object of the listing with bar codes; waits for other runs for so many seconds."""
    return ask_patiently([device, "l"], patience)


def lying_at(listing, address):
    """The element with this address, None when the listing has none."""
    return next((element for element in listing["elements"] if element["address"] == address), None)


def reference(element):
    """An element as moves name it."""
    return f"{element['kind'][0]}:{element['number']}"


def overridden_counts(device):
    """The element counts by kind that an operator has put in place of the library's; none without.
    A move without operands is a question for them: nothing is sent but what a listing sends."""
    return {count["kind"]: count for count in ask([device, "m"]).get("counts", [])}


def find_reference(listing, counts, word):
    """The element that a word such as s:1 names, and None; or None and what is wrong with it. Of
    elements with one number mvk takes the last."""
    match = re.fullmatch(r"([tspd]):(\d{1,5})", word)
    if not match:
        return None, f"{word} is not a letter of s d p t, a colon and a number"
    kind, number = LETTERS[match[1]], int(match[2])
    for element in reversed(listing["elements"]):
        if kind in counts:
            address = counts[kind]["first"] + number & 0xFFFF
            found = number < counts[kind]["count"] and element["address"] == address
        else:
            found = element["kind"] == kind and element["number"] == number
        if found:
            return element, None
    return None, f"the library has no element {word}"


def find_address(listing, word):
    """The same for a word that is an element address."""
    if not re.fullmatch(r"\d{1,5}", word) or int(word) > 0xFFFF:
        return None, f"{word} is not an element address"
    element = lying_at(listing, int(word))
    return element, None if element else f"no element has the address {word}"


def obstacles(listing, args, operation):
    """Why a move is not to be sent at all: texts, none when it can be done."""
    words = [word for word in args[2:5] if word not in ("debug", "test")]
    if operation == "m":
        counts = overridden_counts(args[0])
        found = [find_reference(listing, counts, word) for word in words]
    else:  # transport 0 is any
        words = words[:2] if words[2:] == ["0"] else words
        found = [find_address(listing, word) for word in words]
    reasons = [reason for _, reason in found if reason]
    source, target = found[0][0], found[1][0]
    if source and not source["full"]:
        reasons.append(f"the source {source['address']} is empty")
    if target and target["full"]:
        reasons.append(f"the target {target['address']} is full")
    return reasons


def failures(before, after, move):
    """Why the move did not take the cartridge from its source to its target: texts, none when it
    did. Bar codes tell cartridges apart where they are known and unique, else the slot that the
    library says they came from."""
    source, target = move["source"], move["target"]
    was, left = lying_at(before, source), lying_at(after, source)
    held, there = lying_at(before, target), lying_at(after, target)
    if not (was and left and held and there):
        return [f"no element has the address {target if was and left else source}"]
    labels = [element["label"] for element in before["elements"] if element["full"]]
    known = bool(was["label"] and there["label"])
    other = known and was["label"] != there["label"]
    if not known or labels.count(was["label"]) > 1:
        other = other or (was["kind"] == "slot" and there["source"] not in (None, source))
    reasons = (
        (not was["full"], f"the source {source} was empty"),
        (held["full"], f"the target {target} was full"),
        (left["full"], f"the source {source} is still full"),
        (not there["full"], f"the target {target} is empty"),
        (there["full"] and other, f"the target {target} holds another cartridge"),
    )
    return [reason for holds, reason in reasons if holds]
