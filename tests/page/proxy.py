# SPDX-License-Identifier: Apache-2.0
"""A reverse proxy that shows the service under a path."""
import http.client
import threading
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from json import dumps

PREFIX = "/music"
PASSED_ON = {"content-type", "content-encoding", "content-security-policy", "tarn-match", "etag", "cache-control"}


class Proxy:
    """json: a function of a path below v1/ and the header Authorization, which answers in the place of the service's
    JSON interface with a status and an object; None: the service answers itself. scripts: texts and policies of files
    of JavaScript by their names, which the service does not have."""

    def __init__(self, address, json=None, scripts=None):
        class Handler(BaseHTTPRequestHandler):
            def pass_on(self):
                if not self.path.startswith(PREFIX + "/"):
                    self.send_error(404)
                    return
                if json is not None and self.path.startswith(PREFIX + "/v1/"):
                    status, value = json(self.path[len(PREFIX) + 4:], self.headers.get("Authorization"))
                    self.answer(status, [("Content-Type", "application/json")], dumps(value).encode())
                    return
                name = self.path[len(PREFIX) + 1:]
                if name in (scripts or {}):
                    text, policy = scripts[name]
                    headers = [("Content-Type", "text/javascript"), ("Content-Security-Policy", policy)]
                    self.answer(200, headers, text.encode())
                    return
                body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
                connection = http.client.HTTPConnection(address)
                names = ("Content-Type", "Accept-Encoding")
                kept = {name: self.headers[name] for name in names if name in self.headers}
                connection.request(self.command, self.path[len(PREFIX):], body or None, kept)
                answer = connection.getresponse()
                content = answer.read()
                connection.close()
                headers = [(name, value) for name, value in answer.getheaders() if name.lower() in PASSED_ON]
                self.answer(answer.status, headers, content)

            def answer(self, status, headers, content):
                self.send_response(status)
                for name, value in [*headers, ("Content-Length", str(len(content)))]:
                    self.send_header(name, value)
                self.end_headers()
                self.wfile.write(content)

            do_GET = do_POST = pass_on

            def log_message(self, *_):
                pass

        self.server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.url = f"http://127.0.0.1:{self.server.server_port}{PREFIX}/"
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def close(self):
        self.server.shutdown()
        self.server.server_close()
