# The front end, the way to a device, discovery and INQUIRY, through the executable.
import itertools
import re
import subprocess

import pytest

from conftest import BUILD, INQUIRY, ROOT, STATES, like

# The usage text; lines that begin with "+" belong to --help alone.
USAGE = """Usage:
Scan(0-7) for loaders and tapes:  % scan [bus]
Inquiry:                          % <ID|dev> [-]i
Mode sense:                       % <ID|dev> [-]s
Loader specific
  Initialize element status:      % <ID|dev> [-]I
  Read element status:            % <ID|dev> [-]e [s|d|p:num-num|full|empty]
  Read element status with label: % <ID|dev> [-]l [s|d|p:num-num|full|empty]
  Move medium:                    % <ID|dev> [-]m <s|d|p:num> <s|d|p:num>
+  Move medium with address:       % <ID|dev> [-]hm <source> <target> <transport>
Drive specific
  Set compression:                % <ID|dev> [-]c [0|1]
  Load   for tapes:               % <ID|dev> [-]L
  Unload for tapes:               % <ID|dev> [-]u
  Rewind for tapes:               % <ID|dev> [-]r
  Allow removable for tapes:      % <ID|dev> [-]a
  Prevent removable for tapes:    % <ID|dev> [-]p
+  Erase tape:                     % <ID|dev> erase
+  Read attributes:                % <ID|dev> read [medium|medium_type|0x{attribute-id}]
+Override Element Addresses:       kq_glbv w gv_mvk_adr_{id} transport,slot,port,drive
+   e.g.:                          kq_glbv w gv_mvk_adr_0051 1x1,23x4096,1x16,2x256
"""


def is_usage(text, extended=False, name="mvk"):
    lines = re.sub(r"\+(.*\n)", r"\1" if extended else "", USAGE).replace("%", name)
    return text.endswith(lines) and re.fullmatch("Version: .+\n", text[:-len(lines)])


RES = "b8 00 00 00 ff ff 00 10 ff ff 00 00 [32803]"
LABELS = RES.replace("b8 00", "b8 10")
MOVE = "a5 00 00 01 10 00 01 00 00 00 00 00 [36]"
TAPE_STATUS = ["8c 00 00 00 00 00 00 00 04 08 00 00 00 20 00 00 [68]", "03 00 00 00 64 00 [136]",
               "1a 00 0f 00 64 00 [136]"]
