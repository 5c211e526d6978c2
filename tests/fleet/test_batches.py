"""Batch files are read up to where they are damaged, in bounded memory."""

import gzip
import random
import resource
import tempfile
import unittest
import zlib
from pathlib import Path

from fleet.batches import KEPT_OF_LONG_LINE, find_batches, read_lines
from fleet.problem import Problem

NOISE = random.Random(1).randbytes(400_000).replace(b"\n", b"x")


class Batches(unittest.TestCase):
    def setUp(self) -> None:
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.path = Path(temporary.name) / "a.ndjson.gz"

    def lines(self, content: bytes, longest: int = 1 << 20) -> list[tuple[int, bytes, bool]]:
        self.path.write_bytes(content)
        return [(one.number, one.text, bool(one.fault)) for one in read_lines(self.path, longest)]

    def test_lines(self) -> None:
        for text, lines in (
            (b"", []),
            (b"a\n", [b"a"]),
            (b"a\nb", [b"a", b"b"]),
            (b"\n\na\n", [b"", b"", b"a"]),
            (b"a\r\n", [b"a\r"]),
            (NOISE + b"\n" + NOISE, [NOISE, NOISE]),
        ):
            with self.subTest(text[:10]):
                wanted = [(i + 1, line, False) for i, line in enumerate(lines)]
                self.assertEqual(self.lines(gzip.compress(text)), wanted)
        two = gzip.compress(b"a\nb") + gzip.compress(b"c\nd\n")
        self.assertEqual([line for _, line, _ in self.lines(two)], [b"a", b"bc", b"d"])

    def test_damage(self) -> None:
        whole = gzip.compress(b"a\n" + NOISE + b"\nend\n")
        cut = self.lines(whole[: len(whole) // 2])
        self.assertEqual(cut[0], (1, b"a", False))
        self.assertEqual((cut[1][0], cut[1][2]), (2, True))
        self.assertTrue(NOISE.startswith(cut[1][1]) and len(cut[1][1]) > 1000, "what came is kept")
        self.assertEqual(self.lines(whole[:-4])[-1], (4, b"", True), "the end is missing")
        self.assertEqual(self.lines(b"not gzip"), [(1, b"", True)])
        self.assertEqual(self.lines(b""), [(1, b"", True)])
        self.assertEqual(self.lines(gzip.compress(b"a\n") + b"garbage")[0], (1, b"a", False))
        self.assertTrue(self.lines(gzip.compress(b"a\n") + b"garbage")[-1][2])
        flipped = bytearray(whole)
        flipped[len(whole) // 2] ^= 0xFF
        self.assertTrue(any(fault for _, _, fault in self.lines(bytes(flipped))))

    def test_long_lines(self) -> None:
        lines = self.lines(gzip.compress(b"a\n" + NOISE * 3 + b"\nb\n" + NOISE * 3), longest=500_000)
        self.assertEqual([(n, fault) for n, _, fault in lines], [(1, False), (2, True), (3, False), (4, True)])
        self.assertEqual(lines[1][1], NOISE[:KEPT_OF_LONG_LINE])
        self.assertEqual(lines[3][1], NOISE[:KEPT_OF_LONG_LINE])
        short = self.lines(gzip.compress(b"x" * 150 + b"\n"), longest=100)
        self.assertEqual([fault for _, _, fault in short], [True])
        exact = self.lines(gzip.compress(b"x" * 500_000 + b"\n"), longest=500_000)
        self.assertEqual(exact, [(1, b"x" * 500_000, False)])

    def test_a_line_of_two_gigabytes_takes_little_memory(self) -> None:
        packer = zlib.compressobj(1, zlib.DEFLATED, 31)
        piece = b"x" * (64 << 20)
        with self.path.open("wb") as file:
            file.write(packer.compress(b"first\n"))
            for _ in range(32):
                file.write(packer.compress(piece))
            file.write(packer.compress(b"\nlast\n") + packer.flush())
        before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
        lines = [(one.number, len(one.text), bool(one.fault)) for one in read_lines(self.path)]
        grown = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before
        self.assertEqual(lines, [(1, 5, False), (2, KEPT_OF_LONG_LINE, True), (3, 4, False)])
        self.assertLess(grown, 400 << 10, "in KiB")

    def test_folders(self) -> None:
        folder = self.path.parent
        with self.assertRaisesRegex(Problem, "holds no batch"):
            find_batches(folder)
        with self.assertRaisesRegex(Problem, "is not a folder"):
            find_batches(folder / "nowhere")
        names = [*(f"{n}.ndjson.gz" for n in range(9, 1, -1)), "b.ndjson.gz", "x/a.ndjson.gz"]
        for name in (*names, "notes.txt", "c.ndjson.gz.part"):
            (folder / name).parent.mkdir(exist_ok=True)
            (folder / name).touch()
        found = [str(path.relative_to(folder)) for path in find_batches(folder)]
        self.assertEqual(found, sorted(names))


if __name__ == "__main__":
    unittest.main()
