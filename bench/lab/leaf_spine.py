#!/usr/bin/env python3
"""Writes the lab file of a leaf-spine fabric to standard output.

    leaf_spine.py LEAVES SPINES [--ports N] [--uplinks N] [--hosts N] [--name NAME]

Each leaf has a cable from each of its first ports, one per uplink, to the spines in turn; hosts
hang on the ports behind, one leaf after the other.
"""
import argparse


def fabric(leaves, spines, ports, uplinks):
    """(leaf, its port, spine, its port) of each cable."""
    used = [0] * spines
    for leaf in range(leaves):
        for uplink in range(uplinks):
            spine = (leaf * uplinks + uplink) % spines
            used[spine] += 1
            if used[spine] > ports:
                raise SystemExit(f"{leaves} leaves with {uplinks} uplinks need more than {spines} "
                                 f"spines of {ports} ports; expected more spines or ports")
            yield leaf + 1, uplink + 1, spine + 1, used[spine]


def main():
    """Prints the file."""
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("leaves", type=int)
    parser.add_argument("spines", type=int)
    parser.add_argument("--ports", type=int, default=8)
    parser.add_argument("--uplinks", type=int)
    parser.add_argument("--hosts", type=int, default=0)
    parser.add_argument("--name", default="fabric")
    given = parser.parse_args()
    uplinks = given.uplinks or min(given.spines, given.ports)
    free = given.ports - uplinks
    if given.hosts > given.leaves * free:
        raise SystemExit(f"{given.leaves} leaves have {given.leaves * free} ports for hosts; "
                         "expected fewer hosts or uplinks")
    print(f"name: {given.name}\ntopology:\n  kinds:\n    pcsim: {{ports: {given.ports}}}\n  nodes:")
    for kind, count in (("leaf", given.leaves), ("spine", given.spines)):
        for number in range(1, count + 1):
            print(f"    {kind}{number}: {{kind: pcsim}}")
    for number in range(1, given.hosts + 1):
        print(f"    host{number}: {{kind: linux}}")
    print("  links:")
    for leaf, port, spine, far in fabric(given.leaves, given.spines, given.ports, uplinks):
        print(f'    - endpoints: ["leaf{leaf}:eth{port}", "spine{spine}:eth{far}"]')
    for number in range(given.hosts):
        leaf, position = number % given.leaves + 1, number // given.leaves
        print(f'    - endpoints: ["host{number + 1}:eth1", "leaf{leaf}:eth{uplinks + position + 1}"]')


if __name__ == "__main__":
    main()