ATTRIBUTES = "8c 00 00 00 00 00 00 00 04 00 00 00 1f ff 00 00 [8228]"
LOAD = ["1b 00 00 00 01 00 [36]", "15 10 00 00 0c 00 [48]", "08 02 00 07 ff 00 [2084]"]
EEPROM = "5a 00 3e 00 00 00 00 1f ff 00 [8227]"
DCE = ["1a 00 0f 00 30 00 [84]", "15 10 00 00 1c 00 [64]"]
LOADER = "ID=NONE Loader:  EXAMPLE LIBRARY 8        0112 (/dev/sg1) \n"
TAPE = "ID=NONE Tape:    EXAMPLE TAPE DRIVE 1     2107 (/dev/sg2)  (loader present) \n"
ARM, SLOT = "Transport    0(adr=   1,src=   0,tape=0) \n", "Slot         0(adr=4096,src=   0,tape=1) "
TRY = "Try (transport=1):(source=4096)>(target=256)\n"
# Every operation: its words, the device, what is sent behind the classifying INQUIRY, what is
# printed; then the status if it is not 0.
OPERATIONS = [
    ("[-]i", "0030", [INQUIRY], LOADER),
    ("[-]i test", "0040", [INQUIRY], TAPE),
    ("[-]s", "0030", [RES], "  1 x Transport First=1\n  8 x Slot First=4096\n…"),
    ("[-]s", "0040", TAPE_STATUS, "Tape Info\nmedium_type=Data medium\n…\ncompression=1\n"),
    ("[-]e", "0030", [RES], ARM + SLOT + "\n…tape=0) \n…"),
    ("[-]e debug", "0030", [RES], f"…e debug \n{SLOT}\n…16,src=   0,tape=1) \n"),
    ("[-]l", "0030", [LABELS], ARM + SLOT + "A00001 …tape=0) \n"),
    ("[-]hm 4096 256 1", "0030", [MOVE], TRY + TRY.replace("Try", "Moved")),
    ("[-]m s:0 d:0", "0030", [RES, MOVE], TRY + TRY.replace("Try", "Moved")),
    ("[-]m s:0 d:0 t:1", "0030", [RES, MOVE.replace("01 10", "00 10")], "Try (transport=0):…"),
    ("[-]L", "0040", LOAD, "TRY LOAD TAPE\nDONE LOAD TAPE\nTRY MODE SELECT (6) SET BLOCKSIZE\n…"),
    *[(f"[-]{word}", "0040", [f"{cdb} 00 [36]"], f"TRY {title}\nDONE {title}\n") for word, cdb, title in (
        ("u", "1b 00 00 00 00", "UNLOAD TAPE"), ("r", "01 00 00 00 00", "REWIND TAPE"),
        ("a", "1e 00 00 00 00", "ALLOW REMOVABLE"), ("p", "1e 00 00 00 01", "PREVENT REMOVABLE"))],
    ("[-]I", "0030", ["07 00 00 00 00 00 [36]"], "TRY INITIALIZE ELEMENT STATUS for LOADER\nDONE …"),
    ("[-]c 1", "0040", DCE, "DCE=1\nDATA COMPRESSION ENABLE:1\nTRY…"),
    ("[-]c test", "0040", DCE, "DCE=0\nDATA COMPRESSION ENABLE:0\nTRY…"),
    ("get_eeprom", "0040", [EEPROM], "TRY MODE SENSE FOR EEPROM\nDATA LEN=56\n…"),
    ("set_eeprom VENDORID X", "0040", [EEPROM, "15 10 00 00 11 00 [53]"], "TRY…\nBUF=17\n…"),
    ("erase", "0040", ["19 03 00 00 00 00 [55]"], ""),
    ("read", "0040", [ATTRIBUTES], ""),
    ("read debug", "0040", [ATTRIBUTES], "iLinuxScsiCmd() timeout=10000 ms for /dev/sg2\n…"),
    ("get", "0040", ["1a 00 3f 00 ff 00 [291]"], "TRY MODE SENSE (6)\nDATA LEN=125\n…"),
    ("set block_size 65536", "0040", LOAD[1:2], "TRY MODE SELECT (6) SET BLOCKSIZE\nnew_block_size=65536\n…"),
    ("set density_code 66", "0040", LOAD[1:2], "SIZE=66\nTRY MODE SELECT (6) SET DENSITY\nnew_dens…"),
    ("set foo 5", "0040", [], "")]


def on(device, commands):
    return [f"{device[5:] or {'0030': 'sg1', '0040': 'sg2'}[device]} {c}" for c in commands]


@pytest.mark.parametrize("dash, row", [
    (dash, row) for row in OPERATIONS for dash in ("", "-") if not dash or row[0][0] == "["],
    ids=lambda value: value if isinstance(value, str) else value[0])
def test_operation(lab, dash, row):
    words, device, commands, stdout, *status = row
    lab.check([device] + words.replace("[-]", dash).split(), on(device, commands), stdout, *status)


@pytest.mark.parametrize("words, commands", [(words, []) for words in [
    "", "debug", "test", "x", "-", "--i", "ii", "S", "--help", "scan", "-get", "-get_eeprom", "-erase",
    "-read", "-set_eeprom a b", "-set block_size 1", "hm", "hm 1 2", "-hm 1 2 debug", "c", "-c",
    "c debug", "set", "set block_size", "set block_size debug", "set_eeprom", "set_eeprom K",
    "set_eeprom K debug"]] + [("m", [RES]), ("-m s:1", [RES]), ("m s:1 debug", [RES])])
def test_usage_error(lab, words, commands):
    # Too few operands and unknown words: what is sent before the usage text.
    debug = "debug" in words and commands
    run = lab.check(["0030"] + words.split(), on("0030", commands), "…Version…" if debug else "Version…", 1)
    assert is_usage(run.stdout[run.stdout.index("Version"):])


