#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""An https server for one host, "localhost", that answers each path in its own way, most of them wrong.

https-server.py FOLDER: makes its own authority, FOLDER/certificate, prints its port, and serves until it is killed.
"""
import http.server
import ssl
import subprocess
import sys

folder = sys.argv[1]
sent = 0


def redirect(to):
    return "302 Found\r\nLocation: " + to + "\r\n\r\n"


class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        here = "https://localhost:%d" % self.server.server_port
        answers = {
            "/request": "200 OK\r\nSet-Cookie: a=b\r\n\r\n" + self.requestline + "\n" + str(self.headers),
            "/full": "200 OK\r\n\r\n" + 65536 * "x",
            "/moved": redirect(here + "/full"),
            "/sent": "200 OK\r\n\r\n%d" % sent,
            "/missing": "404 Not Found\r\n\r\n{}",
            "/longer": "200 OK\r\n\r\n" + 65537 * "x",
            "/lies": "200 OK\r\nContent-Length: 1000\r\n\r\n{}",
            "/plain": redirect("http://localhost:%d/full" % self.server.server_port),
            "/local": redirect("file:///etc/hostname"),
            "/circle": redirect(here + "/circle"),
        }
        self.close_connection = True
        if self.path == "/hang":
            self.rfile.read()
        elif self.path == "/endless":
            self.send_endlessly()
        elif self.path in answers:
            self.wfile.write(("HTTP/1.1 " + answers[self.path]).encode())
        else:
            self.wfile.write(b"\0garbage\r\n")

    def send_endlessly(self):
        global sent
        self.wfile.write(b"HTTP/1.1 200 OK\r\nContent-Length: 1000000000\r\n\r\n")
        try:
            while sent < 1000000000:
                self.wfile.write(65536 * b"x")
                sent += 65536
        except OSError:
            pass  # the client has closed the connection

    def log_message(self, *_):
        pass


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True

    def handle_error(self, *_):
        pass  # clients that refuse the certificate


subprocess.run(
    ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-subj", "/CN=localhost"]
    + ["-addext", "subjectAltName=DNS:localhost", "-keyout", folder + "/key", "-out", folder + "/certificate"],
    check=True, stderr=subprocess.DEVNULL)
server = Server(("127.0.0.1", 0), Handler)
context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain(folder + "/certificate", folder + "/key")
server.socket = context.wrap_socket(server.socket, server_side=True, do_handshake_on_connect=False)
print(server.server_port, flush=True)
server.serve_forever()
