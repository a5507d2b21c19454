# Shared by the lab's scripts; sourced, not run. The caller has set `here` to the folder of this file.

say() {
    printf 'lab: %s\n' "$*" >&2
}

die() {
    say "$*"
    exit 1
}

# The programs that are missing out of those named.
missing_programs() {
    local program
    for program; do
        PATH=$PATH:/usr/sbin:/sbin command -v "$program" >/dev/null || printf '%s\n' "$program"
    done
}

# The service manager of this machine.
find_systemd() {
    local path
    for path in /lib/systemd/systemd /usr/lib/systemd/systemd; do
        if [[ -x $path ]]; then
            echo "$path"
            return
        fi
    done
    return 1
}

is_root() {
    [[ $EUID == 0 ]]
}
