"""Moves between two listings, and says whether the cartridge is where it was to go."""

from .ask import run_mvk
from .library import failures, list_library, lying_at

UNVERIFIED = 20
PATIENCE = 180  # seconds that the listing after a move waits for other runs: longer than a move


def verified_move(args):
    """Moves between two listings; nothing is moved when the first one fails. Returns the object
    and the exit status."""
    before = list_library(args[0])
    if before["status"] or not before.get("elements"):
        reasons = ["the library cannot be listed: nothing was moved"]
        result = {key: before[key] for key in ("status", "name", "message", "warnings", "lines")}
        return judged({"command": ["mvk", *args], **result}, {"reasons": reasons})
    result = run_mvk(args)
    if "move" not in result:
        return judged(result, {"reasons": ["no move was tried"]})
    after = list_library(args[0], PATIENCE)
    if after["status"] or not after.get("elements"):
        reasons = ["the library cannot be listed after the move"]
        return judged(result, {"reasons": reasons, "listing": after})
    places = (result["move"]["source"], result["move"]["target"])
    was = lying_at(before, places[0])
    label = was["label"] if was and was["full"] else ""
    verification = {
        "reasons": failures(before, after, result["move"]),
        "before": [lying_at(before, place) for place in places],
        "after": [lying_at(after, place) for place in places],
        "found": [element for element in after["elements"] if label and element["label"] == label],
    }
    return judged(result, verification)


def judged(result, verification):
    """The object with the judgement, and the exit status that follows from both."""
    verified = not verification["reasons"]
    status = result["status"] or (0 if verified else UNVERIFIED)
    return {**result, "verified": verified, "verification": verification}, status
