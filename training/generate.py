#!/usr/bin/env python3
"""Writes conversations like the program's from the hand-written tasks, one JSON object per line.

    training/generate.py --count 20000 --seed 1 > conversations.jsonl
    training/generate.py --kept-out --plain > kept-out.jsonl     the tasks that training never sees

The same arguments give the same bytes on every machine. The system message is left out, since it is the
same in all conversations.
"""

import argparse
import json
import random
import re
import sys
from itertools import accumulate
from pathlib import Path

import actions
import taskfiles
from desktop import FILES, INVALID, MOST_NAMES, Desktop, proper
from summaries import closing
from taskfiles import Slot, Task, filled
from variety import Names, renamed, said, swapped

HERE = Path(__file__).resolve().parent
# A closing sentence is long and may be any text; it must not outweigh the choice of the action.
CLOSING_WEIGHT = 0.4
USERS = ("sam", "lena", "alex", "user", "maria", "jo", "kim", "tom", "nina", "raj")


def read_windows(path: Path) -> dict[str, list[tuple[str, str]]]:
    """The windows that may be open on either system: `mac Safari — Apple`, or without a system for both."""
    windows: dict[str, list[tuple[str, str]]] = {"mac": [], "linux": []}
    for line in path.read_text(encoding="utf-8").splitlines():
        if line and not line.startswith("#"):
            situation = taskfiles.situation(line.partition(" ")[0] if line.split()[0] in windows else "")
            text = line.partition(" ")[2] if situation.system else line
            for system in [situation.system] if situation.system else windows:
                windows[system].append(tuple(text.partition(" — ")[::2]))
    return windows


def replaced(text: str, files: dict[str, str]) -> str:
    if not files:
        return text
    longest = sorted(files, key=len, reverse=True)
    return re.sub("|".join(map(re.escape, longest)), lambda match: files[match[0]], text)


