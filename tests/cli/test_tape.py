# Tape drives: status, mode pages, settings, attributes, EEPROM text and labels.
import re

import pytest
from conftest import assert_text
from scsi_replies import attribute, attributes, be, mode6, tape_block

READ_ERROR = "iLinuxScsiCmd() Error read from /dev/sg2\n"


INTERNAL_STATUS = {
    0x81: "cleaning_bit=1\nload=1\n",
    0x82: "cleaning_bit=0\nload=0\n",
    0x83: "cleaning_bit=1\nload=0\n",
    0x05: "internal_status_byte=0x5\n",
}


@pytest.mark.parametrize("byte, shown", INTERNAL_STATUS.items())
def test_internal_status(lab, byte, shown):
    stdout = f"Tape Info\nmedium_type=Data medium\n{shown}buffered_mode=0\n...=0 (variable)\n..."
    lab.expect("0040 s", stdout, replies=[b"", bytes([*bytes(18), byte]), b""])


def test_settings_in_the_status(lab):
    stdout = """
    ...buffered_mode=1
    block_length=32769
    media_type=Super DLTtape II
    write_protect=0
    density_code=48
    compression=1
    """
    reply = mode6(b"\x0f\x0e\x80", b"\x48\1\1\1\1\0\x80\1", 0x87, 0x7F)
    lab.expect("0040 s", stdout, replies=[b"", b"", reply])
    lab.expect("0040 s", "...compression=0\n", 3, replies=[b"", b"", "read EIO"])


def test_debug_lines_and_trace_of_the_status(lab):
    stdout = """
    ...internal_status_byte=0x82
    cleaning_bit=0
    load=0
    request page=(f)
    ...block_length0=1
    block_length1=2
    block_length2=f
    block_length=66063
    media_type=(88)
    media_type=unknown (88)
    write_protect_code=80
    write_protect=1
    ..."""
    sense = bytes(2) + b"\xf5" + bytes(9) + b"\x28\1" + bytes(4) + b"\x82"
    replies = [b"", sense, mode6(b"", b"\0\0\0\0\0\1\2\x0f", 0x88, 0x80)]
    lab.expect("0040 s debug", stdout, replies=replies)
    trace = """
    ...ScsiModeSense
    for tape >> REQUEST SENSE
    ...Buf[2]     0xf5
    Sense Key  0x5
    ASC        0x28
    ASCQ       0x1
    for tape >> MODE SENSE
    ..."""
    assert_text(lab.trace(), trace)


def test_page_dump(lab):
    stdout = """
    TRY MODE SENSE (6)
    DATA LEN=37
    DESCRIPTOR(S)=2
    4 BYTES...
    BLOCK DESCRIPTOR
    [9/5] 1
    [10/6] 2
    [11/7] 3
    BLOCK LEN=66051 (0 MEANS VAR BLOCK LEN)
    [19/15] 4
    PAGE DESCRIPTOR
    [20/0] 10
    DATA BLOCK(S)
    -----------------------------------
    DATA COMPRESSION PAGE LEN=2
    [23/0] f
    ...[25/2] 40
    DATA COMPRESSION ENABLE:0
    DATA COMPRESSION CAPABLE:1
    [26/3] e0
    DATA DECOMPRESSION ENABLE:1
    REPORT EXCEPTION ON DECOMPRESSION:2
    -----------------------------------
    TANDBERG USER PAGE 1 LEN=1
    [27/0] "
    ...[29/2] A
    -----------------------------------
    UNKNOWN CODE PAGE 24 LEN=1
    ...DELL ??? PAGE LEN=1
    ...DONE MODE SENSE (6)
    """
    pages = b"\x10\0\0\x0f\2\x40\xe0\x22\1A\0\x24\1A\x1e\1AB"
    reply = mode6(pages, b"\0\0\0\0\0\1\2\3" + bytes(7) + b"\4", 0x86, length=37)
    lab.expect("0040 get", stdout, replies=[reply])


# The byte at the index of the length is shown too.
def test_eeprom_text(lab):
    stdout = """
    TRY MODE SENSE FOR EEPROM
    DATA LEN=20
    DESCRIPTOR(S)=1
    8 BYTES PARAMETER LIST
    ...BLOCK DESCRIPTOR
    [15/7] 1
    PAGE DESCRIPTOR
    [16/0] 3e
    [17/1] 4
    DATA BLOCK(S)
    AB\0
    """
    reply = be(20) + bytes(5) + b"\x08" + bytes(7) + b"\1\x3e\4AB\0C"
    lab.expect("0040 get_eeprom", stdout, replies=[reply])
    stdout = f"...DATA BLOCK(S)\n{'x' * 8181}\0\n"
    lab.expect("0040 get_eeprom", stdout, replies=[be(8191) + bytes(8) + b"x" * 8190])
    stdout = "...DESCRIPTOR(S)=256\nBUFFER OVERFLOW MAX=8191\n"  # byte 6 counts 256 of them
    lab.expect("0040 get_eeprom", stdout, 1, replies=[be(8192) + bytes(4) + b"\1\7"])


