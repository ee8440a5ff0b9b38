# The simulated library itself: what programs see of it, and what it refuses.
import os
import re
import subprocess

import pytest
from conftest import BUILD, OK, read_log

CLASS = "/sys/class/scsi_generic"
LIBRARY = """
[library]
listing = none
[device]
address = 0:0:0:0
[device]
address = 10:0:3:0
sg = 5
type = changer
vendor = EXAMPLE
"""


# Runs mvk-sim; env: changes to the lab's environment, None takes a variable away.
def simulate(lab, *args, **env):
    env = {name: value for name, value in {**lab.env, **env}.items() if value is not None}
    how = {"cwd": lab.home, "env": env, "capture_output": True, "text": True}
    return subprocess.run([BUILD / "mvk-sim", *args], check=False, **how)


# What a shell command prints in the library.
def look(lab, library, command):
    lab.write("library", library)
    return simulate(lab, "-l", "library", "-s", "state", "-g", "log", "sh", "-c", command)


def test_sysfs(lab):
    files = " ".join(f"{CLASS}/sg5/device/{name}" for name in ("model", "rev", "type", "vendor"))
    command = f"ls {CLASS}; readlink {CLASS}/sg5/device; cat {files} /proc/scsi/scsi"
    run = look(lab, LIBRARY, command)
    assert run.stdout == "sg0\nsg5\n../../../10:0:3:0\n" + " " * 16 + "\n    \n8\nEXAMPLE \n"
    assert run.stderr == "cat: /proc/scsi/scsi: No such file or directory\n"


# Drives with the units 0 and 33, the second behind a node of another, then disks and a CD drive.
NODES = """
[device]
address = 1:0:0:0
type = tape
element = 256
loaded = yes
tape_node = none
[device]
address = 1:0:1:0
type = tape
node = 33
generic_node = c 21 0
held = yes
[device]
address = 1:0:2:0
generic_node = b 8 0
[device]
address = 1:0:3:0
type = optical
generic_node = none
[device]
address = 1:0:4:0
type = cdrom
[device]
address = 1:0:5:0
type = changer
drives = 1 from 256
[cartridge]
place = 256
block = "FIRST BLOCK"
"""


def test_nodes(lab):
    names = "sg0 sg1 sg2 st0 st0l nst0m nst0a st33 nst33a sda sda1 sdb sr0 sch0 tape by-folder/st33"
    wanted = {"sg1": "c 21:0", "sg2": "b 8:0", "nst0m": "c 9:192", "nst33a": "c 9:481"}
    wanted |= {
        "sg0": "c 21:0",
        "st0": "c 9:0",
        "st0l": "c 9:32",
        "nst0a": "c 9:224",
        "sda": "b 8:0",
    }
    wanted |= {
        "st33": "c 9:257",
        "sda1": "b 8:1",
        "sdb": "b 8:16",
        "sr0": "b 11:0",
        "sch0": "c 86:0",
    }
    wanted |= {"tape": "c 9:257", "by-folder/st33": "c 9:257"}
    (lab.home / "tape").symlink_to("/dev/st33")
    (lab.home / "by-folder").symlink_to("/dev")
    lab.write("look.py", LOOK)
    run = look(lab, NODES, f"python3 look.py {names}")
    assert run.stderr == "" and run.stdout.splitlines() == [
        f"{n} {wanted[n]}" for n in names.split()
    ]


# Each node as stat sees it, and as what was opened is seen, unless it is held or leads nowhere.
LOOK = """
import os, stat, sys
for name in sys.argv[1:]:
    path = name if name[:2] in ("ta", "by") else "/dev/" + name
    seen = [os.stat(path)]
    if "33" not in name and name != "tape":
        seen.append(os.fstat(os.open(path, os.O_RDWR)))
    text = {f"{'bc'[stat.S_ISCHR(s.st_mode)]} {os.major(s.st_rdev)}:{os.minor(s.st_rdev)}" for s in seen}
    print(name, *text)
"""


@pytest.mark.parametrize(
    "command, stdout, stderr",
    [
        ("readlink /sys/dev/char/9:481/device", "../../../1:0:1:0", ""),
        ("readlink /sys/dev/block/8:16/device", "../../../1:0:3:0", ""),
        ("readlink /sys/dev/block/8:1/device", "", ""),
        ("ls /sys/dev/block/8:16/device/scsi_generic", "sg3", ""),
        ("ls /sys/dev/char/86:0/device/scsi_generic", "sg5", ""),
        ("ls /sys/dev/block/11:0/device/block", "sr0", ""),
        (f"cat {CLASS}/sg1/device/scsi_tape/nst33/dev", "9:385", ""),
        (f"cat {CLASS}/sg0/device/scsi_tape/nst33/dev", "", "No such file"),
        ("ls -d /sys/dev/char/5:0", "", "No such file"),
        ("stat /dev/nst0", "", "No such file"),
        ("stat /dev/sg3", "", "No such file"),
        ("cat /dev/nst33", "", "resource busy"),
    ],
    ids=range(12),
)
def test_nodes_in_sysfs(lab, command, stdout, stderr):
    run = look(lab, NODES, command)
    assert run.stdout.rstrip("\n") == stdout and stderr in run.stderr


