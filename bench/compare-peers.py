#!/usr/bin/env python3
"""Runs the toolkit's tools and their dcmtk and GDCM counterparts on the same
generated data, alternating the contenders in every round, and prints a
Markdown table of median wall times with the ratio ours / best peer (below 1
means we are faster). A peer that is not installed is skipped.

usage: compare-peers.py BUILD_DIR [--rounds N] [--work DIR] [--multiframe-mb N]
                        [--small-files N] [--only SUBSTRING]

All network work runs on 127.0.0.1 with free ports; every server this script
starts is stopped by its PID.
"""
import argparse
import os
import shutil
import signal
import socket
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def wait_port(port, seconds=10.0):
    deadline = time.time() + seconds
    while time.time() < deadline:
        with socket.socket() as s:
            if s.connect_ex(("127.0.0.1", port)) == 0:
                return True
        time.sleep(0.02)
    return False


def run(cmd, **kw):
    subprocess.run(cmd, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True, **kw)


def timed(cmd, cwd=None):
    """Wall time of one run of cmd, or None when it fails (shown as "fails")."""
    start = time.perf_counter()
    try:
        run(cmd, cwd=cwd)
    except subprocess.CalledProcessError:
        return None
    return time.perf_counter() - start


class Server:
    """A receiver process, started on a free port and stopped by its PID;
    `cpu` is the user+system time of it and the children it reaped."""

    def __init__(self, argv_for_port, folder):
        self.port = free_port()
        os.makedirs(folder, exist_ok=True)
        self.proc = subprocess.Popen(argv_for_port(self.port, folder),
                                     stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        if not wait_port(self.port):
            self.stop()
            raise RuntimeError("server did not start: %s" % argv_for_port(self.port, folder))
        self.cpu = 0.0

    def stop(self):
        if self.proc.poll() is None:
            os.kill(self.proc.pid, signal.SIGTERM)
        try:
            _, _, usage = os.wait4(self.proc.pid, 0)
            self.cpu = usage.ru_utime + usage.ru_stime
        except ChildProcessError:
            pass
        return self.cpu


class Table:
    def __init__(self):
        self.rows = []

    def add(self, work, results, note=""):
        ours = results.get("Brenik3")
        peers = [v for k, v in results.items() if k != "Brenik3" and v not in (None, FAILED)]
        best = min(peers) if peers else None
        ratio = "%.2fx" % (ours / best) if ours not in (None, FAILED) and best else "-"
        self.rows.append((work, results, ratio, note))
        print("  %s: %s  ratio %s %s" % (work, ", ".join(
            "%s %s" % (k, fmt(v)) for k, v in results.items()), ratio, note), file=sys.stderr)

    def markdown(self):
        out = ["| work | Brenik3 | dcmtk | GDCM | ours / best peer |", "|---|---|---|---|---|"]
        for work, results, ratio, note in self.rows:
            out.append("| %s | %s | %s | %s | %s%s |" % (
                work, fmt(results.get("Brenik3")), fmt(results.get("dcmtk")),
                fmt(results.get("GDCM")), ratio, " (%s)" % note if note else ""))
        return "\n".join(out)


FAILED = -1.0  # a contender that failed every round


def fmt(seconds):
    if seconds is None:
        return "-"
    if seconds == FAILED:
        return "fails"
    return "%.3f s" % seconds if seconds >= 0.01 else "%.1f ms" % (seconds * 1000)


def compare(rounds, contenders):
    """contenders: name -> callable returning seconds (or None to skip).
    Alternates the contenders round by round; returns name -> median."""
    contenders = {name: fn for name, fn in contenders.items() if fn is not None}
    times = {name: [] for name in contenders}
    for r in range(rounds):
        order = list(contenders.items())
        if r % 2:
            order.reverse()
        for name, fn in order:
            t = fn()
            if t is not None:
                times[name].append(t)
    return {name: statistics.median(t) if t else FAILED for name, t in times.items()}


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("build")
    ap.add_argument("--rounds", type=int, default=5)
    ap.add_argument("--work", default=None)
    ap.add_argument("--multiframe-mb", type=int, default=256)
    ap.add_argument("--small-files", type=int, default=1000)
    ap.add_argument("--only", default="")
    args = ap.parse_args()

    tools = os.path.join(os.path.abspath(args.build), "tools")
    b3 = lambda name: os.path.join(tools, name)
    have = lambda name: shutil.which(name) is not None
    has_b3 = lambda name: os.access(b3(name), os.X_OK)
    work = args.work or tempfile.mkdtemp(prefix="b3-compare-")
    data = os.path.join(work, "data")
    small = os.path.join(data, "small")
    table = Table()
    want = lambda work_name: args.only.lower() in work_name.lower()

    print("making data in %s" % data, file=sys.stderr)
    run([sys.executable, os.path.join(HERE, "make-bench-data.py"), data,
         "--multiframe-mb", str(args.multiframe_mb)])
    if not os.path.isdir(small):
        # b3-mkimage writes at most 999 slices a series: larger sets are made
        # in batches, each file renamed to a File ID of its own (I<batch><n>).
        os.makedirs(small)
        left, batch = args.small_files, 0
        while left > 0:
            count = min(left, 500)
            part = os.path.join(data, "part%d" % batch)
            run([b3("b3-mkimage"), "--count", str(count), "--size", "512", part])
            for name in os.listdir(part):
                os.rename(os.path.join(part, name), os.path.join(small, "I%d%s" % (batch, name[3:])))
            os.rmdir(part)
            left -= count
            batch += 1
    rt = os.path.join(data, "rtstruct.dcm")
    mf = os.path.join(data, "multiframe.dcm")
    small_files = sorted(os.path.join(small, f) for f in os.listdir(small))

    def dump_row(title, path):
        if not want(title):
            return
        table.add(title, compare(args.rounds, {
            "Brenik3": lambda: timed([b3("b3-dump"), path]),
            "dcmtk": (lambda: timed(["dcmdump", "-M", path])) if have("dcmdump") else None,
            "GDCM": (lambda: timed(["gdcmdump", path])) if have("gdcmdump") else None,
        }))

    dump_row("dump of an RT structure set (%d KB)" % (os.path.getsize(rt) // 1024), rt)
    dump_row("dump of a %d MB multi-frame file" % (os.path.getsize(mf) >> 20), mf)
    if want("dump of %d files" % len(small_files)):
        table.add("dump of %d files of 512 KB, one process" % len(small_files), compare(args.rounds, {
            "Brenik3": lambda: timed([b3("b3-dump")] + small_files),
            "dcmtk": (lambda: timed(["dcmdump", "-M"] + small_files)) if have("dcmdump") else None,
        }))

    if want("dicomdir"):
        def dicomdir(cmd):
            def fn():
                target = os.path.join(work, "dicomdir")
                shutil.rmtree(target, ignore_errors=True)
                shutil.copytree(small, os.path.join(target, "IMAGES"), copy_function=os.link)
                return timed(cmd(target), cwd=target)
            return fn
        table.add("DICOMDIR of %d files" % len(small_files), compare(args.rounds, {
            "Brenik3": dicomdir(lambda t: [b3("b3-dicomdir"), t]),
            "dcmtk": dicomdir(lambda t: ["dcmmkdir", "+r", "-Pgp", "+id", t, "+D",
                                         os.path.join(t, "DICOMDIR"), "IMAGES"])
            if have("dcmmkdir") else None,
        }))

    if want("rewrite") and has_b3("b3-convert"):
        out = os.path.join(work, "rewritten.dcm")
        table.add("rewrite the RT structure set in implicit VR", compare(args.rounds, {
            "Brenik3": lambda: timed([b3("b3-convert"), "--implicit", rt, out]),
            "dcmtk": (lambda: timed(["dcmconv", "+ti", rt, out])) if have("dcmconv") else None,
            "GDCM": (lambda: timed(["gdcmconv", "--implicit", rt, out])) if have("gdcmconv") else None,
        }))

    # Multi-frame conversion, one frame at a time on our side: encoding the
    # native file, and decoding dcmtk's encoding of it (the same input for all).
    if want("multi-frame") and has_b3("b3-convert"):
        mb = os.path.getsize(mf) >> 20
        out = os.path.join(work, "converted.dcm")
        for name, ours, dcmtk_encode, dcmtk_decode, gdcm in [
                ("RLE", "--rle", "dcmcrle", "dcmdrle", "--rle"),
                ("JPEG-LS", "--jpls", "dcmcjpls", "dcmdjpls", "--jpegls")]:
            title = "convert the %d MB multi-frame file to %s" % (mb, name)
            if want(title) and have(dcmtk_encode):
                table.add(title, compare(args.rounds, {
                    "Brenik3": lambda o=ours: timed([b3("b3-convert"), o, mf, out]),
                    "dcmtk": lambda e=dcmtk_encode: timed([e, mf, out]),
                    "GDCM": (lambda g=gdcm: timed(["gdcmconv", g, mf, out])) if have("gdcmconv") else None,
                }))
            encoded = os.path.join(work, "multiframe-%s.dcm" % name)
            title = "convert the multi-frame file from %s back to native" % name
            if want(title) and have(dcmtk_encode) and have(dcmtk_decode):
                if not os.path.exists(encoded):
                    run([dcmtk_encode, mf, encoded])
                table.add(title, compare(args.rounds, {
                    "Brenik3": lambda e=encoded: timed([b3("b3-convert"), "--explicit", e, out]),
                    "dcmtk": lambda d=dcmtk_decode, e=encoded: timed([d, e, out]),
                    "GDCM": (lambda e=encoded: timed(["gdcmconv", "--raw", e, out])) if have("gdcmconv") else None,
                }))

    # Storage: every pairing of sender and receiver, timed at the sender.
    receivers = {"Brenik3": lambda port, folder: [b3("b3-receive"), "-p", str(port), "-o", folder]}
    senders = {"Brenik3": lambda port, files: [b3("b3-send"), "127.0.0.1:%d" % port] + files}
    if have("storescp"):
        receivers["dcmtk"] = lambda port, folder: ["storescp", "--fork", "-od", folder, str(port)]
    if have("storescu"):
        senders["dcmtk"] = lambda port, files: ["storescu", "127.0.0.1", str(port)] + files
    for what, files in (("1 x %d MB" % (os.path.getsize(mf) >> 20), [mf]),
                        ("%d x 512 KB" % len(small_files), small_files)):
        title = "C-STORE %s" % what
        if not want(title):
            continue
        for sender_name, sender in senders.items():
            results = {}
            cpu = {}
            for receiver_name, receiver in receivers.items():
                folder = os.path.join(work, "store-" + receiver_name)
                samples, cpus = [], []
                for _ in range(args.rounds):
                    shutil.rmtree(folder, ignore_errors=True)
                    server = Server(receiver, folder)
                    try:
                        samples.append(timed(sender(server.port, files)))
                    finally:
                        cpus.append(server.stop())
                ok = [t for t in samples if t is not None]
                results[receiver_name] = statistics.median(ok) if ok else FAILED
                cpu[receiver_name] = statistics.median(cpus)
            # storescp --fork does not wait for its children before it stops,
            # so only our receiver's CPU (its children included) is shown.
            note = "b3-receive CPU %.2f s" % cpu["Brenik3"]
            table.add("%s, %s sender, to each receiver" % (title, sender_name), results, note)

    if want("echo"):
        def with_receiver(receiver, fn):
            def wrapped():
                server = Server(receiver, os.path.join(work, "echo-store"))
                try:
                    return fn(server.port)
                finally:
                    server.stop()
            return wrapped

        def echoes_one(cmd):
            return lambda port: timed(cmd(port))

        def echo_processes(cmd):
            def fn(port):
                start = time.perf_counter()
                for _ in range(200):
                    if timed(cmd(port)) is None:
                        return None
                return time.perf_counter() - start
            return fn
        b3_recv = receivers["Brenik3"]
        dc_recv = receivers.get("dcmtk", b3_recv)
        table.add("200 echoes on one association", compare(args.rounds, {
            "Brenik3": with_receiver(b3_recv, echoes_one(lambda p: [b3("b3-echo"), "-r", "200", "127.0.0.1:%d" % p])),
            "dcmtk": with_receiver(dc_recv, echoes_one(lambda p: ["echoscu", "--repeat", "200", "127.0.0.1", str(p)]))
            if have("echoscu") else None,
        }))
        table.add("200 echo processes", compare(max(1, args.rounds // 2), {
            "Brenik3": with_receiver(b3_recv, echo_processes(lambda p: [b3("b3-echo"), "127.0.0.1:%d" % p])),
            "dcmtk": with_receiver(dc_recv, echo_processes(lambda p: ["echoscu", "127.0.0.1", str(p)]))
            if have("echoscu") else None,
        }))

        def burst(receiver):
            def fn():
                server = Server(receiver, os.path.join(work, "burst-store"))
                try:
                    start = time.perf_counter()
                    procs = [subprocess.Popen(["echoscu", "127.0.0.1", str(server.port)] if have("echoscu")
                                              else [b3("b3-echo"), "127.0.0.1:%d" % server.port],
                                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
                             for _ in range(30)]
                    waits = []
                    for p in procs:
                        p.wait(timeout=60)
                        waits.append(time.perf_counter() - start)
                    return max(waits)
                finally:
                    server.stop()
            return fn
        table.add("30 associations at once: slowest", compare(args.rounds, {
            "Brenik3": burst(b3_recv),
            "dcmtk": burst(dc_recv) if have("storescp") else None,
        }))

    print(table.markdown())
    if not args.work:
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    main()
