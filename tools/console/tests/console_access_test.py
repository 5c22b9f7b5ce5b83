#!/usr/bin/python3
"""osc-console off loopback as an operator sets it up: HTTPS, token files, the audit log.

1. With --tls-cert/--tls-key (a certificate for 127.0.0.1 from a CA this test
   makes with openssl) and both token files: a client that verifies the
   certificate against the CA reads the page, the API and /metrics (viewer
   token as Authorization: Bearer, as Prometheus sends it); the operator
   acts, the viewer is refused; plain HTTP gets no answer; no token is
   printed and no clear-text warning either; the audit file holds the
   refusal, the queued action and its result.
2. Plain HTTP off loopback: the clear-text warning, and the audit on standard
   error by default.
3. An audit log that cannot be written (/dev/full): reported once, and the
   console goes on acting.

usage: console_access_test.py --console BIN --sim BIN
"""

import argparse
import json
import os
import shutil
import ssl
import subprocess
import sys
import tempfile
import time
import urllib.error
import urllib.request

from processes import start, wait_until

OPERATOR = "operator-token-0123456789"
VIEWER = "viewer-token-0123456789"
CLEAR_TEXT = "the tokens travel in clear text"
AUDIT_FAILURE = "cannot write the audit log"


def make_certificate(folder):
    """A CA and a server certificate for IP 127.0.0.1 signed by it."""
    def openssl(*arguments):
        subprocess.run(["openssl", *arguments], cwd=folder, check=True, capture_output=True)
    key = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes"]
    openssl("req", "-x509", *key, "-keyout", "ca.key", "-out", "ca.pem", "-days", "2",
            "-subj", "/CN=osc-console test CA")
    openssl("req", *key, "-keyout", "server.key", "-out", "server.csr", "-subj", "/CN=127.0.0.1")
    with open(os.path.join(folder, "server.ext"), "w") as ext:
        ext.write("subjectAltName=IP:127.0.0.1\nbasicConstraints=CA:FALSE\n"
                  "authorityKeyIdentifier=keyid\n")
    openssl("x509", "-req", "-in", "server.csr", "-CA", "ca.pem", "-CAkey", "ca.key",
            "-CAcreateserial", "-out", "server.pem", "-days", "2", "-extfile", "server.ext")
    return [os.path.join(folder, name) for name in ("server.pem", "server.key", "ca.pem")]


def request(url, token=None, body=None, context=None, bearer=False):
    """The status and body of one request."""
    headers = {"Content-Type": "application/json"}
    if token:
        headers["Authorization" if bearer else "X-Console-Token"] = (
            f"Bearer {token}" if bearer else token)
    data = json.dumps(body).encode() if body is not None else None
    try:
        with urllib.request.urlopen(urllib.request.Request(url, data=data, headers=headers),
                                    timeout=10, context=context) as answer:
            return answer.status, answer.read().decode()
    except urllib.error.HTTPError as error:
        return error.code, error.read().decode()


def audit_lines(text):
    return [json.loads(line) for line in text.splitlines() if line.startswith("{")]


def check_tls(args, camera, folder):
    cert, key, ca = make_certificate(folder)
    for name, token in (("operator", OPERATOR), ("viewer", VIEWER)):
        with open(os.path.join(folder, name), "w") as out:
            out.write(token + "\n")
    audit = os.path.join(folder, "audit.jsonl")
    console, found = start([args.console, "--listen", "0.0.0.0:0", "--cameras", camera,
                            "--tls-cert", cert, "--tls-key", key, "--audit-log", audit,
                            "--operator-token-file", os.path.join(folder, "operator"),
                            "--viewer-token-file", os.path.join(folder, "viewer")],
                           r"open https://(127\.0\.0\.1:\d+)/")
    base = f"https://{found.group(1)}"
    verified = ssl.create_default_context(cafile=ca)
    try:
        wait_until("the camera's parameter document", lambda: '"has_params":true' in request(
            f"{base}/api/cameras", VIEWER, context=verified)[1])
        act = f"{base}/api/cameras/127.0.0.1/actions/brightness"
        cases = [  # url, token, body, bearer, status
            (f"{base}/", VIEWER, None, False, 200),
            (f"{base}/metrics", VIEWER, None, True, 200),
            (f"{base}/api/session", VIEWER, None, False, 200),
            (act, VIEWER, {"value": 11}, False, 403),
            (act, OPERATOR, {"value": 12}, False, 202),
        ]
        for url, token, body, bearer, status in cases:
            got = request(url, token, body, verified, bearer)[0]
            assert got == status, f"{url} with the {token}: {got}, expected {status}"
        try:
            request(f"http://{found.group(1)}/api/session", VIEWER)
            sys.exit("plain HTTP was answered on the HTTPS port")
        except (urllib.error.URLError, ConnectionError):
            pass
        output = "".join(console.lines)
        assert OPERATOR not in output and VIEWER not in output, output
        assert CLEAR_TEXT not in output, output
        print("ok: HTTPS with a verified certificate; each token as its role; no plain HTTP")

        wait_until("the action's result in the audit log",
                 lambda: any(line["outcome"] == "ok" for line in audit_lines(open(audit).read())))
        lines = audit_lines(open(audit).read())
        outcomes = [(line["role"], line["outcome"], line.get("parameters")) for line in lines]
        # Refused before its body was read: the viewer's parameters are not kept.
        assert outcomes == [("viewer", "refused", None),
                            ("operator", "queued", {"value": 12}),
                            ("operator", "ok", None)], outcomes
        print("ok: the audit file holds the refusal, the queued action and its result")
    finally:
        console.terminate()
        console.wait(timeout=30)


def check_plain(args, camera):
    console, found = start([args.console, "--listen", "0.0.0.0:0", "--cameras", camera],
                           r"open (http://127\.0\.0\.1:\d+/)\?token=(\w+)")
    try:
        base, token = found.groups()
        assert request(f"{base}api/cameras/127.0.0.1/actions/stream", token, {})[0] == 202
        wait_until("the audit line on standard error",
                 lambda: audit_lines("".join(console.lines)))
        assert CLEAR_TEXT in "".join(console.lines), console.lines
        print("ok: plain HTTP off loopback warns, and audits on standard error")
    finally:
        console.terminate()
        console.wait(timeout=30)


def check_unwritable_audit(args, camera):
    console, found = start([args.console, "--listen", "127.0.0.1:0", "--cameras", camera,
                            "--audit-log", "/dev/full"], r"open (http://127\.0\.0\.1:\d+/)")
    try:
        base = found.group(1)
        for _ in range(2):
            status = request(f"{base}api/cameras/127.0.0.1/actions/stream", body={})[0]
            assert status == 202, status
        wait_until("the write failure reported",
                 lambda: AUDIT_FAILURE in "".join(console.lines))
        time.sleep(0.5)
        reports = sum(AUDIT_FAILURE in line for line in console.lines)
        assert reports == 1, console.lines
        assert request(f"{base}api/cameras")[0] == 200
        print("ok: an audit log that cannot be written is reported once; the console goes on")
    finally:
        console.terminate()
        console.wait(timeout=30)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--console", required=True)
    parser.add_argument("--sim", required=True)
    args = parser.parse_args()

    folder = tempfile.mkdtemp(prefix="console-access-")
    sim, found = start([args.sim, "--port", "0"], r"^camera (127\.0\.0\.1:\d+)")
    try:
        check_tls(args, found.group(1), folder)
        check_plain(args, found.group(1))
        check_unwritable_audit(args, found.group(1))
    finally:
        sim.terminate()
        sim.wait(timeout=30)
        shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    main()
