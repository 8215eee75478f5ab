#!/usr/bin/env python3
"""Prints a received message as a modem gives it: SMS-DELIVER in hexadecimal, one line a part.

Usage: make_pdu.py SENDER TEXT. A sender of digits is national, with a plus international, anything else a text sender.
Text goes out in the default alphabet as far as it is in ASCII there, otherwise in UTF-16; long text in several parts.
"""
import sys

DIGITS = set("0123456789")
# Where the default alphabet has the ASCII character in ASCII's place.
PLAIN = set(" !\"#%&'()*+,-./:;<=>?\n") | {chr(c) for c in range(0x30, 0x3A)} | {
    chr(c) for c in list(range(0x41, 0x5B)) + list(range(0x61, 0x7B))}
MOVED = {"@": 0x00, "$": 0x02, "_": 0x11}


def septets(text):
    return [MOVED.get(c, ord(c)) for c in text]


def packed(values, fill=0):
    """Seven bits each, lowest first, after `fill` empty bits."""
    bits = sum(v << (7 * i + fill) for i, v in enumerate(values))
    return bits.to_bytes((7 * len(values) + fill + 7) // 8, "little")


def address(sender):
    digits = sender.removeprefix("+")
    if set(digits) <= DIGITS:
        even = digits + "F" * (len(digits) % 2)
        swapped = "".join(even[i + 1] + even[i] for i in range(0, len(even), 2))
        return bytes([len(digits), 0x91 if sender.startswith("+") else 0x81]) + bytes.fromhex(swapped)
    data = packed(septets(sender))
    return bytes([(7 * len(sender) + 3) // 4, 0xD0]) + data


def parts_of(units, single, several):
    if len(units) <= single:
        return [units]
    return [units[i:i + several] for i in range(0, len(units), several)]


def main(sender, text):
    plain = set(text) <= PLAIN | set(MOVED)
    units = septets(text) if plain else text.encode("utf-16-be")
    parts = parts_of(units, 160, 153) if plain else parts_of(units, 140, 132)
    for number, part in enumerate(parts, 1):
        header = bytes([5, 0, 3, 0x42, len(parts), number]) if len(parts) > 1 else b""
        if plain:
            # The header fills whole septets: six bytes are 48 bits, and one more bit.
            length, data = len(part) + (7 if header else 0), packed(part, 1 if header else 0)
        else:
            length, data = len(part) + len(header), part
        pdu = (bytes.fromhex("0791447758100650") + bytes([0x44 if header else 0x04]) + address(sender)
               + bytes([0, 0 if plain else 8]) + bytes.fromhex("62111290000000") + bytes([length]) + header + data)
        print(pdu.hex().upper())


if __name__ == "__main__":
    main(*sys.argv[1:])