def test_usage_alone(lab):
    # Nothing is touched. The name that the caller gives stands in every line; none is no harm.
    shell = ["bash", "-c", 'exec -a "$0" mvk "$@"']
    nameless = ["python3", "-c", "import ctypes as c; l = c.CDLL(None); l.execve("
                f"b'{BUILD}/mvk', (c.c_char_p * 1)(), c.c_void_p.in_dll(l, 'environ'))"]
    for args, via, name in [
            *((args, ["mvk"], "mvk") for args in ("", "--help", "--help i", "--help debug", "--help test")),
            ("", shell + ["n" * 5000], "n" * 5000), ("--help", shell + ["%s%n"], "%s%n"), ("", nameless, "")]:
        run = lab.run(*args.split(), via=via)
        # An older kernel gives no name at all instead of an empty one.
        assert is_usage(run.stdout, args != "", name) or not name and is_usage(run.stdout)
        assert run.status == 1 and not run.events and not (lab.home / "work/sem").exists()
    assert like("Could not open debug\nVersion: …", lab.run("debug", via=shell + ["test"]).stdout)


HOSTILE = {"long": "9" * 5000, "bytes": "\xff\x80" * 2500, "empty": "", "format": "%n%s%99d"}


@pytest.mark.parametrize("text", HOSTILE.values(), ids=HOSTILE)
def test_hostile_arguments(lab, text):
    for word in sorted({row[0].replace("[-]", "").split()[0] for row in OPERATIONS}) + [text]:
        run = lab.run("0030", word, text, text, text)
        assert run.status in (0, 1) and run.sent[0] == f"sg1 {INQUIRY}"
    run = lab.run(text, "i")
    assert (run.stdout, run.status) == (f"Could not open {text[:1023]}\n" * 2, 2)
    assert lab.run(text).status == 1 and lab.run("scan", text, text).status == 0
    run = lab.run("0030", "i", text, "debug")
    assert f"gszCurCmd={f'mvk 0030 i {text} debug '[:127]}\n" in run.stdout


# What a failing command prints, for its device and its count.
WRITE = ("iLinuxScsiCmd() Error write to /dev/%s\niLinuxScsiCmd() iTransferBytes %d, pack_len 297, "
         "result \0\niLinuxScsiCmd() errno %s\n")
READ, LATE = "iLinuxScsiCmd() Error read from /dev/%s\n", "iLinuxScsiCmd() fail to set timeout=%d ms to %s\n"
# Arguments, replies, scenario, what is sent behind the classifying INQUIRY (None: not even that),
# what is printed, status. A run whose INQUIRY fails says so and goes on.
EXECUTOR = [
    ("0030 i", [], "open sg1 * EBUSY", None, "Could not open /dev/sg1\n" * 2, 2),
    ("0030 i", [], "open sg1 2 EACCES", [], "Could not open /dev/sg1\n", 2),
    *[(f"{device} i", [], "", None, f"Could not open {device}\n" * 2, 2) for device in ("0099", "/dev/sg77", "x")],
    ("0030 i", ["write EIO"], "", [INQUIRY], WRITE % ("sg1", -1, "5: Input/output error") + LOADER, 0),
    ("0030 i", [None, "write ENOMEM"], "", [INQUIRY], WRITE % ("sg1", -1, "12: Cannot allocate memory"), 3),
    *[("0030 i", [None, f"write {n}"], "", [INQUIRY], WRITE % ("sg1", n, "…: …"), 3) for n in (0, 41, 43)],
    ("0030 i", ["read EIO"], "", [INQUIRY], READ % "sg1" + LOADER, 0),
    ("0040 i", ["read EIO"], "", [INQUIRY], READ % "sg2" + TAPE.replace(" (loader present) ", ""), 0),
    *[("0030 i", [None, f"read {n}"], "", [INQUIRY], READ % "sg1", 3) for n in ("EIO", 290, 36, 0)],
    ("0030 i", [], "timeout sg1 * EPERM", [INQUIRY], LATE % (2000, "/dev/sg1") * 2 + LOADER, 0),
    ("0040 u", [], "timeout sg2 2 EIO", ["1b 00 00 00 00 00 [36]"],
     f"TRY UNLOAD TAPE\n{LATE % (120000, '/dev/sg2')}DONE UNLOAD TAPE\n", 0),
    # What the device says of itself in the reply's header is left to the operations.
    ("0040 u", [None, "check 05 24 00; result 7"], "", ["1b 00 00 00 00 00 [36]"], "TRY UNLOAD TAPE\nDONE…", 0)]


