#!/usr/bin/env python3
"""Tunes the base on generated conversations and keeps checkpoints that it goes on from.

    training/train.py --out ~/quillon-training --tokens 5000000 [--processes 2] [--device cuda]

Each batch is generated from the seed and the number of the conversation, so there is no data to store, and
an interrupted run continues as if it had never stopped. `curve.tsv` in the folder has one line per measurement on
tasks that are kept out of training: tokens seen, loss, the share of replies with the right action, and of
replies that are exact, once over all and once without the closing sentences.
"""

import argparse
import fcntl
import math
import os
import random
import signal
import sys
import threading
import time
from pathlib import Path

import torch
from torch import multiprocessing
from torch.nn import functional

import base as base_model
from generate import CLOSING_WEIGHT, Generator
from model import Model
from program import system_prompt
from tokens import Tokens

FLAT_RATE = 0.9  # the share of the run after which the learning rate falls to zero
WARM_UP = 20  # steps
KEPT_ENDINGS = 1 / 3


class Learner:
    """The model with all its learnt numbers in one flat vector, which processes can share."""

    def __init__(self, device: str, seed: int):
        torch.manual_seed(seed)
        base = base_model.Base(base_model.path())
        self.tokens = Tokens(base)
        self.model = Model(base, self.tokens.of(system_prompt())).to(device)
        self.device = device
        self.learnt = [parameter for _, parameter in sorted(self.model.named_parameters())]
        self.flat = torch.cat([parameter.detach().flatten() for parameter in self.learnt])

    def lay_out(self, flat: torch.Tensor) -> None:
        """Makes the model's parameters views of this vector."""
        self.flat = flat
        place = 0
        for parameter in self.learnt:
            parameter.data = flat[place : place + parameter.numel()].view_as(parameter)
            place += parameter.numel()

    def loss(self, batch: list[tuple[list[int], list[float]]]) -> tuple[torch.Tensor, float]:
        """The summed loss of a padded batch, and the sum of its weights."""
        length = max(len(numbers) for numbers, _ in batch)
        numbers = torch.zeros(len(batch), length, dtype=torch.long)
        weights = torch.zeros(len(batch), length)
        for row, (tokens, weight) in enumerate(batch):
            numbers[row, : len(tokens)] = torch.tensor(tokens)
            weights[row, : len(tokens)] = torch.tensor(weight)
        numbers, weights = numbers.to(self.device), weights[:, 1:].to(self.device)
        is_counted = weights > 0
        states = self.model.states(numbers)[:, :-1][is_counted]
        losses = functional.cross_entropy(
            self.model.scores(states).float(), numbers[:, 1:][is_counted], reduction="none"
        )
        return (losses * weights[is_counted]).sum(), float(weights.sum())


def batches(samples: list[tuple[list[int], list[float]]], size: int) -> list[list]:
    """The samples in groups of limited size including the padding, with similar lengths together."""
    groups: list[list] = [[]]
    for sample in sorted(samples, key=lambda sample: len(sample[0])):
        if groups[-1] and len(sample[0]) * (len(groups[-1]) + 1) > size:
            groups.append([])
        groups[-1].append(sample)
    return groups


def measure(learner: Learner, conversations: list[dict]) -> tuple[float, float, float]:
    """The shares of replies with the right action, of exact ones, and of exact ones without `done`. Each reply
    is generated greedily after the correct earlier ones."""
    action = exact = exact_acts = acts = total = 0
    with torch.no_grad():
        for conversation in conversations:
            numbers, _ = learner.tokens.conversation(conversation["messages"], CLOSING_WEIGHT)
            states = learner.model.states(torch.tensor([numbers], device=learner.device))
            place = len(learner.tokens.opening())
            for message in conversation["messages"]:
                head = 1 + len(learner.tokens.of(message["role"] + "\n"))
                body = len(learner.tokens.of(message["content"])) + 1
                if message["role"] == "assistant":
                    first = place + head
                    says = learner.model.scores(states[0, first - 1 : first + body - 1]).argmax(-1)
                    meant = torch.tensor(numbers[first : first + body], device=learner.device)
                    name = message["content"].split('"')[3]
                    upto = len(learner.tokens.of('{"action":"' + name + '"')) if name else body
                    is_exact = bool((says == meant).all())
                    action += bool((says[:upto] == meant[:upto]).all())
                    exact += is_exact
                    total += 1
                    if name != "done":
                        acts += 1
                        exact_acts += is_exact
                place += head + body + len(learner.tokens.newline)
    return action / total, exact / total, exact_acts / max(acts, 1)


