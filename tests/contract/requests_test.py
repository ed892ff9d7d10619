#!/usr/bin/python3
"""Whether the daemon takes what the contract allows, and does with the rest what docs/protocol.md
says: requests that are made from the schema, and such with one place broken, are sent to a daemon
in a lab. Every one must get an answer of the contract with a code that its method may have.
usage: requests_test.py PROGRAMS [REQUESTS [SEED]]   (REQUESTS of each method and kind)
"""
import json, math, sys

from hypothesis import HealthCheck, Phase, given, seed, settings

import contract
import generated
from lab import Lab

OK, GENERAL, INVALID, EXISTS, NOT_FOUND, UNSUPPORTED = 0, 10000, 10003, 10011, 10023, 17002
# Of requests that the schema allows. A reset may name ports that the unit has not, or be the 257th;
# an update may be of another type, or take a name that is taken.
CODES = {
    "schedule.list": {OK},
    "schedule.create": {OK, EXISTS},
    "schedule.get": {OK, NOT_FOUND},
    "schedule.update": {OK, GENERAL, INVALID, NOT_FOUND},
    "schedule.delete": {OK, NOT_FOUND},
    "history.list": {OK},
    "history.detail": {OK, NOT_FOUND},
    "manual.reset": {OK, GENERAL, INVALID},
    "sensors.all": {OK},
    "bootdelay.get": {OK},
    "bootdelay.set": {OK},
}
REQUESTS = 40


# --- What the daemon makes of a request, as docs/protocol.md tells it

# Keys whose value counts as absent when it is of another type, and what stands for any value of the
# right type where the daemon takes them all (but for empty texts, which are absent).
ANY = {
    "schedule": {
        "startDate": "2026-01-01", "endDate": "2026-01-01", "startTime": "00:00",
        "endTime": "00:00", "restartTime": "00:00", "interPortDelaySec": 0, "recurrenceDays": [],
        "offTimeSec": None, "executionMode": None, "allDay": None, "enabled": None,
    },
    "request": {"ifNums": None, "offTimeSec": 0, "interPortDelaySec": 0,
                "executionMode": "simultaneous"},
    "history.list": {"page": 1, "pageSize": 1},
}


ID_BITS = 54  # beyond, no id of the schema is; for the daemon it is one that nothing has


def whole_number(number, bits):
    """Cut to an integer of so many bits."""
    limit = 2 ** (bits - 1)
    return max(-limit, min(limit - 1, math.trunc(number)))


def read_value(key, value):
    if generated.is_number(value):
        return whole_number(value, ID_BITS if key.endswith("Id") else 32)
    if isinstance(value, list):
        return [whole_number(each, 32) for each in value if generated.is_number(each)]
    if key == "name" and isinstance(value, str):
        return value.partition("\0")[0][:63]
    return value.partition("\0")[0] if isinstance(value, str) else value


def read_members(sent, schema, lenient):
    """The members that the daemon looks at, each as it understands it."""
    read = {}
    for key in schema["properties"].keys() & sent.keys():
        kind = generated.variants(schema["properties"][key])[0].get("type")
        fits = kind is None or kind in kinds_of(sent[key])
        value = read_value(key, sent[key])
        if key not in lenient:
            read[key] = value
        elif fits and lenient[key] is None:
            read[key] = value
        elif fits and value != "":
            read[key] = lenient[key]
    return read


def kinds_of(value):
    if generated.is_number(value):
        return {"integer"}
    return {{bool: "boolean", str: "string", list: "array", dict: "object"}.get(type(value))}


def repeats(schedule):
    """Whether a port or a day is there twice."""
    lists = [read_value(key, schedule.get(key)) for key in ("ifNums", "recurrenceDays")]
    return any(isinstance(each, list) and len(set(each)) < len(each) for each in lists)


def read_request(method, params):
    """The params as the daemon understands them, for the schema to judge."""
    schema = contract.whole(contract.METHODS[method]["properties"]["request"])
    schema = contract.whole(schema["properties"]["params"])
    read = read_members(params, schema, ANY.get(method, {}))
    if "schedule" in read and isinstance(read["schedule"], dict):
        read["schedule"] = read_schedule(read["schedule"])
    if "request" in read:
        reset = read["request"] if isinstance(read["request"], dict) else {}
        read["request"] = read_members(reset, contract.SOCKET["$defs"]["reset"], ANY["request"])
        read["request"].pop("ifNums", None)  # a reset of none, or of strangers, has its own codes
    return read


def read_schedule(sent):
    read = read_members(sent, contract.SOCKET["$defs"]["schedule"], ANY["schedule"])
    if isinstance(read.get("ifNums"), list):
        read["ifNums"] = [1] if read["ifNums"] else []
    if read.get("scheduleType") != "restart" and "offTimeSec" in read:
        read["offTimeSec"] = 0  # a window has none
    return read


def codes_of(request):
    """Which codes a request may get."""
    method, params = request.get("method"), request.get("params")
    if not isinstance(method, str) or method not in contract.METHODS:
        return {UNSUPPORTED}
    if not isinstance(params, dict):
        return {INVALID}
    read = {"method": method, "params": read_request(method, params)}
    if contract.fault(method, "request", read):
        return {INVALID}
    if method == "schedule.create" and repeats(params["schedule"]):
        return {GENERAL, EXISTS}
    return CODES[method]


# --- The tests

def check(lab, request, codes):
    line = lab.answer(request)
    told = f"{json.dumps(request)}\nanswered {line}"
    assert line.endswith(b"\n"), told
    answer = json.loads(line)
    fault = contract.fault(request.get("method"), "answer", answer)
    assert fault is None, f"{told}\n{fault}"
    assert answer.get("error", OK) in codes, f"{told}\nnot one of {sorted(codes)}"
    return answer.get("error", OK)


def run(lab, documents, codes_of_request, count, number):
    """Sends so many of the requests. The codes that came."""
    seen = set()

    @seed(number)
    @settings(max_examples=count, deadline=None, database=None, print_blob=False,
              suppress_health_check=list(HealthCheck), phases=[Phase.generate, Phase.shrink])
    @given(documents)
    def send(request):
        seen.add(check(lab, request, codes_of_request(request)))

    send()
    return seen


def main():
    count = int(sys.argv[2]) if len(sys.argv) > 2 else REQUESTS
    number = int(sys.argv[3]) if len(sys.argv) > 3 else 1
    lab = Lab(sys.argv[1])
    for port in range(1, 6):  # so that there are runs to show
        reset = {"unit": 1, "request": {"ifNums": [port]}}
        check(lab, {"method": "manual.reset", "params": reset}, {OK})
    for method, exchange in contract.METHODS.items():
        allowed = generated.documents(exchange["properties"]["request"])
        taken = run(lab, allowed, lambda request: CODES[request["method"]], count, number)
        assert OK in taken, f"no request of {method} was taken"
        refused = run(lab, generated.broken(allowed), codes_of, 2 * count, number)
        assert INVALID in refused, f"no broken request of {method} was refused"
        print(method, "allowed:", *sorted(taken), "broken:", *sorted(refused))


main()
