#!/usr/bin/env python3
"""Seeds for fuzz_client_http: the simulator's own answers, captured raw.

Start a simulated camera first (osc-camera-sim --port 18080), then run
    fuzz/client_http_seeds.py [--port 18080] [--out fuzz/corpus/fuzz_client_http]
Each seed is: one byte naming the request (its index in the target's list),
one byte of mode (1: read as a firmware update's line stream), then the
answer exactly as it came off the socket.
"""
import argparse
import hashlib
import json
import os
import socket

# Index in the target's request list, HTTP method, path, body.
REQUESTS = [
    (0, "GET", "/osc/info", None),
    (1, "POST", "/osc/state", {}),
    (2, "POST", "/osc/commands/execute",
     {"name": "camera.getOptions", "parameters": {"optionNames": ["_brightness", "_roi", "_imrxVersion"]}}),
    (3, "POST", "/osc/commands/execute",
     {"name": "camera._cmdLine", "parameters": {"func": "GetFwVer1220_1230"}}),
    (4, "POST", "/osc/commands/execute", {"name": "camera.startCapture", "parameters": {}}),
    (5, "POST", "/osc/commands/status", {"id": "1"}),
    (5, "POST", "/osc/commands/status", {"id": 77}),
    (7, "POST", "/osc/commands/execute",
     {"name": "camera.setOptions", "parameters": {"options": {"_network": {"mode": "dhcp"}}}}),
    (8, "POST", "/osc/commands/execute",
     {"name": "camera._cmdLine", "parameters": {"func": "GetCpuUsage"}}),
    (9, "POST", "/osc/commands/execute", {"name": "camera.nosuchcommand", "parameters": {}}),
    (11, "POST", "/osc/commands/execute",
     {"name": "camera.getOptions", "parameters": {"optionNames": ["_updateStatus"]}}),
]


# A firmware update's progress, chunked as the camera streams it.
STREAM = (b"HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nTransfer-Encoding: chunked\r\n\r\n"
          b"24\r\n[Fw Update Msg] Updating AST1235 fw\n\r\n"
          b"10\r\n[FW update end]\n\r\n0\r\n\r\n")


def json_answer(status, document):
    body = json.dumps(document).encode()
    return (f"HTTP/1.1 {status} X\r\nContent-Type: application/json\r\n"
            f"Content-Length: {len(body)}\r\n\r\n").encode() + body


# Answers a standard camera may give that the simulator does not by default:
# a capture done at once, a status in another command's name with a numeric
# id, a server error with its document.
EXTRA = [
    (4, json_answer(200, {"name": "camera.startCapture", "state": "done",
                          "results": {"fileUrl": "http://127.0.0.1/tmp/capture1.jpeg"}})),
    (5, json_answer(200, {"name": "camera.takePicture", "state": "done", "id": 3,
                          "results": {"fileUrl": "http://127.0.0.1/tmp/capture3.jpeg"}})),
    (7, json_answer(500, {"name": "camera.setOptions", "state": "error",
                          "error": {"code": "serverError", "message": "busy"}})),
]


def exchange(port, method, path, body):
    payload = b"" if body is None else json.dumps(body).encode()
    head = f"{method} {path} HTTP/1.1\r\nHost: 127.0.0.1:{port}\r\nConnection: close\r\n"
    if body is not None:
        head += f"Content-Type: application/json\r\nContent-Length: {len(payload)}\r\n"
    with socket.create_connection(("127.0.0.1", port), timeout=5) as s:
        s.sendall(head.encode() + b"\r\n" + payload)
        answer = b""
        while chunk := s.recv(65536):
            answer += chunk
    return answer


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--port", type=int, default=18080)
    parser.add_argument("--out", default=os.path.join(os.path.dirname(__file__), "corpus",
                                                      "fuzz_client_http"))
    args = parser.parse_args()
    os.makedirs(args.out, exist_ok=True)
    answers = [(index, exchange(args.port, method, path, body))
               for index, method, path, body in REQUESTS]
    answers.append((10, STREAM))
    answers.extend(EXTRA)
    for index, answer in answers:
        for mode in (0, 1) if index in (2, 10, 11) else (0,):
            seed = bytes([index, mode]) + answer
            name = "seed-" + hashlib.sha1(seed).hexdigest()[:12]
            with open(os.path.join(args.out, name), "wb") as f:
                f.write(seed)
            print(name, index, mode, answer.split(b"\r\n", 1)[0].decode(errors="replace"))


if __name__ == "__main__":
    main()
