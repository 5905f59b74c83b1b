#!/usr/bin/python3
"""The game comes to the front under Wayland. Each start has a new token of the compositor's, and
never the launcher's own. A silent compositor delays nothing.

usage: see_the_game_in_front.py WINDOWPROGRAM LAUNCHER

Needs the desktop of on-wayland-desktop. The launcher's engine writes its environment to a file and
becomes the first program.
"""

import json
import os
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

LONGEST_WAIT = 60
PERMISSIONS = ("XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID")
sway = int(os.environ["SWAY_PID"])


def until(what, condition, longest=LONGEST_WAIT):
    """Waits until the condition holds. Returns the condition's value."""
    deadline = time.monotonic() + longest
    while not (found := condition()):
        if launcher.poll() is not None:
            sys.exit(f"the launcher ended while waiting for {what}")
        if time.monotonic() > deadline:
            sys.exit(f"waited in vain for {what}; starts: {starts('*')}")
        time.sleep(0.05)
    return found


def windows():
    """Returns whether each visible window has the keyboard, by process."""
    tree = json.loads(subprocess.check_output(["swaymsg", "-r", "-t", "get_tree"]))
    found = {}

    def look(node):
        if "pid" in node:
            found[node["pid"]] = node["focused"]
        for child in node["nodes"] + node["floating_nodes"]:
            look(child)

    look(tree)
    return found


def starts(kind):
    """Returns the permissions of each start of the engine, by process, in order."""
    found = {}
    for file in sorted(engine.parent.glob(f"{kind}.*"), key=lambda file: file.stat().st_mtime_ns):
        lines = dict(line.split("=", 1) for line in file.read_text().splitlines() if "=" in line)
        found[int(file.suffix[1:])] = {name: lines[name] for name in PERMISSIONS if name in lines}
    return found


def press_play(what, condition):
    """Presses the launcher's button until the condition holds, because the first key of a new
    keyboard can get lost."""
    until("the keyboard at the launcher", lambda: windows().get(launcher.pid))

    def press():
        if condition():
            return True
        subprocess.run("wtype -s 200 -P space -s 50 -p space -s 200".split(), check=True)
        patience = time.monotonic() + 3
        while not condition() and time.monotonic() < patience:
            time.sleep(0.02)
        return condition()

    until(what, press)


def play_again():
    """Starts the game, whose window comes to the front. Returns the game's process and token."""
    before = set(starts("play"))
    press_play("another start", lambda: set(starts("play")) - before)
    (game,) = set(starts("play")) - before
    permissions = starts("play")[game]
    if set(permissions) != {"XDG_ACTIVATION_TOKEN"}:
        sys.exit(f"the game was not given a token and nothing else: {permissions}")
    until("the game in front", lambda: windows().get(game))
    return game, permissions["XDG_ACTIVATION_TOKEN"]


def end(game):
    os.kill(game, signal.SIGTERM)
    until("the game's end", lambda: game not in windows())


def play_beside_a_silent_compositor():
    """Stops the compositor during the import, and continues it when the game has started."""
    press_play("the import", lambda: starts("import"))
    os.kill(sway, signal.SIGSTOP)
    go_on.write_text("\n")
    try:
        until("the start of the game", lambda: starts("play"))
    finally:
        os.kill(sway, signal.SIGCONT)
    ((game, permissions),) = starts("play").items()
    if permissions:
        sys.exit(f"no compositor gave these: {permissions}")
    until("the game's window", lambda: game in windows())
    if windows()[game]:
        sys.exit("this compositor brings windows to the front without a token")
    return game


def play_three_times():
    until("the launcher's window", lambda: windows().get(launcher.pid))
    end(play_beside_a_silent_compositor())
    first, token = play_again()
    end(first)
    second, another = play_again()
    if token == another:
        sys.exit("two starts have the same token")
    end(second)
    if len(starts("import")) != 1 or any(starts("import").values()):
        sys.exit(f"the import was given a permission, or was not the only one: {starts('import')}")


def close_launcher():
    """Closes the launcher's window. The key Return presses Quit if the game still runs."""
    deadline = time.monotonic() + LONGEST_WAIT
    while launcher.poll() is None:
        if time.monotonic() > deadline:
            sys.exit("the launcher does not end")
        subprocess.run(["swaymsg", f"[pid={launcher.pid}]", "kill"], stdout=subprocess.DEVNULL)
        time.sleep(0.5)
        # Each wtype starts its clock at 0. Without the Shift, its Return would count as a quick second
        # press of the Return before.
        subprocess.run(["wtype", "-k", "Shift_L", "-k", "Return"], check=False)
    if launcher.returncode != 0:
        sys.exit(f"the launcher ended with {launcher.returncode}")


with tempfile.TemporaryDirectory() as folder:
    engine = Path(folder, "engine")
    go_on = Path(folder, "go-on")  # the import waits for a line
    os.mkfifo(go_on)
    engine.write_text(f"""#!/bin/sh
case "$*" in *--import*) kind=import ;; *) kind=play ;; esac
env >"{folder}/new.$$"
mv "{folder}/new.$$" "{folder}/$kind.$$"
[ $kind = play ] || exec head -n 1 "{go_on}"
exec '{sys.argv[1]}'
""")
    engine.chmod(0o755)
    launcher = subprocess.Popen(
        [sys.argv[2], "--hands-on", "--engine", engine],
        env={**os.environ, "TMPDIR": folder, "XDG_RUNTIME_DIR": folder,
             **dict.fromkeys(PERMISSIONS, "the launcher's own")})
    try:
        play_three_times()
        close_launcher()
    finally:
        if launcher.poll() is None:
            launcher.kill()
            launcher.wait()
        for process in starts("play"):
            try:
                os.kill(process, signal.SIGKILL)
            except ProcessLookupError:
                pass  # it has ended
