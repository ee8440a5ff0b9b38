"""Describes the devices that mvk sees, so that mvk-sim shows a twin of them."""

from .description import element_lines, generic_number, identity, line_of, section
from .twin_drives import describe_drive

TYPES = {"loader": "changer", "other": "disk"}


def ask_loader(loader, questions):
    """The elements of a loader and the drives that it tells, by their number. One that answers the
    third request only refuses those that allow for more than is transferred."""
    listing = questions.ask(loader["name"], "l")
    refused = [line for line in listing["warnings"] if line.startswith("warning buffer not filled")]
    elements = listing.get("elements", [])
    loader["strict"] = len(refused) == 2
    if not elements:
        questions.miss(f"{loader['name']} lists no elements: it is left without drives, too")
        return [], {}
    drives = questions.ask(loader["name"], "e", "scsi").get("drives", [])
    return elements, {drive["number"]: drive["address"] for drive in drives}


def place_drives(loaders, tapes):
    """The address of the loader and of the element of each tape drive, by the drive's address. What
    a loader tells counts when its drives all differ and each is a tape drive; the other loaders get
    what is left of their own host, then of any, in order."""
    places, left, free = {}, [], [tape["address"] for tape in tapes]
    for loader, elements, told in loaders:
        drives = [element for element in elements if element["kind"] == "drive"]
        spots = [(loader["address"], drive["address"]) for drive in drives]
        addresses = [told.get(drive["number"]) for drive in drives]
        if len(set(addresses)) == len(drives) and set(addresses) <= set(free):
            places.update(zip(addresses, spots))
            free = [address for address in free if address not in addresses]
        else:
            left.append((f"{loader['address'].split(':')[0]}:", spots))
    for same_host in (True, False):
        for host, spots in left:
            near = [address for address in free if not same_host or address.startswith(host)]
            for address in near[: len(spots)]:
                places[address] = spots.pop(0)
                free.remove(address)
    return places


def changer_line(address, loaders):
    """The line that tells a loader by its address; no value when there is no other."""
    return "changer", address if len(loaders) > 1 else None


def describe_cartridges(loader, loaders, loaded):
    """The sections of the cartridges of a loader; loaded: further lines by the loader's address and
    that of the element."""
    loader, elements, _ = loader
    places = {element["address"] for element in elements}
    for element in elements:
        if element["full"]:
            lines = loaded.get((loader["address"], element["address"]), [])
            if not lines and (element["label"] or "").startswith("CLN"):
                lines = [("kind", "cleaning")]
            source = element["source"] if element["source"] in places else None
            place = [("place", element["address"]), changer_line(loader["address"], loaders)]
            lines = [("barcode", line_of(element["label"])), *place, ("source", source), *lines]
            yield from section("cartridge", lines)


def describe_devices(devices, loaders, questions, labels):
    """The sections of all devices, in the order of the scan. Returns the lines of the cartridges
    that are loaded, by the address of the loader and of the element."""
    elements = {loader["address"]: listed for loader, listed, _ in loaders}
    tapes = [device for device in devices if device["type"] == "tape"]
    places, loaded, number = place_drives(loaders, tapes), {}, 0
    for device in devices:
        if device["type"] == "tape":
            spot, numbers = places.get(device["address"]), (number, tapes.index(device))
            place = [("element", spot[1]), changer_line(spot[0], loaders)] if spot else []
            lines, loaded[spot] = describe_drive(device, place, numbers, questions, labels)
            yield from lines
        else:
            runs = element_lines(elements.get(device["address"], []))
            yield from section("device", identity(device, TYPES[device["type"]], number) + runs)
        number = generic_number(device, number) + 1
    return loaded


def describe(devices, questions, labels):
    """The lines of the description."""
    asked = [device for device in devices if device["type"] == "loader" and device["name"]]
    loaders = [(loader, *ask_loader(loader, questions)) for loader in asked]
    yield "# A library as mvk saw it; for mvk-sim --library."
    if any(loader["strict"] for loader in asked):
        yield from section("library", [("strict_allocation", True)])
    loaded = yield from describe_devices(devices, loaders, questions, labels)
    for loader in loaders:
        yield from describe_cartridges(loader, loaders, loaded)
    for text in questions.failed:
        yield f"# Not told: {line_of(text)}"
