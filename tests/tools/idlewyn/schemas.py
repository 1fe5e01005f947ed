# SPDX-License-Identifier: MIT
"""Holds what the command writes with --json against the schemas that are installed with it. They
let keys through that they don't know, as readers are to; the command itself may write none."""
import json
import pathlib
import warnings

import jsonschema

FOLDER = pathlib.Path(__file__).parents[3] / "resources/schemas"
DOCUMENTS = {
    "pair": "connection", "unpair": "connection", "connections": "connections", "pin": "pins",
    "sessions": "sessions", "show": "sessions", "status": "sessions", "watch": "watch", "allow": "answer",
    "deny": "answer", "always": "answer", "approvals": "approvals", "push": "push",
    "keychain": "keychain", "doctor": "doctor"}
# Words that ask a command for another document.
VARIANTS = {"waybar": ("status", "waybar"), "--damaged": ("unpair", "damaged")}


def load():
    return {file.stem: json.loads(file.read_text()) for file in FOLDER.glob("*.json")}


def closed(schema):
    """The same schema without room for undeclared keys."""
    if isinstance(schema, list):
        return [closed(part) for part in schema]
    if not isinstance(schema, dict):
        return schema
    strict = {key: closed(part) for key, part in schema.items()}
    return {**strict, "additionalProperties": False} if schema.get("type") == "object" else strict


def validator(name, schemas=closed(load())):
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", DeprecationWarning)  # the newer way is not in Debian 12
        resolver = jsonschema.RefResolver(
            "", schemas[name], store={f"{n}.json": s for n, s in schemas.items()})
        return jsonschema.Draft202012Validator(schemas[name], resolver=resolver)


def check(arguments, text):
    """Each line of what a command wrote, when it was asked for JSON."""
    options = arguments[:arguments.index("--")] if "--" in arguments else arguments
    if "--json" not in options:
        return
    for line in text.splitlines():
        document = json.loads(line)
        isError = isinstance(document, dict) and "error" in document
        names = [name for word, (_, name) in VARIANTS.items() if word in options]
        name = "error" if isError else [*names, DOCUMENTS.get(arguments[1])][0]
        validator(name).validate(document)
