# The common library through the executable: configuration, trace, protocol, semaphores.
import os
import random
import re
import signal
import time

import pytest

from conftest import INQUIRY, Run, like, read_log

SEMA, OK = "work/sem/mvk_busy_0030.sem", 'STATUS=SUCCESS MSG="OK"\n'
MISSING = "FATAL: SET_LOG_MAIN: gv_rw_%s not set"


def without(lab, key):
    lab.write("kq.ini", re.sub(f"(?m)^{key}=.*\n", "", lab.read("kq.ini")))


def compare(lab, name, expected):
    # The lines of a trace file, the time of each left out.
    lines = lab.read(f"lgc/{name}.lgc").splitlines()
    assert all(re.match(r"[ \d]\d:[0-5]\d:[0-5]\d# ", line) for line in lines), lines
    assert len(lines) == len(expected) and all(like(e, l[10:]) for e, l in zip(expected, lines)), "\n".join(lines)


@pytest.mark.parametrize("tarvo", [None, "/nonexistent", "header.ini"])
def test_without_configuration(lab, tarvo):
    # mvk does its work, complains, and puts its semaphore where the unresolved path leads.
    lab.write("header.ini", lab.read("tarvo.ini").split("\n")[1] + "\n")  # the key's line is the header
    (lab.home / "cwd").mkdir()
    run = lab.run("0030", "i", cwd=lab.home / "cwd", env={"TARVO_INI": tarvo and lab.home / tarvo})
    assert (run.stderr, run.status, len(run.sent)) == (MISSING % "lgc" * 4 + OK, 0, 2)
    assert [str(p.relative_to(lab.home / "cwd")) for p in sorted((lab.home / "cwd").rglob("*"))] == [
        "gv_rw_work:sem", "gv_rw_work:sem/mvk_busy_0030.sem"]


@pytest.mark.parametrize("lang, text", [
    ("de", "existiert noch nicht - Neustart"), ("de_BA", "gibds no nedd - Neistart"),
    *[(lang, "not yet existing - please restart TARVO.") for lang in ("en", "fr", "hr", "DE", "de_AT")]])
def test_language(lab, lang, text):
    # The first set-up speaks English: the language is read behind the level.
    without(lab, "gv_rw_ini")
    lab.write("kq.ini", lab.read("kq.ini").replace("lang=en", f"lang={lang}"))
    lab.write("debug.ini", "KQ_SEM=1\n")  # without its key it is sought in the current folder
    assert lab.run("0030", "i").stderr == MISSING % "ini" * 7 + OK
    stamp = rf"\d{{4}}-\d\d-\d\d \d\d:\d\d:\d\d E003-BASICS \[{lab.pid:6}\]: LOG_CHECK > gv_rw_ini "
    lines = [re.sub(stamp, "", line) for line in lab.read("protocol").splitlines()]
    assert lines == ["not yet existing - please restart TARVO."] + [text] * 6


LUN_1 = "[device]\naddress = 0:0:3:1\ntype = changer\n"
FREE = ": semaphore mvk_busy_0031 is free"
COMMAND = ["1set LUN 1 with cCDB[1] 0x20", "2iLinuxScsiCmd 0x12", "1device gszDev set to [/dev/sg0]"]
# The lines of a run, each behind the level from which on it is written.
LINES = ["1Logging enabled for module KQ_MVK: Loglevel {level}, PID={pid}, parent process: … (PPID={parent})",
         "2set language to en", "2…", "1…", "1SEMA ? mvk_busy_0031", "2SEMA ? returns: 0" + FREE,
         "1SEMA + mvk_busy_0031", "1WARNING: failed to open lock file: (2) No such file or directory",
         "1SUCCESS: directory {home}/work/sem created >> retry creation of lock file: (…) …",
         "2SEMA + returns: 1" + FREE, *COMMAND * 2, "1SEMA - mvk_busy_0031", "2SEMA - returns: 1" + FREE,
         "1exit with state 0: MVK_SUCCESS"]


@pytest.mark.parametrize("debug, level", [
    ("", 0), ("kq_mvk=3\n", 0), ("KQ_MVK=1\nSTDERR=3\n", 1), ("KQ_MVK=2 x\nSTDERR=0\n", 2),
    ("STDERR=1\nKQ_MVK=29", 2)])  # the last character of the line goes, whatever it is
def test_trace(lab, debug, level):
    lab.debug(debug)
    run = lab.run("0031", "i", library=LUN_1)
    compare(lab, "kq_mvk", [line[1:].format(level=level, pid=lab.pid, parent=os.getpid(), home=lab.home)
                            for line in LINES if int(line[0]) <= level])
    # All but the line that tells of the log goes to standard error too.
    echo = lab.read("lgc/kq_mvk.lgc").partition("\n")[2] if re.search("STDERR=[13]", debug) else ""
    assert run.stderr == echo + OK and not (lab.home / "lgc/kq_sem_mvk_busy_0031.lgc").exists()


