"""Makes the small tree of contracts that the tests of the scripts change: its own schemas, this tree's schemas of the
options, what follows from all of them, and a release."""

import os
import shutil

from contracts import check, frame, schemas

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
OPTIONS = [f"ovix/telemetry/contract/{name}.proto"
           for name in ("storage/storage_options", "storage/state_change_utils", "upload/upload_options")]


def make(base):
    """Returns what is wrong with what --fix has made of the schemas, which is nothing."""
    shutil.copytree(os.path.dirname(os.path.abspath(__file__)), base, ignore=shutil.ignore_patterns("*.py", "__pycache__"))
    for name in [*OPTIONS, "buf.yaml", frame.LIST, frame.COLLECTION]:
        os.makedirs(os.path.dirname(os.path.join(base, name)), exist_ok=True)
        shutil.copy(os.path.join(ROOT, name), os.path.join(base, name))
    found = {finding.file for finding in check.find(base)[0]}
    expected = {frame.LIST, frame.COLLECTION, "README.md"}
    if found != expected or set(check.fix(base)) != expected or check.find(base)[0]:
        return [f"--fix of {sorted(expected)}: found {sorted(found)} before and {check.find(base)[0]} after"]
    release = os.path.join(base, "compat", "1.0.0")
    os.makedirs(release)
    with open(os.path.join(release, "contracts.binpb"), "wb") as file:
        file.write(schemas.compile_schemas(base, sorted(schemas.on_disk(base))))
    shutil.copy(os.path.join(base, frame.LIST), release)
    return []
