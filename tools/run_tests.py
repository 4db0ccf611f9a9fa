"""Runs the stages of ./test and counts the single tests of all of them.

A stage yields (name, passed) pairs; programs built on GoogleTest are counted test by test from their XML report.  A
stage that cannot run on this machine is skipped with its reason.  The last line is "N passed, N failed".

Most tests wait for cables and clocks more than they compute.  So several run at a time, and what later stages need is built
meanwhile with the processor time that nobody else wants.
"""
import concurrent.futures
import glob
import os
import shutil
import subprocess
import sys
import time
import xml.etree.ElementTree as ElementTree

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
AT_A_TIME = 2 * (os.cpu_count() or 2)
# Programs that take longest are run in parts, first.
PARTS = {"test_windows": 12, "test_fault_table": 6, "test_cli": 5, "test_instruments": 3, "test_chart": 3, "test_studio": 2}
# What the optimised build is made of; its tests are those that a sanitizer slows down or has no room for, and those of speed.
INSTALLED = ["tonalith", "tonalith-cli", "modules", "share"]
PEERS = ["midi_peer", "midi_matrix", "midi_faults", "midi_alsa_faults"] + ["hexter_host"] * os.path.exists("/usr/include/dssi.h")
OPTIMISED_TESTS = ["test_windows", "test_chart", "test_cli", "test_house", "test_platform"]
TSAN_TESTS = ["test_platform", "test_midi", "test_transfer", "test_services"]
# Not worth a sanitizer's time: it reads the sources.
NOT_UNDER_ASAN = ["test_house"]
# Scripts with sound servers and machines of their own: one at a time.
SERVER_SCRIPTS = ("20_", "22_", "30_", "40_", "50_")
IDLE = ["chrt", "-i", "0"] if shutil.which("chrt") else ["nice", "-n", "19"]
ahead = concurrent.futures.ThreadPoolExecutor(1)
prepared = {}
passed = []
failed = []
skipped = []


def note(name, ok, detail=""):
    (passed if ok else failed).append(name)
    if not ok:
        print(f"FAILED {name}" + (f"\n{detail}" if detail else ""), flush=True)


def skip(name, reason):
    skipped.append(name)
    print(f"skipped {name}: {reason}", flush=True)


def call(command, timeout=1800, env=None, log=None):
    """Runs a command; returns (ok, output). Never waits longer than the timeout."""
    full = dict(os.environ)
    full.update(env or {})
    try:
        done = subprocess.run(command, cwd=ROOT, env=full, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              stdin=subprocess.DEVNULL, timeout=timeout, check=False)
        output = done.stdout.decode("utf-8", "replace")
        ok = done.returncode == 0
    except subprocess.TimeoutExpired as error:
        output = (error.stdout or b"").decode("utf-8", "replace") + f"\nended after {timeout} s"
        ok = False
    if log:
        with open(log, "w", encoding="utf-8") as file:
            file.write(output)
    return ok, output


def what_failed(output, length=6000):
    """The lines that say so first, for whoever shows only the beginning, then the end of the output."""
    tells = ("FAILED", "again", "[  FAILED")
    lines = [line for line in output.splitlines() if line.startswith(tells) or ": Failure" in line or "ERROR: " in line][:40]
    return "\n".join(lines + ["..."] * bool(lines)) + "\n" * bool(lines) + output[-length:]


def prepare(name, work, *arguments):
    """Has `work` done before or while somebody needs it; the first call decides the arguments."""
    if name not in prepared:
        prepared[name] = ahead.submit(work, *arguments)
    return prepared[name]


# What each preset is built for; nothing stands for everything.
TARGETS = {"run": INSTALLED + PEERS + OPTIMISED_TESTS, "tsan": TSAN_TESTS}


def build(preset):
    """The folder of what was built, None when it could not be."""
    return prepare(preset, make, preset).result()


