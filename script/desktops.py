#!/usr/bin/python3
"""Drives the installed launcher on a real desktop without a screen.

usage: desktops.py gnome|plasma PACKAGE ENGINE PICTURES [CASE…]

script/desktops starts it as root in namespaces of its own.
"""

import functools
import hashlib
import http.server
import json
import os
import pathlib
import shlex
import shutil
import signal
import socket
import ssl
import struct
import subprocess
import sys
import threading
import time
import zipfile

import dbus
import gi
from PIL import Image, ImageChops

gi.require_version("Atspi", "2.0")
from gi.repository import GLib  # noqa: E402

PATIENCE = 120  # seconds
GAME = "Brindle Skirmish (DEBUG)"
LAUNCHER = "Brindle"
ID = "org.brindle.Brindle"
ROOT = pathlib.Path("/tmp/desktop")  # on a file system of this namespace
DEMO = pathlib.Path("demo")
KEYS = {"Escape": 1, "Tab": 15, "Return": 28, "Space": 57}
SCREEN = "1600x1000"


class Failure(Exception):
    pass


class Absent(Exception):
    """The desktop has no such thing."""


def check(condition, what):
    if not condition:
        raise Failure(f"not so: {what}")


def until(what, condition, patience=PATIENCE):
    """Serves events until the condition holds; returns its value."""
    end = time.monotonic() + patience
    while time.monotonic() < end:
        while GLib.MainContext.default().iteration(False):
            pass
        try:
            if found := condition():
                return found
        except (GLib.Error, LookupError, dbus.DBusException):
            pass  # the object of the question is not there
        time.sleep(0.1)
    raise Failure(f"waited in vain for {what}")


def run(command):
    subprocess.run(shlex.split(command), check=True, capture_output=True)


def remote(name, path=None, interface=None, bus=dbus.SessionBus):
    return dbus.Interface(bus().get_object(name, path or "/" + name.replace(".", "/")),
                          interface or name)


