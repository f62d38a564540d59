#!/usr/bin/env python3
"""Tests the programs around training with files of its own: test_programs.py MERGE REPLY MAKE-TEST-MODEL."""

import hashlib
import struct
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))

import program  # noqa: E402

MERGE, REPLY, MAKE_TEST_MODEL = sys.argv[1:4]
F32, Q4_1, Q8_0 = 0, 3, 8
BYTES = {F32: 4 * 32, Q4_1: 20, Q8_0: 34}  # for 32 numbers


def text(value: str) -> bytes:
    return struct.pack("<Q", len(value.encode())) + value.encode()


def pair(key: str, kind: int, value: bytes) -> bytes:
    return text(key) + struct.pack("<I", kind) + value


def write_gguf(path: Path, pairs: list[bytes], tensors: list[tuple[str, tuple[int, ...], int, bytes]]) -> None:
    data = b""
    described = b""
    for name, shape, kind, content in tensors:
        described += text(name) + struct.pack("<I", len(shape)) + struct.pack(f"<{len(shape)}Q", *shape)
        described += struct.pack("<IQ", kind, len(data))
        data += content + bytes(-len(content) % 32)
    head = b"GGUF" + struct.pack("<IQQ", 3, len(tensors), len(pairs)) + b"".join(pairs) + described
    path.write_bytes(head + bytes(-len(head) % 32) + data)


def half(value: float) -> bytes:
    return struct.pack("<e", value)


def four_bits(scale: float, minimum: float, values: list[int]) -> bytes:
    pairs = bytes(low | high << 4 for low, high in zip(values[:16], values[16:]))
    return half(scale) + half(minimum) + pairs


def eight_bits(scale: float, values: list[int]) -> bytes:
    return half(scale) + struct.pack("<32b", *values)


