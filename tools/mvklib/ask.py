"""Runs mvk and returns the object that says what came of it.

mvk's two streams are bytes. They are read as ISO 8859-1, so that any byte is one character and
nothing that a device or a user sends gets lost or ends as bad JSON.
"""

import os
import re
import shutil
import subprocess
import sys
import time

from .reports import PARSERS, operation_of

OCCUPIED = 9  # mvk's exit status while another run holds the device
NOT_STARTED, NOT_FOUND = 126, 127

RESULT = re.compile(
    r'STATUS=(?:(SUCCESS) MSG="(OK)"|(ERROR) MSG="([A-Z_]+|unknown error code: -?\d+)")\n\Z'
)
FATAL = re.compile(r"STATUS=(FATAL) MSG=(.*)\n\Z")
TRACE = re.compile(r"[ \d]\d:\d\d:\d\d#")


def find_mvk():
    """$MVK, or mvk in PATH, beside this program, or in the sbin beside its folder."""
    here = os.path.dirname(os.path.realpath(sys.argv[0]))
    beside = (os.path.join(here, "mvk"), os.path.join(here, "..", "sbin", "mvk"))
    found = (path for path in beside if os.access(path, os.X_OK))
    return os.environ.get("MVK") or shutil.which("mvk") or next(found, "mvk")


def run_mvk(args):
    """Runs mvk with these arguments and returns the object that says what came of it."""
    result = {"command": ["mvk", *args], "status": None, "name": None, "message": None}
    result.update({"warnings": [], "lines": []})
    try:
        command = [find_mvk(), *(arg.encode("latin-1") for arg in args)]
        run = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, check=False)
    except OSError as error:
        status = NOT_FOUND if isinstance(error, FileNotFoundError) else NOT_STARTED
        return {**result, "status": status, "message": f"mvk cannot be started: {error.strerror}"}
    result["status"] = run.returncode if run.returncode >= 0 else 128 - run.returncode
    out, err = run.stdout.decode("latin-1"), run.stderr.decode("latin-1")
    if match := RESULT.search(err):
        result["name"], result["message"] = match[1] or match[3], match[2] or match[4]
        err = err[: match.start()]
    elif match := FATAL.search(out):
        result["name"], result["message"] = match.groups()
        out = out[: match.start()]
    said = [line for line in re.split(r"\n|(?=FATAL: )", err) if line]
    result["warnings"] = [line for line in said if not TRACE.match(line)]
    if trace := [line for line in said if TRACE.match(line)]:
        result["trace"] = trace
    operation = operation_of(args)
    data, rest = PARSERS[operation][0](out, args) if operation else ({}, out)
    for line in filter(None, rest.split("\n")):
        result["warnings" if line.startswith("warning ") else "lines"].append(line)
    return {**result, **data}


def ask_patiently(args, patience):
    """The same; waits for other runs that hold the device, for so many seconds."""
    end = time.monotonic() + patience
    result = run_mvk(args)
    while result["status"] == OCCUPIED and time.monotonic() < end:
        time.sleep(0.2)
        result = run_mvk(args)
    return result
