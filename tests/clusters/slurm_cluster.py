"""A Slurm cluster of three nodes on this machine, as root, with its own keys, ports and folders."""

import os
import signal
import socket
import subprocess
import time
from typing import Callable

NODES = ("n1", "n2", "n3")

CONFIGURATION = """ClusterName=test
SlurmctldHost={host}(127.0.0.1)
SlurmUser=root
SlurmctldPort={control}
AuthType=auth/munge
AuthInfo=socket={folder}/munge.socket,cred_expire=5
CredType=cred/munge
StateSaveLocation={folder}/state
SlurmdSpoolDir={folder}/spool-%n
SlurmctldPidFile={folder}/control.pid
SlurmdPidFile={folder}/%n.pid
SlurmctldLogFile={folder}/control.log
SlurmdLogFile={folder}/%n.log
ProctrackType=proctrack/pgid
TaskPlugin=task/none
SelectType=select/cons_tres
SwitchType=switch/none
ReturnToService=2
SlurmdTimeout=10
KillWait=3
MinJobAge=300
SchedulerParameters=batch_sched_delay=0,sched_interval=2
JobAcctGatherType=jobacct_gather/none
MpiDefault=none
SlurmdParameters=config_overrides
NodeName=n[1-3] NodeHostname={host} NodeAddr=127.0.0.1 Port=[{first}-{last}] CPUs=2 RealMemory=1000 State=UNKNOWN
PartitionName=main Nodes=n[1-3] Default=YES MaxTime=INFINITE State=UP
"""


def free_ports(count: int) -> int:
    """The first of so many ports in a row that are free now."""
    for first in range(16817, 60000, 50):
        try:
            for port in range(first, first + count):
                with socket.socket() as probe:
                    probe.bind(("127.0.0.1", port))
            return first
        except OSError:
            continue
    raise RuntimeError("no free ports")


def parent_of(process: int) -> int:
    """Its process number; 0 for one that has ended."""
    try:
        with open(f"/proc/{process}/stat", encoding="utf-8") as file:
            return int(file.read().rpartition(")")[2].split()[1])
    except OSError:
        return 0


class SlurmCluster:
    """Runs for the length of a `with` statement."""

    def __init__(self, folder: str) -> None:
        self.folder = folder
        self.environment = {**os.environ, "SLURM_CONF": f"{folder}/slurm.conf"}
        self._daemons: dict[str, subprocess.Popen[bytes]] = {}

    def __enter__(self) -> "SlurmCluster":
        os.makedirs(f"{self.folder}/state")
        port = free_ports(4)
        with open(f"{self.folder}/slurm.conf", "w", encoding="ascii") as file:
            file.write(CONFIGURATION.format(host=socket.gethostname().split(".")[0], folder=self.folder,
                                            control=port, first=port + 1, last=port + 3))
        with open(f"{self.folder}/munge.key", "wb", opener=lambda path, flags: os.open(path, flags, 0o400)) as file:
            file.write(os.urandom(128))
        self._start("munged", "--foreground", "--force", f"--key-file={self.folder}/munge.key",
                    f"--socket={self.folder}/munge.socket", f"--pid-file={self.folder}/munge.pid",
                    f"--log-file={self.folder}/munge.log", f"--seed-file={self.folder}/munge.seed")
        self._wait(lambda: os.path.exists(f"{self.folder}/munge.socket"), "munged")
        self._start("slurmctld", "-D", "-c")
        for node in NODES:
            self.start_node(node)
        self._wait(lambda: self.run("sinfo", "-h", "-t", "idle", "-o", "%D").strip() == "3", "three nodes")
        return self

    def __exit__(self, *_: object) -> None:
        self.run("scancel", "--user=root")
        for node in NODES:
            self.kill_node(node)
        for daemon in self._daemons.values():
            daemon.terminate()
        for daemon in self._daemons.values():
            daemon.wait(30)

    def run(self, *words: str) -> str:
        """The output of one of Slurm's commands."""
        return subprocess.run(words, env=self.environment, capture_output=True, text=True, check=False).stdout

    def start_node(self, node: str) -> None:
        """Starts a node, also one that was killed."""
        self._start("slurmd", "-D", "-N", node, name=node)

    def kill_node(self, node: str) -> None:
        """Ends a node at once with all that runs on it, as a loss of power does."""
        self._daemons[node].kill()
        self._daemons[node].wait()
        processes = self.processes(node)
        # Those that look after jobs go first, or they would report how these ended.
        keepers = {parent_of(process) for process in processes} - set(processes) - {0, 1}
        for process in [*keepers, *processes]:
            try:
                os.kill(process, signal.SIGKILL)
            except ProcessLookupError:
                pass

    def processes(self, node: str = "", part: str = "") -> list[int]:
        """Those of jobs on a node, or on all, with something in their command lines."""
        found = []
        for name in filter(str.isdigit, os.listdir("/proc")):
            try:
                with open(f"/proc/{name}/environ", "rb") as file:
                    environment = file.read().split(b"\0")
                with open(f"/proc/{name}/cmdline", "rb") as file:
                    command = file.read()
            except OSError:
                continue
            on_node = b"SLURMD_NODENAME=" + node.encode()
            is_ours = b"SLURM_CONF=" + self.folder.encode() + b"/slurm.conf" in environment
            if is_ours and any(each.startswith(on_node) for each in environment) and part.encode() in command:
                found.append(int(name))
        return found

    def _start(self, *words: str, name: str = "") -> None:
        with open(f"{self.folder}/{words[0]}{name}.out", "ab") as log:
            self._daemons[name or words[0]] = subprocess.Popen(
                words, env=self.environment, stdout=log, stderr=log, start_new_session=True)

    @staticmethod
    def _wait(is_there: Callable[[], bool], what: str) -> None:
        for _ in range(300):
            if is_there():
                return
            time.sleep(0.2)
        raise RuntimeError(f"{what} did not start")
