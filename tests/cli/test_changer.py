# Media changers: listings, element addresses, moves.
import pytest
from conftest import assert_text
from scsi_replies import address_page, be, element, page, report

RES = "sg1 b8 00 00 00 ff ff 00 10 ff ff 00 00 [32803]"
LAST_RES = RES.replace("10 ff ff", "00 7f ff")  # the third try asks what a transfer can hold

# A library with gaps between the slots, without a port; the last slot reports an exception.
MIXED = report(
    page(1, element(1, flags=0)),
    page(2, element(4096, 9), element(4100, 8, 4100), element(4101, 13, 16)),
    page(4, element(256, 1, 4100, target=4), element(258, target=26)),
)
ARM = "Transport    0(adr=   1,src=   0,tape=0) \n"
SLOT_0 = "Slot         0(adr=4096,src=   0,tape=1) \n"
SLOT_1 = "Slot         1(adr=4100,src=4100,tape=0) \n"
SLOT_2 = "Slot         2(adr=4101,src=  16,tape=1) \n"
DRIVE_0 = "Drive        0(adr= 256,src=4100,tape=1) \n"
DRIVE_1 = "Drive        1(adr= 258,src=   0,tape=0) \n"


FILTERS = {
    "e": [ARM, SLOT_0, SLOT_1, SLOT_2, DRIVE_0, DRIVE_1],
    "e full": [SLOT_0, SLOT_2, DRIVE_0],
    "e empty": [ARM, SLOT_1, DRIVE_1],
    "e s:1-2": [SLOT_1, SLOT_2],
    "e s:0--5": [SLOT_0, SLOT_1],  # a range ends at 1 at least
    "e d:-": [DRIVE_0, DRIVE_1],
    "e s-2": [SLOT_2],  # the first number stands at the third character, wherever "-" is
    "e s:1": [],  # neither a range nor a filter
}


@pytest.mark.parametrize("words, shown", FILTERS.items(), ids=FILTERS)
def test_filter(lab, words, shown):
    lab.expect(f"0030 {words}", "".join(shown), replies=[MIXED])


# The ID of the changer without its last two digits stands before the target of a drive.
@pytest.mark.parametrize("host, first", [(2, "21"), (10, "101")])
def test_scsi_filter_shows_the_ids_of_the_drives_alone(lab, host, first):
    library = f"[device]\n[device]\naddress = {host}:1:3:0\ntype = changer\n"
    stdout = f"""
    ID={first}40 Tape Drive 0 in Loader {first}30
    ID={first}1a0 Tape Drive 1 in Loader {first}30
    """
    lab.expect(f"{first}30 e scsi", stdout, replies=[MIXED], library=library)


def test_labels_and_odd_pages(lab):
    reply = report(
        page(3, element(7, tag=b"%s\x80" + b"x" * 34 + b"y" * 9), tags=1),
        page(2, element(8, tag=b"AB\0CD".ljust(36)), element(9, 9, tag=b"ABC".ljust(36)), tags=1),
        page(2, element(10, 9, tag=b"ABC".ljust(36))),
        page(3, length=0, size=24),
        page(2, element(12), size=0x50017),  # 16 bits count; there is a part of a second element
        page(5, element(13)),
    )
    stdout = f"""
    Port         0(adr=   7,src=   0,tape=0) %s\x80{"x" * 33}
    Slot         0(adr=   8,src=   0,tape=0) AB
    Slot         1(adr=   9,src=   0,tape=1) {"ABC".ljust(36)}
    Slot         0(adr=  10,src=   0,tape=1)\x20
    Slot         0(adr=  12,src=   0,tape=0)\x20
       0(adr=  13,src=   0,tape=0)\x20
    """
    lab.expect("0030 l", stdout, replies=[reply])


NOT_FILLED = "warning buffer not filled. RES iStatus(dec)={} CTRL Byte=(dec)0 retry={}\n".format
FAILED = "iLinuxScsiCmd() Error read from /dev/sg1\nwarning RES iStatus(dec)=3 CTRL Byte=(dec)0\n"


