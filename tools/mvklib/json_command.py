"""The command mvk-json: its options, and what it prints."""

import json
import sys

from .ask import run_mvk
from .library_map import map_library
from .reports import operation_of
from .verify import verified_move

USAGE = """usage: mvk-json [--verify] [--indent] ARGUMENT...
       mvk-json --map ID
Runs mvk with the arguments and prints its report as one JSON object; see mvk-json(1).

  --verify   with m and hm: list the library before and after; status 20 when the cartridge
             is not in the target or still in the source
  --indent   print the object on several lines
  --map ID   draw what the library holds
  --help     show this; `mvk-json -- --help' shows mvk's own
"""
USAGE_ERROR = 1  # as mvk's


def usage_error(text):
    """Says what is wrong with the command line; returns the status."""
    print(f"mvk-json: {text} (see mvk-json --help)", file=sys.stderr)
    return USAGE_ERROR


def main(args):
    """Takes the options off the arguments and does what they ask; returns the exit status."""
    options = set()
    while args and args[0] in ("--verify", "--indent", "--map", "--help"):
        options.add(args.pop(0))
    if "--help" in options:
        print(USAGE, end="")
        return 0
    if args and args[0] == "--":
        args.pop(0)
    elif args and args[0].startswith("--"):
        return usage_error(f"unknown option {args[0]}")
    if "--map" in options:
        return map_library(args[0]) if len(args) == 1 else usage_error("--map needs one device")
    if not args:
        return usage_error("no arguments for mvk")
    if "--verify" in options and operation_of(args) not in ("m", "hm"):
        return usage_error("--verify goes with m and hm and their operands")
    if "--verify" in options:
        result, status = verified_move(args)
    else:
        result = run_mvk(args)
        status = result["status"]
    print(json.dumps(result, indent=2 if "--indent" in options else None))
    return status
