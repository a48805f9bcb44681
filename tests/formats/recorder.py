"""Stands between the plug-in and a server and keeps the bytes of every exchange."""

import socket
import ssl
import threading

WAIT_SECONDS = 180


class Exchange:
    """One connection: what the plug-in sent, and what it was answered."""

    def __init__(self):
        self.request = b""
        self.answer = b""

    @property
    def line(self):
        """Method and path."""
        method, path, _ = self.request.split(b"\r\n", 1)[0].decode().split(" ")
        return method, path

    @property
    def status(self):
        return int(self.answer.split(b" ", 2)[1])


def head_of(message):
    return message.split(b"\r\n\r\n", 1)[0].decode()


def body_of(message):
    return message.split(b"\r\n\r\n", 1)[1]


def headers_of(message):
    """Names in small letters; the plug-in puts no blank behind the colon of its own headers."""
    lines = head_of(message).split("\r\n")[1:]
    return {name.lower(): value.strip() for name, value in (line.split(":", 1) for line in lines)}


class Recorder:
    """Listens on a port of its own, over TLS when a context is given for each side."""

    def __init__(self, port, server_tls=None, client_tls=None):
        self.target = port
        self.server_tls, self.client_tls = server_tls, client_tls
        self.exchanges = []
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.thread = threading.Thread(target=self.serve)
        self.thread.start()

    def close(self):
        # Wakes the accept, which closing alone does not.
        self.listener.shutdown(socket.SHUT_RDWR)
        self.thread.join(WAIT_SECONDS)
        self.listener.close()

    def serve(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            # One after the other: the plug-in has one request under way at a time here.
            with connection:
                self.relay(connection)

    def relay(self, plug_in):
        plug_in.settimeout(WAIT_SECONDS)
        if self.server_tls:
            plug_in = self.server_tls.wrap_socket(plug_in, server_side=True)
        with plug_in, socket.create_connection(("127.0.0.1", self.target), WAIT_SECONDS) as plain:
            server = self.client_tls.wrap_socket(plain) if self.client_tls else plain
            exchange = Exchange()
            self.exchanges.append(exchange)
            exchange.request = whole_message(plug_in, server.sendall)
            exchange.answer = whole_message(server, plug_in.sendall)
            plug_in.recv(1)  # the plug-in closes when it has the answer
            if self.server_tls:
                server.close()


def whole_message(source, forward):
    """A head and the body whose length it tells."""
    message = b""
    while not is_whole(message):
        block = source.recv(65536)
        if not block:
            break
        message += block
        forward(block)
    return message


def is_whole(message):
    if b"\r\n\r\n" not in message:
        return False
    length = int(headers_of(message).get("content-length", "0"))
    return len(body_of(message)) >= length


def server_context(certificate, key):
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(certificate, key)
    return context


def trusting_context():
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
    context.check_hostname = False
    context.verify_mode = ssl.CERT_NONE
    return context
