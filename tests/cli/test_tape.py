# Tape drives: status, mode pages, settings, attributes, EEPROM text and labels.
import re

import pytest

from scsi_replies import attributes, be, block, mode6, mode10, short, table

MEDIUM_TYPE = "sg2 8c 00 00 00 00 00 00 00 04 08 00 00 00 20 00 00 [68]"
STATUS = [MEDIUM_TYPE, "sg2 03 00 00 00 64 00 [136]", "sg2 1a 00 0f 00 64 00 [136]"]
PAGES, EEPROM = "sg2 1a 00 3f 00 ff 00 [291]", "sg2 5a 00 3e 00 00 00 00 1f ff 00 [8227]"
COMPRESSION = "sg2 1a 00 0f 00 30 00 [84]"
LOAD, READ = "sg2 1b 00 00 00 01 00 [36]", "sg2 08 02 00 07 ff 00 [2084]"
SIZE, DENSITY, DCE = ("MODE SELECT (6) SET " + s for s in ("BLOCKSIZE", "DENSITY", "COMPRESSION DCE"))
WORM = attributes((0x408, 0x80, b"\x80"))


def select(length):
    return f"sg2 15 10 00 00 {length:02x} 00 [{36 + length}]"


def listing(first="04 00"):
    return f"sg2 8c 00 00 00 00 00 00 00 {first} 00 00 1f ff 00 00 [8228]"


def lines(text):
    # Lines parted by "|". "!" stands for the line of a failed read, "*" for what the executor
    # prints at debug level, "--" for the line above a page's title.
    marks = {"!": "iLinuxScsiCmd() Error read from /dev/sg2\n", "--": "-" * 35 + "\n",
             "*": "iLinuxScsiCmd() timeout=10000 ms for /dev/sg2\ndebug info\n\niLinuxScsiCmd() "
                  "after write op sg_hd->result=0\niLinuxScsiCmd() gszCurCmd=mvk 0040 …debug \n"}
    return "".join(marks.get(part, part + "\n") for part in text.split("|"))


def summary(state="cleaning_bit=0|load=1", buffered=0, length="0 (variable)", media="unknown (0)",
            protect=0, density=0, compression=0):
    return (f"{state}|buffered_mode={buffered}|block_length={length}|media_type={media}|"
            f"write_protect={protect}|density_code={density}|compression={compression}")


READY = bytes(18) + b"\x80"


@pytest.mark.parametrize("sense, mode, text, status", [
    *((bytes([*bytes(18), byte]), b"", summary(text), 0) for byte, text in [
        (0x80, "cleaning_bit=0|load=1"), (0x81, "cleaning_bit=1|load=1"),
        (0x82, "cleaning_bit=0|load=0"), (0x83, "cleaning_bit=1|load=0"),
        (0xC2, "cleaning_bit=0|load=1"), (0x05, "internal_status_byte=0x5")]),
    (bytes(18), b"", summary("internal_status_byte=0x0"), 0),
    ("read EIO", "read EIO", summary("!|internal_status_byte=0x0|!"), 3),
    *((READY, mode6(medium=code), summary(media=media), 0) for code, media in [
        (0x81, "cleaning tape"), (0x82, "DLTtape I or DLTtape II"), (0x83, "DLTtape III"),
        (0x84, "DLTtape IIIxt"), (0x85, "DLTtape IV"), (0x86, "Super DLTtape I"),
        (0x87, "Super DLTtape II"), (0x88, "unknown (88)"), (0x90, "VStape I")]),
    (READY, mode6(b"\x0f\x0e\x80", b"\x48\1\1\1\1\0\x80\0", 0, 0x90),
     summary(buffered=1, length=32768, protect=1, density=48, compression=1), 0),
    (READY, mode6(b"\x0f\x0e\x7f", b"\xff\0\0\0\0\xff\xff\xff", 0, 0x6F), summary(length=16777215, density="ff"), 0),
    (READY, mode6(bytes(10) + b"\x80"), summary(compression=1), 0),  # positions never move
    (READY, mode6(b"\x0f\x0e\x80", b"\4\0\0\0\0\0\0\1")[:12], summary(length=1, density=4), 0)
], ids=short)
def test_summary(lab, sense, mode, text, status):
    lab.check(["0040", "s"], STATUS, lines("Tape Info|medium_type=Data medium|" + text), status,
              replies=[None, b"", sense, mode])


