"""Asks tshark which frames each of many display filters selects, in one pass over the file."""
import pathlib
import subprocess
import tempfile

LISTENERS = """for index, filter in ipairs({%s}) do
  local listener = Listener.new("frame", filter)
  function listener.packet(pinfo) print(index .. "\\t" .. pinfo.number) end
end
"""


def frames_of(path, filters):
    """A list of frame numbers, starting at 1, for each filter."""
    with tempfile.TemporaryDirectory() as folder:
        script = pathlib.Path(folder) / "ask.lua"
        script.write_text(LISTENERS % ",\n".join(f"[==[{expression}]==]" for expression in filters))
        done = subprocess.run(
            ["tshark", "-q", "-n", "-X", f"lua_script:{script}", "-r", str(path)],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
        )
    # A filter that does not compile is said on the error channel only; the remark about running as root is no error.
    said = [line for line in done.stderr.splitlines() if line and "could be dangerous" not in line]
    if done.returncode or said:
        raise RuntimeError(f"tshark, {path}: {' '.join(said) or done.returncode}")
    found = [[] for _ in filters]
    for line in done.stdout.splitlines():
        index, number = line.split("\t")
        found[int(index) - 1].append(int(number))
    return found


def fields_of(path, *fields, only=None):
    """The first value of some fields, for each frame (or each that a filter selects)."""
    command = ["tshark", "-n", "-r", str(path), "-T", "fields", "-E", "occurrence=f", *(["-Y", only] if only else [])]
    for field in fields:
        command += ["-e", field]
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if done.returncode:
        raise RuntimeError(f"tshark, {path}: {done.stderr.strip()}")
    return [line.split("\t") for line in done.stdout.splitlines()]
