#!/usr/bin/env python3
"""Changes the product in small ways, one at a time, and says which changes the tests of the room notice.

    tests/mutation/sample.py [--seed N] [--count N] [--rooms data,document,services,bank] [--jobs N]
    tests/mutation/sample.py --list        what the seed would choose, without building
    tests/mutation/sample.py --only FILE   the survivors of an earlier run, whose output FILE is

Works in copies of the source tree below build-mutation, so the tree itself stays as it is.  A mutant that does not
compile is replaced by another one; a test program that fails, crashes or does not end has caught its mutant.  What the
tests of its own room pass is tried once more, at the end, with the test programs of other rooms that use it.  The
changes that cannot be noticed because they change nothing stand in equivalent.txt, each with its reason, and are not
chosen.  Exit status: 0 when at least --goal percent were caught, 1 when fewer, 2 when the unchanged tree fails.
"""
import argparse
import fcntl
import os
import queue
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
from collections import Counter

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import mutants  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
# A room, its part of the sample, the programs that hold its tests, and those that use the room besides.
ROOMS = {"data": (55, ["test_data"], ["test_document", "test_bank", "test_studio", "test_cli"]),
         "document": (30, ["test_document"], ["test_bank", "test_studio"]),
         "services": (50, ["test_services", "test_transfer"], ["test_cli"]),
         "bank": (15, ["test_bank"], ["test_cli"])}
OWN, FURTHER = 1, 2  # columns of ROOMS
HEADER_USERS = 8  # a header that more files include is left alone: each of its mutants would take minutes
MEMORY = 6 << 30


def equivalents():
    """(file, text of the line, replacement) of the changes that change nothing."""
    rows = set()
    with open(os.path.join(HERE, "equivalent.txt"), encoding="utf-8") as file:
        for line in file:
            parts = [part.strip() for part in line.split("\t")]
            if len(parts) >= 4 and not line.startswith("#"):
                rows.add(tuple(parts[:3]))
    return rows


def key_of(name, text, mutant):
    line = text.split("\n")[mutants.line_of(text, mutant) - 1]
    return name, line.strip(), mutants.shown(text, mutant)


def label_of(chosen):
    """The change as it is printed, which --only reads again."""
    name, text, mutant = chosen
    column = mutant.start - text.rfind("\n", 0, mutant.start)
    return f"{name}:{mutants.line_of(text, mutant)}:{column}  {mutant.kind}: {mutants.shown(text, mutant)}"


def survivors_of(path):
    """(room, mutant) of the survivors that an earlier run printed; one whose line has changed since is named and left out."""
    found, last = [], {}  # what the first step let pass stands there once more with the verdict of the second
    with open(path, encoding="utf-8") as file:
        for line in file:
            if line.startswith(("survived ", "caught ")):
                verdict, label = line.split(None, 1)
                last[re.sub(r"  \[[^\]]*\]$", "", label.rstrip())] = verdict
    for label in (label for label, verdict in last.items() if verdict == "survived"):
        name = label.split(":")[0]
        with open(os.path.join(ROOT, name), encoding="utf-8") as file:
            text = file.read()
        same = [(name, text, mutant) for mutant in mutants.mutants_of(text) if label_of((name, text, mutant)) == label]
        if same:
            found.append((name.split("/")[0], same[0]))
        else:
            print(f"no longer there: {label}")
    return found


def sources(room, wide_headers):
    names = sorted(os.listdir(os.path.join(ROOT, room)))
    return [f"{room}/{name}" for name in names
            if name.endswith(".cpp") or (name.endswith(".h") and f"{room}/{name}" not in wide_headers)]


class Room:
    """The mutants of a room in the order the seed gives: kind by kind at random, so that tables full of numbers do not
    crowd out the rest."""

    def __init__(self, room, seed, wide_headers, known):
        self.random = random.Random(f"{seed}-{room}")
        self.by_kind = {}
        for name in sources(room, wide_headers):
            with open(os.path.join(ROOT, name), encoding="utf-8") as file:
                text = file.read()
            for mutant in mutants.mutants_of(text):
                if key_of(name, text, mutant) not in known:
                    self.by_kind.setdefault(mutant.kind, []).append((name, text, mutant))
        self.lock = threading.Lock()

    def take(self):
        with self.lock:
            kinds = sorted(kind for kind, left in self.by_kind.items() if left)
            if not kinds:
                return None
            left = self.by_kind[self.random.choice(kinds)]
            return left.pop(self.random.randrange(len(left)))