def test_retry(lab):
    stdout = NOT_FILLED(0, 0) + NOT_FILLED(0, 1) + DRIVE_1
    replies = [report(size=32768), report(size=7), MIXED]
    lab.expect("0030 e d:1-1", stdout, 0, [RES, RES, LAST_RES], replies=replies)
    lab.expect("0030 e", "", 0, [RES], replies=[report(page(2, length=1))])  # eight bytes
    stdout = "".join(FAILED + NOT_FILLED(3, number) for number in range(3))
    lab.expect("0030 e", stdout, 3, replies=["read EIO"] * 3)
    # A count in a reply that was cut asks for nothing more.
    replies = [(report(size=40000), "read 44")] * 3
    lab.expect("0030 e", stdout, 3, [RES, RES, LAST_RES], replies=replies)


# 2,000 slots with labels: a transfer of a pass ends within them.
LIBRARY = """
[device]
[device]
address = 0:0:3:0
type = changer
transports = 1 from 2
slots = 2000 from 1000
drives = 2 from 256
[cartridge]
barcode = LAST
place = 2999
"""
TOO_LARGE = "".join(NOT_FILLED(0, number) for number in range(3))
LAST_SLOTS = f"""\
Slot       1998(adr=2998,src=   0,tape=0)\x20
Slot       1999(adr=2999,src=   0,tape=1) {"LAST".ljust(32)}
"""


# What is sent for labels behind the three passes: type, first address, allocation length.
def asked(*requests):
    for kind, start, size in requests:
        cdb = bytes([0xB8, 16 + kind]) + be(start) + b"\xff\xff\0" + be(size, 3) + bytes(2)
        yield f"sg1 {cdb.hex(' ')} [{size + 36}]"


WHOLE, HALF = 104188, 52094
LARGE_REPORTS = {
    "at once": ("", [(0, 0, WHOLE)]),
    "in parts": (
        "write 0xb8 4 ENOMEM",
        [(0, 0, WHOLE), (1, 0, HALF), (2, 0, HALF), (2, 2001, HALF), (3, 0, HALF), (4, 0, HALF)],
    ),
    "cut within a label": (
        "read 0xb8 4 60036",
        [(0, 0, WHOLE), (1, 3, 60032), (2, 2152, 60032), (3, 0, 60032), (4, 0, 60032)],
    ),
}


@pytest.mark.parametrize("scenario, requests", LARGE_REPORTS.values(), ids=LARGE_REPORTS)
def test_large_library(lab, scenario, requests):
    how = {"library": LIBRARY, "scenario": scenario}
    run = lab.expect("0030 l s:1998-2000", TOO_LARGE + LAST_SLOTS, **how)
    assert run.commands[3:] == list(asked(*requests))
    lab.expect("0030 l full", TOO_LARGE + LAST_SLOTS.partition("\n")[2], **how)
    # Without labels the report fits.
    lab.expect("0030 m s:1999 d:1", moved(2, 2999, 257), library=LIBRARY)
    stdout = "element number out of range 0-1999: s:2000\n"
    lab.expect("0030 m s:2000 d:1", stdout, 1, library=LIBRARY)


# A report of slots; announced: the bytes that it says to have.
def slots(count, announced=None):
    return report(page(2, *map(element, range(1, count + 1)), length=12), size=announced)


# What a device answers whatever it is asked; how often that is behind the passes; how many slots
# are found.
LIARS = {
    "only a header": (slots(0, 40000), 5, 0),
    "16 MB": (slots(700, 0xFFFFFF), 6, 700),
    "tiny descriptors": (report(page(2, bytes(range(1, 255)), length=1), size=60000), 5, 254),
    "no descriptors": (report(page(2, length=0, size=60000), size=60008), 5, 0),
}


@pytest.mark.parametrize("reply, requests, found", LIARS.values(), ids=LIARS)
def test_large_report_that_lies(lab, reply, requests, found):
    run = lab.run("0030 e", scenario=f"reply 0xb8 * {reply.hex()}")
    assert run.stdout.startswith(TOO_LARGE) and run.stdout.count("\nSlot ") == found
    assert (len(run.commands), run.status) == (3 + requests, 0)


