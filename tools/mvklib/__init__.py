"""What reads mvk(8) for programs and people: the ground of mvk-json, mvk-capture and their kin.

From the top down; each stands on those below its line.

    json_command, capture_command           the commands: options, what is printed
    changer_command, changer_*              the changer program of backup suites: its operations,
                                            which device is which drive, slots from 1, waiting
    verify, settings, library_map, twin     moves and settings judged, a library drawn or described
    library                                 what a library holds, and whether a move did its work
    ask                                     one question to mvk, and its answer as an object
    reports, *_reports                      mvk's report of each operation, read
    process, devices, command               mvk as a process, what sysfs knows, what commands share
"""

VERSION = "@PROJECT_VERSION@"

# Rises when a member of an object gets another meaning or goes.
FORMAT = 1
