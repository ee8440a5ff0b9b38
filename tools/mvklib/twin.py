"""Describes the devices that mvk sees, so that mvk-sim shows a twin of them."""

from .description import element_runs, generic_number, identity, line_of, section
from .twin_drives import describe_drive


def ask_loader(loader, questions):
    """The elements of a loader and the drives that it tells, by their number."""
    elements = questions.ask(loader["name"], "l").get("elements", [])
    if not elements:
        questions.miss(f"{loader['name']} lists no elements: it is left without drives, too")
        return [], {}
    drives = questions.ask(loader["name"], "e", "scsi").get("drives", [])
    return elements, {drive["number"]: drive["address"] for drive in drives}


def place_drives(loaders, tapes):
    """The loader and the element of each tape drive, by the drive's address. What a loader tells
    counts when its drives all differ and each is a tape drive; the other loaders get what is left
    of their own host, then of any, in order."""
    places, left, free = {}, [], [tape["address"] for tape in tapes]
    for loader, elements, told in loaders:
        drives = [element for element in elements if element["kind"] == "drive"]
        addresses = [told.get(drive["number"]) for drive in drives]
        if len(set(addresses)) == len(drives) and set(addresses) <= set(free):
            places.update(zip(addresses, ((loader, drive) for drive in drives)))
            free = [address for address in free if address not in addresses]
        else:
            left.append((loader, drives))
    for same_host in (True, False):
        for loader, drives in left:
            host = f"{loader['address'].split(':')[0]}:"
            near = [address for address in free if not same_host or address.startswith(host)]
            for address in near[: len(drives)]:
                places[address] = (loader, drives.pop(0))
                free.remove(address)
    return places


def describe_cartridges(loader, elements, loaded):
    """The sections of the cartridges of a loader; loaded: further lines by the loader's address and
    that of the element."""
    places = {element["address"] for element in elements}
    for element in elements:
        if element["full"]:
            lines = loaded.get((loader["address"], element["address"]), [])
            if not lines and (element["label"] or "").startswith("CLN"):
                lines = [("kind", "cleaning")]
            source = element["source"] if element["source"] in places else None
            place = [("place", element["address"]), ("source", source)]
            yield from section(
                "cartridge", [("barcode", line_of(element["label"])), *place, *lines]
            )


def describe(devices, questions, labels):
    """The lines of the description of all devices, in the order of the scan."""
    asked = [device for device in devices if device["type"] == "loader" and device["name"]]
    loaders = [(loader, *ask_loader(loader, questions)) for loader in asked]
    elements = {loader["address"]: listed for loader, listed, _ in loaders}
    tapes = [device for device in devices if device["type"] == "tape"]
    places, loaded = place_drives(loaders, tapes), {}
    yield "# A library as mvk saw it; for mvk-sim --library."
    number = 0
    for device in devices:
        if device["type"] == "tape":
            loader, drive = places.get(device["address"], (None, None))
            place = [("element", drive["address"])] if drive else []
            numbers = (number, tapes.index(device))
            lines, cartridge = describe_drive(device, place, numbers, questions, labels)
            if drive:
                loaded[loader["address"], drive["address"]] = cartridge
            yield from lines
        else:
            kind = "changer" if device["type"] == "loader" else "disk"
            lines = identity(device, kind, number) + element_runs(
                elements.get(device["address"], [])
            )
            yield from section("device", lines)
        number = generic_number(device, number) + 1
    for loader, listed, _ in loaders:
        yield from describe_cartridges(loader, listed, loaded)
    for text in questions.failed:
        yield f"# Not told: {line_of(text)}"
