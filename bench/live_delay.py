#!/usr/bin/env python3
"""Delay from the sender's clock to the composed window, of the player and of other players on the same stream.

live_delay.py [ROUNDS]    needs ffmpeg and Xvfb, and ffplay and mpv to compare with.

The sender draws its clock, in milliseconds, as black and white blocks into each picture. Here the window's pixels are
looked at every two milliseconds; the delay of a picture is the clock at the first look that shows it less the one that
is drawn. The players take turns, 15 s each a round; the first 5 s count for nothing.
"""
import ctypes, os, pathlib, statistics, subprocess, sys, tempfile, threading, time

WIDTH, HEIGHT, RATE, BITS, BLOCK = 352, 288, 25, 20, 16
ROUNDS, TURN, SETTLE = int(sys.argv[1]) if len(sys.argv) > 1 else 3, 15.0, 5.0
root = pathlib.Path(__file__).resolve().parent.parent
now = lambda: int(time.monotonic() * 1000) % 2**BITS


def send(output, stop):
    """Two rows of blocks: the bits, and their opposites to tell a code from anything else."""
    ffmpeg = subprocess.Popen(
        ["ffmpeg", "-v", "quiet", "-f", "rawvideo", "-pix_fmt", "gray", "-s", f"{WIDTH}x{HEIGHT}", "-r", str(RATE),
         "-i", "-", "-pix_fmt", "yuv420p", "-c:v", "libx264", "-preset", "ultrafast", "-tune", "zerolatency", "-g",
         str(RATE), "-flush_packets", "1", *output], stdin=subprocess.PIPE)
    due = time.monotonic()
    below = bytes([90]) * WIDTH * (HEIGHT - 2 * BLOCK)
    while not stop.is_set():
        code = now()
        bits = [235 if code >> bit & 1 else 16 for bit in range(BITS)]
        row = lambda levels: b"".join(bytes([level]) * BLOCK for level in levels).ljust(WIDTH, b"\x5a") * BLOCK
        ffmpeg.stdin.write(row(bits) + row([251 - level for level in bits]) + below)
        ffmpeg.stdin.flush()
        due += 1 / RATE
        time.sleep(max(0.0, due - time.monotonic()))
    ffmpeg.kill()
    ffmpeg.wait()


class Screen:
    """What lies in the top left corner of an X display."""

    def __init__(self, name):
        self.x = ctypes.CDLL("libX11.so.6")
        for function in (self.x.XOpenDisplay, self.x.XDefaultRootWindow, self.x.XGetImage):
            function.restype = ctypes.c_void_p
        self.x.XGetPixel.restype = ctypes.c_ulong
        self.display = ctypes.c_void_p(self.x.XOpenDisplay(name.encode()))
        self.root = ctypes.c_void_p(self.x.XDefaultRootWindow(self.display))

    def code(self):
        image = ctypes.c_void_p(self.x.XGetImage(self.display, self.root, 0, 0, WIDTH, 2 * BLOCK, ctypes.c_ulong(2**32 - 1), 2))
        level = lambda bit, row: self.x.XGetPixel(image, bit * BLOCK + BLOCK // 2, row * BLOCK + BLOCK // 2) & 255
        upper, lower = ([level(bit, row) for bit in range(BITS)] for row in (0, 1))
        self.x.XDestroyImage(image)
        if any(abs(one - other) < 100 for one, other in zip(upper, lower)):
            return None
        return sum((level > 128) << bit for bit, level in enumerate(upper))


def players(source):
    size = ["-x", str(WIDTH), "-y", str(HEIGHT)]
    return {
        "player": [root / "build/release/apps/player/player", "--bare", "--size", f"{WIDTH}x{HEIGHT}", source],
        "ffplay": ["ffplay", "-v", "quiet", "-noborder", "-left", "0", "-top", "0", *size, "-protocol_whitelist",
                   "file,udp,rtp", "-fflags", "nobuffer", "-flags", "low_delay", "-framedrop", "-probesize", "32",
                   "-analyzeduration", "0", "-sync", "ext", source],
        "mpv": ["mpv", "--no-config", "--really-quiet", "--profile=low-latency", "--untimed", "--no-cache", "--no-audio",
                "--no-osc", "--no-border", "--hwdec=no", "--gpu-sw=yes", f"--geometry={WIDTH}x{HEIGHT}+0+0",
                "--demuxer-lavf-o=protocol_whitelist=[file,udp,rtp]", source],
    }


def turn(command, display, screen):
    environment = dict(os.environ, DISPLAY=display, QT_QPA_PLATFORM="xcb", SDL_AUDIODRIVER="dummy")
    player = subprocess.Popen([str(word) for word in command], env=environment, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL)
    delays, last, begin = [], None, time.monotonic()
    while time.monotonic() < begin + TURN and player.poll() is None:
        code = screen.code()
        if code is not None and code != last and time.monotonic() > begin + SETTLE:
            delays.append((now() - code) % 2**BITS)
        last = code if code is not None else last
        time.sleep(0.002)
    player.kill()
    player.wait()
    return delays


def measure(way, source, output, display, screen):
    stop = threading.Event()
    sender = threading.Thread(target=send, args=(output, stop))
    sender.start()
    delays = {}
    for number in range(ROUNDS):
        names = list(players(source))
        for name in names[number % 3:] + names[:number % 3]:
            delays.setdefault(name, []).extend(turn(players(source)[name], display, screen))
    stop.set()
    sender.join()
    for name, values in delays.items():
        if len(values) < 20:
            print(f"{way:4} {name:7} shows nothing ({len(values)} pictures)")
            continue
        print(f"{way:4} {name:7} median {statistics.median(values):4.0f} ms, 99th percentile "
              f"{statistics.quantiles(values, n=100)[98]:4.0f} ms, {len(values)} pictures of "
              f"{ROUNDS * (TURN - SETTLE) * RATE:.0f}", flush=True)


def main():
    server = subprocess.Popen(["Xvfb", "-displayfd", "1", "-screen", "0", "1280x800x24", "+extension", "GLX", "-nolisten",
                               "tcp", "-noreset"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    display = ":" + server.stdout.readline().decode().strip()
    screen = Screen(display)
    with tempfile.TemporaryDirectory() as folder:
        description = pathlib.Path(folder) / "clock.sdp"
        description.write_text("v=0\no=- 0 0 IN IP4 127.0.0.1\ns=-\nc=IN IP4 127.0.0.1\nt=0 0\n"
                               "m=video 43002 RTP/AVP 96\na=rtpmap:96 H264/90000\n")
        measure("udp", "udp://127.0.0.1:43000", ["-f", "mpegts", "udp://127.0.0.1:43000?pkt_size=1316"], display, screen)
        measure("rtp", str(description), ["-bsf:v", "dump_extra", "-f", "rtp", "rtp://127.0.0.1:43002"], display, screen)
    server.kill()


main()
