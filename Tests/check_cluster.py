#!/usr/bin/env python3
"""Runs the jobs of Training/cluster in four shards, and compares what is gathered with one run.

    check_cluster.py alone|slurm|hosts BUILD

BUILD is the folder of the programs. Where they were built before, or with MIRD_CI set, they are
built as far as need be; otherwise that would take too long for a check. "alone" calls the shards
one after the other; "slurm" sets up a Slurm of one node; "hosts" sets up an sshd with two
addresses, for GNU parallel. All servers are this script's own children, listen on the loopback
addresses only and have their files in a temporary folder; they are gone when it ends.

Exit status: 0 all well, 1 something differs, 77 a program is missing.
"""

import contextlib
import ctypes
import getpass
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
CLUSTER = ROOT / "Training" / "cluster"
SHARDS = 4
MOST_SECONDS = 200  # of a check on a slow machine, but for the build
PROGRAMS = ["selfplay", "plyinfo", "relabel", "match"]
SERVERS = "/usr/local/sbin:/usr/sbin:/sbin"  # where servers are, beside PATH
NEEDED = {"alone": [],
          "slurm": ["setpriv", "munged", "slurmctld", "slurmd", "sbatch", "sinfo", "scancel"],
          "hosts": ["setpriv", "sshd", "ssh", "ssh-keygen", "parallel"]}


class Broken(Exception):
    """What the check has found."""


def path_of(program):
    return shutil.which(program, path=f"{os.environ['PATH']}:{SERVERS}")


def run(*command, good=True, seconds=120, **more):
    """Runs a command and returns what it prints; `good` tells whether it must succeed."""
    done = subprocess.run([str(word) for word in command], stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          timeout=seconds, check=False, **more)
    if (done.returncode == 0) != good:
        raise Broken(f"{' '.join(map(str, command))}\n  status {done.returncode}: {done.stdout}")
    return done.stdout


def wait_until(ready, what, seconds=20):
    end = time.monotonic() + seconds
    while not ready():
        if time.monotonic() > end:
            raise Broken(f"{what} doesn't answer")
        time.sleep(0.1)


def free_ports(count):
    sockets = [socket.socket() for _ in range(count)]
    for one in sockets:
        one.bind(("127.0.0.1", 0))
    ports = [one.getsockname()[1] for one in sockets]
    for one in sockets:
        one.close()
    return ports


@contextlib.contextmanager
def server(folder, program, *arguments, **more):
    """A server in the foreground as a child, which ends with this script, however that does."""
    with open(folder / f"{program}.log", "w") as log:
        child = subprocess.Popen(
            ["setpriv", "--pdeathsig", "KILL", path_of(program), *map(str, arguments)],
            stdin=subprocess.DEVNULL, stdout=log, stderr=log, start_new_session=True, **more)
    try:
        yield child
    finally:
        for number in (signal.SIGTERM, signal.SIGKILL):
            with contextlib.suppress(ProcessLookupError):
                os.killpg(child.pid, number)
            with contextlib.suppress(subprocess.TimeoutExpired):
                child.wait(timeout=5)


@contextlib.contextmanager
def alone(_folder, build):
    def launch(job, out, *arguments, good=True):
        script = CLUSTER / f"{job}.sh"
        environment = dict(os.environ, MIRD_BUILD=str(build))
        for shard in range(SHARDS):
            run(script, "shard", shard, SHARDS, out, *arguments, env=environment)
        return run(script, "gather", SHARDS, out, *arguments, env=environment, good=good)
    yield launch


SLURM_CONF = """
ClusterName=mird
SlurmctldHost={host}(127.0.0.1)
SlurmctldPort={ports[0]}
SlurmdPort={ports[1]}
SlurmUser={user}
SlurmdUser={user}
AuthType=auth/munge
AuthInfo=socket={folder}/munge.socket
CommunicationParameters=NoCtldInAddrAny,NoInAddrAny
StateSaveLocation={folder}/state
SlurmdSpoolDir={folder}/spool
SlurmctldPidFile={folder}/slurmctld.pid
SlurmdPidFile={folder}/slurmd.pid
MpiDefault=none
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SlurmdParameters=config_overrides
ReturnToService=2
SchedulerParameters=batch_sched_delay=0,sched_interval=1,sched_min_interval=0
NodeName={host} NodeAddr=127.0.0.1 CPUs={shards} State=UNKNOWN
PartitionName=all Nodes={host} Default=YES State=UP MaxTime=10
"""


