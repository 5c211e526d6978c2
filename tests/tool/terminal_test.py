"""What ovix-contracts does for a person at a terminal: colour, how far a long run is, completion in bash, zsh and fish.

Usage: terminal_test.py OVIX_CONTRACTS PAGES CONTRACTS_BINPB
"""

import os
import pty
import shutil
import subprocess
import sys
import tempfile
import threading
import time

tool, pages, contracts = map(os.path.abspath, sys.argv[1:])
problems = []


def at_terminal(arguments, feed=(), out=None, **environment):
    """What the tool says to a terminal that is its error output, and its standard output unless out is given."""
    ours, theirs = pty.openpty()
    said = []

    def listen():
        while True:
            try:
                said.append(os.read(ours, 65536))
            except OSError:  # how Linux reports that no one has the other end
                return

    settings = {key: value for key, value in os.environ.items() if key not in ("NO_COLOR", "TERM")}
    process = subprocess.Popen([tool, *arguments], stdin=subprocess.PIPE, stdout=out or theirs, stderr=theirs,
                               env=dict(settings, **{"TERM": "xterm", **environment}))
    os.close(theirs)
    listener = threading.Thread(target=listen)
    listener.start()
    for piece in feed:
        time.sleep(piece) if isinstance(piece, float) else (process.stdin.write(piece), process.stdin.flush())
    process.stdin.close()
    if process.wait(timeout=60) != 0:
        problems.append(f"{' '.join(arguments)}: exit {process.returncode}")
    listener.join()
    os.close(ours)
    return b"".join(said).decode(errors="replace").replace("\r\n", "\n")


# --- Colour: at a terminal that takes it, unless NO_COLOR says otherwise; the text is the same.

COLOURS = [({}, True), ({"NO_COLOR": ""}, True), ({"NO_COLOR": "1"}, False), ({"TERM": "dumb"}, False)]
for arguments in (["show", "BatteryHealthLog"], ["list", "--payloads"]):
    piped = subprocess.run([tool, *arguments], capture_output=True, text=True, check=True).stdout
    if "\x1b" in piped:
        problems.append(f"{arguments[0]}: colour in a pipe")
    for environment, wanted in COLOURS:
        said = at_terminal(arguments, **environment)
        if ("\x1b[" in said) != wanted:
            problems.append(f"{arguments[0]} with {environment}: {'no colour' if wanted else 'colour'}")
        if not wanted and said != piped:
            problems.append(f"{arguments[0]} with {environment}: not the text of a pipe")

# --- How far a run is that takes more than a second, and nothing of it left; nothing of a short one, and
# --- nothing among the messages where they go to the terminal too.

message = bytes([7, 10, 5]) + b"12:00"
many = message * 3000
for command, piece in (("decode", many), ("encode", b'{"time": "12:00"}\n' * 3000)):
    for pause, out, wanted in ((1.3, subprocess.DEVNULL, True), (0.0, subprocess.DEVNULL, False), (1.3, None, False)):
        said = at_terminal([command, "BatteryHealthLog", "--delimited"], [piece, pause, piece], out=out)
        if ("messages, 0 MB read" in said) != wanted or (wanted and not said.endswith("\r\x1b[K")):
            problems.append(f"{command}, {pause} s in between, output {out}: said {said[-80:]!r}")

# --- Completion: the line up to the cursor, and what must and what must not be among the answers; "FILES" and "FOLDERS"
# --- represent those.

