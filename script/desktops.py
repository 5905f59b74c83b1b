#!/usr/bin/python3
"""Drives the installed launcher on a real desktop without a screen.

usage: desktops.py gnome|plasma PICTURES [CASE…]

script/desktops starts it as root, in a copy of the system and in namespaces of its own.
"""

import functools
import hashlib
import http.server
import json
import os
import pathlib
import shlex
import shutil
import ssl
import subprocess
import sys
import threading
import time

import dbus
import gi
from PIL import Image, ImageChops, ImageGrab

gi.require_version("Atspi", "2.0")
from gi.repository import GLib  # noqa: E402

PATIENCE = 120  # seconds
LAUNCHER = "Brindle"
GAME = "Brindle Skirmish (DEBUG)"
ID = "org.brindle.Brindle.desktop"
ROOT = pathlib.Path("/tmp/desktop")
SCREEN = "2560x1600"  # the window has room at each scale


def until(what, condition):
    """Serves events until the condition holds. Returns the condition's value."""
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        while GLib.MainContext.default().iteration(False):
            pass
        try:
            if found := condition():
                return found
        except (GLib.Error, LookupError, dbus.DBusException):
            pass  # The object does not exist yet.
        time.sleep(0.1)
    raise AssertionError(f"waited in vain for {what}")


def run(command):
    subprocess.run(shlex.split(command), check=True, capture_output=True, text=True)


def remote(name, path=None, interface=None, bus=dbus.SessionBus):
    return dbus.Interface(bus().get_object(name, path or "/" + name.replace(".", "/")),
                          interface or name)