def dump(length, count, rest):
    return (f"TRY MODE SENSE (6)|DATA LEN={length}|DESCRIPTOR(S)={count}|4 BYTES PARAMETER LIST|" +
            rest + "|DONE MODE SENSE (6)")


def eeprom(length, count, rest):
    return (f"TRY MODE SENSE FOR EEPROM|DATA LEN={length}|DESCRIPTOR(S)={count}|" f"8 BYTES PARAMETER LIST|{rest}")


TITLE = "MODE SENSE FOR EEPROM"
SHOWN = "TRY " + TITLE + "|DATA LEN={}|DESCRIPTOR(S)={}|{}|DONE " + TITLE + "|"
TEXT = mode10(b"\x3e\5A\0B\nC", b"\x49" + bytes(7)), SHOWN.format(21, 1, "AB")


def load(text, size=f"TRY {SIZE}|new_block_size=0|DONE {SIZE}", before=""):
    return f"TRY LOAD TAPE|{before}DONE LOAD TAPE|{size}|TRY READ|{text}"


TIME, BLANK = b" 2024-05-01 08:15:00 ", "UNKNOWN|iBufSize=2048||DONE READ"
LOADING = [LOAD, select(12), READ]


@pytest.mark.parametrize("args, replies, sent, text, status", table([
    ("dump, no descriptor", "get", mode6(b"\1\2\3\0\x21\0\x3e\2A\0\x22\1B", b"", 0x86, 0x90), PAGES,
     dump(16, 0, "[0] 10|[1] 86|[2] 90|PAGE DESCRIPTOR|[4/0] 1|[5/1] 2|[6/2] 3|DATA BLOCK(S)|"
          "[8/0] 21|--|UNKNOWN CODE PAGE 3e LEN=2|[10/0] 3e|[11/1] 2|[12/2] 41|--|"
          "TANDBERG USER PAGE 1 LEN=1|[14/0] \"|[15/1] \1"), 0),
    ("dump, compression", "get", mode6(b"\x10\0\0\x0f\2\x80\xe0\x0f\2\x40\x20\x8f\2\xc0\xe0",
                                       b"\x48\0\0\0\0\1\2\3"), PAGES,
     dump(26, 1, "[0] 1a|[3] 8|BLOCK DESCRIPTOR|[4/0] 48|[9/5] 1|[10/6] 2|[11/7] 3|"
          "BLOCK LEN=66051 (0 MEANS VAR BLOCK LEN)|PAGE DESCRIPTOR|[12/0] 10|DATA BLOCK(S)|--|"
          "DATA COMPRESSION PAGE LEN=2|[15/0] f|[16/1] 2|[17/2] 80|DATA COMPRESSION ENABLE:1|"
          "DATA COMPRESSION CAPABLE:0|[18/3] e0|DATA DECOMPRESSION ENABLE:1|"
          "REPORT EXCEPTION ON DECOMPRESSION:2|--|DATA COMPRESSION PAGE LEN=2|[19/0] f|[20/1] 2|"
          "[21/2] 40|DATA COMPRESSION ENABLE:0|DATA COMPRESSION CAPABLE:1|[22/3] 20|"
          "DATA DECOMPRESSION ENABLE:0|REPORT EXCEPTION ON DECOMPRESSION:1|--|"
          "CHANGEABLE TANDBERG DATA COMPRESSION PAGE LEN=2|[23/0] 8f|[24/1] 2|[25/2] c0"), 0),
    ("dump, two descriptors", "get", mode6(b"", bytes(7) + b"\1\2" + bytes(6) + b"\3"), PAGES,
     dump(19, 2, "[0] 13|[3] 10|BLOCK DESCRIPTOR|[11/7] 1|BLOCK LEN=1 (0 MEANS VAR BLOCK LEN)|"
          "[12/8] 2|[19/15] 3|PAGE DESCRIPTOR|DATA BLOCK(S)"), 0),
    *((f"dump, {n}", "get", mode6(bytes(249) + b"\x11\x22\x33", length=n), PAGES,
       dump(n, 0, f"[0] {n:x}|PAGE DESCRIPTOR|DATA BLOCK(S)|--|MEDIUM PARTITION PAGE LEN=34|"
            "[253/0] 11" + "|[254/1] 22" * (n - 254)), 0) for n in (254, 255)),
    ("dump fails", "get", "read EIO", PAGES, "TRY MODE SENSE (6)|!", 3),
    ("text", "get_eeprom", mode10(b"\x3e\4AB\0C", b"\x49" + bytes(7)), EEPROM,
     eeprom(20, 1, "[1] 14|[2] 86|[3] 10|[7] 8|BLOCK DESCRIPTOR|[8/0] 49|PAGE DESCRIPTOR|[16/0] 3e|"
            "[17/1] 4|DATA BLOCK(S)|AB\0"), 0),
    ("text, no descriptor", "get_eeprom", mode10(b"\x3e\3\nB", length=12), EEPROM,
     eeprom(12, 0, "[1] c|[2] 86|[3] 10|PAGE DESCRIPTOR|[8/0] 3e|[9/1] 3|DATA BLOCK(S)||B\0"), 0),
    ("text, 256 descriptors", "get_eeprom", be(2060) + b"\0\0\0\0\1\7" + bytes(2048) + b"\x3e\2XY",
     EEPROM, eeprom(2060, 256, "[0] 8|[1] c|[6] 1|[7] 7|BLOCK DESCRIPTOR|PAGE DESCRIPTOR|"
                    "[2056/0] 3e|[2057/1] 2|DATA BLOCK(S)|XY\0"), 0),
    ("text, descriptors beyond the buffer", "get_eeprom", be(20) + b"\0\0\0\0\xff\xff", EEPROM,
     eeprom(20, 65311, "[1] 14|[6] ff|[7] ff|BLOCK DESCRIPTOR|PAGE DESCRIPTOR|DATA BLOCK(S)|"), 0),
    *((f"text, {n}", "get_eeprom", be(n) + bytes(6) + b"\x3e\xff" + b"x" * 8190, EEPROM,
       eeprom(n, 0, f"[0] 1f|[1] {n & 255:x}|PAGE DESCRIPTOR|[8/0] 3e|[9/1] ff|DATA BLOCK(S)|" +
              "x" * 8181 + "\0" * (n - 8190)), 0) for n in (8190, 8191)),
    ("text, 8192", "get_eeprom", be(8192), EEPROM, "TRY MODE SENSE FOR EEPROM|DATA LEN=8192|"
     "DESCRIPTOR(S)=0|BUFFER OVERFLOW MAX=8191", 1),
    ("text fails", "get_eeprom", "read EIO", EEPROM, "TRY MODE SENSE FOR EEPROM|!", 3),
    ("attributes", "read", attributes(
        (0x400, 0x81, b"VENDOR %s "), (0x801, 2, b"\xe4\0b"), (0x405, 0x80, b"\1\x20\0"),
        (3, 3, b"x"), (0xFFFF, 0x7C, b"")), listing(),
     "Attribute Id: 0x0400 ReadOnly (ASCII)|value: [VENDOR %s ]|Attribute Id: 0x0801 (TEXT)|"
     "value: [\xe4\0b]|Attribute Id: 0x0405 ReadOnly (BINARY)|value: [0x1200]|"
     "Attribute Id: 0x0003 (ASCII)|value: [x]|Attribute Id: 0xffff (BINARY)|value: [0x]", 0),
    ("attributes, debug", "read 0x0805 debug", attributes((0x805, 2, b"\xfe")), listing("08 05"),
     "*|Attribute Id: 0x0805 followed by: 2 0 1 fe (TEXT)|value: [\xfe]", 0),
    ("attribute past the end", "read medium", attributes((1, 1, b"A" * 9000, 65535), length=5),
     listing(), "Attribute Id: 0x0001 (ASCII)|value: [" + "A" * 8183 + "]", 0),
    *((f"attributes, second at {at} of {n}", "read",
       attributes((1, 1, b"A" * (at - 9)), (2, 0, b"\2"), length=n), listing(),
       f"Attribute Id: 0x0001 (ASCII)|value: [{'A' * (at - 9)}]" +
       "|Attribute Id: 0x0002 (BINARY)|value: [0x2]" * shown, 0) for at, n, shown in [
           (511, 512, 1), (511, 511, 0), (512, 520, 0), (510, 8191, 1), (12, 12, 0)]),
    *((f"attributes, {n}", "read", be(n, 4), listing(), "Read Attribute not supported", 1)
      for n in (8192, 0xFFFFFFFF)),
    ("attributes fail", "read", f"reply {WORM.hex()}; read 60", listing(), "!", 3),
    *((f"attributes, {word}", f"read {word}", attributes((1, 0, b"")), listing(first),
       "Attribute Id: 0x0001 (BINARY)|value: [0x]", 0) for word, first in [
           ("0x0408", "04 08"), ("0x", "00 00"), ("x0x1", "00 00"), ("0xg", "00 00"),
           ("0x4", "04 00"), ("0xFFfe01", "ff fe")]),
    *((f"word {word}", f"read {word}", [], [], f"UNKNOWN MODE '{word}'", 1)
      for word in ("", "mediums", "0X0408", "MEDIUM")),
    *((f"type {i}", "read medium_type", reply, MEDIUM_TYPE, text, status) for i, (reply, text, status) in enumerate([
          (WORM, "medium_type=Write-once medium", 0),
          (be(8192, 4), "Read Attribute not supported", 1),
          (f"reply {WORM.hex()}; read 60", "!|medium_type=Write-once medium", 3),
          (attributes((0x408, 0x80, b"\x81")), "medium_type=Data medium", 0),
          (attributes((0x409, 0x80, b"\x80")), "medium_type=Data medium", 0)])),
    ("summary, debug", "s debug", [
        WORM, bytes(18) + b"\x82", mode6(b"", b"\0\0\0\0\0\1\2\x0f", 0x88, 0x80)], STATUS,
     "Tape Info|*|medium_type=Write-once medium|*|internal_status_byte=0x82|cleaning_bit=0|load=0|"
     "request page=(f)|*|buffered_mode=0|block_length0=1|block_length1=2|block_length2=f|"
     "block_length=66063|media_type=(88)|media_type=unknown (88)|write_protect_code=80|"
     "write_protect=1|density_code=0|compression=0", 0),
    ("size fails", "set block_size 5", "read EIO", select(12), f"TRY {SIZE}|!", 3),
    ("density fails", "set density_code 5", "read EIO", select(12), f"SIZE=5|TRY {DENSITY}|!", 3),
    ("page not read", "c 1", ["read EIO", b""], [COMPRESSION, select(28)],
     f"!|DCE=1|DATA COMPRESSION ENABLE:1|TRY {DCE}|compression=1|DONE {DCE}", 0),
    ("page not set", "c 1", [b"", "read EIO"], [COMPRESSION, select(28)],
     f"DCE=1|DATA COMPRESSION ENABLE:1|TRY {DCE}|!", 3),
    ("no key", "set_eeprom  X", TEXT[0], EEPROM, TEXT[1] + "FAIL GOT NO KEY TO SET|EXAMPLE|VENDORID", 1),
    ("no value", "set_eeprom KEY ", TEXT[0], EEPROM, TEXT[1] + "FAIL GOT NO VALUE TO SET", 1),
    ("text not read", "set_eeprom KEY X", "read EIO", EEPROM, "TRY MODE SENSE FOR EEPROM|!", 3),
    *((f"2A {i}", "L", [b"", b"", block((0, b"2A NAME 1"), (129, time), (150, b"WEEK 1"))], LOADING,
       load(f"zel_label=NAME1{text}|DONE READ"), 0) for i, (time, text) in enumerate([
           (TIME, "|zel_init_time=2024-05-01 08:15:00|zel_etc=WEEK1"),
           (b"x" + TIME[1:], "x2024-05-01 08:15:00|zel_etc=WEEK1"),
           (b"\0" + TIME[1:], "2024-05-01 08:15:00|zel_etc=WEEK1"),
           (TIME.replace(b"1 0", b"1T0"), "|zel_init_time=2024-05-01T08:15:00WEEK1"),
           (TIME[:20] + b"_", "|zel_init_time=2024-05-01 08:15:00_WEEK1"),
           (b"x" * 20 + b" ", "x" * 20 + "WEEK1")])),
    *((f"label {i}", "L", [b"", b"", label], LOADING, load(text + "|DONE READ"), 0)
      for i, (label, text) in enumerate([
          (block((0, b"2A"), (2047, b"\x80")), "zel_label=\x80"),
          (block((0, b"TAPE"), (4, b"HM"), (94, b"L 1"), (222, b"MONTHLY M")),
           "|gorvath_label=L 1|gorvath_etc=MONTHLY |gorvath_etc=M"),
          (block((0, b"TAPE"), (94, b"M1"), (2047, b"M")), "|gorvath_label=|gorvath_etc=M1|gorvath_etc=M"),
          (block((0, b"TAPE"), (93, b"H\0LM")), "L|gorvath_etc=M"),
          (block((0, b"TAP\x0a2A"), (2047, b"\xff")), "UNKNOWN|iBufSize=2048|54 41 50 a 32 41 ff ")])),
    ("2A, debug", "L debug", [b"", b"", block((0, b"2A"), (140, b" T"))], LOADING,
     "TRY LOAD TAPE|…|*|[0] 50|[1] 65|zel_label= T|DONE READ", 0),
    ("empty tape", "L", [b"", b"", "check 08 00 05"], LOADING, load(BLANK), 0),
    ("not loaded", "L", ["read EIO", b"", b""], LOADING, load(BLANK, before="!|"), 3),
    ("size not set", "L", [b"", "read EIO", b""], LOADING, load(BLANK, f"TRY {SIZE}|!"), 0),
    ("label not read", "L", [b"", b"", "read EIO"], LOADING, load("!"), 0)]))
