# The ground of the scenario tests: every test gets a lab, a folder of its own with the product's
# configuration and a simulated tape library, and runs the real executable there.
#
# MVK_BUILD names the build folder (absolute, or relative to the project's root; default build).
import os
import pathlib
import re
import struct
import subprocess
import textwrap
import time
from collections import namedtuple

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / os.environ.get("MVK_BUILD", "build")
STATES = """
    MVK_SUCCESS USAGE_ERROR DEVICE_OPEN_ERROR IOCTL_ERROR SCSI_BUS_ERROR MODESENSE_ERROR
    NOTAPE_ERROR NOLOADER_ERROR BUFFER_ERROR MVK_OCCUPIED DEVICE_NOT_EXIST DEVICE_BUSY
""".split()
OK = 'STATUS=SUCCESS MSG="OK"\n'

# Of the target, as struct has it: what runs on another processor is in a folder behind its script.
FOREIGN = BUILD / "foreign/mvk"
BYTE_ORDER = " <>"[(FOREIGN if FOREIGN.exists() else BUILD / "mvk").read_bytes()[5]]

CDB_SIZES = [6, 10, 10, 12, 16, 12, 10, 10]  # by the group of the opcode
TIMEOUTS = {0x12: 2000, 0xA5: 120000, 0x1B: 120000}  # ms; 10000 for all others

# The classifying INQUIRY that precedes every operation, as Run.sent shows it behind the device.
INQUIRY = "12 00 00 00 ff 00 [291]"

# Lines of the trace that do not belong to an operation.
EVERY_TRACE = "Logging|WARNING|SUCCESS|SEMA|mvk|set l|device|gszID|iLinux|exit"

# One line of the simulator's log: time in ns, process, event, device, and the event's own words.
Event = namedtuple("Event", "time pid name path words")


# Compares texts. The expected one may be a triple-quoted block, indented like the code; "..." in it
# stands for anything.
def assert_text(text, expected):
    if expected.startswith("\n"):
        expected = textwrap.dedent(expected[1:])
    pattern = ".*".join(map(re.escape, expected.split("...")))
    if "..." not in expected or not re.fullmatch(pattern, text, re.DOTALL):
        assert text == expected


# The events of a log of the simulator, in order.
def read_log(path):
    lines = path.read_text().split("\n")[:-1] if path.exists() else []
    return [Event(int(w[0]), int(w[1]), w[2], w[3], w[4:]) for w in map(str.split, lines)]


# The scenario that gives these replies to the commands behind the classifying INQUIRY, in order:
# for each the data (bytes), a word of a scenario and its arguments ("check 05 24 00", "read EIO"),
# a tuple of them, or None (the library itself answers).
def script(replies):
    for number, reply in enumerate(replies, 2):
        for part in reply if isinstance(reply, tuple) else (reply,):
            if isinstance(part, bytes):
                part = f"reply {part.hex() or '00*0'}"
            if part:
                yield part.replace(" ", f" * {number} ", 1)


# What holds for every request: header and CDB alone are written; the lengths in the header count
# the data too.
def assert_sound_request(event):
    timeout, reply_length, _, header, cdb = event.words
    opcode, size = int(cdb[:2], 16), len(cdb) // 2
    lengths = struct.pack(BYTE_ORDER + "ii", int(reply_length) + size, int(reply_length))
    assert bytes.fromhex(header) == lengths.ljust(36, b"\0")
    assert size == CDB_SIZES[opcode >> 5]
    assert int(timeout) == TIMEOUTS.get(opcode, 10000)


# What one run did. stdout, stderr: read as latin-1; status: exit status; events, requests: from
# the simulator's log, in order; sent: one text for each request, with device, CDB and reply length:
# "sg1 12 00 00 00 ff 00 [291]".
class Run:
    def __init__(self, process, timeout=20):
        out, err = process.communicate(timeout=timeout)
        self.stdout, self.stderr = out.decode("latin-1"), err.decode("latin-1")
        self.pid, self.status = process.pid, process.returncode
        self.events = read_log(process.log)
        self.requests = [event for event in self.events if event.name == "write"]
        self.sent = []
        for request in self.requests:
            cdb = bytes.fromhex(request.words[4]).hex(" ")
            self.sent.append(f"{request.path[5:]} {cdb} [{request.words[1]}]")

    # What was sent behind the classifying INQUIRY, which must have been there.
    @property
    def commands(self):
        first, *others = self.sent
        assert " 00 00 ff 00 [291]" in first
        return others

    # What holds for every run that came to its end.
    def assert_sound(self):
        assert not re.search("Sanitizer|runtime error:|mvk-sim:", self.stderr), self.stderr
        opened = [e.path for e in self.events if e.name == "open" and e.words[0].isdigit()]
        assert opened == [e.path for e in self.events if e.name == "close"], "left open"
        line = f'STATUS=ERROR MSG="{STATES[self.status]}"\n' if self.status else OK
        assert self.stderr.endswith(line) and self.stderr.count("STATUS=") == 1, self.stderr
        for request in self.requests:
            assert_sound_request(request)


