# SPDX-FileCopyrightText: 2026 The Morvanel authors
# SPDX-License-Identifier: MIT

"""What a person at the screen sees: pictures, the icons beside a known one, texts and where they stand."""

import difflib
import functools
import io
import os
import re
import subprocess
import time
from dataclasses import dataclass

import numpy
from PIL import Image

from desktop_reader import Screen
from session import wait_for

NEIGHBOUR = (0xFF, 0x00, 0xFF)  # the colour of neighbour.svg, which nothing else has
OTHER_WINDOW = (0xD0, 0x70, 0x10)
CONNECTED, PROBLEM = (0x1A, 0x7F, 0x37), (0xC9, 0x30, 0x2C)  # of Morvanel's icon


@dataclass(frozen=True)
class Box:
    """A part of the screen in pixels; right and bottom are outside."""

    left: int
    top: int
    right: int
    bottom: int

    @property
    def width(self):
        return self.right - self.left

    @property
    def height(self):
        return self.bottom - self.top

    @property
    def centre(self):
        return (self.left + self.right) // 2, (self.top + self.bottom) // 2

    def shrunk(self, by):
        return Box(self.left + by, self.top + by, self.right - by, self.bottom - by)

    def of(self, picture):
        return picture[max(0, self.top):self.bottom, max(0, self.left):self.right]


@dataclass(frozen=True)
class Line:
    text: str
    box: Box

    def says(self, label):
        """Whether it has the label's words, give or take a letter that was read wrongly."""
        words = re.findall(r"\w+", self.text.lower())
        return all(difflib.get_close_matches(word, words, 1, 0.75) for word in label.lower().split())


def box_around(mask):
    """The smallest box that holds every true pixel; None for none."""
    rows, columns = numpy.flatnonzero(mask.any(axis=1)), numpy.flatnonzero(mask.any(axis=0))
    return Box(int(columns[0]), int(rows[0]), int(columns[-1]) + 1, int(rows[-1]) + 1) if len(rows) else None


def has_colour(picture, colour):
    near = abs(picture[:, :, 0].astype(numpy.int16) - colour[0]) < 16  # by channel: quicker
    for channel in (1, 2):
        near &= abs(picture[:, :, channel].astype(numpy.int16) - colour[channel]) < 16
    return near


def differs(before, after):
    if numpy.array_equal(before, after):
        return numpy.zeros(before.shape[:2], bool)
    apart = numpy.maximum(before, after) - numpy.minimum(before, after) > 16
    return apart[:, :, 0] | apart[:, :, 1] | apart[:, :, 2]


def patches(mask, cell=8):
    """The boxes of connected regions of true pixels, the largest first; what is less than a cell apart is one region."""
    rows, columns = mask.shape[0] // cell, mask.shape[1] // cell
    coarse = mask[:rows * cell, :columns * cell].reshape(rows, cell, columns, cell).any(axis=(1, 3))
    left = {(int(row), int(column)) for row, column in numpy.argwhere(coarse)}
    found = []
    while left:
        region, edge = [], [left.pop()]
        while edge:
            row, column = edge.pop()
            region.append((row, column))
            near = {(row + i, column + j) for i in (-1, 0, 1) for j in (-1, 0, 1)} & left
            left -= near
            edge += near
        (top, start), (bottom, end) = map(min, zip(*region)), map(max, zip(*region))
        found.append(Box(start * cell, top * cell, (end + 1) * cell, (bottom + 1) * cell))
    return sorted(found, key=lambda box: -box.width * box.height)


def commonest(colours):
    """The colour of most of them, give or take a shade: there may be more of an icon than of its ground."""
    _, which, counts = numpy.unique(colours >> 4, axis=0, return_inverse=True, return_counts=True)
    return numpy.median(colours[which.ravel() == counts.argmax()], axis=0)


def contrast(one, other):
    """WCAG's contrast between colours, given as arrays whose last axis is red, green, blue."""
    def luminance(colours):
        part = numpy.asarray(colours) / 255
        part = numpy.where(part <= 0.04045, part / 12.92, ((part + 0.055) / 1.055) ** 2.4)
        return part @ (0.2126, 0.7152, 0.0722) + 0.05
    a, b = luminance(one), luminance(other)
    return numpy.maximum(a, b) / numpy.minimum(a, b)


class Icon:
    """An icon in the panel: its pixels and those of the ground that it stands on."""

    def __init__(self, box, picture, ground):
        self.box = box
        self.pixels = box.of(picture)
        self.ground = ground[box.top:box.bottom]

    @property
    def size(self):
        return max(self.box.width, self.box.height)

    def readability(self):
        """The contrast of the tenth of its pixels that stands out most; a rim is enough."""
        drawn = abs(self.pixels.astype(int) - self.ground).max(axis=2) > 16
        values = contrast(self.pixels, self.ground)[drawn]
        return float(numpy.quantile(values, 0.9))

    def sharpness(self):
        """The largest step in brightness, of 255, between two pixels side by side; small where a panel enlarges."""
        grey = self.pixels.mean(axis=2)
        return float(max(abs(numpy.diff(grey, axis=axis)).max() for axis in (0, 1)))

    def is_coloured(self):
        return int(numpy.ptp(self.pixels.astype(int), axis=2).max()) > 60

    def has(self, colour):
        return bool(has_colour(self.pixels, colour).any())

    def is_like(self, other):
        return self.pixels.shape == other.pixels.shape and not differs(self.pixels, other.pixels).any()


