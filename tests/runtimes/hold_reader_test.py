#!/usr/bin/python3
"""hold_reader.py and hold_program.py must notice every way in which a reader can be wrong: readers that give prepared
answers are held against prepared cases.

Usage: hold_reader_test.py
"""

import os
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))

# message, gun, version, bytes, oddities, accepted, encoded, values
GOOD = 'm\tg\t1.0.0\t0801\t\t1\t0801\t{"a":0.1,"b":[true]}\n'
BAD = "m\tg\t1.0.0\t08\t\t0\n"
ODD = "m\tg\t1.0.0\t8800\tt\t1\t08\t{}\n"
TWICE_ODD = "m\tg\t1.0.0\t8800\ttw\t1\t08\t{}\n"
READ, REFUSED = 'g\t1.0.0\t0801\t{"a":0.10000000149011612,"b":[true]}\n', "g\t1.0.0\n"
T_REFUSES = "| `other`, `r` | `t` | refuses | why |\n"
W_REFUSES = "| `r` | `w` | refuses | why |\n"
NOT_OURS = "| `other` | `t` | refuses | why |\n"

# What it is, table, cases, answers, and what is reported; nothing where all is well.
READERS = [
    ("agrees", NOT_OURS, GOOD + BAD, READ + REFUSED, ""),
    ("a known difference", T_REFUSES, GOOD + ODD, READ + REFUSED, ""),
    ("a difference of another reader", NOT_OURS, GOOD + ODD, READ + REFUSED, "r: refuses: m"),
    ("refuses", NOT_OURS, GOOD + BAD, REFUSED * 2, "r: refuses: m"),
    ("accepts", NOT_OURS, GOOD + BAD, READ * 2, "r: accepts: m"),
    ("other bytes", NOT_OURS, GOOD, READ.replace("0801", "0802"), "r: bytes: m"),
    ("another value", NOT_OURS, GOOD, READ.replace("0.1", "0.2"), "r: values: m"),
    ("another type of value", NOT_OURS, GOOD, READ.replace("true", "1"), "r: values: m"),
    ("a value less", NOT_OURS, GOOD, READ.replace("[true]", "[]"), "r: values: m"),
    ("another name", NOT_OURS, GOOD, READ.replace('"b"', '"B"'), "r: values: m"),
    ("another gun", NOT_OURS, GOOD, READ.replace("g", "h", 1), "r: options: m"),
    ("another version", NOT_OURS, GOOD + BAD, READ + "g\t1.0.1\n", "r: options: m"),
    ("a known difference with another kind", T_REFUSES, ODD, "g\t1.0.0\t8800\t{}\n", "r: bytes: m"),
    ("a difference that no longer occurs", T_REFUSES, ODD, "g\t1.0.0\t08\t{}\n", "t refuses, which does not occur"),
    ("one that occurs only with others", T_REFUSES + W_REFUSES, TWICE_ODD, REFUSED, "w refuses, which does not occur"),
    ("an answer less", NOT_OURS, GOOD + BAD, READ, "after 1 of 2 cases"),
    ("an end by an error", NOT_OURS, GOOD, READ + "exit 1\n", "ended with 1"),
    ("no cases", NOT_OURS, "", "", "after 0 of 0 cases"),
    ("a table that is gone", "", GOOD, READ, "has no table of differences"),
    ("a table with a kind that there is not", NOT_OURS.replace("refuses", "drops"), GOOD, READ, "difference 'drops'"),
]

# What it is, what the program does with the payload and with the damaged one, and what is reported.
PRINTS = "echo g 1.0.0; echo '{\"a\":0.1,\"b\":[true]}'"
PROGRAMS = [
    ("reads", PRINTS, "exit 1", "reads the payload"),
    ("fails", "echo no >&2; exit 1", "exit 1", "ended with 1: no"),
    ("another option", PRINTS.replace("1.0.0", "1.0.1"), "exit 1", "prints the options 'g 1.0.1'"),
    ("another value", PRINTS.replace("0.1", "0.2"), "exit 1", "prints the values"),
    ("reads what is cut off", PRINTS, PRINTS, "reads a payload that is cut off"),
]


def write(folder, name, text):
    path = os.path.join(folder, name)
    with open(path, "w", encoding="utf-8", newline="\n") as file:
        file.write(text)
    return path


def run(script, *arguments):
    command = [sys.executable, "-B", os.path.join(HERE, script), *arguments]
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, encoding="utf-8", check=False)
    return done.returncode, done.stdout


def reader(folder, table, cases, answers):
    answers = answers.split("exit 1\n")
    command = f"cat '{write(folder, 'answers', answers[0])}'; exit {len(answers) - 1}"
    page, cases = write(folder, "page", table), write(folder, "cases", cases)
    return run("hold_reader.py", page, "r", "contracts", cases, "--", "sh", "-c", f"cat >/dev/null; {command}")


def main():
    failed = 0
    with tempfile.TemporaryDirectory() as folder:
        for what, table, cases, answers, said in READERS:
            status, output = reader(folder, table, cases, answers)
            if bool(status) != bool(said) or said not in output:
                print(f"hold_reader_test: {what}: ended with {status}: {output}", file=sys.stderr)
                failed += 1
        for what, good, damaged, said in PROGRAMS:
            command = f"if [ $(wc -c <$0) = 2 ]; then {good}; else {damaged}; fi"
            arguments = ["x", write(folder, "cases", BAD + GOOD), "m", "--", "sh", "-c", command, "{payload}"]
            status, output = run("hold_program.py", *arguments)
            if bool(status) != (what != "reads") or said not in output:
                print(f"hold_reader_test: program: {what}: ended with {status}: {output}", file=sys.stderr)
                failed += 1
    print(f"hold_reader_test: {failed} of {len(READERS) + len(PROGRAMS)} cases failed")
    return 1 if failed else 0


sys.exit(main())
