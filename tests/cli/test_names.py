# What a name leads to where sysfs knows the devices: every node and the address are names of a
# device, an ID may be that of several, and nothing else gets a byte.
import re
import signal

import pytest

# A disk, a changer, and two drives that share an ID (Id: 12 counts as 3). The first drive's tape
# has a first block that a request of 42 bytes would overwrite.
DEVICES = """
[device]
address = 0:0:0:0
[device]
address = 0:0:2:0
type = changer
transports = 1 from 1
drives = 2 from 256
slots = 2 from 4096
[device]
address = 0:0:3:0
type = tape
product = FIRST
element = 256
loaded = yes
{first}
[device]
address = 0:0:12:0
type = tape
product = SECOND
element = 257
[cartridge]
place = 256
block = "FIRST BLOCK"
"""
LIBRARY = DEVICES.format(first="")
NAMES = {
    "/dev/sg0": ["0:0:0:0", "/dev/sda", "disk"],
    "/dev/sg1": ["0:0:2:0", "0020", "020", "/dev/sch0", "/dev/../dev/sg1"],
    "/dev/sg2": ["0:0:3:0", "/dev/nst0", "/dev/nst0l", "/dev/st0a", "tape"],
    "/dev/sg3": ["0:0:12:0", "030", "/dev/nst1", "/dev/st1", "000:00:12:0"],
}
CHANGES = "hm m u L r a p I c set set_eeprom erase".split()
PAIRS = [(path, name) for path, names in NAMES.items() for name in names]


@pytest.fixture
def links(lab):
    (lab.home / "tape").symlink_to("/dev/nst0")
    (lab.home / "disk").symlink_to("/dev/sda")
    return lab


# The answers by every name are those of the generic node's path, and go to it alone.
@pytest.mark.parametrize("path, name", PAIRS)
def test_every_name(links, path, name):
    for question in "i", "s", "get", "l":
        run, by_path = (links.run(f"{n} {question}", library=LIBRARY) for n in (name, path))
        assert (run.stdout, run.stderr) == (by_path.stdout, by_path.stderr)
        assert {line.split()[0] for line in run.sent} == {path.removeprefix("/dev/")}


# Names that lead to no device of sysfs, or to one whose generic node is missing or another
# device's.
@pytest.mark.parametrize(
    "name, first, settings",
    [
        ("/dev/sda1", "", ""),
        ("/dev/nst0", "", "sysfs = no"),
        ("/dev/sda", "", "sysfs = no"),
        ("0:0:4:0", "", ""),
        ("/dev/nst0", "generic_node = c 21 3", ""),
        ("0:0:3:0", "generic_node = c 21 3", ""),
        ("0:0:3:0", "generic_node = none", ""),
        ("0:0:3:0", "generic_node = b 8 0", ""),
    ],
)
def test_nothing_is_sent(lab, name, first, settings):
    library = f"[library]\n{settings}\n{DEVICES.format(first=first)}"
    run = lab.run(f"{name} erase", library=library)
    assert (run.status, run.sent) == (2, [])
    assert run.stdout.startswith("Could not open ")


# At one of the moments at which the node is looked at it is the other drive's.
@pytest.mark.parametrize("turn", range(1, 5))
@pytest.mark.parametrize("name", ["0:0:3:0", "/dev/nst0"])
def test_node_that_changes(lab, name, turn):
    run = lab.run(f"{name} erase", scenario=f"node sg2 {turn} c 21 3", library=LIBRARY)
    assert {line.split()[0] for line in run.sent} <= {"sg2"}
    assert "Could not open " in run.stdout


# Without sysfs an address leads to the node that counting gives.
@pytest.mark.parametrize("listing", ["", "listing = none\n"])
def test_address_alone(lab, listing):
    sysfs = "" if listing else "sysfs = no\n"
    run = lab.run("0:0:12:0 i", library=f"[library]\n{listing}{sysfs}{LIBRARY}")
    assert "SECOND" in run.stdout and {line.split()[0] for line in run.sent} == {"sg3"}
    assert (lab.home / "work/sem/mvk_busy_0:0:12:0.sem").exists()


