"""Figures out of what the benchmarks print."""
import pytest
from bench.report import figures
from bench.report.figures import Ratio, Unreadable

FDB = """vendor prefixes: 30000, made up; 256 VLANs; 9 rounds, seed 1

runs of consecutive addresses under vendor prefixes: 400000 addresses, 21244 evicted, 378756 kept
  ns per operation   platform   flat_map    std map plain loop  speed against flat_map, std map, plain loop
  learn                 115.5       90.6      266.0      134.6      0.75     2.31     1.11
  hit                    96.6       46.3      118.8       79.8      0.44     1.27     0.86

uniform random: 400000 addresses, 22282 evicted, 377718 kept
  ns per operation   platform   flat_map    std map plain loop  speed against flat_map, std map, plain loop
  hit                    83.2       37.3      124.2       75.0      0.51     1.51     0.96
  find and delete       129.5       60.2      675.2       86.8      0.48     5.00     0.67

hostile: every address in one bucket: 400000 addresses, 399992 evicted, 8 kept
  ns per operation   platform   flat_map    std map plain loop  speed against flat_map, std map, plain loop
  hit                    13.1        4.6        4.6       14.0      0.36     0.38     1.13

dump of 378756 entries, ms
  sink                       platform  scan + format  platform / scan + format
  that discards                  2.05         127.89      0.02
"""

ROUTES = """IPv4: 901899 prefixes, file
3 rounds, medians

IPv4, file order, 901899 routes, ns per route
                              pcSim   Boost AVL    std::map      kernel   AVL : pcSim
add                                 229          75         125        5095          0.33
dump into a sink that drops          49          61          61           -          1.25
heap bytes per route              80.0        48.0        48.0
peak resident, MB                 69.3        41.5        41.7

Growth, file order, ns per route
flush of 1 gateway of 250        27      40    1.49
"""

MCAST = """1 ports: round 1 of 1

1 outgoing ports, 100 sources per group, ns each, 1 rounds

| step | 10,000 | 100,000 | growth | maps 10,000 | maps 100,000 | growth | platform / maps |
|---|---|---|---|---|---|---|---|
| add | 457 | 456 | 1.00 | 691 | 1368 | 2.06 | 0.33 |
8 ports: round 1 of 1

8 outgoing ports, 100 sources per group, ns each, 1 rounds

| step | 10,000 | 100,000 | growth | maps 10,000 | maps 100,000 | growth | platform / maps |
|---|---|---|---|---|---|---|---|
| VLAN cascade | 120 | 200 | 1.99 | 1043 | 1700 | 1.65 | 0.12 |
"""

ACL = """ns per binding, 5 rounds

| step | order | 1,000 | 10,000 | growth | maps 1,000 | maps 10,000 | growth | platform / maps |
|---|---|---|---|---|---|---|---|---|
| bind | ascending | 174 | 200 | 0.98 | 119 | 150 | 1.28 | 1.33 |
"""


def test_the_forwarding_database_is_compared_with_the_fastest_peer():
    assert figures.fdb(FDB) == [
        Ratio("FDB, vendor addresses", "learn", "flat_map", 0.75),
        Ratio("FDB, vendor addresses", "hit", "flat_map", 0.44),
        Ratio("FDB, random addresses", "hit", "flat_map", 0.51),
        Ratio("FDB, random addresses", "find and delete", "flat_map", 0.48)]


def test_times_of_random_addresses_make_the_curves():
    assert figures.fdb_times(FDB, "hit") == {"platform": 83.2, "flat_map": 37.3, "std map": 124.2}
    with pytest.raises(Unreadable, match="has printed no 'learn'; expected its tables"):
        figures.fdb_times(FDB, "learn")


def test_routes_have_their_ratio_last_and_other_tables_none():
    assert figures.routes(ROUTES) == [
        Ratio("Routes, IPv4, file order", "add", "AVL set", 0.33),
        Ratio("Routes, IPv4, file order", "dump into a sink that drops", "AVL set", 1.25)]


def test_multicast_is_compared_at_the_larger_count():
    assert figures.mcast(MCAST) == [
        Ratio("Multicast, 1 outgoing port", "add", "std::map", 3.0),
        Ratio("Multicast, 8 outgoing ports", "VLAN cascade", "std::map", 8.5)]


def test_access_lists_are_compared_at_the_larger_count():
    assert figures.acl(ACL) == [Ratio("Access lists", "bind, ascending", "std::map", 0.75)]


@pytest.mark.parametrize("read, program", [(figures.fdb, "bench_fdb"),
                                           (figures.routes, "bench_routes"),
                                           (figures.mcast, "bench_mcast"),
                                           (figures.acl, "bench_acl")])
@pytest.mark.parametrize("text", ["", "usage: something else\n", "add  1 2\n"])
def test_what_is_no_table_is_refused(read, program, text):
    with pytest.raises(Unreadable, match=f"{program} has printed no ratios; expected its tables"):
        read(text)


def test_runs_are_collected_in_the_order_of_the_first():
    first = [Ratio("g", "a", "p", 1.0), Ratio("g", "b", "p", 5.0)]
    second = [Ratio("g", "b", "p", 7.0), Ratio("g", "a", "p", 3.0)]
    third = [Ratio("g", "a", "p", 2.0), Ratio("g", "b", "p", 6.5)]
    series = figures.collect(first + second + third)
    assert [(one.step, one.median, one.values) for one in series] == [
        ("a", 2.0, [1.0, 3.0, 2.0]), ("b", 6.5, [5.0, 7.0, 6.5])]
