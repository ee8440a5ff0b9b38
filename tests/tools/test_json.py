# mvk-json: real runs and hostile texts as JSON, what it says without a run, signals, the map.
import json
import random
import signal
import subprocess
import time

import pytest
from companions import VALIDATOR, lab

IDENTITY = {"vendor": "EXAMPLE", "product": "TAPE DRIVE 1", "revision": "2107"}
TAPE = {"id": "0040", "address": "0:0:4:0", "type": "tape", **IDENTITY, "device": "/dev/nst0",
        "generic": "/dev/sg2", "tape": "/dev/nst0", "names": None}
SLOT = {"kind": "slot", "number": 0, "address": 4096, "source": None, "full": True, "label": "A00001"}
LABEL = {"label": "A00001", "init_time": "2024-05-01 08:15:00", "etc": "WEEKLY"}
# Command lines in the order of one story; a part of the object, and what it must be or hold.
REPORTS = [
    ("scan", ("devices", 2), TAPE),
    ("0040 i", ("devices", 0), {**TAPE, "device": "/dev/sg2", "loader_present": True}),
    ("/dev/sg1 i --indent", ("devices", 0, "id"), "0030"),
    ("0030 s", ("counts", 1), {"kind": "slot", "count": 8, "first": 4096}),
    ("0030 l", ("elements", 1), SLOT),
    ("0030 e scsi", ("drives", 1), {"id": "0050", "number": 1, "loader": "0030", "tape": "/dev/nst1"}),
    ("0030 m s:0 d:0", ("move", "target"), 256),
    ("0040 -L", ("label",), {"layout": "2A", **LABEL}),
    ("0040 s", ("fields", "density_code"), 0x49),
    ("0040 read", ("attributes", 2, "value"), "49"),
    ("0040 get", ("pages", 1, "name"), "DATA COMPRESSION PAGE"),
    ("0040 get", ("pages", 4, "bytes"), "210e" + b"EXAMPLE PAGE 0".hex()),
    ("0040 get_eeprom", ("eeprom",), "VENDORID EXAMPLE\nPRODUCTID TAPE DRIVE 1"),
    ("0030 m q:0 d:0", ("message",), "USAGE_ERROR"),
    ("9999 i", ("lines",), ["Could not open 9999"] * 2),
    ("0030 i -- debug", ("trace", 0), "12:00:00# main(): debug info"),
]
HOSTILE = [b'STATUS=SUCCESS MSG="OK"\n', b"\nSlot         0(adr=4096,", b"\n", b'"\\', b"\xc3("]


def test_reports(lab):
    for line, path, expected in REPORTS:
        status, answer = lab.ask(line)
        part = answer
        for key in path:
            part = part[key]
        if path[0] == "trace":
            part, expected = part[8:], expected[8:]
        if isinstance(expected, dict):
            part = {key: part[key] for key in expected}
        assert (line, part, status) == (line, expected, answer["status"])
        assert answer["warnings"] == []


def test_source_at_address_0(lab):
    slot = bytes.fromhex("0000 0900 0000 0000 00 80 0000")
    drive = bytes.fromhex("0001 0900 0000 0000 00 80 0000")
    report = bytes.fromhex("0000 0002 00 000028 0200 000c 00 00000c") + slot
    report += bytes.fromhex("0400 000c 00 00000c") + drive
    _, answer = lab.ask("0030 e", scenario=f"reply 0xB8 * {report.hex()}\n")
    assert [element["source"] for element in answer["elements"]] == [0, 0]


@pytest.mark.parametrize("line, status, message", [
    ("", 1, "no arguments for mvk"),
    ("0030 i --faint", 1, "unknown option --faint"),
    ("--verify 0030 I", 1, "--verify goes with m, hm, set, c, set_eeprom, u and L with their operands"),
    ("--force 0030 m s:0 d:0", 1, "--force goes with --verify"),
    ("scan", 127, "mvk cannot be started: No such file or directory")])
def test_no_run(lab, line, status, message):
    lab.env["MVK"] = "/nowhere/mvk"
    got, answer = lab.ask(line)
    assert (got, answer["status"], answer["message"]) == (status, status, message)


@pytest.mark.parametrize("line, opcode, number, status, sent", [
    ("0030 l", "b8", signal.SIGINT, 130, None),
    ("--verify 0030 m s:0 d:0", "b8", signal.SIGTERM, 143, False),
    ("--verify 0030 m s:0 d:0", "a5", signal.SIGTERM, 143, True)])
def test_signals(lab, line, opcode, number, status, sent):
    # A shell's background job ignores SIGINT, and so does all that it starts.
    slow = lab.command("mvk-json", *line.split(), scenario=f"delay 0x{opcode} * 2500\n")
    slow[:0] = ["env", "--default-signal=INT"]
    with subprocess.Popen(slow, env=lab.env, cwd=lab.home, stdout=subprocess.PIPE) as process:
        while process.poll() is None and opcode not in lab.opcodes():
            time.sleep(0.02)
        process.send_signal(number)
        answer = json.loads(process.communicate(timeout=20)[0])
    VALIDATOR.validate(answer)
    assert (process.returncode, answer["interrupted"]) == (status, number.name)
    assert answer.get("verification", {"sent": None})["sent"] == sent
    listing = {"status": 9}
    for _ in range(200):  # mvk itself may still be at its question
        if listing["status"] == 9:
            listing = lab.ask("0030 l d:0-0")[1]
    assert listing["elements"][0]["full"] == bool(sent)


def plain(text):
    return text.decode("latin-1").rstrip(" ")


def hostile_text(dice, length):
    pieces = dice.choices(HOSTILE + [dice.randbytes(9), b"A00001"], k=4)
    return b"".join(pieces)[:length].ljust(length)


def test_hostile_texts(lab):
    dice = random.Random(12)
    for _ in range(12):
        tags = [hostile_text(dice, 36) for _ in range(5)]
        slots = b"".join(bytes([16, n, 9] + [0] * 9) + tag for n, tag in enumerate(tags))
        reply = bytes([16, 0, 0, 5, 0, 0, 0, 248, 2, 0x80, 0, 48, 0, 0, 0, 240]) + slots
        _, answer = lab.ask("0030 l", scenario=f"reply 0xB8 * {reply.hex()}\n")
        labels = [plain(tag.split(b"\0")[0]) or None for tag in tags]
        assert [element["label"] for element in answer["elements"]] == labels
        name = hostile_text(dice, 28)
        reply = bytes([8, 0, 5, 2, 31, 0, 0, 0]) + name
        _, answer = lab.ask("0030 i", scenario=f"reply 0x12 * {reply.hex()}\n")
        texts = {"vendor": plain(name[:8]), "product": plain(name[8:24])}
        texts["revision"] = plain(name[24:])
        assert answer["devices"][0].items() >= texts.items()


def test_the_map(lab):
    _, text, _ = lab.run("mvk-json", "--map", "0030")
    assert "  0 A00001  1 A00002  2 A00003  3 -\n  4 " in text
    assert max(map(len, text.splitlines())) <= 40
    status, text, said = lab.run("mvk-json", "--map", "0030", scenario="reply 0xB8 * 00*8\n")
    assert (status, text) == (20, "") and "mvk-json: 0030 lists no elements" in said
