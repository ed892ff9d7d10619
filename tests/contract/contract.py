"""The contract of docs/schema, for tests: what is wrong with a document."""
import functools, json, pathlib

import jsonschema

FOLDER = pathlib.Path(__file__).resolve().parents[2] / "docs/schema"


def read(name):
    return json.loads((FOLDER / f"{name}.schema.json").read_text())


SOCKET = read("socket")


def whole(schema):
    """A schema with what it refers to."""
    target = SOCKET["$defs"][schema["$ref"].rpartition("/")[2]] if "$ref" in schema else {}
    return {**target, **schema}


METHODS = {}  # by name, the exchange's schema
for exchange in map(whole, SOCKET["oneOf"]):
    METHODS[exchange["properties"]["request"]["properties"]["method"]["const"]] = exchange


def answer_schema(method, is_ok):
    """Of the answers of a method that are ok, or that are not; what is no method is refused."""
    if method not in METHODS:
        return {"$ref": "#/$defs/failure"}
    return whole(METHODS[method]["properties"]["answer"])["oneOf"][0 if is_ok else 1]


@functools.lru_cache(maxsize=None)
def validator(method, part, is_ok=True):
    schema = (answer_schema(method, is_ok) if part == "answer"
              else METHODS[method]["properties"][part])
    return jsonschema.Draft202012Validator({**schema, "$defs": SOCKET["$defs"]})


def fault(method, part, document):
    """The deepest of what is wrong with a "request" or an "answer", in a line; None for nothing."""
    method = method if isinstance(method, str) else None
    is_ok = part == "answer" and document.get("ok") is True
    return first_fault(validator(method, part, is_ok), document)


def document_fault(schema, name, document):
    """The same of a document that a schema has in its $defs by that name."""
    whole_schema = {"$ref": f"#/$defs/{name}", "$defs": schema["$defs"]}
    return first_fault(jsonschema.Draft202012Validator(whole_schema), document)


def first_fault(of, document):
    errors = list(of.iter_errors(document))
    if not errors:
        return None
    # What holds a fault counts as unevaluated, too.
    deepest = max(errors, key=lambda error: len(error.absolute_path))
    error = jsonschema.exceptions.best_match([deepest])
    return f"{error.json_path}: {error.message}"
