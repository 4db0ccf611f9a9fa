"""clang-tidy over the rooms without windows; what passed is kept by content (proven.py).

Argument: --record writes down what passed.
"""
import concurrent.futures
import os
import subprocess
import sys

from proven import Proven
from source_files import ROOT, Sources

ROOMS = ("platform", "data", "midi", "script", "services", "document", "studio", "simulator")
BUILD = os.path.join(ROOT, "build-tidy")


def look_at(path, sources, proven, profile):
    """None, or what clang-tidy says."""
    key = proven.key(path, sources, [profile])
    if proven.holds(key):
        return None
    done = subprocess.run(["clang-tidy", "-quiet", "-p", BUILD, path], cwd=ROOT, capture_output=True, text=True, check=False)
    if done.returncode == 0:
        proven.note(key)
        return None
    return done.stdout or done.stderr


def main():
    made = subprocess.run(["cmake", "-S", ROOT, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug", "-DTONALITH_UNITY=OFF",
                           "-DTONALITH_GUI=OFF", "-DTONALITH_TESTS=OFF"], capture_output=True, text=True, check=False)
    if made.returncode != 0:
        print(made.stderr)
        return 1
    listed = subprocess.run(["git", "ls-files", *(room + "/*.cpp" for room in ROOMS)], cwd=ROOT, capture_output=True, text=True,
                            check=True)
    paths = [path for path in listed.stdout.split() if "/ui/" not in path]
    with open(os.path.join(ROOT, ".clang-tidy"), encoding="utf-8") as file:
        profile = file.read()
    sources = Sources()
    proven = Proven("tidy")
    for path in paths:
        sources.closure(path)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        problems = [text for text in pool.map(lambda path: look_at(path, sources, proven, profile), paths) if text]
    for text in problems:
        print(text[:3000])
    if "--record" in sys.argv and not problems:
        proven.record()
    print(f"{len(paths) - len(problems)} of {len(paths)} files are tidy")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