@pytest.mark.parametrize("args, replies, scenario, commands, stdout, status", EXECUTOR)
def test_executor(lab, args, replies, scenario, commands, stdout, status):
    if commands is None:
        run = lab.run(*args.split(), scenario=scenario)
        assert (run.sent, run.stdout, run.status) == ([], stdout, status)
    else:
        lab.check(args.split(), on(args[:4], commands), stdout, status, replies=replies, scenario=scenario)


def inquiry(kind, byte6=0, text="VENDOR  PRODUCT         REV1"):
    return bytes([kind, 0, 0, 0, 0, 0, byte6, 0]) + text.encode("latin-1")


RAW = "\0\x1f \xff\xa9\xaa~V" + "P" * 15 + "\0" + "\x80\x01\xfeR"
WIDE = bytes(range(8)) * 31 + bytes(6) + b"z"
TAPE_LINE = "ID=NONE Tape:    VENDOR  PRODUCT          REV1 (/dev/sg1) "
LOADER_LINE = TAPE_LINE.replace("Tape:    ", "Loader:  ")
DEBUG = ("iLinuxScsiCmd() timeout=2000 ms for /dev/sg1\ndebug info\n\niLinuxScsiCmd() after write op "
         "sg_hd->result=0\niLinuxScsiCmd() gszCurCmd=mvk 0030 i debug \ndebug info\n")


@pytest.mark.parametrize("first, second, stdout, status", [
    (inquiry(8), inquiry(8), f"{LOADER_LINE}\n", 0),
    (inquiry(1), inquiry(1), f"{TAPE_LINE} (no loader) \n", 0),
    (inquiry(1, 0x80), inquiry(1), f"{TAPE_LINE} (loader present) \n", 0),
    (inquiry(1), inquiry(1, 8), f"{TAPE_LINE} (no loader) \n", 0),
    (inquiry(8), inquiry(1, 8), f"{TAPE_LINE}\n", 0),
    (inquiry(1, 1), inquiry(8), f"{LOADER_LINE} (loader present) \n", 0),
    (inquiry(0x21), inquiry(1), f"{TAPE_LINE}\n", 0),
    *[(inquiry(8), reply, "", 6) for reply in (inquiry(0x21), inquiry(0x88), WIDE, b"")],
    (inquiry(8), inquiry(8, 0, RAW) + WIDE[36:], f"ID=NONE Loader:  {RAW[:24]} {RAW[24:]} (/dev/sg1) \n", 0)])
def test_inquiry(lab, first, second, stdout, status):
    # Type and fields as the device has them; at report level 2 the whole reply before them.
    lab.check(["0030", "i"], on("0030", [INQUIRY]), stdout, status, replies=[first, second])
    dump = "".join(f"[{i:2}]={chr(b) if 32 <= b <= 169 else f'{b:x}':>2} " for i, b in enumerate(second) if b)
    lab.check(["0030", "i", "debug"], on("0030", [INQUIRY]), f"{DEBUG}{dump}\n{stdout}", status,
              replies=[first, second])


def device(address, kind, more=""):
    return (f"[device]\naddress = {address}\ntype = {kind}\nvendor = VENDOR\nproduct = MODEL\n"
            f"revision = REV1\n{more}\n")


# An entry of the listing: how the host line of an address ends, the names, the type.
HOST, NAMES = "Host: scsi{} Channel: {} Id: {} Lun: {}\n".format, "  Vendor: {:8} Model: MODEL            Rev: REV1\n"
VENDOR, OTHER = NAMES.format("VENDOR"), NAMES.format("OTHER")
DISK, CHANGER = "  Type:   Direct-Access \n", "  Type:   Medium Changer                   ANSI  SCSI revision: 05\n"
FIRST, SECOND = HOST(0, "00", "01", "00"), HOST(0, "00", "02", "00")
SCANNED = "ID={} Loader:  VENDOR   MODEL            REV1 ({})\n".format
SCANNED_DISK = "ID={} other:   VENDOR   MODEL           \n".format


