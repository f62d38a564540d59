"""The frozen base in PyTorch, with what is learnt: a low-rank difference on every linear layer and one row
of the vocabulary. The weights have the file's layout, so the difference has it too.
"""

import math

import numpy
import torch
from torch import Tensor, nn
from torch.nn import functional

from base import Base
from tokens import PROMPT

RANK = 32
ALPHA = 64.0
LAYERS = ("attn_q", "attn_k", "attn_v", "attn_output", "ffn_gate", "ffn_up", "ffn_down")


class Linear(nn.Module):
    """A frozen matrix W and the difference B A · ALPHA / RANK to it, which starts as zero."""

    def __init__(self, weight: numpy.ndarray):
        super().__init__()
        outputs, inputs = weight.shape
        self.register_buffer("weight", torch.from_numpy(weight), persistent=False)
        self.a = nn.Parameter(torch.randn(RANK, inputs) / math.sqrt(inputs))
        self.b = nn.Parameter(torch.zeros(outputs, RANK))

    def forward(self, x: Tensor) -> Tensor:
        low = functional.linear(functional.linear(x, self.a), self.b)
        return functional.linear(x, self.weight) + low * (ALPHA / RANK)


class Norm(nn.Module):
    def __init__(self, weight: numpy.ndarray, epsilon: float):
        super().__init__()
        self.register_buffer("weight", torch.from_numpy(weight), persistent=False)
        self.epsilon = epsilon

    def forward(self, x: Tensor) -> Tensor:
        return functional.rms_norm(x.float(), self.weight.shape, self.weight, self.epsilon).to(x.dtype)


def turned(x: Tensor, cos: Tensor, sin: Tensor) -> Tensor:
    """Rotary positions over pairs of neighbouring numbers, as the file orders them."""
    even, odd = x[..., 0::2], x[..., 1::2]
    return torch.stack((even * cos - odd * sin, even * sin + odd * cos), dim=-1).flatten(-2).to(x.dtype)


class Block(nn.Module):
    def __init__(self, base: Base, number: int):
        super().__init__()
        fields = base.fields
        self.heads = int(fields["llama.attention.head_count"])
        self.shared = int(fields["llama.attention.head_count_kv"])
        epsilon = float(fields["llama.attention.layer_norm_rms_epsilon"])
        for layer in LAYERS:
            self.add_module(layer, Linear(base.weights(f"blk.{number}.{layer}.weight")))
        self.attn_norm = Norm(base.weights(f"blk.{number}.attn_norm.weight"), epsilon)
        self.ffn_norm = Norm(base.weights(f"blk.{number}.ffn_norm.weight"), epsilon)

    def forward(self, x: Tensor, cos: Tensor, sin: Tensor) -> Tensor:
        batch, length, _ = x.shape
        y = self.attn_norm(x)
        q = self.attn_q(y).view(batch, length, self.heads, -1).transpose(1, 2)
        k = self.attn_k(y).view(batch, length, self.shared, -1).transpose(1, 2)
        v = self.attn_v(y).view(batch, length, self.shared, -1).transpose(1, 2)
        q, k = turned(q, cos, sin), turned(k, cos, sin)
        seen = functional.scaled_dot_product_attention(q, k, v, is_causal=True, enable_gqa=True)
        x = x + self.attn_output(seen.transpose(1, 2).reshape(batch, length, -1))
        y = self.ffn_norm(x)
        return x + self.ffn_down(functional.silu(self.ffn_gate(y)) * self.ffn_up(y))


class Model(nn.Module):
    def __init__(self, base: Base, prompt: list[int]):
        super().__init__()
        fields = base.fields
        embeddings = torch.from_numpy(base.weights("token_embd.weight"))
        self.register_buffer("embeddings", embeddings, persistent=False)
        # The token for the system prompt starts as the mean of the prompt's own tokens.
        self.prompt = nn.Parameter(embeddings[prompt].mean(0).clone())
        self.blocks = nn.ModuleList(Block(base, number) for number in range(int(fields["llama.block_count"])))
        epsilon = float(fields["llama.attention.layer_norm_rms_epsilon"])
        self.norm = Norm(base.weights("output_norm.weight"), epsilon)
        size = int(fields["llama.rope.dimension_count"])
        turns = float(fields["llama.rope.freq_base"]) ** (-torch.arange(0, size, 2).float() / size)
        self.register_buffer("turns", turns, persistent=False)

    def states(self, numbers: Tensor) -> Tensor:
        x = self.embeddings[numbers]
        x = torch.where((numbers == PROMPT)[..., None], self.prompt, x)
        angles = torch.arange(numbers.shape[1], device=numbers.device)[:, None] * self.turns
        cos, sin = angles.cos(), angles.sin()
        for block in self.blocks:
            x = block(x, cos, sin)
        return self.norm(x)

    def scores(self, states: Tensor) -> Tensor:
        """The output shares its matrix with the embeddings, so the learnt row is used here as well."""
        scores = functional.linear(states, self.embeddings.to(states.dtype))
        own = functional.linear(states, self.prompt.to(states.dtype)[None])
        return torch.cat((scores[..., :PROMPT], own, scores[..., PROMPT + 1 :]), dim=-1)
