#!/usr/bin/env python3
"""A loopback HTTPS server for tests.

Usage: https_server.py CERT KEY ROUTES_JSON LOG_JSONL
Prints the port it listens on (127.0.0.1, chosen by the system) as the first line of standard output.

ROUTES_JSON is read again for every request, so a test can change the answers while the server runs:
  {"/path": {"status": 200, "headers": {"Content-Type": "application/json"}, "body": "...",
             "body_file": "/abs/file", "repeat_body": N, "delay": seconds, "close": true, "hang": true,
             "redirect": "https://...", "truncate": N, "drip": seconds}}
"drip" sends the body one byte at a time with that pause before each byte.
"truncate" announces the whole body in Content-Length but sends only its first N bytes, then closes.
A path without a route gets 404. Every request is appended to LOG_JSONL as
  {"method", "path", "headers": {lower-case name: value}, "body"}.
"""
import http.server
import json
import socketserver
import ssl
import sys
import threading
import time

CERT, KEY, ROUTES, LOG = sys.argv[1:5]
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


def main():
    server = Server(("127.0.0.1", 0), Handler)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(CERT, KEY)
    server.socket = context.wrap_socket(server.socket, server_side=True)
    print(server.server_address[1], flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
