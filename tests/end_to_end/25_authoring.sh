#!/usr/bin/env bash
# The page about writing a module is followed word by word in an empty folder: its files are written, its commands are
# run, and what they print is what the page shows ("..." stands for anything).
set -u
root=$(cd "$(dirname "$(readlink -f "$0")")/../.." && pwd)
bin=${TONALITH_BIN:-$root/build/bin}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
PATH=$(readlink -f "$bin"):$PATH exec python3 - "$root/docs/authoring.md" <<'PY'
import re, subprocess, sys

page = open(sys.argv[1], encoding="utf-8").read()
commands = 0
for kind, block in re.findall(r"^```([^\n]*)\n(.*?)^```$", page, re.M | re.S):
    if kind.startswith("file "):
        with open(kind[5:].strip(), "w", encoding="utf-8") as out:
            out.write(block)
        continue
    if not block.startswith("$ "):
        continue
    for command, shown in re.findall(r"^\$ ((?:[^\n]*\\\n)*[^\n]*)\n((?:(?!\$ )[^\n]*\n)*)", block, re.M):
        run = subprocess.run(["bash", "-c", command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                             timeout=120)
        pattern = r"[^\0]*".join(re.escape(part) for part in shown.split("..."))
        commands += 1
        if not re.fullmatch(pattern, run.stdout):
            print("FAILED: $", command, "\nexpected:\n" + shown, "\ngot:\n" + run.stdout, sep="")
            sys.exit(1)
if commands < 10:
    print("FAILED: the page has only", commands, "commands")
    sys.exit(1)
print("the page holds:", commands, "commands")
PY
