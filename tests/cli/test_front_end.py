# The front end, the way to a device, discovery and INQUIRY, through the executable.

import re

import pytest
from conftest import BUILD, INQUIRY, assert_text

USAGE = """\
Usage:
Scan(0-7) for loaders and tapes:  % scan [bus]
Inquiry:                          % <ID|dev> [-]i
Mode sense:                       % <ID|dev> [-]s
Loader specific
  Initialize element status:      % <ID|dev> [-]I
  Read element status:            % <ID|dev> [-]e [s|d|p:num-num|full|empty]
  Read element status with label: % <ID|dev> [-]l [s|d|p:num-num|full|empty]
  Move medium:                    % <ID|dev> [-]m <s|d|p:num> <s|d|p:num>
  Move medium with address:       % <ID|dev> [-]hm <source> <target> <transport>
Drive specific
  Set compression:                % <ID|dev> [-]c [0|1]
  Load   for tapes:               % <ID|dev> [-]L
  Unload for tapes:               % <ID|dev> [-]u
  Rewind for tapes:               % <ID|dev> [-]r
  Allow removable for tapes:      % <ID|dev> [-]a
  Prevent removable for tapes:    % <ID|dev> [-]p
  Erase tape:                     % <ID|dev> erase
  Read attributes:                % <ID|dev> read [medium|medium_type|0x{attribute-id}]
Override Element Addresses:       kq_glbv w gv_mvk_adr_{id} transport,slot,port,drive
   e.g.:                          kq_glbv w gv_mvk_adr_0051 1x1,23x4096,1x16,2x256
"""
EXTENDED = re.compile("(?m)^(.*address: |.*Erase|.*attributes|Override|   e.g.).*\n")


def assert_usage(text, name="mvk", extended=False):
    usage = USAGE if extended else EXTENDED.sub("", USAGE)
    assert_text(text, "Version: ...\n" + usage.replace("%", name))


RES = "b8 00 00 00 ff ff 00 10 ff ff 00 00 [32803]"
MOVE = "a5 00 00 01 10 00 01 00 00 00 00 00 [36]"
SIZE = "15 10 00 00 0c 00 [48]"
EEPROM = "5a 00 3e 00 00 00 00 1f ff 00 [8227]"
LOADER = "ID=NONE Loader:  EXAMPLE LIBRARY 8        0112 (/dev/sg1) \n"
# What every operation sends behind the classifying INQUIRY.
OPERATIONS = {
    "0030 [-]i": [INQUIRY],
    "0030 [-]s": [RES],
    "0030 [-]e": [RES],
    "0030 [-]l": [RES.replace("b8 00", "b8 10")],
    "0030 [-]hm 4096 256 1": [MOVE],
    "0030 [-]m s:0 d:0": [RES, MOVE],
    "0030 [-]I": ["07 00 00 00 00 00 [36]"],
    "0040 [-]L": ["1b 00 00 00 01 00 [36]", SIZE, "08 02 00 07 ff 00 [2084]"],
    "0040 [-]u": ["1b 00 00 00 00 00 [36]"],
    "0040 [-]r": ["01 00 00 00 00 00 [36]"],
    "0040 [-]a": ["1e 00 00 00 00 00 [36]"],
    "0040 [-]p": ["1e 00 00 00 01 00 [36]"],
    "0040 [-]c test": ["1a 00 0f 00 30 00 [84]", "15 10 00 00 1c 00 [64]"],
    "0040 [-]s": [
        "8c 00 00 00 00 00 00 00 04 08 00 00 00 20 00 00 [68]",
        "03 00 00 00 64 00 [136]",
        "1a 00 0f 00 64 00 [136]",
    ],
    "0040 get": ["1a 00 3f 00 ff 00 [291]"],
    "0040 get_eeprom": [EEPROM],
    "0040 set_eeprom A B": [EEPROM, "15 10 00 00 0a 00 [46]"],
    "0040 erase": ["19 03 00 00 00 00 [55]"],
    "0040 read": ["8c 00 00 00 00 00 00 00 04 00 00 00 1f ff 00 00 [8228]"],
    "0040 set block_size 9": [SIZE],
    "0040 set density_code 9": [SIZE],
    "0040 set foo 5": [],
}


# The title that is printed before and behind a control command.
TITLES = {
    "0030 [-]I": "INITIALIZE ELEMENT STATUS for LOADER",
    "0040 [-]u": "UNLOAD TAPE",
    "0040 [-]r": "REWIND TAPE",
    "0040 [-]a": "ALLOW REMOVABLE",
    "0040 [-]p": "PREVENT REMOVABLE",
}


@pytest.mark.parametrize("args, commands", OPERATIONS.items(), ids=OPERATIONS)
def test_operation(lab, args, commands):
    node = {"0030": "sg1", "0040": "sg2"}[args[:4]]
    sent = [f"{node} {command}" for command in commands]
    title = TITLES.get(args)
    stdout = f"TRY {title}\nDONE {title}\n" if title else "..."
    lab.expect(args.replace("[-]", ""), stdout, 0, sent)
    dashed = (0, sent) if "[-]" in args else (1, [])
    lab.expect(args[:5] + "-" + args[5:].replace("[-]", ""), "...", *dashed)


@pytest.mark.parametrize("words", ["", "x", "debug", "hm 1 2 debug", "c", "set a debug", "m s:1"])
def test_usage_error(lab, words):
    # Only a move asks for the addresses before it looks at its operands.
    run = lab.expect(f"0030 {words}", "...", 1, [f"sg1 {RES}"] if words == "m s:1" else [])
    assert_usage(run.stdout)


