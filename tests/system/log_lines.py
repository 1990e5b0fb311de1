"""Lines of an event log, and a process that writes some through the agent's library."""

import ctypes
import json
import sys
import time
from datetime import datetime, timedelta

INFO = "server_name script_path request_uri query_string request_method remote_addr user_agent "
INFO += "referer cookie forwarded_for content_type reserved upload_file_name stack_trace"
CALLS = [
    ("command_execution", "command_execution", "system"),
    ("query_injection", "sql_injection", "PDO::query"),
    ("file_access", "file_read", "fopen"),
]


def event(i, request=(), **more):
    """The event of a moment, five seconds after the one before, as the agent writes it."""
    category, name, detail = CALLS[i % 3]
    request = dict.fromkeys(INFO.split(), "") | {
        "server_name": "www.example.org",
        "request_uri": f"/page{i % 7}.php?id={i}",
        "query_string": f"id=subject {i}",
        "request_method": "GET",
        "remote_addr": f"192.0.2.{i % 9}",
        "stack_trace": f"{detail}(subject {i})\nrun(1)\n",
        **dict(request),
    }
    line = {
        "time": (datetime(2026, 1, 5) + timedelta(seconds=5 * i)).isoformat() + ".000000Z",
        **{"host": "web", "pid": 7, "tid": 7, "event": name, "code": 0x20011},
        **{"category": category, "verdict": "blocked" if i % 5 else "reported"},
        **{"kind": "execute_command", "detail": detail, "target": "command"},
        **{"subject": f"subject {i}", **more, "request": request},
    }
    return json.dumps(line) + "\n"


def send(library, process, events):
    """Calls the first operation of the agent's object, as one of PHP's workers would; for the
    last fifth of the events it waits until standard input is closed."""
    agent = ctypes.CDLL(library).create_php_help
    agent.restype = ctypes.POINTER(ctypes.POINTER(ctypes.c_void_p))
    agent = agent()
    text = ctypes.c_char_p
    operation = ctypes.CFUNCTYPE(
        *(ctypes.c_int, ctypes.c_void_p, ctypes.c_uint, text, text, text, text),
        *(ctypes.c_int, ctypes.c_int, ctypes.c_void_p),
    )(agent[0][0])
    info = (text * len(INFO.split()))(b"www.example.net", b"", b"/index.php?a=b", *[b""] * 11)
    info[6] = b'agent \xe2\x82\xac %s "#012"'
    for i in range(events):
        if i == events * 4 // 5:
            sys.stdin.read()
        # Past the sizes at which a shipper may cut: 8 KiB, 64 KiB, 128 KiB, 1 MiB.
        size = {events // 2: 140000, events // 3: 2000000}.get(i, i * 7 % 1500)
        size = 70000 if i % 1000 == 500 else 9000 if i % 100 == 50 else size
        letters = bytes(33 + (k + process) % 90 for k in range(90))
        subject = b"%d.%d " % (process, i) + (letters * (size // 90 + 1))[:size]
        subject += b"\xff\n\x01\xc3" if i % 10 == 3 else b""
        operation(agent, 0x20011, b"execute_command", b"system", b"command", subject, 1, 0, info)
        time.sleep(0.0018)


if __name__ == "__main__":
    send(sys.argv[1], int(sys.argv[2]), int(sys.argv[3]))
