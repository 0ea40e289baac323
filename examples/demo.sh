#!/usr/bin/env bash
# Shows the library at work: a host application (examples/host) reports to the development collector on this
# machine, and one sees what arrives there and what stays in the host's store. Fails when something shown is not
# as it should be.
#
#   examples/demo.sh [FOLDER WITH THE PROGRAMS]
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
bin=${1:-$here/../build/bin}

folder=$(mktemp -d "${TMPDIR:-/tmp}/zul-demo.XXXXXX")
record=$folder/requests.json  # what the collector received, one JSON object a line
store=$folder/data/ZULLocalDB.sqlite
log=$folder/library.log
touch "$record" "$log"
port=0
collector_id=
host_id=
ntp_id=
trap 'kill $collector_id $host_id $ntp_id 2>/dev/null || true' EXIT

fail() {
  printf '\nThe demo failed: %s\nWhat it left is in %s\n' "$*" "$folder" >&2
  exit 1
}

headline() { printf '\n== %s\n\n' "$*"; }
text() { printf '   %s\n' "$@"; }
wrapped() { fold -s -w 110 | sed 's/^/   /'; }

# check TEXT COMMAND...: the text is so when the command succeeds.
check() {
  local what=$1
  shift
  "$@" >/dev/null || fail "not so: $what"
  printf '   [ok] %s\n' "$what"
}

# await TEXT COMMAND...: until the command succeeds.
await() {
  local what=$1
  shift
  for _ in {1..100}; do
    if "$@" >/dev/null 2>&1; then return 0; fi
    sleep 0.1
  done
  fail "waited 10 seconds for $what"
}

start_collector() {
  rm -f "$folder/collector.out"
  "$bin/zul-collector" --listen "127.0.0.1:$port" --record "$record" >"$folder/collector.out" &
  collector_id=$!
  await "the collector" grep -q '^listening on ' "$folder/collector.out"
  port=$(sed 's/.*://' "$folder/collector.out")
}

stop_collector() {
  kill "$collector_id"
  wait "$collector_id"
  collector_id=
}

# start_host [OPTIONS...]: returns when the library has started up; tell_host then commands it.
start_host() {
  launch_host "$@"
  hear_host "initialized: yes"
}

launch_host() {
  coproc host {
    exec "$bin/example-host" --collector "http://127.0.0.1:$port" --bundle "$here/host" --data "$folder/data" \
      --events - --wait 0 "$@" 2>>"$log"
  }
  # shellcheck disable=SC2154
  host_id=$host_PID
}

hear_host() {
  local line=
  read -r -t 20 line <&"${host[0]}" || true
  [[ $line == "$1" ]] || fail "the host said '$line' instead of '$1'"
}

tell_host() {
  echo "$1" >&"${host[1]}"
  hear_host "done: $1"
}

stop_host() {
  echo quit >&"${host[1]}"
  wait "$host_id" || fail "the host ended with status $?"
  host_id=
}

# The Nth request to a service, as JSON; fails while there is none.
request() { jq -se --arg endpoint "$1" --argjson n "$2" 'map(select(.endpoint == $endpoint))[$n - 1] // empty' "$record"; }
session() { request upload "$1" | jq '.body[0].SESSION'; }
answered() { (($(grep -c RES001 "$log") >= $1)); }
query() { sqlite3 -readonly "$store" "$1"; }
queue() { query "SELECT body FROM documents WHERE id = 'Json'"; }
waiting_payloads() { queue | jq -r '.QueueJsonList' | jq '.[].SESSION'; }
nothing_waits() { [[ $(queue) == '{"QueueJsonList":""}' ]]; }
something_waits() { [[ -n $(waiting_payloads) ]]; }

start_collector
echo "The development collector listens on http://127.0.0.1:$port. The host starts; its start-up takes 5 seconds."
start_host
await "the answer to the first upload" answered 1
await "the empty queue" nothing_waits

headline "1. At launch the library asks for an access token"
request token 1 | jq -r '"GET \(.path)?\(.query)", (.headers | to_entries[] | "\(.key): \(.value)")' | wrapped
check "it names the service and the application" \
  jq -e '.query == "_qzno=1001&_wPkg=com.example.host" and .good' <(request token 1)

