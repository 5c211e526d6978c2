"""What the scripts do with the signals that end a program. Each raises KeyboardInterrupt, as Ctrl-C does."""

import contextlib
import os
import signal
import time

ENDING = (signal.SIGHUP, signal.SIGINT, signal.SIGTERM)


def raise_at_all():
    """For the start of a script: what its user has it ignore, as `nohup` does, stays ignored."""
    for each in ENDING:
        if signal.getsignal(each) == signal.SIG_DFL:
            signal.signal(each, signal.default_int_handler)


@contextlib.contextmanager
def held_off():
    """Signals that end the program wait until this is over. Gives the signals that were blocked before."""
    before = signal.pthread_sigmask(signal.SIG_BLOCK, ENDING)
    try:
        yield before
    finally:
        signal.pthread_sigmask(signal.SIG_SETMASK, before)


def end_group(process, seconds=5):
    """Ends a process that leads a group, and all of the group: what has not ended by then is killed."""
    with held_off(), contextlib.suppress(ProcessLookupError):
        for sent in (signal.SIGTERM, signal.SIGKILL):
            os.killpg(process.pid, sent)
            until = time.monotonic() + seconds
            while time.monotonic() < until:
                process.poll()  # else it stays in its group
                os.killpg(process.pid, 0)
                time.sleep(0.02)
