"""Documents made from a schema of the contract, with python3-hypothesis: of the keywords that it
uses, and no others."""
import json

from hypothesis import strategies as st

import contract

MOST_ELEMENTS = 8
NEAR = 5  # of small numbers there is more to find than of large ones


def merged(schema, other):
    """What both ask for, where the second narrows the first."""
    both = dict(schema)
    for key, value in other.items():
        if isinstance(value, dict) and isinstance(both.get(key), dict):
            value = merged(contract.whole(both[key]), value)
        elif key == "required":
            value = sorted({*both.get(key, []), *value})
        both[key] = value
    return both


def variants(schema):
    """The schema without allOf and oneOf, once for each choice that these leave."""
    schema = contract.whole(schema)
    plain = [{key: schema[key] for key in schema if key not in ("allOf", "oneOf", "$ref")}]
    for part in schema.get("allOf", []):
        plain = [merged(each, choice) for each in plain for choice in variants(part)]
    if "oneOf" in schema:
        choices = [choice for part in schema["oneOf"] for choice in variants(part)]
        plain = [merged(each, choice) for each in plain for choice in choices]
    return plain


def numbers(schema):
    low, high = schema["minimum"], schema["maximum"]
    return st.one_of(st.integers(low, min(low + NEAR, high)), st.integers(low, high), st.just(high))


def has_half_characters(text):
    return any("\ud800" <= character <= "\udfff" for character in text)


def texts(schema):
    """All texts that are sent have a pattern."""
    whole_text = schema["pattern"].removeprefix("^").removesuffix("$")
    text = st.from_regex(whole_text, fullmatch=True)
    return text.map(lambda each: each[:schema.get("maxLength")]).filter(
        lambda each: not has_half_characters(each))


def arrays(schema):
    return st.lists(documents(schema["items"]), min_size=schema.get("minItems", 0),
                    max_size=MOST_ELEMENTS, unique=schema.get("uniqueItems", False))


def objects(schema):
    members = {key: documents(value) for key, value in schema["properties"].items()}
    required = {key: members.pop(key) for key in schema.get("required", [])}
    return st.fixed_dictionaries(required, optional=members)


KINDS = {"integer": numbers, "string": texts, "array": arrays, "object": objects,
         "boolean": lambda schema: st.booleans()}


def of_plain(schema):
    if "const" in schema:
        return st.just(schema["const"])
    if "enum" in schema:
        return st.sampled_from(schema["enum"])
    return KINDS[schema["type"]](schema)


def documents(schema):
    return st.one_of([of_plain(plain) for plain in variants(schema)])


# --- Documents that break it in one place

STRANGERS = [None, True, 7, "stranger", [], {}]  # of every type one


def places(document, path=()):
    """The paths of all that is in a document, itself first."""
    yield path
    members = (document.items() if isinstance(document, dict)
               else enumerate(document) if isinstance(document, list) else [])
    for key, value in members:
        yield from places(value, (*path, key))


def is_number(value):
    return isinstance(value, (int, float)) and not isinstance(value, bool)


def same_type(one, other):
    return is_number(one) and is_number(other) or type(one) is type(other)


def replacements(value):
    """Values that may break what was there: of other types, and of the same one."""
    others = [each for each in STRANGERS if not same_type(each, value)]
    if is_number(value):
        others += [0, -1, value + 0.5, 301, 601, 2**31, 2**32, -1e300, 1e300]
    if isinstance(value, str):
        others += ["", "other", "x" * 64, value.upper(), "\0" + value]
    if isinstance(value, list):
        others += [[], ["x"], value + value[:1], value + ["x", None]]
    return others


@st.composite
def broken(draw, whole):
    """One of the documents, with one place in it changed, left out or added; itself too."""
    document = json.loads(json.dumps(draw(whole)))
    path = draw(st.sampled_from(list(places(document))))
    holder = {"document": document}
    for key in ("document", *path)[:-1]:
        holder = holder[key]
    key = ("document", *path)[-1]
    change = draw(st.sampled_from(["leave out", "add", "replace", "replace", "replace"]))
    if change == "leave out" and path:
        del holder[key]
    elif change == "add" and isinstance(holder[key], dict):
        holder[key]["stranger"] = 7
    elif path:
        holder[key] = draw(st.sampled_from(replacements(holder[key])))
    return document
