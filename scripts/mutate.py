"""Plants single faults in the lines of the program and tells which of them no test notices.

Usage: scripts/mutate [FOLDER] [--sample N] [--seed S] [--survivors] [--list]

FOLDER       of src/: "store", "window/past"; "pages" for the scripts of the browser's pages. All where none is given.
--sample N   so many faults, drawn over the folders in proportion to what can be planted there. All where it is missing.
--seed S     of the draw; a number, 1 where it is missing
--survivors  tries those again that survived before, to see whether new tests notice them
--list       only says what would be planted

All faults of the program are compiled in at once, behind a switch, in a copy of the tree under build/mutate; which
tests reach which fault is measured once. Then each fault is switched on in turn, and the tests that reach it run:
those of its own folder first, then the others. A fault counts as killed when a test fails twice, or takes five
times as long and ten seconds more. What was found is kept as long as neither the program nor its tests change, so that
a run that was broken off goes on where it stopped.
"""
import argparse
import collections
import concurrent.futures
import dataclasses
import hashlib
import json
import os
import pathlib
import random
import re
import signal
import subprocess
import sys
import tempfile
import time

sys.dont_write_bytecode = True  # the tree stays as it is
import planting  # noqa: E402

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutate"
TREE = WORK / "tree"
BUILD = WORK / "build"
MOST_IN_A_FILE = 512
PAGE_ROAD = ("src/web/web_pages.cpp", "return QByteArray::fromRawData(reinterpret_cast<const char*>(resource.data()), "
             "resource.size());")
# The scripts of the pages carry their faults to the browser as numbers; the program puts the chosen one in.
PAGE_SWITCHED = ("return QByteArray(reinterpret_cast<const char*>(resource.data()), resource.size())"
                 ".replace(\"PLANTED_FAULT\", [&] { planted::ReachPage(file); "
                 "return QByteArray::number(planted::chosen); }());")


def sources():
    names = subprocess.check_output(["git", "ls-files", "--cached", "--others", "--exclude-standard"],
                                    cwd=ROOT, text=True).splitlines()
    return sorted(name for name in names if (ROOT / name).is_file())


def folder_of(path):
    if "/pages/" in path:
        return "pages"
    return path.split("/")[1]


def planted_faults(names):
    faults = {}
    code = [name for name in names if re.match(r"src/.*\.(cpp|h|js)$", name)]
    for index, name in enumerate(code, 1):
        found = planting.Planter(name, (ROOT / name).read_text(), index * MOST_IN_A_FILE).all()
        faults[name] = found[:MOST_IN_A_FILE]
    return faults


def write_tree(names, faults):
    """Brings the copy up to date; a file that is as it should be keeps its time, and is not compiled again."""
    pages = "".join(f'if (std::string_view(file) == "{pathlib.Path(name).name}") for (int fault : '
                    f'{{{", ".join(str(f.number) for f in of)}}}) Reach(fault); '
                    for name, of in faults.items() if name.endswith(".js") and of)
    wanted = {}
    for name in names:
        content = (ROOT / name).read_bytes()
        if name in faults:
            text = planting.plant(name, content.decode(), faults[name])
            if name == PAGE_ROAD[0]:
                if PAGE_ROAD[1] not in text:
                    sys.exit(f"{name} hands its pages out in another way than this script knows; please adapt it.")
                text = text.replace(PAGE_ROAD[1], PAGE_SWITCHED)
                reach = f"inline void ReachPage(const char* file) {{ (void)file; {pages} }}"
                text = text.replace("#line 1", f"#include <string_view>\nnamespace planted {{ {reach} }}\n#line 1", 1)
            content = text.encode()
        wanted[name] = content
    wanted["src/planted.h"] = (planting.SWITCH % reached_size(faults)).encode()
    for path in TREE.rglob("*"):
        if path.is_file() and str(path.relative_to(TREE)) not in wanted:
            path.unlink()
    for name, content in wanted.items():
        path = TREE / name
        if path.exists() and path.read_bytes() == content:
            continue
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)
        if name in faults:
            continue
        path.chmod((ROOT / name).stat().st_mode if (ROOT / name).exists() else 0o644)


def reached_size(faults):
    return (len(faults) + 2) * MOST_IN_A_FILE


