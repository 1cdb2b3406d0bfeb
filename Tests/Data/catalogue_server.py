"""nginx on loopback with TLS, a test authority and Content/nginx.conf, serving a published catalogue."""

import contextlib
import http.client
import os
import pathlib
import shutil
import signal
import socket
import ssl
import subprocess
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
RULES = ROOT / "Content" / "nginx.conf"
BROTLI = "/usr/lib/nginx/modules/ngx_http_brotli_static_module.so"
DEADLINE = 20.0
POLL = 0.02

# The defaults around the server are the opposite of what the rules ask for wherever that is possible.
CONFIGURATION = """
load_module {brotli};
{user}
daemon off;
master_process off;
pid {folder}/pid;
error_log {folder}/error.log;
events {{}}
http {{
    client_body_temp_path {folder}/body;
    proxy_temp_path {folder}/proxy;
    fastcgi_temp_path {folder}/fastcgi;
    uwsgi_temp_path {folder}/uwsgi;
    scgi_temp_path {folder}/scgi;
    log_format exchange '$request_method $uri $status $sent_http_content_encoding';
    access_log {folder}/access.log exchange;
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


class CatalogueServer(contextlib.AbstractContextManager):
    """Serves the folder `root`; what it needs itself goes into `folder`."""

    def __init__(self, folder, root):
        self.folder = pathlib.Path(folder)
        self.authority = self.folder / "authority.pem"
        self.port = None
        self._root = root
        self._process = None

    @property
    def address(self):
        return f"https://localhost:{self.port}"

    def __enter__(self):
        self._make_certificates()
        # Ports cannot be asked for in advance, so a start that finds its port taken is repeated with another.
        for _ in range(20):
            self._choose_port()
            self._start()
            if self._is_up():
                return self
            if "Address already in use" not in self._errors():
                break
        raise AssertionError(f"nginx does not start: {self._errors()}")

    def __exit__(self, *exception):
        self.stop()
        return False

    def stop(self):
        """From now on it takes no connections, and those that it has break."""
        if self._process is not None and self._process.poll() is None:
            self._process.terminate()
            # A suspended process takes the first signal with the second.
            self._process.send_signal(signal.SIGCONT)
            try:
                self._process.wait(timeout=10)
            except subprocess.TimeoutExpired:
                self._process.kill()
                self._process.wait()

    def start_again(self):
        """After `stop`, at the same address."""
        self._start()
        if not self._is_up():
            raise AssertionError(f"nginx does not start again: {self._errors()}")

    @contextlib.contextmanager
    def suspended(self):
        """Meanwhile connections and requests are taken in by the system, and none is answered."""
        self._process.send_signal(signal.SIGSTOP)
        os.waitid(os.P_PID, self._process.pid, os.WSTOPPED | os.WEXITED | os.WNOWAIT)
        try:
            yield
        finally:
            self._process.send_signal(signal.SIGCONT)

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

    def requests(self):
        """One line for each answer: method, path, status, content encoding."""
        return (self.folder / "access.log").read_text(encoding="utf-8").splitlines()

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

    def _choose_port(self):
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            self.port = probe.getsockname()[1]

    def _start(self):
        (self.folder / "error.log").write_text("", encoding="utf-8")
        (self.folder / "nginx.conf").write_text(CONFIGURATION.format(
            brotli=BROTLI, user="user root;" if os.geteuid() == 0 else "", folder=self.folder, port=self.port,
            root=self._root, rules=RULES), encoding="utf-8")
        program = shutil.which("nginx", path=f"{os.environ['PATH']}:/usr/sbin")
        if program is None:
            raise AssertionError("nginx is missing (Debian package nginx-light)")
        self._process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "KILL", program, "-p", self.folder, "-c", self.folder / "nginx.conf",
             "-e", self.folder / "error.log"],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def _is_up(self):
        end = time.monotonic() + DEADLINE
        while time.monotonic() < end and self._process.poll() is None:
            with contextlib.suppress(OSError):
                # nginx writes the file once it listens, so it is not somebody else who answers.
                if (self.folder / "pid").read_text(encoding="utf-8").strip() == str(self._process.pid):
                    socket.create_connection(("127.0.0.1", self.port), timeout=DEADLINE).close()
                    return True
            time.sleep(POLL)
        self.stop()
        return False

    def _errors(self):
        return (self.folder / "error.log").read_text(encoding="utf-8")
