"""A server that answers like the proxy engine, or fails in one of many ways. For one in a network
namespace, import it in the text of a network.Program."""

import http.server
import json
import socket
import socketserver
import ssl
import subprocess
import threading
import urllib.parse
from pathlib import Path

PATH = "/proxies/{tag}"  # the selector's tag in the URL
LARGE = 2 << 20  # bytes; more than egress-report reads
SECRET_IN_ANSWER = "a-text-of-the-answer"


def answer_of(tag, choice):
    return {"name": tag, "type": "Selector", "now": choice, "comment": SECRET_IN_ANSWER}


# Each behaviour is a function of the handler of one request, the selector's tag and its choice, if any.

def answers(handler, tag, choice):
    if choice is None:
        handler.reply(404, {"message": SECRET_IN_ANSWER})
    else:
        handler.reply(200, answer_of(tag, choice))


def status(number, **headers):
    return lambda handler, tag, choice: handler.reply(number, answer_of(tag, choice), **headers)


def redirects_to_itself(handler, tag, choice):
    handler.reply(302, answer_of(tag, choice), Location=handler.path)


def body(*content):
    return lambda handler, tag, choice: handler.reply_bytes(200, b"".join(content))


def is_silent(handler, tag, choice):
    handler.server.stopping.wait()


def is_silent_after_the_status(handler, tag, choice):
    handler.reply_bytes(401, b"", length=1000)
    handler.server.stopping.wait()


def answers_half(handler, tag, choice):
    content = json.dumps(answer_of(tag, choice)).encode()
    handler.reply_bytes(200, content[:-2], length=len(content))
    handler.close_connection = True


def answers_half_a_chunk(handler, tag, choice):
    handler.start_chunks()
    handler.wfile.write(b"100\r\n{\"now\":")
    handler.close_connection = True


def answers_nothing(handler, tag, choice):
    handler.close_connection = True


def answers_slowly(handler, tag, choice):
    handler.reply_bytes(200, b"", length=1000)
    while not handler.server.stopping.wait(0.05):
        handler.wfile.write(b" ")


def answers_in_chunks(handler, tag, choice):
    handler.start_chunks()
    for byte in json.dumps(answer_of(tag, choice)):
        handler.wfile.write(f"1\r\n{byte}\r\n".encode())
    handler.wfile.write(b"0\r\n\r\n")


def is_large_in_chunks(handler, tag, choice):
    handler.start_chunks()
    for _ in range(LARGE >> 16):
        handler.wfile.write(b"10000\r\n" + b" " * (1 << 16) + b"\r\n")
    handler.wfile.write(b"0\r\n\r\n")


def answers_then_closes(handler, tag, choice):
    answers(handler, tag, choice)  # which announces no close
    handler.close_connection = True


def closes_at_the_second_request(handler, tag, choice):
    if handler.has_answered:
        handler.close_connection = True
    else:
        answers(handler, tag, choice)
        handler.has_answered = True


def speaks_no_http(handler, tag, choice):
    handler.wfile.write(b"220 " + SECRET_IN_ANSWER.encode() + b"\r\n")
    handler.close_connection = True


def needs(name, value):
    """Answers only to requests with this header."""
    def behaviour(handler, tag, choice):
        if handler.headers.get(name) == value:
            answers(handler, tag, choice)
        else:
            handler.reply(401, {"message": SECRET_IN_ANSWER})
    return behaviour


