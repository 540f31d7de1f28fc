#!/bin/sh
# sound_server.sh pulse|pipewire DIRECTORY [PORT]: a sound server without a sound card, for one test, until standard
# input ends. What is played into the sink "room" is heard by the source "microphone"; "street" and "window" are
# another such pair. The socket is DIRECTORY/socket, the server's process id is in DIRECTORY/pid.
# Exits with 77 where the server is not installed.
set -eu
kind=$1
directory=$2
run=$directory/run
mkdir -p "$run"
chmod 700 "$run"
unset DISPLAY WAYLAND_DISPLAY DBUS_SESSION_BUS_ADDRESS PULSE_SERVER
export XDG_RUNTIME_DIR="$run" PULSE_RUNTIME_PATH="$run/pulse" HOME="$directory"
export XDG_CONFIG_HOME="$directory/config" XDG_STATE_HOME="$directory/state" XDG_CACHE_HOME="$directory/cache"

need() {
    for program in "$@"; do
        command -v "$program" >/dev/null || { echo "$program is not installed" >&2; exit 77; }
    done
}

case $kind in
pulse)
    need pulseaudio pactl pacat
    # Another rate and another number of channels than are asked for: converting is the server's part. The
    # socket comes last, so that whoever finds it finds everything. The loopback asks for
    # little latency, so that the sinks do not fall back to two seconds when a recording ends.
    cat >"$directory/room.pa" <<PA
load-module module-null-sink sink_name=room rate=44100 channels=2
load-module module-null-sink sink_name=street rate=44100 channels=2
load-module module-remap-source source_name=microphone master=room.monitor
load-module module-remap-source source_name=window master=street.monitor
load-module module-loopback source=room.monitor sink=street latency_msec=50
set-default-source microphone
load-module module-native-protocol-tcp listen=127.0.0.1 port=${3:-0} auth-cookie=$directory/other
load-module module-native-protocol-unix socket=$directory/socket
PA
    [ -n "${3:-}" ] || sed -i /protocol-tcp/d "$directory/room.pa"
    rm -f "$directory/socket"
    setsid pulseaudio -n --system=no --daemonize=no --use-pid-file=no --exit-idle-time=-1 --realtime=no \
        --high-priority=no --log-target=stderr --file="$directory/room.pa" 2>"$directory/log" </dev/null &
    server=$!
    ;;
pipewire)
    need pipewire wireplumber pipewire-pulse dbus-run-session pactl pacat
    cat >"$directory/session.sh" <<'SESSION'
pipewire & wireplumber & pipewire-pulse &
for attempt in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20; do
    pactl info >/dev/null 2>&1 && break
    sleep 0.25
done
# Mono, since PipeWire makes mono of two equal channels by adding 3 dB.
pactl load-module module-null-sink sink_name=room channels=1 channel_map=mono
pactl load-module module-remap-source source_name=microphone master=room.monitor channels=1 channel_map=mono
pactl set-default-source microphone
ln -s "$XDG_RUNTIME_DIR/pulse/native" "$HOME/socket"
wait
SESSION
    unset PULSE_RUNTIME_PATH
    setsid dbus-run-session -- sh "$directory/session.sh" >"$directory/log" 2>&1 </dev/null &
    server=$!
    ;;
*)
    echo "no such sound server: $kind" >&2
    exit 2
    ;;
esac
echo "$server" >"$directory/pid"
# The whole group, since a session has more than one process.
trap 'kill -- "-$server" 2>/dev/null || true; wait "$server" 2>/dev/null || true; exit 0' EXIT INT TERM
cat >/dev/null
