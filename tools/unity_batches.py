"""Puts files into batches that can be compiled as one, for the unity build.

Standard input: one target a line, its source files (absolute) separated by semicolons.  Output: "batch path" for every file
that stands in a batch of its target (the others are compiled alone), "header path" for every header that mattered.  Files share a batch only when no name that one of them declares for
itself is declared by the other or by the headers only the other one includes.
Argument: the most files of a batch.
"""
import os
import re
import sys

from source_files import ROOT, Sources, spoils_others


class Names:
    """What decides whether a file can share a batch."""

    def __init__(self, sources, path):
        self.alone, linked = sources.names(path)
        self.own = self.alone | linked
        self.headers = set()
        self.macros = set(re.findall(r"^\s*#\s*define\s+(\w+)", sources.text(path), re.M))
        self.words = set(re.findall(r"\w+", sources.text(path))) if self.macros else None
        self.text = sources.text(path)
        for header in sources.closure(path):
            shared, linked = sources.names(header)
            self.headers |= shared | linked


def hides(one, other):
    """Whether names of `one` get in the way of `other`."""
    if one.alone & other.own or one.own & (other.headers - one.headers):
        return True
    return any(re.search(rf"\b{macro}\b", other.text) for macro in one.macros)


def batches(paths, sources, most):
    """Lists of paths; every file stands in the first batch that takes it."""
    made = []
    for path in paths:
        if spoils_others(sources.text(path)):
            continue
        names = Names(sources, path)
        for batch in made:
            if len(batch) < most and not any(hides(names, other) or hides(other, names) for _, other in batch):
                batch.append((path, names))
                break
        else:
            made.append([(path, names)])
    return [[path for path, _ in batch] for batch in made if len(batch) > 1]


def main():
    most = int(sys.argv[1])
    sources = Sources()
    headers = set()
    for line in sys.stdin:
        paths = [os.path.relpath(path, ROOT) for path in line.strip().split(";") if path.endswith(".cpp")]
        for number, batch in enumerate(batches(paths, sources, most)):
            for path in batch:
                print(number, os.path.join(ROOT, path))
        headers.update(*(sources.closure(path) for path in paths))
    for path in sorted(headers):
        print("header", os.path.join(ROOT, path))


if __name__ == "__main__":
    main()
