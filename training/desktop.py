"""A desktop that answers an action as the program does, word for word.

It only knows which applications run and which is in front. The rest (the files of a folder, the controls of
a window, failures) comes from the task, behind `->`.
"""

from dataclasses import dataclass, field

from actions import Action

MISSING_PERMISSION = (
    "Accessibility permission is required to type. Enable it in System Settings → Privacy & Security → "
    "Accessibility."
)
INVALID = "Invalid. Reply with exactly one JSON action object."

# The number of file names in one answer.
MOST_NAMES = 5

# These names always mean an installed application, whatever the task says: the browser that
# opens an address without an application, and the file manager.
BROWSER = {"mac": "Safari", "linux": "Firefox"}
FILES = {"mac": "Finder", "linux": "Files"}
ALIASES = {
    "vscode": "Visual Studio Code",
    "vs code": "Visual Studio Code",
    "code": "Visual Studio Code",
    "chrome": "Google Chrome",
    "brave": "Brave Browser",
    "word": "Microsoft Word",
    "excel": "Microsoft Excel",
    "settings": "System Settings",
    "system preferences": "System Settings",
}
# The application that opens a file, by its suffix; other files open in the text editor.
OPENERS = {
    "mac": {"pdf": "Preview", "png": "Preview", "jpg": "Preview", "mp3": "Music", "txt": "TextEdit"},
    "linux": {"pdf": "Document Viewer", "png": "Image Viewer", "jpg": "Image Viewer", "mp3": "Videos"},
}
NAMED_FOLDERS = {"desktop": "Desktop", "downloads": "Downloads", "downloads folder": "Downloads",
                 "documents": "Documents", "pictures": "Pictures", "home": "", "~": ""}  # fmt: skip


def proper(name: str) -> str:
    """The name that an application itself reports if it was started as `name`."""
    if name.lower() in ALIASES:
        return ALIASES[name.lower()]
    return name if name != name.lower() else " ".join(word[:1].upper() + word[1:] for word in name.split())


def host(url: str) -> str:
    rest = url.split("://", 1)[-1]
    return rest.split("/")[0].split("?")[0].rsplit("@", 1)[-1].split(":")[0].lower()