@contextlib.contextmanager
def slurm(folder, build):
    """A Slurm of one node that has a processor for each shard."""
    key = folder / "munge.key"
    key.write_bytes(os.urandom(128))
    key.chmod(0o600)
    for name in ("state", "spool"):
        (folder / name).mkdir()
    conf = folder / "slurm.conf"
    conf.write_text(SLURM_CONF.format(host=socket.gethostname().split(".")[0], folder=folder,
                                      ports=free_ports(2), user=getpass.getuser(), shards=SHARDS))
    environment = dict(os.environ, SLURM_CONF=str(conf), MIRD_BUILD=str(build))

    def launch(job, out, *arguments, good=True):
        return run(CLUSTER / "slurm.sh", SHARDS, job, out, *arguments, env=environment, good=good)

    def idle():
        return "idle" in subprocess.run(["sinfo", "-h", "-o", "%T"], env=environment, text=True,
                                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                        timeout=30, check=False).stdout

    with contextlib.ExitStack() as stack:
        stack.enter_context(server(
            folder, "munged", "--foreground", "--force", f"--key-file={key}",
            f"--socket={folder}/munge.socket", f"--pid-file={folder}/munge.pid",
            f"--log-file={folder}/munge.log", f"--seed-file={folder}/munge.seed"))
        wait_until((folder / "munge.socket").exists, "munged")
        for program in ("slurmctld", "slurmd"):
            stack.enter_context(server(folder, program, "-D", env=environment))
        wait_until(idle, "Slurm")
        try:
            yield launch
        finally:
            # Where a check was broken off, tasks may run on.
            subprocess.run(["scancel", "--user", getpass.getuser()], env=environment, timeout=30,
                           check=False)


SSHD_CONFIG = """
Port {port}
ListenAddress 127.0.0.1
ListenAddress 127.0.0.2
HostKey {folder}/host
AuthorizedKeysFile {folder}/user.pub
PidFile none
StrictModes no
PasswordAuthentication no
UsePAM no
"""

SSH_CONFIG = """
Port {port}
IdentityFile {folder}/user
IdentitiesOnly yes
UserKnownHostsFile {folder}/known
StrictHostKeyChecking accept-new
BatchMode yes
"""


@contextlib.contextmanager
def hosts(folder, build):
    """An sshd with keys of its own that stands for two hosts."""
    for name in ("host", "user"):
        run("ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", folder / name)
    [port] = free_ports(1)
    (folder / "sshd_config").write_text(SSHD_CONFIG.format(folder=folder, port=port))
    (folder / "ssh_config").write_text(SSH_CONFIG.format(folder=folder, port=port))
    environment = dict(os.environ, MIRD_BUILD=str(build), PARALLEL="--jobs 2",
                       PARALLEL_HOME=str(folder), PARALLEL_SSH=f"ssh -F {folder}/ssh_config")

    def launch(job, out, *arguments, good=True):
        return run(CLUSTER / "hosts.sh", "127.0.0.1,127.0.0.2", SHARDS, job, out, *arguments,
                   env=environment, good=good)

    def answers():
        with socket.socket() as probe:
            return probe.connect_ex(("127.0.0.2", port)) == 0

    # Started as root it wants a folder that its package makes at the system's start only.
    room = pathlib.Path("/run/sshd")
    make_room = os.getuid() == 0 and not room.exists()
    if make_room:
        room.mkdir(mode=0o755)
    try:
        with server(folder, "sshd", "-D", "-e", "-f", folder / "sshd_config"):
            wait_until(answers, "sshd")
            yield launch
    finally:
        if make_room:
            room.rmdir()


def expect_same(what, gathered, whole):
    if gathered != whole:
        raise Broken(f"{what}: gathered\n{gathered}\n  in one run\n{whole}")


def lines_of(file, form):
    return sorted(re.findall(form, file if isinstance(file, str) else file.read_text(), re.M))


def check_games(launch, folder, build):
    """Self-play and rescoring, and the refusal of two files of one seed."""
    games, again = folder / "games", folder / "again"
    launch("selfplay", games, 1, "--games", 1, "--nodes", 20, "--hash", 1)
    files = sorted(games.glob("*.ply"))
    expect_same("names", [file.name for file in files],
                [f"games-{seed}-0.ply" for seed in range(1, 1 + SHARDS)])
    run(build / "Training" / "plyinfo", *files)

    settings = ["--network", "hce", "--nodes", 0]
    launch("relabel", again, games, *settings)
    for file in files:
        whole = folder / "whole.ply"
        run(build / "Training" / "relabel", *settings, file, whole)
        expect_same(file.name, (again / file.name).read_bytes(), whole.read_bytes())

    twin = folder / "of-another-run.ply"
    shutil.copy(files[2], twin)
    said = run("python3", CLUSTER / "gather_ply.py", games, twin, good=False)
    expect_same("refusal", said.strip(), f"{files[2]} and {twin} are of one seed")


# Games that are soon over, by scores or by the rules, and one that isn't.
OPENINGS = """\
8/8/4k3/8/8/3QK3/8/8 w - -
4k3/8/8/8/8/8/r7/1n2K3 w - -
8/8/3bk3/8/4p3/3K4/8/8 w - -
4k3/8/8/8/8/8/4P3/R3K3 b - -
r3k3/pp6/8/8/8/8/PP6/R3K3 w - -
"""


