"""Finds where a C++ source can be changed so that it still compiles but means something else.

Works on the text, not on a syntax tree: the sources are laid out by clang-format, so a binary operator has a blank on
each side and a statement starts its line.  What does not compile after all is passed over by sample.py.
"""
import re
from dataclasses import dataclass


@dataclass(frozen=True)
class Mutant:
    kind: str
    start: int  # of the replaced text
    end: int
    new: str


def masked(text):
    """The text with comments, literals of text, preprocessor lines and what only the compiler checks blanked, character by
    character."""
    out = list(text)

    def blank(start, end):
        for k in range(start, min(end, len(out))):
            if out[k] != "\n":
                out[k] = " "

    pattern = re.compile(r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<![0-9A-Fa-f])\'(?:\\.|[^\'\\\n])+\''
                         r'|^[ \t]*#(?:[^\n]*\\\n)*[^\n]*|static_assert\([^;]*;', re.S | re.M)
    for found in pattern.finditer(text):
        blank(found.start(), found.end())
    return "".join(out)


def closing(code, at):
    """Index of the bracket that closes the one at `at`, or -1."""
    depth = 0
    for k in range(at, len(code)):
        if code[k] in "([{":
            depth += 1
        elif code[k] in ")]}":
            depth -= 1
            if depth == 0:
                return k
    return -1


SWAPS = {
    "relational": {"<": ">", ">": "<", "<=": ">=", ">=": "<=", "==": "!=", "!=": "=="},
    "bound": {"<": "<=", "<=": "<", ">": ">=", ">=": ">"},
    "arithmetic": {"+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "<<": ">>", ">>": "<<", "&": "|", "|": "&",
                   "^": "|", "+=": "-=", "-=": "+=", "|=": "&=", "&=": "|=", "^=": "|="},
    "logical": {"&&": "||", "||": "&&"},
}
CONSTANT = re.compile(r"(?<![\w.'])(0[xX][0-9A-Fa-f]+|\d+)(?=[uUlL]*(?![\w.']))")
CONDITION = re.compile(r"\b(if|while) \(")
CALL = re.compile(r"\b([A-Za-z_]\w*)\(")
STATEMENT = re.compile(r"(?:(?:return|break|continue)\b[^;]*|(?:\+\+|--|\*)?[A-Za-z_(][\w:.\[\]()>*-]*?"
                       r"(?: [-+*/%&|^]?=| <<=| >>=|\(|\+\+|--)[^;]*);")
DECLARATION = re.compile(r"(?:const |constexpr |static |auto\b|using |return \{|[\w:]+(?:<[^()]*>)?[&*]* [&*]?\w+\()")
COMMUTATIVE = {"min", "max", "switch", "if", "for", "while", "sizeof", "decltype"}


def operators(code):
    for found in re.finditer(r" (<=|>=|==|!=|&&|\|\||<<|>>|[-+*/%&|^]=|[-<>+*/%&|^]) ", code):
        for kind, swaps in SWAPS.items():
            if found.group(1) in swaps:
                yield Mutant(kind, found.start(1), found.end(1), swaps[found.group(1)])


def constants(code):
    for found in CONSTANT.finditer(code):
        text = found.group(1)
        value = int(text, 16) if text[:2].lower() == "0x" else int(text)
        for other in (value + 1, value - 1):
            if other >= 0:
                yield Mutant("constant", found.start(1), found.end(1), hex(other) if text[:2].lower() == "0x" else str(other))


def conditions(code):
    for found in CONDITION.finditer(code):
        end = closing(code, found.end() - 1)
        start = max(found.end(), code.rfind(";", found.end(), end) + 1)
        if end > 0:
            yield Mutant("condition", start, end, f"!({code[start:end].strip()})")


def statements(code):
    at = 0
    for line in code.split("\n"):
        text = line.strip()
        before = code[:at].rstrip()[-1:]
        start = at + len(line) - len(line.lstrip())
        guard = re.match(r"(?:\} else )?(?:if|for|while) \(|else ", text)
        if guard and before in "{};:)":
            end = start + guard.end()
            if not text[guard.end() - 1] == " ":
                end = closing(code, start + guard.end() - 1) + 1
            body = code[end:at + len(line)].strip()
            if STATEMENT.fullmatch(body) and not body.startswith("if "):
                yield Mutant("statement", at + line.rindex(body), at + line.rindex(body) + len(body), ";")
        elif line[:1] == " " and before and before in "{};:" and not DECLARATION.match(text):
            end = code.find(";", start) + 1
            whole = code[start:end]
            if end > 0 and whole.count("\n") < 4 and whole.count("(") == whole.count(")") and STATEMENT.fullmatch(whole):
                yield Mutant("statement", start, end, ";")
        at += len(line) + 1


def arguments(code):
    for found in CALL.finditer(code):
        line = code[code.rfind("\n", 0, found.start()) + 1:found.start()]
        end = closing(code, found.end() - 1)
        if found.group(1) in COMMUTATIVE or not line.startswith(" ") or end < 0 or end - found.end() > 300:
            continue
        parts, depth, last = [], 0, found.end()
        for k in range(found.end(), end + 1):
            depth += (code[k] in "([{") - (code[k] in ")]}")
            if (code[k] == "," and depth == 0) or k == end:
                parts.append((last, k))
                last = k + 1
        texts = [code[a:b].strip() for a, b in parts]
        if any(re.match(r"(?:const )?[\w:]+(?:<.*>)?[&*]* [&*]*\w+(?: = .*)?$", text) for text in texts):
            continue  # a declaration
        for first, second in zip(parts, parts[1:]):
            a, b = code[first[0]:first[1]].strip(), code[second[0]:second[1]].strip()
            if a != b:
                yield Mutant("arguments", first[0], second[1], f"{b}, {a}")


FINDERS = (operators, constants, conditions, statements, arguments)


def mutants_of(text):
    """Every mutant of a source; conditions and arguments with literals of text in them take them from the source."""
    code = masked(text)
    for finder in FINDERS:
        for mutant in finder(code):
            yield restore(mutant, text, code)


def restore(mutant, text, code):
    if mutant.kind == "condition":
        return Mutant(mutant.kind, mutant.start, mutant.end, f"!({text[mutant.start:mutant.end].strip()})")
    if mutant.kind == "arguments":
        depth = 0
        for k in range(mutant.start, mutant.end):
            depth += (code[k] in "([{") - (code[k] in ")]}")
            if code[k] == "," and depth == 0:
                return Mutant(mutant.kind, mutant.start, mutant.end,
                              f"{text[k + 1:mutant.end].strip()}, {text[mutant.start:k].strip()}")
    return mutant


def apply(text, mutant):
    return text[:mutant.start] + mutant.new + text[mutant.end:]


def line_of(text, mutant):
    return text.count("\n", 0, mutant.start) + 1


def shown(text, mutant):
    """The change in a line: what was there, what is there now."""
    short = lambda part: " ".join(part.split())[:70]
    return f"{short(text[mutant.start:mutant.end])}  ->  {short(mutant.new)}"
