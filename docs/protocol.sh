#!/usr/bin/env bash
# Writes docs/protocol.md to standard output: ./dev docs puts it in its place, a test holds it against what is there. The
# keys and endpoints are what the library's own tables say, the examples are what programs print.
#
#   docs/protocol.sh [FOLDER WITH THE PROGRAMS]
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
sim=${1:-$here/../build/bin}/zul-sim

catalogue() { "$sim" --no-log <<<"help $1"; }

cat <<'EOF'
# What goes over the wire

For whoever writes the service that receives the uploads, and for whoever asks why a number looks wrong. What a device
would send can be tried without one: [`zul-sim`](simulator.md) shows every request, and `zul-sim explain KEY` tells of a
key what this document tells. `zul-collector` judges what arrives; `zul-collector --schema` prints a JSON Schema of an
upload.

## Requests

EOF
catalogue collector | jq -r '
  "| Request | Method and path | `authType` holds | `authToken` |", "|---|---|---|---|",
  (to_entries[] | "| \(.key) | `\(.value.method) \(.value.path)` | \(.value.word // "") | \(if .value.authToken then "yes" else "" end) |")'
cat <<'EOF'

The fingerprint request of a start-up comes out of a web view and goes to the tracking host (`Deployment::trackingHost`);
its `User-Agent` is the web view's. All else goes to one host, over HTTPS in production, but for the look-up in the app
store, which is asked of a host of its own
over plain HTTP, with none of the headers below.

| Request | Query or body |
|---|---|
| token | `?_qzno=SERVICE NUMBER&_wPkg=BUNDLE IDENTIFIER` |
| upload | the payloads that wait, see below; `Content-Type: application/octet-stream` |
| errorlog | a JSON object: `_qzno`, `errlog` with the text, and what is known of `qzref`, `installReferrer`, `advtId`, `lng`, `cntr`, `tz`, `os`, `phone`, `apVr`, `plat`, `vendorId`, `advtFlag` |
| pushclick | `?profileNo=&pushNo=&platform=IOS&pushToken=&adid=&pushSk=`, no body; an absent value is the text `(null)`, and only the token is percent-encoded |
| fingerprint | a JSON object: `_qzno`, `advtId` (`""` without consent, left out where none is known), `vendorId`; on the first run `isNew` true; when a link has left out its source or campaign, from the library's own client, also `phone` and `os` |
| appstore | `?bundleId=BUNDLE IDENTIFIER` |

- `User-Agent` is `ZUL/VERSION/MODEL/SYSTEM`, such as `ZUL/1.1.5/iPhone14,2/iOS 17.2`; without the user's consent the
  model is `ANP`.
- `authToken` is the access token; absent while there is none.
- POST requests other than the upload carry no `Content-Type`. None has a `Content-Encoding`, the upload's compressed
  body included: it is the body. An upload sends and keeps no cookies, and announces no length: over HTTP/1.1 it comes
  in chunks (`Transfer-Encoding: chunked`), which the server in front of the service has to let through.
- `authType` is a word, encrypted with AES-128 in CBC mode with PKCS#7 padding, in base64. Key and initialization vector
  are the same sixteen bytes, `hxQoPvNq4rTeLwbj`, so there is one constant text for each word. It tells a library's
  request from a stray one, and is no secret.

EOF
catalogue collector | jq -r '
  "| Word | `authType` |", "|---|---|",
  ([.[] | select(.word)] | unique_by(.word)[] | "| \(.word) | `\(.authType)` |")'
cat <<'EOF'

```sh
key=$(printf hxQoPvNq4rTeLwbj | od -An -tx1 | tr -d ' \n')
printf ZUL | openssl enc -aes-128-cbc -K $key -iv $key -base64
```

## The body of an upload

A JSON array of payloads, each an object `{"SESSION": {...}}`, in UTF-8; percent-encoded as a whole, where everything but
letters, digits and `-._~` becomes `%` and two upper-case hexadecimal digits a byte; then a zlib stream (RFC 1950: no gzip
header). To read it, undo the three. How well the bytes are compressed is the sender's business: compare texts, not
streams.