@pytest.mark.parametrize("listing, stdout", [
    ("", ""),
    (HOST(1, "12", "15", "07") + VENDOR + CHANGER, SCANNED("1367", "/dev/sg0")),
    # A host line that is too short by one character: the entry before it goes on.
    (FIRST + VENDOR + DISK + SECOND[:36] + "\n" + OTHER + CHANGER + SECOND + VENDOR + CHANGER,
     SCANNED_DISK("0010") + SCANNED("0010", "/dev/sg0").replace("VENDOR", "OTHER ") + SCANNED("0020", "/dev/sg1")),
    # Without names those before stand; without a type nothing is printed, but the number counts.
    (FIRST + VENDOR + DISK + SECOND + CHANGER, SCANNED_DISK("0010") + SCANNED("0020", "/dev/sg1")),
    (FIRST + SECOND + VENDOR + CHANGER, SCANNED("0020", "/dev/sg1")),
    (VENDOR + DISK + CHANGER, SCANNED_DISK("") + SCANNED("", "")),
    ("Attached devices: \n\n" + FIRST + VENDOR[:-1] + "x" * 300 + "\n  Type:   Unknown\n", SCANNED_DISK("0010"))])
def test_listing(lab, listing, stdout):
    lab.write("listing", listing)
    run = lab.run("scan", library="[library]\nlisting = listing\n" + device("0:0:0:0", "disk"))
    assert (run.stdout, run.events, run.status) == (stdout, [], 0)


