"""Compiles every source file and every header alone, with the warnings of the build.

A header counts as compiled alone when a source file includes it before anything else; the others get a file of one line.
What passed is kept by content (proven.py), so that only what changed is compiled again.
Arguments: build folder, whose compile_commands.json holds one command a file; --record writes down what passed.
"""
import concurrent.futures
import json
import os
import re
import shlex
import subprocess
import sys

from proven import Proven
from source_files import ROOT, Sources

FIRST_INCLUDE = re.compile(r'^#include ["<]([^">]+)[">]', re.M)


def commands_of(folder):
    """Arguments that check a file's syntax and meaning without making an object, by path from the root."""
    found = {}
    with open(os.path.join(folder, "compile_commands.json"), encoding="utf-8") as file:
        entries = json.load(file)
    for entry in entries:
        path = os.path.relpath(os.path.join(entry["directory"], entry["file"]), ROOT)
        if path.startswith("build"):
            continue
        words = shlex.split(entry["command"])
        if os.path.basename(words[0]) == "ccache":
            words = words[1:]
        at = words.index("-o")
        words = [word for index, word in enumerate(words)
                 if index not in (at, at + 1) and word not in ("-c", entry["file"]) and not re.match(r"-[Og]\w*$", word)]
        found[path] = words + ["-fsyntax-only"]
    return found


def jobs_of(commands, sources):
    """(path, arguments, standard input) of everything to be compiled."""
    jobs = [(path, words + [os.path.join(ROOT, path)], None) for path, words in sorted(commands.items())]
    proven = set()
    for path in commands:
        first = FIRST_INCLUDE.search(sources.text(path))
        if first:
            proven.add(first.group(1))
    # A header is compiled as a file that uses it is, else as its neighbours are.
    near = {}
    for path, words in sorted(commands.items()):
        for header in sources.closure(path):
            near.setdefault(header, words)
        near.setdefault(os.path.dirname(path), words)
    listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "*.h"], cwd=ROOT, capture_output=True, text=True,
                            check=True)
    for header in sorted(listed.stdout.split()):
        words = near.get(header) or near.get(os.path.dirname(header))
        if header not in proven and words:
            jobs.append((header, words + ["-x", "c++", "-"], f'#include "{header}"\n'))
    return jobs


def compile_one(job, sources, proven):
    """None, or what the compiler says."""
    path, words, text = job
    key = proven.key(path, sources, words)
    if proven.holds(key):
        return None
    done = subprocess.run(words, input=text, cwd=ROOT, capture_output=True, text=True, check=False)
    if done.returncode == 0:
        proven.note(key)
        return None
    return f"{path}:\n{done.stderr}"


def main():
    sources = Sources()
    proven = Proven("alone")
    jobs = jobs_of(commands_of(sys.argv[1]), sources)
    for path, _, _ in jobs:
        sources.closure(path)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        problems = [text for text in pool.map(lambda job: compile_one(job, sources, proven), jobs) if text]
    for text in problems:
        print(text[:3000])
    if "--record" in sys.argv and not problems:
        proven.record()
    print(f"{len(jobs) - len(problems)} of {len(jobs)} files compile alone")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
