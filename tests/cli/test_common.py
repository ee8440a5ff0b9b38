# The common library through the executable: configuration, trace, protocol, semaphores.
import os
import re
import signal

import pytest
from conftest import INQUIRY, OK, Run, assert_text

SEMAPHORE = "work/sem/mvk_busy_0030.sem"


def test_without_configuration(lab):
    # mvk does its work, complains, and puts its semaphore where the unresolved path leads.
    run = lab.run("0030 i", env={"TARVO_INI": "/nonexistent"})
    assert run.stderr == "FATAL: SET_LOG_MAIN: gv_rw_lgc not set" * 4 + OK
    assert (run.status, len(run.sent)) == (0, 2)
    assert lab.home / "gv_rw_work:sem/mvk_busy_0030.sem" in lab.home.glob("*/*")


def test_protocol_in_the_language_of_the_product(lab):
    # The first set-up speaks English: the language is read behind the level.
    lab.write("kq.ini", lab.read("kq.ini").replace("gv_rw_ini", "gv").replace("=en", "=de"))
    run = lab.run("0030 i")
    first, second, *_ = lab.read("protocol").splitlines()
    text = f" E003-BASICS [{run.pid:6}]: LOG_CHECK > gv_rw_ini "
    assert first[19:] == text + "not yet existing - please restart TARVO."
    assert second[19:] == text + "existiert noch nicht - Neustart"


# The lines of a run, each behind the level from which on it is written. A path is completed by the
# ID, and so by the LUN, when the first command is sent.
TRACE = f"""\
1 Logging enabled for module KQ_MVK: Loglevel ..., PID=..., parent process: ... (PPID={os.getpid()})
2 set language to en
2 mvk ...
1 mvk common library ...
1 SEMA ? mvk_busy
2 SEMA ? returns: 0: semaphore mvk_busy is free
1 SEMA + mvk_busy
1 WARNING: failed to open lock file: (2) No such file or directory
1 SUCCESS: directory .../work/sem created >> retry creation of lock file: (...) ...
2 SEMA + returns: 1: semaphore mvk_busy is free
2 iLinuxScsiCmd 0x12
1 gszID set to [0031]
1 set LUN 1 with cCDB[1] 0x20
2 iLinuxScsiCmd 0x12
1 device gszDev set to [/dev/sg0]
1 SEMA - mvk_busy
2 SEMA - returns: 1: semaphore mvk_busy is free
1 exit with state 0: MVK_SUCCESS
"""


@pytest.mark.parametrize("level", [1, 2])
def test_trace(lab, level):
    lab.write("ini/debug.ini", f"kq_mvk=3\nKQ_MVK={level}\nSTDERR=1\n")
    changer = "[library]\nsysfs = no\n[device]\naddress = 0:0:3:1\ntype = changer\n"
    run = lab.run("/dev/sg0 i", library=changer)
    trace = lab.read("lgc/kq_mvk.lgc")
    expected = "".join(re.findall(f"(?m)^[1-{level}] (.*\n)", TRACE))
    assert_text(re.sub(r"(?m)^[ \d]\d:\d\d:\d\d# ", "", trace), expected)
    # All but the line that tells of the log goes to standard error too.
    assert run.stderr == trace.partition("\n")[2] + OK


def test_debug_trace(lab):
    # The trailing words "debug" and "test": the trace on standard error, request and reply in it.
    run = lab.run("0030 i test debug")
    assert run.stderr == lab.read("lgc/kq_mvk.lgc") + OK
    lines = re.sub("(?m)^.{10}", "", run.stderr).splitlines()
    header = ["main(): debug info", "argc=4", "gszDev=0030", "gszID=0030", "szBusy=mvk_busy_0030"]
    assert lines[:6] == [*header, "gszTest=i"]
    assert {"sg_hd->pack_len=297", "cpBuf [8]45", "szIO [36]12"} <= {*lines}


# A run that keeps its device busy: stopped while it waits for the first answer.
def hold(lab):
    process = lab.start_until_sent("0030 i", scenario="delay * 1 300")
    process.send_signal(signal.SIGSTOP)
    assert lab.read(SEMAPHORE) == f"{process.pid} mvk"
    return process


def test_occupied(lab):
    holder = hold(lab)
    lab.trace_at(1)
    run = lab.run("0030 -I x")
    text = f"""\
Warning: Could not perform: mvk 0030 -I x\x20
Semaphore mvk_busy_0030 is occupied by: {holder.pid} mvk
"""
    assert run.stderr == text + 'STATUS=ERROR MSG="MVK_OCCUPIED"\n'
    assert (run.stdout, run.events, run.status) == ("", [], 9)
    traced = re.sub("(?m)^.{10}", "", lab.read("lgc/kq_mvk.lgc"))
    assert all(line in traced for line in text.splitlines(True))
    for args, status in ("0040 i", 0), ("/dev/sg2 i", 0), ("000 i", 2), ("--help", 1):
        assert lab.run(args).status == status  # other semaphores, or none
    names = {path.stem for path in lab.home.glob("work/sem/*")}
    assert names == {"mvk_busy", "mvk_busy_000", "mvk_busy_0030", "mvk_busy_0040"}
    holder.send_signal(signal.SIGCONT)
    assert Run(holder).stderr == OK and lab.read(SEMAPHORE) == ""


def test_killed_holder(lab):
    # A holder that is killed does not leave the device stuck; the next run tells of it.
    holder = hold(lab)
    holder.kill()
    holder.wait()
    lab.trace_at(1)
    assert lab.run("0030 i").status == 0
    warning = f"holding process {holder.pid} mvk for semaphore mvk_busy_0030 disappeared: "
    assert f"WARNING: {warning}" in lab.read("lgc/kq_mvk.lgc")


def test_sixty_runs_at_once(lab):
    # Runs on one device end with status 0 or 9 and never overlap at the device.
    lab.write("kq.ini", f"# {'x' * 60}\n" * 4000 + lab.read("kq.ini"))  # takes time at every step
    processes = [lab.start("0030 i", scenario="delay * * 2") for _ in range(60)]
    runs = [Run(process, timeout=60) for process in processes]
    for run in runs:
        run.assert_sound()
        assert (run.status, run.sent) in ((0, [f"sg1 {INQUIRY}"] * 2), (9, []))
    pids = [event.pid for event in sorted(event for run in runs for event in run.events)]
    turns = [pid for pid, before in zip(pids, [0, *pids]) if pid != before]
    assert {run.status for run in runs} == {0, 9}
    assert len(turns) == len(set(turns)) > 1, "two runs overlapped at the device"


def test_trace_beyond_2_gib(lab):
    lab.trace_at(1)
    trace = lab.home / "lgc/kq_mvk.lgc"
    trace.touch()
    os.truncate(trace, 2**31)
    assert lab.run("0030 e").stderr == OK
    assert trace.stat().st_size > 2**31


@pytest.mark.parametrize("name", ["lgc/kq_mvk.lgc", "ini/debug.ini", "glbv/gv_mvk_adr_0030.sgv"])
def test_planted_pipe(lab, name):
    # Nothing waits for the other end of a pipe in the place of a file.
    lab.trace_at(1)
    (lab.home / name).unlink(missing_ok=True)
    os.mkfifo(lab.home / name)
    lab.expect("0030 m s:0 s:4", "Try...Moved...")
