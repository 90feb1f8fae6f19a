#!/usr/bin/env python3
"""Boxes for the player, in the place of a detector: python3 send_boxes.py | player --boxes - FILE"""
import json
import math
import sys


def detect(time):
    """What a detector would find in the picture of that time: label, box, colour."""
    x = 0.4 + 0.3 * math.sin(time)
    yield "person 0.97", [x, 0.3, 0.12, 0.4], "#33ff4d"
    yield "car 0.88", [0.75 - x / 2, 0.62, 0.25, 0.2], "orange"


for picture in range(250):
    seconds = picture / 25
    for label, box, colour in detect(seconds):
        line = {"tile": 1, "time": seconds, "label": label, "box": box, "colour": colour}
        sys.stdout.write(json.dumps(line) + "\n")
    sys.stdout.flush()  # the player draws what it has
