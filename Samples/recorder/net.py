"""Hosts as namespaces, cables as veth pairs, switches as bridges, and taps that record at a point."""
import ctypes
import fcntl
import json
import os
import pathlib
import signal
import socket
import struct
import subprocess
import threading
import time

CLONE_NEWNS, CLONE_NEWUTS, CLONE_NEWNET = 0x20000, 0x4000000, 0x40000000
MS_REC, MS_PRIVATE = 0x4000, 0x40000
SIOCSIFFLAGS, IFF_UP = 0x8914, 1

LOG = pathlib.Path("/tmp/log")


def sh(*args, check=True, **options):
    """Runs a command in the stage itself and returns what it printed."""
    done = subprocess.run(
        args, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace", **options
    )
    if check and done.returncode:
        raise RuntimeError(f"{' '.join(args)}: {done.stdout.strip()}")
    return done.stdout


def hold(name, ready):
    """Becomes the process that keeps a machine's namespaces. Overlays keep each machine's configuration and state apart,
    so that the packages' usual paths can be used."""
    libc = ctypes.CDLL(None, use_errno=True)

    def mount(source, target, kind, flags=0, data=None):
        if libc.mount(source.encode(), target.encode(), kind.encode(), flags, data and data.encode()):
            raise OSError(ctypes.get_errno(), f"mount {target}")

    libc.unshare(CLONE_NEWNET | CLONE_NEWUTS | CLONE_NEWNS)
    socket.sethostname(name)
    mount("none", "/", "none", MS_REC | MS_PRIVATE)
    mount("own", "/srv", "tmpfs")
    for directory in ("etc", "var"):
        upper, work = f"/srv/.own/{directory}.u", f"/srv/.own/{directory}.w"
        os.makedirs(upper)
        os.makedirs(work)
        mount(directory, f"/{directory}", "overlay", 0, f"lowerdir=/{directory},upperdir={upper},workdir={work}")
    mount("run", "/run", "tmpfs")
    mount("tmp", "/tmp", "tmpfs")
    os.chmod("/tmp", 0o1777)
    mount("sysfs", "/sys", "sysfs")
    pathlib.Path("/etc/hostname").write_text(name + "\n")
    pathlib.Path("/etc/hosts").write_text(
        f"127.0.0.1 localhost\n::1 localhost\n127.0.1.1 {name}.office.example {name}\n"
    )
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        fcntl.ioctl(any_socket, SIOCSIFFLAGS, struct.pack("16sH14x", b"lo", IFF_UP))
    os.setsid()
    os.write(ready, b"ready")
    os.execvp("sleep", ["sleep", "infinity"])


class Host:
    """A machine: its own network, host name, /etc, /var, /run and /tmp."""

    all = {}

    def __init__(self, name, role):
        self.name, self.role = name, role
        self.daemons = {}
        self.ready = threading.Event()  # set once a machine that starts during a recording can be used
        Host.all[name] = self
        reading, writing = os.pipe()
        self.pid = os.fork()
        if not self.pid:
            hold(name, writing)
        os.close(writing)
        if os.read(reading, 5) != b"ready":
            raise RuntimeError(f"{name}: could not be set up")
        os.close(reading)
        self.prefix = ["nsenter", "-t", str(self.pid), "-n", "-u", "-m", "--"]

    def run(self, command, timeout=30, check=False, stdin=None, quiet=False):
        """Runs a shell command on this machine; its output goes to the machine's log and is returned."""
        try:
            done = subprocess.run(
                [*self.prefix, "sh", "-c", command],
                stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT,
                timeout=timeout,
                text=True,
                errors="replace",
                **({"input": stdin} if stdin is not None else {"stdin": subprocess.DEVNULL}),
            )
            output, status = done.stdout, done.returncode
        except subprocess.TimeoutExpired as late:
            output, status = (late.stdout or b"").decode(errors="replace"), "timeout"
        if not quiet:
            with open(LOG / f"{self.name}.log", "a") as log:
                log.write(f"[{time.strftime('%T')}] $ {command}\n{output}[{status}]\n")
        if check and status != 0:
            raise RuntimeError(f"{self.name}: {command}: {output.strip()[-400:]}")
        return output

    def start(self, label, command, env=None):
        """Starts a server that stays in the foreground."""
        log = open(LOG / f"{self.name}.{label}.log", "a")
        self.daemons[label] = subprocess.Popen(
            [*self.prefix, "sh", "-c", "exec " + command],
            stdin=subprocess.DEVNULL,
            stdout=log,
            stderr=log,
            start_new_session=True,
            env={**os.environ, **(env or {})},
        )
        return self.daemons[label]

    def stop(self, label, how=signal.SIGTERM):
        process = self.daemons.pop(label, None)
        if process and process.poll() is None:
            os.killpg(process.pid, how)
            process.wait(10)

    def write(self, path, text, mode=0o644):
        inside = pathlib.Path(f"/proc/{self.pid}/root{path}")
        inside.parent.mkdir(parents=True, exist_ok=True)
        inside.write_text(text)
        inside.chmod(mode)

    def addresses(self):
        return json.loads(self.run("ip -j addr", quiet=True))


