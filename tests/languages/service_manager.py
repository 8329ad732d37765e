"""Plays systemd for a service: takes what it tells, and ends it."""
import signal
import socket
import subprocess


class ServiceManager:
    def __init__(self, folder):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.bind(f"{folder}/notify")
        self.socket.settimeout(30)
        self.surroundings = {"NOTIFY_SOCKET": f"{folder}/notify", "WATCHDOG_USEC": "100000"}

    def is_told(self, state):
        """Waits for that; a sign of life may come at any time."""
        while True:
            told = self.socket.recv(4096).decode().split("\n")[0]
            if told == state:
                return
            assert told == "WATCHDOG=1", f"the service manager was told {told} instead of {state}"

    def end(self, program):
        """As "systemctl stop" does. What the service wrote."""
        program.send_signal(signal.SIGTERM)
        self.is_told("STOPPING=1")
        return program.communicate(timeout=30)


def set_from_outside(folder, key, value, surroundings):
    subprocess.run(["velmora", "prefs", "set", key, value, "--store", f"{folder}/store.db"],
                   env=surroundings, check=True)