headline "2. Then it sends its session payload, here as the collector decoded it"
request upload 1 | jq -r '"POST \(.path), \(.rawSize) bytes compressed"' | wrapped
session 1 | jq -r 'tojson | gsub(",\""; ", \"")' | wrapped
text "" "The answer, as the library logged it:"
grep -m1 -o '{.*RES001.*' "$log" | wrapped
check "the collector found nothing wrong with it" jq -e '.good' <(request upload 1)
check "it is the first visit of this installation" jq -e '.ltvt == 1 and .isVisitNew == "Y"' <(session 1)

headline "3. What the host keeps: SQLite, a document a row"
query "SELECT id, body FROM documents ORDER BY id" | while IFS='|' read -r id body; do
  printf '   %-9s %s\n' "$id" "$body"
done
check "nothing waits to be sent" nothing_waits
stop_host

headline "4. The host is launched again an hour later: the session is over, the visitor is the same"
start_host --later 3600
await "the second visit" answered 2
tell_host event
await "the event" answered 3
printf '   %-12s %-38s %s\n' "" "first launch" "an hour later"
for key in ltvt udVt isVisitNew uuid sid; do
  printf '   %-12s %-38s %s\n' "$key" "$(session 1 | jq -r ".$key")" "$(session 2 | jq -r ".$key")"
done
compare() { jq -se "$1" <(session 1) <(session 2); }
check "the visit counters are one further" compare '.[1].ltvt == .[0].ltvt + 1 and .[1].udVt == .[0].udVt + 1'
check "same uuid, new sid" compare '.[0].uuid == .[1].uuid and .[0].sid != .[1].sid'
check "an event within the session keeps its sid" jq -e --arg sid "$(session 2 | jq -r .sid)" '.sid == $sid' <(session 3)
stop_host

headline "5. The collector is down while an event is reported"
start_host --later 7200
await "the third visit" answered 4
stop_collector
tell_host event
await "the event in the store" something_waits
waiting=$(waiting_payloads | jq -c '{ltvt, sid, vtTz}')
text "It waits in the store:" "$waiting"
start_collector
tell_host "later 3600"
tell_host event
await "the delayed upload" answered 5
text "" "The collector is back. An hour later, the next event carries both:"
request upload 5 | jq -c '.body[].SESSION | {ltvt, sid, vtTz}' | wrapped
both() { request upload 5 | jq -e --argjson waiting "$waiting" ".body | map(.SESSION | {ltvt, sid, vtTz}) | $1"; }
check "two payloads in one upload, the one that waited first" both 'length == 2 and .[0] == $waiting and .[1].vtTz > .[0].vtTz'
await "the empty queue" nothing_waits
check "nothing waits any more" nothing_waits
stop_host

headline "6. A new installation on a machine whose clock is two minutes slow, by three time servers"
servers=(127.0.0.2 127.0.0.3 127.0.0.4)
"$bin/zul-ntp" --serve 120 --port 0 "${servers[@]}" >"$folder/ntp.out" &
ntp_id=$!
await "the time servers" grep -q '^serving at 127.0.0.4' "$folder/ntp.out"
ntp_port=$(sed -n '1s/.* //p' "$folder/ntp.out")
store=$folder/data2/ZULLocalDB.sqlite
log=$folder/library2.log
touch "$log"
text "zul-ntp asks them as the library does: the arrow turns up when a server has answered and is trusted."
timeout 4 "$bin/zul-ntp" --port "$ntp_port" --every 1.2 "${servers[@]}" 2>>"$folder/ntp.log" | sed 's/^/   /' || true
started=$(date +%s)
start_host --data "$folder/data2" --ntp-port "$ntp_port" $(printf -- '--ntp %s ' "${servers[@]}")
await "the first visit" answered 1
text "" "The library, meanwhile: the associations are set up, the first trustworthy answer is announced and used."
grep -E 'Time sync finished|the host hears|time sync done' "$log" | wrapped
for line in 'Time sync finished' 'the host hears kNHNetworkTimeSyncCompleteNotification' 'time sync done'; do
  check "\"$line\"" grep -q "$line" "$log"
