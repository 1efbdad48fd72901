"""What is tried on a board. A scenario is a function of a `Plan`, boots what it needs, and reports what it has seen."""
import random
import re
import time

from machine import Machine
import node

# The daemon waits so long before a reset.
RESET_DELAY_S = 30


class Plan:
    """What all scenarios of a run share; `say` prints a line of a scenario."""

    def __init__(self, arch, folder, seed, cuts, say):
        self.arch = arch
        self.folder = folder
        self.seed = seed
        self.cuts = cuts
        self.say = say

    def machine(self, name):
        return Machine(self.arch, self.folder, name)


def under_systemd(plan):
    """One boot: up, a stop, a restart, a death of the daemon, and storage and a watchdog that fail it."""
    with plan.machine("under-systemd") as machine:
        begun = time.monotonic()
        machine.start()
        machine.wait_for_agent()
        node.wait_for_start_up(machine)
        plan.say(f"booted, and the start-up complete, after {time.monotonic() - begun:.0f} s")
        comes_up(plan, machine)
        stops(plan, machine)
        restarts(plan, machine)
        is_killed(plan, machine)
        for storage in FAILING_STORAGE:
            has_failing_storage(plan, machine, *storage)
        has_no_watchdog(plan, machine)


def comes_up(plan, machine):
    report = node.expect_up(machine)
    times = node.unit(machine, "ActiveEnterTimestampMonotonic", "ExecMainStartTimestampMonotonic")
    ready, began = (int(value) for value in times)
    # The daemon says READY=1 at its early start-up, and only then is the unit active.
    told = next(event for event in node.log(machine)
                if event["text"].endswith("systemdNotify: sending notification to systemd"))
    node.expect(machine, "the unit is active on READY=1", began * 1000 < told["monotonic_ns"] < ready * 1000,
                f"started {began} us, told {told['monotonic_ns']} ns, active {ready} us")
    text = machine.ask("orvctl status")
    names = [*node.EXECUTABLES, *node.APPLICATIONS]
    node.expect(machine, "status shows all programs", all(name in text for name in names), text)
    chart = machine.ask_json("orvctl chart --json")
    node.equal(machine, "the chart's start-up", (chart["state"], chart["length_ns"] // 1000000),
               ("complete", report["startup"]["length_ms"]))
    node.equal(machine, "the chart's programs", [program["name"] for program in chart["programs"]], names)
    waits = {program["name"]: program["wait"]["state"] for program in chart["programs"] if program["wait"]}
    node.equal(machine, "the chart's waits", waits,
               {"/opt/node/hardware-check": "online", "thermometer": "online", "radio": "online"})
    text = machine.ask("orvctl chart --text")
    node.expect(machine, "the picture shows all programs", all(name in text for name in names), text)
    node.expect_nothing_counted(machine)
    node.equal(machine, "what the node complains of", node.complaints(machine), [])
    plan.say("up: active on READY=1, the executable and the applications online, status and chart as it is")


def stops(plan, machine):
    # What looks for the rest of a node finds one that is there.
    there = node.remains(machine)
    node.expect(machine, "the node is found where its rest is looked for", all(there.values()), there)
    machine.ask(f"systemctl stop {node.UNIT}")
    node.equal(machine, "the unit", node.unit(machine, "ActiveState", "Result", "ExecMainStatus"),
               ["inactive", "success", "0"])
    node.equal(machine, "what is left of the node", node.remains(machine), dict.fromkeys(there, []))
    node.equal(machine, "the run", node.status(machine)["run"]["state"], "down")
    node.expect_nothing_counted(machine)
    node.start_anew(machine, "start")
    plan.say("stopped: nothing is left, and nothing is counted")


def restarts(plan, machine):
    before = node.expect_up(machine)
    node.start_anew(machine)
    after = node.expect_up(machine)
    old_ones = set(node.pids(before)) & set(node.pids(after))
    node.equal(machine, "the processes that are old ones", old_ones, set())
    node.equal(machine, "the end of the last run", node.why_reset(machine)["last_run"], "stopped")
    node.equal(machine, "the number of the run", after["run"]["number"], before["run"]["number"] + 1)
    plan.say("restarted: every process is another, the applications are online again")


def is_killed(plan, machine):
    before = node.status(machine)
    old = node.pids(before)
    guards = machine.ask("pgrep -f ^orv-guard").split()
    begin = len(machine.console)
    machine.ask(f"kill -KILL {before['daemon']['pid']}")
    node.wait_for_start_up(machine, begin)
    after = node.expect_up(machine, applications=False)
    node.equal(machine, "the restarts", node.unit(machine, "NRestarts"), "1")
    # A process that has ended and is not waited for has no command line, but is there.
    alive = machine.ask(f"for pid in {' '.join(map(str, old + guards))}; do "
                        "[ ! -e /proc/$pid ] || echo $pid $(tr '\\0' ' ' </proc/$pid/cmdline); done")
    node.equal(machine, "what lives of the old run", alive, "")
    node.expect(machine, "the daemon is another", after["daemon"]["pid"] != before["daemon"]["pid"])
    node.equal(machine, "the ungraceful count", node.ungraceful(machine)["count"], 1)
    node.equal(machine, "the end of the last run", node.why_reset(machine)["last_run"], "daemon_died")
    machine.ask("orvctl ungraceful --clear")
    node.start_anew(machine)
    node.expect_up(machine)
    plan.say("killed: systemd has restarted it, nothing of the old run lives, the count is 1; "
             "cleared, and all online again")


# What it is called, how the state directory comes to it (which fails where it has not), how it is over, what is said.
FAILING_STORAGE = (
    ("full disk",
     "dd if=/dev/zero of=/var/lib/orv/filler bs=64k; dd if=/dev/zero of=/var/lib/orv/crumbs bs=1k; sync;"
     " [ $(df --output=avail /var/lib/orv | tail -n 1) = 0 ]",
     "rm /var/lib/orv/filler /var/lib/orv/crumbs",
     "No space left on device"),
    ("read-only state directory",
     "mount -o remount,ro /var/lib/orv && ! touch /var/lib/orv/anything",
     "mount -o remount,rw /var/lib/orv",
     "Read-only file system"),
)


def has_failing_storage(plan, machine, what, fail, mend, complaint):
    machine.ask(fail)
    node.start_anew(machine)
    node.expect_up(machine)
    said = node.expect_said(machine, complaint)
    machine.ask(mend)
    node.start_anew(machine)
    node.expect_up(machine)
    node.expect_not_said(machine, complaint)
    node.expect_nothing_counted(machine)
    plan.say(f"{what}: up all the same, and says: {said}")


def has_no_watchdog(plan, machine):
    missing = r"^Warning/ORV/platform, the board cannot be reset by /dev/watchdog: No such file or directory \(.*\)$"
    node.expect_not_said(machine, missing)
    driver = "softdog" if plan.arch == "armhf" else "i6300esb"
    machine.ask(f"rmmod {driver}; touch /etc/orv/no-water")
    node.equal(machine, "the watchdogs", machine.ask("ls /dev/watchdog* 2>/dev/null; true"), "")
    begin = len(machine.console)
    events = len(machine.events)
    node.start_anew(machine)
    machine.wait_for_console(r"boardReset: reset failed", begin)
    node.expect_up(machine, pump="failed")
    node.equal(machine, "the events outside", machine.events_since(events), [])
    # Lines of the standard error output, whose order the journal keeps.
    at_start, *_ = node.expect_said_in_order(
        machine, missing, r"^Info/.*boardReset: adding 30 s delay before reset$",
        r"^Info/.*boardReset: reset failed \(-2\)$")
    said = node.expect_said(machine, r"cannot open /dev/watchdog: No such file or directory")
    node.equal(machine, "the resets in a row", node.ungraceful(machine)["resets_in_a_row"], 0)
    plan.say(f"no watchdog: up all the same, and says at the start: {at_start}")
    plan.say(f"no watchdog: when it would reset the board it says: {said}")


def resets(plan):
    """Four resets in a row by the watchdog, as an application with flags 3 fails; then the node is repaired."""
    hardware = plan.arch != "armhf"
    if not hardware:
        plan.say("this board's watchdog is the kernel's own (softdog): "
                 "qemu sees its resets, but has no WATCHDOG event to tell")
    with plan.machine("resets") as machine:
        machine.start()
        machine.wait_for_agent()
        node.wait_for_start_up(machine)
        node.expect_up(machine)
        # On the disk before the first reset, whatever it does to what is not.
        machine.ask("touch /etc/orv/no-water; sync")
        begin = len(machine.console)
        events = first_event = len(machine.events)
        answers = first_answer = len(machine.answers)
        machine.ask(f"systemctl restart {node.UNIT}")
        for count in range(1, 5):
            node.wait_for_start_up(machine, begin)
            node.expect_up(machine, pump="failed")
            errors = machine.ask_json("orvctl errors --json")["errors"]
            of_this_run = [(error["eu"], error["text"]) for error in errors if error["run"] == errors[-1]["run"]]
            node.equal(machine, "the raised errors", of_this_run, [("pump", "failure of application pump")])
            if count > 1:
                tells_why(plan, machine, count - 1)
            _, announced = machine.wait_for_console(r"boardReset: adding 30 s delay before reset", begin)
            if hardware:
                events, _, data = machine.wait_for_event("WATCHDOG", events)
                node.equal(machine, "what the watchdog does", data.get("action"), "reset")
            events, reset, data = machine.wait_for_event("RESET", events)
            node.equal(machine, "the reset", (data.get("guest"), data.get("reason")), (True, "guest-reset"))
            # The watchdog's own shortest time-out comes on top; the guest's clock is this machine's.
            delay = reset - announced
            node.expect(machine, "it comes 30 s after the failure", RESET_DELAY_S - 2 < delay < RESET_DELAY_S + 60,
                        f"{delay:.1f} s")
            begin = len(machine.console)
            plan.say(f"reset {count}: {delay:.1f} s after it was announced, by "
                     f"{'WATCHDOG and RESET' if hardware else 'RESET'}")
            events += 1
            machine.wait_for_agent(answers)
            answers = len(machine.answers)
        node.wait_for_start_up(machine, begin)
        node.expect_up(machine, applications=False)
        tells_why(plan, machine, 4)
        node.equal(machine, "the ungraceful count", node.ungraceful(machine)["count"], 1)
        plan.say("after the fourth in a row the node is up and reachable, and leaves its applications alone")
        machine.ask("rm /etc/orv/no-water; orvctl ungraceful --clear")
        node.start_anew(machine)
        node.expect_up(machine)
        node.expect_nothing_counted(machine)
        # Boots are counted by what has booted: a PC's firmware may reset the machine once more before the kernel runs.
        node.equal(machine, "the number of boots", machine.boots_since(first_answer), 4)
        barked = machine.events_since(first_event).count("WATCHDOG")
        node.equal(machine, "the number of times that the watchdog has seen to it", barked, 4 if hardware else 0)
        plan.say("cleared and restarted: the applications are online again")


def tells_why(plan, machine, in_a_row):
    story = node.why_reset(machine)
    node.equal(machine, "the end of the last run", story["last_run"], "reset_made")
    request = story["request"]
    asked = {key: request[key] for key in ("eu", "path", "args", "cause", "wait_status")}
    node.equal(machine, "who asked", asked,
               {"eu": "pump", "path": "/opt/node/pump", "args": "--speed 3", "cause": "program_ended",
                "wait_status": 3 << 8})
    node.equal(machine, "the last words", request["last_words"], ["starting", "no water"])
    node.equal(machine, "the resets in a row", story["start"]["resets_in_a_row"], in_a_row)
    text = machine.ask("orvctl why-reset")
    node.expect(machine, "it says so in words", "exited with 3" in text and "starting | no water" in text, text)
    if in_a_row == 1:
        plan.say("why-reset: " + next(line for line in text.splitlines() if line.startswith("who asked")))


def power_cuts(plan):
    """Cuts at random moments of start-ups, all of one state directory, and after each a boot that has to come up."""
    chance = random.Random(plan.seed)
    with plan.machine("power-cuts") as machine:
        machine.start()
        machine.wait_for_agent()
        lengths = {"board": start_up_length(machine)}
        node.expect_up(machine)
        begin = len(machine.console)
        node.start_anew(machine)
        lengths["node"] = start_up_length(machine, begin)
        plan.say(f"the node's start-up takes {lengths['board']:.1f} s in the board's, {lengths['node']:.1f} s alone")
        board_starts = completed = 0
        for count in range(1, plan.cuts + 1):
            # Of the whole board, or of the node on a board that is up.
            whose = "board" if chance.random() < 0.4 else "node"
            # A little beyond its end, too: the last writes come then.
            delay = chance.random() * lengths[whose] * 1.2
            try:
                begin = begin_start_up(machine, whose)
                # Not a wait for anything: it is the moment.
                time.sleep(delay)
                machine.cut_power()
                was_complete = any(re.search(node.COMPLETE, line) for line in machine.console.since(begin))
                comes_up_after_a_cut(machine, may_be_stopped=whose == "node" and not was_complete)
                # The machine that emulates has more and less to do: start-ups grow shorter and longer together.
                length = start_up_length(machine)
                lengths = {what: last * length / lengths["board"] for what, last in lengths.items()}
            except Exception:
                plan.say(f"at cut {count} (of the {whose}'s start-up, {delay:.2f} s after its begin):")
                raise
            board_starts += whose == "board"
            completed += was_complete
        plan.say(f"{plan.cuts} power cuts, {board_starts} in the board's start-up, the rest in the node's alone, "
                 f"{completed} of them just behind its end: each next boot came up")


def start_up_length(machine, begin=0):
    """How long the start-up takes that the console tells of from `begin` on, in seconds."""
    begin, started = machine.wait_for_console(node.STARTING, begin)
    _, completed = machine.wait_for_console(node.COMPLETE, begin)
    return completed - started


def begin_start_up(machine, whose):
    """Makes the board (by its power), or the node on it, start; the console's index when the node does."""
    begin = 0
    if whose == "board":
        machine.cut_power()
        machine.start()
    else:
        begin = len(machine.console)
        machine.ask(f"systemctl reset-failed {node.UNIT}; systemctl restart --no-block {node.UNIT}")
    return machine.wait_for_console(node.STARTING, begin)[0]


def comes_up_after_a_cut(machine, may_be_stopped):
    """`may_be_stopped`: the run that was cut need not be on record, and the one before was stopped."""
    machine.start()
    machine.wait_for_agent()
    node.wait_for_start_up(machine)
    node.expect_up(machine)
    story = node.why_reset(machine)
    ends = ("outside", "stopped") if may_be_stopped else ("outside",)
    node.expect(machine, f"the last run's end is one of {ends}", story["last_run"] in ends, story["last_run"])
    node.equal(machine, "the damaged entries", story["damaged_entries"], 0)
    node.expect_nothing_counted(machine)
    node.equal(machine, "what the node complains of", node.complaints(machine), [])


# Longest first: they run beside each other.
SCENARIOS = {"power-cuts": power_cuts, "resets": resets, "under-systemd": under_systemd}
