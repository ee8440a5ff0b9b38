"""Reads the dumps of mode pages that get and get_eeprom print."""

import re

DATA_MAX = 65535 + 2  # the length of a reply has 16 bits, and does not count itself

LINE = re.compile(r"[^\n]*\n?")

PAGE_TITLE = re.compile(r"-{35}\n(.*) LEN=(\d{1,5})\n")

PAGE_BYTE = re.compile(r"\[(\d{1,5})(?:/\d{1,5})?\] ([\da-f]{1,2})\n")

PAGE_CHARACTER = re.compile(r"\[(\d{1,5})/\d{1,5}\] (?s:(.))\n")

TEXT_PAGES = ' !"#,'  # the codes of the pages whose bytes are printed as characters

PAGE_FIELD = re.compile(r"([A-Z ()]+)[=:](\d{1,8})(?: \(0 MEANS VAR BLOCK LEN\))?\n")

PAGE_FIELDS = {
    "DATA LEN": "data_length",
    "DESCRIPTOR(S)": "descriptors",
    "BLOCK LEN": "block_length",
    "DATA COMPRESSION ENABLE": "compression_enable",
    "DATA COMPRESSION CAPABLE": "compression_capable",
    "DATA DECOMPRESSION ENABLE": "decompression_enable",
    "REPORT EXCEPTION ON DECOMPRESSION": "report_exception",
}

PAGE_HEADING = re.compile(
    r"(?:(\d{1,5}) BYTES PARAMETER LIST|BLOCK DESCRIPTOR|PAGE DESCRIPTOR|DATA BLOCK\(S\))\n"
)


def read_page_dump(text):
    """What a dump of mode pages says: the fields of the header, the bytes by their index, the
    titles of pages (index, name, length), and the lines that are none of these."""
    mode, image, titles, rest, place, characters = {"header_length": 4}, {}, [], "", 0, 0
    while place < len(text):
        if match := PAGE_TITLE.match(text, place):
            first = PAGE_CHARACTER.match(text, match.end())
            index = first or PAGE_BYTE.match(text, match.end())
            if index:
                titles.append((int(index[1]), match[1], int(match[2])))
            if first and first[2] in TEXT_PAGES:
                characters = int(first[1]) + int(match[2]) + 2
        elif (match := PAGE_CHARACTER.match(text, place)) and int(match[1]) < characters:
            image[int(match[1])] = ord(match[2])
        elif match := PAGE_BYTE.match(text, place):
            image[int(match[1])] = int(match[2], 16)
        elif (match := PAGE_FIELD.match(text, place)) and match[1] in PAGE_FIELDS:
            mode[PAGE_FIELDS[match[1]]] = int(match[2])
        elif match := PAGE_HEADING.match(text, place):
            mode["header_length"] = int(match[1] or mode["header_length"])
        else:
            match = LINE.match(text, place)
            rest += match[0]
        place = match.end()
    return mode, image, titles, rest


def parse_pages(text, _args):
    """get: the header, the pages and all bytes. mvk prints those that are not zero, with their
    index, so that all can be told but for the last one, which it does not reach."""
    mode, image, titles, rest = read_page_dump(text)
    if "data_length" not in mode:
        return {}, text
    length = min(mode["data_length"], DATA_MAX)
    data = bytes(image.get(index, 0) for index in range(length))
    start = mode["header_length"] + 8 * mode.get("descriptors", 0)
    if len(data) > start + 1 and data[start]:  # the first page is printed without a title
        titles.insert(0, (start, None, data[start + 1]))
    pages = []
    for index, name, length in titles:
        if index < len(data):
            page = {"code": f"0x{data[index]:02x}", "name": name, "length": length}
            pages.append({**page, "bytes": data[index : index + length + 2].hex()})
    return {"mode": {**mode, "data": data.hex()}, "pages": pages}, rest


def parse_eeprom(text, args):
    """get_eeprom: the header and the text."""
    head, heading, eeprom = text.partition("DATA BLOCK(S)\n")
    data, rest = parse_pages(head, args)
    if not heading or not data:
        return {}, text
    del data["mode"]["data"]
    return {"mode": data["mode"], "eeprom": eeprom.removesuffix("\n")}, rest
