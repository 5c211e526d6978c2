"""What is in the databases of the example agent, and what an upgrade must leave in them."""

import contextlib
import glob
import os
import pathlib
import sqlite3

from rehearsal.run import Failed


def rows(folder):
    """The columns and rows of each table of the contracts: {database.table: (columns, rows)}."""
    found = {}
    for path in sorted(glob.glob(os.path.join(folder, "*.db"))):
        try:
            found.update(rows_of(path, os.path.basename(path)[:-len(".db")]))
        except sqlite3.Error as error:
            raise Failed(f"{path} cannot be read: {error}") from error
    return found


def rows_of(path, name):
    """The same of one database, by its name."""
    found = {}
    with contextlib.closing(sqlite3.connect(f"{pathlib.Path(path).absolute().as_uri()}?mode=ro", uri=True)) as database:
        state = database.execute("PRAGMA integrity_check").fetchone()[0]
        if state != "ok":
            raise Failed(f"{path} is damaged: {state}")
        tables = [row[0] for row in database.execute("SELECT name FROM sqlite_master WHERE type = 'table'")]
        for table in tables:
            if table.startswith(("_", "sqlite_")) or name == "Upload":
                continue
            cursor = database.execute(f'SELECT * FROM "{table}"')
            found[f"{name}.{table}"] = ([column[0] for column in cursor.description], cursor.fetchall())
    return found


def hold(before, after, logs):
    """What the older release kept is there. Rows of logs are as they were; state may have been collected again."""
    kept = 0
    for table, (columns, old) in before.items():
        if table not in after:
            raise Failed(f"the table {table} is gone from the store")
        names, new = after[table]
        if missing := [column for column in columns if column not in names]:
            raise Failed(f"the column {missing[0]} is gone from {table}")
        if old and not new:
            raise Failed(f"{table} had {len(old)} rows and has none")
        if table.rpartition(".")[2] in logs:
            places = [names.index(column) for column in columns]
            there = {tuple(row[place] for place in places) for row in new}
            if lost := [row for row in old if row not in there]:
                raise Failed(f"{len(lost)} of {len(old)} rows of {table} are gone or changed")
        kept += len(old)
    if not kept:
        raise Failed("the older release stored nothing")
    return kept
