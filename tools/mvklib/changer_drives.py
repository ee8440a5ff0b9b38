"""Which device a drive of the library is, and whether it is in use or ready.

The library, a table of the administrator's and the suite's archive device can tell which device a
drive is. Each may be missing; those that tell something have to tell the same.
"""

import configparser
import errno
import os
import signal
import time

from .changer_call import Refusal
from .devices import ADDRESS, NOTHING_KNOWN, find_device, tape_drives
from .process import interruption

TABLE = "/etc/opt/tarvo/changer.ini"
NUMBERS = "/sys/dev/char"
TABLE_MAX = 1 << 20


def address_of_node(path):
    """The address of the device that a node leads to, by the number of the node; None where the
    system does not tell. Raises OSError when there is no such file."""
    number = os.stat(path).st_rdev
    try:
        link = os.readlink(f"{NUMBERS}/{os.major(number)}:{os.minor(number)}/device")
    except OSError:
        return None
    address = os.path.basename(link)
    return address if ADDRESS.fullmatch(address) else None


def named_device(name, devices, what):
    """The device that an ID, an address, a node or a link means; what: how messages call it."""
    address = name
    if "/" in name:
        try:
            address = address_of_node(name) or name
        except OSError as problem:
            raise Refusal(f"{what} {name}: {problem.strerror}") from None
    device = find_device(address, devices)
    if device:
        return device
    if ADDRESS.fullmatch(address) and address != name:
        return {**NOTHING_KNOWN, "address": address}
    if name in [device["id"] for device in devices]:
        raise Refusal(f"{what} {name} is the ID of several devices: name its address or its node")
    raise Refusal(f"{what} {name}: no such device")


def drive_table(path, changer, devices):
    """The names of drives by number that the table has for this changer, as texts."""
    parser = configparser.RawConfigParser(delimiters=("=",), comment_prefixes=("#", ";"))
    try:
        with open(path or TABLE, encoding="latin-1") as file:
            parser.read_string(file.read(TABLE_MAX), path or TABLE)
    except FileNotFoundError:
        if path is None:
            return {}
        raise Refusal(f"The table {path} does not exist") from None
    except OSError as problem:
        raise Refusal(f"The table {path or TABLE} cannot be read: {problem.strerror}") from None
    except configparser.Error as problem:
        reason = " ".join(str(problem).split())
        raise Refusal(f"The table {path or TABLE} is wrong: {reason}") from None
    table = {}
    for section in parser.sections():
        try:
            device = named_device(section, devices, "")
        except Refusal:  # a library that is not there now
            continue
        if device["address"] == changer:
            table.update(parser.items(section))
    return table


def told_address(call, changer, library, number):
    """The address that the library tells for a drive, None unless it tells another one for each of
    its drives, and each is a tape drive's: some libraries tell the same for all."""
    told = call.ask([changer, "e", "scsi"], f"The changer {changer}").get("drives", [])
    addresses = {drive["number"]: drive["address"] for drive in told}
    tapes = tape_drives()
    if set(addresses) != set(library.drives) or len(set(addresses.values())) != len(addresses):
        return None
    return addresses[number] if all(address in tapes for address in addresses.values()) else None


def drive_device(call, changer, library, number, options):
    """The device of a drive, None when nobody tells it.

    options: devices, all that the system knows; node, the archive device that the suite names, None
    without; table, the path of another table than the usual one, None without.
    """
    devices, node = options["devices"], options["node"]
    told = told_address(call, changer, library, number)
    claims = [(told, f"{told} by the library")] if told else []
    table = drive_table(options["table"], changer, devices)
    for source, name in (
        (f"the table {options['table'] or TABLE}", table.get(f"drive {number}")),
        ("the archive device", node),
    ):
        if name:
            device = named_device(name, devices, f"Drive {number}:")
            if device["address"] not in tape_drives():
                raise Refusal(f"Drive {number}: {name} is no tape drive")
            claims.append((device["address"], f"{device['address']} ({name}) by {source}"))
    for address, text in claims[1:]:
        if address != claims[0][0]:
            raise Refusal(f"Drive {number} is {claims[0][1]}, but {text}: correct what is wrong")
    return find_device(claims[0][0], devices) if claims else None


class Late(Exception):
    """Opening takes longer than there is patience."""


def open_error(path, flags, end):
    """Opens a file for reading and closes it. Returns 0 or the error number; EIO when the driver
    waits for the drive until the end of patience, or a signal."""

    def look(_number, _frame):
        if interruption() or time.monotonic() >= end:
            raise Late

    signal.signal(signal.SIGALRM, look)
    signal.setitimer(signal.ITIMER_REAL, 1, 1)
    try:
        os.close(os.open(path, os.O_RDONLY | flags))
    except OSError as problem:
        return problem.errno
    except Late:
        return errno.EIO
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
    return 0


def await_release(call, number, device):
    """Waits while another program has the drive's node open. The node is opened in the way that
    asks for no tape."""
    who = f"Drive {number} ({device['tape']})"
    while device["tape"] and open_error(device["tape"], os.O_NONBLOCK, call.end) == errno.EBUSY:
        call.wait(f"{who} is in use: another program has it open, end or unmount it there")


def await_ready(call, number, device):
    """Waits until the drive's node opens for reading. One that is held open by others is ready."""
    who = f"Drive {number} ({device['tape']})"
    while True:
        error = open_error(device["tape"], 0, call.end)
        if error in (0, errno.EBUSY):
            return
        if error not in (errno.ENOMEDIUM, errno.EIO):
            raise Refusal(f"{who} cannot be opened: {os.strerror(error)}; {call.sent}")
        call.wait(f"{who} does not become ready: {os.strerror(error)}; {call.sent}")
