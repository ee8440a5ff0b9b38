# kq_glbv on a store of its own.
import os
import pathlib
import subprocess

import pytest

BUILD = pathlib.Path(__file__).resolve().parents[2] / os.environ.get("MVK_BUILD", "build")


@pytest.fixture
def kq_glbv(tmp_path):
    ini = tmp_path / "tarvo.ini"
    ini.write_text(f"[TARVO]\nKQ_INI={ini}\n[Pathes]\ngv_rw_glbv={tmp_path}/\n")

    def run(*args, ini=ini):
        done = subprocess.run([BUILD / "kq_glbv", *args], env={"TARVO_INI": ini}, umask=0o022,
                              capture_output=True, text=True)
        return done.returncode, done.stdout, done.stderr
    return run


def test_life_of_a_variable(kq_glbv, tmp_path):
    longest = "n" * (255 - len(f"{tmp_path}/.sgv"))
    for name, value in ("gv_a/b", "?? 1x1 %s"), ("gv_long", "x" * 511), (longest, "v"):
        path = tmp_path / f"{name.replace('/', '_')}.sgv"
        assert kq_glbv("w", name, value) == (0, "", "")
        assert (path.read_text(), path.stat().st_mode & 0o777) == (value, 0o664)
        assert kq_glbv("r", name) == kq_glbv("R", name) == (0, value + "\n", "") and not path.exists()
    assert kq_glbv("r", "gv_a/b") == (1, "", "kq_glbv: ?? GLBV gv_a_b not existing\n")
    (tmp_path / "gv_lines.sgv").write_text("12\n34\n")
    for pattern, left in ("gv_l", ["gv_lines.sgv", "tarvo.ini"]), ("gv_l*", ["tarvo.ini"]), ("*", []):
        assert kq_glbv("d", pattern) == (0, "", "") and sorted(os.listdir(tmp_path)) == left


@pytest.mark.parametrize("status, args", [
    (1, ["w", "gv", "x" * 512]), (1, ["w", "n" * 252, ""]), (1, ["w", "folder", "x"]), (1, ["d", "folder"]),
    (2, []), (2, ["r"]), (2, ["rR", "gv"]), (2, ["w", "gv"]), (2, ["d", "gv", "x"]), (2, ["r", ""]),
    (2, ["w", "gv*", ""])])
def test_refused(kq_glbv, tmp_path, status, args):
    (tmp_path / "folder.sgv").mkdir()
    got, out, text = kq_glbv(*args)
    assert (got, out, sorted(os.listdir(tmp_path))) == (status, "", ["folder.sgv", "tarvo.ini"]) and text


def test_no_store(kq_glbv):
    status, out, text = kq_glbv("r", "gv", ini="/nowhere")
    assert (status, out) == (1, "") and text.startswith("kq_glbv: Fatal software error FILE=")
