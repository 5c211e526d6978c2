"""The folder of the tables: one program at a time, and files that appear whole.

This is what a deployment exchanges for its object store, or for a table format.
"""

import fcntl
import json
import os
import shutil
import uuid
from pathlib import Path
from types import TracebackType

from fleet.problem import Problem

_LOCK = "_ovix-fleet.lock"
_STAGING = "_staging"
_COLUMNS = "_columns.json"
REJECTS = "rejects"
PAYLOADS = "payloads"


class Tables:
    """Holds the folder as long as it is entered. Spark's readers skip names that begin with _."""

    def __init__(self, folder: Path) -> None:
        self.folder = folder
        self._lock = -1
        self.run = folder / _STAGING / uuid.uuid4().hex

    def __enter__(self) -> "Tables":
        try:
            self.folder.mkdir(parents=True, exist_ok=True)
            lock = self.folder / _LOCK
            if not lock.exists() and any(self.folder.iterdir()):
                raise Problem(
                    f"{self.folder}: holds something else than tables; name a new or empty folder"
                )
            self._lock = os.open(lock, os.O_CREAT | os.O_RDWR | os.O_CLOEXEC, 0o666)
            fcntl.flock(self._lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
            # Runs that were killed leave theirs.
            shutil.rmtree(self.folder / _STAGING, ignore_errors=True)
            self.run.mkdir(parents=True)
        except BlockingIOError as error:
            os.close(self._lock)
            raise Problem(f"{self.folder}: another run lands here; wait until it ends") from error
        except OSError as error:
            raise Problem(
                f"{self.folder}: the tables cannot be written ({error.strerror}); name another "
                "folder, or fix its permissions or disk"
            ) from error
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        trace: TracebackType | None,
    ) -> None:
        shutil.rmtree(self.folder / _STAGING, ignore_errors=True)
        os.close(self._lock)

    def table(self, gun: str) -> Path:
        """The folder of a payload's table, whether or not it exists."""
        return self.folder / PAYLOADS / gun

    @property
    def rejects(self) -> Path:
        """The folder of the table of rejects."""
        return self.folder / REJECTS

    def made(self, table: Path) -> Path:
        """Where this run writes what belongs to a table."""
        return self.run / "made" / table.relative_to(self.folder)

    def check(self, columns: dict[str, dict[str, str]]) -> None:
        """Refuses contracts whose columns cannot be in the tables that exist. Raises Problem."""
        for gun, now in columns.items():
            before = self._kept_columns(gun)
            for name in before.keys() & now.keys():
                if before[name] != now[name]:
                    raise Problem(
                        f"{self.table(gun)}: column {name} is {before[name]}, the contracts make "
                        f"it {now[name]}; a type never changes: name the contracts that the table "
                        "was made with, or move it away"
                    )

    def publish(self, files: list[str], columns: dict[str, dict[str, str]]) -> None:
        """Moves files into their tables. Each appears whole, under a name that is new.

        A run that is killed in the middle has moved some. The next finds their rows, and adds those
        that are missing.
        """
        made = self.run / "made"
        for file in sorted(files):
            target = self.folder / Path(file).relative_to(made)
            target.parent.mkdir(parents=True, exist_ok=True)
            gun = target.relative_to(self.folder).parts[1]
            if gun in columns:
                self._keep_columns(gun, columns.pop(gun))
            _sync(Path(file))
            os.rename(file, target)
            _sync(target.parent)

    def _kept_columns(self, gun: str) -> dict[str, str]:
        try:
            kept: dict[str, str] = json.loads((self.table(gun) / _COLUMNS).read_bytes())
        except FileNotFoundError:
            return {}
        except ValueError as error:
            raise Problem(
                f"{self.table(gun) / _COLUMNS}: is damaged; restore it, or move the table away"
            ) from error
        return kept

    def _keep_columns(self, gun: str, columns: dict[str, str]) -> None:
        """All columns that a table has had: files of older contracts have fewer."""
        before = self._kept_columns(gun)
        if before.keys() >= columns.keys():
            return
        part = self.run / _COLUMNS
        part.write_text(json.dumps(before | columns, indent=1, sort_keys=True) + "\n")
        _sync(part)
        part.rename(self.table(gun) / _COLUMNS)


def _sync(path: Path) -> None:
    """Waits until the disk has a file, or the names of a folder."""
    descriptor = os.open(path, os.O_RDONLY)
    try:
        os.fsync(descriptor)
    finally:
        os.close(descriptor)
