"""What happens between the commands of docs/operations.md, so that each finds the farm of which the document speaks."""

import json
import re
import signal
import subprocess
import time

HOSTS = {"127.0.0.2": "master.farm.example", "127.0.0.3": "render2.example"}
DATA = "/var/lib/brenic"
PLACES = f"--data-dir {DATA}"
LAYOUT3 = "/root/brenic/tests/master/store/layout3/master.db"


class Failure(Exception):
    pass


def serve(machine, command):
    """Until it has said what the document shows; then it is asked to end."""
    process = subprocess.Popen(machine.command(command.user, "exec " + command.text), stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT, text=True)
    lines = []
    try:
        for line in process.stdout:
            lines.append(line)
            if len(lines) >= len(command.output):
                break
        machine.must("root", "pkill -TERM -u brenic -x brenic-master")
        status = process.wait(30)
    finally:
        process.kill()
    return status, "".join(lines)


def administrator(machine, name, credentials):
    machine.must("root", f"id {name} > /dev/null 2>&1 || useradd --create-home {name}")
    machine.must("root", f"rm -rf /home/{name}/.config/brenic; install -d -o {name} /home/{name}/.config && "
                         f"cp -r {credentials} /home/{name}/.config/brenic && chown -R {name} /home/{name}/.config/brenic")


def first_administrator(machine, document):
    administrator(machine, "admin", f"{DATA}/clients/admin")


def alice(machine, document):
    machine.must("root", f"brenic-master client alice --role administrator {PLACES} --out /root/credentials/alice.old")
    assert "node300" in machine.must("root", f"brenic-master clients {PLACES}")


def safe(machine, document):
    machine.must("root", "mkdir -p /media/safe")


def backups(machine, document):
    machine.must("root", "install -d -o brenic -g brenic -m 0700 /backup")  # as the document says below


def nightly(machine, document):
    """By cron itself, but not at night."""
    machine.must("brenic", "mv /backup/master-*.db /backup/master-2026-01-31.db")
    line = document.blocks("cron")[0].replace("10 3 * * *", "* * * * *")
    assert "* * * * * brenic" in line
    machine.write("/etc/cron.d/brenic-backup", line)
    wait(lambda: machine.must("root", "ls /backup | wc -l").strip() == "2", 150, "cron made no backup")
    machine.must("root", "rm /etc/cron.d/brenic-backup && "
                         "find /backup -name 'master-*.db' -newer /backup/master-2026-01-31.db -delete")
    machine.must("brenic", f"brenic-master backup /tmp/b.db {PLACES} && mv -f /tmp/b.db /backup/master-2026-01-31.db")
    machine.must("root", f"brenic-master check {PLACES}")


def lose_the_folder(machine, document):
    machine.must("root", f"cp {DATA}/revoked /backup/ && chown brenic /backup/revoked")
    empty_folder(machine, document)


def empty_folder(machine, document):
    machine.must("root", f"systemctl stop brenic-master; systemctl reset-failed; rm -rf {DATA}; "
                         f"install -d -o brenic -g brenic -m 0700 {DATA}")


def restored_and_accepted(machine, document):
    """What the commands above left: a Master that was told what is valid, and serves."""
    moved(machine)
    machine.must("brenic", f"brenic-master restore --accept {PLACES}")
    machine.must("root", "systemctl start brenic-master")
    machine.must("admin", "setwright -Info")
    empty_folder(machine, document)


def without_authority(machine, document):
    machine.must("root", "systemctl start brenic-master")
    machine.must("admin", "setwright -Info")
    machine.must("brenic", f"rm -f /backup/bare.db && brenic-master backup --without-keys /backup/bare.db {PLACES}")
    machine.must("root", f"brenic-master authority --export /media/safe/new.pem {PLACES} && "
                         "mv /media/safe/new.pem /media/safe/authority.pem")
    empty_folder(machine, document)
    machine.must("brenic", f"brenic-master restore /backup/bare.db --revoked /backup/revoked {PLACES}")


def farm_with_history(machine, document):
    """A new one, whose changes have the numbers that the document has."""
    machine.must("root", "systemctl start brenic-master && systemctl is-active brenic-master")  # the one restored above
    empty_folder(machine, document)
    machine.must("brenic", f"brenic-master init {PLACES} --name Farm --host master.farm.example")
    machine.must("root", "systemctl start brenic-master")
    first_administrator(machine, document)
    machine.must("root", f"rm -rf /root/bob && brenic-master client bob --role administrator {PLACES} --out /root/bob")
    administrator(machine, "bob", "/root/bob")
    machine.must("admin", "setwright -Option MaxJobs 100 -PathTranslation P: /mnt/p /Volumes/p && "
                          "setwright -SetUserLimit ann 5")
    while newest(machine) < 6:
        machine.must("admin", f"setwright -Option Pool {newest(machine)}")
    machine.must("admin", "setwright -Option MaxJobs 200")
    machine.must("bob", "setwright -RemovePathTranslation P:")
    machine.must("admin", "setwright -SetUserLimit ann 50")