done
install=$(query "SELECT body FROM documents WHERE id = 'Install'")
text "" "$(printf '%-22s %s' "started, by the machine" "$started")" "Install                $install"
text "$(printf '%-22s %s' "first payload" "$(session 6 | jq -c '{installTime, vtTz}')")"
corrected() { jq -e --argjson started "$started" "(. / 1000 - \$started - 120) | . > 0 and . < 20"; }
check "the install time is two minutes later than the machine's" corrected <<<"$(jq .installTime <<<"$install")"
check "so is the visit's time stamp" corrected <<<"$(session 6 | jq .vtTz)"
check "the offset is kept with it" jq -e '.timeOffset | . > 119900 and . < 120100' <<<"$install"
stop_host
kill "$ntp_id"
wait "$ntp_id" || true
ntp_id=

headline "7. Another installation, whose application asks the user for consent to tracking"
store=$folder/data3/ZULLocalDB.sqlite
log=$folder/library3.log
touch "$log"
mkdir "$folder/asking"
sed 's|<key>useMode</key>|<key>ATTPopup</key><true/>&|; s|<key>zulAuth|<key>FacebookAppID</key><string>4711</string>&|' \
  "$here/host/Info.plist" >"$folder/asking/Info.plist"
start_asking() { launch_host --bundle "$folder/asking" --data "$folder/data3" "$@"; }
# columns TITLE... -- KEY...: the last uploads' sessions beside each other, a key a line.
columns() {
  local titles=() first n
  while [[ $1 != -- ]]; do titles+=("$1") && shift; done
  shift
  first=$((uploads - ${#titles[@]} + 1))
  printf '   %-13s' "" && printf '%-38s' "${titles[@]}" && echo
  for key; do
    printf '   %-13s' "$key"
    for ((n = first; n <= uploads; ++n)); do printf '%-38s' "$(session "$n" | jq -r ".$key // \"-\"")"; done
    echo
  done
}
uploads=6
start_asking
hear_host "initialized: no"
text "The application waits for the answer, and so does the start-up: nothing is sent." ""
check "no request yet" [ "$(request upload $((uploads + 1)))" = "" ]
tell_host "allow AAAAAAAA-0000-4000-8000-000000000001"
tell_host started
await "the first visit" answered 1
tell_host "status 2"
tell_host event
await "the event" answered 2
uploads=8
columns "allowed" "withdrawn in the settings" -- lng cntr tz sr phone cari advtId keychainUUID | sed "s| *\$||"
consent() { jq -se "$1" <(session 7) <(session 8); }
check "allowed, the device may be described" consent '.[0] | .lng != "ANP" and .tz != "ANP" and .phone != "ANP"'
check "withdrawn, what could tell it or its place apart is left out" consent \
  '.[1] | [.lng, .cntr, .tz, .sr, .phone, .cari] | all(. == "ANP")'
stop_host

text "" "The user resets the advertising identifier, and an hour later installs the application anew:"
start_asking --later 3600 --advertising BBBBBBBB-0000-4000-8000-000000000002
hear_host "initialized: yes"
await "the visit with another identifier" answered 3
stop_host
rm -r "$folder/data3"
start_asking --later 7200 --advertising BBBBBBBB-0000-4000-8000-000000000002
hear_host "initialized: no"
tell_host deny
tell_host started
await "the visit after the reinstall" answered 4
uploads=10
columns "another identifier" "installed anew" -- advtId aidChange keychainUUID uuid ltvt | sed "s| *\$||"
check "another identifier makes this another device" jq -se '.[0].keychainUUID != .[1].keychainUUID' \
  <(session 7) <(session 9)
devices() { jq -se "$1" <(session 9) <(session 10); }
check "the keychain outlives the application's data" devices '.[0].keychainUUID == .[1].keychainUUID'
check "the installation is another" devices '.[0].uuid != .[1].uuid and .[1].ltvt == 1'
stop_host

# Three installs, each on a device of its own. What the collector answers is told beforehand.
answer() { curl -sf -o "$folder/answers.out" --data-binary "$1" "http://127.0.0.1:$port/inspect/answers"; }
installs=0
start_install() {
  store=$folder/attributed$((++installs))/ZULLocalDB.sqlite
  log=$folder/attributed$installs.log
  touch "$log"
  launch_host --data "${store%/*}" "$@"
}
attributed() { query "SELECT body FROM documents WHERE id = 'InstallReferrerInfo'"; }
decision() {
  grep -oE '(DEBUG_ZUL_deeplink is|DEBUG_ZULSESSION_(self.fpIts|irItclk|fpItclk)|\[Validation\]) ?.*|the (host|ad network) hears .*' "$log" |
    grep -v kNHNetwork | wrapped
}
an_install_is_attributed() {
  local click=$(($(date +%s) * 1000 - 60000))
  headline "8. Three installs, and where they came from"
  text "The first launch comes from a campaign link, which says it all. What decided:"
  start_install --link "shop://item/7?_qzs=paper&_qzc=summer&_qzckp=1440&_qzclkTime=$click"
  hear_host "initialized: yes"
  await "the visit" answered 1
  decision
  check "the link claims the install" jq -e --argjson click "$click" '.its == "paper" and .itclkTime == $click' < <(attributed)
  stop_host

  text "" "The second has no link: the hidden web view asks the collector, which recognises the device. Its answer to the" \
    "upload tells the attribution, a deferred deep link and a conversion value."
  answer '{"fingerprint":[{"body":{"qzs":"radio","qzc":"spring","itp":60,"qzclkTime":'"$click"',"qzref":"https://radio.example/"}}],
    "upload":[{"body":{"code":"RES001","registerAppForAdNetworkAttribution":1,"updateConversionValue":12,"coarseValue":"high",
      "attributedInfo":{"install":{"bean":{"qzsNm":"Radio%20Seven","qzcNm":"Spring%20sale","adid":"ad-9","dfrdForIos":"shop%3A%2F%2Fsale"}}}}},
      {"body":{"code":"RES001"}}]}'
  start_install --system 17.2
  hear_host "initialized: yes"
  await "the visit" answered 1
  tell_host attribution
  await "the attribution" grep -q "hears attribution" "$log"
  decision
  check "the fingerprint claims the install" jq -e '.its == "radio" and .itp == 60' < <(attributed)
  check "the host is told, once, of the link that waits for it" \
    [ "$(grep -c 'the host hears deferred link shop://sale' "$log")" = 1 ]
  check "it gets the attribution" grep -q '"installMedia":"Radio Seven","installCampaign":"Spring sale"' "$log"
  check "the ad network hears of the install, then of the value" \
    [ "$(grep -c 'the ad network hears conversion value \(0\|12\), high' "$log")" = 2 ]
  stop_host

  text "" "The third has both a fingerprint and a referrer from the host, whose click came later:"
  start_install --referrer "_qzs=search&_qzc=&_qzclkTime=$((click + 1))"
  hear_host "initialized: yes"
  await "the visit" answered 1
  decision
  check "the later click wins" jq -e '.its == "search" and .isIrUpdate == "N"' < <(attributed)
  stop_host
}
an_install_is_attributed
stop_collector

# What the application tells the library on a day of the month, as commands of the simulator.
member_day() {
  local day=$((24 * 3600 * 1000)) now=$2 purchase=
  case $1 in
    2) echo 'call setPushToken "token-1"' ;;
    3) echo 'call setUser {"memberId":"m-1","memberGrade":"silver","isLogin":"Y"}' ;;
    5)
      echo 'call Tracker.setPushId "push-1"'
      echo "call Tracker.setPushClickTime $now"
      echo "call Tracker.setPushExpiredTime $((now + 4 * day))"
      ;;
    6) echo 'call setInternalCampaign {"inrc1":"spring","inrcDt1":7,"inrc4":"banner","inrcDt4":3}' ;;
    8)
      echo "call Tracker.setReceivedInAppMessageList [
        {\"mk\":\"tip\",\"viewTime\":$now,\"dateType\":\"D\",\"frequencyLimitDay\":3,\"end\":$((now + 90 * day))},
        {\"mk\":\"sale\",\"viewTime\":$now,\"dateType\":\"W\",\"frequencyLimitDay\":2,\"end\":$((now + 90 * day))}]" |
        tr -d '\n'
      echo
      echo 'call Tracker.checkInAppMessageValidation'
      ;;
    10) purchase='{"revenue":19900}' ;;
    12) echo 'call setUser {"memberId":"m-1","memberGrade":"gold","isLogin":"Y"}' ;;
    17) purchase='[{"revenue":4500.5},{"amt":"1200"}]' ;;
    20) echo 'call setUserLogout' ;;
    26) echo 'call setUser {"memberId":"m-2"}' ;;
  esac
  if [[ $purchase ]]; then
    printf 'call SessionController.%s\n' updateUdRvnc updateLtRvnc updateFirstOrd \
      "updateLastOrderNoWithOrderNo \"order-$1\"" "updateLtrvnWithRevenuJsonProducts $purchase"
  fi
}

