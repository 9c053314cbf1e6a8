#!/usr/bin/env bash
# kq-live's CPU beside its pipeline: the process's CPU time (from /proc/PID/stat) with no
# viewer and while serving 4 viewers of channel 0 (H.264 and AAC, ffmpeg clients over
# TCP), the clients' own, and the delays from capture to frame callback and from there
# to the RTSP server's sinks that kq-live --delay-stats measures. Figures, not a verdict.
# usage: live_viewers.sh KQ_LIVE [SECONDS]
set -euo pipefail
live=${1:?usage: live_viewers.sh KQ_LIVE [SECONDS]}
seconds=${2:-10}
viewers=4
out=$(mktemp -d)
clients=()
cleanup() {
    kill "${clients[@]}" "$pid" 2>/dev/null || true
    rm -rf "$out"
}
"$live" --rtsp-port 0 --out "$out" --delay-stats >"$out/stdout" 2>"$out/stderr" &
pid=$!
trap cleanup EXIT
for _ in $(seq 100); do grep -q '^rtsp://' "$out/stdout" && break; sleep 0.1; done
url=$(sed -n 's|^\(rtsp://[^ ]*/ch0\) .*|\1|p' "$out/stdout")
[ -n "$url" ] || { cat "$out/stderr" >&2; exit 1; }

# CPU ticks (user and system) of the processes given.
ticks() {
    local total=0 p
    for p in "$@"; do total=$((total + $(awk '{print $14 + $15}' "/proc/$p/stat"))); done
    echo "$total"
}
# The percentage of one core `ticks` over `seconds` come to.
percent() {
    awk -v t="$1" -v hz="$(getconf CLK_TCK)" -v s="$seconds" 'BEGIN { printf "%.1f", t * 100 / hz / s }'
}

sleep 2
before=$(ticks "$pid")
sleep "$seconds"
idle=$(percent $(($(ticks "$pid") - before)))
for _ in $(seq "$viewers"); do
    ffmpeg -nostdin -v error -rtsp_transport tcp -i "$url" -t $((seconds + 6)) -f null - \
        2>>"$out/clients" &
    clients+=($!)
done
sleep 3
before=$(ticks "$pid")
beforeClients=$(ticks "${clients[@]}")
sleep "$seconds"
busy=$(percent $(($(ticks "$pid") - before)))
decoding=$(percent $(($(ticks "${clients[@]}") - beforeClients)))
wait "${clients[@]}" 2>/dev/null || true
clients=()
kill -TERM "$pid"
wait "$pid" || true

echo "kq-live CPU, 1080p25 H.264 + 640x360 MJPEG + AAC, over ${seconds} s:"
echo "  no viewer:            ${idle} % of a core"
echo "  ${viewers} viewers of ch0:     ${busy} % of a core (kq-live alone)"
awk -v i="$idle" -v b="$busy" -v n="$viewers" \
    'BEGIN { printf "  each viewer adds:     %.1f %% of a core\n", (b - i) / n }'
echo "  the ${viewers} ffmpeg clients: ${decoding} % of a core (decoding)"
sed -n 's/^delay from/  delay from/p' "$out/stdout"
if [ -s "$out/clients" ]; then
    echo "  the clients said:"
    sed 's/^/    /' "$out/clients" | head -5
fi
