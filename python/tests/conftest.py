import os
import pathlib
import shutil
import subprocess
import sys

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "python" / "src"))
TESTDATA = pathlib.Path(os.environ.get("KESTO_TESTDATA", ROOT.parent / "shared" / "testdata"))
BOARD = ROOT / "examples" / "board"


@pytest.fixture(scope="session", autouse=True)
def session(tmp_path_factory):
    from kesto import Session
    return Session(workdir=str(tmp_path_factory.mktemp("kesto-session")))


@pytest.fixture(scope="session")
def sample_folder(tmp_path_factory):
    """A folder holding the shared sample ODB++ job as its archive."""
    archive = TESTDATA / "odb" / "sample_design.tgz"
    if not archive.exists():
        pytest.skip("the shared sample job is not beside the checkout")
    folder = tmp_path_factory.mktemp("sample")
    shutil.copy(archive, folder / "sample_design.tgz")
    return folder