# A visit a day at nine o'clock, from 15 February on; each is a process of its own.
member_month() {
  local day
  echo 'clock 2024-02-15T09:00:00 Asia/Seoul'
  echo 'config {"serviceNumber":1001,"useMode":1,"expireDate":30,"accessToken":"development-token"}'
  for day in {1..30}; do
    printf '%s\n' launch 'advance 6s'
    member_day "$day" $((1707955206000 + (day - 1) * 24 * 3600 * 1000))
    printf '%s\n' 'call sendTransaction' 'advance 1s' 'show requests' 'advance 86393s'
  done
}

month_of_a_member() {
  headline "9. A month of a member, on the simulated platform: what each day's last payload carried"
  member_month >"$folder/month.sim"
  "$bin/zul-sim" --no-log "$folder/month.sim" |
    jq -c 'map(select(.endpoint == "upload"))[-1].body[-1].SESSION' >"$folder/month.json"
  local row='   %-4s %-5s %-7s %-7s %-9s %-14s %-9s %-7s %-9s %s\n'
  # shellcheck disable=SC2059
  printf "$row" day visit member grade push campaigns messages orders revenue "last order"
  jq -r '[.ltvt, .mbid, .mbl, .pushNo, ([.inrc1, .inrc4] | map(select((. // "") != "")) | join(",")),
          .alreadySeenCampaignId, .ltRvnc, .ltrvn, .lastOrdNo] | map(if (. // "") == "" then "-" else . end) | @tsv' \
    "$folder/month.json" | {
    local day=0 cells
    while IFS=$'\t' read -r -a cells; do
      # shellcheck disable=SC2059
      printf "$row" $((++day)) "${cells[@]}"
    done
  } | sed 's/ *$//'
  echo
  days() { jq -se "[.[] | $1] as \$day | $2" "$folder/month.json"; }
  check "thirty days, thirty visits" days .ltvt '$day == [range(1; 31)]'
  check "the member is known from the login to the logout, over restarts and sessions" days .mbid \
    '($day[2:19] | all(. == "m-1")) and ($day[:2] | all(. == null)) and ($day[19:25] | all(. == "")) and $day[29] == "m-2"'
  check "a push counts for the four days that it was given, and a campaign for its own" days '[.pushNo, .inrc4]' \
    '($day[4:9] | all(.[0] == "push-1")) and $day[9][0] == "" and ($day[5:9] | all(.[1] == "banner")) and $day[9][1] == ""'
  check "messages are seen for three days and for two weeks" days .alreadySeenCampaignId \
    '($day[7:11] | all(. == "tip|sale")) and ($day[11:22] | all(. == "sale")) and $day[22] == ""'
  check "two orders, and their sum without the fractions" days '[.ltRvnc, .ltrvn]' \
    '$day[8] == [0, 0] and $day[9] == [1, 19900] and $day[29] == [2, 25600]'
}
month_of_a_member

printf '\nAll as it should be. The log of the library, the requests and the store are in\n%s\n' "$folder"
