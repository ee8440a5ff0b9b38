# The companions on the simulated library: JSON of real runs and of hostile texts, verified moves,
# the map, the twin, the completion.
import json
import os
import pathlib
import random
import re
import subprocess

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / os.environ.get("MVK_BUILD", "build")
DEFAULT = BUILD / "default.ini"
IDENTITY = {"vendor": "EXAMPLE", "product": "TAPE DRIVE 1", "revision": "2107"}
SLOT = {"kind": "slot", "number": 0, "address": 4096, "source": 0, "full": True, "label": "A00001"}
LABEL = {"label": "A00001", "init_time": "2024-05-01 08:15:00", "etc": "WEEKLY"}
# Command lines in the order of one story; a part of the object, and what it must be.
REPORTS = [
    ("scan", ("devices", 2), {"id": "0040", "type": "tape", **IDENTITY, "device": "/dev/nst0"}),
    ("0040 i", ("devices", 0, "loader_present"), True),
    ("0030 s", ("counts", 1), {"kind": "slot", "count": 8, "first": 4096}),
    ("0030 l", ("elements", 1), SLOT),
    ("0030 e scsi", ("drives", 1), {"id": "0050", "number": 1, "loader": "0030"}),
    ("0030 m s:0 d:0", ("move", "target"), 256),
    ("0040 -L", ("label",), {"layout": "2A", **LABEL}),
    ("0040 s", ("fields", "density_code"), 0x49),
    ("0040 read", ("attributes", 2, "value"), "49"),
    ("0040 read medium_type", ("fields", "medium_type"), "Data medium"),
    ("0040 get", ("pages", 1, "name"), "DATA COMPRESSION PAGE"),
    ("0040 get", ("pages", 4, "bytes"), "210e" + b"EXAMPLE PAGE 0".hex()),
    ("0040 get_eeprom", ("eeprom",), "VENDORID EXAMPLE\nPRODUCTID TAPE DRIVE 1"),
    ("0030 hm 256 4097 1", ("move", "source"), 256),
    ("0030 m q:0 d:0", ("message",), "USAGE_ERROR"),
    ("9999 i", ("lines",), ["Could not open 9999"] * 2),
]
HOSTILE = [b'STATUS=SUCCESS MSG="OK"\n', b"\nSlot         0(adr=4096,", b"\n", b'"\\', b"\xc3("]


@pytest.fixture(name="run")
def fixture_run(tmp_path):
    # Runs a command on the simulated library: its status and its output.
    env = {"PATH": f"{BUILD}:/usr/bin:/bin", "COLUMNS": "40"}

    def run(*command, scenario="", library=DEFAULT):
        (tmp_path / "scenario").write_text(scenario)
        state = tmp_path / f"{library.stem}.state"
        sim = ["mvk-sim", "-l", library, "-s", state, "-x", tmp_path / "scenario", *command]
        done = subprocess.run(sim, env=env, cwd=tmp_path, capture_output=True, check=False)
        assert b"Traceback" not in done.stderr, done.stderr
        return done.returncode, done.stdout.decode("ascii")

    return run


def test_reports(run):
    for line, path, expected in REPORTS:
        status, text = run("mvk-json", *line.split())
        answer = part = json.loads(text)
        for key in path:
            part = part[key]
        assert (line, part, status) == (line, expected, answer["status"])
        assert answer["warnings"] == []


def test_a_move_is_verified(run):
    move = "mvk-json --verify 0030 m s:1 d:0".split()
    status, text = run(*move)
    assert status == 0 and json.loads(text)["verified"]
    status, text = run("mvk-json", "--verify", "0030", "hm", "4096", "256", "1")
    answer = json.loads(text)
    assert (status, answer["message"], answer["verified"]) == (20, "OK", False)
    assert answer["verification"]["reasons"][:2] == [
        "the target 256 was full",
        "the source 4096 is still full",
    ]
    assert [place["label"] for place in answer["verification"]["after"]] == ["A00001", "A00002"]
    status, text = run(*move, scenario="open /dev/sg1 * EACCES\n")
    assert status == 2 and "nothing was moved" in text


def plain(text):
    return text.decode("latin-1").rstrip(" ")


def hostile_text(dice, length):
    pieces = dice.choices(HOSTILE + [dice.randbytes(9), b"A00001"], k=4)
    return b"".join(pieces)[:length].ljust(length)


def test_hostile_texts(run):
    dice = random.Random(12)
    for _ in range(25):
        tags = [hostile_text(dice, 36) for _ in range(5)]
        slots = b"".join(bytes([16, n, 9] + [0] * 9) + tag for n, tag in enumerate(tags))
        reply = bytes([16, 0, 0, 5, 0, 0, 0, 248, 2, 0x80, 0, 48, 0, 0, 0, 240]) + slots
        _, text = run("mvk-json", "0030", "l", scenario=f"reply 0xB8 * {reply.hex()}\n")
        labels = [plain(tag.split(b"\0")[0]) for tag in tags]
        assert [element["label"] for element in json.loads(text)["elements"]] == labels
        name = hostile_text(dice, 28)
        reply = bytes([8, 0, 5, 2, 31, 0, 0, 0]) + name
        _, text = run("mvk-json", "0030", "i", scenario=f"reply 0x12 * {reply.hex()}\n")
        texts = {"vendor": plain(name[:8]), "product": plain(name[8:24])}
        texts["revision"] = plain(name[24:])
        assert json.loads(text)["devices"][0].items() >= texts.items()


def test_the_map(run):
    _, text = run("mvk-json", "--map", "0030")
    assert "  0 A00001  1 A00002  2 A00003  3 -\n  4 " in text
    assert max(map(len, text.splitlines())) <= 40


def test_the_twin_lists_the_same(run, tmp_path):
    twin = tmp_path / "twin.ini"
    for line in ("m s:0 d:0", "m s:1 d:1"):
        run("mvk", "0030", *line.split())
    run("mvk", "0040", "L")
    twin.write_text(run("mvk-sim", "--capture")[1])
    for line in ("scan", "0030 l", "0030 e scsi", "0040 L", "0040 s", "0040 get", "0040 read"):
        assert run("mvk", *line.split(), library=twin) == run("mvk", *line.split())


def test_completion(run, tmp_path):
    script = ROOT / "completions/mvk"
    complete = f'. {script}; COMP_LINE=$0 COMP_POINT=${{#0}}; _mvk; echo "${{COMPREPLY[@]}}"'
    listed = tmp_path / "listed.ini"
    listed.write_text("[library]\nsysfs = no\n" + DEFAULT.read_text())
    for library in (DEFAULT, listed):
        devices = run("bash", "-c", complete, "mvk ", library=library)[1]
        assert devices == "scan --help 0030 /dev/sg1 0040 /dev/sg2 0050 /dev/sg3\n"
    offered = set(run("bash", "-c", complete, "mvk 0030 ")[1].split())
    table = (ROOT / "src/sys/linux/mvk.cpp").read_text().partition("strOperations[] = {")[2]
    assert offered == set(re.findall(r'^    {"(\w+)",', table, re.MULTILINE))
    entries = re.findall(r"^\.It Cm (.*)", (ROOT / "man/mvk.8").read_text(), re.MULTILINE)
    assert offered <= set(re.findall(r"\w+", " ".join(entries)))
