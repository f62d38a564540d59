"""Reads the tasks of training/tasks, which are written by hand; README.md explains the format.

    # a remark
    @ mac Mail: Mail — Inbox; Notes        the situation of the lines that follow; `@` alone ends it
    => open_app $1                         the answer to the asks below it, up to the next such line
    fire up [Spotify]                      an ask; what is in brackets is $1, $2 and so on
    fire up [the browser=Firefox]          the value differs from the words
    ~ get [Slack] going                    kept out of training
    quit [Mail] and open [Slack] => quit_app $1 => open_app $2 => done Slack is open.
"""

from __future__ import annotations

import re
from dataclasses import dataclass
from functools import lru_cache
from pathlib import Path

import actions
from desktop import MOST_NAMES

SLOT = re.compile(r"\[([^\[\]]*)\]")
ARROW = re.compile(r"(?:^|\s)=>\s")


@dataclass(frozen=True)
class Slot:
    shown: str
    value: str


@dataclass(frozen=True)
class Situation:
    system: str = ""
    front: str = ""
    windows: tuple[tuple[str, str], ...] = ()


@dataclass(frozen=True)
class Step:
    action: str
    outcome: str = ""


@dataclass(frozen=True)
class Task:
    place: str
    ask: str
    slots: tuple[Slot, ...]
    steps: tuple[Step, ...]
    situation: Situation
    is_kept_out: bool

    def is_declined(self) -> bool:
        """Whether the task ends at once. The brackets in its ask only mark words that are varied, so that no
        single word reveals that the task is declined."""
        return self.steps[0].action.startswith("done")

    def words(self, values: list[Slot] | None = None) -> str:
        """What the user types, with the slots' own words or with others."""
        return filled(self.ask, [slot.shown for slot in values or self.slots])


def filled(text: str, values: list[str]) -> str:
    return re.sub(r"\$(\d)", lambda match: values[int(match[1]) - 1], text)


def situation(text: str) -> Situation:
    text = text.strip()
    system = ""
    for name in ("mac", "linux"):
        if text == name or text.startswith(name + " "):
            system, text = name, text[len(name) :].strip()
    front, _, windows = text.partition(": ")
    entries = [tuple(part.partition(" — ")[::2]) for part in windows.split("; ") if part and part != "none"]
    return Situation(system, front, tuple(entries))


def read_ask(text: str) -> tuple[str, tuple[Slot, ...]]:
    slots: list[Slot] = []

    def slot(match: re.Match) -> str:
        shown, equals, value = match[1].partition("=")
        slots.append(Slot(shown, value if equals else shown))
        return f"${len(slots)}"

    return SLOT.sub(slot, text.strip()), tuple(slots)


def read_steps(text: str) -> tuple[Step, ...]:
    steps = []
    for part in ARROW.split(text):
        if part.strip():
            action, _, outcome = part.partition(" -> ")
            steps.append(Step(action.strip(), outcome.strip()))
    return tuple(steps)


def check(task: Task) -> None:
    """Raises ValueError if the task could not happen in the program."""
    if not task.steps or not task.ask.strip():
        raise ValueError("a task without an answer")
    values = [slot.value for slot in task.slots]
    used = set(re.findall(r"\$(\d)", " ".join(step.action + step.outcome for step in task.steps)))
    if any(int(number) > len(values) for number in used):
        raise ValueError("more slots in the answer than in the ask")
    if len(used) < len(values) and not task.is_declined():
        raise ValueError("a slot that the answer does not use")
    for number, step in enumerate(task.steps):
        action = actions.read(filled(step.action, values))
        if not step.outcome.startswith("!"):
            actions.check(action)
        if action.name == "done" and number + 1 < len(task.steps):
            raise ValueError("something after done")
        if number and step == task.steps[number - 1]:
            raise ValueError("the same step twice in a row ends the task")
        if action.name == "find_files" and re.match(r"\d+: ", step.outcome):
            count, _, names = step.outcome.partition(": ")
            if len(names.split(", ")) != min(int(count), MOST_NAMES):
                raise ValueError("as many names as files, up to five")
        if action.name == "done" and step.outcome:
            raise ValueError("done has no outcome")
    if len(task.steps) > 12:
        raise ValueError("more than twelve steps")


def read_file(path: Path) -> list[Task]:
    tasks = []
    here = Situation()
    header: tuple[Step, ...] = ()
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        line = line.strip()
        if not line or line.startswith("#"):
            continue
        place = f"{path.name}:{number}"
        try:
            if line.startswith("@"):
                here = situation(line[1:])
                continue
            if line.startswith("=> "):
                header = read_steps(line)
                continue
            is_kept_out = line.startswith("~ ")
            parts = ARROW.split(line[2:] if is_kept_out else line, maxsplit=1)
            ask, slots = read_ask(parts[0])
            steps = read_steps(parts[1]) if len(parts) == 2 else header
            task = Task(place, ask, slots, steps, here, is_kept_out)
            check(task)
        except ValueError as problem:
            raise ValueError(f"{place}: {problem}: {line}") from None
        tasks.append(task)
    return tasks


@lru_cache
def read_all(folder: Path) -> tuple[Task, ...]:
    return tuple(task for path in sorted(folder.glob("*.txt")) for task in read_file(path))


def spoken(text: str) -> str:
    """The words of an ask without case and punctuation, to compare two asks."""
    return re.sub(r"[^\w$@./:+#-]+", " ", text.lower()).strip() or text
