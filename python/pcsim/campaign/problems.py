"""What can go wrong with a campaign as a whole; what goes wrong in a run is its outcome."""
from __future__ import annotations

from ..errors import Error


class CampaignError(Error):
    """The campaign can't begin, or can't go on. The text says what was wrong and what would be
    right; runs that have ended stay in its file."""
