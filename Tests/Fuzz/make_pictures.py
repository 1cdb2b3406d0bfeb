#!/usr/bin/env python3
"""Makes the pictures that fuzz-image begins with: small sound ones of every format, and hostile ones.

usage: make_pictures.py FOLDER     makes the folder anew
"""

import binascii
import pathlib
import shutil
import struct
import sys
import zlib

PNG_SIGNATURE = b"\x89PNG\r\n\x1a\n"
GREY, RGB, PALETTE, GREY_ALPHA, RGBA = 0, 2, 3, 4, 6
SAMPLES = {GREY: 1, RGB: 3, PALETTE: 1, GREY_ALPHA: 2, RGBA: 4}

# As many bytes as the downloader takes for a picture.
LARGEST_DOWNLOAD = 16 * 1024 * 1024


def chunk(name, content=b""):
    checksum = binascii.crc32(name + content)
    return struct.pack(">I", len(content)) + name + content + struct.pack(">I", checksum)


def png_header(width, height, colour=RGBA, depth=8, interlaced=False):
    return chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, depth, colour, 0, 0, int(interlaced)))


def rows(width, height, colour=RGBA, depth=8):
    """A slanting gradient."""
    row_size = (width * SAMPLES[colour] * depth + 7) // 8
    return b"".join(
        b"\0" + bytes((x * 5 + y * 11) % 256 for x in range(row_size)) for y in range(height)
    )


def zeros(size):
    """So many zeros, deflated, without ever holding them."""
    deflate = zlib.compressobj(9)
    block = bytes(1 << 20)
    pieces = [deflate.compress(block) for _ in range(size >> 20)]
    pieces.append(deflate.compress(bytes(size & ((1 << 20) - 1))))
    pieces.append(deflate.flush())
    return b"".join(pieces)


def png(width, height, colour=RGBA, depth=8, data=None, before=b"", interlaced=False):
    if data is None:
        data = zlib.compress(rows(width, height, colour, depth), 9)
    return (PNG_SIGNATURE + png_header(width, height, colour, depth, interlaced) + before
            + chunk(b"IDAT", data) + chunk(b"IEND"))


def blank_png(width, height, colour=GREY, depth=1):
    row_size = (width * SAMPLES[colour] * depth + 7) // 8
    return png(width, height, colour, depth, data=zeros((row_size + 1) * height))


