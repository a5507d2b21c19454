#!/bin/bash
# The lab seen from outside: from_outside.sh LAB_RUN. Checks what it passes through to a command, that a signal ends it, and
# that nothing of it is left.
set -u

run=$1
failures=0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# ---- Small helpers

check() { # what, expected, got
    if [[ $2 == "$3" ]]; then
        echo "ok: $1"
    else
        printf 'FAILED: %s\n  expected: %s\n  got:      %s\n' "$1" "$2" "$3"
        failures=$((failures + 1))
    fi
}

# The control group of the lab with this keeper, as long as it is there.
group_of() { # keeper's number
    local mount
    mount=$(findmnt --noheadings --types cgroup2 --output TARGET | head -n 1)
    find "${mount:-/nowhere}" -name "kavo-lab-$1" 2>/dev/null
}

# What a lab could leave: processes of ours, mounts, control groups, cards, namespaces, settings, a host name.
state() {
    pgrep -a -f "$mark"
    cut -d' ' -f 5- /proc/self/mountinfo | sort
    ls -d /sys/class/net/*
    ls /run/netns 2>/dev/null
    cat /proc/sys/fs/nr_open /proc/sys/fs/file-max /proc/sys/kernel/hostname
}

# Other labs may run meanwhile; what is counted is what carries our mark.
mark=lab-from-outside-$$

# Waits for something that another process does, up to two minutes; how long it takes is not the matter of these checks.
comes_true() { # command
    local i
    for ((i = 0; i < 1200; i++)); do
        ! "$@" || return 0
        sleep 0.1
    done
    return 1
}

# Runs a command on a terminal, types when the command has said that it is ready, and shows what the terminal showed, and
# the command's status in a last line. No shell stands above it, whatever the caller's: a key would end that one too.
at_terminal() { # what is typed, command
    rm -f "$work/ended"
    : >"$work/seen"
    # The end of what is typed is seen by the command too, so it comes when the command has ended.
    (comes_true grep -qs '^ready' "$work/seen"; printf '%b' "$1"; comes_true test -e "$work/ended") |
        { script --quiet --flush --return --command "exec $2" "$work/seen"; echo "status $?"; : >"$work/ended"; }
}

# ---- Checks

passes_through() {
    check "the exit status" 7 "$("$run" sh -c 'exit 7'; echo $?)"
    check "the status of a signal" 143 "$("$run" sh -c 'kill -TERM $$' 2>/dev/null; echo $?)"
    check "a command that is not there" 127 "$("$run" no-such-command 2>/dev/null; echo $?)"
    check "standard input" hello "$(echo hello | "$run" cat)"
    check "standard output alone" out "$("$run" sh -c 'echo out; echo err >&2' 2>/dev/null)"
    check "standard error alone" err "$("$run" sh -c 'echo out; echo err >&2' 2>&1 >/dev/null)"
    # shellcheck disable=SC2016 # nothing may expand
    check "arguments as they are" '[a b][][$x]' "$("$run" printf '[%s]' 'a b' '' '$x')"
    check "a script on standard input" "kavo-lab" "$(echo hostname | "$run")"
    check "the open descriptors" "$(sh -c 'ls /proc/self/fd')" "$("$run" sh -c 'ls /proc/self/fd')"
    check "a wrong option" 2 "$("$run" --no-such-option 2>/dev/null; echo $?)"
}

changes_nothing() {
    local before
    before=$(state)
    "$run" bash -c "touch /etc/$mark /usr/$mark; hostname other; ip link add ${mark: -9} type dummy 2>/dev/null
        ip address add 192.0.2.1/24 dev lo; mkdir /mnt/x; mount -t tmpfs x /mnt/x
        (setsid bash -c 'exec -a \"\$0\" sleep 9999' $mark &); until pgrep -x sleep; do sleep 0.1; done" \
        >/dev/null 2>&1
    check "everything outside" "$before" "$(state)"
    check "files" "" "$(ls "/etc/$mark" "/usr/$mark" 2>/dev/null)"
}

is_gone() { # keeper's number; it removes the control group before it ends
    ! kill -0 "$1" 2>/dev/null
}

ours() {
    pgrep -a -f "$mark" | grep -v from_outside
}

nothing_runs() {
    [[ -z $(ours) ]]
}

# Starts a lab that waits, ends it by a signal, and looks at what is left.
ends_by() { # signal, expected status
    local waiting keeper status
    : >"$work/up"
    "$run" bash -c "echo up; exec sleep 9999" "$mark" >"$work/up" 2>/dev/null </dev/null &
    waiting=$!
    if ! comes_true test -s "$work/up"; then
        kill "$waiting"
        wait "$waiting" 2>/dev/null
        check "SIG$1: the lab comes up" yes no
        return
    fi
    keeper=$(pgrep -P "$waiting" -f keeper)
    check "SIG$1: a control group while it runs" 1 "$(group_of "$keeper" | wc -l)"
    kill -s "$1" "$waiting"
    wait "$waiting" 2>/dev/null
    status=$?
    check "SIG$1: the status" "$2" "$status"
    # Nobody waits for the lab's keeper after SIGKILL, and for the command's own processes after any signal.
    [[ $1 != KILL ]] || comes_true is_gone "$keeper"
    check "SIG$1: the keeper" gone "$(is_gone "$keeper" && echo gone || echo there)"
    check "SIG$1: the control group" "" "$(group_of "$keeper")"
    comes_true nothing_runs
    check "SIG$1: processes" "" "$(ours)"
}

ends_when_told() {
    local signal
    for signal in TERM HUP KILL; do
        ends_by "$signal" $((128 + $(kill -l "$signal")))
    done
}

# On a terminal a key ends the command like anywhere else, and a command that heeds it goes on.
heeds_the_key() {
    local output
    output=$(at_terminal '\003' "$run bash -c 'echo ready; exec sleep 9999'")
    check "Ctrl-C: the status" "status 130" "$(grep -o "status [0-9]*" <<<"$output")"
    output=$(at_terminal '\003' "$run bash -c 'trap \"echo heard; exit 4\" INT; echo ready; while :; do sleep 0.1; done'")
    check "Ctrl-C that is heard" yes "$(grep -q heard <<<"$output" && echo yes || echo "$output")"
    check "Ctrl-C that is heard: the status" "status 4" "$(tail -n 1 <<<"$output")"
}

# A terminal: the shell has one of its own with job control, and its end is the lab's.
has_a_terminal() {
    local output
    # The shell runs this before it shows its prompt.
    output=$(PROMPT_COMMAND='echo ready' at_terminal 'tty; set -o | grep monitor; exit 5\n' "$run")
    check "a terminal in the shell" yes "$(grep -q '/dev/pts/[0-9]' <<<"$output" && echo yes || echo "$output")"
    check "job control" yes "$(grep -q 'monitor.*on' <<<"$output" && echo yes || echo "$output")"
    check "the shell's status" "status 5" "$(tail -n 1 <<<"$output")"
}

serves_an_ordinary_user() {
    [[ $EUID == 0 ]] || return 0
    local output
    output=$("$(dirname "$run")/as-user" nobody "$run" --or-skip sh -c 'systemctl is-system-running --wait; id -u' </dev/null 2>&1)
    if [[ $? == 77 ]]; then
        echo "skipped: an ordinary user: $output"
    else
        check "an ordinary user" $'running\n0' "$output"
    fi
}

"$run" --or-skip --check || exit $?
passes_through
changes_nothing
ends_when_told
heeds_the_key
has_a_terminal
serves_an_ordinary_user
[[ $failures == 0 ]]
