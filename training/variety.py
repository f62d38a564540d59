"""Varies a hand-written task: other names in the same places, other wording, typing errors."""

import random
import re
from collections import defaultdict
from functools import lru_cache

import actions
from taskfiles import Slot, Task, filled

# Arguments of one kind may exchange their values. Keys, scripts and messages are never changed.
KINDS = {
    ("open_app", "app"): "app", ("quit_app", "app"): "app", ("open_url", "app"): "app",
    ("web_search", "app"): "app", ("new_tab", "app"): "app", ("open_url", "url"): "url",
    ("web_search", "query"): "query", ("type_text", "text"): "text", ("click", "label"): "label",
    ("create_folder", "name"): "name", ("create_folder", "in"): "folder", ("screenshot", "save_to"): "folder",
    ("find_files", "folder"): "folder", ("find_files", "extension"): "extension",
    ("find_files", "query"): "name", ("open_path", "path"): "path", ("trash", "path"): "path",
}  # fmt: skip

SYLLABLES = (
    "ba be bi bo bra cal cen cor da del di dor el en fa fen flo ga gri ha hel in ja jun ka kel ko la lem "
    "li lo lu ma mer mi mon na nel ni no or pa pel pi po qua ra ren ri ro sa sel shi sto su ta tel ti to "
    "tri u va ven vi wa wen xa ya yor za zel zi"
).split()
ENDINGS = "com org net io dev app de fr nl co.uk eu info me tv edu gov".split()
BEFORE = (
    "please", "can you", "could you", "hey,", "hi,", "ok,", "now", "pls", "quillon,", "hello,", "kindly",
    "would you", "i want you to", "i'd like you to", "you should", "go and", "let's", "just",
)  # fmt: skip
BEHIND = ("please", "thanks", "thank you", "now", "for me", "pls", "quickly", "if you can", "ok?", "thx", "asap")
IMPERATIVE = re.compile(
    r"^(open|close|quit|start|launch|show|go to|search|find|google|type|write|press|click|take|move|trash|"
    r"list|bring|switch|look|read|delete|run|visit|enter|put|save|copy|get|give|make|stop|exit|load)\b"
)


def declined_kind(value: str) -> str:
    """The kind of a value in a task that is declined. It has no argument that tells, so the form decides."""
    if "/" in value or re.search(r"\.\w{2,4}$", value):
        return "path"
    return "app" if value[:1].isupper() else "query"


@lru_cache(maxsize=None)
def kind_of(task: Task, number: int) -> str:
    """The kind of the slot, by the argument that consists of it; "" if it must not be changed."""
    if task.is_declined():
        return declined_kind(task.slots[number - 1].value)
    found = set()
    for step in task.steps:
        action = actions.read(step.action)
        for key, value in action.args:
            if f"${number}" in value and action.name != "done":
                found.add(KINDS.get((action.name, key), "") if value == f"${number}" else "part")
    if "part" in found and len(found - {"part"}) <= 1 and not found - {"part"}:
        return ""
    found.discard("part")
    return found.pop() if len(found) == 1 else ""


class Names:
    """The values for slots: those of the tasks, and invented names, so that the model learns to copy and not
    a list."""

    def __init__(self, tasks: list[Task]):
        pools: dict[str, dict[str, None]] = defaultdict(dict)
        for task in tasks:
            for number, slot in enumerate(task.slots, 1):
                if slot.shown == slot.value and (kind := kind_of(task, number)):
                    pools[kind][slot.value] = None
        self.pools = {kind: sorted(values) for kind, values in pools.items()}
        words = {word for kind in ("query", "text") for value in self.pools.get(kind, []) for word in value.split()}
        self.words = sorted(word for word in words if word.isalpha())

    def invented(self, kind: str, dice: random.Random) -> str:
        word = "".join(dice.choices(SYLLABLES, k=dice.choice((2, 2, 3, 3, 4))))
        if kind == "app":
            shape = dice.random()
            name = word.capitalize()
            if shape < 0.2:
                name += " " + dice.choice(self.words).capitalize()
            elif shape < 0.3:
                name += " " + str(dice.randint(2, 2030))
            elif shape < 0.4:
                name = word
            return name
        if kind == "url":
            url = word + dice.choice(("", "", "-" + dice.choice(self.words).lower(), str(dice.randint(1, 99))))
            url += "." + dice.choice(ENDINGS)
            if not url.isascii():
                url = word + ".org"
            if dice.random() < 0.2:
                url = dice.choice(("www.", "docs.", "my.", "shop.", "app.")) + url
            for _ in range(dice.choice((0, 0, 0, 1, 1, 2))):
                url += "/" + dice.choice((dice.choice(SYLLABLES) + dice.choice(SYLLABLES), str(dice.randint(1, 9999))))
            if dice.random() < 0.12:
                url += f"?{dice.choice('abcidpqtvx')}={dice.randint(1, 999)}"
            return dice.choice(("", "", "", "https://", "http://")) + url
        if kind in ("query", "text"):
            parts = dice.choices(self.words, k=dice.randint(1, 6))
            parts.insert(dice.randrange(len(parts) + 1), dice.choice((word, word, str(dice.randint(1, 3000)))))
            text = " ".join(parts)
            return text[:1].upper() + text[1:] + dice.choice(("", ".", "!")) if kind == "text" else text.lower()
        if kind == "label":
            parts = [dice.choice(self.words).capitalize()] + dice.choices(self.words, k=dice.choice((0, 1, 1, 2)))
            return " ".join(parts) + dice.choice(("", "", "", "…"))
        if kind in ("folder", "name"):
            return dice.choice((word.capitalize(), word, word.capitalize() + " " + str(dice.randint(1990, 2031)),
                                dice.choice(self.words).capitalize() + " " + word))  # fmt: skip
        if kind == "path":
            top = dice.choice(("Downloads/", "Documents/", "Desktop/", "~/", "Pictures/", "", "Downloads/", "~/Documents/"))
            middle = dice.choice(("", "", dice.choice(self.words) + "/", word + "/"))
            stem = dice.choice((word, dice.choice(self.words) + "-" + str(dice.randint(1, 2031)), word + "_" + word[:3],
                                dice.choice(self.words) + " " + word))  # fmt: skip
            return top + middle + stem + "." + dice.choice(self.pools.get("extension") or ["pdf"])
        return ""

    def other(self, kind: str, dice: random.Random) -> str:
        """Another value of this kind; "" if there is none."""
        pool = self.pools.get(kind, [])
        if kind != "extension" and (not pool or dice.random() < 0.35):
            return self.invented(kind, dice)
        return dice.choice(pool) if pool else ""


