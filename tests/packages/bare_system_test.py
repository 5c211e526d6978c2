#!/usr/bin/python3
"""Ends scripts/bare-system at awkward moments, as root: nothing of what it started goes on, and it leaves no half of a system.

Usage: bare_system_test.py SOURCE_DIR SUITE SYSTEM    SYSTEM is a folder that bare-system has made
"""

import glob
import os
import signal
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(sys.argv[1], "scripts"))
from contracts import interrupt  # noqa: E402

SCRIPT = os.path.join(os.path.abspath(sys.argv[1]), "scripts", "bare-system")
SUITE, SYSTEM = sys.argv[2:]
ENDING = (*interrupt.ENDING, signal.SIGKILL)
# Of its start: at once, while it mounts, when the command runs.
MOMENTS = (0, 0.05, 0.1, 0.2, None)
started = []


def long_command(number):
    """One that no other test on this machine has."""
    return ["sleep", f"{os.getpid()}{number:03}"]


def running(words):
    """Whether a process of this machine, in whatever system, has these words."""
    for path in glob.glob("/proc/[0-9]*/cmdline"):
        try:
            with open(path, "rb") as file:
                if file.read().split(b"\0")[:-1] == [word.encode() for word in words]:
                    return True
        except OSError:
            pass
    return False


def start(*words, errors=subprocess.DEVNULL, ignored=()):
    """In a group of its own, with the signals of a command in a terminal."""
    def signals():
        for each in interrupt.ENDING:
            signal.signal(each, signal.SIG_IGN if each in ignored else signal.SIG_DFL)
    started.append(subprocess.Popen([SCRIPT, *words], start_new_session=True, stdout=subprocess.DEVNULL, stderr=errors, preexec_fn=signals))
    return started[-1]


def until(happened, seconds=20):
    end = time.monotonic() + seconds
    while not happened():
        if time.monotonic() > end:
            return False
        time.sleep(0.01)
    return True


def ended_run(number, sent, is_group, moment):
    """What is wrong after the end of a run."""
    command, errors = long_command(number), tempfile.TemporaryFile()
    process = start("run", SYSTEM, "root", *command, errors=errors)
    if moment is None and not until(lambda: running(command)):
        return "does not begin"
    time.sleep(moment or 0)
    (os.killpg if is_group else os.kill)(process.pid, sent)
    try:
        # Before its first line it is ended as any other.
        if process.wait(20) not in (130, -sent):
            return f"ends with {process.returncode}"
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        return "goes on"
    # What was killed at once cannot wait for the rest.
    if running(command) and (sent != signal.SIGKILL or not until(lambda: not running(command), 2)):
        subprocess.run(["pkill", "-KILL", "-f", " ".join(command)], check=False)
        return "leaves its command"
    errors.seek(0)
    return errors.read().decode() if moment is None else ""


OTHER, LINK, SMALL = (SYSTEM + end for end in ("-other", "-link", "-small"))
REMOVE = "remove"
PATHS = "/usr/local/bin:/usr/bin:/bin:/usr/local/games:/usr/games"


def clear():
    """Ends what this test started, or one before it that was killed."""
    for process in started:
        if process.poll() is None:
            os.killpg(process.pid, signal.SIGTERM)
            process.wait()
    if os.path.exists(OTHER):
        subprocess.run([SCRIPT, "remove", OTHER], check=True)
    if os.path.islink(LINK):
        os.unlink(LINK)
    if os.path.ismount(SMALL):
        subprocess.run(["umount", SMALL], check=True)
    if os.path.exists(SMALL):
        os.rmdir(SMALL)


