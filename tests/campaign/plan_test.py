"""Plans of faults: entries, names, seeds, and what is said of lines that are none."""
import pytest
from pcsim.campaign import CampaignError, Fault, read_plan


def test_entries_are_rules_or_names_with_rules(write):
    plan = write("plan", "# a comment", "", "fault cardPortEnable where  port 1:2   # why",
                 "slow cards:", "    fault cardStartBooting delay 500", "",
                 "\tfault cardStartDownload chance 10", "# between",
                 "fan 3: fault fanSlot.* count 2", "fault calloc after 100")
    assert read_plan(plan) == [
        Fault("fault cardPortEnable where port 1:2",
              ("fault cardPortEnable where  port 1:2",), 3),
        Fault("slow cards", ("fault cardStartBooting delay 500",
                             "fault cardStartDownload chance 10"), 4),
        Fault("fan 3", ("fault fanSlot.* count 2",), 9),
        Fault("fault calloc after 100", ("fault calloc after 100",), 10)]


def test_a_plan_may_come_from_elsewhere(folder):
    (folder / "plan").write_bytes(b"\xef\xbb\xbffault calloc\r\nb:\r\n  fault open\r\n")
    assert [(fault.name, fault.rules) for fault in read_plan("plan")] == [
        ("fault calloc", ("fault calloc",)), ("b", ("fault open",))]


def test_an_empty_plan_has_no_entries(write):
    assert read_plan(write("plan", "# nothing yet")) == []


@pytest.mark.parametrize("lines, problem", [
    (["fault calloc", "fualt calloc"],
     "plan:2: 'fualt calloc' is neither a rule nor a name; expected fault OPERATION ... or NAME:"),
    (["fault"],
     "plan:1: 'fault' is neither a rule nor a name; expected fault OPERATION ... or NAME:"),
    (["a: show ports"], "plan:1: 'show ports' is no rule; expected fault OPERATION ..."),
    (["a:", "  show ports"], "plan:2: 'show ports' is no rule; expected fault OPERATION ..."),
    (["  fault calloc"], "plan:1: an indented rule belongs to no name; expected NAME: in a line "
                         "above, or no blanks before the rule"),
    (["fault calloc", "  fault open"], "plan:2: an indented rule belongs to no name; expected "
                                       "NAME: in a line above, or no blanks before the rule"),
    (["a: fault calloc", "  fault open"], "plan:2: an indented rule belongs to no name; expected "
                                          "NAME: in a line above, or no blanks before the rule"),
    (["a:", "b: fault calloc"], "plan:1: 'a' has no rule; expected some, indented, below it"),
    (["b: fault calloc", "a:"], "plan:2: 'a' has no rule; expected some, indented, below it"),
    (["a: fault calloc", "a: fault open"],
     "plan:2: 'a' stands in line 1 as well; expected a name of its own"),
    (["fault calloc", "fault  calloc"],
     "plan:2: 'fault calloc' stands in line 1 as well; expected a name of its own"),
    (["none: fault calloc"],
     "plan:1: 'none' is the run without a fault; expected another name"),
])
def test_what_is_wrong_is_told(write, lines, problem):
    with pytest.raises(CampaignError) as told:
        read_plan(write("plan", *lines))
    assert str(told.value) == problem


def test_files_that_are_no_plans_are_told(folder):
    with pytest.raises(CampaignError) as told:
        read_plan("plan")
    assert str(told.value) == "plan plan can't be read: No such file or directory"
    (folder / "plan").write_bytes(b"fault \xff\n")
    with pytest.raises(CampaignError) as told:
        read_plan("plan")
    assert str(told.value) == "plan plan is not UTF-8; expected lines of text"


@pytest.mark.parametrize("rule, expected", [
    ("fault open", "fault open"),
    ("fault open chance 5", "fault open chance 5 seed 7"),
    ("fault open chance 5 returns 3", "fault open chance 5 seed 7 returns 3"),
    ("fault open chance 5 seed 3", "fault open chance 5 seed 3"),
    ("fault open chance 5 seed ${SEED}1", "fault open chance 5 seed 71"),
    ("fault open after $SEED count 1", "fault open after 7 count 1"),
    ("fault open set text $SEEDS", "fault open set text $SEEDS"),
])
def test_rules_that_take_chance_have_the_seed_of_the_run(rule, expected):
    assert Fault("name", (rule,)).seeded(7) == (expected,)