class TheMerge(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.base, self.difference, self.output = (
            Path(self.folder.name) / name for name in ("base.gguf", "difference.gguf", "output.gguf")
        )
        words = [f"<word{number}>" for number in range(17)]
        pairs = [
            pair("general.architecture", 8, text("llama")),
            pair("tokenizer.ggml.tokens", 9, struct.pack("<IQ", 8, 17) + b"".join(map(text, words))),
            pair("tokenizer.ggml.token_type", 9, struct.pack("<IQ17i", 5, 17, *[3] * 17)),
        ]
        weights = [four_bits(0.5, -4.0, list(range(16)) * 2), four_bits(0.25, 0.0, [15] * 32)]
        rows = [eight_bits(0.0078125, [number] * 32) for number in range(17)]
        norm = struct.pack("<32f", *[1.5] * 32)
        write_gguf(self.base, pairs, [
            ("token_embd.weight", (32, 17), Q8_0, b"".join(rows)),
            ("blk.0.attn_q.weight", (32, 2), Q4_1, b"".join(weights)),
            ("blk.0.attn_norm.weight", (32,), F32, norm),
        ])  # fmt: skip
        self.write_difference("blk.0.attn_q.weight")

    def write_difference(self, name: str) -> None:
        """Adds 2 · 3 · 0.5 · 64 / 32 to every weight of the first row, and zero to the second."""
        ones = [eight_bits(0.5, [1] * 32)] + [eight_bits(0.0, [0] * 32)] * 31
        factors = [eight_bits(2.0, [3] + [0] * 31), eight_bits(0.0, [0] * 32)]
        write_gguf(self.difference, [
            pair("general.architecture", 8, text("llama")),
            pair("adapter.lora.alpha", 6, struct.pack("<f", 64.0)),
        ], [
            (name + ".lora_a", (32, 32), Q8_0, b"".join(ones)),
            (name + ".lora_b", (32, 2), Q8_0, b"".join(factors)),
            ("prompt_row", (32,), F32, struct.pack("<32f", *[127.0] * 32)),
        ])  # fmt: skip

    def merge(self, *more: str) -> subprocess.CompletedProcess:
        command = [MERGE, str(self.base), str(self.difference), str(self.output), *more]
        return subprocess.run(command, capture_output=True, text=True)

    def test_adds_the_difference_and_keeps_the_rest(self):
        self.assertEqual(self.merge().returncode, 0)
        written = self.output.read_bytes()
        start = [-4.0 + 0.5 * (number % 16) + 6.0 for number in range(32)]
        scale = struct.unpack("<e", half(max(start) / 127))[0]
        first = eight_bits(scale, [round(value * 127 / max(start)) for value in start])
        self.assertIn(first + eight_bits(struct.unpack("<e", half(3.75 / 127))[0], [127] * 32), written)
        self.assertIn(struct.pack("<32f", *[1.5] * 32), written)

    def test_makes_the_system_prompt_one_token(self):
        self.assertEqual(self.merge().returncode, 0)
        written = self.output.read_bytes()
        prompt = program.system_prompt()
        self.assertIn(text("<word15>") + text(prompt), written)
        self.assertNotIn(text("<word16>"), written)
        self.assertIn(struct.pack("<17i", *[3] * 16, 4), written)
        self.assertIn(eight_bits(1.0, [127] * 32), written)

    def test_writes_the_same_bytes_each_time_and_says_their_digest(self):
        digests = {self.merge().stdout.strip() for _ in range(3)}
        self.assertEqual(digests, {hashlib.sha256(self.output.read_bytes()).hexdigest()})

    def test_takes_the_file_away_when_the_digest_is_another(self):
        digest = self.merge().stdout.strip()
        self.assertEqual(self.merge(digest).returncode, 0)
        refused = self.merge("0" * 64)
        self.assertEqual(refused.returncode, 1)
        self.assertEqual(refused.stderr, "make-small-model: The model has another digest than it should have.\n")
        self.assertFalse(self.output.exists())

    def test_refuses_a_difference_to_something_else(self):
        self.write_difference("blk.7.attn_q.weight")
        refused = self.merge()
        self.assertEqual(refused.returncode, 1)
        self.assertEqual(
            refused.stderr, "make-small-model: The difference has parts that the base has no place for.\n"
        )
        self.base.write_bytes(b"GGUF nonsense")
        self.assertEqual(self.merge().returncode, 1)


class TheEvaluation(unittest.TestCase):
    def evaluate(self, reply: str) -> str:
        """The evaluation of a model that gives this reply to two tasks that cannot be done."""
        with tempfile.TemporaryDirectory() as folder:
            model = str(Path(folder) / "model.gguf")
            subprocess.run([MAKE_TEST_MODEL, model, reply], check=True)
            command = [sys.executable, str(HERE / "evaluate.py"), model, "--program", REPLY]
            command += ["--kind", "cannot", "--most", "2"]
            return subprocess.run(command, capture_output=True, text=True, check=True).stdout

    def test_counts_what_a_model_that_always_gives_up_gets_right(self):
        output = self.evaluate('{"action":"done","message":"No."}')
        self.assertIn("readable replies       2 of 2 (100.0 %)", output)
        self.assertIn("replies that end: right action 2 of 2 (100.0 %), exact 2 of 2 (100.0 %)", output)
        self.assertIn("tasks, cannot: done 2 of 2 (100.0 %), unasked effect 0 of 2 (0.0 %)", output)

    def test_sees_what_was_not_asked_for(self):
        output = self.evaluate('{"action":"type_text","text":"x"}')
        self.assertIn("tasks, all: done 0 of 2 (0.0 %), unasked effect 2 of 2 (100.0 %)", output)
        self.assertIn("    2  done -> type_text", output)

    def test_counts_what_cannot_be_read(self):
        output = self.evaluate("I would rather talk.")
        self.assertIn("readable replies       0 of 2 (0.0 %)", output)
        self.assertIn("    2  done -> unreadable", output)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
