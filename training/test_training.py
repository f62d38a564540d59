#!/usr/bin/env python3
"""Checks the hand-written tasks, the exam and the generator. Needs only Python and the tree."""

import hashlib
import json
import os
import re
import subprocess
import sys
import unittest
from collections import Counter
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))

import actions  # noqa: E402
import desktop  # noqa: E402
import exam  # noqa: E402
import generate  # noqa: E402
import program  # noqa: E402
import taskfiles  # noqa: E402

TASKS = taskfiles.read_all(HERE / "tasks")
RECORDS = exam.records()

# Names that the exam may share with the tasks, because the program or the system defines them.
COMMON = set(
    "arc|brave|brave browser|calculator|calendar|chrome|chromium|desktop|documents|downloads|firefox|google chrome|"
    "home|~|mail|messages|music|notes|pictures|preview|reminders|safari|settings|system settings|terminal|"
    "text editor|thunderbird|textedit|finder|uptime".split("|")
)


def reads(literal: str) -> str:
    """The text of a literal in a C++ source."""
    return literal.replace('\\"', '"').replace("\\\\", "\\")


class TheTasks(unittest.TestCase):
    def test_are_at_least_five_thousand(self):
        self.assertGreaterEqual(len(TASKS), 5000)

    def test_are_all_different(self):
        seen = Counter((taskfiles.spoken(task.words()), task.situation) for task in TASKS)
        self.assertEqual([words for words, count in seen.items() if count > 1], [])

    def test_keep_a_fifth_out_of_training(self):
        share = sum(task.is_kept_out for task in TASKS) / len(TASKS)
        self.assertAlmostEqual(share, 0.2, delta=0.01)

    def test_teach_every_action(self):
        taught = Counter(step.action.split(" ")[0] for task in TASKS if not task.is_kept_out for step in task.steps)
        self.assertEqual({name for name in actions.ARGUMENTS if taught[name] < 20}, set())

    def test_refuse_what_the_program_has_no_words_for(self):
        for line in ("open it => open_window x", "press it => press_key hyper", "open [x] => done now => open_app $1",
                     "type => type_text", "x => find_files Downloads -> 9: a.pdf, b.pdf", "go [a] [b] => open_app $1", "x => open_app $2"):  # fmt: skip
            ask, slots = taskfiles.read_ask(line.split(" => ")[0])
            steps = taskfiles.read_steps(line.split(" => ", 1)[1])
            task = taskfiles.Task("here", ask, slots, steps, taskfiles.Situation(), False)
            with self.assertRaises(ValueError, msg=line):
                taskfiles.check(task)


class TheActions(unittest.TestCase):
    def test_are_read_with_arguments_left_out(self):
        for line, reply in (
            ("open_app Visual Studio Code", '{"action":"open_app","app":"Visual Studio Code"}'),
            ("find_files Downloads", '{"action":"find_files","folder":"Downloads"}'),
            ("find_files Downloads | pdf", '{"action":"find_files","folder":"Downloads","extension":"pdf"}'),
            ("find_files Documents | | tax", '{"action":"find_files","folder":"Documents","query":"tax"}'),
            ("press_key / | command+shift", '{"action":"press_key","key":"/","modifiers":"command+shift"}'),
            ("type_text history | tail", '{"action":"type_text","text":"history | tail"}'),
            ("read_ui", '{"action":"read_ui"}'),
        ):  # fmt: skip
            self.assertEqual(actions.read(line).json(), reply)
            self.assertEqual(actions.read(line).short(), line)

    def test_are_not_read_with_too_many_or_too_few(self):
        for line in ("open_url", "find_files a | b | c | d", "read_ui now", "focus_app Mail", ""):
            with self.assertRaises(ValueError, msg=line):
                actions.read(line)


class TheExam(unittest.TestCase):
    def test_has_three_hundred_tasks_of_all_kinds(self):
        kinds = Counter(record["kind"] for record in RECORDS)
        self.assertGreaterEqual(len(RECORDS), 300)
        self.assertEqual(set(kinds), {"one", "several", "another way", "cannot"})
        self.assertEqual(len({record["id"] for record in RECORDS}), len(RECORDS))

    def test_shares_no_task_with_what_is_taught(self):
        taught = {taskfiles.spoken(task.words()) for task in TASKS}
        self.assertEqual([record["task"] for record in RECORDS if taskfiles.spoken(record["task"]) in taught], [])

    def test_shares_no_names_with_what_is_taught(self):
        values = {slot.value.lower() for task in TASKS for slot in task.slots}
        values |= {step.action.partition(" ")[2].lower() for task in TASKS for step in task.steps}
        keys = ("app", "url", "query", "text", "label", "path", "save_to", "name")
        shared = {
            accepted[key]
            for record in RECORDS
            for step in record["steps"]
            for accepted in step["accept"]
            for key in keys
            if key in accepted and accepted[key].lower() in values - COMMON
        }
        self.assertEqual(shared, set())

    def test_ends_each_task_with_done_and_answers_each_step(self):
        for record in RECORDS:
            with self.subTest(record["task"]):
                self.assertEqual(record["steps"][-1], {"accept": [{"action": "done"}]})
                self.assertTrue(record["state"].startswith("Frontmost app: "))
                for step in record["steps"][:-1]:
                    self.assertRegex(step["answer"], "^(Result|Error): ")
                    self.assertTrue(step["state"].startswith("Frontmost app: "))
                    for accepted in step["accept"]:
                        self.assertLessEqual(set(accepted) - {"action"}, set(actions.ARGUMENTS[accepted["action"]]))

    def test_is_passed_by_who_replies_as_accepted(self):
        for record in RECORDS:
            play = exam.Play(record)
            for step in record["steps"]:
                accepted = dict(step["accept"][-1])
                play.answer(accepted.pop("action"), accepted, "")
            with self.subTest(record["task"]):
                self.assertEqual(play.unasked, [])
                self.assertTrue(play.is_done())

    def test_is_failed_by_who_acts_unasked(self):
        for record in RECORDS:
            play = exam.Play(record)
            play.answer("type_text", {"text": "nothing that anybody asked for"}, "")
            with self.subTest(record["task"]):
                self.assertEqual(len(play.unasked), 1)
                self.assertFalse(play.is_done())