def newest(machine):
    return json.loads(machine.must("root", f"brenic-master audit --json {PLACES} | tail -n 1"))["sequence"]


def changed_since(machine, document):
    machine.must("bob", "setwright -Option MaxJobs 300")


def options_file(machine, document):
    empty_folder(machine, document)
    machine.must("brenic", f"brenic-master init {PLACES} --name Farm --host master.farm.example")
    machine.must("root", "systemctl start brenic-master")
    first_administrator(machine, document)
    machine.write("/root/brenic/site.ini", "\n".join(document.output_of("cat site.ini")) + "\n")


def doubtful_settings(machine, document):
    machine.must("admin", "setwright -PathTranslation X: /mnt/x '' -PathTranslation X: /mnt/x ''")
    machine.must("admin", "setwright -Option UserLimits 'jimbob=5;bob=3;'")


def configuration(machine, document):
    machine.must("root", "systemctl stop brenic-master")
    text = document.output_of("cat /etc/brenic/brenic-master.conf")
    machine.write("/etc/brenic/brenic-master.conf", "\n".join(text) + "\n")


def addresses(machine, document):
    machine.must("root", "ip address add 192.0.2.10/32 dev lo && ip address add 2001:db8::10/128 dev lo")


def served_again(machine, document):
    """With its log where logrotate looks for it, as the document has it."""
    file = "/etc/brenic/brenic-master.conf"
    machine.must("root", f"echo 'LogFolder = /var/log/brenic' >> {file} && systemctl start brenic-master")
    machine.write("/etc/logrotate.d/brenic", document.blocks("logrotate")[0])
    machine.must("root", "logrotate --force /etc/logrotate.d/brenic")
    wait(lambda: "brenic-master.log.1" in machine.must("root", "ls /var/log/brenic"), 10, "logrotate moved nothing")
    wait(lambda: machine.must("root", "cat /var/log/brenic/brenic-master.log"), 10, "nothing is in the new log")
    machine.must("root", "journalctl -u brenic-master -p warning")


def reloaded(machine, document):
    wait(lambda: "read anew" in machine.run("root", "systemctl status brenic-master")[1], 10, "nothing was read anew")


def earlier_layout(machine, document):
    """A Master of the earlier layout, as an upgrade finds it; and there and back as its line says."""
    machine.must("root", f"systemctl stop brenic-master; systemctl reset-failed; rm -rf {DATA}/* && "
                         f"install -o brenic -g brenic -m 0600 {LAYOUT3} {DATA}/master.db && systemctl start brenic-master")
    (line,) = [line for line in machine.must("root", "journalctl -o cat -u brenic-master").splitlines()
               if "was brought from layout 3" in line]
    if [line] != [block.strip() for block in document.blocks("text") if "was brought" in block]:
        raise Failure(f"the document has another line than {line}")
    way_back = re.search(r"run: (.*)", line)[1]
    machine.must("root", f"systemctl stop brenic-master && {way_back} && chown brenic {DATA}/master.db")


def moved(machine):
    """The Master has another name since its host was changed."""
    machine.must("admin", "sed -i 's/^Master.*/Master = render2.example:8730/' ~/.config/brenic/brenic.conf")


def wait(condition, seconds, what):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise Failure(what)
        time.sleep(0.5)


RESTORE = "brenic-master restore /backup/master-2026-01-31.db"

# Before which command what happens, in the document's order.
BEFORE = [
    ("setwright -Info", first_administrator),
    (f"brenic-master client alice --renew --role component {PLACES} --out /root/credentials/alice", alice),
    (f"brenic-master authority --export /media/safe/authority.pem --forget {PLACES}", safe),
    (f"brenic-master backup /backup/master-$(date +%F).db {PLACES}", backups),
    ("brenic-master check /backup/master-2026-01-31.db", nightly),
    (f"{RESTORE} --revoked /backup/revoked {PLACES}", lose_the_folder),
    (f"{RESTORE} {PLACES}", empty_folder),
    (f"{RESTORE} --revoked /backup/revoked --host render2.example {PLACES}", restored_and_accepted),
    (f"brenic-master authority --import /media/safe/authority.pem {PLACES}", without_authority),
    (f"brenic-master history {PLACES} --limit 3", farm_with_history),
    (f"brenic-master revert {PLACES} 7", changed_since),
    ("cat site.ini", options_file),
    (f"brenic-master lint {PLACES}", doubtful_settings),
    ("cat /etc/brenic/brenic-master.conf", configuration),
    ("brenic-master serve --config /etc/brenic/brenic-master.conf", addresses),
    ("systemctl reload brenic-master", served_again),
    ("systemctl status brenic-master | grep Status", reloaded),
    ("systemctl restart brenic-master", earlier_layout),
]

STATUS = {
    f"brenic-master revert {PLACES} 7": 1,
    f"brenic-master plan site.ini {PLACES}": 2,
    f"brenic-master lint {PLACES}": 2,
}

SAYS_MORE = {f"{RESTORE} {PLACES}", f"{RESTORE} --revoked /backup/revoked {PLACES}"}
