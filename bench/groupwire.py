"""The group's wire, as docs/protocol.md tells it."""
import hashlib
import os
import struct

from cryptography.hazmat.primitives.ciphers import Cipher, algorithms, modes

PORT = 23068
SALT = bytes.fromhex("7b337271f4e7f2e999a6123a0eccc6230c61020cbd36f3ccf705f1e7f4ddb18e")
RESET, DISCOVERY, DISCOVERY_ANSWER, INFO, INFO_ANSWER, FALLBACK, FALLBACK_ANSWER, LIMIT, LIMIT_ANSWER = (
    0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99)
BODY_SIZES = {RESET: 1, DISCOVERY: 10, DISCOVERY_ANSWER: 7, INFO: 7, INFO_ANSWER: 9, FALLBACK: 7, FALLBACK_ANSWER: 11,
              LIMIT: 12, LIMIT_ANSWER: 20}
VERSION = 3
WITHOUT_NUMBER = (RESET, DISCOVERY)
NONCE, TAG = 12, 12


def group_address(group):
    return f"ff12:7062:6c72:100::{group:x}"


def checksum(data):
    value = 0
    for byte in data:
        value ^= byte
        for _ in range(8):
            value = (value << 1 ^ (0x4D if value & 0x80 else 0)) & 0xFF
    return value


class Envelope:
    def __init__(self, password, group):
        key = hashlib.pbkdf2_hmac("sha256", f"{password}{group}".encode(), SALT, 10000, 32)
        self.algorithm = algorithms.AES(key)

    def make(self, message, number=None):
        """Of a message without its checksum."""
        body = message[1:] + bytes([checksum(message)])
        padding = -len(body) % 16
        nonce, carried = os.urandom(NONCE), b"" if number is None else struct.pack("<I", number)
        encryptor = Cipher(self.algorithm, modes.GCM(nonce)).encryptor()
        encryptor.authenticate_additional_data(carried)
        ciphertext = encryptor.update(body + bytes([padding]) * padding) + encryptor.finalize()
        return message[:1] + ciphertext + carried + nonce + encryptor.tag[:TAG]

    def open(self, packet):
        """Message and sequence number; an exception when anything is wrong with the packet."""
        body_size = BODY_SIZES[packet[0]]
        padded = -(-body_size // 16) * 16
        ciphertext, carried = packet[1:1 + padded], packet[1 + padded:-NONCE - TAG]
        nonce, tag = packet[-NONCE - TAG:-TAG], packet[-TAG:]
        if len(carried) != (0 if packet[0] in WITHOUT_NUMBER else 4):
            raise ValueError(f"a packet of {len(packet)} bytes")
        decryptor = Cipher(self.algorithm, modes.GCM(nonce, tag, min_tag_length=TAG)).decryptor()
        decryptor.authenticate_additional_data(carried)
        body = decryptor.update(ciphertext) + decryptor.finalize()
        message = packet[:1] + body[:body_size]
        if body[body_size:] != bytes([padded - body_size]) * (padded - body_size) or checksum(message):
            raise ValueError("padding or checksum are wrong")
        return message, int.from_bytes(carried, "little") if carried else None
