#!/usr/bin/env python3
"""Draws the pictures of the control bar: draw_buttons.py resources/ZKBmp/ButtonBars

Bitmaps of 96 x 96 pixels with transparency.  Grey takes the colour of the palette's text when it is shown; the other
colours are chosen to be seen on light and dark.
"""
import math
import os
import struct
import sys

SIZE = 96
GRID = 24.0  # the pictures are thought in 24 x 24 units
SAMPLES = 4
INK = (0, 0, 0)
BLUE = (46, 134, 222)
GREEN = (39, 174, 96)
RED = (226, 61, 52)


def line(x0, y0, x1, y1, width=1.8):
    dx, dy = x1 - x0, y1 - y0
    length = dx * dx + dy * dy

    def inside(x, y):
        t = 0 if length == 0 else max(0, min(1, ((x - x0) * dx + (y - y0) * dy) / length))
        return math.hypot(x - x0 - t * dx, y - y0 - t * dy) <= width / 2
    return inside


def path(points, width=1.8, closed=False):
    pairs = list(zip(points, points[1:] + points[:1] if closed else points[1:]))
    parts = [line(*a, *b, width) for a, b in pairs]
    return lambda x, y: any(part(x, y) for part in parts)


def fill(points):
    def inside(x, y):
        odd = False
        for (ax, ay), (bx, by) in zip(points, points[1:] + points[:1]):
            if (ay > y) != (by > y) and x < (bx - ax) * (y - ay) / (by - ay) + ax:
                odd = not odd
        return odd
    return inside


def box(x0, y0, x1, y1):
    return fill([(x0, y0), (x1, y0), (x1, y1), (x0, y1)])


def frame(x0, y0, x1, y1, width=1.8):
    return path([(x0, y0), (x1, y0), (x1, y1), (x0, y1)], width, True)


def disc(cx, cy, radius):
    return lambda x, y: math.hypot(x - cx, y - cy) <= radius


def ring(cx, cy, radius, width=1.8):
    return lambda x, y: abs(math.hypot(x - cx, y - cy) - radius) <= width / 2


def arrow(x0, y0, x1, y1, head=4.0, width=2.2):
    angle = math.atan2(y1 - y0, x1 - x0)
    back = (x1 - head * math.cos(angle), y1 - head * math.sin(angle))
    side = head * 0.75
    tip = fill([(x1, y1), (back[0] - side * math.sin(angle), back[1] + side * math.cos(angle)),
                (back[0] + side * math.sin(angle), back[1] - side * math.cos(angle))])
    shaft = line(x0, y0, back[0], back[1], width)
    return lambda x, y: tip(x, y) or shaft(x, y)


def sheet(x, y, width=9, height=12, fold=3):
    return path([(x, y), (x + width - fold, y), (x + width, y + fold), (x + width, y + height), (x, y + height)],
                1.6, True)


def din(cx, cy):
    pins = [disc(cx + 3.1 * math.cos(a), cy + 0.8 - 3.4 * math.sin(a), 0.9)
            for a in (math.pi * n / 4 for n in range(5))]
    round_ = ring(cx, cy, 6.2)
    return lambda x, y: round_(x, y) or any(pin(x, y) for pin in pins)


