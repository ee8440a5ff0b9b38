"""The settings of a drive that can be read back: which operation asks for what, and where it can be
seen afterwards."""


from .library_reports import c_number


def field(name):
    """A reader of a field of a drive's status."""
    return lambda answer, _wanted: answer.get("fields", {}).get(name)


def eeprom_line(answer, wanted):
    """The EEPROM's line with the first word of the wanted one."""
    word = wanted.split(" ")[0]
    lines = answer.get("eeprom", "").split("\n")
    return next((line.rstrip("\0") for line in lines if line.split(" ")[0] == word), None)


# By the name of a setting: the question that shows it, and what reads it from the answer.
SETTINGS = {
    "block_length": ("s", field("block_length")),
    "density_code": ("s", field("density_code")),
    "compression": ("s", field("compression")),
    "load": ("s", field("load")),
    "eeprom": ("get_eeprom", eeprom_line),
}


def wanted_setting(args, operation):
    """The name of the setting that an operation changes, and the value that is asked for; None for
    an operation that changes none, or whose outcome cannot be told: density code 0 leaves the
    density to the drive, 0x7F as it is."""
    words = args[2:]
    if operation == "set" and words[0] == "block_size":
        return "block_length", c_number(words[1], 32)
    if (
        operation == "set"
        and words[0] == "density_code"
        and c_number(words[1], 32) not in (0, 0x7F)
    ):
        return "density_code", c_number(words[1], 32)
    if operation == "c":
        return "compression", int(c_number(words[0], 32) != 0)
    if operation in ("u", "L"):
        return "load", int(operation == "L")
    if operation == "set_eeprom":
        return "eeprom", f"{words[0][:63]} {words[1][:63]}"
    return None