# The count of the third pass is fitted to what it asked for.
FITTED = {
    "more at once": ([slots(2800)], 2800),
    "more in parts": (["check 05 24 00", slots(2729), report(page(2, element(2730)))], 2730),
    "nothing more": (["check 05 24 00"] * 5, 2729),
}


@pytest.mark.parametrize("replies, found", FITTED.values(), ids=FITTED)
def test_fitted_count(lab, replies, found):
    run = lab.run("0030 e", [slots(2800), slots(2800), slots(2729), *replies])
    assert run.stdout.count("\nSlot ") == found


def test_trace_of_a_listing(lab):
    lab.trace_at(1)
    lab.run("0030 e p:2-3", replies=[report(page(1, element(1, 12)), page(2, element(7, 9)))])
    trace = """
    iFromElem(dec)=2
    iToElem(dec)=3
    iFirstElem(dec)=65281
    iNumElem(dec)=65282
    iAllBytes(dec)=40
    iType(dec)=1
    iElements(dec)=1
    iBarCodeFlag(dec)=0
    iElemAdr(dec)=1
    iAccessFlag(dec)=0
    iErrorFlag(dec)=1
    iType(dec)=2
    ...iElemAdr(dec)=7
    iAccessFlag(dec)=1
    iErrorFlag(dec)=0
    """
    assert_text(lab.trace(), trace)


def test_status(lab):
    stdout = "  1 x Transport First=1\n  3 x Slot First=4096\n  2 x Drive First=256\n"
    lab.expect("0030 s", stdout, replies=[MIXED])


# Count and first address of each type, in the order of the address page.
def firsts(*fields):
    types = "Transport", "Slot", "Port", "Drive"
    return "".join(f"{fields[2*i]:3} x {types[i]} First={fields[2*i + 1]}\n" for i in range(4))


ADDRESS_PAGES = {
    "plain": (address_page(1, 2, 3, 1025, 5, 6, 43981, 8), firsts(2, 1, 1025, 3, 6, 5, 8, 43981)),
    "saved": (address_page(1, 1, code=0x9D, descriptors=8), firsts(1, 1, 0, 0, 0, 0, 0, 0)),
    "no address": (address_page(0, 1, 0, 2, 9), "...\nall address are zero\n"),  # no port has the 9
    "beyond the reply": (address_page(1, 1, descriptors=255), ""),
}


@pytest.mark.parametrize("reply, stdout", ADDRESS_PAGES.values(), ids=ADDRESS_PAGES)
def test_address_page_when_element_status_fails(lab, reply, stdout):
    lab.expect("0030 s", FAILED + stdout, replies=[(report(size=16), "read 44"), reply])


def move(transport, source, target, lun=0):
    data = bytes([0xA5, lun << 5]) + be(transport) + be(source) + be(target) + bytes(4)
    return f"sg1 {data.hex(' ')} [36]"


def moved(transport, source, target):
    way = f"(transport={transport}):(source={source})>(target={target})\n"
    return f"Try {way}Moved {way}"


# A second page of slots overwrites the first one's addresses.
TWO_PAGES = report(page(2, element(5), element(6)), page(2, *map(element, range(50, 1100))))


@pytest.mark.parametrize(
    "reply, operands, addresses",
    [
        (MIXED, "d.0 s/2 x=0", (1, 256, 4101)),  # any letter is a transport's
        (MIXED, "s p:1023 t", (1, 4096, 0)),
        (TWO_PAGES, "s:1 s:1023", (0, 51, 1073)),
    ],
)
def test_move(lab, reply, operands, addresses):
    sent = [RES, move(*addresses)]
    lab.expect(f"0030 m {operands}", moved(*addresses), 0, sent, replies=[reply])


@pytest.mark.parametrize("operands", ["t:0 d:0", "s:0 D:0", "s:0 d:-1", "s:0 d:0 t:1024"])
def test_move_refused(lab, operands):
    usage = "usage: s=slot, d=drive, p=port\nexample: s:4 d:0"
    number = f"element number out of range 0-1023: {operands.split()[-1]}\n"
    stdout = number if "1" in operands else usage
    lab.expect(f"0030 m {operands}", stdout, 1, [RES], replies=[MIXED])


