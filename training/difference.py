#!/usr/bin/env python3
"""Writes only what was learnt into a small file: the low-rank difference with 8 bits.

    training/difference.py ~/quillon-training/checkpoint.pt packaging/small-model/difference.gguf

The format is that of llama.cpp's adapters with one additional tensor: the row of the vocabulary for the
system prompt. `make-small-model` combines this file with the base.
"""

import sys
from pathlib import Path

import gguf
import numpy
import torch

import base as base_model
from model import ALPHA, Model
from program import system_prompt
from tokens import Tokens


def main() -> None:
    if len(sys.argv) != 3:
        sys.exit("usage: difference.py CHECKPOINT OUTPUT")
    base = base_model.Base(base_model.path())
    model = Model(base, Tokens(base).of(system_prompt()))
    flat = torch.load(sys.argv[1], map_location="cpu")["average"]
    writer = gguf.GGUFWriter(sys.argv[2], "llama")
    writer.add_type("adapter")
    writer.add_string("adapter.type", "lora")
    writer.add_float32("adapter.lora.alpha", ALPHA)
    writer.add_name("Quillon small, the difference to its base")
    writer.add_string("general.license", "apache-2.0")
    writer.add_string("quillon.base.sha256", base_model.DIGEST)
    place = 0
    for name, parameter in sorted(model.named_parameters()):
        values = flat[place : place + parameter.numel()].view_as(parameter).numpy().astype(numpy.float32)
        place += parameter.numel()
        if name == "prompt":
            writer.add_tensor("prompt_row", values)
            continue
        _, number, layer, side = name.split(".")
        packed = gguf.quantize(values, gguf.GGMLQuantizationType.Q8_0)
        writer.add_tensor(
            f"blk.{number}.{layer}.weight.lora_{side}", packed, raw_dtype=gguf.GGMLQuantizationType.Q8_0
        )
    writer.write_header_to_file()
    writer.write_kv_data_to_file()
    writer.write_tensors_to_file()
    writer.close()
    print(f"{Path(sys.argv[2]).stat().st_size / 1e6:.1f} MB")


if __name__ == "__main__":
    main()
