"""Batch files: found, and read line by line, whatever is in them."""

import gzip
import zlib
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path

from fleet.problem import Problem

ENDING = ".ndjson.gz"
# A payload takes four thirds of its size. What is longer is not kept, only where it began.
LONGEST_LINE = 64 << 20
KEPT_OF_LONG_LINE = 64 << 10
_PIECE = 1 << 18


@dataclass(slots=True)
class Line:
    """A line of a batch, or where a batch goes wrong."""

    number: int  # from 1
    text: bytes  # without its end
    fault: str = ""  # why it cannot be a payload, if so


def find_batches(folder: Path) -> list[Path]:
    """The batch files of a folder and those in it, by name. Raises Problem."""
    if not folder.is_dir():
        raise Problem(f"{folder}: is not a folder; name one that holds batches (*{ENDING})")
    found = sorted(path for path in folder.rglob(f"*{ENDING}") if path.is_file())
    if not found:
        raise Problem(f"{folder}: holds no batch (*{ENDING}); name the folder that has them")
    return found


def read_lines(path: Path, longest: int = LONGEST_LINE) -> Iterator[Line]:
    """The lines of a batch. Memory is bounded by the longest line, not by the file."""
    if path.stat().st_size == 0:
        yield Line(1, b"", "the batch is empty: not gzip")
        return
    number = 1
    line = bytearray()
    is_long = False
    try:
        with gzip.open(path, "rb") as file:
            while piece := file.read1(_PIECE):  # what a cut-off file has up to its end
                *ends, rest = piece.split(b"\n")
                for end in ends:
                    if is_long or len(line) + len(end) > longest:
                        yield Line(number, bytes(line[:KEPT_OF_LONG_LINE]), _too_long(longest))
                    else:
                        yield Line(number, bytes(line) + end if line else end)
                    number += 1
                    if line:
                        line.clear()
                    is_long = False
                if not is_long:
                    line += rest
                    if len(line) > longest:
                        is_long = True
                        del line[KEPT_OF_LONG_LINE:]
    except gzip.BadGzipFile as error:
        yield Line(number, bytes(line), f"the batch is not gzip from here on ({error})")
    except zlib.error as error:
        yield Line(number, bytes(line), f"the batch is damaged from here on ({error})")
    except EOFError:
        yield Line(number, bytes(line), "the batch is cut off here")
    else:
        if is_long:
            yield Line(number, bytes(line), _too_long(longest))
        elif line:
            yield Line(number, bytes(line))


def _too_long(longest: int) -> str:
    return f"the line is longer than {longest} bytes; only its beginning is kept"