def check_gate(launch, folder, build):
    engine = f"{build}/mird -use_hce"
    openings = folder / "openings.epd"
    openings.write_text(OPENINGS)
    options = ["--first", engine, "--second", engine, "--second-options", "Selectivity=30",
               "--options", "Hash=1", "--openings", openings, "--games", 8, "--depth", 2]
    said = launch("gate", folder / "gate", *options)
    whole = folder / "whole.games"
    told = run(build / "Training" / "match", *options, "--out", whole)
    expect_same("totals", lines_of(said, r"^(?:games|score) .*"),
                lines_of(told, r"^(?:games|score) .*"))
    parts = [folder / "gate" / f"shard-{shard}.games" for shard in range(SHARDS)]
    form = r"^\d+ \S+ \S+ \d+$"
    expect_same("games", sorted(sum((lines_of(part, form) for part in parts), [])),
                lines_of(whole, form))
    run(build / "Training" / "match", "--sum", *parts, parts[1], good=False)


def positions():
    """Those of the benchmark, all different."""
    text = (ROOT / "Source" / "shell" / "bench.cpp").read_text()
    return list(dict.fromkeys(re.findall(r'"(\S+/\S+ [wb] \S+ -) ?"', text)))


def check_suite(launch, folder, build):
    operations = [' bm Nf3; id "a";', ' gr 1.0; id "b";', ' c0 "e4=10, Nf3=5"; id "it\'s c";', ""]
    lines = ["# a comment\n", "\n"]
    for i, position in enumerate(positions()):
        lines.append(position + operations[i % 4] + "\n")
    file = folder / "a suite.epd"
    file.write_text("".join(lines).rstrip("\n"))  # the last line without its end
    for limit in (["-d", 6], ["-n", 3000, "-use_hce"]):
        out = folder / "suite"
        said = launch("suite", out, file, *limit)
        whole = folder / "whole.epd"
        told = run(build / "mird", "-anepd", file, "-o", whole, *limit)
        expect_same("analysis", (out / "analysis.epd").read_text(), whole.read_text())
        form = r"^(?:\d+ / \d+ correct.*|total nodes=.*|score=.*)"
        expect_same("sums", lines_of(said, form), lines_of(told, form))


def check_failure(launch, folder):
    """A shard that fails must not look like one that is done."""
    launch("relabel", folder / "failure", folder / "games", "--network", "none", good=False)


def adopt_orphans():
    """Makes this process the parent of what its servers leave behind."""
    pr_set_child_subreaper = 36
    ctypes.CDLL(None).prctl(pr_set_child_subreaper, 1, 0, 0, 0)


def end_orphans():
    own = os.getpid()
    for child in pathlib.Path(f"/proc/{own}/task/{own}/children").read_text().split():
        with contextlib.suppress(ProcessLookupError, ChildProcessError):
            os.kill(int(child), signal.SIGKILL)
            os.waitpid(int(child), 0)


def take_too_long(*_):
    raise Broken("ended from outside, or takes too long")


def main():
    how, build = sys.argv[1], pathlib.Path(sys.argv[2]).resolve()
    missing = [program for program in NEEDED[how] if not path_of(program)]
    # There is another program of that name.
    if "parallel" in NEEDED[how] and not missing and "GNU" not in run("parallel", "--version"):
        missing = ["GNU parallel"]
    if missing:
        print(f"skipped: not installed: {' '.join(missing)}")
        return 77
    built = all((build / "Training" / name).exists() for name in PROGRAMS)
    if not built and not os.environ.get("MIRD_CI"):
        print("skipped: the target training_programs is not built")
        return 77
    run("cmake", "--build", build, "--parallel", os.cpu_count(), "--target", "mird", *PROGRAMS,
        seconds=600)
    signal.signal(signal.SIGTERM, take_too_long)
    signal.signal(signal.SIGALRM, take_too_long)
    signal.alarm(MOST_SECONDS)
    adopt_orphans()
    launcher = {"alone": alone, "slurm": slurm, "hosts": hosts}[how]
    with tempfile.TemporaryDirectory(prefix="mird-cluster-") as name:
        folder = pathlib.Path(name)
        (folder / "servers").mkdir()
        try:
            with launcher(folder / "servers", build) as launch:
                check_games(launch, folder, build)
                check_gate(launch, folder, build)
                check_suite(launch, folder, build)
                if how != "alone":
                    check_failure(launch, folder)
        except Broken as broken:
            print(broken)
            for log in sorted((folder / "servers").glob("*.log")):
                print(f"{log.name}:\n{log.read_text()[-2000:]}")
            return 1
        finally:
            end_orphans()
    return 0


if __name__ == "__main__":
    sys.exit(main())
