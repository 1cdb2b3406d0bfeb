"""A catalogue on a server of the test's own, which remembers what it was asked for."""

import contextlib
import http.server
import threading

from pictures import ROOT, png

BUNDLED = (ROOT / "Resources" / "catalogue" / "manifest.json").read_bytes()
# Newer than the colour emoji font, which has nothing for it.
QUERY, EMOJI, CODEPOINT, IMAGE_NAME = "orca", "\U0001FACD", "1facd", "1facd.png"
IMAGE = png(255, 1, 254, (136, 128))


class LocalCatalogue(contextlib.AbstractContextManager):
    """Serves the bundled manifest and one picture on loopback until the context ends."""

    def __init__(self):
        self.requests = []
        answers = {"/manifest.json": BUNDLED, f"/emojis/{IMAGE_NAME}": IMAGE}
        requests = self.requests

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                requests.append(self.path)
                body = answers.get(self.path)
                self.send_response(404 if body is None else 200)
                self.send_header("Content-Length", str(len(body or b"")))
                self.end_headers()
                self.wfile.write(body or b"")

            def log_message(self, *_):
                pass
        self._server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self._thread = threading.Thread(target=self._server.serve_forever, daemon=True)
        self._thread.start()
        self.address = f"http://127.0.0.1:{self._server.server_address[1]}"

    def __exit__(self, *exception):
        self._server.shutdown()
        self._server.server_close()
        self._thread.join()
        return False
