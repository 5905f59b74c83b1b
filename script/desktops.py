#!/usr/bin/python3
"""Drives the installed launcher on a real desktop without a screen.

usage: desktops.py gnome|plasma PACKAGE ENGINE PICTURES [CASE…]

script/desktops starts it as root in namespaces of its own.
"""

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
import zipfile

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

PATIENCE = 60  # seconds
GAME = "Brindle Skirmish (DEBUG)"
LAUNCHER = "Brindle"
TAG = "4.3-stable"
ID = "org.brindle.Brindle"
ROOT = pathlib.Path("/tmp/desktop")  # on a file system of this namespace
HOME = ROOT / "home"
DEMO = pathlib.Path(__file__).parent.parent / "demo"
KEYS = {"Escape": 1, "Tab": 15, "Return": 28, "Control": 29, "w": 17, "Shift": 42, "Alt": 56,
        "Space": 57, "F4": 62, "End": 107, "Down": 108}
SCREEN = (1600, 1000)


class Failure(Exception):
    pass


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
            pass  # it went away while it was asked
        if time.monotonic() > end:
            raise Failure(f"waited in vain for {what}")
        time.sleep(0.1)


def run(*command, **options):
    return subprocess.run([str(part) for part in command], check=True, **options)


class Host(http.server.BaseHTTPRequestHandler):
    """Answers as the code host does, under its name."""

    protocol_version = "HTTP/1.1"
    files = {}
    gate = threading.Event()  # bodies stop half-way while it is not set

    def do_GET(self):
        body = self.files.get(self.path)
        self.send_response(200 if body else 404)
        self.send_header("Content-Length", len(body or b""))
        self.end_headers()
        half = len(body or b"") // 2
        self.wfile.write((body or b"")[:half])
        self.gate.wait()
        self.wfile.write((body or b"")[half:])

    def log_message(self, *arguments):
        pass

    @classmethod
    def open(cls, engine):
        trusted = ROOT / "certs"
        trusted.mkdir()
        run("openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
            "-nodes", "-days", "2", "-subj", "/CN=github.com", "-addext",
            "subjectAltName=DNS:github.com", "-keyout", ROOT / "key",
            "-out", trusted / "ca-certificates.crt", stderr=subprocess.DEVNULL)
        run("mount", "--bind", trusted, "/etc/ssl/certs")
        (ROOT / "hosts").write_text("127.0.0.1 localhost github.com\n")
        run("mount", "--bind", ROOT / "hosts", "/etc/hosts")
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(trusted / "ca-certificates.crt", ROOT / "key")
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 443), cls)
        server.socket = context.wrap_socket(server.socket, server_side=True)
        server.daemon_threads = True
        threading.Thread(target=server.serve_forever, daemon=True).start()
        cls.files["/tessel-works/brindle-minimap/archive/HEAD.zip"] = \
            packed(DEMO / "addon", "brindle-minimap-HEAD")
        cls.engine = engine
        cls.offer()

    @classmethod
    def offer(cls, game="playSeconds=600\n", platform="wayland"):
        """Offers a game, and an engine whose windows are of that platform."""
        cls.files["/tessel-works/godot-brindle/archive/refs/heads/main.zip"] = \
            packed(DEMO / "game", "godot-brindle-main", {"sample-engine.ini": game})
        name = f"Godot_v{TAG}_linux.{os.uname().machine}"
        program = f"#!/bin/sh\nexport QT_QPA_PLATFORM={platform}\nexec {cls.engine} \"$@\"\n"
        path = ROOT / "engine.zip"
        with zipfile.ZipFile(path, "w") as out:
            entry = zipfile.ZipInfo(name)
            entry.external_attr = 0o100755 << 16
            out.writestr(entry, program)
            out.writestr("filling", os.urandom(2_000_000))
        releases = f"/godotengine/godot-builds/releases/download/{TAG}/"
        cls.files[f"{releases}{name}.zip"] = path.read_bytes()
        digest = run("sha512sum", path, capture_output=True, text=True).stdout.split()[0]
        cls.files[f"{releases}SHA512-SUMS.txt"] = f"{digest}  {name}.zip\n".encode()


def packed(folder, top, more={}):
    path = ROOT / "packed.zip"
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as out:
        for file in sorted(folder.rglob("*")):
            if file.is_file():
                out.write(file, f"{top}/{file.relative_to(folder)}")
        for name, text in more.items():
            out.writestr(f"{top}/{name}", text)
    return path.read_bytes()


