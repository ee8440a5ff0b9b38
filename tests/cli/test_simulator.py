# The simulated library itself: what programs see of it, and what it refuses.
import os
import re
import subprocess

import pytest
from conftest import BUILD, OK, assert_text, read_log

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


def test_sysfs(lab):
    files = " ".join(f"{CLASS}/sg5/device/{name}" for name in ("model", "rev", "type", "vendor"))
    command = f"ls {CLASS}; readlink {CLASS}/sg5/device; cat {files} /proc/scsi/scsi"
    wanted = "sg0\nsg5\n../../../10:0:3:0\n" + " " * 16 + "\n    \n8\nEXAMPLE \ncat: ...No such..."
    assert_text(shell(lab, LIBRARY, command).stdout, wanted)


# Sections of a description.
def device(address, kind, *lines):
    return "\n".join(["[device]", f"address = {address}", f"type = {kind}", *lines, ""])


def cartridge(*lines):
    return "\n".join(["[cartridge]", *lines, ""])


# Two drives, the first without its own tape node, the second held and behind a generic node that
# leads to the first; two disks, one with a generic node of the wrong kind, one without; a CD drive.
NODES = (
    device("1:0:0:0", "tape", "element = 256", "loaded = yes", "tape_node = none")
    + device("1:0:1:0", "tape", "node = 33", "generic_node = c 21 0", "held = yes")
    + device("1:0:2:0", "disk", "generic_node = b 8 0")
    + device("1:0:3:0", "optical", "generic_node = none")
    + device("1:0:4:0", "cdrom")
    + device("1:0:5:0", "changer", "drives = 1 from 256")
    + cartridge("place = 256", 'block = "FIRST BLOCK"')
)

# Two changers with the same addresses, from 0 on; the first one reports its slots first.
CHANGERS = (
    device("0:0:1:0", "changer", "drives = 1 from 6", "transports = 1 from 0", "slots = 2 from 4")
    + "slots = 2 from 2\nelement_order = slots drives\n"
    + device("0:0:2:0", "changer", "slots = 1 from 0", "drives = 1 from 6")
    + device("0:0:3:0", "tape", "changer = 0:0:2:0", "element = 6")
    + cartridge("barcode = FIRST", "place = 4")
    + cartridge("barcode = SECOND", "changer = 0:0:2:0", "place = 0")
)


# A changer that nearly fills the room of addresses, and a drive in it; with lines that a test adds.
def great(library_line, drive_line):
    return (
        f"[library]\nmax_transfer = 2000000\nstrict_allocation = yes\n{library_line}\n"
        + device("0:0:1:0", "changer", "slots = 65000 from 500", "drives = 1 from 1")
        + device("0:0:2:0", "tape", "element = 1", drive_line)
        + cartridge("place = 500")
    )


# Runs shell commands in a library; the standard error goes to the standard output.
def shell(lab, library, commands):
    lab.write("library", library)
    lab.write("send.py", SEND)
    options = ["-l", "library", "-s", "state", "-g", "log"]
    return simulate(lab, *options, "sh", "-c", f"exec 2>&1; {commands.strip()}")


# Sends commands, each a number of /dev/sg, a CDB and a length; prints what stat says of the node
# that was opened, and the sense key and code in the reply's header or the first bytes of its data.
SEND = """
import os, struct, sys
for device, cdb, length in map(str.split, sys.argv[1:]):
    fd = os.open(f"/dev/sg{device}", os.O_RDWR)
    os.write(fd, struct.pack("ii28x", 0, 36 + int(length)) + bytes.fromhex(cdb))
    reply = os.read(fd, 36 + int(length))
    data = f"{reply[22]:x} {reply[32:34].hex()}" if reply[20] else reply[36:56].hex()
    print(os.minor(os.fstat(fd).st_rdev), data or "good", end="; ")
"""


