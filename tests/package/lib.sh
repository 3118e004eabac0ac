# shellcheck shell=bash
# What the package tests share. A test is a function whose name is a sentence; `FILE NAME` runs one, `FILE` all of them,
# each on a private machine of its own.
set -euo pipefail

# shellcheck disable=SC2034  # for the tests
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
: "${LUMOADMIN_BUILD:=$root/build/dev}"

fail() {
  echo "$(basename "$0"):${BASH_LINENO[${depth:-0}]}: $*" >&2
  exit 1
}

# expect_equal WANTED GOT WHAT
expect_equal() {
  [ "$1" = "$2" ] || depth=1 fail "$3: wanted '$1', got '$2'"
}

# expect_match PART TEXT WHAT
expect_match() {
  [[ $2 == *"$1"* ]] || depth=1 fail "$3: wanted '$1' in: $2"
}

# expect_no_match PART TEXT WHAT
expect_no_match() {
  [[ $2 != *"$1"* ]] || depth=1 fail "$3: did not want '$1' in: $2"
}

# Skips the file's tests where users cannot be made: a mapped root has only one user id.
needs_real_root() {
  [ "$(awk '{print $3; exit}' /proc/self/uid_map)" -gt 1 ] && [ "$(id -u)" -eq 0 ] && return
  echo "users can only be made by the real root"
  exit 77
}

# add_user NAME [GROUP]    with a group and a HOME of the same name
add_user() {
  useradd --user-group --no-create-home --no-log-init --home-dir "/mnt/home/$1" ${2:+--groups "$2"} "$1"
  install --directory --owner="$1" --group="$1" --mode=700 "/mnt/home/$1"
}

# as USER COMMAND...    with that user's groups and HOME
as() {
  local user=$1
  shift
  setpriv --reuid "$user" --regid "$user" --init-groups env --unset=LUMOADMIN_SANDBOX HOME="/mnt/home/$user" \
    USER="$user" LOGNAME="$user" "$@"
}

# wait_for COMMAND...    until it succeeds, for $patience seconds, 20 by default
wait_for() {
  local end=$((SECONDS + ${patience:-20}))
  until "$@"; do
    [ $SECONDS -lt $end ] || depth=1 fail "waited in vain for: $*"
    sleep 0.05
  done
}

list_tests() {
  sed -n 's/^\([A-Z][A-Za-z0-9]*\)() {$/\1/p' "$0"
}

run_tests() {
  [ "${1:-}" != --list ] || { list_tests; exit 0; }
  local tests=("$@") name status
  [ ${#tests[@]} -gt 0 ] || mapfile -t tests < <(list_tests)
  if [ -z "${LUMOADMIN_SANDBOX:-}" ]; then
    for name in "${tests[@]}"; do "$root/scripts/sandbox" "$0" "$name" || failed=1; done
    exit "${failed:-0}"
  fi
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  for name in "${tests[@]}"; do
    # In a shell of its own, so that a failing test ends alone and changes nothing for the next; and not as a condition, in
    # which bash would go on after a command that fails.
    set +e
    (set -e && cd "$work" && "$name")
    status=$?
    set -e
    if [ "$status" -eq 0 ]; then echo "passed: $name"; else echo "FAILED: $name" && failed=1; fi
  done
  exit "${failed:-0}"
}
