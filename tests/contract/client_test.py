#!/usr/bin/python3
"""Whether quorin_poectl takes the answers that the contract has, and takes one that lacks what it
must have for an error, told in words: it is asked for something while a daemon of our own answers
as it should, but for one place in the answer to one method.
usage: client_test.py PROGRAMS
"""
import copy, json, pathlib, socket, subprocess, sys, tempfile, threading

import contract
import generated

SCHEDULE = {
    "scheduleId": 1, "name": "night", "scheduleType": "power_off", "recurrence": "daily",
    "ifNums": [1], "startTime": "22:00", "endTime": "06:00", "allDay": False,
    "executionMode": "simultaneous", "interPortDelaySec": 0, "enabled": True, "status": "active",
}
BEGUN = {
    "runId": 7, "triggered": "manual", "scheduleId": None, "scheduleName": "Manual Restart",
    "scheduleType": "restart", "unit": 1, "executionMode": "simultaneous", "offTimeSec": 0,
    "interPortDelaySec": 0, "resolvedIfNums": [1],
}
RUN = {
    "runId": 7, "triggered": "scheduled", "scheduleId": 1, "scheduleName": "night",
    "scheduleType": "power_off", "unit": 1, "status": "success", "executionMode": "simultaneous",
    "startedAt": "2026-03-03T08:00:00Z", "completedAt": "2026-03-03T09:00:00Z", "portCount": 1,
    "successPortCount": 1, "failedPortCount": 0, "skippedPortCount": 0,
}
DETAIL = {"interPortDelaySec": 0, "errorMessage": None, "allDay": False,
          "portSteps": [{"ifNum": 1, "status": "success", "errorMessage": None}]}
PORT = {"ifNum": 1, "powerMw": 0, "currentMa": 0, "voltageMv": 0, "temperature": 38,
        "adminMode": "enable", "detectionStatus": "searching"}
RESULTS = {
    "schedule.list": {"schedules": [SCHEDULE]},
    "schedule.create": SCHEDULE,
    "schedule.update": SCHEDULE,
    "schedule.delete": None,
    "history.list": {"runs": [RUN], "page": 1, "pageSize": 50, "total": 1},
    "history.detail": {**RUN, **DETAIL},
    "manual.reset": BEGUN,
    "sensors.all": {"ports": [PORT]},
    "bootdelay.get": {"delaySec": 0, "executionMode": "simultaneous", "interPortDelaySec": 0},
    "bootdelay.set": None,
}
COMMANDS = {  # by which each is asked
    "schedule.list": "schedule list --unit 1",
    "schedule.create": "schedule add noon --off 1 --from 12:00 --to 13:00",
    "schedule.update": "schedule disable night --unit 1",
    "schedule.delete": "schedule delete night --unit 1 --yes",
    "history.list": "history --unit 1",
    "history.detail": "history 7 --unit 1",
    "manual.reset": "reset 1 --no-wait --yes",
    "sensors.all": "ports --unit 1",
    "bootdelay.get": "bootdelay 1",
    "bootdelay.set": "bootdelay 1 --delay 5s",
}
# What a client does without: the ports of a schedule that another program took out of the database.
NOT_NEEDED = {"ifNums"}
EXIT_DAEMON_ERROR = 4


def answer_of(method):
    return {"ok": True} if RESULTS[method] is None else {"ok": True, "result": RESULTS[method]}


class Daemon(threading.Thread):
    """Answers on a socket; other units than 1 are not there."""

    def __init__(self, path):
        super().__init__(daemon=True)
        self.answers = {}
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(path)
        self.listener.listen(32)

    def run(self):
        while True:
            connection, _ = self.listener.accept()
            with connection, connection.makefile("rb") as stream:
                answer = self.answer(json.loads(stream.readline()))
                connection.sendall(json.dumps(answer).encode() + b"\n")

    def answer(self, request):
        empty = {"sensors.all": {"ports": []}, "schedule.list": {"schedules": []}}
        method = request["method"]
        if request["params"]["unit"] != 1 and method in empty:
            return {"ok": True, "result": empty[method]}
        return self.answers.get(method, answer_of(method))


def at(document, path):
    for key in path:
        document = document[key]
    return document


def required_paths(document, schema):
    """The paths of all that must be in the document."""
    schema = generated.variants(schema)
    for key, value in document.items():
        keys = [each for each in schema if key in each["properties"]]
        if all(key in each.get("required", []) for each in schema) and key not in NOT_NEEDED:
            yield (key,)
        inner = keys[0]["properties"][key]
        if isinstance(value, dict):
            yield from ((key, *path) for path in required_paths(value, inner))
        elif isinstance(value, list) and value and isinstance(value[0], dict):
            items = contract.whole(inner)["items"]
            yield from ((key, 0, *path) for path in required_paths(value[0], items))


def broken(answer, path):
    """Twice: without what is there, and with something else."""
    lacking, strange = copy.deepcopy(answer), copy.deepcopy(answer)
    del at(lacking, path[:-1])[path[-1]]
    at(strange, path[:-1])[path[-1]] = {"strange": True} if path != ("result",) else 7
    return lacking, strange


def run(program, command):
    done = subprocess.run([*program, *command.split()], capture_output=True, text=True, timeout=60)
    return done.returncode, done.stdout, done.stderr


def check_method(program, daemon, method):
    """How many broken answers were told of; what went wrong."""
    answer, command = answer_of(method), COMMANDS[method]
    fault = contract.fault(method, "answer", answer)
    assert fault is None, f"{method}: {fault}"
    daemon.answers = {}
    status, _, told = run(program, command)
    assert status == 0, f"{command} ends with {status}: {told}"

    schema = contract.answer_schema(method, True)
    paths = [path for path in required_paths(answer, schema) if path != ("ok",)]
    refusal = {"ok": False}  # without its error
    for path, wrong in [(path, each) for path in paths for each in broken(answer, path)] + [
            (("error",), refusal)]:
        daemon.answers = {method: wrong}
        status, printed, told = run(program, command)
        said = status == EXIT_DAEMON_ERROR and path[-1] in told and method in told
        assert said, f"{command} ends with {status} after {wrong}\n{printed}{told}"
    return 2 * len(paths) + 1


def main():
    with tempfile.TemporaryDirectory(prefix="contract-") as folder:
        path = folder + "/socket"
        daemon = Daemon(path)
        daemon.start()
        program = [pathlib.Path(sys.argv[1]) / "quorin_poectl", "--socket", path]
        for method in COMMANDS:
            print(method, check_method(program, daemon, method), "broken answers")


main()