def test_nodes(lab):
    run = shell(
        lab,
        NODES,
        """
        stat -Lc %n=%t:%T /dev/sg0 /dev/sg1 /dev/sg2 /dev/st0 /dev/st0l /dev/nst0m /dev/nst33a
        (cd /dev; stat -Lc %n=%t:%T sda sda1 sdb sr0 sch0 sg3 nst0)
        dd if=/dev/nst33
        python3 send.py "1 120000002400 36"
        cd /sys/dev; readlink $PWD/char/9:481/device $PWD/block/8:16/device $PWD/block/8:1/device
        ls $PWD/block/8:16/device/scsi_generic $PWD/block/11:0/device/block
        cat $PWD/char/9:128/device/scsi_tape/nst0a/dev $PWD/char/9:128/device/scsi_tape/nst33/dev
        ls $PWD/char/5:0
        """,
    )
    assert_text(
        run.stdout,
        """
        /dev/sg0=15:0
        /dev/sg1=15:0
        /dev/sg2=8:0
        /dev/st0=9:0
        /dev/st0l=9:20
        /dev/nst0m=9:c0
        /dev/nst33a=9:1e1
        sda=8:0
        sda1=8:1
        sdb=8:10
        sr0=b:0
        sch0=56:0
        stat: ...sg3...: No such file or directory
        stat: ...nst0...: No such file or directory
        dd: ...: Device or resource busy
        0 0180...; ../../../1:0:1:0
        ../../../1:0:3:0
        /sys/dev/block/11:0/device/block:
        sr0

        /sys/dev/block/8:16/device/scsi_generic:
        sg3
        9:224
        cat: ...nst33/dev...: No such file or directory
        ls: ...5:0...: No such file or directory
        """,
    )


# The second time that a node is looked at it is another, and cannot be looked at afterwards.
def test_node_that_changes(lab):
    lab.write("scenario", "node sg1 2 c 21 3\nstat sg1 3 EIO\n")
    run = simulate(lab, "-x", "scenario", "-s", "s", "stat", "-c%T", *["/dev/sg1"] * 3)
    assert run.stdout == "1\n3\n" and "Input/output error" in run.stderr


ONE, TWO = "0 000000000000 0", "1 000000000000 0"  # TEST UNIT READY of the changer, the drive
MOVE = "0 a500000001f4000100000000 0"
SLOTS, LAST_SLOTS = "0 b8020000ffff001000000000 1048576", "0 b802fff0ffff002000000000 2000000"


@pytest.mark.parametrize(
    "lines, commands, answers",
    [
        (("", "attention = 0x2900"), [TWO, ONE, TWO], "1 6 2900; 0 good; 1 2 3a00; "),
        (("", "auto_load = yes\nload_ms = 60000"), [MOVE, TWO], "0 good; 1 2 0401; "),
        (("load_attention = yes", "auto_load = yes"), [MOVE, TWO, TWO], "...; 1 6 2800; 1 good; "),
        (("", ""), [SLOTS, LAST_SLOTS], "0 01f4fde8000fde8802000010000fde8001f40900; 0 5 2400; "),
        (("", ""), [ONE + "2000001"], "...Cannot allocate memory\n"),
    ],
    ids=range(5),
)
def test_answers(lab, lines, commands, answers):
    arguments = " ".join(f"'{command}'" for command in commands)
    assert_text(shell(lab, great(*lines), f"python3 send.py {arguments}").stdout, answers)


def test_elements_by_changer(lab):
    run = shell(lab, CHANGERS, "mvk 0010 hm 4 2 0 && mvk 0020 hm 0 6 0 && mvk 0010 l; mvk 0020 l")
    assert re.findall(r"adr= *(\d+),src= *(\d+),tape=1", run.stdout) == [("2", "4"), ("6", "0")]
    assert re.findall(r"adr= *(\d+)", run.stdout) == "4 5 2 3 6 0 0 6".split()


# What is written through a link lands on the medium: a block where the tape stands, bytes of a
# disk. To close the node that rewinds is to rewind.
def test_medium(lab):
    (lab.home / "link").symlink_to("/dev/nst0a")
    run = shell(
        lab,
        NODES,
        """
        read="dd bs=99 count=1 status=none"; write="dd status=none"; rewind="$write if=/dev/st0l"
        $read if=link; echo two | $write of=link; $rewind; $read if=link; $read if=link; $rewind
        echo one | $write of=link; $rewind; $read if=link; $read if=link
        printf XYZ | $write of=/dev/sda; $read if=/dev/sda
        """,
    )
    assert run.stdout == "FIRST BLOCK" * 2 + "two\none\nXYZ" + "\0" * 96
    assert "written = 0 6f6e650a\n" in lab.read("state")
    writes = [event.path for event in read_log(lab.home / "log") if event.name == "write"]
    assert writes == ["/dev/nst0a", "/dev/nst0a", "/dev/sda"]


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