def test_debug_trace(lab):
    # The trailing words "debug" and "test": the trace on standard error, request and reply in it.
    run = lab.run("0031", "i", "test", "debug", library=LUN_1, replies=[None, b"\x08" + bytes(253) + b"\xfe"])
    header = "main(): debug info,argc=4,gszDev=0031,gszID=0031,szBusy=mvk_busy_0031,gszTest=i".split(",")
    reply = ("sg_hd->result=0,sg_hd->other_flags=0,sg_hd->pack_len=297,sg_hd->reply_len=291,sg_hd->pack_id=0,"
             "cpBuf [0]8,cpBuf [254]fe").split(",")
    reply += [f"szIO [{i}]{b:x}" for i, b in enumerate(run.requests[1].written) if b]
    compare(lab, "kq_mvk", header + [line[1:].format(home=lab.home) for line in LINES[3:-3]] + reply +
            [line[1:] for line in LINES[-3:]])
    assert run.stderr == lab.read("lgc/kq_mvk.lgc") + OK


def wait_until(condition):
    end = time.monotonic() + 10
    while not condition() and time.monotonic() < end:
        time.sleep(0.001)


def hold(lab):
    # A run that keeps its device busy: stopped while it waits for the first answer.
    process = lab.start("0030", "i", scenario="delay * 1 300", log="holder")
    wait_until(lambda: "write" in [e.name for e in read_log(lab.home / "holder")])
    process.send_signal(signal.SIGSTOP)
    assert lab.read(SEMA) == f"{process.pid} mvk"
    return process


def test_occupied(lab):
    holder = hold(lab)
    lab.debug("KQ_MVK=1\n")
    run = lab.run("0030", "-I", "x")
    text = ["Warning: Could not perform: mvk 0030 -I x ", f"Semaphore mvk_busy_0030 is occupied by: {holder.pid} mvk"]
    assert run.stderr == "\n".join(text) + '\nSTATUS=ERROR MSG="MVK_OCCUPIED"\n'
    assert (run.stdout, run.events, run.status) == ("", [], 9)
    assert like("…".join(["", *text, "exit with state 9: MVK_OCCUPIED\n"]), lab.read("lgc/kq_mvk.lgc"))
    for args, status in (("0040 i", 0), ("/dev/sg1 i", 0), ("scan", 0), ("--help", 1), ("", 1)):
        assert lab.run(*args.split()).status == status  # other semaphores, or none
    holder.send_signal(signal.SIGCONT)
    assert holder.communicate(timeout=20)[1].decode() == OK and lab.read(SEMA) == ""
    assert lab.run("0030", "i").status == 0


def test_killed_at_any_moment(lab):
    # A hundred holders killed at random moments never leave the device stuck; the next run tells.
    randomly, held = random.Random(20), []
    for _ in range(100):
        process = lab.start("0030", "i", scenario="delay * * 4") if held else hold(lab)
        events = randomly.randrange(10) if held else 0
        wait_until(lambda: len(read_log(lab.log)) >= events or process.poll() is not None)
        time.sleep(randomly.uniform(0, 0.004 if events else 0.015))
        process.kill()
        process.communicate()
        lab.debug("" if held else "KQ_MVK=1\nKQ_SEM=1\n")
        held.append(lab.read(SEMA) == f"{process.pid} mvk")
        run = lab.run("0030", "i")
        assert (run.status, run.stderr, lab.read(SEMA)) == (0, OK, "")
        text = f"WARNING: holding process {process.pid} mvk for semaphore mvk_busy_0030 disappeared: "
        assert len(held) > 1 or held[0] and all(
            text in lab.read(f"lgc/{name}.lgc") for name in ("kq_mvk", "kq_sem_mvk_busy_0030"))
    assert sum(held) >= 40, "too few were killed while they held the semaphore"


def test_sixty_runs_at_once(lab):
    # Runs on one device end with status 0 or 9 and never overlap at the device.
    lab.write("kq.ini", f"# {'x' * 60}\n" * 4000 + lab.read("kq.ini"))  # takes time to read at every step
    os.mkfifo(lab.home / "gate")  # half of them wait at it and go on together, the others follow
    how = {"via": ["sh", "-c", ': <gate; exec mvk "$@"', "sh"], "scenario": "delay * * 2", "log": "log"}
    processes = [lab.start("0030", "i", **how) for _ in range(30)]
    time.sleep(0.2)
    gate = os.open(lab.home / "gate", os.O_WRONLY)
    processes += [lab.start("0030", "i", **how) for _ in range(30)]
    results = [(p, *(stream.decode() for stream in p.communicate(timeout=60))) for p in processes]
    os.close(gate)
    events = sorted(read_log(lab.home / "log"))
    for p, out, err in results:
        run = Run(out, err, p.returncode, [e for e in events if e.pid == p.pid])
        run.check()
        assert (run.status, run.sent) in ((0, [f"sg1 {INQUIRY}"] * 2), (9, []))
    assert {p.returncode for p in processes} == {0, 9} and len({e.pid for e in events}) > 1
    turns = [e.pid for e, before in zip(events, [None] + events) if not before or e.pid != before.pid]
    assert len(turns) == len(set(turns)), "two runs overlapped at the device"


def test_full_disk_for_traces(lab):
    # Lines that do not fit are lost, and nothing else.
    for name in ("kq_mvk", "kq_sem_mvk_busy_0030"):
        (lab.home / f"lgc/{name}.lgc").symlink_to("/dev/full")
    lab.debug("KQ_MVK=2\nKQ_SEM=2\n")
    run = lab.run("0030", "i")
    assert (run.stderr, run.status, len(run.sent)) == (OK, 0, 2)