class Desktop:
    """A session: its buses, its shell, its input, its windows."""

    scale = 1

    def __init__(self, pictures):
        self.pictures = pictures
        for name in ("home", "run", "system"):
            (ROOT / name).mkdir(mode=0o700)
        os.environ.update(
            HOME=str(HOME), XDG_RUNTIME_DIR=str(ROOT / "run"), XDG_SESSION_TYPE="wayland",
            LIBGL_ALWAYS_SOFTWARE="1", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", LANG="C.UTF-8",
            PATH="/usr/local/bin:/usr/bin:/bin", GTK_A11Y="none")
        for name in ("DISPLAY", "WAYLAND_DISPLAY", "XDG_CONFIG_HOME", "XDG_DATA_HOME",
                     "XDG_CACHE_HOME", "TMPDIR", "QT_QPA_PLATFORM"):
            os.environ.pop(name, None)
        for kind in ("SYSTEM", "SESSION"):
            daemon = self.spawn("dbus-daemon", "--session", "--nofork", "--print-address",
                                stdout=subprocess.PIPE, text=True)
            os.environ[f"DBUS_{kind}_BUS_ADDRESS"] = daemon.stdout.readline().strip()
        self.spawn("/usr/bin/python3", "-m", "dbusmock", "--system", "--template", "logind")
        self.bus = Gio.bus_get_sync(Gio.BusType.SESSION)
        self.set_up()
        self.export("WAYLAND_DISPLAY", "DISPLAY")
        from gi.repository import Atspi  # connects when it is loaded
        self.atspi = Atspi
        Atspi.init()

    def spawn(self, *command, log=None, **options):
        log = log or open(self.pictures / f"{pathlib.Path(command[0]).name}.log", "ab")
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
        """Returns the reasons that the login manager lists."""
        system = Gio.bus_get_sync(Gio.BusType.SYSTEM)
        listed, = system.call_sync(
            "org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.login1.Manager",
            "ListInhibitors", None, None, Gio.DBusCallFlags.NONE, -1, None).unpack()
        return [entry[2] for entry in listed if entry[1] == LAUNCHER]

    # Input.

    def press(self, keys):
        """Presses keys together, as "Alt+F4"."""
        codes = [KEYS[key] for key in keys.split("+")]
        for code in codes:
            self.key(code, True)
        for code in reversed(codes):
            self.key(code, False)

    # What a screen reader sees.

    def items(self, top=None):
        if top is None:
            desktop = self.atspi.get_desktop(0)
            top = [desktop.get_child_at_index(i) for i in range(desktop.get_child_count())]
            top = [app for app in top if app and app.get_name() == LAUNCHER]
        else:
            top = [top.get_child_at_index(i) for i in range(top.get_child_count())]
        for item in top:
            if item:
                item.clear_cache_single() if hasattr(item, "clear_cache_single") else item.clear_cache()
                yield item
                yield from self.items(item)

    def has(self, item, state):
        return item.get_state_set().contains(getattr(self.atspi.StateType, state))

    def find(self, name, *states):
        for item in self.items():
            if (item.get_name() or "").startswith(name) and self.has(item, "SHOWING"):
                if all(self.has(item, state) for state in states):
                    return item
        return None

    def see(self, name, *states):
        return until(f"\"{name}\" {' '.join(states)}", lambda: self.find(name, *states))

    def gone(self, name):
        until(f"the end of \"{name}\"", lambda: not self.find(name))

    def focused(self):
        for item in self.items():
            if self.has(item, "FOCUSED") and item.get_role_name() not in ("frame", "window", "dialog", "alert"):
                return item.get_name()
        return None

    def reach(self, name):
        """Moves the focus by Tab."""
        for _ in range(25):
            if (self.focused() or "").startswith(name):
                return
            before = self.focused()
            self.press("Tab")
            try:
                until("the next focus", lambda: self.focused() not in (before, None), 3)
            except Failure:
                pass
        raise Failure(f"Tab does not lead to \"{name}\"; the focus is at \"{self.focused()}\"")

    def choose(self, name):
        self.reach(name)
        self.press("Space")

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
        found = subprocess.run(["pgrep", "-x", "brindle"], capture_output=True, text=True)
        return [int(line) for line in found.stdout.split()]

    def end(self, how=signal.SIGTERM):
        for process in self.processes():
            os.kill(process, how)
        until("the launcher's end", lambda: not self.processes())

    def picture(self, name):
        """Keeps the whole screen; returns its path."""
        time.sleep(0.7)  # until a change that runs is over
        path = self.pictures / f"{name}.png"
        path.unlink(missing_ok=True)
        self.capture(path)
        shown = self.window()
        if shown and self.scale == 1:
            x, y, width, height = shown["frame"]
            run("convert", path, "-crop", f"{width}x{height}+{x}+{y}", "+repage",
                "(", "+clone", "-background", "black", "-shadow", "45x14+0+8", ")", "+swap",
                "-background", "none", "-layers", "merge", "+repage",
                self.pictures / f"{name}.window.png")
        return path

    def pixel(self, path, x, y):
        out = run("convert", path, "-crop", f"1x1+{round(x)}+{round(y)}", "-depth", "8", "rgb:-",
                  capture_output=True).stdout
        return tuple(out[:3])

    def ground(self, name):
        """The colours of the title bar and of the window's ground."""
        frame = self.in_front()["frame"]
        path = self.picture(name)
        return (self.pixel(path, frame[0] + 60, frame[1] + 12),
                self.pixel(path, frame[0] + 12, frame[1] + frame[3] - 12))