def lock_trees():
    """Waits until no other run uses the copies; the lock ends with this process."""
    os.makedirs(os.path.join(ROOT, "build-mutation"), exist_ok=True)
    lock = os.open(os.path.join(ROOT, "build-mutation", "lock"), os.O_CREAT | os.O_RDWR, 0o600)
    fcntl.flock(lock, fcntl.LOCK_EX)


class Tree:
    """A copy of the sources with a build folder of its own."""

    def __init__(self, number):
        self.base = os.path.join(ROOT, "build-mutation", str(number))
        self.source, self.build = os.path.join(self.base, "source"), os.path.join(self.base, "build")

    def prepare(self, programs):
        names = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT, check=True, text=True,
                               stdout=subprocess.PIPE).stdout.split("\n")
        wanted = {name for name in names if name and os.path.isfile(os.path.join(ROOT, name))}
        for folder, _, files in os.walk(self.source):
            for file in files:
                path = os.path.join(folder, file)
                if os.path.relpath(path, self.source) not in wanted:
                    os.remove(path)
        for name in wanted:
            self.restore(name)
        if not os.path.exists(os.path.join(self.build, "build.ninja")):
            subprocess.run(["cmake", "-S", self.source, "-B", self.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=None",
                            "-DTONALITH_UNITY=OFF", "-DTONALITH_GUI=OFF", "-DCMAKE_CXX_FLAGS=-O0 -g0 -w"],
                           check=True, stdout=subprocess.DEVNULL)
        return self.make(programs)

    def restore(self, name):
        """Puts the file back; one that is the same keeps its time, so that it is not compiled again."""
        source, target = os.path.join(ROOT, name), os.path.join(self.source, name)
        with open(source, "rb") as file:
            content = file.read()
        if os.path.exists(target):
            with open(target, "rb") as file:
                if file.read() == content:
                    return
        os.makedirs(os.path.dirname(target), exist_ok=True)
        with open(target, "wb") as file:
            file.write(content)
        shutil.copymode(source, target)

    def write(self, name, text):
        with open(os.path.join(self.source, name), "w", encoding="utf-8") as file:
            file.write(text)

    def make(self, programs):
        return subprocess.run(["ninja", "-C", self.build, "-j2", *programs], stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL, check=False).returncode == 0

    def wide_headers(self):
        """Headers of the sampled rooms that many files include."""
        deps = subprocess.run(["ninja", "-C", self.build, "-t", "deps"], stdout=subprocess.PIPE, text=True, check=True)
        users = Counter(line.strip() for line in deps.stdout.split("\n") if line.startswith("    "))
        return {os.path.relpath(path, self.source) for path, n in users.items()
                if path.startswith(self.source) and n > HEADER_USERS}

    def run(self, program, limit):
        """"passed", "failed: TEST", "crashed" or "hung", and the seconds it took."""
        home = tempfile.mkdtemp(prefix="mutation-", dir="/dev/shm" if os.path.isdir("/dev/shm") else None)
        env = dict(os.environ, HOME=home, TMPDIR=home, XDG_RUNTIME_DIR=home, QT_QPA_PLATFORM="offscreen")
        env.setdefault("TONALITH_SYSEX_DIR", os.path.join(ROOT, "..", "shared", "sysex"))
        start = time.time()
        process = subprocess.Popen([os.path.join(self.build, "bin", program), "--gtest_fail_fast", "--gtest_brief=1"],
                                   cwd=home, env=env, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.STDOUT, start_new_session=True, preexec_fn=limits)
        try:
            output = process.communicate(timeout=limit)[0].decode("utf-8", "replace")
            names = [line.split("]")[1].split(",")[0].strip() for line in output.split("\n") if line.startswith("[  FAILED  ]")]
            result = "passed" if process.returncode == 0 else f"failed: {names[0]}" if names else "crashed"
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            process.communicate()
            result = "hung"
        shutil.rmtree(home, ignore_errors=True)
        return result, time.time() - start


def limits():
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 29, 1 << 29))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def try_mutant(tree, programs, usual, chosen):
    """(verdict, how) of one mutant, None when it does not compile."""
    name, text, mutant = chosen
    tree.write(name, mutants.apply(text, mutant))
    try:
        if not tree.make(programs):
            return None
        for program in programs:
            result, _ = tree.run(program, 20 + 5 * usual[program])
            if result != "passed":
                return "caught", f"{program} {result}"
        return "survived", ""
    finally:
        tree.restore(name)


def in_threads(trees, rows, task):
    """task(tree, row) of every row, in every tree at a time."""
    jobs = queue.Queue()
    for row in rows:
        jobs.put(row)

    def work(tree):
        while True:
            try:
                row = jobs.get_nowait()
            except queue.Empty:
                return
            task(tree, row)

    threads = [threading.Thread(target=work, args=(tree,)) for tree in trees]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()


