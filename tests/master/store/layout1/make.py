#!/usr/bin/env python3
"""Makes the files of this folder anew: a Master's database of layout 1 with every kind of content.

It needs the programs that still write layout 1, in the folder named by BRENIC_BIN, and runs as root, who is an
administrator on the local socket and may give the machine another name. setwright sends part of the requests; the
others are encoded here, because setwright would not send them or because the bytes as sent are to be known. Every
answer is compared with the expected one. Identifiers, keys and times differ from run to run, so the files are
made together.
"""

import hashlib
import json
import os
import pathlib
import shutil
import socket
import sqlite3
import ssl
import subprocess
import tempfile
import uuid

HERE = pathlib.Path(__file__).resolve().parent
SAMPLES = HERE.parents[3] / "samples/products"
LONGEST = 60  # seconds that anything may take
NULL = uuid.UUID(int=0)


# Protobuf, as framework/brenic/wire/brenic.proto numbers the fields.

def varint(value):
    out = bytearray()
    while value > 127:
        out.append(value & 127 | 128)
        value >>= 7
    out.append(value)
    return bytes(out)


def integer(number, value):
    return varint(number << 3) + varint(value)


def block(number, data):
    """A field of bytes, text or a message."""
    data = data.encode() if isinstance(data, str) else data
    return varint(number << 3 | 2) + varint(len(data)) + data


def long_block(number, data):
    """The same with a length of one byte more than it needs."""
    length = bytearray(varint(len(data)))
    length[-1] |= 128
    return varint(number << 3 | 2) + bytes(length) + b"\0" + data


def fields(data):
    """The fields of a message; those of other types than integers and bytes do not occur."""
    at = 0

    def take():
        nonlocal at
        value = shift = 0
        while True:
            byte = data[at]
            at += 1
            value |= (byte & 127) << shift
            shift += 7
            if byte < 128:
                return value

    while at < len(data):
        tag = take()
        value = take()
        if tag & 7 == 2:
            at += value
            yield tag >> 3, data[at - value:at]
        else:
            yield tag >> 3, value


# The contents of an Envelope.

def some(text):
    return block(1, text) if text else b""


def set_options(section, *options):
    return block(16, some(section) + b"".join(
        block(2, some(name) + (block(2, value) if value else b"")) for name, value in options))


def get_options(*names):
    return block(17, b"".join(block(1, name) for name in names))


def set_limits(*limits):
    def zigzag(limit):
        return integer(2, limit * 2 if limit > 0 else -limit * 2 - 1) if limit else b""
    return block(18, b"".join(block(1, block(1, kind.bytes) + zigzag(limit)) for kind, limit in limits))


def set_restrictions(*restrictions):
    return block(19, b"".join(block(1, some(name) + (integer(2, 1) if add else b"")) for name, add in restrictions))


def translation_list(translations):
    def root(platform, text):
        return (integer(1, platform) if platform else b"") + (block(2, text) if text else b"")
    return b"".join(block(1, b"".join(block(1, root(*one)) for one in sorted(roots.items()))) for roots in translations)


def set_translations(*translations):
    return block(20, translation_list(translations))


def install(product, **changes):
    """`changes` are of the fields beside the document, which should be the document's own."""
    document = changes.pop("document", json.dumps(product, ensure_ascii=False))
    shown = {**product, **changes}
    return block(21, block(1, uuid.UUID(shown["id"]).bytes) + block(2, shown["name"]) +
                 b"".join(block(3, alias) for alias in shown.get("aliases", [])) + block(4, document))


def remove(kind):
    return block(22, block(1, kind.bytes))


END_PRODUCTS = block(23, block(1, bytes(32)))
LOG_DUMP = block(24, b"")
SHUTDOWN = block(25, b"")
REBOOT = 1
TURN_OFF = 2


def machine(command, which=NULL):
    return block(26, integer(1, command) + block(2, which.bytes))


def sha256(data):
    return hashlib.sha256(data).digest()


