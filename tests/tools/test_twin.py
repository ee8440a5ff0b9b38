# mvk-capture: what it asks, and the twin of a library beside the library.
from companions import lab


def test_the_twin_lists_the_same(lab):
    for line in ("m s:0 d:0", "m s:1 d:1"):
        lab.run("mvk", "0030", *line.split())
    lab.run("mvk", "0040", "L")
    lines = ("scan", "0030 l", "0030 e scsi", "0040 L", "0040 s", "0040 get", "0040 read")
    shown = [lab.run("mvk", *line.split()) for line in lines]
    twin = lab.home / "twin.ini"
    twin.write_text(lab.run("mvk-sim", "--capture")[1])
    lab.library = twin
    assert [lab.run("mvk", *line.split()) for line in lines] == shown
