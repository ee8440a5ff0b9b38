"""How the commands begin, read their options, and end."""

import os
import sys

from . import VERSION
from .process import interruption, take_signals

USAGE_ERROR = 1  # as mvk's
UNWRITTEN = 21


def take_options(args, known):
    """Divides the arguments of a command: the options, which stand anywhere before "--", and the
    rest; -h is --help. Returns both, and the first option that is not known or None."""
    args, behind = list(args), []
    if "--" in args:
        place = args.index("--")
        args, behind = args[:place], args[place + 1 :]
    args = ["--help" if arg == "-h" else arg for arg in args]
    options = [arg for arg in args if arg.startswith("--")]
    rest = [arg for arg in args if not arg.startswith("--")] + behind
    unknown = next((arg for arg in options if arg not in (*known, "--help", "--version")), None)
    return options, rest, unknown


def answer_help(options, name, usage):
    """Prints what --help or --version ask for; returns whether one did."""
    if "--help" in options:
        print(usage, end="")
    elif "--version" in options:
        print(name, VERSION)
    return "--help" in options or "--version" in options


def complain(name, text):
    """Says on standard error what is wrong with the command line; returns the status."""
    if sys.stderr is not None:
        print(f"{name}: {text} (see {name} --help)", file=sys.stderr)
    return USAGE_ERROR


def run_command(main, name):
    """Runs the main function of a command with the arguments as texts of ISO 8859-1, and ends the
    process with the status that it returns, or 128 and the signal that interrupted it."""
    if sys.stdout is None:  # nothing is done that could not be told
        complain(name, "standard output is closed")
        sys.exit(UNWRITTEN)
    take_signals()
    try:
        status = main([os.fsencode(arg).decode("latin-1") for arg in sys.argv[1:]])
        sys.stdout.flush()
    except OSError as problem:
        print(f"{name}: {problem.strerror}", file=sys.stderr)
        os.dup2(os.open(os.devnull, os.O_WRONLY), 1)  # for the rest that Python still holds
        status = UNWRITTEN
    sys.exit(128 + interruption() if interruption() else status)