work = tempfile.TemporaryDirectory()
os.chdir(work.name)
os.mkdir("a folder")
open("a file", "w").close()
shutil.copy(contracts, "other.binpb")
FILES = {"a file", "other.binpb"}
LINES = [
    ("ovix-contracts ", {"list", "decode", "help"}, {"BatteryHealthLog", "describe", "a file"}),
    ("ovix-contracts --v", {"--version"}, {"list"}),
    ("ovix-contracts de", {"decode"}, {"diff", "describe"}),
    ("ovix-contracts help de", {"decode"}, {"diff"}),
    ("ovix-contracts show BatteryHea", {"BatteryHealthLog"}, {"GraphicsCards"}),
    ("ovix-contracts show --format json BatteryHea", {"BatteryHealthLog"}, {"GraphicsCards", "a file"}),
    ("ovix-contracts decode --format=text -o out BatteryHea", {"BatteryHealthLog"}, {"a file"}),
    ("ovix-contracts show --contracts other.binpb BatteryHea", {"BatteryHealthLog"}, set()),
    ("ovix-contracts show --contracts nowhere BatteryHea", set(), {"BatteryHealthLog"}),
    ("ovix-contracts show oth", {"other.binpb"}, {"a file"}),
    ("ovix-contracts show com.ovix.cdm.domain.telemetry.type.eventDetail.category.pcLogHwB",
     {"com.ovix.cdm.domain.telemetry.type.eventDetail.category.pcLogHwBatteryHealth.version.1"}, set()),
    ("ovix-contracts show BatteryHealthLog.a", {"BatteryHealthLog.age"}, {"BatteryHealthLog.voltage"}),
    ("ovix-contracts show BatteryHealthLog.battery_status.dis", {"BatteryHealthLog.battery_status.discharging"}, set()),
    ("ovix-contracts decode BatteryHealthLog.a", set(), {"BatteryHealthLog.age"}),
    ("ovix-contracts decode BatteryHealthLog ", FILES, {"BatteryHealthLog"}),
    ("ovix-contracts decode BatteryHealthLog -o ", FILES, {"BatteryHealthLog"}),
    ("ovix-contracts decode -- --", set(), {"--format"}),
    ("ovix-contracts ddl --out ", {"a folder"}, {"a file"}),
    ("ovix-contracts list --contracts ", FILES, {"BatteryHealthLog"}),
    ("ovix-contracts list --format ", {"csv", "json", "table"}, {"markdown", "or"}),
    ("ovix-contracts list --format=c", {"csv"}, {"json"}),
    ("ovix-contracts diff a b --format m", {"markdown"}, {"json"}),
    ("ovix-contracts privacy --class ", {"identifier", "location"}, {"all", "Only"}),
    ("ovix-contracts decode --redact location,ident", {"location,identifier"}, {"location,content"}),
    ("ovix-contracts ddl --database Device", {"DeviceProfile"}, {"HealthLog"}),
    ("ovix-contracts list --match ", set(), FILES),
    ("ovix-contracts encode BatteryHealthLog --", {"--delimited", "--output"}, {"--database"}),
    ("ovix-contracts nothing ", set(), FILES | {"list"}),
]
SHELLS = {
    # bash breaks words at '=', too.
    "bash": """
source "$1"
line=${2//=/ = }
COMP_WORDS=($line); [ "${line% }" = "$line" ] || COMP_WORDS+=('')
COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
$(complete -p ovix-contracts | sed 's/.*-F \\([^ ]*\\) .*/\\1/')
printf '%s\\n' "${COMPREPLY[@]}"
""",
    # What the functions of its completion system are given.
    "zsh": """
compdef() { }
_describe() { local given=${@[-1]}; print -l -- ${${(@P)given}%%:*} }
_files() { if [[ $1 == -/ ]] { print -l -- *(/) } else { print -l -- $PREFIX*(N) } }
source $1
words=(${=2}); [[ $2 != *' ' ]] || words+=('')
CURRENT=$#words PREFIX=$words[-1]
_ovix_contracts
""",
    "fish": "source $argv[1]; complete -C $argv[2]",
}
OPTIONS = {"bash": ["--norc", "-c", SHELLS["bash"], "bash"], "zsh": ["-f", "-c", SHELLS["zsh"], "zsh"],
           "fish": ["--no-config", "-c", SHELLS["fish"]]}
path = os.path.dirname(tool) + os.pathsep + os.environ["PATH"]
# zsh reads the file as the body of a function of the file's name; its first answer is one too.
ZSH_FIRST = SHELLS["zsh"].replace("source $1", "fpath=($1:h); autoload _ovix-contracts").replace(
    "\n_ovix_contracts\n", "\n_ovix-contracts\n")
for shell, script in (("bash", "ovix-contracts.bash"), ("zsh", "_ovix-contracts"), ("fish", "ovix-contracts.fish")):
    if shutil.which(shell) is None:
        problems.append(f"{shell} was not found; install it (scripts/setup test)")
        continue
    for line, must, must_not in LINES:
        answer = subprocess.run([shell, *OPTIONS[shell], os.path.join(pages, script), line], capture_output=True,
                                text=True, env=dict(os.environ, PATH=path))
        given = {word.split("\t")[0].rstrip("/").replace("\\ ", " ") for word in answer.stdout.splitlines()}
        # A word with its option's name is the same to the user.
        given |= {word.partition("=")[2] for word in given if word.startswith("--")}
        if not must <= given or must_not & given or answer.stderr:
            problems.append(f"completion of '{line}' in {shell}: gave {sorted(given)[:12]} {answer.stderr}")

answer = subprocess.run(["zsh", "-f", "-c", ZSH_FIRST, "zsh", os.path.join(pages, "_ovix-contracts"), LINES[2][0]],
                        capture_output=True, text=True, env=dict(os.environ, PATH=path))
if answer.stdout.split() != ["decode"]:
    problems.append(f"the first completion in zsh: gave {answer.stdout!r} {answer.stderr}")

for problem in problems:
    print("terminal: " + problem)
sys.exit(1 if problems else 0)
