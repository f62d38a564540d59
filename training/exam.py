"""The tasks of training/held_out, and how a model's actions for them are judged."""

import json
import re
from pathlib import Path

from desktop import ALIASES, NAMED_FOLDERS, Desktop, proper

FILE = Path(__file__).resolve().parent / "held_out" / "tasks.jsonl"
# Actions without an effect: harmless even if they were not asked for.
LOOKS = {"read_ui", "list_windows", "find_files"}
STOCK = {
    "mac": "Safari Finder Mail Notes Calendar Calculator Terminal TextEdit Preview Music Photos Messages "
    "Reminders Maps Podcasts",
    "linux": "Firefox Chromium Files Terminal Calculator Thunderbird Mousepad",
}


def records() -> list[dict]:
    return [json.loads(line) for line in FILE.read_text(encoding="utf-8").splitlines()]


def plain_path(path: str) -> str:
    path = path.strip().rstrip("/")
    path = path[2:] if path.startswith("~/") else path
    return NAMED_FOLDERS.get(path.lower().replace("my ", ""), path).lower()


def plain(key: str, value: str) -> object:
    """The value without differences that the program ignores."""
    value = value.strip()
    if key == "app":
        return ALIASES.get(value.lower(), value).lower()
    if key == "url":
        address = re.sub(r"^https?://", "", value).rstrip("/")
        name, slash, rest = address.partition("/")
        return name.lower() + slash + rest
    if key == "query":
        return re.sub(r"[\s?.!\"“”']+", " ", value).strip().lower()
    if key == "modifiers":
        names = {"cmd": "command", "ctrl": "control", "alt": "option"}
        return frozenset(names.get(part, part) for part in re.split(r"[+, ]+", value.lower()) if part)
    if key in ("path", "folder", "save_to", "in"):
        return plain_path(value)
    if key == "extension":
        return value.lower().strip(". ")
    return value if key == "text" else value.lower()


def meant(action: str, args: dict) -> dict:
    """The arguments that are compared: a message may be any text, and the program drops a folder's name."""
    kept = {key: value for key, value in args.items() if key not in ("action", "message", "name")}
    if action in ("find_files", "screenshot"):
        kept.setdefault("folder" if action == "find_files" else "save_to", "Downloads")
    if action == "focus_app":
        action = "open_app"
    return {"action": action} | {key: plain(key, value) for key, value in kept.items()}


def is_accepted(step: dict, action: str, args: dict) -> bool:
    said = meant(action, args)
    for accepted in step["accept"]:
        wanted = meant(accepted["action"], accepted)
        if accepted["action"] == "applescript" and "script" not in accepted:
            said.pop("script", None)
        if wanted == said:
            return True
    return False


def conversation(record: dict, upto: int) -> list[dict]:
    """The conversation before reply number `upto`, if each earlier reply was the first accepted one."""
    messages = [{"role": "user", "content": f"User: {record['task']}\nState: {record['state']}"}]
    for step in record["steps"][:upto]:
        reply = json.dumps(step["accept"][0], ensure_ascii=False, separators=(",", ":"))
        messages.append({"role": "assistant", "content": reply})
        messages.append({"role": "user", "content": f"{step['answer']}\nState: {step['state']}"})
    return messages


