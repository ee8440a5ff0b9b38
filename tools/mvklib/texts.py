"""Pieces that the readers of reports share."""

import re


def take(pattern, text):
    """All matches of a form, and the text without them."""
    return list(pattern.finditer(text)), pattern.sub("", text)


def hexadecimal(text):
    """A byte in hexadecimal, with 0x or without. Raises ValueError for anything else."""
    if not re.fullmatch(r"(?:0x)?[\da-f]{1,2}", text):
        raise ValueError(text)
    return int(text, 16)


def numbers(text):
    """All decimal numbers in a text."""
    return [int(word) for word in re.findall(r"\d+", text)]


def bounded(text):
    """A decimal number. Raises ValueError for one that is larger than any that mvk has from a
    device: such a line is a text of the device's."""
    if len(text) > 10:
        raise ValueError(text)
    return int(text)
