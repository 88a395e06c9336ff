"""python -m pcsim.campaign is pcsim-campaign."""
import sys

from .main import main

sys.exit(main())
