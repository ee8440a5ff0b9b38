# mvk-changer: the one text that a backup suite reads, and what was sent for it.
import re
import signal
import subprocess
import time
from concurrent.futures import ThreadPoolExecutor

import pytest
from companions import DEFAULT, lab

MOVE, UNLOAD, OPENS = "a5", "1b", "open /dev/nst0 "
BOTH = "Drive 1 is 0:0:5:0 by the library, but 0:0:4:0 ({}) by the {}: correct what is wrong"
NOTHING = "; nothing was moved"


# Runs mvk-changer with the words of a line: its status and text. Standard error stays empty.
def change(lab, line, **how):
    status, text, said = lab.run("mvk-changer", "--log", lab.home / "calls", *line.split(" "), **how)
    assert said == ""
    return status, text


def library(lab, text):
    lab.library = lab.home / "library.ini"
    lab.library.write_text(text)


# In drive 0 is the cartridge of slot 1; slot 4 and drive 1 are empty; 9 and 10 are ports.
@pytest.mark.parametrize("line, reason, scenario", [
    ("0030 load 99 /dev/nst1 1", "Slot 99 does not exist: there are slots 1 to 8, import/export 9 to 10", ""),
    ("0030 load 4 /dev/nst1 1", "Slot 4 is empty", ""),
    ("0030 load 1 /dev/nst1 1", "Slot 1 is empty: its cartridge, A00001, is in drive 0", ""),
    ("0030 load 2 /dev/nst0 0", "Drive 0 is full: it holds A00001 of slot 1; unload it first", ""),
    ("0030 load 2 /dev/nst1", "The drive index is missing: the library has the drives 0, 1", ""),
    ("0030 load 2 /dev/nst1 2", "Drive 2 does not exist: the library has the drives 0, 1", ""),
    ("0030 load 2 /dev/nst7 1", "Drive 1: /dev/nst7: No such file or directory", ""),
    ("0030 load 2 /dev/sg0 1", "Drive 1: /dev/sg0 is no tape drive", ""),
    ("0030 load 2 /dev/nst0 1", BOTH.format("/dev/nst0", "archive device"), ""),
    ("--table table 0030 load 2 /dev/nst1 1", BOTH.format("/dev/st0", "table table"), ""),
    ("0030 unload 2 /dev/nst0 0", "Slot 2 is full: it holds A00002", ""),
    ("0030 unload 4 /dev/nst1 1", "Drive 1 is empty: there is nothing to unload", ""),
    ("--patience 0 0030 unload 1 /dev/nst0 0", "Drive 0 (/dev/nst0) is in use: another program has it open,"
     " end or unmount it there (waited 0 seconds)", OPENS + "* EBUSY"),
    ("0030 transfer 2 3", "Slot 3 is full: it holds A00003", ""),
    ("/dev/sg9 load 2 /dev/nst1 1", "Changer /dev/sg9: No such file or directory", ""),
    ("/dev/nst1 load 2 /dev/nst1 1", "The changer 0:0:5:0 lists no elements: is it a library, is it ready,"
     " is its door closed?", ""),
    ("0030 load 2 /dev/nst1 1", "The changer 0:0:3:0 cannot be listed: its device file cannot be opened"
     " (is this user in the group of the file?)", "open /dev/sg1 * EACCES")])
def test_nothing_is_sent(lab, line, reason, scenario):
    (lab.home / "table").write_text("[/dev/sch0]\ndrive 1 = /dev/st0\n")
    assert lab.ask("0030 m s:0 d:0")[0] == 0
    assert change(lab, line, scenario=scenario) == (1, f"{reason}{NOTHING}\n")
    assert not {MOVE, UNLOAD} & set(lab.opcodes())


# Drives with auto_load give a tape only when it is unloaded.
def test_a_session(lab):
    library(lab, DEFAULT.read_text().replace("element = 25", "auto_load = yes\nelement = 25"))
    waits = "".join(f"{OPENS}{turn} {error}\n" for turn, error in enumerate(("ENOMEDIUM", "EIO"), 1))
    assert change(lab, "0:0:3:0 slots") == (0, "8\n")
    assert change(lab, "/dev/sg1 load 2 /dev/st0 0", scenario=waits, options=["--strict"]) == (0, "")
    assert change(lab, "/dev/sch0 loaded 0 /dev/nst0 0") == (0, "2\n")
    assert change(lab, "0030 loaded 0 /dev/nst1 1") == (0, "0\n")
    assert change(lab, "0030 transfer 1 4") == (0, "")
    assert change(lab, "0030 list") == (0, "2:A00002\n3:A00003\n4:A00001\n8:CLN005\n")
    refused = "A00002 of drive 0 did not go to slot 1: the library refused the move and left it where it was"
    assert change(lab, "0030 unload 1 /dev/nst0 0", scenario="check 0x1B 1 05 53 02") == (1, f"{refused}\n")
    assert change(lab, "0030 unload 2 /dev/nst0 0") == (0, "")
    assert [code for code in lab.opcodes() if code in (MOVE, UNLOAD)] == [UNLOAD, MOVE]
    failed = "Drive 1 (/dev/nst1) cannot be opened: Permission denied; A00003 went from slot 3 to drive 1\n"
    assert change(lab, "0030 load 3 0:0:5:0 1", scenario="open /dev/nst1 1 EACCES") == (1, failed)
    assert change(lab, "0030 load 2 /dev/nst0 0", scenario=f"{OPENS}1 EBUSY") == (0, "")
    assert "mvk 0:0:3:0 hm 4097 256 1: status 0" in (lab.home / "calls").read_text()


