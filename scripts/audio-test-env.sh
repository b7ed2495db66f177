#!/usr/bin/env bash
# A private PipeWire session for the capture tests: its own D-Bus session bus,
# pipewire, wireplumber, a null sink "test-sink" (the default sink) and a virtual
# microphone made with pw-loopback (whatever is played into the sink "mic-feed"
# comes out of the source "Virtual Mic", the default source).
#
# Everything lives in a fresh temporary runtime directory, so the session never
# talks to a desktop's server and works as root in CI without a user session.
#
#   audio-test-env.sh run CMD [ARGS...]   start, run CMD inside, always tear down
#   audio-test-env.sh start [OWNER_PID]   start and print "KEY=VALUE" lines to use;
#                                         tears itself down when OWNER_PID exits
#   audio-test-env.sh stop DIR            tear down the session in DIR
#   audio-test-env.sh restart-server DIR  kill pipewire (and its clients) and bring
#                                         the whole session back
#   audio-test-env.sh kill-server DIR     kill pipewire and its clients only
#   audio-test-env.sh plug DIR NAME...    add sources described as NAME (devices
#                                         plugged in); the sink feeding each is
#                                         "plug-NAME-feed", non-alphanumerics as "-"
#                                         NAME=NODE: node.name NODE, fed by "NODE-feed"
#                                         (two devices of one description)
#   audio-test-env.sh unplug DIR NAME     remove it again (the device pulled out)
#
# Inside the session: pw-play --target mic-feed FILE feeds the virtual microphone.
set -euo pipefail

readonly WAIT_SECONDS=10

die() { echo "audio-test-env: $*" >&2; exit 1; }

# The environment every process of the session (and every client) runs with.
session_env() {
    local dir=$1
    export XDG_RUNTIME_DIR=$dir/run
    export PIPEWIRE_RUNTIME_DIR=$dir/run
    export PULSE_RUNTIME_PATH=$dir/run/pulse
    export DBUS_SESSION_BUS_ADDRESS=unix:path=$dir/run/bus
    unset PIPEWIRE_REMOTE
}

# Starts a daemon in the background with its output in DIR/log/NAME.log and
# records its pid in DIR/pid/NAME.
spawn() {
    local dir=$1 name=$2; shift 2
    # Configuration and state of the daemons stay inside DIR too, so neither a
    # user's wireplumber state nor system-wide overrides change the defaults.
    XDG_CONFIG_HOME=$dir/config XDG_STATE_HOME=$dir/state XDG_DATA_HOME=$dir/data \
        setsid "$@" >>"$dir/log/$name.log" 2>&1 </dev/null &
    echo $! >"$dir/pid/$name"
}

# Waits until CONDITION (a shell command) succeeds, for at most WAIT_SECONDS.
wait_for() {
    local deadline=$((SECONDS + WAIT_SECONDS))
    until "$@" >/dev/null 2>&1; do
        ((SECONDS < deadline)) || return 1
        sleep 0.05
    done
}

# The node name of a plugged source: NODE for "NAME=NODE", else "plug-NAME" with
# non-alphanumerics as "-".
plug_tag() {
    if [[ $1 == *=* ]]; then echo "${1#*=}"; else echo "plug-$(echo "$1" | tr -c 'A-Za-z0-9\n' '-')"; fi
}

node_exists() { pw-cli ls Node 2>/dev/null | grep -q "node.name = \"$1\""; }

defaults_ready() {
    pw-metadata 0 2>/dev/null | grep -q "default.audio.source'.*virtual-mic" &&
        pw-metadata 0 2>/dev/null | grep -q "default.audio.sink'.*test-sink"
}

