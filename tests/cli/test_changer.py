# Media changers: listings, element addresses, moves and the control commands.
import pytest

from conftest import like
from scsi_replies import address_page, be, element, page, report, short, table

TRY = "sg1 b8 00 00 00 ff ff 00 10 ff ff 00 00 [32803]"
TRIES = [TRY, TRY, TRY.replace("10 ff ff", "00 7f ff")]  # the last asks what a transfer can hold
LUN_1 = "[device]\n[device]\naddress = 0:0:3:1\ntype = changer\nslots = 2 from 7\n"
ERROR = "iLinuxScsiCmd() Error read from /dev/sg1\n"
TAG = b"ABC123" + b" " * 30


def line(kind, u, address, full=0, source=0, tag=b""):
    return (f"{kind:10} {u:3}(adr={address:4},src={source:4},tape={full}) " f"{tag.decode('latin-1')}\n")


def warning(status=0, retry=None):
    # The lines of a try that failed, of one that filled no buffer, or of one that did both.
    text = f"warning RES iStatus(dec)={status} CTRL Byte=(dec)0\n" if status else ""
    return text + ("" if retry is None else "warning buffer not filled. RES iStatus(dec)="
                   f"{status} CTRL Byte=(dec)0 retry={retry}\n")


def firsts(*fields):
    # The lines with the count and the first address of each type.
    return "".join(f"{fields[2 * i]:3} x {name} First={fields[2 * i + 1]}\n"
                   for i, name in enumerate(["Transport", "Slot", "Port", "Drive"]))


NOTHING = "".join(warning(0, i) for i in range(3))  # a changer that never answers
MIXED = report(  # gaps between the slots, no port
    page(1, element(1, 0)),
    page(2, element(4096, 9), element(4100, 8, 4100), element(4101, 13, 16)),
    page(4, element(256, 1, 4100, target=4), element(258, target=26)))
LINES = {"t": line("Transport", 0, 1), "a": line("Slot", 0, 4096, 1),
         "b": line("Slot", 1, 4100, 0, 4100), "c": line("Slot", 2, 4101, 1, 16),
         "x": line("Drive", 0, 256, 1, 4100), "y": line("Drive", 1, 258)}


@pytest.mark.parametrize("words, shown", [
    ("e", "tabcxy"), ("-e full", "acx"), ("e empty", "tby"), ("e FULL", ""), ("e s:1", ""),
    ("e s:1-2", "bc"), ("e s:2-9999", "c"), ("e s:3-1", ""), ("e s:2-0", ""), ("e d:0-0", "xy"),
    ("e p:0-0", ""), ("e s:1-", "b"), ("e s:-", "ab"), ("e s:-1-1", "ab"), ("e s:0--5", "ab"),
    ("e s-2", "c"), ("e -", ""), ("e x:0-2", ""), ("e s:0-1" + "x" * 999, "ab")], ids=short)
def test_filter(lab, words, shown):
    lab.check(["0030", *words.split()], [TRY], "".join(LINES[c] for c in shown), replies=[None, MIXED])


BARE, SLOT = page(2, element(10, 9)), line("Slot", 0, 10, 1)
ZOO = [  # pages, and what is listed of them
    (page(2, element(1), element(2)), line("Slot", 0, 1) + line("Slot", 1, 2)),
    (page(2, element(3, 9, 0, TAG), tags=1), line("Slot", 0, 3, 1, 0, TAG)),  # again from 0
    (page(2, element(3, 9, 0, TAG)), line("Slot", 0, 3, 1)),
    (page(5, element(7)), "   0(adr=   7,src=   0,tape=0) \n"),  # a type without a name
    (page(3, element(7, 8, 0, b"%s%n\x80" + b"x" * 31 + b"y" * 9), tags=1),
     line("Port", 0, 7, 0, 0, b"%s%n\x80" + b"x" * 31)),
    (page(2, element(7, 8, 0, b"AB\0CD".ljust(36)), tags=1), line("Slot", 0, 7, 0, 0, b"AB")),
    (page(2, element(7), element(8), tags=1), line("Slot", 0, 7) + line("Slot", 1, 8)),
    (page(2, element(7, 8, 0, b"A"), b"BCA" + bytes(9) + b"Z", tags=1),  # tags that run on
     line("Slot", 0, 7, 0, 0, b"ABCA") + line("Slot", 1, 0x4243, 1, 0, b"Z\2\x80")),
    *((page(2, element(7, 9, 3, TAG + bytes(n)), element(8, 8, 4, bytes(36 + n)), tags=1),
       line("Slot", 0, 7, 1, 3, TAG) + line("Slot", 1, 8, 0, 4)) for n in (3, 4)),
    (page(4, b"\0\1\1\0\0", b"\0\2\0\0\0", b"\0\3\1\0\0"),  # 5 bytes each
     line("Drive", 0, 1, 1, 3) + line("Drive", 1, 2, 0, 0x200) + line("Drive", 2, 3, 1)),
    (page(2, element(7), size=23), line("Slot", 0, 7)),  # a part of a second one
    (page(2, element(7), size=0x5000C), line("Slot", 0, 7)),  # 16 bits of the size count
    (page(3, length=0, size=24), ""), (page(3, length=0), ""),
    (page(2, b"\0", b"\7", b"\1"),  # 1 byte each
     line("Slot", 0, 7, 1, 3072) + line("Slot", 1, 0x701, 0, 10) + line("Slot", 2, 258, 0, 2569)),
    (BARE, SLOT)]