TEXT = be(21) + bytes(5) + b"\x08" + bytes(8) + b"\x3e\5A\0B\nC"
TEXT_SHOWN = "TRY...\nDATA LEN=21\nDESCRIPTOR(S)=1\nAB\nDONE MODE SENSE FOR EEPROM\n"


def test_set_eeprom(lab):
    stdout = f"""\
{TEXT_SHOWN}GOT '5' '5' VALUE
LEN=4
BUF=10
...[4] 3e
[5] 4
[6] \xe4
[7]\x20\x20
[8] 5
[9]\x20

TRY SET MODE SENSE FOR EEPROM
DONE SET MODE SENSE FOR EEPROM WITH STATUS 0
"""
    lab.expect(["0040", "set_eeprom", "\xe4", "5"], stdout, replies=[TEXT])


@pytest.mark.parametrize(
    "key, text", [("", "KEY TO SET\nEXAMPLE\nVENDORID"), ("K", "VALUE TO SET")]
)
def test_set_eeprom_without_key_or_value(lab, key, text):
    stdout = f"{TEXT_SHOWN}FAIL GOT NO {text}\n"
    lab.expect(["0040", "set_eeprom", key, ""], stdout, 1, replies=[TEXT])


@pytest.mark.parametrize("words", ["get", "get_eeprom", "set_eeprom K X", "set block_size 5"])
def test_failing_command_ends_the_operation(lab, words):
    lab.expect(f"0040 {words}", f"TRY...\n{READ_ERROR}", 3, replies=["read EIO"])


def test_attributes(lab):
    stdout = """
    Attribute Id: 0x0405 ReadOnly (BINARY)
    value: [0x1200]
    Attribute Id: 0x0801 (TEXT)
    value: [\xe4\0b]
    Attribute Id: 0x0003 (ASCII)
    value: [%s]
    """
    items = [attribute(0x405, 0x80, b"\1\x20\0"), attribute(0x801, 2, b"\xe4\0b")]
    reply = attributes(*items, attribute(3, 3, b"%s"), be(4))  # the last four bytes are left out
    lab.expect("0040 read", stdout, replies=[reply])


# Attributes begin below index 512, and are shown as far as the buffer goes.
@pytest.mark.parametrize("size, shown, lines", [(502, 502, 4), (503, 503, 2), (9000, 8183, 2)])
def test_end_of_attributes(lab, size, shown, lines):
    replies = [attributes(attribute(1, 1, b"A" * size), length=600)]
    run = lab.expect("0040 read", f"Attribute...[{'A' * shown}]\n...", replies=replies)
    assert run.stdout.count("\n") == lines


def test_reading_of_attributes(lab):
    reply = attributes()
    for word, first in ("x0x1", "00 00"), ("0x4", "04 00"), ("0xFFfe01", "ff fe"):
        sent = [f"sg2 8c 00 00 00 00 00 00 00 {first} 00 00 1f ff 00 00 [8228]"]
        lab.expect(f"0040 read {word}", sent=sent, replies=[reply])
    lab.expect("0040 read mediums", "UNKNOWN MODE 'mediums'\n", 1, sent=[])
    lab.expect("0040 read", "Read Attribute not supported\n", 1, replies=[be(8192, 4)])
    reply = attributes(attribute(0x408, 0x80, b"\x80"))
    lab.expect("0040 read medium_type", "medium_type=Write-once medium\n", replies=[reply])