class Host(http.server.SimpleHTTPRequestHandler):
    """Serves a folder as the code host. While the gate is closed, bodies stop in the middle."""

    gate = threading.Event()
    log_message = lambda *ignored: None

    def copyfile(self, source, output):
        output.write(source.read(os.fstat(source.fileno()).st_size // 2))
        self.gate.wait()
        output.write(source.read())

    @classmethod
    def open(cls):
        pathlib.Path("/etc/hosts").write_text("127.0.0.1 localhost github.com\n")
        key, certificate = "/etc/host.key", "/etc/ssl/certs/ca-certificates.crt"
        run("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj /CN=github.com "
            f"-addext subjectAltName=DNS:github.com -keyout {key} -out {certificate}")
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(certificate, key)
        server = http.server.ThreadingHTTPServer(
            ("127.0.0.1", 443), functools.partial(cls, directory=ROOT / "host"))
        server.handle_error = lambda *ignored: None  # from killed clients
        server.socket = context.wrap_socket(server.socket, server_side=True)
        threading.Thread(target=server.serve_forever, daemon=True).start()

    @staticmethod
    def offer(game, platform):
        """Offers the sample game, and an engine whose windows use this platform of Qt."""
        parts, host = ROOT / "parts", ROOT / "host"
        shutil.rmtree(parts, ignore_errors=True)
        shutil.copytree("demo/addon", parts / "brindle-minimap-HEAD")
        shutil.copytree("demo/game", parts / "godot-brindle-main")
        (parts / "godot-brindle-main/sample-engine.ini").write_text(game)
        (parts / "godot-brindle-main/music.ogg").write_bytes(os.urandom(12_000_000))
        program = parts / f"Godot_v4.3-stable_linux.{os.uname().machine}"
        program.write_text(f"#!/bin/sh\nexport QT_QPA_PLATFORM={platform}\n"
                           f"exec {os.getcwd()}/build/release/bin/sample-engine \"$@\"\n")
        program.chmod(0o755)
        release = host / "godotengine/godot-builds/releases/download/4.3-stable"
        for content, archive in (
                ("brindle-minimap-HEAD", host / "tessel-works/brindle-minimap/archive/HEAD"),
                ("godot-brindle-main", host / "tessel-works/godot-brindle/archive/refs/heads/main"),
                (program.name, release / program.name)):
            made = shutil.make_archive(archive, "zip", parts, content)
        digest = hashlib.sha512(pathlib.Path(made).read_bytes()).hexdigest()
        (release / "SHA512-SUMS.txt").write_text(f"{digest}  {program.name}.zip\n")


class Desktop:
    """A desktop session with its buses, input, windows and pictures."""

    def __init__(self, pictures):
        self.pictures = pictures
        (ROOT / "run").mkdir(mode=0o700, parents=True)
        os.environ.clear()
        os.environ.update(
            HOME=f"{ROOT}/home", XDG_RUNTIME_DIR=f"{ROOT}/run", XDG_SESSION_TYPE="wayland",
            LANG="C.UTF-8", PATH="/usr/bin:/bin", LIBGL_ALWAYS_SOFTWARE="1", GTK_A11Y="none",
            QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", WAYLAND_DISPLAY="wayland-0", DISPLAY=":0",
            **self.ENVIRONMENT)
        for kind in ("SYSTEM", "SESSION"):
            daemon = self.spawn("dbus-daemon --session --nofork --print-address",
                                stdout=subprocess.PIPE, text=True)
            os.environ[f"DBUS_{kind}_BUS_ADDRESS"] = daemon.stdout.readline().strip()
        self.spawn("/usr/lib/systemd/systemd-logind")
        self.set_up()
        from gi.repository import Atspi  # connects to the bus at once
        self.atspi = Atspi

    def spawn(self, command, **options):
        command = shlex.split(command)
        log = open(self.pictures / f"{pathlib.Path(command[0]).name}.log", "wb")
        return subprocess.Popen(command, **{"stdout": log, "stderr": log, **options})

    def set(self, what, value=""):
        run(self.SETTINGS[what].format(value))

    # Functions for the accessibility tree, which screen readers use.

    def find(self, name, *states, program=LAUNCHER):
        """Returns the innermost shown item whose name begins with `name`."""
        wanted = [getattr(self.atspi.StateType, state) for state in ("SHOWING", *states)]
        items, found = [self.atspi.get_desktop(0)], None
        for item in items:
            item.clear_cache()
            children = (item.get_child_at_index(i) for i in range(item.get_child_count()))
            items += [child for child in children
                      if child and (item is not items[0] or child.get_name() == program)]
            if item.get_name().startswith(name) and all(map(item.get_state_set().contains, wanted)):
                found = item
        return found

    def see(self, name, *states):
        return until(f"\"{name}\" {' '.join(states)}", lambda: self.find(name, *states))

    def focused(self):
        return self.see("", "FOCUSED").get_name()

    def choose(self, name):
        """Moves the focus to an item by Tab, and presses it."""
        for _ in range(25):
            if (before := self.focused()).startswith(name):
                return self.press("space")
            self.press("Tab")
            until("the next focus", lambda: self.focused() != before)
        raise AssertionError(f"Tab does not lead to \"{name}\"")

    # Functions for windows and processes.

    def window(self, title=LAUNCHER):
        return next((window for window in self.windows() if window["title"] == title), None)

    def in_front(self, title=LAUNCHER):
        """Waits until the window is on top and has the keyboard. Returns the window."""
        return until(f"\"{title}\" in front", lambda: next(
            (top for top in self.windows()[-1:] if top["title"] == title and top["focus"]), None))

    def processes(self):
        found = subprocess.run(["pgrep", "-r", "DRST", "-x", "brindle"], stdout=subprocess.PIPE)
        return found.stdout.split()

    def end(self, how="TERM"):
        subprocess.run(["pkill", f"-{how}", "-x", "brindle"], check=False)
        until("the launcher's end", lambda: not self.processes())

    def start(self):
        """Starts the launcher from the desktop's shell, with an empty storage."""
        self.end()
        shutil.rmtree(ROOT / "home/.local/share/Brindle", ignore_errors=True)
        Host.gate.set()
        self.come()
        self.see("Play", "FOCUSED")

    def come(self):
        """Starts the launcher from the shell, or brings a running launcher to the front."""
        self.launch()
        return self.in_front()

    def play(self, game="playSeconds=600\n", platform="wayland", half=False):
        """Presses Play. With `half`, stops in the download; otherwise waits for the game's window."""
        Host.offer(game, platform)
        self.start()
        if half:
            Host.gate.clear()
        self.press("space")
        return self.see("Cancel") if half else self.in_front(GAME)

    # Functions for pictures.

    def picture(self, name, scale=1):
        """Saves the screen and the launcher's window, once nothing moves. Returns the window."""
        screen = self.capture()
        for _ in range(4):  # not for ever, because a game always moves
            before, screen = screen, self.capture()
            if before == screen:
                break
        screen.save(self.pictures / f"{name}.png")
        if shown := self.window():
            screen = screen.crop([round(edge * scale) for edge in shown["frame"]])
            screen.save(self.pictures / f"{name}.window.png")
        return screen

    def picture_both(self, name):
        """Saves the window in dark and in light."""
        for look in ("dark", "light"):
            self.turn(look)
            self.picture(f"{name}-{look}")

    def turn(self, look):
        """Makes the desktop dark or light. Waits until title bar and background follow."""
        def has_look():
            left, top, _, bottom = self.window()["frame"]
            screen = self.capture()
            return all(is_dark(screen, place) == (look == "dark")
                       for place in ((left + 60, top + 12), (left + 12, bottom - 12)))
        self.set(look)
        until(f"the {look} window", has_look)


def is_dark(image, place):
    return sum(image.getpixel(place)[:3]) < 300


class Gnome(Desktop):
    ENVIRONMENT = {"XDG_CURRENT_DESKTOP": "GNOME", "XDG_SESSION_DESKTOP": "gnome"}
    SETTINGS = {key: f"gsettings set org.gnome.desktop.interface {value}" for key, value in (
        ("dark", "color-scheme prefer-dark"), ("light", "color-scheme default"),
        ("accent", "accent-color purple"), ("font", "font-name 'Cantarell {}'"))}
    MINIMISE = "Super_L+h"
    FIRST_FRAME = ROOT / "first.png"

    def set_up(self):
        run("gsettings set org.gnome.desktop.interface enable-animations false")
        run("gsettings set org.gnome.mutter experimental-features \"['scale-monitor-framebuffer']\"")
        # The session manager starts the shell.
        sessions = pathlib.Path("/etc/xdg/gnome-session/sessions")
        sessions.mkdir(parents=True)
        (sessions / "bare.session").write_text(
            "[GNOME Session]\nName=Bare\nRequiredComponents=org.gnome.Shell;\n")
        options = f"--headless --wayland --unsafe-mode --virtual-monitor {SCREEN}"
        run(f"sed -i 's/^Exec=.*/Exec=gnome-shell {options}/; /HiddenUnderSystemd/d'"
            " /usr/share/applications/org.gnome.Shell.desktop")
        self.spawn("/usr/libexec/gnome-session-binary --session=bare --disable-acceleration-check")
        until("GNOME Shell", lambda: self.script("Main.layoutManager._startingUp === false"))
        self.script(f"""
            Object.assign(globalThis, {{Clutter: imports.gi.Clutter, Shell: imports.gi.Shell}});
            globalThis.keyboard = Clutter.get_default_backend().get_default_seat()
                .create_virtual_device(Clutter.InputDeviceType.KEYBOARD_DEVICE);
            global.display.connect('window-created', (_, w) => w.get_compositor_private().connect(
                'first-frame', actor => w.title == '{LAUNCHER}'
                    && actor.get_image(null).writeToPNG('{self.FIRST_FRAME}')));
            Main.overview.hide()""")

    def script(self, text):
        good, answer = remote("org.gnome.Shell").Eval(text)
        assert good, f"GNOME Shell: {answer}"
        return json.loads(answer) if answer else None

    def press(self, chord):
        keys = chord.split("+")
        for state, order in (("PRESSED", keys), ("RELEASED", keys[::-1])):
            for key in order:
                self.script(f"""keyboard.notify_keyval(imports.gi.GLib.get_monotonic_time(),
                    Clutter.KEY_{key}, Clutter.KeyState.{state})""")

    def capture(self):
        file = ROOT / "capture.png"
        remote("org.gnome.Shell.Screenshot").Screenshot(False, False, str(file))
        return Image.open(file).convert("RGB")

    def launch(self):
        self.script(f"""Main.messageTray.getSources().forEach(s => s.destroy());
            Shell.AppSystem.get_default().lookup_app('{ID}').launch(
                global.display.get_current_time_roundtrip(), -1, Shell.AppLaunchGpu.DEFAULT)""")

    def windows(self):
        return self.script("""global.display.sort_windows_by_stacking(
            global.get_window_actors().map(a => a.meta_window)).filter(
                w => w.title && !w.minimized && w.get_wm_class() != 'Gnome-shell').map(w => {
            const r = w.get_frame_rect();
            return { title: w.title, focus: w.has_focus(), x11: w.get_client_type() == 1,
                id: Shell.WindowTracker.get_default().get_window_app(w)?.get_id(),
                frame: [r.x, r.y, r.x + r.width, r.y + r.height]}})""")

    def scale(self, wanted):
        display = remote("org.gnome.Mutter.DisplayConfig")
        serial, (((connector, *_), (mode, *_), _), ), *_ = display.GetCurrentState()
        fitting = min(mode[5], key=lambda offered: abs(offered - wanted))
        display.ApplyMonitorsConfig(
            serial, 1, [(0, 0, fitting, dbus.UInt32(0), True, [(connector, mode[0], {})])], {})

    def notified(self, title):
        return title in self.script("""Main.messageTray.getSources().flatMap(s => s.notifications)
            .map(n => n.title)""")

    def log_out(self):
        remote("org.gnome.SessionManager").Logout(dbus.UInt32(1))  # 1: without a question


class Plasma(Desktop):
    """Runs in a window of a virtual X server: without a graphics card KWin 6 takes no pictures."""

    VERSION = 6 if shutil.which("kwriteconfig6") else 5
    ENVIRONMENT = {
        "XDG_CURRENT_DESKTOP": "KDE", "KDE_FULL_SESSION": "true", "KDE_SESSION_VERSION": str(VERSION),
        "XDG_MENU_PREFIX": "plasma-" if VERSION > 5 else "kf5-",
        "QT_LOGGING_RULES": "kwin_scripting.debug=true"}
    SETTINGS = {
        "dark": "plasma-apply-colorscheme BreezeDark",
        "light": "plasma-apply-colorscheme BreezeLight",
        "accent": "plasma-apply-colorscheme --accent-color purple",
        "font": f"kwriteconfig{VERSION} --file kdeglobals --group General --key font"
                " 'Noto Sans,{},-1,5,50,0,0,0,0,0'",
        "scale": "kscreen-doctor output.1.scale.{}"}
    MINIMISE = "Super_L+Next"
    FIRST_FRAME = None  # KWin's scripts can't see it
    WINDOWS = """(workspace.windowList ?? workspace.clientList)()
        .sort((a, b) => a.stackingOrder - b.stackingOrder)
        .filter(w => w.normalWindow && w.caption && !w.minimized)
        .map(w => ({ title: w.caption, focus: w.active, id: w.desktopFileName + '.desktop',
            x11: w.windowId > 0 || String(w).includes('X11'),
            frame: [w.x, w.y, w.x + w.width, w.y + w.height] }))"""

    def set_up(self):
        shutil.copy("/usr/bin/kwin_wayland", ROOT)  # a copy, without capabilities
        pathlib.Path("/etc/xdg/kdeglobals").write_text("[KDE]\nAnimationDurationFactor=0\n")
        self.scripts = 0
        self.spawn(f"Xvfb :9 -screen 0 {SCREEN}x24")
        until("the X server", pathlib.Path("/tmp/.X11-unix/X9").exists)
        width, height = SCREEN.split("x")
        self.shell = self.spawn(f"{ROOT}/kwin_wayland --x11-display :9 --width {width}"
                                f" --height {height} --no-lockscreen --xwayland")
        until("KWin", lambda: remote("org.kde.KWin", "/KWin").supportInformation())
        run("env DISPLAY=:9 xdotool mousemove 1 800")
        for look in ("dark", "light"):  # Plasma writes Breeze's colours at a user's first start
            self.set(look)
        self.spawn("plasmashell")

    def press(self, chord):
        run(f"env DISPLAY=:9 xdotool key {chord}")

    def capture(self):
        return ImageGrab.grab(xdisplay=":9")

    def launch(self):
        """Starts the launcher by the shell's search, which may permit it to come to the front."""
        def active():
            return self.find("", "ACTIVE", program="krunner")

        def found():
            if active() and self.find(LAUNCHER, program="krunner"):
                return True
            remote("org.kde.krunner", "/App", "org.kde.krunner.App").querySingleRunner(
                "krunner_services", LAUNCHER)
        until("a result", found)
        self.press("Return")
        until("the search's end", lambda: not active())

    def windows(self):
        """Asks KWin by a script, which answers in KWin's log."""
        self.scripts += 1
        mark = f"answer {self.scripts}: "
        file = ROOT / f"script-{self.scripts}.js"
        file.write_text(f"print('{mark}' + JSON.stringify({self.WINDOWS}))")
        number = remote("org.kde.KWin", "/Scripting", "org.kde.kwin.Scripting").loadScript(str(file))
        remote("org.kde.KWin", f"/Scripting/Script{number}" if self.VERSION > 5 else f"/{number}",
               "org.kde.kwin.Script").run()
        log = self.pictures / "kwin_wayland.log"
        return json.loads(until("KWin's answer", lambda: log.read_text(
            errors="replace").partition(mark)[2].partition("\n")[0]))

    def scale(self, wanted):
        self.set("scale", wanted)

    def notified(self, title):
        return self.find(title, program="plasmashell")

    def log_out(self):
        self.shell.terminate()  # the session manager of Plasma 5.27 asks no Wayland client


def window(desktop):
    """The window has the app's name, icon and keyboard, and follows dark and light, even while it is
    open."""
    desktop.start()
    shown = desktop.window()
    assert shown["id"] == ID, f"the window is the app's: {shown}"
    assert not shown["x11"], "the launcher is a Wayland client"
    desktop.picture_both("window")
    frame = desktop.window()["frame"]
    desktop.turn("dark")
    assert desktop.window()["frame"] == frame, "the window keeps its one title bar"
    desktop.start()
    if desktop.FIRST_FRAME:
        first = Image.open(desktop.FIRST_FRAME).convert("RGB")
        first.save(desktop.pictures / "first.png")
        assert is_dark(first, (first.width // 2, first.height - 12)), "the first frame is dark"
    desktop.turn("light")


def tour(desktop):
    """Each sheet and alert lies in the one window. The keyboard alone reaches all of them."""
    desktop.play()
    desktop.come()
    desktop.choose("Stop")
    desktop.see("Play", "ENABLED")
    for steps, title in ((["Show log"], "Log"), (["About"], "About Brindle"), (["Settings"], "Settings"),
                         (["Settings", "Remove everything"], "Remove")):
        for step in steps:
            desktop.choose(step)
        desktop.see(title)
        desktop.picture_both(f"tour-{title.split()[0].lower()}")
        assert len(desktop.windows()) == 1, f"{title} is in the window: {desktop.windows()}"
        desktop.press("Escape")
        until("the focus back", lambda: desktop.focused() == steps[0])


def fonts(desktop):
    """Play grows with the desktop's font."""
    heights = []
    for points in (9, 16, 11):
        desktop.set("font", points)
        desktop.start()
        heights.append(desktop.find("Play").get_size().y)
        desktop.picture(f"font-{points}")
        desktop.choose("Settings")
        desktop.see("Done")
        desktop.picture(f"font-{points}-settings")
    assert heights[0] <= heights[2] < heights[1], f"Play grows with the font: {heights}"


def scales(desktop):
    """Text is crisp at scales from 1 to 2: some neighbouring pixels differ like text and its ground."""
    for scale in (1.25, 1.5, 2, 1):
        desktop.scale(scale)
        desktop.start()
        shown = desktop.picture(f"scale-{scale}", scale).convert("L")
        _, sharpest = ImageChops.difference(shown, ImageChops.offset(shown, 1, 0)).crop(
            (1, 0, *shown.size)).getextrema()
        assert sharpest > 180, f"crisp at scale {scale}: {sharpest}"


def game(desktop):
    """The game comes to the front under Wayland and X11; a second start brings the launcher."""
    for platform in ("wayland", "xcb"):
        shown = desktop.play(platform=platform)
        assert shown["x11"] == (platform == "xcb"), f"the game is a client of {platform}"
        desktop.picture(f"game-{platform}")
        desktop.come()
        desktop.see("Stop")
        desktop.picture(f"game-{platform}-second-start")
        assert len(desktop.processes()) == 1, "one launcher runs"
        desktop.choose("Stop")
        desktop.see("Play", "ENABLED")


def question(desktop):
    """Closing the window during a game asks there. A second start brings the question to the front."""
    desktop.play()
    desktop.see("Playing")
    desktop.come()
    desktop.press("Alt_L+F4")
    desktop.see("Keep open")
    assert len(desktop.windows()) == 2, "it is in the one window"
    desktop.press("Alt_L+Tab")
    desktop.in_front(GAME)
    desktop.come()
    desktop.picture("question")
    desktop.choose("Keep open")
    until("no window", lambda: not desktop.window())
    assert desktop.processes(), "the launcher stays"
    desktop.in_front(GAME)
    desktop.press("Alt_L+F4")
    desktop.in_front()
    desktop.see("Play", "ENABLED")
    desktop.picture("question-after")


def failure(desktop):
    """After a game's error the launcher comes to the front and explains it."""
    desktop.play("playSeconds=2\nplayExit=1\nprintText=SCRIPT ERROR: Parse Error\n")
    frame = desktop.window()["frame"]
    desktop.see("The game closed after 2 seconds (exit code 1), so it did not start properly. "
                "The game's scripts reported errors.")
    desktop.in_front()
    until("room for the failure", lambda: desktop.window()["frame"][3] > frame[3])
    desktop.picture_both("failure")


def setup(desktop):
    """A setup keeps the computer awake, at most until SIGKILL. If the window is minimised, a message
    of the desktop reports the setup's end, until the game is open."""
    def inhibitors():
        manager = remote("org.freedesktop.login1", None, "org.freedesktop.login1.Manager",
                         dbus.SystemBus)
        return [entry[2] for entry in manager.ListInhibitors() if entry[1] == LAUNCHER]

    desktop.play(half=True)
    until("the inhibition", lambda: inhibitors() == ["The game is being set up"])
    desktop.picture_both("progress")  # also on Plasma's icon
    desktop.end("KILL")
    until("its end", lambda: not inhibitors())
    desktop.play("playSeconds=600\nwindowSeconds=15\n", half=True)
    desktop.press(desktop.MINIMISE)
    until("no window", lambda: not desktop.window())
    Host.gate.set()
    until("the notification", lambda: desktop.notified("Starting…"))
    desktop.picture("notification")
    desktop.in_front(GAME)
    until("its end", lambda: not desktop.notified("Starting…"))


def accent(desktop):
    """Play has the desktop's accent colour."""
    try:
        desktop.set("accent")
    except subprocess.CalledProcessError as error:
        raise NotImplementedError(error.stderr.strip()) from error
    desktop.start()
    desktop.set("accent")  # Plasma 6's portal reports only the second change

    def purple():
        colours = desktop.picture("accent").getcolors(1 << 24)
        return any(count > 5000 and min(red, blue) > green + 40
                   for count, (red, green, blue) in colours)
    until("a purple Play", purple)


def logout(desktop):
    """Logging out ends the launcher and its setup."""
    desktop.play(half=True)
    desktop.log_out()
    until("the launcher's end", lambda: not desktop.processes())


# `logout` is last, because it ends the session.
CASES = (window, tour, fonts, scales, game, question, setup, failure, accent, logout)


def main(kind, pictures, *wanted):
    pictures = pathlib.Path(pictures, kind)
    pictures.mkdir(parents=True, exist_ok=True)
    Host.open()
    desktop = {"gnome": Gnome, "plasma": Plasma}[kind](pictures)
    bad = 0
    for case in CASES:
        if wanted and case.__name__ not in wanted:
            continue
        try:
            case(desktop)
            result = "good"
        except NotImplementedError as absence:
            result = f"not there: {absence}"
        except (AssertionError, subprocess.CalledProcessError, dbus.DBusException, GLib.Error) as failed:
            bad += 1
            result = f"FAILED: {failed}"
            desktop.capture().save(pictures / f"failed-{case.__name__}.png")
        print(f"desktops: {kind} {case.__name__}: {result}", flush=True)
    sys.exit(bad > 0)


if __name__ == "__main__":
    main(*sys.argv[1:])
