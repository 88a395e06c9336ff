"""What the tests of failures share."""
pytest_plugins = ["pcsim_fixtures"]
