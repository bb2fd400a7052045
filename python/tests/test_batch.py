"""Batch runs on a LocalCluster give the same results as one process in turn."""
import csv
import json
import os
import shutil

import pytest

from conftest import BOARD, ROOT, TESTDATA

pytest.importorskip("distributed")
from kesto import batch  # noqa: E402

PIPELINE = {"steps": [{"op": "matrix"}, {"op": "feature_counts"}, {"op": "drill_check", "layers": "drill"},
                      {"op": "picture", "layers": "all", "size": 200}, {"op": "export", "layers": "all"}]}


@pytest.fixture(scope="module")
def jobs(tmp_path_factory, sample_folder):
    folder = tmp_path_factory.mktemp("jobs")
    shutil.copytree(BOARD, folder / "demo")
    for case in ("pads", "strokes", "regions", "drill"):
        if (TESTDATA / "gerber" / case).is_dir():
            shutil.copytree(TESTDATA / "gerber" / case, folder / case, ignore=shutil.ignore_patterns("*.svg"))
    shutil.copy(sample_folder / "sample_design.tgz", folder)
    (folder / "not-a-job").mkdir()
    return folder


def comparable(results):
    """What must agree between runs: everything but times and where files went."""
    out = []
    for r in results:
        r = json.loads(json.dumps(r))
        r.pop("seconds")
        for step in r["steps"]:
            step.pop("file", None)
        out.append(r)
    return out


def test_local_cluster_equals_a_serial_run(jobs, tmp_path, monkeypatch):
    monkeypatch.setenv("PYTHONPATH", str(ROOT / "python" / "src") + os.pathsep + os.environ.get("PYTHONPATH", ""))
    from kesto.library import find_library
    monkeypatch.setenv("KESTO_LIBRARY", os.path.abspath(find_library()))
    sources = batch.find_jobs([str(jobs)])
    assert [os.path.basename(s) for s in sources] == ["demo", "drill", "pads", "regions", "sample_design.tgz",
                                                      "strokes"]
    serial = batch.run(sources, PIPELINE, str(tmp_path / "serial"), serial=True, show_progress=False)
    spread = batch.run(sources, PIPELINE, str(tmp_path / "cluster"), workers=3, show_progress=False)
    assert comparable(spread) == comparable(serial)
    assert all(r["ok"] for r in serial), [r["error"] for r in serial]

    sample = next(r for r in serial if r["job"] == "sample_design")
    matrix = next(s for s in sample["steps"] if s["op"] == "matrix")
    assert len(matrix["layers"]) == 26  # the job's own matrix file has 26 rows
    exports = next(s for s in sample["steps"] if s["op"] == "export")
    assert len(exports["files"]) == 26
    assert (tmp_path / "cluster" / "sample_design" / "picture.png").stat().st_size > 0

    batch.write_reports(spread, str(tmp_path / "cluster"))
    rows = list(csv.DictReader(open(tmp_path / "cluster" / "summary.csv")))
    assert [row["job"] for row in rows] == [r["job"] for r in spread]
    assert json.load(open(tmp_path / "cluster" / "report.json"))["jobs"][0]["job"] == "demo"


def test_a_broken_job_is_reported_not_raised(tmp_path):
    broken = tmp_path / "broken.tgz"
    broken.write_bytes(b"not an archive at all")
    result = batch.run_job(str(broken), PIPELINE, str(tmp_path / "out"))
    assert result["ok"] is False and result["error"]
