"""Holds the schema against the documents: what the checks call good must fit it, and what is broken in structure must not.

usage: schema_test.py ROOT_OF_THE_TREE
"""
import json
import pathlib
import re
import sys

try:
    import jsonschema
except ImportError:
    print("skipped: the package python3-jsonschema is not installed")
    sys.exit(77)

root = pathlib.Path(sys.argv[1])
documents = root / "tests/libtarnpolicydoc/documents"
schema = json.loads((root / "docs/policy.schema.json").read_text())
jsonschema.Draft7Validator.check_schema(schema)
whole = jsonschema.Draft7Validator(schema)
failures = []


def part(name):
    return jsonschema.Draft7Validator({"$ref": "#/definitions/" + name, "definitions": schema["definitions"]})


def expect(good, validator, value, what):
    errors = [error.message[:200] for error in validator.iter_errors(value)]
    if good and errors:
        failures.append(f"{what} should fit the schema: {errors}")
    if not good and not errors:
        failures.append(f"{what} should not fit the schema")


good = [root / "examples/policy.json", *sorted(documents.glob("good-*.json"))]
for path in good:
    expect(True, whole, json.loads(path.read_text()), path.name)
for path in [root / "examples/audit-rules.jsonl", documents / "good-lines.jsonl"]:
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if line.strip():
            expect(True, part("rule"), json.loads(line), f"{path.name}:{number}")

for name in ["root", "version", "version-missing", "members", "types", "sides", "names", "functions"]:
    path = documents / f"bad-{name}.json"
    expect(False, whole, json.loads(path.read_text()), path.name)
for number, rule in enumerate(json.loads((documents / "bad-sides.json").read_text())["groups"]["base"]["rules"][:2]):
    expect(False, part("rule"), rule, f"bad-sides.json, rule {number}")

page = (root / "docs/policy-format.md").read_text()
blocks = [json.loads(block) for block in re.findall(r"```json\n(.*?)```", page, re.S)]
expect(True, whole, blocks[0], "the first document of the page")
for number, block in enumerate(blocks[1:], 2):
    expect(True, part("condition"), block, f"block {number} of the page")
if len(blocks) != 3:
    failures.append(f"the page has {len(blocks)} blocks of JSON instead of 3")

# Every code that the sources report stands on the page.
reported = set()
for path in (root / "src/libtarnpolicydoc").glob("*.cpp"):
    text = path.read_text()
    reported |= set(re.findall(r'\{"([a-z]+(?:-[a-z]+)*)",\s', text)) | set(re.findall(r'code = "([a-z-]+)"', text))
    reported |= set(re.findall(r'(?:\?|:) "((?:unknown|file-name|name)-[a-z-]+)"', text))
table = page.split("## Findings")[1]
for code in sorted(reported):
    if f"`{code}`" not in table and code not in {"null", "operand", "not", "call", "constant", "variable", "comment", "users", "files",
                                                 "devices", "modules", "variables", "groups", "namespaces", "namespace",
                                                 "class", "perm", "condition", "actions", "ext", "group", "module",
                                                 "subjects", "objects", "function"}:
        failures.append(f"the code {code} is not on the page")
if len(reported & set(re.findall(r"`([a-z-]+)`", table))) < 35:
    failures.append("the search for codes in the sources finds too few")

for failure in failures:
    print(failure)
sys.exit(1 if failures else 0)
