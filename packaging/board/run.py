"""The part of scripts/board that boots: a console to play with, the tests, the measurements."""
import argparse
import concurrent.futures
import os
import random
import shutil
import sys
import time
import traceback

import excluded
import footprint
import machine
import scenarios
from machine import Failure


def test(options):
    """Runs the scenarios beside each other; whether all of them passed."""
    begun = time.monotonic()
    seed = options.seed if options.seed is not None else random.randrange(1 << 32)
    print(f"board: {options.arch}: the power cuts' seed is {seed} (--seed {seed})", flush=True)

    def run(name):
        def say(text):
            print(f"board: {options.arch}: {name}: {text}", flush=True)

        started = time.monotonic()
        try:
            scenarios.SCENARIOS[name](scenarios.Plan(options.arch, options.folder, seed, options.cuts, say))
        except Failure as failure:
            say(f"FAILED: {failure}")
            return False
        except Exception:  # the others are to go on, and this one is to be seen
            say(f"FAILED: {traceback.format_exc()}")
            return False
        say(f"passed after {time.monotonic() - started:.0f} s")
        return True

    names = options.only or list(scenarios.SCENARIOS)
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        passed = all(list(pool.map(run, names)))
    outcome = "passed" if passed else "FAILED"
    print(f"board: {options.arch}: {outcome} after {time.monotonic() - begun:.0f} s", flush=True)
    return passed


def shell(options):
    """Becomes the board, with its console here. Its state directory stays until the board's image is made anew."""
    state = f"{options.folder}/shell.ext4"
    image = f"{options.folder}/state.ext4"
    if not os.path.exists(state) or os.path.getmtime(state) < os.path.getmtime(image):
        shutil.copyfile(image, state)
    print("board: a shell of root comes within a minute. Ctrl-A X is a power cut, Ctrl-A C qemu's monitor and back,\n"
          "board: `poweroff` an orderly end. What is written outside of /var/lib/orv is lost with either.", flush=True)
    command = machine.command_line(options.arch, options.folder, state, ["-serial", "mon:stdio"])
    command += ["-append", machine.kernel_options(options.arch, "board.shell")]
    os.execvp(command[0], command)


def positive(text):
    """A number from 1 on: no scenario passes because nothing of it was tried."""
    if not text.isdecimal() or int(text) < 1:
        raise argparse.ArgumentTypeError(f"'{text}' is no number from 1 on")
    return int(text)


def main():
    parser = argparse.ArgumentParser(prog="scripts/board")
    parser.add_argument("arch")
    parser.add_argument("folder")
    what = parser.add_mutually_exclusive_group(required=True)
    for name in ("test", "shell", "footprint", "excluded"):
        what.add_argument(f"--{name}", action="store_true")
    parser.add_argument("--seed", type=int)
    parser.add_argument("--cuts", type=positive, default=20)
    parser.add_argument("--jobs", type=positive, default=min(3, os.cpu_count() or 1))
    parser.add_argument("--only", action="append", choices=list(scenarios.SCENARIOS))
    options = parser.parse_args()
    if options.shell:
        shell(options)
    if options.footprint:
        footprint.measure(options.arch, options.folder)
        return
    if options.excluded:
        if options.arch != "armhf":
            parser.error("--excluded is for armhf: no test is excluded elsewhere")
        sys.exit(0 if excluded.run(options.folder) else 1)
    sys.exit(0 if test(options) else 1)


if __name__ == "__main__":
    main()