class Play:
    """One whole task: what each action does to the simulated desktop, and how it ends."""

    def __init__(self, record: dict):
        self.record = record
        self.place = 0
        self.unasked: list[str] = []
        self.last = None
        self.state = record["state"]
        self.messages = conversation(record, 0)
        self.desktop = self.read(self.state)
        installed = set(STOCK[record["system"]].split()) | {owner for owner, _ in self.desktop.windows}
        controls = self.state
        files = ""
        for step in record["steps"]:
            first = step["accept"][0]
            answer = step.get("answer", "")
            if not answer.startswith("Error"):
                controls += str(first.get("label", "")) + answer
                files += str(first.get("path", "")) + answer
                installed |= {accepted["app"] for accepted in step["accept"] if "app" in accepted}
        self.installed = {name.lower() for name in installed}
        self.controls, self.files = controls.lower(), files.lower()

    def read(self, state: str) -> Desktop:
        front, _, windows = state.removeprefix("Frontmost app: ").partition(". Windows: ")
        entries = [tuple(part.partition(" — ")[::2]) for part in windows.split("; ") if part != "none"]
        return Desktop(self.record["system"], front, entries)

    def answer(self, action: str, args: dict, text: str) -> bool:
        """Performs the model's reply; returns False if the task has ended."""
        self.messages.append({"role": "assistant", "content": text})
        if action == "done":
            return False
        if self.last == (action, args):
            return False
        self.last = (action, args)
        for place in range(self.place, len(self.record["steps"]) - 1):
            step = self.record["steps"][place]
            if is_accepted(step, action, args):
                self.place = place + 1
                self.state = step["state"]
                self.desktop = self.read(self.state)
                self.tell(step["answer"])
                return True
            # Actions without an effect may be left out, and so may those that would fail.
            if step["accept"][0]["action"] not in LOOKS and not step["answer"].startswith("Error"):
                break
        self.tell(self.aside(action, args))
        return True

    def tell(self, answer: str) -> None:
        self.messages.append({"role": "user", "content": f"{answer}\nState: {self.state}"})

    def aside(self, action: str, args: dict) -> str:
        """The answer to an action that the task does not expect."""
        def effect(text: str) -> str:
            self.unasked.append(f"{action} {json.dumps(args, ensure_ascii=False)}")
            return "Result: " + text

        app = str(args.get("app", ""))
        there = proper(app).lower() in self.installed or app.lower() in self.installed
        path = str(args.get("path", ""))
        if action == "list_windows":
            return "Result: " + self.state.split("Windows: ", 1)[1]
        if action == "read_ui":
            return "Result: No readable controls found."
        if action == "find_files":
            return f"Result: No matching files in {args.get('folder', 'Downloads')}."
        if action in ("open_app", "focus_app"):
            return effect(f"{proper(app)} is now frontmost.") if there else f"Error: Couldn't find an app called “{app}”."
        if action == "quit_app":
            return effect(f"{app} quit.") if self.desktop.is_running(app) else f"Result: {app} is not running."
        if action in ("open_url", "web_search"):
            if app and not there:
                return f"Error: Couldn't find an app called “{app}”."
            address = str(args.get("url", "www.google.com"))
            if " " in address:
                return f"Error: “{address}” isn't a valid address."
            return effect(f"Opened {plain('url', address).split('/')[0]} in {proper(app) if app else 'the default browser'}.")
        if action == "click":
            label = str(args.get("label", ""))
            known = bool(label) and label.lower() in self.controls
            return effect(f"Clicked “{label}”.") if known else f"Error: Couldn't find a control labelled “{label}”."
        if action == "open_path":
            known = path.lower() in NAMED_FOLDERS or bool(path) and path.rsplit("/", 1)[-1].lower() in self.files
            return effect(f"Opened {path.rsplit('/', 1)[-1]}.") if known else f"Error: Nothing exists at {path}."
        if action == "trash":
            known = bool(path) and path.rsplit("/", 1)[-1].lower() in self.files
            return effect(f"Moved {path.rsplit('/', 1)[-1]} to the Trash.") if known else (
                f"Error: Error trashing file {path}: No such file or directory")  # fmt: skip
        if action == "create_folder":
            return "Error: Missing folder name."
        if action == "applescript" and self.record["system"] == "linux":
            return "Error: AppleScript error: AppleScript is only available on macOS."
        simple = {"new_tab": "Opened a new tab.", "type_text": "Typed text.", "applescript": "Script ran.",
                  "press_key": f"Pressed {args.get('key', '')}.", "screenshot": "Saved screenshot."}  # fmt: skip
        return effect(simple[action]) if action in simple else f"Error: Unknown action “{action}”."

    def is_done(self) -> bool:
        """Whether everything that was asked for has happened, and nothing else."""
        rest = self.record["steps"][self.place : -1]
        left = [step for step in rest if not step["answer"].startswith("Error")]
        return not left and not self.unasked
