"""Converts a conversation to tokens like the engine, with the vocabulary of the tuned file.

There, the constant system prompt is a single token, the slot PROMPT; training uses the same.
"""

from tokenizers import Tokenizer, decoders, models, pre_tokenizers

from base import Base

START, END, PROMPT = 1, 2, 16


class Tokens:
    def __init__(self, base: Base):
        vocabulary = {text: number for number, text in enumerate(base.fields["tokenizer.ggml.tokens"])}
        merges = [tuple(merge.split(" ")) for merge in base.fields["tokenizer.ggml.merges"]]
        self.tokenizer = Tokenizer(models.BPE(vocabulary, merges))
        self.tokenizer.pre_tokenizer = pre_tokenizers.Sequence(
            [pre_tokenizers.Digits(individual_digits=True), pre_tokenizers.ByteLevel(add_prefix_space=False)]
        )
        self.tokenizer.decoder = decoders.ByteLevel()
        self.newline = self.of("\n")

    def of(self, text: str) -> list[int]:
        return self.tokenizer.encode(text).ids

    def text(self, numbers: list[int]) -> str:
        return self.tokenizer.decode(numbers)

    def opening(self) -> list[int]:
        return [START, *self.of("system\n"), PROMPT, END, *self.newline]

    def conversation(self, messages: list[dict], closing_weight: float) -> tuple[list[int], list[float]]:
        """The tokens, each with its weight in training, which is 0 for text that the model does not generate."""
        numbers = self.opening()
        weights = [0.0] * len(numbers)
        for place, message in enumerate(messages):
            head = [START, *self.of(message["role"] + "\n")]
            body = [*self.of(message["content"]), END]
            is_closing = place > 1 and message["content"].startswith('{"action":"done"')
            learnt = message["role"] == "assistant" and message.get("learn", True)
            numbers += head + body + self.newline
            weights += [0.0] * len(head) + [(closing_weight if is_closing else 1.0) if learnt else 0.0] * len(body)
            weights += [0.0] * len(self.newline)
        return numbers, weights
