# The ground of the scenario tests: every test gets a lab, a folder of its own with the product's
# configuration and a simulated tape library, and runs the real executable there.
#
# MVK_BUILD names the build folder (absolute, or relative to the root of the project; default build).
import collections
import os
import pathlib
import re
import struct
import subprocess

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / os.environ.get("MVK_BUILD", "build")
STATES = """MVK_SUCCESS USAGE_ERROR DEVICE_OPEN_ERROR IOCTL_ERROR SCSI_BUS_ERROR MODESENSE_ERROR NOTAPE_ERROR
    NOLOADER_ERROR BUFFER_ERROR MVK_OCCUPIED DEVICE_NOT_EXIST DEVICE_BUSY""".split()
CDB_SIZES = [6, 10, 10, 12, 16, 12, 10, 10]  # by the group of the opcode
TIMEOUTS = {0x12: 2000, 0xA5: 120000, 0x1B: 120000}  # ms; 10000 for all others
# The classifying INQUIRY that precedes every operation, as `sent` shows it behind the device.
INQUIRY = "12 00 00 00 ff 00 [291]"

# One line of the simulator's log: time in ns, process, event, device, and the event's own words.
Event = collections.namedtuple("Event", "time pid name path words")
# One request: the device, what was written, the reply length asked, the timeout in force (ms), and
# what the driver said to the write: a length or the name of an error.
Request = collections.namedtuple("Request", "path written reply_length timeout took")


def like(pattern, text):
    # Whether the text is the pattern, in which "…" stands for anything.
    return re.fullmatch(".*".join(map(re.escape, pattern.split("…"))), text, re.DOTALL)


def read_log(path):
    lines = path.read_text().split("\n")[:-1] if path.exists() else []
    return [Event(int(w[0]), int(w[1]), w[2], w[3], w[4:]) for w in map(str.split, lines)]


class Run:
    # What one run did. stdout, stderr: bytes read as latin-1; status: exit status; requests,
    # events: from the simulator's log, in order; sent: one text for each request, such as
    # "sg1 12 00 00 00 ff 00 [291]" (device, CDB, reply length).

    def __init__(self, stdout, stderr, status, events):
        self.stdout, self.stderr, self.status = stdout, stderr, status
        self.events, self.requests = events, []
        for event in events:
            if event.name == "write":
                timeout, reply, took = event.words[:3]
                data = bytes.fromhex("".join(event.words[3:]).replace("-", ""))
                self.requests.append(Request(event.path, data, int(reply), int(timeout), took))
            assert event.name != "read" or event.words[0] == str(self.requests[-1].reply_length), event
        self.sent = [f"{r.path[5:]} {r.written[36:].hex(' ')} [{r.reply_length}]" for r in self.requests]

    @property
    def commands(self):
        # What was sent behind the classifying INQUIRY, which must have been there.
        assert self.sent and re.fullmatch(r"\w+ 12 .0 00 00 ff 00 \[291\]", self.sent[0]), self.sent
        return self.sent[1:]

    def check(self, scripted_timeouts=False):
        # What holds for every run that came to its end.
        assert not re.search("Sanitizer|runtime error:", self.stderr), self.stderr
        opened = [e.path for e in self.events if e.name == "open" and e.words[0].isdigit()]
        assert opened == [e.path for e in self.events if e.name == "close"], "left open"
        fatal = re.search("^STATUS=FATAL MSG=.*\n\\Z", self.stdout, re.MULTILINE)
        assert 0 <= self.status < 12, (self.status, self.stdout, self.stderr)
        line = f'STATUS=ERROR MSG="{STATES[self.status]}"\n' if self.status else 'STATUS=SUCCESS MSG="OK"\n'
        assert self.status == 3 if fatal else self.stderr.endswith(line), self.stderr
        assert self.stderr.count("STATUS=") == (0 if fatal else 1), self.stderr
        for request in self.requests:
            pack, reply = struct.unpack_from("<ii", request.written)
            opcode = request.written[36]
            size = CDB_SIZES[opcode >> 5]
            # The header and the CDB alone are written, whatever length the header tells.
            assert len(request.written) == 36 + size and not any(request.written[8:36]), request
            assert reply == request.reply_length and pack == reply + size, request
            assert scripted_timeouts or request.timeout == TIMEOUTS.get(opcode, 10000), request

    def used(self, name, target, count):
        # Whether a line of a scenario had its turn. The log does not tell of the listing and of
        # address requests: a test must see those in the output.
        opcode, _, device = target.partition("@")
        if name in ("open", "timeout"):
            opcode, device = "*", target
            turns = [("*", event.path) for event in self.events if event.name == name]
        else:
            turns = [(str(r.written[36]), r.path) for r in self.requests
                     if name == "write" or r.took == str(len(r.written))]
        turns = [path for number, path in turns if opcode == "*" or int(opcode, 0) == int(number)]
        turns = [path for path in turns if device.rpartition("/")[2] in ("", "*", path[5:])]
        return name == "idlun" or target == "scsi" or len(turns) >= int(count.replace("*", "1"))


