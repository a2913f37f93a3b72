#!/usr/bin/env python3
"""Writes the seeds of the fuzz targets to corpus/TARGET/. What a fuzzer found stands beside them, named
finding-*, and is left alone."""

import pathlib
import struct

CORPUS = pathlib.Path(__file__).resolve().parent / "corpus"


def text(content):
    data = content if isinstance(content, bytes) else content.encode()
    return struct.pack(">I", len(data)) + data


def body(command, arguments=(), entries=(), last_entries=()):
    items = [b"C" + text(command)]
    items += [b"A" + text(argument) for argument in arguments]
    items += [b"N" + text(name) + text(value) for name, value in entries]
    items += [b"E"]
    items += [b"N" + text(name) + text(value) for name, value in last_entries]
    return b"".join(items)


def packet(content, result=0, version=1, length=None):
    return struct.pack(">4sHHIQ", b"TVX4", version, 0, len(content) if length is None else length, result) + content


def short(content):
    """A text as the targets draw it: its length in one byte."""
    data = content.encode()
    return bytes([len(data)]) + data


STATUS = body(
    "status",
    entries=[
        ("input.name 1", "Camera 1"),
        ("input.name 2", "VTR"),
        ("output.name 1", "Program"),
        ("output 1", "1,2"),
    ],
    last_entries=[("router", "?"), ("in points", "2"), ("out points", "1"), ("input channels", "A,V")],
)
NO_ROUTER = body("status", ["no router"], last_entries=[("in points", "0"), ("out points", "0")])
REPORT = body(
    "report",
    last_entries=[("*active", "1; mem 3.1 MiB resident; cpu 1 %"), ("*last error", "a\nb"), ("*last notes", "")],
)

