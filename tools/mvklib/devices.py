"""What the system knows of SCSI devices: addresses, IDs, device files, serial numbers and links.
Everything is read from the kernel's listing, sysfs and links; no device is opened.

A device is an object with these members, None where the system does not know:

    address    host, channel, target and LUN, as 0:0:12:0
    id         what mvk makes of that; several devices can share it
    generic    its generic device file, as /dev/sg3
    tape       its tape device file that does not rewind, as /dev/nst0
    serial     its serial number (vital product data page 0x80)
    names      the links below /dev/tape that lead to its device files
"""

import os
import re

LISTING = "/proc/scsi/scsi"
GENERIC, TAPE = "/sys/class/scsi_generic", "/sys/class/scsi_tape"
LINKS = ("/dev/tape/by-id", "/dev/tape/by-path")
SIMULATION = "/proc/scsi/mvk-sim"  # of mvk-sim: the links of the machine lead elsewhere then

HOST_LINE = re.compile(r"^Host: scsi(\d+) Channel: (\d+) Id: (\d+) Lun: (\d+)$", re.MULTILINE)
ADDRESS = re.compile(r"(\d{1,10}):(\d{1,10}):(\d{1,10}):(\d{1,20})")
NOTHING_KNOWN = dict.fromkeys(("id", "address", "generic", "tape", "serial", "names"))


def id_of(address):
    """mvk's ID of an address: the host in full, then each number; two digits as their sum."""
    host, *numbers = address.split(":")
    return host + "".join(
        str(int(number[0]) + int(number[1])) if len(number) == 2 else number for number in numbers
    )


def read_file(path, size=65536):
    """The first bytes of a file, empty when it cannot be read."""
    try:
        with open(path, "rb") as file:
            return file.read(size)
    except OSError:
        return b""


def nodes_by_address(folder, form):
    """The nodes of a class of devices whose names match the form: their names by address, in the
    order of their numbers."""
    found = {}
    try:
        names = [name for name in os.listdir(folder) if re.fullmatch(form, name)]
    except OSError:
        return found
    for name in sorted(names, key=lambda name: int(re.sub(r"\D", "", name))):
        try:
            address = os.path.basename(os.readlink(f"{folder}/{name}/device"))
        except OSError:
            continue
        if ADDRESS.fullmatch(address):
            found.setdefault(address, name)
    return found


def device_file(folder, name):
    """The path of a node in /dev, None when there is none or it has another device number."""
    if name is None:
        return None
    number = re.match(rb"(\d+):(\d+)\n", read_file(f"{folder}/{name}/dev"))
    try:
        status = os.stat(f"/dev/{name}")
    except OSError:
        return None
    if number and (os.major(status.st_rdev), os.minor(status.st_rdev)) != tuple(
        map(int, number.groups())
    ):
        return None
    return f"/dev/{name}"


def serial_of(generic):
    """The serial number that the kernel has read from a device, as it stands in page 0x80."""
    page = read_file(f"{GENERIC}/{generic}/device/vpd_pg80")
    text = page[4 : 4 + int.from_bytes(page[2:4], "big")].decode("latin-1").strip(" \0")
    return text or None


def links_by_target():
    """The persistent links by the path that each leads to."""
    found = {}
    for folder in () if os.path.exists(SIMULATION) else LINKS:
        try:
            for name in sorted(os.listdir(folder)):
                path = f"{folder}/{name}"
                found.setdefault(os.path.realpath(path), []).append(path)
        except OSError:
            continue
    return found


def listed_addresses():
    """The addresses of all devices in the order in which mvk scans them: that of the kernel's
    listing, or of the generic devices on a kernel without it."""
    if os.path.exists(LISTING):
        lines = HOST_LINE.findall(read_file(LISTING, 1 << 24).decode("latin-1"))
        return [":".join(str(int(number)) for number in line) for line in lines]
    return list(nodes_by_address(GENERIC, r"sg\d{1,9}"))


def tape_drives():
    """The addresses of all tape drives, those without a node among them."""
    generics = nodes_by_address(GENERIC, r"sg\d{1,9}")
    types = {
        address: read_file(f"{GENERIC}/{name}/device/type") for address, name in generics.items()
    }
    nodes = nodes_by_address(TAPE, r"nst\d{1,9}")
    return {address for address, kind in types.items() if kind.strip() == b"1"} | set(nodes)


def known_devices():
    """All devices, in the order of the scan."""
    generics, tapes = nodes_by_address(GENERIC, r"sg\d{1,9}"), nodes_by_address(TAPE, r"nst\d{1,9}")
    links = links_by_target()
    devices = []
    for address in listed_addresses():
        generic = device_file(GENERIC, generics.get(address))
        tape = device_file(TAPE, tapes.get(address))
        names = [link for node in (generic, tape) if node for link in links.get(node, [])]
        serial = serial_of(generics[address]) if address in generics else None
        known = {"id": id_of(address), "address": address, "generic": generic, "tape": tape}
        devices.append({**known, "serial": serial, "names": names or None})
    return devices


def find_device(name, devices):
    """The one device that a name of mvk's means, None when there is none, or several share it: an
    address, an ID, a generic or tape device file, or a link to one."""
    if name.startswith("/") and "\0" not in name:
        path = os.path.realpath(name)
        path = re.sub(r"^/dev/n?st(\d+)[lma]?$", r"/dev/nst\1", path)
        found = [device for device in devices if path in (device["generic"], device["tape"])]
    else:
        found = [device for device in devices if name in (device["address"], device["id"])]
    return found[0] if len(found) == 1 else None
