"""Campaigns: a scenario times faults, seeds, shapes and builds of the library."""
from .plan import Fault, read_plan
from .problems import CampaignError
from .results import Results
from .runs import Key, Outcome, Result

__all__ = ["CampaignError", "Fault", "Key", "Outcome", "Result", "Results", "read_plan"]
