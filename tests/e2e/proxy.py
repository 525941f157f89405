"""A proxy between a client and a Master's local socket that understands frames, to lose and hold them back."""

import selectors
import socket
import struct
import threading

# The first byte of a frame tells what it is.
HELLO, WELCOME, PING, PONG, GOODBYE, PRODUCTS, MESSAGE, ANSWER = 0x0A, 0x12, 0x1A, 0x22, 0x2A, 0x32, 0x3A, 0x42


class Proxy:
    """Forwards whole frames. `rule(connection, from_client, kind)` says for each what becomes of it: "pass",
    "hold" (this frame and all later ones of that direction wait for release()), or "cut" (the frame is lost and
    the connection closed). `connection` counts from 0."""

    def __init__(self, path, master, rule=lambda connection, from_client, kind: "pass"):
        self.path, self.master, self.rule = str(path), str(master), rule
        self.held = threading.Event()  # something is being held back
        self.cut = threading.Event()
        self._released = False
        self._listener = socket.socket(socket.AF_UNIX)
        self._listener.bind(self.path)
        self._listener.listen()
        self._wake, self._woken = socket.socketpair()
        self._thread = threading.Thread(target=self._run, daemon=True)
        self._thread.start()

    @property
    def address(self):
        return "unix:" + self.path

    def release(self):
        self._released = True
        self._wake.send(b"r")

    def close(self):
        self._wake.send(b"q")
        self._thread.join()
        for s in (self._listener, self._wake, self._woken):
            s.close()

    def _run(self):
        selector = selectors.DefaultSelector()
        selector.register(self._listener, selectors.EVENT_READ)
        selector.register(self._woken, selectors.EVENT_READ)
        self._selector, self._pipes, self._count = selector, {}, 0
        while True:
            for key, _ in selector.select():
                if key.fileobj is self._listener:
                    self._accept()
                elif key.fileobj is self._woken:
                    if b"q" in self._woken.recv(16):
                        for pipe in list(self._pipes.values()):
                            self._end(pipe)
                        selector.close()
                        return
                    for pipe in list(self._pipes.values()):
                        pipe["held"] = False
                        self._forward(pipe)
                elif key.fileobj in self._pipes:
                    self._read(self._pipes[key.fileobj])

    def _accept(self):
        client, _ = self._listener.accept()
        master = socket.socket(socket.AF_UNIX)
        try:
            master.connect(self.master)
        except OSError:
            client.close()
            return
        for source, target, from_client in ((client, master, True), (master, client, False)):
            self._pipes[source] = {"source": source, "target": target, "from_client": from_client,
                                   "connection": self._count, "bytes": b"", "held": False}
            self._selector.register(source, selectors.EVENT_READ)
        self._count += 1

    def _read(self, pipe):
        try:
            data = pipe["source"].recv(1 << 16)
        except OSError:
            data = b""
        if not data:
            self._end(pipe)
            return
        pipe["bytes"] += data
        self._forward(pipe)

    def _forward(self, pipe):
        while not pipe["held"] and len(pipe["bytes"]) >= 4:
            size = 4 + struct.unpack(">I", pipe["bytes"][:4])[0]
            if len(pipe["bytes"]) < size:
                return
            frame = pipe["bytes"][:size]
            fate = "pass" if self._released else self.rule(pipe["connection"], pipe["from_client"], frame[4])
            if fate == "hold":
                pipe["held"] = True
                self.held.set()
                return
            if fate == "cut":
                self._end(pipe)
                self.cut.set()
                return
            pipe["bytes"] = pipe["bytes"][size:]
            try:
                pipe["target"].sendall(frame)
            except OSError:
                self._end(pipe)
                return

    def _end(self, pipe):
        for end in (pipe["source"], pipe["target"]):
            if self._pipes.pop(end, None):
                self._selector.unregister(end)
                end.close()