class Lab:
    # A folder with a configuration (tarvo.ini, kq.ini, ini/ lgc/ work/ glbv/), a simulated
    # library whose state lasts from run to run, and the means to run mvk on them.

    def __init__(self, home):
        self.home, self.processes = home, []
        self.description, self.state = BUILD / "default.ini", home / "library.state"
        for folder in ("ini", "lgc", "work", "glbv"):
            (home / folder).mkdir()
        self.write("tarvo.ini", f"[TARVO]\nKQ_INI={home}/kq.ini\n")
        self.write("kq.ini", f"[Pathes]\nbase={home}\ngv_rw_ini=%(base)/ini/\ngv_rw_lgc=%(base)/lgc/\n"
                   "gv_rw_work=%(base)/work/\ngv_rw_glbv=%(base)/glbv/\n[SETUP]\nlang=en\n")
        self.write("glbv/gv_prot.sgv", f"{home}/protocol")
        self.env = {"PATH": f"{BUILD}:/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C",
                    "TARVO_INI": f"{home}/tarvo.ini", "ASAN_OPTIONS": "exitcode=99"}

    def write(self, name, text):
        # Writes a file of the lab; the text is latin-1.
        (self.home / name).write_bytes(text.encode("latin-1"))

    def read(self, name):
        # The text of a file of the lab, empty when there is none.
        path = self.home / name
        return path.read_bytes().decode("latin-1") if path.exists() else ""

    def debug(self, text):
        # Sets the trace levels, such as "KQ_MVK=2\n".
        self.write("ini/debug.ini", text)

    def set_library(self, text):
        # Takes another description, in its first state.
        self.description = self.home / "library.ini"
        self.write("library.ini", text)
        self.state.unlink(missing_ok=True)

    def _sim(self):
        return [BUILD / "mvk-sim", "--library", self.description, "--state", self.state]

    def start(self, *args, scenario="", env=None, cwd=None, via=("mvk",), log=None, merge=False):
        # Begins a run and returns the process. via: what is run instead of mvk, with the
        # arguments behind it; env: changes to the environment, None takes a variable away; log: a
        # file of the lab; merge: standard error goes to standard output.
        number = len(self.processes) + 1
        self.log = self.home / (log or f"log{number}")
        options = ["--log", self.log]
        if scenario:
            self.write(f"scenario{number}", scenario)
            options += ["--scenario", self.home / f"scenario{number}"]
        process = subprocess.Popen(
            [*self._sim(), *options, *via, *(a.encode("latin-1") for a in args)], cwd=cwd or self.home,
            env={k: v for k, v in {**self.env, **(env or {})}.items() if v is not None},
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT if merge else subprocess.PIPE)
        self.processes.append(process)
        self.pid = process.pid
        return process

    def run(self, *args, replies=(), scenario="", library=None, check=True, **how):
        # One run to its end, checked as far as every run can be. replies: one for each command in
        # order: bytes (the data), a text of a scenario's word and its arguments ("check 05 24 00",
        # "read EIO", "write 10"; several divided by "; "), or None (the library itself answers);
        # one that is not used fails the test, as does an unused line of the scenario. library: the
        # text of a description; how: see start.
        if library is not None:
            self.set_library(library)
        scenario = "\n".join([scenario] + script(replies)) + "\n"
        process = self.start(*args, scenario=scenario.strip("\n"), **how)
        out, err = process.communicate(timeout=20)
        run = Run(out.decode("latin-1"), (err or b"").decode("latin-1"), process.returncode, read_log(self.log))
        if check and not how.get("merge"):
            run.check("timeout" in scenario)
        for line in filter(None, scenario.splitlines()):
            assert run.used(*line.split()[:3]), f"not used: {line}\nsent: {run.sent}"
        return run

    def check(self, args, commands, stdout, status=0, **how):
        # A row of a table: what is sent behind the classifying INQUIRY, printed ("…" stands for
        # anything) and returned.
        run = self.run(*args, **how)
        assert (run.commands, run.status) == (commands, status)
        assert like(stdout, run.stdout), f"expected:\n{stdout}\nprinted:\n{run.stdout}"
        return run


def script(replies):
    # The scenario that gives these replies in order. A command whose write fails is not carried
    # out, so that only later ones count for the other words.
    lines, done = [], 0
    for written, reply in enumerate(replies, 1):
        words = f"reply {reply.hex() or '00*0'}" if isinstance(reply, bytes) else reply or ""
        done += not words.startswith("write ")
        for word, _, rest in (w.partition(" ") for w in words.split("; ") if w):
            lines.append(f"{word} * {written if word == 'write' else done} {rest}")
    assert not replies or replies[-1] is not None, "a last reply of None orders nothing"
    return lines


@pytest.fixture
def lab(tmp_path):
    missing = [n for n in ("mvk", "mvk-sim", "libmvksim.so") if not (BUILD / n).exists()]
    assert not missing, f"{BUILD} lacks {missing}"
    started = Lab(tmp_path)
    yield started
    for process in started.processes:
        process.kill()
