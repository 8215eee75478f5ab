#!/usr/bin/env bash
# SMS Server Tools 3 without a modem, with the example configuration: messages come as PDUs in files, are rated by the
# hook and filed.
# Usage: smstools_smsd.sh VELQ SOURCE_DIR
set -euo pipefail
host=smstools
# shellcheck source=tests/hooks/common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
PATH=$PATH:/usr/sbin
needs smsd smstools
needs python3 python3
prepare_work
daemon_log=$work/var/log/smsd.log
handler_ended='Done: eventhandler'

spool=$work/var/spool/sms
mkdir -p "$spool"/{incoming,outgoing,checked,sent,failed,made} "$work/pdu"
touch "$work/device"
{
  example smsd.conf | sed "s|^device = .*|device = $work/device|"
  printf '%s\n' 'modem_disabled = yes' "pdu_from_file = $work/pdu/"
} >"$work/smsd.conf"
# No waiting; and at this level the daemon also says which hooks have ended as they should.
sed -i 's|^devices = .*|&\ndelaytime = 1\nloglevel = 7|' "$work/smsd.conf"

# message SENDER TEXT: its parts wait in files for the daemon.
made=0
message() {
  local pdu
  while IFS= read -r pdu; do
    made=$((made + 1))
    echo "$pdu" >"$work/pdu/$(printf '%03d' "$made")"
  done < <(python3 "$source/tests/hooks/make_pdu.py" "$1" "$2")
}

# What follows the text in front of it decides the verdict: text that is cut does not pass.
# The words with dollars and backquotes are for a shell that must not see them.
cd "$work"
long=$(printf 'neut ral1 mid2 xxxx %.0s' {1..12})
message +4512345671 "hello, seven o'clock with cake"
message +4512345672 'prize winner, claim it'
message +4512345673 '😀🎉请看！恭喜中奖，免费领取'
message +4512345674 "${long}prize winner, claim it"
message +4512345675 "$(printf '请看！%.0s' {1..30})恭喜中奖，免费领取"
message ALERTS 'neutneutral1ral1mid2mid2xxxxxxxx'
# shellcheck disable=SC2016
message 4512345676 '"quoted" '"'single'"' $HOME $(touch pwned) ; touch pwned

& * "
prize winner, claim it'
# shellcheck disable=SC2016
message +4512345677 '`touch pwned` \ | "
prize winner, claim it'
message +4512345678 '明天晚上 😀 hello, seven'
# The name of a text sender in which an empty line stands.
message 'X

q' 'prize winner, claim it now'

start_daemon smsd "-c$work/smsd.conf" -t
wait_for_handlers 10
stop_daemon
logs 'ham stays' ham +4512345671 kept
logs 'English spam is moved' spam +4512345672 'moved to '
logs 'Chinese spam behind emoji is moved' spam +4512345673 'moved to '
logs 'spam in the second part is moved' spam +4512345674 'moved to '
logs 'spam in the second Chinese part is moved' spam +4512345675 'moved to '
logs 'an unsure message of a text sender is moved' unsure ALERTS "moved to $spool/unsure/"
logs 'spam of a national number behind quotes, dollars and an empty line is moved' spam 4512345676 'moved to '
logs 'spam behind backquotes in UTF-16 is moved' spam +4512345677 'moved to '
logs 'Chinese ham with an emoji stays' ham +4512345678 kept
logs 'spam of a sender with an empty line in the name is moved' spam X 'moved to '
holds "$spool/incoming" 2
holds "$spool/unsure" 1
holds "$spool/spam" 7
[ ! -e pwned ] || fail 'a shell has read the text of a message'
good='Running eventhandler: |Done: eventhandler, .* status: 0 \(0\)'
if grep -aE 'ALERT: |eventhandler' "$daemon_log" | grep -vaE "$good"; then
  fail 'the daemon reports a failure or output of the hook'
fi

# Without its installation the hook fails, and the message stays.
mv "$work/var/lib/velq" "$work/var/lib/away"
message +4512345679 'prize winner, claim it today'
start_daemon smsd "-c$work/smsd.conf" -t
wait_for_handlers 11
wait_for_text 'problem with eventhandler, result 66'
stop_daemon
logs 'the log tells of the failure' failed +4512345679 "no installation in $work/var/lib/velq"
says 'the daemon reports the exit status' "$daemon_log" 'problem with eventhandler, result 66'
holds "$spool/incoming" 3
finish
