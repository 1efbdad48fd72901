"""The emulated board: qemu with a console that is read, its monitor (QMP), and the agent inside it.

Every wait has a limit, and what does not come in time is a `Failure` that shows the end of the console.
"""
import base64
import json
import os
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import time

# Guests are slow under emulation, and the machine that emulates may be busy; nothing waits that long where all is well.
BOOT_LIMIT_S = 240
COMMAND_LIMIT_S = 120


class Failure(Exception):
    """What was expected of the board and did not come."""


class Lines:
    """What comes of a stream line by line, kept with the time of its arrival, for whoever waits for one."""

    def __init__(self):
        self._lines = []
        self._changed = threading.Condition()
        self._ended = False

    def add(self, line):
        with self._changed:
            self._lines.append((time.monotonic(), line))
            self._changed.notify_all()

    def end(self):
        with self._changed:
            self._ended = True
            self._changed.notify_all()

    def __len__(self):
        with self._changed:
            return len(self._lines)

    def tail(self, count):
        with self._changed:
            return [line for _, line in self._lines[-count:]]

    def since(self, begin):
        with self._changed:
            return [line for _, line in self._lines[begin:]]

    def wait_for(self, matches, begin, limit_s):
        """The index, time and line of the first from `begin` on that matches; None when none comes within the limit, or
        at the stream's end."""
        deadline = time.monotonic() + limit_s
        with self._changed:
            while True:
                while begin < len(self._lines):
                    when, line = self._lines[begin]
                    if matches(line):
                        return begin, when, line
                    begin += 1
                left = deadline - time.monotonic()
                if self._ended or left <= 0:
                    return None
                self._changed.wait(left)


def command_line(arch, folder, state, serial, watchdog=True):
    """qemu's for a board whose image is in `folder`, with the state directory's disk `state`."""
    common = [
        "-nodefaults", "-display", "none", "-no-user-config",
        "-kernel", f"{folder}/vmlinuz", "-initrd", f"{folder}/initrd",
        "-drive", f"file={folder}/root.ext4,format=raw,if=none,id=root,snapshot=on",
        "-drive", f"file={state},format=raw,if=none,id=state",
        "-device", "virtio-blk-pci,drive=root", "-device", "virtio-blk-pci,drive=state",
        "-device", "virtio-serial-pci", *serial,
    ]
    if arch == "armhf":
        # Without highmem=off this kernel sees no PCI device.
        return ["qemu-system-arm", "-M", "virt,highmem=off", "-cpu", "cortex-a15", "-accel", "tcg,thread=multi",
                "-smp", "2", "-m", "512", *common]
    program = {"i386": "qemu-system-i386", "amd64": "qemu-system-x86_64"}[arch]
    dog = ["-device", "i6300esb", "-action", "watchdog=reset"] if watchdog else []
    return [program, "-M", "q35", "-cpu", "max", "-accel", "tcg", "-smp", "1", "-m", "384", *dog, *common]


def is_boot(line):
    """Whether the agent says that it has started."""
    return line.endswith("agent ready")


def kernel_options(arch, extra):
    console = "ttyAMA0" if arch == "armhf" else "ttyS0"
    # A PC's kernel panics where its timer does not tick soon enough at the beginning, which says nothing but that the
    # machine that emulates has much else to do.
    timer = "" if arch == "armhf" else "no_timer_check "
    # A panic stops the board where it is, so that it is seen instead of a restart.
    return f"console={console} rdinit=/init loglevel=4 panic=0 audit=0 systemd.show_status=0 {timer}{extra}"


