"""Texts that are read from the program's sources, so that training always uses the current ones."""

import re
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent


def system_prompt() -> str:
    source = (ROOT / "agent" / "SystemPrompt.cpp").read_text(encoding="utf-8")
    return re.search(r'uR"\((.*?)\)"_s', source, re.DOTALL)[1]


def texts(*folders: str) -> str:
    """All string literals of the program's sources in these folders, one per line."""
    found = []
    for folder in folders:
        for path in sorted([*(ROOT / folder).rglob("*.cpp"), *(ROOT / folder).rglob("*.h")]):
            found += re.findall(r'u?"((?:[^"\\\n]|\\.)*)"', path.read_text(encoding="utf-8"))
    return "\n".join(found)
