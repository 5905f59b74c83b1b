# Sees the launcher's windows in the roots of debian-root.sh, under X11 and under Wayland. Sourced,
# never run, by packaging/check.
# shellcheck shell=bash

identifier=org.brindle.Brindle
screen_pids=()
patience=60 # how many seconds anything may take

# become_player <name> [VARIABLE=VALUE…] <command…>: this shell becomes what a desktop starts: with the
# player's own environment, a folder for sockets, no terminal.
become_player() {
    # shellcheck disable=SC2154 # of debian-root.sh
    exec chroot --userspec=player:player "$debian_roots/$1" env -i HOME=/home/player USER=player \
        LANG=C.UTF-8 XDG_RUNTIME_DIR=/home/player/run PATH=/usr/local/bin:/usr/bin:/bin \
        "${@:2}" </dev/null
}

as_player() {
    (become_player "$@")
}

# until_so <what is wrong otherwise> <command…>: tries it again and again.
until_so() {
    local what=$1 end=$((SECONDS + patience))
    shift
    until "$@"; do
        [ "$SECONDS" -lt "$end" ] || fail "$what"
        sleep 0.1
    done
}

start_x11_screen() {
    mkdir -p /tmp/.X11-unix
    chmod 1777 /tmp/.X11-unix
    mkfifo "$debian_roots/display"
    Xvfb -displayfd 3 -ac -screen 0 1200x900x24 -nolisten tcp 3>"$debian_roots/display" \
        >"$debian_roots/xvfb.log" 2>&1 &
    screen_pids+=($!)
    DISPLAY=:$(head -n 1 "$debian_roots/display")
    export DISPLAY
    openbox >"$debian_roots/openbox.log" 2>&1 &
    screen_pids+=($!)
}

# x11_window <out>: prints the window's number once it is there.
x11_window() {
    timeout "$patience" xdotool search --sync --onlyvisible --name '^Brindle$' | head -n 1 || {
        cat "$1" >&2
        fail "no window came"
    }
}

# end_launcher <pid> <out>: by SIGTERM. It must end well, and have had nothing to complain about.
end_launcher() {
    local status=0
    kill -TERM "$1"
    wait "$1" || status=$?
    [ "$status" -eq 0 ] || {
        cat "$2"
        fail "the launcher ended with $status"
    }
    if [ -s "$2" ]; then
        cat "$2"
        fail "the launcher complained"
    fi
}

# big_enough <width> <height>
big_enough() {
    if [ "$1" -lt 560 ] || [ "$2" -lt 640 ]; then
        fail "the window is $1x$2"
    fi
}

# own_environment <name> <pid>: what it was started with and nothing more, but for what every shell
# sets ("PWD", "OLDPWD", "SHLVL", "_").
own_environment() {
    local more
    more=$(tr '\0' '\n' <"/proc/$2/environ" | grep -vE \
        '^(HOME|USER|LANG|XDG_RUNTIME_DIR|PATH|DISPLAY|WAYLAND_DISPLAY|PWD|OLDPWD|SHLVL|_)=' || true)
    [ -z "$more" ] || fail "$1: the launcher has more in its environment: $more"
}

# see_x11_window <name> <window class> <command…>: starts it, sees the window, ends it in good order.
see_x11_window() {
    local name=$1 class=$2 out=$debian_roots/$1.out pid window geometry
    shift 2
    become_player "$name" DISPLAY="$DISPLAY" "$@" >"$out" 2>&1 &
    pid=$!
    screen_pids+=("$pid")
    window=$(x11_window "$out")
    geometry=$(xdotool getwindowgeometry "$window" | sed -n 's/.*Geometry: //p')
    big_enough "${geometry%x*}" "${geometry#*x}"
    xprop -id "$window" WM_CLASS | grep ", \"$class\"\$" >/dev/null ||
        fail "the window is not of the class $class: $(xprop -id "$window" WM_CLASS)"
    own_environment "$name" "$pid"
    end_launcher "$pid" "$out"
    say "$name: a window of $geometry, of the class $class"
}

