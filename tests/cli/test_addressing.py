# IDs and device nodes on machines with many hosts, without the listing, or with gaps in numbers.
import os

import pytest

TYPES = {"disk": "Direct-Access    ", "tape": "Sequential-Access", "changer": "Medium Changer   "}


# A description of devices, each "H:C:T:L type" or "H:C:T:L type sg-number", which have the address
# for their product.
def library(*devices, settings=""):
    text = f"[library]\n{settings}\n"
    for device in devices:
        address, kind, *number = device.split()
        text += f"[device]\naddress = {address}\ntype = {kind}\nproduct = {address}\nrevision = 1\n"
        text += "".join(f"sg = {n}\n" for n in number)
    return text


# Entries of the kernel's listing, each "HOST-LINE-NUMBERS type", the numbers as they stand.
def listing(*entries):
    text = "Attached devices:\n"
    for entry in entries:
        host, kind = entry.rsplit(" ", 1)
        text += f"Host: scsi{host}\n  Vendor: A        Model: M                Rev: REV1\n"
        text += f"  Type:   {TYPES[kind]}                ANSI  SCSI revision: 05\n"
    return text


FAR = library(
    "0:0:0:0 disk", "10:0:0:3 changer", "10:0:0:1 tape", "266:0:0:1 tape", "1:0:100:12 changer"
)
FAR_SCAN = """
    ID=0000 other: 0:0:0:0
    ID=10003 Loader: 10:0:0:3 1 (/dev/sg1)
    ID=10001 Tape: 10:0:0:1 1 (/dev/nst0)
    ID=266001 Tape: 266:0:0:1 1 (/dev/nst1)
    ID=101003 Loader: 1:0:100:12 1 (/dev/sg4)
    """


# Compares lines but for the width of their columns.
def assert_words(text, expected):
    assert [line.split() for line in text.splitlines()] == [
        line.split() for line in expected.strip().splitlines()
    ]


# Numbers that leave the columns are read behind their words; no node is opened.
@pytest.mark.parametrize("settings", ["", "listing = none"], ids=["listing", "no listing"])
def test_far_hosts(lab, settings):
    far = FAR.replace("[library]\n", f"[library]\n{settings}\n")
    run = lab.run("scan", library=far)
    assert_words(run.stdout, FAR_SCAN)
    assert not [event.path for event in run.events if event.name == "open"]
    for args in ("10003 i", "/dev/sg1 i", "003 i"):
        assert " 10:0:0:3 " in lab.run(args).stdout
    lab.write("glbv/gv_mvk_adr_101003.sgv", "1x7")
    assert (
        "got hard address setting from gv_mvk_adr_101003: 1x7" in lab.run("101003 m s:0 d:0").stdout
    )
    assert os.path.exists(lab.home / "work/sem/mvk_busy_101003.sem")


# Two digits count as their sum (Id: 12 is 3), and a blank in a column as -16.
# What a host line says when it is torn, shifted by a blank, or odd, between two that are whole.
@pytest.mark.parametrize(
    "line, found",
    [
        ("10 Channel: 00 Id: 00 Lun: 03", "10003"),
        ("1 Channel: 00 Id: 123 Lun: 12", "101233"),
        ("1 Channel: 000 Id: 12 Lun: 0 ", "100030"),
        ("10 Channel: 00 Id: 00 Lun:     ", ""),
        ("10 Channel: 00 Lun: 03 Id:     ", ""),
        (" 1 Channel: 00 Id: 00 Lun: 03", "-16-16-16-16"),
    ],
    ids=["host", "target", "channel", "no number", "no word", "shifted"],
)
def test_host_line(lab, line, found):
    before, after = "0 Channel: 00 Id: 05 Lun: 00 tape", "0 Channel: 00 Id: 06 Lun: 00 disk"
    lab.write("listing", listing(before, line + " changer", after))
    run = lab.run("scan", library=library(settings="listing = listing\nsysfs = no"))
    assert_words(
        run.stdout,
        f"""
        ID=0050 Tape: A M REV1 (/dev/nst?)
        ID={found} Loader: A M REV1 (/dev/sg1)
        ID=0060 other: A M
        """,
    )


GAP = ("0:0:0:0 disk 0", "0:0:3:0 changer 5", "0:0:4:0 tape 7")


# sysfs knows the address under another number than the counted one, with and without the listing.
@pytest.mark.parametrize("settings", ["", "listing = none"], ids=["listing", "no listing"])
@pytest.mark.parametrize("device, sent", [("0030", "sg5"), ("/dev/sg5", "sg5"), ("0040", "sg7")])
def test_gap(lab, device, sent, settings):
    lab.trace_at(1)
    run = lab.run(f"{device} i", library=library(*GAP, settings=settings))
    assert {line.split()[0] for line in run.sent} == {sent}
    if device[0] == "0":
        assert f"is not sg{1 if sent == 'sg5' else 2} but {sent}\n" in lab.read("lgc/kq_mvk.lgc")
    assert "(/dev/sg5)" in lab.run("scan").stdout


