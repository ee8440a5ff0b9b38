# mvk-sim around a command: it brings what mvk needs, and refuses what would leave the library.
import os

import pytest
from companions import lab

REAL = "would reach the real devices"
EMPTIED = "env would take away what leads to the library: the real devices would be reached"


def test_a_configuration_of_its_own(lab):
    del lab.env["TARVO_INI"]
    config = f"{lab.home}/default.state.config"
    assert lab.run("mvk", "0030", "I")[2] == 'STATUS=SUCCESS MSG="OK"\n'
    assert os.listdir(f"{config}/work/sem") == ["mvk_busy_0030.sem"]
    show = ("sh", "-c", "echo $TARVO_INI")
    assert lab.run(*show)[1] == f"{config}/tarvo.ini\n"
    assert lab.run(*show, options=["--plain"])[1] == "\n"
    lab.env["TARVO_INI"] = "/elsewhere"
    assert lab.run(*show)[1] == "/elsewhere\n"


@pytest.mark.parametrize("command, reason", [
    ("sudo mvk 0030 m s:0 d:0", f"sudo {REAL} (the other way round: sudo mvk-sim ...)"),
    ("env A=b doas true", f"doas {REAL} (the other way round: doas mvk-sim ...)"),
    ("./alias", f"alias {REAL} (the other way round: alias mvk-sim ...)"),
    ("./static", "{home}/static is statically linked: it would reach the real devices"),
    ("./set-id", "{home}/set-id is a set-ID program: it would reach the real devices"),
    ("env -i mvk scan", EMPTIED), ("env - mvk scan", EMPTIED),
    ("/usr/bin/env -u LD_PRELOAD mvk scan", EMPTIED)])
def test_what_would_escape(lab, command, reason):
    (lab.home / "alias").symlink_to("/usr/bin/su")
    (lab.home / "static").write_bytes(b"\x7fELF\2\1\1")
    (lab.home / "static").chmod(0o755)
    (lab.home / "set-id").touch()
    (lab.home / "set-id").chmod(0o4755)
    status, text, said = lab.run(*command.split())
    reason = reason.format(home=lab.home)
    assert (status, text, said) == (2, "", f"mvk-sim: {reason}\n")


@pytest.mark.parametrize("command", ["env -u HOME A=b true", "env", "true"])
def test_what_stays_inside(lab, command):
    assert lab.run(*command.split())[0] == 0


@pytest.mark.parametrize("command", ["mvk-sim", "mvk-json", "mvk-capture", "mvk-changer", "kq_glbv"])
def test_help_and_version(lab, command):
    for option, start in ("--help", "usage: "), ("-h", "usage: "), ("--version", f"{command} 1.0.0\n"):
        status, text, said = lab.run(command, option)
        assert (status, text[:len(start)], said) == (0, start, "")
