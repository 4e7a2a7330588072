"""The certificate authority and the server certificate."""

from __future__ import annotations

import os
import socket
import ssl
import subprocess
import threading
import unittest
import warnings
from collections.abc import Callable
from typing import Any

from support import GROUPS, Sandbox, TestCase


def openssl(*arguments: str, **options: Any) -> subprocess.CompletedProcess[str]:
    return subprocess.run(["openssl", *arguments], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, check=False, timeout=30, **options)


class CertificateTestCase(TestCase):
    def path(self, name: str) -> str:
        return os.path.join(self.folder, name)

    def make(self) -> str:
        """Makes the certificates without serving; returns what was printed."""
        result = self.run_once("--make-ca", "--data-dir", self.folder)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout

    def read(self, name: str) -> str:
        with open(self.path(name), encoding="ascii") as file:
            return file.read()

    def text(self, name: str) -> str:
        result = openssl("x509", "-in", self.path(name), "-noout", "-text")
        self.assertEqual(result.returncode, 0)
        return result.stdout

    def sign(self, name: str, subject: str, alternative: str) -> None:
        """Makes a leaf with the sandbox's own CA key, as a thief of the key would."""
        extensions = self.path(name + ".ext")
        with open(extensions, "w", encoding="ascii") as file:
            file.write(f"subjectAltName={alternative}\nextendedKeyUsage=serverAuth\n")
        for command in (
                ["req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-subj",
                 subject, "-keyout", self.path(name + ".key"), "-out", self.path(name + ".csr")],
                ["x509", "-req", "-in", self.path(name + ".csr"), "-CA", self.path("ca.pem"),
                 "-CAkey", self.path("ca.key"), "-days", "10", "-extfile", extensions, "-out",
                 self.path(name + ".pem")]):
            result = openssl(*command)
            self.assertEqual(result.returncode, 0, result.stdout)