# The products that are not among the samples.

def own_type(number):
    return uuid.UUID(f"3b5e9c20-7a41-4d0e-8f10-{number:012}")


def product(number, name, version="1.0", aliases=(), **more):
    kind = number if isinstance(number, uuid.UUID) else own_type(number)
    return {"id": str(kind), "name": name, "aliases": list(aliases), "version": version, **more}


def sample(name):
    return json.loads((SAMPLES / f"{name}.json").read_text())


LUMEN = uuid.UUID(sample("lumen-sequence")["id"])
RAYMARCH = uuid.UUID(sample("raymarch-still")["id"])
FLUID = uuid.UUID(sample("driftwater-simulation")["id"])
SHELL = uuid.UUID(sample("shell-task")["id"])
REELPRESS = uuid.UUID(sample("reelpress-encoder")["id"])
SHEET = own_type(1)
BAKE = own_type(2)
SKY_DEFAULT = own_type(3)
MESH = own_type(11)
SKY = own_type(12)
TILES = own_type(13)
STRANGE = own_type(99)


class Asked:
    """A request as it was sent, and what came of it."""

    def __init__(self, identity, envelope, outcome, reason, reply):
        self.id, self.envelope = identity, envelope
        self.outcome, self.reason, self.reply = outcome, reason, reply


class Client:
    """An administrator or component that writes its own bytes."""

    def __init__(self, stream, key, kind):
        self.stream, self.key = stream, key
        stream.settimeout(LONGEST)
        self.send(1, integer(1, 1) + block(2, uuid.uuid4().bytes) + integer(3, kind) + block(4, "raw") + integer(5, 1))
        while True:
            number, body = self.receive()
            if number == 7 and any(field == 23 for field, _ in fields(body)):
                return

    def send(self, number, body):
        frame = block(number, body)
        self.stream.sendall(len(frame).to_bytes(4, "big") + frame)

    def read(self, size):
        data = b""
        while len(data) < size:
            part = self.stream.recv(size - len(data))
            assert part, "the Master closed the connection"
            data += part
        return data

    def receive(self):
        return next(fields(self.read(int.from_bytes(self.read(4), "big"))))

    def send_again(self, asked):
        self.send(7, asked.envelope)
        reply = None
        while True:
            number, body = self.receive()
            if number == 3:
                self.send(4, b"")
                continue
            got = dict(fields(body))
            if number == 7 and got.get(2) == asked.id:
                reply = body
            if number == 8 and got[1] == asked.id:
                outcome = ("unknown", "committed", "refused")[got.get(2, 0)]
                # A reason shows the name that it is about, even one that is not UTF-8.
                return Asked(asked.id, asked.envelope, outcome, got.get(3, b"").decode(errors="replace"), reply)

    def ask(self, contents, expected="committed", identity=None, basis=b""):
        """Sends a request and returns what came of it; `expected` is the outcome, or a part of a refusal."""
        identity = identity or uuid.uuid4().bytes
        envelope = block(1, identity) + (block(3, basis) if basis else b"") + contents
        return self.ask_raw(identity, envelope, expected)

    def ask_raw(self, identity, envelope, expected="committed"):
        asked = self.send_again(Asked(identity, envelope, None, None, None))
        if expected == "committed":
            assert asked.outcome == expected, (asked.outcome, asked.reason)
        else:
            assert asked.outcome == "refused" and expected in asked.reason, (asked.outcome, asked.reason)
        return asked

    def close(self):
        self.stream.close()


