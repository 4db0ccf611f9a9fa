"""What passed a check, by content, so that only what changed is checked again.

A key names everything the verdict depends on: the file, every header of ours it sees, the arguments.  Keys are kept in the build
folder, and those of the last landing in tools/proven/CHECK.txt, so that a fresh clone does not start from nothing.  A run
checks one in forty of the recorded ones all the same, other ones with every change: a record that is wrong does not last.
"""
import hashlib
import os

from source_files import ROOT

ONE_IN = 40


class Proven:
    def __init__(self, check):
        self.list = os.path.join(ROOT, "tools", "proven", check + ".txt")
        self.folder = os.path.join(ROOT, "build", check)
        os.makedirs(self.folder, exist_ok=True)
        try:
            with open(self.list, encoding="ascii") as file:
                self.recorded = set(file.read().split())
        except OSError:
            self.recorded = set()
        self.salt = hashlib.sha256(" ".join(sorted(self.recorded)).encode()).digest()
        self.seen = set()

    def key(self, path, sources, words):
        """`words`: the arguments; where the tree lies does not count."""
        digest = hashlib.sha256("\0".join(word.replace(ROOT, "") for word in words).encode())
        for name in [path, *sorted(sources.closure(path))]:
            digest.update(name.encode() + b"\0" + sources.text(name).encode())
        return digest.hexdigest()[:20]

    def holds(self, key):
        self.seen.add(key)
        if os.path.exists(os.path.join(self.folder, key)):
            return True
        chosen = hashlib.sha256(self.salt + key.encode()).digest()
        return key in self.recorded and int.from_bytes(chosen[:4], "big") % ONE_IN != 0

    def note(self, key):
        with open(os.path.join(self.folder, key), "w", encoding="ascii"):
            pass

    def record(self):
        """Writes the list anew: what this run looked at and holds."""
        held = sorted(key for key in self.seen if key in self.recorded or os.path.exists(os.path.join(self.folder, key)))
        os.makedirs(os.path.dirname(self.list), exist_ok=True)
        with open(self.list, "w", encoding="ascii") as file:
            file.write("".join(key + "\n" for key in held))
