"""What the tests of the client share."""
import os

from pcsim.places import find_program

os.environ.setdefault("PCSIM", find_program())
pytest_plugins = ["pcsim.pytest_plugin", "pytester", "labs"]