class Sight(Screen):
    """The screen of a desktop. Wayland compositors stand in a window that fills it."""

    def __init__(self, session):
        super().__init__(session)
        self.outside = session.environment | {"DISPLAY": session.display}

    def xdotool(self, *arguments):
        subprocess.run(["xdotool", *map(str, arguments)], env=self.outside, check=True, stdout=subprocess.DEVNULL)

    def key(self, *keys):
        self.xdotool("key", *keys)

    def type(self, text):
        self.xdotool("type", "--delay", "20", text)

    def point(self, x, y):
        self.xdotool("mousemove", x, y)

    def press(self, x, y):
        """A click as a hand makes it: with many small moves, without which Qt takes no click in a menu."""
        approach = [part for step in range(10, -1, -1) for part in ("mousemove", x - step, y, "sleep", 0.02)]
        self.xdotool(*approach, "sleep", 0.2, "mousedown", 1, "sleep", 0.06, "mouseup", 1)

    def picture(self):
        """The screen's red, green and blue as they are now, out of the file in which the X server keeps them."""
        dump = numpy.memmap(self.session.pixels / "Xvfb_screen0", mode="r")
        header = dump[:100].view(">u4")
        size, width, height, line, colours = (int(header[field]) for field in (0, 4, 5, 12, 19))
        start = size + 12 * colours
        rows = dump[start:start + height * line].reshape(height, line // 4, 4)
        return numpy.array(rows[:, :width, 2::-1])

    def still_picture(self, seconds=10):
        """A picture of a screen on which nothing moves any more, or the last one."""
        seen = [None, self.picture()]

        def rests():
            time.sleep(0.3)
            seen[:] = seen[1], self.picture()
            return not differs(*seen).any()
        try:
            wait_for(rests, "", seconds)
        except AssertionError:
            pass
        return seen[1]

    def neighbour(self, picture):
        return box_around(has_colour(picture, NEIGHBOUR))

    def icons(self, picture):
        """The icons near the neighbour: what differs from the panel's ground, column by column, and is no text."""
        known = self.neighbour(picture)
        if not known:
            raise AssertionError("the panel has lost another program's icon")
        reach = 6 * known.width
        left, right = max(0, known.left - reach), min(picture.shape[1], known.right + reach)
        top, bottom = known.top - known.height // 4, known.bottom + known.height // 4
        strip = picture[:, left:right]
        ground = numpy.zeros((len(strip), 1, 3), int)
        for row in range(max(0, top), min(bottom, len(strip))):
            ground[row] = commonest(strip[row])
        drawn = abs(strip.astype(int) - ground).max(axis=2) > 16
        drawn[:max(0, top)] = drawn[bottom:] = False
        drawn[:, known.left - left:known.right - left] = False
        columns = numpy.flatnonzero(drawn.any(axis=0))
        icons = []
        for part in numpy.split(columns, numpy.flatnonzero(numpy.diff(columns) > 2) + 1) if len(columns) else []:
            inner = box_around(drawn[:, part[0]:part[-1] + 1])
            box = Box(left + int(part[0]), inner.top, left + int(part[-1]) + 1, inner.bottom)
            if box.width < 2 * known.width:
                icons.append(Icon(box, picture, ground))
        return icons


def read(picture, box=None):
    """The lines of text in a picture of the screen, as tesseract reads them."""
    part = box.of(picture) if box else picture
    left, top = (box.left, box.top) if box else (0, 0)
    return [Line(text, Box(left + inner[0], top + inner[1], left + inner[2], top + inner[3]))
            for text, inner in _texts(part.shape, part.tobytes())]


@functools.cache
def _texts(shape, pixels):
    """Each line's text and box. A menu that is opened again is not read again."""
    image = Image.fromarray(numpy.frombuffer(pixels, numpy.uint8).reshape(shape)).convert("L")
    if numpy.median(image) < 128:
        image = image.point(lambda value: 255 - value)
    scale = 3
    image = image.resize((image.width * scale, image.height * scale), Image.Resampling.LANCZOS)
    file = io.BytesIO()
    image.save(file, "png")
    found = subprocess.run(["tesseract", "-", "-", "--psm", "11", "-c", "tessedit_create_tsv=1"], input=file.getvalue(),
                           stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True,
                           env=os.environ | {"OMP_THREAD_LIMIT": "1"}).stdout.decode()
    lines = {}
    for fields in (row.split("\t") for row in found.splitlines()[1:]):
        if len(fields) == 12 and fields[11].strip():
            lines.setdefault(tuple(fields[1:5]), []).append((fields[11], *map(int, fields[6:10])))
    return [(" ".join(word[0] for word in words),
             (min(w[1] for w in words) // scale, min(w[2] for w in words) // scale,
              max(w[1] + w[3] for w in words) // scale, max(w[2] + w[4] for w in words) // scale))
            for words in lines.values()]
