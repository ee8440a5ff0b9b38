# Completion for bash: what is offered behind a command line.
import pytest
from companions import ROOT, lab

OPERATIONS = set("i s e l hm m u L r a p I c get_eeprom set_eeprom erase read get set".split())
DEVICES = set("0030 /dev/sg1 0040 /dev/sg2 0050 /dev/sg3".split())


@pytest.fixture
def offered(lab):
    script = ROOT / "completions/mvk"
    complete = f'. {script}; COMP_LINE=$0 COMP_POINT=${{#0}}; _mvk; echo "${{COMPREPLY[@]}}"'
    return lambda line: set(lab.run("bash", "-c", complete, line)[1].split())


@pytest.mark.parametrize("line, words", [
    ("mvk ", DEVICES | {"scan", "--help"}),
    ("mvk 0030 ", OPERATIONS)])
def test_completion(offered, line, words):
    assert offered(line) == words
