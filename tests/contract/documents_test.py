#!/usr/bin/python3
"""Whether what quorin_poectl and switchsim print with --json is what docs/schema says, with no key
that it lacks, and whether an export is what it says of one: days in a lab, told by every command.
usage: documents_test.py PROGRAMS
"""
import json, shlex, subprocess, sys

import contract
from lab import Lab

CLIENT, SWITCHSIM, SITE = map(contract.read, ("quorin_poectl", "switchsim", "site"))
# A line is a command, and before it the document that it prints, as its schema has it in $defs; of
# a reset there is one a line. Each line on stderr is a message.
DAYS = """
status = quorin_poectl status
next = quorin_poectl next
history = quorin_poectl history
scheduleList = quorin_poectl schedule list
scheduleChange = quorin_poectl schedule add night --off 1/0/5-6 --from 22:00 --to 06:00 --twin \
    --weekly mon-fri
scheduleChange = quorin_poectl schedule add off --off 1/0/7 --all-day
scheduleChange = quorin_poectl schedule add early --restart 2/0/1-2 --at 03:30 \
    --dates 2026-03-01..2026-03-31
scheduleChange = quorin_poectl schedule set night --stagger 2s
scheduleChanges = quorin_poectl schedule disable early
scheduleChanges = quorin_poectl schedule enable early
scheduleChange = quorin_poectl schedule rename early morning
scheduleList = quorin_poectl schedule list
scheduleShow = quorin_poectl schedule show night
scheduleCheck = quorin_poectl schedule check
bootDelay = quorin_poectl bootdelay 1
bootDelay = quorin_poectl bootdelay 1 --delay 30s --stagger 5s
next = quorin_poectl next
week = quorin_poectl week
rehearsal = quorin_poectl rehearse night --days 1
resetResult = quorin_poectl reset 1/0/9-10 --no-wait --yes
switchsim lab at +1m
switchsim set 1/0/8 off
switchsim device 1/0/3 60
switchsim lab at "2026-03-03 23:00"
status = quorin_poectl status
ports = quorin_poectl ports
why = quorin_poectl why 1/0/5
why = quorin_poectl why 1/0/8
switchsim fault openapiPoePsePortAdminEnableSet --port 2/0/1 --result -1 --times 2
switchsim lab at "2026-03-04 08:00"
status = quorin_poectl status
history = quorin_poectl history
history = quorin_poectl history --port 1/0/5
history = quorin_poectl history --failed
historyRun = quorin_poectl history 2
why = quorin_poectl why 1/0/5 --at "2026-03-04 01:00"
why = quorin_poectl why 2/0/1
switchsim fault openapiPoePsePortAdminEnableSet --delay-ms 1 --times 9
show = switchsim show
journal = switchsim journal
labShow = switchsim lab show
switchsim lab speed 60
reset = quorin_poectl reset 1/0/9-10 --yes
hold = quorin_poectl off 1/0/11 --until 13:00
switchsim lab speed 0
scheduleChanges = quorin_poectl schedule delete morning --yes
site = quorin_poectl export
quorin_poectl export PLACE/site.json
quorin_poectl schedule delete night off --yes
import = quorin_poectl import PLACE/site.json
rehearsal = switchsim rehearse PLACE/site.json --days 1
"""
EVENTS = {"change": "resetChange", "result": "resetResult"}
ENDLESS = {"journalEntry"}  # of what does not end
seen = set()


def commands(text):
    """Pairs of words and of the document's name."""
    for line in text.replace("\\\n", "").strip().splitlines():
        name, _, command = line.rpartition(" = ")
        yield shlex.split(command), name


def run(lab, words):
    words = [word.replace("PLACE", lab.place) for word in words]
    program = lab.programs / words[0]
    done = subprocess.run([program, *words[1:]], capture_output=True, text=True, timeout=100,
                          env=lab.environment)
    assert done.returncode in (0, 1), f"{words} ends with {done.returncode}: {done.stderr}"
    return done.stdout, done.stderr


def check(schema, name, document, words):
    seen.add(name)
    fault = contract.document_fault(schema, name, document)
    assert fault is None, f"{shlex.join(words)}: {name}: {fault}\n{json.dumps(document)}"


def check_command(lab, words, name):
    schema = CLIENT if words[0] == "quorin_poectl" else SWITCHSIM
    printed, said = run(lab, words + ["--json"])
    for line in said.splitlines():
        check(schema, "message", json.loads(line), words)
    if name == "site":
        check(SITE, "secondEdition", json.loads(printed), words)
    elif name == "reset":
        for line in printed.splitlines():
            check(schema, EVENTS[json.loads(line)["event"]], json.loads(line), words)
    else:
        check(schema, name, json.loads(printed), words)


def main():
    lab = Lab(sys.argv[1], units=2)
    for words, name in commands(DAYS):
        if name:
            check_command(lab, words, name)
        else:
            run(lab, words)
    known = {each["$ref"].rpartition("/")[2] for each in CLIENT["oneOf"] + SWITCHSIM["oneOf"]}
    assert known - seen == ENDLESS, f"never printed: {sorted(known - seen - ENDLESS)}"
    print(f"{len(seen)} kinds of documents")


main()
