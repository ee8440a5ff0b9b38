# The simulated library itself: what programs see of it, and what it refuses.
import subprocess

from conftest import BUILD, OK, assert_text, read_log


# Runs mvk-sim; env: changes to the lab's environment, None takes a variable away.
def simulate(lab, *args, **env):
    env = {name: value for name, value in {**lab.env, **env}.items() if value is not None}
    how = {"cwd": lab.home, "env": env, "capture_output": True, "text": True}
    return subprocess.run([BUILD / "mvk-sim", *args], check=False, **how)


# Sections of a description.
def device(address, kind, *lines):
    return "\n".join(["[device]", f"address = {address}", f"type = {kind}", *lines, ""])


def cartridge(*lines):
    return "\n".join(["[cartridge]", *lines, ""])


# Two drives, the first without its own tape node, the second held; a disk.
NODES = (
    device("1:0:0:0", "tape", "element = 256", "loaded = yes", "tape_node = none")
    + device("1:0:1:0", "tape", "node = 33", "held = yes")
    + device("1:0:2:0", "disk")
    + device("1:0:5:0", "changer", "drives = 1 from 256")
    + cartridge("place = 256", 'block = "FIRST BLOCK"')
)


# What is written through a link lands on the medium: a block where the tape stands, bytes of a
# disk. To close the node that rewinds is to rewind. A drive that another program holds is busy.
def test_medium(lab):
    (lab.home / "link").symlink_to("/dev/nst0a")
    lab.write("library", NODES)
    script = """
        exec 2>&1
        read="dd bs=99 count=1 status=none"; write="dd status=none"; rewind="$write if=/dev/st0l"
        $read if=link; echo two | $write of=link; $rewind; $read if=link; $read if=link; $rewind
        echo one | $write of=link; $rewind; $read if=link; $read if=link
        printf XYZ | $write of=/dev/sda; $read if=/dev/sda
        $read if=/dev/nst33
        """
    run = simulate(lab, "-l", "library", "-s", "state", "-g", "log", "sh", "-c", script)
    read = "FIRST BLOCK" * 2 + "two\none\nXYZ" + "\0" * 96
    assert_text(run.stdout, f"{read}dd: ...: Device or resource busy\n")
    assert "written = 0 6f6e650a\n" in lab.read("state")
    writes = [event.path for event in read_log(lab.home / "log") if event.name == "write"]
    assert writes == ["/dev/nst0a", "/dev/nst0a", "/dev/sda"]


def test_directive_without_a_turn(lab):
    lab.write("scenario", "open sg1 1 EIO\ncheck 0xA5 2 05 3B 0E\n")
    run = simulate(lab, "-s", "state", "-x", "scenario", "--strict", "mvk", "0030", "i")
    assert run.returncode == 98
    assert run.stderr == f"{OK}mvk-sim: {lab.home}/scenario:2: had no turn: check 0xA5 2 05 3B 0E\n"
