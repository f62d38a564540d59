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

FLAT_RATE = 0.8  # the share of the run after which the learning rate falls to zero
WARM_UP = 20  # steps
KEPT_ENDINGS = 1 / 3
LEAST_CHANCE = 0.1
AVERAGED = 100  # steps, about, that the averaged model looks back
STEP, NEXT, SEEN, TAKEN = range(4)  # the shared state: steps done, next conversation, tokens in all and in this step


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

    def lay_out(self, flat: torch.Tensor, gradient: torch.Tensor) -> None:
        """Makes the model's parameters and their gradients views of these vectors."""
        self.flat = flat
        self.gradient = gradient
        place = 0
        for parameter in self.learnt:
            own = slice(place, place + parameter.numel())
            parameter.data = flat[own].view_as(parameter)
            parameter.grad = gradient[own].view_as(parameter)
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


def take(learner: Learner, generator: Generator, shared: dict, arguments: argparse.Namespace) -> list:
    """The tokens of the next conversations for one pass, padded no longer than `group`; none when the step has
    enough. Each process takes what comes next, so that no one waits for another with longer conversations."""
    samples, longest = [], 0
    with shared["lock"]:
        state = shared["state"]
        while state[TAKEN] < arguments.batch and longest * (len(samples) + 1) <= arguments.group:
            sample = learner.tokens.conversation(*generator.lesson(int(state[NEXT]), KEPT_ENDINGS))
            samples.append(sample)
            longest = max(longest, len(sample[0]))
            state[NEXT] += 1
            state[SEEN] += len(sample[0])
            state[TAKEN] += len(sample[0])
    return samples


def chance_of(loss: float, usual: float) -> float:
    """The chance with which a pass is learnt from, by its loss and the usual one. What the model knows already
    teaches little, but the way back costs twice the way there. Dividing by the chance keeps the sum right."""
    return min(1.0, max(LEAST_CHANCE, loss / usual)) if usual > 0 else 1.0


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
    learner.lay_out(shared["flat"].to(arguments.device), shared["gradients"][rank].to(arguments.device))
    generator = Generator(arguments.seed)
    dice = random.Random(f"{arguments.seed}/{rank}")
    is_first = rank == 0
    out = Path(arguments.out)
    state = {"step": 0, "next": 0, "tokens": 0}
    moments = average = None
    if is_first:
        moments = [torch.zeros_like(learner.flat), torch.zeros_like(learner.flat)]
        average = learner.flat.clone()
        checkpoint = out / "checkpoint.pt"
        if checkpoint.exists():
            saved = torch.load(checkpoint, map_location=arguments.device)
            learner.flat.copy_(saved["flat"])
            moments = saved["moments"]
            average = saved["average"]
            state = saved["state"]
            print(f"Going on after {state['tokens']} tokens.", flush=True)
        shared["state"][:] = torch.tensor([state["step"], state["next"], state["tokens"], 0])
    shared["gate"].wait()

    measured = Generator(0, kept_out=True, plain=True)
    pick = random.Random(0).sample(range(len(measured.tasks)), min(arguments.measured, len(measured.tasks)))
    questions = [measured.conversation(number) for number in pick]
    begin, last_measure, last_save, shown = time.time(), -1, time.time(), 0.0
    while True:
        step, following, seen, _ = shared["state"].tolist()
        if is_first:
            if last_measure < 0 or seen - last_measure >= arguments.measure_every or seen >= arguments.tokens:
                last_measure = seen
                latest = learner.flat.clone()
                learner.flat.copy_(average)
                shares = measure(learner, questions)
                learner.flat.copy_(latest)
                line = "\t".join([str(seen), f"{shown:.3f}"] + [f"{share:.3f}" for share in shares])
                with (out / "curve.tsv").open("a") as curve:
                    curve.write(f"{line}\t{time.time() - begin:.0f}\n")
                print(line, flush=True)
            is_over = seen >= arguments.tokens or time.time() - begin > arguments.minutes * 60
            if is_over or time.time() - last_save > 240:
                last_save = time.time()
                partial = out / "checkpoint.partial"
                state = {"step": step, "next": following, "tokens": seen}
                saved = {"flat": learner.flat.clone(), "average": average, "moments": moments, "state": state}
                torch.save(saved, partial)
                os.replace(partial, out / "checkpoint.pt")
            shared["over"].fill_(int(is_over))
        shared["gate"].wait()
        if shared["over"].item():
            return

        learner.gradient.zero_()
        usual = float(shared["usual"])
        summed = weight = conversations = 0.0
        while samples := take(learner, generator, shared, arguments):
            with torch.autocast(arguments.device, torch.bfloat16, enabled=arguments.bf16):
                loss, counted = learner.loss(samples)
            amount = float(loss.detach())
            chance = chance_of(amount, arguments.drop * usual * len(samples))
            if dice.random() < chance:
                (loss / chance).backward()
            summed += amount
            weight += counted
            conversations += len(samples)
        shared["counts"][rank] = torch.tensor([summed, weight, conversations], dtype=torch.float64)
        shared["gate"].wait()

        if is_first:
            counts = shared["counts"].sum(0)
            gradient = shared["gradients"].sum(0) if arguments.processes > 1 else learner.gradient
            gradient /= float(counts[1])
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
            average.lerp_(learner.flat, max(1 / AVERAGED, 1 / (step + 1)))
            shown = float(counts[0] / counts[1])
            now = float(counts[0] / counts[2])
            shared["usual"].fill_(now if usual == 0 else 0.9 * usual + 0.1 * now)
            shared["state"][STEP] += 1
            shared["state"][TAKEN] = 0
        shared["gate"].wait()


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("--out", required=True, help="the folder of the checkpoint and the curve")
    parser.add_argument("--tokens", type=int, default=5_000_000, help="stop after so many")
    parser.add_argument("--minutes", type=float, default=1e9, help="stop after so long; run again to go on")
    parser.add_argument("--batch", type=int, default=1024, help="tokens between two steps")
    parser.add_argument("--group", type=int, default=128, help="tokens in one pass, with padding; more if one has more")
    parser.add_argument("--drop", type=float, default=2.0, help="rarely learn from less than so many usual losses; 0: always")
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

    processes = multiprocessing.get_context("spawn")
    flat = Learner("cpu", arguments.seed).flat.share_memory_()
    shared = {
        "flat": flat,
        "gradients": torch.zeros(arguments.processes, flat.numel()).share_memory_(),
        "state": torch.zeros(4, dtype=torch.long).share_memory_(),
        "usual": torch.zeros(1, dtype=torch.float64).share_memory_(),
        "over": torch.zeros(1, dtype=torch.long).share_memory_(),
        "counts": torch.zeros(arguments.processes, 3, dtype=torch.float64).share_memory_(),
        "gate": processes.Barrier(arguments.processes),
        "lock": processes.Lock(),
    }
    if arguments.processes == 1:
        work(0, arguments, shared)
        return
    multiprocessing.spawn(work, (arguments, shared), nprocs=arguments.processes)


if __name__ == "__main__":
    main()
