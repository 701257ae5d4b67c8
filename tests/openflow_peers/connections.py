# SPDX-License-Identifier: Apache-2.0
"""How oftab-switch keeps its connections: TLS, an os-ken controller, many controllers, lost ones, peers that are silent or
slow.  connections.py OFTAB_SWITCH"""
import concurrent.futures
import contextlib
import os
import re
import socket
import ssl
import subprocess
import tempfile
import time

from peer import (DESCRIPTION, ECHO_REQUEST, HELLO, PACKET_IN, PACKET_OUT, STATS_REPLY, STATS_REQUEST, TO_CONTROLLERS,
                  Peer)
from switch import PROGRAM, Switch, expect, free_port, read_until, reading, require

LISTEN = ("--listen", "ptcp:0:127.0.0.1")


@contextlib.contextmanager
def controller(patience=60):
    """Where a switch can seek a controller, and how that is written."""
    with socket.create_server(("127.0.0.1", 0)) as server:
        server.settimeout(patience)
        yield server, f"tcp:127.0.0.1:{server.getsockname()[1]}"


# --- TLS: both sides prove themselves ---

def make_certificates(directory):
    def openssl(*words):
        subprocess.run(["openssl", *words], cwd=directory, check=True, capture_output=True)

    key = ("-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes")
    for ca in ("ca", "stranger"):
        openssl("req", "-x509", *key, "-keyout", f"{ca}.key", "-out", f"{ca}.crt", "-subj", f"/CN={ca}")
    for name, ca in (("switch", "ca"), ("peer", "ca"), ("intruder", "stranger")):
        openssl("req", *key, "-keyout", f"{name}.key", "-out", f"{name}.csr", "-subj", f"/CN={name}")
        openssl("x509", "-req", "-in", f"{name}.csr", "-CA", f"{ca}.crt", "-CAkey", f"{ca}.key", "-CAcreateserial",
                "-out", f"{name}.crt")


def context(directory, name, side):
    made = ssl.SSLContext(side)
    made.check_hostname = False
    made.verify_mode = ssl.CERT_REQUIRED
    made.load_verify_locations(f"{directory}/ca.crt")
    if name:
        made.load_cert_chain(f"{directory}/{name}.crt", f"{directory}/{name}.key")
    return made


def greeted(plain, tls, **side):
    """Whether the switch says hello over TLS."""
    try:
        received = Peer(tls.wrap_socket(plain, **side)).read()
        return received is not None and received[0] == HELLO
    except (ssl.SSLError, ConnectionError):
        return False


def tls_takes_only_who_proves_himself():
    with tempfile.TemporaryDirectory() as directory, controller() as (server, endpoint):
        make_certificates(directory)
        proof = ("--private-key", f"{directory}/switch.key", "--certificate", f"{directory}/switch.crt", "--ca-cert",
                 f"{directory}/ca.crt")
        with Switch("--listen", "pssl:0:127.0.0.1", "--controller", endpoint.replace("tcp", "ssl"), *proof) as switch:
            there = ("127.0.0.1", int(switch.endpoint.split(":")[2]))
            for name, wanted in (("peer", True), (None, False), ("intruder", False)):
                plain = socket.create_connection(there)
                assert greeted(plain, context(directory, name, ssl.PROTOCOL_TLS_CLIENT)) == wanted, name
            for name, wanted in (("intruder", False), ("peer", True)):
                plain, _ = server.accept()
                side = context(directory, name, ssl.PROTOCOL_TLS_SERVER)
                assert greeted(plain, side, server_side=True) == wanted, name


# --- A controller of the trade ---

WANTED = """\
switch 0xda7a with 48 ports
miss of 60 octets from port 7, 60 sent, reason 0
port 9 sent 1 packet
flow 0x77 ended, reason 0, 1 packet, in time
port 9 has configuration 32
done
"""


def a_controller_knows_the_switch_again():
    app = os.path.join(os.path.dirname(os.path.abspath(__file__)), "controller_app.py")
    words = ("osken-manager", app, "--ofp-listen-host", "127.0.0.1", "--ofp-tcp-listen-port")
    with free_port() as port, reading(*words, port) as manager:
        for _ in range(2):
            with Switch("--controller", "tcp:127.0.0.1:" + port, "--datapath-id", "0xda7a"):
                expect("steps", read_until(manager, "done"), WANTED)


# --- Controllers: sixteen, all equal, sought again when they are lost ---