# What is written lands on the medium: a block where the tape stands, bytes of a disk. To close the
# node that rewinds is to rewind.
def test_medium(lab):
    (lab.home / "link").symlink_to("/dev/nst0a")
    read, rewind = "dd bs=99 count=1 status=none if=", "dd if=/dev/st0l; "
    command = f"{read}link; echo two | dd of=link; {rewind} {read}link; {read}link; {rewind}"
    command += f"echo one | dd of=link; {rewind} {read}link; {read}link; "
    command += f"printf XYZ | dd of=/dev/sda; {read}/dev/sda"
    run = look(lab, NODES, command)
    assert run.stdout == "FIRST BLOCK" * 2 + "two\none\nXYZ" + "\0" * 96
    assert "written = 0 6f6e650a\n" in lab.read("state")
    writes = [event.path for event in read_log(lab.home / "log") if event.name == "write"]
    assert writes == ["/dev/nst0a", "/dev/nst0a", "/dev/sda"]


# Two changers with the same addresses, from 0 on; the first one reports its slots first.
CHANGERS = """
[device]
address = 0:0:1:0
type = changer
element_order = slots drives
drives = 1 from 6
transports = 1 from 0
slots = 2 from 4
slots = 2 from 2
[device]
address = 0:0:2:0
type = changer
transports = 1 from 1
slots = 1 from 0
drives = 1 from 6
[device]
address = 0:0:3:0
type = tape
changer = 0:0:2:0
element = 6
[cartridge]
barcode = FIRST
place = 4
[cartridge]
barcode = SECOND
changer = 0:0:2:0
place = 0
"""


def test_elements_by_changer(lab):
    moves = "mvk 0010 hm 4 2 0 && mvk 0020 hm 0 6 0 && mvk 0010 l"
    run = look(lab, CHANGERS, moves + "; mvk 0020 l; cat /proc/scsi/mvk-sim")
    addresses = re.findall(r"adr=\s*(\d+)", run.stdout)
    assert addresses == "4 5 2 3 6 0 1 0 6".split(), run.stdout
    assert (
        "slot          2 FIRST\n" in run.stdout
        and "drive         6 /dev/sg2 SECOND\n" in run.stdout
    )
    assert "source = 4\n" in lab.read("state") and "source = 0\n" in lab.read("state")


def test_state_that_was_cut(lab):
    simulate(lab, "-s", "state", "true")
    whole = lab.read("state")
    for length in (0, 9, len(whole) // 2, len(whole) - 9, len(whole) - 1):
        lab.write("state", whole[:length])
        run = simulate(lab, "-s", "state", "--print")
        assert (run.returncode, run.stdout) == (2, "") and f"{lab.home}/state is not " in run.stderr


def test_folder_of_somebody_else(lab):
    folder = f"/tmp/mvk-sim-1000{os.getpid()}"
    os.mkdir(folder, 0o700)
    lab.write("id", f"#!/bin/sh\necho 1000{os.getpid()}\n")  # the user's number
    (lab.home / "id").chmod(0o755)
    run = simulate(lab, "true", PATH=f"{lab.home}:{lab.env['PATH']}", HOME=None)
    os.rmdir(folder)  # fails unless it is empty
    assert run.returncode == 2 and folder in run.stderr


def test_directive_without_a_turn(lab):
    lab.write("scenario", "open sg1 1 EIO\ncheck 0xA5 2 05 3B 0E\n")
    run = simulate(lab, "-s", "state", "-x", "scenario", "--strict", "mvk", "0030", "i")
    assert run.returncode == 98
    assert run.stderr == f"{OK}mvk-sim: {lab.home}/scenario:2: had no turn: check 0xA5 2 05 3B 0E\n"


DEVICES = "[device]\n" * 2049, ":2049: more than 2048 devices"
NUMBER = "[device]\naddress = 0:0:9999999999:0", ":2: the numbers of an address are"
ELEMENT = "[device]\nslots = 8 from 65530", ":2: an element address is at most 65535"


@pytest.mark.parametrize("text, reason", [DEVICES, NUMBER, ELEMENT], ids=range(3))
def test_description_out_of_range(lab, text, reason):
    lab.write("library", text)
    run = simulate(lab, "-l", "library", "-s", "state", "true")
    assert run.returncode == 2 and f"{lab.home}/library{reason}" in run.stderr


def test_newcomer(lab):
    before = os.listdir(lab.home)
    home = {"TARVO_INI": None, "XDG_STATE_HOME": str(lab.home / "work"), "PATH": "/bin"}
    run = simulate(lab, "sh", "-c", "mvk 0030 m s:0 d:0", **home)
    assert run.stderr == OK and "(transport=1)" in run.stdout
    assert os.listdir(lab.home) == before


def test_logs_beyond_2_gib(lab):
    lab.trace_at(1)
    for log in lab.home / "log0", lab.home / "lgc/kq_mvk.lgc":
        log.touch()
        os.truncate(log, 2**31)
    process = lab.start("0030 e")
    assert process.communicate()[1] == OK.encode()
    for log in lab.home / "log0", lab.home / "lgc/kq_mvk.lgc":
        assert log.stat().st_size > 2**31