@dataclass
class Desktop:
    system: str
    front: str
    windows: list[tuple[str, str]] = field(default_factory=list)
    user: str = "sam"
    time: str = "2025-03-07 at 14.05.09"

    def observe(self) -> str:
        entries = []
        for owner, title in self.windows:
            entry = f"{owner} — {title}" if title else owner
            if entry not in entries and len(entries) < 8:
                entries.append(entry)
        return f"Frontmost app: {self.front}. Windows: {'; '.join(entries) or 'none'}"

    def home(self) -> str:
        return ("/Users/" if self.system == "mac" else "/home/") + self.user

    def resolve(self, path: str) -> str:
        path = path.strip(" \t")
        key = path.lower().replace("~/", "").replace("my ", "")
        if key in NAMED_FOLDERS:
            return (self.home() + "/" + NAMED_FOLDERS[key]).rstrip("/")
        if path.startswith("~"):
            return self.home() + path[1:]
        return path if path.startswith("/") else self.home() + "/" + path

    def bring(self, app: str, title: str = "") -> None:
        own = [entry for entry in self.windows if entry[0].lower() == app.lower()]
        rest = [entry for entry in self.windows if entry not in own]
        if title:
            own = [(app, title)] + [entry for entry in own if entry[1] != title]
        self.windows = (own or [(app, "")]) + rest
        self.front = self.windows[0][0]

    def is_running(self, app: str) -> bool:
        names = {app.lower(), proper(app).lower()}
        return self.front.lower() in names or any(owner.lower() in names for owner, _ in self.windows)

    def close(self, app: str) -> None:
        names = {app.lower(), proper(app).lower()}
        self.windows = [entry for entry in self.windows if entry[0].lower() not in names]
        if self.front.lower() in names:
            self.front = self.windows[0][0] if self.windows else FILES[self.system]

    def perform(self, action: Action, outcome: str = "") -> str:
        """The answer to the action, without the state. `outcome` is what the task says
        about it: empty for the ordinary success, `!` for the ordinary failure, `!text` for another failure,
        `-` for an empty result, and any other text as the action below reads it."""
        if outcome.startswith("!"):
            return "Error: " + (outcome[1:].strip() or self.failure(action))
        return getattr(self, "_" + action.name)(action, outcome)

    def failure(self, action: Action) -> str:
        name = action.name
        if name in ("open_app", "new_tab"):
            return f"Couldn't find an app called “{action.arg('app')}”."
        if name in ("open_url", "web_search"):
            if action.arg("app"):
                return f"Couldn't find an app called “{action.arg('app')}”."
            return f"“{action.arg('url')}” isn't a valid address."
        if name == "click":
            return f"Couldn't find a control labelled “{action.arg('label')}”."
        if name == "open_path":
            return f"Nothing exists at {action.arg('path')}."
        if name == "trash":
            path = self.resolve(action.arg("path"))
            if self.system == "mac":
                return f"“{path.rsplit('/', 1)[-1]}” couldn’t be moved to the trash because it doesn’t exist."
            return f"Error trashing file {path}: No such file or directory"
        if name == "find_files":
            return f"Couldn't read {action.arg('folder') or 'Downloads'}."
        if name == "create_folder":
            return "Missing folder name."
        if name == "screenshot":
            return "The screenshot failed. Screen Recording permission may be required."
        if name == "type_text":
            return MISSING_PERMISSION
        if name == "press_key":
            return f"Unsupported key “{action.arg('key')}”."
        if name == "read_ui":
            return "No frontmost app."
        if name == "applescript":
            if self.system == "linux":
                return "AppleScript error: AppleScript is only available on macOS."
            return "AppleScript error: Not authorized to send Apple events to System Events."
        raise ValueError(f"{name} does not fail")

    def _open_app(self, action: Action, outcome: str) -> str:
        name = outcome or proper(action.arg("app"))
        self.bring(name)
        return f"Result: {name} is now frontmost."

    def _quit_app(self, action: Action, outcome: str) -> str:
        app = action.arg("app")
        if outcome == "-":
            return f"Result: {app} is not running."
        if outcome == "?":
            return f"Result: Asked {app} to quit (it may be waiting on a save prompt)."
        self.close(app)
        return f"Result: {app} quit."

    def _open_url(self, action: Action, outcome: str) -> str:
        app = action.arg("app")
        name = host(action.arg("url"))
        self.bring(proper(app) if app else BROWSER[self.system], outcome or name)
        return f"Result: Opened {name} in {proper(app) if app else 'the default browser'}."

    def _web_search(self, action: Action, outcome: str) -> str:
        app = action.arg("app")
        self.bring(proper(app) if app else BROWSER[self.system], action.arg("query") + " - Google Search")
        return f"Result: Opened www.google.com in {proper(app) if app else 'the default browser'}."

    def _new_tab(self, action: Action, outcome: str) -> str:
        if action.arg("app"):
            self.bring(proper(action.arg("app")))
        if self.windows and self.windows[0][0] == self.front and self.windows[0][1]:
            self.windows[0] = (self.front, "New Tab" if self.system == "linux" else "Start Page")
        return "Result: Opened a new tab."

    def _type_text(self, action: Action, outcome: str) -> str:
        return "Result: Typed text."

    def _press_key(self, action: Action, outcome: str) -> str:
        return f"Result: Pressed {action.arg('key')}."

    def _click(self, action: Action, outcome: str) -> str:
        return f"Result: Clicked “{action.arg('label')}”."

    def _create_folder(self, action: Action, outcome: str) -> str:
        # The program's parser drops the argument "name", so this action always fails.
        return "Error: " + self.failure(action)

    def _screenshot(self, action: Action, outcome: str) -> str:
        folder = self.resolve(action.arg("save_to") or "Downloads")
        return f"Result: Saved screenshot to {folder}/Screenshot {self.time}.png."

    def _find_files(self, action: Action, outcome: str) -> str:
        """`a.pdf, b.pdf` for two files, `12: a.pdf, b.pdf` for the newest two of twelve."""
        folder = action.arg("folder") or "Downloads"
        if outcome in ("", "-"):
            return f"Result: No matching files in {folder}."
        count, _, names = outcome.partition(": ")
        if not count.isdecimal():
            count, names = str(len(outcome.split(", "))), outcome
        newest = names.split(", ")[0]
        shown = ", ".join(names.split(", ")[:MOST_NAMES])
        self.bring(FILES[self.system], self.resolve(folder).rsplit("/", 1)[-1])
        return f"Result: Found {count} file(s), newest first: {shown}. Revealed “{newest}” in Finder."

    def _open_path(self, action: Action, outcome: str) -> str:
        path = self.resolve(action.arg("path"))
        name = path.rstrip("/").rsplit("/", 1)[-1]
        stem, dot, extension = name.rpartition(".")
        if dot and stem and len(extension) <= 5:
            editor = "TextEdit" if self.system == "mac" else "Text Editor"
            self.bring(outcome or OPENERS[self.system].get(extension.lower(), editor), name)
        else:
            self.bring(FILES[self.system], name)
        return f"Result: Opened {name}."

    def _trash(self, action: Action, outcome: str) -> str:
        name = self.resolve(action.arg("path")).rstrip("/").rsplit("/", 1)[-1]
        return f"Result: Moved {name} to the Trash."

    def _list_windows(self, action: Action, outcome: str) -> str:
        return "Result: " + self.observe().split("Windows: ", 1)[1]

    def _read_ui(self, action: Action, outcome: str) -> str:
        return "Result: " + (outcome if outcome not in ("", "-") else "No readable controls found.")

    def _applescript(self, action: Action, outcome: str) -> str:
        if self.system == "linux":
            return "Error: " + self.failure(action)
        return f"Result: Script returned: {outcome}" if outcome else "Result: Script ran."