def make(preset):
    folder = "build" if preset == "default" else f"build-{preset}"
    start = time.time()
    ok, output = call([*IDLE, "cmake", "--preset", preset])
    if ok:
        ok, output = call([*IDLE, "ninja", "-C", folder, *TARGETS.get(preset, [])], timeout=3000)
    note(f"build {preset}", ok, output[-6000:])
    print(f"built {preset} in {time.time() - start:.0f} s", flush=True)
    return folder if ok else None


def gtest_programs(folder, label, names=None, env=None):
    """Runs the test programs of a folder, the long ones in parts."""
    runs = []
    for program in sorted(glob.glob(os.path.join(ROOT, folder, "bin", "test_*"))):
        short = os.path.basename(program)
        if names is None or short in names:
            parts = PARTS.get(short, 1)
            runs += [(program, f"{short} {part + 1}/{parts}", part, parts) for part in range(parts)]
    runs.sort(key=lambda run: -run[3])

    def one(run):
        program, name, part, parts = run
        report = os.path.join(ROOT, folder, name.replace(" ", "-").replace("/", "-of-") + ".xml")
        if os.path.exists(report):
            os.remove(report)
        full = {"QT_QPA_PLATFORM": "offscreen", "QT_LOGGING_RULES": "qt.qpa.*=false",
                "XDG_RUNTIME_DIR": runtime_folder(folder + name.replace(" ", "-").replace("/", "-")),
                "GTEST_TOTAL_SHARDS": str(parts), "GTEST_SHARD_INDEX": str(part)}
        full.update(env or {})
        start = time.time()
        ok, output = call([program, f"--gtest_output=xml:{report}"], timeout=1500, env=full)
        count = count_report(report, f"{label} {os.path.basename(program)}")
        if not ok:
            note(f"{label} {name}", False, what_failed(output))
        print(f"{label} {name}: {count} tests, {time.time() - start:.1f} s", flush=True)

    with concurrent.futures.ThreadPoolExecutor(AT_A_TIME) as pool:
        list(pool.map(one, runs))


def count_report(report, label):
    try:
        tree = ElementTree.parse(report)
    except (OSError, ElementTree.ParseError):
        return 0
    count = 0
    for case in tree.iter("testcase"):
        name = f"{label} {case.get('classname')}.{case.get('name')}"
        count += 1
        if case.find("failure") is not None:
            failed.append(name)
        elif case.get("result") == "skipped" or case.get("status") == "notrun":
            reason = case.find("skipped")
            skip(name, (reason.get("message", "").strip().splitlines() or ["no reason"])[-1] if reason is not None else "not run")
        else:
            passed.append(name)
    return count


def runtime_folder(name="runtime"):
    folder = os.path.join(ROOT, "build", "run-time", name)
    os.makedirs(folder, mode=0o700, exist_ok=True)
    os.chmod(folder, 0o700)
    return folder


def stage_default():
    """Everyday build, all test programs (by name only: asan runs the same tests)"""
    folder = build("default")
    if folder:
        gtest_programs(folder, "default")


def stage_speed():
    """Windows and what else a sanitizer is too slow for, in the optimised build"""
    folder = build("run")
    if folder:
        gtest_programs(folder, "optimised", OPTIMISED_TESTS)


def tidy():
    return call([*IDLE, sys.executable, os.path.join("tools", "tidy.py")], timeout=2400)


def stage_style():
    """Formatting and static checks"""
    ok, files = call(["git", "ls-files", "*.h", "*.cpp"])
    sources = [name for name in files.split() if os.path.exists(os.path.join(ROOT, name))]
    ok, output = call(["clang-format", "--dry-run", "-Werror", *sources])
    note("clang-format", ok, output[-3000:])
    for script in sorted(glob.glob(os.path.join(ROOT, "tests", "checks", "*.sh"))):
        ok, output = call(["bash", script], timeout=900)
        last = output.strip().splitlines()[-1] if output.strip() else ""
        if ok and last.startswith("skipped"):
            skip(os.path.basename(script), last.partition(":")[2].strip())
        else:
            note(os.path.basename(script), ok, output[-4000:])
    ok, output = prepare("tidy", tidy).result()
    note("clang-tidy", ok, output[-6000:])


