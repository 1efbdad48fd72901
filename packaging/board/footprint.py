"""What a start-up takes on a board in time and in memory."""
import statistics

from machine import Machine
import node

START_UPS = 5


def measure(arch, folder):
    """Prints the medians over START_UPS start-ups: until the first program runs, and memory once all of them run."""
    rows = {}
    with Machine(arch, folder, "footprint") as machine:
        machine.start()
        machine.wait_for_agent()
        node.wait_for_start_up(machine)
        for count in range(START_UPS):
            if count > 0:
                node.start_anew(machine)
            report = node.expect_up(machine)
            for what, value in start_up(machine, report).items():
                rows.setdefault(what, []).append(value)
    print(f"{arch}, emulated, medians of {START_UPS} start-ups")
    for what, values in rows.items():
        print(f"  {what:<58}{statistics.median(values):8.0f}")


def start_up(machine, report):
    """The figures of the last start-up."""
    chart = machine.ask_json("orvctl chart --json")
    first = min(program["started_ns"] for program in chart["programs"])
    # The run begins at the daemon's early start-up; before it there is what the dynamic linker does.
    began = int(node.unit(machine, "ExecMainStartTimestampMonotonic"))
    run_began = report["run"]["started_monotonic_ns"]
    figures = {
        "start of the process to the first program, ms": (run_began + first) / 1e6 - began / 1e3,
        "early start-up to the first program, ms": first / 1e6,
        "early start-up to the last online tag, ms": chart["length_ns"] / 1e6,
    }
    guard = int(machine.ask(f"pgrep -P {report['daemon']['pid']} -f ^orv-guard"))
    sums = {"Private_Dirty": 0, "Pss": 0}
    for who, pid in (("ORVDaemonExe", report["daemon"]["pid"]), ("orv-guard", guard)):
        memory = dict(line.split()[:2] for line in machine.ask(f"cat /proc/{pid}/smaps_rollup").splitlines()[1:])
        for kind in sums:
            value = int(memory[f"{kind}:"])
            sums[kind] += value
            figures[f"{who}, {kind}, KiB"] = value
    for kind, value in sums.items():
        figures[f"the two together, {kind}, KiB"] = value
    return figures
