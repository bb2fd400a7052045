"""The package installs with pip from the checkout and runs a check in five lines."""
import os
import subprocess
import sys
import venv

import pytest

from conftest import BOARD, ROOT


def test_pip_install_and_five_lines(tmp_path):
    env_dir = tmp_path / "venv"
    try:
        venv.EnvBuilder(system_site_packages=True, with_pip=True).create(env_dir)
    except Exception as e:  # no ensurepip on this Python
        pytest.skip("cannot make a virtual environment: %s" % e)
    python = str(env_dir / "bin" / "python")
    subprocess.run([python, "-m", "pip", "install", "--quiet", "--no-build-isolation", "--no-deps",
                    str(ROOT / "python")], check=True, timeout=300)
    from kesto.library import find_library
    script = (
        "from kesto import Session\n"
        "s = Session()\n"
        "s.import_files(%r, 'five', 'pcb')\n"
        "r = s.drill_check('five', 'pcb', ['demo-drill'])\n"
        "print(r.layers(), r.total() > 0)\n" % [str(p) for p in sorted(BOARD.glob('demo-*'))]
    )
    env = dict(os.environ, KESTO_LIBRARY=os.path.abspath(find_library()))
    env.pop("PYTHONPATH", None)
    run = subprocess.run([python, "-c", script], cwd=str(tmp_path), env=env, capture_output=True, text=True,
                         timeout=120)
    assert run.returncode == 0, run.stderr
    assert run.stdout.strip() == "['demo-drill'] True"
    # It came from the installed package, not the checkout.
    where = subprocess.run([python, "-c", "import kesto; print(kesto.__file__)"], cwd=str(tmp_path), env=env,
                           capture_output=True, text=True)
    assert str(env_dir) in where.stdout
