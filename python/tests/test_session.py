"""The typed Session against figures read from the files themselves."""
import re
import struct

import pytest

from conftest import BOARD
from kesto import KestoError, Session


def gerber_objects(path):
    """Flashes, draws and regions of a simple Gerber file, counted from its text."""
    text = path.read_text()
    regions = len(re.findall(r"G36\*", text))
    outside = re.sub(r"G36\*.*?G37\*", "", text, flags=re.S)
    flashes = len(re.findall(r"D0?3\*", outside))
    draws = len(re.findall(r"D0?1\*", outside))
    return flashes + draws + regions


def excellon_hits(path):
    return sum(1 for line in path.read_text().splitlines() if re.match(r"^(X|Y)[-\d.]", line) and "G85" not in line)


@pytest.fixture(scope="module")
def demo(session):
    files = sorted(BOARD.glob("demo-*"))
    names = session.import_files([str(f) for f in files], "pydemo", "pcb")
    return dict(zip(names, files))


def test_import_gives_one_layer_per_file_with_every_object(session, demo):
    matrix = session.matrix("pydemo")
    assert matrix.steps == ["pcb"]
    assert sorted(matrix.layer_names()) == sorted(demo)
    for name, path in demo.items():
        if path.suffix == ".gbr":
            assert session.feature_count("pydemo", "pcb", name) == gerber_objects(path), name
        else:
            assert session.feature_count("pydemo", "pcb", name) == excellon_hits(path), name


def test_picture_is_a_png_of_the_size_asked(session, demo, tmp_path):
    path = session.picture("pydemo", "pcb", ["demo-top"], str(tmp_path / "top.png"), size=300,
                           box=(-1, -1, 51, 36))
    head = open(path, "rb").read(24)
    assert head[:8] == b"\x89PNG\r\n\x1a\n"
    width, height = struct.unpack(">II", head[16:24])
    assert max(width, height) == 300


def test_drill_check_summarises_every_tool_of_the_file(session, demo):
    report = session.drill_check("pydemo", "pcb", ["demo-drill"])
    assert report.layers() == ["demo-drill"]
    tools = len(re.findall(r"^T\d+C[\d.]+", demo["demo-drill"].read_text(), flags=re.M))
    counts = report.counts()["demo-drill"]
    assert counts.get("PTH Summary", 0) + counts.get("NPTH Summary", 0) == tools
    assert report.uuid
    # The run can be paged at once by its uuid: two findings a page.
    first = session.analysis_page(report.uuid, 2, {"demo-drill": ["PTH Summary"]}, count=2)
    second = session.analysis_page(report.uuid, 2, {"demo-drill": ["PTH Summary"]}, count=2, page=1)
    third = session.analysis_page(report.uuid, 2, {"demo-drill": ["PTH Summary"]}, count=2, page=2)
    shown = [len(p[0]["filter_result"][0]["check_info_list"]) if p else 0 for p in (first, second, third)]
    assert shown == [2, counts["PTH Summary"] - 2, 0]


def test_export_and_read_back_keeps_every_object(session, demo, tmp_path):
    out = tmp_path / "top.gbr"
    session.export_gerber("pydemo", "pcb", "demo-top", str(out))
    session.translate(str(out), "pydemo", "pcb", "again")
    assert session.feature_count("pydemo", "pcb", "again") == gerber_objects(demo["demo-top"])


def test_a_refused_command_raises_with_the_logged_record(session, demo):
    with pytest.raises(KestoError) as caught:
        session.feature_count("pydemo", "pcb", "no-such-layer")
    assert caught.value.command == "GET_LAYER_FEATURE_COUNT"
    assert caught.value.reply.strip() == "ERROR"
    assert "get_layer_feature_count failed" in caught.value.record


def test_open_job_of_a_missing_job_raises(session, tmp_path):
    with pytest.raises(KestoError):
        session.open_job(str(tmp_path), "no_such_job")


def test_sessions_of_one_process_share_the_library(session):
    again = Session()
    assert again.workdir == session.workdir
    with pytest.raises(KestoError):
        Session(workdir="/tmp/some-other-folder-for-kesto")


def test_raw_process_answers_text(session):
    assert session.process('{"func":"IS_JOB_OPENED","paras":{"jobname":"pydemo"}}').startswith('{"func"')
