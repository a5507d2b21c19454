#!/bin/bash
# The emulated machine seen from outside: from_outside.sh LAB_VM. Checks what it passes through to a command, and that a
# machine that dies under its command is a failure, not a machine that cannot start.
set -u

vm=$1
options=(--or-skip --seconds 600)
failures=0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

check() { # what, expected, got
    if [[ $2 == "$3" ]]; then
        echo "ok: $1"
    else
        printf 'FAILED: %s\n  expected: %s\n  got:      %s\n' "$1" "$2" "$3"
        failures=$((failures + 1))
    fi
}

# Waits for something that another process does, up to ten minutes.
comes_true() { # command
    local i
    for ((i = 0; i < 6000; i++)); do
        ! "$@" || return 0
        sleep 0.1
    done
    return 1
}

passes_through() {
    local output status
    # shellcheck disable=SC2016 # nothing may expand here
    output=$("$vm" "${options[@]}" bash -c 'printf "[%s]" "$@"; exit 7' name 'a b' '' '$x' '-Boot.*' 2>"$work/errors")
    status=$?
    if [[ $status == 77 ]]; then
        cat "$work/errors"
        exit 77
    fi
    check "the exit status" 7 "$status"
    # shellcheck disable=SC2016 # nothing may expand
    check "arguments as they are" '[a b][][$x][-Boot.*]' "$output"
}

# The last line says what has happened.
tells() { # what, expected status, expected end of the text, status
    check "$1: the status" "$2" "$4"
    check "$1: the reason" "lab: $3" "$(tail -n 1 "$work/errors")"
}

fails_when_the_machine_dies() {
    local went_down="the emulated machine went down before the command ended:" waiting emulator
    "$vm" "${options[@]}" sh -c 'echo c >/proc/sysrq-trigger; sleep 60' 2>"$work/errors"
    tells "a panic" 1 "$went_down Kernel panic - not syncing: sysrq triggered crash" $?

    "$vm" "${options[@]}" busybox poweroff -f 2>"$work/errors"
    tells "a machine that is switched off" 1 "$went_down it was switched off" $?

    "$vm" "${options[@]}" sh -c 'echo up; exec sleep 9999' >"$work/up" 2>"$work/errors" &
    waiting=$!
    comes_true test -s "$work/up"
    emulator=$(pgrep -P "$(pgrep -P "$waiting" -x timeout)")
    kill -KILL "$emulator"
    wait "$waiting"
    tells "an emulator that is killed" 1 "$went_down the emulator was ended by the signal KILL" $?
}

gives_up_in_time() {
    "$vm" --or-skip --seconds 3 sleep 9999 2>"$work/errors"
    tells "a time-out" 124 "the emulated machine did not end within 3 s" $?
}

tells_a_machine_that_cannot_start() {
    check "skipped where it cannot start" 77 "$(KAVO_VM_CACHE=/dev/null/x "$vm" --or-skip true 2>/dev/null; echo $?)"
    check "failed where it cannot start" 125 "$(KAVO_VM_CACHE=/dev/null/x "$vm" true 2>/dev/null; echo $?)"
}

passes_through
fails_when_the_machine_dies
gives_up_in_time
tells_a_machine_that_cannot_start
[[ $failures == 0 ]]
