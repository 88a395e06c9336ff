"""What the tests of the client share."""
pytest_plugins = ["pcsim_fixtures", "pcsim.pytest_plugin", "pytester"]
