"""Campaigns: a scenario times faults, seeds, shapes and builds of the library, as runs that know
nothing of each other.

    from pcsim.campaign import Campaign, Outcome

    campaign = Campaign("boot.pcsim", faults="plan.txt", seeds=100, shapes=("stack", "chassis"))
    summary = campaign.run()
    for result in campaign.results(Outcome.CRASHED):
        print(result.reason, result.command)
"""
from .campaign import Campaign, Summary
from .plan import Fault, read_plan
from .problems import CampaignError
from .results import Results
from .runs import Key, Outcome, Result

__all__ = ["Campaign", "CampaignError", "Fault", "Key", "Outcome", "Result", "Results", "Summary",
           "read_plan"]
