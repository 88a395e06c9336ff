"""The package is typed as strictly as the client."""
import subprocess
import sys
from pathlib import Path

FOLDER = Path(__file__).resolve().parents[2] / "python"


def test_it_is_strictly_typed(tmp_path):
    done = subprocess.run([sys.executable, "-m", "mypy", "--strict", "--cache-dir", tmp_path,
                           "pcsim_lab"], cwd=FOLDER, capture_output=True, text=True, check=False)
    assert done.returncode == 0, done.stdout + done.stderr
