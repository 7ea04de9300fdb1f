#!/usr/bin/env python3
"""A loopback HTTPS server for tests.

Usage: https_server.py FOLDER [HOST...]
       https_server.py FOLDER --plain=ADDRESS
Makes a certificate authority of its own (FOLDER/ca.pem) and with it a certificate for 127.0.0.1, localhost and the
HOSTs, then prints the port it listens on (127.0.0.1, chosen by the system) as the first line of standard output.
With --plain it speaks plain HTTP on ADDRESS (127.0.0.1 or ::1) instead, without certificates.

FOLDER/routes.json is read again for every request, so a test can change the answers while the server runs:
  {"/path": {"status": 200, "headers": {"Content-Type": "application/json"}, "body": "...",
             "body_file": "/abs/file", "repeat_body": N, "delay": seconds, "close": true, "hang": true,
             "redirect": "https://...", "truncate": N, "drip": seconds}}
"drip" sends the body one byte at a time with that pause before each byte.
"truncate" announces the whole body in Content-Length but sends only its first N bytes, then closes.
A path without a route gets 404. Every request is appended to FOLDER/requests.jsonl as
  {"method", "path", "headers": {lower-case name: value}, "body"}.
"""
import http.server
import json
import os
import socket
import socketserver
import ssl
import subprocess
import sys
import threading
import time

FOLDER, HOSTS = sys.argv[1], sys.argv[2:]
ROUTES, LOG = os.path.join(FOLDER, "routes.json"), os.path.join(FOLDER, "requests.jsonl")
log_lock = threading.Lock()


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    # Headers and body go out as separate writes; without this, delayed acknowledgements add 40 ms to each answer.
    disable_nagle_algorithm = True

    def log_message(self, *args):
        pass

    def handle_any(self):
        length = int(self.headers.get("Content-Length") or 0)
        body = self.rfile.read(length) if length else b""
        entry = {
            "method": self.command,
            "path": self.path,
            "headers": {k.lower(): v for k, v in self.headers.items()},
            "body": body.decode("utf-8", "replace"),
        }
        with log_lock, open(LOG, "a", encoding="utf-8") as log:
            log.write(json.dumps(entry, ensure_ascii=False) + "\n")
        try:
            with open(ROUTES, encoding="utf-8") as f:
                routes = json.load(f)
        except (OSError, ValueError):
            routes = {}
        route = routes.get(self.path.split("?")[0])
        if route is None:
            self.send_response(404)
            self.send_header("Content-Length", "0")
            self.end_headers()
            return
        if route.get("hang"):
            time.sleep(3600)
            return
        if route.get("close"):
            self.close_connection = True
            self.connection.shutdown(2)
            return
        time.sleep(route.get("delay", 0))
        if "body_file" in route:
            with open(route["body_file"], "rb") as f:
                payload = f.read()
        else:
            payload = route.get("body", "").encode("utf-8")
        payload *= int(route.get("repeat_body", 1))
        self.send_response(int(route.get("status", 200)))
        for name, value in route.get("headers", {}).items():
            self.send_header(name, value)
        if "redirect" in route:
            self.send_header("Location", route["redirect"])
        self.send_header("Content-Length", str(len(payload)))
        self.end_headers()
        if "truncate" in route:
            payload = payload[:int(route["truncate"])]
        chunk = 1 if "drip" in route else 1 << 16
        try:
            for i in range(0, len(payload), chunk):
                time.sleep(route.get("drip", 0))
                self.wfile.write(payload[i:i + chunk])
                self.wfile.flush()
        except (BrokenPipeError, ConnectionResetError):
            pass
        if "truncate" in route:
            self.wfile.flush()
            self.close_connection = True
            self.connection.shutdown(2)

    do_GET = do_POST = do_PUT = do_HEAD = handle_any


class Server(socketserver.ThreadingMixIn, http.server.HTTPServer):
    daemon_threads = True
    allow_reuse_address = True


def make_certificates():
    def openssl(*arguments):
        subprocess.run(["openssl", *arguments], cwd=FOLDER, check=True, capture_output=True)

    curve = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes"]
    openssl("req", "-x509", *curve, "-keyout", "ca.key", "-out", "ca.pem", "-days", "2", "-subj", "/CN=Tessary Test CA")
    openssl("req", *curve, "-keyout", "server.key", "-out", "server.csr", "-subj", "/CN=127.0.0.1")
    names = ",".join(["IP:127.0.0.1", "DNS:localhost"] + ["DNS:" + host for host in HOSTS])
    with open(os.path.join(FOLDER, "server.ext"), "w", encoding="utf-8") as extensions:
        extensions.write(f"subjectAltName={names}\nbasicConstraints=CA:FALSE\n"
                         "keyUsage=digitalSignature\nextendedKeyUsage=serverAuth\n")
    openssl("x509", "-req", "-in", "server.csr", "-CA", "ca.pem", "-CAkey", "ca.key", "-CAcreateserial",
            "-out", "server.pem", "-days", "2", "-extfile", "server.ext")


def main():
    plain = [host.split("=", 1)[1] for host in HOSTS if host.startswith("--plain=")]
    if plain:
        Server.address_family = socket.AF_INET6 if ":" in plain[0] else socket.AF_INET
        server = Server((plain[0], 0), Handler)
    else:
        make_certificates()
        server = Server(("127.0.0.1", 0), Handler)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(os.path.join(FOLDER, "server.pem"), os.path.join(FOLDER, "server.key"))
        server.socket = context.wrap_socket(server.socket, server_side=True)
    print(server.server_address[1], flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
