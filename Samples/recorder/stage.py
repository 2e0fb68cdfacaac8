"""Runs inside the stage's own kernel: builds the office, plays the scenes, leaves recordings and notes."""
import json
import pathlib
import shutil
import sys
import time

import more
import net
import office
import servers

out = pathlib.Path(sys.argv[1])
scenes = sys.argv[2].split(",") if len(sys.argv) > 2 else []


def step(text):
    print(f"[{time.time() - began:6.1f} s] {text}", flush=True)


def keep():
    global machines
    """Leaves what there is where the recorder finds it. The machines are described as they were after the tour."""
    machines = machines or office.describe()
    (out / "notes.json").write_text(json.dumps({"hosts": machines, "scenes": notes}, indent=1))
    shutil.copytree(net.LOG, out / "log", dirs_exist_ok=True)
    if pathlib.Path("/tmp/taps").exists():
        shutil.copytree("/tmp/taps", out / "taps", dirs_exist_ok=True)


machines = None
began = time.time()
net.LOG.mkdir(parents=True)
notes = []
try:
    step("building the office")
    office.build()
    more.build(net.Host.all)
    net.as_on_copper()
    step("starting the servers")
    servers.start_all(net.Host.all)
    if "tour" in scenes:
        import tour

        step("recording the tour")
        tour.play(net.Host.all, notes)
        keep()
    if "trouble" in scenes:
        import trouble

        step("recording the trouble")
        trouble.play(net.Host.all, notes)
    step("done")
    for host in net.Host.all.values():
        for label, process in host.daemons.items():
            if process.poll():
                print(f"{host.name}: {label} ended with {process.returncode}")
finally:
    keep()