# see_launched_window <name> <program> <command…>: the command starts the program and ends itself.
see_launched_window() {
    local name=$1 program=$2 out=$debian_roots/$1.out pid window
    shift 2
    as_player "$name" DISPLAY="$DISPLAY" "$@" >"$out" 2>&1 || {
        cat "$out"
        fail "$1 failed"
    }
    window=$(x11_window "$out")
    pid=$(xdotool getwindowpid "$window")
    [ "$(readlink "/proc/$pid/exe")" = "$debian_roots/$name$program" ] ||
        fail "another program was started: $(readlink "/proc/$pid/exe")"
    kill -TERM "$pid"
    timeout 60 tail --pid="$pid" -f /dev/null || fail "the launcher does not end"
}

# wayland_window <name>: prints where the inside of the window with the launcher's app id is: x, y,
# width, height.
wayland_window() {
    # shellcheck disable=SC2016 # expanded by the inner shell
    as_player "$1" sh -c 'SWAYSOCK=$(echo /home/player/run/sway-ipc.*) swaymsg -r -t get_tree' \
        2>/dev/null | python3 -c '
import json, sys
def windows(node):
    if node.get("app_id") == sys.argv[1]:
        outer, inner = node["rect"], node["window_rect"]
        yield outer["x"] + inner["x"], outer["y"] + inner["y"], inner["width"], inner["height"]
    for child in node["nodes"] + node["floating_nodes"]:
        yield from windows(child)
nothing = "{\"nodes\": [], \"floating_nodes\": []}" # while sway is starting
for place in windows(json.loads(sys.stdin.read() or nothing)):
    print(*place)
' "$identifier" | grep .
}

# see_wayland_window <name> <scale> <command…>: the same under sway, which draws to no screen and takes
# its orders from no device. It does so for ordinary users alone. There is no X11 there.
see_wayland_window() {
    local name=$1 scale=$2 root=$debian_roots/$1 out=$debian_roots/$1.out pid compositor x y width height
    shift 2
    printf '%s\n' 'xwayland disable' "output HEADLESS-1 resolution 1500x1290 scale $scale" \
        'output HEADLESS-1 background #808890 solid_color' \
        "for_window [app_id=\".*\"] floating enable" >"$root/home/player/sway"
    rm -f "$root"/home/player/run/{sway-ipc,wayland}*
    become_player "$name" WLR_BACKENDS=headless WLR_RENDERER=pixman WLR_LIBINPUT_NO_DEVICES=1 \
        sway -c /home/player/sway >"$root.sway.log" 2>&1 &
    compositor=$!
    screen_pids+=("$compositor")
    until_so "sway does not start" test -S "$root/home/player/run/wayland-1"
    become_player "$name" WAYLAND_DISPLAY=wayland-1 "$@" >"$out" 2>&1 &
    pid=$!
    screen_pids+=("$pid")
    until_so "no window of the app id $identifier came: $(cat "$out")" \
        wayland_window "$name" >"$root.place"
    read -r x y width height <"$root.place"
    big_enough "$width" "$height"
    own_environment "$name" "$pid"
    until_so "nothing is drawn" colourful "$name" "$x,$y ${width}x$height"
    mkdir -p build/package/wayland
    as_player "$name" WAYLAND_DISPLAY=wayland-1 grim - >"build/package/wayland/$name-$scale.png"
    end_launcher "$pid" "$out"
    kill "$compositor"
    wait "$compositor" || true # Ignored: not what is looked at.
    say "$name: a window of ${width}x$height under Wayland at scale $scale"
}

# colourful <name> <place>: what stands there on Wayland's screen has the many colours of the banner.
colourful() {
    as_player "$1" WAYLAND_DISPLAY=wayland-1 grim -t ppm -g "$2" - | python3 -c '
import sys
pixels = sys.stdin.buffer.read()[15:]
sys.exit(len({pixels[at:at + 3] for at in range(0, len(pixels) - 2, 3)}) < 500)'
}
