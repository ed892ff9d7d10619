# What every screen stands on: the programs of a build, a zone, a width, and a place of its own.
#   begin_lab [ARGUMENTS of lab up]      a lab in which it is Tue 2026-03-03 08:00, and stays so
#   begin_switch [ARGUMENTS of create]   a switch of which it is the same time, without a daemon
#   go_to "YYYY-MM-DD HH:MM"             lets the lab live until then
#   kill_daemon                          ends the lab's daemon as a crash would
#   until_so COMMAND                     asks again and again until the command is content
#   json                                 a document with a line for each object of its lists
# The lab's clock stands in between, so that a screen is the same on any machine. What waits for
# something to happen needs `switchsim lab speed 1` before.

# The folder of a screen is removed with it.
: "${CRAMTMP:?cram runs what sources this}"

PATH="${SCREENS_BIN:-$TESTDIR/../../build/sim/bin}:$PATH"
HOME="$PWD"
TZ=Europe/Berlin
COLUMNS=100
export PATH HOME TZ COLUMNS
unset QUORIN_POED_LAB SWITCHSIM_STATE XDG_STATE_HOME NO_COLOR
MORNING="2026-03-03 08:00"

# A screen that is killed runs no trap. The guard, no child of it, is not killed along, and ends
# its lab.
begin_lab() {
  trap end_lab EXIT
  # shellcheck disable=SC2016  # the guard's own words
  (setsid sh -c 'echo $$ >"$2/guard"
      tail --pid="$1" -f /dev/null
      switchsim lab down --clean --dir "$2/lab"
      rm -rf "$2"
      rmdir "$3/tmp" "$3"' guard "$$" "$PWD" "$CRAMTMP" </dev/null >/dev/null 2>&1 &)
  until_so "[ -s guard ]"
  switchsim lab up --dir "$PWD/lab" --at "$MORNING" --speed 0 "$@" >lab.out &&
    eval "$(switchsim lab env --dir "$PWD/lab")"
}

end_lab() {
  switchsim lab down --clean --dir "$HOME/lab"
  kill -- -"$(cat "$HOME/guard")"
} >/dev/null 2>&1

begin_switch() {
  export SWITCHSIM_STATE="$PWD/switch.state"
  switchsim create "$@" && switchsim clock "$MORNING:00"
}

go_to() {
  switchsim lab at "$1" >lab.out
}

kill_daemon() {
  daemon=$(switchsim lab show --json | sed 's/.*"daemonPid":\([0-9]*\).*/\1/')
  kill -KILL "$daemon" && until_so '! switchsim lab show'
}

until_so() {
  for _ in $(seq 1200); do
    eval "$1" >/dev/null 2>&1 && return
    sleep 0.05
  done
  echo "not within a minute: $1"
  return 1
}

json() {
  { tr -d '\n\t' && echo; } | sed 's/\([[,]\){/\1\n{/g'
}
