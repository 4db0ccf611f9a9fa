"""Runs the stages of ./test and counts the single tests of all of them.

A stage yields (name, passed) pairs; programs built on GoogleTest are counted test by test from their XML report.  A
stage that cannot run on this machine is skipped with its reason.  The last line is "N passed, N failed".
"""
import glob
import os
import subprocess
import sys
import time
import xml.etree.ElementTree as ElementTree

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
JOBS = str(os.cpu_count() or 2)
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
    lines = [line for line in output.splitlines() if line.startswith(("FAILED", "again"))][:40]
    return "\n".join(lines + ["..."] * bool(lines)) + "\n" * bool(lines) + output[-length:]


def build(preset, *targets):
    folder = "build" if preset == "default" else f"build-{preset}"
    start = time.time()
    ok, output = call(["cmake", "--preset", preset])
    if ok:
        ok, output = call(["ninja", "-C", folder, *targets], timeout=3000)
    note(f"build {preset}", ok, output[-6000:])
    print(f"built {preset} in {time.time() - start:.0f} s", flush=True)
    return folder if ok else None


def gtest_programs(folder, label, names=None, env=None):
    programs = sorted(glob.glob(os.path.join(ROOT, folder, "bin", "test_*")))
    for program in programs:
        short = os.path.basename(program)
        if names is not None and short not in names:
            continue
        report = os.path.join(ROOT, folder, short + ".xml")
        if os.path.exists(report):
            os.remove(report)
        full = {"QT_QPA_PLATFORM": "offscreen", "QT_LOGGING_RULES": "qt.qpa.*=false", "XDG_RUNTIME_DIR": runtime_folder()}
        full.update(env or {})
        start = time.time()
        ok, output = call([program, f"--gtest_output=xml:{report}"], timeout=1500, env=full)
        count = count_report(report, f"{label} {short}")
        if not ok:
            note(f"{label} {short}", False, output[-6000:])
        print(f"{label} {short}: {count} tests, {time.time() - start:.1f} s", flush=True)


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


def runtime_folder():
    folder = os.path.join(ROOT, "build", "runtime")
    os.makedirs(folder, mode=0o700, exist_ok=True)
    os.chmod(folder, 0o700)
    return folder


def stage_default():
    """Everyday build, all test programs"""
    folder = build("default")
    if folder:
        gtest_programs(folder, "default")


def stage_style():
    """Formatting and static checks"""
    ok, files = call(["git", "ls-files", "*.h", "*.cpp"])
    sources = [name for name in files.split() if os.path.exists(os.path.join(ROOT, name))]
    ok, output = call(["clang-format", "--dry-run", "-Werror", *sources])
    note("clang-format", ok, output[-3000:])
    if os.path.exists(os.path.join(ROOT, "build", "compile_commands.json")):
        ok, output = call([os.path.join(ROOT, "tools", "tidy.sh")], timeout=1800)
        note("clang-tidy", ok, output[-6000:])
    for script in sorted(glob.glob(os.path.join(ROOT, "tests", "checks", "*.sh"))):
        ok, output = call(["bash", script], timeout=900)
        last = output.strip().splitlines()[-1] if output.strip() else ""
        if ok and last.startswith("skipped"):
            skip(os.path.basename(script), last.partition(":")[2].strip())
        else:
            note(os.path.basename(script), ok, output[-4000:])


def stage_hardened():
    """What users get: the optimised programs, installed, hardened and at work"""
    folder = build("run", "tonalith", "tonalith-cli", "modules", "share")
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