def test_operation(lab, args, replies, sent, text, status):
    replies, sent = (x if isinstance(x, list) else [x] for x in (replies, sent))
    lab.check(["0040", *args.split(" ")], sent, lines(text), status, replies=replies and [None, *replies])


TITLES = """01 ERROR RECOVERY PAGE;02 DISCONNECT RECONNECT PAGE;0a CONTROL MODE PAGE;0f DATA COMPRESSION PAGE;
10 DEVICE CONFIGURATION PAGE;11 MEDIUM PARTITION PAGE;1c TANDBERG INFORMATIONAL EXCEPTIONS CONTROL PAGE;
1e DELL ??? PAGE;1f DELL ??? PAGE;20 TANDBERG MISCELLANEOUS PARAMETER PAGE;21 TANDBERG USER PAGE 0;
22 TANDBERG USER PAGE 1;23 TANDBERG CARTRIDGE MANUFACTURER PAGE;24 UNKNOWN CODE PAGE 24;2c DELL ??? PAGE;
81 CHANGEABLE TANDBERG ERROR RECOVERY PAGE;82 CHANGEABLE TANDBERG DISCONNECT RECONNECT PAGE;
8f CHANGEABLE TANDBERG DATA COMPRESSION PAGE;90 CHANGEABLE TANDBERG DEVICE CONFIGURATION PAGE;a0 UNKNOWN CODE PAGE a0""".replace("\n", "").split(";")


