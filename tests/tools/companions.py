# The ground of these tests: the companions on a simulated library whose state lasts for a test, with
# a store of variables of its own. Every object of mvk-json is held against the schema in its manual.
import json
import os
import pathlib
import re
import subprocess

import jsonschema
import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / os.environ.get("MVK_BUILD", "build")
DEFAULT = BUILD / "default.ini"


def schema():
    page = (ROOT / "man/mvk-json.1").read_text()
    return json.loads(re.search(r"^\.Sh SCHEMA\n(?:.*\n)*?\.Bd -literal\n((?:.*\n)*?)\.Ed", page, re.M)[1])


VALIDATOR = jsonschema.Draft202012Validator(schema())


class Lab:
    def __init__(self, home):
        self.home, self.library = home, DEFAULT
        self.env = {"PATH": f"{BUILD}:/usr/bin:/bin", "COLUMNS": "40", "TARVO_INI": f"{home}/tarvo.ini"}
        paths = "".join(f"gv_rw_{name}={home}/\n" for name in ("ini", "lgc", "work", "glbv"))
        ini = f"[TARVO]\nKQ_INI={home}/tarvo.ini\n[Pathes]\n{paths}[SETUP]\nlang=en\n"
        (home / "tarvo.ini").write_text(ini)

    # The command line that runs a command on the simulated library.
    def command(self, *command, scenario="", options=()):
        (self.home / "scenario").write_text(scenario)
        state = self.home / f"{self.library.stem}.state"
        sim = ["mvk-sim", "-l", self.library, "-s", state, "-x", self.home / "scenario"]
        (self.home / "log").unlink(missing_ok=True)
        return [*sim, "-g", self.home / "log", *options, *command]

    # Runs a command to its end: status, output, and what it says on standard error.
    def run(self, *command, **how):
        done = subprocess.run(self.command(*command, **how), env=self.env, cwd=self.home,
                              capture_output=True, timeout=60)
        assert b"Traceback" not in done.stderr, done.stderr
        return done.returncode, done.stdout.decode("ascii"), done.stderr.decode("latin-1")

    # Runs mvk-json with the words of a line: its status and the object.
    def ask(self, line, **how):
        status, text, _ = self.run("mvk-json", *line.split(), **how)
        answer = json.loads(text)
        VALIDATOR.validate(answer)
        return status, answer

    # The opcodes of all commands that have reached a device in the last run, in hexadecimal.
    def opcodes(self):
        log = self.home / "log"
        events = [line.split() for line in log.read_text().splitlines()] if log.exists() else []
        return [event[8][:2] for event in events if event[2] == "write"]


@pytest.fixture
def lab(tmp_path):
    assert (BUILD / "mvk").exists(), f"{BUILD} is not built"
    return Lab(tmp_path)
