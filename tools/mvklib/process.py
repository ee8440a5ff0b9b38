"""Runs mvk, and keeps a signal from ending it in the middle of a change.

SIGINT, SIGTERM and SIGHUP are noted. A question to a device is passed the signal and ends; a run
that changes something is waited for, because its command is at the device already. No further run
begins afterwards.
"""

import os
import shutil
import signal
import subprocess
import sys

NOT_STARTED, NOT_FOUND = 126, 127
SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)

# What the handler of signals works on: the first signal that came, the question that is running.
STATE = {"signal": None, "question": None}


def take_signal(number, _frame):
    """The handler of signals."""
    STATE["signal"] = STATE["signal"] or signal.Signals(number)
    if STATE["question"]:
        STATE["question"].send_signal(number)


def take_signals():
    """From now on signals are noted, but for those that the caller has ignored, as nohup does."""
    for number in SIGNALS:
        if signal.getsignal(number) != signal.SIG_IGN:
            signal.signal(number, take_signal)


def interruption():
    """The signal that came, None when there was none."""
    return STATE["signal"]


def find_mvk():
    """$MVK, or mvk in PATH, beside the command, or in the sbin beside its folder."""
    here = os.path.dirname(os.path.realpath(sys.argv[0]))
    beside = (os.path.join(here, "mvk"), os.path.join(here, "..", "sbin", "mvk"))
    found = (path for path in beside if os.access(path, os.X_OK))
    return os.environ.get("MVK") or shutil.which("mvk") or next(found, "mvk")


def run_process(args, changes):
    """Runs mvk with these arguments, texts of ISO 8859-1, in a process group of its own; changes:
    whether it has to be waited for. Returns its exit status, 128 and n when signal n ended it, its
    two streams as texts, and the reason why there was no process, None when there was one."""
    if interruption():
        return 128 + interruption(), "", "", f"not started after {interruption().name}"
    command = [find_mvk(), *(arg.encode("latin-1") for arg in args)]
    pipes = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
    try:
        with subprocess.Popen(command, **pipes, process_group=0) as process:
            STATE["question"] = None if changes else process
            if STATE["question"] and interruption():  # it came before there was a process
                process.send_signal(interruption())
            out, err = process.communicate()
            STATE["question"] = None
    except (OSError, ValueError) as error:  # ValueError: a NUL in an argument
        status = NOT_FOUND if isinstance(error, FileNotFoundError) else NOT_STARTED
        reason = getattr(error, "strerror", None) or error
        return status, "", "", f"mvk cannot be started: {reason}"
    status = process.returncode if process.returncode >= 0 else 128 - process.returncode
    return status, out.decode("latin-1"), err.decode("latin-1"), None
