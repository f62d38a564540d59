"""The closing sentence of a task without one of its own: what was done, or why it failed."""

import random
import re

from actions import Action
from desktop import Desktop, host, proper


def closing(action: Action, answer: str, desktop: Desktop, dice: random.Random) -> str:
    kind, _, text = answer.partition(": ")
    if kind == "Error":
        return failed(action, text, dice)
    return dice.choice(SENTENCES[action.name](action, text))


def failed(action: Action, text: str, dice: random.Random) -> str:
    app = action.arg("app")
    if text.startswith("Couldn't find an app"):
        return dice.choice([f"I couldn't find an app called {app}.", f"{app} isn't installed here."])
    if action.name == "create_folder":
        return dice.choice(["I can't create folders here.", "I couldn't create the folder."])
    if text.startswith("Accessibility permission"):
        return "I need the Accessibility permission for that."
    if text.startswith("AppleScript error"):
        return "That can't be done with a script here."
    return dice.choice(["That didn't work: ", "I couldn't do that: "]) + text


def count(text: str) -> str:
    return re.search(r"Found (\d+)", text)[1]


def found(action: Action, text: str) -> list[str]:
    if not text.startswith("Found"):
        return [text, f"There are no such files in {action.arg('folder') or 'Downloads'}."]
    newest = re.search(r"Revealed “(.*)” in Finder", text)[1]
    return [f"Found {count(text)}; the newest is {newest}.", f"The newest is {newest}."]


def ended(action: Action, text: str) -> list[str]:
    app = action.arg("app")
    if text.endswith("is not running."):
        return [f"{app} wasn't running.", f"{app} is not running."]
    if text.startswith("Asked"):
        return [f"{app} was asked to quit; it may want you to save first."]
    return [f"{app} quit.", f"Quit {app}.", f"Closed {app}."]


def opened(action: Action, text: str) -> list[str]:
    site = host(action.arg("url"))
    where = f" in {proper(action.arg('app'))}" if action.arg("app") else ""
    return [f"Opened {site}{where}."]


def last(path: str) -> str:
    return path.rstrip("/").rsplit("/", 1)[-1]


SENTENCES = {
    "open_app": lambda a, t: [t.replace(" is now frontmost.", " is open."), "Opened " + proper(a.arg("app")) + "."],
    "quit_app": ended,
    "open_url": opened,
    "web_search": lambda a, t: [f"Searched for {a.arg('query')}.", f"Searched the web for {a.arg('query')}."],
    "new_tab": lambda a, t: ["Opened a new tab."],
    "type_text": lambda a, t: ["Typed it.", "Typed the text."],
    "press_key": lambda a, t: [f"Pressed {a.arg('key')}."],
    "click": lambda a, t: [f"Clicked {a.arg('label')}."],
    "screenshot": lambda a, t: ["Took a screenshot.", f"Saved a screenshot in {a.arg('save_to') or 'Downloads'}."],
    "find_files": found,
    "open_path": lambda a, t: [f"Opened {last(a.arg('path'))}."],
    "trash": lambda a, t: [f"Moved {last(a.arg('path'))} to the Trash."],
    "list_windows": lambda a, t: [f"Open windows: {t}" if t != "none" else "No windows are open."],
    "read_ui": lambda a, t: [f"It shows: {t}" if t.count("|") < 6 else "I have read the controls."],
    "applescript": lambda a, t: ["Done with a script."],
}  # fmt: skip