# A folder with a configuration (tarvo.ini, kq.ini, ini/ lgc/ work/ glbv/), a simulated library
# whose state lasts from run to run, and the means to run mvk on them.
class Lab:
    def __init__(self, home):
        self.home, self.processes = home, []
        self.description = BUILD / "default.ini"
        self.write("tarvo.ini", f"[TARVO]\nKQ_INI={home}/kq.ini\n")
        paths = "[Pathes]\n"
        for name in ("ini", "lgc", "work", "glbv"):
            (home / name).mkdir()
            paths += f"gv_rw_{name}={home}/{name}/\n"
        self.write("kq.ini", f"{paths}[SETUP]\nlang=en\n")
        self.write("glbv/gv_prot.sgv", f"{home}/protocol")
        self.env = {
            "PATH": f"{BUILD}:/usr/sbin:/usr/bin:/sbin:/bin",
            "LC_ALL": "C",
            "TARVO_INI": f"{home}/tarvo.ini",
            "ASAN_OPTIONS": "exitcode=99",
        }

    # Writes a file of the lab.
    def write(self, name, text):
        (self.home / name).write_text(text, "latin-1")

    # The text of a file of the lab, empty when there is none.
    def read(self, name):
        path = self.home / name
        return path.read_text("latin-1") if path.exists() else ""

    # Sets the trace level.
    def trace_at(self, level):
        self.write("ini/debug.ini", f"KQ_MVK={level}\n")

    # What the operations wrote into the trace: without the lines that every run has, and the time.
    def trace(self):
        lines = re.findall(r"(?m)^[ \d]\d:[0-5]\d:[0-5]\d# (.*\n)", self.read("lgc/kq_mvk.lgc"))
        return "".join(line for line in lines if not re.match(EVERY_TRACE, line))

    # Begins a run on the lab's library, or on one whose description is given, and returns its
    # process. args: a list, or a text to be divided at blanks; env: additions to the environment;
    # via: what runs instead of mvk, with the arguments behind it; options: further ones of mvk-sim.
    def start(self, args, scenario="", library=None, env=(), via=("mvk",), options=()):
        number = len(self.processes)
        if library is not None:
            self.description = self.home / f"library{number}.ini"
            self.write(self.description.name, library)
        state = self.home / f"{self.description.stem}.state"
        log = self.home / f"log{number}"
        options = ["--library", self.description, "--state", state, "--log", log, *options]
        if scenario:
            self.write(f"scenario{number}", scenario + "\n")
            options += ["--scenario", self.home / f"scenario{number}"]
        args = args.split() if isinstance(args, str) else args
        process = subprocess.Popen(  # pylint: disable=consider-using-with
            [BUILD / "mvk-sim", *options, *via, *(arg.encode("latin-1") for arg in args)],
            cwd=self.home,
            env={**self.env, **dict(env)},
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
        )
        process.log = log
        self.processes.append(process)
        return process

    # Begins a run, and returns its process as soon as it has sent a command or come to its end.
    def start_until_sent(self, *args, **how):
        process = self.start(*args, **how)
        while process.poll() is None and not any(e.name == "write" for e in read_log(process.log)):
            time.sleep(0.001)
        return process

    # One run to its end. replies: see script; scenario: further lines; sound: whether it must come
    # to its end as every run does; the rest: see start.
    def run(self, args, replies=(), scenario="", sound=True, **how):
        lines = "\n".join([scenario, *script(replies)]).strip()
        run = Run(self.start(args, lines, options=["--strict"], **how))
        if sound:
            run.assert_sound()
        return run

    # One run, and what it prints, its status, and what it sends behind the classifying INQUIRY.
    def expect(self, args, stdout="", status=0, sent=None, **how):
        run = self.run(args, **how)
        assert_text(run.stdout, stdout)
        assert run.status == status
        assert run.commands == (run.commands if sent is None else sent)
        return run


@pytest.fixture
def lab(tmp_path):
    assert (BUILD / "mvk").exists(), f"{BUILD} is not built"
    started = Lab(tmp_path)
    yield started
    for process in started.processes:
        process.kill()