class Gnome(Desktop):
    def set_up(self):
        os.environ.update(XDG_CURRENT_DESKTOP="GNOME", XDG_SESSION_DESKTOP="gnome")
        self.set("org.gnome.desktop.interface", "enable-animations", "false")
        self.set("org.gnome.desktop.background", "picture-uri",
                 "file:///usr/share/backgrounds/gnome/blobs-l.svg")
        self.set("org.gnome.desktop.background", "picture-uri-dark",
                 "file:///usr/share/backgrounds/gnome/blobs-d.svg")
        self.set("org.gnome.mutter", "experimental-features", "['scale-monitor-framebuffer']")
        # The session manager starts the shell.
        for path, text in (
                (".config/gnome-session/sessions/bare.session",
                 "[GNOME Session]\nName=Bare\nRequiredComponents=org.gnome.Shell;\n"),
                (".local/share/applications/org.gnome.Shell.desktop",
                 "[Desktop Entry]\nType=Application\nName=Shell\nNoDisplay=true\n"
                 "Exec=gnome-shell --headless --wayland --unsafe-mode --virtual-monitor "
                 f"{SCREEN[0]}x{SCREEN[1]}\nX-GNOME-Autostart-Phase=DisplayServer\n"
                 "X-GNOME-Provides=panel;windowmanager;\nX-GNOME-Autostart-Notify=true\n")):
            file = HOME / path
            file.parent.mkdir(parents=True)
            file.write_text(text)
        self.shell = self.spawn("/usr/libexec/gnome-session-binary", "--builtin",
                                "--session=bare", "--disable-acceleration-check")
        os.environ.update(WAYLAND_DISPLAY="wayland-0", DISPLAY=":0")
        until("GNOME Shell", lambda: self.eval("Main.layoutManager._startingUp === false"))
        self.eval("""
            const Clutter = imports.gi.Clutter;
            const seat = Clutter.get_default_backend().get_default_seat();
            window.keyboard = seat.create_virtual_device(Clutter.InputDeviceType.KEYBOARD_DEVICE);
            window.pointer = seat.create_virtual_device(Clutter.InputDeviceType.POINTER_DEVICE);
            Main.overview.hide(); 0""")
        time.sleep(2)
        self.eval("Main.messageTray.getSources().forEach(s => s.destroy()); 0")

    def set(self, schema, key, value):
        run("gsettings", "set", schema, key, value)

    def eval(self, script):
        good, text = self.call("org.gnome.Shell", "/org/gnome/Shell", "Eval",
                               GLib.Variant("(s)", (script,)))
        if not good:
            raise Failure(f"GNOME Shell: {text}")
        return json.loads(text) if text else None

    def launch(self):
        self.eval(f"""imports.gi.Shell.AppSystem.get_default().lookup_app('{ID}.desktop')
            .launch(global.display.get_current_time_roundtrip(), -1,
                    imports.gi.Shell.AppLaunchGpu.DEFAULT); 0""")

    def windows(self):
        return json.loads(self.eval("""JSON.stringify(global.display.sort_windows_by_stacking(
            global.get_window_actors().map(a => a.meta_window)).filter(w => w.title && !w.minimized &&
                w.get_wm_class() != 'Gnome-shell').map(w => {
            const app = imports.gi.Shell.WindowTracker.get_default().get_window_app(w);
            const r = w.get_frame_rect();
            return {title: w.title, id: app?.get_id(), name: app?.get_name(),
                    icon: app?.get_icon().to_string(), focus: w.has_focus(),
                    x11: w.get_client_type() == 1, frame: [r.x, r.y, r.width, r.height]}}))"""))

    def act(self, title, what):
        self.eval(f"""global.get_window_actors().map(a => a.meta_window)
            .filter(w => w.title == '{title}').forEach(w => w.{what}); 0""")

    def activate(self, title):
        self.act(title, "activate(global.get_current_time())")

    def minimise(self, title):
        self.act(title, "minimize()")

    def close(self, title):
        self.act(title, "delete(global.get_current_time())")

    def key(self, code, down):
        self.eval(f"""keyboard.notify_key(imports.gi.GLib.get_monotonic_time(), {code},
            imports.gi.Clutter.KeyState.{'PRESSED' if down else 'RELEASED'}); 0""")

    def click(self, x, y):
        self.eval(f"pointer.notify_absolute_motion(imports.gi.GLib.get_monotonic_time(), {x}, {y}); 0")
        for state in ("PRESSED", "RELEASED"):
            self.eval(f"""pointer.notify_button(imports.gi.GLib.get_monotonic_time(), 1,
                imports.gi.Clutter.ButtonState.{state}); 0""")

    def capture(self, path):
        self.call("org.gnome.Shell.Screenshot", "/org/gnome/Shell/Screenshot", "Screenshot",
                  GLib.Variant("(bbs)", (False, False, str(path))))

    def dark(self, dark):
        self.set("org.gnome.desktop.interface", "color-scheme",
                 "prefer-dark" if dark else "default")
        self.wait_for_scheme(dark)

    def notifications(self):
        return json.loads(self.eval("""JSON.stringify(Main.messageTray.getSources()
            .flatMap(s => s.notifications).map(n => n.title))"""))

    def set_font(self, points):
        self.set("org.gnome.desktop.interface", "font-name", f"Cantarell {points}")

    def set_scale(self, scale):
        name = "org.gnome.Mutter.DisplayConfig"
        serial, monitors, _, _ = self.call(name, "/org/gnome/Mutter/DisplayConfig", "GetCurrentState")
        (connector, *_), modes, _ = monitors[0]
        fitting = min(modes[0][5], key=lambda offered: abs(offered - scale))
        self.call(name, "/org/gnome/Mutter/DisplayConfig", "ApplyMonitorsConfig", GLib.Variant(
            "(uua(iiduba(ssa{sv}))a{sv})",
            (serial, 1, [(0, 0, fitting, 0, True, [(connector, modes[0][0], {})])], {})))


    def watch_first_frame(self):
        self.eval("""
            const heard = global.display.connect('window-created', (display, w) => {
                global.display.disconnect(heard);
                const actor = w.get_compositor_private();
                actor.connect('first-frame', () => {
                    actor.get_image(null).writeToPNG('""" + str(ROOT) + """/first.png');
                });
            }); 0""")

    def first_frame(self):
        path = ROOT / "first.png"
        until("the first frame", path.exists)
        return self.pixel(path, 12, self.window()["frame"][3] - 12)


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
        self.start_shell(1)

    def start_shell(self, scale):
        self.scripts = 0
        self.shell = self.spawn(
            str(ROOT / "kwin_wayland"), "--virtual", "--width", str(SCREEN[0]), "--height",
            str(SCREEN[1]), "--scale", str(scale), "--no-lockscreen", "--xwayland")
        os.environ.update(WAYLAND_DISPLAY="wayland-0", DISPLAY=":0")
        until("KWin", lambda: self.call("org.kde.KWin", "/KWin", "supportInformation"))
        self.export("WAYLAND_DISPLAY", "DISPLAY")
        self.panel = self.spawn("plasmashell")
        until("the panel", lambda: [w for w in self.windows(True) if w["dock"]], 4 * PATIENCE)
        self.input = FakeInput()

    def launch(self):
        """By the shell's launcher, which hands on its permission to come to the front."""
        self.call("org.kde.krunner", "/App", "query", GLib.Variant("(s)", (LAUNCHER,)),
                  "org.kde.krunner.App")
        time.sleep(6)  # nothing tells when it has found the launcher
        self.press("Return")

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

    def windows(self, all_of_them=False):
        found = self.script("""workspace.clientList().filter(c => !c.minimized)
            .sort((a, b) => a.stackingOrder - b.stackingOrder).map(c => ({
                title: String(c.caption), id: String(c.desktopFileName), focus: c.active,
                name: "Brindle", icon: "org.brindle.Brindle", dock: c.dock, normal: c.normalWindow,
                x11: c.resourceName != "" && c.windowId > 0 && c.toString().includes("X11"),
                frame: [c.x, c.y, c.width, c.height]}))""")
        return [w for w in found if w["normal"] or all_of_them]

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

    def capture(self, path):
        reading, writing = os.pipe()
        raw = []
        reader = threading.Thread(target=lambda: raw.append(open(reading, "rb").read()))
        reader.start()
        files = Gio.UnixFDList.new_from_array([writing])
        result, = self.call("org.kde.KWin", "/org/kde/KWin/ScreenShot2", "CaptureActiveScreen",
                            GLib.Variant("(a{sv}h)", ({"native-resolution": GLib.Variant("b", True)}, 0)),
                            "org.kde.KWin.ScreenShot2", files)
        del files
        reader.join()
        run("convert", "-size", f"{result['width']}x{result['height']}", "-depth", "8", "bgra:-",
            "-alpha", "off", path, input=raw[0])

    def dark(self, dark):
        run("plasma-apply-colorscheme", "BreezeDark" if dark else "BreezeLight",
            stdout=subprocess.DEVNULL)
        time.sleep(2)

    def watch_first_frame(self):
        pass

    def first_frame(self):
        return (0, 0, 0)  # can't be had

    def set_font(self, points):
        run("kwriteconfig5", "--file", "kdeglobals", "--group", "General", "--key", "font",
            f"Noto Sans,{points},-1,5,50,0,0,0,0,0")

    def set_scale(self, scale):
        self.end()
        for process in (self.panel, self.shell):
            process.kill()
            process.wait()
        self.start_shell(scale)


