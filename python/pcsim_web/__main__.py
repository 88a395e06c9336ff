"""python3 -m pcsim_web"""
import sys

from .main import main

sys.exit(main())