SEEDS = {
    "packet_server": {
        "route": packet(body("route", ["3=2", "4=5,6"], last_entries=[("set", "1=1  2=2,2 ")])),
        "router-set": packet(body("router set", entries=[("output.1.name", "Cam")])),
        "status-and-ping": packet(body("status")) + packet(body("ping"), result=2**64 - 1),
        "half": packet(body("status"))[:15],
        "old-version": packet(body("status"), version=0),
        "wrong-length": packet(body("status"), length=5),
        "huge-text": packet(b"C\x00\x00\x00\x01xN\xff\xff\xff\xff"),
        "two-commands": packet(b"C\x00\x00\x00\x01xC\x00\x00\x00\x01x"),
        "argument-after-end": packet(body("route") + b"A" + text("1=1")),
        "nul-texts": packet(body(b"a\0b", [b"\0"], last_entries=[(b"\0n", b"v\0")])),
    },
    "packet_client": {
        "status": STATUS,
        "status-packet": packet(STATUS),
        "no-router": packet(NO_ROUTER, result=1),
        "report": REPORT,
        "error": body("error", ["unknown command 'x'"]),
        "wild-counts": body("status", last_entries=[("in points", "99999"), ("out points", "-1")]),
        "wild-numbers": body("status", entries=[("out points", "2"), ("output 2", "9999999999,"), ("output 1", ",x")]),
        "names-without-utf8": body("status", entries=[("in points", "1"), ("input.name 1", b"\xff\xc3\x28\x1b[1m")]),
    },
    # Packets as lines: the command, entries, an empty line.
    "client_picture": {
        "pages": "describe\nsequence=4\ninputs=2\noutputs=2\nlevels=video,audio\nbackend=running\nbackend text=\nlink=up\n"
        "link text=\nclients=1\nuptime=99\ntakes asked=4 1\nlast take=3\nerror=17 lost\nnote=18 back\ninput 1=Camera\n"
        "input 1 property format=sdi\nnext=i2\n\ndescribe\nsequence=5\ninput 2=VTR\noutput 1=Monitor\n"
        "output 1 sources=1,unknown\noutput 1 waits=900\noutput 1 taken=1000 4711 desk 3\noutput 1 property lock=on\n\n",
        "watch": "watch\nsequence=2\nlast take=0\n\nchange\nfrom=1\nto=2\ninputs=2\noutputs=1\ninput 1=A\nmore=1\n\n"
        "change\nfrom=1\nto=2\ninput 2=B\noutput 1=M\noutput 1 sources=1,1\noutput 1 property a=b\n\nalive\nsequence=3\n"
        "last take=1\n\nchange\nfrom=3\nto=3\noutputs=0\n\ntakes\nlost=2\ntake=1\noutput=1\nresult=confirmed\n\n",
        "gap": "watch\nsequence=2\n\nchange\nfrom=1\nto=2\ninputs=9\n\nchange\nfrom=4\nto=4\n\nwatch\nepoch=ffffffffffffffff\n\n",
        "nothing-known": "watch\nsequence=0\n\nchange\nfrom=1\nto=0\nbackend=starting\n\nchange\nfrom=1\nto=1\ninputs=4097\n\n",
        "answer": "take\nid=7\noutput 1=confirmed\noutput 2=shows 3,unknown\noutput 3=refused by the router: locked\n"
        "output 4=replaced sent 1000 12 desk\noutput 5=withdrawn link down\noutput 6=unknown backend ended\noutput 7=new\n\n",
        "record": "describe\nlast take=2\ntake=1\ntime=17\nway=route\nuser=1000\npid=77\noutput=3\nlevel=all\n"
        "from=unknown,unknown\nto=2,2\nresult=shows 1,1\nmilliseconds=1000\ntake=2\nlevel=video,audio\nnext=3\n\n",
        "wild": "describe\nsequence=18446744073709551616\n\ndescribe\nsequence=1\ninputs=99999999999\noutputs=-1\ninput 0=x\n"
        "input 4097=x\noutput 1=x\ninput 4096=x\ninput 4096 property =v\ninput 5 property a=b\ninputs=1\n\n",
    },
    "videohub_server": {
        "takes": b"\x04VIDEO OUTPUT ROUTING:\n0 3\n1 4\n\nVIDEO OUTPUT ROUTING:\r\n2 0\r\n\r\n",
        "beyond": b"\x10VIDEO OUTPUT ROUTING:\n0 5\n\nVIDEO OUTPUT ROUTING:\n3 0\n\nVIDEO OUTPUT ROUTING:\n0 -1\n\n",
        "labels": "\x05INPUT LABELS:\n0 Süd: a\n4\n1 \n\nOUTPUT LABELS:\n2  two\n\n",
        "locks": b"\x01VIDEO OUTPUT LOCKS:\n0 O\n1 U\n2 F\n\nVIDEO OUTPUT LOCKS:\n0 L\n\n",
        "whole": b"\x20PING:\n\nVIDEOHUB DEVICE:\n\nINPUT LABELS:\n\nVIDEO OUTPUT LOCKS:\n\nEND PRELUDE:\n\n",
        "take-mode": b"\x02CONFIGURATION:\nTake Mode: true\n\nTAKE MODE:\n0 true\n1 false\n\n",
        "answers": b"\x03ACK\n\nNAK\nPING:\n\n",
        "other-protocol": b"\x08GET / HTTP/1.1\r\nHost: x\r\n\r\n",
        "no-text": b"\x00OUTPUT LABELS:\n0 \xff\xfe\x00\x1b[31m\n\n",
        "without-colon": b"\x06PING\n\n   PING:\n\t\n",
        "half": b"\xffVIDEO OUTPUT ROUTING:\n0 ",
    },
    "snapshot_file": {
        "one-output": '{"format": "vrdx crosspoints", "version": 1, "inputs": 4, "outputs": 1,'
        ' "crosspoints": [{"output": 1, "audio": 3, "video": 0}]}',
        "two-outputs": '{"format":"vrdx crosspoints","version":1,"inputs":200,"outputs":2,"crosspoints":'
        '[{"output":2,"audio":300,"video":1},{"output":1,"audio":0,"video":0}]}',
        "cut-short": '{"format": "vrdx crosspoints", "version": 1, "inputs": 4',
        "no-object": "[1, 2]",
        "wild-numbers": '{"format":"vrdx crosspoints","version":1e0,"inputs":18446744073709551615,"outputs":-1}',
    },
    "message_lines": {
        "take": "*COMMAND=route output\n*TYPE=command\nfrom input=3\nqueue=add\nto output=0\n",
        "several-lines": "*ERROR=x\n*ERROR=y\nname=a\nname=\nname=b\n",
        "no-equals": "hello\n=\n=x\n==\n",
        "prefixes": "*COMMANDX=1\n*COMMAND\n*ID=7\n*COMMAND=\n*COMMAND=b\n",
    },
    "backend_reports": {
        "whole-router": "*COMMAND=info\n*TYPE=message\ninputs=4\noutputs=3\noutput routing controls=video,audio\n\n"
        "*COMMAND=inputs\n*TYPE=message\ni0.name=Camera\ni02.name=VTR\ni2x.name=no\n\n"
        "*COMMAND=outputs\n*TYPE=message\no0.name=Program\no0.input.all=2\no1.input.audio=1\no2.input.aux=5\n\n",
        "odd-sizes": "*COMMAND=info\n*TYPE=message\ninputs=5000\noutputs=-3\n\n",
        "largest": "*COMMAND=info\n*TYPE=message\ninputs=99999999999999999999\noutputs=12abc\n\n",
        "odd-numbers": "*COMMAND=info\n*TYPE=message\ninputs=2\noutputs=2\n\n*COMMAND=outputs\n*TYPE=message\n"
        "o99999999999999999999.input.all=1\no1.input.video=99999999999999999999\no0.input.audio=-1\no-1.name=x\n\n",
        "names-too-early": "*COMMAND=inputs\n*TYPE=message\ni2.name=x\n\n",
        "other-type": "*COMMAND=info\n*TYPE=command\ninputs=4\noutputs=4\n\n",
        "shrinking": "*COMMAND=info\n*TYPE=message\ninputs=9\noutputs=9\n\n*COMMAND=info\n*TYPE=message\noutputs=1\n\n",
        "error-alone": "*ERROR=refused\n\n*TYPE=message\n\n",
    },
    "item_file": {
        "simulator": "driver=route_simulator\nstay resident=1\nenable debug messages=1\n",
        "old-name": "driver = sierra_video_aspen_hdsdi\r\n",
        "path": "driver=route_../../bin/sh\n",
        "no-driver": "\n\ndriver=\nstay resident=0x10\n",
        "long-line": "driver=route_" + "x" * 1100 + "\n",
    },
    "metadata_file": {
        "item-and-streams": "name=Router\n0:kind=video\n1:kind=audio\n# by hand\n\n",
        "odd-streams": "03:a=1\n-1:b=2\n-0:c=3\n3:=4\n99999999999:d=5\n=6\n3:4:e=7\n",
        "line-ends": "a=b\r\nc=\r\n\r\n=\r\nd=e",
        "twice": "a=1\na=2\ntally=3\n3:tally=4\n",
    },
    "name_value_file": {
        "item": "driver=route_simulator\n# remark\n\nsimulated inputs = 16\n",
        "repeated": "a=1\na = 2\na=\n=x\n = y\n",
        "long-line": "a=" + "x" * 4100 + "=y\nb=1\n",
        "no-line-end": "a=1\nno equals\nb=2",
    },
    "route_request": {
        "plain": "3=2",
        "levels": "5=2,3",
        "none": "5=0",
        "many": "1=1,2,3,4,5,6,7,8,9,10",
        "odd": " x= 2x ,3",
        "empty": "3=",
        "far": "99999999999999999999=-99999999999999999999,2147483648",
        "smallest": "-2147483648=-2147483647",
    },
    "client_packet": {
        "takes": bytes([0x1C]) + bytes([2]) + short("3=2") + short("4=1,2") + b"\0" + short("1=1  2=2,2 "),
        "takes-wait": bytes([0x10]) + bytes([1]) + short("3=2"),
        "properties": bytes([0x1D, 0, 1])
        + short("output.1.name") + short("Cam") + b"\1" + short("input.4.x") + short("")
        + b"\1" + short("output.0.name") + short("x") + b"\1" + short("output.9.name") + short("x"),
        "odd-properties": bytes([0x1D, 0, 1]) + short("output.1.a=b") + short("c")
        + b"\1" + short("output.1.a\nb") + short("c") + b"\1" + short("input.1.") + short("\na"),
        "status": bytes([0x12]),
        "unknown": bytes([3]),
        "long-token": bytes([0x14, 0, 0]) + short("1=" + "0" * 70 + "2"),
    },
    "status_reply": {
        "four-by-two": bytes([5, 4, 3, 2, 1, 3, 1, 2]) + short("Program") + bytes([1, 0, 1, 4]) + short("Clean")
        + short("Camera"),
        "no-outputs": bytes([1, 4, 1, 0]),
        "largest": bytes([0, 0, 0, 16, 0, 0, 0, 0, 4, 0]),
        "odd-sources": bytes([1, 2, 1, 2, 0, 0x7F, 255, 255, 255, 0, 128, 0, 0, 0, 0]),
    },
    "simulator_texts": {
        "settings": "simulated inputs=4\nsimulated outputs = 4\nsimulated levels=video,audio\n"
        "simulated delay ms= 60000 \nsimulated refuse outputs=1, 2 3\nsimulated state file=state\n",
        "odd-settings": "simulated inputs=0\nsimulated outputs=1025\nsimulated levels=audio\n"
        "simulated delay ms=-1\nsimulated refuse outputs=1,x\nsimulated state file=x/\n",
        "state": "*COMMAND=simulated router\n*TYPE=state\ni0.name=Camera\no0.input.audio=1\no0.input.video=none\n"
        "o0.name=Program\no9.name=gone\ni9.name=gone\no1.input.audio=9\n\n",
        "broken-state": "*COMMAND=simulated router\n*TYPE=state\no0.input.audio=x\n\n",
    },
    # Steps as the target draws them: 0 size, 1 names, 2 sources, 4 takes, 7 pass, 9 time, 11 property, 12 the
    # backend comes or goes, 13 setting, 14 status.
    "schedule": {
        "take-and-confirm": bytes([0, 0, 22, 14, 1, 4, 1, 2, 3, 0, 0, 7, 2, 1, 2, 3, 0, 1, 7, 14]),
        "take-and-rollback": bytes([0, 0, 22, 14, 1, 4, 2, 2, 3, 1, 4, 1, 5, 0, 0, 7, 9, 128, 7, 14]),
        "take-while-away": bytes([0, 0, 22, 14, 0, 12, 4, 1, 2, 3, 0, 1, 1, 1, 0, 7, 12, 7, 9, 60, 7]),
        "nothing-assumed": bytes([7, 0, 22, 14, 1, 4, 1, 2, 3, 1, 4, 0, 7, 9, 100, 7, 14]),
        "resizes": bytes([0, 0, 22, 14, 1, 4, 1, 7, 3, 0, 0, 0, 3, 3, 0, 7, 0, 4, 4, 1, 9, 128, 7, 14]),
        "half-report": bytes([0, 0, 22, 14, 1, 2, 1, 1, 2, 0, 0, 12, 12, 2, 1, 1, 3, 1, 1, 14]),
        "properties": bytes([0, 0, 22, 14, 1, 11, 1, 3]) + short("Program") + bytes([13]) + short("b") + short("1")
        + bytes([7, 14]),
        "same-output-twice": bytes([0, 0, 22, 14, 1, 4, 2, 2, 3, 0, 2, 4, 0, 1, 2, 5, 0, 9, 127, 7, 14]),
    },
    # Steps as the target draws them: 0 size, 1 property, 3 source, 5 link, 6 refusal, 7 take, 10 any request, 11 watch,
    # 12 pages, 13 pass, 15 time, 16 a message moves, 18 the backend comes or goes, 19 the client reads or not.
    "told": {
        "confirmed": bytes([0, 0, 4, 4, 0, 11, 13, 7, 1, 2, 3, 0, 0, 0, 0, 13, 16, 1, 16, 1, 3, 1, 0, 2, 13]),
        "not-confirmed": bytes([0, 0, 4, 4, 1, 7, 1, 2, 3, 1, 1, 1, 2, 0, 0, 16, 1, 16, 1, 16, 1, 3, 1, 1, 3, 15, 200, 13]),
        "withdrawn": bytes([0, 0, 4, 4, 0, 7, 2, 1, 3, 0, 2, 3, 0, 0, 0, 0, 5, 1, 2]) + b"no" + bytes([13, 12]),
        "refused": bytes([0, 0, 4, 4, 0, 7, 1, 1, 3, 0, 0, 0, 0, 16, 1, 16, 1, 6, 0, 2, 0, 6]) + b"locked" + bytes([13]),
        "backend-ends": bytes([0, 0, 4, 4, 0, 11, 7, 1, 1, 3, 0, 0, 0, 0, 16, 0, 7, 1, 2, 3, 0, 0, 0, 0, 18, 13, 18, 13]),
        "slow-watcher": bytes([0, 15, 4, 0, 11, 19, 13, 3, 1, 0, 2, 13, 0, 0, 2, 2, 1, 13, 19, 13]),
        "properties": bytes([0, 0, 4, 4, 0, 1, 0, 1]) + short("vvvvvvvvvvvvvvvv") + bytes([4]) + short("format")
        + bytes([11, 13, 1, 1, 1]) + short("on") + bytes([0]) + short("lock") + bytes([13, 12]),
        "odd-requests": bytes([0, 0, 4, 4, 0, 10, 0, 1]) + short("1=2") + bytes([2]) + short("expect") + short("1=1 x")
        + short("by") + short("\n") + bytes([10, 1, 1]) + short("input 3") + bytes([0, 10, 2, 0, 1]) + short("id") + short("7"),
    },
    "number_list": {
        "ranges": b"1-8,12",
        "unordered": b"12,5-8,1-4,3",
        "largest": b"1,4096",
        "beyond": b"4097",
        "zeros": b"007,0",
        "backward": b"8-1",
        "empty-pieces": b"1,,2,",
        "empty": b"",
        "signs": b"+1,-1",
    },
    "lock_reason": {
        "plain": b"on air until 18:00",
        "letters": "Pr\u00fcfung \u20ac \U0001f4fa".encode(),
        "overlong": b"\xc0\xaf\xe0\x80\xaf",
        "half-pair": b"\xed\xa0\x80",
        "beyond": b"\xf4\x90\x80\x80",
        "cut": b"\xf0\x9f\x93",
        "controls": b"a\nb\x1b\xc2\x85",
        "line-separator": b"\xe2\x80\xa8",
        "longest": b"x" * 256,
    },
    "gateway_configuration": {
        "videohubs": '[[videohub]]\nrouter = "studio"\naddress = "::"\nport = 9991\nrole = "lock"\noutputs = "1-8,12"\n'
        'inputs = "3"\nclients = ["192.0.2.7", "2001:db8::/32"]\n[[videohub]]\nrouter = "a"\nclients = "10.0.0.0/8"\n',
        "odd-videohubs": '[[videohub]]\nrouter = "../a"\naddress = "x"\nport = -1\nrole = 5\noutputs = "0"\ninputs = ""\n'
        'clients = ["192.0.2.1/24", "/", "1.2.3.4/33"]\nmore = 1\n[[videohub]]\n',
        "one-videohub": '[videohub]\nrouter = "studio"\n',
        "all": b'listen = ["127.0.0.1:8400", "[::1]:0"]\nhosts = "router.example"\nitems = "/i"\nrun = "/r"\n'
        b'state = "/s"\ninsecure = true\nanonymous = "view"\nproxies = ["192.0.2.1"]\n'
        b'[tls]\ncertificate = "/c"\nkey = "/k"\n[[wall]]\naddresses = ["192.0.2.2", "::1"]\nrole = "view"\n',
        "types": b"listen = 1\nhosts = [1]\nitems = true\nrun = 1.5\nstate = 1979-05-27\ninsecure = {}\n"
        b"anonymous = []\nproxies = 07:32:00\ntls = 1\nwall = 1\n",
        "unknown": b"port = 1\n[tls]\nca = 2\n[x.y]\n",
        "values": b'listen = "localhost:1"\nhosts = ["a:1"]\nanonymous = "root"\nproxies = "10.0.0.0/8"\nrun = "r"\n',
        "dotted": b'tls.key = "/k"\ntls.certificate = "/c"\n',
        "twice": b'run = "/a"\nrun = "/b"\n',
        "controls": b'run = "\\u0000\\n"\n"a\\nb" = 1\n',
        "no-toml": b'listen = "\nx',
        "deep": b"x = " + b"[" * 300,
        "empty": b"",
    },
    "request_target": {
        "plain": b"/api/v1/routers/studio/outputs/1/lock",
        "query": b"/api/v1/events?router=a&router=b+c&x=%3d&&=",
        "encoded": b"/api/v1/routers/Pr%C3%BCfung%20%e2%98%83",
        "dots": b"/api/%2e%2e/../.%2e/./healthz",
        "slashes": b"//a%2fb/%5c",
        "overlong": b"/%c0%ae%c0%ae/",
        "controls": b"/healthz%00%0d%0a",
        "host": b"HTTP://localhost:8400?a=b",
        "user": b"https://me@localhost/",
        "star": b"*",
        "cut": b"/%e2%98",
        "percent": b"/%2565%",
    },
    "request_head": {
        "plain": b"GET / HTTP/1.1\r\nHost: localhost\r\n\r\n",
        "length": b"POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 5\r\n\r\nabcde",
        "chunks": b"POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: Chunked\r\n\r\n0\r\n\r\n",
        "both": b"POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n",
        "twice": b"POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 5\r\ncontent-length: 6\r\n\r\n",
        "folded": b"GET / HTTP/1.1\r\nHost: a\r\n b\r\n\r\n",
        "line-feeds": b"GET / HTTP/1.1\nHost: a\nContent-Length: 5\n\n\r\n\r\n",
        "blank-before-colon": b"GET / HTTP/1.1\r\nHost : a\r\n\r\n",
        "old": b"GET / HTTP/1.0\r\n\r\n",
        "empty-lines": b"\r\n\r\nGET / HTTP/1.1\r\n\r\n",
    },
    "json_body": {
        "take": b'{"takes": [{"output": 1, "input": 3}], "within": 3000}',
        "twice": b'{"a": 1, "\\u0061": 2}',
        "deep": b"[" * 17 + b"]" * 17,
        "deepest": b"[" * 16 + b"]" * 16,
        "numbers": b"[0, -0, 2147483647, -2147483648, 1e0, 1.0]",
        "large-numbers": b"[2147483648, 18446744073709551615, -9223372036854775808]",
        "huge-number": b"1e999",
        "text": '["Pr\u00fcfung \u2603", "\\ud83d\\udcfa", "\\u0000", "\\"\\\\/:"]'.encode(),
        "half-pair": b'"\\ud800"',
        "no-utf8": b'"\xff"',
        "mark": b"\xef\xbb\xbf{}",
        "nothing": b"",
        "two": b"{} {}",
        "comment": b"/* */ {}",
        "behind-a-nul": b'7\0[{"tak\xfe',
    },
    "preset_body": {
        "preset": b'{"takes": [{"router": "studio", "output": 1, "input": 9}, {"router": "a", "output": 1, "sources": {"video": 3, "audio": "Cam"}}]}',
        "level": b'{"takes": [{"router": "studio", "output": 1, "sources": {"audio": 0}}]}',
        "twice": b'{"takes": [{"router": "a", "output": 1, "input": 1}, {"router": "a", "output": 1, "input": 2}]}',
        "odd": b'{"takes": [{"router": "", "output": 0, "input": -1}, {}, 1], "more": null}',
        "saved": b'{"format": "vrdx crosspoints", "version": 1, "inputs": 8, "outputs": 8, "crosspoints": [{"output": 1, "audio": 2, "video": 3}, {"output": 2, "audio": 0, "video": 0}], "input names": ["a"]}',
        "saved-odd": b'{"format": "vrdx crosspoints", "version": 1, "crosspoints": [{"output": 1, "audio": 2}, 1]}',
        "recall": b'{"dry_run": true, "all_or_nothing": false, "within": 500}',
        "nothing": b'{}',
    },
    "site_messages": {
        "alive": b'{"v":1,"run":"00000000000000aa","beat":17,"routers":[["studio","up",3],["a=20b","stale",0],["=","up",1]]}',
        "other-version": b'{"v":2,"run":5}',
        "page": b'{"v":1,"run":"00000000000000aa","at":1,"state":"up","reason":"","next":2,"picture":{"epoch":"0123456789abcdef","sequence":1,"split":false,"backend":1,"link":2,"inputs":2,"outputs":2},"inputs":[{"number":1,"name":"In 1"}],"outputs":[{"number":1,"name":"Out 1","sources":[1,1],"lock":{"state":"lock","owner":"desk","reason":"","since":1}}]}',
        "beyond": b'{"v":1,"run":"a","at":1,"state":"up","reason":"","picture":{"epoch":"0123456789abcdef","sequence":1,"split":true,"backend":9,"link":-1,"inputs":99999999,"outputs":2},"outputs":[{"number":3,"name":"x","sources":[1,1]}]}',
        "change": b'{"v":1,"run":"a","from":1,"to":2,"anew":true,"state":"up","reason":"","picture":{"epoch":"0123456789abcdef","sequence":1,"split":false,"backend":1,"link":2,"inputs":1,"outputs":1},"takes":[{}],"takes_lost":3}',
        "page-request": b'{"v":1,"begin":128}',
        "take": b'{"v":1,"run":"00000000000000aa","beat":17,"by":"desk","within":1000,"takes":[[1,8,8],[2,0,-1]],"expect":[[1,7,7]],"all_or_nothing":true}',
        "name": b'{"v":1,"run":"00000000000000aa","beat":17,"output":true,"number":2,"name":"Regie"}',
        "answer": b'{"v":1,"ended":"done","reason":"","outputs":[{"output":1,"result":"locked","reason":"on air","sources":[1,2],"lock":{"state":"protect","owner":"a","reason":"b","since":3}}]}',
        "history": b'{"v":1,"epoch":"00000000000000aa","number":5,"time":1700000000000000,"kind":"take","router":"studio","record":["0123456789abcdef",7],"output":1,"level":"all","by":"desk","through":"gateway","user":990,"process":4711,"before":"1","after":"3","result":"confirmed","ms":12}',
        "history-of-refusals": b'{"v":1,"epoch":"00000000000000aa","number":6,"time":1700000000000000,"kind":"login","share":1,"count":40,"until":1700000000900000,"address":"192.0.2.7","result":"refused"}',
        "history-odd": b'{"v":1,"epoch":"00000000000000aa","number":-6,"time":0,"kind":"nothing","share":9,"record":[],"router":"a=4"}',
        "stored": b'{"stream":"VR_AUDIT","seq":5,"duplicate":true}',
        "no-room": b'{"error":{"code":503,"err_code":10077,"description":"maximum bytes exceeded"},"stream":"VR_AUDIT","seq":0}',
        "stream": b'{"created":"2026-01-01T00:00:00Z","state":{"messages":3,"first_seq":2,"last_seq":4}}',
        "stream-message": b'{"message":{"subject":"vr.north.history","seq":9,"data":"eyJ2IjoxfQ==","time":"x"}}',
        "stream-message-odd": b'{"message":{"subject":"vr.north.history","seq":9,"data":"===!"}}',
        "subject": b"vr.north.B=201=2Ex.take.control",
        "history-subject": b"vr.north.history",
        "deep": b"[" * 400,
        "large": b'{"v":1,"begin":1e400}',
        "nothing": b"",
    },
    "metrics_accept": {
        "prometheus": b"application/openmetrics-text;version=1.0.0,application/openmetrics-text;version=0.0.1;q=0.75,text/plain;version=0.0.4;q=0.5,*/*;q=0.1",
        "quoted": b'application/openmetrics-text; version="1.0.0"; q=0.251, text/plain;q=0.25',
        "open": b"Application/OpenMetrics-Text",
        "plain": b"text/plain;q=1.000",
        "odd": b',,;;==";q="\\n\\\\ \n',
        "any": b"*/*",
    },
    "shown_tags": {
        "ours": b'"0123456789abcdef-00112233.7.1"',
        "weak-among-others": b'"x", W/"0123456789abcdef-00112233.7.1" , "y"',
        "any": b"*",
        "of-another-run": b'"0123456789abcdef-00112234.7.1"',
        "in-another": b'"x"0123456789abcdef-00112233.7.1""',
        "blanks": b" \t,,\t* x, W/W/*",
        "weak-any": b"W/*",
        "without-quotes": b"0123456789abcdef-00112233.7.1",
    },
    "caller": {
        "name": b"router.example\n\n\nvrdx_session=abc",
        "port": b"LOCALHOST:8400\n192.0.2.1\n203.0.113.1, 192.0.2.250\na=b; vrdx_session=; vrdx_session=c",
        "six": b"[::1]:1\n[2001:db8::1]:443,2001:db8::250\n::ffff:192.0.2.250\n;;=;vrdx_session = x",
        "no-port": b"localhost:\n192.0.2.1:\n[192.0.2.1]\nvrdx_session",
        "long-port": b"localhost:123456\n,,,\n\t, \t\nVRDX_SESSION=x; vrdx_sessions=y",
        "half-bracket": b"[::1\n[::1\n::1]\n",
        "two-hosts": b"localhost@evil.example:80\nunknown\n_hidden, for=192.0.2.1\n",
        "bytes": b"\xff\0:1\n\0\n\xfe,\xff\n\0;\xff=",
        "zone": b"localhost:80:80\nfe80::1%eth0\n1.2.3\nvrdx_session=a=b",
    },
    "time_text": {
        "plain": b"2026-02-28T19:58:00Z",
        "fraction": b"2024-02-29T23:59:59.999999Z",
        "nine-digits": b"2024-02-29T23:59:59.123456789Z",
        "zone": b"2026-01-01T00:30:00+01:00",
        "zone-back": b"2025-12-31T23:30:00.5-23:59",
        "leap-second": b"2016-12-31T23:59:60Z",
        "no-leap-day": b"2025-02-29T00:00:00Z",
        "first": b"1970-01-01T00:00:00Z",
        "before": b"1969-12-31T23:59:59.9Z",
        "year-0": b"0000-01-01T00:00:00+23:59",
        "last": b"9999-12-31T23:59:59.999999-23:59",
        "small-letters": b"2026-02-28t19:58:00z",
        "blank": b"2026-02-28 19:58:00Z",
        "signs": b"+026-02-28T19:58:00Z",
        "no-fraction": b"2026-02-28T19:58:00.Z",
        "half-zone": b"2026-02-28T19:58:00+0100",
        "longer": b"2026-02-28T19:58:00ZZ",
    },
    "take_body": {
        "number": b'{"takes": [{"output": 1, "input": 3}]}',
        "levels": b'{"takes": [{"output": 1, "sources": {"video": 1, "audio": 2}}, {"output": 2, "sources": {"audio": 0}}]}',
        "level-unknown": b'{"takes": [{"output": 2, "sources": {"video": 1}}]}',
        "names": b'{"takes": [{"output": 1, "input": "one"}, {"output": 2, "sources": {"all": "two"}}]}',
        "same-name": b'{"takes": [{"output": 1, "input": "same"}]}',
        "manner": b'{"takes": [{"output": 4, "input": 0}], "within": 100, "all_or_nothing": true}',
        "beyond": b'{"takes": [{"output": 1024, "input": 4096}], "within": 60000}',
        "twice": b'{"takes": [{"output": 1, "input": 1}, {"output": 1, "input": 2}]}',
        "empty": b'{"takes": []}',
        "odd": b'{"takes": [{"output": 0, "input": -1}, {}, 1], "within": 99, "more": null}',
        "numbers": b'{"takes":[{"output":1,"input":3},{"output":2,"sources":{"video":0,"audio":2}}],"within":500}',
        "names-of-others": b'{"takes":[{"output":1,"input":"camera"},{"output":2,"sources":{"all":"vtr"}}],"all_or_nothing":true}',
        "level": b'{"takes":[{"output":1,"sources":{"video":3}},{"output":2,"sources":{"audio":3}}]}',
        "member-twice": b'{"takes":[],"takes":[{"output":1,"input":1}]}',
        "deep": b"[" * 20,
        "large": b'{"takes":[{"output":4294967297,"input":1e400}]}',
        "behind-a-nul": b'7\0[{"tak\xfe',
        "no-utf8": b'{"takes":[{"output":1,"input":"\xff"}]}',
        "escapes": b'{"takes":[{"output":1,"input":"\\u0000\\ud83d\\ude00"}]}',
        "nothing": b"",
    },
}


def main():
    for target, seeds in SEEDS.items():
        folder = CORPUS / target
        folder.mkdir(parents=True, exist_ok=True)
        for name, content in seeds.items():
            (folder / name).write_bytes(content if isinstance(content, bytes) else content.encode())


if __name__ == "__main__":
    main()
