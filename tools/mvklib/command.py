"""How the commands begin and end."""

import os
import sys

UNWRITTEN, INTERRUPTED = 21, 130


def run_command(main, name):
    """Runs the main function of a command with the arguments as texts of ISO 8859-1, and ends the
    process with the status that it returns."""
    if sys.stdout is None:  # nothing is done that could not be told
        sys.exit(UNWRITTEN)
    try:
        status = main([os.fsencode(arg).decode("latin-1") for arg in sys.argv[1:]])
        sys.stdout.flush()
    except KeyboardInterrupt:
        status = INTERRUPTED
    except OSError as problem:
        print(f"{name}: {problem.strerror}", file=sys.stderr)
        os.dup2(os.open(os.devnull, os.O_WRONLY), 1)  # for the rest that Python still holds
        status = UNWRITTEN
    sys.exit(status)