def ended_make(sent):
    """What is wrong after the end of what makes a system, by a signal or because another removes it."""
    process = start("make", SUITE, OTHER)
    if not until(lambda: os.path.exists(os.path.join(OTHER, "etc")), 300):
        return "does not begin"
    if sent == REMOVE:
        subprocess.run([SCRIPT, "remove", OTHER], check=True)
    else:
        os.kill(process.pid, sent)
    if process.wait() == 0:
        return "ends with 0"
    if os.path.exists(OTHER):
        subprocess.run(["rm", "-rf", "--one-file-system", OTHER], check=True)
        return "leaves half a system"
    return ""


def removed_while_in_use():
    subprocess.run([SCRIPT, "make", SUITE, OTHER], check=True)
    # A link to a system names that system.
    os.symlink(OTHER, LINK)
    commands = [long_command(900 + number) for number in range(2)]
    for command in commands:
        start("run", OTHER, "root", *command, ignored=interrupt.ENDING if command == commands[0] else ())
        until(lambda: running(command))
    subprocess.run([SCRIPT, "remove", LINK], check=True)
    os.unlink(LINK)
    if left := [command for command in commands if running(command)]:
        subprocess.run(["pkill", "-KILL", "-f", " ".join(left[0])], check=False)
        return "leaves a command"
    return "leaves a folder" if os.path.exists(OTHER) else ""


def killed_at_its_start():
    """In each moment of its first tenth of a second: a command that began in spite of it would go on."""
    commands = [long_command(800 + number) for number in range(25)]
    for number, command in enumerate(commands):
        process = start("run", SYSTEM, "root", *command)
        time.sleep(number / 250)
        process.kill()
    time.sleep(3)
    left = [command for command in commands if running(command)]
    for command in left:
        subprocess.run(["pkill", "-KILL", "-f", " ".join(command)], check=False)
    return f"leaves {len(left)} commands" if left else ""


def made_by_a_private_user():
    subprocess.run([SCRIPT, "make", SUITE, OTHER], check=True, umask=0o077)
    unreadable = [name for name in ("/", "/etc/hosts", "/etc/apt/apt.conf.d/90host") if not os.stat(OTHER + name).st_mode & 0o4]
    subprocess.run([SCRIPT, "remove", OTHER], check=True)
    return f"lets its users not read {', '.join(unreadable)}" if unreadable else ""


def removed_in_part():
    """What cannot be removed at once can be removed later."""
    subprocess.run([SCRIPT, "make", SUITE, OTHER], check=True)
    subprocess.run(["mount", "-t", "tmpfs", "tmpfs", OTHER + "/srv"], check=True)
    try:
        if subprocess.run([SCRIPT, "remove", OTHER], stderr=subprocess.DEVNULL, check=False).returncode == 0:
            return "removes what is mounted"
    finally:
        subprocess.run(["umount", OTHER + "/srv"], check=True)
    if subprocess.run([SCRIPT, "remove", OTHER], check=False).returncode == 0:
        return ""
    subprocess.run(["rm", "-rf", "--one-file-system", OTHER], check=True)
    return "is no longer known as a system"


def put_among_others():
    subprocess.run([SCRIPT, "put", SYSTEM, "etc", __file__], check=True)
    if os.stat(SYSTEM + "/etc/shadow").st_mode & 0o7:
        return "lets all read what was there"
    return "" if os.stat(os.path.join(SYSTEM, "etc", os.path.basename(__file__))).st_mode & 0o4 else "cannot be read"


# What a command sees, and what of it.
SEEN = (
    ("id -u; id -G; pwd", "65534\n65534\n/\n"),
    ("cat; ls -A /mnt", ""),
    ("env | grep -E '^(https_proxy|SECRET|HOME|USER|OVIX_CCACHE|PATH)=' | sort", f"HOME=/nonexistent\nPATH={PATHS}\nUSER=nobody\nhttps_proxy=http://p:1\n"),
    ("grep -c '^sysfs /sys sysfs ro,' /proc/mounts", "1\n"),
)


