#!/usr/bin/env python3
"""Works the client for a long time over a network that is not quite reliable, and says whether
anything grows.

Commands are mixed as an operator's day has them; one request in a hundred is spoiled. After each
hundred commands the sandbox's bookings are set back, the first group is loaded, and what the
process holds is read from inside it. Straight lines through these samples, the first tenth of them
left out, are held against limits. Time is counted from the click to the finished table, over what
is usual for the kind of command; spoiled commands are left out.

limits, each per 1,000 commands:
  heap in use, without kept replies     64 kB   a leak of 100 bytes a command would be 100
  kept replies beyond the details       0.5     each reply but the details' is deleted in its slot
  descriptors, threads                  0.5     one for each new connection would be 3
  resident memory, without kept replies 256 kB  fragments keep pages
  cached pixmaps                        1 kB
  time for a command                    0.5 ms

The replies of a tracker's details are kept on purpose until the window closes. At the end they are
deleted, and what that gives back, as bytes for each reply, is taken from all samples. What is left
of the heap's slope, about 30 kB, comes with new connections: OpenSSL keeps the session of each one
as long as the framework keeps its context, 8 kB, and the spoiled requests make three new ones in
1,000 commands.

exit codes: 0 nothing grows, 1 something grows or the client failed, 2 a slope is within the noise
"""

from __future__ import annotations

import argparse
import math
import random
import sys
import tempfile
import time
from dataclasses import fields
from pathlib import Path

import memcheck
from clientprocess import Failure
from mix import Mix
from proxy import Proxy
from sandbox import Sandbox
from sandboxprocess import SandboxLost
from slopes import PER, Sample, Slope, Verdict, latencies, slope, typical, warmed_up
from soakclient import Client, environment

STEADY, GROWS, UNKNOWN = 0, 1, 2
KB = 1024


def work(mix: Mix, client: Client, options: argparse.Namespace) -> list[Sample]:
    """Until the time is up, or the commands are done."""
    samples: list[Sample] = []
    begin = time.monotonic()
    due = begin
    while True:
        if len(mix.done) >= (len(samples) + 1) * options.sample_each:
            mix.settle()
            numbers = client.do("numbers")
            samples.append(Sample(len(mix.done), *(int(numbers[field.name])
                                                   for field in fields(Sample)[1:])))
            client.read_log()
            if options.samples:
                write_samples(options.samples, samples)
            if len(samples) % 10 == 0:
                report_progress(samples[-1], time.monotonic() - begin)
        if options.commands and len(mix.done) >= options.commands:
            return samples
        if not options.commands and time.monotonic() - begin > 60 * options.minutes:
            return samples
        before = len(mix.done)
        mix.next()
        # What a busy machine held up is not made up for, or it would be busier still.
        due = max(due, time.monotonic()) + (len(mix.done) - before) / options.rate
        time.sleep(max(0.0, due - time.monotonic()))


def free_kept_replies(client: Client) -> dict[str, int]:
    """How many there were, and what they held. Their part in the framework's other
    thread is freed a little later, so the heap is read until it stands still."""
    before = client.do("numbers")
    client.do("free-kept")
    heaps: list[int] = []
    while len(heaps) < 100 and (len(heaps) < 3 or len(set(heaps[-3:])) > 1):
        heaps.append(client.do("numbers")["heap"])
        time.sleep(0.2)
    return {"replies": before["kept_replies"], "bytes": before["heap"] - heaps[-1]}


def write_samples(path: Path, samples: list[Sample]) -> None:
    names = [field.name for field in fields(Sample)]
    lines = [names, *([getattr(sample, name) for name in names] for sample in samples)]
    path.write_text("".join(",".join(map(str, line)) + "\n" for line in lines), encoding="utf-8")


def report_progress(sample: Sample, seconds: float) -> None:
    print(f"{seconds / 60:5.1f} min {sample.commands:6} commands  heap {sample.heap // KB} kB  "
          f"resident {sample.rss // KB} kB  {sample.descriptors} descriptors  "
          f"{sample.threads} threads  {sample.kept_replies} + {sample.other_replies} replies",
          flush=True)


