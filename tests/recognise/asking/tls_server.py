# SPDX-License-Identifier: Apache-2.0
# Answers requests over TLS with their paths. Prints its address.
# usage: tls_server.py KEY CERTIFICATE
import http.server
import ssl
import sys


class Handler(http.server.BaseHTTPRequestHandler):
    def do_POST(self):
        self.rfile.read(int(self.headers["Content-Length"]))
        body = self.path.encode()
        self.send_response(200)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)


context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain(sys.argv[2], sys.argv[1])
server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
server.socket = context.wrap_socket(server.socket, server_side=True)
print("listening on 127.0.0.1:%d" % server.server_address[1], flush=True)
server.serve_forever()