```python
EOF
example=$(cat <<'EOF'
import urllib.parse, zlib
document = '[{"SESSION":{"ltvt":1,"phone":"A & B","mbid":"김"}}]'
body = zlib.compress(urllib.parse.quote(document, safe="").encode())
print(body.hex())
print(urllib.parse.unquote(zlib.decompress(body).decode()) == document)
EOF
)
printf '%s\n```\n\n```text\n' "$example"
python3 <<<"$example"
cat <<'EOF'
```

The library indents the array, and spells numbers so that they come back to the last bit. A key's order in its object
means nothing. An upload has at least one payload and no upper bound: a device that was offline for a month sends a
month's payloads at once, the oldest first. The development collector takes bodies of 16 MB, 64 MB unpacked, and 1 MB a
payload.

## Answers

| Request | What is read of the answer |
|---|---|
| token | `{"token": "TEXT"}` with a text that is not empty. Without it the start-up does not complete, and nothing is uploaded until the host initializes the library again. |
| upload | `{"code": "RES001"}` accepts; anything else does not. |
| errorlog, pushclick | nothing |
| fingerprint | a JSON object, for the attribution of the install |
| appstore | `{"resultCount": 1, "results": [{"trackId": NUMBER}]}`; asked again while it is not so |

The HTTP status counts for nothing: a 500 whose body says `RES001` is an acceptance, a 204 is none. A POST follows no
redirection. An answer is read up to 8 MiB; a longer one, one that is no JSON object, and a minute without a byte in
either direction are as good as none. What becomes of the payloads of an upload:

| Answer | The queue | Beside that |
|---|---|---|
| `"code": "RES001"` | they leave it | The session lasts for thirty minutes from then. The marks `isVisitNew`, `isDf`, `isWf`, `isMf`, `isWfUs`, `isDrUpdate`, `isIrUpdate`, `aidChange`, `saveToken` are N in later payloads, `openDl` and `uptAfV` empty. `attributedInfo`, `updateConversionValue`, `coarseValue`, `lockWindow` and `registerAppForAdNetworkAttribution` are for attribution and conversion values. |
| another or no `code`, no JSON | they stay | an error log with the answer's `msg` |
| none: no network, no connection, silence | they stay | an error log with `network error` |

What stays goes out, ahead of what is new, with the next payload. There is no timer: a device that reports no event
uploads nothing, and a service that refuses is not asked again in a loop. Up to four uploads of one device are open at a
time, each with other payloads.

## The payload

`useMode` 1 and 2 give the full payload. `useMode` 3, for applications that are offline for good, gives the reduced one,
which is built and never uploaded. With any other value, as before a device has its settings, the session is `{}`.

- *Sent*: a key that is not there has no value. None is ever `null`.
- *Kind*: an integer is a JSON number without a fraction and may need 64 bits; a real has a fraction, be it `.0`.
- A record of all values is built from the documents on the device at the beginning of each visit and of each process;
  from then on it changes as the last column says.
- A host may add keys of its own to the payloads of pages, or overwrite any.
- Values that take consent read `ANP` while the user has not given it.

EOF
catalogue explain | jq -r '
  def cell: tostring | gsub("\\|"; "\\|");
  def group: reduce .[] as $e ([]; if length > 0 and .[-1][0].value.section == $e.value.section then .[-1] += [$e] else . + [[$e]] end);
  to_entries | group[] |
    "### \(.[0].value.section)\n", "| Key | Kind | Meaning | Sent | Kept as | Changed by | Example |", "|---|---|---|---|---|---|---|",
    (.[] | "| `\(.key)` | \(.value.kind) | \(.value.meaning | cell) | \({both: "", full: "", reduced: "reduced only, "}[.value.payloads])\(.value.sent)\(if .value.payloads == "full" then "; not reduced" else "" end) | \(if .value.document then "\(.value.document)/\(.value.documentKey)" else "" end) | \(.value.changes // "" | cell) | `\(.value.example | tojson | cell)` |"),
    ""'
cat <<'EOF'
## How to count

