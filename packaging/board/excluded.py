"""Runs the tests that qemu-arm cannot pass (tests/emulator-exclusions.txt) on the board, which has an ARM kernel."""
import json
import os
import shutil
import subprocess
import tempfile
import time

from machine import Machine
import node

EXCLUSIONS = "tests/emulator-exclusions.txt"
BUILD = "build/release-armhf"
TOOLS = "arm-linux-gnueabihf-"
ON_TARGET = ["scripts/on-target", "build/sysroot-armhf"]
# Whole nodes, and thousands of processes that are killed, on a processor that is emulated.
TEST_LIMIT_S = 1500


def run(folder):
    """Boots the board with these tests on its disk, and runs one after the other; whether all of them passed."""
    subprocess.run(["scripts/setup", "--targets"], check=True)
    # The list of the tests comes of the test programs, which run in the emulator for it.
    tried = subprocess.run([*ON_TARGET, "true"], stderr=subprocess.PIPE, text=True)
    if tried.returncode == 77:
        print(f"board: armhf: skipped: {tried.stderr.strip()}", flush=True)
        return True
    subprocess.run(["scripts/build", "release-armhf"], check=True)
    tests = commands()
    failed = []
    with tempfile.TemporaryDirectory(prefix="board-tests-") as place:
        disk = make_disk(place, {command[0] for command in tests.values()})
        with Machine("armhf", folder, "excluded", disk) as machine:
            machine.start()
            machine.wait_for_agent()
            # Nodes of their own is what the tests make. Their files are where they were built to be.
            machine.ask(f"systemctl stop {node.UNIT}; mkdir -p '{os.getcwd()}'; mount -t tmpfs tmpfs /tmp; "
                        f"mount --bind /var/lib/orv/tree '{os.getcwd()}'")
            for name, command in tests.items():
                began = time.monotonic()
                script = f"cd '{os.path.abspath(BUILD)}/tests' && {' '.join(command)}"
                status, output = machine.run(script, TEST_LIMIT_S)
                took = f"{time.monotonic() - began:.0f} s"
                if status == 0 and "[  PASSED  ] 1 test." in output:
                    print(f"board: armhf: {name}: passed after {took}", flush=True)
                else:
                    print(f"board: armhf: {name}: FAILED with {status} after {took}\n{output}", flush=True)
                    failed.append(name)
    print(f"board: armhf: {len(tests) - len(failed)} of the {len(tests)} tests of {EXCLUSIONS} pass here", flush=True)
    return not failed


def commands():
    """The command of each excluded test, as ctest has it, but for what makes up for the emulator's refusals."""
    with open(EXCLUSIONS, encoding="utf-8") as lines:
        names = [line.split(" ## ")[0] for line in lines if line.strip() and not line.startswith("#")]
    listing = subprocess.run([*ON_TARGET, "ctest", "--test-dir", BUILD, "--show-only=json-v1"], check=True,
                             stdout=subprocess.PIPE).stdout
    known = {test["name"]: test["command"] for test in json.loads(listing)["tests"]}
    programs = os.path.abspath(f"{BUILD}/bin") + "/"
    found = {}
    for name in names:
        command = known[name]
        while not command[0].startswith(programs):
            command = command[1:]
        found[name] = command
    return found


def make_disk(place, test_programs):
    """A disk with the project's files, and of the build what these test programs need, without debug information."""
    tree = f"{place}/disk/tree"
    listing = subprocess.run(["git", "ls-files", "-z"], check=True, stdout=subprocess.PIPE, text=True).stdout
    for name in listing.split("\0"):
        if name and not name.startswith("abi/"):
            os.makedirs(os.path.dirname(f"{tree}/{name}"), exist_ok=True)
            shutil.copy2(name, f"{tree}/{name}")
    for folder in ("bin", "lib", "tests/programs"):
        for path, _, files in os.walk(f"{BUILD}/{folder}"):
            os.makedirs(f"{tree}/{path}", exist_ok=True)
            for name in files:
                if not name.endswith("Test") or os.path.abspath(f"{path}/{name}") in test_programs:
                    # What is no program for the board stays as it is.
                    if subprocess.run([f"{TOOLS}strip", "-o", f"{tree}/{path}/{name}", f"{path}/{name}"],
                                      stderr=subprocess.DEVNULL).returncode != 0:
                        shutil.copy2(f"{path}/{name}", f"{tree}/{path}/{name}")
    # The tests start their programs through this one, which the build has for the machine that emulates.
    subprocess.run([f"{TOOLS}gcc", "-O1", "-static", "-o", f"{tree}/{BUILD}/tests/programs/adopt-orphans",
                    "tests/programs/adopt-orphans.c"], check=True)
    disk = f"{place}/disk.ext4"
    with open(disk, "wb") as file:
        file.truncate(800 << 20)
    subprocess.run(["mke2fs", "-q", "-t", "ext4", "-d", f"{place}/disk", disk], check=True,
                   env={**os.environ, "PATH": os.environ["PATH"] + ":/usr/sbin:/sbin"})
    return disk
