"""More connections than can be served at a time: idle ones give way, busy ones never do."""

from __future__ import annotations

import http.client
import random
import signal
import socket
import ssl
import threading
import time
import unittest
from collections.abc import Callable

from support import GROUPS, Client, TestCase

SERVED = 64  # at a time, on each of the two addresses
CLOSED = (http.client.RemoteDisconnected, ConnectionError, ssl.SSLError)
REQUEST = f"GET {GROUPS} HTTP/1.1\r\nHost: localhost\r\n\r\n".encode()
NO_SESSION = -99


class ConnectionTestCase(TestCase):
    def setUp(self) -> None:
        super().setUp()
        self.sandbox = self.start()
        self.context = ssl.create_default_context(cafile=self.sandbox.authority)

    def plain(self) -> socket.socket:
        connection = socket.create_connection(("127.0.0.1", self.sandbox.port), timeout=30)
        self.addCleanup(connection.close)
        return connection

    def shaken(self) -> ssl.SSLSocket:
        connection = self.context.wrap_socket(self.plain(), server_hostname="localhost")
        self.addCleanup(connection.close)
        return connection

    def asked(self) -> Client:
        client = self.client(self.sandbox, "127.0.0.1", login=False)
        self.ask(client)
        return client

    def ask(self, client: Client) -> None:
        self.assertEqual(client.get(GROUPS)["rcode"], NO_SESSION)

    def seconds_of_one_more(self) -> float:
        """How long somebody who comes now waits for a reply."""
        start = time.monotonic()
        self.asked().close()
        return time.monotonic() - start

    def is_open(self, client: Client) -> bool:
        try:
            self.ask(client)
        except CLOSED:
            return False
        return True


class Idle(ConnectionTestCase):
    def assert_way_is_given(self, connect: Callable[[], object]) -> None:
        alone = self.seconds_of_one_more()
        for count in (SERVED, 200):
            with self.subTest(count=count):
                held = [connect() for _ in range(count)]
                for _ in range(3):
                    self.assertLess(self.seconds_of_one_more() - alone, 1)
                del held

    def test_after_a_reply(self) -> None:
        self.assert_way_is_given(self.asked)

    def test_before_the_first_request(self) -> None:
        self.assert_way_is_given(self.shaken)

    def test_before_the_handshake(self) -> None:
        self.assert_way_is_given(self.plain)

    def test_within_the_handshake(self) -> None:
        def half() -> socket.socket:
            connection = self.plain()
            connection.sendall(b"\x16\x03\x01")
            return connection
        self.assert_way_is_given(half)

    def test_the_one_idle_longest_is_closed_and_no_other(self) -> None:
        clients = [self.asked() for _ in range(SERVED)]
        # Its first request is the oldest one, its last one is not.
        self.ask(clients[0])
        clients.append(self.asked())
        self.assertEqual([i for i, each in enumerate(clients) if not self.is_open(each)], [1])

    def test_as_many_are_closed_as_come(self) -> None:
        clients = [self.asked() for _ in range(SERVED)]
        come = [self.plain() for _ in range(20)]
        self.asked()
        self.assertEqual([i for i, each in enumerate(clients) if not self.is_open(each)],
                         list(range(len(come) + 1)))

    def test_a_burst_does_not_have_to_knock_twice(self) -> None:
        # Nobody accepts: what gets through now got into the queue.
        self.sandbox.process.send_signal(signal.SIGSTOP)
        self.addCleanup(self.sandbox.process.send_signal, signal.SIGCONT)
        for _ in range(SERVED):
            # The system tries again after a second.
            socket.create_connection(("127.0.0.1", self.sandbox.port), timeout=0.9).close()

    def test_whoever_was_closed_comes_again(self) -> None:
        clients = [self.asked() for _ in range(SERVED + 1)]
        self.assertFalse(self.is_open(clients[0]))
        clients[0].close()
        self.assertTrue(self.is_open(clients[0]))


class Busy(ConnectionTestCase):
    def half_asked(self) -> ssl.SSLSocket:
        connection = self.shaken()
        connection.sendall(REQUEST[:20])
        return connection

    def finish(self, connection: ssl.SSLSocket) -> None:
        connection.sendall(REQUEST[20:])
        self.assertTrue(connection.recv(100).startswith(b"HTTP/1.1 200 OK\r\n"))

    def test_the_only_idle_one_gives_way_though_it_is_the_youngest(self) -> None:
        busy = [self.half_asked() for _ in range(SERVED - 1)]
        idle = self.asked()
        self.asked()
        self.assertFalse(self.is_open(idle))
        for connection in busy:
            self.finish(connection)

    def test_where_all_are_busy_one_more_waits_until_one_is_not(self) -> None:
        busy = [self.half_asked() for _ in range(SERVED)]
        waiting = self.plain()
        waiting.sendall(b"\x16")
        waiting.settimeout(1)
        with self.assertRaises(TimeoutError):
            waiting.recv(1)
        waiting.close()
        self.finish(busy[0])
        self.asked()
        for connection in busy[1:]:
            self.finish(connection)

    def test_nothing_is_lost_where_requests_cross_with_cuts(self) -> None:
        replies = []

        def work() -> None:
            client = Client(self.sandbox, "127.0.0.1")
            for _ in range(6):
                # About as long as it takes until a silent connection counts as idle.
                time.sleep(random.uniform(0.05, 0.15))
                while not self.is_open(client):
                    client.close()
                replies.append(client)
            client.close()
        threads = [threading.Thread(target=work) for _ in range(SERVED + 30)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(len(replies), 6 * len(threads))
        # Whatever the sandbox carried out was answered, and the answer arrived.
        self.assertEqual(len(self.sandbox.requests_logged()), len(replies))


if __name__ == "__main__":
    unittest.main()