write_config() {
    local dir=$1
    mkdir -p "$dir/config/pipewire/pipewire.conf.d" "$dir/config/wireplumber/main.lua.d" \
             "$dir/config/wireplumber/bluetooth.lua.d" "$dir/state" "$dir/data"
    # The null sink belongs to the server's own configuration, so a restarted
    # server has it again without anyone recreating it.
    cat >"$dir/config/pipewire/pipewire.conf.d/50-test-sink.conf" <<'EOF'
context.objects = [
  { factory = adapter
    args = {
      factory.name     = support.null-audio-sink
      node.name        = "test-sink"
      node.description = "test-sink"
      media.class      = "Audio/Sink"
      audio.position   = [ FL FR ]
      priority.session = 2000
      monitor.channel-volumes = true
    }
  }
]
EOF
    # No hardware in a test session: skip the device monitors (they only slow
    # start-up and print warnings in containers).
    cat >"$dir/config/wireplumber/main.lua.d/51-test-session.lua" <<'EOF'
alsa_monitor.enabled = false
v4l2_monitor.enabled = false
libcamera_monitor.enabled = false
EOF
    cat >"$dir/config/wireplumber/bluetooth.lua.d/51-test-session.lua" <<'EOF'
bluez_monitor.enabled = false
EOF
}

# A loopback whose sink SINK_NAME plays out of the source SOURCE_NAME described
# as DESCRIPTION; PRIORITY decides which source wireplumber picks as default.
spawn_loopback() {
    local dir=$1 tag=$2 sink_name=$3 source_name=$4 description=$5 priority=$6
    spawn "$dir" "$tag" pw-loopback --name "$tag" \
        --capture-props="media.class=Audio/Sink node.name=$sink_name node.description=$sink_name priority.session=100" \
        --playback-props="media.class=Audio/Source node.name=$source_name node.description=\"$description\" priority.session=$priority"
}

start_clients() {
    local dir=$1
    spawn "$dir" wireplumber wireplumber
    spawn_loopback "$dir" mic-loopback mic-feed virtual-mic "Virtual Mic" 2000
    wait_for node_exists test-sink || die "test-sink did not appear (see $dir/log)"
    wait_for node_exists virtual-mic || die "Virtual Mic did not appear (see $dir/log)"
    wait_for defaults_ready || die "wireplumber did not choose the defaults (see $dir/log)"
}

start_server() {
    local dir=$1
    spawn "$dir" pipewire pipewire
    wait_for test -S "$dir/run/pipewire-0" || die "pipewire did not start (see $dir/log)"
}

# True while PID runs. A zombie counts as gone: the daemons are re-parented to
# whatever init the machine has, and some reap their orphans only every few seconds.
alive() {
    local state
    state=$(ps -o stat= -p "$1" 2>/dev/null) || return 1
    [[ $state != Z* ]]
}

kill_pid_file() {
    local file=$1
    [[ -f $file ]] || return 0
    local pid
    pid=$(<"$file")
    rm -f "$file"
    kill -TERM "$pid" 2>/dev/null || return 0
    local deadline=$((SECONDS + 3))
    while alive "$pid"; do
        if ((SECONDS >= deadline)); then kill -KILL "$pid" 2>/dev/null || true; break; fi
        sleep 0.02
    done
}

