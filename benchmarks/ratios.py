"""Ratios of what was measured side by side, and what is to be said of them.

A ratio is the median of those of the single rounds; its interval holds the true median 19 times out of 20. A
target is met or missed where the whole interval lies on one side of it; else the machine was too noisy.
"""

import math
import statistics
import subprocess


def interval(values):
    """The order statistics between which the median lies with a probability of at least 95 %."""
    values, n = sorted(values), len(values)
    tail, k = 0.0, 0
    while k < n // 2 and tail + math.comb(n, k) / 2 ** n <= 0.025:
        tail += math.comb(n, k) / 2 ** n
        k += 1
    return values[max(k - 1, 0)], values[n - max(k, 1)]


class Table:
    """The ratios, each with its target and what is to be said of it."""

    def __init__(self):
        self.rows = []

    def add(self, what, ratios, target=None, at_most=False):
        low, high = interval(ratios) if len(ratios) > 1 else (ratios[0], ratios[0])
        verdict = ""
        if target is not None:
            verdict = "too noisy"
            if (high <= target) if at_most else (low >= target):
                verdict = "met"
            elif (low > target) if at_most else (high < target):
                verdict = "MISSED"
        self.rows.append({"what": what, "ratio": round(statistics.median(ratios), 3), "low": round(low, 3),
                          "high": round(high, 3), "target": target, "at_most": at_most, "verdict": verdict})

    def ratio(self, what):
        return next(row["ratio"] for row in self.rows if row["what"] == what)

    def print(self):
        width = max(len(row["what"]) for row in self.rows)
        print(f"{'':{width}}  ratio  (19 of 20 within)  target")
        for row in self.rows:
            target = "" if row["target"] is None else f"{'<=' if row['at_most'] else '>='} {row['target']:.2f}"
            within = f"({row['low']:.2f} to {row['high']:.2f})"
            print(f"{row['what']:{width}}  {row['ratio']:5.2f}  {within:18}  {target:7}  {row['verdict']}".rstrip())


def run(*command, **options):
    return subprocess.run(list(map(str, command)), capture_output=True, text=True, check=True, **options).stdout
