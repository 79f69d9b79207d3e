#!/usr/bin/env python3
"""Tries the example service files of an unpacked installation: the systemd unit by systemd's own checks, the init script by
running the unit with it. The argument is the root of the installation."""
import os
import pathlib
import pwd
import socket
import stat
import subprocess
import sys
import tempfile

root = pathlib.Path(sys.argv[1]).resolve()
examples = root / "usr/share/doc/quarn/examples"


def check_systemd_unit():
    unit = examples / "quarn-unit.service"
    with tempfile.TemporaryDirectory() as folder:
        # The check wants to find the program, which is not in /usr/bin here.
        copy = pathlib.Path(folder) / unit.name
        copy.write_text(unit.read_text().replace("/usr/bin/", f"{root}/usr/bin/"))
        said = subprocess.run(["systemd-analyze", "verify", "--man=no", copy], capture_output=True, text=True)
        complaints = [line for line in said.stderr.splitlines() if unit.name in line]
        assert not complaints, "\n".join(complaints)
        # 0 is without any right, 10 with all; "threshold" counts tenths.
        subprocess.run(["systemd-analyze", "security", "--offline=yes", "--threshold=15", "--no-pager", copy],
                       check=True, stdout=subprocess.DEVNULL)
    print("systemd has no complaints")


def check_init_script():
    with socket.create_server(("127.0.0.1", 0)) as taken:
        unit = f"127.0.0.1:{taken.getsockname()[1]}"
    with tempfile.TemporaryDirectory() as temporary, socket.create_server(("127.0.0.1", 0)) as watchdog:
        folder = pathlib.Path(temporary)
        watchdog.settimeout(20)
        defaults = folder / "defaults"
        settings = {"DAEMON": root / "usr/bin/quarn-unit", "PIDFILE": folder / "pid",
                    "QUARN_UNIT_USER": pwd.getpwuid(os.getuid()).pw_name,
                    "QUARN_UNIT_WATCHDOG": f"127.0.0.1:{watchdog.getsockname()[1]}",
                    "QUARN_UNIT_STATE": folder / "state", "QUARN_UNIT_LOG": folder / "log",
                    "QUARN_UNIT_OPTIONS": f'"--name receiver --listen {unit}"'}
        defaults.write_text("".join(f"{key}={value}\n" for key, value in settings.items()))

        def call(action):
            return subprocess.run([examples / "init.d/quarn-unit", action], stdin=subprocess.DEVNULL,
                                  env={**os.environ, "QUARN_UNIT_DEFAULTS": str(defaults)}).returncode

        def control(*words):
            return subprocess.run([root / "usr/bin/quarn-ctl", "--unit", unit, *words], check=True, capture_output=True,
                                  text=True).stdout

        def reported_process():
            connection, _ = watchdog.accept()
            with connection, connection.makefile() as lines:
                word, name, process = lines.readline().split()
            assert (word, name) == ("update", "receiver"), (word, name)
            return int(process)

        assert call("start") == 0
        try:
            first = reported_process()
            assert call("status") == 0
            assert call("start") == 0, "starting what runs is no failure"
            assert int((folder / "pid").read_text()) == first, "and starts nothing"
            control("set", "audio.gain-db", "6.5")
            assert call("restart") == 0
            assert reported_process() != first
            assert "6.500000" in control("get", "audio.gain-db"), "the settings did not survive"
        finally:
            assert call("stop") == 0
        assert call("status") == 3
        assert call("stop") == 0, "stopping what does not run is no failure"
        modes = {path.name: stat.S_IMODE(path.stat().st_mode) for path in (folder / "state", folder / "state/settings")}
        assert modes == {"state": 0o700, "settings": 0o600}, modes
        assert list((folder / "log").iterdir()), "no log"
    print("the init script starts, watches, restarts and stops the unit")


check_systemd_unit()
check_init_script()