def compile_all(names, faults):
    """Builds the copy, leaving out, with what it says, each fault that the compiler refuses."""
    kept = WORK / "refused.json"
    refused = set(json.loads(kept.read_text())) if kept.exists() else set()
    while True:
        planted = {name: [f for f in of if f.key not in refused] for name, of in faults.items()}
        write_tree(names, planted)
        if not (BUILD / "build.ninja").exists():
            subprocess.run(["cmake", "-S", TREE, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                            "-DCMAKE_CXX_FLAGS=-O0 -w", "-DBUILD_TESTING=ON", "-DCORVANE_WINDOW=ON"],
                           check=True, stdout=subprocess.DEVNULL)
        print("Building with", sum(map(len, planted.values())), "faults ...", flush=True)
        result = subprocess.run(["cmake", "--build", BUILD, "--", "-k", "0"], capture_output=True, text=True)
        if result.returncode == 0:
            return planted
        (WORK / "build.log").write_text(result.stdout + result.stderr)
        more = {f.key for f in blamed(result.stdout, planted)}
        if not more:
            sys.exit(f"The copy with the faults does not build; see {WORK / 'build.log'}.")
        refused |= more
        kept.write_text(json.dumps(sorted(refused), indent=1))


def blamed(log, planted):
    """The faults that a line of the log puts down an error to."""
    risky = ("boundary moved", "arithmetic changed", "constant doubled")
    wrong = set()
    for path, line in re.findall(r"^(?:\S*/)?(src/\S+?\.(?:cpp|h)):(\d+):\d+: (?:fatal )?error:", log, re.MULTILINE):
        wrong.add((path, int(line)))
    for path, line in re.findall(r"^(?:\S*/)?(src/\S+?\.(?:cpp|h)):(\d+):\d+:   required from", log, re.MULTILINE):
        wrong.add((path, int(line)))
    faults = [f for of in planted.values() for f in of]
    said = "\n".join(re.findall(
        r"error: .*constant expression.*|error: .*constexpr.*|note: .*not usable in a constant.*", log))
    names = set(re.findall(r"\bk[A-Z]\w+", said))
    found = [f for f in faults if f.name and f.name in names]
    by_line = collections.defaultdict(list)
    for fault in faults:
        by_line[fault.path, fault.line].append(fault)
    for place in wrong:
        here = by_line[place]
        found += [f for f in here if f.kind in risky] or here
        if not here:  # the statement began further up
            above = [n for (p, n) in by_line if p == place[0] and n < place[1]]
            if above and not found:
                found += by_line[place[0], max(above)]
    return found