class Run:
    """The trees, how long each program takes on the unchanged source, and the verdicts."""

    def __init__(self, count):
        self.trees = [Tree(number) for number in range(count)]
        self.usual = {}
        self.results = []  # (room, kind, verdict, what was changed)

    def prepare(self, programs):
        """Builds and runs the unchanged source; says what is wrong with it, or nothing."""
        for tree in self.trees:
            if not tree.prepare(programs):
                return f"does not build: ninja -C {tree.build} {' '.join(programs)}"
            for program in programs:
                result, self.usual[program] = tree.run(program, 300)
                if result != "passed":
                    return f"fails: {program} {result}"
        return ""

    def try_own(self, tree, row):
        room, next_mutant = row
        verdict = None
        while verdict is None:
            chosen = next_mutant()
            if chosen is None:
                return
            verdict = try_mutant(tree, ROOMS[room][OWN], self.usual, chosen)
        self.results.append((room, chosen[2].kind, verdict[0], chosen))
        say(verdict, chosen)

    def try_further(self, tree, row):
        room, kind, _, chosen = self.results[row]
        verdict = try_mutant(tree, ROOMS[room][FURTHER], self.usual, chosen) or ("survived", "does not build there")
        self.results[row] = (room, kind, verdict[0], chosen)
        say(verdict, chosen)

    def survivors(self):
        return [row for row, result in enumerate(self.results) if result[2] == "survived"]


def say(verdict, chosen):
    print(f"{verdict[0]:8} {label_of(chosen)}" + (f"  [{verdict[1]}]" if verdict[1] else ""), flush=True)


def programs_of(rooms, column):
    return sorted({program for room in rooms for program in ROOMS[room][column]})


def totals(results, label, column):
    for key in sorted({row[column] for row in results}):
        rows = [row for row in results if row[column] == key]
        caught = sum(row[2] == "caught" for row in rows)
        print(f"{label} {key}: {caught} of {len(rows)} caught, {100 * caught / len(rows):.0f} percent")


def parts(rooms, count):
    """How many mutants each room gets of `count`."""
    whole = sum(ROOMS[room][0] for room in rooms)
    share = {room: max(1, count * ROOMS[room][0] // whole) for room in rooms}
    share[rooms[0]] += count - sum(share.values())
    return share


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--count", type=int, default=150)
    parser.add_argument("--rooms", default=",".join(ROOMS))
    parser.add_argument("--jobs", type=int, default=1)
    parser.add_argument("--goal", type=int, default=85)
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--only", metavar="FILE")
    options = parser.parse_args()
    rooms = options.rooms.split(",")
    share = parts(rooms, options.count)
    known = equivalents()
    if options.list:
        for room in rooms:
            chooser = Room(room, options.seed, set(), known)
            for _ in range(share[room]):
                print(label_of(chooser.take()))
        return 0
    chosen = survivors_of(options.only) if options.only else []
    if options.only:
        rooms = sorted({room for room, _ in chosen})
    lock_trees()
    run = Run(options.jobs)
    wrong = run.prepare(programs_of(rooms, OWN))
    if wrong:
        print(f"the unchanged tree {wrong}")
        return 2
    if options.only:
        order = [(room, iter([mutant, None]).__next__) for room, mutant in chosen]
    else:
        print(f"seed {options.seed}, {options.count} mutants: " + ", ".join(f"{room} {share[room]}" for room in rooms),
              flush=True)
        wide = run.trees[0].wide_headers()
        choosers = {room: Room(room, options.seed, wide, known) for room in rooms}
        order = [(room, choosers[room].take) for room in rooms for _ in range(share[room])]
        random.Random(options.seed).shuffle(order)  # a run that is stopped has a bit of every room
    in_threads(run.trees, order, run.try_own)
    return finish(run, options.goal)


def finish(run, goal):
    """The second step for what survived, and the totals."""
    left = run.survivors()
    print(f"tests of the rooms: {len(run.results) - len(left)} of {len(run.results)} caught", flush=True)
    wrong = run.prepare(programs_of({run.results[row][0] for row in left}, FURTHER)) if left else ""
    if wrong:
        print(f"the unchanged tree {wrong}")
        return 2
    in_threads(run.trees, left, run.try_further)
    totals(run.results, "kind", 1)
    totals(run.results, "room", 0)
    caught = len(run.results) - len(run.survivors())
    print(f"{caught} of {len(run.results)} caught, {100 * caught / max(1, len(run.results)):.0f} percent")
    return 0 if caught * 100 >= goal * len(run.results) else 1


if __name__ == "__main__":
    sys.exit(main())
