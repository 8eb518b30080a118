"""Alters one thing: a field of a message's bytes, a value of a JSON object. What comes out always differs from what
went in, and looks like something that the field might hold wherever that is possible."""

import wire

OTHER_CHARACTER = {"A": "E", "E": "A", "T": "D", "D": "C", "C": "D", "M": "N", "N": "M", "O": "X", "B": "S", "S": "B",
                   "H": "R", "R": "H", "Y": " ", "Z": "T", "W": " ", "X": "J", "J": "X", "I": "J"}


def other_character(name, text):
    """Another value of a field of one character."""
    if text == " ":
        return {"remuneration": "M", "special": "Y", "as_of": "A", "sale3": "Z", "sale4": "W", "ats": "Y"}.get(name, "Q")
    return str((int(text) + 1) % 8) if text.isdigit() else OTHER_CHARACTER[text]


def other_text(name, text):
    """Another text of the same width."""
    name = name.removeprefix("old_")
    if len(text) == 1:
        return other_character(name, text)
    if name == "sent_at":
        return str(int(text[:4]) + 1) + text[4:]      # a year ahead, beyond what any clock allows
    if text.isspace():
        return "20240102" if name == "orig_date" else "X" + text[1:] if not name.endswith("yield") else " 000001.500000"
    place = max(index for index, character in enumerate(text) if character.isalnum())
    character = text[place]
    other = str((int(character) + 1) % 10) if character.isdigit() else "Q" if character != "Q" else "R"
    return text[:place] + other + text[place + 1:]


def alter_field(raw, name):
    """The message with one field of the wire tables altered."""
    message = wire.decode(raw)
    at = 0
    for each, width in wire.LAYOUTS[message.kind]:
        if each == name:
            break
        at += width
    text = message[name]
    altered = other_text(name, text)
    assert len(altered) == len(text) and altered != text, (name, text)
    return raw[:at] + altered.encode("latin-1") + raw[at + width:]


def alter_value(value):
    """Another value of the same type."""
    if isinstance(value, bool):
        return not value
    if isinstance(value, (int, float)):
        return value + 1
    if value is None:
        return 1.5
    if value.isspace():
        return "Y" * len(value)
    return other_text("sent_at" if len(value) == 14 and value.isdigit() else "", value) if len(value) > 1 else OTHER_CHARACTER.get(value, "7" if value != "7" else "1")


def leaves(record, path=()):
    """The path of every single value in a JSON object, those of nested ones included."""
    for key, value in record.items():
        if isinstance(value, dict):
            yield from leaves(value, (*path, key))
        else:
            yield (*path, key)


def alter_leaf(record, path):
    """The object with one value altered; the original stays as it is."""
    key, *rest = path
    changed = dict(record)
    changed[key] = alter_leaf(record[key], rest) if rest else alter_value(record[key])
    return changed
