"""Frames as they go over the wire, written and read by hand."""


def framed(number, body):
    length = len(body)
    size = bytes([length]) if length < 128 else bytes([length & 127 | 128, length >> 7])
    frame = bytes([number << 3 | 2]) + size + body
    return len(frame).to_bytes(4, "big") + frame


def answer(stream):
    """The outcome and reason of the next Answer; other frames are passed over."""
    def exactly(size):
        data = b""
        while len(data) < size:
            part = stream.recv(size - len(data))
            assert part, "the Master closed the connection"
            data += part
        return data

    while True:
        frame = exactly(int.from_bytes(exactly(4), "big"))
        if frame[:1] == b"\x42":
            got = dict(fields(next(fields(frame))[1]))
            return ("unknown", "committed", "refused")[got.get(2, 0)], got.get(3, b"").decode(errors="replace")


def fields(data):
    """Number and value of the fields of an encoded message."""
    at = 0

    def number():
        nonlocal at
        value = shift = 0
        while True:
            at += 1
            value |= (data[at - 1] & 127) << shift
            shift += 7
            if data[at - 1] < 128:
                return value

    while at < len(data):
        tag = number()
        value = number()
        if tag & 7 == 2:
            at += value
            yield tag >> 3, data[at - value:at]
        else:
            yield tag >> 3, value