def test_trace_of_attributes(lab):
    trace = """
    ReadAttributes 0x0805
    got Attribute Id '0x0805'
    TRY Read Attribute (8C) with Attribute Id '0x0805' 0x8c
    iScsiCmd cBuf[0] 0, (cBuf[1] 0
    iScsiCmd cBuf[2] 0, (cBuf[3] 0
    iScsiCmd returned cBuf[0]&0xff 0, (cBuf[1]&0xff) 0
    iScsiCmd returned cBuf[2]&0xff 0, (cBuf[3]&0xff) 6
    iScsiCmd returned cBuf[0] 0, (cBuf[1] 0
    iScsiCmd returned cBuf[2] 0, (cBuf[3] 6
    DATA LEN=6
    6 BYTES PARAMETER LIST
    List Attributes
    """
    reply = attributes(attribute(0x805, 2, b"Z"))
    lab.trace_at(1)
    lab.run("0040 read 0x0805", replies=[reply])
    assert_text(lab.trace(), trace)
    lab.run("0040 erase")
    assert lab.trace().endswith("Attributes\nErase\n")
    stdout = "...Attribute Id: 0x0805 followed by: 2 0 1 5a (TEXT)\nvalue: [Z]\n"
    lab.expect("0040 read 0x0805 debug", stdout, replies=[reply])
    assert "\ncBuf[5]: 0x5 - [\5]\nList" in lab.trace()


# Arguments; reply; what is printed at debug level, and the parameter list. That is not written to
# the device, but the trace shows the request.
SETTINGS = {
    "set block_size -65282": (
        None,
        "SIZE=-65282\nSIZE16=ff\nSIZE08=0\nSIZE00=fe\nTRY...new_block_size=-65282\nDONE...",
        b"\0\0\x10\x08" + bytes(5) + b"\xff\0\xfe",
    ),
    "set density_code 578": (
        None,
        "SIZE=578\nTRY...new_density_code=578\nDONE MODE SELECT (6) SET DENSITY\n",
        b"\0\0\x10\x08\x42" + bytes(7),
    ),
    "c 0x20": (
        b"\xff" * 48,
        "Call MODE SENSE request data compression page=(f)\n...:0\n...compression=0\n...",
        b"\0\xff\x10\x08" + b"\xff" * 10 + b"\x7f" + b"\xff" * 13,
    ),
    "c 5": (
        bytes(14) + b"\x40",
        "...DCE=5\nDATA COMPRESSION ENABLE:1\ndebug info before SCSI_ExecuteCommand\n[2]10\n[3]8\n"
        "[14]c0\nTRY...compression=1\nDONE MODE SELECT (6) SET COMPRESSION DCE\n",
        b"\0\0\x10\x08" + bytes(10) + b"\xc0" + bytes(13),
    ),
}


@pytest.mark.parametrize("args, row", SETTINGS.items(), ids=SETTINGS)
def test_setting(lab, args, row):
    reply, stdout, wanted = row
    run = lab.expect(f"0040 {args} debug", stdout, replies=[reply])
    assert f" 15 10 00 00 {len(wanted):02x} 00 " in run.sent[-1]
    trace = lab.read("lgc/kq_mvk.lgc").partition("iLinuxScsiCmd 0x15")[2]
    found = {int(i) - 42: int(b, 16) for i, b in re.findall(r"szIO \[(\d+)\](\w+)", trace)}
    assert bytes(found.get(i, 0) for i in range(len(wanted))) == wanted


TIME = b" 2024-05-01 08:15:00 "
LABELS = {
    "2A": (
        {0: b"2A7NAME 1", 129: TIME, 150: b"WEEK 1"},
        "zel_label=7NAME1\nzel_init_time=2024-05-01 08:15:00\nzel_etc=WEEK1",
    ),
    "2A without its blanks": (
        {0: b"2A", 128: b"Nx" + TIME.strip() + b"x", 2047: b"W"},
        "zel_label=Nx2024-05-01 08:15:00xW",
    ),
    "TAPE": (
        {0: b"TAPE", 4: b"HM", 93: b"ML 1", 222: b"MON M"},
        "\ngorvath_label=L 1\ngorvath_etc=MON \ngorvath_etc=M",
    ),
    "unknown": ({0: b"TAP\n2A", 2047: b"\xff"}, "UNKNOWN\niBufSize=2048\n54 41 50 a 32 41 ff "),
}


@pytest.mark.parametrize("pieces, label", LABELS.values(), ids=LABELS)
def test_label(lab, pieces, label):
    size = "TRY...\nnew_block_size=0\nDONE MODE SELECT (6) SET BLOCKSIZE\n"
    stdout = f"TRY LOAD TAPE\nDONE LOAD TAPE\n{size}TRY READ\n{label}\nDONE READ\n"
    lab.expect("0040 L", stdout, replies=[b"", b"", tape_block(pieces)])


def test_only_the_load_counts(lab):
    stdout = f"TRY LOAD TAPE\n{READ_ERROR}DONE LOAD TAPE\nTRY...{READ_ERROR}TRY READ\n{READ_ERROR}"
    lab.expect("0040 L", stdout, 3, replies=["read EIO"] * 3)
    lab.expect("0040 L", "TRY...", replies=[b"", "read EIO", "read EIO"])
