"""Coverage of several instances adds up, and a word counts once whatever implements it."""
from pcsim import OperationCoverage
from pcsim.coverage import Coverage


def operation(name, table="slot", word=1, calls=0, failures=0):
    return OperationCoverage(operation=name, table=table, word=word, calls=calls,
                             failures=failures, nulls=0)


def test_it_adds_up():
    coverage = Coverage()
    assert not coverage and coverage.percent == 0
    coverage.add([operation("a", calls=2, failures=1), operation("b", word=2),
                  operation("halGo", "host", None, 5)])
    assert (coverage.percent, coverage.never) == (50, ["slot.b"])
    coverage.add([operation("a2", calls=3), operation("c", "family", 0)])
    assert coverage.lines() == [
        "Table   Operations  Called     Calls",
        "slot             2       1         5",
        "family           1       0         0",
        "1 of 3 operations were called, 33.3 %"]
    assert coverage.failed() == ["a failed 1 of 5 times"]
    assert coverage.never == ["slot.b", "family.c"]


def test_it_goes_from_process_to_process():
    one, two = Coverage(), Coverage()
    one.add([operation("a", calls=1)])
    two.add([operation("b", word=2, calls=1)])
    one.merge(two.rows)
    assert one.percent == 100
    assert Coverage(one.rows).lines() == one.lines()