def stage_hardened():
    """What users get: the optimised programs, installed, hardened and at work"""
    folder = build("run")
    if not folder:
        return
    installed = os.path.join(ROOT, folder, "installed")
    ok, output = call(["cmake", "--install", folder, "--prefix", installed])
    note("install", ok, output[-3000:])
    check = os.path.join(ROOT, "tests", "hardening", "hardening.py")
    programs = [os.path.join(where, name) for where in (os.path.join(ROOT, folder, "bin"), os.path.join(installed, "bin"))
                for name in ("tonalith", "tonalith-cli")]
    for arguments in (["--self-check"], programs, [os.path.join(ROOT, folder, "compile_commands.json")]):
        ok, output = call(["/usr/bin/python3", check, *arguments])
        lines = [line for line in output.splitlines() if line.startswith(("ok ", "FAILED "))]
        for line in lines:
            note("hardening: " + line.partition(" ")[2], line.startswith("ok "))
        if not lines or (not ok and all(line.startswith("ok ") for line in lines)):
            note("hardening", False, output[-3000:])
    ok, output = call(["bash", os.path.join(ROOT, "tests", "end_to_end", "10_demo.sh")], timeout=900,
                      env={"TONALITH_BIN": os.path.join(installed, "bin"), "XDG_RUNTIME_DIR": runtime_folder()})
    note("the demo with the installed programs", ok, output[-3000:])


