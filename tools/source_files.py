"""What the build tools read out of the sources: includes, and names declared at the level of a file.

It relies on the layout that clang-format gives: declarations of namespaces begin in column 0 and nothing else does.
"""
import os
import re

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
INCLUDE = re.compile(r'^#include "([^"]+)"', re.M)
STRINGS = re.compile(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\'')
NAME = r"(?:operator\s*(?:\(\)|\[\]|[^\s\w(]+)|~?\w+)"
QUALIFIED = re.compile(rf"((?:\w+(?:<[^<>]*>)?::)*)({NAME})\s*$")


def read(path):
    """Text of a source file given by its path from the root; an empty text when there is none."""
    try:
        with open(os.path.join(ROOT, path), encoding="utf-8") as file:
            return file.read()
    except OSError:
        return ""


class Sources:
    """Files read once each."""

    def __init__(self):
        self.texts = {}
        self.closures = {}
        self.declared = {}

    def text(self, path):
        if path not in self.texts:
            self.texts[path] = read(path)
        return self.texts[path]

    def includes(self, path):
        """Files of the tree that a file names, beside it or from the root."""
        found = []
        for name in INCLUDE.findall(self.text(path)):
            beside = os.path.normpath(os.path.join(os.path.dirname(path), name))
            found += [candidate for candidate in (name, beside) if self.text(candidate)][:1]
        return found

    def closure(self, path):
        """All project headers that a file includes, directly or not."""
        if path not in self.closures:
            seen = set()
            open_files = [path]
            while open_files:
                for name in self.includes(open_files.pop()):
                    if name not in seen:
                        seen.add(name)
                        open_files.append(name)
            self.closures[path] = seen
        return self.closures[path]

    def names(self, path):
        """(names of the file alone, names the linker sees) declared at the level of the file."""
        if path not in self.declared:
            self.declared[path] = names_of(self.text(path))
        return self.declared[path]


def logical_lines(text):
    """Declarations of column 0, each joined with its continuation up to the first bracket or end."""
    lines = text.splitlines()
    for index, line in enumerate(lines):
        if not line or line[0] in " }/*":
            continue
        joined = line
        following = index + 1
        while not re.search(r"[(=;{]|^#|^public|^namespace", joined) and following < len(lines) and following < index + 6:
            if not lines[following].startswith(" ") and not joined.startswith("template"):
                break
            joined += " " + lines[following].strip()
            following += 1
        yield index, joined


def declared_name(line):
    """Name that a declaration gives; None: it gives none, or that of a member declared elsewhere."""
    line = re.sub(r"//.*", "", STRINGS.sub('""', line))
    while re.search(r"<[^<>()]*>", line):
        line = re.sub(r"<[^<>()]*>", "", line)
    line = re.sub(r"\[\[.*?\]\]|alignas\([^)]*\)", "", line)
    using = re.match(r"using\s+(?:typename\s+)?(?:[\w:]*::)?(\w+)", line)
    if using:
        return using.group(1)
    kind = re.match(r"(?:template\s*)?(?:struct|union|class|enum(?:\s+(?:class|struct))?)\s+([\w:]+)", line)
    if kind and "(" not in line.split("{")[0]:
        return None if "::" in kind.group(1) else kind.group(1)
    if re.match(r"[A-Z][A-Z0-9_]*\s*\(", line) or line.startswith(("static_assert", "asm", "extern \"\" {")):
        return None
    head = re.split(r"\((?!\))|\(\)|(?<!operator)=(?!=)|[;{\[]" if "operator" not in line else r"\s*\((?!\)\s*\()|;", line)[0]
    found = QUALIFIED.search(head.rstrip())
    if not found or found.group(1):
        return None
    return found.group(2)


def enumerators(lines, index):
    for line in lines[index:]:
        body = line.split("{", 1)[-1] if line is lines[index] else line
        for name in re.findall(r"(?:^|[,{])\s*(\w+)\s*(?=[=,}]|$)", re.sub(r"//.*", "", body)):
            yield name
        if "}" in line:
            return


def names_of(text):
    """See Sources.names."""
    alone, linked = set(), set()
    lines = text.splitlines()
    opened = {index for index, line in enumerate(lines) if line == "namespace {"}
    closed = {index for index, line in enumerate(lines) if re.match(r"}\s*// namespace$", line)}
    inside = False
    depth = 0
    marks = {}
    for index in range(len(lines)):
        depth += index in opened
        marks[index] = depth > 0
        depth -= index in closed
    for index, line in logical_lines(text):
        if line.startswith("#define"):
            alone.add(re.match(r"#define\s+(\w+)", line).group(1))
            continue
        if line.startswith("#"):
            continue
        alias = re.match(r"namespace (\w+) = ", line)
        if alias:
            alone.add(alias.group(1))
            continue
        if line.startswith("namespace"):
            continue
        name = declared_name(line)
        inside = marks[index] or bool(re.match(r"static\b|using\b|typedef\b|(inline )?(const|constexpr)\b", line))
        target = alone if inside else linked
        if name:
            target.add(name)
        if re.match(r"enum (?!class|struct)", line):
            target.update(enumerators(lines, index))
    return alone, linked


def spoils_others(text):
    """Whether a file changes the meaning of whatever is compiled behind it."""
    return bool(re.search(r"^(using namespace|#undef|#pragma GCC)", text, re.M))
