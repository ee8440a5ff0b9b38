# Completion for bash: what is offered behind a command line.
import re

import pytest
from companions import DEFAULT, ROOT, lab

OPERATIONS = set("i s e l hm m u L r a p I c get_eeprom set_eeprom erase read get set".split())
DASHED = {f"-{word}" for word in OPERATIONS if len(word) < 3}
LISTED = set("0030 0:0:3:0 /dev/sg1 0040 0:0:4:0 /dev/sg2 0050 0:0:5:0 /dev/sg3".split())
DEVICES = LISTED | {"/dev/nst0", "/dev/nst1", "/dev/sch0"}
JSON = set("--verify --force --indent --map --help --version".split())
SIM = set("--library --state --scenario --strict --log --reset --plain --print --capture".split())
COMPLETE = '. "$1"; COMP_LINE=$0 COMP_POINT=${#0}; _mvk; printf "%s\\n" "${COMPREPLY[@]}"'


@pytest.fixture
def offered(lab):
    def words(line):
        return set(lab.run("bash", "-c", COMPLETE, line, ROOT / "completions/mvk")[1].split())
    return words


@pytest.mark.parametrize("line, words", [
    ("mvk ", DEVICES | {"scan", "--help"}),
    ("/usr/bin/mvk 0030 ", OPERATIONS),
    ("mvk 0030 -", DASHED),
    ("mvk 0:0:", {"3:0", "4:0", "5:0"}),
    ("mvk 0030 m s:0 ", {"s:", "d:", "p:"}),
    ("mvk-json ", DEVICES | JSON | {"scan"}),
    ("mvk-json --verify 0030 m ", {"s:", "d:", "p:"}),
    ("mvk-json --map ", DEVICES),
    ("mvk-sim -", SIM | {"--help", "--version"}),
    ("mvk-sim --state x -- mvk-json --map /dev/s", {"/dev/sg1", "/dev/sg2", "/dev/sg3", "/dev/sch0"}),
    ("mvk-sim --capture --l", {"--labels"}),
    ("mvk-capture ", {"--labels", "--no-labels", "--help", "--version"}),
    ("mvk-changer --log x 0030 load", {"load", "loaded"}),
    ("kq_glbv r gv_", {"gv_prot", "gv_mvk_adr_0030", "gv_mvk_adr_0040", "gv_mvk_adr_0050"})])
def test_completion(offered, line, words):
    assert offered(line) == words


def test_without_sysfs(lab, offered):
    lab.library = lab.home / "listed.ini"
    lab.library.write_text("[library]\nsysfs = no\n" + DEFAULT.read_text())
    assert offered("mvk ") == LISTED | {"scan", "--help"}


# What mvk itself says of its operations: those of its usage are all offered, and mvk knows each.
def test_operations(lab):
    usage = lab.run("mvk", "--help")[1]
    listed = re.findall(r"<ID\|dev> (\[-\])?(\w+)", usage)
    assert {word for _, word in listed} <= OPERATIONS
    assert {f"-{word}" for dash, word in listed if dash} == DASHED
    for word in OPERATIONS:
        assert "Usage:" not in lab.run("mvk", "9999", word, "1", "2", "3")[1]