def repeated_to_download_size(piece, sound):
    """A sound PNG with as many of the chunk before its pixels as a download can hold."""
    return png(8, 8, before=piece * ((LARGEST_DOWNLOAD - len(sound)) // len(piece)))


def png_files():
    palette = chunk(b"PLTE", bytes(range(48)))
    transparency = chunk(b"tRNS", bytes(range(0, 160, 10)))
    sound = png(8, 8)
    text = zlib.compress(b"a drawing of squares")
    bomb = zeros(7_900_000)
    yield "rgba.png", png(20, 20)
    yield "rgb.png", png(20, 12, RGB)
    yield "grey-1-bit.png", png(17, 9, GREY, 1)
    yield "grey-16-bit.png", png(5, 5, GREY, 16)
    yield "grey-alpha.png", png(6, 6, GREY_ALPHA)
    yield "rgba-16-bit.png", png(6, 6, RGBA, 16)
    yield "palette.png", png(16, 16, PALETTE, 4, before=palette + transparency)
    yield "wider-than-high.png", png(200, 1)
    yield "higher-than-wide.png", png(1, 200)
    yield "animation-and-gamma.png", png(
        8, 8, before=chunk(b"gAMA", struct.pack(">I", 45455)) + chunk(b"acTL", struct.pack(">II", 1, 0)))
    yield "far-off.png", png(8, 8, before=chunk(b"oFFs", struct.pack(">iiB", 2**31 - 1, -(2**31), 0)))
    yield "dense.png", png(8, 8, before=chunk(b"pHYs", struct.pack(">IIB", 2**32 - 1, 1, 1)))
    yield "texts.png", png(
        8, 8, before=chunk(b"tEXt", b"Title\0squares") + chunk(b"zTXt", b"Comment\0\0" + text)
        + chunk(b"iTXt", b"Author\0\1\0en\0Autor\0" + text))
    yield "profile.png", png(8, 8, before=chunk(b"iCCP", b"own\0\0" + zlib.compress(bytes(128))))

    yield "truncated-signature.png", sound[:5]
    yield "truncated-header.png", sound[:20]
    yield "truncated-pixels.png", sound[:-30]
    yield "no-end.png", sound[:-12]
    yield "no-pixels.png", PNG_SIGNATURE + png_header(8, 8) + chunk(b"IEND")
    yield "two-headers.png", sound.replace(chunk(b"IEND"), png_header(9, 9) + chunk(b"IEND"))
    yield "wrong-checksum.png", sound[:-1] + b"\0"
    yield "no-extent.png", png(0, 0, data=zlib.compress(b""))
    yield "hundred-thousand-squared.png", png(100_000, 100_000, data=zlib.compress(b"\0"))
    yield "largest-extent.png", png(2**31 - 1, 2**31 - 1, data=zlib.compress(b"\0"))
    yield "overflowing-extent.png", png(2**32 - 1, 2**32 - 1, data=zlib.compress(b"\0"))

    yield "widest-that-is-kept.png", blank_png(4096, 1)
    yield "too-wide.png", blank_png(4097, 1)
    yield "wide-row-bomb.png", blank_png(16 * 1024 * 1024, 1)
    yield "tall-bomb.png", blank_png(1, 16 * 1024 * 1024)
    yield "largest-that-is-kept.png", blank_png(4096, 4096)
    yield "deep-bomb.png", blank_png(4096, 4096, RGBA, 16)
    yield "one-pixel-too-many.png", blank_png(4097, 4096)
    yield "more-pixels-than-said.png", png(8, 8, data=zeros(64 * 1024 * 1024))
    yield "text-bomb.png", png(8, 8, before=chunk(b"zTXt", b"Comment\0\0" + bomb))
    yield "most-texts-that-are-taken.png", png(8, 8, before=8 * chunk(b"zTXt", b"Comment\0\0" + bomb))
    yield "text-bombs.png", repeated_to_download_size(chunk(b"zTXt", b"Comment\0\0" + bomb), sound)
    yield "international-text-bombs.png", repeated_to_download_size(
        chunk(b"iTXt", b"Comment\0\1\0\0\0" + bomb), sound)
    yield "many-texts.png", repeated_to_download_size(chunk(b"tEXt", b"a\0b"), sound)
    yield "profile-bomb.png", png(8, 8, before=chunk(b"iCCP", b"own\0\0" + bomb))
    yield "texts-after-the-pixels.png", sound.replace(
        chunk(b"IEND"), chunk(b"zTXt", b"Comment\0\0" + bomb) * 500 + chunk(b"IEND"))


def bmp(width, height, depth=24, declared_height=None, compression=0, pixels=None):
    row_size = (width * depth + 31) // 32 * 4
    if pixels is None:
        pixels = bytes(i % 251 for i in range(row_size * height))
    colours = bytes(4 * 2**depth) if depth <= 8 else b""
    start = 14 + 40 + len(colours)
    shown_height = height if declared_height is None else declared_height
    header = struct.pack("<IiiHHIIiiII", 40, width, shown_height, 1, depth, compression, len(pixels),
                         0, 0, 0, 0)
    return b"BM" + struct.pack("<IHHI", start + len(pixels), 0, 0, start) + header + colours + pixels


def bmp_files():
    yield "true-colour.bmp", bmp(10, 10)
    yield "alpha.bmp", bmp(4, 4, 32)
    yield "top-down.bmp", bmp(4, 4, 24, declared_height=-4)
    yield "run-length.bmp", bmp(4, 2, 8, compression=1, pixels=b"\4\7\0\0\4\t\0\1")
    yield "run-length-bomb.bmp", bmp(4096, 4096, 8, compression=1, pixels=b"\0\2\xff\xff" * 16 + b"\0\1")
    yield "huge.bmp", bmp(100_000, 1, 24, declared_height=100_000, pixels=bytes(30))
    yield "lowest-height.bmp", bmp(4, 4, 24, declared_height=-(2**31))
    yield "truncated.bmp", bmp(10, 10)[:80]


def gif(width, height, frames=1, screen=None):
    """Pixels of one colour, a clear code before each, so that codes stay three bits long."""
    def pixels(count):
        bits = "".join("100"[::-1] + "001"[::-1] for _ in range(count)) + "101"[::-1]
        bits += "0" * (-len(bits) % 8)
        data = bytes(int(bits[i:i + 8][::-1], 2) for i in range(0, len(bits), 8))
        blocks = b"".join(bytes([len(data[i:i + 255])]) + data[i:i + 255] for i in range(0, len(data), 255))
        return b"\2" + blocks + b"\0"

    frame = b"\x2c" + struct.pack("<HHHHB", 0, 0, width, height, 0) + pixels(width * height)
    shown = screen or (width, height)
    return (b"GIF89a" + struct.pack("<HHBBB", *shown, 0x81, 0, 0) + bytes.fromhex("000000ffcc00ff000000ff00")
            + frame * frames + b";")


def gif_files():
    yield "still.gif", gif(6, 6)
    yield "animated.gif", gif(4, 4, frames=3)
    yield "frame-larger-than-its-screen.gif", gif(60, 60, screen=(2, 2))
    yield "screen-larger-than-its-frame.gif", gif(2, 2, screen=(1000, 1000))
    yield "huge-screen.gif", gif(2, 2, screen=(65535, 65535))
    yield "no-screen.gif", gif(4, 4, screen=(0, 0))
    yield "truncated.gif", gif(20, 20)[:40]


def ico(pictures):
    directory, content, offset = b"", b"", 6 + 16 * len(pictures)
    for width, height, data in pictures:
        directory += struct.pack("<BBBBHHII", width, height, 0, 0, 1, 32, len(data), offset + len(content))
        content += data
    return struct.pack("<HHH", 0, 1, len(pictures)) + directory + content


def icon_bitmap(width, height):
    header = struct.pack("<IiiHHIIiiII", 40, width, 2 * height, 1, 32, 0, 0, 0, 0, 0, 0)
    return header + bytes(i % 253 for i in range(4 * width * height)) + bytes((width + 31) // 32 * 4 * height)


def ico_files():
    yield "bitmap.ico", ico([(8, 8, icon_bitmap(8, 8))])
    yield "png-inside.ico", ico([(16, 16, png(16, 16))])
    yield "picture-larger-than-its-entry.ico", ico([(4, 4, png(200, 200))])
    yield "bitmap-larger-than-its-entry.ico", ico([(4, 4, icon_bitmap(120, 120))])
    yield "bomb-inside.ico", ico([(4, 4, blank_png(30_000, 30_000))])
    yield "blank-inside.ico", ico([(4, 4, blank_png(11_000, 11_000))])
    yield "text-bombs-inside.ico", ico(
        [(4, 4, png(8, 8, before=chunk(b"zTXt", b"Comment\0\0" + zeros(7_900_000)) * 400))])
    yield "several.ico", ico([(4, 4, icon_bitmap(4, 4)), (8, 8, png(8, 8))])
    yield "empty.ico", ico([])
    yield "entry-beyond-the-file.ico", ico([(8, 8, icon_bitmap(8, 8))])[:40]


def jpeg(width, height, blocks=None, progressive=False):
    """Grey, of blocks that differ in brightness alone. By the tables here a block is six bits: a difference
    of four bits behind its code "0", which is then the end code's "0"."""
    def segment(marker, content):
        return bytes([0xff, marker]) + struct.pack(">H", len(content) + 2) + content

    def table(kind, symbol):
        return bytes([kind << 4]) + bytes([1] + [0] * 15) + bytes([symbol])

    count = ((width + 7) // 8) * ((height + 7) // 8) if blocks is None else blocks
    end, last = ("", 0) if progressive else ("0", 63)
    bits = "".join("0" + ("1000", "0111")[i % 2] + end for i in range(count))
    bits += "1" * (-len(bits) % 8)
    scan = bytes(int(bits[i:i + 8], 2) for i in range(0, len(bits), 8)).replace(b"\xff", b"\xff\0")
    return (b"\xff\xd8" + segment(0xe0, b"JFIF\0\1\1\0\0\1\0\1\0\0") + segment(0xdb, bytes([0] + [16] * 64))
            + segment(0xc2 if progressive else 0xc0, struct.pack(">BHHB", 8, height, width, 1) + b"\1\x11\0")
            + segment(0xc4, table(0, 4)) + segment(0xc4, table(1, 0))
            + segment(0xda, bytes([1, 1, 0, 0, last, 0])) + scan + b"\xff\xd9")


def jpeg_files():
    turned = struct.pack(">2sHI", b"MM", 42, 8) + struct.pack(">HHHIHHI", 1, 0x112, 3, 1, 6, 0, 0)
    exif = b"\xff\xe1" + struct.pack(">H", len(turned) + 8) + b"Exif\0\0" + turned
    sound = jpeg(24, 16)
    yield "grey.jpeg", sound
    yield "turned.jpeg", sound[:2] + exif + sound[2:]
    yield "progressive.jpeg", jpeg(16, 16, progressive=True)
    yield "truncated.jpeg", sound[:-8]
    yield "few-blocks-for-its-size.jpeg", jpeg(4000, 4000, blocks=4)
    yield "huge.jpeg", jpeg(65000, 65000, blocks=4)


def webp(width, height):
    """One colour: each of the five codes of the lossless format has one symbol; pixels take no bits."""
    bits = []

    def put(value, count):
        bits.extend((value >> i) & 1 for i in range(count))

    put(0x2f, 8)
    put(width - 1, 14)
    put(height - 1, 14)
    put(1, 1)
    put(0, 3)
    put(0, 1)
    put(0, 1)
    put(0, 1)
    for symbol in (0xcc, 0xff, 0x00, 0xff, 0):
        put(1, 1)
        put(0, 1)
        put(1, 1)
        put(symbol, 8)
    bits.extend([0] * (-len(bits) % 8))
    data = bytes(sum(bit << i for i, bit in enumerate(bits[n:n + 8])) for n in range(0, len(bits), 8))
    padded = data + bytes(len(data) % 2)
    chunks = b"WEBP" + b"VP8L" + struct.pack("<I", len(data)) + padded
    return b"RIFF" + struct.pack("<I", len(chunks)) + chunks


def webp_files():
    yield "one-colour.webp", webp(16, 16)
    yield "one-colour-bomb.webp", webp(16383, 16383)
    yield "long.webp", webp(16383, 4)
    yield "truncated.webp", webp(16, 16)[:24]


def other_files():
    yield "nothing", b""
    drawing = '<svg xmlns="http://www.w3.org/2000/svg" width="%s" height="%s"><rect width="8"/></svg>'
    yield "drawing.svg", (drawing % (8, 8)).encode()
    yield "huge-drawing.svg", (drawing % (100_000, 100_000)).encode()
    yield "grey.pgm", b"P5 4 4 255\n" + bytes(range(16))
    yield "huge.ppm", b"P6 100000 100000 255\n"
    yield "text.xpm", b'/* XPM */\nstatic char *x[] = {"2 2 1 1", "a c #ff0000", "aa", "aa"};\n'
    yield "bits.xbm", b"#define x_width 8\n#define x_height 2\nstatic char x_bits[] = { 0x55, 0xaa };\n"
    yield "page.html", b"<html><body>Not found</body></html>"


def main():
    if len(sys.argv) != 2 or sys.argv[1].startswith("-"):
        raise SystemExit(__doc__)
    folder = pathlib.Path(sys.argv[1])
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    makers = (png_files, bmp_files, gif_files, ico_files, jpeg_files, webp_files, other_files)
    for maker in makers:
        for name, content in maker():
            (folder / name).write_bytes(content)


if __name__ == "__main__":
    main()