def seen_by_a_command():
    """By a user without a home. Of the machine only what reaches the network."""
    environment = os.environ | {"https_proxy": "http://p:1", "SECRET": "y"}
    for command, expected in SEEN:
        done = subprocess.run([SCRIPT, "run", SYSTEM, "nobody", "bash", "-c", command], capture_output=True, text=True, input="a line\n", env=environment)
        if (done.stdout, done.stderr) != (expected, ""):
            return f"'{command}' says {done.stdout}{done.stderr}"
    return ""


def refusal(words, said, **variables):
    done = subprocess.run([SCRIPT, *words], capture_output=True, text=True, env=os.environ | variables)
    return "" if done.returncode == 1 and said in done.stderr and done.stderr.count("\n") == 1 else f"says {done.stderr}"


interrupt.raise_at_all()
failures, count = [], 0
try:
    clear()
    for sent in ENDING:
        for is_group in (False, True):
            for moment in MOMENTS if sent != signal.SIGKILL else (None,):
                count += 1
                if wrong := ended_run(count, sent, is_group, moment):
                    failures.append(f"run, sent {sent.name}{' as a group' if is_group else ''} {'when it runs' if moment is None else f'after {moment} s'}: {wrong}")
    for sent in (*interrupt.ENDING, REMOVE):
        count += 1
        if wrong := ended_make(sent):
            failures.append(f"make, ended by {sent}: {wrong}")
    for case in (killed_at_its_start, made_by_a_private_user, removed_while_in_use, removed_in_part, put_among_others, seen_by_a_command):
        count += 1
        if wrong := case():
            failures.append(f"{case.__name__.replace('_', ' ')}: {wrong}")
    for sent in ENDING:
        count += 1
        done = subprocess.run([SCRIPT, "run", SYSTEM, "root", "bash", "-c", f"echo a >&2; kill -{sent.value} $$; echo b >&2"], capture_output=True, text=True)
        if (done.returncode, done.stderr) != (128 + sent, "a\n"):
            failures.append(f"run of what {sent.name} ends: ends with {done.returncode} and says {done.stderr}")
    os.mkdir(SMALL)
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=1m", "tmpfs", SMALL], check=True)
    for words, said, *variables in (
        (("put", SYSTEM, "srv", "/no/such/file"), "/no/such/file does not exist"),
        (("put", "/tmp", "srv", __file__), "/tmp is not a system that bare-system made"),
        (("put", SYSTEM, "../ovix-outside", __file__), "../ovix-outside is outside"),
        (("put", SYSTEM, "var/run/ovix-outside", __file__), "var/run/ovix-outside is outside"),
        (("remove", "/tmp"), "/tmp is not a system that bare-system made"),
        (("run", "/tmp", "root", "true"), "/tmp is not a system that bare-system made"),
        (("run", SYSTEM, "nobody-there", "true"), "the system has no user nobody-there"),
        (("run", SYSTEM, "roo.", "true"), "the system has no user roo."),
        (("run", SYSTEM, "root", "true"), "OVIX_CCACHE is '/no/such', which is not a folder", {"OVIX_CCACHE": "/no/such"}),
        (("make", SUITE, OTHER), "has room for 1 MiB, but a system needs 400", {"OVIX_CACHE": SMALL}),
        (("make", "--help", OTHER), "'--help' is not a suite of Debian"),
        (("make", SUITE, SYSTEM), f"{SYSTEM} exists"),
        (("make", SUITE, "/dev/null/system"), "making /dev/null/system failed: mkdir: cannot create directory"),
    ):
        count += 1
        if wrong := refusal(words, said, **dict(*variables)):
            failures.append(f"{' '.join(words)}: {wrong}")
except KeyboardInterrupt:
    sys.exit("bare_system_test: interrupted")
finally:
    with interrupt.held_off():
        clear()
for failure in failures:
    print(f"bare_system_test: {failure}", file=sys.stderr)
print(f"bare_system_test: {count} cases, {len(failures)} failed")
sys.exit(1 if failures else 0)
