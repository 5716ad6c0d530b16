#!/usr/bin/python3
"""Holds every answer of "tavohactl --json" against the schema, and every command against the manual.

answers.py SIMCLUSTER VIRTUAL-TIME-LIBRARY SOURCES
"""
import json
import os
import subprocess
import sys
import tempfile

import jsonschema

simcluster, virtual_time, sources = sys.argv[1:]
wrong = []

# In order; what the commands leave behind is what the next ones meet.
COMMANDS = """
cluster init --full --yes | node online local | node online remote | wait | status | role remote
node exists remote | node failed-op local | rule list | rule add remote serv-fail | rule list
rule remove serv-fail | rule clear remote | resource where DRBD | resource where IP local
resource configured IP | ip status | ip unmanage | ip manage | ip restart | cluster clean
node standby remote | watch | binding | peer send SYNCMD01 | peer log event | peer smart-test /dev/sda
peer trim /volume1 | peer sync-sys-part | sync status | sync events | sync abandoned | sync check
sync password 12 | space expanding /volume1 | space fake-role primary | conf get host0
conf set ha_gateway 192.0.2.1 | conf list | conf keys | conf export | conf import /tmp/record --yes
interface list | interface show | interface set ovs_eth0 192.0.2.100 255.255.255.0
interface disable ovs_eth0 | mac 0 | hostname nas | hostname | serial | model | conflict 192.0.2.10
cluster remove-peer --yes | cluster reset --full --yes | conf forget-peer --yes | conf reset --yes
stop --yes
""".replace("\n", "|").split("|")


def run(arguments, **options):
    return subprocess.run(arguments, text=True, stdout=subprocess.PIPE, **options).stdout


def on_node(*command):
    return run([simcluster, "run", "nas-a", "--", "env", "ASAN_OPTIONS=verify_asan_link_order=0",
                "LD_PRELOAD=" + virtual_time, *command])


def leaves(*group):
    help_text = on_node("tavohactl", *group, "--help")
    if "Examples:\n  tavohactl " not in help_text:
        wrong.append(f"{group}: its help teaches by no example")
    if "SUBCOMMAND" not in help_text:
        return {" ".join(group)}
    words = on_node("tavohactl", "--complete", *group, "").split()
    return {leaf for word in words for leaf in leaves(*group, word)}


def main():
    with open(sources + "/tools/tavohactl/answers.schema.json") as file:
        schema = json.load(file)
    with open(sources + "/tools/tavohactl/tavohactl.8") as file:
        manual = file.read()
    jsonschema.Draft202012Validator.check_schema(schema)

    def check(name, answer):
        try:
            jsonschema.validate(json.loads(answer), {**schema, "$ref": "#/$defs/" + name})
        except (ValueError, jsonschema.ValidationError) as error:
            wrong.append(f"{name}: {answer}: {error}")

    commands = leaves()
    for command in commands:
        if f".It Cm {command}\n" not in manual and f".It Cm {command} " not in manual:
            wrong.append(f"{command}: not in the manual")
    met = set()
    on_node("sh", "-c", "mkdir -p /usr/tavo/tavoha/etc/confsync; tavohactl conf export >/tmp/record")
    for command in filter(None, map(str.strip, COMMANDS)):
        words = command.split()
        name = next(n for n in (" ".join(words[:2]), words[0]) if n in commands)
        met.add(name)
        if name == "watch":
            for line in on_node("timeout", "1", "tavohactl", *words, "--json").splitlines():
                check(name, line)
        else:
            check(name, on_node("tavohactl", *words, "--json"))
    if commands != met:
        wrong.append(f"never asked, or not there any more: {commands ^ met}")
    check("error", on_node("tavohactl", "conf", "get", "ha_unique", "--json"))


with tempfile.TemporaryDirectory() as scratch:
    os.environ["SIMCLUSTER_STATE"] = scratch + "/cluster"
    run([simcluster, "start"], check=True)
    try:
        main()
    finally:
        run([simcluster, "stop"])
sys.exit("\n".join(wrong) or 0)