def test_page_titles(lab):
    # One page of one byte for each title; text pages show characters.
    text, at, pages = "[0] 43|PAGE DESCRIPTOR|DATA BLOCK(S)", 7, bytes(3)
    for code, title in ((int(entry[:2], 16), entry[3:]) for entry in TITLES):
        shown = [chr(code), "\1", "A"] if code in b"\x20\x21\x22\x23\x2c" else [f"{code:x}", 1, 41]
        text += f"|--|{title} LEN=1" + "".join(f"|[{at + j}/{j}] {b}" for j, b in enumerate(shown))
        if code == 0x0F:
            text += "|DATA COMPRESSION ENABLE:0|DATA COMPRESSION CAPABLE:1"
        at, pages = at + 3, pages + bytes([code, 1, 0x41])
    lab.check(["0040", "get"], [PAGES], lines(dump(at, 0, text)), replies=[None, mode6(pages, length=at)])


@pytest.mark.parametrize("value, number", [
    ("0", 0), ("1", 1), ("65536", 65536), ("16777217", 16777217), ("-1", -1), ("0x20", 0), ("", 0),
    ("x5", 0), (" +300K", 300)])
def test_settings(lab, value, number):
    on = int(number != 0)
    lab.check(["0040", "set", "block_size", value], [select(12)],
              lines(f"TRY {SIZE}|new_block_size={number}|DONE {SIZE}"))
    lab.check(["0040", "set", "density_code", value], [select(12)],
              lines(f"SIZE={number}|TRY {DENSITY}|new_density_code={number}|DONE {DENSITY}"))
    lab.check(["0040", "-c", value], [COMPRESSION, select(28)], lines(
        f"DCE={number}|DATA COMPRESSION ENABLE:{on}|TRY {DCE}|compression={on}|DONE {DCE}"))


