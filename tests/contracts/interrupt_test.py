#!/usr/bin/python3
"""Ends scripts at awkward moments: what they write is there whole or not at all, nothing of theirs goes on, and what their
user has them ignore stays ignored.

Usage: interrupt_test.py SOURCE_DIR
"""

import os
import signal
import subprocess
import sys
import tempfile

ROOT = os.path.abspath(sys.argv[1])
BEGIN = f"""
import os, signal, subprocess, sys, time
sys.path.insert(0, {os.path.join(ROOT, "scripts")!r})
from contracts import frame, interrupt
interrupt.raise_at_all()
def end(): os.kill(os.getpid(), signal.SIGTERM)
"""
# Sends the signal at the second call of a function of `os`.
AT_SECOND = """
calls, call = [], os.{0}
def second(*words, **options):
    done = call(*words, **options)
    calls.append(words)
    if len(calls) == 2:
        end()
    return done
os.{0} = second
frame.write(".", dict.fromkeys("abc", "new"))
"""
GROUP = """
process = subprocess.Popen(["bash", "-c", {0!r}], start_new_session=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
while not os.path.exists("started"):
    time.sleep(0.01)
{1}
interrupt.end_group(process, 0.3)
"""
STUBBORN = 'trap "" TERM; sleep 60 & echo $! >pid; mv pid started; wait'
# What a script does, its exit code (less than 0: ended by that signal), and the files that it leaves.
CASES = [
    ("is ended", "end()", 1, {}),
    ("is ended by HUP", "os.kill(os.getpid(), signal.SIGHUP)", 1, {}),
    ("is ended in what is held off", "with interrupt.held_off():\n    end()\n    open('a', 'w').write('new')", 1, {"a": "new"}),
    ("goes on where it is to ignore it", "signal.signal(signal.SIGHUP, signal.SIG_IGN)\ninterrupt.raise_at_all()\n"
     "os.kill(os.getpid(), signal.SIGHUP)", 0, {}),
    ("is ended before the first has its name", AT_SECOND.format("getpid"), 1, {"a": "old", "b": "old"}),
    ("is ended between the names", AT_SECOND.format("replace"), 1, dict.fromkeys("abc", "new")),
    ("ends what ends", GROUP.format('trap "touch tidied" TERM; sleep 60 & echo $! >pid; mv pid started; wait', ""), 0, {"tidied": ""}),
    ("ends what does not end", GROUP.format(STUBBORN, ""), 0, {}),
    ("is ended while it ends another", GROUP.format(STUBBORN, "subprocess.Popen(['bash', '-c', 'sleep 0.1; kill $PPID'])"), 1, {}),
]


def runs(process):
    try:
        with open(f"/proc/{process}/stat", encoding="utf-8") as file:
            return file.read().rpartition(")")[2].split()[0] != "Z"
    except FileNotFoundError:
        return False


def wrong(folder, code, status, files):
    for name in "ab":
        if "frame.write" in code:
            with open(os.path.join(folder, name), "w", encoding="utf-8") as file:
                file.write("old")
    done = subprocess.run([sys.executable, "-B", "-c", BEGIN + code], cwd=folder, capture_output=True, text=True)
    left = {}
    for name in os.listdir(folder):
        with open(os.path.join(folder, name), encoding="utf-8") as file:
            left[name] = file.read()
    if "started" in left:
        process = int(left.pop("started"))
        if runs(process):
            os.kill(process, signal.SIGKILL)
            return "leaves a process"
    ended = 1 if done.returncode and "KeyboardInterrupt" in done.stderr else done.returncode
    return "" if (ended, left) == (status, files) else f"ended with {done.returncode} and left {left}: {done.stderr[-200:]}"


failures = []
for case, code, status, files in CASES:
    with tempfile.TemporaryDirectory() as scratch:
        if said := wrong(scratch, code, status, files):
            failures.append(f"a script that {case}: {said}")
for failure in failures:
    print(f"interrupt_test: {failure}", file=sys.stderr)
print(f"interrupt_test: {len(CASES)} cases, {len(failures)} failed")
sys.exit(1 if failures else 0)
