# SPDX-License-Identifier: Apache-2.0
"""A reverse proxy that shows the service under a path."""
import http.client
import threading
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

PREFIX = "/music"
PASSED_ON = {"content-type", "content-encoding", "content-security-policy", "tarn-match", "etag", "cache-control"}


class Proxy:
    def __init__(self, address):
        class Handler(BaseHTTPRequestHandler):
            def pass_on(self):
                if not self.path.startswith(PREFIX + "/"):
                    self.send_error(404)
                    return
                body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
                connection = http.client.HTTPConnection(address)
                names = ("Content-Type", "Accept-Encoding")
                kept = {name: self.headers[name] for name in names if name in self.headers}
                connection.request(self.command, self.path[len(PREFIX):], body or None, kept)
                answer = connection.getresponse()
                content = answer.read()
                self.send_response(answer.status)
                for name, value in answer.getheaders():
                    if name.lower() in PASSED_ON:
                        self.send_header(name, value)
                self.send_header("Content-Length", str(len(content)))
                self.end_headers()
                self.wfile.write(content)
                connection.close()

            do_GET = do_POST = pass_on

            def log_message(self, *_):
                pass

        self.server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.url = f"http://127.0.0.1:{self.server.server_port}{PREFIX}/"
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def close(self):
        self.server.shutdown()
        self.server.server_close()
