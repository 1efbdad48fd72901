"""What is tried on a board. A scenario is a function of a `Plan`, boots what it needs, and reports what it has seen."""
import random
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
        has_a_full_disk(plan, machine)
        has_a_read_only_state(plan, machine)
        has_no_watchdog(plan, machine)


def comes_up(plan, machine):
    report = node.expect_up(machine)
    ready, began = (int(value) for value in node.unit(machine, "ActiveEnterTimestampMonotonic", "ExecMainStartTimestampMonotonic"))
    # The daemon says READY=1 at its early start-up, and only then is the unit active.
    told = next(event for event in node.log(machine) if event["text"].endswith("systemdNotify: sending notification to systemd"))
    node.expect(machine, "the unit is active on READY=1", began * 1000 < told["monotonic_ns"] < ready * 1000,
                f"started {began} us, told {told['monotonic_ns']} ns, active {ready} us")
    text = machine.ask("orvctl status")
    node.expect(machine, "status shows all programs", all(name in text for name in [*node.EXECUTABLES, *node.APPLICATIONS]), text)
    chart = machine.ask_json("orvctl chart --json")
    node.equal(machine, "the chart's start-up", (chart["state"], chart["length_ns"] // 1000000),
               ("complete", report["startup"]["length_ms"]))
    node.equal(machine, "the chart's programs", [program["name"] for program in chart["programs"]],
               [*node.EXECUTABLES, *node.APPLICATIONS])
    waits = {program["name"]: program["wait"]["state"] for program in chart["programs"] if program["wait"]}
    node.equal(machine, "the chart's waits", waits, {"/opt/node/hardware-check": "online", "thermometer": "online", "radio": "online"})
    node.expect(machine, "the picture can be drawn", "thermometer" in machine.ask("orvctl chart --text"))
    node.equal(machine, "the ungraceful count", node.ungraceful(machine)["count"], 0)
    plan.say("up: active on READY=1, the executable and the applications online, status and chart as it is")


def stops(plan, machine):
    machine.ask(f"systemctl stop {node.UNIT}")
    node.equal(machine, "the unit", node.unit(machine, "ActiveState", "Result", "ExecMainStatus"), ["inactive", "success", "0"])
    node.expect_nothing_left(machine)
    node.equal(machine, "the run", node.status(machine)["run"]["state"], "down")
    node.equal(machine, "the ungraceful count", node.ungraceful(machine),
               {"count": 0, "resets_in_a_row": 0, "next_start_counts_one_more": False})
    node.start_anew(machine, "start")
    plan.say("stopped: nothing is left, and nothing is counted")


def restarts(plan, machine):
    before = node.expect_up(machine)
    node.start_anew(machine)
    after = node.expect_up(machine)
    node.expect(machine, "no process is an old one", not set(node.pids(before)) & set(node.pids(after)), (before, after))
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
    alive = machine.ask(f"for pid in {' '.join(map(str, old + guards))}; do [ ! -e /proc/$pid ] || cat /proc/$pid/cmdline; done")
    node.equal(machine, "what lives of the old run", alive, "")
    node.expect(machine, "the daemon is another", after["daemon"]["pid"] != before["daemon"]["pid"])
    node.equal(machine, "the ungraceful count", node.ungraceful(machine)["count"], 1)
    node.equal(machine, "the end of the last run", node.why_reset(machine)["last_run"], "daemon_died")
    machine.ask("orvctl ungraceful --clear")
    node.start_anew(machine)
    node.expect_up(machine)
    plan.say("killed: systemd has restarted it, nothing of the old run lives, the count is 1; cleared, and all online again")


def has_a_full_disk(plan, machine):
    machine.run("dd if=/dev/zero of=/var/lib/orv/filler bs=64k; dd if=/dev/zero of=/var/lib/orv/crumbs bs=1k; sync")
    node.equal(machine, "the space on the disk", machine.ask("df --output=avail /var/lib/orv | tail -n 1").strip(), "0")
    node.start_anew(machine)
    node.expect_up(machine)
    said = node.expect_said(machine, "No space left on device")
    machine.ask("rm /var/lib/orv/filler /var/lib/orv/crumbs")
    node.start_anew(machine)
    node.expect_up(machine)
    plan.say(f"full disk: up all the same, and says: {said}")


def has_a_read_only_state(plan, machine):
    machine.ask("mount -o remount,ro /var/lib/orv")
    node.start_anew(machine)
    node.expect_up(machine)
    said = node.expect_said(machine, "Read-only file system")
    machine.ask("mount -o remount,rw /var/lib/orv")
    node.start_anew(machine)
    node.expect_up(machine)
    plan.say(f"read-only state directory: up all the same, and says: {said}")


def has_no_watchdog(plan, machine):
    driver = "softdog" if plan.arch == "armhf" else "i6300esb"
    machine.ask(f"rmmod {driver}; touch /etc/orv/no-water")
    node.equal(machine, "the watchdogs", machine.ask("ls /dev/watchdog* 2>/dev/null; true"), "")
    begin = len(machine.console)
    events = len(machine.events)
    node.start_anew(machine)
    machine.wait_for_console(r"boardReset: reset failed", begin)
    node.expect_up(machine, pump="failed")
    node.equal(machine, "the events outside", machine.events_since(events), [])
    node.expect_said(machine, r"boardReset: reset failed \(-2\)")
    said = node.expect_said(machine, r"/dev/watchdog.*No such file or directory")
    node.equal(machine, "the resets in a row", node.ungraceful(machine)["resets_in_a_row"], 0)
    plan.say(f"no watchdog: up all the same, and when it would reset the board it says: {said}")


def resets(plan):
    """Four resets in a row by the watchdog, as an application with flags 3 fails; then the node is repaired."""
    hardware = plan.arch != "armhf"
    if not hardware:
        plan.say("this board's watchdog is the kernel's own (softdog): qemu sees its resets, but has no WATCHDOG event to tell")
    with plan.machine("resets") as machine:
        machine.start()
        machine.wait_for_agent()
        node.wait_for_start_up(machine)
        node.expect_up(machine)
        # On the disk before the first reset, whatever it does to what is not.
        machine.ask("touch /etc/orv/no-water; sync")
        begin = len(machine.console)
        events = len(machine.events)
        answers = len(machine.answers)
        machine.ask(f"systemctl restart {node.UNIT}")
        for count in range(1, 5):
            node.wait_for_start_up(machine, begin)
            node.expect_up(machine, pump="failed")
            errors = machine.ask_json("orvctl errors --json")["errors"]
            of_this_run = [(error["eu"], error["text"]) for error in errors if error["run"] == errors[-1]["run"]]
            node.equal(machine, "the raised errors", of_this_run, [("pump", "failure of application pump")])
            if count > 1:
                tells_why(plan, machine, count - 1)
            announced = machine.console.wait_for(lambda line: "boardReset: adding 30 s delay before reset" in line, begin, 60)
            node.expect(machine, "the reset is announced", announced is not None)
            if hardware:
                events, barked, data = machine.wait_for_event("WATCHDOG", events)
                node.equal(machine, "what the watchdog does", data.get("action"), "reset")
            events, reset, data = machine.wait_for_event("RESET", events)
            node.equal(machine, "the reset", (data.get("guest"), data.get("reason")), (True, "guest-reset"))
            # The watchdog's own shortest time-out comes on top; the guest's clock is this machine's.
            delay = reset - announced[1]
            node.expect(machine, "it comes 30 s after the failure", RESET_DELAY_S - 2 < delay < RESET_DELAY_S + 60, f"{delay:.1f} s")
            begin = len(machine.console)
            plan.say(f"reset {count}: {delay:.1f} s after it was announced" + (", by WATCHDOG and RESET" if hardware else ", by RESET"))
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
        node.equal(machine, "the counts", node.ungraceful(machine), {"count": 0, "resets_in_a_row": 0, "next_start_counts_one_more": False})
        plan.say("cleared and restarted: the applications are online again")


def tells_why(plan, machine, in_a_row):
    story = node.why_reset(machine)
    node.equal(machine, "the end of the last run", story["last_run"], "reset_made")
    request = story["request"]
    node.equal(machine, "who asked", (request["eu"], request["path"], request["args"], request["cause"], request["wait_status"] >> 8),
               ("pump", "/opt/node/pump", "--speed 3", "program_ended", 3))
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
        length = start_up_length(machine)
        node.expect_up(machine)
        board_starts = 0
        for count in range(1, plan.cuts + 1):
            # Of the whole board, or of the node on a board that is up.
            of_board = chance.random() < 0.4
            share = chance.random()
            if of_board:
                board_starts += 1
                machine.cut_power()
                machine.start()
                machine.wait_for_console(node.STARTING)
            else:
                begin = len(machine.console)
                machine.ask(f"systemctl reset-failed {node.UNIT}; systemctl restart --no-block {node.UNIT}")
                machine.wait_for_console(node.STARTING, begin)
            # A little beyond its end, too: the last writes come then.
            time.sleep(share * length * 1.2)
            machine.cut_power()
            said = machine.console.tail(1)
            machine.start()
            machine.wait_for_agent()
            node.wait_for_start_up(machine)
            try:
                node.expect_up(machine)
                story = node.why_reset(machine)
                # A cut before the new run was on record leaves the end of the one before, which was stopped.
                node.expect(machine, "the last run was cut or stopped", story["last_run"] in ("outside", "stopped"), story["last_run"])
                node.equal(machine, "the damaged entries", story["damaged_entries"], 0)
                node.equal(machine, "the counts", node.ungraceful(machine),
                           {"count": 0, "resets_in_a_row": 0, "next_start_counts_one_more": False})
                node.equal(machine, "what the node complains of", complaints(machine), [])
            except Exception:
                whose = "board" if of_board else "node"
                plan.say(f"after cut {count} (of the {whose}'s start-up, at {share * 1.2:.0%} of it, behind: {said})")
                raise
        plan.say(f"{plan.cuts} power cuts, {board_starts} in the board's start-up, the rest in the node's alone: each next boot came up")


def complaints(machine):
    """Warnings and errors but those that tell of the power cut itself, and of the receiver that no node has here."""
    expected = ("the last run: the power was cut", "message 0xfd28 to 0x0ff004e7 not delivered",
                "message not delivered: message 0xfd28")
    return [line["text"] for line in node.log(machine, "--severity warning") if not line["text"].startswith(expected)]


def start_up_length(machine):
    begin = machine.console.wait_for(lambda line: "Starting orvdaemon.service" in line, 0, 240)
    node.wait_for_start_up(machine)
    end = machine.console.wait_for(lambda line: "CE start-up complete" in line, 0, 1)
    return end[1] - begin[1]


# Longest first: they run beside each other.
SCENARIOS = {"power-cuts": power_cuts, "resets": resets, "under-systemd": under_systemd}