# Stops every client first, then the server, then the bus.
stop_session() {
    local dir=$1
    [[ -d $dir/pid ]] || return 0
    local f
    for f in "$dir"/pid/*; do
        case $(basename "$f") in pipewire|dbus|watchdog|'*') ;; *) kill_pid_file "$f" ;; esac
    done
    kill_pid_file "$dir/pid/pipewire"
    kill_pid_file "$dir/pid/dbus"
}

start_session() {
    local dir
    dir=$(mktemp -d "${TMPDIR:-/tmp}/kelvra-audio.XXXXXX")
    mkdir -p "$dir/run" "$dir/pid" "$dir/log"
    chmod 700 "$dir/run"
    session_env "$dir"
    write_config "$dir"
    spawn "$dir" dbus dbus-daemon --session --nofork --nopidfile --address="$DBUS_SESSION_BUS_ADDRESS"
    wait_for test -S "$dir/run/bus" || { stop_session "$dir"; die "dbus-daemon did not start"; }
    if ! (start_server "$dir" && start_clients "$dir"); then
        stop_session "$dir"
        exit 1
    fi
    echo "$dir"
}

print_env() {
    local dir=$1
    echo "KELVRA_AUDIO_TEST_DIR=$dir"
    echo "XDG_RUNTIME_DIR=$dir/run"
    echo "PIPEWIRE_RUNTIME_DIR=$dir/run"
    echo "PULSE_RUNTIME_PATH=$dir/run/pulse"
    echo "DBUS_SESSION_BUS_ADDRESS=unix:path=$dir/run/bus"
}

check_dir() {
    [[ -n ${1:-} && -d $1/pid ]] || die "not a test session directory: ${1:-}"
}

kill_server() {
    local dir=$1
    # SIGKILL: the server vanishes the way a crash would make it vanish.
    if [[ -f $dir/pid/pipewire ]]; then
        local pid
        pid=$(<"$dir/pid/pipewire")
        rm -f "$dir/pid/pipewire"
        kill -KILL "$pid" 2>/dev/null || true
        while alive "$pid"; do sleep 0.02; done
    fi
    local f
    for f in "$dir"/pid/*; do
        case $(basename "$f") in dbus|watchdog|'*') ;; *) kill_pid_file "$f" ;; esac
    done
    rm -f "$dir/run/pipewire-0" "$dir/run/pipewire-0.lock" "$dir/run/pipewire-0-manager" \
          "$dir/run/pipewire-0-manager.lock"
}

cmd=${1:-}
shift || true
case $cmd in
run)
    [[ $# -gt 0 ]] || die "run needs a command"
    dir=$(start_session)
    trap 'stop_session "$dir"; rm -rf "$dir"' EXIT
    trap 'exit 130' INT TERM
    session_env "$dir"
    export KELVRA_AUDIO_TEST_DIR=$dir
    status=0
    "$@" || status=$?
    exit $status
    ;;
start)
    owner=${1:-}
    dir=$(start_session)
    if [[ -n $owner ]]; then
        # The owner may crash without calling stop; nothing may outlive it.
        self=$(readlink -f "$0")
        setsid bash -c 'while ps -o stat= -p "$1" | grep -qv "^Z"; do sleep 0.2; done; "$2" stop "$3"' \
            watchdog "$owner" "$self" "$dir" >/dev/null 2>&1 </dev/null &
        echo $! >"$dir/pid/watchdog"
    fi
    print_env "$dir"
    ;;
stop)
    check_dir "${1:-}"
    dir=$1
    if [[ -f $dir/pid/watchdog && $(<"$dir/pid/watchdog") != "$PPID" ]]; then
        kill_pid_file "$dir/pid/watchdog"
    fi
    stop_session "$dir"
    rm -rf "$dir"
    ;;
kill-server)
    check_dir "${1:-}"
    session_env "$1"
    kill_server "$1"
    ;;
restart-server)
    check_dir "${1:-}"
    dir=$1
    session_env "$dir"
    kill_server "$dir"
    start_server "$dir"
    start_clients "$dir"
    ;;
plug)
    check_dir "${1:-}"
    [[ -n ${2:-} ]] || die "plug needs a device name"
    dir=$1; shift
    session_env "$dir"
    # All devices first, then the waits: several names arrive as one burst of changes.
    tags=()
    for name in "$@"; do
        tag=$(plug_tag "$name")
        [[ ! -f $dir/pid/$tag ]] || die "$name is already plugged in"
        spawn_loopback "$dir" "$tag" "$tag-feed" "$tag" "${name%%=*}" 100
        tags+=("$tag")
    done
    for tag in "${tags[@]}"; do
        wait_for node_exists "$tag" || die "$tag did not appear"
    done
    ;;
unplug)
    check_dir "${1:-}"
    [[ -n ${2:-} ]] || die "unplug needs a device name"
    dir=$1 name=$2
    kill_pid_file "$dir/pid/$(plug_tag "$name")"
    ;;
*)
    sed -n '2,22p' "$0" >&2
    exit 2
    ;;
esac
