"""The actions of the program, in the form of a model's replies and in that of the task files.

The task files write an action as its name and its arguments in a fixed order, `open_url bbc.com | Safari`;
a model writes one JSON object. Both forms are turned into an Action here.
"""

import json
import re
from dataclasses import dataclass

# Separates arguments; an omitted argument leaves nothing between two separators.
BAR = re.compile(r"(?:^|\s)\|(?=\s|$)")

# The arguments of each action in the order of the task files. The first `needed` are required.
ARGUMENTS = {
    "open_app": ("app",),
    "quit_app": ("app",),
    "open_url": ("url", "app"),
    "web_search": ("query", "app"),
    "new_tab": ("app",),
    "type_text": ("text",),
    "press_key": ("key", "modifiers"),
    "click": ("label",),
    "create_folder": ("name", "in"),
    "screenshot": ("save_to",),
    "find_files": ("folder", "extension", "query"),
    "open_path": ("path",),
    "trash": ("path",),
    "list_windows": (),
    "read_ui": (),
    "applescript": ("script",),
    "done": ("message",),
}
NEEDED = {"new_tab": 0, "screenshot": 0, "find_files": 0, "list_windows": 0, "read_ui": 0, "done": 0}

KEYS = set("abcdefghijklmnopqrstuvwxyz0123456789=-[]';\\,/.") | {
    "return", "enter", "tab", "space", "delete", "backspace", "escape", "esc",
    "left", "right", "up", "down",
}  # fmt: skip
MODIFIERS = ("command", "shift", "option", "control")


@dataclass(frozen=True)
class Action:
    name: str
    args: tuple[tuple[str, str], ...] = ()

    def arg(self, key: str) -> str:
        return dict(self.args).get(key, "")

    def json(self) -> str:
        """The reply as the system prompt shows it: one line, without spaces around punctuation."""
        members = {"action": self.name} | dict(self.args)
        return json.dumps(members, ensure_ascii=False, separators=(",", ":"))

    def short(self) -> str:
        values = [self.arg(key) for key in ARGUMENTS[self.name]]
        while values and not values[-1]:
            values.pop()
        return " ".join([self.name, " | ".join(values).replace("|  |", "| |")]).strip()


def read(text: str) -> Action:
    """Parses the form of the task files. Raises ValueError with the reason."""
    name, _, rest = text.strip().partition(" ")
    if name not in ARGUMENTS:
        raise ValueError(f"unknown action {name!r}")
    keys = ARGUMENTS[name]
    values = [rest.strip()] if rest.strip() else []
    if values and len(keys) > 1:
        values = [value.strip() for value in BAR.split(rest)]
    if len(values) > len(keys):
        raise ValueError(f"too many arguments in {text!r}")
    for key in keys[: NEEDED.get(name, 1)]:
        if len(values) <= keys.index(key) or not values[keys.index(key)]:
            raise ValueError(f"{key} is missing in {text!r}")
    return Action(name, tuple((key, value) for key, value in zip(keys, values) if value))


def check(action: Action) -> None:
    """Raises ValueError if the program would refuse the action because of the form of its arguments."""
    if action.name == "press_key":
        if action.arg("key").lower() not in KEYS:
            raise ValueError(f"no key {action.arg('key')!r}")
        for modifier in filter(None, action.arg("modifiers").split("+")):
            if modifier not in MODIFIERS:
                raise ValueError(f"no modifier {modifier!r}")
    if action.name == "find_files" and action.arg("extension").startswith("."):
        raise ValueError("an extension has no dot")
    if any("\n" in value or value != value.strip() for _, value in action.args):
        raise ValueError(f"blanks around an argument: {action}")