def compiled_alone():
    ok, output = call(["cmake", "-S", ".", "-B", "build-alone", "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                       "-DTONALITH_UNITY=OFF", "-DTONALITH_BENCHMARKS=ON"])
    if ok:
        ok, output = call([*IDLE, sys.executable, os.path.join("tools", "compile_alone.py"), "build-alone"], timeout=2400)
    return ok, output


def stage_alone():
    """Every source file and every header compiled alone"""
    ok, output = prepare("alone", compiled_alone).result()
    print(output.strip().splitlines()[-1] if output.strip() else "", flush=True)
    note("files compile alone", ok, output[-6000:])


def stage_asan():
    """All test programs under AddressSanitizer and UBSan"""
    folder = build("asan")
    if folder:
        suppress = os.path.join(ROOT, "tests", "lsan.supp")
        for name in ("gallery", "windows"):
            for picture in glob.glob(os.path.join(ROOT, folder, "artefacts", name, "*.png")):
                os.remove(picture)
        names = {os.path.basename(path) for path in glob.glob(os.path.join(ROOT, folder, "bin", "test_*"))} - set(NOT_UNDER_ASAN)
        gtest_programs(folder, "asan", names, env={"ASAN_OPTIONS": "detect_leaks=1:allocator_may_return_null=1",
                                            "LSAN_OPTIONS": f"suppressions={suppress}:print_suppressions=0",
                                            "UBSAN_OPTIONS": "print_stacktrace=1"})


def stage_tsan():
    """Transport, transfer and services under ThreadSanitizer"""
    folder = build("tsan")
    if folder:
        gtest_programs(folder, "tsan", TSAN_TESTS, env={"TSAN_OPTIONS": "halt_on_error=1:second_deadlock_stack=1"})


def stage_fuzz():
    """Every parser and the interpreter, a fixed number of inputs each from one seed (TONALITH_FUZZ_SEED: another)"""
    folder = build("fuzz")
    if not folder:
        return
    seed = os.environ.get("TONALITH_FUZZ_SEED", "1")

    def one(program):
        short = os.path.basename(program)
        corpus = os.path.join(ROOT, folder, "corpus", short)
        os.makedirs(corpus, exist_ok=True)
        command = [program, f"-seed={seed}", "-runs=200000", "-max_total_time=12", "-timeout=10", "-rss_limit_mb=1024",
                   "-malloc_limit_mb=512", "-print_final_stats=0", "-verbosity=0", corpus]
        seeds = os.path.join(ROOT, "fuzz", "corpus", short)
        if os.path.isdir(seeds):
            command.append(seeds)
        ok, output = call(command, timeout=300, env={"ASAN_OPTIONS": "detect_leaks=1"})
        note(short, ok, output[-4000:])

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        list(pool.map(one, sorted(glob.glob(os.path.join(ROOT, folder, "bin", "fuzz_*")))))


def stage_gallery():
    """Pictures in both palettes at 100 and 200 percent, long texts too, were made by asan's tests"""
    for name in ("gallery", "windows"):
        pictures = os.path.join(ROOT, "build-asan", "artefacts", name)
        count = len(glob.glob(os.path.join(pictures, "*.png")))
        note(f"pictures of {name}", count > 0)
        print(f"{count} pictures in {pictures}", flush=True)


def stage_scripts():
    """End-to-end runs: the program in a window, jackd, the ALSA machine, foreign programs"""
    folder = build("run")
    if not folder:
        return
    os.makedirs(os.path.join(ROOT, "build"), exist_ok=True)

    def one(script):
        name = os.path.basename(script)
        start = time.time()
        ok, output = call(["bash", script], timeout=1500,
                          env={"XDG_RUNTIME_DIR": runtime_folder(name), "TONALITH_BIN": os.path.join(ROOT, folder, "bin")},
                          log=os.path.join(ROOT, "build", name + ".log"))
        last = output.strip().splitlines()[-1] if output.strip() else ""
        if ok and last.startswith("skipped"):
            skip(name, last.partition(":")[2].strip())
        else:
            note(name, ok, what_failed(output))
        print(f"{name}: {time.time() - start:.1f} s", flush=True)

    scripts = sorted(glob.glob(os.path.join(ROOT, "tests", "end_to_end", "*.sh")))
    lanes = ([script for script in scripts if os.path.basename(script).startswith(SERVER_SCRIPTS)],
             [script for script in scripts if not os.path.basename(script).startswith(SERVER_SCRIPTS)])
    with concurrent.futures.ThreadPoolExecutor(len(lanes)) as pool:
        list(pool.map(lambda lane: [one(script) for script in lane], lanes))


STAGES = {"default": stage_default, "hardened": stage_hardened, "scripts": stage_scripts, "speed": stage_speed, "asan": stage_asan,
          "gallery": stage_gallery, "style": stage_style, "alone": stage_alone, "tsan": stage_tsan, "fuzz": stage_fuzz}
ALL = [name for name in STAGES if name != "default"]


# What the stages need made before they can run, in the order of the stages.
WORKS = {"hardened": ("run", make, "run"), "scripts": ("run", make, "run"), "speed": ("run", make, "run"),
         "asan": ("asan", make, "asan"), "alone": ("alone", compiled_alone), "style": ("tidy", tidy),
         "tsan": ("tsan", make, "tsan"), "fuzz": ("fuzz", make, "fuzz"), "default": ("default", make, "default")}


def main(arguments):
    if "--list" in arguments:
        for name, stage in STAGES.items():
            print(f"{name}: {stage.__doc__}")
        return 0
    wanted = arguments or ALL
    start = time.time()
    unknown = [name for name in wanted if name not in STAGES]
    if unknown:
        print(f"There is no stage '{unknown[0]}'; ./test --list names them.", file=sys.stderr)
        return 2
    for name in wanted:
        if name in WORKS:
            prepare(*WORKS[name])
    for name in wanted:
        print(f"== {name}: {STAGES[name].__doc__}", flush=True)
        STAGES[name]()
        print(f"   {time.time() - start:.0f} s since the start", flush=True)
    for name in failed:
        print(f"failed: {name}")
    print(f"{len(passed)} passed, {len(failed)} failed, {len(skipped)} skipped" if skipped
          else f"{len(passed)} passed, {len(failed)} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
