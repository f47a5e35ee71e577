#!/usr/bin/env python3
"""Checks the WebAssembly build of the web host against the native one.

1. The same session is replayed by the native web_replay program and by the
   WebAssembly module under node; every frame buffer they write must agree
   bit for bit.
2. The page is loaded in headless Chromium with the session in its query
   string; after its animation frames the canvas is read back and must equal
   the native frame widened to 8-bit RGBA the way the page widens it.

With --bench N the page's timing mode and the native program's run instead
and their figures (milliseconds per frame and frames per second, drawing
only) are printed with the module's size.
"""
import argparse
import base64
import fcntl
import functools
import http.server
import json
import os
import shutil
import subprocess
import sys
import tempfile
import threading
import time
import urllib.parse

WIDTH, HEIGHT = 640, 480
FRAME_BYTES = WIDTH * HEIGHT * 2

# After a paused session the page is driven by real input events (their
# timing then no longer matters): painter's sort by key, a drag, a wheel notch.
PAGE_SESSION = "k_ f1"
INPUT_SESSION = PAGE_SESSION + " kD d40,0 w1 f1"

# Every control once, each followed by a snapshot: the slow turn, a drag, the
# wheel both ways, painter's sort and back, lights off and on, wire, dots,
# solid, pause.
SESSION = "f1 f4 d60,-20 f2 w3 f1 kD f1 kL f1 k2 f1 k3 f1 k1 f1 k_ d-30,40 w-5 f3 kD kL f2"


def steps_of(session):
    """The tokens that lead up to each snapshot."""
    steps, current = [], []
    for token in session.split():
        current.append(token)
        if token[0] == "f":
            steps.append(current)
            current = []
    return steps


def frames_of(data):
    if len(data) % FRAME_BYTES:
        raise ValueError("output is not a whole number of frames")
    return [data[i:i + FRAME_BYTES] for i in range(0, len(data), FRAME_BYTES)]


