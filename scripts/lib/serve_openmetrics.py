#!/usr/bin/env python3
"""Serves a file as OpenMetrics on loopback: serve_openmetrics.py PORT FILE. Prometheus then uses its strict parser."""
import http.server
import pathlib
import sys


class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        body = pathlib.Path(sys.argv[2]).read_bytes()
        self.send_response(200)
        self.send_header("Content-Type", "application/openmetrics-text; version=1.0.0; charset=utf-8")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)


http.server.HTTPServer(("127.0.0.1", int(sys.argv[1])), Handler).serve_forever()
