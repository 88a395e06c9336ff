"""The version of this package, which is that of pcsim."""

VERSION = "0.1.0"
