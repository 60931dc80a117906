#!/usr/bin/env python3
"""Packets of a load-balancing group, made by other means than the daemon's: the known answers of its tests.

usage: make_vectors.py [--check]    writes tests/data/lb_vectors.json, or tells whether it is what this gives

Status 1: it is not. 77: python3-cryptography, which is needed, is not here.
"""
import hashlib
import json
import pathlib
import struct
import sys

try:
    from cryptography.hazmat.primitives.ciphers import Cipher, algorithms, modes
except ImportError:
    print("make_vectors: python3-cryptography is not here")
    sys.exit(77)

FILE = pathlib.Path(__file__).resolve().parents[2] / "data/lb_vectors.json"
SALT = bytes.fromhex("7b337271f4e7f2e999a6123a0eccc6230c61020cbd36f3ccf705f1e7f4ddb18e")
ABC7 = ("abc", 7)
SERIAL = bytes([12, 34]) + struct.pack("<I", int("ABCDE1", 36))
BEGINS_WITH = bytes([12, 34, 0xE1, 0, 0, 0])
FORGED = "wc_AesGcmDecrypt failed, rc=-180, msg=AES-GCM Authentication check fail"


def crc(data):
    value = 0
    for byte in data:
        value ^= byte
        for _ in range(8):
            value = (value << 1 ^ (0x4D if value & 0x80 else 0)) & 0xFF
    return value


def sealed(message_id, rest=b""):
    body = bytes([message_id]) + rest
    return body + bytes([crc(body)])


def key_of(password, group):
    return hashlib.pbkdf2_hmac("sha256", f"{password}{group}".encode(), SALT, 10000, 32)


def packet(plain, sequence, nonce, group=ABC7, pad=None):
    body = plain[1:]
    missing = -len(body) % 16
    encryptor = Cipher(algorithms.AES(key_of(*group)), modes.GCM(nonce, min_tag_length=12)).encryptor()
    carried = b"" if sequence is None else struct.pack("<I", sequence)
    encryptor.authenticate_additional_data(carried)
    ciphertext = encryptor.update(body + (pad or bytes([missing]) * missing)) + encryptor.finalize()
    return plain[:1] + ciphertext + carried + nonce + encryptor.tag[:12]


def nonce_of(number):
    return hashlib.sha256(b"nonce %d" % number).digest()[:12]


def flipped(data, position, bits=0x01):
    return data[:position] + bytes([data[position] ^ bits]) + data[position + 1:]


def messages():
    kinds = [
        (sealed(0x11), None),
        (sealed(0x22, BEGINS_WITH + bytes([24, 3, 0])), None),
        (sealed(0x33, SERIAL), 0),
        (sealed(0x44, SERIAL), 1),
        (sealed(0x55, SERIAL + bytes([3, 0])), 0x01020304),
        (sealed(0x66, SERIAL), 0xFFFFFFFF),
        (sealed(0x77, SERIAL + struct.pack("<I", 6000)), 0x80000000),
        (sealed(0x88, SERIAL + struct.pack("<IB", 0, 1)), 0x7FFFFFFF),
        (sealed(0x99, SERIAL + struct.pack("<IIIB", 16000, 0x01020304, 0xFFFFFFFF, 0x87)), 0xDEADBEEF),
    ]
    for number, (plain, sequence) in enumerate(kinds):
        nonce = nonce_of(number)
        yield {"plain": plain.hex(), "sequence": sequence, "nonce": nonce.hex(),
               "packet": packet(plain, sequence, nonce).hex()}


def keys():
    for password, group in [ABC7, ("", 1), ("a", 65535), ("Pässwörter mit ß", 26), ("x" * 200, 42)]:
        yield {"password": password, "group": group, "key": key_of(password, group).hex(),
               "reset": packet(sealed(0x11), None, nonce_of(group), (password, group)).hex()}


def refused():
    limit = sealed(0x88, SERIAL + struct.pack("<IB", 32000, 0))
    answer = sealed(0x99, SERIAL + bytes(13))
    nonce = nonce_of(100)
    good = packet(limit, 5, nonce)
    yield "a bit of the ciphertext", flipped(good, 1), FORGED
    yield "the last bit of the padding", flipped(good, 16), FORGED
    yield "a bit of the sequence number", flipped(good, 17), FORGED
    yield "a bit of the nonce", flipped(good, 21), FORGED
    yield "the first bit of the tag", flipped(good, 33, 0x80), FORGED
    yield "the last bit of the tag", flipped(good, 44), FORGED
    yield "another group", packet(limit, 5, nonce, ("abc", 8)), FORGED
    yield "another password", packet(limit, 5, nonce, ("abd", 7)), FORGED
    yield "without its sequence number", packet(limit, None, nonce) + bytes(4), FORGED
    padding = "Decryption failed, padding bytes do not match padding size ({})"
    yield "padded with zeros", packet(limit, 5, nonce, pad=bytes(4)), padding.format(4)
    yield "the first byte of the padding", packet(answer, 5, nonce, pad=bytes([11]) + bytes([12]) * 11), padding.format(12)
    yield "the last byte of the padding", packet(answer, 5, nonce, pad=bytes([12]) * 11 + bytes([13])), padding.format(12)
    yield "the identifier of a longer one", flipped(packet(sealed(0x44, SERIAL), 5, nonce), 0, 0x44 ^ 0x77), padding.format(5)
    yield "the identifier of another of that size", flipped(packet(sealed(0x44, SERIAL), 5, nonce), 0, 0x44 ^ 0x66), ""
    yield "the checksum", packet(flipped(limit, 12), 5, nonce), ""


def serial_numbers():
    yield "12-34-ABC-DE1", SERIAL.hex()
    yield "00-00-000-000", "000000000000"
    yield "99-09-ZZZ-ZZZ", (bytes([99, 9]) + struct.pack("<I", 36**6 - 1)).hex()
    yield "01-10-000-00Z", "010a23000000"
    for text in ["", "12-34-ABC-DE", "12-34-ABC-DE12", "12-34-abc-de1", "1A-34-ABC-DE1", "12-34-AB--DE1",
                 "12 34-ABC-DE1", "12-34-ABC-DÄ", "+1-34-ABC-DE1", " 12-34-ABC-DE"]:
        yield text, None


def text():
    parts = {
        "keys": keys(),
        "messages": messages(),
        "refused": ({"what": what, "packet": data.hex(), "log": log} for what, data, log in refused()),
        "serialNumbers": ({"text": serial, "bytes": data} for serial, data in serial_numbers()),
    }
    lines = ",\n".join(f'"{name}": [\n' + ",\n".join(json.dumps(case) for case in cases) + "\n]"
                       for name, cases in parts.items())
    return "{\n" + lines + "\n}\n"


def main():
    if sys.argv[1:] == ["--check"]:
        if FILE.read_text() != text():
            sys.exit(f"make_vectors: {FILE} is not what this gives")
    elif len(sys.argv) == 1:
        FILE.write_text(text())
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main()