def usable(value: str) -> bool:
    return bool(value) and not set(value) & set("[]$|") and " => " not in value and " -> " not in value


def swapped(task: Task, names: Names, dice: random.Random, share: float) -> list[Slot]:
    """The task's slots, some of them with another value."""
    around = task.situation.front + " ".join(map(str, task.situation.windows))
    slots = []
    for number, slot in enumerate(task.slots, 1):
        kind = kind_of(task, number)
        if slot.shown == slot.value and kind and slot.value not in around and dice.random() < share:
            value = names.other(kind, dice)
            if usable(value) and value.lower() not in task.ask.lower():
                slot = Slot(value, value)
        if kind == "app" and slot.shown == slot.value and dice.random() < 0.3 and slot.value not in around:
            slot = Slot(slot.shown.lower(), slot.value.lower())
        slots.append(slot)
    return slots


def renamed(outcome: str, asked: str, names: Names, dice: random.Random) -> dict[str, str]:
    """Other names for the files that a search found, so that the model has to read the right one. They still
    contain what was searched for."""
    listed = outcome.partition(": ")[2] if outcome.partition(": ")[0].isdecimal() else outcome
    result: dict[str, str] = {}
    for name in listed.split(", "):
        stem, dot, extension = name.rpartition(".")
        if not dot:
            continue
        for _ in range(9):
            word = dice.choice((names.invented("name", dice), dice.choice(names.words), str(dice.randint(1, 9999))))
            if asked and asked.lower() in stem.lower():
                new = dice.choice((f"{asked}-{word}", f"{asked} {word}", f"{asked}_{word}", f"{word} {asked}", asked))
            else:
                new = dice.choice((word, f"{word}-{dice.randint(1, 2031)}", f"{word}_{dice.choice(names.words)}"))
            if new.lower() not in (value.rpartition(".")[0].lower() for value in result.values()):
                break
        result[name] = f"{new}.{extension}"
    return result


def slip(text: str, dice: random.Random) -> str:
    """A typing error in a word that is no slot."""
    words = text.split(" ")
    longer = [number for number, word in enumerate(words) if len(word) > 4 and word.isalpha()]
    if not longer:
        return text
    number = dice.choice(longer)
    word = words[number]
    at = dice.randrange(1, len(word) - 1)
    words[number] = dice.choice((
        word[:at] + word[at + 1 :],
        word[:at] + word[at + 1] + word[at] + word[at + 2 :],
        word[:at] + word[at] + word[at:],
    ))  # fmt: skip
    return " ".join(words)


def said(task: Task, slots: list[Slot], dice: random.Random) -> str:
    """The ask in one of the ways in which people type."""
    text = task.ask
    if dice.random() < 0.1:
        text = slip(text, dice)
    if IMPERATIVE.match(text.lower()) and dice.random() < 0.2:
        first = text if text[:1] == "$" else text[:1].lower() + text[1:]
        text = f"{dice.choice(BEFORE)} {first}"
    if len(task.steps) and dice.random() < 0.1 and not re.search(r"please|thank|pls|now|for me|\?$", text):
        text = f"{text} {dice.choice(BEHIND)}" if not text.endswith((".", "!", ":")) else text
    manner = dice.random()
    if manner < 0.2:
        text = text[:1].upper() + text[1:]
        if not text.endswith((".", "!", "?", ":")) and dice.random() < 0.6 and not re.search(r"\$\d$", text):
            text += "."
    elif manner < 0.24 and not task.slots:
        text = text.upper()
    return filled(text, [slot.shown for slot in slots])
