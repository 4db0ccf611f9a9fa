#!/usr/bin/env python3
"""Changes the product in small ways, one at a time, and says which changes the tests of the room notice.

    tests/mutation/sample.py [--seed N] [--count N] [--rooms data,document,services,bank] [--jobs N]
    tests/mutation/sample.py --list        what the seed would choose, without building

Works in copies of the source tree below build-mutation, so the tree itself stays as it is.  A mutant that does not
compile is replaced by another one; a test program that fails, crashes or does not end has caught its mutant.  The
changes that cannot be noticed because they change nothing stand in equivalent.txt, each with its reason, and are not
chosen.  Exit status: 0 when at least --goal percent were caught, 1 when fewer, 2 when the unchanged tree fails.
"""
import argparse
import fcntl
import os
import queue
import random
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
# A room, its part of the sample, and the programs that hold its tests.
ROOMS = {"data": (55, ["test_data"]), "document": (30, ["test_document"]),
         "services": (50, ["test_services", "test_transfer"]), "bank": (15, ["test_bank"])}
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


def try_mutant(tree, room, usual, chosen):
    """(verdict, how) of one mutant, None when it does not compile."""
    name, text, mutant = chosen
    tree.write(name, mutants.apply(text, mutant))
    try:
        if not tree.make(ROOMS[room][1]):
            return None
        for program in ROOMS[room][1]:
            result, _ = tree.run(program, 20 + 5 * usual[program])
            if result != "passed":
                return "caught", f"{program} {result}"
        return "survived", ""
    finally:
        tree.restore(name)


def work(tree, jobs, usual, results, lock):
    while True:
        try:
            room, chooser = jobs.get_nowait()
        except queue.Empty:
            return
        verdict = None
        while verdict is None:
            chosen = chooser.take()
            if chosen is None:
                return
            verdict = try_mutant(tree, room, usual, chosen)
        name, text, mutant = chosen
        with lock:
            results.append((room, mutant.kind, verdict[0]))
            print(f"{verdict[0]:8} {name}:{mutants.line_of(text, mutant)}  {mutant.kind}: {mutants.shown(text, mutant)}"
                  + (f"  [{verdict[1]}]" if verdict[1] else ""), flush=True)


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
    options = parser.parse_args()
    rooms = options.rooms.split(",")
    programs = [program for room in rooms for program in ROOMS[room][1]]
    share = parts(rooms, options.count)
    known = equivalents()
    if options.list:
        for room in rooms:
            chooser = Room(room, options.seed, set(), known)
            for _ in range(share[room]):
                name, text, mutant = chooser.take()
                print(f"{name}:{mutants.line_of(text, mutant)}  {mutant.kind}: {mutants.shown(text, mutant)}")
        return 0
    lock_trees()
    trees = [Tree(number) for number in range(options.jobs)]
    usual = {}
    for tree in trees:
        if not tree.prepare(programs):
            print(f"the unchanged tree does not build: ninja -C {tree.build} {' '.join(programs)}")
            return 2
        for program in programs:
            result, usual[program] = tree.run(program, 300)
            if result != "passed":
                print(f"the unchanged tree fails: {program} {result}")
                return 2
    wide = trees[0].wide_headers()
    print(f"seed {options.seed}, {options.count} mutants: " + ", ".join(f"{room} {share[room]}" for room in rooms), flush=True)
    choosers = {room: Room(room, options.seed, wide, known) for room in rooms}
    order = [room for room in rooms for _ in range(share[room])]
    random.Random(options.seed).shuffle(order)  # a run that is stopped has a bit of every room
    jobs = queue.Queue()
    for room in order:
        jobs.put((room, choosers[room]))
    results, lock = [], threading.Lock()
    threads = [threading.Thread(target=work, args=(tree, jobs, usual, results, lock)) for tree in trees]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    totals(results, "kind", 1)
    totals(results, "room", 0)
    caught = sum(row[2] == "caught" for row in results)
    print(f"{caught} of {len(results)} caught, {100 * caught / max(1, len(results)):.0f} percent")
    return 0 if caught * 100 >= options.goal * len(results) else 1


if __name__ == "__main__":
    sys.exit(main())
