#!/usr/bin/env bash
# The pages about writing a module are followed word by word in an empty folder: their files are written, their commands
# are run, and what they print is what the page shows ("..." stands for anything).  A second instrument goes through the
# same steps, and every recipe is a chart that works.
set -u
root=$(cd "$(dirname "$(readlink -f "$0")")/../.." && pwd)
bin=${TONALITH_BIN:-$root/build/bin}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
PATH=$(readlink -f "$bin"):$PATH HOME=$work exec python3 - "$root" <<'PY'
import os, re, subprocess, sys

root = sys.argv[1]

def read(path):
    return open(os.path.join(root, path), encoding="utf-8").read()

def follow(path):
    os.mkdir(os.path.basename(path))
    os.chdir(os.path.basename(path))
    page, commands = read(path), 0
    for kind, block in re.findall(r"^```([^\n]*)\n(.*?)^```$", page, re.M | re.S):
        if kind.startswith("file "):
            with open(kind[5:].strip(), "w", encoding="utf-8") as out:
                out.write(block)
            continue
        if not block.startswith("$ "):
            continue
        for command, shown in re.findall(
                r"^\$ ((?:[^\n]*\\\n)*[^\n]*(?:<<'END'\n(?:(?!END\n)[^\n]*\n)*END)?)\n((?:(?!\$ )[^\n]*\n)*)", block, re.M):
            run = subprocess.run(["bash", "-c", command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                                 timeout=120)
            pattern = r"[^\0]*".join(re.escape(part) for part in shown.split("..."))
            commands += 1
            if not re.fullmatch(pattern, run.stdout):
                print("FAILED: ", path, ": $ ", command, "\nexpected:\n", shown, "\ngot:\n", run.stdout, sep="")
                sys.exit(1)
    os.chdir("..")
    print(path, "holds:", commands, "commands")
    return commands

steps = [re.findall(r"^## \d.*$", read(path), re.M) for path in ("docs/authoring.md", "tests/end_to_end/authoring_second.md")]
if steps[0] != steps[1] or len(steps[0]) < 7:
    sys.exit("FAILED: the second instrument does not go through the steps of the page")
if len(read("docs/authoring.md").split()) > 1500:
    sys.exit("FAILED: docs/authoring.md has more than 1,500 words")
if follow("docs/authoring.md") < 10 or follow("tests/end_to_end/authoring_second.md") < 10 or follow("docs/recipes.md") < 8:
    sys.exit("FAILED: a page has too few commands")
PY