class Authority(CertificateTestCase):
    def test_make_ca_prints_its_path_and_nothing_else(self) -> None:
        self.assertEqual(self.make(), self.path("ca.pem") + "\n")
        self.assertIn("BEGIN CERTIFICATE", self.read("ca.pem"))
        self.assertNotIn("PRIVATE", self.read("ca.pem"))
        self.assertFalse(os.path.exists(self.path("sandbox.sqlite")))

    def test_extensions(self) -> None:
        self.make()
        text = self.text("ca.pem")
        self.assertRegex(text, r"Basic Constraints: critical\s+CA:TRUE, pathlen:0\n")
        self.assertRegex(text, r"Key Usage: critical\s+Certificate Sign, CRL Sign\n")
        self.assertRegex(text, r"Name Constraints: critical\s+Permitted:\s+DNS:localhost\s+"
                               r"IP:127\.0\.0\.1/255\.255\.255\.255\s+"
                               r"IP:0:0:0:0:0:0:0:1/FFFF:FFFF:FFFF:FFFF:FFFF:FFFF:FFFF:FFFF\n")
        self.assertIn("Signature Algorithm: ecdsa-with-SHA256", text)
        self.assertEqual(openssl("x509", "-in", self.path("ca.pem"), "-noout", "-checkend",
                                 str(9 * 365 * 86400)).returncode, 0)

    def test_names_outside_are_not_vouched_for(self) -> None:
        self.make()
        for name, alternative, good in [
                ("own", "DNS:localhost,IP:127.0.0.1", True), ("bank", "DNS:bank.example", False),
                ("both", "DNS:localhost,DNS:bank.example", False),
                ("ip", "IP:127.0.0.2", False), ("lan", "IP:192.168.1.1", False)]:
            with self.subTest(name=name):
                self.sign(name, "/CN=localhost", alternative)
                result = openssl("verify", "-CAfile", self.path("ca.pem"),
                                 self.path(name + ".pem"))
                self.assertEqual(result.returncode == 0, good, result.stdout)
                if not good:
                    self.assertIn("permitted subtree violation", result.stdout)

    def test_stays_the_same(self) -> None:
        self.make()
        before = self.read("ca.pem"), self.read("ca.key"), self.read("server.pem")
        self.make()
        for options in ((), ("--reset",)):
            self.start(*options).end()
        self.assertEqual((self.read("ca.pem"), self.read("ca.key"), self.read("server.pem")), before)

    def test_every_folder_gets_its_own(self) -> None:
        self.make()
        first = self.read("ca.pem")
        os.remove(self.path("ca.pem"))
        self.make()
        self.assertNotEqual(self.read("ca.pem"), first)

    def test_many_starts_at_once_make_one(self) -> None:
        folder = os.path.join(self.folder, "deep", "er")
        results = []

        def run() -> None:
            result = self.run_once("--make-ca", "--data-dir", folder)
            with open(os.path.join(folder, "ca.pem"), encoding="ascii") as file:
                results.append((result.returncode, file.read()))
        threads = [threading.Thread(target=run) for _ in range(6)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(len(results), 6)
        self.assertEqual(len(set(results)), 1)
        self.assertEqual(results[0][0], 0)

    def test_one_of_no_use_is_told_and_never_replaced(self) -> None:
        self.make()
        good = {name: self.read(name) for name in ("ca.pem", "ca.key", "server.key")}
        for name, content in [("ca.key", ""), ("ca.key", good["server.key"]), ("ca.pem", "x\n"),
                              ("ca.key", None)]:
            with self.subTest(name=name, content=content):
                for each, text in good.items():
                    with open(self.path(each), "w", encoding="ascii") as file:
                        file.write(text)
                if content is None:
                    os.remove(self.path(name))
                else:
                    with open(self.path(name), "w", encoding="ascii") as file:
                        file.write(content)
                result = self.run_once("--make-ca", "--data-dir", self.folder)
                self.assertEqual((result.returncode, result.stdout), (1, ""))
                self.assertEqual(result.stderr.count("\n"), 1)
                self.assertIn(self.path("ca.key"), result.stderr)
                if name != "ca.pem":
                    self.assertEqual(self.read("ca.pem"), good["ca.pem"])


class Server(CertificateTestCase):
    def test_verifies_for_every_name_of_this_machine(self) -> None:
        self.make()
        for check in (["-verify_hostname", "localhost"], ["-verify_ip", "127.0.0.1"],
                      ["-verify_ip", "::1"]):
            result = openssl("verify", "-x509_strict", "-purpose", "sslserver", "-CAfile",
                             self.path("ca.pem"), *check, self.path("server.pem"))
            self.assertEqual(result.returncode, 0, result.stdout)
        for check in (["-verify_hostname", "example.com"], ["-verify_ip", "127.0.0.2"]):
            result = openssl("verify", "-CAfile", self.path("ca.pem"), *check,
                             self.path("server.pem"))
            self.assertNotEqual(result.returncode, 0, result.stdout)

    def test_extensions(self) -> None:
        self.make()
        text = self.text("server.pem")
        self.assertRegex(text, r"Basic Constraints: critical\s+CA:FALSE\n")
        self.assertRegex(text, r"Extended Key Usage:\s+TLS Web Server Authentication\n")
        self.assertRegex(text, r"DNS:localhost, IP Address:127\.0\.0\.1, "
                               r"IP Address:0:0:0:0:0:0:0:1\n")

    def test_served_on_both_loopback_addresses(self) -> None:
        sandbox = self.start()
        self.assertEqual(self.client(sandbox, "127.0.0.1").get(GROUPS)["rcode"], 0)
        self.assertEqual(self.client(sandbox, "localhost").get(GROUPS)["rcode"], 0)
        try:
            socket.create_server(("::1", 0), family=socket.AF_INET6).close()
        except OSError:
            self.skipTest("this machine has no ::1")
        self.assertEqual(self.client(sandbox, "::1").get(GROUPS)["rcode"], 0)

    def test_served_on_no_other_address(self) -> None:
        sandbox = self.start()
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
            try:
                probe.connect(("192.0.2.1", 9))  # sends nothing, only picks an own address
                own = probe.getsockname()[0]
            except OSError:
                own = "127.0.0.2"
        for address in {own, "127.0.0.2"}:
            with self.assertRaises(ConnectionRefusedError):
                socket.create_connection((address, sandbox.port), timeout=5).close()

    def test_clients_that_do_not_trust_it_or_ask_for_another_name_get_nothing(self) -> None:
        sandbox = self.start()
        trusting = ssl.create_default_context(cafile=sandbox.authority)
        for context, name in [(ssl.create_default_context(), "localhost"),
                              (trusting, "localhost.example"), (trusting, "127.0.0.2")]:
            with socket.create_connection(("127.0.0.1", sandbox.port)) as plain:
                with self.assertRaises(ssl.SSLCertVerificationError):
                    context.wrap_socket(plain, server_hostname=name)
        self.assertEqual(sandbox.requests_logged(), [])

    def test_old_protocols_are_refused(self) -> None:
        sandbox = self.start()
        context = ssl.create_default_context(cafile=sandbox.authority)
        context.set_ciphers("DEFAULT@SECLEVEL=0")
        with warnings.catch_warnings():
            warnings.simplefilter("ignore", DeprecationWarning)
            context.minimum_version = ssl.TLSVersion.TLSv1
            context.maximum_version = ssl.TLSVersion.TLSv1_1
        with socket.create_connection(("127.0.0.1", sandbox.port)) as plain:
            with self.assertRaises(ssl.SSLError):
                context.wrap_socket(plain, server_hostname="localhost")

    def handshake(self, sandbox: Sandbox, *options: str) -> subprocess.CompletedProcess[str]:
        return openssl("s_client", "-connect", f"127.0.0.1:{sandbox.port}", "-brief",
                       "-verify_return_error", "-CAfile", sandbox.authority, *options,
                       stdin=subprocess.DEVNULL)

    def test_tls_1_2_has_authenticated_encryption_only(self) -> None:
        sandbox = self.start()
        for name in ("ECDHE-ECDSA-AES128-GCM-SHA256", "ECDHE-ECDSA-AES256-GCM-SHA384",
                     "ECDHE-ECDSA-CHACHA20-POLY1305"):
            result = self.handshake(sandbox, "-tls1_2", "-cipher", name)
            self.assertEqual(result.returncode, 0, result.stdout)
            self.assertIn(name, result.stdout)
        for name in ("ECDHE-ECDSA-AES128-SHA", "ECDHE-ECDSA-AES256-SHA",
                     "ECDHE-ECDSA-AES128-SHA256", "ECDHE-ECDSA-AES256-SHA384"):
            result = self.handshake(sandbox, "-tls1_2", "-cipher", name)
            self.assertEqual(result.returncode, 1, result.stdout)
            self.assertIn("handshake failure", result.stdout)

    def test_clients_that_choose_nothing_get_tls_1_3(self) -> None:
        sandbox = self.start()
        result = self.handshake(sandbox)
        self.assertEqual(result.returncode, 0, result.stdout)
        self.assertRegex(result.stdout, r"Protocol version: TLSv1\.3\n")
        # And whoever stays below it needs no wish either.
        result = self.handshake(sandbox, "-tls1_2")
        self.assertEqual(result.returncode, 0, result.stdout)
        self.assertRegex(result.stdout, r"Ciphersuite: ECDHE-ECDSA-(AES\d+-GCM|CHACHA20)")

    def test_renewed_when_it_is_missing_broken_foreign_or_about_to_end(self) -> None:
        self.make()
        authority = self.read("ca.pem")
        other_key = self.path("other.key")
        openssl("genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out",
                other_key)

        def end_soon() -> None:
            self.sign("server", "/CN=localhost", "DNS:localhost,IP:127.0.0.1")

        def foreign() -> None:
            openssl("req", "-x509", "-key", self.path("server.key"), "-subj", "/CN=localhost",
                    "-days", "300", "-out", self.path("server.pem"))

        def break_it() -> None:
            with open(self.path("server.pem"), "w", encoding="ascii") as file:
                file.write("nonsense")

        spoils: list[Callable[[], None]] = [
            lambda: os.remove(self.path("server.pem")), break_it, end_soon, foreign,
            lambda: os.replace(other_key, self.path("server.key"))]
        for spoil in spoils:
            spoil()
            bad = self.read("server.pem") if os.path.exists(self.path("server.pem")) else ""
            sandbox = self.start()
            self.assertEqual(self.client(sandbox).get(GROUPS)["rcode"], 0)
            sandbox.end()
            self.assertNotEqual(self.read("server.pem"), bad)
            self.assertEqual(self.read("ca.pem"), authority)
            self.assertEqual(openssl("x509", "-in", self.path("server.pem"), "-noout", "-checkend",
                                     str(300 * 86400)).returncode, 0)


if __name__ == "__main__":
    unittest.main()
