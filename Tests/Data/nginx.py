"""nginx on loopback, with a configuration and a folder of its own."""

import contextlib
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import time

DEADLINE = 20.0
POLL = 0.02

CONFIGURATION = """
{modules}
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
    {rules}
}}
"""


class Nginx(contextlib.AbstractContextManager):
    """Runs it on a free port; what it needs itself goes into `folder`."""

    modules = ""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.port = None
        self._process = None

    def rules(self):
        """What stands inside "http", for `port`; for subclasses."""
        raise NotImplementedError

    def __enter__(self):
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

    def requests(self):
        """One line for each answer: method, path, status, content encoding."""
        return (self.folder / "access.log").read_text(encoding="utf-8").splitlines()

    def _choose_port(self):
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            self.port = probe.getsockname()[1]

    def _start(self):
        (self.folder / "error.log").write_text("", encoding="utf-8")
        (self.folder / "nginx.conf").write_text(CONFIGURATION.format(
            modules=self.modules, user="user root;" if os.geteuid() == 0 else "", folder=self.folder,
            rules=self.rules()), encoding="utf-8")
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
