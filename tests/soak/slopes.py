"""Series of numbers over the commands of a run, their least-squares slopes, and what they mean."""

from __future__ import annotations

import math
from collections import defaultdict
from collections.abc import Sequence
from dataclasses import dataclass
from enum import Enum
from statistics import median

from mix import Done

WARM_UP = 0.1  # of the samples: caches fill, libraries are loaded
PER = 1000  # commands
FEWEST_SAMPLES = 8


class Verdict(Enum):
    STEADY = "steady"
    GROWS = "GROWS"
    UNKNOWN = "UNKNOWN, as the run was too short or the machine too busy"


@dataclass(frozen=True)
class Slope:
    """Of the straight line with the least squares; the error is its standard error."""

    per_thousand: float
    error: float

    def verdict(self, limit: float) -> Verdict:
        """Growing is what lies above the limit by more than chance explains."""
        if self.per_thousand - 2 * self.error > limit:
            return Verdict.GROWS
        return Verdict.STEADY if self.per_thousand + 2 * self.error < 2 * limit else Verdict.UNKNOWN


def slope(commands: Sequence[float], values: Sequence[float]) -> Slope:
    count = len(commands)
    if count < FEWEST_SAMPLES:
        return Slope(0, math.inf)
    mean_x, mean_y = sum(commands) / count, sum(values) / count
    spread = sum((x - mean_x) ** 2 for x in commands)
    rise = sum((x - mean_x) * (y - mean_y) for x, y in zip(commands, values)) / spread
    left = sum((y - mean_y - rise * (x - mean_x)) ** 2 for x, y in zip(commands, values))
    return Slope(PER * rise, PER * math.sqrt(left / (count - 2) / spread))


@dataclass(frozen=True)
class Sample:
    """What the process held after so many commands."""

    commands: int
    heap: int
    rss: int
    descriptors: int
    threads: int
    pixmap_cache_kb: int
    kept_replies: int
    other_replies: int


def warmed_up(samples: Sequence[Sample]) -> Sequence[Sample]:
    return samples[math.ceil(WARM_UP * len(samples)):]


def latencies(done: Sequence[Done], samples: Sequence[Sample]) -> list[float]:
    """For each sample after the first how much longer than usual for its kind the median command
    since the sample before took: so that the mixture, which is never the same, does not matter."""
    usual = typical(done[samples[0].commands:])
    values = []
    for before, sample in zip(samples, samples[1:]):
        over = [one.milliseconds - usual[one.kind]
                for one in done[before.commands:sample.commands] if not one.spoiled]
        values.append(median(over))
    return values


def typical(done: Sequence[Done]) -> dict[str, float]:
    """The median of each kind of command that no fault spoiled."""
    times: dict[str, list[float]] = defaultdict(list)
    for one in done:
        if not one.spoiled:
            times[one.kind].append(one.milliseconds)
    return {kind: median(values) for kind, values in sorted(times.items())}
