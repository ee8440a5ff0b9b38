# mvk-capture: what it asks, and the twin of a library beside the library.
import subprocess
import time

import pytest
from companions import BUILD, lab

# INQUIRY, REQUEST SENSE, MODE SENSE(6) and (10), READ ELEMENT STATUS, READ ATTRIBUTE.
QUESTIONS = {"12", "03", "1a", "5a", "b8", "8c"}
LOAD = "1b"


# A library of the given changers and drives: lines of each device.
def library(*devices, cartridges=()):
    texts = [f"[device]\nvendor = EXAMPLE\nproduct = {n}\n{text}" for n, text in enumerate(devices)]
    texts += [f"[cartridge]\nbarcode = C{n:05}\n{text}" for n, text in enumerate(cartridges)]
    return "\n".join(texts).replace("; ", "\n")


# Host 10, gaps, targets above 9, elements at 0, another order, no and other tape nodes.
FAR = library(
    "address = 10:0:12:0; sg = 5; type = changer; drives = 1 from 0; drives = 2 from 480; "
    "slots = 3 from 1; slots = 4 from 90; transports = 1 from 65535; element_order = drives slots",
    "address = 10:0:3:0; sg = 9; type = tape; element = 481; node = 7; loaded = yes",
    "address = 10:0:1:0; type = disk",
    "address = 10:0:12:1; type = tape; element = 480; node = none",
    "address = 10:0:14:0; type = tape; element = 0",
    cartridges=["place = 481; source = 93; label = 2A; label_text = X", "place = 0", "place = 90"],
)
# Two changers with the same element addresses, of which one has two thousand slots; drives at
# targets 3 and 12, which share an ID.
ELEMENTS = "type = changer; transports = 1 from 0; drives = 1 from 1; slots ="
TWO = library(
    f"address = 0:0:1:0; {ELEMENTS} 2000 from 10", "address = 0:0:12:0; type = tape; element = 1",
    f"address = 0:0:2:0; {ELEMENTS} 5 from 10",
    "address = 0:0:3:0; type = tape; element = 1; changer = 0:0:2:0",
    cartridges=["place = 1; changer = 0:0:2:0", "place = 2009; changer = 0:0:1:0", "place = 10",
                "place = 10; changer = 0:0:2:0; source = 12"],
)


DESCRIPTIONS = {"default": (BUILD / "default.ini").read_text(), "far": FAR, "two": TWO}


@pytest.mark.parametrize("name", DESCRIPTIONS)
def test_the_twin_is_the_library(lab, name):
    lab.library = lab.home / "library.ini"
    lab.library.write_text(DESCRIPTIONS[name])
    assert lab.ask("scan")[0] == 0
    devices = lab.ask("scan")[1]["devices"]
    names = [device["generic"] for device in devices if device["type"] != "other"]
    lines = ["scan"] + [f"{name} {word}" for name in names for word in ("i", "l", "s", "e scsi", "get")]
    shown = [lab.run("mvk", *line.split()) for line in lines]
    state = (lab.home / "library.state").read_text()
    status, twin, said = lab.run("mvk-sim", "--capture")
    assert (status, said, set(lab.opcodes())) == (0, "", QUESTIONS & set(lab.opcodes()))
    assert (lab.home / "library.state").read_text() == state
    lab.library = lab.home / "twin.ini"
    lab.library.write_text(twin)
    assert [lab.run("mvk", *line.split()) for line in lines] == shown
    assert lab.run("mvk-capture") == (0, twin, "")


def test_labels(lab):
    lab.run("mvk", "0030", "m", "s:0", "d:0")
    lab.run("mvk", "0040", "L")
    assert "label_text" not in lab.run("mvk-capture", "--no-labels")[1]
    status, text, said = lab.run("mvk-capture", "--labels")
    assert (status, lab.opcodes().count(LOAD)) == (0, 1) and "label_text = A00001" in text
    assert said == "mvk-capture: /dev/sg2: its tape is rewound and read\n"
    held = "open /dev/nst0 * EBUSY\n"
    status, text, said = lab.run("mvk-capture", "--labels", scenario=held)
    assert (status, LOAD in lab.opcodes()) == (1, False)
    reason = "/dev/sg2: its label is not read: /dev/nst0: Device or resource busy"
    assert said == f"mvk-capture: {reason}\n" and text.endswith(f"\n# Not told: {reason}\n")


@pytest.mark.parametrize("scenario, status, reasons", [
    ("open /proc/scsi/scsi * EACCES\nopen scsi_generic * EACCES\n", 1, ["no devices"]),
    ("open /dev/sg1 * EACCES\n", 1, ["mvk /dev/sg1 l: DEVICE_OPEN_ERROR",
                                     "/dev/sg1 lists no elements: it is left without drives, too"]),
    ("reply 0xB8 * 00*8\n", 1, ["/dev/sg1 lists no elements: it is left without drives, too"])])
def test_what_is_not_told(lab, scenario, status, reasons):
    got, text, said = lab.run("mvk-capture", scenario=scenario)
    assert (got, said) == (status, "".join(f"mvk-capture: {reason}\n" for reason in reasons))
    assert "element =" not in text


def test_a_busy_device_is_waited_for(lab):
    slow = lab.command("mvk", "/dev/sg1", "I", scenario="delay 0x07 * 1000\n")
    with subprocess.Popen(slow, env=lab.env, cwd=lab.home, stderr=subprocess.DEVNULL) as process:
        while process.poll() is None and "07" not in lab.opcodes():
            time.sleep(0.02)
        assert lab.run("mvk-capture")[::2] == (0, "")
        assert process.wait(20) == 0
