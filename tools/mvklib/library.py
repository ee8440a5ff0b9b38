"""What a library holds, and whether a move did what it should."""

from .ask import ask_patiently


def list_library(device, patience=0):
    """The listing with bar codes; waits for other runs for so many seconds."""
    return ask_patiently([device, "l"], patience)


def lying_at(listing, address):
    """The element with this address, None when the listing has none."""
    return next((element for element in listing["elements"] if element["address"] == address), None)


def reference(element):
    """An element as moves name it."""
    return f"{element['kind'][0]}:{element['number']}"


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
        other = other or (was["kind"] == "slot" and there["source"] not in (0, source))
    reasons = (
        (not was["full"], f"the source {source} was empty"),
        (held["full"], f"the target {target} was full"),
        (left["full"], f"the source {source} is still full"),
        (not there["full"], f"the target {target} is empty"),
        (there["full"] and other, f"the target {target} holds another cartridge"),
    )
    return [reason for holds, reason in reasons if holds]
