"""Pieces that the readers of reports share."""

import re


def take(pattern, text):
    """All matches of a form, and the text without them."""
    return list(pattern.finditer(text)), pattern.sub("", text)


def hexadecimal(text):
    """A number in hexadecimal."""
    return int(text, 16)


def numbers(text):
    """All decimal numbers in a text."""
    return [int(word) for word in re.findall(r"\d+", text)]