PICTURES = {
    1: [(path([(3, 19), (3, 5.5), (9, 5.5), (11, 8), (20, 8), (20, 11)]), INK),
        (path([(3, 19), (6.5, 11.2), (22, 11.2), (18.5, 19)], 1.8, True), BLUE)],
    2: [(path([(4, 4), (17, 4), (20, 7), (20, 20), (4, 20)], 1.8, True), INK),
        (frame(7.5, 13, 16.5, 20, 1.6), BLUE), (box(8, 4, 15, 8.5), INK)],
    3: [(ring(6.5, 18, 2.8), BLUE), (ring(17.5, 18, 2.8), BLUE), (line(8, 15.6, 16.5, 3), INK),
        (line(16, 15.6, 7.5, 3), INK)],
    4: [(sheet(4, 3), INK), (sheet(10.5, 9), BLUE)],
    5: [(path([(8, 5), (4.5, 5), (4.5, 21), (13, 21)]), INK), (path([(15, 5), (18.5, 5), (18.5, 9)]), INK),
        (box(8, 3, 15, 7), INK), (sheet(11, 10.5, 8.5, 10.5), BLUE)],
    7: [(line(6, 3.5, 6, 20.5, 1.4), INK), (line(12, 3.5, 12, 20.5, 1.4), INK), (line(18, 3.5, 18, 20.5, 1.4), INK),
        (box(3.6, 13, 8.4, 16.4), BLUE), (box(9.6, 6, 14.4, 9.4), BLUE), (box(15.6, 10, 20.4, 13.4), BLUE)],
    8: [(frame(3, 4, 21, 20), INK), (box(5.5, 7, 11, 9), BLUE), (box(9, 11, 16, 13), BLUE),
        (box(14, 15, 19, 17), BLUE)],
    9: [(frame(3, 4, 21, 20), INK), (box(6, 13, 8.4, 17.5), GREEN), (box(10.8, 7, 13.2, 17.5), GREEN),
        (box(15.6, 10, 18, 17.5), GREEN)],
    10: [(path([(5, 19), (6, 14.8), (16.5, 4.3), (19.7, 7.5), (9.2, 18)], 1.7, True), INK),
         (line(14, 6.8, 17.2, 10, 1.6), BLUE), (fill([(4, 20), (5, 15.8), (8.2, 19)]), BLUE)],
    11: [(din(15, 12), INK), (arrow(1, 12, 8.2, 12, 4.5), BLUE)],
    12: [(din(9, 12), INK), (arrow(16, 12, 23.2, 12, 4.5), BLUE)],
    13: [(sheet(2.5, 6, 7, 12, 2.4), INK), (sheet(14.5, 6, 7, 12, 2.4), INK), (arrow(9, 12, 15.4, 12, 4), BLUE)],
    14: [(frame(2.5, 9, 17, 20), INK), (line(6.1, 14, 6.1, 20, 1.4), INK), (line(9.8, 14, 9.8, 20, 1.4), INK),
         (line(13.4, 14, 13.4, 20, 1.4), INK), (line(18.5, 2, 18.5, 9, 2.2), GREEN),
         (line(15, 5.5, 22, 5.5, 2.2), GREEN)],
    15: [(frame(11.5, 7, 22, 18), INK), (line(15, 12.5, 15, 18, 1.3), INK), (line(18.5, 12.5, 18.5, 18, 1.3), INK),
         (arrow(1.5, 12.5, 10.2, 12.5, 4.6), BLUE)],
    16: [(sheet(2.5, 3, 8, 11, 2.6), INK), (sheet(6, 8.5, 8, 11, 2.6), INK), (arrow(13.5, 14, 23, 14, 4.6), BLUE)],
    17: [(disc(12, 12, 9.2), RED), (box(10.8, 6, 13.2, 13.8), (255, 250, 220)), (disc(12, 16.8, 1.6), (255, 250, 220))],
    18: [(line(9, 6.5, 20.5, 6.5), INK), (line(9, 12, 20.5, 12), INK), (line(9, 17.5, 20.5, 17.5), INK),
         (disc(5, 6.5, 1.5), BLUE), (disc(5, 12, 1.5), BLUE), (disc(5, 17.5, 1.5), BLUE)],
}


def pixel(shapes, px, py):
    total = [0.0, 0.0, 0.0]
    covered = 0
    for sy in range(SAMPLES):
        for sx in range(SAMPLES):
            x = (px + (sx + 0.5) / SAMPLES) * GRID / SIZE
            y = (py + (sy + 0.5) / SAMPLES) * GRID / SIZE
            for inside, colour in reversed(shapes):
                if inside(x, y):
                    covered += 1
                    for channel in range(3):
                        total[channel] += colour[channel]
                    break
    if covered == 0:
        return 0, 0, 0, 0
    return tuple(round(value / covered) for value in total) + (round(255 * covered / SAMPLES ** 2),)


def write_bitmap(name, width, height, rows):
    """32 bits a pixel with an alpha mask (header version 4)."""
    size = width * height * 4
    header = struct.pack('<IiiHHIIiiII', 108, width, height, 1, 32, 3, size, 2835, 2835, 0, 0)
    header += struct.pack('<IIII', 0x00FF0000, 0x0000FF00, 0x000000FF, 0xFF000000)
    header += struct.pack('<I', 0x73524742) + bytes(48)
    with open(name, 'wb') as file:
        file.write(struct.pack('<2sIHHI', b'BM', 14 + 108 + size, 0, 0, 14 + 108) + header)
        for row in reversed(rows):
            for red, green, blue, alpha in row:
                file.write(bytes((blue, green, red, alpha)))


def main():
    folder = sys.argv[1]
    os.makedirs(os.path.join(folder, 'Main'), exist_ok=True)
    for number, shapes in PICTURES.items():
        rows = [[pixel(shapes, x, y) for x in range(SIZE)] for y in range(SIZE)]
        write_bitmap(os.path.join(folder, 'Main', f'Button ZK {number}.bmp'), SIZE, SIZE, rows)
    # A little lighter above, a little darker below, whatever is behind.
    rows = []
    for y in range(32):
        shade = 255 if y < 16 else 0
        rows.append([(shade, shade, shade, round(abs(y - 15.5) * 1.2))] * 8)
    write_bitmap(os.path.join(folder, 'Button Background.bmp'), 8, 32, rows)


main()
