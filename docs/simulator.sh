#!/usr/bin/env bash
# Writes docs/simulator.md to standard output: ./dev docs puts it in its place, a test holds it against what is there.
#
#   docs/simulator.sh [FOLDER WITH THE PROGRAMS]
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
sim=${1:-$here/../build/bin}/zul-sim

# table FIRST SECOND [COMMAND]: what the help tells, as a table. An empty right side is an operation without parameters.
table() {
  printf '| %s | %s |\n|---|---|\n' "$1" "$2"
  "$sim" --no-log <<<"help ${3:-}" |
    jq -r 'to_entries[] | [.key, .value] | map(gsub("\\|"; "\\|")) | "| `\(.[0] | sub(" +$"; ""))` | \(.[1]) |"'
}

# transcript: plays the commands on standard input; what is random in it is made unrecognizable.
transcript() {
  echo '```text'
  "$sim" --no-log --transcript | sed -E 's/[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}/XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX/'
  echo '```'
}

cat <<'EOF'
# A device in a terminal

`zul-sim` runs the library on a simulated device, in virtual time: what it will send on the day of the install, thirty
days later, offline or with a changed clock shows at once and without a phone. Commands come from a script
(`zul-sim SCRIPT`), from standard input, or from a prompt with history and completion when that is a terminal.

One command a line; `#` begins a comment; arguments are JSON, names need no quotes. What a command shows is one JSON
value on standard output, in one line unless a terminal is there to read it. The library's log goes to standard error
(`--no-log` keeps it off). An error names line, command and reason, and ends a script with status 1.

## A session

EOF
transcript <<'EOF'
# The day of the install, in Seoul. The device's clock is two minutes slow, by the one time server that it asks.
clock 2024-01-31T10:00:00 Asia/Seoul
device {"model":"iPhone15,3","preferredLanguages":["ko-KR"],"countryCode":"KR"}
config {"serviceNumber":1001,"useMode":1,"expireDate":30}
ntp {"offset":"2m"}
launch callback

# The start-up takes five seconds; it ends with the first visit, and with the deferred callback.
advance 6s
show requests /0
show requests /3/body/0/SESSION
show requests /#
call getZULSessionInitYN
expect "" true
show document Behavior
show clock
show timers

# A month later the network is away, and the clock has been set wrong by an hour.
advance 30d
network offline
clock += 1h
call sendTransaction
advance 1m
show document Behavior /lifeCriteriaVisit
show requests /5/body/errlog
expect "" "network error"

# It comes back. The next event takes along what has waited.
network wifi
call sendTransaction
advance 1s
show requests /6/body/#
expect "" 2
show clock /time

# A new process on the same store, and a collector that is too busy for the first upload.
restart
advance 1h
collector upload {"code":"ERR503","msg":"too busy","delay":"2s"}
collector upload {"code":"RES001"}
launch
advance 8s
show requests /9/body/errlog
expect "" "too busy"
call getAttributedInfo
advance 6s
show timers
advance 14s
expect /0/value {}
EOF
cat <<'EOF'

## Commands

EOF
table Command 'What it does'
cat <<'EOF'

- **Time** stands still between commands; `advance` lets it pass and runs what falls due, in order. `clock` sets the
  wall clock without time passing. A `call` takes no time unless the library itself waits in it.
- **Processes.** A process begins with the first `call` or `launch` in it. `launch` starts a new one unless the one that
  runs was not launched yet, so that a host's calls before its initialization can be played. `restart` is the end that a
  phone's system gives a process: what is open stays unanswered.
- **Callbacks** of the host are told as an array, by the command during which they came or the next that shows nothing
  itself.
- **Answers.** The members `status`, `delay`, `fail` and `raw` of an answer say how it is given, all others are its body.
  Without a body an endpoint answers what the library is content with, and nothing at a status from 300. A body with
  members of those names is given as `raw` text. Until the first `collector`, all requests are accepted.
- **A fleet** has the time, the configuration and the answers of the device that asks for it, each of its devices from
  where the script stands; values and habits, the network among them, are its own.
- **The network clock** is in `show clock` as `network` while a process runs: every association with its last eight
  offsets, device minus server in seconds; `null` is an answer that was not fit. `state` tells the library of background,
  foreground and significant time changes.
- **The network.** A request fails at once while the network is `offline`, and when its answer would come; and after a
  minute of silence.
- **`show requests`** tells what the library has asked since it was last shown, whether or not it got through. What is
  wrong with a request, should it break the collector's contract, is its `problem`. `show log` keeps the latest 10 000
  lines.
- **`expect`** compares exactly: 1 is not 1.0. `PATH` is a JSON pointer; with `/#` at its end it is the number of
  elements, `""` is the whole. `absent` stands for no value at all.

## The device

EOF
table Value 'What it is' device
cat <<'EOF'

## Time servers

A time server's clock goes on whatever becomes of the device's; `ntp` again, with another `offset`, is a step of it. The
servers have the addresses 192.0.2.1, 192.0.2.2 and so on. Without `ntp`, or with `ntp none`, nobody is asked.

EOF
table Value 'What it is' ntp
cat <<'EOF'

## Operations for `call`

Those of `ZULSession` by their bare names; an initialization entry takes its launch options and sees the application's
state from `state`.

EOF
table Operation Arguments call
cat <<'EOF'

## Against a real collector

    zul-sim --collector https://staging.example [--ca FILE] [SCRIPT]

runs the same commands in real time: the device and its store stay simulated, the requests are real. What falls due
while nobody types happens then, too. `collector` is then the collector's own business; the app-store look-up, which is
made without TLS, is simulated when the collector speaks HTTPS. `fleet` alone remains in virtual time, with the devices' requests sent at once and
answered before the next virtual second, so that a day of a thousand devices takes as long as the collector needs for
their requests.

    $ zul-collector --listen 127.0.0.1:8080 &
    $ echo 'fleet 1000 86400' | zul-sim --no-log --collector http://127.0.0.1:8080

## A device from the field

    zul-sim open FOLDER [SCRIPT]

takes a copy of an application's data folder, with the keychain file `FOLDER-keychain.sqlite` beside it, and goes on from
there: what would this device send next, tomorrow, after consent? The folder itself is only read. Copy all of
`ZULLocalDB.sqlite*` while the application does not run: the latest changes are in the log, `ZULLocalDB.sqlite-wal`. The
device's clock stands at the latest visit or accepted upload, its settings and identifiers are the stored ones. What
nobody has stored, such as the time zone, the model and the rest of the Info.plist, is the simulated device's own; set
it before `launch`. What is missing, damaged or of another version is told among the `remarks`, with what could be read.

    $ zul-sim open ./data <<<'launch
    advance 6s
    explain ltvt'

`zul-sim explain KEY` tells of a payload's key without any device. `--record FILE` writes every request as a line of
JSON.

## As tests

A script that ends with status 0 has met all of its expectations. Those in `tests/scenarios/` are run by `./dev test`.
EOF
