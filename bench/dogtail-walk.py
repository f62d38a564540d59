#!/usr/bin/python3
"""The walk of a click on a label that is not there, as a user of dogtail would write it.

dogtail is a widely used library that tests applications over the accessibility bus. The script
prints the labels of the controls that it met, and last how many milliseconds that took; starting
Python and loading the library are not counted.
"""

import collections
import sys
import time

from dogtail.config import config

# By default it writes logs, and skips all but a hundred children of an element.
config.load({
    "checkForA11y": False,
    "childrenLimit": 100000,
    "logDebugToFile": False,
    "logDebugToStdOut": False,
})

from dogtail import tree  # noqa: E402 - the settings must come first

ELEMENT_LIMIT = 3000
DEPTH_LIMIT = 12
CLICKABLE = {
    "push button", "toggle button", "check box", "radio button", "combo box", "link", "page tab",
    "menu", "menu item", "check menu item", "radio menu item", "tear off menu item",
}


def application(pid):
    for child in tree.root.children:
        if child.get_process_id() == pid:
            return child
    sys.exit("The application is not on the accessibility bus.")


def walk(pid):
    labels = []
    queue = collections.deque([(application(pid), 0)])
    for _ in range(ELEMENT_LIMIT):
        if not queue:
            break
        node, depth = queue.popleft()
        role = node.roleName
        if depth < DEPTH_LIMIT:
            queue.extend((child, depth + 1) for child in node.children)
        if role in CLICKABLE:
            # Each text is one more query, made only if the ones before it are empty.
            labels.append(node.name or node.description or node.text or "")
    return labels


start = time.perf_counter()
found = walk(int(sys.argv[1]))
milliseconds = (time.perf_counter() - start) * 1e3
print("\n".join(found))
print(milliseconds)