def sixteen_controllers_get_every_packet_in():
    with contextlib.ExitStack() as stack:
        servers = [stack.enter_context(controller()) for _ in range(16)]
        options = [word for _, endpoint in servers for word in ("--controller", endpoint)]
        with Switch(*options) as switch:
            peers = [Peer(server.accept()[0]) for server, _ in servers]
            for peer in peers:
                peer.barrier()
            peers[3].send(PACKET_OUT, TO_CONTROLLERS)
            for peer in peers:
                assert peer.wait_for(PACKET_IN)[-2:] == b"\x88\xb5"
            refusal = switch.run("connect tcp:127.0.0.1:1", status=1)
            assert "there are 16 controllers already" in refusal, refusal


def lost_controllers_are_sought_ever_more_rarely():
    with controller() as (server, endpoint), Switch("--controller", endpoint):
        connection, _ = server.accept()
        for pause in (0.5, 1, 2, 4, 8):
            lost = time.monotonic()
            connection.close()
            connection, _ = server.accept()
            passed = time.monotonic() - lost
            assert pause <= passed < 2 * pause + 2, f"{passed} s instead of {pause}"
        peer = Peer(connection)
        peer.barrier()
        lost = time.monotonic()
        peer.connection.shutdown(socket.SHUT_RDWR)
        server.accept()
        assert time.monotonic() - lost < 8, "a session did not bring the shortest pause back"


# --- Peers that are silent, or do not read ---

def silent_peers_are_given_up():
    with Switch(*LISTEN) as switch:
        begun = time.monotonic()
        alive, silent = Peer.of(switch.endpoint), Peer.of(switch.endpoint)
        assert [silent.read()[0], silent.read()[0]] == [HELLO, ECHO_REQUEST]
        alive.barrier()
        assert silent.read() is None
        assert time.monotonic() - begun >= 10
        alive.barrier()
    assert "silent for too long" in switch.log, switch.log


def slow_readers_stay_and_delay_nobody():
    with Switch(*LISTEN) as switch:
        slow, deaf = (Peer.of(switch.endpoint, receive_buffer=4096) for _ in range(2))
        other = Peer.of(switch.endpoint)
        for peer in (slow, deaf):
            for _ in range(6000):  # answers of 1068 octets each
                peer.send(STATS_REQUEST, DESCRIPTION)
        while switch.run("controllers").count("connected") < 3:
            time.sleep(0.05)
        begun, longest, listed = time.monotonic(), 0, ""
        while listed.count("connected") != 2:  # as long as the deaf one is there
            asked = time.monotonic()
            assert asked - begun < 30, listed
            slow.wait_for(STATS_REPLY, passing=[PACKET_IN])
            other.send(PACKET_OUT, TO_CONTROLLERS)
            other.barrier(passing=[PACKET_IN])
            longest = max(longest, time.monotonic() - asked)
            listed = switch.run("controllers")
            time.sleep(0.05)
        assert longest < 5, f"another peer waited for {longest} s"
        assert re.search(r" connected +[1-9]", listed), f"no packet-ins were dropped:\n{listed}"
        slow.wait_for(STATS_REPLY, passing=[PACKET_IN])
        switch.run(f"disconnect {other.name()}")
        while other.read():
            pass
    assert "silent for too long" in switch.log, switch.log


def a_switch_that_reads_a_pipe_serves_meanwhile():
    with subprocess.Popen([PROGRAM], stdin=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as switch:
        print("listen ptcp:0:127.0.0.1", file=switch.stdin, flush=True)
        Peer.of(re.search(r"tcp:(\d+)", switch.stderr.readline()).expand(r"tcp:127.0.0.1:\1")).barrier()


def main():
    require("openssl", "osken-manager")
    scenarios = (tls_takes_only_who_proves_himself, a_controller_knows_the_switch_again,
                 sixteen_controllers_get_every_packet_in, lost_controllers_are_sought_ever_more_rarely,
                 silent_peers_are_given_up, slow_readers_stay_and_delay_nobody,
                 a_switch_that_reads_a_pipe_serves_meanwhile)
    with concurrent.futures.ThreadPoolExecutor(len(scenarios)) as pool:
        for scenario, done in [(each.__name__, pool.submit(each)) for each in scenarios]:
            try:
                done.result()
            except BaseException:
                print(f"{scenario} failed", flush=True)
                raise


if __name__ == "__main__":
    main()