def bytes_dump(data):
    return "|".join(f"[{i}]{b:x}" for i, b in enumerate(data) if b)


OFF = bytes([0, 255, 0x10, 8]) + b"\xff" * 10 + b"\x7f" + b"\xff" * 13
ON = bytes([0, 0x86, 0x10, 8, 0x48, 0, 0, 0, 0, 0, 0, 1, 0xF, 0xE, 0xC0, 0, 1]) + bytes(11)


@pytest.mark.parametrize("args, reply, text, wanted", [
    ("set block_size -65282", None, f"SIZE=-65282|SIZE16=ff|SIZE08=0|SIZE00=fe|TRY {SIZE}|*|"
     f"new_block_size=-65282|DONE {SIZE}", b"\0\0\x10\x08" + bytes(5) + b"\xff\0\xfe"),
    ("set density_code 578", None, f"SIZE=578|TRY {DENSITY}|*|new_density_code=578|DONE {DENSITY}",
     b"\0\0\x10\x08\x42" + bytes(7)),
    ("c 0", b"\xff" * 48, "Call MODE SENSE request data compression page=(f)|*|DCE=0|"
     "DATA COMPRESSION ENABLE:0|debug info before SCSI_ExecuteCommand|" + bytes_dump(OFF) +
     f"|TRY {DCE}|*|compression=0|DONE {DCE}", OFF),
    ("c 5", mode6(b"\x0f\x0e\x40\0\1", b"\x48" + bytes(6) + b"\1", 0x86, 0x80),
     "…DCE=5|DATA COMPRESSION ENABLE:1|debug info before SCSI_ExecuteCommand|" + bytes_dump(ON) +
     f"|TRY {DCE}|*|compression=1|DONE {DCE}", ON)], ids=short)