# The listing counts a node that sysfs gives to another device, and sysfs has none for the entry.
def test_node_of_another_device(lab):
    lab.trace_at(1)
    lab.write("listing", listing("0 Channel: 00 Id: 06 Lun: 00 changer"))
    run = lab.run("0060 erase", library=library("0:0:4:0 tape", settings="listing = listing"))
    assert (run.sent, run.status) == ([], 2)
    assert "[0060] is not sg0 and has no other node\n" in lab.read("lgc/kq_mvk.lgc")
    assert "(/dev/sg?)" in lab.run("scan").stdout
    assert lab.run("/dev/sg0 i").stdout.startswith("ID=NONE Tape:")


# During the run the device disappears, and another one takes its ID or its number.
@pytest.mark.parametrize("later", ["0 Channel: 00 Id: 12", "0 Channel: 00 Id: 03"])
@pytest.mark.parametrize("device", ["0030", "/dev/sg1"])
def test_device_goes_during_the_run(lab, device, later):
    first = ("0 Channel: 00 Id: 00 Lun: 00 disk", "0 Channel: 00 Id: 03 Lun: 00 tape")
    lab.write("listing", listing(*first))
    devices = ("0:0:0:0 disk", "0:0:3:0 tape", "0:0:12:0 tape")
    how = {"library": library(*devices, settings="listing = listing")}
    process = lab.start_until_sent(f"{device} erase", "delay 0x12 1 700", **how)
    lab.write("listing", listing(first[0], f"{later} Lun: 00 tape"))
    out = process.communicate(timeout=20)[0].decode()
    sent = [line.split()[3] for line in process.log.read_text().splitlines() if " write " in line]
    if "12" in later:
        assert (out, process.returncode, sent) == ("Could not open 0030\n", 2, ["/dev/sg1"])
    else:
        assert (out, process.returncode, sent) == ("", 0, ["/dev/sg1"] * 2)


# An entry that cannot be read does not take a path that sysfs knows away from its device.
def test_path_and_an_odd_entry(lab):
    odd = listing("0 Channel: 00 Id: 03 Lun: 00 tape").replace("scsi0", "csi00")
    lab.write("listing", odd)
    run = lab.run("/dev/sg0 r", library=library("0:0:3:0 tape", settings="listing = listing"))
    assert ([line.split()[0] for line in run.sent], run.status) == (["sg0", "sg0"], 0)


# Where neither the listing nor sysfs has anything, or the listing is there but cannot be read.
@pytest.mark.parametrize(
    "settings, scenario", [("listing = none\nsysfs = no", ""), ("", "open scsi * EACCES")]
)
def test_no_listing(lab, settings, scenario):
    run = lab.run("scan", scenario=scenario, library=library("0:0:4:0 tape", settings=settings))
    assert run.stdout == "iLinuxGetID() FAIL COULD NOT OPEN '/proc/scsi/scsi'\n"
    assert run.status == 0


# An empty argument, as a script with an unset variable passes it, selects nothing.
def test_empty_device(lab):
    run = lab.run(["", "erase"], library=library("0:0:4:0 tape"))
    assert (run.stdout, run.status, run.sent) == ("Could not open \nCould not open \n", 2, [])


# A number is never a file, not even where one has its name; nor is a terminal, a disk or memory
# ever taken for a device. What is no node of a device serves as it comes.
@pytest.mark.parametrize("name", ["0099", "0:0:9:0", "/dev/ptmx", "/dev/random"])
def test_not_opened(lab, name):
    lab.write("0099", "untouched")
    lab.write("0:0:9:0", "untouched")
    lab.trace_at(1)
    run = lab.run(f"{name} erase")
    assert (run.stdout, run.status) == (f"Could not open {name}\n" * 2, 2)
    assert lab.trace().count(f"[{name}] is not opened: ") == (2 if "/" in name else 0)
    assert lab.read("0099") == lab.read("0:0:9:0") == "untouched"
    assert lab.run("/dev/null erase").status == lab.run("./0099 erase").status == 3


# An ID of five digits tells the bus of its drives when its host has two, not when a sum has.
@pytest.mark.parametrize(
    "address, shown", [("0:0:19:0", ""), ("10:0:1:0", "ID=10000 Tape Drive 0 ")]
)
def test_bus_of_the_drives(lab, address, shown):
    run = lab.run("scan", library=library(f"{address} changer") + "drives = 1 from 256\n")
    device = run.stdout.split()[0].removeprefix("ID=")
    assert len(device) == 5 and lab.run(f"{device} e scsi").stdout.startswith(shown)
    assert bool(lab.run(f"{device} e scsi").stdout) == bool(shown)
