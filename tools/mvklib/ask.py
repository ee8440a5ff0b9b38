"""Asks mvk, and returns the object that says what came of it.

mvk's two streams are bytes. They are read as ISO 8859-1, so that any byte is one character and
nothing that a device or a user sends gets lost or ends as bad JSON.
"""

import re
import time

from . import FORMAT, VERSION
from .process import interruption, run_process
from .reports import PARSERS, QUESTIONS, operation_of

OCCUPIED = 9  # mvk's exit status while another run holds the device

RESULT = re.compile(
    r'STATUS=(?:(SUCCESS) MSG="(OK)"|(ERROR) MSG="([A-Z_]+|unknown error code: -?\d+)")\n\Z'
)
FATAL = re.compile(r"STATUS=(FATAL) MSG=(.*)\n\Z")
TRACE = re.compile(r"[ \d]\d:\d\d:\d\d#")


def empty_result(args, status, message):
    """The object of a run that has said nothing."""
    head = {"format": FORMAT, "version": VERSION, "command": ["mvk", *args]}
    return {**head, "status": status, "name": None, "message": message, "warnings": [], "lines": []}


def lines_of(text):
    """The lines of a text, empty ones too."""
    lines = text.split("\n")
    return lines if lines[-1] else lines[:-1]


def ask(args):
    """Runs mvk with these arguments and returns the object: what each member is, the manual page
    of mvk-json says."""
    operation = operation_of(args)
    status, out, err, reason = run_process(args, operation not in QUESTIONS)
    result = empty_result(args, status, reason)
    if match := RESULT.search(err):
        result["name"], result["message"] = match[1] or match[3], match[2] or match[4]
        err = err[: match.start()]
    elif match := FATAL.search(out):
        result["name"], result["message"] = match.groups()
        out = out[: match.start()]
    said = lines_of(re.sub(r"(?<=[^\n])(?=FATAL: )", "\n", err))
    result["warnings"] = [line for line in said if not TRACE.match(line)]
    if trace := [line for line in said if TRACE.match(line)]:
        result["trace"] = trace
    data, rest = PARSERS[operation](out, args) if operation in PARSERS else ({}, out)
    for line in lines_of(rest):
        result["warnings" if line.startswith("warning ") else "lines"].append(line)
    return {**result, **data}


def ask_patiently(args, patience):
    """The same; waits for other runs that hold the device, for so many seconds."""
    end = time.monotonic() + patience
    result = ask(args)
    while result["status"] == OCCUPIED and time.monotonic() < end and not interruption():
        time.sleep(0.2)
        result = ask(args)
    return result
