#!/usr/bin/env python3
"""Evaluates a model on the held-out tasks, with the program's own engine and its sampling.

    training/evaluate.py MODEL.gguf [--runs 3] [--program build/dev/training/training-reply]
    training/evaluate.py MODEL.gguf --kept-out --most 200       for tuning: the tasks kept out of training

First, each reply is generated after the correct earlier replies: is it readable, is the action right, is it
exact? Then each task is run as a whole on a simulated desktop: is it done, and did anything happen that was
not asked for? `done` replies are easy, so they are counted separately.
"""

import argparse
import json
import random
import subprocess
import sys
from collections import Counter
from pathlib import Path

import exam
from generate import Generator

ROOT = Path(__file__).resolve().parent.parent
MOST_STEPS = 12  # as the program's
INVALID = "Invalid. Reply with exactly one JSON action object."


class Engine:
    def __init__(self, program: str, model: str):
        self.process = subprocess.Popen(
            [program, model], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, encoding="utf-8"
        )
        self.seconds = 0.0
        self.count = 0

    def reply(self, messages: list[dict]) -> dict:
        print(json.dumps({"messages": messages}, ensure_ascii=False), file=self.process.stdin, flush=True)
        line = self.process.stdout.readline()
        if not line:
            sys.exit("The program that answers has ended.")
        answer = json.loads(line)
        self.seconds += answer["seconds"]
        self.count += 1
        return answer


def ask_replies(engine: Engine, records: list[dict], counts: Counter, confusion: Counter) -> None:
    for record in records:
        for place, step in enumerate(record["steps"]):
            answer = engine.reply(exam.conversation(record, place))
            wanted = step["accept"][0]["action"]
            said = answer.get("action", "unreadable")
            confusion[wanted, said] += 1
            group = "done" if wanted == "done" else "acts"
            counts[group] += 1
            counts["readable"] += "action" in answer
            counts[group, "action"] += said in {accepted["action"] for accepted in step["accept"]}
            counts[group, "exact"] += "action" in answer and exam.is_accepted(step, said, answer["args"])


def play_tasks(engine: Engine, records: list[dict], counts: Counter, wrongs: list[str]) -> None:
    for record in records:
        play = exam.Play(record)
        unreadable = 0
        for _ in range(MOST_STEPS):
            answer = engine.reply(play.messages)
            if "action" not in answer:
                unreadable += 1
                if unreadable == 3:
                    break
                play.messages.append({"role": "assistant", "content": answer["reply"]})
                play.messages.append({"role": "user", "content": INVALID})
                continue
            if not play.answer(answer["action"], answer["args"], answer["reply"].strip()):
                break
        kind = record["kind"]
        counts["tasks", kind] += 1
        counts["tasks done", kind] += play.is_done()
        if play.unasked:
            counts["unasked", kind] += 1
            wrongs.append(f"{record['task']}: {'; '.join(play.unasked)}")


def kept_out() -> list[dict]:
    """The tasks in such an order that the first N are a sample of all."""
    generator = Generator(0, kept_out=True, plain=True)
    numbers = list(range(len(generator.tasks)))
    random.Random(0).shuffle(numbers)
    return [generator.record(number) for number in numbers]


def share(part: int, whole: int) -> str:
    return f"{part} of {whole} ({100 * part / whole:.1f} %)" if whole else "none"


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("model")
    parser.add_argument("--runs", type=int, default=1, help="each with other dice; the figures are sums")
    parser.add_argument("--program", default=str(ROOT / "build" / "dev" / "training" / "training-reply"))
    parser.add_argument("--kind", help="only tasks of this kind: one, several, another way, cannot")
    parser.add_argument("--kept-out", action="store_true", help="the hand-written tasks kept out of training")
    parser.add_argument("--most", type=int, help="only so many tasks")
    parser.add_argument("--wrongs", action="store_true", help="name what was done unasked")
    arguments = parser.parse_args()
    everything = kept_out() if arguments.kept_out else exam.records()
    records = [record for record in everything if arguments.kind in (None, record["kind"])]
    records = records[: arguments.most]
    engine = Engine(arguments.program, arguments.model)
    counts: Counter = Counter()
    confusion: Counter = Counter()
    wrongs: list[str] = []
    for _ in range(arguments.runs):
        ask_replies(engine, records, counts, confusion)
        play_tasks(engine, records, counts, wrongs)

    print(f"readable replies       {share(counts['readable'], counts['acts'] + counts['done'])}")
    for group, name in (("acts", "replies that act"), ("done", "replies that end")):
        print(f"{name}: right action {share(counts[group, 'action'], counts[group])}, "
              f"exact {share(counts[group, 'exact'], counts[group])}")  # fmt: skip
    kinds = sorted(key[1] for key in counts if key[0] == "tasks")
    for kind in kinds:
        print(f"tasks, {kind}: done {share(counts['tasks done', kind], counts['tasks', kind])}, "
              f"unasked effect {share(counts['unasked', kind], counts['tasks', kind])}")  # fmt: skip
    whole = sum(counts["tasks", kind] for kind in kinds)
    print(f"tasks, all: done {share(sum(counts['tasks done', kind] for kind in kinds), whole)}, "
          f"unasked effect {share(sum(counts['unasked', kind] for kind in kinds), whole)}")  # fmt: skip
    print(f"seconds for a reply    {engine.seconds / max(engine.count, 1):.2f}")
    print("\nwanted -> said, where they differ")
    for (wanted, said), count in confusion.most_common():
        if wanted != said:
            print(f"{count:5}  {wanted} -> {said}")
    if arguments.wrongs:
        print("\nunasked")
        print("\n".join(wrongs))


if __name__ == "__main__":
    main()
