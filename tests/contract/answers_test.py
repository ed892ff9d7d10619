#!/usr/bin/python3
"""Whether every answer that other tests saw is one of the contract's: their exchanges, as
tests/support/record_exchanges.cpp wrote them, are read and removed. Of answers that differ only in
numbers, with as many digits, the first stands for all.
usage: answers_test.py FOLDER
"""
import json, pathlib, re, sys

import contract


def exchanges(file):
    """Pairs of a request and an answer, as bytes."""
    with file.open("rb") as recorded:
        while sizes := recorded.readline().split():
            yield tuple(recorded.read(int(size)) for size in sizes)


def method_of(request):
    """None for what is no request of a method."""
    try:
        document = json.loads(request.partition(b"\n")[0].partition(b"\0")[0])
    except (ValueError, RecursionError):
        return None
    members = document.items() if isinstance(document, dict) else []
    named = [value for key, value in members if key.lower() == "method"]
    return named[0] if named and named[0] in contract.METHODS else None


def shape_of(answer):
    """The answer with each number above 0 as long as it was."""
    return re.sub(rb"(?<=[:,\[])[1-9]\d*(?=[,\]}])", lambda number: b"%d" % len(number[0]), answer)


def fault_of(method, answer):
    try:
        return contract.fault(method, "answer", json.loads(answer))
    except ValueError as error:
        return f"no JSON: {error}"


def main():
    files = sorted(pathlib.Path(sys.argv[1]).iterdir())
    try:
        judge(files)
    finally:
        for file in files:
            file.unlink()


def judge(files):
    seen, methods, faults = set(), set(), []
    for file in files:
        for request, answer in exchanges(file):
            method = method_of(request)
            shape = method, shape_of(answer)
            if shape not in seen:
                seen.add(shape)
                fault = fault_of(method, answer)
                faults += [f"{file.name}: {method}: {fault}\n  {answer}"] if fault else []
                methods |= {method} if answer.startswith(b'{"ok":true') else set()
    for fault in faults[:20]:
        print(fault)
    missing = set(contract.METHODS) - methods
    print(f"{len(seen)} kinds of answers in {len(files)} tests, {len(faults)} not as the schema has them"
          + (f"; none of {', '.join(sorted(missing))}" if missing else ""))
    sys.exit(1 if faults or missing else 0)


main()