def test_usage_alone(lab):
    # Nothing is touched. The name that the caller gives stands in every line.
    (lab.home / "%s%n").symlink_to(BUILD / "mvk")
    path = {"PATH": f"{lab.home}:/usr/bin:/bin"}
    for args in "", "--help", "--help debug":
        run = lab.run(args, via=["%s%n"], env=path)
        assert (run.status, run.events, lab.read("work/sem")) == (1, [], "")
        assert_usage(run.stdout, "%s%n", args != "")


WRITE_ERROR = """\
iLinuxScsiCmd() Error write to /dev/sg1
iLinuxScsiCmd() iTransferBytes {}, pack_len 297, result \0
iLinuxScsiCmd() errno {}
"""
TIMEOUT_ERROR = "iLinuxScsiCmd() fail to set timeout=2000 ms to /dev/sg1\n"
# What fails, and what is printed. The classifying INQUIRY says so too, and the run goes on.
FAILURES = {
    "write 0x12 1 EIO": (WRITE_ERROR.format(-1, "5: Input/...") + LOADER, 0),
    "write 0x12 2 41": (WRITE_ERROR.format(41, "0: Success"), 3),
    "read 0x12 2 290": ("iLinuxScsiCmd() Error read from /dev/sg1\n", 3),
    "timeout sg1 * EPERM": (TIMEOUT_ERROR * 2 + LOADER, 0),
    "result 0x12 2 7": (LOADER, 0),  # is left to the operations
}


@pytest.mark.parametrize("scenario, outcome", FAILURES.items(), ids=FAILURES)
def test_failure(lab, scenario, outcome):
    run = lab.run("0030 i", scenario=scenario, sound="timeout" not in scenario)
    assert_text(run.stdout, outcome[0])
    assert run.status == outcome[1]


def inquiry(kind, byte6=0, text=b"VENDOR  PRODUCT         REV1"):
    return bytes([kind, 0, 0, 0, 0, 0, byte6, 0]) + text


TAPE_LINE = "ID=NONE Tape:    VENDOR  PRODUCT          REV1 (/dev/sg1) "
# The answers to the classifying and to the printing INQUIRY.
ANSWERS = {
    "tape": (inquiry(1), inquiry(1, 8), TAPE_LINE + " (no loader) \n", 0),
    "tape in a changer": (inquiry(1, 0x80), inquiry(1), TAPE_LINE + " (loader present) \n", 0),
    "other device": (inquiry(8), inquiry(0x88), "", 6),
}


@pytest.mark.parametrize("first, second, stdout, status", ANSWERS.values(), ids=ANSWERS)
def test_inquiry(lab, first, second, stdout, status):
    scenario = f"reply * 1 {first.hex()}"
    lab.expect("0030 i", stdout, status, replies=[second], scenario=scenario)


def test_debug_lines_of_an_inquiry(lab):
    command_line = f"mvk 0030 i {'x' * 500}"[:127]
    stdout = f"""
    iLinuxScsiCmd() timeout=2000 ms for /dev/sg1
    ...gszCurCmd={command_line}
    debug info
    [ 0]= 8 [ 9]=1f [10]=   [11]= \xa9 [12]=aa [254]= z\x20
    ID=NONE Loader:  ..."""
    reply = inquiry(8, 0, b"\0\x1f \xa9\xaa" + bytes(241) + b"z")
    lab.expect(f"0030 i {'x' * 500} debug", stdout, replies=[reply])


# Descriptions of devices: "0:0:5:0 tape".
def describe(*devices):
    names = "\nvendor = VENDOR\nproduct = MODEL\nrevision = REV1\ntype = "
    return "".join(f"[device]\naddress = {d.replace(' ', names)}\n" for d in devices)


# Arguments; devices, the one that is spoken to, and the LUN field of its two commands.
SELECTIONS = {
    "050 i": (["0:0:5:0 tape", "1:0:5:0 changer", "2:0:5:0 disk"], "sg1", ["00", "00"]),
    "057 i": (["0:0:5:7 changer"], "sg0", ["e0", "e0"]),
    "/dev/sg1 i": (["0:0:4:0 disk", "0:0:5:1 changer"], "sg1", ["00", "20"]),
}


@pytest.mark.parametrize("args, row", SELECTIONS.items(), ids=SELECTIONS)
def test_selection(lab, args, row):
    devices, node, luns = row
    run = lab.run(args, library=describe(*devices))
    assert run.sent == [f"{node} 12 {lun}{INQUIRY[5:]}" for lun in luns]


def test_scan_makes_the_missing_tape_node(lab):
    devices = describe("0:0:2:0 disk", "0:0:3:0 changer", "0:0:4:0 tape")
    run = lab.run("scan 7", library=f"[library]\nsysfs = no\n{devices}node = none\n")
    stdout = """
    ID=0020 other:   VENDOR   MODEL          \x20
    ID=0030 Loader:  VENDOR   MODEL            REV1 (/dev/sg1)
    ID=0040 Tape:    VENDOR   MODEL            REV1 (/dev/nst0)
    """
    assert_text(run.stdout, stdout)
    assert (run.sent, run.status) == ([], 0)
    assert [event.words for event in run.events if event.name == "mknod"] == [["9", "128", "0"]]


def test_closed_standard_streams(lab):
    # No report goes to a device or a lock file that was given a standard stream's number.
    run = lab.run("0030 i", via=["sh", "-c", 'exec mvk "$@" <&- >&- 2>&-', "sh"], sound=False)
    assert (run.status, run.sent) == (0, [f"sg1 {INQUIRY}"] * 2)
    assert lab.read("work/sem/mvk_busy_0030.sem") == ""


def test_report_precedes_the_result_line(lab):
    run = lab.run("0030 i", via=["sh", "-c", 'exec mvk "$@" 2>&1', "sh"], sound=False)
    assert run.stdout == LOADER + 'STATUS=SUCCESS MSG="OK"\n'