BEHAVIOURS = {
    "answers": answers,
    "answers in chunks": answers_in_chunks,
    "answers, then closes": answers_then_closes,
    "closes at the second request": closes_at_the_second_request,
    "silence": is_silent,
    "silence after the status": is_silent_after_the_status,
    "half an answer": answers_half,
    "half a chunk": answers_half_a_chunk,
    "no answer": answers_nothing,
    "slow bytes": answers_slowly,
    "large": body(b" " * LARGE),
    "large in chunks": is_large_in_chunks,
    "no JSON": body(SECRET_IN_ANSWER.encode()),
    "an array": body(b'["' + SECRET_IN_ANSWER.encode() + b'"]'),
    "empty": body(),
    "no now": body(b'{"name": "' + SECRET_IN_ANSWER.encode() + b'"}'),
    "now is a number": body(b'{"now": 1}'),
    "now is empty": body(b'{"now": ""}'),
    "no HTTP": speaks_no_http,
    "elsewhere": status(302, Location="http://203.0.113.1/"),
    "to itself": redirects_to_itself,
} | {str(number): status(number) for number in (204, 400, 401, 403, 404, 500, 503)}


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    has_answered = False  # on this connection

    def do_GET(self):  # the name is that of the base class
        self.server.requests.append((self.path, list(self.headers.items())))
        prefix, suffix = self.server.path.split("{tag}")
        encoded = self.path.removeprefix(prefix).removesuffix(suffix)
        tag = urllib.parse.unquote(encoded, errors="surrogateescape")
        self.server.behaviour(self, tag, self.server.choices.get(tag))

    def reply(self, number, content, **headers):
        self.reply_bytes(number, json.dumps(content).encode() if number != 204 else b"", **headers)

    def reply_bytes(self, number, content, length=None, **headers):
        self.send_response(number, SECRET_IN_ANSWER)
        for name, value in headers.items():
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(content) if length is None else length))
        self.end_headers()
        self.wfile.write(content)

    def start_chunks(self):
        self.send_response(200)
        self.send_header("Transfer-Encoding", "chunked")
        self.end_headers()

    def log_message(self, *arguments):  # the default prints
        pass


class TcpServer(socketserver.ThreadingMixIn, socketserver.TCPServer):
    daemon_threads = True
    allow_reuse_address = True

    def handle_error(self, *arguments):  # the client may close first; the default prints
        pass


class TcpServer6(TcpServer):
    address_family = socket.AF_INET6


class UnixServer(socketserver.ThreadingMixIn, socketserver.UnixStreamServer):
    daemon_threads = True

    def handle_error(self, *arguments):
        pass


class Engine:
    """The server in a thread: at a Unix socket if `unix` is a path, otherwise at `address` and `port`;
    over TLS with a Certificate. `requests` has the path and the headers of each request."""

    def __init__(self, choices, behaviour="answers", address="127.0.0.1", port=0, unix=None,
                 certificate=None, path=PATH):
        if unix is not None:
            self.server = UnixServer(str(unix), Handler)
        else:
            kind = TcpServer6 if ":" in address else TcpServer
            self.server = kind((address, port), Handler)
        if certificate is not None:
            self.server.socket = certificate.wrap(self.server.socket)
        self.scheme = "http" if certificate is None else "https"
        self.server.choices = choices
        self.server.behaviour = BEHAVIOURS.get(behaviour, behaviour)
        self.server.path = path
        self.server.requests = self.requests = []
        self.server.connections = self.connections = []
        self.server.stopping = threading.Event()
        self.server.verify_request = lambda request, client: self.connections.append(client) or True
        self.thread = threading.Thread(target=self.server.serve_forever, args=(0.01,))
        self.thread.start()

    @property
    def port(self):
        return self.server.server_address[1]

    def url(self, host="127.0.0.1"):
        return f"{self.scheme}://{host}:{self.port}{self.server.path}"

    def stop(self):
        self.server.stopping.set()
        self.server.shutdown()
        self.thread.join()
        self.server.server_close()


class Certificate:
    """A key and a certificate, signed by itself, for a name or address such as "DNS:localhost"."""

    def __init__(self, folder, name):
        self.path = Path(folder) / f"{name.replace(':', '-')}.pem"
        key = self.path.with_suffix(".key")
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                        "ec_paramgen_curve:P-256", "-nodes", "-keyout", key, "-out", self.path,
                        "-days", "2", "-subj", "/CN=engine", "-addext", f"subjectAltName={name}"],
                       check=True, capture_output=True)
        self.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self.context.load_cert_chain(self.path, key)

    def wrap(self, listener):
        return self.context.wrap_socket(listener, server_side=True, do_handshake_on_connect=False)


def closed_port():
    """A port of 127.0.0.1 where nobody listens, as long as the returned socket is open."""
    reserved = socket.socket()
    reserved.bind(("127.0.0.1", 0))
    return reserved
