# shellcheck shell=bash
# Stages of a script: quiet, timed, with a log each. Sourced from the project's top folder.

logs=build/logs
mkdir -p "$logs"

# Now, in milliseconds. Some locales write the clock's fraction behind a comma.
now() { echo $((${EPOCHREALTIME/[.,]/} / 1000)); }

# seconds_since START: as 12.3
seconds_since() {
  local tenths=$((($(now) - $1) / 100))
  echo "$((tenths / 10)).$((tenths % 10))"
}

log_of() { echo "$logs/${1// /-}.log"; }

# stage NAME COMMAND...: runs the command with its output in a log, and shows the end of the log if it fails.
# A function given as the command must chain its steps with &&: the shell does not stop it at a failed one.
stage() {
  local name=$1 start log
  start=$(now)
  log=$(log_of "$name")
  shift
  printf '%-26s' "$name"
  if "$@" >"$log" 2>&1; then
    printf '%8s s\n' "$(seconds_since "$start")"
  else
    printf '  failed after %s s; the end of %s:\n' "$(seconds_since "$start")" "$log"
    tail -n 30 "$log"
    return 1
  fi
}