class FakeInput:
    """Speaks KWin's protocol for made-up input, org_kde_kwin_fake_input."""

    def __init__(self):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(f"{os.environ['XDG_RUNTIME_DIR']}/{os.environ['WAYLAND_DISPLAY']}")
        self.send(1, 1, struct.pack("=I", 2))  # wl_display.get_registry
        self.send(1, 0, struct.pack("=I", 3))  # wl_display.sync
        received = b""
        while not (name := self.name(received)):
            received += self.socket.recv(65536)
        kind = self.text(b"org_kde_kwin_fake_input")
        self.send(2, 0, struct.pack("=I", name) + kind + struct.pack("=II", 4, 4))  # bind
        self.send(4, 0, self.text(b"desktops") + self.text(b"tests"))  # authenticate

    def name(self, received):
        """Finds the protocol's number among the registry's announcements."""
        at = 0
        while at + 8 <= len(received):
            sender, what = struct.unpack_from("=II", received, at)
            if sender == 2 and received[at + 16:].startswith(b"org_kde_kwin_fake_input\0"):
                return struct.unpack_from("=I", received, at + 8)[0]
            at += what >> 16
        return None

    @staticmethod
    def text(content):
        length = len(content) + 1
        return struct.pack("=I", length) + content.ljust((length + 3) // 4 * 4, b"\0")

    def send(self, target, request, arguments):
        self.socket.sendall(struct.pack("=II", target, (8 + len(arguments)) << 16 | request) + arguments)

    def request(self, number, *arguments):
        self.send(4, number, struct.pack(f"={len(arguments)}I", *arguments))


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
    desktop.start()
    for name, title in (("Show log", "Log"), ("Settings", "Settings"), ("About", "About Brindle")):
        desktop.choose(name)
        desktop.see(title)
        desktop.picture(f"tour-{title.split()[0].lower()}")
        check(len(desktop.windows()) == 1, f"{title} is in the window: {desktop.windows()}")
        desktop.press("Return")
        desktop.gone("Done" if title != "Log" else "Close")
        until("the focus back", lambda: desktop.focused() == name)
    desktop.choose("Settings")
    desktop.choose("Remove everything")
    desktop.see("Cancel")
    desktop.picture("tour-alert")
    check(len(desktop.windows()) == 1, f"the alert is in the window: {desktop.windows()}")
    desktop.press("Escape")
    desktop.gone("Cancel")
    desktop.press("Escape")
    desktop.gone("Done")


def lightness(colour):
    return sum(colour) / 3


@case
def dark(desktop):
    """Dark and light, from the first frame on and while the window is open, its frame included."""
    desktop.end()
    desktop.dark(True)
    desktop.watch_first_frame()
    desktop.start()
    first = desktop.first_frame()
    check(lightness(first) < 80, f"the first frame is dark: {first}")
    for name, is_dark in (("dark", True), ("dark-to-light", False), ("light-to-dark", True)):
        desktop.dark(is_dark)
        time.sleep(5)
        bar, ground = desktop.ground(name)
        check((lightness(ground) < 80) == is_dark, f"{name}: the window's ground {ground}")
        check((lightness(bar) < 110) == is_dark, f"{name}: the title bar {bar}")
    desktop.dark(False)


@case
def fonts(desktop):
    """The desktop's font at three sizes."""
    for points in (9, 11, 16):
        desktop.set_font(points)
        desktop.start()
        desktop.picture(f"font-{points}")
        desktop.choose("Settings")
        desktop.see("Done")
        desktop.picture(f"font-{points}-settings")
    desktop.set_font(11)


@case
def scales(desktop):
    """Scales 1 to 2, each crisp: next to each other are pixels as different as text and ground."""
    for scale in (1, 1.25, 1.5, 2):
        desktop.set_scale(scale)
        desktop.scale = scale
        desktop.start()
        path = desktop.picture(f"scale-{scale}")
        x, y, width, height = (round(part * scale)
                               for part in desktop.window()["frame"])
        gray = run("convert", path, "-crop", f"{width}x{height}+{x}+{y}", "+repage", "-colorspace", "gray",
                   "-depth", "8", "gray:-", capture_output=True).stdout
        sharpest = max(abs(a - b) for a, b in zip(gray, gray[1:]))
        check(sharpest > 180, f"crisp at scale {scale}: {sharpest}")
    desktop.set_scale(1)
    desktop.scale = 1


def play(desktop, platform, seconds=600):
    Host.offer(f"playSeconds={seconds}\n", platform)
    desktop.start()
    desktop.press("Space")


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
    play(desktop, "wayland")
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
    Host.offer("playSeconds=600\nwindowSeconds=5\n")
    desktop.start()
    Host.gate.clear()
    desktop.press("Space")
    desktop.see("Cancel")
    desktop.minimise(LAUNCHER)
    Host.gate.set()
    until("the notification", lambda: "Starting…" in desktop.notifications())
    desktop.picture("notification")
    desktop.in_front(GAME)
    until("its end", lambda: not desktop.notifications())
    desktop.close(GAME)


@case
def awake(desktop):
    """The login manager lists the inhibition, and drops it after SIGKILL."""
    desktop.start()
    Host.gate.clear()
    desktop.press("Space")
    until("the inhibition", lambda: desktop.inhibitors() == ["The game is being set up"])
    desktop.picture("progress")
    desktop.end(signal.SIGKILL)
    until("its end", lambda: not desktop.inhibitors())


@case
def logout(desktop):
    """The end of the session ends the launcher and its setup, which leaves nothing behind."""
    desktop.start()
    Host.gate.clear()
    desktop.press("Space")
    desktop.see("Cancel")
    desktop.shell.terminate()
    until("the launcher's end", lambda: not desktop.processes())


if __name__ == "__main__":
    kind, package, engine, pictures, *wanted = sys.argv[1:]
    run("mount", "-t", "tmpfs", "-o", "mode=1777", "tmpfs", "/tmp/.X11-unix")
    run("ip", "link", "set", "lo", "up")
    ROOT.mkdir(exist_ok=True)
    run("mount", "-t", "tmpfs", "tmpfs", ROOT)
    # Installs the package where only this namespace sees it.
    for name in ("upper", "work"):
        (ROOT / name).mkdir()
    run("mount", "-t", "overlay", "overlay", "-o",
        f"lowerdir=/usr,upperdir={ROOT}/upper,workdir={ROOT}/work", "/usr")
    run("dpkg-deb", "-x", package, "/")
    run("gtk-update-icon-cache", "-q", "-f", "/usr/share/icons/hicolor")
    pictures = pathlib.Path(pictures, kind)
    pictures.mkdir(parents=True, exist_ok=True)
    Host.open(engine)
    desktop = {"gnome": Gnome, "plasma": Plasma}[kind](pictures)
    failed = 0
    for name in wanted or CASES:
        try:
            CASES[name](desktop)
            print(f"desktops: {kind} {name}: good", flush=True)
        except (Failure, subprocess.CalledProcessError, GLib.Error) as failure:
            failed += 1
            print(f"desktops: {kind} {name}: {failure}", flush=True)
            if name != "logout":
                desktop.picture(f"failed-{name}")
    sys.exit(failed > 0)
