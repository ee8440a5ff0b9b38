"""One call of mvk-changer: what it asks of mvk, how long it waits, what it has sent, and its log.

All waiting of a call shares one patience. The time that a move or an unload takes is not counted:
what is at a device is waited for, however long it takes.
"""

import os
import re
import time

from .ask import OCCUPIED, ask
from .process import NOT_STARTED, interruption
from .reports import QUESTIONS, operation_of

PATIENCE = 230  # seconds; the suites give a changer program five minutes
PAUSE = 0.2  # seconds between two looks at something busy
UNOPENED = "failed to open semaphore file "
OPEN_ERROR = 2  # mvk's exit status when a device file cannot be opened


class Refusal(Exception):
    """Ends the call. Its text is the one line that the operator reads."""


def printable(text):
    """A text on one line: what is no printable ASCII character is shown as a question mark."""
    return "".join(letter if " " <= letter <= "~" else "?" for letter in text)


def failure(answer):
    """Why mvk could not do what it was asked, None when it could."""
    if not answer["status"]:
        return None
    if answer["status"] == OPEN_ERROR:
        return "its device file cannot be opened (is this user in the group of the file?)"
    if answer["status"] >= NOT_STARTED:
        return answer["message"] or f"mvk ended with status {answer['status']}"
    return " ".join([answer["message"] or f"status {answer['status']}", *answer["warnings"][-1:]])


def holder(answer):
    """Who holds a busy device, as mvk says. A lock file that cannot be opened is not waited for."""
    said = re.search(r"is occupied by: (.*)", "\n".join(answer["warnings"]))
    if said and said[1].startswith(UNOPENED):
        file = said[1].removeprefix(UNOPENED)
        raise Refusal(f"The lock file {file} cannot be opened: is this user in its group?")
    return f"process {said[1]} holds it" if said else "another run holds it"


class Call:
    """The patience and the log of a call; sent: what went out to move a cartridge, as the operator
    reads it, None for nothing; waits: how often there was a pause."""

    def __init__(self, patience, log_file):
        self.patience, self.end = patience, time.monotonic() + patience
        self.sent, self.waits = None, 0
        self.log = None
        if log_file is not None:
            try:
                self.log = os.open(log_file, os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o640)
            except OSError as problem:
                raise Refusal(f"The log {log_file} cannot be written: {problem.strerror}") from None

    def note(self, text):
        """Adds a line to the log. One that cannot be written any more ends nothing."""
        if self.log is None:
            return
        text = printable(text.replace("\n", " | "))
        line = f"{time.strftime('%Y-%m-%d %H:%M:%S')} [{os.getpid()}] {text}\n"
        try:
            os.write(self.log, line.encode("ascii"))
        except OSError:
            self.log = None

    def check_interruption(self):
        """Ends the call after a signal, and says what went out."""
        if interruption():
            done = f"; {self.sent}" if self.sent else ""
            raise Refusal(f"Interrupted by {interruption().name}{done}")

    def wait(self, reason):
        """A pause, or the end of the call because of the reason when its patience is over."""
        self.check_interruption()
        if time.monotonic() >= self.end:
            raise Refusal(f"{reason} (waited {self.patience} seconds)")
        self.waits += 1
        time.sleep(PAUSE)

    def ask_once(self, words):
        """What mvk says to these words."""
        start = time.monotonic()
        answer = ask(words)
        took = time.monotonic() - start
        if operation_of(words) not in QUESTIONS:
            self.end += took
        said = "; ".join(filter(None, [answer["message"], *answer["warnings"]]))
        self.note(f"mvk {' '.join(words)}: status {answer['status']} in {took:.1f} s: {said}")
        return answer

    def ask(self, words, who, sent=None):
        """The same; waits while another run holds the device, which is called who. A command that
        changes something is sent: what to say of it when the call ends before its work is done."""
        self.check_interruption()
        answer = self.ask_once(words)
        while answer["status"] == OCCUPIED:
            self.wait(f"{who} is busy: {holder(answer)}")
            answer = self.ask_once(words)
        if sent and not failure(answer):
            self.sent = sent
        self.check_interruption()
        return answer