MANY = report(page(2, *(element(5000 + 2 * i) for i in range(2046))))


@pytest.mark.parametrize("word, reply, stdout", table([
    ("pages of all kinds", "l", report(*(p for p, _ in ZOO)), "".join(text for _, text in ZOO)),
    ("cut in a descriptor", "e", report(page(2, element(7, 9, 0x506), element(8, 9)))[:27],
     line("Slot", 0, 7, 1, 0x500) + line("Slot", 1, 0)),
    ("cut in a page header", "e", report(BARE, page(4, element(1)))[:34], SLOT),
    ("the count ends in a page header", "e", report(BARE, size=9), SLOT),
    ("header alone that promises much", "e", report(size=32767), ""),
    ("seven bytes of a header", "e", report(size=0x1F0)[:7], ""),
    ("24 bits of a count", "e", report(BARE, size=0x1000014), SLOT),
    ("more than the transfer", "e", report(BARE, size=32767) + page(2, element(9)) * 2000,
     SLOT + line("Slot", 0, 9) * 1637),
    ("elements to the end of the buffer", "e", report(page(2, element(10, 9), size=65535)),
     SLOT + "".join(line("Slot", u, 0) for u in range(1, (32768 - 16) // 12))),
    ("a descriptor beyond it", "e", report(page(2, length=32753, size=65535), BARE), ""),
    ("firsts", "s", MIXED, firsts(1, 1, 3, 4096, 0, 0, 2, 256).replace("  0 x Port First=0\n", "")),
    ("more slots than the table has", "s", MANY, "2046 x Slot First=5000\n")]))
def test_reply(lab, word, reply, stdout):
    lab.check(["0030", word], [TRY.replace("b8 00", "b8 10") if word == "l" else TRY], stdout, replies=[None, reply])


@pytest.mark.parametrize("replies, stdout, status", table([
    ("second try", [report(size=0x100010), MIXED], warning(0, 0) + LINES["y"], 0),
    ("third try", [report(size=7), report(BARE, size=32768), MIXED], warning(0, 0) + warning(0, 1) + LINES["y"], 0),
    ("refusals", ["check 05 24 00", "check 05 24 00", report(BARE)[:7]], NOTHING, 0),
    ("the buffer is cleared", [report(MIXED[8:], size=32768), f"reply {report(size=96).hex()}; read 44"],
     warning(0, 0) + ERROR + warning(3), 3),
    ("reads fail", ["read EIO"] * 3, "".join(ERROR + warning(3, i) for i in range(3)), 3),
    ("write fails once", ["write EIO", MIXED], f"…pack_len 32815, …{warning(3, 0)}{LINES['y']}", 0),
    ("short read that brought the list", [f"reply {MIXED.hex()}; read 200"], ERROR + warning(3) + LINES["y"], 3)]))
def test_tries(lab, replies, stdout, status):
    lab.check(["0030", "e", "d:1-1"], TRIES[:len(replies)], stdout, status, replies=[None, *replies])


@pytest.mark.parametrize("reply, stdout, status", table([
    ("page", address_page(1, 2, 3, 4, 5, 6, 0xABCD, 8), firsts(2, 1, 4, 3, 6, 5, 8, 0xABCD), 0),
    ("saved page behind a descriptor", address_page(1, 1, 0, 0, code=0x9D, descriptors=8),
     firsts(1, 1, 0, 0, 0, 0, 0, 0), 0),
    ("another page", address_page(1, 1, 2, 2, 3, 3, 4, 4, code=0x1C), "", 0),
    ("at the buffer's end", address_page(1, 1, descriptors=95),
     firsts(0, 0, 0, 0, 0, 0, 0, 0) + "all address are zero\n", 0),
    ("beyond it", address_page(1, 1, descriptors=255), "", 0),
    ("counts beyond the table", address_page(1, 1025, 65535, 65535, 3, 1024, 4, 1023),
     firsts(1024, 1, 1024, 65535, 1024, 3, 1023, 4), 0),
    ("addresses all zero", address_page(0, 1, 0, 20, 9, 0, 0, 2),  # no port to have the 9
     firsts(1, 0, 20, 0, 0, 0, 2, 0) + "all address are zero\n", 0),
    ("fails", "read EIO", ERROR, 3)]))
def test_address_page(lab, reply, stdout, status):
    cut = f"reply {report(size=16).hex()}; read 44"  # an empty list, and a failure
    lab.check(["0030", "s"], [TRY, "sg1 1a 00 1d 00 30 00 [136]"], ERROR + warning(3) + stdout,
              status, replies=[None, cut, reply])


def move(transport, source, target, lun=0):
    data = bytes([0xA5, lun << 5]) + be(transport) + be(source) + be(target) + bytes(4)
    return f"sg1 {data.hex(' ')} [36]"


def moved(transport, source, target, words=("Try", "Moved")):
    rest = f"(transport={transport}):(source={source})>(target={target})\n"
    return "".join(f"{word} {rest}" for word in words)


PAGES = report(page(1, element(1), element(2)), page(2, element(5), element(6), element(7)),
               page(2, length=0, size=9), page(2, element(50)), page(3, element(16)))


@pytest.mark.parametrize("reply, operands, addresses", [
    (MIXED, "s:1 d:1", (1, 4100, 258)), (MIXED, "d:0 s:2 t:0", (1, 256, 4101)),
    (PAGES, "p:0 s:0 x:1", (2, 16, 50)),  # any letter is a transport's
    (PAGES, "s:0 s:2", (1, 50, 7)),  # the second page has overwritten the first
    (MIXED, "s/2 d.1 t=0", (1, 4101, 258)), (MIXED, "s d: t", (1, 4096, 256)),
    (MIXED, "s:x d:1x t:-", (1, 4096, 258)), (MIXED, "s:3 p:1023 t:9", (0, 0, 0)),
    (MANY, "s:1023 s:1022", (0, 7046, 7044))], ids=short)
def test_move(lab, reply, operands, addresses):
    lab.check(["0030", "m", *operands.split()], [TRY, move(*addresses)], moved(*addresses), replies=[None, reply])


@pytest.mark.parametrize("operands, wrong", [
    ("t:0 d:0", ""), ("s:0 D:0", ""), ("S:0 s:1024", ""), (" d:0", ""), ("s:1024 d:0", "s:1024"),
    ("s:0 d:-1", "d:-1"), ("s:0 d:0 t:4294967296", "t:4294967296"),
    (f"p:{10 ** 30} d:0", f"p:{10 ** 30}")])
def test_move_refused(lab, operands, wrong):
    stdout = f"element number out of range 0-1023: {wrong}\n"
    lab.check(["0030", "m", *operands.split(" ")], [TRY],
              stdout if wrong else "usage: s=slot, d=drive, p=port\nexample: s:4 d:0", 1,
              replies=[None, MIXED])


@pytest.mark.parametrize("value, slots, operands, addresses", table([
    ("all", "1x1,23x4096,1x16,2x256", (1, 1, 23, 4096, 1, 16, 2, 256), "s:22 d:1", (1, 4118, 257)),
    ("transports", "2x10x9", (2, 10, 3, 4096, 0, 0, 2, 256), "s:1 d:1 t:1", (11, 4097, 257)),
    ("slots", ",2x70", (1, 1, 2, 70, 0, 0, 2, 256), "s:1 s:2", (1, 71, 4101)),
    ("text", "axb,box 5", (0, 0, 0, 5, 0, 0, 2, 256), "s:0 d:0", (0, 5, 256)),
    ("beyond the table", ",5000x10", (1, 1, 1024, 10, 0, 0, 2, 256), "s:1023 d:0", (1, 1033, 256)),
    ("5000 bytes", "1x7," + "9x9," * 1249, (1, 7, 9, 9, 9, 9, 9, 9), "s:8 d:0", (7, 17, 9)),
    ("empty", "", None, "s:0 d:0", (1, 4096, 256)),
    ("question mark", "? 1x9", None, "s:0 d:0", (1, 4096, 256))]))
def test_override(lab, value, slots, operands, addresses):
    lab.write("glbv/gv_mvk_adr_0030.sgv", value)
    stdout = moved(*addresses)
    if slots:
        shown = value[:510] + ">" if len(value) > 511 else value
        stdout = (f"got hard address setting from gv_mvk_adr_0030: {shown}\n" + firsts(*slots) + stdout)
    lab.check(["0030", "m", *operands.split()], [TRY, move(*addresses)], stdout, replies=[None, MIXED])


@pytest.mark.parametrize("args, lun, stdout", [
    ("0031 m s:0 s:1", 1, ""), ("031 m s:0 s:1", 1, ""), ("0031 hm 7 8 0", 0, ""),
    ("0032 m s:0 s:1", 0, ""), ("0031 m s:0 s:1 debug", 1, "…didn't got hard address setting "
     "from GLBV gv_mvk_adr_0031\nlun=49(dec)/1(char) cdb[1]=20(hex)\n"),
    ("/dev/sg1 m s:0 s:1", 0, "got hard address setting from gv_mvk_adr__dev_sg1: 0x0,2x7\n" +
     firsts(0, 0, 2, 7, 0, 0, 0, 0)),  # the file's name is made of the path
    ("/dev/sg1 m s:0 s:1 debug", 0, "…0x0,2x7\ncpPos: '0x0'\ncpPos: '2x7'\n" +
     firsts(0, 0, 2, 7, 0, 0, 0, 0))], ids=short)
def test_move_by_lun_and_path(lab, args, lun, stdout):
    lab.write("glbv/gv_mvk_adr__dev_sg1.sgv", "0x0,2x7")
    run = lab.run(*args.split(), library=LUN_1.replace("3:1", "3:2" if args[3] == "2" else "3:1"))
    assert run.commands[-1] == move(0, 7, 8, lun)
    assert like(stdout + moved(0, 7, 8).replace("Moved", "…Moved"), run.stdout)


def test_raw_move_and_failures(lab):
    for operands, addresses in ("4096 256 1", (1, 4096, 256)), (
            "-1 65537 70000", (70000 - 65536, 65535, 1)), ("0x10 12ab %s%n", (0, 0, 12)):
        source, target, transport = operands.split()
        lab.check(["0030", "-hm", source, target, transport], [move(*addresses)], moved(transport, source, target))
    lab.check(["0030", "m", "s:0", "d:0"], [TRY, move(1, 4096, 256)],
              moved(1, 4096, 256, ["Try"]) + ERROR, 3, replies=[None, MIXED, "read EIO"])
    lab.check(["0030", "hm", "1", "2", "3"], [move(3, 1, 2)], moved(3, 1, 2, ["Try"]) + ERROR, 3,
              replies=[None, "read EIO"])
    lab.check(["0030", "m", "s:0", "d:0"], [*TRIES, move(0, 0, 0)],  # nothing is known
              NOTHING + moved(0, 0, 0), replies=[None] + [b""] * 3)


def test_cartridges_travel(lab):
    # What happens in the library, run by run; True: the device answered CHECK CONDITION.
    tape = line("Drive", 0, 256, 1, 4096, b"A00001".ljust(32)) + line("Drive", 1, 257)
    for args, stdout, refused in [
            ("0030 m s:0 s:1", moved(1, 4096, 4097), True),  # full
            ("0030 m s:3 d:0", moved(1, 4099, 256), True),  # empty
            ("0030 hm 4096 9 1", moved(1, 4096, 9), True),  # no such element
            ("0030 m s:0 d:0", moved(1, 4096, 256), False), ("0030 l d:0-0", tape, False),
            ("0030 l s:0-0", line("Slot", 0, 4096) + line("Slot", 1, 4097, 1, 0, b"A00002".ljust(32)), False),
            ("0040 L", "…", False), ("0030 m d:0 s:0", moved(1, 256, 4096), True),  # loaded
            ("0040 p", "…", False), ("0040 u", "…", True), ("0040 a", "…", False),
            ("0040 u", "…", False), ("0040 p", "…", False),
            ("0030 hm 256 4096 1", moved(1, 256, 4096), True),  # removal prevented
            ("0030 l d:0-0", tape, False), ("0040 a", "…", False),
            ("0030 hm 256 4096 0", moved(0, 256, 4096), False), ("0030 I", "…", False)]:
        run = lab.run(*args.split())
        last = [event.words[2] for event in run.events if event.name == "read"][-1]
        assert (run.status, last) == (0, "02" if refused else "00"), args
        assert like(stdout, run.stdout), (args, run.stdout)
