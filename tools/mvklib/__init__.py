"""What reads mvk(8) for programs and people: the ground of mvk-json, mvk-capture and their kin.

From the top down; each stands on those below its line.

    json_command, capture_command    the commands: options, what is printed
    verify, library_map, twin        moves judged, a library drawn, a library described
    library                          what a library holds, and whether a move did what it should
    ask                              one question to mvk, and its answer as an object
    reports, *_reports               mvk's report of each operation, read
    process, devices, command        mvk as a process; what sysfs knows; what commands share

mvk's two streams are bytes. They are read as ISO 8859-1, so that any byte is one character and
nothing that a device or a user sends gets lost or ends as bad JSON.
"""

VERSION = "@PROJECT_VERSION@"