# A question by a shared ID is answered by the last device, a change is not made on any.
@pytest.mark.parametrize("change", CHANGES)
def test_shared_id(lab, change):
    text = "Warning: 0030 is the ID of 2 devices, {}\n"
    question = lab.run("0030 i", library=LIBRARY)
    assert "SECOND" in question.stdout and question.status == 0
    assert question.stderr.count("Warning") == 1
    assert question.stderr.startswith(text.format("this is 0:0:12:0"))
    refused = lab.run(f"0030 {change} x 1 1")
    assert (refused.stdout, refused.sent, refused.status) == ("", [], 2)
    assert refused.stderr.startswith(text.format("these are 0:0:3:0 0:0:12:0"))
    assert lab.run(f"030 {change} x 1 1").sent, "three digits leave the host out on purpose"


# What is neither loader nor drive answers questions alone.
@pytest.mark.parametrize("name", ["/dev/sg0", "0000", *NAMES["/dev/sg0"]])
def test_other_type(links, name):
    for change in "u", "-m", "erase":
        run = links.run(f"{name} {change}", library=LIBRARY)
        assert (run.stdout, run.sent, run.status) == ("", [], 6)
        shown = name if name[0] == "0" else "/dev/sg0"
        assert run.stderr.startswith(f"Warning: {shown} is neither ")


# What sysfs knows holds although the listing cannot be read.
def test_other_type_without_the_listing(lab):
    run = lab.run("/dev/sg0 u", scenario="open scsi * EACCES", library=LIBRARY)
    assert (run.sent, run.status) == ([], 6)


# The override of the ID holds under every name, behind one that is stored under the name itself.
def test_override(lab):
    lab.write("glbv/gv_mvk_adr_0020.sgv", "1x7")
    for name in ["0020", "/dev/sg1", *NAMES["/dev/sg1"]]:
        assert "from gv_mvk_adr_0020: 1x7\n" in lab.run(f"{name} m s:0 d:0", library=LIBRARY).stdout
    lab.write("glbv/gv_mvk_adr_0:0:2:0.sgv", "1x9")
    assert "from gv_mvk_adr_0:0:2:0: 1x9\n" in lab.run("0:0:2:0 m s:0 d:0").stdout


# The scan finds each drive's own node without opening any, and believes none that is another's.
@pytest.mark.parametrize("settings", ["", "listing = none"])
def test_scan_opens_nothing(lab, settings):
    for first, node in ("held = yes", "nst0"), ("tape_node = c 9 129", "nst?"):
        run = lab.run("scan", library=f"[library]\n{settings}\n{DEVICES.format(first=first)}")
        shown = re.findall(r"\((.*)\)", run.stdout)
        assert shown == ["/dev/sg1", f"/dev/{node}", "/dev/nst1"]
        assert not [event for event in run.events if event.name in ("open", "mknod")]


# A text of a device that looks like a line of the listing makes it no entry with a node.
def test_entry_without_address(lab):
    spoof = LIBRARY.replace("product = FIRST", "vendor = 0Host:\nproduct = FIRST")
    shown = re.findall("(?m)^ID=(.*?) ", lab.run("scan", library=spoof).stdout)
    for device in set(shown) - {"0000", "0020", "0030"}:
        assert lab.run(f"{device} erase").sent == []
    assert {line.split()[0] for line in lab.run("/dev/sg3 r").sent} == {"sg3"}
    unlisted = f"[library]\nlisting = none\n{spoof}"
    assert {line.split()[0] for line in lab.run("/dev/sg2 r", library=unlisted).sent} == {"sg2"}


RING = ["0020", "/dev/sg1", "0:0:2:0", "020"]


# Whatever two runs call a device, the second is told that it is occupied.
@pytest.mark.parametrize("first, second", zip(RING, RING[1:] + RING[:1]))
def test_one_device_one_run(lab, first, second):
    holder = lab.start_until_sent(f"{first} i", "delay 0x12 1 300", library=LIBRARY)
    holder.send_signal(signal.SIGSTOP)
    run = lab.run(f"{second} i")
    assert (run.status, run.sent) == (9, [])
    assert "Semaphore mvk_busy_0020 is occupied by: " in run.stderr