@dataclasses.dataclass
class Test:
    name: str
    command: list
    environment: dict
    where: str
    seconds: float = 0
    reaches: frozenset = frozenset()

    @property
    def group(self):
        return self.name.split(".")[0]

    def passes(self, extra, limit):
        with tempfile.TemporaryFile() as said:
            process = subprocess.Popen(self.command, cwd=self.where, env={**os.environ, **self.environment, **extra},
                                       stdin=subprocess.DEVNULL, stdout=said, stderr=said, start_new_session=True)
            try:
                return process.wait(limit) == 0
            except subprocess.TimeoutExpired:
                return False
            finally:
                try:
                    os.killpg(process.pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
                process.wait()


def all_tests():
    listed = json.loads(subprocess.check_output(["ctest", "--test-dir", BUILD, "--show-only=json-v1"]))
    tests = []
    for test in listed["tests"]:
        properties = {p["name"]: p["value"] for p in test.get("properties", [])}
        environment = dict(pair.split("=", 1) for pair in properties.get("ENVIRONMENT", []))
        tests.append(Test(test["name"], test["command"], environment,
                          properties.get("WORKING_DIRECTORY", str(BUILD))))
    return tests


def measure(tests, size):
    """Runs each test without a fault, to learn how long it takes and which faults it comes by."""
    def run(test):
        with tempfile.NamedTemporaryFile() as reached:
            reached.truncate(size)
            began = time.monotonic()
            if not test.passes({"PLANTED_REACHED": reached.name, "PLANTED_FAULT": "0"}, 300):
                return test.name
            test.seconds = time.monotonic() - began
            data = pathlib.Path(reached.name).read_bytes()
            test.reaches = frozenset(i for i, byte in enumerate(data) if byte)
            return None

    print("Running", len(tests), "tests without a fault ...", flush=True)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        failed = [name for name in pool.map(run, tests) if name]
    (WORK / "reach.json").write_text(json.dumps({t.name: [t.seconds, sorted(t.reaches)] for t in tests}))
    if failed:
        sys.exit("These tests fail without any fault: " + ", ".join(failed))


def killer_of(fault, tests):
    """The test that notices the fault, or nothing."""
    own = folder_of(fault.path)
    reaching = sorted((t for t in tests if fault.number in t.reaches), key=lambda t: (t.group != own, t.seconds))
    for test in reaching:
        limit = 5 * test.seconds + 10
        switch = {"PLANTED_FAULT": str(fault.number)}
        began = time.monotonic()
        if not test.passes(switch, limit) and (time.monotonic() - began >= limit or not test.passes(switch, limit)):
            return test.name
    return None


def switch_on(faults, tests, results, keep):
    """Notes in `results` the test that notices each fault, and keeps them after each."""
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        running = {pool.submit(killer_of, fault, tests): fault for fault in faults}
        try:
            for done, future in enumerate(concurrent.futures.as_completed(running), 1):
                fault = running[future]
                results[fault.key] = future.result()
                keep()
                verdict = f"killed by {results[fault.key]}" if results[fault.key] else "SURVIVED"
                print(f"{done}/{len(faults)} {verdict}: {fault.path}:{fault.line}: {fault.kind}", flush=True)
        except KeyboardInterrupt:
            pool.shutdown(wait=False, cancel_futures=True)  # those that run come to their end
            sys.exit("Broken off; the next run goes on from here.")


def chosen(planted, options):
    faults = [f for of in planted.values() for f in of
              if not options.folder or folder_of(f.path) == options.folder
              or f.path.startswith(f"src/{options.folder}/")]
    if not faults:
        sys.exit(f"Nothing can be planted in {options.folder}.")
    if options.sample and options.sample < len(faults):
        folders = collections.defaultdict(list)
        for fault in faults:
            folders[folder_of(fault.path)].append(fault)
        draw = random.Random(options.seed)
        share = {name: min(4, len(of)) for name, of in folders.items()}
        while sum(share.values()) < options.sample:  # to where the share is furthest below what can be planted
            least = min(folders, key=lambda name: share[name] / len(folders[name]))
            share[least] += 1
        faults = [f for name in sorted(folders)
                  for f in draw.sample(folders[name], share[name])]
    return faults


def told(faults, results):
    count = collections.Counter()
    for fault in faults:
        folder = folder_of(fault.path)
        count[folder, results[fault.key] is not None] += 1
        count["all", results[fault.key] is not None] += 1
    print("\nSurvived:")
    for fault in faults:
        if results[fault.key] is None:
            print(f"{fault.path}:{fault.line}: {fault.kind}: {fault.code[:110]}")
    print()
    for folder in sorted({folder for folder, _ in count}, key=lambda name: (name == "all", name)):
        killed, survived = count[folder, True], count[folder, False]
        print(f"{folder:10} killed {killed:4}  survived {survived:4}  {100 * killed / (killed + survived):5.1f} %")


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("folder", nargs="?")
    parser.add_argument("--sample", type=int)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--survivors", action="store_true")
    parser.add_argument("--list", action="store_true")
    options = parser.parse_args()

    names = sources()
    faults = planted_faults(names)
    drawn = chosen(faults, options)
    if options.list:
        for fault in drawn:
            print(f"{fault.path}:{fault.line}: {fault.kind}: {fault.code}")
        return
    WORK.mkdir(parents=True, exist_ok=True)
    planted = compile_all(names, faults)
    digest = hashlib.sha256(b"".join(name.encode() + (ROOT / name).read_bytes() for name in names
                                     if name.startswith(("src/", "tests/")))).hexdigest()
    kept = WORK / "results.json"
    state = json.loads(kept.read_text()) if kept.exists() else {}
    results = state.get("results", {}) if state.get("digest") == digest else {}
    wanted = chosen(planted, options)
    if options.survivors:
        known = {**state.get("before", {}), **state.get("results", {})}
        before = {key for key, killer in known.items() if killer is None}
        wanted = [f for f in wanted if f.key in before]
        if state.get("digest") == digest:
            results = {key: killer for key, killer in results.items() if killer is not None}
    state = {"digest": digest, "results": results, "before": {**state.get("before", {}), **state.get("results", {})}}
    missing = [f for f in wanted if f.key not in results]
    if missing:
        tests = all_tests()
        measure(tests, reached_size(planted))
        switch_on(missing, tests, results, lambda: kept.write_text(json.dumps(state)))
    told(wanted, results)


if __name__ == "__main__":
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)
    main()