class Generator:
    def __init__(self, seed: int, kept_out: bool = False, plain: bool = False):
        tasks = taskfiles.read_all(HERE / "tasks")
        trained = [task for task in tasks if not task.is_kept_out]
        self.tasks = [task for task in tasks if task.is_kept_out] if kept_out else trained
        self.names = Names(trained)
        self.windows = read_windows(HERE / "windows.txt")
        self.seed = seed
        self.plain = plain
        # Tasks with several steps or arguments are repeated more often, and so are tasks that must be
        # declined: an action that was not asked for is the worst fault.
        weights = [(3 if task.is_declined() else 1) + len(task.slots) + len(task.steps) * 0.5 for task in self.tasks]
        self.weights = list(accumulate(weights))

    def conversation(self, number: int) -> dict:
        """The conversation with this number; it depends only on the seed and the number."""
        dice = random.Random(f"{self.seed}/{number}")
        if self.plain:
            task = self.tasks[number % len(self.tasks)]
        else:
            task = dice.choices(self.tasks, cum_weights=self.weights)[0]
        return self.play(task, dice)

    def lesson(self, number: int, kept_endings: float) -> tuple[list[dict], float]:
        """The conversation of this number for training, and the weight of its closing sentence. To end a task
        after a success is learnt long before the rest, but takes a third of most conversations: only this
        share of them keeps that ending, with a larger weight."""
        messages = self.conversation(number)["messages"]
        if len(messages) < 3 or not messages[-2]["content"].startswith("Result: "):
            return messages, CLOSING_WEIGHT
        if random.Random(f"{self.seed}/{number}/ending").random() < kept_endings:
            return messages, CLOSING_WEIGHT / kept_endings
        return messages[:-2], CLOSING_WEIGHT

    def desktop(self, task: Task, values: list[str], dice: random.Random) -> Desktop:
        here = task.situation
        system = here.system or dice.choice(("mac", "linux"))
        desktop = Desktop(system, "", user=dice.choice(USERS))
        desktop.time = (
            f"{dice.randint(2024, 2027)}-{dice.randint(1, 12):02}-{dice.randint(1, 28):02} at "
            f"{dice.randint(7, 23):02}.{dice.randint(0, 59):02}.{dice.randint(0, 59):02}"
        )
        others = dice.sample(self.windows[system], dice.choice((0, 0, 1, 1, 2, 2, 3, 5)))
        if here.front:
            desktop.front = here.front
            desktop.windows = list(here.windows or [(here.front, "")])
            desktop.windows += [entry for entry in others[:2] if entry[0] != here.front]
        else:
            desktop.windows = others
            desktop.front = others[0][0] if others else FILES[system]
            if not others and dice.random() < 0.3:
                desktop.front = "unknown" if system == "linux" else "Finder"
        self.prepare(desktop, task, values, dice)
        return desktop

    def prepare(self, desktop: Desktop, task: Task, values: list[str], dice: random.Random) -> None:
        """Starts or ends applications on the desktop as the task requires it."""
        for step in task.steps:
            action = actions.read(filled(step.action, values))
            if action.name != "quit_app":
                continue
            app = action.arg("app")
            if step.outcome == "-":
                desktop.close(app)
            elif not desktop.is_running(app) and dice.random() < 0.85:
                place = dice.randint(0, len(desktop.windows))
                desktop.windows.insert(place, (proper(app), ""))
                if place == 0 and not task.situation.front:
                    desktop.front = proper(app)

    def play(self, task: Task, dice: random.Random) -> dict:
        slots: list[Slot] = list(task.slots)
        if not self.plain:
            slots = swapped(task, self.names, dice, share=0.7)
        values = [slot.value for slot in slots]
        desktop = self.desktop(task, values, dice)
        words = task.words() if self.plain else said(task, slots, dice)
        messages = [{"role": "user", "content": f"User: {words}\nState: {desktop.observe()}"}]

        def reply(text: str, is_learnt: bool = True) -> None:
            messages.append({"role": "assistant", "content": text} | ({} if is_learnt else {"learn": False}))

        last: tuple[actions.Action, str] | None = None
        files: dict[str, str] = {}
        for step in task.steps:
            action = actions.read(replaced(filled(step.action, values), files))
            outcome = filled(step.outcome, values)
            if action.name == "find_files" and not self.plain and not outcome.startswith(("!", "-")):
                files |= renamed(outcome, action.arg("query"), self.names, dice)
                outcome = replaced(outcome, files)
                listed = outcome.partition(": ")[2].split(", ")
                if len(listed) == MOST_NAMES:
                    count = MOST_NAMES + dice.choice((0, 1, 2, 7, dice.randint(3, 60)))
                    outcome = f"{count}: {', '.join(listed)}"
            if not self.plain and dice.random() < 0.01:
                reply(dice.choice(("I will do that.", action.json()[:-2], "Sure!", "{}")), is_learnt=False)
                messages.append({"role": "user", "content": INVALID})
            if action.name == "done" and not action.args:
                break
            reply(action.json())
            if action.name == "done":
                return {"from": task.place, "system": desktop.system, "messages": messages}
            answer = desktop.perform(action, outcome)
            messages.append({"role": "user", "content": f"{answer}\nState: {desktop.observe()}"})
            last = (action, answer)
        message = closing(*last, desktop, dice) if last else "There was nothing to do."
        reply(actions.Action("done", (("message", message),)).json())
        return {"from": task.place, "system": desktop.system, "messages": messages}

    def record(self, number: int) -> dict:
        """A task for --plain in the form of the exam's, so that both are evaluated in the same way."""
        conversation = self.conversation(number)
        task = self.tasks[number % len(self.tasks)]
        parts = [message["content"].partition("\nState: ")[::2] for message in conversation["messages"]]
        steps: list[dict] = []
        for (reply, _), (answer, state) in zip(parts[1::2], parts[2::2]):
            steps.append({"accept": [json.loads(reply)], "answer": answer, "state": state})
        kind = "cannot" if not steps else "one" if len(steps) == 1 else "several"
        if any(step["answer"].startswith("Error") for step in steps):
            kind = "another way"
        asked, state = parts[0]
        return {
            "id": task.place,
            "kind": kind,
            "system": conversation["system"],
            "task": asked.removeprefix("User: "),
            "state": state,
            "steps": [*steps, {"accept": [{"action": "done"}]}],
        }


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("--count", type=int, help="how many; every task once with --plain if not given")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--kept-out", action="store_true", help="the tasks kept out of training instead")
    parser.add_argument("--plain", action="store_true", help="each task once and as it was written")
    arguments = parser.parse_args()
    generator = Generator(arguments.seed, arguments.kept_out, arguments.plain)
    count = arguments.count or (len(generator.tasks) if arguments.plain else 1000)
    sys.stdout.reconfigure(encoding="utf-8")
    for number in range(count):
        print(json.dumps(generator.conversation(number), ensure_ascii=False))


if __name__ == "__main__":
    main()