@pytest.mark.parametrize("args", ["scan", "scan 2", "scan 0 debug"])
def test_scan_of_forty(lab, args):
    # IDs hold sums of digits, nodes report numbers, and only sixteen nodes are looked at.
    library, lines, nodes = "", [], {}
    for n in range(40):
        kind, address = ("tape", "changer", "disk", "tape")[n % 4], (n // 10, n % 3, n % 13, n % 2)
        library += device("%d:%d:%d:%d" % address, kind)
        listed = "".join(str(sum(divmod(a, 10))) for a in address)
        if kind == "tape" and len(nodes) < 16:
            nodes["%d%d%d%d" % address] = f"/dev/nst{len(nodes)}"
        lines.append((kind, listed, n))
    expected = [SCANNED_DISK(i) if kind == "disk" else SCANNED(i, f"/dev/sg{n}") if kind == "changer" else
                SCANNED(i, nodes.get(i, "/dev/nst?")).replace("Loader: ", "Tape:   ") for kind, i, n in lines]
    run = lab.run(*args.split(), library=library)
    assert (run.stdout.splitlines(True), run.sent, run.status) == (expected, [], 0)


@pytest.mark.parametrize("more, scenario, node, made", [
    ("", "", "/dev/nst0", []), ("node = 5", "", "/dev/nst5", [["9", "128", "EEXIST"]]),
    ("node = none", "", "/dev/nst0", [["9", "128", "0"]]), ("node_address = 0:0:9:0", "", "/dev/nst?", []),
    ("", "open nst0 1 EBUSY", "/dev/nst?", []), ("", "idlun nst0 * EIO", "/dev/nst?", [])])
def test_tape_node(lab, more, scenario, node, made):
    run = lab.run("scan", "debug", scenario=scenario, library=device("0:0:4:0", "tape", more))
    assert "mknod" not in run.stderr  # whether it worked shows in the line of the drive
    assert run.stdout == SCANNED("0040", node).replace("Loader: ", "Tape:   ")
    assert [e.words for e in run.events if e.name == "mknod" and e.path == "/dev/nst0"] == made


@pytest.mark.parametrize("args, library, scenario, sent, lun, stdout", [
    # Three digits: the last loader or tape drive on any host; others are never selected.
    ("050 i", "0:0:5:0 tape, 1:0:5:0 changer, 2:0:5:0 disk", "", "sg1", "00 00", "ID=NONE Loader: …"),
    ("1050 i", "0:0:5:0 tape, 1:0:5:0 changer", "", "sg1", "00 00", "…"),
    ("0050 i", "0:0:5:0 tape, 1:0:5:0 changer, 0:0:5:0 tape", "", "sg2", "00 00", "…"),
    ("2050 i", "2:0:5:0 disk", "", None, "", "Could not open 2050\n" * 2),
    ("0051 i", "0:0:5:1 changer", "", "sg0", "20 20", "…"), ("0057 i", "0:0:5:7 changer", "", "sg0", "e0 e0", "…"),
    ("0058 i", "0:0:5:8 changer", "", "sg0", "00 00", "…"), ("051 i", "0:0:5:1 tape", "", "sg0", "20 20", "…"),
    # A path is completed by the ID only when the first command looks.
    ("/dev/sg1 i", "0:0:4:0 disk, 0:0:5:1 changer", "", "sg1", "00 20", "…"),
    ("0050 i", "0:0:5:0 tape", "open scsi * EACCES", None, "",
     ("iLinuxGetID() FAIL COULD NOT OPEN '/proc/scsi/scsi'\nCould not open 0050\n") * 2),
    ("/dev/sg0 i", "0:0:5:1 changer", "open scsi * EACCES", "sg0", "00 00", "iLinuxGetID() FAIL…(/dev/sg0) \n"),
    ("scan", "0:0:5:1 tape", "open scsi * ENOENT", None, "", "iLinuxGetID() FAIL COULD NOT OPEN '/proc/scsi/scsi'\n"),
])
def test_selection(lab, args, library, scenario, sent, lun, stdout):
    library = "".join(device(*entry.split()) for entry in library.split(", "))
    run = lab.run(*args.split(), scenario=scenario, library=library)
    assert run.sent == [f"{sent} {INQUIRY}".replace("12 00", f"12 {byte}") for byte in lun.split()]
    assert like(stdout, run.stdout) and run.status == (0 if sent or args == 'scan' else 2)


@pytest.mark.parametrize("closed", itertools.product(["", "<&-"], ["", ">&-"], ["", "2>&-"]))
def test_closed_standard_streams(lab, closed):
    # No report goes to a device or a lock file that was given a standard stream's number.
    run = lab.run("0030", "i", via=["sh", "-c", f'exec mvk "$@" {" ".join(closed)}', "sh"], check=not closed[2])
    assert run.status == 0 and run.sent == on("0030", [INQUIRY] * 2)
    assert run.stdout == ("" if closed[1] else LOADER)
    assert {r.took for r in run.requests} == {"42"} and lab.read("work/sem/mvk_busy_0030.sem") == ""


def test_what_the_executable_needs():
    # The C library alone, and its plain file calls, so that a stand-in for them can be preloaded.
    libraries, names = (set(re.findall(pattern, subprocess.check_output([*tool, BUILD / "mvk"], text=True)))
                        for tool, pattern in ((["readelf", "-d"], r"NEEDED.*\[(.*)\]"),
                                              (["nm", "-D"], r"(?m) (\w+)(?:@|$)")))
    plain = set("open read write ioctl close stat fopen fgets system popen".split())
    assert names >= plain, plain - names
    assert not names & {f"__{name}_{suffix}" for name in plain for suffix in ("chk", "2")}
    sanitized = "MVK_SANITIZE:BOOL=ON" in (BUILD / "CMakeCache.txt").read_text()
    assert libraries == {"libc.so.6"} | ({"libm.so.6"} if sanitized else set())


def test_documents():
    # The operations of the program are those tried here, in the usage text and in the manual.
    source = (ROOT / "src/sys/linux/mvk.cpp").read_text()
    table = set(re.findall(r'^    \{"(\w+)", +"\w*", +(true|false)', source, re.MULTILINE))
    tried = {row[0].split()[0] for row in OPERATIONS}
    assert {("[-]" if dash == "true" else "") + word for word, dash in table} == tried
    shown = set(re.findall(r"<ID\|dev> (\S+)", USAGE))
    assert shown <= tried and tried - shown == {"get", "set", "get_eeprom", "set_eeprom"}
    manual = (ROOT / "man/mvk.8").read_text()
    items = set(re.findall(r"[\w|]+", " ".join(re.findall(r"^\.It Cm (.*)", manual, re.MULTILINE))))
    words = {word.replace("[-]", "") for word in tried} | set(
        "scan full empty scsi medium medium_type 0x block_size density_code debug test".split())
    assert not words - items, f"the manual lacks {words - items}"
    assert re.findall(r"(?m)^\.It (\d+) Ta (\S+) Ta", manual) == [
        (str(number), name if number else "(OK)") for number, name in enumerate(STATES)]
