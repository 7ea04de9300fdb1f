#!/usr/bin/env python3
"""An HTTP CONNECT proxy on 127.0.0.1 that sends every tunnel to one loopback port.

Usage: connect_proxy.py FOLDER TARGET_PORT
Prints the port it listens on as the first line of standard output. Whatever host a client asks for, the tunnel
ends at 127.0.0.1:TARGET_PORT, so a test can talk to "api.example.com" without leaving the machine. Each CONNECT
target ("host:port") is appended to FOLDER/targets.log as one line.
"""
import os
import select
import socket
import sys
import threading

LOG, TARGET_PORT = os.path.join(sys.argv[1], "targets.log"), int(sys.argv[2])
log_lock = threading.Lock()


def pump(a, b):
    sockets = [a, b]
    try:
        while True:
            readable, _, _ = select.select(sockets, [], [])
            for s in readable:
                data = s.recv(65536)
                if not data:
                    return
                (b if s is a else a).sendall(data)
    except OSError:
        pass
    finally:
        a.close()
        b.close()


def serve(client):
    head = b""
    while b"\r\n\r\n" not in head:
        chunk = client.recv(4096)
        if not chunk:
            client.close()
            return
        head += chunk
    request_line = head.split(b"\r\n", 1)[0].decode("latin-1").split()
    if len(request_line) < 2 or request_line[0] != "CONNECT":
        client.sendall(b"HTTP/1.1 405 Method Not Allowed\r\nContent-Length: 0\r\n\r\n")
        client.close()
        return
    with log_lock, open(LOG, "a", encoding="utf-8") as log:
        log.write(request_line[1] + "\n")
    upstream = socket.create_connection(("127.0.0.1", TARGET_PORT))
    client.sendall(b"HTTP/1.1 200 Connection established\r\n\r\n")
    rest = head.split(b"\r\n\r\n", 1)[1]
    if rest:
        upstream.sendall(rest)
    pump(client, upstream)


def main():
    listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    listener.bind(("127.0.0.1", 0))
    listener.listen(16)
    print(listener.getsockname()[1], flush=True)
    while True:
        client, _ = listener.accept()
        threading.Thread(target=serve, args=(client,), daemon=True).start()


if __name__ == "__main__":
    main()