def describe_difference(a, b):
    """Count of differing pixels and the first one, for the failure message."""
    diff = [i for i in range(0, len(a), 2) if a[i:i + 2] != b[i:i + 2]]
    if not diff:
        return None
    i = diff[0]
    return "%d pixels differ, first at (%d, %d): %s vs %s" % (
        len(diff), (i // 2) % WIDTH, (i // 2) // WIDTH, a[i:i + 2][::-1].hex(), b[i:i + 2][::-1].hex())


def widen(frame):
    """5-5-5 pixels to RGBA bytes, each channel's top bits repeated below."""
    out = bytearray(WIDTH * HEIGHT * 4)
    w = [(c << 3) | (c >> 2) for c in range(32)]
    for i in range(WIDTH * HEIGHT):
        p = frame[2 * i] | frame[2 * i + 1] << 8
        out[4 * i:4 * i + 4] = bytes((w[(p >> 10) & 31], w[(p >> 5) & 31], w[p & 31], 255))
    return bytes(out)


class Site:
    """The page directory on a loopback HTTP server."""

    def __init__(self, root):
        handler = functools.partial(QuietHandler, directory=root)
        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
        self.thread = threading.Thread(target=self.server.serve_forever, daemon=True)

    def __enter__(self):
        self.thread.start()
        return "http://127.0.0.1:%d/" % self.server.server_address[1]

    def __exit__(self, *exc):
        self.server.shutdown()
        self.server.server_close()


class QuietHandler(http.server.SimpleHTTPRequestHandler):
    extensions_map = dict(http.server.SimpleHTTPRequestHandler.extensions_map, **{".wasm": "application/wasm"})

    def log_message(self, *args):
        pass


class Browser:
    """Headless Chromium driven through its DevTools pipe (fds 3 and 4)."""

    def __init__(self, chromium, profile):
        to_child_r, self.to_child = os.pipe()
        self.from_child, from_child_w = os.pipe()
        # Park the child's ends above 3 and 4 so the dup2 calls cannot clash.
        hi_r = fcntl.fcntl(to_child_r, fcntl.F_DUPFD, 10)
        hi_w = fcntl.fcntl(from_child_w, fcntl.F_DUPFD, 10)

        def wire():
            os.dup2(hi_r, 3)
            os.dup2(hi_w, 4)

        args = [chromium, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                "--disable-background-networking", "--disable-component-update", "--disable-sync",
                "--user-data-dir=" + profile, "--remote-debugging-pipe", "about:blank"]
        self.proc = subprocess.Popen(args, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                     stderr=subprocess.DEVNULL, preexec_fn=wire, pass_fds=(3, 4))
        for fd in (to_child_r, from_child_w, hi_r, hi_w):
            os.close(fd)
        self.buffer = b""
        self.next_id = 0

    def call(self, method, params=None, session=None, timeout=60):
        self.next_id += 1
        message = {"id": self.next_id, "method": method, "params": params or {}}
        if session:
            message["sessionId"] = session
        os.write(self.to_child, json.dumps(message).encode() + b"\0")
        deadline = time.time() + timeout
        while True:
            while b"\0" not in self.buffer:
                if time.time() > deadline or self.proc.poll() is not None:
                    raise RuntimeError("no answer from chromium to " + method)
                chunk = os.read(self.from_child, 1 << 20)
                if not chunk:
                    raise RuntimeError("chromium closed its pipe")
                self.buffer += chunk
            raw, self.buffer = self.buffer.split(b"\0", 1)
            reply = json.loads(raw)
            if reply.get("id") == self.next_id:
                if "error" in reply:
                    raise RuntimeError("%s: %s" % (method, reply["error"]))
                return reply["result"]

    def page_result(self, url, timeout):
        """Opens url and waits for the page to publish window.e3dResult."""
        target = self.call("Target.createTarget", {"url": url})["targetId"]
        self.session = self.call("Target.attachToTarget", {"targetId": target, "flatten": True})["sessionId"]
        deadline = time.time() + timeout
        while time.time() < deadline:
            value = self.evaluate("window.e3dResult ? JSON.stringify(window.e3dResult) : ''")
            if value:
                return json.loads(value)
            time.sleep(0.2)
        raise RuntimeError("the page published no result within %d s" % timeout)

    def evaluate(self, expression):
        return self.call("Runtime.evaluate", {"expression": expression, "returnByValue": True},
                         self.session)["result"].get("value")

    def mouse(self, kind, x, y, **extra):
        self.call("Input.dispatchMouseEvent", dict({"type": kind, "x": x, "y": y}, **extra), self.session)

    def key(self, char):
        for kind in ("keyDown", "keyUp"):
            self.call("Input.dispatchKeyEvent", {"type": kind, "key": char, "text": char if kind == "keyDown" else "",
                                                 "code": "Key" + char.upper()}, self.session)

    def canvas(self):
        """The canvas as RGBA bytes."""
        return base64.b64decode(self.evaluate(
            "(() => { const c = document.getElementById('view');"
            " const d = c.getContext('2d').getImageData(0, 0, c.width, c.height).data; let s = '';"
            " for (let i = 0; i < d.length; i += 8192) s += String.fromCharCode.apply(null, d.subarray(i, i + 8192));"
            " return btoa(s); })()"))

    def close(self):
        try:
            self.call("Browser.close", timeout=10)
        except RuntimeError:
            pass
        try:
            self.proc.wait(timeout=10)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            self.proc.wait()
        os.close(self.to_child)
        os.close(self.from_child)


def check_script_canvas(result, native_last):
    """The canvas the scripted page leaves must be the native last frame."""
    if "error" in result:
        return ["page: " + result["error"]]
    failures = []
    frames = sum(int(t[1:]) for t in SESSION.split() if t[0] == "f")
    if result["frames"] != frames:
        failures.append("page ran %d frames, expected %d" % (result["frames"], frames))
    d = describe_canvas(base64.b64decode(result["rgba"]), widen(native_last))
    if d:
        failures.append("canvas after %d frames: %s" % (frames, d))
    print("chromium: canvas after %d scripted frames compared" % result["frames"])
    return failures


def check_input(browser, root, native_frame):
    """Key, drag and wheel events reach the engine as the replay's tokens do."""
    result = browser.page_result(root + "index.html?script=" + urllib.parse.quote(PAGE_SESSION), 120)
    if "error" in result:
        return ["page: " + result["error"]]
    box = json.loads(browser.evaluate("JSON.stringify(document.getElementById('view').getBoundingClientRect())"))
    x, y = box["x"] + 200, box["y"] + 200
    browser.key("d")
    browser.mouse("mousePressed", x, y, button="left", buttons=1, clickCount=1)
    browser.mouse("mouseMoved", x + 40, y, button="left", buttons=1)
    browser.mouse("mouseReleased", x + 40, y, button="left", buttons=0, clickCount=1)
    browser.mouse("mouseWheel", x + 40, y, deltaX=0, deltaY=-100)
    time.sleep(1.0)  # a few live frames
    d = describe_canvas(browser.canvas(), widen(native_frame))
    print("chromium: canvas after key, drag and wheel events compared")
    return ["canvas after input events: " + d] if d else []


def describe_canvas(canvas, expected):
    if len(canvas) != len(expected):
        return "%d bytes, expected %d" % (len(canvas), len(expected))
    bad = sum(1 for i in range(0, len(expected), 4) if canvas[i:i + 4] != expected[i:i + 4])
    return "%d of %d pixels differ" % (bad, WIDTH * HEIGHT) if bad else None


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--site", required=True, help="directory holding index.html and the module")
    ap.add_argument("--replay", required=True, help="native web_replay program")
    ap.add_argument("--node", required=True)
    ap.add_argument("--chromium", required=True)
    ap.add_argument("--work", required=True, help="scratch directory")
    ap.add_argument("--bench", type=int, default=0, help="time N frames in the page instead of checking")
    ap.add_argument("--max-module-bytes", type=int, default=0, help="size budget of the module (0: none)")
    args = ap.parse_args()
    here = os.path.dirname(os.path.abspath(__file__))
    os.makedirs(args.work, exist_ok=True)

    profile = tempfile.mkdtemp(prefix="chromium-", dir=args.work)
    try:
        if args.bench:
            native = subprocess.run([args.replay, "--bench", str(args.bench)], check=True, capture_output=True,
                                    text=True).stdout
            print("native:   " + native.strip())
            with Site(args.site) as root:
                browser = Browser(args.chromium, profile)
                try:
                    result = browser.page_result(root + "index.html?bench=%d" % args.bench, 180)
                    print("chromium: " + json.dumps(result))
                finally:
                    browser.close()
            if "error" in result:
                return 1
            print("showcase frames per second, drawing only (median batch): native %.1f, WebAssembly %.1f "
                  "(%.2fx the time); module %d bytes" % (json.loads(native)["fps"], result["fps"],
                                                          result["medianMs"] / json.loads(native)["medianMs"],
                                                          os.path.getsize(os.path.join(args.site, "engine3d_web.wasm"))))
            return 0

        native_path = os.path.join(args.work, "native.raw")
        node_path = os.path.join(args.work, "node.raw")
        subprocess.run([args.replay, SESSION, native_path], check=True)
        subprocess.run([args.node, os.path.join(here, "replay_node.js"), os.path.join(args.site, "engine3d_web.js"),
                        os.path.join(args.site, "script.js"), SESSION, node_path], check=True)
        with open(native_path, "rb") as f:
            native = frames_of(f.read())
        with open(node_path, "rb") as f:
            node = frames_of(f.read())
        failures = []
        module_bytes = os.path.getsize(os.path.join(args.site, "engine3d_web.wasm"))
        print("module: %d bytes" % module_bytes)
        if args.max_module_bytes and module_bytes > args.max_module_bytes:
            failures.append("module of %d bytes, over its budget of %d" % (module_bytes, args.max_module_bytes))
        if len(native) != len(node) or len(native) != SESSION.count("f"):
            failures.append("snapshot counts: native %d, node %d" % (len(native), len(node)))
        for k, (a, b) in enumerate(zip(native, node)):
            d = describe_difference(a, b)
            if d:
                failures.append("node snapshot %d: %s" % (k, d))
        # The session must be worth comparing: each step changes the picture.
        # Wire and dots are left out, as their look is up to those fillers.
        for k, step in enumerate(steps_of(SESSION)[1:len(native)], 1):
            if native[k] == native[k - 1] and not {"k2", "k3"} & set(step):
                failures.append("native snapshot %d equals the one before: %s changed nothing" % (k, " ".join(step)))
        print("node: %d snapshots compared" % len(node))

        subprocess.run([args.replay, INPUT_SESSION, native_path], check=True)
        with open(native_path, "rb") as f:
            before_input, after_input = frames_of(f.read())
        if before_input == after_input:
            failures.append("the input session changed nothing")
        with Site(args.site) as root:
            browser = Browser(args.chromium, profile)
            try:
                result = browser.page_result(root + "index.html?script=" + urllib.parse.quote(SESSION), 120)
                failures += check_script_canvas(result, native[-1])
                failures += check_input(browser, root, after_input)
            finally:
                browser.close()
        for f in failures:
            print("FAIL " + f)
        return 1 if failures else 0
    finally:
        shutil.rmtree(profile, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
