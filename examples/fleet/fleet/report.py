"""What a run says: its table, or one line for what ended it."""

import re
from collections.abc import Sequence
from pathlib import Path

from fleet.landing import Report


def table(rows: Sequence[Sequence[str]], right: set[int]) -> str:
    """Cells in columns; the first row is the heading. Columns of `right` are numbers."""
    widths = [max(len(row[i]) for row in rows) for i in range(len(rows[0]))]
    lines = []
    for row in rows:
        cells = [
            cell.rjust(width) if i in right else cell.ljust(width)
            for i, (cell, width) in enumerate(zip(row, widths, strict=True))
        ]
        lines.append("  ".join(cells).rstrip())
    return "\n".join(lines)


def print_report(report: Report, seconds: float) -> None:
    """Guns with their versions, devices and payloads; rejects by reason; rows a second."""
    rows = [["GUN", "VERSION", "DEVICES", "PAYLOADS"]]
    for one in report.landed:
        rows.append([one.gun, one.version, str(one.devices), str(one.payloads)])
    print(table(rows, {2, 3}))
    rejected = sum(report.rejected.values())
    print(f"\n{report.payloads} payloads of {report.batches} batches, {report.new} of them new")
    print(f"{rejected} rejected, {report.new_rejects} of them new")
    for reason, count in sorted(report.rejected.items()):
        print(f"  {reason}: {count}")
    print(f"{(report.payloads + rejected) / seconds:.0f} rows a second, {seconds:.1f} s in all")


def cause_of(error: BaseException, tables: Path) -> str:
    """An error of Spark in one line."""
    text = str(error)
    if "No space left on device" in text or "Disk quota exceeded" in text:
        return (
            f"{tables}: the disk is full; free space and run again (the tables are as they were, "
            "but for rows that were added before the disk was full)"
        )
    if "Connection refused" in text or "stopped SparkContext" in text:
        return "Spark stopped, as its master or Java did; run it again to land the rest"
    if isinstance(error, OSError) and error.strerror:
        return f"{error.filename or tables}: {error.strerror}"
    causes = re.findall(r"^(?:Caused by: |: )?([\w.]+(?:Error|Exception): .*)", text, re.MULTILINE)
    lines = causes[-1:] or [line for line in text.splitlines() if line.strip()]
    return f"Spark failed: {lines[0].strip() if lines else type(error).__name__}"
