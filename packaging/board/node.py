"""What is asked of the node on a board, and what has to hold there."""
import json
import re

UNIT = "orvdaemon.service"
# Of packaging/board/root/etc: name and state once all is well, in the order of their start.
EXECUTABLES = {"/opt/node/hardware-check": "online"}
APPLICATIONS = {"thermometer": "online", "radio": "online", "pump": "running", "recorder": "running"}
# As the daemon writes it; its line in the journal has no "Info".
COMPLETE = r"ORVDaemonExe\[\d+\]: Info/.*CE start-up complete"
STARTING = r"Starting orvdaemon\.service"


def expect(machine, what, is_so, seen=""):
    """Fails with the console's end and with what was seen instead."""
    if not is_so:
        raise machine.failure(f"it does not hold that {what}" + (f"; seen: {seen}" if seen != "" else ""))


def equal(machine, what, value, expected):
    expect(machine, f"{what} is {expected!r}", value == expected, repr(value))


def unit(machine, *names):
    """Properties of the unit, as systemd shows them."""
    shown = machine.ask(f"systemctl show {UNIT} -p {','.join(names)}")
    values = dict(line.split("=", 1) for line in shown.splitlines())
    return values[names[0]] if len(names) == 1 else [values[name] for name in names]


def status(machine):
    return machine.ask_json("orvctl status --json")


def ungraceful(machine):
    return machine.ask_json("orvctl ungraceful --json")


def why_reset(machine):
    return machine.ask_json("orvctl why-reset --json")


def log(machine, options=""):
    """The lines of `orvctl log`, as objects."""
    return [json.loads(line) for line in machine.ask(f"orvctl log --json {options}").splitlines()]


def states(report, kind):
    return {program["name"]: program["state"] for program in report["programs"] if program["kind"] == kind}


def pids(report):
    return [report["daemon"]["pid"]] + [program["pid"] for program in report["programs"] if program["pid"]]


def wait_for_start_up(machine, begin=0):
    """Waits for the console's word, from index `begin` on, that a start-up is complete, and for the unit."""
    machine.wait_for_console(COMPLETE, begin)
    machine.until("the unit", lambda: unit(machine, "ActiveState"), "active")


def expect_up(machine, applications=True, pump="running"):
    """The node is up, as the unit and `orvctl status` tell; what the latter tells."""
    equal(machine, "the unit", unit(machine, "ActiveState", "SubState", "Type"), ["active", "running", "notify"])
    wanted = {**APPLICATIONS, "pump": pump} if applications else dict.fromkeys(APPLICATIONS, "not_started")
    # The start-up is complete while the last programs, which nobody waits for, are only just being started.
    machine.until("the applications", lambda: states(status(machine), "application"), wanted)
    report = status(machine)
    equal(machine, "the run", report["run"]["state"], "up")
    expect(machine, "the daemon lives", report["daemon"]["alive"])
    equal(machine, "the main process", report["daemon"]["pid"], int(unit(machine, "MainPID")))
    equal(machine, "the start-up", report["startup"]["state"], "complete")
    equal(machine, "the executables", states(report, "executable"), EXECUTABLES)
    equal(machine, "what kept the applications from starting", report["startup"]["applications_skipped"],
          None if applications else "ungraceful_shutdowns")
    return report


def expect_nothing_counted(machine):
    equal(machine, "the counts", ungraceful(machine),
          {"count": 0, "resets_in_a_row": 0, "next_start_counts_one_more": False})


def complaints(machine):
    """Warnings and errors but those that tell of a power cut itself, and of the receiver that no node has here."""
    expected = ("the last run: the power was cut", "message 0xfd28 to 0x0ff004e7 not delivered",
                "message not delivered: message 0xfd28")
    return [line["text"] for line in log(machine, "--severity warning") if not line["text"].startswith(expected)]


def remains(machine):
    """What there is of the node: its processes, by the unit's control group and by their names, and that group."""
    looks = {
        "in the control group": "grep -ls orvdaemon /proc/[0-9]*/cgroup",
        # Brackets: what looks for them is none of them.
        "by name": "grep -lsaE '[O]RVDaemonExe|[o]rv-guard|/[o]pt/node|/[o]pt/thermometer' /proc/[0-9]*/cmdline",
        "the control group": "ls -d /sys/fs/cgroup/system.slice/orvdaemon.service 2>/dev/null",
    }
    return {what: machine.ask(f"{look}; true").splitlines() for what, look in looks.items()}


def start_anew(machine, verb="restart"):
    """`systemctl restart` or `start`, until the new start-up is complete."""
    begin = len(machine.console)
    # Starts count for the unit's start limit, whoever asks for them.
    machine.ask(f"systemctl reset-failed {UNIT}; systemctl {verb} {UNIT}")
    wait_for_start_up(machine, begin)


def journal(machine, since):
    """What the unit has logged since that time of the monotonic clock, in microseconds."""
    lines = machine.ask(f"journalctl -b -q -u {UNIT} -o json --output-fields=MESSAGE").splitlines()
    entries = [json.loads(line) for line in lines]
    return [entry["MESSAGE"] for entry in entries if int(entry["__MONOTONIC_TIMESTAMP"]) >= since]


def started_at(machine):
    return int(unit(machine, "ExecMainStartTimestampMonotonic"))


def expect_said_in_order(machine, *patterns):
    """The node has said since its last start what the patterns ask for, in that order; the first such messages."""
    messages = journal(machine, started_at(machine))
    found = []
    begin = 0
    for pattern in patterns:
        index = next((i for i in range(begin, len(messages)) if re.search(pattern, messages[i])), None)
        what = f"the node says '{pattern}'" + (f" behind {found}" if found else "")
        expect(machine, what, index is not None, messages)
        found.append(messages[index])
        begin = index + 1
    return found


def expect_said(machine, pattern):
    """The same of one pattern; its message."""
    return expect_said_in_order(machine, pattern)[0]


def expect_not_said(machine, pattern):
    """The node has said since its last start that its start-up is complete, and nothing that the pattern asks for."""
    expect_said(machine, "CE start-up complete")
    found = [message for message in journal(machine, started_at(machine)) if re.search(pattern, message)]
    equal(machine, f"what the node says of '{pattern}'", found, [])