class TheDesktop(unittest.TestCase):
    def test_speaks_with_the_programs_own_words(self):
        known = reads(program.texts("executor", "agent", "platform"))
        for text in (" is now frontmost.", " is not running.", " quit.", "Asked ", "the default browser.",
                     " to quit (it may be waiting on a save prompt).", "Opened a new tab.", "Typed text.", "Pressed ",
                     "Clicked “", "Couldn't find a control labelled “", "Couldn't find an app called “", "Found ",
                     "” isn't a valid address.", "Nothing exists at ", "Couldn't read ", "No matching files in ",
                     " file(s), newest first: ", ". Revealed “", "” in Finder.", "No readable controls found.",
                     "Saved screenshot to ", "Missing folder name.", "Moved ", " to the Trash.", "Script ran.",
                     "Script returned: ", "AppleScript error: ", "AppleScript is only available on macOS.",
                     "Unsupported key “", "The screenshot failed. Screen Recording permission may be required.",
                     "No frontmost app.", "Frontmost app: ", ". Windows: ", "User: ", "Result: ", "Error: ",
                     "State: ", desktop.INVALID, "” didn't respond to a click."):  # fmt: skip
            self.assertTrue(text in known, text)
        permission = desktop.MISSING_PERMISSION.split(". ")[0]
        self.assertTrue(permission in known, permission)

    def test_knows_the_programs_actions(self):
        source = (program.ROOT / "executor" / "Executor.cpp").read_text(encoding="utf-8")
        known = set(re.findall(r'\{\.name = u"(\w+)", \.perform = Actions::', source)) - {"focus_app"} | {"done"}
        self.assertEqual(known, set(actions.ARGUMENTS))

    def test_knows_the_programs_keys(self):
        source = reads((program.ROOT / "executor" / "Keyboard.cpp").read_text(encoding="utf-8"))
        for key in actions.KEYS:
            self.assertTrue(f'u"{key}"' in source, key)

    def test_finds_the_system_prompt(self):
        prompt = program.system_prompt()
        self.assertTrue(prompt.isascii())
        self.assertEqual(len(prompt.splitlines()), 34)
        for name in actions.ARGUMENTS:
            self.assertIn(f'{{"action":"{name}"', prompt)

    def test_answers_in_the_order_of_what_happened(self):
        here = desktop.Desktop("linux", "Files", [("Files", "Home")], user="kim")
        for line, outcome, answer, state in (
            ("open_app gimp", "", "Result: Gimp is now frontmost.", "Gimp. Windows: Gimp; Files — Home"),
            ("quit_app GIMP", "", "Result: GIMP quit.", "Files. Windows: Files — Home"),
            ("quit_app GIMP", "-", "Result: GIMP is not running.", "Files. Windows: Files — Home"),
            ("find_files Downloads | pdf", "9: a.pdf, b.pdf",
             "Result: Found 9 file(s), newest first: a.pdf, b.pdf. Revealed “a.pdf” in Finder.",
             "Files. Windows: Files — Downloads; Files — Home"),
            ("create_folder Taxes | Desktop", "", "Error: Missing folder name.", None),
            ("click Send", "!", "Error: Couldn't find a control labelled “Send”.", None),
            ("screenshot my documents", "", "Result: Saved screenshot to /home/kim/Documents/Screenshot "
             "2025-03-07 at 14.05.09.png.", None),
        ):  # fmt: skip
            with self.subTest(line):
                self.assertEqual(here.perform(actions.read(line), outcome), answer)
                if state:
                    self.assertEqual(here.observe(), "Frontmost app: " + state)


