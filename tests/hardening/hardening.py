#!/usr/bin/env python3
"""Reads built programs and says for each how it is hardened: hardening.py PROGRAM...|compile_commands.json

One line a program and property, "ok NAME" or "FAILED NAME: REASON"; the exit status is 1 when one failed.  Of a list of
compiler calls it says whether each has the flags that cannot be read off a program, and optimises.  `--self-check` builds a
program without any of it and one that has all, and looks whether they are told apart.
"""
import json
import os
import re
import struct
import subprocess
import sys
import tempfile

# An entry for indirect jumps, as the compiler puts it before functions: endbr64.
ENTRY = b"\xf3\x0f\x1e\xfa"


def readelf(program, *options):
    return subprocess.run(["readelf", "-W", *options, program], check=True, stdout=subprocess.PIPE,
                          env={**os.environ, "LC_ALL": "C"}).stdout.decode("utf-8", "replace")


def symbol(program, name):
    """(address, size) of a function, or None."""
    for line in readelf(program, "-s").splitlines():
        found = re.match(r"\s*\d+:\s+([0-9a-f]+)\s+(\d+)\s+FUNC\s+\S+\s+\S+\s+\d+\s+(\S+)$", line)
        if found and found[3] == name:
            return int(found[1], 16), int(found[2])
    return None


def at_address(program, address, count):
    """Bytes of a loaded address."""
    with open(program, "rb") as file:
        data = file.read()
    offset, = struct.unpack_from("<Q", data, 0x20)
    size, number = struct.unpack_from("<HH", data, 0x36)
    for i in range(number):
        kind, _, start, virtual, _, length = struct.unpack_from("<IIQQQQ", data, offset + i * size)
        if kind == 1 and virtual <= address < virtual + length:
            return data[start + address - virtual:start + address - virtual + count]
    return b""


def properties(program):
    """{property: reason it is missing, or ''} of one program."""
    header, segments, dynamic = readelf(program, "-h"), readelf(program, "-l"), readelf(program, "-d")
    imported = set(re.findall(r"\bUND (\S+?)(?:@\S+)?(?: \(\d+\))?$", readelf(program, "--dyn-syms"), re.M))
    main = symbol(program, "main")
    stack = re.search(r"GNU_STACK\s+\S+ \S+ \S+ \S+ \S+ (\S+)", segments)
    return {
        "position independent": "" if re.search(r"Type:\s+DYN", header) and "INTERP" in segments else "no PIE",
        "relocations read-only": "" if "GNU_RELRO" in segments else "no GNU_RELRO segment",
        "bound at start": "" if re.search(r"\bNOW\b", dynamic) or "BIND_NOW" in dynamic else "no BIND_NOW",
        "stack not executable": "" if stack and "E" not in stack[1] else "GNU_STACK is executable or missing",
        "nothing writable and executable": "E" if re.search(r"LOAD\s.* RWE ", segments) else "",
        "no search path": "RPATH or RUNPATH is set" if re.search(r"\((RPATH|RUNPATH)\)", dynamic) else "",
        "stack protected": "" if "__stack_chk_fail" in imported else "nothing calls __stack_chk_fail",
        "checked functions": "" if any(re.fullmatch(r"__\w+_chk", name) and name != "__stack_chk_fail"
                                       for name in imported) else "no function of the C library is the checked one",
        "containers checked": "" if any("__glibcxx_assert_fail" in name for name in imported)
                              else "no container checks its bounds",
        "entries marked": "" if main and at_address(program, main[0], 4) == ENTRY else "main does not begin with endbr64",
    }


CALL_FLAGS = ["-O2", "-fstack-clash-protection", "-fcf-protection=full", "-fstack-protector-strong", "-Wformat=2",
              "-Wformat-security", "-Werror", "-D_GLIBCXX_ASSERTIONS"]


def calls(file):
    """As properties(), for a compile_commands.json."""
    with open(file, encoding="utf-8") as stream:
        commands = [entry["command"].split() for entry in json.load(stream)]
    return {f"calls of the compiler have {flag}":
            "" if commands and all(flag in words for words in commands) else "one has not" for flag in CALL_FLAGS}


def examine(programs):
    good = True
    for program in programs:
        name = os.path.basename(program)
        found = calls(program) if name.endswith(".json") else properties(program)
        for what, missing in found.items():
            good = good and not missing
            print(f"FAILED {name} {what}: {missing}" if missing else f"ok {name} {what}")
    return good


SAMPLE = """#include <cstdio>
#include <cstring>
#include <vector>
int main(int count, char** words) {
  char text[64];
  std::strcpy(text, words[0]);
  std::vector<int> numbers(static_cast<unsigned>(count));
  numbers[static_cast<unsigned>(std::strlen(text)) % 7]++;
  return std::printf("%s %d", text, numbers[0]);
}
"""


def self_check():
    hard = ["-O2", "-fPIE", "-pie", "-fstack-protector-strong", "-U_FORTIFY_SOURCE", "-D_FORTIFY_SOURCE=2",
            "-D_GLIBCXX_ASSERTIONS", "-fcf-protection=full", "-Wl,-z,relro,-z,now,-z,noexecstack"]
    soft = ["-O2", "-fno-pie", "-no-pie", "-fno-stack-protector", "-U_FORTIFY_SOURCE", "-fcf-protection=none",
            "-Wl,-z,norelro,-z,lazy,-z,execstack,-rpath,/tmp"]
    with tempfile.TemporaryDirectory() as folder:
        source = os.path.join(folder, "sample.cpp")
        with open(source, "w", encoding="ascii") as file:
            file.write(SAMPLE)
        found = []
        for flags in (hard, soft):
            program = os.path.join(folder, "sample")
            subprocess.run(["c++", *flags, source, "-o", program], check=True)
            found.append(properties(program))
    wrong = [what for what, missing in found[0].items() if missing]
    unseen = [what for what, missing in found[1].items() if not missing and what != "nothing writable and executable"]
    for what in wrong:
        print(f"FAILED self-check: a hardened program is said to lack: {what}")
    for what in unseen:
        print(f"FAILED self-check: a soft program is said to have: {what}")
    if not wrong and not unseen:
        print("ok self-check")
    return not wrong and not unseen


if __name__ == "__main__":
    arguments = sys.argv[1:]
    if not arguments:
        sys.exit(__doc__)
    sys.exit(0 if (self_check() if arguments == ["--self-check"] else examine(arguments)) else 1)
