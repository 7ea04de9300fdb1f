#!/usr/bin/env python3
"""A pointer for a headless wlroots compositor, which has no input devices of its own: a virtual pointer
(zwlr_virtual_pointer_v1) spoken over the Wayland socket directly, so that nothing beyond python3 is needed.

Reads commands on standard input, one a line, and answers "ok" on standard output once the compositor has taken
them (or "error ..." and exits):
    drag X1 Y1 X2 Y2    press the left button at (X1, Y1), move through the middle, release at (X2, Y2)
    press X Y, move X Y, release X Y    one step of a drag at a time
Points are in the compositor's layout coordinates (logical pixels, negative left of and above the origin); the
layout's bounding box is given once on the command line: virtual_pointer.py LEFT TOP WIDTH HEIGHT.
"""

import os
import socket
import struct
import sys

BUTTON_LEFT = 0x110


class Connection:
    def __init__(self):
        name = os.environ["WAYLAND_DISPLAY"]
        path = name if name.startswith("/") else os.path.join(os.environ["XDG_RUNTIME_DIR"], name)
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.socket.connect(path)
        self.next_id = 2
        self.buffer = b""

    def new_id(self):
        self.next_id += 1
        return self.next_id - 1

    def send(self, target, opcode, payload=b""):
        self.socket.sendall(struct.pack("<II", target, (8 + len(payload)) << 16 | opcode) + payload)

    def events(self):
        """Yields (object, opcode, payload) for every event until the caller stops."""
        while True:
            while len(self.buffer) >= 8:
                target, word = struct.unpack_from("<II", self.buffer)
                size = word >> 16
                if len(self.buffer) < size:
                    break
                payload, self.buffer = self.buffer[8:size], self.buffer[size:]
                if target == 1 and word & 0xFFFF == 0:
                    raise RuntimeError("the compositor reported a protocol error")
                yield target, word & 0xFFFF, payload
            data = self.socket.recv(65536)
            if not data:
                raise RuntimeError("the compositor closed the connection")
            self.buffer += data

    def roundtrip(self):
        """Waits until the compositor has handled every request sent so far (wl_display.sync)."""
        callback = self.new_id()
        self.send(1, 0, struct.pack("<I", callback))
        for target, _, _ in self.events():
            if target == callback:
                return


def string(text):
    data = text.encode() + b"\0"
    return struct.pack("<I", len(data)) + data + b"\0" * (-len(data) % 4)


def virtual_pointer(connection):
    registry = connection.new_id()
    connection.send(1, 1, struct.pack("<I", registry))
    manager_name = None
    callback = connection.new_id()
    connection.send(1, 0, struct.pack("<I", callback))
    for target, opcode, payload in connection.events():
        if target == callback:
            break
        if target == registry and opcode == 0:
            name, length = struct.unpack_from("<II", payload)
            if payload[8:8 + length - 1] == b"zwlr_virtual_pointer_manager_v1":
                manager_name = name
    if manager_name is None:
        raise RuntimeError("the compositor offers no virtual pointers")
    manager = connection.new_id()
    connection.send(registry, 0,
                    struct.pack("<I", manager_name) + string("zwlr_virtual_pointer_manager_v1")
                    + struct.pack("<II", 1, manager))
    pointer = connection.new_id()
    connection.send(manager, 0, struct.pack("<II", 0, pointer))
    connection.roundtrip()
    return pointer


def main():
    left, top, width, height = (int(value) for value in sys.argv[1:5])
    connection = Connection()
    pointer = virtual_pointer(connection)
    time = [0]

    def stamp():
        time[0] += 10
        return time[0]

    def move(x, y):
        connection.send(pointer, 1, struct.pack("<IIIII", stamp(), x - left, y - top, width, height))
        connection.send(pointer, 4)
        connection.roundtrip()

    def button(pressed):
        connection.send(pointer, 2, struct.pack("<III", stamp(), BUTTON_LEFT, 1 if pressed else 0))
        connection.send(pointer, 4)
        connection.roundtrip()

    print("ok", flush=True)
    for line in sys.stdin:
        words = line.split()
        points = [int(word) for word in words[1:]]
        if words[:1] == ["drag"]:
            move(points[0], points[1])
            button(True)
            move((points[0] + points[2]) // 2, (points[1] + points[3]) // 2)
            move(points[2], points[3])
            button(False)
        elif words[:1] in (["press"], ["move"], ["release"]):
            move(points[0], points[1])
            if words[0] != "move":
                button(words[0] == "press")
        else:
            print("error unknown command", flush=True)
            return 1
        print("ok", flush=True)
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except (OSError, RuntimeError, KeyError) as error:
        print("error", error, flush=True)
        sys.exit(1)
