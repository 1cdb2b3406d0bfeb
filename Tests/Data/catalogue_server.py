"""nginx on loopback with TLS, a test authority and Content/nginx.conf, serving a published catalogue."""

import contextlib
import http.client
import pathlib
import ssl
import subprocess

from nginx import DEADLINE, Nginx

ROOT = pathlib.Path(__file__).resolve().parents[2]
RULES = ROOT / "Content" / "nginx.conf"
BROTLI = "/usr/lib/nginx/modules/ngx_http_brotli_static_module.so"

# The defaults around the server are the opposite of what the rules ask for wherever that is possible.
SERVER = """
    default_type text/html;
    types {{ text/html json png txt; }}
    charset iso-8859-1;
    charset_types *;
    autoindex on;
    etag off;
    expires max;
    gzip on;
    gzip_types *;
    gzip_min_length 0;
    gzip_vary off;

    server {{
        listen 127.0.0.1:{port} ssl http2;
        ssl_certificate {folder}/server.pem;
        ssl_certificate_key {folder}/server.key;
        add_header Strict-Transport-Security max-age=60 always;
        root {root};
        include {rules};
    }}
"""


class Answer:
    """Status, headers as a list of pairs, and the body as it was sent."""

    def __init__(self, response):
        self.status = response.status
        self.headers = response.getheaders()
        self.body = response.read()

    def all(self, name):
        return [value for header, value in self.headers if header.lower() == name.lower()]

    def one(self, name):
        """The header's value, or None without one; several are an error."""
        values = self.all(name)
        if len(values) > 1:
            raise AssertionError(f"several headers {name}: {values}")
        return values[0] if values else None


class CatalogueServer(Nginx):
    """Serves the folder `root`; what it needs itself goes into `folder`."""

    modules = f"load_module {BROTLI};"

    def __init__(self, folder, root):
        super().__init__(folder)
        self.authority = self.folder / "authority.pem"
        self._root = root

    @property
    def address(self):
        return f"https://localhost:{self.port}"

    def rules(self):
        return SERVER.format(folder=self.folder, port=self.port, root=self._root, rules=RULES)

    def __enter__(self):
        self._make_certificates()
        return super().__enter__()

    def ask(self, path, method="GET", **headers):
        """Asks for exactly this path. In the names of headers "_" stands for "-"."""
        context = ssl.create_default_context(cafile=str(self.authority))
        connection = http.client.HTTPSConnection("localhost", self.port, timeout=DEADLINE, context=context)
        with contextlib.closing(connection):
            connection.putrequest(method, path, skip_accept_encoding=True)
            for name, value in headers.items():
                connection.putheader(name.replace("_", "-"), value)
            connection.endheaders()
            return Answer(connection.getresponse())

    def _openssl(self, *arguments):
        subprocess.run(["openssl", *arguments], cwd=self.folder, check=True, capture_output=True)

    def _make_certificates(self):
        for name in ("authority", "server"):
            self._openssl("ecparam", "-genkey", "-name", "prime256v1", "-noout", "-out", f"{name}.key")
        self._openssl("req", "-x509", "-new", "-key", "authority.key",
                      "-subj", "/CN=Glimmerwick test authority", "-days", "2", "-out", "authority.pem")
        self._openssl("req", "-new", "-key", "server.key", "-subj", "/CN=Glimmerwick test catalogue",
                      "-out", "server.csr")
        (self.folder / "server.extensions").write_text(
            "subjectAltName=IP:127.0.0.1,DNS:localhost\nextendedKeyUsage=serverAuth\n", encoding="utf-8")
        self._openssl("x509", "-req", "-in", "server.csr", "-CA", "authority.pem", "-CAkey", "authority.key",
                      "-CAcreateserial", "-days", "2", "-extfile", "server.extensions", "-out", "server.pem")