def cable(a, a_port, b, b_port, a_mac, b_mac):
    """Joins two machines."""
    sh(
        "ip",
        "link",
        "add",
        a_port,
        "address",
        a_mac,
        "netns",
        str(a.pid),
        "type",
        "veth",
        "peer",
        "name",
        b_port,
        "address",
        b_mac,
        "netns",
        str(b.pid),
    )


def as_on_copper():
    """Turns off what network cards do for the kernel: every frame has its real checksum and its real size."""
    for host in Host.all.values():
        host.run(
            "for port in $(ls /sys/class/net); do case $port in lo|gre*|erspan*|vx*) ;; *) "
            "ethtool -K $port tx off rx off tso off gso off gro off sg off ;; esac; done >/dev/null 2>&1",
            quiet=True,
        )


class Switch(Host):
    """A bridge with a management address of its own."""

    def __init__(self, name, role, mac, stp=False, priority=32768, vlans=False):
        super().__init__(name, role)
        self.vlans = vlans
        self.run(
            f"ip link add br0 address {mac} type bridge stp_state {int(stp)} forward_delay 400 hello_time 200 "
            f"priority {priority} vlan_filtering {int(vlans)} mcast_snooping {int(not vlans)} && ip link set br0 up",
            check=True,
        )

    def port(self, name, access=None, trunk=()):
        commands = [f"ip link set {name} addrgenmode none master br0 up"]  # a port speaks no IPv6 of its own
        if self.vlans:
            commands.append(f"bridge vlan del dev {name} vid 1")
            commands += [f"bridge vlan add dev {name} vid {access} pvid untagged"] if access else []
            commands += [f"bridge vlan add dev {name} vid {vlan}" for vlan in trunk]
        self.run(" && ".join(commands), check=True, quiet=True)


class Tap:
    """A recording at one point, in nanoseconds; sample files are cut from it later."""

    def __init__(self, host, port, label, expression="", link_type=None):
        self.label = label
        self.path = f"/tmp/taps/{label}.pcap"
        pathlib.Path("/tmp/taps").mkdir(exist_ok=True)
        # The tap writes through the stage's own /tmp, which a machine does not see: hand it the open file.
        self.file = open(self.path, "wb")
        arguments = [
            "tcpdump",
            "-i",
            port,
            "-Z",
            "root",
            "-n",
            "-U",
            "-B",
            "16384",
            "--time-stamp-precision=nano",
            "-w",
            "-",
        ]
        if link_type:
            arguments += ["-y", link_type]
        self.process = subprocess.Popen(
            [*host.prefix, *arguments, *([expression] if expression else [])],
            stdout=self.file,
            stderr=open(LOG / f"tap.{label}.log", "w"),
            stdin=subprocess.DEVNULL,
        )
        deadline = time.time() + 10
        while os.path.getsize(self.path) < 24 and time.time() < deadline:
            time.sleep(0.05)

    def close(self):
        time.sleep(0.3)
        self.process.send_signal(signal.SIGINT)
        self.process.wait(10)
        self.file.close()


class Play:
    """What happens when: each scene runs at its second, in a thread of its own, and is noted with its times."""

    def __init__(self, notes):
        self.notes, self.threads, self.begin = notes, [], time.time()

    def at(self, second, name, action, needs=()):
        """Starts a scene at its second, or as soon as the machines it needs are up."""

        def perform():
            time.sleep(max(0.0, self.begin + second - time.time()))
            for host in needs:
                host.ready.wait(30)
            self.perform(name, action)

        self.begin_thread(perform)

    def in_turn(self, second, scenes):
        """Starts scenes one after another, each when the one before is over."""

        def perform():
            time.sleep(max(0.0, self.begin + second - time.time()))
            for name, action in scenes:
                self.perform(name, action)
                time.sleep(0.7)

        self.begin_thread(perform)

    def begin_thread(self, work):
        thread = threading.Thread(target=work, daemon=True)
        thread.start()
        self.threads.append(thread)

    def perform(self, name, action):
        note = {"scene": name, "begin": time.time()}
        try:
            action()
        except Exception as trouble:  # a scene that fails is told at the end; the others go on
            note["failed"] = f"{type(trouble).__name__}: {trouble}"
        note["end"] = time.time()
        self.notes.append(note)

    def finish(self, second):
        time.sleep(max(0.0, self.begin + second - time.time()))
        for thread in self.threads:
            thread.join(200)
