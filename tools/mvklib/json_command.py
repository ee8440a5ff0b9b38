"""The command mvk-json: its options, and what it prints."""

import json

from .ask import ask, empty_result
from .command import USAGE_ERROR, answer_help, complain, take_options
from .library_map import map_library
from .process import interruption
from .verify import can_be_verified, verified

NAME = "mvk-json"
USAGE = """usage: mvk-json [--verify [--force]] [--indent] [--] ARGUMENT...
       mvk-json --map DEVICE
Runs mvk with the arguments and prints its report as one JSON object; see mvk-json(1).

  --verify      with m and hm: list the library before and after; nothing is moved when it
                cannot be done; with set, c, set_eeprom, u and L: read the setting before and
                after; status 20 when it is not as asked
  --force       move whatever the first listing shows
  --indent      print the object on several lines
  --map DEVICE  draw what the library holds
  -h, --help    show this; `mvk-json -- --help' shows mvk's own
  --version     show the version

Options stand anywhere before `--', mvk's arguments alone behind it.
"""
VERIFIED = "m, hm, set, c, set_eeprom, u and L with their operands"


def mistake(args, options, unknown):
    """What is wrong with the command line, None when nothing is."""
    if unknown:
        return f"unknown option {unknown}"
    if "--map" in options:
        return None if len(args) == 1 else "--map needs one device"
    if not args:
        return "no arguments for mvk"
    if "--force" in options and "--verify" not in options:
        return "--force goes with --verify"
    if "--verify" in options and not can_be_verified(args):
        return f"--verify goes with {VERIFIED}"
    return None


def main(args):
    """Does what the arguments say; returns the exit status."""
    options, args, unknown = take_options(args, ("--verify", "--force", "--indent", "--map"))
    if not unknown and answer_help(options, NAME, USAGE):
        return 0
    wrong = mistake(args, options, unknown)
    if wrong:
        complain(NAME, wrong)
        result, status = empty_result(args, USAGE_ERROR, wrong), USAGE_ERROR
    elif "--map" in options:
        return map_library(args[0])
    elif "--verify" in options:
        result, status = verified(args, "--force" in options)
    else:
        result = ask(args)
        status = result["status"]
    if interruption():
        result["interrupted"] = interruption().name
    print(json.dumps(result, indent=2 if "--indent" in options else None))
    return status
