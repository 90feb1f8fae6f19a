#!/usr/bin/env python3
"""A wall of 16 live sources from this machine, four of which die and come back all the time.

live_wall.py [SECONDS] [DIRECTORY]    runs ./dev wall for so long (600); list, statistics, picture and clips go to the
directory (build/live). Prints rate and losses of each tile and the memory of the wall. Needs ffmpeg.
"""
import collections, json, os, pathlib, random, subprocess, sys, threading, time

RATE, SECONDS = 12, float(sys.argv[1]) if len(sys.argv) > 1 else 600.0
root = pathlib.Path(__file__).resolve().parent.parent
folder = pathlib.Path(sys.argv[2] if len(sys.argv) > 2 else root / "build" / "live").absolute()
folder.mkdir(parents=True, exist_ok=True)
stop = threading.Event()
# codec, way, whether it dies
SOURCES = [(codec, way, False) for way in ("rtp", "http", "udp") for codec in ("264", "265") for _ in range(2)]
SOURCES += [("264", "rtp", True), ("264", "http", True), ("264", "udp", True), ("265", "udp", True)]


def ffmpeg(*arguments):
    return ["ffmpeg", "-v", "quiet", "-nostdin", "-y", *map(str, arguments)]


def clip(number, codec):
    file = folder / f"{number}.ts"  # parameter sets with every key frame
    if not file.exists():
        options = ["-x265-params", "log-level=none:repeat-headers=1"] if codec == "265" else ["-bf", 0]
        subprocess.run(ffmpeg("-f", "lavfi", "-i", f"testsrc2=size=352x288:rate={RATE}:duration=20", "-vf",
                              f"hue=h={number * 22},format=yuv420p", "-c:v", f"libx{codec}", "-preset", "veryfast",
                              "-tune", "zerolatency", "-g", RATE, *options, file), check=True)
    return file


def keep_sending(number, codec, way, dies, port):
    """Sends until the end; what dies lives 4 to 8 s and is away for 2 to 6."""
    output = {"udp": ["-f", "mpegts", f"udp://127.0.0.1:{port}?pkt_size=1316"],
              "http": ["-f", "mpegts", "-listen", 1, f"http://127.0.0.1:{port}"],
              "rtp": ["-f", "rtp", f"rtp://127.0.0.1:{port}"]}[way]
    while not stop.is_set():
        sender = subprocess.Popen(ffmpeg("-re", "-stream_loop", -1, "-i", clip(number, codec), "-c", "copy", *output),
                                  stdout=subprocess.DEVNULL)
        end = time.monotonic() + random.uniform(4, 8) if dies else float("inf")
        while sender.poll() is None and not stop.is_set() and time.monotonic() < end:
            time.sleep(0.05)
        sender.kill()
        sender.wait()
        stop.wait(random.uniform(2, 6) if dies else 0.0)


def make_list(first_port):
    lines = ["# made by live_wall.py"]
    for number, (codec, way, _) in enumerate(SOURCES):
        port = first_port + 2 * number
        if way == "rtp":
            name = f"{number}.sdp"
            (folder / name).write_text("v=0\no=- 0 0 IN IP4 127.0.0.1\ns=-\nc=IN IP4 127.0.0.1\nt=0 0\n"
                                       f"m=video {port} RTP/AVP 96\na=rtpmap:96 H{codec}/90000\n")
            lines.append(name)
        else:
            lines.append(f"{way}://127.0.0.1:{port}")
        clip(number, codec)
    (folder / "cameras.txt").write_text("\n".join(lines) + "\n")


def memory_of_wall(statistics):
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            words = (process / "cmdline").read_bytes().split(b"\0")
            if words[0].endswith(b"/wall") and os.fsencode(statistics) in words:
                pages = int((process / "statm").read_text().split()[1])
                return pages * os.sysconf("SC_PAGE_SIZE") / 2**20
        except OSError:
            pass
    return None


def report(statistics):
    tiles = collections.defaultdict(list)
    for line in statistics.read_text().splitlines():
        row = json.loads(line)
        tiles[row["tile"]].append(row)
    seconds = lambda row: time.mktime(time.strptime(row["time"][:19], "%Y-%m-%dT%H:%M:%S")) + float(row["time"][19:23])
    for tile, rows in sorted(tiles.items()):
        first, last = rows[min(15, len(rows) // 2)], rows[-1]  # when all have begun
        took = seconds(last) - seconds(first)
        codec, way, dies = SOURCES[tile - 1]
        print(f"{tile:2} H.{codec} {way:4} {'dies' if dies else '    '} received "
              f"{(last['received'] - first['received']) / took:5.2f} and shown "
              f"{(last['shown'] - first['shown']) / took:5.2f} of {RATE} a second, {last['dropped']:3} dropped, "
              f"{last['losses']:3} losses")


def main():
    first_port = 42000
    make_list(first_port)
    senders = [threading.Thread(target=keep_sending, args=(number, *source, first_port + 2 * number))
               for number, source in enumerate(SOURCES)]
    for sender in senders:
        sender.start()
    statistics = folder / "statistics.jsonl"
    wall = subprocess.Popen([root / "dev", "wall", "--seconds", str(SECONDS), "--timeout", "2", "--longest-pause", "1",
                             "--picture", folder / "wall.png", "--record-statistics", statistics,
                             folder / "cameras.txt"])
    begin = None
    while wall.poll() is None:
        memory = memory_of_wall(statistics)
        begin = begin or (memory and time.monotonic())
        if begin:
            print(f"{time.monotonic() - begin:4.0f} s  {memory or 0.0:.1f} MiB", flush=True)
        for _ in range(60 if begin else 1):
            if wall.poll() is None:
                time.sleep(0.5)
    stop.set()
    for sender in senders:
        sender.join()
    report(statistics)


main()
