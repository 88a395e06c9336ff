"""Labs of many nodes with cables between them, described by a file.

    pcsim-lab up lab.yml
    pcsim-lab show
    pcsim-lab down
"""