def report_slopes(mix: Mix, samples: list[Sample], freed: dict[str, int],
                  coarseness: float) -> Verdict:
    """Prints the table; the worst verdict in it."""
    each = freed["bytes"] / freed["replies"] if freed["replies"] else 0.0
    steady = warmed_up(samples)
    commands = [float(sample.commands) for sample in steady]

    def line(name: str, values: list[float], unit: str, limit: float = math.nan,
             at: list[float] = commands) -> Verdict:
        limit *= coarseness
        found = slope(at, values) if values else Slope(0, math.inf)
        verdict = Verdict.STEADY if math.isnan(limit) else found.verdict(limit)
        ends = f"{values[0]:12,.1f} {values[-1]:12,.1f}" if values else f"{'':25}"
        print(f"{name:39} {ends} {found.per_thousand:12,.3f} {2 * found.error:10,.3f} "
              f"{'' if math.isnan(limit) else f'{limit:,.1f}':>8}  {unit:5} "
              f"{'' if math.isnan(limit) else verdict.name}")
        return verdict

    print(f"\n{'':39} {'first':>12} {'last':>12} {f'per {PER:,}':>12} {'+-':>10} {'limit':>8}")
    verdicts = [
        line("heap in use", [sample.heap / KB for sample in steady], "kB"),
        line("heap in use, without kept replies",
             [(sample.heap - each * sample.kept_replies) / KB for sample in steady], "kB", 64),
        line("kept replies of the details", [float(one.kept_replies) for one in steady], ""),
        line("kept replies beyond the details",
             [float(one.other_replies) for one in steady], "", 0.5),
        line("descriptors", [float(one.descriptors) for one in steady], "", 0.5),
        line("threads", [float(one.threads) for one in steady], "", 0.5),
        line("resident memory", [one.rss / KB for one in steady], "kB"),
        line("resident memory, without kept replies",
             [(one.rss - each * one.kept_replies) / KB for one in steady], "kB", 256),
        line("cached pixmaps", [float(one.pixmap_cache_kb) for one in steady], "kB", 1),
        line("time for a command, over the usual", latencies(mix.done, steady), "ms", 0.5,
             commands[1:]),
    ]
    print(f"\nThe {freed['replies']} kept replies of the details held "
          f"{freed['bytes'] / KB:,.0f} kB, {each / KB:.1f} kB each.")
    return next((verdict for verdict in (Verdict.GROWS, Verdict.UNKNOWN) if verdict in verdicts),
                Verdict.STEADY)


def report_commands(mix: Mix, proxy: Proxy, client: Client) -> None:
    counts = {kind: sum(one.kind == kind for one in mix.done) for kind in typical(mix.done)}
    print(f"\n{len(mix.done)} commands, {proxy.requests} requests, {mix.boxes} boxes and dialogs; "
          "spoiled: " + ", ".join(f"{count} {fault.name.lower()}"
                                  for fault, count in sorted(proxy.faults.items(),
                                                             key=lambda item: item[0].name)))
    print("median ms: " + ", ".join(f"{kind} {value:.1f} ({counts[kind]})"
                                    for kind, value in typical(mix.done).items()))
    for warning in sorted(set(client.warnings)):
        print(f"logged {client.warnings.count(warning)} times: {warning}")


def soak(options: argparse.Namespace, folder: Path) -> int:
    seed = options.seed if options.seed is not None else random.randrange(10**6)
    print(f"seed {seed}")
    patience = 60.0 if options.valgrind else 1.0
    program = [str(options.client)]
    if options.valgrind:
        program = memcheck.command(folder) + program
    sandbox = Sandbox(options.sandbox, folder)
    proxy = Proxy(folder, sandbox.port, options.faults, seed)
    client = None
    try:
        client = Client(program, options.probe, options.reader, folder,
                        environment(folder, f"localhost:{proxy.port}", sandbox.authority), patience)
        mix = Mix(client, sandbox, proxy, seed)
        samples = work(mix, client, options)
        freed = {}
        if options.valgrind:
            client.do("own-model")
        else:
            freed = free_kept_replies(client)
        code = client.end()
        client.read_log()
        report_commands(mix, proxy, client)
        if code != 0:
            print(f"The client ended with the code {code}.")
            return GROWS
        if options.valgrind:
            return GROWS if memcheck.report(folder) else STEADY
        verdict = report_slopes(mix, samples, freed, options.coarseness)
        print(f"\nVerdict: {verdict.value}.")
        return {Verdict.STEADY: STEADY, Verdict.GROWS: GROWS}.get(verdict, UNKNOWN)
    except (Failure, SandboxLost) as failure:
        print(f"FAILED: {failure}")
        if client is not None and client.log.exists():
            print(client.log.read_text(encoding="utf-8", errors="replace")[-4000:])
        return GROWS
    finally:
        if client is not None:
            client.close()
        proxy.close()
        sandbox.end()


def parse() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    for name in ("client", "probe", "sandbox"):
        parser.add_argument(f"--{name}", type=Path, required=True)
    parser.add_argument("--reader", type=Path, help="emulate-reader; without it nothing is scanned")
    parser.add_argument("--faults", type=float, default=0.01, metavar="SHARE")
    parser.add_argument("--rate", type=float, default=20, metavar="COMMANDS_A_SECOND")
    parser.add_argument("--seed", type=int, help="of the commands and the faults")
    parser.add_argument("--sample-each", type=int, default=100, metavar="COMMANDS")
    parser.add_argument("--coarseness", type=float, default=1, metavar="FACTOR",
                        help="multiplies the limits: a short run's slopes are rough")
    parser.add_argument("--samples", type=Path, metavar="CSV", help="write all samples there")
    parser.add_argument("--valgrind", action="store_true", help="under memcheck; no slopes")
    parser.add_argument("--commands", type=int, default=0, help="so many, whatever time it takes")
    parser.add_argument("minutes", type=float, nargs="?", default=0)
    options = parser.parse_args()
    if (options.minutes > 0) == (options.commands > 0):
        parser.error("give either the minutes or the commands")
    return options


def main() -> int:
    options = parse()
    with tempfile.TemporaryDirectory(prefix="veltrano-soak-") as folder:
        return soak(options, Path(folder))


if __name__ == "__main__":
    sys.exit(main())