def end_with(parent: int) -> None:
    """Ends this process soon after its parent, however that ends; otherwise it would go on writing
    checkpoints."""

    def watch() -> None:
        while os.getppid() == parent:
            time.sleep(1)
        os._exit(1)

    threading.Thread(target=watch, daemon=True).start()


def work(rank: int, arguments: argparse.Namespace, shared: dict) -> None:
    if arguments.processes > 1:
        end_with(arguments.parent)
    torch.set_num_threads(1 if arguments.processes > 1 else arguments.threads)
    torch.manual_seed(arguments.seed)
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    learner = Learner(arguments.device, arguments.seed)
    learner.lay_out(shared["flat"] if arguments.device == "cpu" else shared["flat"].to(arguments.device))
    generator = Generator(arguments.seed)
    is_first = rank == 0
    out = Path(arguments.out)
    state = {"step": 0, "next": 0, "tokens": 0}
    moments = None
    if is_first:
        moments = [torch.zeros_like(learner.flat), torch.zeros_like(learner.flat)]
        checkpoint = out / "checkpoint.pt"
        if checkpoint.exists():
            saved = torch.load(checkpoint, map_location=arguments.device)
            learner.flat.copy_(saved["flat"])
            moments = saved["moments"]
            state = saved["state"]
            print(f"Going on after {state['tokens']} tokens.", flush=True)
        shared["state"][:] = torch.tensor([state["step"], state["next"], state["tokens"]])
    shared["gate"].wait()

    measured = Generator(0, kept_out=True, plain=True)
    pick = random.Random(0).sample(range(len(measured.tasks)), min(arguments.measured, len(measured.tasks)))
    questions = [measured.conversation(number) for number in pick]
    begin, last_measure, last_save, shown = time.time(), -1, time.time(), 0.0
    while True:
        step, first, seen = (int(number) for number in shared["state"])
        if is_first:
            if last_measure < 0 or seen - last_measure >= arguments.measure_every or seen >= arguments.tokens:
                last_measure = seen
                shares = measure(learner, questions)
                line = "\t".join([str(seen), f"{shown:.3f}"] + [f"{share:.3f}" for share in shares])
                with (out / "curve.tsv").open("a") as curve:
                    curve.write(f"{line}\t{time.time() - begin:.0f}\n")
                print(line, flush=True)
            is_over = seen >= arguments.tokens or time.time() - begin > arguments.minutes * 60
            if is_over or time.time() - last_save > 240:
                last_save = time.time()
                partial = out / "checkpoint.partial"
                state = {"step": step, "next": first, "tokens": seen}
                torch.save({"flat": learner.flat.clone(), "moments": moments, "state": state}, partial)
                os.replace(partial, out / "checkpoint.pt")
            shared["over"].fill_(int(is_over))
        shared["gate"].wait()
        if shared["over"].item():
            return

        # Each process makes its own share of the step's conversations.
        samples, number, own = [], first + rank, 0
        while own < arguments.batch / arguments.processes:
            sample = learner.tokens.conversation(*generator.lesson(number, KEPT_ENDINGS))
            samples.append(sample)
            own += len(sample[0])
            number += arguments.processes
        summed, weight = 0.0, 0.0
        for group in batches(samples, arguments.group):
            with torch.autocast(arguments.device, torch.bfloat16, enabled=arguments.bf16):
                loss, counted = learner.loss(group)
            loss.backward()
            summed += float(loss.detach())
            weight += counted
        gradient = torch.cat([parameter.grad.flatten() for parameter in learner.learnt])
        for parameter in learner.learnt:
            parameter.grad = None
        if arguments.processes > 1:
            shared["gradients"][rank].copy_(gradient)
        shared["counts"][rank] = torch.tensor([summed, weight, own, number - rank], dtype=torch.float64)
        shared["gate"].wait()

        if is_first:
            counts = shared["counts"]
            if arguments.processes > 1:
                gradient = shared["gradients"].sum(0)
            gradient /= float(counts[:, 1].sum())
            gradient *= min(1.0, 1.0 / (float(gradient.norm()) + 1e-6))
            done = seen / arguments.tokens
            rate = arguments.rate * min(1.0, (step + 1) / WARM_UP)
            if done > FLAT_RATE:
                rate *= 0.5 * (1 + math.cos(math.pi * min(1.0, (done - FLAT_RATE) / (1 - FLAT_RATE))))
            moments[0].mul_(0.9).add_(gradient, alpha=0.1)
            moments[1].mul_(0.98).addcmul_(gradient, gradient, value=0.02)
            one = moments[0] / (1 - 0.9 ** (step + 1))
            two = moments[1] / (1 - 0.98 ** (step + 1))
            learner.flat.sub_(rate * one / (two.sqrt() + 1e-8))
            shown = float(counts[:, 0].sum() / counts[:, 1].sum())
            shared["state"][:] = torch.tensor(
                [step + 1, int(counts[:, 3].max()), seen + int(counts[:, 2].sum())]
            )
        shared["gate"].wait()


