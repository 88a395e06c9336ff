"""A YAML file whose values know their lines, so that whatever is wrong with one is said with the
place where it stands.
"""
from __future__ import annotations

from typing import Any, Callable, Mapping, Sequence, TypeVar

from .problems import BadInput, LabError

try:
    import yaml  # type: ignore[import]
except ImportError:  # the program's other commands do without
    yaml = None

T = TypeVar("T")


class Value:
    """A value of the file. `about` is what messages call it: "node 'sw1'"."""

    def __init__(self, loader: Any, node: Any, file: str, about: str = "the file",
                 key: Any = None) -> None:
        self._loader, self._node, self._file, self.about = loader, node, file, about
        self._key = key or node

    @property
    def line(self) -> int:
        """Where it begins."""
        return int(self._node.start_mark.line) + 1

    @property
    def is_list(self) -> bool:
        """Whether it has items."""
        return isinstance(self._node, yaml.SequenceNode)

    def wrong(self, text: str) -> BadInput:
        """What to raise about this value."""
        return BadInput(f"{self._file}:{self.line}: {text}")

    def at_key(self) -> Value:
        """For messages about the whole of it: a mapping itself begins in the line behind its
        key."""
        return self._other(self._key, self.about)

    def _other(self, node: Any, about: str, key: Any = None) -> Value:
        return Value(self._loader, node, self._file, about, key)

    def _scalar(self) -> Any:
        if not isinstance(self._node, yaml.ScalarNode):
            return self
        try:
            return self._loader.construct_object(self._node)
        except yaml.MarkedYAMLError as problem:
            raise self.wrong(f"{self.about}: {problem.problem}") from None
        except ValueError:  # a date, say, that there is not
            return self._node.value

    def _shown(self) -> str:
        if isinstance(self._node, yaml.MappingNode):
            return "a mapping"
        return "a list" if self.is_list else f"'{self._node.value}'"

    def unlike(self, wanted: str) -> BadInput:
        """It is none of those."""
        return self.wrong(f"{self.about} is {self._shown()}; expected {wanted}")

    @property
    def empty(self) -> bool:
        """Whether nothing stands there."""
        return self._scalar() is None

    def text(self, wanted: str = "a text") -> str:
        """Numbers are texts as they are written."""
        value = self._scalar()
        if value is self or value is None or value == "":
            raise self.unlike(wanted)
        return str(self._node.value)

    def _name(self) -> str:
        """A key, whatever YAML would make of it."""
        if not isinstance(self._node, yaml.ScalarNode):
            raise self.unlike("a text")
        return str(self._node.value)

    def number(self, low: int, high: int, why: str = "") -> int:
        """A whole number between these."""
        value = self._scalar()
        if isinstance(value, bool) or not isinstance(value, int) or not low <= value <= high:
            raise self.unlike(f"a number from {low} to {high}{why}")
        return value

    def flag(self) -> bool:
        """true or false."""
        value = self._scalar()
        if not isinstance(value, bool):
            raise self.unlike("true or false")
        return value

    def choice(self, words: Sequence[str]) -> str:
        """One of these."""
        value = self._scalar()
        if value not in words:
            raise self.unlike(" or ".join(words))
        return str(value)

    def parsed(self, parse: Callable[[str], T]) -> T:
        """What 'parse' makes of the text; its ValueError says what it has expected."""
        try:
            return parse(self.text("a value"))
        except ValueError as problem:
            raise self.unlike(str(problem)) from None

    def items(self, wanted: str = "a list") -> list[Value]:
        """Those of a list."""
        if not self.is_list:
            raise self.unlike(wanted)
        return [self._other(node, f"an item of {self.about}") for node in self._node.value]

    def entries(self, what: str) -> list[tuple[str, Value]]:
        """Those of a mapping; each is 'what' followed by its key."""
        if not isinstance(self._node, yaml.MappingNode):
            raise self.unlike("a mapping")
        seen: dict[str, Any] = {}
        for key_node, _ in self._node.value:
            key = self._other(key_node, "a key")._name()
            if key in seen:
                raise self._other(key_node, "").wrong(f"{what} '{key}' stands twice; the first is "
                                                      f"in line {seen[key].start_mark.line + 1}")
            seen[key] = key_node
        self._merge()
        return [(key.value, self._other(node, f"{what} '{key.value}'", key))
                for key, node in self._node.value]

    def _merge(self) -> None:
        """Takes in what '<<' names, where a key isn't the mapping's own."""
        try:
            self._loader.flatten_mapping(self._node)
        except yaml.MarkedYAMLError as problem:
            raise self.wrong(str(problem.problem)) from None
        pairs = {key.value: (key, node) for key, node in self._node.value}
        self._node.value = list(pairs.values())

    def keys(self, allowed: Sequence[str]) -> Mapping[str, Value]:
        """A mapping that has these keys and no others."""
        found = {}
        for key, value in self.entries("key"):
            if key not in allowed:
                raise value.at_key().wrong(
                    f"unknown key '{key}' of {self.about}; expected {', '.join(allowed)}")
            value.about = f"'{key}' of {self.about}"
            found[key] = value
        return found


def load(text: str, file: str) -> Value:
    """The file's one document. BadInput says where it is no YAML."""
    if yaml is None:
        raise LabError("lab files are read by PyYAML, which is missing; expected Debian's package "
                       "python3-yaml, or that of 'pip install pcsim[lab]'")
    try:
        loader = yaml.SafeLoader(text)
        node = loader.get_single_node()
    except yaml.MarkedYAMLError as problem:
        mark = problem.problem_mark or problem.context_mark
        line = mark.line + 1 if mark is not None else 1
        raise BadInput(f"{file}:{line}: this is no YAML: {problem.problem or problem.context}"
                       ) from None
    except yaml.reader.ReaderError as problem:
        line = text.count("\n", 0, problem.position) + 1
        raise BadInput(f"{file}:{line}: this is no YAML: {problem.reason}") from None
    except RecursionError:
        raise BadInput(f"{file}:1: this is no lab: it is nested too deeply") from None
    if node is None:
        raise BadInput(f"{file}:1: the file is empty; expected 'name' and 'topology'")
    return Value(loader, node, file)
