#!/usr/bin/env bash
# Gammu's SMS daemon on its dummy phone, with the example configuration: messages are received, rated by the hook and
# filed; then once more in the C locale.
# Usage: gammu_smsd.sh VELQ SOURCE_DIR
set -euo pipefail
host=gammu
# shellcheck source=tests/hooks/common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
needs gammu gammu gammu-smsd
needs gammu-smsd gammu gammu-smsd
prepare_work
daemon_log=$work/var/log/gammu-smsd.log
handler_ended='Process (finished successfully|failed)'

spool=$work/var/spool/gammu
phone=$work/phone
mkdir -p "$spool"/{inbox,outbox,sent,error} "$phone/sms/1"
# A dummy phone for the modem, and no waiting.
{
  example gammu-smsd.conf | sed -e "s|^device = .*|device = $phone|" \
    -e 's|^connection = .*|connection = none\nmodel = dummy\ngammuloc = /dev/null|'
  printf '%s\n' 'commtimeout = 1' 'receivefrequency = 1' 'multiparttimeout = 2' 'loopsleep = 1'
} >"$work/smsd.conf"

# message SENDER TEXT [OPTION...]: lies unread in the phone.
message() {
  printf '%s' "$2" | LC_ALL=C.UTF-8 gammu -c "$work/smsd.conf" savesms TEXT -folder 1 -unread -sender "$1" \
    -len 600 "${@:3}" >>"$work/daemon.out" 2>&1
}

# What follows the text in front of it decides the verdict: text that is cut does not pass.
# The words with dollars and backquotes are for a shell that must not see them.
cd "$work"
long=$(printf 'neut ral1 mid2 xxxx %.0s' {1..12})
message +4512345671 "hello, seven o'clock with cake"
message +4512345672 'prize winner, claim it'
message +4512345673 '😀🎉请看！恭喜中奖，免费领取' -unicode
message +4512345674 "${long}prize winner, claim it"
message ALERTS 'neutneutral1ral1mid2mid2xxxxxxxx'
# shellcheck disable=SC2016
message +4512345675 '"quoted" '"'single'"' $HOME $(touch pwned) `touch pwned` ; touch pwned
| & \ * "
prize winner, claim it'
message +4512345676 '明天晚上 😀 hello, seven' -unicode
message 'MY SHOP' 'prize winner, claim it now'

LC_ALL=C.UTF-8 start_daemon gammu-smsd -c "$work/smsd.conf"
wait_for_handlers 8
stop_daemon
logs 'ham stays' ham +4512345671 kept
logs 'English spam is moved' spam +4512345672 'moved to '
logs 'Chinese spam behind emoji is moved' spam +4512345673 'moved to '
logs 'spam in the second part is moved' spam +4512345674 'moved to '
logs 'an unsure message of a text sender is moved' unsure ALERTS "moved to $spool/unsure/"
logs 'spam behind quotes, dollars and lines is moved' spam +4512345675 'moved to '
logs 'Chinese ham with an emoji stays' ham +4512345676 kept
logs 'spam of a text sender with a blank is moved' spam 'MY SHOP' 'moved to '
holds "$spool/inbox" 2
holds "$spool/unsure" 1
# The long message lies in two files.
holds "$spool/spam" 6
[ ! -e pwned ] || fail 'a shell has read the text of a message'
says 'the daemon takes the hook for successful' "$daemon_log" 'Process finished successfully'
if grep -qaE 'Process failed|Subprocess output' "$daemon_log"; then
  fail 'the daemon reports a failure or output of the hook'
fi

# The C locale: Chinese characters are lost before the hook sees them.
message +4512345677 '恭喜中奖，免费领取恭喜中奖，免费领取' -unicode
message +4512345678 'prize winner, claim it today'
LC_ALL=C start_daemon gammu-smsd -c "$work/smsd.conf"
wait_for_handlers 10
wait_for_text "velq: the daemon's character set"
stop_daemon
says 'the log warns of the C locale' "$log" "$(printf '\tgammu\twarning\t\t\t')the daemon's character set is ANSI_X3.4-1968"
says 'the daemon logs the warning' "$daemon_log" "velq: the daemon's character set is ANSI_X3.4-1968"
logs 'English spam is moved in the C locale' spam +4512345678 'moved to '
if grep -qa "$(printf '\tspam\t+4512345677\t')" "$log"; then
  fail 'Chinese text arrived in the C locale, of which the warning says otherwise'
fi
holds "$spool/spam" 7

# Without its installation the hook fails, and the message stays.
mv "$work/var/lib/velq" "$work/var/lib/away"
rm "$spool"/inbox/*
message +4512345679 'prize winner, claim it tomorrow'
LC_ALL=C.UTF-8 start_daemon gammu-smsd -c "$work/smsd.conf"
wait_for_handlers 11
stop_daemon
logs 'the log tells of the failure' failed +4512345679 "no installation in $work/var/lib/velq"
says 'the daemon reports the exit status' "$daemon_log" 'Process failed with exit status 66'
holds "$spool/inbox" 1

# What could not be rated is rated when the installation is back.
mv "$work/var/lib/away" "$work/var/lib/velq"
"$velq" hook gammu --install "$work/var/lib/velq" --inbox "$spool/inbox" --spam-folder "$spool/spam" --log "$log" \
  --retry "$spool/inbox"
logs 'the message that had failed is rated again' spam +4512345679 'moved to '
holds "$spool/inbox" 0
finish