class TheGenerator(unittest.TestCase):
    def test_says_the_same_with_the_same_seed_in_every_process(self):
        digests = set()
        for hash_seed in ("1", "2"):
            environment = os.environ | {"PYTHONHASHSEED": hash_seed, "PYTHONDONTWRITEBYTECODE": "1"}
            command = [sys.executable, str(HERE / "generate.py"), "--count", "300", "--seed", "5"]
            output = subprocess.run(command, env=environment, capture_output=True, check=True).stdout
            digests.add(hashlib.sha256(output).hexdigest())
        self.assertEqual(len(digests), 1)

    def test_says_something_else_with_another_seed(self):
        one, two = generate.Generator(1), generate.Generator(2)
        differing = sum(one.conversation(number) != two.conversation(number) for number in range(50))
        self.assertGreater(differing, 45)

    def test_never_teaches_what_is_kept_out(self):
        kept = {task.place for task in TASKS if task.is_kept_out}
        generator = generate.Generator(3)
        self.assertEqual({task.place for task in generator.tasks} & kept, set())
        values = {value for pool in generator.names.pools.values() for value in pool}
        exam_only = {"krita", "keynote", "kdenlive", "vliegwielmuseum.nl", "lobste.rs"}
        self.assertEqual({value.lower() for value in values} & exam_only, set())

    def test_has_conversations_as_the_program_has_them(self):
        generator = generate.Generator(4)
        seen = Counter()
        for number in range(3000):
            conversation = generator.conversation(number)
            messages = conversation["messages"]
            with self.subTest(conversation["from"]):
                self.assertEqual([message["role"] for message in messages], ["user", "assistant"] * (len(messages) // 2))
                self.assertRegex(messages[0]["content"], r"^User: .+\nState: Frontmost app: .+\. Windows: .+$")
                self.assertEqual(json.loads(messages[-1]["content"])["action"], "done")
                for message in messages[1::2]:
                    if message.get("learn", True):
                        reply = json.loads(message["content"])
                        seen[reply["action"]] += 1
                        self.assertEqual(next(iter(reply)), "action")
                        self.assertLessEqual(set(reply) - {"action"}, set(actions.ARGUMENTS[reply["action"]]))
                for message in messages[2::2]:
                    self.assertRegex(message["content"], r"^((Result|Error): .+\nState: Frontmost app: |Invalid\. )")
        self.assertEqual({name for name in actions.ARGUMENTS if seen[name] < 5}, set())

    def test_makes_an_exam_of_what_is_kept_out(self):
        generator = generate.Generator(0, kept_out=True, plain=True)
        kinds = Counter()
        for number in range(len(generator.tasks)):
            record = generator.record(number)
            kinds[record["kind"]] += 1
            play = exam.Play(record)
            for step in record["steps"]:
                accepted = dict(step["accept"][0])
                play.answer(accepted.pop("action"), accepted, "")
            with self.subTest(record["id"]):
                self.assertEqual(play.unasked, [])
                self.assertTrue(play.is_done())
        self.assertEqual(sum(kinds.values()), sum(task.is_kept_out for task in TASKS))
        self.assertGreater(min(kinds[kind] for kind in ("one", "several", "another way", "cannot")), 20)

    def test_takes_the_files_that_a_search_found(self):
        generator = generate.Generator(8)
        taken = 0
        for number in range(6000):
            found = ""
            for message in generator.conversation(number)["messages"]:
                content = message["content"]
                if content.startswith("Result: Found "):
                    found = content
                elif found and message.get("learn", True) and content.startswith('{"action":"open_path"'):
                    path = json.loads(content)["path"]
                    if not path.endswith(tuple(desktop.NAMED_FOLDERS.values())[:4]):
                        self.assertIn(path.rsplit("/", 1)[-1], found)
                        taken += 1
        self.assertGreater(taken, 30)

    def test_leaves_out_endings_and_gives_the_others_their_weight(self):
        generator = generate.Generator(9)
        weight = successes = 0.0
        for number in range(1500):
            whole = generator.conversation(number)["messages"]
            messages, closing = generator.lesson(number, 0.25)
            ends_in_success = len(whole) > 2 and whole[-2]["content"].startswith("Result: ")
            if not ends_in_success or len(messages) == len(whole):
                self.assertEqual(messages, whole)
            else:
                self.assertEqual(messages, whole[:-2])
            if ends_in_success:
                successes += 1
                weight += closing if len(messages) == len(whole) else 0.0
            else:
                self.assertEqual(closing, generate.CLOSING_WEIGHT)
        self.assertGreater(successes, 500)
        self.assertAlmostEqual(weight / successes, generate.CLOSING_WEIGHT, delta=0.06)

    def test_copies_what_the_ask_names(self):
        generator = generate.Generator(6)
        copied = total = 0
        for number in range(1000):
            conversation = generator.conversation(number)
            ask = conversation["messages"][0]["content"].split("\n")[0]
            learnt = [message for message in conversation["messages"][1::2] if message.get("learn", True)]
            reply = json.loads(learnt[0]["content"])
            for key in ("url", "query", "text", "label", "path"):
                if key in reply:
                    total += 1
                    copied += reply[key].lower() in ask.lower()
        self.assertGreater(copied / total, 0.9)


if __name__ == "__main__":
    unittest.main()
