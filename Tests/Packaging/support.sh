# What the checks here share: a folder that goes, processes that end, waiting with a deadline, a user of its own.
set -euo pipefail
here=$(mktemp -d /tmp/tarnel-packaging.XXXXXX)
children=()
tmux_server=

clean_up() {
    local status=$? child
    [ "$status" = 0 ] || [ "$status" = 77 ] || find "$here" -name '*.log' -exec tail -n 30 {} + >&2
    for child in ${children[@]+"${children[@]}"}; do
        kill "$child" 2>/dev/null || true
    done
    wait
    if [ -n "$tmux_server" ]; then
        tmux_here kill-server 2>/dev/null || true
        while kill -0 "$tmux_server" 2>/dev/null; do sleep 0.05; done
    fi
    rm -rf "$here"
}
trap clean_up EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

fail() {
    echo "FAILED: $1" >&2
    exit 1
}

# Runs quietly; what it said is shown only when the check fails.
quietly() { "$@" >>"$here/output.log" 2>&1 || fail "$*"; }

# Asks again and again until the answer is yes, for at most a minute.
wait_until() {
    local deadline=$((SECONDS + 60))
    until "$@"; do
        [ "$SECONDS" -lt "$deadline" ] || fail "waited in vain until: $*"
        sleep 0.1
    done
}

# Each line of standard input names a file, which must be in the folder.
must_hold() {
    local file
    while read -r file; do
        [ -f "$1/$file" ] || fail "$file is missing in $1"
    done
}

# From here on the user is someone else, whatever the environment says.
as_new_user() {
    local variable
    for variable in $(compgen -e); do
        case "$variable" in TARNEL* | MUXLE* | TMUX | TMUX_PANE | TMUX_TMPDIR | XDG_*) unset "$variable" ;; esac
    done
    mkdir "$here/home"
    export HOME=$here/home TARNELD_SOCKET=$here/tarneld.sock MUXLE_SOCKET_PATH=$here/muxle.sock TARNEL_MACHINE=check
    cd "$HOME"
}

tmux_here() { TMUX= "$TMUX_PROGRAM" -S "$here/tmux.sock" -u -f /dev/null "$@"; }

# Runs a program until the check ends. Usage: start NAME PROGRAM ARGUMENTS; its output goes to NAME.log.
start() {
    local name=$1
    shift
    "$@" >"$here/$name.log" 2>&1 &
    children+=($!)
}

# Whether the daemon of the new user answers, through the relay of the program given.
answers_ping() {
    local reply
    reply=$(echo '{"id":1,"method":"ping"}' | "$1" bridge --socket "$TARNELD_SOCKET" 2>/dev/null) &&
        [[ "$reply" == *'"machine":"check"'*'"version":"'"$VERSION"'"'* ]]
}
