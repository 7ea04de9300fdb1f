"""Capture latency: mouse release to text on the clipboard (run through bench/capture/run)."""
import json
import os
import select
import statistics
import subprocess
import sys
import tempfile
import time

build = os.environ["TESSARY_BENCH_BUILD"]
root = os.environ["TESSARY_BENCH_ROOT"]
count = int(os.environ["TESSARY_BENCH_COUNT"])
# With TESSARY_BENCH_IDLE=N the application releases its engines after N seconds without a capture, and every
# capture starts after such a release; without it every capture finds the engines warm.
idle = float(os.environ.get("TESSARY_BENCH_IDLE", "0"))
# How long the drag lasts, in seconds (TESSARY_BENCH_DRAG; a hand takes about one): the engines load meanwhile.
drag = float(os.environ.get("TESSARY_BENCH_DRAG", "0"))


def memory(pid):
    """VmRSS and VmHWM of the process, in MB."""
    fields = {}
    with open(f"/proc/{pid}/status") as f:
        for line in f:
            key, _, value = line.partition(":")
            fields[key] = value.strip()
    return int(fields["VmRSS"].split()[0]) / 1024, int(fields["VmHWM"].split()[0]) / 1024


def run(*args, **kwargs):
    return subprocess.run(args, capture_output=True, text=True, **kwargs)


def clipboard():
    return run("xclip", "-selection", "clipboard", "-o").stdout


class ClipboardWatch:
    """Owner changes of the clipboard, as the X server reports them (no polling, which would load the machine)."""

    def __init__(self):
        self.process = subprocess.Popen([os.path.join(build, "bench", "tessary-clipboard-watch")],
                                        stdout=subprocess.PIPE, text=True)
        if self.process.stdout.readline().strip() != "ready":
            sys.exit("clipboard-watch did not start")

    def drain(self):
        while select.select([self.process.stdout], [], [], 0)[0]:
            self.process.stdout.readline()

    def next_change(self, timeout):
        """The CLOCK_MONOTONIC time of the next owner change, or None."""
        if not select.select([self.process.stdout], [], [], timeout)[0]:
            return None
        return float(self.process.stdout.readline())


def wait_for(predicate, timeout):
    end = time.monotonic() + timeout
    while time.monotonic() < end:
        if predicate():
            return True
        time.sleep(0.002)
    return False


config = tempfile.mkdtemp()
os.makedirs(os.path.join(config, "md.velmor.tessary"))
with open(os.path.join(config, "md.velmor.tessary", "defaults.ini"), "w") as f:
    f.write("[General]\nlanguage=en\n")
env = dict(os.environ, XDG_CONFIG_HOME=config)
if idle > 0:
    env["TESSARY_ENGINE_IDLE_SECONDS"] = f"{idle:g}"

# Screen text: 800x200 of the sample, shown at the top left by ImageMagick's viewer.
sample = os.path.join(root, "samples", "tessary-sample.png")
region = os.path.join(config, "region.png")
run("convert", sample, "-background", "white", "-gravity", "northwest", "-extent", "800x200", region)
viewer = subprocess.Popen(["display", "-geometry", "+0+0", region])
host = subprocess.Popen(["/usr/bin/python3", os.path.join(root, "tests", "support", "sni_host.py"), "serve"],
                        stdout=subprocess.PIPE)
host.stdout.readline()
app = subprocess.Popen([os.path.join(build, "bin", "tessary")], env=env, stderr=subprocess.DEVNULL)
time.sleep(3)  # models warm up at launch

watch = ClipboardWatch()
with open(os.path.join(root, "samples", "tessary-sample.txt"), encoding="utf-8") as f:
    expected = f.read().strip()
wrong = 0
timings = []
idle_rss = []
for i in range(count):
    if idle > 0:
        time.sleep(idle + 1.5)  # the engines are released
    idle_rss.append(memory(app.pid)[0])
    marker = f"bench-marker-{i}"
    subprocess.run(["xclip", "-selection", "clipboard", "-i"], input=marker, text=True)
    wait_for(lambda: clipboard() == marker, 5)
    run("xdotool", "key", "ctrl+shift+super+2")
    wait_for(lambda: run("xdotool", "search", "--onlyvisible", "--name", "^Tessary Capture$").stdout != "", 10)
    run("xdotool", "mousemove", "0", "0", "mousedown", "1", "mousemove", "400", "100")
    for step in range(1, 11 if drag > 0 else 1):
        time.sleep(drag / 10)
        run("xdotool", "mousemove", str(400 + 40 * step), str(100 + 10 * step))
    run("xdotool", "mousemove", "800", "200")
    watch.drain()
    start = time.monotonic()
    run("xdotool", "mouseup", "1")
    changed = watch.next_change(10)
    text = clipboard()
    if changed is None or text in ("", marker):
        print(f"capture {i}: no text", file=sys.stderr)
        continue
    timings.append(changed - start)
    if text.strip() != expected:
        wrong += 1
        print(f"capture {i}: unexpected text {text!r}", file=sys.stderr)
    time.sleep(1.7)  # the toast goes away

peak_rss = memory(app.pid)[1]
app.terminate()
watch.process.terminate()
host.terminate()
viewer.terminate()
timings.sort()
result = {
    "captures": len(timings),
    "p50_ms": round(statistics.median(timings) * 1000, 1),
    "p90_ms": round(timings[int(0.9 * (len(timings) - 1))] * 1000, 1),
    "min_ms": round(timings[0] * 1000, 1),
    "max_ms": round(timings[-1] * 1000, 1),
    "wrong_text": wrong,
    "idle_seconds": idle,
    "drag_seconds": drag,
    "rss_before_capture_mb": round(statistics.median(idle_rss)),
    "peak_rss_mb": round(peak_rss),
}
print(json.dumps(result))