class Machine:
    """One board. It goes on through its own resets; `cut_power` and `start` are a power cut."""

    def __init__(self, arch, folder, name, state=None):
        self.arch = arch
        self.folder = folder
        self.name = name
        self._own = tempfile.mkdtemp(prefix="board-")
        self.state = state or os.path.join(self._own, "state.ext4")
        if state is None:
            shutil.copyfile(f"{folder}/state.ext4", self.state)
        os.makedirs(f"{folder}/logs", exist_ok=True)
        self._log = open(f"{folder}/logs/{name}.console", "w", encoding="utf-8")
        self._process = None
        self._connections = []
        self._number = 0
        self.console = Lines()
        self.events = Lines()
        self.answers = Lines()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.cut_power()
        self._log.close()
        shutil.rmtree(self._own, ignore_errors=True)

    def start(self):
        """Switches the power on. What the last power-on has said is still there: waits begin behind it."""
        for kind in ("qmp", "agent", "log"):
            path = f"{self._own}/{kind}"
            if os.path.exists(path):
                os.unlink(path)
        serial = [
            "-serial", "stdio", "-qmp", f"unix:{self._own}/qmp,server=on,wait=off",
            "-chardev", f"socket,id=log,path={self._own}/log,server=on,wait=off", "-device", "virtconsole,chardev=log",
            "-chardev", f"socket,id=agent,path={self._own}/agent,server=on,wait=off",
            "-device", "virtserialport,chardev=agent,name=board.agent",
        ]
        command = command_line(self.arch, self.folder, self.state, serial)
        command += ["-append", kernel_options(self.arch, "board.agent")]
        self.console, self.events, self.answers = Lines(), Lines(), Lines()
        # It dies with this process, however that ends.
        self._process = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", *command], stdin=subprocess.DEVNULL,
                                         stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self._log.write("--- power on\n")
        self._read(self._process.stdout, self.console, log=True)
        qmp = self._connect("qmp")
        self._read(qmp.makefile("rb"), self.events)
        self._read(self._connect("log").makefile("rb"), self.console, log=True)
        self._agent = self._connect("agent")
        self._read(self._agent.makefile("rb"), self.answers)
        qmp.sendall(b'{"execute": "qmp_capabilities"}\n')

    def _connect(self, kind):
        deadline = time.monotonic() + 60
        while True:
            connection = socket.socket(socket.AF_UNIX)
            try:
                connection.connect(f"{self._own}/{kind}")
                self._connections.append(connection)
                return connection
            except OSError:
                connection.close()
                if self._process.poll() is not None or time.monotonic() > deadline:
                    raise self.failure("qemu does not start")
                time.sleep(0.02)

    def _read(self, stream, lines, log=False):
        def read():
            try:
                for line in stream:
                    text = re.sub(r"\x1b\[[0-9;?]*[a-zA-Z]", "", line.decode("utf-8", "replace")).rstrip("\r\n")
                    lines.add(text)
                    if log and not self._log.closed:
                        self._log.write(text + "\n")
                        self._log.flush()
            except OSError:
                pass  # a connection that the end of qemu has reset
            lines.end()

        threading.Thread(target=read, daemon=True).start()

    def cut_power(self):
        """What the board has not written to its disks by now is lost."""
        if self._process is None:
            return
        self._process.send_signal(signal.SIGKILL)
        self._process.wait()
        for connection in self._connections:
            connection.close()
        self._connections.clear()
        self._process = None

    def failure(self, what):
        tail = "\n".join("    " + line for line in self.console.tail(40))
        return Failure(f"{what}\n  the end of the console of {self.name}:\n{tail}")

    # What is seen from outside

    def wait_for_console(self, pattern, begin=0, limit_s=BOOT_LIMIT_S):
        """The first console line from `begin` on that has the pattern, as (index, time of arrival)."""
        found = self.console.wait_for(re.compile(pattern).search, begin, limit_s)
        if found is None:
            raise self.failure(f"the console does not say '{pattern}' within {limit_s} s")
        return found[:2]

    def wait_for_event(self, name, begin=0, limit_s=BOOT_LIMIT_S):
        """The first QMP event of that name from index `begin` on, as (index, time of arrival, data)."""
        found = self.events.wait_for(lambda line: json.loads(line).get("event") == name, begin, limit_s)
        if found is None:
            raise self.failure(f"no event {name} within {limit_s} s; there were: {self.events.since(begin)}")
        return found[0], found[1], json.loads(found[2]).get("data", {})

    def events_since(self, begin):
        """The names of the QMP events from index `begin` on."""
        return [name for name in (json.loads(line).get("event") for line in self.events.since(begin)) if name]

    # What is seen from inside

    def wait_for_agent(self, begin=0, limit_s=BOOT_LIMIT_S):
        if self.answers.wait_for(is_boot, begin, limit_s) is None:
            raise self.failure(f"the board has not booted within {limit_s} s")

    def boots_since(self, begin):
        """How often the board has booted, from that index of the agent's answers on."""
        return sum(map(is_boot, self.answers.since(begin)))

    def run(self, script, limit_s=COMMAND_LIMIT_S):
        """Runs a shell script on the board: its exit status and its output."""
        self._number += 1
        number = str(self._number)
        begin = len(self.answers)
        self._agent.sendall(f"{number} {base64.b64encode(script.encode()).decode()}\n".encode())
        found = self.answers.wait_for(lambda line: line.split(" ")[0] == number, begin, limit_s)
        if found is None:
            raise self.failure(f"the board does not answer within {limit_s} s to: {script}")
        _, status, output = (found[2] + " ").split(" ")[:3]
        return int(status), base64.b64decode(output).decode("utf-8", "replace")

    def ask(self, script, limit_s=COMMAND_LIMIT_S):
        """The output of a script that has to end with 0."""
        status, output = self.run(script, limit_s)
        if status != 0:
            raise self.failure(f"on the board this ended with {status}: {script}\n{output}")
        return output.strip()

    def ask_json(self, script):
        output = self.ask(script)
        try:
            return json.loads(output)
        except ValueError:
            raise self.failure(f"no JSON from: {script}\n{output}") from None

    def until(self, what, see, wanted, limit_s=COMMAND_LIMIT_S):
        """Asks until `see()` gives what is wanted."""
        deadline = time.monotonic() + limit_s
        while (seen := see()) != wanted:
            if time.monotonic() > deadline:
                raise self.failure(f"within {limit_s} s {what} did not become {wanted!r}; seen: {seen!r}")
            time.sleep(0.2)
