"""The command mvk-capture: a description of the tape hardware that mvk sees, for mvk-sim --library.

Only questions are asked, unless labels are wanted. Devices are asked by device file, by an ID that
no other has, or by address. What could not be asked is named on standard error and in the
description.
"""

import os
import sys

from .ask import ask_patiently
from .command import answer_help, complain, take_options
from .process import interruption
from .twin import describe
from .verify import PATIENCE

NAME = "mvk-capture"
USAGE = """usage: mvk-capture [--labels] >FILE
Describes the tape hardware that mvk sees, for mvk-sim --library; see mvk-capture(1).

  --labels     read the labels of the tapes that are loaded: each tape is rewound, the block at
               its beginning read, and its drive set to variable block mode; not where another
               program has the drive open
  --no-labels  without effect; no label is read unless asked for
  -h, --help   show this
  --version    show the version
"""
FAILED = 1


class Questions:
    """What is asked of mvk, and what could not be answered."""

    def __init__(self):
        self.failed = []

    def miss(self, text):
        """Notes what the description has to go without."""
        self.failed.append(text)
        print(f"{NAME}: {text}", file=sys.stderr)

    def ask(self, name, *words):
        """What mvk says; waits for other runs that hold the device."""
        answer = ask_patiently([name, *words], PATIENCE)
        if answer["status"] and not interruption():
            self.miss(f"mvk {' '.join([name, *words])}: {answer['message']}")
        return answer

    def read_label(self, name, tape):
        """The label of a loaded tape, None when its drive is not free. The drive's file is held
        meanwhile, which keeps other programs from it; None for no file."""
        try:
            held = os.open(tape or "", os.O_RDONLY | os.O_NONBLOCK)
        except OSError as problem:
            reason = f"{tape}: {problem.strerror}" if tape else "it has no tape device file"
            self.miss(f"{name}: its label is not read: {reason}")
            return None
        try:
            print(f"{NAME}: {name}: its tape is rewound and read", file=sys.stderr)
            return self.ask(name, "L").get("label")
        finally:
            os.close(held)


def name_devices(devices, questions):
    """Adds to each device the name by which it is asked, None without one that is its own; and the
    address, when the system did not tell it, that the last digits of its ID are."""
    ids = [device["id"] for device in devices]
    for device in devices:
        own = device["id"] if ids.count(device["id"]) == 1 else device["address"]
        file = device["device"] if device["type"] == "loader" else None
        device["name"] = device["generic"] or file or own
        digits = device["id"].rjust(4, "0")
        device["address"] = device["address"] or ":".join((digits[:-3], *digits[-3:]))
        if device["name"] is None and device["type"] != "other":
            questions.miss(f"{device['id']} is the ID of several devices: none of them is asked")


def main(args):
    """Prints the description; returns the exit status."""
    options, rest, unknown = take_options(args, ("--labels", "--no-labels"))
    if unknown or rest:
        return complain(NAME, f"unknown option {unknown}" if unknown else "no arguments are taken")
    if answer_help(options, NAME, USAGE):
        return 0
    questions = Questions()
    scan = questions.ask("scan")
    devices = scan.get("devices", [])
    if not devices:
        print(f"{NAME}: no devices", file=sys.stderr)
        return scan["status"] or FAILED
    name_devices(devices, questions)
    for line in describe(devices, questions, "--labels" in options):
        if interruption():
            break
        print(line)
    return FAILED if questions.failed else 0
