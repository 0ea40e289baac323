#!/usr/bin/python3
"""All that the scenarios upload keeps the schema, by a validator of others.

    schema.py FOLDER-WITH-THE-PROGRAMS SCENARIO...
"""
import copy, json, pathlib, re, subprocess, sys, tempfile
import jsonschema

programs, scenarios = pathlib.Path(sys.argv[1]), sys.argv[2:]
schema = json.loads(subprocess.check_output([programs / "zul-collector", "--schema"]))
jsonschema.Draft202012Validator.check_schema(schema)

# Stricter than for a service: what a host has paired with its pages aside, there are no other keys.
strict = copy.deepcopy(schema)
strict["items"]["additionalProperties"] = False
for kind in "full", "reduced":
    strict["$defs"][kind]["additionalProperties"] = False
validator = jsonschema.Draft202012Validator(strict)


def uploads(scenario):
    with tempfile.NamedTemporaryFile() as record:
        subprocess.run([programs / "zul-sim", "--no-log", "--record", record.name, scenario], check=True,
                       stdout=subprocess.DEVNULL)
        requests = [json.loads(line) for line in open(record.name)]
    return [request["body"] for request in requests if request["endpoint"] == "upload"]


def paired(scenario):
    lines = re.findall(r"setTempPairingData (\{.*\})", pathlib.Path(scenario).read_text())
    return {key for line in lines for key in json.loads(line)}


def recorded(scenario):
    """What a scenario has stored as events of before the start-up: it is sent as it stands, but for two keys."""
    lists = re.findall(r"document DataBeforeInit (\{.*\})", pathlib.Path(scenario).read_text())
    return [{*event.get("SESSION", {}), "sid", "vtTz"} for text in lists
            for event in json.loads(text).get("entireExceptionData", []) if isinstance(event, dict)]


samples = []
for scenario in scenarios:
    own, early = paired(scenario), recorded(scenario)
    for upload in uploads(scenario):
        upload = [payload for payload in upload if not any({*payload.get("SESSION", {})} <= keys for keys in early)]
        for payload in upload:
            for key in own & set(payload.get("SESSION", {})):
                del payload["SESSION"][key]
        if not upload:
            continue
        errors = [f"{'/'.join(map(str, error.absolute_path))}: {error.message}" for error in validator.iter_errors(upload)]
        assert not errors, f"{scenario}: {errors[:5]}"
        samples.append(upload)
kinds = {payload["SESSION"].get("useMode") for upload in samples for payload in upload}
assert {None, 1} <= kinds, f"the scenarios upload too little: {kinds}"

# And it tells what is wrong.
full = next(payload for upload in samples for payload in upload if payload["SESSION"].get("useMode") == 1)
for key, value in [("ltvt", None), ("uuid", None), ("ltvt", "1"), ("isDf", "y"), ("_qzDebug", "N"), ("isWifi", "2"),
                   ("sdk_version", {}), ("useMode", 4), ("inrc10", "a"), ("phone", 7)]:
    spoilt = copy.deepcopy(full)
    if value is None:
        del spoilt["SESSION"][key]
    else:
        spoilt["SESSION"][key] = value
    assert not validator.is_valid([spoilt]), f"{key} may be {value}"
assert validator.is_valid([full])
print(f"{len(samples)} uploads of {len(scenarios)} scenarios")
