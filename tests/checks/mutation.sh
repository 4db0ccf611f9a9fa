#!/usr/bin/env bash
# The mutation sample finds every kind of change in a source, and leaves texts and comments alone.
set -eu
cd "$(dirname "$(readlink -f "$0")")/../mutation"
PYTHONDONTWRITEBYTECODE=1 python3 - <<'PYTHON'
import os
import mutants
import sample

SOURCE = '''#include <a> // 1 < 2
static_assert(sizeof(int) == 4 && true);
int Sum(int first, int second) {
  if (first < 10 && Call("a < 1", second)) return 0;
  total += first;  // a + b
  for (int i = 0; i < 3; ++i) Put(i, second);
  return first + second;
}
'''
found = sorted({f"{mutants.line_of(SOURCE, m)} {m.kind}: {mutants.shown(SOURCE, m)}" for m in mutants.mutants_of(SOURCE)})
wanted = '''4 arguments: "a < 1", second  ->  second, "a < 1"
4 bound: <  ->  <=
4 condition: first < 10 && Call("a < 1", second)  ->  !(first < 10 && Call("a < 1", second))
4 constant: 0  ->  1
4 constant: 10  ->  11
4 constant: 10  ->  9
4 logical: &&  ->  ||
4 relational: <  ->  >
4 statement: return 0;  ->  ;
5 arithmetic: +=  ->  -=
5 statement: total += first;  ->  ;
6 arguments: i, second  ->  second, i
6 bound: <  ->  <=
6 constant: 0  ->  1
6 constant: 3  ->  2
6 constant: 3  ->  4
6 relational: <  ->  >
6 statement: Put(i, second);  ->  ;
7 arithmetic: +  ->  -
7 statement: return first + second;  ->  ;'''.split("\n")
assert found == wanted, "\n".join(sorted(set(found) ^ set(wanted)))

# A line that changed since takes its equivalent change out of the list; that is no failure, only a larger sample.
for name, line, change in sample.equivalents():
    with open(os.path.join(sample.ROOT, name), encoding="utf-8") as file:
        text = file.read()
    if (name, line, change) not in {sample.key_of(name, text, m) for m in mutants.mutants_of(text)}:
        print(f"equivalent.txt: no longer in {name}: {line}")
assert sum(sample.parts(list(sample.ROOMS), 150).values()) == 150
PYTHON
