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
import shutil
import signal
import socket
import ssl
import struct
import subprocess
import sys
import threading
import time

import gi
from PIL import Image, ImageChops

gi.require_version("Atspi", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

PATIENCE = 120  # seconds
GAME = "Brindle Skirmish (DEBUG)"
LAUNCHER = "Brindle"
TAG = "4.3-stable"
ID = "org.brindle.Brindle"
ROOT = pathlib.Path("/tmp/desktop")  # on a file system of this namespace
HOME = ROOT / "home"
DEMO = pathlib.Path(__file__).parent.parent / "demo"
KEYS = {"Escape": 1, "Tab": 15, "Return": 28, "Space": 57}
SCREEN = (1600, 1000)


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
    while True:
        while GLib.MainContext.default().iteration(False):
            pass
        try:
            if found := condition():
                return found
        except (GLib.Error, LookupError):
            pass  # the object of the question has gone
        if time.monotonic() > end:
            raise Failure(f"waited in vain for {what}")
        time.sleep(0.1)


def run(*command, **options):
    return subprocess.run([str(part) for part in command], check=True, **options)


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
        trusted = ROOT / "certs"
        trusted.mkdir()
        run("openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
            "-nodes", "-subj", "/CN=github.com", "-addext", "subjectAltName=DNS:github.com",
            "-keyout", ROOT / "key", "-out", trusted / "ca-certificates.crt",
            stderr=subprocess.DEVNULL)
        run("mount", "--bind", trusted, "/etc/ssl/certs")
        (ROOT / "hosts").write_text("127.0.0.1 localhost github.com\n")
        run("mount", "--bind", ROOT / "hosts", "/etc/hosts")
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(trusted / "ca-certificates.crt", ROOT / "key")
        server = http.server.ThreadingHTTPServer(
            ("127.0.0.1", 443), functools.partial(cls, directory=ROOT / "host"))
        server.socket = context.wrap_socket(server.socket, server_side=True)
        threading.Thread(target=server.serve_forever, daemon=True).start()


def offer(game="playSeconds=600\n", platform="wayland"):
    """Offers the sample game, and an engine whose windows are of that platform."""
    tree = ROOT / "tree"
    shutil.rmtree(tree, ignore_errors=True)
    shutil.copytree(DEMO / "game", tree / "godot-brindle-main")
    (tree / "godot-brindle-main/sample-engine.ini").write_text(game)
    shutil.copytree(DEMO / "addon", tree / "brindle-minimap-HEAD")
    name = f"Godot_v{TAG}_linux.{os.uname().machine}"
    program = tree / "engine" / name
    program.parent.mkdir()
    program.write_text(f"#!/bin/sh\nexport QT_QPA_PLATFORM={platform}\nexec {ENGINE} \"$@\"\n")
    program.chmod(0o755)
    (tree / "engine/filling").write_bytes(os.urandom(2_000_000))
    releases = f"godotengine/godot-builds/releases/download/{TAG}"
    for path, root, folder in (
            ("tessel-works/brindle-minimap/archive/HEAD", tree, "brindle-minimap-HEAD"),
            ("tessel-works/godot-brindle/archive/refs/heads/main", tree, "godot-brindle-main"),
            (f"{releases}/{name}", program.parent, ".")):
        shutil.make_archive(ROOT / "host" / path, "zip", root, folder)
    digest = hashlib.sha512((ROOT / f"host/{releases}/{name}.zip").read_bytes()).hexdigest()
    (ROOT / f"host/{releases}/SHA512-SUMS.txt").write_text(f"{digest}  {name}.zip\n")


class Desktop:
    """A session: its buses, its shell, its input, its windows."""

    def __init__(self, pictures):
        self.pictures = pictures
        for name in ("home", "run"):
            (ROOT / name).mkdir(mode=0o700)
        for name in ("DISPLAY", "WAYLAND_DISPLAY", "XDG_CONFIG_HOME", "XDG_DATA_HOME",
                     "XDG_CACHE_HOME", "TMPDIR", "QT_QPA_PLATFORM"):
            os.environ.pop(name, None)
        os.environ.update(
            HOME=str(HOME), XDG_RUNTIME_DIR=str(ROOT / "run"), XDG_SESSION_TYPE="wayland",
            LIBGL_ALWAYS_SOFTWARE="1", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", LANG="C.UTF-8",
            PATH="/usr/bin:/bin", GTK_A11Y="none")
        for kind in ("SYSTEM", "SESSION"):
            daemon = self.spawn("dbus-daemon", "--session", "--nofork", "--print-address",
                                stdout=subprocess.PIPE, text=True)
            os.environ[f"DBUS_{kind}_BUS_ADDRESS"] = daemon.stdout.readline().strip()
        self.spawn("python3", "-m", "dbusmock", "--system", "--template", "logind")
        self.bus = Gio.bus_get_sync(Gio.BusType.SESSION)
        self.set_up()
        self.export("WAYLAND_DISPLAY", "DISPLAY")
        from gi.repository import Atspi  # connects when it is loaded
        self.atspi = Atspi

    def spawn(self, *command, **options):
        log = open(self.pictures / f"{pathlib.Path(command[0]).name}.log", "ab")
        options = {"stdout": log, "stderr": log, **options}
        return subprocess.Popen(command, stdin=subprocess.DEVNULL, **options)

    def export(self, *names):
        """Hands variables to the services that the bus starts."""
        values = {name: os.environ[name] for name in names}
        self.call("org.freedesktop.DBus", "/org/freedesktop/DBus",
                  "UpdateActivationEnvironment", GLib.Variant("(a{ss})", (values,)))

    def call(self, name, path, method, arguments=None, interface=None, files=None):
        reply, _ = self.bus.call_with_unix_fd_list_sync(
            name, path, interface or name, method, arguments, None, Gio.DBusCallFlags.NONE,
            PATIENCE * 1000, files)
        return reply.unpack()

    def wait_for_scheme(self, dark):
        until("the portal's colour scheme", lambda: (self.call(
            "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop", "Read",
            GLib.Variant("(ss)", ("org.freedesktop.appearance", "color-scheme")),
            "org.freedesktop.portal.Settings")[0] == 1) == dark)

    def inhibitors(self):
        """Returns the reasons that the login manager lists for the launcher."""
        listed, = Gio.bus_get_sync(Gio.BusType.SYSTEM).call_sync(
            "org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.login1.Manager",
            "ListInhibitors", None, None, Gio.DBusCallFlags.NONE, -1, None).unpack()
        return [entry[2] for entry in listed if entry[1] == LAUNCHER]

    # Input, and what a screen reader finds.

    def press(self, name):
        self.key(KEYS[name], True)
        self.key(KEYS[name], False)

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

    def window(self, title=LAUNCHER):
        return next((w for w in self.windows() if w["title"] == title), None)

    def in_front(self, title=LAUNCHER):
        """Waits until the window is on top with the keyboard; returns it."""
        def top():
            windows = self.windows()
            return windows and windows[-1]["title"] == title and windows[-1]["focus"] and windows[-1]
        return until(f"\"{title}\" in front", top)

    def start(self):
        """Starts the launcher on an empty disk, from the shell."""
        self.end()
        shutil.rmtree(HOME / ".local/share/Brindle", ignore_errors=True)
        Host.gate.set()
        self.launch()
        self.in_front()
        self.see("Play", "FOCUSED")

    def processes(self):
        found = subprocess.run(["pgrep", "-r", "DRST", "-x", "brindle"], capture_output=True, text=True)
        return [int(line) for line in found.stdout.split()]

    def end(self, how=signal.SIGTERM):
        for process in self.processes():
            os.kill(process, how)
        until("the launcher's end", lambda: not self.processes())

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
            self.capture_window().save(self.pictures / f"{name}.window.png")
        return screen

    def picture_both(self, name):
        """Keeps the window in dark and in light, its title bar included."""
        for is_dark, look in ((True, "dark"), (False, "light")):
            self.set_dark(is_dark)
            until(f"{name} in {look}", lambda: self.is_dark(self.capture_window()) == is_dark)
            self.picture(f"{name}-{look}")

    def is_dark(self, window):
        """Whether title bar and ground are; None if they differ."""
        # Without the shadow.
        left, top, _, bottom = window.getchannel("A").point(lambda share: share // 255).getbbox()
        dark = {sum(window.getpixel(place)[:3]) < 300 for place in (
            (left + 60, top + 12), (left + 12, bottom - 12))}
        return dark.pop() if len(dark) == 1 else None


class Gnome(Desktop):
    def set_up(self):
        os.environ.update(XDG_CURRENT_DESKTOP="GNOME", XDG_SESSION_DESKTOP="gnome")
        for schema, key, value in (
                ("desktop.interface", "enable-animations", "false"),
                ("desktop.background", "picture-uri", "file:///usr/share/backgrounds/gnome/blobs-l.svg"),
                ("desktop.background", "picture-uri-dark", "file:///usr/share/backgrounds/gnome/blobs-d.svg"),
                ("mutter", "experimental-features", "['scale-monitor-framebuffer']")):
            self.set(schema, key, value)
        # The session manager starts the shell.
        for path, text in (
                (".config/gnome-session/sessions/bare.session",
                 "[GNOME Session]\nName=Bare\nRequiredComponents=org.gnome.Shell;\n"),
                (".local/share/applications/org.gnome.Shell.desktop",
                 "[Desktop Entry]\nType=Application\nName=Shell\nNoDisplay=true\n"
                 "Exec=gnome-shell --headless --wayland --unsafe-mode --virtual-monitor "
                 f"{SCREEN[0]}x{SCREEN[1]}\nX-GNOME-Autostart-Phase=DisplayServer\n"
                 "X-GNOME-Provides=panel;windowmanager;\nX-GNOME-Autostart-Notify=true\n")):
            (HOME / path).parent.mkdir(parents=True)
            (HOME / path).write_text(text)
        self.spawn("/usr/libexec/gnome-session-binary", "--builtin", "--session=bare",
                   "--disable-acceleration-check")
        os.environ.update(WAYLAND_DISPLAY="wayland-0", DISPLAY=":0")
        until("GNOME Shell", lambda: self.eval("Main.layoutManager._startingUp === false"))
        self.eval("""
            window.Clutter = imports.gi.Clutter;
            window.keyboard = Clutter.get_default_backend().get_default_seat()
                .create_virtual_device(Clutter.InputDeviceType.KEYBOARD_DEVICE);
            window.titled = title => global.get_window_actors().map(a => a.meta_window)
                .find(w => w.title == title && w.get_wm_class() != 'Gnome-shell');
            Main.overview.hide()""")

    def set(self, schema, key, value):
        run("gsettings", "set", f"org.gnome.{schema}", key, value)

    def eval(self, script):
        good, text = self.call("org.gnome.Shell", "/org/gnome/Shell", "Eval",
                               GLib.Variant("(s)", (script,)))
        if not good:
            raise Failure(f"GNOME Shell: {text}")
        return json.loads(text) if text else None

    def launch(self):
        self.eval("Main.messageTray.getSources().forEach(s => s.destroy())")
        self.eval(f"""imports.gi.Shell.AppSystem.get_default().lookup_app('{ID}.desktop')
            .launch(global.display.get_current_time_roundtrip(), -1,
                    imports.gi.Shell.AppLaunchGpu.DEFAULT)""")

    def windows(self):
        return self.eval("""global.display.sort_windows_by_stacking(
            global.get_window_actors().map(a => a.meta_window)).filter(w => w.title && !w.minimized &&
                w.get_wm_class() != 'Gnome-shell').map(w => {
            const app = imports.gi.Shell.WindowTracker.get_default().get_window_app(w);
            const r = w.get_frame_rect();
            return {title: w.title, id: app?.get_id(), name: app?.get_name(),
                    icon: app?.get_icon().to_string(), focus: w.has_focus(),
                    x11: w.get_client_type() == 1, frame: [r.x, r.y, r.width, r.height]}})""")

    def activate(self, title):
        self.eval(f"titled('{title}').activate(global.get_current_time())")

    def minimise(self, title):
        self.eval(f"titled('{title}').minimize()")

    def close(self, title):
        self.eval(f"titled('{title}').delete(global.get_current_time())")

    def key(self, code, down):
        self.eval(f"""keyboard.notify_key(imports.gi.GLib.get_monotonic_time(), {code},
            Clutter.KeyState.{'PRESSED' if down else 'RELEASED'})""")

    def capture(self):
        path = ROOT / "screen.png"
        self.call("org.gnome.Shell.Screenshot", "/org/gnome/Shell/Screenshot", "Screenshot",
                  GLib.Variant("(bbs)", (False, False, str(path))))
        return Image.open(path).convert("RGB")

    def capture_window(self):
        path = ROOT / "window.png"
        self.eval(f"titled('{LAUNCHER}').get_compositor_private().get_image(null).writeToPNG('{path}')")
        return Image.open(path).convert("RGBA")

    def watch_first_frame(self):
        self.first = ROOT / "first.png"
        self.eval(f"""{{
            const heard = global.display.connect('window-created', (display, w) => {{
                global.display.disconnect(heard);
                const actor = w.get_compositor_private();
                actor.connect('first-frame', () => actor.get_image(null).writeToPNG('{self.first}'));
            }}); }}""")

    def first_frame(self):
        until("the first frame", self.first.exists)
        return Image.open(self.first).convert("RGBA")

    def set_dark(self, dark):
        self.set("desktop.interface", "color-scheme", "prefer-dark" if dark else "default")
        self.wait_for_scheme(dark)

    def set_accent(self, colour):
        raise Absent("GNOME 43 has no accent colour")

    def set_font(self, points):
        self.set("desktop.interface", "font-name", f"Cantarell {points}")

    def set_scale(self, scale):
        name = "org.gnome.Mutter.DisplayConfig"
        serial, monitors, _, _ = self.call(name, "/org/gnome/Mutter/DisplayConfig", "GetCurrentState")
        (connector, *_), modes, _ = monitors[0]
        fitting = min(modes[0][5], key=lambda offered: abs(offered - scale))
        self.call(name, "/org/gnome/Mutter/DisplayConfig", "ApplyMonitorsConfig", GLib.Variant(
            "(uua(iiduba(ssa{sv}))a{sv})",
            (serial, 1, [(0, 0, fitting, 0, True, [(connector, modes[0][0], {})])], {})))

    def notifications(self):
        return self.eval("Main.messageTray.getSources().flatMap(s => s.notifications).map(n => n.title)")

    def log_out(self):
        self.call("org.gnome.SessionManager", "/org/gnome/SessionManager", "Logout",
                  GLib.Variant("(u)", (1,)))  # without a question


class Plasma(Desktop):
    def set_up(self):
        os.environ.update(XDG_CURRENT_DESKTOP="KDE", KDE_FULL_SESSION="true",
                          KDE_SESSION_VERSION="5", KWIN_SCREENSHOT_NO_PERMISSION_CHECKS="1",
                          KWIN_WAYLAND_NO_PERMISSION_CHECKS="1",
                          QT_LOGGING_RULES="kwin_scripting.debug=true")
        # A copy has no file capabilities, which namespaces refuse.
        shutil.copy("/usr/bin/kwin_wayland", ROOT / "kwin_wayland")
        (HOME / ".config").mkdir()
        (HOME / ".config/kdeglobals").write_text("[KDE]\nAnimationDurationFactor=0\n")
        self.export("XDG_CURRENT_DESKTOP", "KDE_FULL_SESSION", "KDE_SESSION_VERSION")
        self.scripts = 0
        self.start_shell(1)

    def start_shell(self, scale):
        sockets = pathlib.Path("/tmp/.X11-unix")
        for old in sockets.iterdir():
            old.unlink()
        self.shell = self.spawn(
            str(ROOT / "kwin_wayland"), "--virtual", "--width", str(SCREEN[0]), "--height",
            str(SCREEN[1]), "--scale", str(scale), "--no-lockscreen", "--xwayland")
        x11 = until("Xwayland", lambda: next(sockets.iterdir(), None))
        os.environ.update(WAYLAND_DISPLAY="wayland-0", DISPLAY=f":{x11.name[1:]}")
        until("KWin", lambda: self.call("org.kde.KWin", "/KWin", "supportInformation"))
        self.export("WAYLAND_DISPLAY", "DISPLAY")
        self.panel = self.spawn("plasmashell")
        until("the panel", lambda: [w for w in self.windows("dock")])
        self.call("org.kde.plasmashell", "/PlasmaShell", "evaluateScript", GLib.Variant("(s)", (
            f"""panels().forEach(p => p.widgets("org.kde.plasma.icontasks").forEach(tasks => {{
                tasks.currentConfigGroup = ["General"];
                tasks.writeConfig("launchers", ["applications:{ID}.desktop"]) }}))""",)),
            "org.kde.PlasmaShell")
        self.input = FakeInput()

    def launch(self):
        """By the shell's search, which may hand on the permission to come to the front."""
        self.call("org.kde.krunner", "/App", "querySingleRunner",
                  GLib.Variant("(ss)", ("krunner_services", LAUNCHER)),
                  "org.kde.krunner.App")
        def search(height):
            return [w for w in self.windows("dock") if w["focus"] and w["frame"][3] > height]
        until("a result", lambda: search(50))
        self.press("Return")
        until("the search's end", lambda: not search(0))

    def script(self, text):
        """Runs a script in KWin; returns what it prints."""
        self.scripts += 1
        mark = f"answer {self.scripts} of {os.getpid()}: "
        file = ROOT / f"script-{self.scripts}.js"
        file.write_text(f"print({json.dumps(mark)} + JSON.stringify({text}))")
        number, = self.call("org.kde.KWin", "/Scripting", "loadScript",
                            GLib.Variant("(s)", (str(file),)), "org.kde.kwin.Scripting")
        self.call("org.kde.KWin", f"/{number}", "run", None, "org.kde.kwin.Script")
        log = self.pictures / "kwin_wayland.log"
        line = until("KWin's answer", lambda: next(
            (line for line in log.read_text(errors="replace").splitlines() if mark in line), None))
        return json.loads(line.split(mark)[1])

    def windows(self, kind="normalWindow"):
        found = self.script(f"""workspace.clientList().filter(c => c.{kind} && !c.minimized)
            .sort((a, b) => a.stackingOrder - b.stackingOrder).map(c => ({{
                title: c.caption, id: String(c.desktopFileName), focus: c.active,
                x11: c.windowId > 0, frame: [c.x, c.y, c.width, c.height]}}))""")
        apps = {app.get_id(): app for app in Gio.AppInfo.get_all()}
        for w in found:
            # The panel takes both from the entry that the id names.
            app = apps.get(f"{w['id']}.desktop")
            w.update(name=app and app.get_name(), icon=app and app.get_icon().to_string())
        return found

    def act(self, title, what):
        self.script(f"""workspace.clientList().filter(c => c.caption == '{title}')
            .map(c => {{ {what}; return 0; }})""")

    def activate(self, title):
        self.act(title, "workspace.activeClient = c")

    def minimise(self, title):
        self.act(title, "c.minimized = true")

    def close(self, title):
        self.act(title, "c.closeWindow()")

    def key(self, code, down):
        self.input.request(10, code, int(down))

    def capture(self, method="CaptureActiveScreen"):
        reading, writing = os.pipe()
        raw = []
        reader = threading.Thread(target=lambda: raw.append(open(reading, "rb").read()))
        reader.start()
        options = {"native-resolution": True, "include-decoration": True}
        files = Gio.UnixFDList.new_from_array([writing])
        result, = self.call(
            "org.kde.KWin", "/org/kde/KWin/ScreenShot2", method, GLib.Variant("(a{sv}h)", (
                {name: GLib.Variant("b", value) for name, value in options.items()}, 0)),
            "org.kde.KWin.ScreenShot2", files)
        del files
        reader.join()
        return Image.frombuffer("RGBA", (result["width"], result["height"]), raw[0], "raw", "BGRA")

    def capture_window(self):
        return self.capture("CaptureActiveWindow")

    def set_dark(self, dark):
        run("plasma-apply-colorscheme", "BreezeDark" if dark else "BreezeLight",
            stdout=subprocess.DEVNULL)
        self.wait_for_scheme(dark)

    def set_accent(self, colour):
        run("plasma-apply-colorscheme", "--accent-color", "#%02x%02x%02x" % colour,
            stdout=subprocess.DEVNULL)
        shown = run("kreadconfig5", "--file", "kdeglobals", "--group", "Colors:Selection", "--key",
                    "BackgroundNormal", capture_output=True, text=True).stdout
        return tuple(int(part) for part in shown.split(","))

    def watch_first_frame(self):
        pass

    def first_frame(self):
        return None  # KWin's scripts don't see it

    def set_font(self, points):
        run("kwriteconfig5", "--file", "kdeglobals", "--group", "General", "--key", "font",
            f"Noto Sans,{points},-1,5,50,0,0,0,0,0")

    def set_scale(self, scale):
        self.end()
        for process in (self.panel, self.shell):
            process.kill()
            process.wait()
        self.start_shell(scale)

    def notifications(self):
        return [item.get_name() for item in self.items(app="plasmashell") if self.has(item, "SHOWING")]

    def log_out(self):
        self.shell.terminate()  # the session manager of Plasma 5.27 asks no Wayland client


class FakeInput:
    """Speaks KWin's protocol for made-up input, org_kde_kwin_fake_input."""

    def __init__(self):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(f"{os.environ['XDG_RUNTIME_DIR']}/{os.environ['WAYLAND_DISPLAY']}")
        self.send(1, 1, struct.pack("=I", 2))  # wl_display.get_registry
        kind = struct.pack("=I", 24) + b"org_kde_kwin_fake_input\0"
        announced = b""
        while kind not in announced:
            announced += self.socket.recv(65536)
        number = announced[announced.index(kind) - 4:][:4]
        self.send(2, 0, number + kind + struct.pack("=II", 4, 3))  # wl_registry.bind
        self.send(3, 0, struct.pack("=I4sI4s", 4, b"me", 4, b"it"))  # authenticate

    def send(self, target, request, arguments):
        self.socket.sendall(struct.pack("=II", target, (8 + len(arguments)) << 16 | request) + arguments)

    def request(self, number, *arguments):
        self.send(3, number, struct.pack(f"={len(arguments)}I", *arguments))


CASES = {}


def case(function):
    CASES[function.__name__] = function
    return function


@case
def window(desktop):
    """The first window has the app's name and icon, and the keyboard."""
    desktop.start()
    shown = desktop.in_front()
    check(shown["id"] in (ID, f"{ID}.desktop"), f"the window is the app's: {shown}")
    check(shown["name"] == LAUNCHER and shown["icon"] == ID, f"its name and icon: {shown}")
    check(not shown["x11"], "it is a Wayland client")
    desktop.picture("window")


@case
def tour(desktop):
    """Each sheet and alert lies in the one window; all by keyboard alone."""
    def look(title, button):
        desktop.see(title)
        desktop.picture_both(f"tour-{title.split()[0].lower()}")
        check(len(desktop.windows()) == 1, f"{title} is in the window: {desktop.windows()}")
        desktop.press("Escape")
        desktop.gone(button)

    desktop.start()
    for name, title, button in (("Show log", "Log", "Close"), ("About", "About Brindle", "Done"),
                                ("Settings", "Settings", "Done")):
        desktop.choose(name)
        look(title, button)
        until("the focus back", lambda: desktop.focused() == name)
    desktop.choose("Settings")
    desktop.choose("Remove everything")
    look("Remove", "Cancel")


@case
def dark(desktop):
    """Dark and light, from the first frame on and while the window is open."""
    desktop.end()
    desktop.set_dark(True)
    desktop.watch_first_frame()
    desktop.start()
    first = desktop.first_frame()
    check(not first or desktop.is_dark(first), "the first frame is dark")
    frame = desktop.window()["frame"]
    desktop.picture_both("window")
    check(desktop.window()["frame"] == frame, "the window keeps its one title bar")


@case
def accent(desktop):
    """The button to play has the desktop's accent colour."""
    shown = desktop.set_accent((145, 65, 172))  # a shade of it
    desktop.start()
    desktop.picture("accent")
    marked = sum(count for count, colour in desktop.capture_window().getcolors(1 << 24)
                 if colour[:3] == shown)
    check(marked > 1000, f"the accent colour: {marked} pixels")
    desktop.set_accent((61, 174, 233))


@case
def fonts(desktop):
    """The desktop's font at three sizes."""
    heights = []
    for points in (9, 16, 11):
        desktop.set_font(points)
        desktop.start()
        heights.append(desktop.find("Play").get_size().y)
        desktop.picture(f"font-{points}")
        desktop.choose("Settings")
        desktop.see("Done")
        desktop.picture(f"font-{points}-settings")
    check(heights[0] <= heights[2] < heights[1], f"Play grows with the font: {heights}")


@case
def scales(desktop):
    """Scales 1 to 2, each crisp: next to each other are pixels as different as text and ground."""
    for scale in (1.25, 1.5, 2, 1):
        desktop.set_scale(scale)
        desktop.start()
        screen = desktop.picture(f"scale-{scale}")
        x, y, width, height = (round(part * scale) for part in desktop.window()["frame"])
        shown = screen.convert("L").crop((x, y, x + width, y + height))
        _, sharpest = ImageChops.difference(shown, ImageChops.offset(shown, 1, 0)).crop(
            (1, 0, width, height)).getextrema()
        check(sharpest > 180, f"crisp at scale {scale}: {sharpest}")


def play(desktop, platform="wayland", game="playSeconds=600\n"):
    offer(game, platform)
    desktop.start()
    desktop.press("Space")


def set_up_half(desktop, game="playSeconds=600\n"):
    """Plays; the download stops half-way."""
    offer(game)
    desktop.start()
    Host.gate.clear()
    desktop.press("Space")
    desktop.see("Cancel")


def game_in_front(desktop, platform):
    play(desktop, platform)
    game = desktop.in_front(GAME)
    check(game["x11"] == (platform == "xcb"), f"the game is a client of {platform}")
    desktop.picture(f"game-{platform}")
    desktop.launch()
    desktop.in_front()
    desktop.see("Stop")
    desktop.picture(f"game-{platform}-second-start")
    check(len(desktop.processes()) == 1, "one launcher runs")
    desktop.close(GAME)
    desktop.see("Play", "ENABLED")


@case
def game(desktop):
    """The game comes to the front as a Wayland client, the launcher by a second start."""
    game_in_front(desktop, "wayland")


@case
def game_x11(desktop):
    """The same with a game that is a client of Xwayland."""
    game_in_front(desktop, "xcb")


@case
def question(desktop):
    """Closing the window with a game asks in it; a second start brings the question forward."""
    play(desktop)
    desktop.in_front(GAME)
    desktop.close(LAUNCHER)
    desktop.see("Keep open")
    check([w["title"] for w in desktop.windows()].count(LAUNCHER) == 1, "it is in the one window")
    desktop.activate(GAME)
    desktop.in_front(GAME)
    desktop.launch()
    desktop.in_front()
    desktop.picture("question")
    desktop.choose("Keep open")
    until("no window", lambda: not desktop.window())
    check(desktop.processes(), "the launcher stays")
    desktop.close(GAME)
    desktop.in_front()
    desktop.see("Play", "ENABLED")
    desktop.picture("question-after")


@case
def notification(desktop):
    """The end of a setup that nobody looks at is shown, and goes once the game is open."""
    set_up_half(desktop, "playSeconds=600\nwindowSeconds=15\n")
    desktop.minimise(LAUNCHER)
    Host.gate.set()
    until("the notification", lambda: "Starting…" in desktop.notifications())
    desktop.capture().save(desktop.pictures / "notification.png")
    desktop.in_front(GAME)
    until("its end", lambda: "Starting…" not in desktop.notifications())
    desktop.close(GAME)


@case
def failure(desktop):
    """A game that ends with an error leads back to the launcher, which says so."""
    play(desktop, game="playSeconds=2\nplayExit=1\nprintParseError=true\n")
    desktop.see("The game closed after 2 seconds (exit code 1)")
    desktop.in_front()
    until("room for the failure", lambda: desktop.capture_window().height > 800)
    desktop.picture_both("failure")


@case
def awake(desktop):
    """The login manager lists the inhibition, and drops it after SIGKILL."""
    set_up_half(desktop)
    until("the inhibition", lambda: desktop.inhibitors() == ["The game is being set up"])
    desktop.picture_both("progress")  # and the icon's, where the shell shows it; GNOME's does not
    desktop.end(signal.SIGKILL)
    until("its end", lambda: not desktop.inhibitors())


@case
def logout(desktop):
    """The end of the session ends the launcher and its setup."""
    set_up_half(desktop)
    desktop.log_out()
    until("the launcher's end", lambda: not desktop.processes() and not desktop.inhibitors())


def install(package):
    """Installs the package where only this namespace finds it."""
    run("mount", "-t", "tmpfs", "-o", "mode=1777", "tmpfs", "/tmp/.X11-unix")
    run("ip", "link", "set", "lo", "up")
    ROOT.mkdir(exist_ok=True)
    run("mount", "-t", "tmpfs", "tmpfs", ROOT)
    for name in ("upper", "work"):
        (ROOT / name).mkdir()
    run("mount", "-t", "overlay", "overlay", "-o",
        f"lowerdir=/usr,upperdir={ROOT}/upper,workdir={ROOT}/work", "/usr")
    run("dpkg-deb", "-x", package, "/")
    run("gtk-update-icon-cache", "-q", "-f", "/usr/share/icons/hicolor")


def main(kind, package, pictures, wanted):
    pictures = pathlib.Path(pictures, kind)
    pictures.mkdir(parents=True, exist_ok=True)
    for old in (*pictures.glob("*.log"), *pictures.glob("failed-*")):
        old.unlink()
    install(package)
    Host.open()
    offer()
    desktop = {"gnome": Gnome, "plasma": Plasma}[kind](pictures)
    failed = 0
    for name in wanted or CASES:
        result = "good"
        try:
            CASES[name](desktop)
        except Absent as absence:
            result = absence
        except (Failure, subprocess.CalledProcessError, GLib.Error) as failure:
            failed += 1
            result = f"FAILED: {failure}"
            if name != "logout":
                desktop.picture(f"failed-{name}")
        print(f"desktops: {kind} {name}: {result}", flush=True)
    sys.exit(failed > 0)


if __name__ == "__main__":
    ENGINE = sys.argv[3]
    main(sys.argv[1], sys.argv[2], sys.argv[4], sys.argv[5:])
