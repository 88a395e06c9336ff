"""The program. It runs as a module, as an installed command, and by the path of this folder."""
from __future__ import annotations

import sys
from pathlib import Path

if not __package__:
    sys.path[0] = str(Path(__file__).resolve().parents[1])

if __name__ == "__main__":
    if sys.argv[1:2] == ["keep"]:
        from pcsim_lab.keeper import main as keep
        sys.exit(keep(sys.argv[2], int(sys.argv[3])))
    from pcsim_lab.tool import main
    sys.exit(main())