def stage_alone():
    """Every source file and every header compiled alone"""
    ok, output = call(["cmake", "-S", ".", "-B", "build-alone", "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                       "-DTONALITH_UNITY=OFF", "-DTONALITH_BENCHMARKS=ON"])
    if ok:
        start = time.time()
        ok, output = call([sys.executable, os.path.join("tools", "compile_alone.py"), "build-alone"], timeout=1800)
        print(f"{output.strip().splitlines()[-1] if output.strip() else ''}, {time.time() - start:.0f} s", flush=True)
    note("files compile alone", ok, output[-6000:])


def stage_asan():
    """All test programs under AddressSanitizer and UBSan"""
    folder = build("asan")
    if folder:
        suppress = os.path.join(ROOT, "tests", "lsan.supp")
        gtest_programs(folder, "asan", env={"ASAN_OPTIONS": "detect_leaks=1:allocator_may_return_null=1",
                                            "LSAN_OPTIONS": f"suppressions={suppress}:print_suppressions=0",
                                            "UBSAN_OPTIONS": "print_stacktrace=1"})


def stage_tsan():
    """Transport, transfer and services under ThreadSanitizer"""
    names = ["test_platform", "test_midi", "test_transfer", "test_services"]
    folder = build("tsan", *names)
    if folder:
        gtest_programs(folder, "tsan", names, env={"TSAN_OPTIONS": "halt_on_error=1:second_deadlock_stack=1"})


def stage_fuzz():
    """Every parser and the interpreter, a fixed number of inputs each from one seed (TONALITH_FUZZ_SEED: another)"""
    folder = build("fuzz")
    if not folder:
        return
    seed = os.environ.get("TONALITH_FUZZ_SEED", "1")
    for program in sorted(glob.glob(os.path.join(ROOT, folder, "bin", "fuzz_*"))):
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


def stage_gallery():
    """Pictures of the parts of windows and of every window, in both palettes at 100 and 200 percent, long texts too"""
    folder = build("default", "test_style", "test_windows")
    if not folder:
        return
    for name, program, tests in (("gallery", "test_style", "Gallery.*"), ("windows", "test_windows", "*EveryWindow*")):
        pictures = os.path.join(ROOT, folder, "artefacts", name, "*.png")
        for picture in glob.glob(pictures):
            os.remove(picture)
        ok, output = call([os.path.join(ROOT, folder, "bin", program), f"--gtest_filter={tests}"], timeout=300,
                          env={"QT_QPA_PLATFORM": "offscreen", "QT_LOGGING_RULES": "qt.qpa.*=false",
                               "XDG_RUNTIME_DIR": runtime_folder()})
        count = len(glob.glob(pictures))
        note(f"pictures of {name}", ok and count > 0, output[-3000:])
        print(f"{count} pictures in {os.path.dirname(pictures)}", flush=True)


def stage_scripts():
    """End-to-end runs: the program in a window, jackd, the ALSA machine, foreign programs"""
    for script in sorted(glob.glob(os.path.join(ROOT, "tests", "end_to_end", "*.sh"))):
        start = time.time()
        ok, output = call(["bash", script], timeout=1500, env={"XDG_RUNTIME_DIR": runtime_folder()},
                          log=os.path.join(ROOT, "build", os.path.basename(script) + ".log"))
        last = output.strip().splitlines()[-1] if output.strip() else ""
        name = os.path.basename(script)
        if ok and last.startswith("skipped"):
            skip(name, last.partition(":")[2].strip())
        else:
            note(name, ok, what_failed(output))
        print(f"{name}: {time.time() - start:.1f} s", flush=True)


STAGES = {"default": stage_default, "gallery": stage_gallery, "style": stage_style, "alone": stage_alone,
          "scripts": stage_scripts, "hardened": stage_hardened, "asan": stage_asan, "tsan": stage_tsan, "fuzz": stage_fuzz}


def main(arguments):
    if "--list" in arguments:
        for name, stage in STAGES.items():
            print(f"{name}: {stage.__doc__}")
        return 0
    wanted = arguments or list(STAGES)
    start = time.time()
    for name in wanted:
        if name not in STAGES:
            print(f"There is no stage '{name}'; ./test --list names them.", file=sys.stderr)
            return 2
        print(f"== {name}: {STAGES[name].__doc__}", flush=True)
        STAGES[name]()
    print(f"{time.time() - start:.0f} s")
    for name in failed:
        print(f"failed: {name}")
    print(f"{len(passed)} passed, {len(failed)} failed, {len(skipped)} skipped" if skipped
          else f"{len(passed)} passed, {len(failed)} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