def test_parameter_list(lab, args, reply, text, wanted):
    # The list is not written to the device; the trace of a debug run shows the request block.
    lab.check(["0040", *args.split(), "debug"], [COMPRESSION] * (reply is not None) +
              [select(len(wanted))], lines(text), replies=[None, reply] if reply else [])
    trace = lab.read("lgc/kq_mvk.lgc").partition("iLinuxScsiCmd 0x15")[2]
    found = re.findall(r"szIO \[(\d+)\](\w+)", trace)
    assert {int(i) - 42: int(b, 16) for i, b in found if int(i) > 41} == {
        i: b for i, b in enumerate(wanted) if b}


@pytest.mark.parametrize("key, value, page, got", [
    ("VENDORID", "X", TEXT, "GOT 'X' '40' VALUE|"), ("A", "5", TEXT, "GOT '5' '5' VALUE|"),
    ("A", "12", (be(65535) + bytes(16) + b"x", SHOWN.format(65535, 0, "x")), ""),
    ("A", "12", (be(20) + bytes(5) + b"\x18descriptorXY", SHOWN.format(20, 3, "XY")), ""),
    ("k" * 63, "v" * 63, TEXT, ""), ("k" * 64, "v" * 5000, TEXT, ""),
    ("\xc3\xa4", "%s", TEXT, "")], ids=short)
def test_set_eeprom(lab, key, value, page, got):
    line = f"{key[:63]} {value[:63]}\n"
    data = bytes([0, 0, 0, 0, 0x3E, len(line)]) + line.encode("latin-1")
    text = f"{page[1]}{got}LEN={len(line)}|BUF={len(data)}|" + "|".join(
        f"[{i}] {b:x}" if i < 6 else f"[{i}] {chr(b)}" for i, b in enumerate(data))
    for last, status in ("", 0), ("!|", 3):
        end = f"TRY SET {TITLE}|{last}DONE SET {TITLE} WITH STATUS {status}"
        lab.check(["0040", "set_eeprom", key, value], [EEPROM, select(len(data))], lines(f"{text}|{end}"), status,
                  replies=[None, page[0]] + ["read EIO"] * (status == 3))