This is a device in UTC with its clock right: installed at ten, used again five minutes later; used twice at two in the
afternoon without a network, and once more when that is back; and three times on the next day. Each line is a payload as
it arrived.

EOF
record=$(mktemp)
trap 'rm -f "$record"' EXIT
"$sim" --no-log --record "$record" >/dev/null <<'EOF'
clock 2024-05-06T10:00:00 UTC
config {"serviceNumber":1001,"useMode":1,"expireDate":30}
launch
advance 5m
call sendTransaction
advance 3h
advance 55m
network offline
call sendTransaction
advance 1m
call sendTransaction
advance 1m
network wifi
call sendTransaction
advance 19h
call sendTransaction
advance 4h
call sendTransaction
advance 4h
call sendTransaction
advance 1m
EOF
jq -sr '
  ([.[] | select(.endpoint == "upload") | .body] | to_entries | map(select(.key != 2 and .key != 3))) as $uploads |
  "| Upload | `vtTz` | `ltvt` | `isVisitNew` | `isDf` |", "|---|---|---|---|---|",
  ($uploads | to_entries[] | .key as $n | .value.value[].SESSION |
    "| \($n + 1) | \(.vtTz) (\(.vtTz / 1000 | floor | strftime("%d %H:%M"))) | \(.ltvt) | \(.isVisitNew) | \(.isDf) |")' "$record"
cat <<'EOF'

- **Visits** are the distinct pairs of `uuid` and `vtTz`: here five, whatever repeats. `ltvt` counts them for one
  installation, but starts anew with it. `sid` is a new one for each visit as well.
- **`isVisitNew` is no counter.** It is Y from the beginning of a visit until the library has seen an upload accepted,
  so all that is built meanwhile carries it: three times in upload 3. `isDf`, `isWf`, `isMf` and `isWfUs` likewise.
  And as the mark falls with any accepted upload, an answer to an older one can take it from a visit that has just begun.
- **A day's second visit can be Y in `isDf`**, as here on the second day: the device keeps the end of the day *of the
  visit before*, so a day's first visit still has the end of an earlier day to go by, and leaves that to the second.
  Only the day of the install is spared. Weeks and months end where they should. For daily users count the distinct
  `uuid` by the day of `vtTz`, not Y.
- **Installations** are the distinct `uuid`. A reinstall makes a new one, and so does a database that was set aside as
  damaged. `keychainUUID` outlives a reinstall, and changes with the advertising identifier. `vendorId` is the same for
  all applications of one vendor on a device: several `uuid` under one are reinstalls or other applications.
- **Times.** `vtTz` follows the network clock as it was known then, so it can go back between visits, when a wrong clock
  has been set right. It is the begin of the visit: no key tells when the event was, and an upload may come days later.

### Duplicates

A service has to live with them. They come from

1. an answer that got lost on its way after the service had stored the upload: the device cannot know;
2. an answer other than `RES001` to what was stored all the same;
3. a process that died, or a power cut that took back the latest commit, between the answer and its note of it;
4. an upload that did not end for eight days and was given up;
5. events that an earlier version of the library recorded before its start-up: from then on every upload of that process
   carries them again, each time with the `sid` and `vtTz` of the visit that is;
6. a data folder that was copied, by a backup or with a machine: two devices go on as one `uuid`.

The library itself never sends a payload in two uploads that are open at the same time, nor twice in one upload.

**What does not tell them apart: the payload.** It has no number, no time and no identifier of its own. A second event of
a visit, with nothing changed in between, gives a payload that is equal to the first one's to the letter, so an equal
payload is either a repetition or another event.

**What does:** equal payloads within one upload are different events. A repetition comes at the head of a later upload
of the same `uuid`, in the order of before, and only of uploads that were not accepted or whose answer may have got lost.
The causes 3, 5 and 6 leave not even that. So keep what is counted by visit, where a repetition changes nothing: write by
`uuid` and `vtTz`, and let a later payload of a visit replace an earlier one. `zul-collector` calls an upload suspicious
that has a payload which it accepted before; a second event is one, too.
EOF