class Host(http.server.SimpleHTTPRequestHandler):
    """Serves a folder under the code host's name."""

    gate = threading.Event()  # bodies stop half-way while it is not set

    def copyfile(self, source, output):
        output.write(source.read(os.fstat(source.fileno()).st_size // 2))
        self.gate.wait()
        output.write(source.read())

    def log_message(self, *arguments):
        pass

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
        server.socket = context.wrap_socket(server.socket, server_side=True)
        threading.Thread(target=server.serve_forever, daemon=True).start()


def offer(game, platform):
    """Offers the sample game, and an engine whose windows are of that platform."""
    def files(folder, top):
        return {f"{top}/{file.name}": file.read_bytes() for file in (DEMO / folder).iterdir()}

    engine = f"Godot_v4.3-stable_linux.{os.uname().machine}"
    release = ROOT / "host/godotengine/godot-builds/releases/download/4.3-stable"
    project = ROOT / "host/tessel-works"
    for path, content in (
            (project / "brindle-minimap/archive/HEAD.zip", files("addon", "brindle-minimap-HEAD")),
            (project / "godot-brindle/archive/refs/heads/main.zip",
             {**files("game", "godot-brindle-main"), "godot-brindle-main/sample-engine.ini": game}),
            (release / f"{engine}.zip", {
                engine: f"#!/bin/sh\nexport QT_QPA_PLATFORM={platform}\nexec {ROOT}/engine \"$@\"\n",
                "filling": os.urandom(2_000_000)})):
        path.parent.mkdir(parents=True, exist_ok=True)
        with zipfile.ZipFile(path, "w") as archive:
            for name, data in content.items():
                entry = zipfile.ZipInfo(name)
                entry.external_attr = 0o100755 << 16
                archive.writestr(entry, data)
    digest = hashlib.sha512(path.read_bytes()).hexdigest()
    (release / "SHA512-SUMS.txt").write_text(f"{digest}  {engine}.zip\n")


class Desktop:
    """A session: its buses, its shell, its input, its windows, its pictures."""

    def __init__(self, pictures):
        self.pictures = pictures
        (ROOT / "run").mkdir(mode=0o700)
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
        from gi.repository import Atspi  # connects when it is loaded
        self.atspi = Atspi

    def spawn(self, command, **options):
        command = shlex.split(command)
        log = open(self.pictures / f"{pathlib.Path(command[0]).name}.log", "ab")
        return subprocess.Popen(command, **{"stdout": log, "stderr": log, **options})

    def home(self, path, text):
        """Writes a file of the player's."""
        file = ROOT / "home" / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text)

    def set(self, what, value=""):
        run(self.SETTINGS[what].format(value))

    def inhibitors(self):
        """Returns the reasons that the login manager lists for the launcher."""
        manager = remote("org.freedesktop.login1", None, "org.freedesktop.login1.Manager",
                         dbus.SystemBus)
        return [entry[2] for entry in manager.ListInhibitors() if entry[1] == LAUNCHER]

    # What a screen reader finds.

    def items(self, parent=None, app=LAUNCHER):
        top = parent or self.atspi.get_desktop(0)
        for i in range(top.get_child_count()):
            item = top.get_child_at_index(i)
            if item and (parent or item.get_name() == app):
                item.clear_cache()
                yield item
                yield from self.items(item)

    def has(self, item, *states):
        return all(item.get_state_set().contains(getattr(self.atspi.StateType, state))
                   for state in states)

    def find(self, name, *states):
        return next((item for item in self.items() if item.get_name().startswith(name)
                     and self.has(item, "SHOWING", *states)), None)

    def see(self, name, *states):
        return until(f"\"{name}\" {' '.join(states)}", lambda: self.find(name, *states))

    def gone(self, name):
        until(f"the end of \"{name}\"", lambda: not self.find(name))

    def focused(self):
        return until("the focus", lambda: next(
            (item.get_name() for item in self.items() if self.has(item, "FOCUSED")
             and item.get_role_name() not in ("frame", "window", "dialog", "alert")), None))

    def choose(self, name):
        """Moves the focus there by Tab, and presses Space."""
        for _ in range(25):
            if (before := self.focused()).startswith(name):
                return self.press("Space")
            self.press("Tab")
            until("the next focus", lambda: self.focused() != before)
        raise Failure(f"Tab does not lead to \"{name}\"")

    # Windows.

    def windows(self):
        return self.script(self.WINDOWS)

    def window(self, title=LAUNCHER):
        return next((w for w in self.windows() if w["title"] == title), None)

    def act(self, what, title):
        self.script(self.ACT % (title, self.ACTS[what]))

    def in_front(self, title=LAUNCHER):
        """Waits until the window is on top with the keyboard; returns it."""
        def top():
            last = self.windows()[-1]
            return last["title"] == title and last["focus"] and last
        return until(f"\"{title}\" in front", top)

    def processes(self):
        return subprocess.run(["pgrep", "-r", "DRST", "-x", "brindle"], capture_output=True,
                              text=True).stdout.split()

    def end(self, how=signal.SIGTERM):
        for process in self.processes():
            os.kill(int(process), how)
        until("the launcher's end", lambda: not self.processes())

    def start(self):
        """Starts the launcher on an empty disk, from the shell."""
        self.end()
        shutil.rmtree(ROOT / "home/.local/share/Brindle", ignore_errors=True)
        Host.gate.set()
        self.launch()
        self.in_front()
        self.see("Play", "FOCUSED")

    def play(self, game="playSeconds=600\n", platform="wayland", half=False):
        """Starts the launcher and plays; the download stops half-way if wanted."""
        offer(game, platform)
        self.start()
        if half:
            Host.gate.clear()
        self.press("Space")
        if half:
            self.see("Cancel")

    # Pictures.

    def picture(self, name):
        """Keeps the screen once two looks are alike, and the window; returns the screen."""
        screen, before = self.capture(), None
        for _ in range(20):
            if before == screen:
                break
            time.sleep(0.3)
            before, screen = screen, self.capture()
        screen.save(self.pictures / f"{name}.png")
        if self.window():
            self.capture(LAUNCHER).save(self.pictures / f"{name}.window.png")
        return screen

    def picture_both(self, name):
        """Keeps the window in dark and in light, its title bar included."""
        for look in ("dark", "light"):
            self.set(look)
            until(f"{name} in {look}", lambda: self.look(self.capture(LAUNCHER)) == look)
            self.picture(f"{name}-{look}")

    def look(self, window):
        """Returns the look of title bar and ground; None if they differ."""
        # Without the shadow.
        left, top, _, bottom = window.getchannel("A").point(
            lambda share: share // 255).getbbox() or (0, 0, 0, 0)
        looks = {"dark" if sum(window.getpixel(place)[:3]) < 300 else "light" for place in (
            (left + 60, top + 12), (left + 12, bottom - 12))}
        return looks.pop() if len(looks) == 1 else None


class Gnome(Desktop):
    ENVIRONMENT = {"XDG_CURRENT_DESKTOP": "GNOME", "XDG_SESSION_DESKTOP": "gnome"}
    SETTINGS = {key: f"gsettings set org.gnome.desktop.interface {value}" for key, value in (
        ("dark", "color-scheme prefer-dark"), ("light", "color-scheme default"),
        ("accent", "accent-color purple"), ("font", "font-name 'Cantarell {}'"))}
    WINDOWS = """list().map(w => { const r = w.get_frame_rect(); return {
        title: w.title, id: Shell.WindowTracker.get_default().get_window_app(w)?.get_id(),
        focus: w.has_focus(), x11: w.get_client_type() == 1, frame: [r.x, r.y, r.width, r.height]}})"""
    ACT = "list().filter(w => w.title == '%s').forEach(w => %s)"
    ACTS = {"activate": "w.activate(global.get_current_time())", "minimise": "w.minimize()",
            "close": "w.delete(global.get_current_time())"}

    def set_up(self):
        for setting in (
                "desktop.interface enable-animations false",
                "desktop.background picture-uri file:///usr/share/backgrounds/gnome/blobs-l.svg",
                "desktop.background picture-uri-dark file:///usr/share/backgrounds/gnome/blobs-d.svg",
                "mutter experimental-features \"['scale-monitor-framebuffer']\""):
            run(f"gsettings set org.gnome.{setting}")
        # The session manager starts the shell.
        self.home(".config/gnome-session/sessions/bare.session",
                  "[GNOME Session]\nName=Bare\nRequiredComponents=org.gnome.Shell;\n")
        self.home(".local/share/applications/org.gnome.Shell.desktop",
                  "[Desktop Entry]\nType=Application\nName=Shell\nNoDisplay=true\n"
                  f"Exec=gnome-shell --headless --wayland --unsafe-mode --virtual-monitor {SCREEN}\n"
                  "X-GNOME-Autostart-Phase=DisplayServer\nX-GNOME-Provides=panel;windowmanager;\n"
                  "X-GNOME-Autostart-Notify=true\n")
        self.spawn("/usr/libexec/gnome-session-binary --session=bare"
                   " --disable-acceleration-check")
        until("GNOME Shell", lambda: self.script("Main.layoutManager._startingUp === false"))
        self.script("""
            Object.assign(globalThis, {Clutter: imports.gi.Clutter, Shell: imports.gi.Shell});
            globalThis.keyboard = Clutter.get_default_backend().get_default_seat()
                .create_virtual_device(Clutter.InputDeviceType.KEYBOARD_DEVICE);
            globalThis.list = () => global.display.sort_windows_by_stacking(
                global.get_window_actors().map(a => a.meta_window)).filter(
                    w => w.title && !w.minimized && w.get_wm_class() != 'Gnome-shell');
            Main.overview.hide()""")

    def script(self, text):
        good, answer = remote("org.gnome.Shell").Eval(text)
        if not good:
            raise Failure(f"GNOME Shell: {answer}")
        return json.loads(answer) if answer else None

    def launch(self):
        self.script(f"""Main.messageTray.getSources().forEach(s => s.destroy());
            Shell.AppSystem.get_default().lookup_app('{ID}.desktop').launch(
                global.display.get_current_time_roundtrip(), -1, Shell.AppLaunchGpu.DEFAULT)""")

    def press(self, key):
        for state in ("PRESSED", "RELEASED"):
            self.script(f"""keyboard.notify_key(imports.gi.GLib.get_monotonic_time(), {KEYS[key]},
                Clutter.KeyState.{state})""")

    def capture(self, title=None):
        """Returns the screen or a window."""
        file = ROOT / "capture.png"
        if title:
            self.script(self.ACT % (title, f"{self.DRAW}.writeToPNG('{file}')"))
        else:
            remote("org.gnome.Shell.Screenshot").Screenshot(False, False, str(file))
        return Image.open(file).convert("RGBA")

    DRAW = "w.get_compositor_private().get_image(null)"

    def start_seen(self):
        """Starts the launcher; returns its first frame."""
        file = ROOT / "first.png"
        self.script(f"""{{ const once = (object, signal, then) => {{
                const heard = object.connect(signal, (...given) => {{
                    object.disconnect(heard); then(...given); }}); }};
            once(global.display, 'window-created', (display, w) => once(
                w.get_compositor_private(), 'first-frame', () => once(global.stage, 'after-paint',
                    () => {self.DRAW}.writeToPNG('{file}')))); }}""")
        self.start()
        shutil.copy(file, self.pictures)
        return Image.open(file).convert("RGBA")

    def scale(self, wanted):
        display = remote("org.gnome.Mutter.DisplayConfig")
        serial, (((connector, *_), (mode, *_), _), ), *_ = display.GetCurrentState()
        fitting = min(mode[5], key=lambda offered: abs(offered - wanted))
        display.ApplyMonitorsConfig(
            serial, 1, [(0, 0, fitting, dbus.UInt32(0), True, [(connector, mode[0], {})])], {})

    def notifications(self):
        return self.script("""Main.messageTray.getSources().flatMap(s => s.notifications)
            .map(n => n.title)""")

    def log_out(self):
        remote("org.gnome.SessionManager").Logout(dbus.UInt32(1))  # without a question


class Plasma(Desktop):
    VERSION = 6 if shutil.which("kwriteconfig6") else 5
    ENVIRONMENT = {
        "XDG_CURRENT_DESKTOP": "KDE", "KDE_FULL_SESSION": "true", "KDE_SESSION_VERSION": str(VERSION),
        "XDG_MENU_PREFIX": "plasma-" if VERSION > 5 else "kf5-",
        "KWIN_SCREENSHOT_NO_PERMISSION_CHECKS": "1", "KWIN_WAYLAND_NO_PERMISSION_CHECKS": "1",
        "QT_LOGGING_RULES": "kwin_scripting.debug=true"}
    SETTINGS = {
        "dark": "plasma-apply-colorscheme BreezeDark",
        "light": "plasma-apply-colorscheme BreezeLight",
        "accent": "plasma-apply-colorscheme --accent-color purple",
        "font": f"kwriteconfig{VERSION} --file kdeglobals --group General --key font"
                " 'Noto Sans,{},-1,5,50,0,0,0,0,0'",
        "scale": "kscreen-doctor output.1.scale.{}"}
    WINDOWS = """list.filter(c => c.normalWindow && c.caption && !c.minimized).map(c => ({
        title: c.caption, id: c.desktopFileName + '.desktop', focus: c.active,
        x11: c.windowId > 0 || String(c).includes('X11'), frame: [c.x, c.y, c.width, c.height]}))"""
    ACT = "list.filter(c => c.caption == '%s').map(c => { %s; return 0; })"
    ACTS = {"activate": "workspace.activeWindow = workspace.activeClient = c",
            "minimise": "c.minimized = true", "close": "c.closeWindow()"}

    def set_up(self):
        # A copy has no file capabilities, which namespaces refuse.
        shutil.copy("/usr/bin/kwin_wayland", ROOT)
        self.home(".config/kdeglobals", "[KDE]\nAnimationDurationFactor=0\n")
        self.scripts = 0
        width, height = SCREEN.split("x")
        self.shell = self.spawn(f"{ROOT}/kwin_wayland {self.open_screen()} --width {width}"
                                f" --height {height} --no-lockscreen --xwayland")
        until("KWin", lambda: remote("org.kde.KWin", "/KWin").supportInformation())
        for look in ("dark", "light"):  # Plasma writes Breeze's colours at a user's first start
            self.set(look)
        self.spawn("plasmashell")
        until("the panel", lambda: self.script("list.filter(c => c.dock)"))
        self.input = socket.socket(socket.AF_UNIX)
        self.input.connect(f"{ROOT}/run/wayland-0")
        self.request(1, 1, struct.pack("=I", 2))  # wl_display.get_registry
        kind = struct.pack("=I", 24) + b"org_kde_kwin_fake_input\0"
        announced = b""
        while kind not in announced:
            announced += self.input.recv(65536)
        number = announced[announced.index(kind) - 4:][:4]
        self.request(2, 0, number + kind + struct.pack("=II", 4, 3))  # wl_registry.bind
        self.request(3, 0, struct.pack("=I4sI4s", 4, b"me", 4, b"it"))  # authenticate

    def request(self, target, number, arguments):
        """Sends a request of the Wayland protocol."""
        self.input.sendall(struct.pack("=II", target, (8 + len(arguments)) << 16 | number) + arguments)

    def press(self, key):
        for down in (1, 0):
            self.request(3, 10, struct.pack("=II", KEYS[key], down))

    def launch(self):
        """By the shell's search, which may hand on the permission to come to the front."""
        def search(height):
            return self.script("list.filter(c => String(c.resourceClass).includes('krunner')"
                               f" && c.active && c.height > {height})")

        def found():
            remote("org.kde.krunner", "/App", "org.kde.krunner.App").querySingleRunner(
                "krunner_services", LAUNCHER)
            time.sleep(2)
            return search(50)
        until("a result", found)
        self.press("Return")
        until("the search's end", lambda: not search(0))

    def script(self, text):
        """Runs a script in KWin; returns what it prints."""
        self.scripts += 1
        mark = f"answer {self.scripts} of {os.getpid()}: "
        file = ROOT / f"script-{self.scripts}.js"
        file.write_text(f"""const list = (workspace.windowList ?? workspace.clientList)()
            .sort((a, b) => a.stackingOrder - b.stackingOrder);
            print("{mark}" + JSON.stringify({text}))""")
        number = remote("org.kde.KWin", "/Scripting", "org.kde.kwin.Scripting").loadScript(str(file))
        remote("org.kde.KWin", f"/Scripting/Script{number}" if self.VERSION > 5 else f"/{number}",
               "org.kde.kwin.Script").run()
        log = self.pictures / "kwin_wayland.log"
        return json.loads(until("KWin's answer", lambda: log.read_text(
            errors="replace").partition(mark)[2].partition("\n")[0]))

    def open_screen(self):
        return "--virtual"

    def capture(self, title=None):
        """Returns the screen or the active window."""
        reading, writing = os.pipe()
        raw = []
        reader = threading.Thread(target=lambda: raw.append(open(reading, "rb").read()))
        reader.start()
        capturer = remote("org.kde.KWin", "/org/kde/KWin/ScreenShot2", "org.kde.KWin.ScreenShot2")
        method = capturer.CaptureActiveWindow if title else capturer.CaptureActiveScreen
        result = method({"native-resolution": True, "include-decoration": True}, writing)
        os.close(writing)
        reader.join()
        return Image.frombuffer("RGBA", (result["width"], result["height"]), raw[0], "raw", "BGRA")

    def start_seen(self):
        self.start()  # KWin's scripts don't see the first frame

    def scale(self, wanted):
        self.set("scale", wanted)

    def notifications(self):
        return [item.get_name() for item in self.items(app="plasmashell") if self.has(item, "SHOWING")]

    def log_out(self):
        self.shell.terminate()  # the session manager of Plasma 5.27 asks no Wayland client


class Plasma6(Plasma):
    """In a window of sway, because KWin 6 takes no pictures without a graphics card."""

    def open_screen(self):
        self.host = ROOT / "sway"
        self.host.mkdir()
        (self.host / "config").write_text(
            f"xwayland disable\noutput HEADLESS-1 resolution {SCREEN}\n"
            "for_window [app_id=.*] fullscreen enable\n")
        run(f"chown -R nobody {self.host}")  # sway refuses to run as root
        self.spawn(f"setpriv --reuid=nobody --clear-groups env -i PATH=/usr/bin XDG_RUNTIME_DIR={self.host}"
                   " WLR_BACKENDS=headless WLR_RENDERER=pixman WLR_LIBINPUT_NO_DEVICES=1"
                   f" sway -c {self.host}/config")
        until("sway", (self.host / "wayland-1").exists)
        # Otherwise KWin stops drawing at times.
        self.spawn(f"env WAYLAND_DISPLAY={self.host}/wayland-1 sh -c"
                   " 'while sleep 0.5; do grim -g \"0,0 1x1\" /dev/null; done'")
        return f"--wayland-display {self.host}/wayland-1"

    def capture(self, title=None):
        """Returns the screen or a window."""
        file = ROOT / "capture.png"
        run(f"env WAYLAND_DISPLAY={self.host}/wayland-1 grim {file}")
        screen = Image.open(file).convert("RGBA")
        if not title:
            return screen
        x, y, width, height = self.window(title)["frame"]
        return screen.crop((x, y, x + width, y + height))

    def scale(self, wanted):
        raise Absent("a window of sway has one scale")


def window(desktop):
    """The first window is the app's, so that it has its name and icon, and has the keyboard."""
    desktop.start()
    shown = desktop.in_front()
    check(shown["id"] == f"{ID}.desktop", f"the window is the app's: {shown}")
    check(not shown["x11"], "it is a Wayland client")
    desktop.picture("window")


def tour(desktop):
    """Each sheet and alert lies in the one window; all by keyboard alone."""
    def look(title, button):
        desktop.see(title)
        desktop.picture_both(f"tour-{title.split()[0].lower()}")
        check(len(desktop.windows()) == 1, f"{title} is in the window: {desktop.windows()}")
        desktop.press("Escape")
        desktop.gone(button)

    desktop.play()
    desktop.in_front(GAME)
    desktop.launch()
    desktop.in_front()
    desktop.choose("Stop")
    desktop.see("Play", "ENABLED")
    for name, title, button in (("Show log", "Log", "Close"), ("About", "About Brindle", "Done"),
                                ("Settings", "Settings", "Done")):
        desktop.choose(name)
        look(title, button)
        until("the focus back", lambda: desktop.focused() == name)
    desktop.choose("Settings")
    desktop.choose("Remove everything")
    look("Remove", "Cancel")


def dark(desktop):
    """Dark and light, while the window is open and from the first frame on."""
    desktop.start()
    desktop.picture_both("window")
    frame = desktop.window()["frame"]
    desktop.set("dark")
    until("the dark window", lambda: desktop.look(desktop.capture(LAUNCHER)) == "dark")
    check(desktop.window()["frame"] == frame, "the window keeps its one title bar")
    first = desktop.start_seen()
    check(not first or desktop.look(first) == "dark", "the first frame is dark")
    desktop.set("light")


def fonts(desktop):
    """The desktop's font at three sizes."""
    heights = []
    for points in (9, 16, 11):
        desktop.set("font", points)
        desktop.start()
        heights.append(desktop.find("Play").get_size().y)
        desktop.picture(f"font-{points}")
        desktop.choose("Settings")
        desktop.see("Done")
        desktop.picture(f"font-{points}-settings")
    check(heights[0] <= heights[2] < heights[1], f"Play grows with the font: {heights}")


def scales(desktop):
    """Scales 1 to 2, each crisp: next to each other are pixels as different as text and ground."""
    for scale in (1.25, 1.5, 2, 1):
        desktop.scale(scale)
        desktop.start()
        screen = desktop.picture(f"scale-{scale}")
        x, y, width, height = (round(part * scale) for part in desktop.window()["frame"])
        shown = screen.convert("L").crop((x, y, x + width, y + height))
        _, sharpest = ImageChops.difference(shown, ImageChops.offset(shown, 1, 0)).crop(
            (1, 0, width, height)).getextrema()
        check(sharpest > 180, f"crisp at scale {scale}: {sharpest}")


def game(desktop):
    """The game comes to the front as a client of Wayland and of X11; the launcher by a second start."""
    for platform in ("wayland", "xcb"):
        desktop.play(platform=platform)
        check(desktop.in_front(GAME)["x11"] == (platform == "xcb"), f"the game is a client of {platform}")
        desktop.picture(f"game-{platform}")
        desktop.launch()
        desktop.in_front()
        desktop.see("Stop")
        desktop.picture(f"game-{platform}-second-start")
        check(len(desktop.processes()) == 1, "one launcher runs")
        desktop.act("close", GAME)
        desktop.see("Play", "ENABLED")


def question(desktop):
    """Closing the window with a game asks in it; a second start brings the question forward."""
    desktop.play()
    desktop.in_front(GAME)
    desktop.act("close", LAUNCHER)
    desktop.see("Keep open")
    check([w["title"] for w in desktop.windows()].count(LAUNCHER) == 1, "it is in the one window")
    desktop.act("activate", GAME)
    desktop.in_front(GAME)
    desktop.launch()
    desktop.in_front()
    desktop.picture("question")
    desktop.choose("Keep open")
    until("no window", lambda: not desktop.window())
    check(desktop.processes(), "the launcher stays")
    desktop.act("close", GAME)
    desktop.in_front()
    desktop.see("Play", "ENABLED")
    desktop.picture("question-after")


def notification(desktop):
    """The end of a setup that nobody looks at is shown, and goes once the game is open."""
    desktop.play("playSeconds=600\nwindowSeconds=15\n", half=True)
    desktop.act("minimise", LAUNCHER)
    Host.gate.set()
    until("the notification", lambda: "Starting…" in desktop.notifications())
    desktop.capture().save(desktop.pictures / "notification.png")
    desktop.in_front(GAME)
    until("its end", lambda: "Starting…" not in desktop.notifications())
    desktop.act("close", GAME)


def failure(desktop):
    """A game that ends with an error leads back to the launcher, which says so."""
    desktop.play("playSeconds=2\nplayExit=1\nprintText=SCRIPT ERROR: Parse Error\n")
    desktop.see("The game closed after 2 seconds (exit code 1), so it did not start properly. "
                "The game's scripts reported errors.")
    desktop.in_front()
    until("room for the failure", lambda: desktop.window()["frame"][3] > 760)
    desktop.picture_both("failure")


def awake(desktop):
    """The login manager lists the inhibition, and drops it after SIGKILL."""
    desktop.play(half=True)
    until("the inhibition", lambda: desktop.inhibitors() == ["The game is being set up"])
    desktop.picture_both("progress")  # and the icon's, where the shell shows it; GNOME's does not
    desktop.end(signal.SIGKILL)
    until("its end", lambda: not desktop.inhibitors())


def accent(desktop):
    """The button to play has the desktop's accent colour."""
    try:
        desktop.set("accent")
    except subprocess.CalledProcessError as error:
        raise Absent("this desktop has none") from error
    desktop.start()
    desktop.picture("accent")
    check(any(count > 5000 and min(red, blue) > green + 40 for count, (red, green, blue, _) in
              desktop.capture(LAUNCHER).getcolors(1 << 24)), "Play is purple")


def logout(desktop):
    """The end of the session ends the launcher and its setup."""
    desktop.play(half=True)
    desktop.log_out()
    until("the launcher's end", lambda: not desktop.processes() and not desktop.inhibitors())


CASES = (window, tour, dark, fonts, scales, game, question, notification, failure, awake, accent, logout)


def main(kind, package, engine, pictures, wanted):
    pictures = pathlib.Path(pictures, kind)
    pictures.mkdir(parents=True, exist_ok=True)
    for old in (*pictures.glob("*.log"), *pictures.glob("failed-*")):
        old.unlink()
    # The package, the host's name and its certificate are there in this namespace alone. Relative
    # paths also lead to a clone that lies below /tmp.
    run("mount -t tmpfs -o mode=1777 tmpfs /tmp")
    run("mkdir -p -m 1777 /tmp/.X11-unix")
    run("mount -t tmpfs tmpfs /run")  # the login manager keeps its state there
    run("mkdir /run/systemd")
    for place in ("/usr", "/etc"):
        layers = [ROOT / "layers" / name for name in (f"upper{place}", f"work{place}")]
        for layer in layers:
            layer.mkdir(parents=True)
        run(f"mount -t overlay overlay -o lowerdir={place},upperdir={layers[0]},workdir={layers[1]} {place}")
    run("ip link set lo up")
    run(f"dpkg-deb -x {package} /")
    run("gtk-update-icon-cache -q -f /usr/share/icons/hicolor")
    shutil.copy(engine, ROOT / "engine")
    Host.open()
    desktop = {"gnome": Gnome, "plasma": Plasma6 if Plasma.VERSION > 5 else Plasma}[kind](pictures)
    failed = 0
    for case in CASES:
        if wanted and case.__name__ not in wanted:
            continue
        try:
            case(desktop)
            result = "good"
        except Absent as absence:
            result = absence
        except (Failure, subprocess.CalledProcessError, dbus.DBusException, GLib.Error) as failure:
            failed += 1
            result = f"FAILED: {failure}"
            if case is not logout:
                print(desktop.windows())
                desktop.picture(f"failed-{case.__name__}")
        print(f"desktops: {kind} {case.__name__}: {result}", flush=True)
    sys.exit(failed > 0)


if __name__ == "__main__":
    main(*sys.argv[1:5], sys.argv[5:])
