"""Fuzzes one target, or each in turn, with clang, libFuzzer and the sanitizers, from the inputs
that are kept in tests/fuzz/corpus. What it finds on the way stays in build/fuzz/corpus; an input
that breaks a promise goes to build/fuzz/findings."""

import argparse
import re
import shutil
import subprocess
import sys
import tempfile

from tools import project


def fuzz(build, kept, seconds):
    program, found = build / f"bin/fuzz-{kept.name}", build / "corpus" / kept.name
    found.mkdir(parents=True, exist_ok=True)
    (build / "findings").mkdir(exist_ok=True)
    if seconds == "keep":
        fewest = tempfile.mkdtemp()
        project.run(program, "-set_cover_merge=1", "-use_counters=0", fewest, kept, found)
        shutil.rmtree(kept)
        shutil.move(fewest, kept).chmod(0o755)
        return f"keeps {len(list(kept.iterdir()))} inputs"
    result = subprocess.run(
        [program, f"-max_total_time={seconds}", "-timeout=10", "-rss_limit_mb=1024",
         "-malloc_limit_mb=256",
         "-print_final_stats=1", f"-artifact_prefix={build}/findings/{kept.name}-", found, kept],
        stderr=subprocess.PIPE, text=True, errors="replace", check=False)
    if result.returncode != 0:
        sys.exit(f"{result.stderr}fuzz: {kept.name} broke; see build/fuzz/findings")
    executed = re.search(r"number_of_executed_units: *(\d+)", result.stderr)[1]
    return f"ran {executed} inputs in {seconds} seconds, nothing broke"


def main():
    corpus = project.ROOT / "tests/fuzz/corpus"
    targets = sorted(path.name for path in corpus.iterdir())
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("target", choices=[*targets, "all"], help="a folder in tests/fuzz/corpus")
    parser.add_argument("seconds", metavar="SECONDS|keep", help="how long each is fuzzed; keep"
                        " makes the kept inputs the fewest that reach as much")
    options = parser.parse_args()
    if not re.fullmatch("keep|[1-9][0-9]*", options.seconds):
        parser.error(f"{options.seconds}: expected seconds, or keep")
    project.set_up()
    chosen = targets if options.target == "all" else [options.target]
    build = project.build("fuzz", *(f"fuzz-{target}" for target in chosen))
    for target in chosen:
        print(f"fuzz: {target} {fuzz(build, corpus / target, options.seconds)}", flush=True)
