"""Makes a move between two listings, or a setting between two readings, and judges what came of it.

An object with the judgement has "verified", and "verification" with "reasons" (why not, texts) and
"sent" (whether the command went out).
"""

from .ask import ask, ask_patiently, empty_result
from .library import failures, list_library, lying_at, obstacles
from .process import interruption
from .reports import operation_of
from .settings import SETTINGS, wanted_setting

UNVERIFIED = 20
PATIENCE = 180  # seconds that the look after a change waits for other runs: longer than a move

MOVES = ("m", "hm")


def can_be_verified(args):
    """Whether there is something to look at behind the operation."""
    operation = operation_of(args)
    if operation == "m":
        return len([word for word in args[2:] if word != "debug"]) >= 2
    return operation in MOVES or wanted_setting(args, operation) is not None


def judged(result, reasons, sent, **found):
    """The object with the judgement, and the exit status that follows from both."""
    verification = {"reasons": reasons, "sent": sent, **found}
    status = 128 + interruption() if interruption() else result["status"]
    if not status and reasons:
        status = UNVERIFIED
    return {**result, "verified": not reasons, "verification": verification}, status


def not_sent(args, first, reasons):
    """The same for a change that is not made; when the first look failed, its words say why."""
    result = empty_result(args, None, "nothing was sent")
    if first["status"]:
        said = ("status", "name", "message", "warnings", "lines")
        result.update({name: first[name] for name in said})
    return judged(result, reasons, False)


def verified(args, force=False):
    """Performs a move or a setting and judges it; force: whatever the first look shows. Returns the
    object and the exit status."""
    operation = operation_of(args)
    if operation in MOVES:
        return verified_move(args, operation, force)
    return verified_setting(args, wanted_setting(args, operation))


def verified_move(args, operation, force):
    """Nothing is moved when the first listing fails, or shows that it cannot be done."""
    before = list_library(args[0])
    listed = not before["status"] and bool(before.get("elements"))
    if not force:
        listed_not = ["the library cannot be listed: nothing was moved"]
        reasons = obstacles(before, args, operation) if listed else listed_not
        if reasons or interruption():
            return not_sent(args, before, reasons or ["interrupted before the move"])
    result = ask(args)
    if "move" not in result:
        return judged(result, ["no move was tried"], False)
    if interruption():
        return judged(result, ["interrupted: the move went out, and was not looked at"], True)
    after = list_library(args[0], PATIENCE)
    if not listed:
        return judged(result, ["the library could not be listed before the move"], True)
    if after["status"] or not after.get("elements"):
        return judged(result, ["the library cannot be listed after the move"], True, listing=after)
    places = (result["move"]["source"], result["move"]["target"])
    was = lying_at(before, places[0])
    label = was["label"] if was and was["full"] else None
    found = {
        "before": [lying_at(before, place) for place in places],
        "after": [lying_at(after, place) for place in places],
        "found": [element for element in after["elements"] if label and element["label"] == label],
    }
    return judged(result, failures(before, after, result["move"]), True, **found)


def verified_setting(args, wanted):
    """Nothing is set when the setting cannot be read before."""
    name, value = wanted
    question, read_value = SETTINGS[name]
    before = ask([args[0], question])
    if before["status"] or interruption():
        return not_sent(args, before, [f"{name} cannot be read: nothing was sent"])
    result = ask(args)
    found = {"setting": name, "wanted": value, "before": read_value(before, value)}
    if interruption():
        return judged(result, ["interrupted: the command went out"], True, **found, after=None)
    after = ask_patiently([args[0], question], PATIENCE)
    found["after"] = read_value(after, value)
    reasons = []
    if found["after"] is None:
        reasons = [f"the drive does not tell {name}"]
    elif found["after"] != value:
        reasons = [f"{name} is {found['after']}, not {value}"]
    return judged(result, reasons, True, **found)