class Farm:
    """A Master in a temporary folder, which it names only relatively: the path of its socket is recorded."""

    def __init__(self, programs):
        self.programs = programs
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="layout1-"))
        self.data = self.folder / "data"
        self.products = self.folder / "products"
        self.process = None
        self.port = 0
        # The Master's certificate holds the machine's name.
        subprocess.run(["unshare", "-u", "sh", "-c", 'hostname farm && exec "$@"', "sh", programs / "brenic-master",
                        "init", "--data-dir", self.data, "--name", "Old farm"], check=True, stdout=subprocess.DEVNULL)
        for name, role in (("night-admin", "administrator"), ("worker-17", "component")):
            self.master("client", name, "--data-dir", self.data, "--role", role, "--out", self.data / "clients" / name)

    def master(self, *arguments):
        return subprocess.run([self.programs / "brenic-master", *arguments], check=True, stdout=subprocess.PIPE,
                              timeout=LONGEST).stdout

    def database(self):
        return sqlite3.connect(self.data / "master.db")

    def serve(self, config=""):
        (self.folder / "master.conf").write_text(config)
        self.process = subprocess.Popen(
            [self.programs / "brenic-master", "serve", "--data-dir", "data", "--listen", f"127.0.0.1:{self.port}",
             "--socket", "master.sock", "--config", "master.conf", "--products", "products"],
            cwd=self.folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
        ready = self.process.stdout.readline()
        assert ready.startswith("Serving on"), ready
        self.port = int(ready.rsplit(":", 1)[1])

    def ended(self):
        """Returns when the Master has ended by itself."""
        status = self.process.wait(LONGEST)
        self.process.stdout.close()
        self.process = None
        assert status == 0, status

    def stop(self):
        self.process.terminate()
        self.ended()

    def close(self):
        if self.process:
            self.process.kill()
            self.process.wait()
        shutil.rmtree(self.folder)

    def local(self):
        stream = socket.socket(socket.AF_UNIX)
        stream.connect(str(self.folder / "master.sock"))
        return Client(stream, f"uid:{os.geteuid()}", 1)

    def remote(self, name):
        credentials = self.data / "clients" / name
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
        context.load_verify_locations(credentials / "ca.pem")
        context.load_cert_chain(credentials / "client.pem", credentials / "client.key")
        stream = socket.create_connection(("127.0.0.1", self.port))
        database = self.database()
        serial, = database.execute("SELECT serial FROM client WHERE name = ?", [name]).fetchone()
        database.close()
        return Client(context.wrap_socket(stream, server_hostname="127.0.0.1"), serial, 2)

    def setwright(self, *arguments, name="admin", status=0):
        done = subprocess.run(
            [self.programs / "setwright", *map(str, arguments), "-Master", f"127.0.0.1:{self.port}",
             "-LogFolder", "log"],
            cwd=self.folder, env={"HOME": str(self.folder),
                                  "BRENIC_CONFIG": str(self.data / "clients" / name / "brenic.conf")},
            stdin=subprocess.DEVNULL, capture_output=True, timeout=LONGEST)
        assert done.returncode == status, (arguments, done)

    def write(self, name, contents):
        path = self.folder / name
        path.write_text(contents if isinstance(contents, str) else json.dumps(contents, ensure_ascii=False, indent=2))
        return path

    def put_default(self, name, contents):
        self.write(f"products/{name}.json", contents)


SETTINGS = """; The settings of a farm
[Distribution]
MaxJobs = 550
Log.ShipTo =
"a = b" = "say \\"hi\\" \\\\ "
[Restrictions]
NoJobDeletion = yes
NoPoolChange = yes
NoForeignJobs = off
[Limit]
raymarch = 12
lumen = 80
[fluid]
Resolution = 256
"""

SOME_TRANSLATIONS = [
    {0: "P:\\projects\\", 1: "/mnt/projects", 2: "/Volumes/projects"},
    {1: "/mnt/cache", 2: "/Volumes/cache"},
    {0: "", 1: "/mnt/only-linux", 2: ""},
    {0: "\\\\store\\share \"old\" \\\\ 'x'", 1: "/mnt/Größe/夜", 2: ""},
]
MANY_TRANSLATIONS = [
    {0: f"\\\\store\\volume-{i:04}\\shots", 1: f"/mnt/store/volume-{i:04}/shots", 2: f"/Volumes/store/volume-{i:04}"}
    for i in range(800)]
LAST_TRANSLATIONS = [SOME_TRANSLATIONS[0], {0: "T:", 1: "/mnt/textures"}, *SOME_TRANSLATIONS[2:], {}]


def first_run(farm, resend):
    """Ends with a ShutdownMsg. No machine commands are configured."""
    shutil.copytree(SAMPLES, farm.products)
    farm.put_default("contact-sheet", product(1, "Contact Sheet", aliases=["sheet"]))
    farm.put_default("depth-bake", product(2, "Depth Bake", parameters=[{"name": "Samples", "default": 16}]))
    farm.serve()
    local, night, worker = farm.local(), farm.remote("night-admin"), farm.remote("worker-17")

    # What lies before the removal of all customisations has no effect any more.
    local.ask(install(product(MESH, "Mesh Repair", "0.1")))
    local.ask(remove(RAYMARCH))
    local.ask(remove(NULL))

    farm.setwright("-Option", "MaxJobs", "500", "-Option", "Message", "Night rendering begins at 20:00", "-Option",
                   "DefaultIdleTimeout", "30")
    farm.setwright("-Option", "MAXJOBS", "600", "-Option", "Web.Title", "Render farm; „Nachtschicht“ 夜 🌙")
    farm.setwright("-CopyFile", farm.write("settings.ini", SETTINGS))
    farm.setwright("-TypeOption", "raymarch", "Samples", "64")
    farm.setwright("-Limit", "shell", "-1", "-Limit", "fluid", "0")
    farm.setwright("-AddRestriction", "NoWeekendSubmission", "-RemoveRestriction", "NoPoolChange")
    farm.setwright("-SetUserLimit", "lighting", "40")
    farm.setwright("-SetUserLimit", "comp-night", "12", name="night-admin")
    farm.setwright("-SetUserLimit", "previz", "3")
    farm.setwright("-GetUserLimits", "-GetPathTranslations", "-Info")
    farm.setwright("-PathTranslation", "P:\\projects", "/mnt/projects", "/Volumes/projects")
    farm.setwright("-PathTranslation", "", "/mnt/cache", "", name="night-admin")
    farm.setwright("-ImportProduct", farm.write("mesh.json", product(MESH, "Mesh Repair", "1.0", ["mesh", "Netz"])))
    farm.setwright("-DumpLogs")
    farm.setwright("-Reboot", status=1)
    farm.setwright("-Option", "MaxJobs", "1", name="worker-17", status=1)

    # Options.
    written = local.ask(set_options("Distribution", ("Pool.Default", "Main pool"), ("POOL.DEFAULT", "Night pool")))
    resend(local, written)
    local.ask(set_options("distribution", ("pool.default", "Main \"pool\" \\ 2"), ("Größe", "1"), ("GRöße", "2"),
                          ("GRÖßE", "3"), ("Notify.MailFrom", "")))
    local.ask(set_options("Distribution", ("Web.Style", "0123456789abcdef" * (60 * 64))))
    local.ask(set_options("Distribution", ("Long.A", "a" * 40_000), ("Long.B", "b" * 40_000)))
    local.ask(set_options("Distribution", ("Long.A", ""), ("Long.B", "short")))
    local.ask(set_options("Distribution"))
    local.ask(set_options(str(FLUID).upper(), ("Viscosity", "0.5"), ("Resume", "")))
    local.ask(set_options(str(BAKE), ("Samples", "32")))
    resend(local, local.ask(set_options("No such section", ("a", "1")), "m_Section"))
    local.ask(set_options(str(STRANGE), ("a", "1")), "there is no product of the type")
    local.ask(set_options("Distribution", ("DefaultIdleTimeout", "soon")), "whole number of minutes")
    local.ask(set_options("Distribution", ("bad\xff\xfe name".encode("latin-1"), "1")), "not valid UTF-8")
    local.ask(set_options("Distribution", ("two\nlines\0", "1")), "control character")
    local.ask(set_options("Distribution", ("", "1")), "a name is empty")
    local.ask(set_options("Distribution", ("n" * 257, "1")), "257 bytes")
    local.ask(set_options("Distribution", ("Web.Style", "x" * 70_000)), "70000 bytes")

    # Reads; one whose identifier a write has later, which is allowed.
    read = local.ask(get_options("MaxJobs", "missing", "UserLimits"))
    assert read.reply
    assert local.send_again(read).outcome == "committed"
    resend(local, local.ask(set_options("Distribution", ("Web.Port", "8731")), identity=read.id))
    night.ask(get_options())
    local.ask(get_options("bad\xff".encode("latin-1")), "not valid UTF-8")

    # The same request again, its identifier for another one, and the identifier for another client's.
    assert local.send_again(written).outcome == "committed"
    local.ask(set_options("Distribution", ("Pool.Default", "Other")), "already used", identity=written.id)
    resend(night, night.ask(set_options("Distribution", ("Web.Theme", "dark")), identity=written.id))

    # Bytes that are not what protobuf makes of them.
    identity = uuid.uuid4().bytes
    resend(local, local.ask_raw(identity, block(9, "ahead") + block(1, identity) +
                                set_options("Distribution", ("Odd.UnknownField", "in front"))))
    identity = uuid.uuid4().bytes
    resend(night, night.ask_raw(identity, long_block(19, block(1, integer(2, 1) + block(1, "NoNightShift"))) +
                                block(1, identity)))
    identity = uuid.uuid4().bytes
    resend(local, local.ask_raw(identity, set_options("Distribution", ("Odd.First", "1")) + block(1, identity) +
                                set_options("Distribution", ("Odd.Second", "2"))))
    identity = uuid.uuid4().bytes
    resend(local, local.ask_raw(identity, block(18, block(1, integer(2, 1) + block(1, STRANGE.bytes))) +
                                block(1, identity), "there is no product"))

    # Limits and restrictions.
    local.ask(set_limits((LUMEN, 24), (BAKE, 5), (SHELL, 2147483647)))
    resend(night, night.ask(set_limits((SHELL, -1), (FLUID, 0))))
    local.ask(set_limits((LUMEN, 1), (SHELL, -2)), "below -1")
    local.ask(set_limits((NULL, 1)), "there is no product")
    local.ask(set_restrictions(("nojobdeletion", True), ("No Rights \"at all\"", True), ("NoForeignJobs", True)))
    local.ask(set_restrictions(("NoForeignJobs", False), ("never there", False)))
    local.ask(set_restrictions(("", True)), "a name is empty")

    # Writes of a whole value.
    limits = dict(fields(dict(fields(local.ask(get_options("UserLimits")).reply))[16]))
    text = dict(fields(limits[2]))[2]
    assert text, limits
    local.ask(set_options("Distribution", ("UserLimits", text + b" ")), basis=sha256(text))
    local.ask(set_options("Distribution", ("UserLimits", text)), basis=sha256(text + b" "))
    resend(local, local.ask(set_options("Distribution", ("UserLimits", "")), "changed by someone else",
                            basis=sha256(text + b" ")))
    local.ask(set_translations(*SOME_TRANSLATIONS))
    some = sha256(translation_list(SOME_TRANSLATIONS))
    resend(local, local.ask(set_translations(SOME_TRANSLATIONS[1]), basis=some))
    local.ask(set_translations(), "changed by someone else", basis=some)
    night.ask(set_translations())
    local.ask(set_translations(*MANY_TRANSLATIONS))
    local.ask(set_translations(*MANY_TRANSLATIONS), "changed by someone else", basis=some)
    local.ask(set_translations(*LAST_TRANSLATIONS))
    local.ask(set_translations({3: "/elsewhere"}), "no platform 3")
    local.ask(set_translations({1: "/mnt/\xff".encode("latin-1")}), "not valid UTF-8")
    local.ask(block(20, block(1, b"") * 100_001), "100001 translations")

    # Products.
    lumen = sample("lumen-sequence")
    local.ask(install({**lumen, "version": "9.1"}))
    night.ask(install({**lumen, "version": "9.2", "name": "Lumen Sequence (ours)", "site": {"racks": [1, 2.50]}}))
    mesh = product(MESH, "Mesh Repair", "2.0", ["mesh", "Netz", "网格"], note="x" * 2000)
    resend(local, local.ask(install(mesh)))
    local.ask(set_options(str(MESH), ("Tolerance", "0.01"), ("Größe", "夜")))
    local.ask(install(product(SKY, "Sky Composer", aliases=["sky"])))
    local.ask(install(product(TILES, "Tile Joiner")))
    local.ask(set_options(str(TILES), ("Columns", "4"), ("Rows", "")))
    local.ask(set_limits((TILES, 7)))
    farm.setwright("-RemoveProduct", "tile joiner")
    local.ask(install({**sample("shell-task"), "version": "2.0"}))
    local.ask(remove(SHELL))
    night.ask(remove(REELPRESS))
    local.ask(remove(BAKE))
    local.ask(remove(STRANGE), "there is no product")
    local.ask(install(product(STRANGE, "Mesh Repair")), "already has its name")
    local.ask(install(product(STRANGE, "Strange", aliases=["FLUID"])), "already has its name")
    local.ask(install(product(STRANGE, "Strange"), name="Other"), "name is not the one")
    local.ask(install(product(STRANGE, "Strange"), document="{"), "product: ")
    local.ask(install(product(STRANGE, "Strange"), document=b'{"id": "\xff"}'), "product: ")
    local.ask(install(product(STRANGE, "Mesh Repair", note="x" * 70_000)), "already has its name")

    # Operations, and what is no request.
    local.ask(machine(REBOOT), "no RebootCommand")
    local.ask(machine(7), "no machine command 7")
    local.ask(machine(TURN_OFF, STRANGE), "only reboot or shut down its own")
    resend(local, local.ask(LOG_DUMP))
    local.ask(END_PRODUCTS, "may not send EndProductsMsg")
    resend(local, local.ask(block(40, "from a newer client"), "does not know this kind"))
    local.ask(b"", "does not know this kind")
    local.ask(block(40, "x" * 70_000), "does not know this kind")

    # A component may send nothing, of whatever class.
    asked = [worker.ask(contents, "is a component") for contents in (
        set_options("Distribution", ("MaxJobs", "1")), get_options("MaxJobs"), set_limits((LUMEN, 1)),
        set_restrictions(("NoJobs", True)), set_translations(SOME_TRANSLATIONS[0]), install(mesh), remove(NULL),
        END_PRODUCTS, LOG_DUMP, SHUTDOWN, machine(REBOOT), block(40, "unknown"),
        set_options("Distribution", ("Web.Style", "x" * 8000)))]
    resend(worker, asked[0])

    resend(local, local.ask(SHUTDOWN))
    for client in (local, night, worker):
        client.close()
    farm.ended()


def second_run(farm, asked):
    """The default products are others; the machine can be rebooted. Ends by setwright."""
    (farm.products / "depth-bake.json").unlink()
    farm.put_default("contact-sheet", product(1, "Contact Sheet", "1.1", ["sheet", "contact"]))
    farm.put_default("sky", product(3, "Sky composer", "5.0"))
    farm.serve("[Master]\nRebootCommand = /bin/true\n")
    local = farm.local()
    reboot = local.ask(machine(REBOOT))
    asked(local, reboot)
    assert local.send_again(reboot).outcome == "committed"
    local.ask(machine(TURN_OFF), "no ShutdownCommand")
    local.ask(set_options(str(SKY_DEFAULT), ("Clouds", "yes")), "there is no product")
    local.ask(set_options(str(SHEET), ("Columns", "6")))
    local.close()
    farm.setwright("-SetUserLimit", "lighting", "45", "-Option", "MaxJobs", "700")
    farm.setwright("-SuperExit", name="night-admin")
    farm.ended()


def third_run(farm, sent):
    """Everything in resend.json is sent again and recognised; returns how it is answered then."""
    farm.serve()
    clients = {client.key: client for client in (farm.local(), farm.remote("night-admin"), farm.remote("worker-17"))}
    database = farm.database()

    def count():
        return database.execute("SELECT count(*) FROM audit").fetchone()[0]

    before, answers = count(), []
    for key, asked in sent:
        again = clients[key].send_again(asked)
        class_name, = database.execute("SELECT class FROM audit WHERE client_key = ? AND message_id = ? "
                                       "AND result <> 'answered'", [key, asked.id]).fetchone()
        if class_name in ("MachineMsg", "ShutdownMsg") and asked.outcome == "committed":
            assert again.outcome == "unknown", again.outcome
        else:
            assert (again.outcome, again.reason) == (asked.outcome, asked.reason)
        answers.append((again.outcome, again.reason))
    assert count() == before
    database.close()
    local = next(iter(clients.values()))
    local.ask(set_options("Distribution", ("Message", "Welcome back")))
    for client in clients.values():
        client.close()
    farm.stop()
    return answers


def resend_json(database, sent, answers):
    """The requests with what is recorded of them, and how they are answered when a later run gets them again."""
    records = []
    for (key, asked), (answer, answer_reason) in zip(sent, answers, strict=True):
        sequence, class_name, digest, result, reason = database.execute(
            "SELECT sequence, class, digest, result, reason FROM audit WHERE client_key = ? AND message_id = ? "
            "AND result <> 'answered'", [key, asked.id]).fetchone()
        assert (result, reason) == (asked.outcome, asked.reason)
        records.append({"sequence": sequence, "client_key": key, "message_id": str(uuid.UUID(bytes=asked.id)),
                        "class": class_name, "result": result, "reason": reason, "answer": answer,
                        "answer_reason": answer_reason, "digest": digest.hex(),
                        "digest_of_sent": sha256(asked.envelope).hex(), "envelope": asked.envelope.hex()})
    assert sum(record["digest"] != record["digest_of_sent"] for record in records) == 4
    return "[\n" + ",\n".join(json.dumps(record, ensure_ascii=False) for record in records) + "\n]\n"


def keep(farm, sent, answers):
    """Writes the files, from a copy of the database as a test will use it."""
    database = farm.database()
    assert database.execute("PRAGMA user_version").fetchone() == (1,)
    assert database.execute("PRAGMA journal_mode").fetchone() == ("wal",)
    database.execute("PRAGMA wal_checkpoint(TRUNCATE)")
    (HERE / "resend.json").write_text(resend_json(database, sent, answers))
    database.close()
    assert [file.name for file in farm.data.glob("master.db*")] == ["master.db"]
    shutil.copyfile(farm.data / "master.db", HERE / "master.db")
    copy = farm.folder / "copy"
    copy.mkdir(mode=0o700)
    shutil.copyfile(HERE / "master.db", copy / "master.db")
    (copy / "master.db").chmod(0o600)
    for name, *arguments in (("state.json", "state", "--json"), ("state.ini", "state", "--ini"), ("state.txt", "state"),
                             ("audit.jsonl", "audit", "--json"), ("audit.txt", "audit")):
        (HERE / name).write_bytes(farm.master(*arguments, "--data-dir", copy))
    assert (copy / "master.db").read_bytes() == (HERE / "master.db").read_bytes()


def main():
    farm = Farm(pathlib.Path(os.environ["BRENIC_BIN"]).resolve())
    sent = []

    def resend(client, asked):
        sent.append((client.key, asked))

    try:
        first_run(farm, resend)
        second_run(farm, resend)
        keep(farm, sent, third_run(farm, sent))
    finally:
        farm.close()


if __name__ == "__main__":
    main()
