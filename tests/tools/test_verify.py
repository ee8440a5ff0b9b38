# mvk-json --verify: moves and settings that are made, refused by the device, or not sent at all.
import pytest
from companions import lab

MOVE_MEDIUM, MODE_SELECT = "a5", "15"
COUNTS = "1x1,8x4100,2x16,2x256"  # an override: slot 0 is at 4100


# An override, a command line, the reasons why nothing is sent.
@pytest.mark.parametrize("counts, line, reasons", [
    (None, "--verify 0030 m s1 d:0", ["s1 is not a letter of s d p t, a colon and a number"]),
    (None, "--verify 0030 -m s:0 d:0 t:1", ["the library has no element t:1"]),
    (None, "0030 --verify m s:3 s:0", ["the source 4099 is empty", "the target 4096 is full"]),
    (COUNTS, "--verify 0030 m s:0 d:0 debug", ["the source 4100 is empty"]),
    (None, "--verify 0030 hm 4096 70000 0", ["70000 is not an element address"]),
    (None, "--verify 0030 hm 5 256 7", ["no element has the address 5", "no element has the address 7"])])
def test_nothing_is_sent(lab, counts, line, reasons):
    if counts:
        (lab.home / "gv_mvk_adr_0030.sgv").write_text(counts)
    status, answer = lab.ask(line)
    found = answer["verification"]
    assert (status, answer["verified"], found["sent"], found["reasons"]) == (20, False, False, reasons)
    assert MOVE_MEDIUM not in lab.opcodes()


def test_moves(lab):
    status, answer = lab.ask("--verify 0030 m s:1 d:0")
    assert (status, answer["verified"], lab.opcodes().count(MOVE_MEDIUM)) == (0, True, 1)
    status, answer = lab.ask("0030 hm 4096 256 1 --verify --force")
    assert (status, answer["message"], answer["verified"]) == (20, "OK", False)
    assert answer["verification"]["reasons"][:2] == [
        "the target 256 was full",
        "the source 4096 is still full",
    ]
    assert [place["label"] for place in answer["verification"]["after"]] == ["A00001", "A00002"]
    status, answer = lab.ask("--verify 0030 m s:0 d:1", scenario="check 0xA5 * 05 3B 0E\n")
    assert (status, answer["verification"]["sent"]) == (20, True)
    status, answer = lab.ask("--verify 0030 m s:0 d:1", scenario="open /dev/sg1 * EACCES\n")
    assert (status, answer["verification"]["sent"]) == (2, False)


# Requests go out without their parameter list, so that no setting is changed; u and L have none.
@pytest.mark.parametrize("line, reasons", [
    ("set block_size 65536", ["block_length is 0, not 65536"]),
    ("set density_code 66", ["density_code is 73, not 66"]),
    ("c 0", ["compression is 1, not 0"]),
    ("set_eeprom PRODUCTID NEW", ["eeprom is PRODUCTID TAPE DRIVE 1, not PRODUCTID NEW"]),
    ("set_eeprom VENDORID EXAMPLE", []),
    ("L", []),
    ("u", [])])
def test_settings(lab, line, reasons):
    assert lab.ask("--verify 0030 m s:0 d:0")[0] == 0
    status, answer = lab.ask(f"--verify 0040 {line}")
    assert (status, answer["verification"]["reasons"]) == (20 if reasons else 0, reasons)
    assert answer["verification"]["sent"] and answer["status"] == 0
