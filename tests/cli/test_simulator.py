# The simulated library itself: what programs see of it, and what it refuses.
import os
import subprocess

import pytest
from conftest import BUILD, OK

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
    lab.write("two.ini", LIBRARY)
    look = f"ls {CLASS}; readlink {CLASS}/sg5/device; cat {CLASS}/sg5/device/*; cat /proc/scsi/scsi"
    run = simulate(lab, "-l", "two.ini", "-s", "state", "sh", "-c", look)
    assert run.stdout == "sg0\nsg5\n../../../10:0:3:0\n" + " " * 16 + "\n    \n6\n8\nEXAMPLE \n"
    assert run.stderr == "cat: /proc/scsi/scsi: No such file or directory\n"


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
