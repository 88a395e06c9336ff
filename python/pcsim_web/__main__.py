"""pcsim-web, as a program and by python3 -m pcsim_web."""
from __future__ import annotations

import sys

from .options import serving_of


def main() -> int:
    """Runs it; the status. What it needs of other packages is looked for when there is something to
    serve."""
    serving = serving_of()
    if serving is None:
        return 0
    try:
        from .main import run
    except ModuleNotFoundError as missing:
        print(f"pcsim-web: the Python package {missing.name} is missing; install python3-aiohttp, "
              "or pcsim[web] by pip", file=sys.stderr)
        return 1
    return run(serving)


if __name__ == "__main__":
    sys.exit(main())
