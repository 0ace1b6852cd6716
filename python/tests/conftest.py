"""The real server with three simulated days, and a session on it. QRX_BUILD names the folder with
library, server and command line; without it that is build/release or build."""

import os
import subprocess
import time
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ.get("QRX_BUILD") or next(
    (b for b in (ROOT / "build/release", ROOT / "build") if (b / "libqrx.so.1").exists()), "build")).resolve()
if os.environ.get("QRX_TEST_INSTALLED") != "1":
    os.environ.setdefault("QRX_LIBRARY", str(BUILD / "libqrx.so.1"))
    import sys

    sys.path.insert(0, str(ROOT / "python"))
os.environ.setdefault("MPLBACKEND", "Agg")
for name in ("QRX_PASSWORD", "QRX_PROXY_PASSWORD"):
    os.environ.pop(name, None)

PASSWORD = "s3cret-Demo"
MARKETS = "SH,SZ,SHF,DCE,CZC,CF"


class Demo:
    def __init__(self, port, folder):
        self.port, self.folder = port, folder
        self.url = f"qrx://demo@localhost:{port}"

    def cli(self, *arguments):
        """Output of the command line."""
        place = {"QRX_SERVER": f"127.0.0.1:{self.port}", "QRX_USER": "demo",
                 "QRX_PASSWORD": PASSWORD, "HOME": str(self.folder)}
        return subprocess.run([BUILD / "qrx", *arguments], env=place, check=True,
                              capture_output=True, text=True).stdout


@pytest.fixture(scope="session")
def demo(tmp_path_factory):
    folder = tmp_path_factory.mktemp("server")
    store, secret, port = folder / "store.db", folder / "password", folder / "port"
    secret.write_text(PASSWORD)
    secret.chmod(0o600)
    for arguments in (["init"], ["user", "add", "demo", "--markets", MARKETS, "--password-file", secret],
                      ["simulate", "--days", "3", "--end", "20240105"]):
        subprocess.run([BUILD / "qrx-server", *arguments, "--db", store], check=True,
                       stdout=subprocess.DEVNULL)
    with open(folder / "log", "w") as log:
        server = subprocess.Popen([BUILD / "qrx-server", "serve", "--db", store, "--port", "0",
                                   "--port-file", port], stdout=log, stderr=log)
    for _ in range(200):
        if port.exists() and port.read_text().strip():
            break
        time.sleep(0.05)
    yield Demo(int(port.read_text()), folder)
    server.terminate()
    server.wait()


@pytest.fixture
def session(demo):
    import qrx

    with qrx.connect(demo.url, password=PASSWORD) as s:
        yield s
