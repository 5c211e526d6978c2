"""Runs commands, with what they say in a file for each step."""

import contextlib
import functools
import os
import re
import signal
import subprocess


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
            # In a group of its own: what a command has started ends with it. Signals that end this wait until its process is known.
            unblocked = signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGHUP, signal.SIGINT, signal.SIGTERM})
            unblock = functools.partial(signal.pthread_sigmask, signal.SIG_SETMASK, unblocked)
            try:
                process = subprocess.Popen(command, cwd=cwd or self.folder, env=environment, stdin=subprocess.DEVNULL,
                                           stdout=log, stderr=subprocess.STDOUT, start_new_session=True, preexec_fn=unblock)
            except BaseException:
                unblock()
                raise
            with process:
                try:
                    unblock()
                    ended = process.wait()
                except BaseException:
                    with contextlib.suppress(ProcessLookupError):
                        os.killpg(process.pid, signal.SIGTERM)
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