# A label that would be another line; a cartridge whose slot is not told stands at the first free one.
@pytest.mark.parametrize("source", ["", "\nsource = 4097", "\nsource = 300"])
def test_labels_and_unknown_sources(lab, source):
    text = re.sub(r"(= A00001\nplace =) 4096", rf"\1 257{source}", DEFAULT.read_text())
    library(lab, text.replace("A00002", "1:F 9:X").replace("= A00003\n", '= A 3\xe9:\n'))
    assert change(lab, "0030 list") == (0, "1:A00001\n2:1?F?9?X\n3:A?3???\n8:CLN005\n")
    lines = change(lab, "0030 listall")[1].splitlines()
    assert lines[:4] + lines[-2:] == ["D:0:E", "D:1:F:1:A00001", "S:1:E", "S:2:F:1?F?9?X",
                                      "I:9:F:W00004", "I:10:E"]
    where = "A00001 went from drive 1 to slot 1: the library does not tell where it came from\n"
    assert change(lab, "0030 unload 1 /dev/nst1 1") == (0, where)


# What a library tells for its drives is not believed when it is the same for all.
def test_a_library_that_tells_the_same(lab):
    same = "".join(f"echo ID=0040 Tape Drive {drive} in Loader 0030\n" for drive in (0, 1))
    (lab.home / "mvk").write_text(f'#!/bin/sh\n[ "$3" = scsi ] || exec mvk "$@"\n{same}')
    (lab.home / "mvk").chmod(0o755)
    lab.env["MVK"] = f"{lab.home}/mvk"
    assert change(lab, "0030 load 1 /dev/nst1 1") == (0, "")


# Nor are drives at another host than the library what it tells: then the table or the node counts.
def test_a_library_that_does_not_tell(lab):
    library(lab, re.sub("address = 0:0:([45])", r"address = 1:0:\1", DEFAULT.read_text()))
    (lab.home / "table").write_text("[0030]\ndrive 0 = 1:0:5:0\n")
    nobody = "Drive 0: which device it is, nobody tells: name its node as archive device or in a table, see"
    assert change(lab, "0030 load 1  0") == (1, f"{nobody} mvk-changer(8){NOTHING}\n")
    assert change(lab, "--table table 0030 load 1  0") == (0, "")
    assert "open /dev/nst1 " in (lab.home / "log").read_text()
    assert change(lab, "0030 unload 1 /dev/nst1 0") == (0, "")


def test_a_busy_library(lab):
    held = lab.command("mvk", "0:0:3:0", "I", scenario="delay 0x07 1 1500\n")
    with subprocess.Popen(held, env=lab.env, cwd=lab.home, stderr=subprocess.DEVNULL):
        time.sleep(0.5)
        status, text = change(lab, "--patience 0 0030 load 1 /dev/nst0 0")
        assert status == 1 and re.fullmatch(
            r"The changer 0:0:3:0 is busy: process \d+ mvk holds it \(waited 0 seconds\)"
            + NOTHING + "\n", text)
        assert change(lab, "0030 load 1 /dev/nst0 0") == (0, "")


def test_a_signal_waits_for_the_move(lab):
    line = lab.command("mvk-changer", "0030", "load", "1", "/dev/nst0", "0", scenario="delay 0xA5 1 1500\n")
    with subprocess.Popen(line, env=lab.env, cwd=lab.home, stdout=subprocess.PIPE) as process:
        while MOVE not in lab.opcodes() and process.poll() is None:
            time.sleep(0.05)
        process.send_signal(signal.SIGTERM)
        said = process.communicate()[0]
    assert (process.returncode, said) == (143, b"Interrupted by SIGTERM; the move of A00001 from slot 1 to"
                                          b" drive 0 went out, and was not looked at\n")
    assert change(lab, "0030 loaded 0 /dev/nst0 0") == (0, "1\n")


# Each job takes the tapes of its half of sixteen slots to its drive and back, one after the other.
def test_two_jobs_at_once(lab):
    text = DEFAULT.read_text().split("[cartridge]")[0].replace("slots = 8", "delay_ms = 5\nslots = 16")
    tapes = "".join(f"[cartridge]\nbarcode = T{slot:02}\nplace = {4095 + slot}\n" for slot in range(1, 17))
    library(lab, text.replace("element = 25", "auto_load = yes\nload_ms = 50\nelement = 25") + tapes)
    line = lab.command("mvk-changer")

    def job(drive):
        said = []
        for slot in range(1 + 8 * drive, 9 + 8 * drive):
            for operation in "load", "loaded", "unload":
                words = ["0030", operation, f"{slot}", f"/dev/nst{drive}", f"{drive}"]
                done = subprocess.run([*line, *words], env=lab.env, cwd=lab.home, capture_output=True)
                said.append((done.returncode, done.stdout + done.stderr))
        return said

    with ThreadPoolExecutor() as pool:
        jobs = list(pool.map(job, (0, 1)))
    loaded = [[b"", f"{slot}\n".encode(), b""] for slot in range(1, 17)]
    assert jobs[0] + jobs[1] == [(0, text) for texts in loaded for text in texts]
    assert change(lab, "0030 list") == (0, "".join(f"{slot}:T{slot:02}\n" for slot in range(1, 17)))