@pytest.mark.parametrize(
    "value, counts, operands, addresses",
    [
        ("1x1,23x4096,1x16,2x300", (1, 1, 23, 4096, 1, 16, 2, 300), "s:22 d:1", (1, 4118, 301)),
        ("2x10x9,,axb", (2, 10, 3, 4096, 0, 0, 2, 256), "s:1 d:1 t:1", (11, 4097, 257)),
        (",70000x70,,x5", (1, 1, 65536, 70, 0, 0, 0, 5), "s:5000 d:0", (1, 5070, 5)),
    ],
)
def test_override(lab, value, counts, operands, addresses):
    lab.write("glbv/gv_mvk_adr_0030.sgv", value)
    stdout = f"got hard address setting from gv_mvk_adr_0030: {value}\n" + firsts(*counts)
    sent = [RES, move(*addresses)]
    lab.expect(f"0030 m {operands}", stdout + moved(*addresses), 0, sent, replies=[MIXED])


# Answers to INITIALIZE ELEMENT STATUS, and how often it is sent.
ANSWERS = {
    "attention": (["check 06 29 00"], 2),
    "attention in the other formats": (["status 02 f0 00 16", "status 02 72 46 28 00"], 3),
    "attention for ever": (["check 06 29 00"] * 4, 4),
    "another key": (["check 02 04 01"], 1),
    "an error of a command before": (["status 02 71 00 06"], 1),
    "sense data without the status": (["status 00 70 00 06"], 1),
    "attention, then no answer": (["check 06 29 00", "read EIO"], 2),
}


@pytest.mark.parametrize("replies, count", ANSWERS.values(), ids=ANSWERS)
def test_what_has_not_begun_is_sent_again(lab, replies, count):
    lab.trace_at(1)
    sent = ["sg1 07 00 00 00 00 00 [36]"] * count
    failed = "iLinuxScsiCmd() Error read from /dev/sg1\n" * ("read" in replies[-1])
    label = "INITIALIZE ELEMENT STATUS for LOADER\n"
    run = lab.run("0030 I", replies)
    assert (run.stdout, run.status) == (f"TRY {label}{failed}DONE {label}", 3 * bool(failed))
    assert run.commands == sent
    assert lab.read("lgc/kq_mvk.lgc").count("iLinuxScsiCmd 0x7: unit attention") == count - 1
    assert len([event for event in run.events if event.name == "open"]) == 2


@pytest.mark.parametrize("code, status, count", [("28 00", 5, 1), ("29 00", 0, 2)])
def test_another_medium_is_not_erased(lab, code, status, count):
    sent = ["sg2 19 03 00 00 00 00 [55]"] * count
    run = lab.expect("0040 erase", "", status, sent, replies=[f"check 06 {code}"])
    assert ("Not erased: " in run.stderr) == (status == 5)


@pytest.mark.parametrize("args", ["0030 m s:0 d:0", "0030 hm 4096 256 1"])
def test_failed_move(lab, args):
    stdout = "Try...\niLinuxScsiCmd() Error read from /dev/sg1\n"
    lab.expect(args, stdout, 3, scenario="read 0xa5 1 EIO")


def test_lun_of_a_move(lab):
    library = "[device]\n[device]\naddress = 0:0:3:1\ntype = changer\nslots = 2 from 7\n"
    assert lab.run("031 m s:0 s:1", library=library).commands[-1] == move(0, 7, 8, lun=1)
    lab.expect("0031 hm 12ab 65537 -1", moved(-1, "12ab", 65537), 0, [move(65535, 12, 1)])
    debug = lab.run("0031 m s:0 s:1 debug").stdout
    assert "GLBV gv_mvk_adr_0031\nlun=49(dec)/1(char) cdb[1]=20(hex)\nTry" in debug


def test_override_of_a_path_stands_in_a_file_with_underlines(lab):
    lab.write("glbv/gv_mvk_adr__dev_sg1.sgv", ",2x7")
    stdout = "...: ,2x7\ncpPos: ''\ncpPos: '2x7'\n" + firsts(1, 1, 2, 7, 0, 0, 2, 256) + "Try..."
    lab.expect("/dev/sg1 m s:0 s:1 debug", stdout, replies=[MIXED])