class Alone:
    """The synchronisation of a single process, which waits for no other."""

    def wait(self) -> None:
        pass


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("--out", required=True, help="the folder of the checkpoint and the curve")
    parser.add_argument("--tokens", type=int, default=5_000_000, help="stop after so many")
    parser.add_argument("--minutes", type=float, default=1e9, help="stop after so long; run again to go on")
    parser.add_argument("--batch", type=int, default=1024, help="tokens between two steps")
    parser.add_argument("--group", type=int, default=384, help="tokens in one pass, with padding; more padding if more")
    parser.add_argument("--rate", type=float, default=8e-4, help="the learning rate")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--processes", type=int, default=1, help="with shared parameters, on a processor")
    parser.add_argument("--threads", type=int, default=2, help="of a single process")
    parser.add_argument("--device", default="cpu", choices=("cpu", "cuda"))
    parser.add_argument("--bf16", action=argparse.BooleanOptionalAction, help="the default is what is faster")
    parser.add_argument("--measured", type=int, default=60, help="tasks in one measurement")
    parser.add_argument("--measure-every", type=int, default=50_000, help="tokens")
    arguments = parser.parse_args()
    if arguments.device == "cuda" and arguments.processes > 1:
        sys.exit("One process drives the graphics processor.")
    if arguments.bf16 is None:
        flags = Path("/proc/cpuinfo").read_text() if Path("/proc/cpuinfo").exists() else ""
        arguments.bf16 = arguments.device == "cuda" or "avx512_bf16" in flags or "amx_bf16" in flags
    Path(arguments.out).mkdir(parents=True, exist_ok=True)
    lock = (Path(arguments.out) / "lock").open("w")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        sys.exit(f"Another training is writing to {arguments.out}.")
    arguments.parent = os.getpid()

    flat = Learner("cpu", arguments.seed).flat.share_memory_()
    shared = {
        "flat": flat,
        "state": torch.zeros(3, dtype=torch.long).share_memory_(),
        "over": torch.zeros(1, dtype=torch.long).share_memory_(),
        "counts": torch.zeros(arguments.processes, 4, dtype=torch.float64).share_memory_(),
        "gate": Alone(),
    }
    if arguments.processes == 1:
        work(0, arguments, shared)
        return
    shared["gradients"] = torch.zeros(arguments.processes, flat.numel()).share_memory_()
    shared["gate"] = multiprocessing.get_context("spawn").Barrier(arguments.processes)
    multiprocessing.spawn(work, (arguments, shared), nprocs=arguments.processes)


if __name__ == "__main__":
    main()
