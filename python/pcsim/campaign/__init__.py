"""Campaigns: a scenario times faults, seeds, shapes and builds of the library."""
from .plan import Fault, read_plan
from .problems import CampaignError

__all__ = ["CampaignError", "Fault", "read_plan"]
