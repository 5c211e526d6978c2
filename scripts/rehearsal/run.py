"""Runs commands, with what they say in a file for each step."""

import functools
import os
import re
import signal
import subprocess

from contracts import interrupt


class Failed(Exception):
    """What is wrong, in one line."""


class Runner:
    """Runs commands in a folder; all that they say goes to a log."""

    def __init__(self, folder, log):
        self.folder, self.log = folder, log

    def __call__(self, command, status=0, cwd=None, env=None):
        """Returns what a command says on standard output; raises Failed where it ends with another status."""
        environment = {**os.environ, "GIT_AUTHOR_NAME": "Rehearsal", "GIT_COMMITTER_NAME": "Rehearsal",
                       "GIT_AUTHOR_EMAIL": "rehearsal@localhost", "GIT_COMMITTER_EMAIL": "rehearsal@localhost", **(env or {})}
        with open(self.log, "a+", encoding="utf-8", errors="replace") as log:
            log.write(f"$ {' '.join(command)}\n")
            log.flush()
            start = log.seek(0, os.SEEK_END)
            process = None
            try:
                # Signals wait until its process is known. It leads a group: what it has started ends with it.
                with interrupt.held_off() as usual:
                    process = subprocess.Popen(command, cwd=cwd or self.folder, env=environment, stdin=subprocess.DEVNULL,
                                               stdout=log, stderr=subprocess.STDOUT, start_new_session=True,
                                               preexec_fn=functools.partial(signal.pthread_sigmask, signal.SIG_SETMASK, usual))
                ended = process.wait()
            except BaseException:
                if process:
                    interrupt.end_group(process)
                raise
            log.seek(start)
            said = log.read()
        if ended != status:
            # As ctest lists them.
            tests = re.findall(r"^\s+\d+ - (\S+) \([A-Z]\S*\)$", said, re.MULTILINE)
            last = (said.strip().splitlines() or ["nothing"])[-1]
            why = f"of the tests failed: {', '.join(tests)}" if tests else f"it says last: {last[:300]}"
            raise Failed(f"'{' '.join(command)[:80]}' ended with {ended}, not {status}; {why}")
        return said
